#include "Platform/Dispatch/Detail/NodeStore.h"

#include <pthread.h>
#include <sys/mman.h>

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "Platform/Dispatch/Detail/ShortLock.h"

namespace orv::detail {
namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kAlone = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer)
constexpr bool kAlone = true;
#else
constexpr bool kAlone = false;
#endif
#else
constexpr bool kAlone = false;
#endif

constexpr std::size_t kRegionSlabs = 64;  // asked for at once

}  // namespace

// The head of a slab; its nodes follow.
struct NodeStore::Slab {
  std::atomic<uint32_t> out{kSlabNodes};  // nodes that have not been given back

  static Slab* of(void* node) noexcept {
    auto* const byte = static_cast<std::byte*>(node);
    return reinterpret_cast<Slab*>(byte - reinterpret_cast<uintptr_t>(node) % kSlabBytes);
  }
  std::byte* first() noexcept { return reinterpret_cast<std::byte*>(this) + kNodeBytes; }
  std::byte* end() noexcept { return reinterpret_cast<std::byte*>(this) + kSlabBytes; }

  // True when these were the last.
  bool giveBack(uint32_t nodes) noexcept { return out.fetch_sub(nodes, std::memory_order_acq_rel) == nodes; }
  // Asks for the first nodes, to be written.
  void fetch() noexcept {
    for (std::size_t at = 0; at <= kAhead; at += kNodeBytes) __builtin_prefetch(first() + at, 1);
  }
};

// The slabs that nobody uses. Never destroyed: static destructors may still submit. The lock is held across
// every fork, so that a child can take it.
struct NodeStore::Depot {
  static Depot& shared() {
    static Depot* const depot = [] {
      ::pthread_atfork([] { shared().lock_.lock(); }, [] { shared().lock_.unlock(); },
                       [] { shared().lock_.unlock(); });
      return new Depot;
    }();
    return *depot;
  }

  // One slab at least.
  std::size_t take(Slab** slabs, std::size_t most) {
    const std::lock_guard guard(lock_);
    if (free_.empty()) grow();
    std::size_t count = 0;
    for (; count < most && !free_.empty(); free_.pop_back()) slabs[count++] = last();
    return count;
  }

  void put(Slab* const* slabs, std::size_t count) noexcept {
    const std::lock_guard guard(lock_);
    for (std::size_t i = 0; i < count; ++i) {
      slabs[i]->out.store(kSlabNodes, std::memory_order_relaxed);
      free_.push_back(slabs[i]);
    }
  }

  // True while there is more to do: others can take the lock meanwhile.
  bool trimOne() noexcept {
    const std::lock_guard guard(lock_);
    if (free_.size() <= cold_ + kMostFree) return false;
    ::madvise(free_[cold_++], kSlabBytes, MADV_DONTNEED);
    return true;
  }

  std::size_t warm() noexcept {
    const std::lock_guard guard(lock_);
    return free_.size() - cold_;
  }

 private:
  Slab* last() noexcept {
    if (free_.size() > cold_) return free_.back();
    --cold_;
    return new (free_.back()) Slab;
  }

  void grow() {
    free_.reserve(slabs_ + kRegionSlabs);
    void* const region = std::aligned_alloc(kSlabBytes, kRegionSlabs * kSlabBytes);
    if (!region) throw std::bad_alloc();
    slabs_ += kRegionSlabs;
    cold_ = kRegionSlabs;
    for (std::size_t i = kRegionSlabs; i-- > 0;)
      free_.push_back(reinterpret_cast<Slab*>(static_cast<std::byte*>(region) + i * kSlabBytes));
  }

  ShortLock lock_;
  std::vector<Slab*> free_;  // has room for all the slabs there are
  std::size_t cold_ = 0;     // so many of them, the first ones, are addresses without memory
  std::size_t slabs_ = 0;
};

// What a thread has fetched beyond the slab that it takes from. Trivially destructible, so that it can be asked
// until the thread is truly gone.
struct NodeStore::Spares {
  enum class Life : uint8_t { Unused, Running, Ended } life = Life::Unused;
  std::size_t count = 0;
  std::array<Slab*, kBatch> slabs{};
};

// Gives back what a thread has not taken when it ends.
struct NodeStore::ThreadEnd {
  ~ThreadEnd() {
    spares_.life = Spares::Life::Ended;
    const Run rest = std::exchange(run_, {});
    if (rest.next != rest.end) {
      Slab* const slab = Slab::of(rest.next);
      const auto bytes = static_cast<std::size_t>(rest.end - rest.next);
      if (slab->giveBack(static_cast<uint32_t>(bytes / kNodeBytes))) Depot::shared().put(&slab, 1);
    }
    Depot::shared().put(spares_.slabs.data(), std::exchange(spares_.count, 0));
  }
};

constinit thread_local NodeStore::Run NodeStore::run_;
constinit thread_local NodeStore::Spares NodeStore::spares_;

NodeStore::Slab* NodeStore::nextSlab() {
  if (spares_.count == 0) spares_.count = Depot::shared().take(spares_.slabs.data(), kBatch);
  Slab* const slab = spares_.slabs[--spares_.count];
  if (spares_.count > 0) spares_.slabs[spares_.count - 1]->fetch();
  return slab;
}

void* NodeStore::takeSlowly() {
  if constexpr (kAlone) {
    void* const node = std::malloc(kNodeBytes);
    if (!node) throw std::bad_alloc();
    return node;
  }
  if (spares_.life == Spares::Life::Unused) {
    static thread_local ThreadEnd atEnd;
    static_cast<void>(&atEnd);
    spares_.life = Spares::Life::Running;
  }
  if (spares_.life == Spares::Life::Ended) return takeLate();
  Slab* const slab = nextSlab();
  run_ = {slab->first() + kNodeBytes, slab->end()};
  return slab->first();
}

// On a thread that has ended but for the destruction of other objects: it may not come back.
void* NodeStore::takeLate() {
  Slab* slab = nullptr;
  Depot::shared().take(&slab, 1);
  slab->giveBack(kSlabNodes - 1);
  return slab->first();
}

NodeStore::Returns::~Returns() {
  if (nodes_ > 0) count(*slab_, nodes_);
  if (wholes_ > 0) Depot::shared().put(whole_.data(), wholes_);
}

void NodeStore::Returns::add(void* node) noexcept {
  if constexpr (kAlone) return std::free(node);
  Slab* const slab = Slab::of(node);
  if (slab != slab_ && nodes_ > 0) count(*slab_, std::exchange(nodes_, 0));
  slab_ = slab;
  ++nodes_;
}

void NodeStore::Returns::count(Slab& slab, uint32_t nodes) noexcept {
  if (!slab.giveBack(nodes)) return;
  whole_[wholes_++] = &slab;
  if (wholes_ == kBatch) Depot::shared().put(whole_.data(), std::exchange(wholes_, 0));
}

void NodeStore::trim() noexcept {
  while (Depot::shared().trimOne()) continue;
}

std::size_t NodeStore::freeSlabs() noexcept { return Depot::shared().warm(); }

}  // namespace orv::detail
