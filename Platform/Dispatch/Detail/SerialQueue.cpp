#include "Platform/Dispatch/Detail/SerialQueue.h"

#include <sched.h>

#include "Platform/Dispatch/Detail/QueueFrame.h"
#include "Platform/Dispatch/Detail/WaitGraph.h"
#include "Platform/Foundation/Threads/NSThread.h"

namespace orv::detail {

// A submission: a block with its handler, or a caller who waits for the turn.
struct SerialQueue::Link {
  explicit Link(bool waits) noexcept : isWaiter(waits) {}

  Link* next = nullptr;
  const bool isWaiter;
};

struct SerialQueue::Node : Link {
  Node(orv::Block&& b, ExceptionHandler h) noexcept : Link(false), handler(h), block(std::move(b)) {}

  static void* operator new(size_t bytes) { return poolAllocate(bytes); }
  static void operator delete(void* node, size_t bytes) noexcept { poolFree(node, bytes); }

  const ExceptionHandler handler;
  orv::Block block;
};

struct SerialQueue::Waiter : Link {
  Waiter() noexcept : Link(true) {}

  Event turn;
};

namespace {

constexpr unsigned kFairShare = 256;  // blocks in a row while other queues wait for a worker
constexpr int kOwnerLooks = 60;       // for more blocks, before the owner leaves
constexpr int kCallerLooks = 9;       // for an idle queue, each twice as long as the one before
constexpr int kCallerYields = 16;

thread_local const DispatchQueue* namedFor = nullptr;

// A system call, so only when another queue ran here before.
void nameThread(const DispatchQueue& queue) {
  if (namedFor == &queue && NSThread::currentThreadName() == queue.label()) return;
  namedFor = &queue;
  NSThread::setWorkerName(queue.label());
}

}  // namespace

// The owner holds a reference to the queue, which goes with the ownership: from a caller to a job of the pool,
// from that to a caller who waits, and back.
SerialQueue::SerialQueue(const NSString& label, const Ref<DispatchQueue>& target)
    : DispatchQueue(label, target), Job([](Job& job) noexcept { static_cast<SerialQueue&>(job).runList(); }) {}

void SerialQueue::submit(orv::Block&& block, ExceptionHandler handler, bool) {
  if (!push(*new Node(std::move(block), handler))) return;
  retain(this);
  schedule();
}

void SerialQueue::runNow(BlockRef block, bool) {
  retain(this);
  if (!becomeOwner() && !becomeOwnerSoon()) waitForTurn();
  target_ ? target_->barrierSync([&] { runOwned(block); }) : runOwned(block);
}

// Runs the caller's block and passes the queue on, also when the block throws. The queue may be gone
// afterwards.
void SerialQueue::runOwned(BlockRef block) {
  struct PassOn {
    SerialQueue& queue;
    ~PassOn() { queue.passOn(); }
  } const passOnAtEnd{*this};
  noteOwner();
  const InQueue frame(this);
  block();
}

void SerialQueue::runKept(BlockRef block) {
  if (!becomeOwner()) return runNow(block, true);
  struct LeaveKept {
    SerialQueue& queue;
    ~LeaveKept() { queue.leaveKept(); }
  } const leaveAtEnd{*this};
  noteOwner();
  const InQueue frame(this);
  block();
}

void SerialQueue::leaveKept() noexcept {
  noteNoOwner();
  uintptr_t owned = kOwned;
  if (newest_.compare_exchange_strong(owned, kIdle, std::memory_order_release, std::memory_order_relaxed))
    return;
  retain(this);  // the ownership's, for whoever comes next
  passOn();
}

void SerialQueue::letGo() noexcept {
  if (newest_.load(std::memory_order_acquire) == kIdle) return release(this);
  submit([kept = Ref<SerialQueue>::adopt(this)] {}, nullptr, true);
}

bool SerialQueue::becomeOwner() noexcept {
  uintptr_t idle = kIdle;
  return newest_.compare_exchange_strong(idle, kOwned, std::memory_order_acquire, std::memory_order_relaxed);
}

// A queue that is about to be idle is worth a little waiting: standing in line costs a change of threads. Order
// is kept, for an idle queue has run all that was submitted.
bool SerialQueue::becomeOwnerSoon() noexcept {
  for (int look = 0; look < kCallerLooks + kCallerYields; ++look) {
    if (look < kCallerLooks)
      for (int i = 0; i < 1 << look; ++i) pauseProcessor();
    else
      ::sched_yield();
    if (newest_.load(std::memory_order_relaxed) == kIdle && becomeOwner()) return true;
  }
  return false;
}

// Adds a submission. True when the queue was idle: the caller now owns it.
bool SerialQueue::push(Link& link) noexcept {
  uintptr_t before = newest_.load(std::memory_order_relaxed);
  do {
    link.next = before > kOwned ? linkOf(before) : nullptr;
  } while (!newest_.compare_exchange_weak(before, reinterpret_cast<uintptr_t>(&link), std::memory_order_acq_rel,
                                          std::memory_order_relaxed));
  return before == kIdle;
}

void SerialQueue::waitForTurn() {
  Waiter waiter;
  if (push(waiter)) {
    // Idle after all: the first in line is the caller.
    takeNew();
    ready_ = ready_->next;
    return;
  }
  const WaitNote note(*this);
  waiter.turn.wait();
  release(this);  // the owner before gave its reference with the turn
}

void SerialQueue::schedule() {
  noteNoOwner();
  if (target_)
    target_->barrierAsync([this] { runList(); });
  else
    WorkerPool::shared().submit(*this);
}

// A worker's part: runs blocks until the queue is empty, it is a caller's turn, or other queues need the
// worker.
void SerialQueue::runList() noexcept {
  const InQueue frame(this);
  nameThread(*this);
  noteOwner();
  unsigned done = 0;
  for (;;) {
    while (ready_) {
      if (ready_->isWaiter) return grantFirst();
      runFirst();
      if (++done % kFairShare == 0 && WorkerPool::shared().hasWaiting()) return schedule();
    }
    if (newest_.load(std::memory_order_relaxed) != kOwned || moreComes())
      takeNew();
    else if (leave())
      return;
  }
}

void SerialQueue::runFirst() noexcept {
  const std::unique_ptr<Node> node(static_cast<Node*>(ready_));
  ready_ = node->next;
  runBlock(node->block, node->handler);
}

// False when the queue went to a caller whose turn it was.
bool SerialQueue::runAllReady() noexcept {
  while (ready_) {
    if (ready_->isWaiter) {
      grantFirst();
      return false;
    }
    runFirst();
  }
  return true;
}

// The calling thread owns the queue and never comes back to it. What is submitted from now on is late.
void SerialQueue::runRestAtExit() noexcept {
  if (!runAllReady() || newest_.load(std::memory_order_relaxed) == kOwned) return;
  takeNew();
  runAllReady();
}

// Takes all submissions and turns them round: they come the newest first.
void SerialQueue::takeNew() noexcept {
  Link* link = linkOf(newest_.exchange(kOwned, std::memory_order_acquire));
  Link* oldest = nullptr;
  while (link) {
    Link* const before = link->next;
    link->next = oldest;
    oldest = link;
    link = before;
  }
  ready_ = oldest;
}

// Waking another worker for the next block costs more than looking for it for two microseconds.
bool SerialQueue::moreComes() const noexcept {
  for (int look = 0; look < kOwnerLooks; ++look) {
    if (newest_.load(std::memory_order_relaxed) != kOwned) return true;
    pauseProcessor();
  }
  return false;
}

// Makes the queue idle; false when something was submitted meanwhile. The queue may be gone afterwards.
bool SerialQueue::leave() noexcept {
  noteNoOwner();
  uintptr_t owned = kOwned;
  if (!newest_.compare_exchange_strong(owned, kIdle, std::memory_order_release, std::memory_order_relaxed)) {
    noteOwner();
    return false;
  }
  release(this);
  return true;
}

void SerialQueue::passOn() noexcept {
  if (!ready_) {
    if (leave()) return;
    takeNew();
  }
  ready_->isWaiter ? grantFirst() : schedule();
}

void SerialQueue::grantFirst() noexcept {
  auto* const waiter = static_cast<Waiter*>(ready_);
  ready_ = waiter->next;
  noteNoOwner();
  waiter->turn.set();
}

void SerialQueue::noteOwner() noexcept {
  if constexpr (kQueueChecks) owner_.store(NSThread::currentThreadNumber(), std::memory_order_relaxed);
}

void SerialQueue::noteNoOwner() noexcept {
  if constexpr (kQueueChecks) owner_.store(0, std::memory_order_relaxed);
}

}  // namespace orv::detail
