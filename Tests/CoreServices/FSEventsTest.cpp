#include "Platform/CoreServices/FSEvents.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Platform/CoreServices/Detail/WatchService.h"
#include "Tests/CoreServices/EventCollector.h"
#include "Tests/Support/World.h"

using namespace orv;

namespace {

namespace fs = std::filesystem;
using Paths = std::set<std::string>;

constexpr uint32_t kCreated = kFSEventStreamEventFlagItemCreated;
constexpr uint32_t kRemoved = kFSEventStreamEventFlagItemRemoved;
constexpr uint32_t kRenamed = kFSEventStreamEventFlagItemRenamed;
constexpr uint32_t kModified = kFSEventStreamEventFlagItemModified;
constexpr uint32_t kMeta = kFSEventStreamEventFlagItemInodeMetaMod;
constexpr uint32_t kIsFile = kFSEventStreamEventFlagItemIsFile;
constexpr uint32_t kIsDir = kFSEventStreamEventFlagItemIsDir;
constexpr uint32_t kIsSymlink = kFSEventStreamEventFlagItemIsSymlink;
constexpr uint32_t kRootChanged = kFSEventStreamEventFlagRootChanged;

void touch(const std::string& path, const std::string& contents = "") { EventCollector::touch(path, contents); }

// The test's own folder as the events name it, with a folder "tree" that is watched and one "other" that is
// not.
class FSEvents : public testing::Test {
 protected:
  FSEvents() : own(fs::canonical(testFolder()).string()), root(own + "/tree"), other(own + "/other") {
    fs::create_directory(root);
    fs::create_directory(other);
  }

  // The reader finds all that happens here at once, however long it takes.
  template <class Part>
  static void atOnce(const Part& part) {
    detail::WatchService::shared().hold();
    part();
    detail::WatchService::shared().goOn();
  }

