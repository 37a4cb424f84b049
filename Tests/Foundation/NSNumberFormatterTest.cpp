#include "Platform/Foundation/Text/NSNumberFormatter.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <unicode/dcfmtsym.h>
#include <unicode/decimfmt.h>

#include <cmath>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Foundation/Values/NSDecimalNumber.h"

using namespace orv;

namespace {

Ref<NSNumberFormatter> withFormat(const char* format) {
  const auto formatter = make<NSNumberFormatter>();
  formatter->setLocale(NSLocale::localeWithLocaleIdentifier("en_US_POSIX"));
  formatter->setNumberStyle(NSNumberFormatterDecimalStyle);
  formatter->setGroupingSeparator(",");
  formatter->setPositiveFormat(format);
  return formatter;
}

std::string written(const Ref<NSNumberFormatter>& formatter, const NSNumber& number) {
  return formatter->stringFromNumber(number).utf8();
}

NSDecimalNumber dec(const char* text) { return NSDecimalNumber::decimalNumberWithString(text); }

struct FormatCase {
  const char* format;
  const char* number;
  const char* expected;
};

constexpr FormatCase kFormats[] = {
    {"0.00", "1234.5", "1234.50"},
    {"0.00", "-19.99", "-19.99"},
    {"0.00", "0", "0.00"},
    {"0.00", "-0.001", "-0.00"},
    {"0.00", "NaN", "NaN"},
    {"#,##0.00", "1234567.891", "1,234,567.89"},
    {"#,##0.###", "1234.5", "1,234.5"},
    {"#,##0", "999", "999"},
    {"#,##,##0.00", "12345678.9", "1,23,45,678.90"},
    {"0000.0", "7.25", "0007.2"},
    {"#.##", "0", "0"},
    {"#.##", "0.5", "0.5"},
    {"#.00", "0.5", ".50"},
    {".##", "0", ".0"},
    {"0.", "3", "3."},
    {"0.0#%", "0.12345", "12.34%"},
    {"'#'0", "5", "#5"},
    {"0 'o''clock'", "5", "5 o'clock"},
    {"0 ''", "5", "5 '"},
    {"\xE2\x82\xAC 0.00", "-5", "-\xE2\x82\xAC 5.00"},
    {"0.00;(0.00)", "-5", "(5.00)"},
    {"0.00 CR;0.00 DR", "-5", "5.00 DR"},
    {"0", "1e30", "1000000000000000000000000000000"},
    {"0.0", "0.05", "0.0"},
    {"0.0", "0.15", "0.2"},
    {"0.0", "0.95", "1.0"},
    {"0.0", "99.95", "100.0"},
    {"0", "0.5", "0"},
    {"0", "1.5", "2"},
    {"0", "0.04", "0"},
};

}  // namespace

TEST(NSNumberFormatter, WritesByAPattern) {
  for (const FormatCase& c : kFormats)
    EXPECT_EQ(written(withFormat(c.format), dec(c.number)), c.expected) << c.format << " of " << c.number;
}

TEST(NSNumberFormatter, RefusesWhatIsNoPattern) {
  const auto formatter = withFormat("0.0");
  for (const char* format :
       {"", "none", "0.0.0", "0#", "#.#0", "0E0", "@@", "'open", "0 0", "*x0", "05", "0.0,0", "#,"}) {
    formatter->setPositiveFormat(format);
    EXPECT_EQ(formatter->positiveFormat(), "0.0") << format;
  }
  formatter->setPositiveFormat(nil);
  formatter->setNegativeFormat("no digits");
  EXPECT_TRUE(formatter->negativeFormat().isNil());
  EXPECT_EQ(written(formatter, -1), "-1.0");
}

