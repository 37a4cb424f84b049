#include "Platform/Foundation/Threads/NSOperationQueue.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "Platform/Dispatch/Detail/WorkerPool.h"
#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Foundation/System/NSConsole.h"
#include "Platform/Foundation/Threads/NSThread.h"
#include "Platform/Foundation/Values/NSException.h"

using namespace orv;

namespace {

constexpr size_t kSystemLimit = 64;     // of operations at a time, where none is set
constexpr unsigned kFairShare = 64;     // operations in a row while others wait for a worker
constexpr size_t kFirstTableSize = 64;  // a power of two

thread_local NSOperationQueue* runningQueue = nullptr;

// Marks the thread as running an operation of the queue.
class Running {
 public:
  explicit Running(NSOperationQueue* queue) : before_(std::exchange(runningQueue, queue)) {}
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;
  ~Running() { runningQueue = before_; }

 private:
  NSOperationQueue* const before_;
};

// Ready, or begun by somebody else: then a runner waits for its end and takes it out of the queue.
bool mayBeTaken(const NSOperation& operation) {
  return operation.isReady() || operation.isExecuting() || operation.isFinished();
}

size_t listOf(NSOperationQueuePriority priority) {
  const auto number = static_cast<NSInteger>(priority);
  return number >= 8 ? 0 : number >= 4 ? 1 : number > -4 ? 2 : number > -8 ? 3 : 4;
}

}  // namespace

// A worker's task: operations of one queue, one after the other, while there are any.
struct NSOperationQueue::Runner : detail::Job {
  explicit Runner(NSOperationQueue& q) : Job(&Runner::runJob), queue(&q) {}

  static void runJob(Job& job) noexcept {
    const std::unique_ptr<Runner> runner(static_cast<Runner*>(&job));
    const NSString name = runner->queue->name();
    if (NSThread::currentThreadName() != name) NSThread::setWorkerName(name);
    runner->queue->run();
  }

  const Ref<NSOperationQueue> queue;
};

NSOperationQueue::NSOperationQueue() : NSOperationQueue(false) {}
NSOperationQueue::NSOperationQueue(bool isMain) : isMain_(isMain) {}
NSOperationQueue::~NSOperationQueue() = default;
NSString NSOperationQueue::className() const { return "NSOperationQueue"; }

Ref<NSOperationQueue> NSOperationQueue::mainQueue() {
  static auto* const queue =
      new Ref<NSOperationQueue>(Ref<NSOperationQueue>::adopt(new NSOperationQueue(true)));
  return *queue;
}

Ref<NSOperationQueue> NSOperationQueue::currentQueue() {
  if (runningQueue) return Ref<NSOperationQueue>(runningQueue);
  return NSThread::isMainThread() ? mainQueue() : nil;
}

void NSOperationQueue::addOperation(const Ref<NSOperation>& operation) {
  if (!operation) return;
  if (!operation->enqueued())
    NSException::raise(
        NSInvalidArgumentException,
        NSString::stringWithFormat("operation %@ is %s", Value(operation),
                                   operation->isFinished() ? "finished and cannot be enqueued on a queue"
                                                           : "is already enqueued on another queue"));
  if (!detail::WorkerPool::isOpen()) return operation->finish();
  const NSString operationName = operation->name();
  size_t toStart = 0;
  {
    const std::lock_guard lock(mutex_);
    linkLast(*operation);
    if (!names_.empty()) enterName(*operation, operationName);
    if (mayBeTaken(*operation)) toStart = appendReady(*operation);
  }
  startRunners(toStart);
  announceCounts();
}

void NSOperationQueue::addOperationWithBlock(Block block) {
  if (!block) return NSLog("An empty block for the queue %@ was ignored", name());
  addOperation(NSBlockOperation::blockOperationWithBlock(std::move(block)));
}

void NSOperationQueue::addOperations(const NSArray& operations, bool waitUntilFinished) {
  for (const Value& each : operations) addOperation(each.as<NSOperation>());
  if (!waitUntilFinished) return;
  for (const Value& each : operations)
    if (const auto operation = each.as<NSOperation>()) operation->waitUntilFinished();
}

void NSOperationQueue::cancelAllOperations() {
  const NSArray all = operations();
  for (const Value& each : all) each.as<NSOperation>()->cancel();
}

void NSOperationQueue::waitUntilAllOperationsAreFinished() {
  if (operationCount() == 0) return;
  const detail::BlockingWait waiting;
  while (const uint32_t count = count_.load()) count_.wait(count);
}

NSArray NSOperationQueue::operations() const {
  const NSMutableArray result = NSMutableArray::array();
  const std::lock_guard lock(mutex_);
  for (NSOperation* each = first_; each; each = each->next_)
    if (!each->isFinished()) result.addObject(Ref<NSOperation>(each));
  return result.copy().as<NSArray>();
}

