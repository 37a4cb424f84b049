#include "Platform/Foundation/Text/NSRegularExpression.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <string>
#include <thread>
#include <vector>

#include "Platform/Foundation/Values/NSException.h"
#include "Tests/Support/LogLines.h"

using namespace orv;

namespace {

Ref<NSRegularExpression> expression(const NSString& pattern, NSUInteger options = 0) {
  return NSRegularExpression::regularExpressionWithPattern(pattern, options);
}

// The texts of all matches, between brackets.
std::string found(const Ref<NSRegularExpression>& e, const NSString& text, NSUInteger options = 0) {
  std::string all;
  for (const Value& value : e->matchesInString(text, options, {0, text.length()}))
    all += "[" + value.as<NSTextCheckingResult>()->inString(text).utf8() + "]";
  return all;
}

std::string found(const char* pattern, const NSString& text, NSUInteger options = 0) {
  return found(expression(pattern, options), text);
}

std::string replaced(const char* pattern, const char* text, const char* replacement) {
  return expression(pattern)->stringByReplacingMatchesInString(text, replacement).utf8();
}

constexpr const char* kEndless = "(a+)+$";
const NSString kManyAs = std::string(40, 'a') + "b";

}  // namespace

TEST(NSRegularExpression, FindsMatchesFromLeftToRight) {
  EXPECT_EQ(found("\\d+", "a1b22c333"), "[1][22][333]");
  EXPECT_EQ(found("aa", "aaaaa"), "[aa][aa]");
  EXPECT_EQ(found("x*", "axb"), "[][x][][]");
  EXPECT_EQ(found("nothing", "a1b22"), "");
  EXPECT_EQ(found("(?<=a)b(?!c)", "ab abc"), "[b]");
  EXPECT_EQ(found("(?i)STRASSE", "strasse"), "[strasse]");
  EXPECT_EQ(found("\\R", "a\r\nb\n"), "[\r\n][\n]");
}

TEST(NSRegularExpression, EachOptionDoesItsPart) {
  EXPECT_EQ(found("ABC", "abc", NSRegularExpressionCaseInsensitive), "[abc]");
  EXPECT_EQ(found("a b # both", "ab", NSRegularExpressionAllowCommentsAndWhitespace), "[ab]");
  EXPECT_EQ(found("a.c (", "abc a.c (", NSRegularExpressionIgnoreMetacharacters), "[a.c (]");
  EXPECT_EQ(found("a b#", "a b#",
                  NSRegularExpressionIgnoreMetacharacters | NSRegularExpressionAllowCommentsAndWhitespace),
            "[a b#]");
  EXPECT_EQ(found("a.b", "a\nb"), "");
  EXPECT_EQ(found("a.b", "a\nb", NSRegularExpressionDotMatchesLineSeparators), "[a\nb]");
  EXPECT_EQ(found("^.", "ab\ncd"), "[a]");
  EXPECT_EQ(found("^.", "ab\ncd", NSRegularExpressionAnchorsMatchLines), "[a][c]");
  EXPECT_EQ(found("a.b", "a\rb"), "");
  EXPECT_EQ(found("a.b", "a\rb", NSRegularExpressionUseUnixLineSeparators), "[a\rb]");
  EXPECT_EQ(found("\\b.", "can't", NSRegularExpressionUseUnicodeWordBoundaries), "[c]");
  EXPECT_EQ(found("\\b\\w", "can't"), "[c][t]");
}

TEST(NSRegularExpression, RefusesMalformedPatterns) {
  for (const NSString& pattern : {NSString("("), NSString("a{2,1}"), NSString("[a"), NSString("*"),
                                  NSString(""), NSString("(?<=a*)b"), NSString("\\1"), NSString()}) {
    NSError error;
    EXPECT_FALSE(NSRegularExpression::regularExpressionWithPattern(pattern, 0, &error)) << pattern;
    EXPECT_EQ(error.code(), 2048) << pattern;
    EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
  }
  EXPECT_FALSE(expression("("));
}

