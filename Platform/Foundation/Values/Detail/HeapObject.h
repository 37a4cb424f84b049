#pragma once

#include <sys/single_threaded.h>

#include <atomic>
#include <cstdint>

#include "Platform/Foundation/Export.h"
#include "Platform/Foundation/Values/Types.h"

// What every heap value begins with: the reference count and the kind. The count is intrusive and
// thread-safe; while the process has a single thread it is changed without atomic instructions.
namespace orv::detail {

struct HeapObject {
  enum Flag : uint8_t {
    Mutable = 1,   // a container that can change
    Wide = 2,      // a string of 16-bit units
    NotAscii = 4,  // an 8-bit string with units above 0x7F
    Slice = 8,     // the contents lie in another heap object
  };

  explicit HeapObject(Kind k, uint8_t f = 0) noexcept : kind(k), flags(f) {}
  HeapObject(const HeapObject&) = delete;
  HeapObject& operator=(const HeapObject&) = delete;

  bool has(Flag flag) const { return (flags & flag) != 0; }

  std::atomic<uint32_t> refs{1};
  Kind kind;
  uint8_t flags;
  uint16_t spare = 0;
};

// Ends the life of an object whose count has reached zero. Deeply nested containers are taken apart
// in a loop, not by recursion.
ORV_EXPORT void destroyHeapObject(HeapObject* object) noexcept;

inline void retain(HeapObject* object) noexcept {
  if (__libc_single_threaded)
    object->refs.store(object->refs.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  else
    object->refs.fetch_add(1, std::memory_order_relaxed);
}

inline void release(HeapObject* object) noexcept {
  if (__libc_single_threaded) {
    const uint32_t left = object->refs.load(std::memory_order_relaxed) - 1;
    object->refs.store(left, std::memory_order_relaxed);
    if (left == 0) destroyHeapObject(object);
  } else if (object->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    destroyHeapObject(object);
  }
}

// Takes a reference unless the object is already dying: how a weak reference becomes a strong one.
inline bool tryRetain(HeapObject* object) noexcept {
  uint32_t count = object->refs.load(std::memory_order_relaxed);
  while (count != 0)
    if (object->refs.compare_exchange_weak(count, count + 1, std::memory_order_acq_rel)) return true;
  return false;
}

}  // namespace orv::detail
