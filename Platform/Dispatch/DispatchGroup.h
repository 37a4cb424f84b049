#pragma once

#include <condition_variable>
#include <mutex>

#include "Platform/Dispatch/DispatchQueue.h"

// Counts things that have begun and not ended, and waits until there are none. Safe on every thread.
//
//   Ref<DispatchGroup> group = make<DispatchGroup>();
//   group->async(queue, [] { ... });
//   group->wait();
class ORV_EXPORT DispatchGroup : public NSObject {
 public:
  // One `leave` for each `enter`. One too many is ignored with a line on the console.
  void enter();
  void leave();
  // Submits a block that counts until it has run, or is destroyed without running.
  void async(const orv::Ref<DispatchQueue>& queue, orv::Block block);

  // Returns when the count is 0: at once when nothing was ever entered.
  void wait();
  // The same with a limit; false when the time is over first.
  bool wait(double seconds);

 private:
  std::mutex mutex_;  // guards count_
  std::condition_variable empty_;
  size_t count_ = 0;
};