TEST(NSRegularExpression, TellsWhatItWasMadeFrom) {
  const auto e = expression("(a)(b)?", NSRegularExpressionCaseInsensitive);
  EXPECT_EQ(e->pattern(), "(a)(b)?");
  EXPECT_EQ(e->options(), NSUInteger{NSRegularExpressionCaseInsensitive});
  EXPECT_EQ(e->numberOfCaptureGroups(), 2u);
  EXPECT_EQ(Value(e), Value(expression("(a)(b)?", NSRegularExpressionCaseInsensitive)));
  EXPECT_EQ(Value(e).hash(), Value(expression("(a)(b)?", NSRegularExpressionCaseInsensitive)).hash());
  EXPECT_NE(Value(e), Value(expression("(a)(b)?")));
  EXPECT_NE(Value(e), Value("(a)(b)?"));
}

TEST(NSRegularExpression, RangesCountCodeUnitsInTextsOfEveryWidth) {
  const auto e = expression("b(c)?");
  const NSString texts[] = {"aab", NSString(u"\u00E9\u00E9b"), NSString(u"\U0001F600b")};
  for (const NSString& text : texts) {
    const auto match = e->firstMatchInString(text);
    EXPECT_EQ(match->range(), (NSRange{2, 1}));
    EXPECT_EQ(match->numberOfRanges(), 2u);
    EXPECT_EQ(match->rangeAtIndex(1), NSRangeNotFound);
    EXPECT_EQ(match->rangeAtIndex(2), NSRangeNotFound);
    EXPECT_EQ(match->resultType(), NSTextCheckingTypeRegularExpression);
  }
}

TEST(NSRegularExpression, SearchesAPart) {
  const auto digits = expression("\\d");
  const NSString text = "1a2b3c4";
  EXPECT_EQ(digits->numberOfMatchesInString(text), 4u);
  EXPECT_EQ(digits->numberOfMatchesInString(text, 0, {1, 4}), 2u);
  EXPECT_EQ(digits->rangeOfFirstMatchInString(text, 0, {1, 4}), (NSRange{2, 1}));
  EXPECT_EQ(digits->rangeOfFirstMatchInString(text, 0, {1, 1}), NSRangeNotFound);
  EXPECT_EQ(digits->stringByReplacingMatchesInString(text, 0, {1, 4}, "-"), "1a-b-c4");
  EXPECT_FALSE(digits->firstMatchInString(text, 0, {7, 0}));
  EXPECT_THROW(digits->matchesInString(text, 0, {5, 3}), NSException);
  EXPECT_THROW(digits->numberOfMatchesInString(text, 0, {8, 0}), NSException);
  EXPECT_THROW(digits->firstMatchInString(text, 0, NSRangeNotFound), NSException);
}

TEST(NSRegularExpression, TheBoundsOfAPart) {
  const auto begin = expression("^b"), ahead = expression("a(?=b)");
  EXPECT_EQ(begin->numberOfMatchesInString("ab", 0, {1, 1}), 1u);
  EXPECT_EQ(begin->numberOfMatchesInString("ab", NSMatchingWithoutAnchoringBounds, {1, 1}), 0u);
  EXPECT_EQ(ahead->numberOfMatchesInString("ab", 0, {0, 1}), 0u);
  EXPECT_EQ(ahead->numberOfMatchesInString("ab", NSMatchingWithTransparentBounds, {0, 1}), 1u);
  EXPECT_EQ(found(expression("a"), "aab", NSMatchingAnchored), "[a]");
  EXPECT_EQ(found(expression("b"), "aab", NSMatchingAnchored), "");
}

TEST(NSRegularExpression, ABlockSeesEachMatchAndMayStop) {
  const auto e = expression("\\d");
  std::vector<NSUInteger> places;
  e->enumerateMatchesInString("1a2b3", NSMatchingReportCompletion, {0, 5},
                              [&](const Ref<NSTextCheckingResult>& result, NSUInteger flags, bool&) {
                                places.push_back(result ? result->range().location : 100 + flags);
                              });
  EXPECT_EQ(places, (std::vector<NSUInteger>{0, 2, 4, 100 + NSMatchingCompleted}));
  int calls = 0;
  e->enumerateMatchesInString(
      "1a2b3", NSMatchingReportCompletion, {0, 5},
      [&](const Ref<NSTextCheckingResult>&, NSUInteger, bool& stop) { stop = ++calls == 2; });
  EXPECT_EQ(calls, 2);
  e->enumerateMatchesInString("1", 0, {0, 1}, nullptr);
}

