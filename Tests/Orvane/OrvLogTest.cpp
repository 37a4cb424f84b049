#include "Orvane/OrvLog.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Foundation/System/NSNotificationCenter.h"
#include "Platform/Foundation/System/NSProcessInfo.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSError.h"
#include "Platform/Foundation/Values/NSNumber.h"
#include "Tests/Support/Capture.h"
#include "Tests/Support/World.h"

using namespace orv;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;

namespace {
namespace fs = std::filesystem;

const std::string kStamp = "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}Z";

struct Heard {
  uint64_t level;
  std::string file;
  std::string function;
  long line;
  NSString context;
  std::string message;
};

class Recorder : public OrvLogHandler {
 public:
  void logLevelMessage(uint64_t level, const char* file, const char* function, long line,
                       const NSString& context, const NSString& message) override {
    heard.push_back({level, file ? file : "null", function ? function : "null", line, context, message.utf8()});
    if (onMessage) onMessage();
  }
  void flush() override {
    ++flushes;
    if (onFlush) onFlush();
  }

  std::vector<Heard> heard;
  int flushes = 0;
  std::function<void()> onMessage;
  std::function<void()> onFlush;
};

class OrvLogTest : public testing::Test {
 protected:
  void SetUp() override {
    log = OrvLog::sharedObject();
    log->configure();
  }
  void TearDown() override { log->configure(); }

  Ref<Recorder> addRecorder() const {
    auto recorder = make<Recorder>();
    log->logHandler().addObject(recorder);
    return recorder;
  }
  std::string fileText() const { return log->dataOfCurrentLogFile().string().utf8(); }
  std::vector<std::string> fileLines() const {
    std::istringstream in(fileText());
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
  }
  void message(uint64_t level, const char* file, const NSString& context, const NSString& text) const {
    log->logLevelMessage(level, file, "function", 7, context, text);
  }

  Ref<OrvLog> log;
};

std::string withoutStamp(const std::string& line) {
  return std::regex_replace(line, std::regex(kStamp), "STAMP");
}

// Runs a block in a child process and answers how that ended.
int inChild(const std::function<void()>& block) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(60);
    block();
    ::_exit(0);
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  return status;
}

// Logs while the process's static objects end: where the parent process asks for it, and in a fresh process
// even as the logger's first use.
struct LogsAtTheEnd {
  ~LogsAtTheEnd() {
    if (const char* folder = std::getenv("ORV_TEST_LATE_LIBRARY")) {
      ::setenv("XDG_STATE_HOME", folder, 1);
      OrvLogWarning("%@ came late", NSString("first use"));
    }
    if (wanted) OrvLogWarning("static destructor with %@", NSArray{1});
  }
  static inline bool wanted = false;
};
const LogsAtTheEnd logsAtTheEnd;