  const std::string own;
  const std::string root;
  const std::string other;
};

Paths pathsOf(const EventCollector& events, const std::string& below) {
  Paths paths;
  for (const auto& [path, flags] : events.flags)
    if (path.starts_with(below) && path.find("/.settled-") == std::string::npos) paths.insert(path);
  return paths;
}

void ignore(ConstFSEventStreamRef, void*, size_t, void*, const uint32_t*, const uint64_t*) {}

// ---- What is reported

TEST_F(FSEvents, ANewFileIsReportedWithItsPathAndKind) {
  EventCollector events({root});
  ASSERT_TRUE(events.started);
  touch(root + "/a.txt", "hello");
  ASSERT_TRUE(events.waitFor(root + "/a.txt", kCreated | kModified | kIsFile));
  EXPECT_EQ(pathsOf(events, ""), Paths{root + "/a.txt"});
}

TEST_F(FSEvents, WhatWasThereAndWhatIsReadIsNotReported) {
  touch(root + "/old", "x");
  fs::create_directory(root + "/folder");
  EventCollector events({root});
  EXPECT_EQ(::access((root + "/old").c_str(), R_OK), 0);
  char byte;
  const int file = ::open((root + "/old").c_str(), O_RDWR);
  EXPECT_EQ(::read(file, &byte, 1), 1);
  ::close(file);
  EXPECT_FALSE(fs::is_empty(root));
  ASSERT_TRUE(events.settle(root));
  EXPECT_EQ(pathsOf(events, ""), Paths{});
}

TEST_F(FSEvents, RemovedItemsComeWithTheirOldPaths) {
  touch(root + "/file");
  fs::create_directory(root + "/folder");
  EventCollector events({root});
  fs::remove(root + "/file");
  fs::remove(root + "/folder");
  ASSERT_TRUE(events.waitFor(root + "/file", kRemoved));
  ASSERT_TRUE(events.waitFor(root + "/folder", kRemoved | kIsDir));
}

TEST_F(FSEvents, ARenameIsTwoEventsTheOldPathFirst) {
  touch(root + "/before");
  EventCollector events({root}, 0.2);
  atOnce([&] { fs::rename(root + "/before", root + "/after"); });
  ASSERT_TRUE(events.waitFor(root + "/after", kRenamed));
  ASSERT_EQ(events.batches.size(), 1u);
  ASSERT_EQ(events.batches[0].size(), 2u);
  EXPECT_EQ(events.batches[0][0].path, root + "/before");
  EXPECT_EQ(events.batches[0][1].path, root + "/after");
  EXPECT_EQ(events.batches[0][0].flags & kRenamed, kRenamed);
}

TEST_F(FSEvents, AnAtomicReplacementIsReportedOnTheReplacedPath) {
  touch(root + "/settings", "old");
  EventCollector events({root});
  touch(root + "/settings.new", "new");
  fs::rename(root + "/settings.new", root + "/settings");
  ASSERT_TRUE(events.waitFor(root + "/settings", kRenamed));
}

TEST_F(FSEvents, AttributesAreReported) {
  touch(root + "/file");
  EventCollector events({root});
  ::chmod((root + "/file").c_str(), 0600);
  ASSERT_TRUE(events.waitFor(root + "/file", kMeta | kIsFile));
  ::chmod(root.c_str(), 0700);
  ASSERT_TRUE(events.waitFor(root, kMeta | kIsDir));
}

TEST_F(FSEvents, LinksAreReportedButNeverFollowed) {
  EventCollector events({root});
  fs::create_directory_symlink(other, root + "/link");
  ASSERT_TRUE(events.waitFor(root + "/link", kCreated | kIsSymlink));
  touch(other + "/hidden");
  ASSERT_TRUE(events.settle(root));
  EXPECT_EQ(pathsOf(events, ""), Paths{root + "/link"});
}

TEST_F(FSEvents, ARootThatIsALinkIsResolved) {
  fs::create_directory_symlink(root, own + "/link");
  EventCollector events({own + "/link/"});
  touch(root + "/file");
  ASSERT_TRUE(events.waitFor(root + "/file"));
}

TEST_F(FSEvents, NamesThatAreNotUTF8AreKept) {
  const std::string folder = root + "/caf\xE9";
  EventCollector events({root});
  fs::create_directory(folder);
  touch(folder + "/\xFF\xFE");
  ASSERT_TRUE(events.waitFor(folder + "/\xFF\xFE"));
}

TEST_F(FSEvents, SeveralChangesOfAPathWithinTheLatencyAreOneEvent) {
  EventCollector events({root}, 0.3);
  atOnce([&] {
    for (int i = 0; i < 20; ++i) touch(root + "/file", "more");
    ::chmod((root + "/file").c_str(), 0600);
    touch(root + "/second");
  });
  ASSERT_TRUE(events.waitFor(root + "/second"));
  ASSERT_EQ(events.batches.size(), 1u);
  ASSERT_EQ(events.batches[0].size(), 2u);
  EXPECT_EQ(events.batches[0][0].flags, kCreated | kModified | kMeta | kIsFile);
  EXPECT_LT(events.batches[0][0].id, events.batches[0][1].id);
}

TEST_F(FSEvents, AFolderThatIsRemovedAndMadeAgainIsOnePath) {
  fs::create_directory(root + "/folder");
  touch(root + "/folder/file");
  EventCollector events({root}, 0.3);
  fs::remove_all(root + "/folder");
  fs::create_directory(root + "/folder");
  touch(root + "/folder/file");
  ASSERT_TRUE(events.waitFor(root + "/folder/file", kRemoved | kCreated));
  for (const auto& batch : events.batches) {
    Paths paths;
    for (const auto& event : batch) EXPECT_TRUE(paths.insert(event.path).second) << event.path;
  }
}

TEST_F(FSEvents, NumbersGrowFromBatchToBatch) {
  EventCollector events({root}, 0.01);
  uint64_t last = 0;
  for (int i = 0; i < 5; ++i) {
    touch(root + "/" + std::to_string(i));
    ASSERT_TRUE(events.waitFor(root + "/" + std::to_string(i)));
  }
  for (const auto& batch : events.batches)
    for (const auto& event : batch) EXPECT_GT(event.id, std::exchange(last, event.id));
  EXPECT_EQ(FSEventStreamGetLatestEventId(events.stream), last);
}

TEST_F(FSEvents, WithoutFileEventsTheFoldersAreReported) {
  fs::create_directory(root + "/folder");
  EventCollector events({root}, 0.05, kFSEventStreamCreateFlagUseCFTypes);
  touch(root + "/folder/a");
  touch(root + "/folder/b");
  ASSERT_TRUE(events.waitFor(root + "/folder/"));
  EXPECT_EQ(pathsOf(events, ""), Paths{root + "/folder/"});
  EXPECT_EQ(events.batches[0][0].flags, kFSEventStreamEventFlagNone);
}

TEST_F(FSEvents, WithoutObjectTypesPathsAreTexts) {
  EventCollector events({root}, 0.05, kFSEventStreamCreateFlagFileEvents);
  touch(root + "/file");
  ASSERT_TRUE(events.waitFor(root + "/file", kCreated));
}

TEST_F(FSEvents, WithoutDeferringTheFirstEventComesAtOnce) {
  EventCollector events({root}, 10 * EventCollector::kLimit,
                        EventCollector::kUsual | kFSEventStreamCreateFlagNoDefer);
  touch(root + "/file");
  EXPECT_TRUE(events.waitFor(root + "/file"));
}

// ---- Folders that come, go and move

TEST_F(FSEvents, AFolderThatIsMadeAndFilledAtOnceIsSeenWhole) {
  EventCollector events({root});
  Paths expected;
  const auto make = [&](const auto& self, const std::string& folder, int levels) -> void {
    fs::create_directory(folder);
    expected.insert(folder);
    for (int i = 0; i < 3; ++i) {
      touch(folder + "/file" + std::to_string(i));
      expected.insert(folder + "/file" + std::to_string(i));
      if (levels > 1) self(self, folder + "/folder" + std::to_string(i), levels - 1);
    }
  };
  for (int i = 0; i < 10; ++i) make(make, root + "/" + std::to_string(i), 4);
  ASSERT_TRUE(events.waitUntil([&] { return pathsOf(events, "").size() >= expected.size(); }));
  EXPECT_EQ(pathsOf(events, ""), expected);
}

TEST_F(FSEvents, AFolderThatIsMovedIntoTheTreeIsReportedWhole) {
  fs::create_directories(other + "/a/b/c");
  touch(other + "/a/b/c/deep");
  touch(other + "/a/file");
  EventCollector events({root});
  fs::rename(other + "/a", root + "/in");
  ASSERT_TRUE(events.waitFor(root + "/in/b/c/deep"));
  ASSERT_TRUE(events.waitFor(root + "/in/file"));
  ASSERT_TRUE(events.waitFor(root + "/in", kRenamed | kIsDir));
  events.forget();
  touch(root + "/in/b/c/later");
  ASSERT_TRUE(events.waitFor(root + "/in/b/c/later"));
}

TEST_F(FSEvents, WatchesBelowAMovedFolderHaveItsNewPath) {
  fs::create_directories(root + "/one/two/three");
  fs::create_directories(root + "/far/away");
  EventCollector events({root});
  fs::rename(root + "/one", root + "/far/away/renamed");
  ASSERT_TRUE(events.waitFor(root + "/one", kRenamed | kIsDir));
  ASSERT_TRUE(events.waitFor(root + "/far/away/renamed", kRenamed | kIsDir));
  EXPECT_EQ(pathsOf(events, ""), (Paths{root + "/one", root + "/far/away/renamed"}));
  touch(root + "/far/away/renamed/two/three/file");
  ASSERT_TRUE(events.waitFor(root + "/far/away/renamed/two/three/file"));
}

TEST_F(FSEvents, AChangeThatWaitsWhileItsFolderIsRenamedComesWithItsNewPath) {
  fs::create_directories(root + "/one/two");
  EventCollector events({root}, 0.3);
  atOnce([&] {
    touch(root + "/one/two/file");
    fs::rename(root + "/one", root + "/renamed");
  });
  ASSERT_TRUE(events.waitFor(root + "/renamed/two/file", kCreated));
  EXPECT_FALSE(events.flags.contains(root + "/one/two/file"));
}

TEST_F(FSEvents, AFolderThatIsRenamedWhileTheLoopDoesNotRunLosesNothing) {
  fs::create_directories(root + "/one/two");
  EventCollector events({root}, 0.01);
  touch(root + "/one/two/file");
  std::thread([&] {  // when it has been told, the batch has been made
    EventCollector witness({root}, 0.02);
    EXPECT_TRUE(witness.settle(root));
  })
      .join();
  fs::rename(root + "/one", root + "/renamed");
  detail::WatchService::shared().numbers();  // the reader has come by
  EXPECT_TRUE(events.waitFor(root + "/renamed/two/file", kCreated));
}

TEST_F(FSEvents, ExchangedFoldersKeepTheirPathsApart) {
  fs::create_directories(root + "/a/in-a");
  fs::create_directories(root + "/b/in-b");
  EventCollector events({root});
  fs::rename(root + "/a", root + "/t");
  fs::rename(root + "/b", root + "/a");
  fs::rename(root + "/t", root + "/b");
  touch(root + "/a/in-b/1");
  touch(root + "/b/in-a/2");
  ASSERT_TRUE(events.waitFor(root + "/a/in-b/1"));
  ASSERT_TRUE(events.waitFor(root + "/b/in-a/2"));
}

TEST_F(FSEvents, AFolderThatLeavesTheTreeIsWatchedNoMore) {
  fs::create_directories(root + "/folder/below");
  EventCollector events({root});
  const size_t before = detail::WatchService::shared().numbers().watches;
  fs::rename(root + "/folder", other + "/folder");
  ASSERT_TRUE(events.waitFor(root + "/folder", kRenamed | kIsDir));
  ASSERT_TRUE(events.waitUntil([&] {
    touch(root + "/tick", "x");
    return detail::WatchService::shared().numbers().watches == before - 2;
  }));
  events.forget();
  touch(other + "/folder/below/file");
  ASSERT_TRUE(events.settle(root));
  EXPECT_FALSE(events.flags.contains(root + "/folder/below/file"));
  EXPECT_FALSE(events.flags.contains(other + "/folder/below/file"));
}

TEST_F(FSEvents, AMoveFromOneRootToAnotherIsReportedWholeToTheOther) {
  fs::create_directories(root + "/folder/below");
  touch(root + "/folder/below/file");
  EventCollector here({root});
  EventCollector there({other});
  fs::rename(root + "/folder", other + "/folder");
  ASSERT_TRUE(there.waitFor(other + "/folder/below/file"));
  ASSERT_TRUE(here.waitFor(root + "/folder", kRenamed));
  touch(other + "/folder/below/second");
  ASSERT_TRUE(there.waitFor(other + "/folder/below/second"));
}

// ---- Roots

TEST_F(FSEvents, AMissingRootIsReportedWhenItAppears) {
  const std::string missing = root + "/a/b/c";
  EventCollector events({missing});
  ASSERT_TRUE(events.started);
  fs::create_directories(missing + "/d");
  touch(missing + "/d/file");
  ASSERT_TRUE(events.waitFor(missing + "/d/file"));
  ASSERT_TRUE(events.waitFor(missing, kRootChanged));
}

TEST_F(FSEvents, ARootThatIsMovedIsToldWithNumberZero) {
  EventCollector events({root});
  fs::rename(root, own + "/moved");
  ASSERT_TRUE(events.waitFor(root, kRootChanged));
  EXPECT_EQ(events.batches.back().back().id, 0u);
  events.forget();
  touch(own + "/moved/unseen");
  fs::create_directory(root);
  touch(root + "/again");
  ASSERT_TRUE(events.waitFor(root + "/again"));
  ASSERT_TRUE(events.waitFor(root, kRootChanged));
  EXPECT_FALSE(events.flags.contains(own + "/moved/unseen"));
}

TEST_F(FSEvents, ARootWhoseParentIsMovedIsTold) {
  fs::create_directories(root + "/a/b/watched");
  EventCollector events({root + "/a/b/watched"});
  fs::rename(root + "/a", root + "/z");
  ASSERT_TRUE(events.waitFor(root + "/a/b/watched", kRootChanged));
  fs::rename(root + "/z", root + "/a");
  events.forget();
  ASSERT_TRUE(events.waitFor(root + "/a/b/watched", kRootChanged));
  touch(root + "/a/b/watched/file");
  ASSERT_TRUE(events.waitFor(root + "/a/b/watched/file"));
}

TEST_F(FSEvents, ARemovedRootIsToldAndReportedWhenItIsMadeAgain) {
  fs::create_directory(root + "/below");
  EventCollector events({root});
  fs::remove_all(root);
  ASSERT_TRUE(events.waitFor(root, kRootChanged));
  fs::create_directories(root + "/below");
  touch(root + "/below/file");
  ASSERT_TRUE(events.waitFor(root + "/below/file"));
}

TEST_F(FSEvents, WithoutWatchRootARootIsWaitedForAllTheSame) {
  EventCollector events({root}, 0.05, kFSEventStreamCreateFlagUseCFTypes | kFSEventStreamCreateFlagFileEvents);
  fs::remove_all(root);
  fs::create_directory(root);
  touch(root + "/file");
  ASSERT_TRUE(events.waitFor(root + "/file"));
  EXPECT_EQ(events.flagsOf(root) & kRootChanged, 0u);
}

// ---- Several streams

TEST_F(FSEvents, StreamsShareTheirWatchesAndLeaveThemToEachOther) {
  for (int i = 0; i < 20; ++i) fs::create_directories(root + "/" + std::to_string(i) + "/below");
  EventCollector first({root});
  const size_t watches = detail::WatchService::shared().numbers().watches;
  EventCollector second({root});
  EventCollector third({root + "/7"});
  EXPECT_EQ(detail::WatchService::shared().numbers().watches, watches);
  first.end();
  touch(root + "/7/below/file");
  ASSERT_TRUE(second.waitFor(root + "/7/below/file"));
  ASSERT_TRUE(third.waitFor(root + "/7/below/file"));
  second.end();
  EXPECT_LT(detail::WatchService::shared().numbers().watches, watches - 35);
  touch(root + "/7/below/second");
  ASSERT_TRUE(third.waitFor(root + "/7/below/second"));
  third.end();
  EXPECT_EQ(detail::WatchService::shared().numbers().watches, 0u);
}

TEST_F(FSEvents, OverlappingRootsOfOneStreamReportAPathOnce) {
  fs::create_directories(root + "/a/b");
  EventCollector events({root, root + "/a", root + "/a/b"}, 0.2);
  touch(root + "/a/b/file");
  ASSERT_TRUE(events.waitFor(root + "/a/b/file"));
  EXPECT_EQ(events.batches[0].size(), 1u);
}

// ---- The life of a stream

TEST_F(FSEvents, AStreamNeedsACallbackAndAPath) {
  EXPECT_EQ(FSEventStreamCreate(nullptr, nullptr, {root}, kFSEventStreamEventIdSinceNow, 0.1, 0), nullptr);
  EXPECT_EQ(FSEventStreamCreate(ignore, nullptr, {}, kFSEventStreamEventIdSinceNow, 0.1, 0), nullptr);
  EXPECT_EQ(FSEventStreamCreate(ignore, nullptr, nil, kFSEventStreamEventIdSinceNow, 0.1, 0), nullptr);
  EXPECT_EQ(FSEventStreamCreate(ignore, nullptr, {1, ""}, kFSEventStreamEventIdSinceNow, 0.1, 0), nullptr);
}

TEST_F(FSEvents, ANullStreamIsIgnored) {
  FSEventStreamScheduleWithRunLoop(nullptr, NSRunLoop::currentRunLoop(), NSDefaultRunLoopMode);
  EXPECT_FALSE(FSEventStreamStart(nullptr));
  FSEventStreamStop(nullptr);
  FSEventStreamInvalidate(nullptr);
  FSEventStreamRetain(nullptr);
  FSEventStreamRelease(nullptr);
  EXPECT_EQ(FSEventStreamGetLatestEventId(nullptr), kFSEventStreamEventIdSinceNow);
  EXPECT_TRUE(FSEventStreamCopyPathsBeingWatched(nullptr).isNil());
}

TEST_F(FSEvents, AStreamStartsOnlyWhenItIsScheduledAndOnlyOnce) {
  FSEventStreamRef stream =
      FSEventStreamCreate(ignore, nullptr, {root, 7}, kFSEventStreamEventIdSinceNow, 0.1, 0);
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(FSEventStreamCopyPathsBeingWatched(stream), (NSArray{root, 7}));
  EXPECT_FALSE(FSEventStreamStart(stream));
  FSEventStreamScheduleWithRunLoop(stream, NSRunLoop::currentRunLoop(), "NSNoSuchMode");
  EXPECT_FALSE(FSEventStreamStart(stream));
  FSEventStreamScheduleWithRunLoop(stream, NSRunLoop::currentRunLoop(), NSDefaultRunLoopMode);
  EXPECT_TRUE(FSEventStreamStart(stream));
  EXPECT_FALSE(FSEventStreamStart(stream));
  FSEventStreamStop(stream);
  EXPECT_TRUE(FSEventStreamStart(stream));
  FSEventStreamInvalidate(stream);
  EXPECT_FALSE(FSEventStreamStart(stream));
  FSEventStreamRelease(stream);
}

int retained = 0;

TEST_F(FSEvents, TheContextIsRetainedAndReleasedOnce) {
  FSEventStreamContext context;
  context.retain = [](const void* info) {
    ++retained;
    return info;
  };
  context.release = [](const void*) { --retained; };
  FSEventStreamRef stream =
      FSEventStreamCreate(ignore, &context, {root}, kFSEventStreamEventIdSinceNow, 0.1, 0);
  EXPECT_EQ(retained, 1);
  FSEventStreamRetain(stream);
  FSEventStreamRelease(stream);
  EXPECT_EQ(retained, 1);
  FSEventStreamInvalidate(stream);
  FSEventStreamRelease(stream);
  EXPECT_EQ(retained, 0);
}

TEST_F(FSEvents, NothingArrivesAfterStop) {
  EventCollector stopped({root}, 0.01);
  EventCollector witness({root}, 0.05);
  touch(root + "/file");
  FSEventStreamStop(stopped.stream);
  ASSERT_TRUE(witness.settle(root));
  ASSERT_TRUE(witness.settle(root));
  EXPECT_TRUE(stopped.batches.empty());
}

TEST_F(FSEvents, NothingArrivesAfterTheLastRelease) {
  int calls = 0;
  FSEventStreamContext context;
  context.info = &calls;
  FSEventStreamRef stream = FSEventStreamCreate(
      [](ConstFSEventStreamRef, void* info, size_t, void*, const uint32_t*, const uint64_t*) {
        ++*static_cast<int*>(info);
      },
      &context, {root}, kFSEventStreamEventIdSinceNow, 0, kFSEventStreamCreateFlagFileEvents);
  FSEventStreamScheduleWithRunLoop(stream, NSRunLoop::currentRunLoop(), NSRunLoopCommonModes);
  ASSERT_TRUE(FSEventStreamStart(stream));
  EventCollector witness({root}, 0.05);
  touch(root + "/file");
  FSEventStreamRelease(stream);
  ASSERT_TRUE(witness.settle(root));
  EXPECT_EQ(calls, 0);
}

TEST_F(FSEvents, AStreamMayBeReleasedInItsCallback) {
  EventCollector events({root}, 0.01);
  EventCollector witness({root}, 0.05);
  events.onBatch = [&] { events.end(); };
  touch(root + "/file");
  ASSERT_TRUE(events.waitFor(root + "/file"));
  ASSERT_TRUE(witness.settle(root));
  EXPECT_EQ(events.batches.size(), 1u);
}

TEST_F(FSEvents, NothingArrivesWhileTheLoopDoesNotRun) {
  EventCollector events({root}, 0);
  touch(root + "/file");
  std::thread other([&] {
    EventCollector witness({root}, 0.01);
    EXPECT_TRUE(witness.settle(root));
  });
  other.join();
  EXPECT_TRUE(events.batches.empty());
  ASSERT_TRUE(events.waitFor(root + "/file"));
}

TEST_F(FSEvents, EventsArriveOnTheThreadOfTheRunLoop) {
  std::thread other([&] {
    EventCollector events({root}, 0.01);
    std::thread::id called;
    events.onBatch = [&] { called = std::this_thread::get_id(); };
    touch(root + "/file");
    EXPECT_TRUE(events.waitFor(root + "/file"));
    EXPECT_EQ(called, std::this_thread::get_id());
  });
  other.join();
}

TEST_F(FSEvents, AThreadMayEndBeforeItsStream) {
  FSEventStreamRef stream = nullptr;
  std::thread([&] {
    stream = FSEventStreamCreate(ignore, nullptr, {root}, kFSEventStreamEventIdSinceNow, 0, 0);
    FSEventStreamScheduleWithRunLoop(stream, NSRunLoop::currentRunLoop(), NSDefaultRunLoopMode);
    EXPECT_TRUE(FSEventStreamStart(stream));
  }).join();
  EventCollector events({root}, 0.01);
  ASSERT_TRUE(events.settle(root));
  ASSERT_TRUE(events.settle(root));
  FSEventStreamRelease(stream);
}

TEST_F(FSEvents, StreamsComeAndGoOnManyThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([&, i] {
      const std::string folder = root + "/" + std::to_string(i);
      fs::create_directory(folder);
      for (int round = 0; round < 10; ++round) {
        EventCollector events({round % 2 ? root : folder}, 0.001);
        EXPECT_TRUE(events.settle(folder)) << folder;
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(detail::WatchService::shared().numbers().watches, 0u);
}

TEST_F(FSEvents, TheInstanceIsClosedWithTheLastStream) {
  const auto instances = [] {
    int count = 0;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
      std::error_code error;
      if (fs::read_symlink(entry.path(), error).string().find("inotify") != std::string::npos) ++count;
    }
    return count;
  };
  {
    EventCollector first({root});
    EventCollector second({other});
    EXPECT_EQ(instances(), 1);
  }
  detail::WatchService::shared().numbers();  // the reader has come by
  EXPECT_EQ(instances(), 0);
}

}  // namespace
