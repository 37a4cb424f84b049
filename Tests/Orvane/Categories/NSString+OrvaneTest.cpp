#include <set>
#include <string>
#include <vector>

#include "Orvane/OrvAssert.h"
#include "Platform/Foundation/Text/UnitScan.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSCharacterSet.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSNull.h"
#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/NSURL.h"
#include "Tests/Support/LogLines.h"

using namespace orv;

namespace {

struct TextCase {
  const char16_t* input;
  const char16_t* expected;
};

NSArray arrayOf(std::initializer_list<const char*> words) {
  NSMutableArray array = NSMutableArray::array();
  for (const char* word : words) array.addObject(NSString(word));
  return array;
}

// Texts from an alphabet that provokes the operations, 8-bit and 16-bit.
rc::Gen<std::u16string> oddText() {
  return rc::gen::container<std::u16string>(
      rc::gen::element<char16_t>(u'a', u'b', u' ', u' ', u'\t', u'\n', u'\r', u'\u0085', u'\u00A0', u'\u00E9',
                                 u'\u2003', u'\u2028', u'\u3000', u'\u200B', u'\uFFFC', u'\uFFFF', u'\u0378',
                                 0xD83D, 0xDE00, u'&', u'<', u'"', u'\\', u'\'', 0, 31, 127));
}

template <class F>
void forOddTexts(F&& law) {
  EXPECT_TRUE(rc::check([&] { law(NSString(*oddText())); }));
}

NSString joined(const NSArray& words, const char* separator) {
  return words.componentsJoinedByString(separator);
}

NSArray wordsBySet(const NSString& text) {
  NSMutableArray words = NSMutableArray::array();
  const NSCharacterSet blanks = NSCharacterSet::whitespaceAndNewlineCharacterSet();
  for (const Value& piece : text.componentsSeparatedByCharactersInSet(blanks))
    if (piece.as<NSString>().length() > 0) words.addObject(piece);
  return words;
}

}  // namespace

TEST(UnitScan, WhiteSpaceAndNewlinesAreThoseOfTheCharacterSets) {
  const NSCharacterSet blanks = NSCharacterSet::whitespaceAndNewlineCharacterSet();
  const NSCharacterSet newlines = NSCharacterSet::newlineCharacterSet();
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    const bool small = c <= 0xFFFF;
    EXPECT_EQ(small && detail::isWhiteSpace(static_cast<char16_t>(c)), blanks.longCharacterIsMember(c))
        << static_cast<uint32_t>(c);
    EXPECT_EQ(small && detail::isBlankUnit(static_cast<char16_t>(c)), blanks.longCharacterIsMember(c))
        << static_cast<uint32_t>(c);
    EXPECT_EQ(small && detail::isNewline(static_cast<char16_t>(c)), newlines.longCharacterIsMember(c))
        << static_cast<uint32_t>(c);
  }
}

TEST(UnitScan, FindsTheFirstMemberAtEveryPlaceAndLength) {
  using Wanted = detail::UnitClass<0x20, '&', '}'>;
  for (size_t length = 0; length < 70; ++length) {
    std::vector<uint8_t> narrow(length, 0xA6);   // '&' and the high bit
    std::vector<char16_t> wide(length, 0x0126);  // '&' and a higher byte
    EXPECT_EQ(Wanted::find(narrow.data(), 0, length), length);
    EXPECT_EQ(Wanted::find(wide.data(), 0, length), length);
    for (size_t at = 0; at < length; ++at) {
      for (const char16_t unit : {u'&', u'}', u'\x1F', u'\0'}) {
        narrow[at] = static_cast<uint8_t>(unit);
        wide[at] = unit;
        EXPECT_EQ(Wanted::find(narrow.data(), 0, length), at);
        EXPECT_EQ(Wanted::find(wide.data(), at / 2, length), at);
        EXPECT_EQ(Wanted::find(wide.data(), at + 1, length), length);
      }
      narrow[at] = 0x20;
      wide[at] = 0x20;
    }
  }
}

