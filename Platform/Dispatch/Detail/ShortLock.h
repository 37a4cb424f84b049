#pragma once

#include <atomic>
#include <cstdint>

namespace orv::detail {

// A lock for a few instructions: who finds it taken spins for a moment before it sleeps, because a change of
// threads costs more than what the lock guards. Not recursive, not fair.
class ShortLock {
 public:
  void lock() noexcept {
    uint32_t free = kFree;
    if (!state_.compare_exchange_strong(free, kTaken, std::memory_order_acquire, std::memory_order_relaxed))
        [[unlikely]]
      waitAndTake();
  }
  void unlock() noexcept {
    if (state_.exchange(kFree, std::memory_order_release) == kWanted) [[unlikely]]
      state_.notify_one();
  }

 private:
  static constexpr uint32_t kFree = 0, kTaken = 1, kWanted = 2;  // wanted: taken, and somebody sleeps

  void waitAndTake() noexcept;

  std::atomic<uint32_t> state_{kFree};
};

}  // namespace orv::detail
