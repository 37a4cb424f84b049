#include "Platform/Foundation/Threads/NSRecursiveLock.h"

#include <mutex>
#include <thread>
#include <vector>

#include "Tests/Support/Capture.h"
#include "Tests/Support/World.h"

using namespace orv;

TEST(NSRecursiveLock, ItsOwnerTakesItAgainAndGivesItBackAsOften) {
  const auto lock = make<NSRecursiveLock>();
  lock->lock();
  lock->lock();
  EXPECT_TRUE(lock->tryLock());
  const auto othersTry = [&] {
    bool got = true;
    std::thread([&] {
      got = lock->tryLock();
      if (got) lock->unlock();
    }).join();
    return got;
  };
  EXPECT_FALSE(othersTry());
  lock->unlock();
  lock->unlock();
  EXPECT_FALSE(othersTry());
  lock->unlock();
  EXPECT_TRUE(othersTry());
}

TEST(NSRecursiveLock, OneAtATimeUnderContention) {
  constexpr int kEach = kSanitized ? 5000 : 100000;
  const auto lock = make<NSRecursiveLock>();
  int count = 0;  // not atomic
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < kEach; ++i) {
        const std::lock_guard<NSRecursiveLock> outer(*lock);
        const std::lock_guard<NSRecursiveLock> inner(*lock);
        ++count;
      }
    });
  for (std::thread& each : threads) each.join();
  EXPECT_EQ(count, 4 * kEach);
}

TEST(NSRecursiveLock, WhoIsNotTheOwnerCannotUnlock) {
  const auto lock = make<NSRecursiveLock>();
  EXPECT_THAT(captureStandardError([&] { lock->unlock(); }), testing::HasSubstr("that does not own it"));
  lock->lock();
  std::thread([&] {
    EXPECT_THAT(captureStandardError([&] { lock->unlock(); }), testing::HasSubstr("that does not own it"));
    EXPECT_FALSE(lock->tryLock());
  }).join();
  lock->unlock();
}

TEST(NSRecursiveLock, WorksWithTheStandardsGuards) {
  const auto lock = make<NSRecursiveLock>();
  std::unique_lock<NSRecursiveLock> guard(*lock, std::try_to_lock);
  EXPECT_TRUE(guard.owns_lock());
}
