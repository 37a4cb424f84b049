#include "Platform/Foundation/Threads/NSOperationQueue.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Platform/Foundation/Values/NSException.h"
#include "Tests/Support/Capture.h"
#include "Tests/Support/Process.h"
#include "Tests/Support/World.h"

using namespace orv;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

Ref<NSOperationQueue> serialQueue() {
  const auto queue = make<NSOperationQueue>();
  queue->setMaxConcurrentOperationCount(1);
  return queue;
}

Ref<NSBlockOperation> operation(Block block) {
  return NSBlockOperation::blockOperationWithBlock(std::move(block));
}

// Collects what an observer of "operationCount" hears, from any thread.
class CountLog {
 public:
  using Change = std::pair<int64_t, int64_t>;

  explicit CountLog(const Ref<NSOperationQueue>& queue) {
    token_ = queue->addObserver("operationCount", [this](const NSString&, const NSDictionary& change) {
      EXPECT_FALSE(telling_.exchange(true)) << "two at a time";
      // All under the lock: whoever waits for the last change may end this object at once.
      const std::lock_guard lock(mutex_);
      changes_.emplace_back(change["old"].toLongLong(), change["new"].toLongLong());
      telling_ = false;
      heard_.notify_all();
    });
  }

  // Waits until so many have come.
  std::vector<Change> changes(size_t count) {
    std::unique_lock lock(mutex_);
    EXPECT_TRUE(heard_.wait_for(lock, std::chrono::seconds(30), [&] { return changes_.size() >= count; }));
    return changes_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable heard_;
  std::vector<Change> changes_;
  std::atomic<bool> telling_{false};
  Ref<NSKeyValueObservation> token_;
};

}  // namespace

// ---- operations

TEST(NSOperation, GoesFromReadyToFinished) {
  NSOperation* bare = nullptr;
  const auto it = operation([&] {
    EXPECT_TRUE(bare->isExecuting());
    EXPECT_FALSE(bare->isReady());
    EXPECT_FALSE(bare->isFinished());
  });
  bare = it.get();
  EXPECT_TRUE(it->isReady());
  EXPECT_FALSE(it->isExecuting());
  it->start();
  EXPECT_TRUE(it->isFinished());
  EXPECT_FALSE(it->isReady());
  EXPECT_FALSE(it->isCancelled());
  it->waitUntilFinished();
}

TEST(NSOperation, RunsOnce) {
  int ran = 0;
  const auto it = operation([&] { ++ran; });
  it->start();
  it->start();
  EXPECT_EQ(ran, 1);
}

TEST(NSOperation, DerivedClassesBringTheirWork) {
  class Work : public NSOperation {
   public:
    void main() override { ran = true; }
    bool ran = false;
  };
  const auto it = make<Work>();
  const auto queue = make<NSOperationQueue>();
  queue->addOperations(NSArray{it}, true);
  EXPECT_TRUE(it->ran);
  make<NSOperation>()->start();
}

TEST(NSOperation, ADerivedStartThatRunsNothingStillEnds) {
  class Idle : public NSOperation {
   public:
    void start() override {}
  };
  const auto it = make<Idle>();
  const auto queue = make<NSOperationQueue>();
  queue->addOperation(it);
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_TRUE(it->isFinished());
}

TEST(NSOperation, AnExceptionReachesWhoStartedItAndItIsFinished) {
  const auto it = operation([] { throw std::runtime_error("no"); });
  EXPECT_THROW(it->start(), std::runtime_error);
  EXPECT_TRUE(it->isFinished());
}

TEST(NSOperation, CompletionRunsOnceAfterTheEnd) {
  int completed = 0;
  const auto it = operation([&] { EXPECT_EQ(completed, 0); });
  it->setCompletionBlock([&, bare = it.get()] {
    EXPECT_TRUE(bare->isFinished());
    ++completed;
  });
  it->start();
  it->start();
  EXPECT_EQ(completed, 1);
}

TEST(NSOperation, BlocksEndWithTheWork) {
  auto held = std::make_shared<int>(0);
  const auto it = operation([held] {});
  it->addExecutionBlock([held] { ++*held; });
  it->addExecutionBlock([held] { ++*held; });
  it->start();
  EXPECT_EQ(*held, 2);
  EXPECT_EQ(held.use_count(), 1);
}