std::string textOfFile(const fs::path& path) {
  std::ifstream in(path);
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace

TEST(OrvaneVersion, HasItsTexts) {
  const char expected[] = "@(#)PROGRAM:Orvane  PROJECT:Orvane-1\n";
  EXPECT_STREQ(reinterpret_cast<const char*>(OrvaneVersionString), expected);
  EXPECT_EQ(OrvaneVersionNumber, 1.0);
  EXPECT_EQ(orvLogLevel, 7u);
  EXPECT_EQ(OrvLogFileCurrent, "orv.log");
  EXPECT_EQ(OrvLogFilePrev, "orv-prev.log");
}

TEST_F(OrvLogTest, IsOneObject) {
  EXPECT_EQ(OrvLog::sharedObject(), OrvLog::alloc());
  EXPECT_EQ(OrvLog::sharedObject(), log->copy());
  EXPECT_EQ(log->className(), "OrvLog");
}

TEST_F(OrvLogTest, BeginsWithErrorWarningAndInfo) {
  EXPECT_EQ(log->level(), orvLogLevel);
  EXPECT_FALSE(log->debug());
  EXPECT_EQ(log->logHandler().count(), 0u);
  EXPECT_NEAR(log->start(), CFAbsoluteTimeGetCurrent(), 5.0);
}

TEST_F(OrvLogTest, PrefixesMatchTheExactLevel) {
  static_assert(std::is_same_v<std::underlying_type_t<OrvLogLevel>, uint64_t>);
  EXPECT_EQ(OrvLog::prefixForLevel(OrvLogLevelError), "E|*** ");
  EXPECT_EQ(OrvLog::prefixForLevel(OrvLogLevelWarning), "W|**  ");
  EXPECT_EQ(OrvLog::prefixForLevel(OrvLogLevelInfo), "I|*   ");
  EXPECT_EQ(OrvLog::prefixForLevel(OrvLogLevelTrace), "T|    ");
  EXPECT_EQ(OrvLog::prefixForLevel(OrvLogLevelDebug), "D|    ");
  for (uint64_t other : {0UL, 3UL, 5UL, 6UL, 7UL, 32UL}) EXPECT_EQ(OrvLog::prefixForLevel(other), "V|    ");
  EXPECT_EQ(OrvLog::prefixColoredForLevel(1), "\U0001F6D1 E|*** ");
  EXPECT_EQ(OrvLog::prefixColoredForLevel(2), "\U0001F536 W|**  ");
  EXPECT_EQ(OrvLog::prefixColoredForLevel(4), "\U0001F537 I|*   ");
  EXPECT_EQ(OrvLog::prefixColoredForLevel(8), "\u23F1 T|    ");
  EXPECT_EQ(OrvLog::prefixColoredForLevel(16), "\u25FE\uFE0F D|    ");
  EXPECT_EQ(OrvLog::prefixColoredForLevel(3), "\u25FD\uFE0F V|    ");
}

TEST_F(OrvLogTest, DropsLevelsOutsideTheMask) {
  const auto recorder = addRecorder();
  OrvLogTrace("trace");
  OrvLogDebug("debug");
  EXPECT_EQ(fileText(), "");
  EXPECT_TRUE(recorder->heard.empty());
  log->setLevel(31);
  OrvLogTrace("trace");
  OrvLogDebug("debug");
  const auto lines = fileLines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(withoutStamp(lines[0]), "T|     STAMP [Orvane] trace");
  EXPECT_EQ(withoutStamp(lines[1]), "D|     STAMP [Orvane] debug");
  EXPECT_EQ(recorder->heard.size(), 2u);
}

TEST_F(OrvLogTest, TheStartCanBeSetAndReset) {
  log->setStart(12.5);
  EXPECT_EQ(log->start(), 12.5);
  log->resetStartTime();
  EXPECT_NEAR(log->start(), CFAbsoluteTimeGetCurrent(), 5.0);
}

TEST_F(OrvLogTest, AnArrayOfHandlersCanBeReplaced) {
  const auto before = addRecorder();
  const auto after = make<Recorder>();
  log->setLogHandler(NSMutableArray{after});
  OrvLogInfo("m");
  EXPECT_TRUE(before->heard.empty());
  EXPECT_EQ(after->heard.size(), 1u);
  log->setLogHandler(nil);
  OrvLogInfo("nobody hears");
  EXPECT_EQ(after->heard.size(), 1u);
}

TEST_F(OrvLogTest, RejectedArgumentsAreNotEvenEvaluated) {
  int evaluated = 0;
  OrvLogDebug("%d", ++evaluated);
  EXPECT_EQ(evaluated, 0);
  OrvLogInfo("%d", ++evaluated);
  EXPECT_EQ(evaluated, 1);
}

TEST_F(OrvLogTest, ALevelOfSeveralBitsPassesWithTheVPrefix) {
  log->setLevel(1);
  message(3, nullptr, nil, "both");
  EXPECT_EQ(withoutStamp(fileLines().at(0)), "V|     STAMP [*] both");
}

TEST_F(OrvLogTest, ContextColumnIsContextOrFolderOrAsterisk) {
  struct Case {
    const char* file;
    NSString context;
    const char* column;
  };
  const Case cases[] = {
      {"/Orvane/Categories/NSDate+Orvane.cpp", nil, "[Categories]"},
      {"a/b/c.cpp", nil, "[b]"},
      {"/x/y.cpp", nil, "[x]"},
      {"//y.cpp", nil, "[*]"},
      {"x/y.cpp", nil, "[*]"},
      {"y.cpp", nil, "[*]"},
      {"/y.cpp", nil, "[*]"},
      {nullptr, nil, "[*]"},
      {"a/b/c.cpp", "", "[*]"},
      {"a/b/c.cpp", "Sync", "[Sync]"},
      {nullptr, "Sync", "[Sync]"},
  };
  for (const Case& c : cases) message(OrvLogLevelInfo, c.file, c.context, "m");
  const auto lines = fileLines();
  ASSERT_EQ(lines.size(), std::size(cases));
  for (size_t i = 0; i < lines.size(); ++i)
    EXPECT_EQ(withoutStamp(lines[i]), std::string("I|*    STAMP ") + cases[i].column + " m") << i;
}

TEST_F(OrvLogTest, MacrosGiveTheirPlace) {
  const auto recorder = addRecorder();
  OrvLogError("no %@ in %s", NSString("luck"), "here");
  ASSERT_EQ(recorder->heard.size(), 1u);
  const Heard& heard = recorder->heard[0];
  EXPECT_EQ(heard.level, 1u);
  EXPECT_EQ(heard.file, "/Tests/Orvane/OrvLogTest.cpp");
  EXPECT_EQ(heard.function, "TestBody");
  EXPECT_GT(heard.line, 0);
  EXPECT_TRUE(heard.context.isNil());
  EXPECT_EQ(heard.message, "no luck in here");
}

TEST_F(OrvLogTest, FormatsThatAreNoTextLogNothing) {
  log->logLevelFormat(OrvLogLevelInfo, nullptr, nullptr, 0, nil, nil);
  log->logLevelFormat(OrvLogLevelInfo, nullptr, nullptr, 0, nil, 42);
  message(OrvLogLevelInfo, nullptr, nil, nil);
  EXPECT_EQ(fileText(), "");
  log->logLevelFormat(OrvLogLevelInfo, nullptr, nullptr, 0, nil, "%@ of %d", NSString("one"), 2);
  EXPECT_THAT(fileText(), HasSubstr("one of 2"));
}

TEST_F(OrvLogTest, EveryLineIsUTF8AndAsLongAsItMustBe) {
  const std::string longText(100000, 'x');
  message(OrvLogLevelInfo, nullptr, "\u00e9\u4e2d", longText + "\u00fc");
  EXPECT_THAT(fileText(), testing::EndsWith("[\u00e9\u4e2d] " + longText + "\u00fc\n"));
}

TEST_F(OrvLogTest, HandlersHearInOrderWithUnchangedArguments) {
  const auto first = addRecorder(), second = addRecorder();
  std::vector<int> order;
  first->onMessage = [&] { order.push_back(1); };
  second->onMessage = [&] { order.push_back(2); };
  message(OrvLogLevelInfo, "f", "C", "m");
  message(OrvLogLevelInfo, nullptr, nil, "n");
  EXPECT_THAT(order, ElementsAre(1, 2, 1, 2));
  EXPECT_EQ(first->heard[0].context, "C");
  EXPECT_EQ(second->heard[1].file, "null");
  EXPECT_TRUE(second->heard[1].context.isNil());
}

TEST_F(OrvLogTest, AHandlerThatRaisesIsReportedAndTheNextIsCalled) {
  const auto bad = addRecorder(), good = addRecorder();
  bad->onMessage = [] { NSException::raise("Bad", "handler broke"); };
  const std::string console = captureStandardError([&] { OrvLogInfo("m"); });
  EXPECT_THAT(console, HasSubstr("Exception: handler broke"));
  EXPECT_EQ(good->heard.size(), 1u);
  EXPECT_THAT(fileText(), HasSubstr("] m\n"));
}

TEST_F(OrvLogTest, WhatIsNoExceptionPassesThrough) {
  const auto odd = addRecorder();
  odd->onMessage = [] { throw 42; };
  EXPECT_THROW(OrvLogInfo("m"), int);
  odd->onMessage = nullptr;
  OrvLogInfo("the handler is called again");
  EXPECT_EQ(odd->heard.size(), 2u);
}

TEST_F(OrvLogTest, AHandlerMayLogWithoutEnd) {
  const auto first = addRecorder(), second = addRecorder();
  first->onMessage = [] { OrvLogInfo("inner"); };
  OrvLogInfo("outer");
  EXPECT_EQ(first->heard.size(), 1u);
  ASSERT_EQ(second->heard.size(), 2u);
  EXPECT_EQ(second->heard[0].message, "inner");
  EXPECT_EQ(fileLines().size(), 2u);
}

TEST_F(OrvLogTest, AHandlerThatChangesTheListChangesItForTheNextMessage) {
  const auto first = addRecorder(), second = addRecorder(), late = make<Recorder>();
  first->onMessage = [&] {
    log->logHandler().removeObject(first);
    log->logHandler().addObject(late);
  };
  first->onFlush = second->onFlush = [&] { log->logHandler().removeObject(second); };
  const std::string console = captureStandardError([&] {
    OrvLogWarning("a");
    OrvLogInfo("b");
  });
  EXPECT_EQ(console, "");
  EXPECT_EQ(first->heard.size(), 1u);
  EXPECT_EQ(second->heard.size(), 1u);
  EXPECT_EQ(second->flushes, 1);
  EXPECT_EQ(late->flushes, 1) << "it was in the list when the flushing began";
  ASSERT_EQ(late->heard.size(), 1u);
  EXPECT_EQ(late->heard[0].message, "b");
}

TEST_F(OrvLogTest, ObjectsThatAreNoHandlersAreSkipped) {
  log->logHandler().addObject("no handler");
  const auto recorder = addRecorder();
  OrvLogInfo("m");
  EXPECT_EQ(recorder->heard.size(), 1u);
}

TEST_F(OrvLogTest, AWarningFlushesAnErrorDoesNot) {
  const auto recorder = addRecorder();
  OrvLogError("e");
  OrvLogInfo("i");
  EXPECT_EQ(recorder->flushes, 0);
  OrvLogWarning("w");
  EXPECT_EQ(recorder->flushes, 1);
  message(3, nullptr, nil, "both bits");
  EXPECT_EQ(recorder->flushes, 2);
}

TEST_F(OrvLogTest, AFlushThatRaisesSkipsTheRemainingHandlers) {
  const auto bad = addRecorder(), skipped = addRecorder();
  bad->onFlush = [] { NSException::raise("Bad", "flush broke"); };
  const std::string console = captureStandardError([&] { log->flush(); });
  EXPECT_THAT(console, HasSubstr("Exception: flush broke"));
  EXPECT_EQ(skipped->flushes, 0);
}

TEST_F(OrvLogTest, TerminationFlushes) {
  const auto recorder = addRecorder();
  NSNotificationCenter::defaultCenter()->postNotificationName(NSApplicationWillTerminateNotification);
  EXPECT_EQ(recorder->flushes, 1);
  log->applicationWillTerminate(nil);
  EXPECT_EQ(recorder->flushes, 2);
}

TEST_F(OrvLogTest, WritesNothingToTheScreenUnlessDebugging) {
  EXPECT_EQ(captureStandardError([] { OrvLogError("quiet"); }), "");
}

TEST_F(OrvLogTest, ScreenLineHasMarkerPrefixElapsedContextPlaceAndMessage) {
  log->setDebug(true);
  const std::string line = captureStandardError([] { OrvLogInfo("shown"); });
  EXPECT_THAT(line, MatchesRegex("\u25FD\uFE0F \U0001F537 I\\|\\*    [0-9]+\\.[0-9]{3} \\[Orvane\\] "
                                 "<OrvLogTest.cpp:[0-9]+> shown\n"));
  EXPECT_EQ(withoutStamp(fileLines().at(0)), "I|*    STAMP [Orvane] shown");  // plain in the file
}

TEST_F(OrvLogTest, ScreenLineWithoutStartHasAnEmptyColumn) {
  log->setDebug(true);
  log->setStart(0);
  const std::string line = captureStandardError([&] { message(OrvLogLevelError, nullptr, nil, "m"); });
  EXPECT_EQ(line, "\u25FD\uFE0F \U0001F6D1 E|***   [*]  m\n");
}

TEST_F(OrvLogTest, ScreenLineMarksOtherThreads) {
  log->setDebug(true);
  const std::string line = captureStandardError([] { std::thread([] { OrvLogInfo("m"); }).join(); });
  EXPECT_THAT(line, testing::StartsWith("\U0001F680 "));
}

TEST_F(OrvLogTest, ScreenLineNamesTheLibraryThatLogs) {
  log->setDebug(true);
  const std::string line =
      captureStandardError([&] { log->logFatal("from inside the library", "a/b/c.cpp", "f", 3, nil); });
  EXPECT_THAT(line, HasSubstr("<@liborvane c.cpp:3>"));
}

TEST_F(OrvLogTest, EachRunKeepsOneOlderGeneration) {
  OrvLogInfo("first run");
  log->configure();
  EXPECT_EQ(fileText(), "");
  EXPECT_THAT(log->dataOfPreviousLogFile().string().utf8(), HasSubstr("first run"));
  OrvLogInfo("second run");
  log->configure();
  EXPECT_THAT(log->dataOfPreviousLogFile().string().utf8(), HasSubstr("second run"));
  EXPECT_THAT(log->dataOfPreviousLogFile().string().utf8(), testing::Not(HasSubstr("first run")));
}

TEST_F(OrvLogTest, FilesLieInTheLibraryFolderUnderTheProcessName) {
  const std::string folder = std::string(std::getenv("XDG_STATE_HOME")) + "/Logs/OrvLogTest";
  EXPECT_EQ(log->defaultLogsDirectory().utf8(), folder);
  EXPECT_EQ(log->pathOfCurrentLogFile().utf8(), folder + "/orv.log");
  EXPECT_EQ(log->pathOfPreviousLogFile().utf8(), folder + "/orv-prev.log");
}

TEST_F(OrvLogTest, ADeletedFileIsMadeAnewAndNoLineIsLost) {
  OrvLogInfo("before");
  log->flush();
  fs::remove_all(fs::path(log->pathOfCurrentLogFile().utf8()).parent_path());
  OrvLogInfo("first after");
  OrvLogInfo("second after");
  log->flush();
  const std::string text = textOfFile(log->pathOfCurrentLogFile().utf8());
  EXPECT_THAT(text, testing::EndsWith("] second after\n"));
  EXPECT_THAT(text, HasSubstr("] first after\n"));
  EXPECT_THAT(text, testing::Not(HasSubstr("before")));
}

TEST_F(OrvLogTest, ADeletedFileIsNoticedWithoutAFlush) {
  OrvLogInfo("before");
  const fs::path file = log->pathOfCurrentLogFile().utf8();
  fs::remove(file);
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!fs::exists(file) && std::chrono::steady_clock::now() < limit) OrvLogInfo("after");
  EXPECT_THAT(textOfFile(file), HasSubstr("] after\n"));
}

