// Roots and folders whose place is taken by another: below each other, exchanged, under a volume, locked up.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <stdio.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <string>

#include "Platform/CoreServices/Detail/WatchService.h"
#include "Tests/CoreServices/EventCollector.h"
#include "Tests/Support/World.h"

using namespace orv;

namespace {

namespace fs = std::filesystem;
using detail::WatchService;

constexpr uint32_t kCreated = kFSEventStreamEventFlagItemCreated;
constexpr uint32_t kRootChanged = kFSEventStreamEventFlagRootChanged;

void touch(const std::string& path) { EventCollector::touch(path); }

class FSEventsPlaces : public testing::Test {
 protected:
  FSEventsPlaces() : own(fs::canonical(testFolder()).string()), root(own + "/tree"), inner(root + "/x/y") {
    fs::create_directory(root);
  }
  ~FSEventsPlaces() override { WatchService::shared().setLimit(SIZE_MAX); }

  // The number of watches that is enough for the root alone.
  size_t wayToRoot() const { return static_cast<size_t>(std::count(root.begin(), root.end(), '/')) + 1; }

  // Files that are made now are told of.
  void expectHeard(const EventCollector& events, std::initializer_list<const char*> files) const {
    for (const char* name : files) {
      touch(root + name);
      EXPECT_TRUE(events.waitFor(root + name)) << name;
    }
  }

  const std::string own;
  const std::string root;
  const std::string inner;
};

// ---- A root below another stream's root

TEST_F(FSEventsPlaces, AMissingRootBelowAnotherRootIsReportedWhenItAppears) {
  EventCollector outer({root});
  EventCollector events({inner});
  fs::create_directories(inner);
  touch(inner + "/file");
  EXPECT_TRUE(events.waitFor(inner + "/file"));
  EXPECT_TRUE(events.waitFor(inner, kRootChanged));
  EXPECT_TRUE(outer.waitFor(inner + "/file"));
}

TEST_F(FSEventsPlaces, ARootBelowAnotherRootIsFollowedWhenItIsRemovedAndMadeAgain) {
  fs::create_directories(inner);
  EventCollector outer({root});
  EventCollector events({inner});
  fs::remove_all(root + "/x");
  ASSERT_TRUE(events.waitFor(inner, kRootChanged));
  fs::create_directories(inner);
  touch(inner + "/file");
  EXPECT_TRUE(events.waitFor(inner + "/file"));
}

TEST_F(FSEventsPlaces, ARootBelowAnotherRootThatIsMovedIsToldAndLeftAlone) {
  for (const char* moved : {"/x", "/x/y"}) {
    fs::create_directories(inner);
    EventCollector outer({root});
    EventCollector events({inner});
    fs::rename(root + moved, root + "/z");
    const std::string now = moved == std::string("/x") ? root + "/z/y" : root + "/z";
    touch(now + "/foreign");
    ASSERT_TRUE(events.waitFor(inner, kRootChanged)) << moved;
    EXPECT_TRUE(outer.waitFor(now + "/foreign"));
    events.forget();
    fs::create_directories(inner);
    touch(inner + "/again");
    EXPECT_TRUE(events.waitFor(inner + "/again")) << moved;
    touch(inner + "/later");
    EXPECT_TRUE(events.waitFor(inner + "/later")) << moved;
    for (const auto& [path, flags] : events.flags) EXPECT_TRUE(path.starts_with(inner)) << path;
    fs::remove_all(root + "/x");
    fs::remove_all(root + "/z");
  }
}

TEST_F(FSEventsPlaces, AMissingRootBelowAFolderWithoutAWatchIsFound) {
  WatchService::shared().setLimit(0);
  EventCollector outer({root});
  EventCollector events({inner});
  fs::create_directories(inner);
  touch(inner + "/file");
  EXPECT_TRUE(events.waitFor(inner + "/file"));
}

// ---- Roots behind links

TEST_F(FSEventsPlaces, AMissingRootIsFoundBehindALinkThatIsMadeLater) {
  const std::string link = own + "/link";
  fs::create_directories(root + "/below");
  for (const char* rest : {"", "/below"}) {
    for (const bool shared : {false, true}) {
      const std::string target = root + rest;
      EventCollector events({link + rest});
      std::unique_ptr<EventCollector> outer;
      if (shared) outer = std::make_unique<EventCollector>(std::vector<std::string>{own});
      fs::create_directory_symlink("tree", link);
      EXPECT_TRUE(events.waitFor(target, kRootChanged)) << rest << shared;
      touch(target + "/file");
      EXPECT_TRUE(events.waitFor(target + "/file")) << rest << shared;
      fs::remove(target + "/file");
      fs::remove(link);
    }
  }
}

TEST_F(FSEventsPlaces, ALinkToNothingIsARootThatIsMissing) {
  fs::create_symlink(root + "/../tree/later", own + "/link");
  EventCollector events({own + "/link"});
  fs::create_directory(root + "/later");
  touch(root + "/later/file");
  EXPECT_TRUE(events.waitFor(root + "/later/file"));
}

TEST_F(FSEventsPlaces, ALinkToItselfIsNoFolder) {
  fs::create_symlink("loop", root + "/loop");
  EventCollector events({root + "/loop", root});
  ASSERT_TRUE(events.started);
  EXPECT_TRUE(events.settle(root));
}

TEST_F(FSEventsPlaces, RelativePathsAreNoneWhenTheWorkingFolderIsGone) {
  const fs::path before = fs::current_path();
  const auto create = [&](const NSArray& paths) {
    return FSEventStreamCreate(
        [](ConstFSEventStreamRef, void*, size_t, void*, const uint32_t*, const uint64_t*) {}, nullptr, paths,
        kFSEventStreamEventIdSinceNow, 0, 0);
  };
  fs::create_directory(own + "/gone");
  fs::current_path(own + "/gone");
  fs::remove(own + "/gone");
  EXPECT_EQ(create({"relative"}), nullptr);
  const FSEventStreamRef stream = create({"relative", root});
  EXPECT_NE(stream, nullptr);
  FSEventStreamRelease(stream);
  fs::current_path(before);
}

// ---- Exchanged folders

void exchange(const std::string& one, const std::string& other) {
  ASSERT_EQ(::renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE), 0);
}

