#include "Platform/Foundation/Text/Unicode.h"

#include "Platform/Foundation/Values/NSString.h"

using namespace orv;
using namespace orv::detail;

namespace {

std::string bytes(std::initializer_list<int> list) {
  std::string text;
  for (const int b : list) text += static_cast<char>(b);
  return text;
}

std::u16string decoded(const std::string& text, IllFormed policy) {
  const Utf8Shape shape = measureUtf8(text, policy);
  std::u16string out(shape.units, u'?');
  const Utf8Units result = decodeUtf8(text, policy, out.data());
  EXPECT_EQ(result.count, shape.units);
  EXPECT_EQ(result.seen > 0xFF, !shape.narrow);
  EXPECT_EQ(result.seen > 0x7F, !shape.ascii);
  return out;
}

struct BadCase {
  const char* name;
  std::string text;
  std::u16string lossy;
};

const BadCase kBad[] = {
    {"OverlongNul", bytes({0xC0, 0x80}), u"\uFFFD\uFFFD"},
    {"OverlongSlash", bytes({0xC1, 0xAF}), u"\uFFFD\uFFFD"},
    {"OverlongThreeBytes", bytes({0xE0, 0x9F, 0xBF}), u"\uFFFD\uFFFD\uFFFD"},
    {"OverlongFourBytes", bytes({0xF0, 0x8F, 0xBF, 0xBF}), u"\uFFFD\uFFFD\uFFFD\uFFFD"},
    {"Surrogate", bytes({0xED, 0xA0, 0x80}), u"\uFFFD\uFFFD\uFFFD"},
    {"LastSurrogate", bytes({0xED, 0xBF, 0xBF}), u"\uFFFD\uFFFD\uFFFD"},
    {"AboveUnicode", bytes({0xF4, 0x90, 0x80, 0x80}), u"\uFFFD\uFFFD\uFFFD\uFFFD"},
    {"NoSuchLead", bytes({0xF5, 0x80}), u"\uFFFD\uFFFD"},
    {"FiveBytes", bytes({0xFC}), u"\uFFFD"},
    {"LoneContinuation", bytes({'a', 0x80, 'b'}), u"a\uFFFDb"},
    {"CutTwoBytes", bytes({0xC3}), u"\uFFFD"},
    {"CutThreeBytes", bytes({0xE2, 0x82}), u"\uFFFD"},
    {"CutFourBytes", bytes({0xF0, 0x9F, 0x98}), u"\uFFFD"},
    {"CutByAscii", bytes({0xE2, 0x82, 'A'}), u"\uFFFDA"},
    // The example of Unicode 15, table 3-8.
    {"TruncatedSequences", bytes({0xE1, 0x80, 0xE2, 0xF0, 0x91, 0x92, 0xF1, 0xBF, 0x41}),
     u"\uFFFD\uFFFD\uFFFD\uFFFDA"},
};

}  // namespace

TEST(Unicode, IllFormedTextIsRefusedWhenReadStrictly) {
  for (const BadCase& c : kBad) EXPECT_FALSE(measureUtf8(c.text, IllFormed::Refuse).valid) << c.name;
}

TEST(Unicode, IllFormedTextIsRefusedBehindLongAsciiToo) {
  for (const BadCase& c : kBad)
    EXPECT_FALSE(measureUtf8(std::string(37, 'x') + c.text, IllFormed::Refuse).valid) << c.name;
}

TEST(Unicode, EachMaximalIllFormedPartBecomesOneReplacement) {
  for (const BadCase& c : kBad) EXPECT_EQ(decoded(c.text, IllFormed::Replace), c.lossy) << c.name;
}

TEST(Unicode, EscapedBytesComeBackUnchanged) {
  for (const BadCase& c : kBad) {
    const std::u16string units = decoded(c.text, IllFormed::Escape);
    EXPECT_EQ(utf8FromUnits(units.data(), units.size(), LoneSurrogate::Escape), c.text) << c.name;
  }
}

TEST(Unicode, ShapeTellsUnitsAndWidth) {
  struct Case {
    std::string text;
    size_t units;
    bool ascii, narrow;
  };
  const Case cases[] = {
      {"", 0, true, true},
      {"abc", 3, true, true},
      {"\u00FFx", 2, false, true},
      {"\u0100", 1, false, false},
      {"\U0001F600!", 3, false, false},
      {"aaaaaaaaaaaaaaaaaaaa\u00E9bbbbbbbbbbbbbbbbbbbb", 41, false, true},
  };
  for (const Case& c : cases) {
    const Utf8Shape shape = measureUtf8(c.text, IllFormed::Refuse);
    EXPECT_TRUE(shape.valid) << c.text;
    EXPECT_EQ(shape.units, c.units) << c.text;
    EXPECT_EQ(shape.ascii, c.ascii) << c.text;
    EXPECT_EQ(shape.narrow, c.narrow) << c.text;
  }
}

TEST(Unicode, EveryScalarValueSurvivesTheRoundTrip) {
  for (char32_t c = 0; c <= 0x10FFFF; c += c < 0x3000 ? 1 : 37) {
    if (isSurrogate(c)) continue;
    char room[4];
    const std::string text(room, encodeUtf8(c, room));
    const std::u16string units = decoded(text, IllFormed::Refuse);
    ASSERT_TRUE(measureUtf8(text, IllFormed::Refuse).valid) << std::hex << uint32_t{c};
    ASSERT_EQ(codePointAt(units.data(), units.size(), 0).value, c);
    ASSERT_EQ(utf8FromUnits(units.data(), units.size(), LoneSurrogate::Refuse), text);
  }
}

