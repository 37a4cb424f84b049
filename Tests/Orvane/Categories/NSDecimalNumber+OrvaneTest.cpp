#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <cstdlib>
#include <functional>
#include <limits>
#include <string>

#include "Platform/Foundation/Text/NSNumberFormatter.h"
#include "Platform/Foundation/Values/NSDecimalNumber.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Tests/Support/LogLines.h"

using namespace orv;

namespace {

NSDecimalNumber dec(const char* text) { return NSDecimalNumber::decimalNumberWithString(text); }

std::string textOf(const Value& n) { return n.isNil() ? "nil" : n.description().utf8(); }

const NSDecimalNumber kNone;

bool raises(const std::function<void()>& act) {
  try {
    act();
    return false;
  } catch (const NSException& e) {
    return e.name() == NSDecimalNumberOverflowException;
  }
}

NSDecimalNumber anyAmount(int leastExponent, int mostExponent) {
  const auto mantissa = *rc::gen::arbitrary<uint64_t>();
  const auto shift = *rc::gen::inRange(0, 64);
  const auto exponent = *rc::gen::inRange(leastExponent, mostExponent + 1);
  return NSDecimalNumber::decimalNumberWithMantissa(mantissa >> shift, static_cast<short>(exponent),
                                                    *rc::gen::arbitrary<bool>());
}

// The formatter that a text with two decimals is made by, set up in full.
NSString formatted(const NSDecimalNumber& amount, const char* separator) {
  const auto formatter = make<NSNumberFormatter>();
  formatter->setLocale(NSLocale::localeWithLocaleIdentifier("en_US_POSIX"));
  formatter->setNumberStyle(NSNumberFormatterDecimalStyle);
  formatter->setPositiveFormat("0.00");
  formatter->setMinimumFractionDigits(2);
  formatter->setMaximumFractionDigits(2);
  formatter->setPaddingPosition(NSNumberFormatterPadBeforePrefix);
  formatter->setPaddingCharacter("0");
  formatter->setUsesGroupingSeparator(false);
  formatter->setDecimalSeparator(separator);
  return formatter->stringFromNumber(amount);
}

}  // namespace

TEST(NSDecimalNumberOrvane, TextsAreTheSameInEveryLocale) {
  const std::string before = std::getenv("LC_ALL") ? std::getenv("LC_ALL") : "";
  for (const char* locale : {"ar_EG.UTF-8", "ru_RU.UTF-8", "sv_SE.UTF-8", "mr_IN.UTF-8"}) {
    ::setenv("LC_ALL", locale, 1);
    EXPECT_EQ(textOf(dec("-1e30").stringValueWithPeriod()), "-1" + std::string(30, '0') + ".00") << locale;
    EXPECT_EQ(textOf(dec("-1e-100").stringValueWithComma()), "-0,00") << locale;
    EXPECT_EQ(textOf(NSDecimalNumber::notANumber().stringValueWithPeriod()), "NaN") << locale;
  }
  ::setenv("LC_ALL", before.c_str(), 1);
}

TEST(NSDecimalNumberOrvane, DivisionNeverRaises) {
  LogLines log;
  EXPECT_EQ(textOf(dec("10").zu_decimalNumberByDividingBy(dec("4"))), "2.5");
  EXPECT_EQ(textOf(dec("10").zu_decimalNumberByDividingBy(dec("0"))), "0");
  EXPECT_EQ(textOf(dec("10").zu_decimalNumberByDividingBy(dec("NaN"))), "0");
  EXPECT_EQ(textOf(dec("10").zu_decimalNumberByDividingBy(nil)), "0");
  EXPECT_EQ(textOf(dec("NaN").zu_decimalNumberByDividingBy(dec("0"))), "0");
  EXPECT_TRUE(kNone.zu_decimalNumberByDividingBy(dec("2")).isNil());
  EXPECT_TRUE(log.take().empty());
}