TEST(NSStringText, BlankAndEmpty) {
  struct Case {
    const char16_t* text;
    bool blank, empty;
  };
  const Case cases[] = {{u"", true, true},         {u" \t\r\n\u2028\u3000", true, true},
                        {u"a", false, false},      {u" a ", false, false},
                        {u"\uFFFC", false, true},  {u" \uFFFF ", false, true},
                        {u"\u200B", false, false}, {u"\u00A0\u0085", true, true},
                        {u"\xD800", false, true}};
  for (const Case& c : cases) {
    EXPECT_EQ(NSString(c.text).isBlank(), c.blank) << NSString(c.text).repr();
    EXPECT_EQ(NSString(c.text).empty(), c.empty) << NSString(c.text).repr();
  }
}

TEST(NSStringText, ADefaultReplacesABlankText) {
  EXPECT_EQ(NSString(" \n").stringValueWithDefault("x"), "x");
  EXPECT_EQ(NSString(" a ").stringValueWithDefault("x"), " a ");
  EXPECT_TRUE(NSString("").stringValueWithDefault(nil).isNil());
}

TEST(NSStringText, StripTrimsThreeTimesInItsOrder) {
  const TextCase cases[] = {
      {u"", u""},
      {u"  a b \t\n", u"a b"},
      {u"\u2003a\u2028", u"a"},
      {u"a\uFFFC", u"a"},
      {u"\uFFFC\uFFFCa\uFFFC b\uFFFC", u"a\uFFFC b"},
      {u" \u0378a\uFFFF \n", u"a"},
      {u"\uFFFF a \uFFFF", u" a "},    // the blanks were inside
      {u"\uFFFC\uFFFFa", u"\uFFFFa"},  // the attachment was outside
      {u"\uFFFF\uFFFCa\uFFFC\uFFFF", u"a"},
      {u"a \uFFFC", u"a "},
      {u"\xDC00"
       u"a\xD800",
       u"a"},
      {u"\U0001F600", u"\U0001F600"},  // a pair is a character
      {u"\U0003FFFE\U0001F600\U0003FFFF", u"\U0001F600"},
      {u"\u200Ba\uFEFF", u"\u200Ba\uFEFF"},
      {u"\u202Ea\u202C", u"\u202Ea\u202C"},  // directional controls are assigned
      {u"   ", u""},
      {u"\uFFFF\uFFFF", u""},
      {u"\u0000a\u0000", u""},  // ends at the first zero: the literal is empty
  };
  for (const auto& [input, expected] : cases)
    EXPECT_EQ(NSString(input).strip(), NSString(expected)) << NSString(input).repr();
  EXPECT_EQ(NSString(std::u16string(u"\0a\0", 3)).strip().length(), 3u);
}

TEST(NSStringText, StripIsThreeTrimsBySets) {
  const NSCharacterSet attachment = NSCharacterSet::characterSetWithCharactersInString(u"\uFFFC");
  forOddTexts([&](const NSString& text) {
    RC_ASSERT(text.strip() ==
              text.stringByTrimmingCharactersInSet(NSCharacterSet::whitespaceAndNewlineCharacterSet())
                  .stringByTrimmingCharactersInSet(NSCharacterSet::illegalCharacterSet())
                  .stringByTrimmingCharactersInSet(attachment));
  });
}

TEST(NSStringText, LeftTrimsLeaveTheEnd) {
  EXPECT_EQ(NSString(" \ta ").lstrip(), "a ");
  EXPECT_EQ(NSString(u"\u3000\u0436 ").lstrip(), u"\u0436 ");
  EXPECT_EQ(NSString("  ").lstrip(), "");
  const NSCharacterSet xy = NSCharacterSet::characterSetWithCharactersInString(u"xy\U0001F600");
  EXPECT_EQ(NSString("xyxaxy").stringByLTrimmingCharactersInSet(xy), "axy");
  EXPECT_EQ(NSString("xy").stringByLTrimmingCharactersInSet(xy), "");
  EXPECT_EQ(NSString("xa").stringByLTrimmingCharactersInSet(nil), "xa");
  // Unit by unit: the pair's halves are no members, the set has the whole code point alone.
  EXPECT_EQ(NSString(u"x\U0001F600").stringByLTrimmingCharactersInSet(xy), u"\U0001F600");
  forOddTexts([](const NSString& text) {
    RC_ASSERT(text.lstrip() ==
              text.stringByLTrimmingCharactersInSet(NSCharacterSet::whitespaceAndNewlineCharacterSet()));
  });
}

