#include "Platform/Dispatch/DispatchQueue.h"

#include <pthread.h>

#include <array>
#include <atomic>
#include <chrono>
#include <future>
#include <limits>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Platform/Dispatch/Detail/WorkerPool.h"
#include "Platform/Dispatch/DispatchGroup.h"
#include "Platform/Dispatch/DispatchOnce.h"
#include "Platform/Foundation/Threads/NSRunLoop.h"
#include "Platform/Foundation/Threads/NSThread.h"
#include "Tests/Support/Capture.h"
#include "Tests/Support/Process.h"
#include "Tests/Support/World.h"

using namespace orv;
using namespace std::chrono_literals;

namespace {

Ref<DispatchQueue> serial() { return DispatchQueue::serial("org.orvane.test.serial"); }

// Several threads that run the same at once.
template <class F>
void onThreads(int count, F f) {
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) threads.emplace_back(f, i);
  for (std::thread& each : threads) each.join();
}

struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace

// ---- blocks

TEST(Block, HoldsWhatCannotBeCopied) {
  auto number = std::make_unique<int>(7);
  BlockOf<int()> block = [number = std::move(number)] { return *number; };
  BlockOf<int()> moved = std::move(block);
  EXPECT_FALSE(block);
  EXPECT_EQ(moved(), 7);
}

TEST(Block, LargeCallablesLiveElsewhereAndEndOnce) {
  auto counted = std::make_shared<int>(1);
  std::array<char, 200> large{};
  large[199] = 5;
  {
    BlockOf<int(int)> block = [counted, large](int add) { return large[199] + add; };
    BlockOf<int(int)> moved = std::move(block);
    block = std::move(moved);
    EXPECT_EQ(block(2), 7);
    EXPECT_EQ(counted.use_count(), 2);
  }
  EXPECT_EQ(counted.use_count(), 1);
}

TEST(Block, PlainCapturesOfEverySizeMove) {
  const auto check = []<size_t n>(std::integral_constant<size_t, n>) {
    std::array<unsigned char, n> bytes;
    for (size_t i = 0; i < n; ++i) bytes[i] = static_cast<unsigned char>(i + 1);
    BlockOf<bool()> block = [bytes, bytesToo = bytes] { return bytes == bytesToo && bytes[n - 1] == n; };
    BlockOf<bool()> moved = std::move(block);
    EXPECT_TRUE(moved()) << n;
  };
  [&]<size_t... n>(std::index_sequence<n...>) { (check(std::integral_constant<size_t, n + 1>()), ...); }
  (std::make_index_sequence<48>());
}

TEST(Block, NullPointersAndEmptyFunctionsMakeEmptyBlocks) {
  EXPECT_FALSE(Block());
  EXPECT_FALSE(Block(nullptr));
  EXPECT_FALSE(Block(std::function<void()>()));
  EXPECT_FALSE(Block(static_cast<void (*)()>(nullptr)));
  EXPECT_TRUE(Block([] {}));
  EXPECT_TRUE(Block([] {}) != nullptr);
}

TEST(Block, AssigningEndsWhatWasThere) {
  auto counted = std::make_shared<int>(1);
  Block block = [counted] {};
  block = [] {};
  EXPECT_EQ(counted.use_count(), 1);
  block = nullptr;
  EXPECT_FALSE(block);
}

// ---- serial queues

TEST(SerialQueue, RunsInTheOrderOfSubmission) {
  const auto queue = serial();
  std::vector<int> seen;
  for (int i = 0; i < 10000; ++i) queue->async([&seen, i] { seen.push_back(i); });
  queue->sync([&] { seen.push_back(10000); });
  ASSERT_EQ(seen.size(), 10001u);
  for (int i = 0; i <= 10000; ++i) ASSERT_EQ(seen[static_cast<size_t>(i)], i);
}

TEST(SerialQueue, EachProducersBlocksStayInOrderUnderContention) {
  constexpr int kEach = kSanitized ? 3000 : 30000;
  const auto queue = serial();
  std::array<int, 4> last{-1, -1, -1, -1};  // not atomic: the queue orders the accesses
  bool ordered = true;
  onThreads(4, [&](int producer) {
    for (int i = 0; i < kEach; ++i) {
      const auto check = [&, producer, i] {
        ordered = ordered && last[static_cast<size_t>(producer)] == i - 1;
        last[static_cast<size_t>(producer)] = i;
      };
      i % 7 == 3 ? queue->sync(check) : queue->async(check);
    }
  });
  queue->sync([] {});
  EXPECT_TRUE(ordered);
  for (int count : last) EXPECT_EQ(count, kEach - 1);
}

