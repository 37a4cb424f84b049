#include "Tools/orv/Background.h"

#include <signal.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <vector>

#include "Orvane/OrvLog.h"
#include "Orvane/OrvTaskQueue.h"
#include "Tools/orv/Output.h"
#include "Tools/orv/Progress.h"

namespace tool {
namespace {

constexpr auto kInterval = std::chrono::milliseconds(50);
constexpr int kInterruptedStatus = 130;

volatile sig_atomic_t interrupted = 0;

// While it lives, the first Ctrl-C or request to end only sets the flag; the second one ends the program at
// once.
class Listening {
 public:
  Listening() {
    struct sigaction action {};
    action.sa_handler = [](int) { interrupted = 1; };
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    for (size_t i = 0; i < kSignals.size(); ++i) {
      ::sigaction(kSignals[i], nullptr, &before_[i]);
      // A program that was started to ignore them goes on doing so.
      if (before_[i].sa_handler != SIG_IGN) ::sigaction(kSignals[i], &action, nullptr);
    }
  }
  Listening(const Listening&) = delete;
  Listening& operator=(const Listening&) = delete;
  ~Listening() {
    for (size_t i = 0; i < kSignals.size(); ++i) ::sigaction(kSignals[i], &before_[i], nullptr);
  }

 private:
  static constexpr std::array kSignals{SIGINT, SIGTERM};

  std::array<struct sigaction, 2> before_{};
};

// Which items are finished. The tasks write it, the calling thread waits for it.
class Results {
 public:
  explicit Results(size_t count) : finished_(count, false) {}

  void finish(size_t item, std::exception_ptr failure) {
    const std::lock_guard lock(mutex_);
    finished_[item] = true;
    if (failure && !failure_) failure_ = std::move(failure);
    changed_.notify_one();
  }

  // Waits for the item for a moment; true when it is finished. Raises what left any of them.
  bool wait(size_t item) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, kInterval, [&] { return finished_[item] || failure_; });
    if (failure_) std::rethrow_exception(failure_);
    return finished_[item];
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<bool> finished_;
  std::exception_ptr failure_;
};

void addTasks(OrvTaskQueue& tasks, const BackgroundWork& work, Results& results) {
  if (work.oneByOne) tasks.queue()->setMaxConcurrentOperationCount(1);
  for (size_t item = 0; item < work.count; ++item)
    tasks.addTaskBlock([&work, &results, item](const auto&) {
      std::exception_ptr failure;
      try {
        work.run(item);
      } catch (...) {
        failure = std::current_exception();
      }
      results.finish(item, std::move(failure));
    });
}

// What runs is not waited for: it may wait for input that never comes.
[[noreturn]] void leave(OrvTaskQueue& tasks, Progress& progress, Output& output) {
  tasks.removeAllTasks();
  progress.clear();
  OrvLogInfo("interrupted");
  output.flush();
  std::_Exit(kInterruptedStatus);
}

}  // namespace

void runInBackground(const BackgroundWork& work, Steps& steps, Output& output) {
  const Listening listening;
  Progress progress(work.label, steps.total);
  Results results(work.count);
  const auto tasks = orv::make<OrvTaskQueue>();
  addTasks(*tasks, work, results);
  try {
    for (size_t item = 0; item < work.count;) {
      const bool finished = results.wait(item);
      if (interrupted) leave(*tasks, progress, output);
      progress.set(steps.done, steps.total);
      if (!finished) continue;
      if (work.deliver) {
        progress.clear();
        work.deliver(item);
      }
      ++item;
    }
  } catch (...) {
    tasks->removeAllTasks();
    tasks->queue()->waitUntilAllOperationsAreFinished();  // they use what lies on this stack
    throw;
  }
  tasks->queue()->waitUntilAllOperationsAreFinished();
}

}  // namespace tool