TEST(NSOperation, EmptyAndLateBlocksAreIgnored) {
  const auto it = make<NSBlockOperation>();
  EXPECT_THAT(captureStandardError([&] { it->addExecutionBlock(nullptr); }), HasSubstr("empty block"));
  it->start();
  EXPECT_THAT(captureStandardError([&] { it->addExecutionBlock([] {}); }), HasSubstr("has begun"));
  EXPECT_THAT(captureStandardError([&] { make<NSOperationQueue>()->addOperationWithBlock(nullptr); }),
              HasSubstr("An empty block for the queue NSOperationQueue 0x"));
}

// ---- cancelling

TEST(NSOperation, ACancelledOneIsStillEnteredAndAsks) {
  const auto queue = serialQueue();
  queue->setSuspended(true);
  bool entered = false;
  bool cancelled = false;
  NSOperation* bare = nullptr;
  const auto it = operation([&] {
    entered = true;
    cancelled = bare->isCancelled();
  });
  bare = it.get();
  queue->addOperation(it);
  it->cancel();
  EXPECT_EQ(queue->operationCount(), 1u);
  queue->setSuspended(false);
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_TRUE(entered);
  EXPECT_TRUE(cancelled);
  it->cancel();  // no effect
}

TEST(NSOperation, ACancelledOneDoesNotWaitForItsDependencies) {
  const auto queue = make<NSOperationQueue>();
  const auto never = operation([] {});
  const auto it = operation([] {});
  it->addDependency(never);
  queue->addOperation(it);
  EXPECT_FALSE(it->isReady());
  it->cancel();
  it->waitUntilFinished();
  EXPECT_FALSE(never->isFinished());
}

TEST(NSOperation, CancelledWhileItsDependencyEndsItRunsOnce) {
  constexpr int kRounds = kSanitized ? 500 : 5000;
  const auto queue = make<NSOperationQueue>();
  std::atomic<int> ran{0};
  for (int i = 0; i < kRounds; ++i) {
    const auto before = operation([] {});
    const auto it = operation([&] { ++ran; });
    it->addDependency(before);
    queue->addOperation(before);
    queue->addOperation(it);
    it->cancel();
  }
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(ran, kRounds);
}

TEST(NSOperation, CancelledBeforeItIsAddedItNeedNotWaitEither) {
  const auto it = operation([] {});
  it->addDependency(operation([] {}));
  it->cancel();
  EXPECT_TRUE(it->isReady());
  make<NSOperationQueue>()->addOperations(NSArray{it}, true);
  EXPECT_TRUE(it->isFinished());
}

// ---- dependencies, priorities, order

TEST(NSOperation, DependenciesComeFirst) {
  const auto queue = make<NSOperationQueue>();
  std::vector<int> seen;
  const auto last = operation([&] { seen.push_back(3); });
  const auto middle = operation([&] { seen.push_back(2); });
  const auto first = operation([&] { seen.push_back(1); });
  last->addDependency(middle);
  last->addDependency(middle);
  last->addDependency(first);
  last->addDependency(last);
  last->addDependency(nil);
  middle->addDependency(first);
  EXPECT_EQ(last->dependencies().count(), 2u);
  queue->addOperations(NSArray{last, middle, first}, true);
  EXPECT_THAT(seen, ElementsAre(1, 2, 3));
}

TEST(NSOperation, DependenciesReachAcrossQueues) {
  const auto one = make<NSOperationQueue>();
  const auto other = make<NSOperationQueue>();
  one->setSuspended(true);
  int value = 0;
  const auto source = operation([&] { value = 1; });
  const auto sink = operation([&] { value += 10; });
  sink->addDependency(source);
  other->addOperation(sink);
  one->addOperation(source);
  one->setSuspended(false);
  sink->waitUntilFinished();
  EXPECT_EQ(value, 11);
}

TEST(NSOperation, RemovingTheLastDependencyMakesItReady) {
  const auto queue = make<NSOperationQueue>();
  const auto never = operation([] {});
  const auto it = operation([] {});
  it->addDependency(never);
  queue->addOperation(it);
  it->removeDependency(never);
  it->removeDependency(never);
  it->removeDependency(nil);
  it->waitUntilFinished();
  EXPECT_EQ(it->dependencies().count(), 0u);
}

TEST(NSOperation, OneThatIsStartedByHandLeavesItsQueueAlthoughItsDependencyNeverEnds) {
  const auto queue = make<NSOperationQueue>();
  const auto never = operation([] {});
  int ran = 0;
  const auto it = operation([&] { ++ran; });
  it->addDependency(never);
  queue->addOperation(it);
  it->start();
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(ran, 1);
  never->start();
}

