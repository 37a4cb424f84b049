#include "Orvane/OrvQueue.h"

#include <utility>

#include "Orvane/Orv.h"
#include "Orvane/OrvAssert.h"
#include "Platform/Dispatch/Detail/SerialQueue.h"
#include "Platform/Foundation/Threads/NSThread.h"

using namespace orv;

namespace {

constexpr const char* kOwnerPrefix = "org.orvane";

// The main queue's mark: two addresses.
constexpr char mainKey = 0;
char mainValue = 0;

void guarded(Block& block) { ORV_GUARD(block()); }

void reportFailure(const std::exception& exception) {
  detail::reportException(__FILE__, __func__, __LINE__, exception);
}

}  // namespace

// ---- OrvQueue

OrvQueue::OrvQueue() = default;

OrvQueue::~OrvQueue() {
  if (detail::SerialQueue* queue = queue_.load(std::memory_order_acquire)) queue->letGo();
}

NSString OrvQueue::makeLabel() const {
  return NSString::stringWithFormat("%s.%@.%@", kOwnerPrefix, className(), Orv::uidShort());
}

NSString OrvQueue::label() const { return queue()->label(); }

detail::SerialQueue* OrvQueue::queue() const {
  detail::SerialQueue* queue = queue_.load(std::memory_order_acquire);
  return queue ? queue : makeQueue();
}

// The dispatch queue, made on first use. It is its own specific value, under its own address as the key.
[[gnu::noinline]] detail::SerialQueue* OrvQueue::makeQueue() const {
  const Ref<detail::SerialQueue> made = make<detail::SerialQueue>(makeLabel(), nil);
  made->setSpecific(made.get(), made.get());
  detail::SerialQueue* first = nullptr;
  if (!queue_.compare_exchange_strong(first, made.get(), std::memory_order_acq_rel)) return first;
  detail::retain(made.get());
  return made.get();
}

bool OrvQueue::accepts(const Block& block) const {
  if (block) return true;
  OrvLogWarning("Empty block for %@ ignored", description());
  return false;
}

void OrvQueue::logReentrance() const { OrvLogInfo("Reentrant situation for %@", description()); }

// The queue object may be gone when its block has run: only the dispatch queue is touched then.
void OrvQueue::sync(Block block, bool async) {
  if (!accepts(block)) return;
  detail::SerialQueue* const queue = this->queue();
  if (async) return queue->append(std::move(block), &reportFailure);
  if (queue->isRunningHere()) {
    logReentrance();
    return guarded(block);
  }
  queue->runKept([&] { guarded(block); });
}

void OrvQueue::finish() {
  detail::SerialQueue* const queue = this->queue();
  if (queue->isRunningHere()) return logReentrance();
  queue->runKept([] {});
}

void OrvQueue::main(Block block, bool async) {
  if (!block) {
    OrvLogWarning("Empty block for the main thread ignored");
    return;
  }
  if (isMain()) return block();
  async ? DispatchQueue::mainQueue()->async(std::move(block)) : DispatchQueue::mainQueue()->sync(block);
}

void OrvQueue::initialize() {
  static const bool marked = [] {
    DispatchQueue::mainQueue()->setSpecific(&mainKey, &mainValue);
    return true;
  }();
  static_cast<void>(marked);
}

bool OrvQueue::isMain() {
  if (NSThread::isMainThread()) return true;
  if (DispatchQueue::current()) {
    initialize();
    if (DispatchQueue::currentSpecific(&mainKey) == &mainValue) return true;
  }
  const Ref<NSOperationQueue> queue = NSOperationQueue::currentQueue();
  return queue && queue == NSOperationQueue::mainQueue();
}

void OrvQueue::assertMainThread() {
  ORV_ASSERT_TEXT_MSG(isMain(), "!!([OrvQueue isMain])", "Code running outside of main thread.");
}

void OrvQueue::assertNotMainThread() {
  ORV_ASSERT_TEXT_MSG(!isMain(), "![OrvQueue isMain]", "Code running unexpectedly on main thread.");
}

// ---- OrvFakeQueue

void OrvFakeQueue::sync(Block block, bool) {
  if (accepts(block)) guarded(block);
}

void OrvFakeQueue::finish() {}

// ---- OrvOpsQueue

OrvOpsQueue::OrvOpsQueue() : queue_(make<NSOperationQueue>()) {
  queue_->setName(makeLabel());
  queue_->setMaxConcurrentOperationCount(1);
}

void OrvOpsQueue::sync(Block block, bool async) {
  if (!accepts(block)) return;
  const Ref<NSOperationQueue> queue = queue_;
  if (!async && NSOperationQueue::currentQueue() == queue) {
    logReentrance();
    return guarded(block);
  }
  if (!async && !detail::WorkerPool::isOpen()) {  // the process ends: no other thread will run it
    queue->waitUntilAllOperationsAreFinished();
    return guarded(block);
  }
  const Ref<NSBlockOperation> operation =
      NSBlockOperation::blockOperationWithBlock([block = std::move(block)]() mutable { guarded(block); });
  queue->addOperation(operation);
  if (!async) operation->waitUntilFinished();
}

void OrvOpsQueue::finish() {
  const Ref<NSOperationQueue> queue = queue_;
  if (NSOperationQueue::currentQueue() == queue) return logReentrance();
  queue->waitUntilAllOperationsAreFinished();
}

// ---- OrvRecQueue

OrvRecQueue::OrvRecQueue() : queue_(DispatchQueue::serial(makeLabel())), lock_(make<NSRecursiveLock>()) {}

static void runLocked(NSRecursiveLock& lock, Block& block) {
  const std::lock_guard<NSRecursiveLock> guard(lock);
  guarded(block);
}

void OrvRecQueue::sync(Block block, bool async) {
  if (!accepts(block)) return;
  const Ref<DispatchQueue> queue = queue_;
  const Ref<NSRecursiveLock> lock = lock_;
  if (async)
    queue->async([lock, block = std::move(block)]() mutable { runLocked(*lock, block); });
  else
    queue->sync([&] { runLocked(*lock, block); });
}

void OrvRecQueue::finish() {
  const Ref<NSRecursiveLock> lock = lock_;
  lock->lock();
  lock->unlock();
}

// ---- OrvAsync

void OrvAsync::async(Block block) {
  static auto* const queue = [] {
    auto* const made = new Ref<NSOperationQueue>(make<NSOperationQueue>());
    (*made)->setName(NSString::stringWithFormat("%s.async", kOwnerPrefix));
    return made;
  }();
  if (!block) {
    OrvLogWarning("Empty block for the shared queue ignored");
    return;
  }
  (*queue)->addOperationWithBlock(std::move(block));
}
