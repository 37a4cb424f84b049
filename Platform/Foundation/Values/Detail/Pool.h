#pragma once

#include <cstddef>

#include "Platform/Foundation/Export.h"

// The allocator below every heap value: size classes of 16 bytes up to 512, a free list per thread,
// 256 KiB chunks, and a shared depot through which threads hand surplus blocks to each other. Larger
// blocks come from malloc. Under the sanitizers and valgrind every block comes from malloc, so that
// each overrun is seen.
//
// Any thread may free a block that another thread made. Chunks are never given back.
namespace orv::detail {

inline constexpr std::size_t kPoolGrain = 16;
inline constexpr std::size_t kPoolLargest = 512;

// Memory for `bytes` bytes, aligned to 16. Throws std::bad_alloc when there is none.
ORV_EXPORT void* poolAllocate(std::size_t bytes);

// Gives back a block; `bytes` is the number it was asked for with. A null pointer is ignored.
ORV_EXPORT void poolFree(void* block, std::size_t bytes) noexcept;

// A block of another size with the same contents, as far as they fit. Large blocks grow in place or by moving
// pages where the system can.
ORV_EXPORT void* poolReallocate(void* block, std::size_t oldBytes, std::size_t newBytes);

// The bytes a block asked for with `bytes` really has: what a growing container may use.
constexpr std::size_t poolRoundedSize(std::size_t bytes) {
  return (bytes + kPoolGrain - 1) / kPoolGrain * kPoolGrain;
}

}  // namespace orv::detail
