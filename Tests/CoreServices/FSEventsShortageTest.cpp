// Streams of a process that is short of descriptors, was forked, or whose threads end.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <thread>
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

// Takes all descriptors that the process may have.
class NoDescriptors {
 public:
  NoDescriptors() {
    ::getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit few{64, before_.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &few);
    for (int taken; (taken = ::open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0;) taken_.push_back(taken);
  }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;
  ~NoDescriptors() {
    for (const int each : taken_) ::close(each);
    ::setrlimit(RLIMIT_NOFILE, &before_);
  }

 private:
  rlimit before_{};
  std::vector<int> taken_;
};

void ignore(ConstFSEventStreamRef, void*, size_t, void*, const uint32_t*, const uint64_t*) {}

class FSEventsShortage : public testing::Test {
 protected:
  FSEventsShortage() : root(fs::canonical(testFolder()).string()) { NSRunLoop::currentRunLoop(); }

  // Runs a program part in a forked child: whether it answered true in time.
  template <class Part>
  static bool inChild(const Part& part) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::alarm(120);
      ::_exit(part() ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return status == 0;
  }

  const std::string root;
};

// In a child, whose service has no thread yet.
TEST_F(FSEventsShortage, WithoutAnyDescriptorAStreamDoesNotStartAndStartsLater) {
  if (kSanitized) GTEST_SKIP() << "the sanitizer's own checks need descriptors";
  EXPECT_TRUE(inChild([&] {
    FSEventStreamRef stream = FSEventStreamCreate(ignore, nullptr, {root}, kFSEventStreamEventIdSinceNow, 0, 0);
    FSEventStreamScheduleWithRunLoop(stream, NSRunLoop::currentRunLoop(), NSDefaultRunLoopMode);
    {
      const NoDescriptors none;
      if (FSEventStreamStart(stream)) return false;
      FSEventStreamStop(stream);
    }
    return FSEventStreamStart(stream);
  }));
}

TEST_F(FSEventsShortage, AnInstanceIsTakenAsSoonAsThereIsOne) {
  if (kSanitized) GTEST_SKIP() << "the sanitizer's own checks need descriptors";
  fs::create_directories(root + "/a/b");
  WatchService::shared().numbers();  // its thread runs
  LogLines lines;
  std::unique_ptr<EventCollector> events;
  {
    const NoDescriptors none;
    events = std::make_unique<EventCollector>(std::vector<std::string>{root});
    ASSERT_TRUE(events->started);
    EXPECT_EQ(WatchService::shared().numbers().watches, 0u);
  }
  EXPECT_TRUE(events->waitUntil([&] {
    EventCollector::touch(root + "/tick", "x");
    const auto numbers = WatchService::shared().numbers();
    return numbers.watches > 0 && numbers.polled == 0;
  }));
  EXPECT_TRUE(events->settle(root));
  EventCollector::touch(root + "/a/b/file");
  EXPECT_TRUE(events->waitFor(root + "/a/b/file"));
  const std::vector<std::string> warnings = lines.takeMessages(OrvLogLevelWarning);
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_NE(warnings[0].find("fs.inotify.max_user_instances"), std::string::npos) << warnings[0];
}

TEST_F(FSEventsShortage, AForkedChildHasStreamsOfItsOwn) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the thread sanitizer allows no threads in forked children";
#endif
  EventCollector events({root});
  ASSERT_TRUE(events.settle(root));
  EXPECT_TRUE(inChild([&] {
    FSEventStreamStop(events.stream);  // the parent's: nothing of it is here
    EventCollector own({root});
    return own.started && own.settle(root);
  }));
  EXPECT_TRUE(events.settle(root));
}

TEST_F(FSEventsShortage, WhatWaitsForALoopThatHasEndedIsDropped) {
  FSEventStreamRef stream = nullptr;
  std::thread([&] {
    stream = FSEventStreamCreate(ignore, nullptr, {root}, kFSEventStreamEventIdSinceNow, 0.01,
                                 kFSEventStreamCreateFlagFileEvents);
    FSEventStreamScheduleWithRunLoop(stream, NSRunLoop::currentRunLoop(), NSDefaultRunLoopMode);
    EXPECT_TRUE(FSEventStreamStart(stream));
    EventCollector::touch(root + "/one");
    ::usleep(200'000);  // a batch is offered and not taken
  }).join();
  EventCollector events({root}, 0.01);
  for (int i = 0; i < 500; ++i) EventCollector::touch(root + "/" + std::to_string(i));
  EXPECT_TRUE(events.settle(root));
  EXPECT_TRUE(events.waitUntil([] {
    ::usleep(10'000);
    return WatchService::shared().numbers().waiting == 0;
  }));
  FSEventStreamRelease(stream);
}

}  // namespace
