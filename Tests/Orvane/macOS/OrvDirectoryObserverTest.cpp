#include "Orvane/macOS/OrvDirectoryObserver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "Orvane/OrvLog.h"
#include "Platform/CoreServices/Detail/WatchService.h"
#include "Platform/Foundation/Values/NSNull.h"
#include "Platform/Foundation/Values/NSURL.h"
#include "Tests/Support/LogLines.h"
#include "Tests/Support/World.h"

using namespace orv;

namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

constexpr double kLimit = 30;  // seconds

class OrvDirectoryObserverTest : public testing::Test {
 protected:
  OrvDirectoryObserverTest()
      : own(fs::canonical(testFolder()).string()),
        observer(OrvDirectoryObserver::initWithCallback([this](const NSArray& paths) { collect(paths); })) {
    fs::create_directory(own + "/a");
    fs::create_directory(own + "/b");
  }

  void collect(const NSArray& paths) {
    Texts batch;
    for (const Value& path : paths) {
      batch.push_back(path.as<NSString>().fileSystemRepresentation());
      seen.insert(batch.back());
    }
    batches.push_back(batch);
    if (onBatch) onBatch();
  }

  template <class Done>
  static bool waitUntil(const Done& done) {
    const NSDate limit = NSDate::dateWithTimeIntervalSinceNow(kLimit);
    while (!done() && limit.timeIntervalSinceNow() > 0)
      NSRunLoop::currentRunLoop()->runMode(NSDefaultRunLoopMode, limit);
    return done();
  }
  bool waitFor(const std::string& path) {
    return waitUntil([&] { return seen.contains(path); });
  }

  std::string write(const std::string& name, const std::string& contents = "x") const {
    std::ofstream(own + "/" + name) << contents;
    return own + "/" + name;
  }
  NSString text(const std::string& name) const { return NSString(own + "/" + name); }

  const std::string own;
  Ref<OrvDirectoryObserver> observer;
  std::vector<Texts> batches;
  std::set<std::string> seen;
  std::function<void()> onBatch;
};

Texts messages(LogLines& lines) {
  Texts result;
  for (const auto& line : lines.take()) result.push_back(line.message);
  return result;
}

TEST_F(OrvDirectoryObserverTest, ANewOneWatchesNothing) {
  EXPECT_EQ(observer->eventStream(), nullptr);
  EXPECT_EQ(observer->observedDirectories().count(), 0u);
  EXPECT_TRUE(batches.empty());
}

TEST_F(OrvDirectoryObserverTest, FilesThatAreThereAreHandedOverBeforeTheCallReturns) {
  const std::string one = write("a/1.txt");
  const std::string two = write("a/2.txt");
  LogLines lines;
  observer->observeDirectories({text("a")});
  ASSERT_EQ(batches.size(), 1u);
  EXPECT_EQ(batches[0], (Texts{one, two}));
  ASSERT_NE(observer->eventStream(), nullptr);
  const std::string folder = own + "/a";
  const std::string set = observer->observedDirectories().description().utf8();
  const Texts logged = messages(lines);
  EXPECT_EQ(std::count(logged.begin(), logged.end(), "Forced check of " + folder + ", found 2 entries."), 1);
  EXPECT_EQ(std::count(logged.begin(), logged.end(), "File Tracker: Start observing " + set), 1);
  ASSERT_FALSE(logged.empty());
  EXPECT_EQ(logged.back(), "File Tracker: Successfully started observing... " + set);
}

TEST_F(OrvDirectoryObserverTest, HiddenFilesAloneGiveNoCall) {
  write("a/.hidden");
  write("a/Icon");
  fs::create_directories(own + "/a/.folder");
  write("a/.folder/file");
  observer->observeDirectories({text("a")});
  EXPECT_TRUE(batches.empty());
  EXPECT_NE(observer->eventStream(), nullptr);
}

TEST_F(OrvDirectoryObserverTest, EachFolderIsCheckedForItselfInTheirOrder) {
  const std::string inB = write("b/file");
  const std::string inA = write("a/file");
  observer->observeDirectories({text("b"), text("a")});
  EXPECT_EQ(batches, (std::vector<Texts>{{inB}, {inA}}));
}

