#include "Platform/Foundation/Threads/NSRunLoop.h"

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "Platform/Dispatch/Detail/WorkerPool.h"
#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Foundation/Threads/Detail/LoopClock.h"
#include "Tests/Support/Capture.h"
#include "Tests/Support/World.h"

using namespace orv;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class Target : public NSObject {};

class NSRunLoopTest : public testing::Test {
 protected:
  void note(int number, double delay, const NSString& name = "note", const Value& argument = nil) {
    loop->perform(target, name, argument, delay, [this, number] { seen.push_back(number); });
  }

  detail::VirtualClock clock;
  Ref<NSRunLoop> loop = NSRunLoop::mainRunLoop();
  Ref<Target> target = make<Target>();
  std::vector<int> seen;
};

NSDate soon(double seconds) { return NSDate::dateWithTimeIntervalSinceNow(seconds); }

}  // namespace

TEST_F(NSRunLoopTest, DelayedCallsRunInTheOrderOfTheirMoments) {
  note(3, 0.3);
  note(1, 0.1);
  note(2, 0.2);
  note(4, 0.3);  // the same moment: as scheduled
  EXPECT_EQ(loop->pendingPerforms(), 4u);
  clock.advance(0.05);
  EXPECT_TRUE(seen.empty());
  clock.advance(0.15);
  EXPECT_THAT(seen, ElementsAre(1, 2));
  clock.advance(1);
  EXPECT_THAT(seen, ElementsAre(1, 2, 3, 4));
  EXPECT_EQ(loop->pendingPerforms(), 0u);
}

TEST_F(NSRunLoopTest, ACallNeverRunsInsideTheOneThatSchedulesIt) {
  loop->perform(target, "outer", nil, 0, [&] {
    for (double delay : {0.0, -5.0, std::numeric_limits<double>::quiet_NaN()}) note(2, delay);
    seen.push_back(1);
  });
  EXPECT_TRUE(seen.empty());
  clock.advance(0);
  EXPECT_THAT(seen, ElementsAre(1, 2, 2, 2));
}

TEST_F(NSRunLoopTest, ThousandsOfCallsKeepTheirOrder) {
  constexpr int kCount = 20000;
  for (int i = 0; i < kCount; ++i) note(i, (i * 7919 % kCount) * 1e-3);
  clock.advance(kCount * 1e-3);
  ASSERT_EQ(seen.size(), static_cast<size_t>(kCount));
  for (int i = 1; i < kCount; ++i)
    ASSERT_LE(seen[static_cast<size_t>(i - 1)] * 7919 % kCount, seen[static_cast<size_t>(i)] * 7919 % kCount);
}

TEST_F(NSRunLoopTest, CancellingTakesTargetNameAndArgument) {
  const auto other = make<Target>();
  note(1, 1, "a", 5);
  note(2, 1, "a", 5.0);  // an equal argument
  note(3, 1, "a", 6);
  note(4, 1, "a");
  note(5, 1, "b", 5);
  loop->perform(other, "a", 5, 1, [&] { seen.push_back(6); });
  loop->cancelPerforms(target, "a", 5);
  clock.advance(1);
  EXPECT_THAT(seen, ElementsAre(3, 4, 5, 6));
}

TEST_F(NSRunLoopTest, ANilArgumentMatchesNilOnly) {
  note(1, 1, "a");
  note(2, 1, "a", "");
  note(3, 1, nil);
  loop->cancelPerforms(target, "a", nil);
  clock.advance(1);
  EXPECT_THAT(seen, ElementsAre(2, 3));
}

TEST_F(NSRunLoopTest, AllOfATargetCanBeCancelled) {
  note(1, 1, "a");
  note(2, 2, "b", 5);
  loop->cancelPerforms(target);
  loop->cancelPerforms(target);
  EXPECT_EQ(loop->pendingPerforms(), 0u);
  clock.advance(3);
  EXPECT_TRUE(seen.empty());
}

TEST_F(NSRunLoopTest, ACallMayCancelTheNextOneOfTheSameMoment) {
  loop->perform(target, "first", nil, 1, [&] { loop->cancelPerforms(target, "second", nil); });
  note(2, 1, "second");
  clock.advance(1);
  EXPECT_TRUE(seen.empty());
}

TEST_F(NSRunLoopTest, APendingCallKeepsItsTargetAlive) {
  const WeakRef<Target> weak = target;
  note(1, 1);
  target = nil;
  EXPECT_TRUE(weak.lock());
  clock.advance(1);
  EXPECT_FALSE(weak.lock());
  target = make<Target>();
  const WeakRef<Target> second = target;
  note(1, 1);
  auto mine = std::exchange(target, nil);
  loop->cancelPerforms(mine);
  mine = nil;
  EXPECT_FALSE(second.lock());
}

TEST_F(NSRunLoopTest, ABlockThatEndsMayCancelAgain) {
  // What a cancelled block holds ends outside of the loop's lock.
  struct Canceller {
    Ref<NSRunLoop> loop;
    Ref<Target> target;
    ~Canceller() { loop->cancelPerforms(target); }
  };
  loop->perform(make<Target>(), "x", nil, 1, [c = std::make_unique<Canceller>(Canceller{loop, target})] {});
  note(1, 1);
  clock.advance(2);
  EXPECT_EQ(loop->pendingPerforms(), 0u);
}

