#include <unicode/translit.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Foundation/Text/Detail/GapText.h"
#include "Platform/Foundation/Text/StringTransform.h"
#include "Platform/Foundation/Text/Unicode.h"
#include "Platform/Foundation/Values/NSString.h"

using namespace orv;

namespace {

// The chain as ICU itself computes it.
class Chain {
 public:
  Chain() {
    for (const char* id :
         {"Any-Latin",
          "NFD; [[[:Mn:]&[:Diacritic:]]-[:Grapheme_Link:]-[:ccc=0:]-[:ccc=8:]-[\\u0338]] Remove; NFC",
          "NFD; [:Mn:] Remove; NFC"}) {
      UErrorCode status = U_ZERO_ERROR;
      steps_.emplace_back(icu::Transliterator::createInstance(id, UTRANS_FORWARD, status));
      EXPECT_TRUE(U_SUCCESS(status)) << id;
    }
  }

  std::u16string operator()(const std::u16string& text) const {
    icu::UnicodeString units(text.data(), static_cast<int32_t>(text.size()));
    for (const auto& step : steps_) step->transliterate(units);
    return {units.getBuffer(), static_cast<size_t>(units.length())};
  }

 private:
  std::vector<std::unique_ptr<icu::Transliterator>> steps_;
};

const Chain& chain() {
  static const Chain& chain = *new Chain;
  return chain;
}

void expectPlain(const std::u16string& text) {
  ASSERT_EQ(detail::plainLatin(text).utf16(), chain()(text)) << NSString(text).repr().utf8();
}

std::u16string randomUnits(std::mt19937& random, size_t length) {
  std::u16string text(length, 0);
  for (char16_t& unit : text)
    unit = static_cast<char16_t>(random() % 3 ? 'a' + random() % 26 : 0xD800 + random() % 0x800);
  return text;
}

// A unit that the table may know, or one just beyond it.
char16_t unitNear(std::mt19937& random) {
  switch (random() % 8) {
    case 0: return static_cast<char16_t>(random() % 0x80);
    case 1: return static_cast<char16_t>(random() % 0x100);
    case 2: return static_cast<char16_t>(0x300 + random() % 0x70);
    case 3: return static_cast<char16_t>(0x1E00 + random() % 0x100);
    case 4: return static_cast<char16_t>(0x2000 + random() % 0xD0);
    default: return static_cast<char16_t>(random() % 0x370);
  }
}

}  // namespace

TEST(PlainLatin, EveryCodePointIsAsTheTransformsMakeIt) {
  for (char32_t c = 0; c < 0x3100; ++c) expectPlain(std::u16string(1, static_cast<char16_t>(c)));
  for (char32_t c = 0xA000; c <= 0xFFFF; c += 7) expectPlain(std::u16string(1, static_cast<char16_t>(c)));
}

// A mark, a letter and a composing neighbour around each code point of the table.
TEST(PlainLatin, EveryCodePointIsSoInContext) {
  for (char32_t c = 0; c < 0x2100; ++c) {
    if (c == 0x370) c = 0x1E00;
    const auto unit = static_cast<char16_t>(c);
    expectPlain({u'a', unit, u'\u0301', u'\u0327', u'e', u'\u0338', unit, unit});
    expectPlain({u'\u0323', unit, u' ', unit, u'\u0345', u'=', u'\u0338'});
  }
}

TEST(PlainLatin, EveryPairOfLetterAndMark) {
  for (char16_t letter = 0x20; letter < 0x250; ++letter)
    for (char16_t mark = 0x300; mark < 0x370; mark = static_cast<char16_t>(mark + 3))
      expectPlain({letter, mark, letter});
}

TEST(PlainLatin, RandomTextsAreAsTheTransformsMakeThem) {
  std::mt19937 random(3);
  for (int round = 0; round < 20000; ++round) {
    std::u16string text(1 + random() % 40, 0);
    for (char16_t& unit : text) unit = unitNear(random);
    expectPlain(text);
  }
}

