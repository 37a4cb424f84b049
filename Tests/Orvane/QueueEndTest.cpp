// What happens to work on queues when the process ends, seen from outside.

#include <chrono>

#include "Tests/Support/Process.h"
#include "Tests/Support/World.h"

using testing::HasSubstr;
using testing::Not;

namespace {

ProcessResult end(const char* way) {
  Command command;
  command.program = QUEUE_END_PROGRAM;
  command.arguments = {way};
  command.limit = std::chrono::milliseconds(120000);
  return runProcess(command);
}

}  // namespace

TEST(QueueEnd, AcceptedBlocksRunOnAllQueues) {
  const ProcessResult result = end("accepted");
  EXPECT_EQ(result.exitStatus, 0) << result.error;
  EXPECT_THAT(result.output, HasSubstr("ran 12000"));
}

TEST(QueueEnd, BlocksForTheMainThreadRunThough) {
  const ProcessResult result = end("mainQueue");
  EXPECT_EQ(result.exitStatus, 0) << result.error;
  EXPECT_THAT(result.output, HasSubstr("on main 100\nwaited\n"));
}

TEST(QueueEnd, WorkSubmittedAfterTheEndNeitherCrashesNorHangs) {
  for (const char* way : {"late", "lateBehindThePool"}) {
    const ProcessResult result = end(way);
    EXPECT_EQ(result.exitStatus, 0) << way << result.error;
    EXPECT_FALSE(result.timedOut) << way;
    EXPECT_THAT(result.output,
                HasSubstr("late sync ran\nlate operation ran\nlate recursive ran\nlate main ran\n"))
        << way;
  }
}

TEST(QueueEnd, AForkedChildRunsNothingOfItsParents) {
  const ProcessResult result = end("forked");
  EXPECT_EQ(result.exitStatus, 0) << result.error;
  EXPECT_EQ(result.output, "behind\nmain returned\nmain\n");
}

TEST(QueueEnd, WorkWaitsForThreadsThatTheSystemRefuses) {
  const ProcessResult few = end("fewThreads");
  EXPECT_EQ(few.output, "ran later\nmain returned\n") << few.error;
  const ProcessResult none = end("noThreads");
  EXPECT_EQ(none.output, "main returned\nran at the end\n") << none.error;
  EXPECT_THAT(none.error, HasSubstr("The system refuses every thread"));
}

TEST(QueueEnd, NothingHoldsUpTheEndForEver) {
  for (const char* way : {"stuck", "endless", "inside", "debouncer"}) {
    const ProcessResult result = end(way);
    EXPECT_EQ(result.exitStatus, 0) << way << result.error;
    EXPECT_FALSE(result.timedOut) << way;
    EXPECT_THAT(result.output, Not(HasSubstr("never")));
  }
}

TEST(QueueEnd, ABlockThatEndsTheProcessLosesNothingBehindIt) {
  EXPECT_THAT(end("inside").output, HasSubstr("behind behind behind "));
}

TEST(QueueEnd, BlocksBehindSynchronousOnesOfOtherThreadsRun) {
  EXPECT_THAT(end("behindCaller").output, HasSubstr("behind the caller"));
  EXPECT_THAT(end("behindCallerWithTarget").output, HasSubstr("behind the caller"));
  EXPECT_THAT(end("behindWaiter").output, HasSubstr("behind the waiter"));
  EXPECT_THAT(end("behindBarrier").output, HasSubstr("behind the barrier"));
}

TEST(QueueEnd, AcceptedBlocksMayUseTheFirstQueueOfTheProcess) {
  EXPECT_THAT(end("firstQueue").output, HasSubstr("used again"));
}

TEST(QueueEnd, AQueueWithATargetGoesOnWhenNoNewWorkIsAccepted) {
  const std::string output = end("closed").output;
  EXPECT_THAT(output, HasSubstr("behind the first"));
  EXPECT_THAT(output, HasSubstr("second caller"));
}

TEST(QueueEnd, CirclesOfWaitsAreReportedOnceWithBothLabels) {
  const ProcessResult result = end("circle");
  EXPECT_EQ(result.exitStatus, 0);
  const auto count = [&](const std::string& text) {
    size_t found = 0;
    for (size_t at = 0; (at = result.error.find(text, at)) != std::string::npos; ++at) ++found;
    return found;
  };
#ifdef ORVANE_QUEUE_CHECKS
  EXPECT_EQ(count("Deadlock:"), 2u) << result.error;
  EXPECT_EQ(count("queue one"), 1u);
  EXPECT_EQ(count("queue two"), 1u);
  EXPECT_EQ(count("queue self"), 2u);
#else
  EXPECT_EQ(count("Deadlock:"), 0u);
#endif
}