TEST(NSOperation, AFinishedDependencyIsNone) {
  const auto done = operation([] {});
  done->start();
  const auto it = operation([] {});
  it->addDependency(done);
  EXPECT_TRUE(it->isReady());
}

TEST(NSOperation, ADependencyAddedWhileItWaitsHoldsItBack) {
  const auto queue = serialQueue();
  queue->setSuspended(true);
  std::vector<int> seen;
  const auto it = operation([&] { seen.push_back(2); });
  const auto before = operation([&] { seen.push_back(1); });
  queue->addOperation(it);
  queue->addOperation(before);
  it->addDependency(before);
  queue->setSuspended(false);
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_THAT(seen, ElementsAre(1, 2));
}

TEST(NSOperationQueue, HigherPrioritiesGoFirst) {
  using Priority = NSOperationQueuePriority;
  const auto queue = serialQueue();
  queue->setSuspended(true);
  std::vector<int> seen;
  for (Priority priority : {Priority::VeryLow, Priority::Normal, Priority::VeryHigh, Priority::Low,
                            Priority::High, Priority::Normal}) {
    const auto it = operation([&seen, priority] { seen.push_back(static_cast<int>(priority)); });
    it->setQueuePriority(priority);
    EXPECT_EQ(it->queuePriority(), priority);
    queue->addOperation(it);
  }
  queue->setSuspended(false);
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_THAT(seen, ElementsAre(8, 4, 0, 0, -4, -8));
}

TEST(NSOperationQueue, OneAtATimeIsInTheOrderOfAdding) {
  const auto queue = serialQueue();
  std::vector<int> seen;
  for (int i = 0; i < 5000; ++i) queue->addOperationWithBlock([&seen, i] { seen.push_back(i); });
  queue->waitUntilAllOperationsAreFinished();
  ASSERT_EQ(seen.size(), 5000u);
  for (int i = 0; i < 5000; ++i) ASSERT_EQ(seen[static_cast<size_t>(i)], i);
}

// ---- queues

TEST(NSOperationQueue, CountsAndListsWhatIsNotFinished) {
  const auto queue = serialQueue();
  queue->setSuspended(true);
  EXPECT_TRUE(queue->isSuspended());
  const auto a = operation([] {});
  const auto b = operation([] {});
  queue->addOperation(a);
  queue->addOperation(b);
  queue->addOperation(nil);
  EXPECT_EQ(queue->operationCount(), 2u);
  EXPECT_TRUE(queue->operations().isEqual(NSArray{a, b}));
  queue->setSuspended(false);
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(queue->operationCount(), 0u);
  EXPECT_EQ(queue->operations().count(), 0u);
}

TEST(NSOperationQueue, WhatIsFinishedIsNotListedAndNotFound) {
  const auto queue = serialQueue();
  queue->setSuspended(true);
  const auto done = operation([] {});
  const auto next = operation([] {});
  for (const auto& each : {done, next}) {
    each->setName("n");
    queue->addOperation(each);
  }
  done->start();
  EXPECT_TRUE(queue->operations().isEqual(NSArray{next}));
  EXPECT_EQ(queue->operationNamed("n").get(), next.get());
  queue->setSuspended(false);
  queue->waitUntilAllOperationsAreFinished();
}

TEST(NSOperationQueue, AnOperationCannotBeAddedTwice) {
  const auto queue = serialQueue();
  queue->setSuspended(true);
  const auto it = operation([] {});
  queue->addOperation(it);
  const auto reasonOf = [&] {
    try {
      make<NSOperationQueue>()->addOperation(it);
    } catch (const NSException& exception) {
      EXPECT_EQ(exception.name(), NSInvalidArgumentException);
      return exception.reason().utf8();
    }
    return std::string();
  };
  EXPECT_THAT(reasonOf(), HasSubstr("is already enqueued on another queue"));
  queue->setSuspended(false);
  it->waitUntilFinished();
  EXPECT_THAT(reasonOf(), HasSubstr("is finished and cannot be enqueued on a queue"));
}

TEST(NSOperationQueue, WaitsForTheListedOnly) {
  const auto queue = make<NSOperationQueue>();
  std::promise<void> go;
  const auto held = operation([future = go.get_future().share()] { future.wait(); });
  queue->addOperation(held);
  int ran = 0;
  queue->addOperations(NSArray{operation([&] { ran = 1; }), "no operation"}, true);
  EXPECT_EQ(ran, 1);
  EXPECT_FALSE(held->isFinished());
  go.set_value();
  queue->waitUntilAllOperationsAreFinished();
}