TEST(NSNumberFormatter, RoundsInEveryMode) {
  const std::pair<NSNumberFormatterRoundingMode, std::vector<const char*>> cases[] = {
      {NSNumberFormatterRoundCeiling, {"1.3", "1.3", "-1.2", "-1.2", "1.4", "0.1"}},
      {NSNumberFormatterRoundFloor, {"1.2", "1.2", "-1.3", "-1.3", "1.3", "0.0"}},
      {NSNumberFormatterRoundDown, {"1.2", "1.2", "-1.2", "-1.2", "1.3", "0.0"}},
      {NSNumberFormatterRoundUp, {"1.3", "1.3", "-1.3", "-1.3", "1.4", "0.1"}},
      {NSNumberFormatterRoundHalfEven, {"1.2", "1.2", "-1.2", "-1.2", "1.4", "0.0"}},
      {NSNumberFormatterRoundHalfDown, {"1.2", "1.2", "-1.2", "-1.2", "1.3", "0.0"}},
      {NSNumberFormatterRoundHalfUp, {"1.2", "1.3", "-1.3", "-1.2", "1.4", "0.0"}},
  };
  const char* const numbers[] = {"1.24", "1.25", "-1.25", "-1.24", "1.35", "0.001"};
  const auto formatter = withFormat("0.0");
  for (const auto& [mode, expected] : cases) {
    formatter->setRoundingMode(mode);
    EXPECT_EQ(formatter->roundingMode(), mode);
    for (size_t i = 0; i < std::size(numbers); ++i)
      EXPECT_EQ(written(formatter, dec(numbers[i])), expected[i]) << numbers[i] << ", mode " << mode;
  }
  formatter->setRoundingMode(static_cast<NSNumberFormatterRoundingMode>(7));
  EXPECT_EQ(formatter->roundingMode(), NSNumberFormatterRoundHalfUp);
}

TEST(NSNumberFormatter, WritesNumbersOfEveryKind) {
  const auto formatter = withFormat("#,##0.0##");
  EXPECT_EQ(written(formatter, true), "1.0");
  EXPECT_EQ(written(formatter, INT64_MIN), "-9,223,372,036,854,775,808.0");
  EXPECT_EQ(written(formatter, UINT64_MAX), "18,446,744,073,709,551,615.0");
  EXPECT_EQ(written(formatter, 2.345), "2.345");
  EXPECT_EQ(written(formatter, 0.1f), "0.1");
  EXPECT_EQ(written(formatter, -0.0), "-0.0");
  EXPECT_EQ(written(formatter, 1e-300), "0.0");
  EXPECT_EQ(written(formatter, std::nan("")), "NaN");
  EXPECT_EQ(written(formatter, -std::numeric_limits<double>::infinity()), "-INF");
  EXPECT_EQ(written(withFormat("0"), 1e300), "1" + std::string(300, '0'));
  EXPECT_TRUE(formatter->stringFromNumber(nil).isNil());
}

TEST(NSNumberFormatter, StylesAreTheLocales) {
  const auto formatter = make<NSNumberFormatter>();
  formatter->setLocale(NSLocale::localeWithLocaleIdentifier("de_DE"));
  EXPECT_EQ(written(formatter, 1234.5), "1234");
  formatter->setNumberStyle(NSNumberFormatterDecimalStyle);
  EXPECT_EQ(written(formatter, 1234567.8915), "1.234.567,892");
  EXPECT_EQ(formatter->decimalSeparator(), ",");
  formatter->setNumberStyle(NSNumberFormatterPercentStyle);
  EXPECT_EQ(written(formatter, 0.19), "19\xC2\xA0%");
  formatter->setLocale(NSLocale::localeWithLocaleIdentifier("en_US"));
  EXPECT_EQ(written(formatter, 0.19), "19%");
  formatter->setNumberStyle(NSNumberFormatterDecimalStyle);
  formatter->setLocale(NSLocale::localeWithLocaleIdentifier("hi_IN"));
  EXPECT_EQ(written(formatter, 12345678), "1,23,45,678");
  formatter->setNumberStyle(static_cast<NSNumberFormatterStyle>(2));
  EXPECT_EQ(formatter->numberStyle(), NSNumberFormatterDecimalStyle);
  formatter->setLocale(NSLocale::localeWithLocaleIdentifier("ar_EG"));
  EXPECT_EQ(formatter->numberFromString(formatter->stringFromNumber(1234)), NSNumber(1234));
  EXPECT_FALSE(NSNumberFormatter::localizedStringFromNumber(5, NSNumberFormatterDecimalStyle).isNil());
}