NSString NSOperationQueue::name() const {
  const std::lock_guard lock(mutex_);
  if (name_.isNil())
    name_ = isMain_ ? NSString("NSOperationQueue Main Queue")
                    : NSString::stringWithFormat("NSOperationQueue %p", static_cast<const void*>(this));
  return name_;
}

void NSOperationQueue::setName(const NSString& name) {
  const std::lock_guard lock(mutex_);
  name_ = name;
}

NSInteger NSOperationQueue::maxConcurrentOperationCount() const {
  const std::lock_guard lock(mutex_);
  return isMain_ ? 1 : maximum_;
}

void NSOperationQueue::setMaxConcurrentOperationCount(NSInteger count) {
  size_t toStart = 0;
  {
    const std::lock_guard lock(mutex_);
    maximum_ = count >= 1 || count == DefaultMaxConcurrentOperationCount ? count : 1;
    toStart = runnersToStart();
  }
  startRunners(toStart);
}

bool NSOperationQueue::isSuspended() const {
  const std::lock_guard lock(mutex_);
  return suspended_;
}

void NSOperationQueue::setSuspended(bool suspended) {
  size_t toStart = 0;
  {
    const std::lock_guard lock(mutex_);
    suspended_ = suspended;
    toStart = runnersToStart();
  }
  startRunners(toStart);
}

// ---- what is ready

void NSOperationQueue::operationIsReady(NSOperation& operation) {
  size_t toStart = 0;
  {
    const std::lock_guard lock(mutex_);
    if (operation.queue_.load() == this && mayBeTaken(operation) && !operation.isListed_)
      toStart = appendReady(operation);
  }
  startRunners(toStart);
}

size_t NSOperationQueue::limit() const noexcept {
  return isMain_ ? 1 : maximum_ > 0 ? static_cast<size_t>(maximum_) : kSystemLimit;
}

// Answers how many runners the caller has to start when it has left the lock.
size_t NSOperationQueue::appendReady(NSOperation& operation) {
  ReadyList& list = ready_[listOf(operation.queuePriority())];
  operation.nextReady_ = nullptr;
  operation.isListed_ = true;
  list.first ? list.last->nextReady_ = &operation : list.first = &operation;
  list.last = &operation;
  ++readyCount_;
  return runnersToStart();
}

// One for each operation that no runner will come to at once, as far as the limit allows.
size_t NSOperationQueue::runnersToStart() noexcept {
  if (suspended_ || runners_ >= limit() || readyCount_ <= lingering_) return 0;
  const size_t wanted = std::min(limit() - runners_, readyCount_ - lingering_);
  runners_ += wanted;
  return wanted;
}

void NSOperationQueue::startRunners(size_t count) {
  for (size_t i = 0; i < count; ++i) {
    if (isMain_)
      DispatchQueue::mainQueue()->async([queue = Ref(this)] { queue->run(); });
    else
      detail::WorkerPool::shared().submit(*new Runner(*this));
  }
}

// ---- running

void NSOperationQueue::run() {
  // The main thread has other things to do between two operations.
  if (runSome(isMain_ ? 1 : kFairShare)) startRunners(1);
}

// True when the runner is to go on later, false when it has ended.
bool NSOperationQueue::runSome(unsigned most) {
  Ref<NSOperation> operation;
  for (unsigned done = 0;; ++done) {
    const bool enough = done >= most && (isMain_ || detail::WorkerPool::shared().hasWaiting());
    if (!enough) {
      Ref<NSOperation> next = nextOrLater(operation);
      operation = std::move(next);
      announceCounts();
      if (!operation) return false;
      runOne(*operation);
      continue;
    }
    Ref<NSOperation> owned;  // ends outside of the lock
    {
      const std::lock_guard lock(mutex_);
      owned = unlink(*operation);
    }
    announceCounts();
    return true;
  }
}

// The next operation. The last runner looks for one more for two microseconds before it ends: to start another
// costs more than that.
Ref<NSOperation> NSOperationQueue::nextOrLater(Ref<NSOperation>& finished) {
  constexpr int kLooks = 60;
  bool linger = !isMain_;
  Ref<NSOperation> next = nextReady(finished, linger);
  if (next || !linger) return next;
  finished = nil;
  for (int look = 0; look < kLooks && readyCount_.load(std::memory_order_relaxed) == 0; ++look)
    detail::pauseProcessor();
  bool ends = false;
  return nextReady(finished, ends);
}

// Takes the operation that has just been finished out of the queue, and answers the next one. Without one, or
// with too many runners, the runner ends, unless it may linger and is the only one; then it has to come again.
Ref<NSOperation> NSOperationQueue::nextReady(Ref<NSOperation>& finished, bool& linger) {
  Ref<NSOperation> owned;  // ends outside of the lock
  const std::lock_guard lock(mutex_);
  if (finished)
    owned = unlink(*finished);
  else if (lingering_ > 0 && !linger)
    lingering_ = 0;
  if (!suspended_ && runners_ <= limit()) {
    for (ReadyList& list : ready_)
      while (NSOperation* operation = list.first) {
        list.first = operation->nextReady_;
        --readyCount_;
        if (mayBeTaken(*operation)) return Ref<NSOperation>(operation);
        // A dependency has been added since; the operation comes back when that is finished.
        operation->isListed_ = false;
      }
  }
  linger = linger && runners_ == 1 && !suspended_;
  linger ? ++lingering_ : --runners_;
  return nil;
}

