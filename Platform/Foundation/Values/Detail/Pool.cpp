#include "Platform/Foundation/Values/Detail/Pool.h"

#include <pthread.h>
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

#include "Platform/Foundation/Values/Detail/PoolLists.h"

namespace orv::detail {
namespace {

constexpr std::size_t kChunkBytes = std::size_t{256} * 1024;
constexpr std::size_t kHugePage = std::size_t{2} * 1024 * 1024;
constexpr std::size_t kSmallRegions = 16;  // of one chunk each: 4 MiB

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

// The unused rest of a chunk whose thread has ended.
struct Rest {
  char* at;
  char* end;
};

constexpr std::size_t sizeOfClass(std::size_t cls) { return (cls + 1) * kPoolGrain; }

// How many blocks move between a thread and the depot at a time: about 8 KiB of them.
constexpr uint32_t batchOf(std::size_t cls) {
  return static_cast<uint32_t>(std::max<std::size_t>(16, 8192 / sizeOfClass(cls)));
}

// Valgrind preloads a library of its own into every program it runs.
bool runsUnderValgrind() {
  const char* preloaded = std::getenv("LD_PRELOAD");
  return preloaded && std::strstr(preloaded, "vgpreload");
}

bool passesThrough() {
  static const bool answer = kSanitized || runsUnderValgrind();
  return answer;
}

// The blocks that no thread owns. Never destroyed: static destructors may still free values.
class Depot {
 public:
  static Depot& shared() {
    alignas(Depot) static char storage[sizeof(Depot)];
    static Depot* const depot = makeSafeToFork(new (storage) Depot);
    return *depot;
  }

  // A chain of a whole batch.
  void put(std::size_t cls, PoolBlock* chain) { push(batches_[cls], chain); }
  // A chain of any length.
  void putOdd(std::size_t cls, PoolBlock* chain) { push(odd_[cls], chain); }

  // A chain and its length; null when there is none. Counting a batch would only fetch its blocks from memory.
  PoolBlock* take(std::size_t cls, uint32_t& count) {
    PoolBlock* chain = pop(batches_[cls]);
    count = batchOf(cls);
    if (chain) return chain;
    chain = pop(odd_[cls]);
    count = 0;
    for (const PoolBlock* b = chain; b; b = b->next) ++count;
    return chain;
  }

  void putRest(Rest rest) {
    const std::lock_guard lock(mutex_);
    if (restCount_ < rests_.size()) rests_[restCount_++] = rest;
  }

  // A chunk to carve blocks from: one that an ended thread left, or fresh memory.
  Rest takeChunk() {
    const std::lock_guard lock(mutex_);
    if (restCount_ > 0) return rests_[--restCount_];
    if (region_.at == region_.end) takeRegion();
    char* memory = region_.at;
    region_.at += kChunkBytes;
    return {memory, memory + kChunkBytes};
  }

 private:
  // Memory for the next chunks. Once there is much of it, it lies in huge pages: large trees are spread all
  // over it, and half of the time to walk one would go into looking up small pages.
  void takeRegion() {
    const bool large = ++regions_ > kSmallRegions;
    const std::size_t bytes = large ? kHugePage : kChunkBytes;
    char* memory = static_cast<char*>(std::aligned_alloc(large ? kHugePage : kPoolGrain, bytes));
    if (!memory) throw std::bad_alloc();
    if (large) ::madvise(memory, bytes, MADV_HUGEPAGE);
    region_ = {memory, memory + bytes};
  }

  // A child forked while another thread holds the lock could never take it: the lock is held across every fork.
  static Depot* makeSafeToFork(Depot* depot) {
    forked_ = depot;
    ::pthread_atfork([] { forked_->mutex_.lock(); }, [] { forked_->mutex_.unlock(); },
                     [] { forked_->mutex_.unlock(); });
    return depot;
  }

  void push(PoolBlock*& chains, PoolBlock* chain) {
    const std::lock_guard lock(mutex_);
    chain->nextChain = chains;
    chains = chain;
  }

  PoolBlock* pop(PoolBlock*& chains) {
    const std::lock_guard lock(mutex_);
    PoolBlock* chain = chains;
    if (chain) chains = chain->nextChain;
    return chain;
  }