TEST_F(FSEventsPlaces, BothOfTwoExchangedFoldersStayWatched) {
  for (const char* name : {"/a/in-a", "/c/in-c"}) fs::create_directories(root + name);
  EventCollector events({root});
  exchange(root + "/a", root + "/c");
  ASSERT_TRUE(events.settle(root));
  expectHeard(events, {"/a/f", "/c/f", "/a/in-c/f", "/c/in-a/f"});
}

TEST_F(FSEventsPlaces, ExchangedFoldersWithoutWatchesAreLookedThrough) {
  for (const char* name : {"/a/in-a", "/c/in-c"}) fs::create_directories(root + name);
  WatchService::shared().setLimit(wayToRoot());
  EventCollector events({root});
  EXPECT_EQ(WatchService::shared().numbers().watches, wayToRoot());
  exchange(root + "/a", root + "/c");
  ASSERT_TRUE(events.settle(root));
  expectHeard(events, {"/a/f", "/c/f", "/a/in-c/f", "/c/in-a/f"});
}

TEST_F(FSEventsPlaces, ChainsOfExchangesBlindNobody) {
  for (const char* name : {"/a", "/c", "/d/deep", "/e"}) fs::create_directories(root + name);
  EventCollector events({root});
  exchange(root + "/a", root + "/c");
  exchange(root + "/c", root + "/d/deep");
  exchange(root + "/a", root + "/e");
  exchange(root + "/d", root + "/a");
  ASSERT_TRUE(events.settle(root));
  for (const auto& entry : fs::recursive_directory_iterator(root))
    if (entry.is_directory()) {
      touch(entry.path().string() + "/f");
      EXPECT_TRUE(events.waitFor(entry.path().string() + "/f"));
    }
}

TEST_F(FSEventsPlaces, AFolderExchangedWithAFileStaysWatched) {
  fs::create_directory(root + "/a");
  touch(root + "/c");
  EventCollector events({root});
  exchange(root + "/a", root + "/c");
  ASSERT_TRUE(events.settle(root));
  touch(root + "/c/f");
  EXPECT_TRUE(events.waitFor(root + "/c/f"));
}

// What is told is worked on when all of it has happened already.
TEST_F(FSEventsPlaces, AnExchangeBelowAFolderThatBecomesAFileIsFollowed) {
  for (const char* name : {"/a/deep/one", "/two/in-two"}) fs::create_directories(root + name);
  touch(root + "/file");
  EventCollector events({root});
  WatchService::shared().hold();
  exchange(root + "/a/deep/one", root + "/two");
  exchange(root + "/a", root + "/file");
  WatchService::shared().goOn();
  ASSERT_TRUE(events.settle(root));
  expectHeard(events, {"/two/f", "/file/deep/one/f", "/file/deep/one/in-two/f"});
}

TEST_F(FSEventsPlaces, AFolderMadeWhereALinkStandsByNowIsFoundInItsOwnPlace) {
  for (const char* name : {"/tree/a", "/elsewhere/new"}) fs::create_directories(own + name);
  EventCollector events({root});
  WatchService::shared().hold();
  fs::create_directory(root + "/a/new");
  fs::rename(root + "/a", root + "/c");
  fs::create_directory_symlink(own + "/elsewhere", root + "/a");
  WatchService::shared().goOn();
  ASSERT_TRUE(events.settle(root));
  touch(own + "/elsewhere/new/strange");
  touch(root + "/c/new/f");
  EXPECT_TRUE(events.waitFor(root + "/c/new/f"));
  EXPECT_FALSE(events.flags.contains(root + "/c/new/strange"));
  EXPECT_FALSE(events.flags.contains(root + "/a/new/strange"));
}