TEST(NSStringText, SplitGivesTheWords) {
  EXPECT_EQ(NSString(" a  b\tc\r\n").split(), arrayOf({"a", "b", "c"}));
  EXPECT_EQ(NSString(u"\u0436\u2003\u0437").split().count(), 2u);
  EXPECT_EQ(NSString("").split().count(), 0u);
  EXPECT_EQ(NSString("  ").split().count(), 0u);
  forOddTexts([](const NSString& text) { RC_ASSERT(text.split() == wordsBySet(text)); });
}

TEST(NSStringText, SplitArraysCanBeChanged) {
  NSMutableArray words = NSString("a b").split();
  words.addObject("c");
  EXPECT_EQ(words.count(), 3u);
  NSMutableArray pieces = NSString("a,b").splitBy(",");
  pieces.removeLastObject();
  EXPECT_EQ(pieces.count(), 1u);
}

TEST(NSStringText, SplitBySeparatorKeepsEmptyPieces) {
  EXPECT_EQ(NSString("a,,b").splitBy(","), arrayOf({"a", "", "b"}));
  EXPECT_EQ(NSString(",").splitBy(","), arrayOf({"", ""}));
  EXPECT_EQ(NSString("").splitBy(","), arrayOf({""}));
  EXPECT_EQ(NSString("a--b-").splitBy("--"), arrayOf({"a", "b-"}));
  EXPECT_EQ(NSString("abc").splitBy(""), arrayOf({"abc"}));
  EXPECT_EQ(NSString("abc").splitBy(nil), arrayOf({"abc"}));
}

TEST(NSStringText, CollapseJoinsTheWordsWithOneBlank) {
  EXPECT_EQ(NSString(" a \t b\n").collapse(), "a b");
  EXPECT_EQ(NSString("a b ").collapse(), "a b");
  EXPECT_EQ(NSString(" a").collapse(), "a");
  EXPECT_EQ(NSString("a\tb").collapse(), "a b");
  EXPECT_EQ(NSString(u"\u0436\u00A0\u0437").collapse(), u"\u0436 \u0437");
  EXPECT_EQ(NSString(u"a\u2003b").collapse(), "a b");  // narrow again
  EXPECT_EQ(NSString("").collapse(), "");
  EXPECT_EQ(NSString(" ").collapse(), "");
  forOddTexts([](const NSString& text) { RC_ASSERT(text.collapse() == joined(text.split(), " ")); });
}

TEST(NSStringText, LongTextsCollapseToo) {
  std::string spaced, plain;
  for (int i = 0; i < 3000; ++i) {
    spaced += "word  \n ";
    plain += i ? " word" : "word";
  }
  EXPECT_EQ(NSString(spaced).collapse(), NSString(plain));
  EXPECT_EQ(NSString(plain + "  ").collapse(), NSString(plain));
  const NSString wide = NSString(spaced) + u"\u0436";
  EXPECT_EQ(wide.collapse(), NSString(plain) + u" \u0436");
  EXPECT_EQ(wide.stripAllBlanks().length(), 3000u * 4 + 1);
}

