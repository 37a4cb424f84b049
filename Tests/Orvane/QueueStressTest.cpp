// Random submitting, waiting, finishing, cancelling and destroying by several threads at once. Runs for
// ORVANE_STRESS_SECONDS (default 5, fewer under a sanitizer), with the seed ORVANE_STRESS_SEED.

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "Orvane/OrvDebounce.h"
#include "Orvane/OrvLog.h"
#include "Orvane/OrvQueue.h"
#include "Orvane/OrvTaskQueue.h"
#include "Platform/Foundation/Threads/NSRunLoop.h"
#include "Tests/Support/World.h"

using namespace orv;

namespace {

unsigned number(const char* name, unsigned otherwise) {
  const char* text = std::getenv(name);
  return text ? static_cast<unsigned>(std::atoi(text)) : otherwise;
}

// Every block that was submitted ends, run or not; every one that runs, runs alone on its queue.
struct Books {
  std::atomic<int64_t> submitted{0};  // before the submission
  std::atomic<int64_t> ran{0};        // the last thing that a block does: the test may end then
  std::atomic<int64_t> together{0};
};

// A queue with the mark that tells whether two of its blocks run at once.
struct Guarded {
  Ref<OrvQueue> queue;
  std::shared_ptr<std::atomic<int>> inside = std::make_shared<std::atomic<int>>(0);
};

Guarded randomQueue(std::mt19937& random) {
  switch (random() % 3) {
    case 0: return {make<OrvQueue>()};
    case 1: return {make<OrvOpsQueue>()};
    default: return {make<OrvRecQueue>()};
  }
}

class Stress {
 public:
  explicit Stress(unsigned seed) : random_(seed) {
    for (int i = 0; i < 6; ++i) shared_.push_back(randomQueue(random_));
    tasks_->registerTaskHandler("t", [this](const auto&) { ++taskRuns; });
  }

  void step(std::mt19937& random) {
    Guarded guarded = pick(random);
    switch (random() % 12) {
      case 0: return guarded.queue->sync(block(guarded, false, static_cast<unsigned>(random())));
      case 1: return guarded.queue->finish();
      case 2: return replace(random);
      case 3:
        return tasks_->addTask("t", NSString::stringWithFormat("%d", static_cast<int>(random() % 5)), nil);
      case 4: return tasks_->removeTask("t", NSString::stringWithFormat("%d", static_cast<int>(random() % 5)));
      case 5: return dropInside();
      case 6: return debouncer_->debounce();
      case 7: return nested(guarded);
      default: return guarded.queue->async(block(guarded, true, static_cast<unsigned>(random())));
    }
  }

  void settle() {
    const std::lock_guard lock(mutex_);
    for (const Guarded& each : shared_) {
      if (dynamic_cast<OrvRecQueue*>(each.queue.get())) each.queue->sync([] {});
      each.queue->finish();
    }
    tasks_->queue()->waitUntilAllOperationsAreFinished();
    debouncer_->cancel();
  }

  Books books;
  std::atomic<int64_t> taskRuns{0};

 private:
  Guarded pick(std::mt19937& random) {
    const std::lock_guard lock(mutex_);
    return shared_[random() % shared_.size()];
  }

  void replace(std::mt19937& random) {
    Guarded fresh = randomQueue(random);
    const std::lock_guard lock(mutex_);
    std::swap(shared_[random() % shared_.size()], fresh);
  }

  Block block(const Guarded& guarded, bool mayGoOn, unsigned chance) {
    ++books.submitted;
    return [this, inside = guarded.inside, weak = WeakRef<OrvQueue>(guarded.queue), mayGoOn, chance] {
      if (inside->fetch_add(1) != 0) ++books.together;
      inside->fetch_sub(1);
      if (mayGoOn && chance % 8 == 0) goOn(weak);
      ++books.ran;
    };
  }

  void goOn(const WeakRef<OrvQueue>& weak) {
    const auto queue = weak.lock();
    if (!queue) return;
    ++books.submitted;
    queue->async([this] { ++books.ran; });
  }

  // A queue of its own whose last reference goes inside its block.
  void dropInside() {
    auto queue = std::make_shared<Ref<OrvQueue>>(make<OrvQueue>());
    ++books.submitted;
    OrvQueue* bare = queue->get();
    bare->async([this, queue] {
      *queue = nil;
      ++books.ran;
    });
  }

  // From one queue into a fresh one, which nobody can wait for in a circle.
  void nested(const Guarded& guarded) {
    ++books.submitted;
    guarded.queue->async([this] { make<OrvQueue>()->sync([this] { ++books.ran; }); });
  }

  std::mutex mutex_;
  std::mt19937 random_;
  std::vector<Guarded> shared_;
  Ref<OrvTaskQueue> tasks_ = make<OrvTaskQueue>();
  Ref<OrvDebounce> debouncer_ = OrvDebounce::initWithDelay(0.001, nil, [](const auto&) {});
};

}  // namespace

TEST(QueueStress, NothingIsLostAndNothingRunsTogether) {
  const std::chrono::seconds time(number("ORVANE_STRESS_SECONDS", kSanitized ? 3 : 5));
  const unsigned seed = number("ORVANE_STRESS_SEED", 1);
  SCOPED_TRACE("ORVANE_STRESS_SEED=" + std::to_string(seed));
  OrvLog::sharedObject()->setLevel(OrvLogLevelError);
  Stress stress(seed);
  std::atomic<bool> over{false};
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      std::mt19937 random(seed + t);
      while (!over) stress.step(random);
    });
  NSRunLoop::mainRunLoop()->runUntilDate(
      NSDate::dateWithTimeIntervalSinceNow(static_cast<double>(time.count())));
  // On a slow machine some seconds more.
  const auto enough = [&] { return stress.books.ran > 100 && stress.taskRuns > 10; };
  for (int i = 0; i < 60 && !enough(); ++i)
    NSRunLoop::mainRunLoop()->runUntilDate(NSDate::dateWithTimeIntervalSinceNow(1));
  over = true;
  for (std::thread& each : threads) each.join();
  stress.settle();
  // Queues that were let go of end by themselves.
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (stress.books.ran < stress.books.submitted && std::chrono::steady_clock::now() < limit)
    std::this_thread::yield();
  EXPECT_EQ(stress.books.ran, stress.books.submitted);
  EXPECT_EQ(stress.books.together, 0);
  EXPECT_TRUE(enough());
  OrvLog::sharedObject()->setLevel(orvLogLevel);
}