TEST(NSRegularExpression, ABlockHearsOfProgressAndEnds) {
  NSUInteger seen = 0;
  expression("b+")->enumerateMatchesInString(
      "aab", NSMatchingReportProgress, {0, 3},
      [&](const Ref<NSTextCheckingResult>&, NSUInteger flags, bool&) { seen |= flags; });
  EXPECT_TRUE(seen & NSMatchingProgress);
  EXPECT_TRUE(seen & NSMatchingHitEnd);
  int calls = 0;
  expression("b")->enumerateMatchesInString(std::string(100, 'a'), NSMatchingReportProgress, {0, 100},
                                            [&](const Ref<NSTextCheckingResult>&, NSUInteger, bool& stop) {
                                              ++calls;
                                              stop = true;
                                            });
  EXPECT_EQ(calls, 1);
}

TEST(NSRegularExpression, TemplatesNameGroups) {
  EXPECT_EQ(replaced("(b)", "abc", "[$1$0]"), "a[bb]c");
  EXPECT_EQ(replaced("x*", "abc", "-"), "-a-b-c-");
  EXPECT_EQ(replaced("(a)(b)?", "a", "<$1|$2>"), "<a|>");
  EXPECT_EQ(replaced("(b)", "abc", "$9"), "ac");
  EXPECT_EQ(replaced("(b)", "abc", "$12"), "ab2c");
  EXPECT_EQ(replaced("(b)", "abc", "$01"), "abc");
  EXPECT_EQ(replaced("(b)", "abc", "$95"), "a5c");
  EXPECT_EQ(replaced("b", "abc", "\\$1"), "a$1c");
  EXPECT_EQ(replaced("b", "abc", "\\\\"), "a\\c");
  EXPECT_EQ(replaced("b", "abc", "\\n"), "anc");
  EXPECT_EQ(replaced("b", "abc", "$"), "a$c");
  EXPECT_EQ(replaced("b", "abc", "$$"), "a$$c");
  EXPECT_EQ(replaced("b", "abc", "$x"), "a$xc");
  EXPECT_EQ(replaced("(?<n>b)", "abc", "${n}"), "a${n}c");
  EXPECT_EQ(replaced("b", "abc", "&"), "a&c");
  EXPECT_EQ(replaced("(b)", "abc", "\\1"), "a1c");
  EXPECT_EQ(replaced("b", "abc", "end\\"), "aendc");
  EXPECT_EQ(replaced("(1)(2)(3)(4)(5)(6)(7)(8)(9)(a)(b)(c)", "123456789abc", "$12$10$123"), "cac3");
  EXPECT_EQ(replaced("\xC3\xA9", "caf\xC3\xA9", "\xE6\xBC\xA2"), "caf\xE6\xBC\xA2");
}

TEST(NSRegularExpression, OneResultHasItsOwnReplacement) {
  const auto e = expression("(\\w)(\\d)");
  const NSString text = "a1 b2";
  const auto match = e->firstMatchInString(text, 0, {2, 3});
  EXPECT_EQ(e->replacementStringForResult(*match, text, 0, "$2$1"), "2b");
  EXPECT_EQ(e->replacementStringForResult(*match, "12" + text, 2, "$2$1"), "2b");
  EXPECT_TRUE(e->replacementStringForResult(*match, nil, 0, "$2").isNil());
  EXPECT_TRUE(e->replacementStringForResult(*match, text, 0, nil).isNil());
}

TEST(NSRegularExpression, EscapedTextsStandForThemselves) {
  EXPECT_EQ(NSRegularExpression::escapedPatternForString("a.b*(c)"), "a\\.b\\*\\(c\\)");
  EXPECT_EQ(NSRegularExpression::escapedTemplateForString("$1\\"), "\\$1\\\\");
  EXPECT_TRUE(NSRegularExpression::escapedPatternForString(nil).isNil());
  EXPECT_TRUE(rc::check([](const std::string& bytes) {
    const NSString text = NSString::stringWithLossyUTF8(bytes);
    RC_PRE(text.length() > 0);
    const auto e = expression(NSRegularExpression::escapedPatternForString(text));
    const NSString whole = "<" + text + ">";
    const NSUInteger first = whole.utf16().find(text.utf16());  // not 1 where the text is itself "<"
    RC_ASSERT(e->rangeOfFirstMatchInString(whole) == (NSRange{first, text.length()}));
    RC_ASSERT(expression("x")->stringByReplacingMatchesInString(
                  "x", NSRegularExpression::escapedTemplateForString(text)) == text);
  }));
}

