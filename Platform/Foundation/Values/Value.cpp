#include "Platform/Foundation/Values/Value.h"

#include <ostream>
#include <set>
#include <utility>
#include <vector>

#include "Platform/Foundation/Values/Detail/ContainerRep.h"
#include "Platform/Foundation/Values/Detail/DataRep.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/Detail/URLRep.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSNull.h"
#include "Platform/Foundation/Values/NSNumber.h"
#include "Platform/Foundation/Values/NSSet.h"
#include "Platform/Foundation/Values/NSString.h"

namespace orv {
namespace {

using detail::arrayRep;
using detail::ArrayRep;
using detail::tableRep;
using detail::TableRep;

// Pairs whose equality is still open. A worklist instead of recursion: arrays and dictionaries nest without
// limit, and so do sets of one member. Larger sets are looked up one inside the other, up to kDeepestSet.
class OpenPairs {
 public:
  void push(const Value* a, const Value* b) { pairs_.emplace_back(a, b); }
  bool isEmpty() const { return pairs_.empty(); }
  std::pair<const Value*, const Value*> pop() {
    const auto last = pairs_.back();
    pairs_.pop_back();
    return last;
  }

  // Whether the contents of two containers are open already: then nothing new is to be found in them. Only a
  // container that can change may come to contain itself, and only after many steps is it worth to remember
  // them.
  bool isKnown(const detail::HeapObject* a, const detail::HeapObject* b) {
    if (!a->has(detail::HeapObject::Mutable) || ++steps_ < kManySteps) return false;
    return !known_.emplace(a, b).second;
  }

 private:
  static constexpr size_t kManySteps = 4096;

