#pragma once

#include <atomic>

#include "Platform/Foundation/Threads/NSOperationQueue.h"

// Turns a burst of triggers into one run of a block: the first trigger schedules the run `delay` seconds later
// on the main run loop; triggers until then are dropped. The block runs on the main thread, or as an operation
// on a queue.
//
//   saver_ = OrvDebounce::initWithDelay(0.5, nil, [=](const auto&) { save(); });
//   saver_->debounce();                                    // as often as something changes
//
// 1. A trigger counts when `delay` seconds or more have passed since the one that counted last, and the clock
//    does not show an earlier time than that of the last run.
// 2. `debounce` and `cancel` are safe on every thread. The time stamps are not locked: two threads that trigger
//    at the same moment may schedule two runs.
// 3. A pending run keeps the debouncer alive; an operation that has been handed to the queue does not, and does
//    nothing when the debouncer is gone.
// 4. An exception derived from std::exception that leaves the block is logged at Warning as "Exception %@".
//
// The main thread has to run its loop (see NSRunLoop). A block that holds its debouncer keeps both for ever.
class ORV_EXPORT OrvDebounce : public NSObject {
 public:
  // Gets the operation that runs it, to ask whether it is cancelled; nil on the main thread.
  using RunBlock = orv::BlockOf<void(const orv::Ref<NSBlockOperation>& operation)>;

  // A nil queue is the main thread. An empty block is taken with one Warning, and then nothing ever runs.
  static orv::Ref<OrvDebounce> initWithDelay(double delaySeconds, const orv::Ref<NSOperationQueue>& queue,
                                             RunBlock block);
  NSString className() const override { return "OrvDebounce"; }

  // The trigger.
  void debounce();
  // Drops a pending run; the next trigger counts. Waits for the main thread. An operation that is already in
  // the queue is not cancelled.
  void cancel();
  // Runs the block now, or hands it to the queue: what the main run loop calls.
  void performDebounce();

  // Kept and answered, without effect.
  double maxDelay() const { return maxDelay_.load(std::memory_order_relaxed); }
  void setMaxDelay(double maxDelaySeconds) { maxDelay_.store(maxDelaySeconds, std::memory_order_relaxed); }

 private:
  template <std::derived_from<NSObject> T, class... Args>
  friend orv::Ref<T> orv::make(Args&&... args);
  OrvDebounce(double delay, const orv::Ref<NSOperationQueue>& queue, RunBlock block);
  void runBlock(const orv::Ref<NSBlockOperation>& operation);

  std::atomic<double> lastPerform_{0};  // seconds since 2001; 0 for never
  std::atomic<double> lastEnqueue_{0};
  const double delay_;
  RunBlock block_;
  const orv::Ref<NSOperationQueue> queue_;
  std::atomic<double> maxDelay_{0};
};
