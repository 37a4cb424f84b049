#include "Platform/Foundation/Values/Detail/Pool.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "Tests/Support/World.h"

using namespace orv::detail;

namespace {

// A block filled with a pattern of its own, which nobody else may change.
struct Block {
  unsigned char* bytes;
  size_t size;
  unsigned char pattern;

  static Block make(size_t size, unsigned char pattern) {
    auto* bytes = static_cast<unsigned char*>(poolAllocate(size));
    std::memset(bytes, pattern, size);
    return {bytes, size, pattern};
  }
  bool intact() const {
    for (size_t i = 0; i < size; ++i)
      if (bytes[i] != pattern) return false;
    return true;
  }
  void free() const { poolFree(bytes, size); }
};

}  // namespace

TEST(Pool, EveryBlockIsAlignedAndItsOwn) {
  std::vector<Block> blocks;
  for (size_t size = 0; size < 1200; ++size)
    blocks.push_back(Block::make(size, static_cast<unsigned char>(size)));
  for (const Block& block : blocks) {
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block.bytes) % kPoolGrain, 0u);
    EXPECT_TRUE(block.intact());
  }
  for (const Block& block : blocks) block.free();
}

TEST(Pool, FreeingNothingIsAllowed) { poolFree(nullptr, 64); }

TEST(Pool, ReallocatingKeepsTheContents) {
  const size_t sizes[] = {8, 24, 512, 513, 100000, 700, 512, 16};
  Block block = Block::make(sizes[0], 7);
  for (size_t size : sizes) {
    block.bytes = static_cast<unsigned char*>(poolReallocate(block.bytes, block.size, size));
    block.size = std::min(block.size, size);
    ASSERT_TRUE(block.intact());
    block.size = size;
    std::memset(block.bytes, block.pattern, size);
  }
  block.free();
  poolFree(poolReallocate(nullptr, 0, 32), 32);
}

TEST(Pool, BlocksStayIntactInARandomOrderOfUse) {
  std::mt19937 random(1);
  std::vector<Block> live;
  for (int i = 0; i < 200000; ++i) {
    if (live.empty() || random() % 3 != 0) {
      live.push_back(Block::make(random() % 600, static_cast<unsigned char>(random())));
      continue;
    }
    std::swap(live[random() % live.size()], live.back());
    ASSERT_TRUE(live.back().intact());
    live.back().free();
    live.pop_back();
  }
  for (const Block& block : live) {
    ASSERT_TRUE(block.intact());
    block.free();
  }
}

TEST(Pool, AnyThreadMayFreeWhatAnotherMade) {
  constexpr int kRounds = 200, kBlocks = 500;
  std::vector<Block> handed;
  for (int round = 0; round < kRounds; ++round) {
    std::thread maker([&] {
      for (int i = 0; i < kBlocks; ++i)
        handed.push_back(Block::make(static_cast<size_t>(i % 512), static_cast<unsigned char>(i)));
    });
    maker.join();
    for (const Block& block : handed) {
      ASSERT_TRUE(block.intact());
      block.free();
    }
    handed.clear();
  }
}

TEST(Pool, ThreadsWorkSideBySide) {
  std::atomic<bool> intact = true;
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < 4; ++t)
    threads.emplace_back([&intact, t] {
      std::mt19937 random(t);
      std::vector<Block> live;
      for (int i = 0; i < 50000; ++i) {
        if (live.size() < 100 || random() % 2 == 0) {
          live.push_back(Block::make(random() % 512, static_cast<unsigned char>(random())));
        } else {
          if (!live.back().intact()) intact = false;
          live.back().free();
          live.pop_back();
        }
      }
      for (const Block& block : live) block.free();
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(intact);
}

TEST(Pool, AForkedChildOfABusyProcessCanAllocate) {
  if (kSanitized) GTEST_SKIP() << "the sanitizers' own allocators do not survive a fork among busy threads";
  std::atomic<bool> stop = false;
  std::vector<std::thread> busy;
  for (int t = 0; t < 3; ++t)
    busy.emplace_back([&stop] {
      while (!stop) {
        std::vector<Block> blocks;
        for (int i = 0; i < 2000; ++i) blocks.push_back(Block::make(64, 1));
        for (const Block& block : blocks) block.free();
      }
    });
  for (int i = 0; i < 20; ++i) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::alarm(30);  // a child that hangs on a lock dies by the signal
      std::vector<Block> blocks;
      for (int n = 0; n < 5000; ++n) blocks.push_back(Block::make(64, 2));
      ::_exit(0);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  stop = true;
  for (std::thread& thread : busy) thread.join();
}
