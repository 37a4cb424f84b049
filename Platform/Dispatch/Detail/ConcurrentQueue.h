#pragma once

#include <atomic>
#include <mutex>

#include "Platform/Dispatch/DispatchQueue.h"

namespace orv::detail {

// A queue whose blocks run side by side, except for barriers. The lock guards the counters and the list of
// those that cannot start yet; it is never held while a block runs.
class ConcurrentQueue final : public DispatchQueue {
 public:
  explicit ConcurrentQueue(const NSString& label);
  ~ConcurrentQueue() override;

  bool hasSubmissions() const noexcept override { return first_.load(std::memory_order_relaxed) != nullptr; }

 protected:
  void submit(orv::Block&& block, ExceptionHandler handler, bool barrier) override;
  void runNow(BlockRef block, bool barrier) override;

 private:
  struct Link;
  struct Node;
  struct Waiter;

  bool startOrAppend(Link& link);
  bool mayStart(bool barrier) const noexcept;
  void countStart(bool barrier) noexcept;
  void ended(bool barrier) noexcept;

  std::mutex mutex_;
  std::atomic<Link*> first_{nullptr};  // cannot start yet, in order
  Link* last_ = nullptr;
  size_t running_ = 0;
  bool barrierRuns_ = false;
};

}  // namespace orv::detail
