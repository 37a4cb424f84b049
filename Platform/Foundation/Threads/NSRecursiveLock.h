#pragma once

#include <atomic>
#include <cstdint>

#include "Platform/Foundation/Values/NSObject.h"

namespace orv::detail {
// Its address tells the calling thread from all others that live.
inline thread_local char threadMark;
}  // namespace orv::detail

// A lock that its owner may take again, and gives back as often as it took it. Everything that was written
// under the lock is visible to the next owner. Not fair: who comes at the right moment may pass those who wait.
//
//   const std::lock_guard guard(*lock);
class ORV_EXPORT NSRecursiveLock : public NSObject {
 public:
  void lock() noexcept {
    const void* const me = &orv::detail::threadMark;
    if (owner_.load(std::memory_order_relaxed) != me) {
      uint32_t free = kFree;
      if (!state_.compare_exchange_strong(free, kTaken, std::memory_order_acquire, std::memory_order_relaxed))
          [[unlikely]]
        waitAndTake();
      owner_.store(me, std::memory_order_relaxed);
    }
    ++depth_;
  }

  // True when the lock was free or the caller's own.
  bool tryLock() noexcept {
    const void* const me = &orv::detail::threadMark;
    if (owner_.load(std::memory_order_relaxed) != me) {
      uint32_t free = kFree;
      if (!state_.compare_exchange_strong(free, kTaken, std::memory_order_acquire, std::memory_order_relaxed))
        return false;
      owner_.store(me, std::memory_order_relaxed);
    }
    ++depth_;
    return true;
  }
  bool try_lock() noexcept { return tryLock(); }  // the standard's name

  // By a thread that is not the owner: ignored, with a line on the console.
  void unlock() noexcept {
    if (owner_.load(std::memory_order_relaxed) != &orv::detail::threadMark) [[unlikely]]
      return complain();
    if (--depth_ > 0) return;
    owner_.store(nullptr, std::memory_order_relaxed);
    if (state_.exchange(kFree, std::memory_order_release) == kWanted) [[unlikely]]
      state_.notify_one();
  }

 private:
  static constexpr uint32_t kFree = 0, kTaken = 1, kWanted = 2;  // wanted: taken, and somebody sleeps

  void waitAndTake() noexcept;
  void complain() const noexcept;

  std::atomic<uint32_t> state_{kFree};
  uint32_t depth_ = 0;                       // the owner's
  std::atomic<const void*> owner_{nullptr};  // only the owner finds itself here
};
