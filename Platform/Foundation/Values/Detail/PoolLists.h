#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "Platform/Foundation/Values/Detail/Pool.h"

// The short way through the pool, for the few places where strings come and go: a look at the thread's own list
// of free blocks, without a call.
namespace orv::detail {

inline constexpr std::size_t kPoolClasses = kPoolLargest / kPoolGrain;

// The free blocks of a class that a thread holds: their addresses, as a stack. The blocks themselves are not
// touched while they are free, and those that are asked for soon are fetched meanwhile.
struct PoolList {
  static constexpr std::size_t kAhead = 6;

  void** top = nullptr;     // above the last address; readable for kAhead places below the first one
  void** bottom = nullptr;  // the first address
  void** limit = nullptr;   // no room above; all are null before the first use and at the end of the thread
};

[[gnu::tls_model("initial-exec"),
  gnu::visibility("hidden")]] extern constinit thread_local std::array<PoolList, kPoolClasses>
    poolLists;

constexpr std::size_t poolClassOf(std::size_t bytes) { return bytes == 0 ? 0 : (bytes - 1) / kPoolGrain; }

// The list of the class is empty.
[[gnu::visibility("hidden")]] void* poolAllocateSlowly(std::size_t cls);
// The list is full, or there is no list (yet, or any more).
[[gnu::visibility("hidden")]] void poolFreeSlowly(void* block, std::size_t cls) noexcept;
[[gnu::visibility("hidden")]] void* poolAllocateLarge(std::size_t bytes);

inline void* poolAllocateInline(std::size_t bytes) {
  if (bytes > kPoolLargest) return poolAllocateLarge(bytes);
  const std::size_t cls = poolClassOf(bytes);
  PoolList& list = poolLists[cls];
  if (list.top == list.bottom) return poolAllocateSlowly(cls);
  void* block = *--list.top;
  __builtin_prefetch(*(list.top - PoolList::kAhead), 1);
  return block;
}

inline void poolFreeInline(void* memory, std::size_t bytes) noexcept {
  if (bytes > kPoolLargest) return std::free(memory);
  const std::size_t cls = poolClassOf(bytes);
  PoolList& list = poolLists[cls];
  if (list.top == list.limit) return poolFreeSlowly(memory, cls);
  *list.top++ = memory;
}

}  // namespace orv::detail
