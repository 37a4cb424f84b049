#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "Platform/Foundation/Text/Base64.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSString.h"

// How data lies in memory, and the means by which the library's own units make and read it.
namespace orv::detail {

// Data on the heap. The bytes follow the header, or lie in another data when the Slice flag is set.
struct DataRep : HeapObject {
  uint64_t length = 0;

  struct SliceRef {
    DataRep* owner;
    const uint8_t* bytes;
  };

  const uint8_t* bytes() const noexcept { return has(Slice) ? slice()->bytes : inlineBytes(); }
  const uint8_t* inlineBytes() const noexcept { return reinterpret_cast<const uint8_t*>(this + 1); }
  uint8_t* inlineBytes() noexcept { return reinterpret_cast<uint8_t*>(this + 1); }
  const SliceRef* slice() const noexcept { return reinterpret_cast<const SliceRef*>(this + 1); }
  SliceRef* slice() noexcept { return reinterpret_cast<SliceRef*>(this + 1); }

  // Data whose bytes the caller fills in before anybody else sees it.
  ORV_EXPORT static DataRep* make(size_t length);
  // Makes data of a block from the pool whose first sizeof(DataRep) bytes are free for the header and whose
  // contents follow; the block was asked for with exactly the size of both.
  static DataRep* place(void* block, size_t length) noexcept;
  // A part of `owner`, which is kept alive.
  static DataRep* makeSlice(DataRep* owner, size_t location, size_t length);

 private:
  using HeapObject::HeapObject;
};

static_assert(sizeof(DataRep) == 16);

void destroyData(HeapObject* object) noexcept;
// The first and last bytes and the length: the same in every run.
size_t hashOfData(const HeapObject* object) noexcept;
bool equalData(const HeapObject* a, const HeapObject* b) noexcept;

// Base64 of bytes as a string, and back; nil when the text is not Base64.
ORV_EXPORT NSString base64Text(const void* bytes, size_t length, Base64Form form);
ORV_EXPORT NSData dataFromBase64Text(const NSString& text, Base64Form form);

// Data of a known length, its bytes written by fill(uint8_t* bytes).
template <class Fill>
NSData dataWithLength(size_t length, Fill&& fill) {
  DataRep* rep = DataRep::make(length);
  NSData data = Access::cast<NSData>(Access::adopt(rep));
  std::forward<Fill>(fill)(rep->inlineBytes());
  return data;
}

}  // namespace orv::detail
