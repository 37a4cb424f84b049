#include "Orvane/OrvTimeTrack.h"

#include <chrono>
#include <string>
#include <thread>

#include "Platform/Foundation/Values/NSDate.h"
#include "Tests/Support/Capture.h"

using namespace orv;
using testing::HasSubstr;

namespace {

struct Tracked {
  double step;
  std::string console;
};

Tracked track(const NSString& name, const NSString& message) {
  Tracked result{};
  result.console = captureStandardError([&] { result.step = zxTimeTrack(name, message); });
  return result;
}

// By the clock of the stopwatches.
void waitSome() {
  const double end = CFAbsoluteTimeGetCurrent() + 0.031;
  while (CFAbsoluteTimeGetCurrent() < end) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

}  // namespace

TEST(OrvTimeTrack, TheFirstCallPrintsZeros) {
  const Tracked first = track("first", "begun");
  EXPECT_EQ(first.step, 0.0);
  EXPECT_THAT(first.console, HasSubstr("Time <first> [0.0000s of 0.0000s] begun\n"));
}

TEST(OrvTimeTrack, TheSecondCallPrintsStepAndTotalAlike) {
  const double begin = CFAbsoluteTimeGetCurrent();
  track("second", nil);
  waitSome();
  const Tracked step = track("second", "x");
  EXPECT_GE(step.step, 0.03);
  EXPECT_LE(step.step, CFAbsoluteTimeGetCurrent() - begin);
  const NSString both = NSString::stringWithFormat("Time <second> [%.4fs of %.4fs] x", step.step, step.step);
  EXPECT_THAT(step.console, HasSubstr(both.utf8()));
}

TEST(OrvTimeTrack, ANilMessageStartsAnew) {
  track("third", "begun");
  waitSome();
  const Tracked again = track("third", nil);
  EXPECT_EQ(again.step, 0.0);
  EXPECT_THAT(again.console, HasSubstr("Time <third> [0.0000s of 0.0000s] \n"));
}

TEST(OrvTimeTrack, NamesAreTimedApart) {
  track("a", nil);
  waitSome();
  EXPECT_EQ(track("b", "new").step, 0.0);
  EXPECT_GE(track("a", "old").step, 0.03);
}

TEST(OrvTimeTrack, ANilNameIsTheStopwatchMain) {
  track(nil, nil);
  waitSome();
  EXPECT_GE(track("main", "same").step, 0.03);
  EXPECT_THAT(track(nil, "x").console, HasSubstr("Time <(null)> ["));
}
