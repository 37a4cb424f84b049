#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

#include "Platform/Foundation/Export.h"

namespace orv::detail {

// A piece of work for the pool, part of the object that it belongs to. It must stay alive until it runs, and
// may be submitted again once it has begun to run.
struct Job {
  explicit Job(void (*runJob)(Job&) noexcept) : run(runJob) {}

  void (*const run)(Job&) noexcept;
  Job* next = nullptr;
};

// The threads behind every queue: as many as the process may use processors, made when there is work, gone
// after a second without. Threads that block make room for others, up to kMostWorkers: waits of our own say so
// themselves, of other waits the pool hears from the kernel when jobs lie there for milliseconds.
//
// 1. Jobs start in the order in which they were submitted.
// 2. What the submitter wrote before is visible to the job.
// 3. When the process ends by exit or a return from main, jobs accepted until then still run. Whether new work
//    is accepted afterwards, `isOpen` tells.
// 4. When the system refuses a thread and there is none that could do the work, the submitter tries again for a
//    second. What then lies there waits for the next submission, or runs on the thread that ends the process.
class WorkerPool {
 public:
  static constexpr size_t kMostWorkers = 128;

  // Never destroyed: threads may run until the very end of the process.
  ORV_EXPORT static WorkerPool& shared();

  void submit(Job& job);
  // Whether jobs wait for a worker: long-running ones then make room.
  bool hasWaiting() const noexcept { return waiting_.load(std::memory_order_relaxed) > 0; }

  // To be called before work is accepted that may reach the pool later: it has to be run when the process ends.
  static void prepare() {
    if (!made_.load(std::memory_order_relaxed)) [[unlikely]]
      static_cast<void>(shared());
  }

  // False once the process ends: nothing submitted later is certain to run.
  static bool isOpen() noexcept { return open_.load(std::memory_order_relaxed); }

  // The threads alive, for tests.
  ORV_EXPORT size_t workerCount();

 private:
  friend class BlockingWait;
  struct Worker;

  WorkerPool();
  void work(Worker& self);
  void watch(std::unique_lock<std::mutex>& lock, Worker& self);
  bool park(std::unique_lock<std::mutex>& lock, Worker& self);
  bool spinForJob(std::unique_lock<std::mutex>& lock);
  void runFirst(std::unique_lock<std::mutex>& lock);
  bool callWorker();
  bool isRefused() const noexcept;
  void insist();
  void callParked(bool toWatch);
  Worker* newWorker();
  bool startWorker(bool watching);
  bool someAreBlocked() const;
  void enterWait();
  void leaveWait();
  void runAcceptedWork();
  bool isQuiet(size_t ownJobs) const;
  void forgetThreads();
  static void beforeFork();
  static void afterFork();
  static void inForkedChild();

  std::mutex mutex_;
  Job* first_ = nullptr;
  Job* last_ = nullptr;
  std::atomic<size_t> waiting_{0};  // jobs in the list
  std::vector<Worker*> all_;        // alive
  std::vector<Worker*> spare_;      // records of threads that have ended
  Worker* parked_ = nullptr;        // asleep, the last to fall asleep first
  size_t parkedCount_ = 0;
  size_t workers_ = 0;               // alive, the watching one not counted
  size_t blocked_ = 0;               // of these, in a wait of our own
  size_t running_ = 0;               // of these, running a job
  std::atomic<size_t> spinning_{0};  // awake and looking for a job
  uint64_t started_ = 0;             // jobs so far
  bool watched_ = false;             // a thread looks for jobs that nobody takes
  const size_t processors_;
  static std::atomic<bool> made_;
  static std::atomic<bool> open_;
};

// Brackets a wait of the calling thread, so that the pool puts another thread in its place.
class BlockingWait {
 public:
  BlockingWait() { WorkerPool::shared().enterWait(); }
  BlockingWait(const BlockingWait&) = delete;
  BlockingWait& operator=(const BlockingWait&) = delete;
  ~BlockingWait() { WorkerPool::shared().leaveWait(); }
};

inline void pauseProcessor() noexcept {
#if defined(__x86_64__)
  __builtin_ia32_pause();
#else
  std::atomic_signal_fence(std::memory_order_seq_cst);
#endif
}

// A one-time signal between two threads. The waiter spins for some microseconds before it sleeps. The object
// may end as soon as `wait` has returned.
class Event {
 public:
  void set() noexcept {
    if (state_.exchange(kSet, std::memory_order_acq_rel) == kSleeping) state_.notify_one();
  }
  bool isSet() const noexcept { return state_.load(std::memory_order_acquire) == kSet; }
  void wait() noexcept;

 private:
  static constexpr uint32_t kIdle = 0, kSleeping = 1, kSet = 2;

  std::atomic<uint32_t> state_{kIdle};
};

}  // namespace orv::detail