TEST(NSOperationQueue, WaitsForWhatIsAddedMeanwhile) {
  const auto queue = make<NSOperationQueue>();
  std::atomic<int> ran{0};
  std::function<void(int)> add = [&](int left) {
    queue->addOperationWithBlock([&, left] {
      ++ran;
      if (left > 0) add(left - 1);
    });
  };
  add(50);
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(ran, 51);
}

TEST(NSOperationQueue, KnowsTheQueueThatRuns) {
  EXPECT_EQ(NSOperationQueue::currentQueue(), NSOperationQueue::mainQueue());
  const auto queue = make<NSOperationQueue>();
  Ref<NSOperationQueue> seen;
  queue->addOperations(NSArray{operation([&] { seen = NSOperationQueue::currentQueue(); })}, true);
  EXPECT_EQ(seen, queue);
  std::thread([] { EXPECT_FALSE(NSOperationQueue::currentQueue()); }).join();
}

TEST(NSOperationQueue, NamesAndLimits) {
  const auto queue = make<NSOperationQueue>();
  EXPECT_THAT(queue->name().utf8(), testing::StartsWith("NSOperationQueue 0x"));
  queue->setName("shelf");
  EXPECT_EQ(queue->name(), "shelf");
  EXPECT_EQ(queue->maxConcurrentOperationCount(), NSOperationQueue::DefaultMaxConcurrentOperationCount);
  for (const auto& [given, kept] :
       std::vector<std::pair<NSInteger, NSInteger>>{{3, 3}, {0, 1}, {-7, 1}, {-1, -1}}) {
    queue->setMaxConcurrentOperationCount(given);
    EXPECT_EQ(queue->maxConcurrentOperationCount(), kept);
  }
  EXPECT_EQ(NSOperationQueue::mainQueue()->maxConcurrentOperationCount(), 1);
  EXPECT_EQ(NSOperationQueue::mainQueue()->name(), "NSOperationQueue Main Queue");
}

TEST(NSOperationQueue, FindsTheFirstOfAName) {
  const auto queue = serialQueue();
  queue->setSuspended(true);
  std::vector<Ref<NSBlockOperation>> all;
  for (int i = 0; i < 500; ++i) {
    all.push_back(operation([] {}));
    all.back()->setName(NSString::stringWithFormat("n%d", i % 100));
    queue->addOperation(all.back());
    if (i == 120) {
      EXPECT_EQ(queue->operationNamed("n7").get(), all[7].get());
    }
  }
  EXPECT_EQ(queue->operationNamed("n20").get(), all[20].get());
  EXPECT_FALSE(queue->operationNamed("n100"));
  EXPECT_FALSE(queue->operationNamed(nil));
  all[20]->setName("other");
  EXPECT_EQ(queue->operationNamed("n20").get(), all[120].get());
  EXPECT_EQ(queue->operationNamed("other").get(), all[20].get());
  queue->setSuspended(false);
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_FALSE(queue->operationNamed("n20"));
}

TEST(NSOperationQueue, OperationsKeepTheirQueueAlive) {
  std::promise<int> result;
  int ran = 0;
  {
    const auto queue = serialQueue();
    for (int i = 0; i < 100; ++i) queue->addOperationWithBlock([&] { ++ran; });
    queue->addOperationWithBlock([&] { result.set_value(ran); });
  }
  EXPECT_EQ(result.get_future().get(), 100);
}

TEST(NSOperationQueue, CancelAllReachesEveryOne) {
  const auto queue = serialQueue();
  queue->setSuspended(true);
  std::vector<Ref<NSBlockOperation>> all;
  for (int i = 0; i < 20; ++i) {
    all.push_back(operation([] {}));
    queue->addOperation(all.back());
  }
  queue->cancelAllOperations();
  for (const auto& each : all) EXPECT_TRUE(each->isCancelled());
  queue->setSuspended(false);
  queue->waitUntilAllOperationsAreFinished();
}

TEST(NSOperationQueue, ObserversHearOfEveryAdditionAndRemovalInOrder) {
  const auto queue = serialQueue();
  CountLog log(queue);
  queue->setSuspended(true);
  queue->addOperationWithBlock([] {});
  queue->addOperationWithBlock([] {});
  EXPECT_THAT(log.changes(2), ElementsAre(CountLog::Change(0, 1), CountLog::Change(1, 2)));
  queue->setSuspended(false);
  EXPECT_THAT(log.changes(4), ElementsAre(CountLog::Change(0, 1), CountLog::Change(1, 2),
                                          CountLog::Change(2, 1), CountLog::Change(1, 0)));
}

