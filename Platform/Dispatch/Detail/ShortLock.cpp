#include "Platform/Dispatch/Detail/ShortLock.h"

#include "Platform/Dispatch/Detail/WorkerPool.h"

namespace orv::detail {

void ShortLock::waitAndTake() noexcept {
  constexpr int kLooks = 8;  // each after a pause twice as long as the one before
  for (int look = 0; look < kLooks; ++look) {
    for (int i = 0; i < 1 << look; ++i) pauseProcessor();
    uint32_t free = kFree;
    if (state_.load(std::memory_order_relaxed) == kFree &&
        state_.compare_exchange_strong(free, kTaken, std::memory_order_acquire, std::memory_order_relaxed))
      return;
  }
  // Who has slept cannot know whether others sleep, and says so.
  while (state_.exchange(kWanted, std::memory_order_acquire) != kFree)
    state_.wait(kWanted, std::memory_order_relaxed);
}

}  // namespace orv::detail
