#include <string>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSCharacterSet.h"
#include "Platform/Foundation/Values/NSString.h"

using namespace orv;

namespace {

struct LatinCase {
  const char16_t* input;
  const char16_t* expected;
};

// The definition, step by step.
NSString sanitisedBySteps(const NSString& name, const char* set, const NSString& replacement) {
  return name.stringByTransformingToPlainLatin()
      .componentsSeparatedByCharactersInSet(NSCharacterSet::characterSetWithCharactersInString(set))
      .componentsJoinedByString(replacement)
      .strip()
      .sliceFrom(0, 250);
}

}  // namespace

TEST(NSStringLatin, AnyScriptBecomesPlainLatin) {
  const LatinCase cases[] = {
      {u"M\u00FCller", u"Muller"},
      {u"Gr\u00F6\u00DFe", u"Gro\u00DFe"},
      {u"\u00C6r\u00F8sk\u00F8bing", u"\u00C6r\u00F8sk\u00F8bing"},
      {u"\u0141\u00F3d\u017A", u"\u0141odz"},
      {u"\u041C\u043E\u0441\u043A\u0432\u0430", u"Moskva"},
      {u"\u6771\u4EAC", u"dong jing"},
      {u"\u0395\u03BB\u03BB\u03AC\u03B4\u03B1", u"Ellada"},
      {u"\u0451 \u0439", u"e j"},
      {u"\u30AB\u30BF\u30AB\u30CA", u"katakana"},
      {u"\uD55C\uAD6D\uC5B4", u"hangug-eo"},
      {u"\u05E9\u05DC\u05D5\u05DD", u"slwm"},
      {u"\u0130stanbul", u"Istanbul"},
      {u"\u00BD \uFB01 \u201Cq\u201D \u2013 \u20AC", u"\u00BD \uFB01 \u201Cq\u201D \u2013 \u20AC"},
      {u"e\u0301\u0323", u"e"},
      {u"", u""},
      {u"\u200Fabc\u202E", u"\u200Fabc\u202E"},
      {u"\U0001F600", u"\U0001F600"},
      {u"a\xD800", u"a\xD800"},
      {u"\u0378", u"\u0378"},
  };
  for (const auto& [input, expected] : cases)
    EXPECT_EQ(NSString(input).stringByTransformingToPlainLatin(), NSString(expected)) << NSString(input).utf8();
}

TEST(NSStringLatin, FileNamesLoseWhatFileSystemsMind) {
  EXPECT_EQ(NSString("a/b:c?.txt").stringBySanitizingFileName(), "ab:c.txt");
  EXPECT_EQ(NSString("/\\?%*|\"<>()[]{}").stringBySanitizingFileName(), "");
  EXPECT_EQ(NSString("a/b").stringBySanitizingFileNameWithReplacement("-"), "a-b");
  EXPECT_EQ(NSString("a/b").stringBySanitizingFileNameWithReplacement(nil), "ab");
  EXPECT_EQ(NSString("a//b").stringBySanitizingFileNameWithReplacement("--"), "a----b");
  EXPECT_EQ(NSString("a/b").stringBySanitizingFileNameWithReplacement(u"\u0436"), u"a\u0436b");
  EXPECT_EQ(NSString("?a?").stringBySanitizingFileNameWithReplacement(" "), "a");  // stripped afterwards
  EXPECT_EQ(NSString("?a").stringBySanitizingFileNameWithReplacement("/"),
            "/a");  // a replacement is not looked at
  EXPECT_EQ(NSString(u" \u00DCbung\uFFFC").stringBySanitizingFileName(), "Ubung");
  EXPECT_EQ(NSString("..").stringBySanitizingFileName(), "..");
  EXPECT_EQ(NSString("").stringBySanitizingFileName(), "");
}

