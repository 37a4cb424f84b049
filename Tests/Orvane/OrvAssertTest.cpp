#include "Orvane/OrvAssert.h"

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Orvane/OrvQueue.h"
#include "Platform/Foundation/Values/NSData.h"

using namespace orv;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

class Recorder : public OrvLogHandler {
 public:
  void logLevelMessage(uint64_t level, const char*, const char*, long, const NSString& context,
                       const NSString& message) override {
    EXPECT_EQ(level, 2u);
    EXPECT_TRUE(context.isNil());
    messages.push_back(message.utf8());
  }
  void flush() override { ++flushes; }

  std::vector<std::string> messages;
  int flushes = 0;
};

class OrvAssertTest : public testing::Test {
 protected:
  void SetUp() override {
    OrvLog::sharedObject()->configure();
    recorder = make<Recorder>();
    OrvLog::sharedObject()->logHandler().addObject(recorder);
  }
  void TearDown() override { OrvLog::sharedObject()->configure(); }

  // The one message since the last call.
  std::string reported() const {
    const std::string text = recorder->messages.size() == 1 ? recorder->messages[0] : "";
    EXPECT_EQ(recorder->messages.size(), 1u);
    recorder->messages.clear();
    return text;
  }
  std::string expression() const {
    const std::string text = reported();
    const size_t begin = text.find("\tExpr:  ") + 8;
    return text.substr(begin, text.find('\n', begin) - begin);
  }

  Ref<Recorder> recorder;
};

}  // namespace

TEST_F(OrvAssertTest, ATrueConditionIsSilent) {
  ORV_ASSERT(1 + 1 == 2);
  ORV_ASSERT_TEXT(true, "text");
  ORV_ASSERT_MSG(true, "message %d", 1);
  ORV_ASSERT_TEXT_MSG(true, "text", "message");
  ORV_ASSERT_CLASS(NSString("x"), NSString);
  ORV_ASSERT_MAIN();
  EXPECT_TRUE(recorder->messages.empty());
}

TEST_F(OrvAssertTest, APlainFailureReportsTextPlaceAndStackAndGoesOn) {
  bool wentOn = false;
  ORV_ASSERT(1 > 2);
  wentOn = true;
  EXPECT_TRUE(wentOn);
  const std::string text = reported();
  EXPECT_THAT(text,
              StartsWith("An important assertion did fail. Please send this error.\n\n\tExpr:  !!(1 > 2)\n"
                         "\tFile:  <OrvAssertTest.cpp:"));
  EXPECT_THAT(text, HasSubstr(">\n\tFunc:  TestBody\n\tStack: (\n    \"0   "));
  EXPECT_EQ(text.back(), ')');
  EXPECT_EQ(recorder->flushes, 1);
}

TEST_F(OrvAssertTest, TheReportStandsInTheLogFile) {
  ORV_ASSERT(false);
  EXPECT_TRUE(OrvLog::sharedObject()->dataOfCurrentLogFile().string().containsString(
      "[Orvane] An important assertion did fail. Please send this error.\n\n\tExpr:  !!(false)\n\tFile:  <"));
}

TEST_F(OrvAssertTest, EachFormHasItsConditionText) {
  const NSString regex;
  ORV_ASSERT_TEXT(false, "!!([self length] > 0)");
  EXPECT_EQ(expression(), "!!([self length] > 0)");
  ORV_ASSERT_CLASS(regex, NSString);
  EXPECT_EQ(expression(), "!!(([(regex) isKindOfClass:[NSString class]]))");
  ORV_ASSERT_MSG(regex.length() > 0, "Secure item from keychain is empty");
  const std::string text = reported();
  EXPECT_THAT(text, StartsWith("Secure item from keychain is empty\n\n\tExpr:  regex.length() > 0\n"));
}

TEST_F(OrvAssertTest, MessagesAreFormatted) {
  ORV_ASSERT_TEXT_MSG(false, "c", "%@ has %d%%", NSString("It"), 5);
  EXPECT_THAT(reported(), StartsWith("It has 5%\n\n\tExpr:  c\n"));
}

TEST_F(OrvAssertTest, TheConditionIsEvaluatedOnceAndArgumentsOnlyOnFailure) {
  int conditions = 0, arguments = 0;
  ORV_ASSERT_MSG(++conditions == 1, "%d", ++arguments);
  EXPECT_EQ(conditions, 1);
  EXPECT_EQ(arguments, 0);
}

TEST_F(OrvAssertTest, NothingIsReportedWhileWarningsAreMasked) {
  OrvLog::sharedObject()->setLevel(OrvLogLevelError);
  ORV_ASSERT(false);
  ORV_ASSERT_MSG(false, "m");
  EXPECT_TRUE(recorder->messages.empty());
}

TEST_F(OrvAssertTest, TheGuardTurnsAnExceptionIntoOneWarning) {
  bool wentOn = false;
  ORV_GUARD(NSException::raise("Name", "it broke"));
  wentOn = true;
  EXPECT_TRUE(wentOn);
  EXPECT_EQ(reported(), "Exception it broke");
  ORV_GUARD(throw std::runtime_error("standard"));
  EXPECT_EQ(reported(), "Exception standard");
}

TEST_F(OrvAssertTest, TheGuardRunsItsStatementsAndIsSilentWithoutAnException) {
  int a = 0, b = 0;
  ORV_GUARD(a = 1; b = 2);
  EXPECT_EQ(a + b, 3);
  EXPECT_TRUE(recorder->messages.empty());
}

TEST_F(OrvAssertTest, WhatIsForeignPassesTheGuard) { EXPECT_THROW(ORV_GUARD(throw 42), int); }

TEST_F(OrvAssertTest, MainThreadChecksKnowTheMainThread) {
  OrvQueue::initialize();
  EXPECT_TRUE(OrvQueue::isMain());
  OrvQueue::assertMainThread();
  EXPECT_TRUE(recorder->messages.empty());
  OrvQueue::assertNotMainThread();
  const std::string text = reported();
  EXPECT_THAT(text, StartsWith("Code running unexpectedly on main thread.\n\n\tExpr:  ![OrvQueue isMain]\n"));
}

TEST_F(OrvAssertTest, MainThreadChecksKnowOtherThreads) {
  std::thread([] {
    EXPECT_FALSE(OrvQueue::isMain());
    OrvQueue::assertNotMainThread();
    OrvQueue::assertMainThread();
  }).join();
  EXPECT_THAT(reported(),
              StartsWith("Code running outside of main thread.\n\n\tExpr:  !!([OrvQueue isMain])\n"));
  std::thread([] { ORV_ASSERT_MAIN(); }).join();
  EXPECT_THAT(reported(),
              MatchesRegex("Code running outside of main thread\\.\n\n\tExpr:  !!\\(\\[OrvQueue isMain\\]\\)\n"
                           "\tFile:  <OrvAssertTest\\.cpp:(.|\n)*"));
}
