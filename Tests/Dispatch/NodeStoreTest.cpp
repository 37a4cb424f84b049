#include "Platform/Dispatch/Detail/NodeStore.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "Tests/Support/World.h"

using orv::detail::NodeStore;

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kNodesAlone = true;
#else
constexpr bool kNodesAlone = false;
#endif

// A node filled with a pattern of its own, which nobody else may change.
void* makeNode(unsigned char pattern) { return std::memset(NodeStore::take(), pattern, NodeStore::kNodeBytes); }

bool isIntact(const void* node, unsigned char pattern) {
  const auto* const bytes = static_cast<const unsigned char*>(node);
  return std::all_of(bytes, bytes + NodeStore::kNodeBytes, [&](unsigned char byte) { return byte == pattern; });
}

std::vector<void*> takeMany(size_t count) {
  std::vector<void*> nodes;
  for (size_t i = 0; i < count; ++i) nodes.push_back(makeNode(static_cast<unsigned char>(i)));
  return nodes;
}

void giveBack(const std::vector<void*>& nodes) {
  NodeStore::Returns returns;
  for (void* node : nodes) returns.add(node);
}

constexpr size_t kManyNodes = NodeStore::kSlabNodes * NodeStore::kMostFree * 3;

}  // namespace

TEST(NodeStore, EveryNodeIsItsOwn) {
  const std::vector<void*> nodes = takeMany(1000);
  EXPECT_EQ(std::set<void*>(nodes.begin(), nodes.end()).size(), nodes.size());
  for (size_t i = 0; i < nodes.size(); ++i) EXPECT_TRUE(isIntact(nodes[i], static_cast<unsigned char>(i)));
  giveBack(nodes);
}

TEST(NodeStore, ANodeIsALineOfTheCache) {
  if (kNodesAlone) GTEST_SKIP() << "every node comes from malloc";
  const std::vector<void*> nodes = takeMany(200);
  for (void* node : nodes) EXPECT_EQ(reinterpret_cast<uintptr_t>(node) % NodeStore::kNodeBytes, 0u);
  giveBack(nodes);
}

TEST(NodeStore, WhatIsGivenBackIsUsedAgain) {
  if (kNodesAlone) GTEST_SKIP() << "every node comes from malloc";
  std::set<void*> seen;
  for (int round = 0; round < 100; ++round) {
    const std::vector<void*> nodes = takeMany(NodeStore::kSlabNodes * 10);
    seen.insert(nodes.begin(), nodes.end());
    giveBack(nodes);
  }
  EXPECT_LT(seen.size(), NodeStore::kSlabNodes * 100);
}

TEST(NodeStore, TrimmingKeepsABoundedRestAndAllCanBeUsedAgain) {
  if (kNodesAlone) GTEST_SKIP() << "every node comes from malloc";
  for (int round = 0; round < 3; ++round) {
    giveBack(takeMany(kManyNodes));
    EXPECT_GT(NodeStore::freeSlabs(), NodeStore::kMostFree);
    NodeStore::trim();
    EXPECT_EQ(NodeStore::freeSlabs(), NodeStore::kMostFree);
    const std::vector<void*> nodes = takeMany(kManyNodes);
    for (size_t i = 0; i < nodes.size(); ++i) ASSERT_TRUE(isIntact(nodes[i], static_cast<unsigned char>(i)));
    giveBack(nodes);
  }
}

TEST(NodeStore, AThreadThatEndsKeepsNothing) {
  if (kNodesAlone) GTEST_SKIP() << "every node comes from malloc";
  const auto once = [] { std::thread([] { giveBack({NodeStore::take()}); }).join(); };
  once();
  const size_t before = NodeStore::freeSlabs();
  for (int i = 0; i < 100; ++i) once();
  EXPECT_EQ(NodeStore::freeSlabs(), before);
}

namespace {

// Uses the store when the thread has nearly ended: it is made before the store's own part of the thread.
struct LateUser {
  std::vector<void*> nodes;
  ~LateUser() {
    for (int i = 0; i < 200; ++i) nodes.push_back(makeNode(7));
    for (void* node : nodes) EXPECT_TRUE(isIntact(node, 7));
    giveBack(nodes);
  }
};

}  // namespace

TEST(NodeStore, AThreadMayUseItAtItsEnd) {
  std::thread([] {
    static thread_local LateUser late;
    late.nodes.push_back(makeNode(7));
  }).join();
}

TEST(NodeStore, NodesOfSeveralThreadsAreGivenBackByOthers) {
  constexpr int kThreads = 4, kRounds = 300, kNodes = 100;
  std::mutex mutex;
  std::vector<std::pair<void*, unsigned char>> handed;
  std::atomic<bool> intact = true;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      NodeStore::Returns returns;
      for (int round = 0; round < kRounds; ++round) {
        const auto pattern = static_cast<unsigned char>(t * 50 + round % 50);
        std::vector<std::pair<void*, unsigned char>> mine;
        for (int i = 0; i < kNodes; ++i) mine.emplace_back(makeNode(pattern), pattern);
        {
          const std::lock_guard lock(mutex);
          std::swap(handed, mine);  // what another thread made
        }
        for (const auto& [node, expected] : mine) {
          if (!isIntact(node, expected)) intact = false;
          returns.add(node);
        }
        if (round % 50 == 0) NodeStore::trim();
      }
    });
  for (std::thread& each : threads) each.join();
  EXPECT_TRUE(intact);
  NodeStore::Returns returns;
  for (const auto& [node, pattern] : handed) returns.add(node);
}

TEST(NodeStore, AForkedChildOfABusyProcessCanUseIt) {
  if (kSanitized) GTEST_SKIP() << "the sanitizers' own allocators do not survive a fork among busy threads";
  std::atomic<bool> stop = false;
  std::vector<std::thread> busy;
  for (int t = 0; t < 3; ++t)
    busy.emplace_back([&stop] {
      while (!stop) giveBack(takeMany(500));
    });
  for (int i = 0; i < 20; ++i) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::alarm(30);  // a child that hangs on a lock dies by the signal
      giveBack(takeMany(5000));
      ::_exit(0);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  stop = true;
  for (std::thread& each : busy) each.join();
}