TEST(NSNumberFormatter, DigitsTakeEachOtherAlong) {
  const auto formatter = withFormat("0.00");
  formatter->setMaximumFractionDigits(1);
  EXPECT_EQ(formatter->minimumFractionDigits(), 1u);
  EXPECT_EQ(written(formatter, 5), "5.0");
  formatter->setMinimumFractionDigits(3);
  EXPECT_EQ(formatter->maximumFractionDigits(), 3u);
  formatter->setMinimumIntegerDigits(4);
  EXPECT_EQ(written(formatter, 5), "0005.000");
  formatter->setMaximumIntegerDigits(2);
  EXPECT_EQ(formatter->minimumIntegerDigits(), 2u);
  EXPECT_EQ(written(formatter, 12345), "45.000");
  formatter->setMaximumFractionDigits(1u << 30);
  EXPECT_EQ(formatter->maximumFractionDigits(), 1000u);
}

TEST(NSNumberFormatter, PadsToAWidth) {
  const auto formatter = withFormat("$0.00");
  formatter->setPaddingCharacter("*");
  EXPECT_EQ(written(formatter, -5), "-$5.00");  // no width, no padding
  formatter->setFormatWidth(9);
  const std::pair<NSNumberFormatterPadPosition, const char*> cases[] = {
      {NSNumberFormatterPadBeforePrefix, "***-$5.00"},
      {NSNumberFormatterPadAfterPrefix, "-$***5.00"},
      {NSNumberFormatterPadBeforeSuffix, "-$5.00***"},
      {NSNumberFormatterPadAfterSuffix, "-$5.00***"},
  };
  for (const auto& [position, expected] : cases) {
    formatter->setPaddingPosition(position);
    EXPECT_EQ(written(formatter, -5), expected);
  }
  EXPECT_EQ(written(formatter, 123456789), "$123456789.00");
  formatter->setPaddingPosition(NSNumberFormatterPadBeforePrefix);
  EXPECT_EQ(formatter->numberFromString("***-$5.00"), NSNumber(-5));
  EXPECT_EQ(formatter->numberFromString("-$5.00***"), NSNumber(-5));
}

TEST(NSNumberFormatter, WhatIsPaddedReadsBack) {
  const auto formatter = make<NSNumberFormatter>();
  formatter->setPositiveFormat("0");
  formatter->setFormatWidth(6);
  formatter->setPaddingCharacter("0");
  EXPECT_EQ(formatter->numberFromString(formatter->stringFromNumber(0)), NSNumber(0));
  EXPECT_EQ(formatter->numberFromString(formatter->stringFromNumber(120)), NSNumber(120));
  formatter->setPaddingCharacter("\U0001F600");
  formatter->setPaddingPosition(NSNumberFormatterPadAfterSuffix);
  EXPECT_EQ(formatter->stringFromNumber(5).utf8(), "5\U0001F600\U0001F600\U0001F600");
}

TEST(NSNumberFormatter, SeparatorsAndSignsAreWhatIsSet) {
  const auto formatter = withFormat("#,##0.00");
  formatter->setGroupingSeparator(" ");
  formatter->setDecimalSeparator("::");
  formatter->setMinusSign("minus ");
  formatter->setNotANumberSymbol("none");
  EXPECT_EQ(written(formatter, -1234.5), "minus 1 234::50");
  EXPECT_EQ(formatter->numberFromString("minus 1 234::50"), NSNumber(-1234.5));
  EXPECT_EQ(written(formatter, dec("NaN")), "none");
  formatter->setGroupingSize(2);
  EXPECT_EQ(written(formatter, 12345), "1 23 45::00");
  formatter->setUsesGroupingSeparator(false);
  EXPECT_EQ(written(formatter, 12345), "12345::00");
  formatter->setDecimalSeparator(nil);
  EXPECT_EQ(written(formatter, 1), "100");
  formatter->setAlwaysShowsDecimalSeparator(true);
  EXPECT_TRUE(formatter->alwaysShowsDecimalSeparator());
}