// Sequences of every length behind and before runs of two-byte letters, which are decoded several at a time.
TEST(Unicode, LettersDecodeAlikeAtEveryPosition) {
  const std::u16string odd[] = {u"", u"a", u" \u00E9", u"\u1F76", u"\u0800\uD7FF\uE000\uFFFD", u"\U0001F600"};
  for (const char16_t letter : {u'\u0080', u'\u00FF', u'\u0100', u'\u07FF'})
    for (size_t run = 0; run < 20; ++run)
      for (const std::u16string& before : odd)
        for (const std::u16string& behind : odd) {
          const std::u16string units = before + std::u16string(run, letter) + behind;
          const std::string text = *utf8FromUnits(units.data(), units.size(), LoneSurrogate::Refuse);
          ASSERT_EQ(decoded(text, IllFormed::Refuse), units) << text;
          const NSString string = text;
          ASSERT_EQ(string.utf16(), units);
          ASSERT_EQ(string.utf8(), text);
        }
}

TEST(Unicode, AnIllFormedPairInARunOfLettersIsSeen) {
  for (size_t run = 1; run < 20; ++run)
    for (size_t at = 0; at < run; ++at)
      for (const std::string& pair : {bytes({0xC0, 0x80}), bytes({0xC1, 0xBF}), bytes({0xCE, 'a'}),
                                      bytes({0xCE, 0xC0}), bytes({0x80, 0x80})}) {
        std::string text;
        for (size_t i = 0; i < run; ++i) text += i == at ? pair : "\u03B1";
        std::u16string out(text.size(), u'?');
        ASSERT_FALSE(measureUtf8(text, IllFormed::Refuse).valid) << run << " " << at;
        ASSERT_FALSE(decodeUtf8(text, IllFormed::Refuse, out.data()).valid) << run << " " << at;
        ASSERT_TRUE(NSString(text).isNil());
        ASSERT_EQ(NSString::stringWithFileSystemRepresentation(text).fileSystemRepresentation(), text);
      }
}

TEST(Unicode, ShortAndLongTextsAreMadeAlike) {
  for (const char16_t letter : {u'\u00E9', u'\u03B1', u'\u1F76'})
    for (size_t length = 60; length < 300; ++length) {
      std::u16string units(length, letter);
      units += u'.';
      const NSString string = *utf8FromUnits(units.data(), units.size(), LoneSurrogate::Refuse);
      ASSERT_EQ(string, NSString(units));
      ASSERT_EQ(string.hash(), NSString(units).hash());
      ASSERT_EQ(string.utf16(), units);
    }
}

TEST(Unicode, LoneSurrogatesFollowThePolicy) {
  const std::u16string lone[] = {u"a\xD800", u"\xDC00z", u"\xDBFF\xDBFF\xDFFF", u"\xDC80"};
  for (const std::u16string& text : lone)
    EXPECT_FALSE(utf8FromUnits(text.data(), text.size(), LoneSurrogate::Refuse).has_value());
  EXPECT_EQ(utf8FromUnits(lone[0].data(), 2, LoneSurrogate::Replace), "a\uFFFD");
  EXPECT_EQ(utf8FromUnits(lone[2].data(), 3, LoneSurrogate::Replace), "\uFFFD\U0010FFFF");
  EXPECT_EQ(utf8FromUnits(lone[3].data(), 1, LoneSurrogate::Escape), "\x80");
  EXPECT_EQ(utf8FromUnits(lone[1].data(), 2, LoneSurrogate::Escape), "\uFFFDz");
}

TEST(Unicode, PrefixesEndAtTheFirstLargerUnit) {
  for (size_t length = 0; length < 40; ++length)
    for (size_t at = 0; at <= length; ++at) {
      std::string text(length, 'a');
      std::u16string wide(length, u'\u00FF');
      if (at < length) text[at] = static_cast<char>(0x80), wide[at] = u'\u0100';
      EXPECT_EQ(asciiPrefix(reinterpret_cast<const uint8_t*>(text.data()), length), at);
      EXPECT_EQ(narrowPrefix(wide.data(), length), at);
    }
}

TEST(Unicode, Latin1BecomesUtf8) {
  std::string all;
  for (int b = 0; b < 256; ++b) all += static_cast<char>(b);
  const std::string utf8 = utf8FromLatin1(reinterpret_cast<const uint8_t*>(all.data()), all.size());
  EXPECT_EQ(utf8.size(), 128u + 256u);
  EXPECT_EQ(utf8.substr(0, 128), all.substr(0, 128));
  EXPECT_EQ(utf8.substr(128, 2), "\u0080");
  EXPECT_EQ(utf8.substr(382), "\u00FF");
}

TEST(Unicode, AnyBytesSurviveAsAFileName) {
  EXPECT_TRUE(rc::check([](const std::string& name) {
    RC_ASSERT(NSString::stringWithFileSystemRepresentation(name).fileSystemRepresentation() == name);
  }));
}