TEST_F(NSRunLoopTest, BadCallsAreIgnoredWithALine) {
  const std::string lines = captureStandardError([&] {
    loop->perform(nil, "a", nil, 0, [] {});
    loop->perform(target, "a", nil, 0, nullptr);
  });
  EXPECT_THAT(lines, HasSubstr("A delayed call without a target was ignored"));
  EXPECT_THAT(lines, HasSubstr("A delayed call without a block was ignored"));
  EXPECT_EQ(loop->pendingPerforms(), 0u);
}

// ---- on the real clock

TEST(NSRunLoopReal, RunEndsWithStop) {
  const auto loop = NSRunLoop::mainRunLoop();
  const auto target = make<Target>();
  int turns = 0;
  loop->perform(target, "a", nil, 0, [&] { ++turns; });
  loop->perform(target, "b", nil, 0.002, [&] {
    ++turns;
    loop->stop();
  });
  loop->run();
  EXPECT_EQ(turns, 2);
}

TEST(NSRunLoopReal, NoStopOfAnotherThreadIsMissed) {
  constexpr int kRounds = kSanitized ? 300 : 2000;
  const auto loop = NSRunLoop::mainRunLoop();
  for (int round = 0; round < kRounds; ++round) {
    std::atomic<bool> runs{false};
    std::thread stopper([&] {
      while (!runs) std::this_thread::yield();
      for (int i = 0; i < round % 500; ++i) detail::pauseProcessor();  // at every moment of a turn
      loop->stop();
    });
    runs = true;
    loop->run();
    stopper.join();
  }
}

TEST(NSRunLoopReal, ALoopInsideADelayedCallRunsTheOthers) {
  const auto loop = NSRunLoop::mainRunLoop();
  const auto target = make<Target>();
  std::vector<int> seen;
  loop->perform(target, "outer", nil, 0, [&] {
    seen.push_back(1);
    loop->perform(target, "inner", nil, 0, [&] {
      seen.push_back(2);
      loop->stop();
    });
    loop->runUntilDate(soon(30));
    seen.push_back(3);
    EXPECT_FALSE(loop->runMode(NSDefaultRunLoopMode, nil)) << "nothing is left to do";
    loop->stop();
  });
  loop->run();
  EXPECT_THAT(seen, ElementsAre(1, 2, 3));
}

TEST(NSRunLoopReal, AStopBeforeTheRunEndsItAtOnce) {
  const auto loop = NSRunLoop::mainRunLoop();
  loop->stop();
  loop->run();
}

TEST(NSRunLoopReal, RunUntilDateReturnsWhenTheDateHasCome) {
  const auto loop = NSRunLoop::mainRunLoop();
  const auto begin = std::chrono::steady_clock::now();
  loop->runUntilDate(soon(0.01));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(9));
  int ran = 0;
  loop->perform(make<Target>(), "a", nil, 0, [&] { ++ran; });
  loop->runUntilDate(nil);
  EXPECT_EQ(ran, 1);
  loop->runUntilDate(soon(-1e300));
}

TEST(NSRunLoopReal, RunModeDoesOneThing) {
  const auto loop = NSRunLoop::mainRunLoop();
  const auto target = make<Target>();
  EXPECT_FALSE(loop->runMode(NSDefaultRunLoopMode, soon(-1)));
  int ran = 0;
  loop->perform(target, "a", nil, 0.001, [&] { ++ran; });
  loop->perform(target, "b", nil, 3600, [&] { ++ran; });
  EXPECT_TRUE(loop->runMode(NSRunLoopCommonModes, soon(600)));
  EXPECT_EQ(ran, 1);
  EXPECT_FALSE(loop->runMode("no such mode", soon(600)));
  loop->cancelPerforms(target);
}

TEST(NSRunLoopReal, EachThreadHasItsOwn) {
  EXPECT_EQ(NSRunLoop::currentRunLoop(), NSRunLoop::mainRunLoop());
  std::thread([] {
    const auto loop = NSRunLoop::currentRunLoop();
    EXPECT_NE(loop, NSRunLoop::mainRunLoop());
    EXPECT_EQ(loop, NSRunLoop::currentRunLoop());
    std::thread::id ran;
    loop->perform(make<Target>(), "a", nil, 0.001, [&] {
      ran = std::this_thread::get_id();
      loop->stop();
    });
    loop->run();
    EXPECT_EQ(ran, std::this_thread::get_id());
    EXPECT_THAT(captureStandardError([] { NSRunLoop::mainRunLoop()->run(); }),
                HasSubstr("cannot be run by thread"));
  }).join();
}

TEST(NSRunLoopReal, OtherThreadsMaySchedule) {
  const auto loop = NSRunLoop::mainRunLoop();
  const auto target = make<Target>();
  std::atomic<int> ran{0};
  std::thread other([&] {
    for (int i = 0; i < 100; ++i)
      loop->perform(target, "a", nil, 0, [&] {
        if (++ran == 100) loop->stop();
      });
  });
  loop->run();
  other.join();
  EXPECT_EQ(ran, 100);
}

TEST(NSRunLoopReal, TheMainQueueRunsInIt) {
  const auto loop = NSRunLoop::mainRunLoop();
  std::vector<int> seen;
  std::thread other([&] {
    DispatchQueue::mainQueue()->async([&] { seen.push_back(1); });
    DispatchQueue::mainQueue()->sync([&] { seen.push_back(2); });
    DispatchQueue::mainQueue()->async([&] { loop->stop(); });
  });
  loop->run();
  other.join();
  EXPECT_THAT(seen, ElementsAre(1, 2));
}
