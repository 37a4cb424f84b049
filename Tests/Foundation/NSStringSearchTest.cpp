#include <ctime>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSCharacterSet.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSString.h"

using namespace orv;

namespace {

std::vector<std::string> textsOf(const NSArray& array) {
  std::vector<std::string> texts;
  for (NSUInteger i = 0; i < array.count(); ++i) texts.push_back(array.objectAtIndex(i).as<NSString>().utf8());
  return texts;
}

struct FindCase {
  NSString text, wanted;
  NSUInteger options;
  NSRange expected;
};

const FindCase kFinds[] = {
    {"abcabc", "b", 0, {1, 1}},
    {"abcabc", "b", NSBackwardsSearch, {4, 1}},
    {"abcabc", "abc", NSAnchoredSearch, {0, 3}},
    {"abcabc", "bc", NSAnchoredSearch, NSRangeNotFound},
    {"abcabc", "bc", NSAnchoredSearch | NSBackwardsSearch, {4, 2}},
    {"abcabc", "ab", NSAnchoredSearch | NSBackwardsSearch, NSRangeNotFound},
    {"abc", "", 0, NSRangeNotFound},
    {"", "a", 0, NSRangeNotFound},
    {"", "", 0, NSRangeNotFound},
    {"abc", "abcd", 0, NSRangeNotFound},
    {"abc", "\u0416", 0, NSRangeNotFound},
    {"\u0416\u0416abc", "abc", 0, {2, 3}},
    {"\u0416\u0416abc", "\u0416a", 0, {1, 2}},
    {"\u0416\u0416abc", "\u0416", NSBackwardsSearch, {1, 1}},
    {"\u0416a\u0416a", "a", NSBackwardsSearch, {3, 1}},
    {"aaaa", "aa", 0, {0, 2}},
    {"aaaa", "aa", NSBackwardsSearch, {2, 2}},
    {"Hello World", "WORLD", NSCaseInsensitiveSearch, {6, 5}},
    {"Hello World", "L", NSCaseInsensitiveSearch | NSBackwardsSearch, {9, 1}},
    {"eine Stra\u00DFe!", "STRASSE", NSCaseInsensitiveSearch, {5, 6}},
    {"STRASSE", "stra\u00DFe", NSCaseInsensitiveSearch, {0, 7}},
    {"\u00DF", "s", NSCaseInsensitiveSearch, NSRangeNotFound},
    {"\u00DFs", "s", NSCaseInsensitiveSearch, {1, 1}},
    {"s\u00DF", "s", NSCaseInsensitiveSearch | NSBackwardsSearch, {0, 1}},
    {"\u212Aelvin", "k", NSCaseInsensitiveSearch, {0, 1}},
    {"\u0416\u0416", "\u0436", NSCaseInsensitiveSearch | NSBackwardsSearch, {1, 1}},
    {"xABC", "abc", NSCaseInsensitiveSearch | NSAnchoredSearch, NSRangeNotFound},
    {"ABCx", "abc", NSCaseInsensitiveSearch | NSAnchoredSearch, {0, 3}},
    {"xABC", "abc", NSCaseInsensitiveSearch | NSAnchoredSearch | NSBackwardsSearch, {1, 3}},
    {"ABCx", "abc", NSCaseInsensitiveSearch | NSAnchoredSearch | NSBackwardsSearch, NSRangeNotFound},
    {"\U0001F600\U00010400", "\U00010428", NSCaseInsensitiveSearch, {2, 2}},
};

std::u16string lowered(std::u16string text) {
  for (char16_t& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char16_t>(c + 32);
  return text;
}

// Few different units, so that needles occur and nearly occur.
rc::Gen<std::u16string> clumsyText() {
  return rc::gen::container<std::u16string>(rc::gen::element<char16_t>(u'a', u'A', u'b', u'\u0101', u'\u0100'));
}

NSRange expectedRange(size_t at, size_t length) {
  return at == std::u16string::npos ? NSRangeNotFound : NSRange{at, length};
}

}  // namespace

TEST(NSStringSearch, OccurrencesAreFound) {
  for (const FindCase& c : kFinds) {
    const NSRange found = c.text.rangeOfString(c.wanted, c.options);
    EXPECT_EQ(found.location, c.expected.location) << c.text << " " << c.wanted << " " << c.options;
    EXPECT_EQ(found.length, c.expected.length) << c.text << " " << c.wanted << " " << c.options;
  }
}

TEST(NSStringSearch, NilIsNeverFoundAndFindsNothing) {
  EXPECT_FALSE(NSString().rangeOfString("a").isFound());
  EXPECT_FALSE(NSString("a").rangeOfString(nil).isFound());
  EXPECT_FALSE(NSString().rangeOfStringInRange("a", 0, {5, 5}).isFound());
  EXPECT_FALSE(NSString("a").containsString(nil));
  EXPECT_FALSE(NSString("a").rangeOfCharacterFromSet(nil).isFound());
}

TEST(NSStringSearch, EmptyTextsAreNeverPrefixSuffixOrContained) {
  for (const NSString& nothing : {NSString(""), NSString()}) {
    EXPECT_FALSE(NSString("abc").hasPrefix(nothing));
    EXPECT_FALSE(NSString("abc").hasSuffix(nothing));
    EXPECT_FALSE(NSString("abc").containsString(nothing));
    EXPECT_FALSE(nothing.hasPrefix("a"));
  }
}

TEST(NSStringSearch, PrefixesAndSuffixesCompareAcrossWidths) {
  EXPECT_TRUE(NSString("abc\u0416").hasPrefix("abc"));
  EXPECT_FALSE(NSString("abc\u0416").hasPrefix("abd"));
  EXPECT_TRUE(NSString("\u0416abc").hasSuffix("abc"));
  EXPECT_TRUE(NSString("abc").hasPrefix("abc"));
  EXPECT_FALSE(NSString("abc").hasPrefix("abcd"));
  EXPECT_FALSE(NSString("abc").hasSuffix("\u0416"));
}

TEST(NSStringSearch, ARangeLimitsTheSearch) {
  const NSString text = "abcabcabc";
  EXPECT_EQ(text.rangeOfStringInRange("abc", 0, {1, 8}), (NSRange{3, 3}));
  EXPECT_EQ(text.rangeOfStringInRange("abc", NSBackwardsSearch, {0, 8}), (NSRange{3, 3}));
  EXPECT_EQ(text.rangeOfStringInRange("ABC", NSCaseInsensitiveSearch, {4, 5}), (NSRange{6, 3}));
  EXPECT_FALSE(text.rangeOfStringInRange("abc", 0, {1, 4}).isFound());
  EXPECT_THROW(text.rangeOfStringInRange("abc", 0, {5, 5}), NSException);
}

TEST(NSStringSearch, SearchesAgreeWithTheStandardLibrary) {
  EXPECT_TRUE(rc::check([] {
    const std::u16string text = *clumsyText(), wanted = *clumsyText();
    RC_PRE(!wanted.empty());
    const NSString t = text, w = wanted;
    RC_ASSERT(t.rangeOfString(w) == expectedRange(text.find(wanted), wanted.size()));
    RC_ASSERT(t.rangeOfString(w, NSBackwardsSearch) == expectedRange(text.rfind(wanted), wanted.size()));
    RC_ASSERT(t.containsString(w) == (text.find(wanted) != std::u16string::npos));
  }));
}

TEST(NSStringSearch, FoldedSearchesAgreeWithSearchesInFoldedText) {
  EXPECT_TRUE(rc::check([] {
    const auto units =
        rc::gen::container<std::u16string>(rc::gen::element<char16_t>(u'a', u'A', u'b', u'\u4E00'));
    const std::u16string text = *units, wanted = *units;
    RC_PRE(!wanted.empty());
    const std::u16string t = lowered(text), w = lowered(wanted);
    RC_ASSERT(NSString(text).rangeOfString(wanted, NSCaseInsensitiveSearch) ==
              expectedRange(t.find(w), w.size()));
    RC_ASSERT(NSString(text).rangeOfString(wanted, NSCaseInsensitiveSearch | NSBackwardsSearch) ==
              expectedRange(t.rfind(w), w.size()));
  }));
}

TEST(NSStringSearch, FoldedMatchesAreFoundAcrossWindows) {
  for (size_t at = 200; at < 320; ++at) {
    const std::string text = std::string(at, '.') + "NeEdLe" + std::string(400 - at, '.');
    EXPECT_EQ(NSString(text).rangeOfString("nEEDLE", NSCaseInsensitiveSearch), (NSRange{at, 6}));
    EXPECT_EQ(NSString(text).rangeOfString("nEEDLE", NSCaseInsensitiveSearch | NSBackwardsSearch),
              (NSRange{at, 6}));
  }
}

TEST(NSStringSearch, NoTextMakesASearchQuadratic) {
  // Quadratic, each of these would take minutes.
  const size_t size = 1'000'000;
  const std::u16string many(size, u'\u0101');
  std::u16string nearly(size / 2, u'\u0101'), nearlyBackwards = nearly;
  nearly.push_back(u'\u0102');
  nearlyBackwards.front() = u'\u0102';
  const std::string narrow(size, 'a');
  std::string almost(size / 2, 'a'), almostBackwards = almost, almostFolded(size / 2, 'A');
  almost.push_back('b');
  almostBackwards.front() = 'b';
  almostFolded.push_back('B');
  const std::clock_t start = std::clock();  // the time of this process: others may be busy
  EXPECT_FALSE(NSString(many).rangeOfString(nearly).isFound());
  EXPECT_FALSE(NSString(many).rangeOfString(nearlyBackwards, NSBackwardsSearch).isFound());
  EXPECT_FALSE(NSString(narrow).rangeOfString(almost).isFound());
  EXPECT_FALSE(NSString(narrow).rangeOfString(almostBackwards, NSBackwardsSearch).isFound());
  EXPECT_FALSE(NSString(narrow).rangeOfString(almostFolded, NSCaseInsensitiveSearch).isFound());
  EXPECT_LT((std::clock() - start) / CLOCKS_PER_SEC, 10);
}

TEST(NSStringSearch, ReplacingGoesLeftToRightWithoutOverlap) {
  struct Case {
    NSString text, target, replacement, expected;
  };
  const Case cases[] = {
      {"aaa", "aa", "b", "ba"},
      {"abc", "", "x", "abc"},
      {"abc", "b", "", "ac"},
      {"abc", "z", "x", "abc"},
      {"aXbX", "X", "\u0416", "a\u0416b\u0416"},
      {"\u0416a\u0416", "\u0416", "b", "bab"},
      {"", "a", "b", ""},
      {"aa", "a", "aa", "aaaa"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(c.text.stringByReplacingOccurrencesOfString(c.target, c.replacement), c.expected) << c.text;
}

TEST(NSStringSearch, ReplacingByNilChangesNothing) {
  EXPECT_EQ(NSString("abc").stringByReplacingOccurrencesOfString("b", nil), "abc");
  EXPECT_EQ(NSString("abc").stringByReplacingOccurrencesOfString(nil, "b"), "abc");
  EXPECT_TRUE(NSString().stringByReplacingOccurrencesOfString("b", "c").isNil());
}

TEST(NSStringSearch, CharactersOfASetAreFoundAsWholeCodePoints) {
  const NSCharacterSet digits = NSCharacterSet::decimalDigitCharacterSet();
  EXPECT_EQ(NSString("ab12").rangeOfCharacterFromSet(digits), (NSRange{2, 1}));
  EXPECT_EQ(NSString("ab12c").rangeOfCharacterFromSet(digits, NSBackwardsSearch), (NSRange{3, 1}));
  EXPECT_FALSE(NSString("ab12").rangeOfCharacterFromSet(digits, NSAnchoredSearch).isFound());
  EXPECT_EQ(NSString("1ab").rangeOfCharacterFromSet(digits, NSAnchoredSearch), (NSRange{0, 1}));
  EXPECT_EQ(NSString("ab1").rangeOfCharacterFromSet(digits, NSAnchoredSearch | NSBackwardsSearch),
            (NSRange{2, 1}));
  EXPECT_EQ(NSString("a\U0001D7D8").rangeOfCharacterFromSet(digits), (NSRange{1, 2}));
  EXPECT_EQ(NSString("\U0001D7D8z").rangeOfCharacterFromSet(digits, NSBackwardsSearch), (NSRange{0, 2}));
}

TEST(NSStringSearch, TrimmingTakesBothEnds) {
  const NSCharacterSet blanks = NSCharacterSet::whitespaceAndNewlineCharacterSet();
  EXPECT_EQ(NSString("  a b  ").stringByTrimmingCharactersInSet(blanks), "a b");
  EXPECT_EQ(NSString("   ").stringByTrimmingCharactersInSet(blanks), "");
  EXPECT_EQ(NSString("").stringByTrimmingCharactersInSet(blanks), "");
  EXPECT_EQ(NSString("abc").stringByTrimmingCharactersInSet(blanks), "abc");
  EXPECT_EQ(NSString("\u3000\u0416\u2028").stringByTrimmingCharactersInSet(blanks), "\u0416");
  EXPECT_EQ(NSString("\u200Ba").stringByTrimmingCharactersInSet(blanks), "\u200Ba");
  EXPECT_EQ(NSString(" a ").stringByTrimmingCharactersInSet(nil), " a ");
  const auto faces = NSCharacterSet::characterSetWithCharactersInString("\U0001F600");
  EXPECT_EQ(NSString("\U0001F600x\U0001F600").stringByTrimmingCharactersInSet(faces), "x");
}

TEST(NSStringSearch, SeparatorsGiveOnePieceMoreThanTheirNumber) {
  using Texts = std::vector<std::string>;
  EXPECT_EQ(textsOf(NSString("a,,b").componentsSeparatedByString(",")), (Texts{"a", "", "b"}));
  EXPECT_EQ(textsOf(NSString(",").componentsSeparatedByString(",")), (Texts{"", ""}));
  EXPECT_EQ(textsOf(NSString("").componentsSeparatedByString(",")), (Texts{""}));
  EXPECT_EQ(textsOf(NSString("abc").componentsSeparatedByString(",")), (Texts{"abc"}));
  EXPECT_EQ(textsOf(NSString("a--b").componentsSeparatedByString("--")), (Texts{"a", "b"}));
  EXPECT_EQ(textsOf(NSString("abc").componentsSeparatedByString("")), (Texts{"abc"}));
  EXPECT_EQ(textsOf(NSString("abc").componentsSeparatedByString(nil)), (Texts{"abc"}));
  EXPECT_EQ(textsOf(NSString("\u0416,b").componentsSeparatedByString(",")), (Texts{"\u0416", "b"}));
  EXPECT_TRUE(NSString().componentsSeparatedByString(",").isNil());
}

TEST(NSStringSearch, EveryMemberOfASetSplits) {
  using Texts = std::vector<std::string>;
  const NSCharacterSet blanks = NSCharacterSet::whitespaceAndNewlineCharacterSet();
  EXPECT_EQ(textsOf(NSString("a b\n").componentsSeparatedByCharactersInSet(blanks)), (Texts{"a", "b", ""}));
  EXPECT_EQ(textsOf(NSString("").componentsSeparatedByCharactersInSet(blanks)), (Texts{""}));
  EXPECT_EQ(textsOf(NSString("a\r\nb").componentsSeparatedByCharactersInSet(blanks)), (Texts{"a", "", "b"}));
  EXPECT_EQ(textsOf(NSString("ab").componentsSeparatedByCharactersInSet(nil)), (Texts{"ab"}));
  const auto faces = NSCharacterSet::characterSetWithCharactersInString("\U0001F600");
  EXPECT_EQ(textsOf(NSString("a\U0001F600b").componentsSeparatedByCharactersInSet(faces)), (Texts{"a", "b"}));
}

TEST(NSStringSearch, JoiningThePiecesGivesTheTextBack) {
  EXPECT_TRUE(rc::check([] {
    const std::u16string text = *clumsyText(), separator = *clumsyText();
    RC_PRE(!separator.empty());
    const NSArray pieces = NSString(text).componentsSeparatedByString(separator);
    NSString joined = pieces.objectAtIndex(0).as<NSString>();
    for (NSUInteger i = 1; i < pieces.count(); ++i)
      joined = joined + NSString(separator) + pieces.objectAtIndex(i).as<NSString>();
    RC_ASSERT(joined == NSString(text));
  }));
}

TEST(NSStringSearch, OneUnitIsReplacedAsAnyText) {
  const auto replaced = [](const NSString& text, const NSString& unit, const NSString& with) {
    return text.stringByReplacingOccurrencesOfString(unit, with);
  };
  EXPECT_EQ(replaced("banana", "a", "oo"), "boonoonoo");
  EXPECT_EQ(replaced("aaa", "a", ""), "");
  EXPECT_EQ(replaced("aba", "a", u"\u00E9"), u"\u00E9b\u00E9");
  EXPECT_EQ(replaced(u"\u00E9b", u"\u00E9", "e").utf8(), "eb");
  EXPECT_EQ(replaced("aba", "a", u"\u0436"), u"\u0436b\u0436");
  EXPECT_EQ(replaced(u"a\u0436", "a", "b"), u"b\u0436");
  EXPECT_EQ(replaced(u"\u00E9b", u"\u00E9", "e").hash(), NSString("eb").hash());
  EXPECT_EQ(replaced(NSString(std::string(5000, 'a')), "a", "bc").length(), 10000u);
}
