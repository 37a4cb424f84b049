#pragma once

#include <atomic>
#include <vector>

#include "Platform/Dispatch/Block.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

class NSOperationQueue;

// Which of several ready operations a queue takes first.
enum class NSOperationQueuePriority : NSInteger { VeryLow = -8, Low = -4, Normal = 0, High = 4, VeryHigh = 8 };

// A piece of work that runs once: ready, then executing, then finished. Derived classes override `main`, or the
// work is given as blocks (NSBlockOperation). Added to an NSOperationQueue, or run on the spot by `start`.
//
// 1. Cancelling sets a flag. The work of an operation that was cancelled before it began is still entered,
//    without waiting for dependencies, so that it can keep its books: it asks `isCancelled` and goes. One that
//    is executing has to ask, too.
// 2. What was written before the operation was added is visible to it; what it wrote is visible to whoever sees
//    it finished, and to operations that depend on it.
// 3. An operation keeps the queue that it was added to alive; the queue keeps the operation until it is
//    finished.
// 4. An exception that leaves the work ends the process on a queue, and reaches the caller of `start`; the
//    operation is finished then.
//
// Setting up is for one thread; every question, `cancel` and the waits are safe on all threads.
class ORV_EXPORT NSOperation : public NSObject {
 public:
  NSOperation();
  ~NSOperation() override;
  NSString className() const override;

  // The work. The default does nothing.
  virtual void main();
  // Runs the operation on the calling thread unless it has begun already: a queue calls it.
  virtual void start();

  void cancel();
  bool isCancelled() const noexcept { return cancelled_.load(std::memory_order_acquire); }
  bool isExecuting() const noexcept { return state() == State::Executing; }
  bool isFinished() const noexcept { return state() == State::Finished; }
  // Not begun, and nothing to wait for: no dependency that is unfinished, or cancelled.
  bool isReady() const noexcept;

  // Returns when the operation is finished.
  void waitUntilFinished();

  // A queue starts the operation only after these. Nil, the operation itself, and dependencies of one that has
  // begun are ignored; a circle never becomes ready. Finished ones stay in the list, and alive, until they are
  // removed: in a chain that never ends each should remove the one before.
  void addDependency(const orv::Ref<NSOperation>& operation);
  void removeDependency(const orv::Ref<NSOperation>& operation);
  NSArray dependencies() const;

  NSString name() const;
  void setName(const NSString& name);
  NSOperationQueuePriority queuePriority() const noexcept { return priority_.load(std::memory_order_relaxed); }
  // Counts when it is set before the operation is added.
  void setQueuePriority(NSOperationQueuePriority priority) noexcept { priority_ = priority; }
  // Called once after the operation has finished, cancelled or not, on the thread that ran it.
  void setCompletionBlock(orv::Block block);

 private:
  friend class NSOperationQueue;
  enum class State : uint32_t { Fresh, Queued, Executing, Finished };

  State state() const noexcept { return state_.load(std::memory_order_acquire); }
  bool enqueued() noexcept;
  void finish();
  void leaveQueue();
  void tellDependents();

  std::atomic<State> state_{State::Fresh};
  std::atomic<bool> cancelled_{false};
  std::atomic<bool> hasDependents_{false};
  std::atomic<bool> hasSleepers_{false};
  std::atomic<bool> hasCompletion_{false};
  std::atomic<NSOperationQueuePriority> priority_{NSOperationQueuePriority::Normal};
  std::atomic<uint32_t> unfinished_{0};  // dependencies
  NSString name_;                        // guarded as the links of dependencies are
  orv::Block completion_;
  std::vector<orv::Ref<NSOperation>> dependencies_;
  std::vector<NSOperation*> dependents_;  // each takes itself out when it ends

  // The queue's: its place in the list of all, in a list of those ready, and in the table of names.
  std::atomic<NSOperationQueue*> queue_{nullptr};  // owned, set once
  NSOperation* next_ = nullptr;
  NSOperation* previous_ = nullptr;
  NSOperation* nextReady_ = nullptr;
  NSOperation* nextNamed_ = nullptr;
  NSString tableName_;     // under which it stands in the table
  bool isListed_ = false;  // among those ready, or taken from there to run
};

// An operation whose work is one block or several, which run one after the other.
//
//   Ref<NSBlockOperation> operation = NSBlockOperation::blockOperationWithBlock([=] { shelf->sort(); });
class ORV_EXPORT NSBlockOperation : public NSOperation {
 public:
  static orv::Ref<NSBlockOperation> blockOperationWithBlock(orv::Block block);
  NSString className() const override;

  // An empty block, and one for an operation that has begun, is ignored with a line on the console.
  void addExecutionBlock(orv::Block block);
  void main() override;

 private:
  orv::Block first_;
  std::vector<orv::Block> others_;
};