TEST(NSDecimalNumberOrvane, AFailedDivisionIsZeroAndOneWarning) {
  LogLines log;
  EXPECT_EQ(textOf(dec("NaN").zu_decimalNumberByDividingBy(dec("3"))), "0");
  EXPECT_EQ(log.takeMessages(OrvLogLevelWarning), std::vector<std::string>{"Division by zero? NaN / 3"});
  EXPECT_EQ(textOf(dec("1e100").zu_decimalNumberByDividingBy(dec("1e-100"))), "0");
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning),
              testing::ElementsAre(testing::MatchesRegex("Division by zero\\? 10+ / 0\\.0+1")));
  EXPECT_EQ(textOf(dec("1e-100").zu_decimalNumberByDividingBy(dec("1e100"))), "0");
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning), testing::SizeIs(1));
}

TEST(NSDecimalNumberOrvane, IntegersBecomeAmounts) {
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithInteger(1234, 2)), "12.34");
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithInteger(1234, 0)), "1234");
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithInteger(-5, -3)), "-5000");
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithInteger(7, 65536 + 1)), "0.7");
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithInteger(std::numeric_limits<long>::min(), 2)),
            "-92233720368547758.08");
  EXPECT_TRUE(raises([] { NSDecimalNumber::decimalNumberWithInteger(1, -128); }));
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithAmountInteger(-1999)), "-19.99");
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithAmountInteger(0)), "0");
}

TEST(NSDecimalNumberOrvane, AmountsBecomeCents) {
  const std::pair<const char*, long> cases[] = {
      {"12.349", 1234}, {"-12.349", -1234}, {"0.009", 0}, {"19.99", 1999}, {"1e30", INT64_MAX}};
  for (const auto& [text, cents] : cases) EXPECT_EQ(dec(text).amountIntegerValue(), cents) << text;
  EXPECT_EQ(kNone.amountIntegerValue(), 0);
  EXPECT_TRUE(raises([] { dec("NaN").amountIntegerValue(); }));
}

TEST(NSDecimalNumberOrvane, EveryCentSurvivesTheTrip) {
  EXPECT_TRUE(rc::check([](long cents) {
    RC_ASSERT(NSDecimalNumber::decimalNumberWithAmountInteger(cents).amountIntegerValue() == cents);
  }));
}

TEST(NSDecimalNumberOrvane, IntegersAreTheDigitsBeforeThePeriod) {
  EXPECT_EQ(dec("12.99").integerValue(), 12);
  EXPECT_EQ(dec("-12.99").integerValue(), -12);
  EXPECT_EQ(dec("NaN").integerValue(), 0);
  EXPECT_EQ(dec("9223372036854775807.9").integerValue(), INT64_MAX);
  EXPECT_EQ(dec("9223372036854775808").integerValue(), INT64_MAX);
  EXPECT_EQ(dec("-9223372036854775808.5").integerValue(), INT64_MIN);
  EXPECT_EQ(dec("-9223372036854775809").integerValue(), INT64_MIN);
  EXPECT_EQ(kNone.integerValue(), 0);
  // Also where the amount is known as a number only.
  EXPECT_EQ(NSNumber(dec("1e30")).integerValue(), INT64_MAX);
  EXPECT_TRUE(rc::check([] {
    const NSDecimalNumber n = anyAmount(-20, 20);
    RC_ASSERT(n.integerValue() == std::strtoll(n.stringValue().utf8().c_str(), nullptr, 10));
  }));
}

TEST(NSDecimalNumberOrvane, RoundsToDecimalPlaces) {
  EXPECT_EQ(textOf(dec("2.345").twoDigits()), "2.35");
  EXPECT_EQ(textOf(dec("-2.345").twoDigits()), "-2.35");
  EXPECT_EQ(textOf(dec("2.344").twoDigits()), "2.34");
  EXPECT_EQ(textOf(dec("NaN").twoDigits()), "NaN");
  EXPECT_EQ(textOf(kNone.twoDigits()), "nil");
  EXPECT_EQ(textOf(dec("1250").decimalNumberByRoundingToDecimalPlaces(-2)), "1300");
  EXPECT_EQ(textOf(dec("1250").decimalNumberByRoundingToDecimalPlaces(-2, NSRoundBankers)), "1200");
  EXPECT_EQ(textOf(dec("-1.21").decimalNumberByRoundingToDecimalPlaces(1, NSRoundDown)), "-1.3");
  EXPECT_EQ(textOf(dec("-1.29").decimalNumberByRoundingToDecimalPlaces(1, NSRoundUp)), "-1.2");
  EXPECT_EQ(textOf(dec("1.25").decimalNumberByRoundingToDecimalPlaces(32767)), "1.25");
  EXPECT_EQ(textOf(dec("1.25").decimalNumberByRoundingToDecimalPlaces(65536 + 1)), "1.3");
}

