#include "Orvane/OrvDebounce.h"

#include <atomic>
#include <cmath>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Orvane/OrvLog.h"
#include "Platform/Foundation/Threads/Detail/LoopClock.h"
#include "Platform/Foundation/Threads/NSRunLoop.h"
#include "Platform/Foundation/Threads/NSThread.h"
#include "Tests/Support/LogLines.h"

using namespace orv;
using orv::detail::loopAbsoluteTime;
using testing::DoubleNear;
using testing::ElementsAre;

namespace {

constexpr double kDelay = 0.5;
constexpr double kStart = 700000000;

class OrvDebounceTest : public testing::Test {
 protected:
  Ref<OrvDebounce> debouncer(double delay = kDelay) {
    return OrvDebounce::initWithDelay(delay, nil, [this](const Ref<NSBlockOperation>& operation) {
      runs.push_back(loopAbsoluteTime() - kStart);
      gotOperation = gotOperation || operation;
    });
  }

  detail::VirtualClock clock{kStart};
  std::vector<double> runs;
  bool gotOperation = false;
};

}  // namespace

TEST_F(OrvDebounceTest, ABurstIsOneRunAfterTheFirstTrigger) {
  const auto it = debouncer();
  for (int i = 0; i < 10; ++i) {
    it->debounce();
    clock.advance(0.025);
  }
  EXPECT_TRUE(runs.empty());
  clock.advance(10);
  EXPECT_THAT(runs, ElementsAre(DoubleNear(kDelay, 1e-6)));
  EXPECT_FALSE(gotOperation);
}

TEST_F(OrvDebounceTest, ASteadyStreamRunsOnceInEachInterval) {
  const auto it = debouncer();
  for (int i = 0; i < 64; ++i) {
    it->debounce();
    clock.advance(0.0625);  // exact in binary
  }
  EXPECT_EQ(runs.size(), 8u);
  for (size_t i = 0; i < runs.size(); ++i) EXPECT_NEAR(runs[i], kDelay * static_cast<double>(i + 1), 1e-6);
}

TEST_F(OrvDebounceTest, ATriggerAfterExactlyTheDelayCounts) {
  const auto it = debouncer();
  it->debounce();
  clock.advance(kDelay);
  EXPECT_EQ(runs.size(), 1u);
  it->debounce();
  clock.advance(kDelay);
  EXPECT_EQ(runs.size(), 2u);
}

TEST_F(OrvDebounceTest, ATriggerJustBeforeTheDelayIsDropped) {
  const auto it = debouncer();
  it->debounce();
  clock.advance(0.499);
  it->debounce();
  clock.advance(10);
  EXPECT_EQ(runs.size(), 1u);
}

TEST_F(OrvDebounceTest, CancelDropsThePendingRunAndTheNextTriggerCounts) {
  const auto it = debouncer();
  it->debounce();
  clock.advance(0.1);
  it->cancel();
  it->debounce();
  clock.advance(10);
  EXPECT_THAT(runs, ElementsAre(DoubleNear(0.6, 1e-6)));
  it->cancel();  // nothing pending
  it->cancel();
}

TEST_F(OrvDebounceTest, ACancelOfOneLeavesTheOthers) {
  const auto one = debouncer();
  const auto other = debouncer();
  one->debounce();
  other->debounce();
  one->cancel();
  clock.advance(1);
  EXPECT_EQ(runs.size(), 1u);
}

TEST_F(OrvDebounceTest, AClockThatWentBackDropsTriggersUntilItHasCaughtUp) {
  const auto it = debouncer();
  it->performDebounce();
  clock.setAbsoluteTime(kStart - 100);
  it->debounce();
  clock.advance(10);
  EXPECT_EQ(runs.size(), 1u);
  clock.setAbsoluteTime(kStart);
  it->debounce();
  clock.advance(kDelay);
  EXPECT_EQ(runs.size(), 2u);
}

TEST_F(OrvDebounceTest, PerformRunsNow) {
  const auto it = debouncer();
  it->performDebounce();
  EXPECT_EQ(runs.size(), 1u);
}

TEST_F(OrvDebounceTest, NoDelayIsTheNextTurn) {
  const auto it = debouncer(0);
  it->debounce();
  EXPECT_TRUE(runs.empty());
  clock.advance(0);
  EXPECT_EQ(runs.size(), 1u);
  it->debounce();
  clock.advance(0);
  EXPECT_EQ(runs.size(), 2u);
}

