#include "Platform/Foundation/System/NSConsole.h"

#include <unistd.h>

#include <regex>

#include "Platform/Foundation/System/NSProcessInfo.h"

using namespace orv;

TEST(NSConsole, WritesOneLineWithTimeProcessAndThread) {
  testing::internal::CaptureStderr();
  NSLog("%@ has %d items", "shelf \u00e9", 3);
  const std::string line = testing::internal::GetCapturedStderr();
  const std::string ids = "\\[" + std::to_string(::getpid()) + ":" + std::to_string(::gettid()) + "\\]";
  EXPECT_TRUE(
      std::regex_match(line, std::regex("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} NSConsoleTest" +
                                        ids + " shelf \u00e9 has 3 items\n")))
      << line;
}

TEST(NSConsole, UsesTheNameThatWasSet) {
  NSProcessInfo::processInfo()->setProcessName("shelf");
  testing::internal::CaptureStderr();
  detail::consoleWrite(nil);
  EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr(" shelf["));
  NSProcessInfo::processInfo()->setProcessName(nil);
}

TEST(NSConsole, PercentSignsInAMessageAreText) {
  testing::internal::CaptureStderr();
  detail::consoleWrite("100%s %n");
  EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("] 100%s %n\n"));
}

TEST(NSConsole, KeepsErrno) {
  testing::internal::CaptureStderr();
  errno = 77;
  detail::consoleWrite("x");
  EXPECT_EQ(errno, 77);
  testing::internal::GetCapturedStderr();
}

namespace {
struct Late {
  ~Late() { detail::consoleWrite("said while static objects are destroyed"); }
} late;
}  // namespace
