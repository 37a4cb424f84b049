#include "Orvane/OrvQueue.h"

#include <array>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Orvane/OrvLog.h"
#include "Platform/Foundation/Threads/NSRunLoop.h"
#include "Platform/Foundation/Threads/NSThread.h"
#include "Tests/Support/LogLines.h"
#include "Tests/Support/World.h"

using namespace orv;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::StartsWith;

namespace {

struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

template <class F>
void onThread(F f) {
  std::thread(f).join();
}

template <class F>
void onThreads(int count, F f) {
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) threads.emplace_back(f, i);
  for (std::thread& each : threads) each.join();
}

// Runs the main loop on this thread until the condition holds.
template <class F>
void runMainUntil(F condition) {
  const Ref<NSRunLoop> loop = NSRunLoop::mainRunLoop();
  for (int i = 0; i < 3000 && !condition(); ++i)
    loop->runMode(NSDefaultRunLoopMode, NSDate::dateWithTimeIntervalSinceNow(0.01));
  EXPECT_TRUE(condition());
}

}  // namespace

// ---- what the four classes share

template <class Queue>
class AnyQueue : public testing::Test {
 protected:
  // Waits for all that was submitted, also where `finish` waits for the running block only.
  void settle() {
    if constexpr (std::is_same_v<Queue, OrvRecQueue>) queue->sync([] {});
    queue->finish();
  }

  Ref<Queue> queue = make<Queue>();
};

using AllQueues = testing::Types<OrvQueue, OrvFakeQueue, OrvOpsQueue, OrvRecQueue>;
TYPED_TEST_SUITE(AnyQueue, AllQueues);

TYPED_TEST(AnyQueue, BlocksRunInTheOrderOfSubmission) {
  std::vector<int> seen;
  for (int i = 0; i < 1000; ++i) {
    if (i % 10 == 5)
      this->queue->sync([&seen, i] { seen.push_back(i); });
    else
      this->queue->async([&seen, i] { seen.push_back(i); });
  }
  this->settle();
  ASSERT_EQ(seen.size(), 1000u);
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(seen[static_cast<size_t>(i)], i);
}

TYPED_TEST(AnyQueue, SyncHasRunTheBlockWhenItReturns) {
  int result = 0;
  this->queue->sync([&] { result = 1; });
  EXPECT_EQ(result, 1);
  this->queue->sync([&] { result = 2; }, false);
  EXPECT_EQ(result, 2);
  this->queue->sync([&] { result = 3; }, true);
  this->settle();
  EXPECT_EQ(result, 3);
}

TYPED_TEST(AnyQueue, ARaisingBlockIsOneWarningAndTheNextRuns) {
  LogLines log;
  int ran = 0;
  this->queue->sync([] { throw Failure("sync failed"); });
  this->queue->async([] { throw Failure("async failed"); });
  this->queue->async([&] { ++ran; });
  this->queue->sync([&] { ++ran; });
  this->settle();
  EXPECT_EQ(ran, 2);
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning),
              ElementsAre("Exception sync failed", "Exception async failed"));
}

TYPED_TEST(AnyQueue, ARaisedNSExceptionPrintsItsReason) {
  LogLines log;
  this->queue->sync([] { NSException::raise(NSGenericException, "the reason"); });
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning), ElementsAre("Exception the reason"));
}

TYPED_TEST(AnyQueue, EmptyBlocksAreOneWarningEach) {
  LogLines log;
  this->queue->sync(nullptr);
  this->queue->async(std::function<void()>());
  this->settle();
  const auto lines = log.takeMessages(OrvLogLevelWarning);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "Empty block for " + this->queue->description().utf8() + " ignored");
}

TYPED_TEST(AnyQueue, MoveOnlyBlocksRunAndEnd) {
  auto held = std::make_shared<int>(3);
  int seen = 0;
  this->queue->async([held, only = std::make_unique<int>(4), &seen] { seen = *only + *held; });
  this->settle();
  EXPECT_EQ(seen, 7);
  EXPECT_EQ(held.use_count(), 1);
}

TYPED_TEST(AnyQueue, BlocksOutliveTheQueue) {
  std::promise<int> result;
  int count = 0;
  for (int i = 0; i < 100; ++i) this->queue->async([&] { ++count; });
  this->queue->async([&] { result.set_value(count); });
  this->queue = nil;
  EXPECT_EQ(result.get_future().get(), 100);
}