TEST_F(OrvLogTest, ARenamedFileIsWrittenOn) {
  OrvLogInfo("before");
  const fs::path current = log->pathOfCurrentLogFile().utf8();
  const fs::path moved = current.parent_path() / "moved.log";
  fs::rename(current, moved);
  OrvLogInfo("after");
  const std::string text = textOfFile(moved);
  EXPECT_THAT(text, HasSubstr("before"));
  EXPECT_THAT(text, HasSubstr("after"));
  EXPECT_FALSE(fs::exists(current));
}

TEST_F(OrvLogTest, LinesSurviveASuddenDeath) {
  const int status = inChild([] {
    OrvLogInfo("last words");
    ::kill(::getpid(), SIGKILL);
  });
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
  EXPECT_THAT(fileText(), HasSubstr("last words"));
}

TEST_F(OrvLogTest, StaticDestructorsLog) {
  const int status = inChild([] {
    LogsAtTheEnd::wanted = true;
    std::exit(0);
  });
  EXPECT_EQ(status, 0);
  EXPECT_THAT(fileText(), HasSubstr("static destructor with (\n    1\n)\n"));
}

TEST_F(OrvLogTest, StaticDestructorsMayBeTheFirstToLog) {
  const std::string library = testFolder();
  const int status = inChild([&] {
    ::setenv("ORV_TEST_LATE_LIBRARY", library.c_str(), 1);
    ::execl("/proc/self/exe", "OrvLogTest", "--gtest_filter=None", "--gtest_brief=1", nullptr);
  });
  EXPECT_EQ(status, 0);
  EXPECT_THAT(textOfFile(library + "/Logs/OrvLogTest/orv.log"), HasSubstr("first use came late"));
}

