#include "Platform/Foundation/Threads/NSRecursiveLock.h"

#include "Platform/Dispatch/Detail/WorkerPool.h"
#include "Platform/Foundation/System/NSConsole.h"
#include "Platform/Foundation/Values/NSString.h"

using namespace orv;

void NSRecursiveLock::waitAndTake() noexcept {
  constexpr int kLooks = 100;
  for (int look = 0; look < kLooks; ++look) {
    detail::pauseProcessor();
    uint32_t free = kFree;
    if (state_.load(std::memory_order_relaxed) == kFree &&
        state_.compare_exchange_strong(free, kTaken, std::memory_order_acquire, std::memory_order_relaxed))
      return;
  }
  const detail::BlockingWait waiting;
  // Who has slept cannot know whether others sleep, and says so.
  while (state_.exchange(kWanted, std::memory_order_acquire) != kFree)
    state_.wait(kWanted, std::memory_order_relaxed);
}

void NSRecursiveLock::complain() const noexcept {
  NSLog("The lock %p was unlocked by a thread that does not own it", static_cast<const void*>(this));
}
