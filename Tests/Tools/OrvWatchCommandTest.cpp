#include <gmock/gmock.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "Tests/Tools/OrvHarness.h"

using testing::Contains;
using testing::HasSubstr;

namespace {

Arguments watchArguments(Arguments more) {
  more.insert(more.begin(), "watch");
  return more;
}

// Writes files with ever new names into a folder until it ends: the command is not known to watch yet.
class Writer {
 public:
  explicit Writer(fs::path folder) : thread_([this, folder = std::move(folder)] { write(folder); }) {}
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
  ~Writer() {
    ended_ = true;
    thread_.join();
  }

 private:
  void write(const fs::path& folder) {
    for (int i = 0; !ended_; ++i) {
      std::ofstream(folder / ("new " + std::to_string(i))) << i;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }

  std::atomic<bool> ended_ = false;
  std::thread thread_;
};

std::string canonical(const std::string& name) { return fs::canonical(place(name)).string(); }

TEST(OrvWatch, WhatIsThereIsPrintedFirstAPathALine) {
  writeFile("t/b", "x");
  writeFile("t/a", "x");
  writeFile("t/.hidden", "x");
  EXPECT_EQ(linesOf(printed({"watch", place("t").string(), "--count", "1"})),
            (Lines{place("t/a").string(), place("t/b").string()}));
}

TEST(OrvWatch, JSONIsOneArrayForEachBatch) {
  writeFile("t/a", "x");
  writeFile("t/\"b\xFF", "x");
  const Lines lines = linesOf(printed({"watch", place("t").string(), "--json", "--count", "1"}));
  ASSERT_EQ(lines.size(), 1u);
  const auto items = json(lines[0]).items();
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(items[0].text(), place("t/\"b\xFF").string());
  EXPECT_EQ(items[1].text(), place("t/a").string());
}

TEST(OrvWatch, NewFilesArePrinted) {
  fs::create_directories(place("t/deep"));
  const Writer writer(place("t/deep"));
  const Lines lines = linesOf(printed({"watch", "t", "--count", "3"}));
  ASSERT_FALSE(lines.empty());
  EXPECT_THAT(lines.back(), HasSubstr(canonical("t/deep") + "/new "));
}

TEST(OrvWatch, TheCommandGetsThePathsOfABatch) {
  writeFile("t/with blank", "x");
  writeFile("t/$(other)", "x");
  const std::string script = "printf '<%s>' \"$#\"; printf '[%s]' before \"$@\"";
  EXPECT_EQ(printed({"watch", place("t").string(), "--count", "1", "--exec", script}),
            place("t/$(other)").string() + "\n" + place("t/with blank").string() + "\n<2>[before][" +
                place("t/$(other)").string() + "][" + place("t/with blank").string() + "]");
}

TEST(OrvWatch, ACommandThatDoesNotAskForThePathsGetsNoArguments) {
  writeFile("t/a", "x");
  EXPECT_EQ(printed({"watch", place("t").string(), "--count", "1", "--exec", "printf '%s' built"}),
            place("t/a").string() + "\nbuilt");
}

TEST(OrvWatch, ACommandThatFailsIsTold) {
  writeFile("t/a", "x");
  const ProcessResult result = runOrv({"watch", "t", "--count", "1", "--exec", "exit 7"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.error, "orv: exit 7: exit status 7\n");
}

TEST(OrvWatch, WhatIsNoFolderIsAFailure) {
  writeFile("t/a", "x");
  const ProcessResult alone = runOrv({"watch", "t/a"});
  EXPECT_EQ(alone.exitStatus, 1);
  EXPECT_EQ(alone.output, "");
  EXPECT_EQ(alone.error, "orv: t/a: not a folder\n");
  const ProcessResult others = runOrv({"watch", "t/a", "t", "--count", "1"});
  EXPECT_EQ(others.exitStatus, 1);
  EXPECT_NE(others.output, "");
  EXPECT_EQ(others.error, "orv: t/a: not a folder\n");
}

TEST(OrvWatch, AFolderMayAppearLater) {
  fs::create_directories(place("t"));
  Process process(orvCommand(watchArguments({"t/later", "--count", "1"})));
  fs::create_directories(place("t/later"));
  const Writer writer(
      place("t/later"));  // again and again: what comes between the look and the start is not told
  const ProcessResult result = process.finish();
  EXPECT_EQ(result.exitStatus, 0) << result.error;
  EXPECT_THAT(linesOf(result.output), Contains(HasSubstr("t/later/new ")));
}

TEST(OrvWatch, AMissingFolderIsTold) {
  fs::create_directories(place("t"));
  const Writer writer(place("t"));
  const ProcessResult result = runOrv({"watch", "missing", "t", "--count", "1"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.error, "orv: missing: not there yet, and waited for\n");
}

TEST(OrvWatch, CtrlCAndARequestToEndEndItCleanly) {
  for (const int signal : {SIGINT, SIGTERM}) {
    writeFile("t/a", "x");
    const std::string out = writeFile("out", "");
    Command command = orvCommand(watchArguments({"t"}));
    command.outputFile = place("out").string();
    Process process(command);
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (fs::file_size(place("out")) == 0 && std::chrono::steady_clock::now() < limit)
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ::kill(process.id(), signal);
    const ProcessResult result = process.finish();
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.error, "");
    EXPECT_FALSE(result.timedOut);
  }
}

TEST(OrvWatch, WithoutAFolderTheUsageIsWrong) {
  EXPECT_EQ(runOrv({"watch"}).exitStatus, 2);
  EXPECT_EQ(runOrv({"watch", "t", "--count", "0"}).exitStatus, 2);
}

}  // namespace
