// What must not be lost: events that the kernel drops, folders that get no watch, and anything at all while a
// tree is turned upside down.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "Orvane/OrvLog.h"
#include "Platform/CoreServices/Detail/WatchService.h"
#include "Tests/CoreServices/EventCollector.h"
#include "Tests/Support/LogLines.h"
#include "Tests/Support/World.h"

using namespace orv;

namespace {

namespace fs = std::filesystem;
using detail::WatchService;
using Paths = std::set<std::string>;

constexpr uint32_t kDropped = kFSEventStreamEventFlagKernelDropped;
constexpr uint32_t kRemoved = kFSEventStreamEventFlagItemRemoved;
constexpr uint32_t kRenamed = kFSEventStreamEventFlagItemRenamed;

void touch(const std::string& path, const std::string& contents = "") { EventCollector::touch(path, contents); }

class FSEventsLoss : public testing::Test {
 protected:
  FSEventsLoss() : own(fs::canonical(testFolder()).string()), root(own + "/tree"), other(own + "/other") {
    fs::create_directory(root);
    fs::create_directory(other);
  }
  ~FSEventsLoss() override { WatchService::shared().setLimit(SIZE_MAX); }

  // Fills the kernel's queue while nobody reads it: from then on it drops events.
  void overflow() const {
    int kept = 16384;  // what the kernel keeps for us
    std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> kept;
    WatchService::shared().hold();
    for (int i = 0; i <= kept; ++i) ::chmod((root + (i % 2 ? "/x" : "/y")).c_str(), i % 4 < 2 ? 0600 : 0644);
  }
  // Files dated well before what follows: dates are a few milliseconds coarse.
  static void letTimePass() { ::usleep(100'000); }

  const std::string own;
  const std::string root;
  const std::string other;
};

// ---- Lost events

TEST_F(FSEventsLoss, WhatChangedWhileEventsWereDroppedIsReportedAndNothingElse) {
  for (const char* name : {"/x", "/y", "/kept", "/changed", "/removed", "/moved", "/touched"})
    touch(root + name);
  for (const char* name : {"/quiet/below", "/gone/below", "/one/below"}) fs::create_directories(root + name);
  touch(root + "/quiet/below/kept");
  touch(root + "/one/below/kept");
  letTimePass();
  EventCollector events({root});
  ASSERT_TRUE(events.settle(root));
  letTimePass();
  events.forget();
  const size_t before = WatchService::shared().numbers().comparisons;
  overflow();
  touch(root + "/changed", "more");
  fs::remove(root + "/removed");
  fs::rename(root + "/moved", root + "/quiet/moved");
  ::chmod((root + "/touched").c_str(), 0600);
  fs::remove_all(root + "/gone");
  fs::rename(root + "/one", root + "/quiet/two");
  fs::create_directories(root + "/new/below");
  touch(root + "/new/below/file");
  WatchService::shared().goOn();

  for (const char* name : {"/changed", "/quiet/moved", "/touched", "/new", "/new/below", "/new/below/file"})
    EXPECT_TRUE(events.waitFor(root + name)) << name;
  EXPECT_TRUE(events.waitFor(root, kDropped));  // entries were removed from it
  EXPECT_TRUE(events.waitFor(root + "/gone", kRemoved));
  EXPECT_TRUE(events.waitFor(root + "/gone/below", kRemoved));
  EXPECT_TRUE(events.waitFor(root + "/one", kRenamed));
  EXPECT_TRUE(events.waitFor(root + "/quiet/two", kRenamed));
  EXPECT_EQ(WatchService::shared().numbers().comparisons, before + 1);
  for (const char* name : {"/kept", "/quiet/below", "/quiet/below/kept", "/quiet/two/below"})
    EXPECT_FALSE(events.flags.contains(root + name)) << name;

  events.forget();
  touch(root + "/quiet/two/below/later");
  touch(root + "/new/below/later");
  EXPECT_TRUE(events.waitFor(root + "/quiet/two/below/later"));
  EXPECT_TRUE(events.waitFor(root + "/new/below/later"));
}

TEST_F(FSEventsLoss, ManyFilesInNewFoldersSurviveAFullQueue) {
  touch(root + "/x");
  touch(root + "/y");
  EventCollector events({root});
  overflow();
  Paths expected;
  for (int i = 0; i < 50; ++i) {
    const std::string folder = root + "/" + std::to_string(i);
    fs::create_directory(folder);
    for (int k = 0; k < 50; ++k) {
      const std::string file = folder + "/" + std::to_string(k);
      touch(file);
      expected.insert(file);
    }
  }
  WatchService::shared().goOn();
  EXPECT_TRUE(events.waitUntil([&] {
    std::erase_if(expected, [&](const std::string& path) { return events.flags.contains(path); });
    return expected.empty();
  })) << expected.size();
}

TEST_F(FSEventsLoss, ARootThatWentWhileEventsWereDroppedIsTold) {
  touch(root + "/x");
  touch(root + "/y");
  EventCollector events({root});
  overflow();
  fs::rename(root, own + "/elsewhere");
  fs::create_directory(root);
  touch(root + "/new");
  WatchService::shared().goOn();
  EXPECT_TRUE(events.waitFor(root, kFSEventStreamEventFlagRootChanged));
  EXPECT_TRUE(events.waitFor(root + "/new"));
}

TEST_F(FSEventsLoss, ABurstIsReadBeforeTheQueueIsFull) {
  const int count = kSanitized ? 5000 : 30000;
  EventCollector events({root});
  for (int i = 0; i < count; ++i) touch(root + "/" + std::to_string(i));
  EXPECT_TRUE(events.waitUntil([&] { return events.flags.size() >= static_cast<size_t>(count); }));
}

// ---- Folders without a watch

TEST_F(FSEventsLoss, WithoutWatchesFoldersAreLookedThroughAndOneWarningIsLogged) {
  for (int i = 0; i < 10; ++i) fs::create_directories(root + "/" + std::to_string(i) + "/below");
  touch(root + "/5/below/old");
  touch(root + "/5/below/quiet");
  letTimePass();
  LogLines lines;
  WatchService::shared().setLimit(8);
  EventCollector events({root});
  ASSERT_TRUE(events.started);
  EXPECT_LE(WatchService::shared().numbers().watches, 8u);
  EXPECT_GE(WatchService::shared().numbers().polled, 15u);
  for (int i = 0; i < 10; ++i) touch(root + "/" + std::to_string(i) + "/below/new");
  touch(root + "/5/below/old", "more");
  fs::create_directories(root + "/7/below/made/deep");
  touch(root + "/7/below/made/deep/file");
  fs::create_directories(root + "/made/deep");
  touch(root + "/made/deep/file");
  for (int i = 0; i < 10; ++i) EXPECT_TRUE(events.waitFor(root + "/" + std::to_string(i) + "/below/new")) << i;
  EXPECT_TRUE(events.waitFor(root + "/5/below/old"));
  EXPECT_TRUE(events.waitFor(root + "/7/below/made/deep/file"));
  EXPECT_TRUE(events.waitFor(root + "/made/deep/file"));
  EXPECT_FALSE(events.flags.contains(root + "/5/below/quiet"));
  fs::remove_all(root + "/7/below");
  EXPECT_TRUE(events.waitFor(root + "/7/below", kRemoved));
  const std::vector<std::string> warnings = lines.takeMessages(OrvLogLevelWarning);
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_NE(warnings[0].find("fs.inotify.max_user_watches"), std::string::npos);
}

TEST_F(FSEventsLoss, AFolderThatTakesAnothersPlaceIsReportedWhole) {
  fs::create_directories(root + "/a/b/c");
  fs::create_directories(other + "/c");
  touch(other + "/c/file");
  letTimePass();
  WatchService::shared().setLimit(0);
  EventCollector events({root});
  letTimePass();
  fs::rename(root + "/a/b/c", other + "/old");
  fs::rename(other + "/c", root + "/a/b/c");
  EXPECT_TRUE(events.waitFor(root + "/a/b/c/file"));
}

TEST_F(FSEventsLoss, WatchesAreTakenAsSoonAsThereAreSome) {
  for (int i = 0; i < 10; ++i) fs::create_directories(root + "/" + std::to_string(i) + "/below");
  WatchService::shared().setLimit(3);
  EventCollector events({root});
  WatchService::shared().setLimit(SIZE_MAX);
  EXPECT_TRUE(events.waitUntil([&] {
    touch(root + "/3/below/tick", "x");
    return WatchService::shared().numbers().polled == 0;
  }));
  events.forget();
  touch(root + "/8/below/file");
  EXPECT_TRUE(events.waitFor(root + "/8/below/file"));
}

TEST_F(FSEventsLoss, AMissingRootIsFoundWithoutWatches) {
  WatchService::shared().setLimit(0);
  EventCollector events({root + "/a/b"});
  fs::create_directories(root + "/a/b");
  touch(root + "/a/b/file");
  EXPECT_TRUE(events.waitFor(root + "/a/b/file"));
}

// ---- Everything at once

// Random operations on a tree. Each file's last change is remembered as the moment of the operation; a batch
// covers a path when it arrives later than that.
class Soak {
 public:
  Soak(std::string root, std::string other, uint64_t seed)
      : root_(std::move(root)), other_(std::move(other)), random_(seed) {}

  void step() {
    switch (pick(14)) {
      case 0:
      case 1:
      case 2: return write(folder() + "/" + name());
      case 3:
      case 4: return change();
      case 5: return void(fs::create_directory(folder() + "/" + name(), error_));
      case 6: return fill(folder() + "/" + name(), 3);
      case 7: return renameFile();
      case 8: return renameFolder(folder());
      case 9: return removeFile();
      case 10: return removeFolder();
      case 11: return renameFolder(other_);
      case 12: return exchange();
      default: return moveIn();
    }
  }

 private:
  size_t pick(size_t count) { return random_() % count; }
  std::string name() { return std::string(1, static_cast<char>('a' + pick(8))) + std::to_string(pick(6)); }

  std::string any(bool folders) {
    std::vector<std::string> found;
    for (fs::recursive_directory_iterator at(root_, error_), end; at != end && !error_; at.increment(error_))
      if (at->is_directory(error_) == folders) found.push_back(at->path().string());
    if (found.empty()) return root_;
    return found[pick(found.size())];
  }
  std::string folder() { return pick(6) == 0 ? root_ : any(true); }
  std::string file() { return any(false); }

  void write(const std::string& path) {
    if (!fs::is_directory(path, error_)) touch(path, "x");
  }
  void change() {
    const std::string path = file();
    if (path != root_) pick(2) ? touch(path, "more") : void(::chmod(path.c_str(), pick(2) ? 0600 : 0644));
  }
  void fill(const std::string& path, int levels) {
    fs::create_directory(path, error_);
    for (int i = 0; i < 3; ++i) touch(path + "/f" + std::to_string(i), "x");
    if (levels > 0) fill(path + "/deep", levels - 1);
  }
  void renameFile() {
    const std::string from = file();
    const std::string to = folder() + "/" + name();
    if (from != root_ && !fs::is_directory(to, error_)) fs::rename(from, to, error_);
  }
  void renameFolder(const std::string& into) {
    const std::string from = any(true);
    if (from != root_) fs::rename(from, into + "/" + name(), error_);
  }
  void exchange() {
    const std::string from = any(true);
    const std::string to = any(pick(4) > 0);
    if (from != root_ && to != root_)
      ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_EXCHANGE);
  }
  void removeFile() {
    const std::string path = file();
    if (path != root_) fs::remove(path, error_);
  }
  void removeFolder() {
    const std::string path = any(true);
    if (path != root_ && pick(2)) fs::remove_all(path, error_);
  }
  void moveIn() {
    const std::string from = other_ + "/" + name();
    if (!fs::exists(from, error_)) fill(from, 2);
    fs::rename(from, folder() + "/" + name(), error_);
  }

  const std::string root_;
  const std::string other_;
  std::mt19937_64 random_;
  std::error_code error_;
};

// What one who keeps a copy of the tree by the events alone believes to be there: for each path the state of
// the item when it was looked at last. A renamed folder takes along what was known below it.
class Mirror {
 public:
  struct State {
    ino_t inode;
    timespec changed;
    bool isFolder;
    bool operator==(const State& other) const {
      return inode == other.inode && changed.tv_sec == other.changed.tv_sec &&
             changed.tv_nsec == other.changed.tv_nsec;
    }
  };

