#include "Platform/Dispatch/DispatchGroup.h"

#include <chrono>

#include "Platform/Dispatch/Detail/WorkerPool.h"
#include "Platform/Foundation/System/NSConsole.h"

using namespace orv;

namespace {

// Leaves the group when it ends; it moves with the block that it belongs to.
class Membership {
 public:
  explicit Membership(Ref<DispatchGroup> group) : group_(std::move(group)) { group_->enter(); }
  Membership(Membership&& other) noexcept : group_(std::move(other.group_)) {}
  Membership(const Membership&) = delete;
  Membership& operator=(const Membership&) = delete;
  ~Membership() {
    if (group_) group_->leave();
  }

 private:
  Ref<DispatchGroup> group_;
};

}  // namespace

void DispatchGroup::enter() {
  const std::lock_guard lock(mutex_);
  ++count_;
}

void DispatchGroup::leave() {
  {
    const std::lock_guard lock(mutex_);
    if (count_ > 0) {
      if (--count_ == 0) empty_.notify_all();
      return;
    }
  }
  NSLog("A group was left more often than entered");
}

void DispatchGroup::async(const Ref<DispatchQueue>& queue, Block block) {
  if (!queue) return;
  if (!block) return queue->async(nullptr);
  queue->async([membership = Membership(Ref(this)), block = std::move(block)]() mutable { block(); });
}

void DispatchGroup::wait() {
  std::unique_lock lock(mutex_);
  if (count_ == 0) return;
  const detail::BlockingWait waiting;
  empty_.wait(lock, [&] { return count_ == 0; });
}

bool DispatchGroup::wait(double seconds) {
  constexpr double kLongest = 1e9;
  std::unique_lock lock(mutex_);
  if (count_ == 0) return true;
  const detail::BlockingWait waiting;
  const std::chrono::duration<double> limit(!(seconds > 0) ? 0 : seconds < kLongest ? seconds : kLongest);
  return empty_.wait_for(lock, limit, [&] { return count_ == 0; });
}