void NSOperationQueue::runOne(NSOperation& operation) noexcept {
  const Running running(this);
  operation.start();
  if (operation.isExecuting()) operation.waitUntilFinished();  // somebody else has started it
  operation.finish();
}

void NSOperationQueue::linkLast(NSOperation& operation) {
  detail::retain(&operation);  // the list's
  detail::retain(this);        // the operation's
  operation.queue_ = this;
  operation.previous_ = last_;
  operation.next_ = nullptr;
  last_ ? last_->next_ = &operation : first_ = &operation;
  last_ = &operation;
  const uint32_t before = count_.fetch_add(1);
  noteCount(before, before + 1);
}

Ref<NSOperation> NSOperationQueue::unlink(NSOperation& operation) {
  operation.previous_ ? operation.previous_->next_ = operation.next_ : first_ = operation.next_;
  operation.next_ ? operation.next_->previous_ = operation.previous_ : last_ = operation.previous_;
  leaveName(operation);
  const uint32_t before = count_.fetch_sub(1);
  noteCount(before, before - 1);
  if (before == 1) count_.notify_all();
  return Ref<NSOperation>::adopt(&operation);
}

// ---- observers

void NSOperationQueue::noteCount(uint32_t before, uint32_t after) {
  if (isObserved()) [[unlikely]]
    untold_.push_back({before, after});
}

// Tells what is not told yet, unless another thread, or this one further out, is at it: that one goes on until
// nothing is left. Without the lock, so that observers may use the queue. What an exception keeps from being
// told is told with the next change.
void NSOperationQueue::announceCounts() {
  if (!isObserved()) [[likely]]
    return;
  struct Telling {
    NSOperationQueue& queue;
    std::vector<CountChange> changes{};
    size_t told = 0;
    bool mine = false;

    bool takeMore() {
      const std::lock_guard lock(queue.mutex_);
      if (!mine && queue.announcing_) return false;
      told = 0;
      changes.clear();
      changes.swap(queue.untold_);
      return queue.announcing_ = mine = !changes.empty();
    }
    ~Telling() {
      if (!mine) return;
      const std::lock_guard lock(queue.mutex_);
      queue.untold_.insert(queue.untold_.begin(), changes.begin() + static_cast<ptrdiff_t>(told),
                           changes.end());
      queue.announcing_ = false;
    }
  } telling{*this};
  while (telling.takeMore())
    while (telling.told < telling.changes.size()) {
      const CountChange change = telling.changes[telling.told++];
      announceChange("operationCount", change.before, change.after);
    }
}

// ---- names

Ref<NSOperation> NSOperationQueue::operationNamed(const NSString& name) const {
  if (name.isNil()) return nil;
  const std::lock_guard lock(mutex_);
  if (names_.empty()) growTable();
  for (NSOperation* each = names_[name.hash() & (names_.size() - 1)].first; each; each = each->nextNamed_)
    if (each->tableName_.isEqual(name) && !each->isFinished()) return Ref<NSOperation>(each);
  return nil;
}

// Among equal names the order of addition decides: the table is built again when it is next asked.
void NSOperationQueue::operationWasNamed() {
  const std::lock_guard lock(mutex_);
  names_.clear();
}

void NSOperationQueue::enterName(NSOperation& operation, const NSString& name) const {
  operation.tableName_ = name;
  operation.nextNamed_ = nullptr;
  if (name.isNil()) return;
  if (named_ >= names_.size()) return growTable();
  ReadyList& chain = names_[name.hash() & (names_.size() - 1)];
  chain.first ? chain.last->nextNamed_ = &operation : chain.first = &operation;
  chain.last = &operation;
  ++named_;
}

void NSOperationQueue::leaveName(NSOperation& operation) const {
  if (names_.empty() || operation.tableName_.isNil()) return;
  ReadyList& chain = names_[operation.tableName_.hash() & (names_.size() - 1)];
  NSOperation* before = nullptr;
  for (NSOperation* each = chain.first; each != &operation; each = each->nextNamed_) before = each;
  (before ? before->nextNamed_ : chain.first) = operation.nextNamed_;
  if (chain.last == &operation) chain.last = before;
  --named_;
}

// Builds the table for twice the operations there are.
void NSOperationQueue::growTable() const {
  size_t size = kFirstTableSize;
  while (size < 2 * count_) size *= 2;
  names_.assign(size, ReadyList());
  named_ = 0;
  for (NSOperation* each = first_; each; each = each->next_) enterName(*each, each->name());
}
