#include "Platform/Dispatch/Detail/SerialQueue.h"

#include <sched.h>

#include <chrono>
#include <exception>
#include <thread>

#include "Platform/Dispatch/Detail/NodeStore.h"
#include "Platform/Dispatch/Detail/QueueFrame.h"
#include "Platform/Dispatch/Detail/QueueList.h"
#include "Platform/Dispatch/Detail/WaitGraph.h"
#include "Platform/Foundation/Threads/NSThread.h"

namespace orv::detail {

// Lies in a node of the store.
struct SerialQueue::Node : Link {
  Node(orv::Block&& b, ExceptionHandler h) noexcept : block(std::move(b)) { handler = h; }

  orv::Block block;
};

namespace {

// Never called: the handler that tells a waiter from a block.
void waits(const std::exception&) { std::terminate(); }

}  // namespace

struct SerialQueue::Waiter : Link {
  Waiter() noexcept { handler = &waits; }

  Event turn;
};

namespace {

constexpr unsigned kFairShare = 256;  // blocks in a row while other queues wait for a worker
constexpr int kOwnerLooks = 60;       // for more blocks, before the owner leaves
constexpr int kCallerLooks = 9;       // for an idle queue, each twice as long as the one before
constexpr int kCallerYields = 16;
constexpr int kFlowLooks = 4;      // for the next block of a flow
constexpr unsigned kFlow = 16;     // so many blocks without a pause make one
constexpr int kGatherPauses = 32;  // one to three microseconds
constexpr unsigned kEnough = 128;  // blocks found at once: nothing to gather
constexpr int kLinkLooks = 200;    // for the pointer of a submission that is being made

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
    : DispatchQueue(label, target), Job([](Job& job) noexcept { static_cast<SerialQueue&>(job).runList(); }) {
  QueueList::enter(*this);
}

SerialQueue::~SerialQueue() { QueueList::leave(*this); }

void SerialQueue::submit(orv::Block&& block, ExceptionHandler handler, bool) {
  static_assert(sizeof(Node) <= NodeStore::kNodeBytes);
  WorkerPool::prepare();
  if (!push(*new (NodeStore::take()) Node(std::move(block), handler))) return;
  retain(this);
  schedule();
}

void SerialQueue::append(orv::Block&& block, ExceptionHandler handler) {
  if (WorkerPool::isOpen()) submit(std::move(block), handler, false);
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
  Link* owned = &base_;
  if (!first_ &&
      newest_.compare_exchange_strong(owned, nullptr, std::memory_order_release, std::memory_order_relaxed))
    return;
  retain(this);  // the ownership's, for whoever comes next
  passOn();
}

void SerialQueue::letGo() noexcept {
  if (!newest_.load(std::memory_order_acquire)) return release(this);
  submit([kept = Ref<SerialQueue>::adopt(this)] {}, nullptr, true);
}

bool SerialQueue::becomeOwner() noexcept {
  Link* idle = nullptr;
  return newest_.compare_exchange_strong(idle, &base_, std::memory_order_acquire, std::memory_order_relaxed);
}

// A queue that is about to be idle is worth a little waiting: standing in line costs a change of threads. Order
// is kept, for an idle queue has run all that was submitted.
bool SerialQueue::becomeOwnerSoon() noexcept {
  for (int look = 0; look < kCallerLooks + kCallerYields; ++look) {
    if (look < kCallerLooks)
      for (int i = 0; i < 1 << look; ++i) pauseProcessor();
    else
      ::sched_yield();
    if (!newest_.load(std::memory_order_relaxed) && becomeOwner()) return true;
  }
  return false;
}

// Adds a submission. True when the queue was idle: the caller now owns it.
bool SerialQueue::push(Link& link) noexcept {
  Link* const before = newest_.exchange(&link, std::memory_order_acq_rel);
  if (before) {
    before->next.store(&link, std::memory_order_release);
    return false;
  }
  first_ = known_ = &link;
  return true;
}

void SerialQueue::waitForTurn() {
  Waiter waiter;
  if (push(waiter)) return takeFirst();  // idle after all: the first in line is the caller
  const WaitNote note(*this);
  waiter.turn.wait();
  release(this);  // the owner before gave its reference with the turn
}

void SerialQueue::schedule() {
  noteNoOwner();
  if (target_)
    submitAlways(*target_, [this] { runList(); });
  else
    WorkerPool::shared().submit(*this);
}

// A worker's part: runs blocks until the queue is empty, it is a caller's turn, or other queues need the
// worker.
void SerialQueue::runList() noexcept {
  const InQueue frame(this);
  NodeStore::Returns returns;
  nameThread(*this);
  noteOwner();
  unsigned batch = 0;  // blocks since the owner looked for more
  for (unsigned done = 1, flow = 0;; ++done, ++flow, ++batch) {
    while (!first()) {
      if (moreComes(kFlowLooks)) continue;
      flow = 0;
      if (!moreComes(kOwnerLooks) && leave()) return;
    }
    if (isWaiter(*first_)) return grantFirst();
    if (first_ == known_) {
      if (flow >= kFlow && batch < kEnough) letGather();
      batch = 0;
    }
    runFirst(returns);
    if (done % kFairShare == 0 && WorkerPool::shared().hasWaiting()) return schedule();
  }
}

void SerialQueue::runFirst(NodeStore::Returns& returns) noexcept {
  auto* const node = static_cast<Node*>(first_);
  NodeStore::fetchBehind(node, known_);
  takeFirst();
  runBlock(node->block, node->handler);
  node->~Node();
  returns.add(node);
}

// The calling thread owns the queue and never comes back to it. What is submitted from now on is late.
void SerialQueue::runRestAtExit() noexcept {
  NodeStore::Returns returns;
  const Link* const last = newest_.load(std::memory_order_acquire);
  for (const Link* link = &base_; link != last && (link = first());) {
    if (isWaiter(*link)) return grantFirst();
    runFirst(returns);
  }
  isAbandoned_.store(true, std::memory_order_relaxed);
}

bool SerialQueue::hasSubmissions() const noexcept {
  const Link* const newest = newest_.load(std::memory_order_relaxed);
  return newest && newest != &base_ && !isAbandoned_.load(std::memory_order_relaxed);
}

bool SerialQueue::isWaiter(const Link& link) noexcept { return link.handler == &waits; }

// The next in the list, where there is one: whoever submitted it may be just about to say so.
SerialQueue::Link* SerialQueue::successor(const Link& link) noexcept {
  for (int look = 0;; ++look) {
    if (Link* const next = link.next.load(std::memory_order_acquire)) return next;
    if (look < kLinkLooks)
      pauseProcessor();
    else if (look < 2 * kLinkLooks)
      ::sched_yield();
    else
      std::this_thread::sleep_for(std::chrono::microseconds(50));  // a thread of lower priority has to go on
  }
}

// The first in the list, null for none.
SerialQueue::Link* SerialQueue::first() noexcept {
  if (first_) return first_;
  Link* const newest = newest_.load(std::memory_order_relaxed);
  if (newest == &base_) return nullptr;
  known_ = newest;
  return first_ = successor(base_);
}

// Takes the first one off the list: nobody touches it any more.
void SerialQueue::takeFirst() noexcept {
  Link* const taken = first_;
  first_ = taken == known_ && takeLast(taken) ? nullptr : successor(*taken);
}

// Where the last one known is the newest: leaves nothing submitted. Else looks up which one is.
bool SerialQueue::takeLast(Link* taken) noexcept {
  known_ = newest_.load(std::memory_order_relaxed);
  if (known_ != taken) return false;
  base_.next.store(nullptr, std::memory_order_relaxed);
  return newest_.compare_exchange_strong(known_, &base_, std::memory_order_acq_rel, std::memory_order_relaxed);
}

// An owner who is as quick as a busy submitter would fight with it over every block: a moment later there are
// many to be taken at once.
void SerialQueue::letGather() noexcept {
  for (int i = 0; i < kGatherPauses; ++i) pauseProcessor();
}

// Waking another worker for the next block costs more than looking for it for two microseconds.
bool SerialQueue::moreComes(int looks) const noexcept {
  for (int look = 0; look < looks; ++look) {
    if (newest_.load(std::memory_order_relaxed) != &base_) return true;
    pauseProcessor();
  }
  return false;
}

// Makes the queue idle; false when something was submitted meanwhile. The queue may be gone afterwards.
bool SerialQueue::leave() noexcept {
  noteNoOwner();
  Link* owned = &base_;
  if (!newest_.compare_exchange_strong(owned, nullptr, std::memory_order_release, std::memory_order_relaxed)) {
    noteOwner();
    return false;
  }
  release(this);
  return true;
}

void SerialQueue::passOn() noexcept {
  while (!first())
    if (leave()) return;
  isWaiter(*first_) ? grantFirst() : schedule();
}

void SerialQueue::grantFirst() noexcept {
  auto* const waiter = static_cast<Waiter*>(first_);
  takeFirst();
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