TEST(NSStringText, CollapsedLinesOfOneUnitVanish) {
  const TextCase cases[] = {
      {u"a\n  b  c \n\nx", u"b c"},
      {u"ab\r\ncd", u"ab\ncd"},
      {u"ab\u0085cd\u2028ef\u2029gh\vij\fkl", u"ab\ncd\nef\ngh\nij\nkl"},
      {u"ab\n", u"ab"},
      {u"\n\nab", u"ab"},
      {u"\U0001F600", u"\U0001F600"},
      {u"\u0436", u""},
      {u"", u""},
      {u"\n", u""},
      {u"ab", u"ab"},
  };
  for (const auto& [input, expected] : cases)
    EXPECT_EQ(NSString(input).collapseLines(), NSString(expected)) << NSString(input).repr();
  forOddTexts([](const NSString& text) {
    NSMutableArray kept = NSMutableArray::array();
    const NSCharacterSet newlines = NSCharacterSet::newlineCharacterSet();
    for (const Value& line : text.componentsSeparatedByCharactersInSet(newlines))
      if (const NSString one = line.as<NSString>().collapse(); one.length() >= 2) kept.addObject(one);
    RC_ASSERT(text.collapseLines() == joined(kept, "\n"));
  });
}

TEST(NSStringText, AllBlanksCanGo) {
  EXPECT_EQ(NSString(" a b\u00A0c\n").stripAllBlanks(), "abc");
  EXPECT_EQ(NSString(" ").stripAllBlanks(), "");
  forOddTexts([](const NSString& text) { RC_ASSERT(text.stripAllBlanks() == joined(text.split(), "")); });
}

TEST(NSStringText, ATextThatNeedsNoWorkIsAnsweredItself) {
  const std::u16string long16(1000, u'\u0436');
  for (const NSString& text : {NSString("plain text"), NSString(u"\u0436\u0437 x"), NSString(long16)}) {
    EXPECT_TRUE(text.strip().isSame(text));
    EXPECT_TRUE(text.lstrip().isSame(text));
    EXPECT_TRUE(text.collapse().isSame(text));
    EXPECT_TRUE(text.collapseLines().isSame(text));
    EXPECT_TRUE(text.escape().isSame(text));
    EXPECT_TRUE(text.escapeWithBreakLine().isSame(text));
    EXPECT_TRUE(text.replace("QQ", "x").isSame(text));
    EXPECT_TRUE(text.sliceFrom(0, 0).isSame(text));
    EXPECT_TRUE(text.stringValueWithDefault("x").isSame(text));
  }
  const NSString solid = "solid";
  EXPECT_TRUE(solid.stripAllBlanks().isSame(solid));
  EXPECT_TRUE(solid.urlEncode().isSame(solid));
}

TEST(NSStringText, ContainsIsLiteral) {
  EXPECT_TRUE(NSString("hello").contains("ell"));
  EXPECT_FALSE(NSString("hello").contains("ELL"));
  EXPECT_FALSE(NSString("hello").contains(""));
  EXPECT_FALSE(NSString("hello").contains(nil));
  EXPECT_FALSE(NSString("\u00E9").contains(u"e\u0301"));
}

TEST(NSStringText, AnAddressHoldsAnAtOrADot) {
  EXPECT_TRUE(NSString("example.org").isValidEmail());
  EXPECT_TRUE(NSString("a@b").isValidEmail());
  EXPECT_TRUE(NSString(u"\u0436@").isValidEmail());
  EXPECT_FALSE(NSString("nobody").isValidEmail());
  EXPECT_FALSE(NSString("").isValidEmail());
}

TEST(NSStringText, SlicesCountFromBothEnds) {
  struct Case {
    long from, to;
    const char* expected;
  };
  const Case cases[] = {{1, 3, "el"},
                        {-3, 0, "llo"},
                        {0, -1, "hell"},
                        {4, 2, ""},
                        {5, 0, ""},
                        {-10, 2, "he"},
                        {0, 0, "hello"},
                        {0, 99, "hello"},
                        {2, 2, ""},
                        {-2, -1, "l"},
                        {0, -5, ""},
                        {0, -99, ""},
                        {4, 0, "o"},
                        {99, 100, ""},
                        {-1, LONG_MAX, "o"},
                        {LONG_MIN, 1, "h"},
                        {0, LONG_MIN, ""},
                        {LONG_MAX, 0, ""},
                        {LONG_MIN, LONG_MIN, ""}};
  for (const auto& [from, to, expected] : cases)
    EXPECT_EQ(NSString("hello").sliceFrom(from, to), expected) << from << ' ' << to;
  EXPECT_EQ(NSString("").sliceFrom(0, 0), "");
  EXPECT_EQ(NSString(u"\U0001F600").sliceFrom(0, 1), u"\xD83D");  // units, not characters
  EXPECT_EQ(NSString("hello").range(), (NSRange{0, 5}));
}

