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
#include <utility>

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
constexpr std::size_t batchOf(std::size_t cls) { return std::max<std::size_t>(16, 8192 / sizeOfClass(cls)); }

// A batch of free blocks on its way between threads.
struct Magazine {
  static Magazine* make(std::size_t cls) noexcept {
    const std::size_t places = PoolList::kAhead + batchOf(cls);
    void* memory = std::calloc(1, sizeof(Magazine) + places * sizeof(void*));
    return memory ? new (memory) Magazine : nullptr;
  }

  void** first() noexcept { return reinterpret_cast<void**>(this + 1) + PoolList::kAhead; }
  void** end() noexcept { return first() + count; }

  Magazine* next = nullptr;
  std::size_t count = 0;
};

// A free block that lies in no magazine: its thread has ended, or there was no memory for one.
struct Stray {
  Stray* next;
};

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

  // A magazine with or without blocks.
  void put(std::size_t cls, Magazine* magazine) {
    const std::lock_guard lock(mutex_);
    Magazine*& list = magazine->count != 0 ? full_[cls] : empty_[cls];
    magazine->next = list;
    list = magazine;
  }

  // A magazine with blocks; null when there is none.
  Magazine* takeFull(std::size_t cls) {
    const std::lock_guard lock(mutex_);
    return pop(full_[cls]);
  }

  // One without; null when there is no memory for it.
  Magazine* takeEmpty(std::size_t cls) {
    {
      const std::lock_guard lock(mutex_);
      if (Magazine* magazine = pop(empty_[cls])) return magazine;
    }
    return Magazine::make(cls);
  }

  void putStray(std::size_t cls, void* block) {
    const std::lock_guard lock(mutex_);
    strays_[cls] = new (block) Stray{strays_[cls]};
  }

  void* takeStray(std::size_t cls) {
    const std::lock_guard lock(mutex_);
    Stray* stray = strays_[cls];
    if (stray) strays_[cls] = stray->next;
    return stray;
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

  static Magazine* pop(Magazine*& list) noexcept {
    Magazine* magazine = list;
    if (magazine) list = magazine->next;
    return magazine;
  }

  static inline Depot* forked_ = nullptr;
  std::mutex mutex_;  // guards everything below
  std::array<Magazine*, kPoolClasses> full_{};
  std::array<Magazine*, kPoolClasses> empty_{};
  std::array<Stray*, kPoolClasses> strays_{};
  std::array<Rest, 64> rests_{};
  std::size_t restCount_ = 0;
  Rest region_{nullptr, nullptr};
  std::size_t regions_ = 0;
};

// What a thread keeps beside its lists. Trivially destructible, so that it can be used until the thread is
// truly gone. The reserve lets neither a long run of one kind nor an alternation at the edge of a magazine go
// to the depot each time.
struct ThreadPool {
  Rest chunk{nullptr, nullptr};
  enum class Life : uint8_t { Unused, Running, Ended } life = Life::Unused;
  std::array<Magazine*, kPoolClasses> current{};  // what the lists look into
  std::array<Magazine*, kPoolClasses> reserve{};
};

constinit thread_local ThreadPool pool;

// Takes note of how many blocks the current magazine holds.
void settle(std::size_t cls) noexcept {
  if (Magazine* current = pool.current[cls])
    current->count = static_cast<std::size_t>(poolLists[cls].top - current->first());
}

void use(Magazine* magazine, std::size_t cls) noexcept {
  pool.current[cls] = magazine;
  poolLists[cls] = {magazine->end(), magazine->first(), magazine->first() + batchOf(cls)};
}

// Hands everything a thread holds to the depot when the thread ends.
struct ThreadEnd {
  ~ThreadEnd() {
    for (std::size_t cls = 0; cls < kPoolClasses; ++cls) {
      settle(cls);
      poolLists[cls] = {};
      for (Magazine* magazine : {pool.current[cls], pool.reserve[cls]})
        if (magazine) Depot::shared().put(cls, magazine);
    }
    Depot::shared().putRest(pool.chunk);
    pool = {};
    pool.life = ThreadPool::Life::Ended;
  }
};

void begin() {
  static thread_local ThreadEnd atEnd;
  static_cast<void>(&atEnd);
  pool.life = ThreadPool::Life::Running;
}

// Puts the current magazine, which is empty or full, into reserve, and what was there into the depot.
void setAside(std::size_t cls) {
  settle(cls);
  if (pool.reserve[cls]) Depot::shared().put(cls, pool.reserve[cls]);
  pool.reserve[cls] = std::exchange(pool.current[cls], nullptr);
  poolLists[cls] = {};
}

// Makes a magazine with blocks, or one with room for them, the current one. False when there is none.
bool fetchFull(std::size_t cls) {
  Magazine* reserve = pool.reserve[cls];
  Magazine* full = reserve && reserve->count != 0 ? std::exchange(pool.reserve[cls], nullptr)
                                                  : Depot::shared().takeFull(cls);
  if (!full) return false;
  setAside(cls);
  use(full, cls);
  return true;
}

bool fetchEmpty(std::size_t cls) {
  Magazine* reserve = pool.reserve[cls];
  Magazine* empty = reserve && reserve->count == 0 ? std::exchange(pool.reserve[cls], nullptr)
                                                   : Depot::shared().takeEmpty(cls);
  if (!empty) return false;
  setAside(cls);
  use(empty, cls);
  return true;
}

// The rest of a chunk is smaller than the block asked for: it becomes a block of its own size.
void dropChunk() {
  const auto left = static_cast<std::size_t>(pool.chunk.end - pool.chunk.at);
  if (left >= kPoolGrain) poolFreeInline(pool.chunk.at, left);
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

}  // namespace

constinit thread_local std::array<PoolList, kPoolClasses> poolLists;

void* poolAllocateSlowly(std::size_t cls) {
  if (passesThrough()) {
    void* block = std::malloc(sizeOfClass(cls));
    if (!block) throw std::bad_alloc();
    return block;
  }
  if (pool.life == ThreadPool::Life::Unused) begin();
  if (pool.life == ThreadPool::Life::Running && fetchFull(cls)) return *--poolLists[cls].top;
  void* stray = Depot::shared().takeStray(cls);
  return stray ? stray : carve(sizeOfClass(cls));
}

void poolFreeSlowly(void* block, std::size_t cls) noexcept {
  if (passesThrough()) return std::free(block);
  if (pool.life == ThreadPool::Life::Unused) begin();
  if (pool.life == ThreadPool::Life::Running && fetchEmpty(cls))
    *poolLists[cls].top++ = block;
  else
    Depot::shared().putStray(cls, block);
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
