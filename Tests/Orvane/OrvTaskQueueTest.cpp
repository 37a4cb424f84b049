#include "Orvane/OrvTaskQueue.h"

#include <atomic>
#include <cmath>
#include <future>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Orvane/OrvLog.h"
#include "Tests/Support/LogLines.h"
#include "Tests/Support/World.h"

using namespace orv;
using testing::ElementsAre;

namespace {

class Progress : public OrvTaskQueueDelegate {
 public:
  void updateProgress(double fractionDone) override {
    const std::lock_guard lock(mutex_);
    seen_.push_back(fractionDone);
  }
  std::vector<double> take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(seen_, {});
  }

 private:
  std::mutex mutex_;
  std::vector<double> seen_;
};

class OrvTaskQueueTest : public testing::Test {
 protected:
  OrvTaskQueueTest() { tasks->setDelegate(progress); }

  void settle() { tasks->queue()->waitUntilAllOperationsAreFinished(); }
  // Nothing starts until `settle` is called after `resume`.
  void hold() { tasks->queue()->setSuspended(true); }
  void resume() { tasks->queue()->setSuspended(false); }

  Ref<OrvTaskQueue> tasks = make<OrvTaskQueue>();
  Ref<Progress> progress = make<Progress>();
};

class DebugLog {
 public:
  DebugLog() : before_(OrvLog::sharedObject()->level()) { OrvLog::sharedObject()->setLevel(31); }
  ~DebugLog() { OrvLog::sharedObject()->setLevel(before_); }
  std::vector<std::string> take() { return lines_.takeMessages(OrvLogLevelDebug); }

 private:
  const uint64_t before_;
  LogLines lines_;
};

}  // namespace

TEST_F(OrvTaskQueueTest, TheFirstTaskResetsTheCountsAndReports) {
  DebugLog log;
  std::atomic<int> ran{0};
  tasks->registerTaskHandler("draw", [&](const Ref<OrvTaskOperation>& operation) {
    EXPECT_EQ(operation->key(), "page 1");
    EXPECT_EQ(operation->task(), "draw");
    EXPECT_TRUE(operation->info().isEqual(7));
    EXPECT_EQ(operation->name(), "draw/page 1");
    EXPECT_FALSE(operation->isCancelled());
    ++ran;
  });
  tasks->addTask("draw", "page 1", 7);
  settle();
  EXPECT_EQ(ran, 1);
  EXPECT_THAT(progress->take(), ElementsAre(0.0, 1.0));
  EXPECT_THAT(log.take(), ElementsAre("Reset counts", "Remove task (null)"));
  EXPECT_EQ(tasks->progress(), 1.0);
}

TEST_F(OrvTaskQueueTest, ProgressOfAFreshQueueIsNotANumber) { EXPECT_TRUE(std::isnan(tasks->progress())); }

TEST_F(OrvTaskQueueTest, AddingAPairAgainReplacesTheOlder) {
  DebugLog log;
  std::vector<NSInteger> ran;
  tasks->registerTaskHandler("draw", [&](const auto& operation) { ran.push_back(operation->info().toInt()); });
  tasks->queue()->setMaxConcurrentOperationCount(1);  // two that end at once may both report 2/2
  hold();
  tasks->addTask("draw", "a", 1);
  const auto older = tasks->task("draw", "a");
  tasks->addTask("draw", "a", 2);
  EXPECT_TRUE(older->isCancelled());
  resume();
  settle();
  EXPECT_THAT(ran, ElementsAre(2));
  EXPECT_THAT(progress->take(), ElementsAre(0.0, 0.0, 0.5, 1.0));
  EXPECT_THAT(log.take(), ElementsAre("Reset counts", "Remove task (null)", "Remove task draw/a"));
  EXPECT_EQ(tasks->progress(), 1.0);
}

TEST_F(OrvTaskQueueTest, OnlyTheFirstOfSeveralIsFoundAndCancelled) {
  hold();
  for (int i = 0; i < 3; ++i) tasks->addTask("draw", "a", i);
  const NSArray all = tasks->queue()->operations();
  EXPECT_TRUE(all[0].as<OrvTaskOperation>()->isCancelled());
  EXPECT_FALSE(all[1].as<OrvTaskOperation>()->isCancelled());
  EXPECT_EQ(tasks->task("draw", "a"), all[0].as<OrvTaskOperation>());
  resume();
  settle();
}

TEST_F(OrvTaskQueueTest, AnUnknownTaskCountsAndDoesNothing) {
  tasks->addTask("nobody knows", "a", nil);
  settle();
  EXPECT_THAT(progress->take(), ElementsAre(0.0, 1.0));
}