TEST(NSStringLatin, FolderNamesKeepTheirSlashes) {
  EXPECT_EQ(NSString("a/b:c?/d.txt").stringBySanitizingFileNameAcceptFolderSlashes(), "a/b:c/d.txt");
  EXPECT_EQ(NSString("/\\?%*|\"<>()[]{}").stringBySanitizingFileNameAcceptFolderSlashes(), "/");
}

TEST(NSStringLatin, NamesEndAfter250Units) {
  EXPECT_EQ(NSString(std::string(300, 'x')).stringBySanitizingFileName(), NSString(std::string(250, 'x')));
  EXPECT_EQ(NSString("  " + std::string(250, 'x') + "  ").stringBySanitizingFileName().length(), 250u);
  // Cut after stripping: a blank may come to stand at the end.
  EXPECT_EQ(NSString(std::string(249, 'x') + " y").stringBySanitizingFileName(),
            NSString(std::string(249, 'x') + " "));
  std::u16string pairs(249, u'x');
  pairs += u"\U0001F600";
  EXPECT_EQ(NSString(pairs).stringBySanitizingFileName().length(), 250u);
}

TEST(NSStringLatin, LongNamesOfAnyScriptAreShortened) {
  for (const char16_t* unit : {u"x", u"\u00E9", u"\u0436", u"\u6771", u"(", u" ", u"\xD800"}) {
    std::u16string name;
    while (name.size() < 100'000) name += unit;
    EXPECT_LE(NSString(name).stringBySanitizingFileName().length(), 250u);
  }
}

// Of a long 8-bit text only the start is looked at where that is enough.
TEST(NSStringLatin, LongNamesAreTheirSteps) {
  const std::string x(5000, 'x'), blanks(5000, ' ');
  for (const std::string& name :
       {x, blanks, blanks + x, x + blanks, std::string(249, 'x') + blanks + "y",
        std::string(250, 'x') + blanks + "y", std::string(251, 'x') + blanks,
        std::string(260, 'x') + blanks + "?", std::string(5000, '?') + "a",
        std::string(1990, ' ') + std::string(3000, 'x'), std::string(250, 'x') + std::string(4900, '\x7F')})
    for (const char* with : {"", "-", " "}) {
      const NSString narrow = name, wide = NSString(name) + NSString(u"\u2014");
      EXPECT_EQ(narrow.stringBySanitizingFileNameWithReplacement(with),
                sanitisedBySteps(narrow, "/\\?%*|\"<>()[]{}", with));
      EXPECT_EQ(wide.stringBySanitizingFileNameWithReplacement(with),
                sanitisedBySteps(wide, "/\\?%*|\"<>()[]{}", with));
    }
}

TEST(NSStringLatin, SanitisingIsItsSteps) {
  const auto text = rc::gen::container<std::u16string>(
      rc::gen::element<char16_t>(u'a', u'b', u' ', u'/', u'?', u'(', u'}', u'"', u'\\', u'\u00E9', u'\u0436',
                                 u'\u0301', u'\uFFFC', u'\u0378', 0xD83D, 0xDE00, u'\n'));
  EXPECT_TRUE(rc::check([&] {
    const NSString name(*text);
    const NSString with = *rc::gen::element(NSString(""), NSString("_"), NSString(u"\u0436 "));
    RC_ASSERT(name.stringBySanitizingFileNameWithReplacement(with) ==
              sanitisedBySteps(name, "/\\?%*|\"<>()[]{}", with));
    RC_ASSERT(name.stringBySanitizingFileNameAcceptFolderSlashes() ==
              sanitisedBySteps(name, "\\?%*|\"<>()[]{}", ""));
  }));
}

TEST(NSStringLatin, ASafeNameIsAnsweredItself) {
  const NSString name = "Report 2024.txt";
  EXPECT_TRUE(name.stringBySanitizingFileName().isSame(name));
  EXPECT_TRUE(name.stringBySanitizingFileNameAcceptFolderSlashes().isSame(name));
}
