#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "Platform/Foundation/Export.h"

namespace orv::detail {

// Memory for what waits in queues, a line of the cache for each. A thread takes its nodes from a slab, one
// beside the other, so that whoever runs a burst can fetch them ahead; a slab is used again when all of its
// nodes have been given back, by whatever threads. Slabs go to and from the depot a few at a time. When the
// work is done, `trim` gives what nobody uses back to the system, all but kMostFree slabs and the addresses.
// Under the address sanitizer every node comes from malloc, so that each late access is seen.
//
// Any thread, also at its end. A forked child may go on using it.
class ORV_EXPORT NodeStore {
 public:
  static constexpr std::size_t kNodeBytes = 64;
  static constexpr std::size_t kSlabBytes = 4096;                         // a page
  static constexpr std::size_t kSlabNodes = kSlabBytes / kNodeBytes - 1;  // behind the head
  static constexpr std::size_t kMostFree = 4096;                          // 16 MiB
  static constexpr std::size_t kBatch = 4;                                // slabs

  // Memory for one node. Throws std::bad_alloc when there is none.
  static void* take() {
    if (run_.next == run_.end) [[unlikely]]
      return takeSlowly();
    __builtin_prefetch(run_.next + kAhead, 1);
    void* const node = run_.next;
    run_.next += kNodeBytes;
    return node;
  }

  // Fetches one of the nodes that the same thread took soon after this one, but none behind `last`: another
  // processor may be writing there.
  static void fetchBehind(const void* node, const void* last) noexcept {
    const auto* const from = static_cast<const std::byte*>(node);
    const auto left = reinterpret_cast<uintptr_t>(last) - reinterpret_cast<uintptr_t>(node);
    if (left > kAhead) __builtin_prefetch(from + kAhead);
  }

 private:
  struct Slab;

 public:
  // Gives nodes back: neighbours together, the last ones when the object ends.
  class ORV_EXPORT Returns {
   public:
    Returns() = default;
    Returns(const Returns&) = delete;
    Returns& operator=(const Returns&) = delete;
    ~Returns();

    void add(void* node) noexcept;

   private:
    void count(Slab& slab, uint32_t nodes) noexcept;

    Slab* slab_ = nullptr;  // of the last nodes that were added
    uint32_t nodes_ = 0;
    std::size_t wholes_ = 0;
    std::array<Slab*, kBatch> whole_;  // all of whose nodes are back
  };

  // Not too often: what a burst needed is soon needed again. The pool calls it when a thread has had nothing to
  // do for a while.
  static void trim() noexcept;

  // How many slabs of those that nobody uses still have their memory.
  static std::size_t freeSlabs() noexcept;

 private:
  // The nodes that a thread has not taken yet of its slab; both null before the first one.
  struct Run {
    std::byte* next = nullptr;
    std::byte* end = nullptr;
  };
  struct Depot;
  struct Spares;
  struct ThreadEnd;

  static constexpr std::size_t kAhead = 6 * kNodeBytes;

  static void* takeSlowly();
  static void* takeLate();
  static Slab* nextSlab();

  [[gnu::tls_model("initial-exec")]] static constinit thread_local Run run_;
  static constinit thread_local Spares spares_;
};

}  // namespace orv::detail
