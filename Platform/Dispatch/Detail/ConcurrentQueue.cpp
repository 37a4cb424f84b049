#include "Platform/Dispatch/Detail/ConcurrentQueue.h"

#include "Platform/Dispatch/Detail/QueueFrame.h"
#include "Platform/Dispatch/Detail/QueueList.h"
#include "Platform/Dispatch/Detail/WorkerPool.h"
#include "Platform/Foundation/Threads/NSThread.h"

namespace orv::detail {

struct ConcurrentQueue::Link {
  Link(bool runsAlone, bool waits) noexcept : isBarrier(runsAlone), isWaiter(waits) {}
  Link* next = nullptr;
  const bool isBarrier;
  const bool isWaiter;
};

// An asynchronous block; it keeps its queue alive.
struct ConcurrentQueue::Node : Link, Job {
  Node(ConcurrentQueue& q, orv::Block&& b, ExceptionHandler h, bool barrier)
      : Link(barrier, false), Job(&Node::runJob), queue(&q), handler(h), block(std::move(b)) {}

  static void* operator new(size_t bytes) { return poolAllocate(bytes); }
  static void operator delete(void* node, size_t bytes) noexcept { poolFree(node, bytes); }

  static void runJob(Job& job) noexcept {
    const std::unique_ptr<Node> node(static_cast<Node*>(&job));
    NSThread::setWorkerName(node->queue->label());
    {
      const InQueue frame(node->queue.get());
      runBlock(node->block, node->handler);
      node->block = nullptr;
    }
    node->queue->ended(node->isBarrier);
  }

  const Ref<ConcurrentQueue> queue;
  const ExceptionHandler handler;
  orv::Block block;
};

struct ConcurrentQueue::Waiter : Link {
  explicit Waiter(bool barrier) noexcept : Link(barrier, true) {}
  Event turn;
};

ConcurrentQueue::ConcurrentQueue(const NSString& label) : DispatchQueue(label, nil) { QueueList::enter(*this); }

ConcurrentQueue::~ConcurrentQueue() { QueueList::leave(*this); }

void ConcurrentQueue::submit(orv::Block&& block, ExceptionHandler handler, bool barrier) {
  WorkerPool::prepare();
  auto* const node = new Node(*this, std::move(block), handler, barrier);
  if (startOrAppend(*node)) WorkerPool::shared().submit(*node);
}

void ConcurrentQueue::runNow(BlockRef block, bool barrier) {
  struct End {
    const Ref<ConcurrentQueue> queue;
    const bool barrier;
    ~End() { queue->ended(barrier); }
  };
  Ref<ConcurrentQueue> keepsAlive(this);
  Waiter waiter(barrier);
  if (!startOrAppend(waiter)) waiter.turn.wait();
  const End atEnd{std::move(keepsAlive), barrier};
  const InQueue frame(this);
  block();
}

bool ConcurrentQueue::mayStart(bool barrier) const noexcept {
  return !barrierRuns_ && (!barrier || running_ == 0);
}

void ConcurrentQueue::countStart(bool barrier) noexcept {
  barrier ? void(barrierRuns_ = true) : void(++running_);
}

// True when the submission may run at once.
bool ConcurrentQueue::startOrAppend(Link& link) {
  const std::lock_guard lock(mutex_);
  if (!first_ && mayStart(link.isBarrier)) {
    countStart(link.isBarrier);
    return true;
  }
  if (first_)
    last_->next = &link;
  else
    first_ = &link;
  last_ = &link;
  return false;
}

void ConcurrentQueue::ended(bool barrier) noexcept {
  const std::lock_guard lock(mutex_);
  barrier ? void(barrierRuns_ = false) : void(--running_);
  for (Link* link; (link = first_) && mayStart(link->isBarrier);) {
    first_ = link->next;
    countStart(link->isBarrier);
    if (link->isWaiter)
      static_cast<Waiter*>(link)->turn.set();
    else
      WorkerPool::shared().submit(*static_cast<Node*>(link));
  }
}

}  // namespace orv::detail
