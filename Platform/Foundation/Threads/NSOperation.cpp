#include "Platform/Foundation/Threads/NSOperation.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "Platform/Dispatch/Detail/WorkerPool.h"
#include "Platform/Foundation/System/NSConsole.h"
#include "Platform/Foundation/Threads/NSOperationQueue.h"

using namespace orv;

namespace {

// Guards the links of dependencies, names and completion blocks of all operations: they change rarely, and two
// operations at a time. Never held across a callback.
std::mutex& linkMutex() {
  static auto* const mutex = new std::mutex;
  return *mutex;
}

}  // namespace

NSOperation::NSOperation() = default;
NSOperation::~NSOperation() {
  if (!dependencies_.empty()) {
    const std::lock_guard lock(linkMutex());
    for (const Ref<NSOperation>& each : dependencies_) std::erase(each->dependents_, this);
  }
  if (NSOperationQueue* queue = queue_.load()) detail::release(queue);
}
NSString NSOperation::className() const { return "NSOperation"; }

void NSOperation::main() {}

void NSOperation::start() {
  State before = State::Queued;
  if (!state_.compare_exchange_strong(before, State::Executing)) {
    before = State::Fresh;
    if (!state_.compare_exchange_strong(before, State::Executing)) return;
  }
  struct AtEnd {
    NSOperation& operation;
    ~AtEnd() { operation.finish(); }
  };
  const Ref<NSOperation> keepsAlive(this);
  const AtEnd atEnd{*this};
  main();
}

void NSOperation::finish() {
  if (state_.exchange(State::Finished) == State::Finished) return;
  if (hasSleepers_.load()) state_.notify_all();
  if (hasDependents_.load()) tellDependents();
  // Started by hand, it may still wait for dependencies in its queue: it has to leave.
  if (unfinished_.load() != 0) leaveQueue();
  if (!hasCompletion_.load()) return;
  Block completion;
  {
    const std::lock_guard lock(linkMutex());
    completion = std::move(completion_);
  }
  if (completion) completion();
}

void NSOperation::leaveQueue() {
  if (NSOperationQueue* queue = queue_.load()) queue->operationIsReady(*this);
}

void NSOperation::tellDependents() {
  std::vector<Ref<NSOperation>> ready;
  {
    const std::lock_guard lock(linkMutex());
    for (NSOperation* dependent : dependents_)
      if (--dependent->unfinished_ == 0 && detail::tryRetain(dependent))
        ready.push_back(Ref<NSOperation>::adopt(dependent));
    dependents_.clear();
  }
  for (const Ref<NSOperation>& each : ready)
    if (NSOperationQueue* queue = each->queue_.load()) queue->operationIsReady(*each);
}

void NSOperation::cancel() {
  if (cancelled_.exchange(true) || state() != State::Queued || unfinished_.load() == 0) return;
  // It no longer waits for its dependencies. A queue that it is just being added to will see the flag.
  if (NSOperationQueue* queue = queue_.load()) queue->operationIsReady(*this);
}

bool NSOperation::isReady() const noexcept {
  return (state() == State::Fresh || state() == State::Queued) && (unfinished_.load() == 0 || isCancelled());
}

void NSOperation::waitUntilFinished() {
  State now = state();
  if (now == State::Finished) return;
  const detail::BlockingWait waiting;
  hasSleepers_ = true;
  while ((now = state_.load()) != State::Finished) state_.wait(now);
}

void NSOperation::addDependency(const Ref<NSOperation>& operation) {
  if (!operation || operation.get() == this || isExecuting() || isFinished()) return;
  const std::lock_guard lock(linkMutex());
  if (std::find(dependencies_.begin(), dependencies_.end(), operation) != dependencies_.end()) return;
  dependencies_.push_back(operation);
  operation->hasDependents_ = true;
  // Either this sees the operation finished, or the operation, when it finishes, sees that it has dependents.
  if (operation->state_.load() == State::Finished) return;
  operation->dependents_.push_back(this);
  ++unfinished_;
}

void NSOperation::removeDependency(const Ref<NSOperation>& operation) {
  if (!operation) return;
  {
    const std::lock_guard lock(linkMutex());
    std::erase(dependencies_, operation);
    if (std::erase(operation->dependents_, this) == 0 || --unfinished_ > 0) return;
  }
  if (NSOperationQueue* queue = queue_.load()) queue->operationIsReady(*this);
}

NSArray NSOperation::dependencies() const {
  const NSMutableArray result = NSMutableArray::array();
  const std::lock_guard lock(linkMutex());
  for (const Ref<NSOperation>& each : dependencies_) result.addObject(each);
  return result.copy().as<NSArray>();
}

NSString NSOperation::name() const {
  const std::lock_guard lock(linkMutex());
  return name_;
}

void NSOperation::setName(const NSString& name) {
  {
    const std::lock_guard lock(linkMutex());
    name_ = name;
  }
  if (NSOperationQueue* queue = queue_.load()) queue->operationWasNamed();
}

void NSOperation::setCompletionBlock(Block block) {
  const std::lock_guard lock(linkMutex());
  std::swap(completion_, block);
  hasCompletion_ = true;
}

bool NSOperation::enqueued() noexcept {
  State fresh = State::Fresh;
  return state_.compare_exchange_strong(fresh, State::Queued);
}

Ref<NSBlockOperation> NSBlockOperation::blockOperationWithBlock(Block block) {
  Ref<NSBlockOperation> operation = make<NSBlockOperation>();
  operation->addExecutionBlock(std::move(block));
  return operation;
}

NSString NSBlockOperation::className() const { return "NSBlockOperation"; }

void NSBlockOperation::addExecutionBlock(Block block) {
  if (!block || isExecuting() || isFinished())
    return NSLog(block ? "A block for an operation that has begun was ignored" : "An empty block was ignored");
  if (!first_)
    first_ = std::move(block);
  else
    others_.push_back(std::move(block));
}

// The blocks end with the work, not with the operation: what they hold may hold the operation.
void NSBlockOperation::main() {
  Block first = std::exchange(first_, nullptr);
  std::vector<Block> others = std::exchange(others_, {});
  if (first) first();
  for (Block& block : others) block();
}