TEST(NSOperationQueue, ObserversHearOfChangesOnTheThreadThatMakesThem) {
  const auto queue = serialQueue();
  std::promise<bool> removedElsewhere;
  const std::thread::id here = std::this_thread::get_id();
  bool addedHere = false;
  const auto token = queue->addObserver("operationCount", [&](const NSString&, const NSDictionary& change) {
    const bool isHere = std::this_thread::get_id() == here;
    change["new"].toInt() == 1 ? void(addedHere = isHere) : removedElsewhere.set_value(!isHere);
  });
  queue->setSuspended(true);
  queue->addOperationWithBlock([] {});
  EXPECT_TRUE(addedHere);
  queue->setSuspended(false);
  EXPECT_TRUE(removedElsewhere.get_future().get());
}

TEST(NSOperationQueue, AnObserverMayUseTheQueueAndHearsOfItAfterwards) {
  const auto queue = serialQueue();
  queue->setSuspended(true);
  std::vector<int> heard;
  const auto token = queue->addObserver("operationCount", [&](const NSString&, const NSDictionary& change) {
    const int now = static_cast<int>(change["new"].toInt());
    if (now == 1) queue->addOperationWithBlock([] {});
    heard.push_back(now);
    EXPECT_EQ(queue->operationCount(), 2);
  });
  queue->addOperationWithBlock([] {});
  EXPECT_THAT(heard, ElementsAre(1, 2));
  queue->removeObserver(token);
  queue->setSuspended(false);
  queue->waitUntilAllOperationsAreFinished();
}

TEST(NSOperationQueue, AnExceptionOfAnObserverReachesWhoAddedAndNothingIsLost) {
  const auto queue = serialQueue();
  queue->setSuspended(true);
  std::vector<int> heard;
  const auto token = queue->addObserver("operationCount", [&](const NSString&, const NSDictionary& change) {
    heard.push_back(static_cast<int>(change["new"].toInt()));
    if (heard.size() == 1) {
      queue->addOperationWithBlock([] {});
      throw std::runtime_error("no");
    }
  });
  EXPECT_THROW(queue->addOperationWithBlock([] {}), std::runtime_error);
  queue->addOperationWithBlock([] {});
  EXPECT_THAT(heard, ElementsAre(1, 2, 3));
  queue->removeObserver(token);
  queue->setSuspended(false);
  queue->waitUntilAllOperationsAreFinished();
}

TEST(NSOperationQueue, CountsOfManyThreadsAreToldWithoutGaps) {
  constexpr size_t kEach = kSanitized ? 200 : 2000;
  const auto queue = make<NSOperationQueue>();
  CountLog log(queue);
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t)
    threads.emplace_back([&] {
      for (size_t i = 0; i < kEach; ++i) queue->addOperationWithBlock([] {});
    });
  for (std::thread& each : threads) each.join();
  int64_t count = 0;
  const auto changes = log.changes(6 * kEach);
  EXPECT_EQ(changes.size(), 6 * kEach);
  for (const auto& [before, after] : changes) {
    EXPECT_EQ(before, count);
    EXPECT_EQ(std::abs(after - before), 1);
    count = after;
  }
  EXPECT_EQ(count, 0);
}

TEST(NSOperationQueue, ItsPropertiesAreReadByKey) {
  const auto queue = serialQueue();
  EXPECT_EQ(queue->valueForKey("operationCount"), Value(0));
  EXPECT_EQ(queue->valueForKey("operations"), Value(NSArray::array()));
  queue->setValueForKey(3, "maxConcurrentOperationCount");
  EXPECT_EQ(queue->maxConcurrentOperationCount(), 3);
}

TEST(NSOperationQueue, ManyThreadsAddCancelAndWait) {
  constexpr int kEach = kSanitized ? 300 : 3000;
  const auto queue = make<NSOperationQueue>();
  queue->setMaxConcurrentOperationCount(3);
  std::atomic<int> ran{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      Ref<NSBlockOperation> before;
      for (int i = 0; i < kEach; ++i) {
        const auto it = operation([&] { ++ran; });
        if (before && i % 3 == 0) it->addDependency(before);
        queue->addOperation(it);
        if (i % 5 == t) it->cancel();
        if (i % 97 == 0) it->waitUntilFinished();
        before = it;
      }
    });
  for (std::thread& each : threads) each.join();
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(ran, 4 * kEach);
}