TYPED_TEST(AnyQueue, TheLastReferenceMayGoInsideABlock) {
  std::promise<void> done;
  auto* bare = this->queue.get();
  bare->async([&] {
    this->queue = nil;
    done.set_value();
  });
  done.get_future().wait();

  this->queue = make<TypeParam>();
  bare = this->queue.get();
  int after = 0;
  bare->sync([&] {
    this->queue = nil;
    after = 1;
  });
  EXPECT_EQ(after, 1);
}

TYPED_TEST(AnyQueue, ABlockMaySubmitMore) {
  if constexpr (!std::is_same_v<TypeParam, OrvFakeQueue>) {
    std::vector<int> seen;
    std::promise<void> done;
    this->queue->async([&] {
      this->queue->async([&] {
        seen.push_back(2);
        done.set_value();
      });
      seen.push_back(1);
    });
    done.get_future().wait();
    EXPECT_THAT(seen, ElementsAre(1, 2));
  } else {
    int depth = 0;
    this->queue->async([&] { this->queue->async([&] { ++depth; }); });
    EXPECT_EQ(depth, 1);
  }
}

TYPED_TEST(AnyQueue, WhatBlocksWriteIsSeenUnderContention) {
  if constexpr (!std::is_same_v<TypeParam, OrvFakeQueue>) {
    constexpr int kEach = kSanitized ? 500 : 4000;
    std::array<int, 4> last{-1, -1, -1, -1};  // not atomic: the queue orders the accesses
    int total = 0;
    bool ordered = true;
    onThreads(4, [&](int producer) {
      const auto slot = static_cast<size_t>(producer);
      for (int i = 0; i < kEach; ++i) {
        const auto step = [&, slot, i] {
          ordered = ordered && last[slot] == i - 1;
          last[slot] = i;
          ++total;
        };
        i % 16 == 7 ? this->queue->sync(step) : this->queue->async(step);
      }
    });
    this->settle();
    EXPECT_TRUE(ordered);
    EXPECT_EQ(total, 4 * kEach);
  }
}

TYPED_TEST(AnyQueue, FinishOnAFreshQueueReturns) {
  this->queue->finish();
  this->queue->finish();
}

TYPED_TEST(AnyQueue, ClassNamesAreTheirOwn) {
  EXPECT_EQ(this->queue->description().utf8().find("<" + this->queue->className().utf8() + ": 0x"), 0u);
}

// ---- OrvQueue

TEST(OrvQueue, AnInnerSyncRunsAtOnceWithOneInfoLine) {
  LogLines log;
  const auto queue = make<OrvQueue>();
  std::vector<int> seen;
  queue->sync([&] {
    queue->sync([&] { seen.push_back(1); });
    seen.push_back(2);
  });
  queue->async([&] { queue->sync([&] { seen.push_back(3); }); });
  queue->finish();
  EXPECT_THAT(seen, ElementsAre(1, 2, 3));
  const std::string line = "Reentrant situation for " + queue->description().utf8();
  EXPECT_THAT(log.takeMessages(OrvLogLevelInfo), ElementsAre(line, line));
}

TEST(OrvQueue, AnInnerSyncThatRaisesIsCaughtInItsPlace) {
  LogLines log;
  const auto queue = make<OrvQueue>();
  bool after = false;
  queue->sync([&] {
    queue->sync([] { throw Failure("inner"); });
    after = true;
  });
  EXPECT_TRUE(after);
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning), ElementsAre("Exception inner"));
}

TEST(OrvQueue, AnInnerAsyncComesAfterAllThatWaits) {
  const auto queue = make<OrvQueue>();
  std::vector<int> seen;
  queue->sync([&] {
    queue->async([&] { seen.push_back(2); });
    seen.push_back(1);
  });
  queue->finish();
  EXPECT_THAT(seen, ElementsAre(1, 2));
}

TEST(OrvQueue, FinishWaitsForAllThatWasSubmitted) {
  const auto queue = make<OrvQueue>();
  int count = 0;
  for (int i = 0; i < 5000; ++i) queue->async([&] { ++count; });
  queue->finish();
  EXPECT_EQ(count, 5000);
}

TEST(OrvQueue, FinishFromItsOwnBlockReturns) {
  LogLines log;
  for (const Ref<OrvQueue>& queue : {make<OrvQueue>(), Ref<OrvQueue>(make<OrvOpsQueue>())}) {
    queue->sync([&] { queue->finish(); });
    EXPECT_THAT(log.takeMessages(OrvLogLevelInfo),
                ElementsAre("Reentrant situation for " + queue->description().utf8()));
  }
}