TEST_F(OrvDirectoryObserverTest, FileURLsAndStringsAreTakenAndTheRestIsDropped) {
  observer->observeDirectories({NSURL::fileURLWithPath(text("a"), true), text("b"), 7, NSNull::null(),
                                NSURL::URLWithString("https://example.org/"), NSArray{1}});
  EXPECT_EQ(observer->observedDirectories(), (NSSet{text("a"), text("b")}));
}

TEST_F(OrvDirectoryObserverTest, OnlyWrongElementsLeaveNoStream) {
  observer->observeDirectories({1, NSNull::null()});
  EXPECT_EQ(observer->eventStream(), nullptr);
}

TEST_F(OrvDirectoryObserverTest, AnEmptyPathIsNoFolder) {
  observer->observeDirectories({""});
  EXPECT_EQ(observer->observedDirectories().count(), 0u);
  EXPECT_EQ(observer->eventStream(), nullptr);
  observer->observedDirectories().addObject("");
  observer->refresh();
  EXPECT_EQ(observer->eventStream(), nullptr);
  EXPECT_TRUE(batches.empty());
}

TEST_F(OrvDirectoryObserverTest, NewFilesAreHandedOverOnTheRunLoop) {
  observer->observeDirectories({text("a")});
  detail::WatchService::shared().hold();  // all of it is found at once, however long it takes
  fs::create_directories(own + "/a/deep/deeper");
  const std::string file = write("a/deep/deeper/file");
  detail::WatchService::shared().goOn();
  ASSERT_TRUE(waitFor(file));
  EXPECT_TRUE(seen.contains(own + "/a/deep"));  // folders can be read, too
  EXPECT_EQ(batches.size(), 1u);
}

TEST_F(OrvDirectoryObserverTest, ARemovalIsAnEmptyArray) {
  const std::string file = write("a/file");
  observer->observeDirectories({text("a")});
  batches.clear();
  fs::remove(file);
  ASSERT_TRUE(waitUntil([&] { return !batches.empty(); }));
  EXPECT_EQ(batches, (std::vector<Texts>{{}}));
}

TEST_F(OrvDirectoryObserverTest, TheLogTellsWhatArrivedBeforeItIsFiltered) {
  const std::string file = write("a/file");
  observer->observeDirectories({text("a")});
  LogLines lines;
  batches.clear();
  fs::remove(file);
  ASSERT_TRUE(waitUntil([&] { return !batches.empty(); }));
  const std::string paths = NSArray{NSString(file)}.description().utf8();
  const std::string set = observer->observedDirectories().description().utf8();
  EXPECT_EQ(messages(lines), (Texts{"!!! File changed " + paths,
                                    "File Tracker: Valid file changes in " + paths + "; observed " + set}));
}

TEST_F(OrvDirectoryObserverTest, OnlyReadablePathsPassInTheirOrder) {
  const std::string one = write("a/1");
  const std::string two = write("a/2");
  observer->fileChanges({NSString(two), NSString(own + "/missing"), NSString(one), 7, text("a")});
  EXPECT_EQ(batches, (std::vector<Texts>{{two, one, own + "/a"}}));
  observer->fileChanges(NSArray{});
  EXPECT_EQ(batches.back(), Texts{});
}

TEST_F(OrvDirectoryObserverTest, StoppingLeavesNoStreamAndSaysSo) {
  observer->observeDirectories({text("a")});
  LogLines lines;
  observer->stopObservingDirectories();
  EXPECT_EQ(messages(lines),
            (Texts{"File Tracker: Stop observing", "File Tracker: No need to start new observer right now"}));
  EXPECT_EQ(observer->eventStream(), nullptr);
  EXPECT_EQ(observer->observedDirectories().count(), 0u);
  observer->observeDirectories({});
  EXPECT_EQ(messages(lines), (Texts{"File Tracker: No need to start new observer right now"}));
  observer->observeDirectories(nil);
  EXPECT_EQ(observer->eventStream(), nullptr);
}

TEST_F(OrvDirectoryObserverTest, OtherFoldersReplaceTheFirst) {
  observer->observeDirectories({text("a")});
  observer->observeDirectories({text("b")});
  write("a/unseen");
  const std::string file = write("b/seen");
  ASSERT_TRUE(waitFor(file));
  EXPECT_FALSE(seen.contains(own + "/a/unseen"));
}