  std::vector<std::pair<const Value*, const Value*>> pairs_;
  std::set<std::pair<const detail::HeapObject*, const detail::HeapObject*>> known_;
  size_t steps_ = 0;
};

bool isSetKind(Kind kind) { return kind == Kind::Set || kind == Kind::CountedSet; }

bool equalArrays(const ArrayRep* a, const ArrayRep* b, OpenPairs& open) {
  if (a->count != b->count) return false;
  if (open.isKnown(a, b)) return true;
  for (size_t i = a->count; i-- > 0;) open.push(&a->items[i], &b->items[i]);
  return true;
}

bool equalDictionaries(const TableRep* a, const TableRep* b, OpenPairs& open) {
  if (a->count != b->count) return false;
  if (open.isKnown(a, b)) return true;
  for (size_t i = a->nextLive(0); i < a->used; i = a->nextLive(i + 1)) {
    const size_t other = b->find(a->key(i));
    if (other == TableRep::kNone) return false;
    open.push(&a->value(i), &b->value(other));
  }
  return true;
}

// How deep sets are inside of sets that are being compared.
constexpr unsigned kDeepestSet = 1000;
thread_local unsigned setDepth = 0;

class SetLevel {
 public:
  SetLevel() {
    if (setDepth == kDeepestSet)
      NSException::raise(NSInvalidArgumentException, "*** Sets nested more than 1000 deep cannot be compared.");
    ++setDepth;
  }
  SetLevel(const SetLevel&) = delete;
  SetLevel& operator=(const SetLevel&) = delete;
  ~SetLevel() { --setDepth; }
};

bool equalSets(const TableRep* a, const TableRep* b, OpenPairs& open) {
  if (a->count != b->count) return false;
  const bool counted = a->kind == Kind::CountedSet && b->kind == Kind::CountedSet;
  if (a->count == 1 && !counted) {
    if (!open.isKnown(a, b)) open.push(&a->key(a->nextLive(0)), &b->key(b->nextLive(0)));
    return true;
  }
  const SetLevel level;
  for (size_t i = a->nextLive(0); i < a->used; i = a->nextLive(i + 1)) {
    const size_t other = b->find(a->key(i));
    if (other == TableRep::kNone || (counted && !a->value(i).isSame(b->value(other)))) return false;
  }
  return true;
}

NSObject* objectOf(const Value& v) {
  return v.kind() == Kind::Object ? static_cast<NSObject*>(detail::Access::heap(v)) : nullptr;
}

// Whether two values that are not the same are equal; the parts of arrays and dictionaries go to the worklist.
bool equalNow(const Value& a, const Value& b, OpenPairs& open) {
  if (NSNumber::accepts(a) && NSNumber::accepts(b)) return detail::equalNumbers(a, b);
  if (const NSObject* object = objectOf(a)) return object->isEqual(b);
  if (const NSObject* object = objectOf(b)) return object->isEqual(a);
  if (isSetKind(a.kind()) && isSetKind(b.kind())) return equalSets(tableRep(a), tableRep(b), open);
  if (a.kind() != b.kind()) return false;
  switch (a.kind()) {
    case Kind::Date:
      return a.as<NSDate>().timeIntervalSinceReferenceDate() == b.as<NSDate>().timeIntervalSinceReferenceDate();
    case Kind::String: return detail::equalStrings(detail::stringRep(a), detail::stringRep(b));
    case Kind::Data: return detail::equalData(detail::Access::heap(a), detail::Access::heap(b));
    case Kind::URL: return detail::equalURLs(detail::Access::heap(a), detail::Access::heap(b));
    case Kind::Array: return equalArrays(arrayRep(a), arrayRep(b), open);
    case Kind::Dictionary: return equalDictionaries(tableRep(a), tableRep(b), open);
    default: return false;  // nil; null and numbers are settled above
  }
}

bool equalDeeply(const Value& a, const Value& b) {
  OpenPairs open;
  if (!equalNow(a, b, open)) return false;
  while (!open.isEmpty()) {
    const auto [x, y] = open.pop();
    if (!x->isSame(*y) && !equalNow(*x, *y, open)) return false;
  }
  return true;
}

// The count and the first few leaves, so that hashing a large or deep container stays cheap.
size_t mix(size_t h, size_t next) { return (h ^ next) * 0x9E3779B97F4A7C15u; }

size_t shallowHash(const Value& v) {
  return v.kind() >= Kind::Array && v.kind() <= Kind::Dictionary ? size_t{v.count()} : v.hash();
}

size_t hashOfArray(const ArrayRep* rep) {
  size_t h = mix(1, rep->count);
  for (size_t i = 0; i < rep->count && i < 4; ++i) h = mix(h, shallowHash(rep->items[i]));
  return h;
}

// Independent of the order of the entries.
size_t hashOfTable(const TableRep* rep) {
  size_t sum = 0;
  if (rep->count <= 16)
    for (size_t i = rep->nextLive(0); i < rep->used; i = rep->nextLive(i + 1)) sum += shallowHash(rep->key(i));
  return mix(sum, rep->count);
}

[[noreturn]] void raiseNoOrder(const Value& a, const Value& b) {
  NSException::raise(NSInvalidArgumentException,
                     NSString::stringWithFormat("-[%@ compare:]: there is no order between %@ and %@",
                                                a.className(), a.className(), b.className()));
}

NSComparisonResult compareDates(const NSDate& a, const NSDate& b) {
  const double x = a.timeIntervalSinceReferenceDate();
  const double y = b.timeIntervalSinceReferenceDate();
  return x < y ? NSOrderedAscending : x > y ? NSOrderedDescending : NSOrderedSame;
}

Value copyOfArray(const ArrayRep* rep, bool isMutable) {
  ArrayRep* result = ArrayRep::make(rep->count, isMutable);
  for (size_t i = 0; i < rep->count; ++i) result->append(rep->items[i]);
  return detail::Access::adopt(result);
}

Value copyOfTable(const TableRep* rep, bool isMutable) {
  TableRep* result = TableRep::make(rep->kind, rep->count, isMutable);
  Value owner = detail::Access::adopt(result);
  for (size_t i = rep->nextLive(0); i < rep->used; i = rep->nextLive(i + 1)) {
    bool added = false;
    const size_t at = result->findOrAdd(rep->key(i), added);
    if (rep->width == 2) result->value(at) = rep->value(i);
  }
  return owner;
}

const char* containerName(const Value& v) {
  const bool isMutable = detail::Access::heap(v)->has(detail::HeapObject::Mutable);
  switch (v.kind()) {
    case Kind::Array: return isMutable ? "NSMutableArray" : "NSArray";
    case Kind::Set: return isMutable ? "NSMutableSet" : "NSSet";
    case Kind::CountedSet: return "NSCountedSet";
    default: return isMutable ? "NSMutableDictionary" : "NSDictionary";
  }
}

}  // namespace

bool Value::isEqual(const Value& other) const {
  if (isNil() || other.isNil()) return false;
  return isSame(other) || equalDeeply(*this, other);
}

size_t Value::hash() const {
  switch (kind()) {
    case Kind::Nil: return 0;
    case Kind::Null: return 0x6E756C6C;
    case Kind::Bool:
    case Kind::Int:
    case Kind::UInt:
    case Kind::Double:
    case Kind::Decimal:
    case Kind::BigDecimal: return detail::hashOfNumber(*this);
    case Kind::Date: return mix(0x64617465, std::hash<double>{}(as<NSDate>().timeIntervalSinceReferenceDate()));
    case Kind::String: return detail::hashOfString(detail::stringRep(*this));
    case Kind::Data: return detail::hashOfData(heap());
    case Kind::URL: return detail::hashOfURL(heap());
    case Kind::Array: return hashOfArray(arrayRep(*this));
    case Kind::Set:
    case Kind::CountedSet:
    case Kind::Dictionary: return hashOfTable(tableRep(*this));
    case Kind::Object: return objectOf(*this)->hash();
  }
  __builtin_unreachable();
}

NSComparisonResult Value::compare(const Value& other) const {
  if (isNil() || other.isNil())
    return isNil() ? (other.isNil() ? NSOrderedSame : NSOrderedAscending) : NSOrderedDescending;
  if (NSNumber::accepts(*this) && NSNumber::accepts(other)) return detail::compareNumbers(*this, other);
  if (kind() != other.kind()) raiseNoOrder(*this, other);
  if (kind() == Kind::String) return as<NSString>().compare(other.as<NSString>());
  if (kind() == Kind::Date) return compareDates(as<NSDate>(), other.as<NSDate>());
  raiseNoOrder(*this, other);
}

NSString Value::className() const {
  switch (kind()) {
    case Kind::Nil: return nil;
    case Kind::Null: return "NSNull";
    case Kind::Bool:
    case Kind::Int:
    case Kind::UInt:
    case Kind::Double: return "NSNumber";
    case Kind::Date: return "NSDate";
    case Kind::Decimal:
    case Kind::BigDecimal: return "NSDecimalNumber";
    case Kind::String: return "NSString";
    case Kind::Data: return "NSData";
    case Kind::URL: return "NSURL";
    case Kind::Array:
    case Kind::Set:
    case Kind::CountedSet:
    case Kind::Dictionary: return containerName(*this);
    case Kind::Object: return objectOf(*this)->className();
  }
  __builtin_unreachable();
}

Value Value::copy() const {
  if (const NSObject* object = objectOf(*this)) return object->copyOfObject();
  const detail::HeapObject* object = isHeap() ? heap() : nullptr;
  if (!object || !object->has(detail::HeapObject::Mutable)) return *this;
  if (kind() == Kind::Array) return copyOfArray(arrayRep(*this), false);
  return copyOfTable(tableRep(*this), kind() == Kind::CountedSet);
}

Value Value::mutableCopy() const {
  if (kind() == Kind::Array) return copyOfArray(arrayRep(*this), true);
  if (const NSObject* object = objectOf(*this)) return object->mutableCopyOfObject();
  return tableRep(*this) ? copyOfTable(tableRep(*this), true) : *this;
}

NSUInteger Value::count() const {
  if (const ArrayRep* array = arrayRep(*this)) return array->count;
  if (const TableRep* table = tableRep(*this)) return table->count;
  const NSObject* object = objectOf(*this);
  return object ? object->count() : 0;
}

std::ostream& operator<<(std::ostream& out, const Value& value) {
  return out << (value.isNil() ? std::string("(null)") : value.description().utf8());
}

}  // namespace orv
