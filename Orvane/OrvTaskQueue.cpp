#include "Orvane/OrvTaskQueue.h"

#include <mutex>
#include <utility>

#include "Orvane/OrvAssert.h"

using namespace orv;

namespace {

constexpr NSInteger kAtOnce = 5;

NSString operationName(const NSString& task, const NSString& key) {
  return NSString::stringWithFormat("%@/%@", task, key);
}

}  // namespace

OrvTaskQueue::OrvTaskQueue() { OrvTaskQueue::configure(); }

OrvTaskQueue::~OrvTaskQueue() { removeAllTasks(); }

void OrvTaskQueue::configure() {
  const Ref<NSOperationQueue> queue = make<NSOperationQueue>();
  queue->setMaxConcurrentOperationCount(kAtOnce);
  setQueue(queue);
  setTaskHandlers({});
}

void OrvTaskQueue::registerTaskHandler(const NSString& task, OrvTaskHandler block) {
  if (task.isNil() || !block) {
    OrvLogWarning("A task handler without %s was ignored", block ? "a name" : "a block");
    return;
  }
  // What handlers hold is copied and ends outside of the lock: it may use the queue.
  for (bool replaced = false; !replaced;) {
    const std::shared_ptr<const Handlers> before = handlers();
    const auto changed = std::make_shared<Handlers>(*before);
    (*changed)[task] = block;
    const std::lock_guard lock(mutex_);
    replaced = handlers_ == before;
    if (replaced) handlers_ = changed;
  }
}

void OrvTaskQueue::addTask(const NSString& task, const NSString& key, const Value& info) {
  countNewTask();
  const NSString name = operationName(task, key);
  removeNamed(name);
  const Ref<OrvTaskOperation> operation = make<OrvTaskOperation>();
  operation->addExecutionBlock([weak = WeakRef<OrvTaskQueue>(Ref(this)), bare = operation.get()] {
    const Ref<OrvTaskQueue> self = weak.lock();
    if (!self) return;
    if (!bare->isCancelled()) self->callHandler(Ref(bare));
    self->countDone();
  });
  operation->setTask(task);
  operation->setKey(key);
  operation->setInfo(info);
  operation->setName(name);
  if (const Ref<NSOperationQueue> queue = this->queue()) queue->addOperation(operation);
}

void OrvTaskQueue::addTaskBlock(OrvTaskHandler block) {
  if (!block) {
    OrvLogWarning("Empty block for %@ ignored", description());
    return;
  }
  countNewTask();
  const Ref<OrvTaskOperation> operation = make<OrvTaskOperation>();
  operation->addExecutionBlock(
      [weak = WeakRef<OrvTaskQueue>(Ref(this)), bare = operation.get(), block = std::move(block)] {
        const Ref<OrvTaskQueue> self = weak.lock();
        if (!self) return;
        if (!bare->isCancelled()) ORV_GUARD(block(Ref(bare)));
        self->countDone();
      });
  if (const Ref<NSOperationQueue> queue = this->queue()) queue->addOperation(operation);
}

void OrvTaskQueue::callHandler(const Ref<OrvTaskOperation>& operation) const {
  const std::shared_ptr<const Handlers> all = handlers();
  const auto found = all->find(operation->task());
  if (found != all->end() && found->second) ORV_GUARD(found->second(operation));
}

// The counters are read and written without a lock; each access alone is atomic.
void OrvTaskQueue::countNewTask() {
  if (maxCount_.load(std::memory_order_relaxed) == doneCount_.load(std::memory_order_relaxed)) {
    maxCount_.store(0, std::memory_order_relaxed);
    doneCount_.store(0, std::memory_order_relaxed);
    OrvLogDebug("Reset counts");
  }
  maxCount_.fetch_add(1, std::memory_order_relaxed);
  report();
}

void OrvTaskQueue::countDone() {
  doneCount_.fetch_add(1, std::memory_order_relaxed);
  report();
}

void OrvTaskQueue::report() const {
  const Ref<OrvTaskQueueDelegate> delegate = this->delegate();
  if (delegate) ORV_GUARD(delegate->updateProgress(progress()));
}

double OrvTaskQueue::progress() const {
  return static_cast<double>(doneCount_.load(std::memory_order_relaxed)) /
         static_cast<double>(maxCount_.load(std::memory_order_relaxed));
}

Ref<OrvTaskOperation> OrvTaskQueue::taskNamed(const NSString& name) const {
  const Ref<NSOperationQueue> queue = this->queue();
  return queue ? Value(queue->operationNamed(name)).as<OrvTaskOperation>() : nil;
}

Ref<OrvTaskOperation> OrvTaskQueue::task(const NSString& task, const NSString& key) const {
  return taskNamed(operationName(task, key));
}

void OrvTaskQueue::removeNamed(const NSString& name) {
  const Ref<OrvTaskOperation> operation = taskNamed(name);
  if (operation) operation->cancel();
  OrvLogDebug("Remove task %@", operation ? operation->name() : NSString(nil));
}

void OrvTaskQueue::removeTask(const NSString& task, const NSString& key) {
  removeNamed(operationName(task, key));
}

void OrvTaskQueue::removeAllTasks() {
  if (const Ref<NSOperationQueue> queue = this->queue()) queue->cancelAllOperations();
}

void OrvTaskQueue::doCancel(const Value&) { removeAllTasks(); }

Ref<OrvTaskQueueDelegate> OrvTaskQueue::delegate() const {
  const std::lock_guard lock(mutex_);
  return delegate_.lock();
}

void OrvTaskQueue::setDelegate(const Ref<OrvTaskQueueDelegate>& delegate) {
  const std::lock_guard lock(mutex_);
  delegate_ = delegate;
}

Ref<NSOperationQueue> OrvTaskQueue::queue() const {
  const std::lock_guard lock(mutex_);
  return queue_;
}

void OrvTaskQueue::setQueue(const Ref<NSOperationQueue>& queue) {
  Ref<NSOperationQueue> before = queue;  // ends outside of the lock
  const std::lock_guard lock(mutex_);
  std::swap(queue_, before);
}

std::shared_ptr<const OrvTaskQueue::Handlers> OrvTaskQueue::handlers() const {
  const std::lock_guard lock(mutex_);
  return handlers_;
}

std::map<NSString, OrvTaskHandler> OrvTaskQueue::taskHandlers() const { return *handlers(); }

void OrvTaskQueue::setTaskHandlers(const std::map<NSString, OrvTaskHandler>& handlers) {
  std::shared_ptr<const Handlers> changed = std::make_shared<Handlers>(handlers);
  const std::lock_guard lock(mutex_);
  std::swap(handlers_, changed);
}