TEST_F(FSEventsPlaces, AFolderInThePlaceOfAnUnwatchedOneIsNewAlthoughItGetsAWatch) {
  for (const char* name : {"/tree/a", "/other/deep"}) fs::create_directories(own + name);
  for (const char* name : {"/other/f", "/other/deep/f"}) touch(own + name);
  ::usleep(100'000);  // dates are a few milliseconds coarse
  WatchService::shared().setLimit(wayToRoot());
  EventCollector events({root});
  ::usleep(100'000);
  WatchService::shared().setLimit(SIZE_MAX);
  exchange(own + "/other", root + "/a");
  EXPECT_TRUE(events.waitFor(root + "/a/f"));
  EXPECT_TRUE(events.waitFor(root + "/a/deep/f"));
}

// ---- Volumes

class Volume {
 public:
  explicit Volume(const std::string& path)
      : path_(path), mounted_(::mount("none", path.c_str(), "tmpfs", 0, nullptr) == 0) {}
  Volume(const Volume&) = delete;
  Volume& operator=(const Volume&) = delete;
  ~Volume() { unmount(); }

  bool isMounted() const { return mounted_; }
  void unmount() {
    if (std::exchange(mounted_, false)) ::umount(path_.c_str());
  }

 private:
  const std::string path_;
  bool mounted_;
};

TEST_F(FSEventsPlaces, WhatLiesUnderAVolumeIsReportedWhenItIsUnmounted) {
  fs::create_directories(root + "/sub/under");
  touch(root + "/sub/under/old");
  Volume volume(root + "/sub");
  if (!volume.isMounted()) GTEST_SKIP() << "mounting is not allowed here";
  fs::create_directories(root + "/sub/on/top");
  EventCollector events({root});
  volume.unmount();
  EXPECT_TRUE(events.waitFor(root + "/sub", kFSEventStreamEventFlagUnmount));
  EXPECT_TRUE(events.waitFor(root + "/sub/under/old", kCreated));
  touch(root + "/sub/under/new");
  EXPECT_TRUE(events.waitFor(root + "/sub/under/new"));
}

TEST_F(FSEventsPlaces, ARootOnAVolumeIsToldWhenItIsUnmounted) {
  fs::create_directory(root + "/sub");
  Volume volume(root + "/sub");
  if (!volume.isMounted()) GTEST_SKIP() << "mounting is not allowed here";
  fs::create_directory(root + "/sub/on");
  EventCollector events({root + "/sub/on"});
  volume.unmount();
  EXPECT_TRUE(events.waitFor(root + "/sub/on", kRootChanged));
  fs::create_directory(root + "/sub/on");
  touch(root + "/sub/on/file");
  EXPECT_TRUE(events.waitFor(root + "/sub/on/file"));
}

// ---- Permissions

// The whole process is nobody for a while: the reading thread is asked for permissions, too.
class AsNobody {
 public:
  explicit AsNobody(const std::string& folder) {
    if (::geteuid() != 0) return;
    constexpr auto kOpen = static_cast<fs::perms>(0055);  // the group stays
    for (fs::path above = folder; above.has_relative_path(); above = above.parent_path())
      if ((fs::status(above).permissions() & kOpen) != kOpen)
        fs::permissions(above, kOpen, fs::perm_options::add);
    for (const auto& entry : fs::recursive_directory_iterator(folder))
      EXPECT_EQ(::chown(entry.path().c_str(), kNobody, kNobody), 0);
    EXPECT_EQ(::chown(folder.c_str(), kNobody, kNobody), 0);
    EXPECT_EQ(::seteuid(kNobody), 0);
  }
  AsNobody(const AsNobody&) = delete;
  AsNobody& operator=(const AsNobody&) = delete;
  ~AsNobody() {
    if (::getuid() == 0) {
      EXPECT_EQ(::seteuid(0), 0);
    }
  }

 private:
  static constexpr uid_t kNobody = 65534;
};

TEST_F(FSEventsPlaces, WhatLiesInAFolderThatBecomesPassableIsWatched) {
  fs::create_directories(root + "/above/d/sub/deep");
  fs::create_directories(root + "/above/kept");
  touch(root + "/above/d/sub/old");
  const AsNobody nobody(own);
  ::chmod((root + "/above/d").c_str(), 0644);
  EventCollector events({root});
  ASSERT_TRUE(events.settle(root));
  ::chmod((root + "/above/d").c_str(), 0755);
  ASSERT_TRUE(events.settle(root));
  for (const char* name : {"/above/d/f", "/above/d/sub/f", "/above/d/sub/deep/f"}) {
    touch(root + name);
    EXPECT_TRUE(events.waitFor(root + name)) << name;
  }
  EXPECT_FALSE(events.flags.contains(root + "/above/d/sub/old"));  // it did not change
  EXPECT_FALSE(events.flags.contains(root + "/above/kept"));
}

TEST_F(FSEventsPlaces, ARootThatBecomesPassableIsWatchedWhole) {
  fs::create_directories(root + "/sub/deep");
  const AsNobody nobody(own);
  ::chmod(root.c_str(), 0644);
  EventCollector events({root});
  ::chmod(root.c_str(), 0755);
  ASSERT_TRUE(events.settle(root));
  touch(root + "/sub/deep/f");
  EXPECT_TRUE(events.waitFor(root + "/sub/deep/f"));
}

}  // namespace