TEST_F(OrvDirectoryObserverTest, RefreshTakesUpChangesOfTheSet) {
  const std::string file = write("b/file");
  observer->observeDirectories({text("a")});
  observer->observedDirectories().addObject(text("b"));
  observer->refresh();
  EXPECT_EQ(batches, (std::vector<Texts>{{file}}));
  const std::string later = write("b/later");
  ASSERT_TRUE(waitFor(later));
}

TEST_F(OrvDirectoryObserverTest, AMissingFolderIsReportedWhenItAppears) {
  observer->observeDirectories({text("missing")});
  EXPECT_TRUE(batches.empty());
  ASSERT_NE(observer->eventStream(), nullptr);
  fs::create_directory(own + "/missing");
  const std::string file = write("missing/file");
  ASSERT_TRUE(waitFor(file));
}

TEST_F(OrvDirectoryObserverTest, WithoutACallbackChangesAreOnlyLogged) {
  const auto silent = OrvDirectoryObserver::initWithCallback(nullptr);
  write("a/file");
  LogLines lines;
  silent->observeDirectories({text("a")});
  EXPECT_NE(silent->eventStream(), nullptr);
  EXPECT_EQ(messages(lines).size(), 4u);
}

TEST_F(OrvDirectoryObserverTest, ItMayBeDroppedInItsCallback) {
  observer->observeDirectories({text("a")});
  const WeakRef<OrvDirectoryObserver> weak(observer);
  onBatch = [&] { observer = nil; };
  write("a/file");
  ASSERT_TRUE(waitUntil([&] { return !batches.empty(); }));
  EXPECT_TRUE(weak.lock().isNil());
  write("a/second");
  const auto witness = OrvDirectoryObserver::initWithCallback([&](const NSArray&) { seen.insert("witness"); });
  witness->observeDirectories({text("b")});
  write("b/file");
  ASSERT_TRUE(waitFor("witness"));
  EXPECT_EQ(batches.size(), 1u);
}

TEST_F(OrvDirectoryObserverTest, ItMayBeDroppedDuringTheForcedCheck) {
  write("a/file");
  write("b/file");
  onBatch = [&] { observer = nil; };
  const WeakRef<OrvDirectoryObserver> weak(observer);
  observer->observeDirectories({text("a"), text("b")});
  EXPECT_TRUE(weak.lock().isNil());
}

TEST_F(OrvDirectoryObserverTest, TheCallbackMaySetOtherFolders) {
  write("a/file");
  const std::string inB = write("b/file");
  onBatch = [&] {
    onBatch = nullptr;
    observer->observeDirectories({text("b")});
  };
  observer->observeDirectories({text("a")});
  EXPECT_EQ(batches.back(), Texts{inB});
  EXPECT_EQ(observer->observedDirectories(), NSSet{text("b")});
  const std::string later = write("b/later");
  ASSERT_TRUE(waitFor(later));
}

TEST_F(OrvDirectoryObserverTest, TheCallbackMayStop) {
  write("a/file");
  onBatch = [&] { observer->stopObservingDirectories(); };
  observer->observeDirectories({text("a")});
  EXPECT_EQ(observer->eventStream(), nullptr);
}

TEST_F(OrvDirectoryObserverTest, TheStreamsCallbackTakesOnlyObserversAndOnlyEvents) {
  const std::string file = write("a/file");
  NSArray paths{NSString(file)};
  LogLines lines;
  FSEventCallback(nullptr, static_cast<NSObject*>(observer.get()), 0, &paths, nullptr, nullptr);
  EXPECT_TRUE(lines.take().empty());
  FSEventCallback(nullptr, static_cast<NSObject*>(observer.get()), 1, &paths, nullptr, nullptr);
  EXPECT_EQ(batches, (std::vector<Texts>{{file}}));
  const auto other = make<NSObject>();
  FSEventCallback(nullptr, other.get(), 1, &paths, nullptr, nullptr);
  FSEventCallback(nullptr, nullptr, 1, &paths, nullptr, nullptr);
  EXPECT_EQ(batches.size(), 1u);
}

}  // namespace