TEST(NSStringText, ReplaceTakesAnyReplacement) {
  EXPECT_EQ(NSString("aaa").replace("aa", "b"), "ba");
  EXPECT_EQ(NSString("a1a").replace("a", 7), "717");
  EXPECT_EQ(NSString("abc").replace("b", ""), "ac");
  EXPECT_EQ(NSString("abc").replace("b", NSNull::null()), "ac");
  EXPECT_EQ(NSString("abc").replace("", "x"), "abc");
  EXPECT_EQ(NSString("abc").replace("b", nil), "abc");
  EXPECT_EQ(NSString("abc").replace("b", NSData::dataWithBytes("\xFF", 1)), "abc");
  EXPECT_EQ(NSString("abc").replace("b", NSString(u"\u0436")), u"a\u0436c");
  EXPECT_EQ(NSString("false").replace("false", "x"), "x");
}

TEST(NSStringText, ReplaceAssertsSoftlyThatThePatternIsAString) {
  LogLines lines;
  EXPECT_EQ(NSString("a1b").replace(1, "x"), "axb");
  EXPECT_EQ(NSString("a1b").replace(nil, "x"), "a1b");
  EXPECT_EQ(NSString("a0b").replace(0, "x"), "a0b");  // not true
  const auto messages = lines.takeMessages(OrvLogLevelWarning);
  ASSERT_EQ(messages.size(), 3u);
  for (const std::string& message : messages) {
    EXPECT_NE(message.find("!!(([(replace) isKindOfClass:[NSString class]]))"), std::string::npos) << message;
    EXPECT_NE(message.find("NSString+Orvane"), std::string::npos) << message;
  }
  EXPECT_EQ(NSString("abc").replace("b", "x"), "axc");
  EXPECT_TRUE(NSString().replace(1, "x").isNil());
  EXPECT_TRUE(lines.take().empty());
}

TEST(NSStringText, EscapeWritesEntities) {
  EXPECT_EQ(NSString("<a href=\"x\">'&amp;'</a>").escape(),
            "&lt;a href=&quot;x&quot;&gt;'&amp;amp;'&lt;/a&gt;");
  EXPECT_EQ(NSString(u"\u0436<\n").escape(), u"\u0436&lt;\n");
  EXPECT_EQ(NSString("a\n<\r\n").escapeWithBreakLine(), "a<br/>&lt;\r<br/>");
  EXPECT_EQ(NSString("").escape(), "");
  forOddTexts([](const NSString& text) {
    const NSString plain =
        text.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;").replace("\"", "&quot;");
    RC_ASSERT(text.escape() == plain);
    RC_ASSERT(text.escapeWithBreakLine() == plain.replace("\n", "<br/>"));
  });
}

TEST(NSStringText, ReprQuotesAndEscapesOnlyWhereItMust) {
  EXPECT_EQ(NSString("it's").repr(), "\"it's\"");
  EXPECT_EQ(NSString("it's\n").repr(), "\"it\\'s\\n\"");
  EXPECT_EQ(NSString("").repr(), "\"\"");
  EXPECT_EQ(NSString("\"\\").repr(), "\"\\\"\\\\\"");
  EXPECT_EQ(NSString("\b\t\n\v\f\r\x1F\x7F").repr(), "\"\\b\\t\\n\\u000b\\f\\r\\u001f\x7F\"");
  EXPECT_EQ(NSString(std::u16string(1, u'\0')).repr(), "\"\\u0000\"");
  EXPECT_EQ(NSString(u"\u0436'").repr(), u"\"\u0436'\"");
  EXPECT_EQ(NSString(u"\u0436'\t\xD800").repr(), u"\"\u0436\\'\\t\xD800\"");
}