TEST(SerialQueue, ASynchronousBlockRunsOnTheCallingThread) {
  const auto queue = serial();
  std::thread::id ran;
  queue->sync([&] { ran = std::this_thread::get_id(); });
  EXPECT_EQ(ran, std::this_thread::get_id());
  // Also when the queue is busy first.
  std::promise<void> begun;
  queue->async([&] {
    begun.set_value();
    std::this_thread::sleep_for(5ms);
  });
  begun.get_future().wait();
  queue->sync([&] { ran = std::this_thread::get_id(); });
  EXPECT_EQ(ran, std::this_thread::get_id());
}

TEST(SerialQueue, AnExceptionOfASynchronousBlockReachesTheCaller) {
  const auto queue = serial();
  EXPECT_THROW(queue->sync([] { throw Failure("no"); }), Failure);
  int ran = 0;
  queue->async([&] { ++ran; });
  queue->sync([&] { ++ran; });
  EXPECT_EQ(ran, 2);
}

TEST(SerialQueue, AHandlerHearsOfAnExceptionAndTheNextBlockRuns) {
  static std::atomic<int> heard;
  heard = 0;
  const auto queue = serial();
  bool ran = false;
  queue->async([] { throw Failure("no"); }, [](const std::exception&) { ++heard; });
  queue->async([&] { ran = true; });
  queue->sync([] {});
  EXPECT_EQ(heard, 1);
  EXPECT_TRUE(ran);
}

TEST(SerialQueueDeathTest, AnExceptionThatNobodyHandlesEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        const auto queue = serial();
        queue->async([] { throw Failure("nobody handles this"); });
        queue->sync([] {});
        std::this_thread::sleep_for(5s);
      },
      "nobody handles this");
}

TEST(SerialQueue, ABlockMayDropTheLastReference) {
  auto queue = serial();
  std::promise<void> done;
  DispatchQueue* bare = queue.get();
  bare->async([&, mine = queue]() mutable {
    queue = nil;
    mine = nil;
    done.set_value();
  });
  done.get_future().wait();
  auto other = serial();
  DispatchQueue* otherBare = other.get();
  const auto after = std::make_shared<std::atomic<int>>(0);
  otherBare->sync([&] {
    otherBare->async([after] { *after = 1; });
    other = nil;
    EXPECT_EQ(*after, 0);
  });
  while (*after == 0) std::this_thread::yield();
}

TEST(SerialQueue, BlocksKeepTheirQueueAlive) {
  std::promise<int> result;
  int count = 0;
  {
    const auto queue = serial();
    for (int i = 0; i < 1000; ++i) queue->async([&] { ++count; });
    queue->async([&] { result.set_value(count); });
  }
  EXPECT_EQ(result.get_future().get(), 1000);
}

TEST(SerialQueue, EmptyBlocksAreIgnoredWithALine) {
  const auto queue = serial();
  const std::string lines = captureStandardError([&] {
    queue->async(nullptr);
    queue->sync(std::function<void()>());
  });
  EXPECT_THAT(lines, testing::HasSubstr("Empty block for <DispatchQueue: org.orvane.test.serial> ignored"));
}

TEST(SerialQueue, IdleQueuesHoldNoThread) {
  std::vector<Ref<DispatchQueue>> queues;
  for (int i = 0; i < 10000; ++i) {
    queues.push_back(serial());
    queues.back()->async([] {});
  }
  for (const auto& queue : queues) queue->sync([] {});
  const auto limit = std::chrono::steady_clock::now() + 60s;
  while (detail::WorkerPool::shared().workerCount() > 0 && std::chrono::steady_clock::now() < limit)
    std::this_thread::sleep_for(1ms);
  EXPECT_EQ(detail::WorkerPool::shared().workerCount(), 0u);
}

TEST(SerialQueue, WaitingChainsDoNotStarveThePool) {
  // Each link's block waits for the next queue's, which needs a thread of its own.
  constexpr int kLinks = 40;
  std::vector<Ref<DispatchQueue>> queues;
  for (int i = 0; i <= kLinks; ++i) queues.push_back(serial());
  std::function<void(int)> step = [&](int i) {
    if (i == kLinks) return;
    const auto& next = queues[static_cast<size_t>(i) + 1];
    const auto group = make<DispatchGroup>();
    group->async(next, [&, i] { step(i + 1); });
    group->wait();
  };
  queues[0]->sync([&] { step(0); });
}