TEST_F(OrvTaskQueueTest, TasksAddedWhileOthersAreOutstandingWidenTheTotal) {
  hold();
  for (int i = 0; i < 4; ++i) tasks->addTaskBlock([](const auto&) {});
  EXPECT_EQ(tasks->progress(), 0.0);
  tasks->queue()->setMaxConcurrentOperationCount(1);
  resume();
  settle();
  EXPECT_THAT(progress->take(), ElementsAre(0.0, 0.0, 0.0, 0.0, 0.25, 0.5, 0.75, 1.0));
  tasks->addTaskBlock([](const auto&) {});
  settle();
  EXPECT_THAT(progress->take(), ElementsAre(0.0, 1.0));
}

TEST_F(OrvTaskQueueTest, ABlockIsATaskWithoutAName) {
  DebugLog log;
  std::promise<Ref<OrvTaskOperation>> got;
  tasks->addTaskBlock([&](const Ref<OrvTaskOperation>& operation) { got.set_value(operation); });
  const auto operation = got.get_future().get();
  settle();
  EXPECT_TRUE(operation->key().isNil());
  EXPECT_TRUE(operation->task().isNil());
  EXPECT_TRUE(operation->info().isNil());
  EXPECT_TRUE(operation->name().isNil());
  EXPECT_THAT(log.take(), ElementsAre("Reset counts"));
}

TEST_F(OrvTaskQueueTest, FinishedTasksAreNotFound) {
  std::promise<void> go;
  tasks->registerTaskHandler("wait", [future = go.get_future().share()](const auto&) { future.wait(); });
  tasks->addTask("wait", "a", nil);
  EXPECT_TRUE(tasks->task("wait", "a"));
  EXPECT_FALSE(tasks->task("wait", "b"));
  EXPECT_FALSE(tasks->task("Wait", "a"));
  go.set_value();
  settle();
  EXPECT_FALSE(tasks->task("wait", "a"));
}

TEST_F(OrvTaskQueueTest, ARunningTaskAsksWhetherItIsCancelled) {
  std::promise<void> begun;
  std::atomic<bool> sawIt{false};
  tasks->registerTaskHandler("poll", [&](const auto& operation) {
    begun.set_value();
    while (!operation->isCancelled()) std::this_thread::yield();
    sawIt = true;
  });
  tasks->addTask("poll", "a", nil);
  begun.get_future().wait();
  tasks->removeTask("poll", "a");
  settle();
  EXPECT_TRUE(sawIt);
  EXPECT_EQ(tasks->progress(), 1.0);
}

TEST_F(OrvTaskQueueTest, RemoveAllCancelsEverythingAndAllCount) {
  std::atomic<int> ran{0};
  hold();
  for (int i = 0; i < 10; ++i) tasks->addTaskBlock([&](const auto&) { ++ran; });
  tasks->doCancel(nil);
  resume();
  settle();
  EXPECT_EQ(ran, 0);
  EXPECT_EQ(tasks->progress(), 1.0);
  tasks->removeAllTasks();
}

TEST_F(OrvTaskQueueTest, FiveRunAtOnceAndNoMore) {
  std::atomic<int> running{0};
  std::atomic<int> most{0};
  std::atomic<bool> reached{false};
  std::promise<void> go;
  const auto future = go.get_future().share();
  for (int i = 0; i < 12; ++i)
    tasks->addTaskBlock([&, future](const auto&) {
      const int now = ++running;
      for (int seen = most; seen < now && !most.compare_exchange_weak(seen, now);) {
      }
      if (now == 5 && !reached.exchange(true)) go.set_value();
      future.wait();
      --running;
    });
  settle();
  EXPECT_EQ(most, 5);
  EXPECT_EQ(tasks->queue()->maxConcurrentOperationCount(), 5);
}

TEST_F(OrvTaskQueueTest, HandlersAreReplacedAndCanBeSetTogether) {
  int which = 0;
  const OrvTaskHandler first = [&](const Ref<OrvTaskOperation>&) { which = 1; };
  tasks->registerTaskHandler("t", first);
  tasks->registerTaskHandler("t", [&](const auto&) { which = 2; });
  EXPECT_EQ(tasks->taskHandlers().size(), 1u);
  tasks->addTask("t", "a", nil);
  settle();
  EXPECT_EQ(which, 2);
  tasks->setTaskHandlers({{"u", [&](const auto&) { which = 3; }}});
  tasks->addTask("t", "a", nil);
  settle();
  EXPECT_EQ(which, 2);
  tasks->addTask("u", "a", nil);
  settle();
  EXPECT_EQ(which, 3);
}

TEST_F(OrvTaskQueueTest, WhatAReplacedHandlerHoldsMayUseTheQueueAtItsEnd) {
  struct User {
    OrvTaskQueue& tasks;
    int& ended;
    ~User() {
      tasks.removeAllTasks();
      ++ended;
    }
  };
  int ended = 0;
  auto held = std::shared_ptr<User>(new User{*tasks, ended});
  tasks->registerTaskHandler("t", [held](const auto&) {});
  held = nullptr;
  tasks->registerTaskHandler("t", [](const auto&) {});
  EXPECT_EQ(ended, 1);
}

