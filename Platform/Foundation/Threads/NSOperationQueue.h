#pragma once

#include <atomic>
#include <vector>

#include "Platform/Dispatch/Detail/ShortLock.h"
#include "Platform/Foundation/Threads/NSOperation.h"
#include "Platform/Foundation/Values/Class.h"
#include "Platform/Foundation/Values/NSKeyValueObserving.h"

// Runs operations on the shared pool of threads, or on the main thread (the main queue), several at a time up
// to a limit.
//
// 1. Order: of the operations that are ready the one of the highest priority starts first, among equals the one
//    that was ready first; in a queue whose maximum is 1 they run one at a time, so in the order in which they
//    were added.
// 2. Visibility: in a queue whose maximum is 1 each operation sees what earlier ones wrote. Who has waited for
//    operations sees what they wrote.
// 3. Last reference: operations keep their queue alive until they are finished.
// 4. Exceptions that leave an operation end the process.
// 5. Exit: operations accepted before the process began to end still run; those added after it has run
//    everything count as finished at once.
// 6. Waiting for a queue from one of its own operations waits for ever when that one is among those waited for.
// 7. Observers of "operationCount" are told of every addition and every removal, once each, with the old and
//    the new count, in the order in which they happened, and never two at a time; only the call for
//    NSKeyValueObservingOptionInitial comes at once on the registering thread. They are called on a thread
//    that changes the queue: the one that made the change, or the one that was telling of the change before.
//    What an observer does to the queue is told when it has returned. An exception of an observer ends the
//    process when a worker was telling. Waiting for operations does not wait for what is told of them.
//
// Safe on every thread.
//
//   Ref<NSOperationQueue> queue = make<NSOperationQueue>();
//   queue->setMaxConcurrentOperationCount(2);
//   queue->addOperationWithBlock([] { ... });
//   queue->waitUntilAllOperationsAreFinished();
class ORV_EXPORT NSOperationQueue : public NSKeyValueObserving {
 public:
  // As many as the machine suggests.
  static constexpr NSInteger DefaultMaxConcurrentOperationCount = -1;

  NSOperationQueue();
  ~NSOperationQueue() override;
  NSString className() const override;

  // The queue whose operation runs on this thread; outside of operations the main queue on the main thread, nil
  // on others.
  static orv::Ref<NSOperationQueue> currentQueue();
  // One operation at a time on the main thread, while that runs its loop (see NSRunLoop).
  static orv::Ref<NSOperationQueue> mainQueue();

  // An operation runs once and belongs to one queue: one that is finished, executing or in a queue raises
  // NSInvalidArgumentException. Nil is ignored.
  void addOperation(const orv::Ref<NSOperation>& operation);
  // An empty block is ignored with a line on the console.
  void addOperationWithBlock(orv::Block block);
  // The operations of an array, in order; other values in it are skipped.
  void addOperations(const NSArray& operations, bool waitUntilFinished);

  // Cancels all that are in the queue, executing ones included; waits for nothing.
  void cancelAllOperations();
  // Returns when the queue is empty, of operations added meanwhile, too.
  void waitUntilAllOperationsAreFinished();

  // Those that are not finished, in the order of addition.
  NSArray operations() const;
  // How many have not left the queue: one that has finished this moment may still count.
  NSUInteger operationCount() const noexcept { return count_.load(std::memory_order_acquire); }
  // The first of them with that name, by a table, not by looking at each; nil for none and for a nil name.
  orv::Ref<NSOperation> operationNamed(const NSString& name) const;

  // Default "NSOperationQueue 0xADDRESS". Threads carry it while they run operations.
  NSString name() const;
  void setName(const NSString& name);
  // 0 and numbers below -1 are taken for 1. The main queue's is always 1.
  NSInteger maxConcurrentOperationCount() const;
  void setMaxConcurrentOperationCount(NSInteger count);
  // A suspended queue starts nothing; what executes goes on. Let go of before it is resumed, it and what it
  // holds stay for ever.
  bool isSuspended() const;
  void setSuspended(bool suspended);

  ORV_PROPERTIES(NSOperationQueue, NSObject, ORV_READ_ONLY(operationCount), ORV_READ_ONLY(operations),
                 ORV_PROPERTY(name, setName),
                 ORV_PROPERTY(maxConcurrentOperationCount, setMaxConcurrentOperationCount))

 private:
  friend class NSOperation;
  struct Runner;
  struct ReadyList {
    NSOperation* first = nullptr;
    NSOperation* last = nullptr;
  };
  struct CountChange {
    uint32_t before, after;
  };
  template <std::derived_from<NSObject> T, class... Args>
  friend orv::Ref<T> orv::make(Args&&... args);

  explicit NSOperationQueue(bool isMain);

  void operationIsReady(NSOperation& operation);
  void operationWasNamed();
  size_t limit() const noexcept;
  size_t appendReady(NSOperation& operation);
  size_t runnersToStart() noexcept;
  void startRunners(size_t count);
  void run();
  bool runSome(unsigned most);
  orv::Ref<NSOperation> nextReady(orv::Ref<NSOperation>& finished, bool& linger);
  orv::Ref<NSOperation> nextOrLater(orv::Ref<NSOperation>& finished);
  void runOne(NSOperation& operation) noexcept;
  void linkLast(NSOperation& operation);
  orv::Ref<NSOperation> unlink(NSOperation& operation);
  void noteCount(uint32_t before, uint32_t after);
  void announceCounts();
  void enterName(NSOperation& operation, const NSString& name) const;
  void leaveName(NSOperation& operation) const;
  void growTable() const;

  mutable orv::detail::ShortLock mutex_;  // guards all below
  NSOperation* first_ = nullptr;
  NSOperation* last_ = nullptr;
  ReadyList ready_[5];  // by priority, the highest first
  std::atomic<size_t> readyCount_{0};
  size_t lingering_ = 0;  // runners that look for one more operation
  std::atomic<uint32_t> count_{0};
  size_t runners_ = 0;
  NSInteger maximum_ = DefaultMaxConcurrentOperationCount;
  bool suspended_ = false;
  bool announcing_ = false;          // a thread is telling observers
  std::vector<CountChange> untold_;  // changes of the count, in order; empty without observers
  const bool isMain_;
  mutable NSString name_;
  // Chains of operations with equal hashes of their names, in order of addition; made when first asked.
  mutable std::vector<ReadyList> names_;
  mutable size_t named_ = 0;
};
