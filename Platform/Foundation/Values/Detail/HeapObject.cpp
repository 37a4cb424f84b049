#include "Platform/Foundation/Values/Detail/HeapObject.h"

#include <memory>
#include <utility>
#include <vector>

#include "Platform/Foundation/Values/Detail/ContainerRep.h"
#include "Platform/Foundation/Values/Detail/DataRep.h"
#include "Platform/Foundation/Values/Detail/DecimalRep.h"
#include "Platform/Foundation/Values/Detail/PoolLists.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/Detail/URLRep.h"
#include "Platform/Foundation/Values/NSObject.h"

namespace orv::detail {
namespace {

// How deep objects may end inside each other's end before they are put off: far below any stack's limit.
constexpr unsigned kDeepest = 64;

struct Endings {
  unsigned depth = 0;
  std::vector<HeapObject*>* putOff = nullptr;  // made when first needed, gone when all is done
};
[[gnu::tls_model("initial-exec")]] constinit thread_local Endings endings;

void endString(StringRep* rep) noexcept {
  if (rep->has(HeapObject::Slice)) return destroySlice(rep);
  poolFreeInline(rep, StringFactory::bytesFor(rep->length, rep->wide()));
}

void putOff(HeapObject* object) {
  if (!endings.putOff) endings.putOff = new std::vector<HeapObject*>;
  endings.putOff->push_back(object);
}

}  // namespace

// Ends an object that may hold others.
struct Ender {
  static void end(HeapObject* object) noexcept {
    if (object->kind == Kind::Array) return destroyArray(static_cast<ArrayRep*>(object));
    if (object->kind == Kind::Object) return delete static_cast<NSObject*>(object);
    destroyTable(static_cast<TableRep*>(object));
  }

  static void endInTurn(HeapObject* object) noexcept {
    if (endings.depth >= kDeepest) return putOff(object);
    ++endings.depth;
    end(object);
    --endings.depth;
    if (endings.depth == 0 && endings.putOff) endPutOff();
  }

  static void endPutOff() noexcept {
    while (std::vector<HeapObject*>* waiting = std::exchange(endings.putOff, nullptr)) {
      const std::unique_ptr<std::vector<HeapObject*>> owned(waiting);
      ++endings.depth;
      for (HeapObject* object : *waiting) end(object);
      --endings.depth;
    }
  }
};

[[gnu::noinline]] static void destroyOther(HeapObject* object) noexcept {
  switch (object->kind) {
    case Kind::BigDecimal: return destroyBigDecimal(object);
    case Kind::Data: return destroyData(object);
    case Kind::URL: return destroyURL(object);
    case Kind::Array:
    case Kind::Set:
    case Kind::CountedSet:
    case Kind::Dictionary:
    case Kind::Object: return Ender::endInTurn(object);
    case Kind::Nil:
    case Kind::Null:
    case Kind::Bool:
    case Kind::Int:
    case Kind::UInt:
    case Kind::Double:
    case Kind::Date:
    case Kind::Decimal: return;  // never on the heap
    case Kind::String: return;   // ended already
  }
}

// Strings end more often than anything else: no register is saved and no table looked at for them.
void destroyHeapObject(HeapObject* object) noexcept {
  object->kind == Kind::String ? endString(static_cast<StringRep*>(object)) : destroyOther(object);
}

}  // namespace orv::detail