TEST(NSNumberFormatter, ReadsWhatItWrites) {
  const auto formatter = withFormat("#,##0.00");
  EXPECT_EQ(formatter->numberFromString(" 1,234.50 "), NSNumber(1234.5));
  EXPECT_EQ(formatter->numberFromString("-1,234"), NSNumber(-1234));
  EXPECT_STREQ(formatter->numberFromString("12").objCType(), "q");
  EXPECT_STREQ(formatter->numberFromString("12.5").objCType(), "d");
  EXPECT_EQ(formatter->numberFromString(".5"), NSNumber(0.5));
  EXPECT_EQ(formatter->numberFromString("5."), NSNumber(5.0));
  EXPECT_TRUE(std::isnan(formatter->numberFromString("NaN").doubleValue()));
  EXPECT_EQ(withFormat("0%")->numberFromString("19%"), NSNumber(0.19));
  EXPECT_EQ(withFormat("0.00;(0.00)")->numberFromString("(5.00)"), NSNumber(-5));
  for (const char* text : {"", " ", "x", "1x", "1,,2", ",1", "1.2.3", "1.2,3", "--1", "1-", ".", "1,", "+1"})
    EXPECT_TRUE(formatter->numberFromString(text).isNil()) << text;
  EXPECT_TRUE(formatter->numberFromString(nil).isNil());
}

TEST(NSNumberFormatter, ReadsDecimalAmountsWhenAsked) {
  const auto formatter = withFormat("#,##0.00");
  formatter->setGeneratesDecimalNumbers(true);
  const NSNumber amount = formatter->numberFromString("1,234,567,890,123,456,789.01");
  EXPECT_TRUE(amount.isKindOf<NSDecimalNumber>());
  EXPECT_EQ(amount.stringValue(), "1234567890123456789.01");
  EXPECT_EQ(formatter->numberFromString("NaN"), NSNumber(NSDecimalNumber::notANumber()));
  EXPECT_TRUE(formatter->numberFromString(std::string(300, '9')).isNil());
  EXPECT_TRUE(rc::check([&](long cents) {
    const NSDecimalNumber n = NSDecimalNumber::decimalNumberWithInteger(cents, 2);
    RC_ASSERT(formatter->numberFromString(formatter->stringFromNumber(n)) == NSNumber(n));
  }));
}

TEST(NSNumberFormatter, AgreesWithICU) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::DecimalFormatSymbols symbols(icu::Locale("en_US"), status);
  for (const char* pattern : {"0.00", "#,##0.00", "#,##0.###", "000.0", "#", "#,##,##0.0#", "0.0%", "#.##",
                              "#.00", ".##", ".00", "$0.00;($0.00)"}) {
    const icu::DecimalFormat theirs(pattern, symbols, status);
    ASSERT_TRUE(U_SUCCESS(status)) << pattern;
    const auto ours = withFormat(pattern);
    EXPECT_TRUE(rc::check(pattern, [&] {
      const auto mantissa = *rc::gen::arbitrary<int64_t>() >> *rc::gen::inRange(0, 63);
      const NSDecimalNumber n = NSDecimalNumber::decimalNumberWithInteger(mantissa, *rc::gen::inRange(0, 20));
      icu::UnicodeString text;
      UErrorCode error = U_ZERO_ERROR;
      theirs.format(icu::StringPiece(n.stringValue().utf8()), text, nullptr, error);
      std::string expected;
      text.toUTF8String(expected);
      RC_ASSERT(written(ours, n) == expected);
    }));
  }
}

TEST(NSNumberFormatter, ThreadsShareOne) {
  const auto formatter = withFormat("0.00");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < 500; ++i) {
        formatter->setFormatWidth(static_cast<NSUInteger>(t));
        EXPECT_EQ(formatter->stringFromNumber(i), NSString(std::to_string(i) + ".00"));
      }
    });
  for (std::thread& thread : threads) thread.join();
}