TEST(SerialQueue, ThreadsThatSleepElsewhereMakeRoomForOthers) {
  constexpr int kTogether = 8;
  std::atomic<int> arrived{0};
  std::promise<void> all;
  std::vector<Ref<DispatchQueue>> queues;
  const auto group = make<DispatchGroup>();
  const auto everybody = all.get_future().share();
  for (int i = 0; i < kTogether; ++i) {
    queues.push_back(serial());
    group->async(queues.back(), [&, everybody] {
      if (++arrived == kTogether) all.set_value();
      everybody.wait();
    });
  }
  EXPECT_TRUE(group->wait(30));
}

TEST(SerialQueue, TheWorkerCarriesTheLabel) {
  const auto queue = DispatchQueue::serial("org.orvane.OrvQueue.0123456789");
  std::string system(16, 0);
  NSString name;
  std::promise<void> done;
  queue->async([&] {
    ::pthread_getname_np(::pthread_self(), system.data(), system.size());
    name = NSThread::currentThreadName();
    done.set_value();
  });
  done.get_future().wait();
  EXPECT_STREQ(system.c_str(), "OrvQueue.012345");
  EXPECT_EQ(name, "org.orvane.OrvQueue.0123456789");
}

TEST(SerialQueue, NilLabelsAndDescriptions) {
  EXPECT_EQ(DispatchQueue::serial(nil)->label(), "");
  EXPECT_EQ(serial()->description(), "<DispatchQueue: org.orvane.test.serial>");
}

// ---- specific values

TEST(DispatchSpecific, BelongsToTheQueueThatRuns) {
  static int key, other, a, b;
  const auto first = serial();
  const auto second = serial();
  first->setSpecific(&key, &a);
  second->setSpecific(&key, &b);
  EXPECT_EQ(first->specific(&key), &a);
  EXPECT_EQ(first->specific(&other), nullptr);
  EXPECT_EQ(DispatchQueue::currentSpecific(&key), nullptr);
  first->sync([&] {
    EXPECT_EQ(DispatchQueue::currentSpecific(&key), &a);
    second->sync([&] { EXPECT_EQ(DispatchQueue::currentSpecific(&key), &b); });
    EXPECT_EQ(DispatchQueue::currentSpecific(&key), &a);
    EXPECT_EQ(DispatchQueue::current(), first);
  });
  void* found = nullptr;
  first->async([&] { found = DispatchQueue::currentSpecific(&key); });
  first->sync([] {});
  EXPECT_EQ(found, &a);
  first->setSpecific(&key, nullptr);
  EXPECT_EQ(first->specific(&key), nullptr);
}

TEST(DispatchSpecific, TheTargetsValuesStandBehind) {
  static int key, only, a, b;
  const auto target = serial();
  const auto queue = DispatchQueue::serial("org.orvane.test.aimed", target);
  target->setSpecific(&key, &a);
  target->setSpecific(&only, &a);
  queue->setSpecific(&key, &b);
  void* async = nullptr;
  queue->async([&] { async = DispatchQueue::currentSpecific(&only); });
  queue->sync([&] {
    EXPECT_EQ(DispatchQueue::currentSpecific(&key), &b);
    EXPECT_EQ(DispatchQueue::currentSpecific(&only), &a);
  });
  EXPECT_EQ(async, &a);
}

TEST(DispatchTarget, QueuesWithOneTargetNeverRunTogether) {
  const auto target = serial();
  std::vector<Ref<DispatchQueue>> queues;
  for (int i = 0; i < 4; ++i) queues.push_back(DispatchQueue::serial("org.orvane.test.aimed", target));
  int count = 0;  // not atomic
  onThreads(4, [&](int i) {
    for (int j = 0; j < 500; ++j) {
      const auto& queue = queues[static_cast<size_t>(i)];
      j % 3 ? queue->async([&] { ++count; }) : queue->sync([&] { ++count; });
    }
  });
  for (const auto& queue : queues) queue->sync([] {});
  EXPECT_EQ(count, 2000);
}