TEST(NSDecimalNumberOrvane, ZeroAndNotANumberAreNotTrue) {
  EXPECT_FALSE(dec("0.00").isTrue());
  EXPECT_FALSE(dec("NaN").isTrue());
  EXPECT_FALSE(kNone.isTrue());
  EXPECT_TRUE(dec("0.01").isTrue());
  EXPECT_TRUE(dec("-1e-128").isTrue());
  EXPECT_FALSE(Value(dec("NaN")).isTrue());
}

TEST(NSDecimalNumberOrvane, TextsHaveTwoDecimals) {
  const std::pair<const char*, const char*> cases[] = {
      {"1234.5", "1234.50"},
      {"0.5", "0.50"},
      {"0", "0.00"},
      {"2.345", "2.34"},
      {"2.355", "2.36"},
      {"2.335", "2.34"},
      {"0.005", "0.00"},
      {"0.015", "0.02"},
      {"-19.99", "-19.99"},
      {"-0.001", "-0.00"},
      {"NaN", "NaN"},
      {"0.9999", "1.00"},
      {"7", "7.00"},
      {"1e3", "1000.00"},
      {"-0.07", "-0.07"},
      {"1e30", "1000000000000000000000000000000.00"},
      {"184467440737095516.15", "184467440737095516.15"},
      {"18446744073709551615", "18446744073709551615.00"},
      {"340282366920938463463374607431768211.455", "340282366920938463463374607431768211.46"}};
  for (const auto& [amount, expected] : cases) {
    std::string comma = expected;
    if (const size_t period = comma.find('.'); period != std::string::npos) comma[period] = ',';
    EXPECT_EQ(dec(amount).stringValueWithPeriod(), expected);
    EXPECT_EQ(dec(amount).stringValueWithComma(), comma.c_str());
  }
  EXPECT_TRUE(kNone.stringValueWithPeriod().isNil());
  EXPECT_TRUE(kNone.stringValueWithComma().isNil());
}

TEST(NSDecimalNumberOrvane, TheShortcutWritesWhatTheFormatterWrites) {
  EXPECT_TRUE(rc::check([] {
    const NSDecimalNumber amount = anyAmount(-24, 6);
    RC_ASSERT(amount.stringValueWithPeriod() == formatted(amount, "."));
    RC_ASSERT(amount.stringValueWithComma() == formatted(amount, ","));
  }));
}

TEST(NSDecimalNumberOrvane, HalvesGoToTheEvenCentAsInTheFormatter) {
  for (int thousandths = -2005; thousandths <= 2005; thousandths += 10) {
    const NSDecimalNumber amount = NSDecimalNumber::decimalNumberWithInteger(thousandths, 3);
    ASSERT_EQ(amount.stringValueWithPeriod(), formatted(amount, ".")) << amount;
  }
}

TEST(NSDecimalNumberOrvane, TaxNetGrossAndRateFollowFromEachOther) {
  EXPECT_EQ(textOf(dec("100").taxFromNetWithRate(dec("19"))), "19");
  EXPECT_EQ(textOf(dec("119").taxFromGrossWithRate(dec("19"))), "19");
  EXPECT_EQ(textOf(dec("119").netFromGrossWithRate(dec("19"))), "100");
  EXPECT_EQ(textOf(dec("100").grossFromNetWithRate(dec("19"))), "119");
  EXPECT_EQ(textOf(dec("119").rateFromGrossWithTax(dec("19"))), "19");
  EXPECT_EQ(textOf(dec("19").netFromTaxWithRate(dec("19"))), "100");
}

TEST(NSDecimalNumberOrvane, NoTaxIsRounded) {
  EXPECT_EQ(textOf(dec("19.99").taxFromNetWithRate(dec("19"))), "3.7981");
  // The gross amount is divided first: that is where digits are cut.
  EXPECT_EQ(textOf(dec("100").taxFromGrossWithRate(dec("19"))), "15.9663865546218487394957983193277310925");
}