TEST_F(OrvLogTest, AForkedChildOfABusyProcessLogs) {
  if (kSanitized) GTEST_SKIP() << "the sanitizers' own allocators do not survive a fork among busy threads";
  std::atomic<bool> stop = false;
  std::vector<std::thread> busy;
  for (int t = 0; t < 3; ++t)
    busy.emplace_back([&stop] {
      while (!stop) OrvLogInfo("parent");
    });
  for (int i = 0; i < 10; ++i) EXPECT_EQ(inChild([] { OrvLogInfo("child"); }), 0);
  stop = true;
  for (std::thread& thread : busy) thread.join();
  const std::string text = fileText();
  size_t children = 0;
  for (size_t at = text.find("] child\n"); at != std::string::npos; at = text.find("] child\n", at + 1))
    ++children;
  EXPECT_EQ(children, 10u);
}

TEST_F(OrvLogTest, LinesOfManyThreadsDoNotMix) {
  constexpr int kThreads = 4, kLines = 500;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([t] {
      for (int i = 0; i < kLines; ++i) OrvLogInfo("thread %d line %d end", t, i);
    });
  for (std::thread& thread : threads) thread.join();
  const auto lines = fileLines();
  EXPECT_EQ(lines.size(), static_cast<size_t>(kThreads * kLines));
  const std::regex whole("I\\|\\*    " + kStamp + " \\[Orvane\\] thread [0-9] line [0-9]+ end");
  EXPECT_TRUE(
      std::all_of(lines.begin(), lines.end(), [&](const auto& l) { return std::regex_match(l, whole); }));
}

