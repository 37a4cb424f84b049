#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "Platform/Dispatch/Detail/ShortLock.h"
#include "Platform/Foundation/Threads/NSOperationQueue.h"

class OrvTaskQueue;

// A task in the queue: what it is about, for its handler to read. Set up before it is added.
class ORV_EXPORT OrvTaskOperation : public NSBlockOperation {
 public:
  NSString className() const override { return "OrvTaskOperation"; }

  NSString key() const { return key_; }
  void setKey(const NSString& key) { key_ = key; }
  NSString task() const { return task_; }
  void setTask(const NSString& task) { task_ = task; }
  // Whatever the handler needs; the queue does not look at it.
  orv::Value info() const { return info_; }
  void setInfo(const orv::Value& info) { info_ = info; }

 private:
  NSString key_;
  NSString task_;
  orv::Value info_;
};

// The work of a task. It may run on several threads at once, and asks `operation->isCancelled()` now and then.
using OrvTaskHandler = std::function<void(const orv::Ref<OrvTaskOperation>& operation)>;

// Hears how far the tasks are.
class ORV_EXPORT OrvTaskQueueDelegate : public NSObject {
 public:
  // Called on the thread that made the change: the one that adds a task, and threads of the pool, several at
  // once.
  virtual void updateProgress(double fractionDone) = 0;
};

// Background tasks, up to five at a time, with progress. A task is named by a pair: the task name selects the
// handler registered for it, the key says which item it is about. Adding a pair that is in the queue cancels
// the older one: the newest request wins.
//
//   Ref<OrvTaskQueue> tasks = make<OrvTaskQueue>();
//   tasks->registerTaskHandler("thumbnail", [](const auto& task) { draw(task->key()); });
//   tasks->addTask("thumbnail", path, nil);
//
// 1. Order: tasks start in the order in which they were added, up to five at once.
// 2. Counting: progress is finished / added since both were last set to zero, which the next task does when
//    nothing is outstanding. Every task counts once: run, cancelled or without a handler. The counters are not
//    locked together: tasks added by several threads at once may report a fraction that is a moment old.
// 3. Cancelling: a task that has not started passes by without its handler; a running one has to ask.
// 4. Visibility: a handler sees what was written before the task was added.
// 5. Last reference: when the queue object goes, its tasks are cancelled; those that run finish unreported. The
//    delegate is not kept alive.
// 6. Exceptions derived from std::exception that leave a handler or the delegate are logged at Warning as
//    "Exception %@"; others end the process.
//
// Safe on every thread.
class ORV_EXPORT OrvTaskQueue : public NSObject {
 public:
  OrvTaskQueue();
  ~OrvTaskQueue() override;
  NSString className() const override { return "OrvTaskQueue"; }

  // A new operation queue with at most five operations at a time and no handlers.
  virtual void configure();

  // Replaces the handler registered under the name. A nil name or an empty block is ignored with one Warning.
  void registerTaskHandler(const NSString& task, OrvTaskHandler block);

  // Logs "Reset counts" at Debug when nothing is outstanding, reports the progress, cancels an older task of
  // the same pair (with `removeTask`) and adds the new one. A name without a handler passes by without effect.
  void addTask(const NSString& task, const NSString& key, const orv::Value& info);
  // The same for a block of its own, without a name. An empty block is ignored with one Warning.
  void addTaskBlock(OrvTaskHandler block);

  // The first task of that pair that is not finished, nil for none.
  orv::Ref<OrvTaskOperation> task(const NSString& task, const NSString& key) const;
  // Cancels it, and logs "Remove task %@" at Debug in any case.
  void removeTask(const NSString& task, const NSString& key);
  void removeAllTasks();
  // The same, for a button.
  void doCancel(const orv::Value& sender);

  // 0 to 1; not-a-number before the first task.
  double progress() const;

  orv::Ref<OrvTaskQueueDelegate> delegate() const;
  void setDelegate(const orv::Ref<OrvTaskQueueDelegate>& delegate);  // held weakly
  orv::Ref<NSOperationQueue> queue() const;
  void setQueue(const orv::Ref<NSOperationQueue>& queue);
  // A copy; changes to it change nothing.
  std::map<NSString, OrvTaskHandler> taskHandlers() const;
  void setTaskHandlers(const std::map<NSString, OrvTaskHandler>& handlers);

 private:
  using Handlers = std::map<NSString, OrvTaskHandler>;

  std::shared_ptr<const Handlers> handlers() const;
  void countNewTask();
  void countDone();
  void report() const;
  orv::Ref<OrvTaskOperation> taskNamed(const NSString& name) const;
  void removeNamed(const NSString& name);
  void callHandler(const orv::Ref<OrvTaskOperation>& operation) const;

  std::atomic<int64_t> maxCount_{0};
  std::atomic<int64_t> doneCount_{0};
  mutable orv::detail::ShortLock mutex_;  // guards the three below
  orv::WeakRef<OrvTaskQueueDelegate> delegate_;
  orv::Ref<NSOperationQueue> queue_;
  std::shared_ptr<const Handlers> handlers_;  // never changed, only replaced
};