TEST(OrvQueue, SyncRunsOnTheCallingThread) {
  const auto queue = make<OrvQueue>();
  std::thread::id ran;
  queue->async([] { std::this_thread::sleep_for(2ms); });
  queue->sync([&] { ran = std::this_thread::get_id(); });
  EXPECT_EQ(ran, std::this_thread::get_id());
}

TEST(OrvQueue, AForeignExceptionLeavesSync) {
  const auto queue = make<OrvQueue>();
  EXPECT_THROW(queue->sync([] { throw 7; }), int);
  const auto recursive = make<OrvRecQueue>();
  EXPECT_THROW(recursive->sync([] { throw 7; }), int);
  recursive->finish();  // the lock was given back
  int ran = 0;
  queue->sync([&] { ++ran; });
  onThread([&] { recursive->sync([&] { ++ran; }); });
  EXPECT_EQ(ran, 2);
}

TEST(OrvQueue, LabelsNameTheClassAndAreUnique) {
  class Shelf : public OrvQueue {
   public:
    NSString className() const override { return "Shelf"; }
  };
  std::set<std::string> labels;
  for (int i = 0; i < 100; ++i) labels.insert(make<OrvQueue>()->label().utf8());
  EXPECT_EQ(labels.size(), 100u);
  EXPECT_THAT(*labels.begin(), testing::MatchesRegex("org\\.orvane\\.OrvQueue\\.[0-9A-Z]{26}"));
  EXPECT_THAT(make<Shelf>()->label().utf8(), StartsWith("org.orvane.Shelf."));
  NSString seen;
  const auto queue = make<OrvQueue>();
  queue->async([&] { seen = NSThread::currentThreadName(); });
  queue->finish();
  EXPECT_EQ(seen, queue->label());
}

// ---- the other engines

TEST(OrvFakeQueue, AsyncHasRunBeforeItReturns) {
  const auto queue = make<OrvFakeQueue>();
  std::thread::id ran;
  queue->async([&] { ran = std::this_thread::get_id(); });
  EXPECT_EQ(ran, std::this_thread::get_id());
}

TEST(OrvFakeQueue, NestedSyncNeedsNoLine) {
  LogLines log;
  const auto queue = make<OrvFakeQueue>();
  int ran = 0;
  queue->sync([&] { queue->sync([&] { ++ran; }); });
  EXPECT_EQ(ran, 1);
  EXPECT_TRUE(log.take().empty());
}

TEST(OrvOpsQueue, AnInnerSyncRunsAtOnceWithOneInfoLine) {
  LogLines log;
  const auto queue = make<OrvOpsQueue>();
  int ran = 0;
  queue->sync([&] { queue->sync([&] { ++ran; }); });
  EXPECT_EQ(ran, 1);
  EXPECT_THAT(log.takeMessages(OrvLogLevelInfo),
              ElementsAre("Reentrant situation for " + queue->description().utf8()));
}

TEST(OrvOpsQueue, BlocksRunOnOtherThreads) {
  const auto queue = make<OrvOpsQueue>();
  std::thread::id ran;
  queue->sync([&] { ran = std::this_thread::get_id(); });
  EXPECT_NE(ran, std::this_thread::get_id());
}

TEST(OrvRecQueue, FinishWaitsForTheRunningBlockOnly) {
  const auto queue = make<OrvRecQueue>();
  std::promise<void> begun;
  std::promise<void> release;
  std::atomic<bool> firstDone{false};
  std::atomic<bool> secondDone{false};
  auto go = release.get_future().share();
  queue->async([&] {
    begun.set_value();
    std::this_thread::sleep_for(5ms);
    firstDone = true;
  });
  queue->async([&, go] {
    go.wait();
    secondDone = true;
  });
  begun.get_future().wait();
  // The second block may take the lock before us; it is let go by another thread then.
  std::thread releaser([&] {
    while (!firstDone) std::this_thread::yield();
    std::this_thread::sleep_for(20ms);
    release.set_value();
  });
  queue->finish();
  EXPECT_TRUE(firstDone);
  releaser.join();
  queue->sync([] {});
  EXPECT_TRUE(secondDone);
}

TEST(OrvRecQueue, FinishFromItsOwnBlockReturns) {
  const auto queue = make<OrvRecQueue>();
  bool returned = false;
  std::atomic<bool> behind{false};
  queue->sync([&] {
    queue->async([&] { behind = true; });
    queue->finish();
    returned = !behind;
  });
  EXPECT_TRUE(returned);
  queue->sync([] {});
  EXPECT_TRUE(behind);
}