  static inline Depot* forked_ = nullptr;
  std::mutex mutex_;  // guards everything below
  std::array<PoolBlock*, kPoolClasses> batches_{};
  std::array<PoolBlock*, kPoolClasses> odd_{};
  std::array<Rest, 64> rests_{};
  std::size_t restCount_ = 0;
  Rest region_{nullptr, nullptr};
  std::size_t regions_ = 0;
};

// What a thread keeps beside its lists. Trivially destructible, so that it can be used until the thread is
// truly gone.
struct ThreadPool {
  Rest chunk{nullptr, nullptr};
  enum class Life : uint8_t { Unused, Running, Ended } life = Life::Unused;
};

[[gnu::tls_model("initial-exec")]] constinit thread_local ThreadPool pool;

// Hands everything a thread holds to the depot when the thread ends.
struct ThreadEnd {
  ~ThreadEnd() {
    for (std::size_t cls = 0; cls < kPoolClasses; ++cls) {
      PoolList& list = poolLists[cls];
      if (list.head) Depot::shared().putOdd(cls, list.head);
      list = PoolList{};
    }
    Depot::shared().putRest(pool.chunk);
    pool.chunk = {nullptr, nullptr};
    pool.life = ThreadPool::Life::Ended;
  }
};

void begin() {
  static thread_local ThreadEnd atEnd;
  static_cast<void>(&atEnd);
  for (std::size_t cls = 0; cls < kPoolClasses; ++cls) poolLists[cls].limit = 4 * batchOf(cls);
  pool.life = ThreadPool::Life::Running;
}

// The rest of a chunk is smaller than the block asked for: it becomes a block of its own size.
void dropChunk() {
  const auto left = static_cast<std::size_t>(pool.chunk.end - pool.chunk.at);
  if (left < kPoolGrain) return;
  const std::size_t cls = poolClassOf(left);
  auto* block = reinterpret_cast<PoolBlock*>(pool.chunk.at);
  block->next = poolLists[cls].head;
  poolLists[cls].head = block;
  ++poolLists[cls].count;
}

void* carve(std::size_t bytes) {
  if (static_cast<std::size_t>(pool.chunk.end - pool.chunk.at) < bytes) {
    dropChunk();
    pool.chunk = Depot::shared().takeChunk();
    if (static_cast<std::size_t>(pool.chunk.end - pool.chunk.at) < bytes) return carve(bytes);
  }
  void* block = pool.chunk.at;
  pool.chunk.at += bytes;
  return block;
}

// Cuts one batch off the list and gives it to the depot.
void shed(PoolList& list, std::size_t cls) {
  PoolBlock* chain = list.head;
  PoolBlock* last = chain;
  for (uint32_t i = 1; i < batchOf(cls); ++i) last = last->next;
  list.head = last->next;
  list.count -= batchOf(cls);
  last->next = nullptr;
  Depot::shared().put(cls, chain);
}

}  // namespace

constinit thread_local std::array<PoolList, kPoolClasses> poolLists;

void* poolAllocateSlowly(std::size_t cls) {
  if (passesThrough()) {
    void* block = std::malloc(sizeOfClass(cls));
    if (!block) throw std::bad_alloc();
    return block;
  }
  if (pool.life == ThreadPool::Life::Unused) begin();
  uint32_t count = 0;
  PoolBlock* chain = Depot::shared().take(cls, count);
  if (!chain) return carve(sizeOfClass(cls));
  if (pool.life == ThreadPool::Life::Ended) {
    if (chain->next) Depot::shared().putOdd(cls, chain->next);
    return chain;
  }
  poolLists[cls].head = chain->next;
  poolLists[cls].count = count - 1;
  return chain;
}

void poolFreeSlowly(PoolBlock* block, std::size_t cls) noexcept {
  if (passesThrough()) return std::free(block);
  if (pool.life == ThreadPool::Life::Unused) begin();
  if (pool.life == ThreadPool::Life::Ended) {
    block->next = nullptr;
    return Depot::shared().putOdd(cls, block);
  }
  PoolList& list = poolLists[cls];
  if (list.count >= list.limit) shed(list, cls);
  block->next = list.head;
  list.head = block;
  ++list.count;
}

void* poolAllocateLarge(std::size_t bytes) {
  void* block = std::malloc(bytes);
  if (!block) throw std::bad_alloc();
  return block;
}

void* poolAllocate(std::size_t bytes) { return poolAllocateInline(bytes); }

void poolFree(void* memory, std::size_t bytes) noexcept {
  if (memory) poolFreeInline(memory, bytes);
}

void* poolReallocate(void* block, std::size_t oldBytes, std::size_t newBytes) {
  if (oldBytes > kPoolLargest && newBytes > kPoolLargest) {
    void* moved = std::realloc(block, newBytes);
    if (!moved) throw std::bad_alloc();
    return moved;
  }
  void* fresh = poolAllocate(newBytes);
  if (block) std::memcpy(fresh, block, std::min(oldBytes, newBytes));
  poolFree(block, oldBytes);
  return fresh;
}

}  // namespace orv::detail
