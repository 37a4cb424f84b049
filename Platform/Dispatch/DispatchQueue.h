#pragma once

#include <atomic>
#include <exception>
#include <utility>

#include "Platform/Dispatch/Block.h"
#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

namespace orv::detail {
class QueueList;
}  // namespace orv::detail

// A queue of blocks. Serial queues run one block at a time, concurrent queues several, the main queue one at a
// time on the main thread. All share one pool of threads sized to the machine: an idle queue holds no thread,
// and ten thousand queues cost their memory only.
//
// 1. Order: a serial queue runs its blocks in the order in which they were submitted, synchronous and
//    asynchronous ones alike; submissions of different threads at the same time are in some order. A concurrent
//    queue starts them in that order, and a barrier runs alone, after all before it and before all behind it.
// 2. Visibility: a block sees all that was written before it was submitted and all that earlier blocks of a
//    serial queue wrote. What a synchronous block wrote is visible when the call returns.
// 3. Threads: a synchronous block runs on the calling thread, except for the main queue's. An asynchronous one
//    runs on a thread of the pool, which then carries the queue's label as its name.
// 4. Last reference: blocks keep their queue alive. A queue may be let go of, also by its own block, at any
//    time.
// 5. Exceptions: one that leaves a synchronous block reaches the caller, and the queue goes on. One that leaves
//    an asynchronous block ends the process.
// 6. Exit: blocks accepted before the process began to end (by exit or a return from main) still run, before
//    the destructors of objects made before the first queue; those behind a synchronous block of another thread
//    as long as that ends within half a second. Work submitted meanwhile runs if it comes within two seconds;
//    after that it is destroyed without running.
// 7. A synchronous call waits for ever when it waits for itself: from a block of the same serial queue, or in a
//    circle of queues. Builds with ORVANE_QUEUE_CHECKS report that once on the console, with both labels.
//
// A forked child has no threads of the pool, and runs nothing of what waits in its parent's queues; it may use
// queues that it makes itself. When the system refuses a thread and none is there to do the work, the
// submission tries again for a second before it leaves the block waiting.
//
//   Ref<DispatchQueue> queue = DispatchQueue::serial("org.example.shelf");
//   queue->async([=] { shelf->sort(); });
//   queue->sync([&] { first = shelf->first(); });       // after the sorting
class ORV_EXPORT DispatchQueue : public NSObject {
 public:
  // Called with what leaves an asynchronous block, if it derives from std::exception.
  using ExceptionHandler = void (*)(const std::exception&);

  // With a target, the blocks of a serial queue run on that queue: queues that share a serial target never run
  // at the same time, and see its specific values behind their own. The target must not wait for its own queue.
  static orv::Ref<DispatchQueue> serial(const NSString& label,
                                        const orv::Ref<DispatchQueue>& target = orv::nil);
  static orv::Ref<DispatchQueue> concurrent(const NSString& label);
  // Its blocks run while the main thread runs the default context of GLib: in NSRunLoop::mainRunLoop()->run(),
  // or in any GLib, GTK or Qt loop. A synchronous call from the main thread runs in place.
  static orv::Ref<DispatchQueue> mainQueue();
  // One concurrent queue for the process.
  static orv::Ref<DispatchQueue> globalQueue();

  ~DispatchQueue() override;
  NSString description() const override;  // "<DispatchQueue: label>"
  NSString className() const override;

  const NSString& label() const noexcept { return label_; }

  // Submits a block and returns at once. An empty block is ignored with a line on the console.
  void async(orv::Block block, ExceptionHandler handler = nullptr);
  // Runs a block and returns when it has run.
  void sync(orv::BlockRef block);
  // The same as a barrier; on a serial queue each block is one.
  void barrierAsync(orv::Block block);
  void barrierSync(orv::BlockRef block);

  // Values that code finds by a key, an address, while it runs on the queue. A null value removes. Any thread
  // may set and get.
  void setSpecific(const void* key, void* value);
  void* specific(const void* key) const noexcept;
  // The value of the queue whose block is running on this thread, or of its targets; the innermost queue alone
  // counts when blocks are nested. On the main thread outside of all blocks it is the main queue's. Null for
  // none.
  static void* currentSpecific(const void* key) noexcept;
  // The queue whose block is running on this thread; the main queue on the main thread outside of all blocks;
  // nil.
  static orv::Ref<DispatchQueue> current() noexcept;

  // Whether the block that is running on this thread, the innermost one, is of this queue.
  bool isRunningHere() const noexcept;

  // When the process ends inside a block of this queue: runs what waits behind it. For the pool of threads.
  virtual void runRestAtExit() noexcept {}
  // Whether blocks wait in the queue itself, not in the pool. On any thread, also while the queue is used.
  virtual bool hasSubmissions() const noexcept { return false; }

 protected:
  DispatchQueue(const NSString& label, const orv::Ref<DispatchQueue>& target);

  virtual void submit(orv::Block&& block, ExceptionHandler handler, bool barrier) = 0;
  virtual void runNow(orv::BlockRef block, bool barrier) = 0;
  // Submits a barrier of the queue's own making, also once no new work is accepted.
  static void submitAlways(DispatchQueue& queue, orv::Block&& block) {
    queue.submit(std::move(block), nullptr, true);
  }

  const NSString label_;
  const orv::Ref<DispatchQueue> target_;

 private:
  friend class orv::detail::QueueList;
  struct Specific;

  std::atomic<Specific*> specifics_{nullptr};
  // The list of all queues, under its lock.
  bool isListed_ = false;
  DispatchQueue* newerQueue_ = nullptr;
  DispatchQueue* olderQueue_ = nullptr;
};