TEST(NSRegularExpression, AnEscapedTextIsFoundWhereItIsFirst) {
  const auto e = expression(NSRegularExpression::escapedPatternForString("<<"));
  EXPECT_EQ(e->rangeOfFirstMatchInString("<<<>"), (NSRange{0, 2}));
}

TEST(NSRegularExpression, NilTextsHaveNoMatch) {
  const auto e = expression("a");
  EXPECT_EQ(e->matchesInString(nil).count(), 0u);
  EXPECT_EQ(e->numberOfMatchesInString(nil), 0u);
  EXPECT_FALSE(e->firstMatchInString(nil));
  EXPECT_EQ(e->rangeOfFirstMatchInString(nil), NSRangeNotFound);
  EXPECT_TRUE(e->stringByReplacingMatchesInString(nil, "b").isNil());
  EXPECT_EQ(e->stringByReplacingMatchesInString("a", nil), "a");
}

TEST(NSRegularExpression, ALostSearchFindsNothingAndWarnsOnce) {
  LogLines log;
  const auto e = expression(kEndless);
  EXPECT_FALSE(e->firstMatchInString(kManyAs));
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning),
              testing::ElementsAre("Search for the pattern (a+)+$ given up: U_REGEX_TIME_OUT"));
  EXPECT_EQ(e->stringByReplacingMatchesInString(kManyAs, "x"), kManyAs);
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning), testing::SizeIs(1));
  NSUInteger last = 0;
  e->enumerateMatchesInString(kManyAs, NSMatchingReportCompletion, {0, kManyAs.length()},
                              [&](const Ref<NSTextCheckingResult>&, NSUInteger flags, bool&) { last = flags; });
  EXPECT_EQ(last, NSUInteger{NSMatchingCompleted | NSMatchingInternalError});
}

TEST(NSRegularExpression, LongTextsAreNoReasonToGiveUp) {
  const LogLines log;
  const NSString text = std::string(2000000, 'a');
  EXPECT_EQ(expression("a{1,3}")->numberOfMatchesInString(text), 666667u);
}

TEST(NSRegularExpression, ThreadsShareOne) {
  const auto e = expression("(\\d+)-(\\d+)");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&e, t] {
      for (int i = 0; i < 300; ++i) {
        const NSString text = std::to_string(t) + "-" + std::to_string(i);
        EXPECT_EQ(e->stringByReplacingMatchesInString(text, "$2-$1"),
                  NSString(std::to_string(i) + "-" + std::to_string(t)));
        EXPECT_TRUE(expression(std::to_string(i % 20)));
      }
    });
  for (std::thread& thread : threads) thread.join();
}

TEST(NSTextCheckingResultOrvane, ReadsTheTextsOfAMatchAndItsGroups) {
  const NSString text = "a";
  const auto match = expression("(a)(b)?")->firstMatchInString(text);
  EXPECT_EQ(match->inString(text), "a");
  EXPECT_EQ(match->inString(text, 0), "a");
  EXPECT_EQ(match->inString(text, 1), "a");
  EXPECT_EQ(match->inString(text, 2), "");
  EXPECT_TRUE(match->inString(text, 3).isNil());
  EXPECT_EQ(match->groupsInString(text), (NSArray{"a", "a", ""}));
  match->groupsInString(text).addObject("it can grow");
}

TEST(NSTextCheckingResultOrvane, AnotherTextIsReadAsFarAsItGoes) {
  const auto match = expression("(b)c")->firstMatchInString("abc");
  EXPECT_EQ(match->inString("xyz"), "yz");
  EXPECT_EQ(match->inString("xy"), "y");
  EXPECT_EQ(match->inString("x", 1), "");
  EXPECT_EQ(match->inString(""), "");
  EXPECT_TRUE(match->inString(nil).isNil());
  EXPECT_TRUE(match->inString(nil, 1).isNil());
  EXPECT_TRUE(match->groupsInString(nil).isNil());
}

TEST(NSTextCheckingResultOrvane, ADateHasOneRange) {
  const auto date = NSTextCheckingResult::dateCheckingResultWithRange({1, 2}, NSDate::date());
  EXPECT_EQ(date->numberOfRanges(), 1u);
  EXPECT_EQ(date->inString("abcd"), "bc");
  EXPECT_TRUE(date->inString("abcd", 1).isNil());
}