TEST(PlainLatin, TextsOfOtherScriptsTakeTheTransforms) {
  std::mt19937 random(5);
  for (int round = 0; round < 2000; ++round) {
    std::u16string text(1 + random() % 12, 0);
    for (char16_t& unit : text)
      unit = random() % 3 ? unitNear(random) : static_cast<char16_t>(random() % 0xFFFE);
    expectPlain(text);
  }
}

TEST(PlainLatin, ATextThatIsPlainIsAnsweredItself) {
  for (const NSString& text :
       {NSString("plain"), NSString(u"\u00DF\u00D8"), NSString(u"\u2014 dash"), NSString("")})
    EXPECT_TRUE(detail::plainLatin(text).isSame(text)) << text.utf8();
}

TEST(PlainLatin, LossyAsciiKeepsWhatItCan) {
  EXPECT_EQ(detail::lossyAscii(u"Cr\u00E8me e\u0301 \u0436\U0001F600\xD800 \u00DF"), "Creme e ??? ?");
  EXPECT_TRUE(detail::lossyAscii(nil).isNil());
}

// Random changes, most of them near each other or at the end, beside ICU's own text.
TEST(GapText, ChangesAsAUnicodeStringDoes) {
  std::mt19937 random(9);
  for (int round = 0; round < 300; ++round) {
    const NSString start = randomUnits(random, random() % 200);
    detail::GapText gap(detail::unitsOf(start));
    icu::UnicodeString plain = gap.text();
    ASSERT_EQ(plain.length(), static_cast<int32_t>(start.length()));
    int32_t at = 0;
    for (int step = 0; step < 60; ++step) {
      if (random() % 4 == 0) at = static_cast<int32_t>(random() % 1000);
      const int32_t from = random() % 3 ? std::min(at, plain.length()) : plain.length();
      const int32_t to = std::min(plain.length(), from + static_cast<int32_t>(random() % 4));
      const std::u16string units = randomUnits(random, random() % 9 ? random() % 5 : 300);
      const icu::UnicodeString text(units.data(), static_cast<int32_t>(units.size()));
      icu::Replaceable& both = gap;
      if (random() % 4) {
        both.handleReplaceBetween(from, to, text);
        plain.replaceBetween(from, to, text);
      } else {
        both.copy(from, to, plain.length() - from);
        plain.copy(from, to, plain.length() - from);
      }
      ASSERT_EQ(gap.text(), plain);
      icu::UnicodeString part;
      both.extractBetween(from / 2, from, part);
      ASSERT_EQ(part, icu::UnicodeString(plain, from / 2, from - from / 2));
      const auto probe = static_cast<int32_t>(random() % 400);
      ASSERT_EQ(both.charAt(probe), plain.charAt(probe));
      ASSERT_EQ(both.char32At(probe), plain.char32At(probe));
    }
  }
}