TEST(NSDecimalNumberOrvane, RatesWithoutAnAnswer) {
  LogLines log;
  EXPECT_EQ(textOf(dec("119").taxFromGrossWithRate(dec("-100"))), "nil");
  EXPECT_EQ(textOf(dec("119").netFromGrossWithRate(dec("-100"))), "119");
  EXPECT_EQ(textOf(dec("50").rateFromGrossWithTax(dec("50"))), "-1");
  EXPECT_EQ(textOf(dec("19").netFromTaxWithRate(dec("0"))), "nil");
  EXPECT_EQ(textOf(dec("19").netFromTaxWithRate(nil)), "nil");
  EXPECT_EQ(textOf(dec("19").netFromTaxWithRate(dec("NaN"))), "0");
  EXPECT_TRUE(log.take().empty());
  EXPECT_TRUE(raises([] { dec("19").taxFromNetWithRate(dec("NaN")); }));
  EXPECT_TRUE(raises([] { dec("19").taxFromGrossWithRate(dec("NaN")); }));
}

TEST(NSDecimalNumberOrvane, ANilRateIsNoTax) {
  EXPECT_EQ(textOf(dec("119").taxFromNetWithRate(nil)), "0");
  EXPECT_EQ(textOf(dec("119").taxFromGrossWithRate(nil)), "0");
  EXPECT_EQ(textOf(dec("119").netFromGrossWithRate(nil)), "119");
  EXPECT_EQ(textOf(dec("119").grossFromNetWithRate(nil)), "119");
  EXPECT_EQ(textOf(dec("119").rateFromGrossWithTax(nil)), "0");
}

TEST(NSDecimalNumberOrvane, NilHasNoTax) {
  EXPECT_EQ(textOf(kNone.taxFromNetWithRate(dec("19"))), "nil");
  EXPECT_EQ(textOf(kNone.taxFromGrossWithRate(dec("19"))), "nil");
  EXPECT_EQ(textOf(kNone.netFromGrossWithRate(dec("19"))), "nil");
  EXPECT_EQ(textOf(kNone.grossFromNetWithRate(dec("19"))), "nil");
  EXPECT_EQ(textOf(kNone.rateFromGrossWithTax(dec("19"))), "nil");
  EXPECT_EQ(textOf(kNone.netFromTaxWithRate(dec("19"))), "nil");
  EXPECT_EQ(textOf(kNone.key()), "nil");
}

TEST(NSDecimalNumberOrvane, NetAndTaxAreGrossForEveryAmountAndRate) {
  EXPECT_TRUE(rc::check([] {
    const auto cents = *rc::gen::inRange<long>(-100000000, 100000000);
    const auto tenths = *rc::gen::inRange<long>(1, 500);
    const NSDecimalNumber amount = NSDecimalNumber::decimalNumberWithAmountInteger(cents);
    const NSDecimalNumber rate = NSDecimalNumber::decimalNumberWithInteger(tenths, 1);
    const NSDecimalNumber gross = amount.grossFromNetWithRate(rate);
    RC_ASSERT(amount.decimalNumberByAdding(amount.taxFromNetWithRate(rate)) == gross);
    RC_ASSERT(gross.netFromGrossWithRate(rate).twoDigits() == amount);
    RC_ASSERT(amount.taxFromNetWithRate(rate).netFromTaxWithRate(rate) == amount);
    RC_ASSERT(amount.netFromGrossWithRate(rate)
                  .decimalNumberByAdding(amount.taxFromGrossWithRate(rate))
                  .twoDigits() == amount);
    if (cents != 0) RC_ASSERT(gross.rateFromGrossWithTax(amount.taxFromNetWithRate(rate)) == rate);
  }));
}

TEST(NSDecimalNumberOrvane, KeysAreTheRoundedCents) {
  EXPECT_EQ(dec("12.345").key(), "1235");
  EXPECT_EQ(dec("-12.345").key(), "-1235");
  EXPECT_EQ(dec("0").key(), "0");
  EXPECT_EQ(dec("12.30").key(), dec("12.3").key());
  EXPECT_TRUE(raises([] { dec("NaN").key(); }));
}