  static bool read(const std::string& path, State& state) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) return false;
    state = {info.st_ino, info.st_ctim, S_ISDIR(info.st_mode)};
    return true;
  }

  void look(const std::string& path) {
    State state;
    if (read(path, state)) states_[state.inode] = state;
  }

  // The files that are there and were not told of after their last change.
  std::vector<std::string> missed(const std::string& root) const {
    std::vector<std::string> result;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
      State state;
      if (!read(entry.path().string(), state) || state.isFolder) continue;
      const auto known = states_.find(state.inode);
      if (known == states_.end() || !(known->second == state)) result.push_back(entry.path().string());
    }
    return result;
  }

 private:
  std::map<ino_t, State> states_;
};

double soakSeconds() {
  const char* const text = std::getenv("ORVANE_STRESS_SECONDS");
  return text ? std::atof(text) : 5;
}

// The first round's; a failed test names its own.
uint64_t firstSeed() {
  const char* const text = std::getenv("ORVANE_SOAK_SEED");
  return text ? std::strtoull(text, nullptr, 10) : 1;
}

class FSEventsSoak : public FSEventsLoss {
 protected:
  using Work = std::function<void(Soak&)>;

  // Nobody may have become blind: each folder is heard of once more.
  void touchEverywhere() const {
    std::vector<std::string> folders = {root};
    for (const auto& entry : fs::recursive_directory_iterator(root))
      if (entry.is_directory() && !entry.is_symlink()) folders.push_back(entry.path().string());
    for (const std::string& folder : folders) touch(folder + "/last", "x");
  }

