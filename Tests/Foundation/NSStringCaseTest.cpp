#include "Platform/Foundation/Values/NSString.h"

using namespace orv;

namespace {
struct CaseCase {
  const char *text, *upper, *lower, *capitalized;
};

constexpr CaseCase kCases[] = {
    {"hello wORLD", "HELLO WORLD", "hello world", "Hello World"},
    {"stra\u00DFe", "STRASSE", "stra\u00DFe", "Stra\u00DFe"},
    {"\u00DFa", "SSA", "\u00DFa", "Ssa"},
    {"\uFB01x", "FIX", "\uFB01x", "Fix"},
    {"\u0130", "\u0130", "i\u0307", "\u0130"},
    {"\u03A3\u0391\u03A3", "\u03A3\u0391\u03A3", "\u03C3\u03B1\u03C2", "\u03A3\u03B1\u03C2"},
    {"\u03B1\u03A3", "\u0391\u03A3", "\u03B1\u03C2", "\u0391\u03C2"},
    {"\u00FF\u00B5", "\u0178\u039C", "\u00FF\u00B5", "\u0178\u00B5"},
    {"12 + 3!", "12 + 3!", "12 + 3!", "12 + 3!"},
    {"I", "I", "i", "I"},
    {"a\tb\nc", "A\tB\nC", "a\tb\nc", "A\tB\nC"},
    {"foo-bar", "FOO-BAR", "foo-bar", "Foo-Bar"},
    {"o'neil o\u2019NEIL", "O'NEIL O\u2019NEIL", "o'neil o\u2019neil", "O'neil O\u2019neil"},
    {"'quoted'", "'QUOTED'", "'quoted'", "'Quoted'"},
    {"3rd", "3RD", "3rd", "3rd"},
    {"\U00010428x", "\U00010400X", "\U00010428x", "\U00010400x"},
    {"", "", "", ""},
};
}  // namespace

TEST(NSStringCase, MappingIsFullAndLocaleFree) {
  for (const CaseCase& c : kCases) {
    EXPECT_EQ(NSString(c.text).uppercaseString(), c.upper) << c.text;
    EXPECT_EQ(NSString(c.text).lowercaseString(), c.lower) << c.text;
    EXPECT_EQ(NSString(c.text).capitalizedString(), c.capitalized) << c.text;
  }
}

TEST(NSStringCase, LongTextsGrowAsTheyMust) {
  const NSString text = NSString("").stringByPaddingToLength(1000, "\u0390", 0);
  EXPECT_EQ(text.uppercaseString().length(), 3000u);
}

TEST(NSStringCase, NilStaysNil) {
  EXPECT_TRUE(NSString().uppercaseString().isNil());
  EXPECT_TRUE(NSString().lowercaseString().isNil());
  EXPECT_TRUE(NSString().capitalizedString().isNil());
  EXPECT_TRUE(NSString().decomposedStringWithCanonicalMapping().isNil());
  EXPECT_TRUE(NSString().precomposedStringWithCanonicalMapping().isNil());
}

TEST(NSStringCase, CanonicalFormsComposeAndDecompose) {
  EXPECT_EQ(NSString("\u00E9").decomposedStringWithCanonicalMapping(), "e\u0301");
  EXPECT_EQ(NSString("e\u0301").precomposedStringWithCanonicalMapping(), "\u00E9");
  EXPECT_EQ(NSString("\uAC00").decomposedStringWithCanonicalMapping(), "\u1100\u1161");
  EXPECT_EQ(NSString("\u212B").precomposedStringWithCanonicalMapping(), "\u00C5");
  const NSString plain = "plain";
  EXPECT_TRUE(plain.decomposedStringWithCanonicalMapping().isSame(plain));
  const NSString composed = "\u00E9\u0416";
  EXPECT_TRUE(composed.precomposedStringWithCanonicalMapping().isSame(composed));
}

TEST(NSStringCase, CanonicallyEquivalentFormsCompareEqual) {
  EXPECT_TRUE(rc::check([] {
    const auto units = rc::gen::container<std::u16string>(
        rc::gen::element<char16_t>(u'a', u'e', u'\u0301', u'\u0323', u'\u00E9', u'\u1E69', u'\uAC01', u'z'));
    const NSString text = *units;
    const NSString decomposed = text.decomposedStringWithCanonicalMapping();
    const NSString composed = text.precomposedStringWithCanonicalMapping();
    RC_ASSERT(decomposed.compare(composed) == NSOrderedSame);
    RC_ASSERT(text.compare(decomposed) == NSOrderedSame);
    RC_ASSERT(composed.decomposedStringWithCanonicalMapping() == decomposed);
  }));
}