TEST_F(OrvTaskQueueTest, BadInputIsIgnoredWithOneWarning) {
  LogLines log;
  tasks->registerTaskHandler(nil, [](const auto&) {});
  tasks->registerTaskHandler("t", nullptr);
  tasks->addTaskBlock(nullptr);
  EXPECT_THAT(
      log.takeMessages(OrvLogLevelWarning),
      ElementsAre("A task handler without a name was ignored", "A task handler without a block was ignored",
                  "Empty block for " + tasks->description().utf8() + " ignored"));
  EXPECT_TRUE(progress->take().empty());
}

TEST_F(OrvTaskQueueTest, ARaisingHandlerIsOneWarningAndCounts) {
  LogLines log;
  tasks->registerTaskHandler("t", [](const auto&) { throw std::runtime_error("no"); });
  tasks->addTask("t", "a", nil);
  settle();
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning), ElementsAre("Exception no"));
  EXPECT_EQ(tasks->progress(), 1.0);
}

TEST_F(OrvTaskQueueTest, TheDelegateIsNotKeptAlive) {
  EXPECT_EQ(tasks->delegate(), progress);
  progress = nil;
  EXPECT_FALSE(tasks->delegate());
  tasks->addTaskBlock([](const auto&) {});
  settle();
  EXPECT_EQ(tasks->progress(), 1.0);
}

TEST_F(OrvTaskQueueTest, TheEndOfTheQueueCancelsItsTasks) {
  std::atomic<int> ran{0};
  const auto queue = tasks->queue();
  hold();
  for (int i = 0; i < 5; ++i) tasks->addTaskBlock([&](const auto&) { ++ran; });
  tasks = nil;
  queue->setSuspended(false);
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(ran, 0);
  EXPECT_EQ(progress->take().size(), 5u);  // the additions alone
}

TEST_F(OrvTaskQueueTest, ATaskMayDropTheLastReference) {
  std::promise<void> begun;
  std::promise<void> go;
  const auto queue = tasks->queue();
  tasks->addTaskBlock([&, future = go.get_future().share()](const auto&) {
    begun.set_value();
    future.wait();
  });
  begun.get_future().wait();
  tasks = nil;  // the task holds the last one now
  go.set_value();
  queue->waitUntilAllOperationsAreFinished();
}

TEST_F(OrvTaskQueueTest, AnotherOperationQueueCanServe) {
  const auto queue = make<NSOperationQueue>();
  tasks->setQueue(queue);
  EXPECT_EQ(tasks->queue(), queue);
  queue->setSuspended(true);
  tasks->addTask("t", "a", nil);
  EXPECT_EQ(queue->operationCount(), 1u);
  queue->setSuspended(false);
  settle();
  tasks->setQueue(nil);
  tasks->addTask("t", "a", nil);
  EXPECT_FALSE(tasks->task("t", "a"));
  tasks->removeAllTasks();
  tasks->setQueue(queue);
}

TEST_F(OrvTaskQueueTest, ConfigureBeginsAnew) {
  tasks->registerTaskHandler("t", [](const auto&) {});
  const auto before = tasks->queue();
  tasks->configure();
  EXPECT_NE(tasks->queue(), before);
  EXPECT_TRUE(tasks->taskHandlers().empty());
}

TEST_F(OrvTaskQueueTest, EveryTaskIsCountedUnderContention) {
  constexpr int kEach = kSanitized ? 200 : 2000;
  std::atomic<int> ran{0};
  tasks->registerTaskHandler("t", [&](const auto&) { ++ran; });
  // One stays outstanding, so that no two threads reset the counts at once.
  std::promise<void> go;
  tasks->addTaskBlock([future = go.get_future().share()](const auto&) { future.wait(); });
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < kEach; ++i) tasks->addTask("t", NSString::stringWithFormat("%d-%d", t, i), nil);
    });
  for (std::thread& each : threads) each.join();
  go.set_value();
  settle();
  EXPECT_EQ(ran, 4 * kEach);
  EXPECT_EQ(tasks->progress(), 1.0);
}

TEST(OrvTaskOperation, HoldsWhatItIsAbout) {
  const auto operation = make<OrvTaskOperation>();
  EXPECT_TRUE(operation->key().isNil());
  operation->setKey("k");
  operation->setTask("t");
  operation->setInfo(3);
  EXPECT_EQ(operation->key(), "k");
  EXPECT_EQ(operation->task(), "t");
  EXPECT_TRUE(operation->info().isEqual(3));
  EXPECT_EQ(operation->className(), "OrvTaskOperation");
}
