#pragma once

#include <atomic>
#include <mutex>
#include <utility>

// Runs a block once for all threads: the first caller runs it, others wait until it has run. When it throws,
// the next caller tries again. Asking again costs a load. Calling `run` from inside the block waits for ever.
//
//   static DispatchOnce once;
//   once.run([] { makeFolder(); });
class DispatchOnce {
 public:
  constexpr DispatchOnce() = default;
  DispatchOnce(const DispatchOnce&) = delete;
  DispatchOnce& operator=(const DispatchOnce&) = delete;

  template <class F>
  void run(F&& block) {
    if (done_.load(std::memory_order_acquire)) return;
    const std::lock_guard lock(mutex_);
    if (done_.load(std::memory_order_relaxed)) return;
    std::forward<F>(block)();
    done_.store(true, std::memory_order_release);
  }

 private:
  std::atomic<bool> done_{false};
  std::mutex mutex_;
};
