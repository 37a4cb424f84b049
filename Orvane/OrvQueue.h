#pragma once

#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Foundation/Threads/NSOperationQueue.h"
#include "Platform/Foundation/Threads/NSRecursiveLock.h"
#include "Platform/Foundation/Values/NSObject.h"

namespace orv::detail {
class SerialQueue;
}

// Runs blocks one at a time: submit them to run now or later, and wait for all. The derived classes have the
// same interface and another engine.
//
//   Ref<OrvQueue> queue = make<OrvQueue>();
//   queue->async([=] { shelf->sort(); });
//   queue->sync([&] { first = shelf->first(); });         // after the sorting
//   OrvQueue::main([=] { view->update(); }, true);
//
// 1. Order: blocks run in the order in which they were submitted. `sync` on a queue from one of its own blocks
//    runs the inner block at once and logs "Reentrant situation for %@" at Info; `async` from there comes after
//    all that waits.
// 2. Visibility: a block sees what was written before it was submitted and what earlier blocks wrote. After
//    `sync` and `finish` the caller sees what the blocks wrote.
// 3. Threads: `sync` runs the block on the calling thread; `async` on a thread that carries the queue's label
//    as its name. An idle queue holds no thread.
// 4. Last reference: blocks already submitted still run, each without the queue object. A queue may be let go
//    of inside its own block.
// 5. Exceptions: one derived from std::exception is logged at Warning as "Exception %@", and the next block
//    runs. Any other leaves `sync` to the caller and ends the process from `async`.
// 6. Exit: blocks accepted before the process began to end still run. Once all have run, `sync` still runs its
//    block, on the calling thread; `async` drops it.
//
// An empty block is ignored with one Warning. Every method is safe on every thread.
class ORV_EXPORT OrvQueue : public NSObject {
 public:
  OrvQueue();
  ~OrvQueue() override;
  NSString className() const override { return "OrvQueue"; }

  // Submits a block; with `async` false, returns when it has run.
  virtual void sync(orv::Block block, bool async);
  void sync(orv::Block block) { sync(std::move(block), false); }
  void async(orv::Block block) { sync(std::move(block), true); }

  // Returns when every block submitted so far has run. From one of the queue's own blocks it would wait for
  // itself: it logs "Reentrant situation for %@" at Info and returns.
  virtual void finish();

  // "org.orvane." + class name + "." + 26 random characters.
  NSString label() const;

  // Runs a block on the main thread: at once when this is it (see isMain), whatever `async` says; else later,
  // or while the caller waits. The main thread has to run its loop (see NSRunLoop). An exception reaches a
  // waiting caller and otherwise ends the process.
  static void main(orv::Block block, bool async);
  static void main(orv::Block block) { main(std::move(block), false); }

  // Marks the main queue, so that isMain knows it. Called by itself on first use; again it does nothing.
  static void initialize();

  // True on the process's first thread, in a block of the main queue and in an operation of the main operation
  // queue, whichever thread runs it.
  static bool isMain();

  // Soft assertions (see OrvAssert.h) with the messages "Code running outside of main thread." and "Code
  // running unexpectedly on main thread.".
  static void assertMainThread();
  static void assertNotMainThread();

 protected:
  // The label is made when it is first needed: the class is known then.
  NSString makeLabel() const;
  // Whether a block is there; logs the Warning when not.
  bool accepts(const orv::Block& block) const;
  void logReentrance() const;

 private:
  orv::detail::SerialQueue* queue() const;
  orv::detail::SerialQueue* makeQueue() const;

  mutable std::atomic<orv::detail::SerialQueue*> queue_{nullptr};  // owned
};

// Runs every block at once on the calling thread, whatever `async` says, and `finish` has nothing to wait for.
// For tests and programs with one thread: code written for OrvQueue runs unchanged and in a fixed order. Calls
// from several threads run side by side.
class ORV_EXPORT OrvFakeQueue : public OrvQueue {
 public:
  using OrvQueue::sync;
  NSString className() const override { return "OrvFakeQueue"; }
  void sync(orv::Block block, bool async) override;
  void finish() override;
};

// On an operation queue with one operation at a time. Blocks run on threads of the pool, those of `sync` too.
// `finish` also waits for blocks that are added meanwhile.
class ORV_EXPORT OrvOpsQueue : public OrvQueue {
 public:
  using OrvQueue::sync;
  OrvOpsQueue();
  NSString className() const override { return "OrvOpsQueue"; }
  void sync(orv::Block block, bool async) override;
  void finish() override;

 private:
  const orv::Ref<NSOperationQueue> queue_;
};

// Holds a recursive lock around each block. `sync` from a block of the same queue waits for ever: that is how
// it is defined. `finish` waits for the block that is running at that moment, not for those behind it.
class ORV_EXPORT OrvRecQueue : public OrvQueue {
 public:
  using OrvQueue::sync;
  OrvRecQueue();
  NSString className() const override { return "OrvRecQueue"; }
  void sync(orv::Block block, bool async) override;
  void finish() override;

 private:
  const orv::Ref<DispatchQueue> queue_;
  const orv::Ref<NSRecursiveLock> lock_;
};

// Fire and forget, on one concurrent operation queue for the process, named "org.orvane.async". No order, no
// waiting; an exception that leaves a block ends the process. An empty block is ignored with one Warning.
class ORV_EXPORT OrvAsync {
 public:
  OrvAsync() = delete;
  static void async(orv::Block block);
};