TEST(StringTransform, LongTextsOfAnyScriptAreTransformed) {
  for (const char16_t* unit : {u"\u0436", u"\u6771", u"\u03B1\u03B2", u"\uD55C\uAD6D\uC5B4", u"\u304B\u306A"}) {
    std::u16string text;
    while (text.size() < 100'000) text += unit;
    const NSString plain = NSString(text).stringByTransformingToPlainLatin();
    EXPECT_GE(plain.length(), 100'000u);
    EXPECT_EQ(detail::narrowPrefix(plain.utf16().data(), plain.length()), plain.length());
  }
}

TEST(StringTransform, EveryNamedTransformExists) {
  const std::pair<NSString, std::pair<const char16_t*, const char16_t*>> cases[] = {
      {NSStringTransformToLatin, {u"\u041C\u043E\u0441\u043A\u0432\u0430", u"Moskva"}},
      {NSStringTransformLatinToArabic, {u"b", u"\u0628"}},
      {NSStringTransformLatinToCyrillic, {u"Moskva", u"\u041C\u043E\u0441\u043A\u0432\u0430"}},
      {NSStringTransformLatinToGreek, {u"bg", u"\u03B2\u03B3"}},
      {NSStringTransformLatinToHangul, {u"han", u"\uD55C"}},
      {NSStringTransformLatinToHebrew, {u"b", u"\u05D1"}},
      {NSStringTransformLatinToHiragana, {u"kana", u"\u304B\u306A"}},
      {NSStringTransformLatinToKatakana, {u"kana", u"\u30AB\u30CA"}},
      {NSStringTransformLatinToThai, {u"k", u"\u0E01"}},
      {NSStringTransformHiraganaToKatakana, {u"\u304B\u306A", u"\u30AB\u30CA"}},
      {NSStringTransformMandarinToLatin, {u"\u6771\u4EAC", u"d\u014Dng j\u012Bng"}},
      {NSStringTransformFullwidthToHalfwidth, {u"\uFF21\u30A2", u"A\uFF71"}},
      {NSStringTransformToXMLHex, {u"a\u0436", u"&#x61;&#x436;"}},
      {NSStringTransformToUnicodeName, {u"a", u"\\N{LATIN SMALL LETTER A}"}},
      {NSStringTransformStripCombiningMarks, {u"\u00E9\u0338", u"e"}},
      {NSStringTransformStripDiacritics, {u"\u00E9", u"e"}},
  };
  for (const auto& [name, texts] : cases)
    EXPECT_EQ(NSString(texts.first).stringByApplyingTransform(name, false), NSString(texts.second))
        << name.utf8();
}

TEST(StringTransform, SomeTransformsHaveAReverse) {
  EXPECT_EQ(NSString("kana").stringByApplyingTransform(NSStringTransformHiraganaToKatakana, true), "kana");
  EXPECT_EQ(NSString(u"\u30AB").stringByApplyingTransform(NSStringTransformHiraganaToKatakana, true),
            u"\u304B");
  EXPECT_EQ(NSString("&#x436;").stringByApplyingTransform(NSStringTransformToXMLHex, true), u"\u0436");
}

TEST(StringTransform, UnknownTransformsGiveNil) {
  for (const NSString& name :
       {NSString("No-Such"), NSString(""), NSString(), NSString("[unclosed"), NSString(u"\xD800")})
    EXPECT_TRUE(NSString("a").stringByApplyingTransform(name, false).isNil());
  EXPECT_TRUE(NSString().stringByApplyingTransform(NSStringTransformToLatin, false).isNil());
}

TEST(StringTransform, ATextThatDoesNotChangeIsAnsweredItself) {
  const NSString text = "plain";
  EXPECT_TRUE(text.stringByApplyingTransform(NSStringTransformStripDiacritics, false).isSame(text));
}

TEST(StringTransform, LoneSurrogatesPass) {
  const NSString text = u"a\xD800\u00E9\xDC00";
  EXPECT_EQ(text.stringByApplyingTransform(NSStringTransformStripCombiningMarks, false),
            u"a\xD800"
            u"e\xDC00");
  EXPECT_EQ(text.stringByApplyingTransform(NSStringTransformToLatin, false), text);
}

TEST(StringTransform, ManyThreadsShareATransform) {
  const NSString text = u"\u6771\u4EAC \u041C\u043E\u0441\u043A\u0432\u0430 \u03B1\u03B2\u03B3 \u00E9";
  const NSString expected = "dong jing Moskva abg e";
  std::vector<std::thread> threads;
  std::vector<int> good(4, 0);
  for (size_t t = 0; t < good.size(); ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < 50; ++i) good[t] += text.stringByTransformingToPlainLatin() == expected;
    });
  for (std::thread& thread : threads) thread.join();
  for (const int count : good) EXPECT_EQ(count, 50);
}