TEST_F(OrvDebounceTest, WithAQueueTheBlockGetsItsOperation) {
  const auto queue = make<NSOperationQueue>();
  std::promise<Ref<NSBlockOperation>> got;
  bool onMain = true;
  const auto it = OrvDebounce::initWithDelay(kDelay, queue, [&](const Ref<NSBlockOperation>& operation) {
    onMain = NSThread::isMainThread();
    EXPECT_TRUE(operation->isExecuting());
    got.set_value(operation);
  });
  it->debounce();
  clock.advance(kDelay);
  EXPECT_TRUE(got.get_future().get());
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_FALSE(onMain);
}

TEST_F(OrvDebounceTest, AnOperationInTheQueueIsNotCancelled) {
  const auto queue = make<NSOperationQueue>();
  queue->setSuspended(true);
  std::atomic<int> ran{0};
  const auto it = OrvDebounce::initWithDelay(kDelay, queue, [&](const auto& operation) {
    EXPECT_FALSE(operation->isCancelled());
    ++ran;
  });
  it->debounce();
  clock.advance(kDelay);
  it->cancel();
  queue->setSuspended(false);
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(ran, 1);
}

TEST_F(OrvDebounceTest, AnOperationWhoseDebouncerIsGoneDoesNothing) {
  const auto queue = make<NSOperationQueue>();
  queue->setSuspended(true);
  std::atomic<int> ran{0};
  auto it = OrvDebounce::initWithDelay(kDelay, queue, [&](const auto&) { ++ran; });
  it->debounce();
  clock.advance(kDelay);
  it = nil;
  queue->setSuspended(false);
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(ran, 0);
}

TEST_F(OrvDebounceTest, APendingRunKeepsTheDebouncerAlive) {
  auto it = debouncer();
  it->debounce();
  const WeakRef<OrvDebounce> weak = it;
  it = nil;
  EXPECT_TRUE(weak.lock());
  clock.advance(kDelay);
  EXPECT_EQ(runs.size(), 1u);
  EXPECT_FALSE(weak.lock());
}

TEST_F(OrvDebounceTest, TheBlockMayTriggerAndLetGo) {
  Ref<OrvDebounce> it;
  int ran = 0;
  it = OrvDebounce::initWithDelay(kDelay, nil, [&](const auto&) {
    if (++ran < 3) return it->debounce();
    it = nil;
  });
  it->debounce();
  clock.advance(10);
  EXPECT_EQ(ran, 3);
}

TEST_F(OrvDebounceTest, AnExceptionIsOneWarning) {
  LogLines log;
  const auto it = OrvDebounce::initWithDelay(kDelay, nil, [](const auto&) { throw std::runtime_error("no"); });
  it->debounce();
  clock.advance(1);
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning), ElementsAre("Exception no"));
}

TEST_F(OrvDebounceTest, WithoutABlockNothingRuns) {
  LogLines log;
  const auto it = OrvDebounce::initWithDelay(kDelay, nil, nullptr);
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning), ElementsAre("A debouncer without a block never runs"));
  it->debounce();
  clock.advance(1);
  it->performDebounce();
}

TEST_F(OrvDebounceTest, MaxDelayIsKeptAndChangesNothing) {
  const auto it = debouncer();
  EXPECT_EQ(it->maxDelay(), 0);
  it->setMaxDelay(0.1);
  EXPECT_EQ(it->maxDelay(), 0.1);
  it->debounce();
  clock.advance(0.25);
  EXPECT_TRUE(runs.empty());
  clock.advance(0.25);
  EXPECT_EQ(runs.size(), 1u);
}

TEST_F(OrvDebounceTest, TriggersOfOtherThreadsRunOnTheMainThread) {
  const auto it = debouncer();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&] {
      for (int j = 0; j < 100; ++j) it->debounce();
    });
  for (std::thread& each : threads) each.join();
  clock.advance(kDelay);
  EXPECT_GE(runs.size(), 1u);  // threads that trigger at the same moment may each schedule one
  EXPECT_LE(runs.size(), 4u);
}

TEST_F(OrvDebounceTest, AnOtherThreadMayCancel) {
  const auto it = debouncer();
  it->debounce();
  std::atomic<bool> done{false};
  std::thread other([&] {
    it->cancel();
    done = true;
  });
  while (!done) clock.advance(0);
  other.join();
  clock.advance(10);
  EXPECT_TRUE(runs.empty());
}
