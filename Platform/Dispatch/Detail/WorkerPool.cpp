#include "Platform/Dispatch/Detail/WorkerPool.h"

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <thread>

#include "Platform/Dispatch/Detail/MainQueue.h"
#include "Platform/Dispatch/Detail/NodeStore.h"
#include "Platform/Dispatch/Detail/QueueFrame.h"
#include "Platform/Dispatch/Detail/QueueList.h"
#include "Platform/Foundation/System/NSConsole.h"
#include "Platform/Foundation/Threads/NSThread.h"

namespace orv::detail {
namespace {

using namespace std::chrono_literals;

constexpr const char* kIdleName = "orvane worker";
constexpr auto kIdleLife = 1s;        // how long a thread waits for work before it ends
constexpr auto kWatchInterval = 2ms;  // how long a job may lie there before somebody looks why
constexpr int kQuietWatches = 50;     // how often in vain
constexpr int kSpins = 300;           // looks for a job before a thread falls asleep
constexpr auto kGrace = 2s;           // how long new work is accepted once the process ends
constexpr auto kStuckAtExit = 500ms;  // then waits for each other do not hold up the end,
constexpr int kLooksAtExit = 1000;    // seen so often: the others had their chance on a busy machine, too
constexpr int kInsistences = 10;      // on a thread that the system refuses, each after twice the pause

size_t usableProcessors() {
  cpu_set_t set;
  const bool known = ::sched_getaffinity(0, sizeof set, &set) == 0;
  return std::max<size_t>(1,
                          known ? static_cast<size_t>(CPU_COUNT(&set)) : std::thread::hardware_concurrency());
}

// Whether the kernel has the thread asleep. A thread that cannot be asked counts as asleep.
bool sleepsInKernel(pid_t thread) {
  std::array<char, 64> path;
  std::snprintf(path.data(), path.size(), "/proc/self/task/%d/stat", thread);
  const int file = ::open(path.data(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return true;
  std::array<char, 128> text{};
  const ssize_t got = ::read(file, text.data(), text.size() - 1);
  ::close(file);
  // "123 (any name) S ...": the name may hold parentheses.
  const char* end = got > 0 ? std::strrchr(text.data(), ')') : nullptr;
  return !end || end[1] == 0 || end[2] != 'R';
}

thread_local bool isWorker = false;
thread_local bool isWaiting = false;

// In a forked child, the blocks in which the thread was that forked: the parent ends them.
QueueFrame* inheritedFrame = nullptr;

}  // namespace

struct WorkerPool::Worker {
  std::condition_variable wake;
  Worker* below = nullptr;  // in the pile of parked workers
  pid_t thread = 0;
  bool parked = false;
  bool called = false;
  bool watching = false;
};

std::atomic<bool> WorkerPool::made_{false};
std::atomic<bool> WorkerPool::open_{true};

WorkerPool& WorkerPool::shared() {
  static auto* const pool = new WorkerPool;
  return *pool;
}

WorkerPool::WorkerPool() : processors_(usableProcessors()) {
  std::atexit([] { shared().runAcceptedWork(); });
  ::pthread_atfork(&beforeFork, &afterFork, &inForkedChild);
  made_.store(true, std::memory_order_relaxed);
}

void WorkerPool::submit(Job& job) {
  {
    const std::lock_guard lock(mutex_);
    job.next = nullptr;
    first_ ? last_->next = &job : first_ = &job;
    last_ = &job;
    const size_t waiting = waiting_.load(std::memory_order_relaxed) + 1;
    waiting_.store(waiting, std::memory_order_relaxed);
    if (spinning_.load(std::memory_order_relaxed) >= waiting || callWorker() || !isRefused()) return;
  }
  insist();
}

// Somebody for the first job: a thread that sleeps or a new one while fewer are awake than there are
// processors, else one that looks after jobs that nobody takes. False when there is nobody.
bool WorkerPool::callWorker() {
  const size_t awake = workers_ - blocked_ - parkedCount_;
  if (awake < processors_) {
    if (parked_) return callParked(false), true;
    if (startWorker(false)) return true;
  }
  if (watched_) return true;
  if (parked_) return callParked(true), true;
  watched_ = startWorker(true);
  return watched_ || awake > 0;
}

bool WorkerPool::isRefused() const noexcept { return all_.size() < kMostWorkers; }

// The system may be short of threads or of memory for a moment only.
void WorkerPool::insist() {
  auto pause = 1ms;
  for (int i = 0; i < kInsistences; ++i, pause *= 2) {
    std::this_thread::sleep_for(pause);
    const std::lock_guard lock(mutex_);
    if (!first_ || callWorker()) return;
  }
  NSLog("The system refuses every thread: work on queues waits");
}

void WorkerPool::callParked(bool toWatch) {
  Worker& worker = *parked_;
  parked_ = worker.below;
  --parkedCount_;
  worker.parked = false;
  worker.called = true;
  worker.watching = toWatch;
  if (toWatch) {
    watched_ = true;
    --workers_;
  }
  worker.wake.notify_one();
}

WorkerPool::Worker* WorkerPool::newWorker() {
  if (spare_.empty()) return new Worker;
  Worker* worker = spare_.back();
  spare_.pop_back();
  return worker;
}

bool WorkerPool::startWorker(bool watching) {
  if (all_.size() >= kMostWorkers) return false;
  Worker* worker = newWorker();
  worker->called = worker->parked = false;
  worker->watching = watching;
  worker->thread = 0;
  try {
    std::thread([this, worker] { work(*worker); }).detach();
  } catch (const std::system_error&) {
    spare_.push_back(worker);  // the system refuses another thread: those there are do the work
    return false;
  }
  all_.push_back(worker);
  if (!watching) ++workers_;
  return true;
}

void WorkerPool::work(Worker& self) {
  isWorker = true;
  NSThread::setWorkerName(kIdleName);
  std::unique_lock lock(mutex_);
  self.thread = ::gettid();
  for (;;) {
    if (self.watching) watch(lock, self);
    if (first_)
      runFirst(lock);
    else if (!spinForJob(lock) && !park(lock, self))
      break;
  }
  --workers_;
  std::erase(all_, &self);
  spare_.push_back(&self);
  lock.unlock();
  NodeStore::trim();
}

void WorkerPool::runFirst(std::unique_lock<std::mutex>& lock) {
  Job& job = *first_;
  first_ = job.next;
  waiting_.store(waiting_.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
  ++started_;
  ++running_;
  lock.unlock();
  job.run(job);
  lock.lock();
  --running_;
}

// True when there may be a job. A thread that spins needs no waking, which would cost more than the spinning.
bool WorkerPool::spinForJob(std::unique_lock<std::mutex>& lock) {
  if (spinning_.load(std::memory_order_relaxed) > 0) return false;  // one is enough
  spinning_.fetch_add(1, std::memory_order_relaxed);
  lock.unlock();
  for (int i = 0; i < kSpins && !hasWaiting(); ++i) pauseProcessor();
  lock.lock();
  spinning_.fetch_sub(1, std::memory_order_relaxed);
  return first_ != nullptr;
}

// Sleeps until called; false when nobody called for long.
bool WorkerPool::park(std::unique_lock<std::mutex>& lock, Worker& self) {
  NSThread::setWorkerName(kIdleName);
  self.below = parked_;
  self.parked = true;
  self.called = false;
  parked_ = &self;
  ++parkedCount_;
  if (self.wake.wait_for(lock, kIdleLife, [&] { return self.called; })) return true;
  Worker** link = &parked_;
  while (*link != &self) link = &(*link)->below;
  *link = self.below;
  --parkedCount_;
  self.parked = false;
  return false;
}

// Looks now and then whether jobs lie there while workers are blocked. Returns, as one more worker, when they
// do or when all has been quiet for a while.
void WorkerPool::watch(std::unique_lock<std::mutex>& lock, Worker& self) {
  uint64_t seen = started_;
  for (int quiet = 0; quiet < kQuietWatches;) {
    self.wake.wait_for(lock, kWatchInterval);
    const bool stalled = first_ && started_ == seen;
    quiet = first_ ? 0 : quiet + 1;
    seen = started_;
    if (stalled && someAreBlocked()) break;
  }
  ++workers_;
  watched_ = self.watching = false;
  // This thread takes the first job now; somebody must look after those behind.
  if (first_ && first_->next) watched_ = startWorker(true);
}

bool WorkerPool::someAreBlocked() const {
  size_t awake = 0;
  for (const Worker* worker : all_)
    if (!worker->parked && !worker->watching && !sleepsInKernel(worker->thread)) ++awake;
  return awake < processors_;
}

void WorkerPool::enterWait() {
  if (!isWorker || isWaiting) return;
  isWaiting = true;
  {
    const std::lock_guard lock(mutex_);
    ++blocked_;
    if (!first_ || callWorker() || !isRefused()) return;
  }
  insist();
}

void WorkerPool::leaveWait() {
  if (!isWaiting) return;
  isWaiting = false;
  const std::lock_guard lock(mutex_);
  --blocked_;
}

size_t WorkerPool::workerCount() {
  const std::lock_guard lock(mutex_);
  return all_.size();
}

bool WorkerPool::isQuiet(size_t ownJobs) const { return !first_ && running_ <= ownJobs; }

// Runs when the process ends: nothing that was accepted is lost, nothing holds up the end for ever. A running
// block is waited for; blocks that only wait for each other are not.
void WorkerPool::runAcceptedWork() {
  using Clock = std::chrono::steady_clock;
  const auto begin = Clock::now();
  auto moved = begin;
  uint64_t seen = 0;
  int looks = 0;  // since something moved
  const size_t ownJobs = isWorker ? 1 : 0;
  for (QueueFrame* frame = innermostFrame; frame && frame != inheritedFrame; frame = frame->outer)
    frame->queue->runRestAtExit();
  std::unique_lock lock(mutex_);
  for (;;) {
    lock.unlock();
    const bool ranOnMain = NSThread::isMainThread() && MainQueue::runAccepted();
    const bool queuesWait = QueueList::haveSubmissions();  // first: what leaves a queue runs in the pool
    lock.lock();
    if (!ranOnMain && !queuesWait && isQuiet(ownJobs)) break;
    const auto now = Clock::now();
    if (now - begin > kGrace) open_.store(false, std::memory_order_relaxed);
    if (first_ && all_.empty() && !startWorker(false)) runFirst(lock);
    const bool stuck = !first_ && running_ - ownJobs <= blocked_;
    const bool moves = ranOnMain || !stuck || started_ != seen;
    if (moves) moved = now;
    looks = moves ? 0 : looks + 1;
    seen = started_;
    if (now - moved > kStuckAtExit && looks > kLooksAtExit) break;
    lock.unlock();
    std::this_thread::sleep_for(ranOnMain ? 0us : 200us);
    lock.lock();
  }
  open_.store(false, std::memory_order_relaxed);
}

void WorkerPool::beforeFork() { shared().mutex_.lock(); }
void WorkerPool::afterFork() { shared().mutex_.unlock(); }
void WorkerPool::inForkedChild() {
  shared().forgetThreads();
  shared().mutex_.unlock();
}

// The child has none of the parent's threads, and leaves their work to them.
void WorkerPool::forgetThreads() {
  first_ = last_ = nullptr;
  waiting_ = 0;
  spinning_ = 0;
  all_.clear();
  spare_.clear();
  parked_ = nullptr;
  parkedCount_ = 0;
  workers_ = blocked_ = running_ = 0;
  watched_ = false;
  isWorker = isWaiting = false;
  inheritedFrame = innermostFrame;
}

void Event::wait() noexcept {
  constexpr int kLooks = 400;
  for (int i = 0; i < kLooks; ++i) {
    if (isSet()) return;
    pauseProcessor();
  }
  const BlockingWait waiting;
  uint32_t state = kIdle;
  if (!state_.compare_exchange_strong(state, kSleeping, std::memory_order_acq_rel)) return;
  while (state_.load(std::memory_order_acquire) != kSet) state_.wait(kSleeping, std::memory_order_acquire);
}

}  // namespace orv::detail
