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

// A free block. Blocks of one class form chains; the depot keeps chains of whole batches.
struct PoolBlock {
  PoolBlock* next;
  PoolBlock* nextChain;
};
static_assert(sizeof(PoolBlock) <= kPoolGrain);

struct PoolList {
  PoolBlock* head = nullptr;
  uint32_t count = 0;
  uint32_t limit = 0;  // at this length the slow path looks at the list; 0 before the first use and at the end
};

[[gnu::tls_model("initial-exec"),
  gnu::visibility("hidden")]] extern constinit thread_local std::array<PoolList, kPoolClasses>
    poolLists;

constexpr std::size_t poolClassOf(std::size_t bytes) { return bytes == 0 ? 0 : (bytes - 1) / kPoolGrain; }

// The list of the class is empty.
[[gnu::visibility("hidden")]] void* poolAllocateSlowly(std::size_t cls);
// The list has reached its limit, or there is no list (yet, or any more).
[[gnu::visibility("hidden")]] void poolFreeSlowly(PoolBlock* block, std::size_t cls) noexcept;
[[gnu::visibility("hidden")]] void* poolAllocateLarge(std::size_t bytes);

inline void* poolAllocateInline(std::size_t bytes) {
  if (bytes > kPoolLargest) return poolAllocateLarge(bytes);
  const std::size_t cls = poolClassOf(bytes);
  PoolList& list = poolLists[cls];
  PoolBlock* block = list.head;
  if (!block) return poolAllocateSlowly(cls);
  list.head = block->next;
  __builtin_prefetch(list.head, 1);  // what is asked for next
  --list.count;
  return block;
}

inline void poolFreeInline(void* memory, std::size_t bytes) noexcept {
  if (bytes > kPoolLargest) return std::free(memory);
  const std::size_t cls = poolClassOf(bytes);
  auto* block = static_cast<PoolBlock*>(memory);
  PoolList& list = poolLists[cls];
  if (list.count >= list.limit) return poolFreeSlowly(block, cls);
  block->next = list.head;
  list.head = block;
  ++list.count;
}

}  // namespace orv::detail
