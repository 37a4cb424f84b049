#pragma once

#include <atomic>

#include "Platform/Dispatch/Detail/NodeStore.h"
#include "Platform/Dispatch/Detail/WorkerPool.h"
#include "Platform/Dispatch/DispatchQueue.h"

namespace orv::detail {

// A serial queue. Submissions hang in a list, each of which points to the one behind it; one word names the
// newest of them, or says that the queue is idle, or owned with nothing submitted. Whoever finds the queue idle
// becomes the owner; the owner alone takes submissions off the list and runs them. A synchronous caller becomes
// the owner itself, at once or when its turn comes, and so runs its block on its own thread.
//
// To submit is one exchange and one store, however many threads do it at a time: first the word, then the
// pointer of the submission before. Between the two the list is cut, and the owner who comes there waits for
// the pointer.
class SerialQueue final : public DispatchQueue, private Job {
 public:
  SerialQueue(const NSString& label, const Ref<DispatchQueue>& target);
  ~SerialQueue() override;

  void runRestAtExit() noexcept override;
  bool hasSubmissions() const noexcept override;

  // `async` for a block that is there.
  void append(orv::Block&& block, ExceptionHandler handler);
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
  // A place in the list: a block with its handler, or a caller who waits for the turn.
  struct Link {
    std::atomic<Link*> next{nullptr};
    ExceptionHandler handler = nullptr;  // of a block; waiters have a mark of their own
  };
  struct Node;
  struct Waiter;

  static Link* successor(const Link& link) noexcept;
  static bool isWaiter(const Link& link) noexcept;
  bool becomeOwner() noexcept;
  bool becomeOwnerSoon() noexcept;
  bool push(Link& link) noexcept;
  void waitForTurn();
  void runOwned(BlockRef block);
  void leaveKept() noexcept;
  void schedule();
  void runList() noexcept;
  void runFirst(NodeStore::Returns& returns) noexcept;
  Link* first() noexcept;
  void takeFirst() noexcept;
  bool takeLast(Link* taken) noexcept;
  static void letGather() noexcept;
  bool moreComes(int looks) const noexcept;
  bool leave() noexcept;
  void passOn() noexcept;
  void grantFirst() noexcept;
  void noteOwner() noexcept;
  void noteNoOwner() noexcept;

  // Lines of their own, so that those who submit do not disturb the one who runs.
  [[maybe_unused]] std::byte before_[64];
  std::atomic<Link*> newest_{nullptr};  // null: idle
  Link base_;                           // stands for the newest one when the owner has taken all
  [[maybe_unused]] std::byte between_[64];
  // The owner's.
  Link* first_ = nullptr;  // not taken, null where it is not known
  Link* known_ = nullptr;  // where the first one is known: the last one that is
  std::atomic<NSUInteger> owner_{0};
  std::atomic<bool> isAbandoned_{false};  // its owner ends the process
};

}  // namespace orv::detail