TEST_F(OrvLogTest, FirstUseFromManyThreadsMakesOneLogger) {
  std::vector<Ref<OrvLog>> seen(8);
  std::vector<std::thread> threads;
  for (auto& slot : seen) threads.emplace_back([&slot] { slot = OrvLog::sharedObject(); });
  for (std::thread& thread : threads) thread.join();
  for (const auto& each : seen) EXPECT_EQ(each, log);
}

TEST_F(OrvLogTest, FatalReportsDescriptionThenText) {
  const auto recorder = addRecorder();
  log->logFatal(nil, "f", "g", 1, nil);
  EXPECT_TRUE(recorder->heard.empty());
  log->logFatal(NSException("Name", "reason"), "f", "g", 1, "Ctx");
  log->logFatal(NSError::errorWithDomain("D", 7, nil), "f", "g", 1, nil);
  log->logFatal(NSArray{1}, "f", "g", 1, nil);
  std::vector<std::string> messages;
  for (const Heard& heard : recorder->heard) messages.push_back(heard.message);
  EXPECT_THAT(messages, ElementsAre("reason", "Name: reason", "Error Domain=D Code=7 \"(null)\"",
                                    "The operation couldn\u2019t be completed. (D error 7.)", "(\n    1\n)",
                                    "(\n    1\n)"));
  EXPECT_EQ(recorder->heard[0].level, 4u);
  EXPECT_EQ(recorder->heard[1].level, 1u);
  EXPECT_EQ(recorder->heard[1].context, "Ctx");
  EXPECT_EQ(recorder->heard[1].line, 1);
}

