#include "Platform/Foundation/Values/Detail/Pool.h"

#include <pthread.h>

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

  void put(std::size_t cls, PoolBlock* chain) {
    const std::lock_guard lock(mutex_);
    chain->nextChain = chains_[cls];
    chains_[cls] = chain;
  }

  PoolBlock* take(std::size_t cls) {
    const std::lock_guard lock(mutex_);
    PoolBlock* chain = chains_[cls];
    if (chain) chains_[cls] = chain->nextChain;
    return chain;
  }

  void putRest(Rest rest) {
    const std::lock_guard lock(mutex_);
    if (restCount_ < rests_.size()) rests_[restCount_++] = rest;
  }

  // A chunk to carve blocks from: one that an ended thread left, or fresh memory.
  Rest takeChunk() {
    {
      const std::lock_guard lock(mutex_);
      if (restCount_ > 0) return rests_[--restCount_];
    }
    char* memory = static_cast<char*>(std::aligned_alloc(kPoolGrain, kChunkBytes));
    if (!memory) throw std::bad_alloc();
    return {memory, memory + kChunkBytes};
  }

 private:
  // A child forked while another thread holds the lock could never take it: the lock is held across every fork.
  static Depot* makeSafeToFork(Depot* depot) {
    forked_ = depot;
    ::pthread_atfork([] { forked_->mutex_.lock(); }, [] { forked_->mutex_.unlock(); },
                     [] { forked_->mutex_.unlock(); });
    return depot;
  }

  static inline Depot* forked_ = nullptr;
  std::mutex mutex_;  // guards everything below
  std::array<PoolBlock*, kPoolClasses> chains_{};
  std::array<Rest, 64> rests_{};
  std::size_t restCount_ = 0;
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
      if (list.head) Depot::shared().put(cls, list.head);
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
  PoolBlock* chain = Depot::shared().take(cls);
  if (!chain) return carve(sizeOfClass(cls));
  if (pool.life == ThreadPool::Life::Ended) {
    if (chain->next) Depot::shared().put(cls, chain->next);
    return chain;
  }
  PoolList& list = poolLists[cls];
  list.head = chain->next;
  list.count = 0;
  for (PoolBlock* b = list.head; b; b = b->next) ++list.count;
  return chain;
}

void poolFreeSlowly(PoolBlock* block, std::size_t cls) noexcept {
  if (passesThrough()) return std::free(block);
  if (pool.life == ThreadPool::Life::Unused) begin();
  if (pool.life == ThreadPool::Life::Ended) {
    block->next = nullptr;
    return Depot::shared().put(cls, block);
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