TEST(OrvAsync, RunsOnTheSharedQueue) {
  std::promise<NSString> name;
  OrvAsync::async([&] { name.set_value(NSOperationQueue::currentQueue()->name()); });
  EXPECT_EQ(name.get_future().get(), "org.orvane.async");
  std::atomic<int> count{0};
  for (int i = 0; i < 1000; ++i) OrvAsync::async([&] { ++count; });
  while (count < 1000) std::this_thread::yield();
}

TEST(OrvAsync, EmptyBlocksAreOneWarning) {
  LogLines log;
  OrvAsync::async(nullptr);
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning), ElementsAre("Empty block for the shared queue ignored"));
}

// ---- the main thread

TEST(OrvQueueMain, OnTheMainThreadTheBlockRunsAtOnce) {
  int ran = 0;
  OrvQueue::main([&] { ++ran; }, true);
  EXPECT_EQ(ran, 1);
  OrvQueue::main([&] { ++ran; });
  EXPECT_EQ(ran, 2);
  EXPECT_THROW(OrvQueue::main([] { throw Failure("no guard here"); }), Failure);
}

TEST(OrvQueueMain, EmptyBlocksAreOneWarning) {
  LogLines log;
  OrvQueue::main(nullptr, true);
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning), ElementsAre("Empty block for the main thread ignored"));
}

TEST(OrvQueueMain, OtherThreadsCallBackInOrderAndWait) {
  std::vector<int> seen;
  std::atomic<bool> done{false};
  std::thread worker([&] {
    for (int i = 0; i < 100; ++i) OrvQueue::main([&, i] { seen.push_back(i); }, true);
    bool wasMain = false;
    OrvQueue::main([&] {
      wasMain = NSThread::isMainThread() && OrvQueue::isMain();
      seen.push_back(100);
    });
    EXPECT_TRUE(wasMain);
    EXPECT_EQ(seen.size(), 101u);
    EXPECT_THROW(OrvQueue::main([] { throw Failure("reaches the caller"); }), Failure);
    done = true;
  });
  runMainUntil([&] { return done.load(); });
  worker.join();
  for (int i = 0; i <= 100; ++i) ASSERT_EQ(seen[static_cast<size_t>(i)], i);
}

TEST(OrvQueueMain, BlocksOnTheMainQueueAreMainWhereverItRuns) {
  EXPECT_TRUE(OrvQueue::isMain());
  OrvQueue::initialize();
  LogLines log;
  std::atomic<bool> done{false};
  std::thread worker([&] {
    EXPECT_FALSE(OrvQueue::isMain());
    make<OrvQueue>()->sync([] { EXPECT_FALSE(OrvQueue::isMain()); });
    DispatchQueue::mainQueue()->async([&] {
      OrvQueue::assertMainThread();
      done = true;
    });
  });
  runMainUntil([&] { return done.load(); });
  worker.join();
  EXPECT_TRUE(log.takeMessages(OrvLogLevelWarning).empty());
}

TEST(OrvQueueMain, AnyThreadMayRunTheMainQueueAndIsMainThere) {
  int ran = 0;
  const auto check = [&] {
    EXPECT_FALSE(NSThread::isMainThread());
    EXPECT_TRUE(OrvQueue::isMain());
    // From another queue's block inside, it would wait for itself on another thread.
    make<OrvQueue>()->sync([&] { DispatchQueue::mainQueue()->sync([&] { ++ran; }); });
  };
  DispatchQueue::mainQueue()->async(check);
  NSOperationQueue::mainQueue()->addOperationWithBlock(check);
  std::thread([&] {
    while (ran < 2) NSRunLoop::mainRunLoop()->runOnce(true);
    EXPECT_FALSE(OrvQueue::isMain());
  }).join();
}

TEST(OrvQueueMain, ABlockOfAnOtherQueueRunByTheMainThreadIsMain) {
  make<OrvQueue>()->sync([] { EXPECT_TRUE(OrvQueue::isMain()); });
}

TEST(OrvQueueMain, OperationsOfTheMainOperationQueueAreMain) {
  bool main = false;
  std::atomic<bool> done{false};
  NSOperationQueue::mainQueue()->addOperationWithBlock([&] {
    main = OrvQueue::isMain() && NSOperationQueue::currentQueue() == NSOperationQueue::mainQueue();
    done = true;
  });
  EXPECT_FALSE(done);
  runMainUntil([&] { return done.load(); });
  EXPECT_TRUE(main);
}