TEST_F(OrvLogTest, TimersCountFromTheirStart) {
  const auto recorder = addRecorder();
  log->setLevel(31);
  log->startTimer("import");
  log->startTimer(nil);
  log->logTimer("import", "f", "g", 1, nil);
  log->logTimer(nil, "f", "g", 1, nil);
  log->logTimer("import", "f", "g", 1, nil);
  log->logTimer("never", "f", "g", 1, nil);
  ASSERT_EQ(recorder->heard.size(), 4u);
  EXPECT_EQ(recorder->heard[0].level, 8u);
  EXPECT_THAT(recorder->heard[0].message, MatchesRegex("[0-9]{1,4}ms <- import"));
  EXPECT_THAT(recorder->heard[1].message, MatchesRegex("[0-9]{1,4}ms <- \\(null\\)"));
  EXPECT_THAT(recorder->heard[2].message, MatchesRegex("[0-9]{1,4}ms <- import"));
  EXPECT_THAT(recorder->heard[3].message, MatchesRegex("[0-9]{12,}ms <- never"));
}

TEST_F(OrvLogTest, RunsWithoutAFileWhenThereIsNowhereToWrite) {
  const std::string state = std::getenv("XDG_STATE_HOME");
  const std::string blocked = testFolder() + "/blocked";
  std::ofstream(blocked) << "a file, no folder";
  ::setenv("XDG_STATE_HOME", blocked.c_str(), 1);
  log->configure();
  const auto recorder = addRecorder();
  OrvLogInfo("m");
  EXPECT_EQ(recorder->heard.size(), 1u);
  EXPECT_TRUE(log->dataOfCurrentLogFile().isNil());
  ::setenv("XDG_STATE_HOME", state.c_str(), 1);
}