TEST(DispatchTarget, AQueueAimedAtTheMainQueueRunsThereAndLeavesTheThreadItsName) {
  const auto queue = DispatchQueue::serial("org.orvane.test.aimed", DispatchQueue::mainQueue());
  std::array<char, 16> before{}, after{};
  ::pthread_getname_np(::pthread_self(), before.data(), before.size());
  std::vector<int> seen;
  std::thread other([&] {
    queue->async([&] {
      EXPECT_TRUE(NSThread::isMainThread());
      EXPECT_EQ(NSThread::currentThreadName(), "main");
      seen.push_back(1);
    });
    queue->sync([&] {
      EXPECT_TRUE(NSThread::isMainThread());
      seen.push_back(2);
    });
    DispatchQueue::mainQueue()->async([] { NSRunLoop::mainRunLoop()->stop(); });
  });
  NSRunLoop::mainRunLoop()->run();
  other.join();
  EXPECT_THAT(seen, testing::ElementsAre(1, 2));
  ::pthread_getname_np(::pthread_self(), after.data(), after.size());
  EXPECT_STREQ(before.data(), after.data());
}

// ---- concurrent queues

TEST(ConcurrentQueue, BlocksRunSideBySide) {
  const auto queue = DispatchQueue::concurrent("org.orvane.test.concurrent");
  std::atomic<int> inside{0};
  const auto group = make<DispatchGroup>();
  for (int i = 0; i < 2; ++i)
    group->async(queue, [&] {
      ++inside;
      for (int n = 0; inside < 2 && n < 30000; ++n) std::this_thread::sleep_for(1ms);
    });
  EXPECT_TRUE(group->wait(30));
  EXPECT_EQ(inside, 2);
}

TEST(ConcurrentQueue, ABarrierRunsAloneAndInItsPlace) {
  const auto queue = DispatchQueue::concurrent("org.orvane.test.concurrent");
  std::atomic<int> running{0};
  std::atomic<bool> wrong{false};
  int guarded = 0;  // written by barriers only, read by the others
  std::vector<int> read(1000);
  for (int i = 0; i < 1000; ++i) {
    queue->async([&, i] {
      ++running;
      read[static_cast<size_t>(i)] = guarded;
      --running;
    });
    if (i % 10 == 9)
      i % 20 == 19 ? queue->barrierAsync([&] {
        wrong = wrong || running != 0;
        ++guarded;
      })
                   : queue->barrierSync([&] {
                       wrong = wrong || running != 0;
                       ++guarded;
                     });
  }
  queue->barrierSync([] {});
  EXPECT_FALSE(wrong);
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(read[static_cast<size_t>(i)], i / 10);
}

TEST(ConcurrentQueue, SynchronousBlocksWaitForABarrier) {
  const auto queue = DispatchQueue::concurrent("org.orvane.test.concurrent");
  bool ran = false;
  queue->barrierAsync([&] {
    std::this_thread::sleep_for(5ms);
    ran = true;
  });
  queue->sync([&] { EXPECT_TRUE(ran); });
  EXPECT_THROW(queue->barrierSync([] { throw Failure("no"); }), Failure);
  queue->sync([&] { ran = false; });
  EXPECT_FALSE(ran);
}

TEST(ConcurrentQueue, TheGlobalQueueIsOne) {
  EXPECT_EQ(DispatchQueue::globalQueue(), DispatchQueue::globalQueue());
  std::promise<void> done;
  DispatchQueue::globalQueue()->async([&] { done.set_value(); });
  done.get_future().wait();
}

// ---- groups, once

TEST(DispatchGroup, WaitsUntilAllHaveLeft) {
  const auto group = make<DispatchGroup>();
  group->wait();
  EXPECT_TRUE(group->wait(0));
  group->enter();
  for (double seconds : {0.001, 0.0, -1e300, std::numeric_limits<double>::quiet_NaN()})
    EXPECT_FALSE(group->wait(seconds)) << seconds;
  std::thread leaver([&] { group->leave(); });
  group->wait();
  leaver.join();
}

TEST(DispatchGroup, OneLeaveTooManyIsIgnored) {
  const auto group = make<DispatchGroup>();
  EXPECT_THAT(captureStandardError([&] { group->leave(); }),
              testing::HasSubstr("left more often than entered"));
  EXPECT_TRUE(group->wait(0));
}

TEST(DispatchOnce, OneOfManyRunsItAndAllSeeTheResult) {
  for (int round = 0; round < 100; ++round) {
    DispatchOnce once;
    int result = 0;
    onThreads(4, [&](int) {
      once.run([&] { ++result; });
      EXPECT_EQ(result, 1);
    });
  }
}

TEST(DispatchOnce, AfterAnExceptionTheNextTriesAgain) {
  DispatchOnce once;
  EXPECT_THROW(once.run([] { throw Failure("no"); }), Failure);
  int result = 0;
  once.run([&] { ++result; });
  once.run([&] { ++result; });
  EXPECT_EQ(result, 1);
}
