#include "Platform/Foundation/Threads/NSThread.h"

#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <regex>
#include <thread>
#include <vector>

#include "Platform/Foundation/System/NSBundle.h"
#include "Platform/Foundation/System/NSProcessInfo.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Tests/Support/World.h"

using namespace orv;

namespace {

template <class F>
void onThread(F f) {
  std::thread(f).join();
}

}  // namespace

__attribute__((visibility("default"), noinline)) NSArray stackFromNamedFunction() {
  NSArray lines = NSThread::callStackSymbols();
  return lines;
}

TEST(NSThread, TheFirstThreadIsTheMainThread) {
  EXPECT_TRUE(NSThread::isMainThread());
  onThread([] { EXPECT_FALSE(NSThread::isMainThread()); });
}

TEST(NSThread, NumbersAreStableAndDiffer) {
  EXPECT_EQ(NSThread::currentThreadNumber(), 1u);
  NSUInteger first = 0;
  NSUInteger second = 0;
  onThread([&] {
    first = NSThread::currentThreadNumber();
    EXPECT_EQ(NSThread::currentThreadNumber(), first);
  });
  onThread([&] { second = NSThread::currentThreadNumber(); });
  EXPECT_GT(first, 1u);
  EXPECT_GT(second, first);
}

TEST(NSThread, NamesBelongToTheThread) {
  EXPECT_EQ(NSThread::currentThreadName(), "main");
  onThread([] {
    EXPECT_EQ(NSThread::currentThreadName(), "");
    NSThread::setCurrentThreadName("a name beyond fifteen bytes");
    EXPECT_EQ(NSThread::currentThreadName(), "a name beyond fifteen bytes");
    NSThread::setCurrentThreadName(nil);
    EXPECT_EQ(NSThread::currentThreadName(), "");
  });
  EXPECT_EQ(NSThread::currentThreadName(), "main");
}

TEST(NSThread, WorkersShowTheEndOfTheirLabel) {
  onThread([] {
    const std::pair<const char*, const char*> cases[] = {{"short", "short"},
                                                         {"org.orvane.OrvQueue.0123456789", "OrvQueue.012345"},
                                                         {"a.label.of.fifteen", "of.fifteen"},
                                                         {"one-long-word-without-dots", "one-long-word-w"},
                                                         {"", ""}};
    for (const auto& [label, shown] : cases) {
      NSThread::setWorkerName(label);
      char name[16] = "";
      ::pthread_getname_np(::pthread_self(), name, sizeof name);
      EXPECT_STREQ(name, shown);
      EXPECT_EQ(NSThread::currentThreadName(), label);
    }
  });
}

TEST(NSThread, StackLinesHaveTheirForm) {
  const NSArray lines = stackFromNamedFunction();
  ASSERT_GE(lines.count(), 3u);
  const std::regex form("(\\d+) +(\\S+) +0x[0-9a-f]{16} (.+) \\+ (\\d+)");
  for (NSUInteger i = 0; i < lines.count(); ++i) {
    const std::string line = lines[i].as<NSString>().utf8();
    std::smatch match;
    ASSERT_TRUE(std::regex_match(line, match, form)) << line;
    EXPECT_EQ(match[1], std::to_string(i));
    EXPECT_EQ(line.substr(0, 4), (std::to_string(i) + "   ").substr(0, 4));
    EXPECT_EQ(line.find(" 0x"), std::max<size_t>(39, 4 + static_cast<size_t>(match[2].length()))) << line;
  }
}

TEST(NSThread, TheFirstFrameIsTheCaller) {
  const std::string line = stackFromNamedFunction()[0].as<NSString>().utf8();
  EXPECT_THAT(line, testing::StartsWith("0   NSThreadTest "));
  // An executable shows its own symbols only when it exports them.
  EXPECT_TRUE(line.find("stackFromNamedFunction") != std::string::npos || line.find(" 0x") != line.rfind(" 0x"))
      << line;
}

TEST(NSThread, FramesOfSharedLibrariesAreNamed) {
  NSArray lines;
  onThread([&] { lines = NSThread::callStackSymbols(); });
  const std::string last = lines.lastObject().as<NSString>().utf8();
  EXPECT_THAT(last, testing::HasSubstr("libc.so.6 "));
}

TEST(NSThread, TheThreadThatForksIsTheMainThreadOfTheChild) {
  int status = -1;
  std::thread([&] {
    EXPECT_FALSE(NSThread::isMainThread());
    const pid_t child = ::fork();
    if (child == 0) ::_exit(NSThread::isMainThread() ? 0 : 1);
    ::waitpid(child, &status, 0);
    EXPECT_FALSE(NSThread::isMainThread());
  }).join();
  EXPECT_EQ(status, 0);
}

TEST(NSThread, AForkedChildOfABusyProcessKnowsItsNamesAndItsBundle) {
  if (kSanitized) GTEST_SKIP() << "the sanitizers' own allocators do not survive a fork among busy threads";
  // Made before the forks: a child cannot finish what another thread was only beginning to make.
  NSProcessInfo::processInfo()->processName();
  NSBundle::mainBundle()->infoDictionary();
  std::atomic<bool> done = false;
  std::vector<std::thread> busy;
  for (int i = 0; i < 3; ++i)
    busy.emplace_back([&] {
      while (!done) {
        NSProcessInfo::processInfo()->processName();
        NSBundle::mainBundle()->infoDictionary();
      }
    });
  for (int i = 0; i < 300; ++i) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::alarm(30);  // ends a child that waits for a lock
      const bool known =
          NSProcessInfo::processInfo()->processName() && NSBundle::mainBundle()->infoDictionary();
      ::_exit(known ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    if (status != 0) break;
  }
  done = true;
  for (std::thread& each : busy) each.join();
}
