#pragma once

#include <atomic>

#include "Platform/Dispatch/Detail/WorkerPool.h"
#include "Platform/Dispatch/DispatchQueue.h"

namespace orv::detail {

// A serial queue. One word is the whole state: idle, owned with nothing new, or owned with a list of
// submissions, the newest first. Whoever finds it idle becomes the owner; the owner alone takes the list, as a
// whole, turns it round and runs it. A synchronous caller becomes the owner itself, at once or when its turn
// comes, and so runs its block on its own thread.
class SerialQueue final : public DispatchQueue, private Job {
 public:
  SerialQueue(const NSString& label, const Ref<DispatchQueue>& target);

  void runRestAtExit() noexcept override;

  // `sync` for an owner that does not let go of the queue but by `letGo`: it saves counting references.
  void runKept(BlockRef block);
  // Gives up a reference, when what is running and waiting now has run.
  void letGo() noexcept;

  // For the report of queues that wait for each other: the number of the thread that owns the queue, 0 for
  // none.
  NSUInteger ownerThread() const noexcept { return owner_.load(std::memory_order_relaxed); }

 protected:
  void submit(orv::Block&& block, ExceptionHandler handler, bool barrier) override;
  void runNow(BlockRef block, bool barrier) override;

 private:
  struct Link;
  struct Node;
  struct Waiter;
  class Ownership;

  // The two values of `newest_` that are no address.
  static constexpr uintptr_t kIdle = 0, kOwned = 1;

  static Link* linkOf(uintptr_t word) noexcept { return reinterpret_cast<Link*>(word); }
  bool becomeOwner() noexcept;
  bool becomeOwnerSoon() noexcept;
  bool push(Link& link) noexcept;
  void waitForTurn();
  void runOwned(BlockRef block);
  void leaveKept() noexcept;
  void schedule();
  void runList() noexcept;
  void runFirst() noexcept;
  bool runAllReady() noexcept;
  void takeNew() noexcept;
  bool moreComes() const noexcept;
  bool leave() noexcept;
  void passOn() noexcept;
  void grantFirst() noexcept;
  void noteOwner() noexcept;
  void noteNoOwner() noexcept;

  // Lines of their own, so that those who submit do not disturb the one who runs.
  std::byte before_[64];
  std::atomic<uintptr_t> newest_{kIdle};
  std::byte between_[64];
  Link* ready_ = nullptr;  // the owner's: taken, in order
  std::atomic<NSUInteger> owner_{0};
};

}  // namespace orv::detail