TEST(NSStringText, DataIsUtf8) {
  EXPECT_EQ(NSString::stringWithData(NSString(u"\u0436\U0001F600").data()), u"\u0436\U0001F600");
  EXPECT_EQ(NSString("").data().length(), 0u);
  EXPECT_TRUE(NSString(u"\xD800").data().isNil());
  EXPECT_TRUE(NSString::stringWithData(NSData::dataWithBytes("\xC0\x80", 2)).isNil());
  EXPECT_TRUE(NSString::stringWithData(nil).isNil());
}

TEST(NSStringText, UuidsAreRandomVersion4) {
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) {
    const std::string id = NSString::uuid().utf8(), shortId = NSString::uuidShort().utf8();
    ASSERT_THAT(id,
                testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
    ASSERT_THAT(shortId, testing::MatchesRegex("[0-9a-f]{12}4[0-9a-f]{3}[89ab][0-9a-f]{15}"));
    seen.insert({id, shortId});
  }
  EXPECT_EQ(seen.size(), 2000u);
}

TEST(NSStringText, RandomWordsArePronounceable) {
  std::set<size_t> lengths;
  std::set<char> letters;
  for (int i = 0; i < 5000; ++i) {
    const std::string word = NSString::randomString().utf8();
    lengths.insert(word.size());
    letters.insert(word.begin(), word.end());
    for (size_t k = 0; k < word.size(); ++k) {
      const bool vowel = std::string("aeiouy").find(word[word.size() - 1 - k]) != std::string::npos;
      ASSERT_EQ(vowel, k % 2 == 0) << word;
    }
  }
  EXPECT_EQ(lengths, (std::set<size_t>{2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
  EXPECT_EQ(std::string(letters.begin(), letters.end()), "abcdefghijklmnopqrstuvwxyz");
}

TEST(NSStringText, RandomWordsAreCapitalised) {
  for (long count : {1L, 2L, 50L}) {
    const NSString words = NSString::randomWords(count);
    EXPECT_EQ(words.split().count(), static_cast<NSUInteger>(count));
    EXPECT_EQ(words.capitalizedString(), words);
    EXPECT_EQ(words.collapse(), words);
  }
  EXPECT_EQ(NSString::randomWords(0), "");
  EXPECT_EQ(NSString::randomWords(-1), "");
}

TEST(NSStringText, NilAnswersTheNeutralResult) {
  const NSString none;
  const NSCharacterSet blanks = NSCharacterSet::whitespaceAndNewlineCharacterSet();
  EXPECT_FALSE(none.isBlank());
  EXPECT_FALSE(none.empty());
  EXPECT_FALSE(none.contains("a"));
  EXPECT_FALSE(none.isValidEmail());
  EXPECT_EQ(none.range(), (NSRange{0, 0}));
  for (const Value& answer : std::initializer_list<Value>{none.stringValueWithDefault("x"),
                                                          none.strip(),
                                                          none.lstrip(),
                                                          none.stringByLTrimmingCharactersInSet(blanks),
                                                          none.split(),
                                                          none.splitBy(","),
                                                          none.collapse(),
                                                          none.collapseLines(),
                                                          none.stripAllBlanks(),
                                                          none.sliceFrom(0, 1),
                                                          none.replace("a", "b"),
                                                          none.escape(),
                                                          none.escapeWithBreakLine(),
                                                          none.repr(),
                                                          none.data(),
                                                          none.urlEncode(),
                                                          none.addQuery(nil),
                                                          none.parseQuery(),
                                                          none.humanizeURL(),
                                                          none.URL(),
                                                          none.stringByTransformingToPlainLatin(),
                                                          none.stringBySanitizingFileName(),
                                                          none.stringBySanitizingFileNameWithReplacement("x"),
                                                          none.stringBySanitizingFileNameAcceptFolderSlashes(),
                                                          none.stringByApplyingTransform("Any-Latin", false)})
    EXPECT_TRUE(answer.isNil());
}
