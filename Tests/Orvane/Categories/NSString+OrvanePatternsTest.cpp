#include <gtest/gtest.h>

#include "Platform/Foundation/Text/NSRegularExpression.h"
#include "Platform/Foundation/Values/NSString.h"
#include "Tests/Support/LogLines.h"

using namespace orv;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(NSStringOrvanePatterns, ReplacesByAPatternThatIgnoresCaseAndTakesLineEnds) {
  LogLines log;
  EXPECT_EQ(NSString("Hello hello").replaceRegEx("HELLO", "bye"), "bye bye");
  EXPECT_EQ(NSString("a\nb").replaceRegEx("a.b", "x"), "x");
  EXPECT_EQ(NSString("john smith").replaceRegEx("(\\w+) (\\w+)", "$2, $1"), "smith, john");
  EXPECT_EQ(NSString("abc").replaceRegEx("x*", "-"), "-a-b-c-");
  EXPECT_EQ(NSString("").replaceRegEx("^$", "empty"), "empty");
  EXPECT_TRUE(log.take().empty());
}

TEST(NSStringOrvanePatterns, ACompiledExpressionKeepsItsOwnOptions) {
  const auto strict = NSRegularExpression::regularExpressionWithPattern("b.", 0);
  EXPECT_EQ(NSString("bx BX b\n").replaceRegEx(strict, "_"), "_ BX b\n");
}

TEST(NSStringOrvanePatterns, WhatIsNoPatternChangesNothing) {
  LogLines log;
  EXPECT_EQ(NSString("a(b").replaceRegEx("(", "x"), "a(b");
  EXPECT_EQ(NSString("ab").replaceRegEx("", "x"), "ab");
  EXPECT_EQ(NSString("ab").replaceRegEx("a", nil), "ab");
  EXPECT_TRUE(NSString().replaceRegEx("a", "b").isNil());
  EXPECT_TRUE(log.take().empty());
}

TEST(NSStringOrvanePatterns, AnythingElseIsReportedAndCountsByItsText) {
  LogLines log;
  EXPECT_EQ(NSString("room 12").replaceRegEx(12, "13"), "room 13");
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning),
              ElementsAre(HasSubstr("\tExpr:  !!(([(regex) isKindOfClass:[NSString class]]))\n")));
  EXPECT_EQ(NSString("ab").replaceRegEx(nil, "x"), "ab");
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning), ElementsAre(HasSubstr("isKindOfClass:[NSString class]")));
}