  // Rounds of a few hundred steps, each followed by a comparison of what was told with what is there.
  void run(double seconds, const Work& work) {
    EventCollector events({root}, 0.02);
    Mirror mirror;
    events.onBatch = [&] {
      for (const auto& event : events.batches.back()) mirror.look(event.path);
    };
    const auto ends = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    for (uint64_t seed = firstSeed(); std::chrono::steady_clock::now() < ends; ++seed) {
      Soak soak(root, other, seed);
      work(soak);
      ASSERT_TRUE(events.settle(root));
      touchEverywhere();
      const bool complete = events.waitUntil([&] { return mirror.missed(root).empty(); });
      ASSERT_TRUE(complete) << "seed " << seed << ": " << mirror.missed(root).front();
      for (const auto& entry : fs::directory_iterator(root)) fs::remove_all(entry.path());
      for (const auto& entry : fs::directory_iterator(other)) fs::remove_all(entry.path());
      events.forget();
    }
  }

  static void steps(Soak& soak, int count) {
    for (int i = 0; i < count; ++i) {
      soak.step();
      if (i % 10 == 0) NSRunLoop::currentRunLoop()->runUntilDate(nil);
    }
  }
};

TEST_F(FSEventsSoak, EveryFileIsReportedAfterItsLastChangeWhateverHappens) {
  run(soakSeconds(), [](Soak& soak) { steps(soak, 300); });
}

TEST_F(FSEventsSoak, EveryFileIsReportedAlthoughEventsAreDropped) {
  run(soakSeconds() / 2, [this](Soak& soak) {
    steps(soak, 100);
    touch(root + "/x");
    touch(root + "/y");
    overflow();
    steps(soak, 100);
    WatchService::shared().goOn();
    steps(soak, 50);
  });
}

TEST_F(FSEventsSoak, EveryFileIsReportedAlthoughWatchesAreShort) {
  WatchService::shared().setLimit(10);
  run(soakSeconds() / 2, [](Soak& soak) { steps(soak, 200); });
}

}  // namespace
