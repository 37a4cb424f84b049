#include "Platform/Foundation/Values/NSDecimal.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>

#include "Tests/Foundation/DecimalModel.h"
#include "Tests/Support/World.h"

using orv::detail::UInt128;

namespace {

constexpr NSRoundingMode kModes[] = {NSRoundPlain, NSRoundDown, NSRoundUp, NSRoundBankers};

NSDecimal dec(std::string_view text) { return NSDecimal::fromText(text); }

std::string textOf(std::string_view text) { return dec(text).text(); }

bool isCompact(const NSDecimal& d) {
  if (d.notANumber) return d == NSDecimal::nan();
  if (d.isZero()) return d == NSDecimal();
  return d.exponent >= -128 && d.exponent <= 127 && (d.mantissa() % 10 != 0 || d.exponent == 127);
}

// Numbers of every size, with a liking for the borders: round, tiny, full mantissas, far exponents.
class Numbers {
 public:
  explicit Numbers(uint32_t seed) : random_(seed) {}

  NSDecimal next() {
    for (;;) {
      const NSDecimal d = NSDecimal::make(mantissa(), exponent(), below(2) == 0);
      if (!d.notANumber) return d;
    }
  }

  uint64_t below(uint64_t limit) { return random_() % limit; }

 private:
  UInt128 mantissa() {
    const UInt128 bits = static_cast<UInt128>(random_()) << 64 | random_();
    switch (below(6)) {
      case 0: return bits >> below(128);
      case 1: return below(1000);
      case 2: return ~static_cast<UInt128>(0) - below(20);
      case 3: return powerOf10(below(39)) + below(3) - 1;
      case 4: return powerOf10(below(38)) * 5 + below(3) - 1;
      default: return (bits >> 64) >> below(64);
    }
  }

  int exponent() {
    switch (below(4)) {
      case 0: return -2;
      case 1: return static_cast<int>(below(256)) - 128;
      case 2: return below(2) == 0 ? 127 - static_cast<int>(below(40)) : -128 + static_cast<int>(below(40));
      default: return static_cast<int>(below(80)) - 40;
    }
  }

  static UInt128 powerOf10(uint64_t power) {
    UInt128 result = 1;
    for (; power > 0; --power) result *= 10;
    return result;
  }

  std::mt19937_64 random_;
};

template <class Fast, class Slow>
void agree(uint32_t seed, int rounds, Fast fast, Slow slow) {
  Numbers numbers(seed);
  for (int i = 0; i < (kSanitized ? rounds / 10 : rounds); ++i) {
    const NSDecimal a = numbers.next(), b = numbers.next();
    for (const NSRoundingMode mode : kModes) {
      const NSDecimal::Result result = fast(a, b, mode);
      const model::Outcome actual = model::outcomeOf(result), expected = slow(a, b, mode);
      ASSERT_EQ(actual.text, expected.text) << a.text() << " and " << b.text() << ", mode " << mode;
      ASSERT_TRUE(result.value.notANumber || actual.inexact == expected.inexact)
          << a.text() << " and " << b.text() << ", mode " << mode;
      ASSERT_TRUE(isCompact(result.value));
    }
  }
}

struct TextCase {
  const char* text;
  const char* expected;
};

constexpr TextCase kTexts[] = {
    {"12abc", "12"},
    {"3.14notanumber", "3.14"},
    {" 5", "5"},
    {"\t\n 5", "5"},
    {"1e3", "1000"},
    {"1E+3", "1000"},
    {"-2.5006E3", "-2500.6"},
    {"+7", "7"},
    {".5", "0.5"},
    {"1e200", "NaN"},
    {"1e-200", "NaN"},
    {"-", "NaN"},
    {"+", "NaN"},
    {".", "NaN"},
    {"-.", "NaN"},
    {"", "NaN"},
    {"abc", "NaN"},
    {"1,5", "1"},
    {"123e", "123"},
    {"123e+", "123"},
    {"123e-x", "123"},
    {"e", "0"},
    {"en", "0"},
    {"e5", "0"},
    {"-0.0", "0"},
    {"-0", "0"},
    {"5.", "5"},
    {"5.e2", "500"},
    {"0e200", "NaN"},
    {"0e5", "0"},
    {"(null)", "NaN"},
    {"--1", "NaN"},
    {"- 1", "NaN"},
    {"1.2.3", "1.2"},
    {"00012", "12"},
    {"0.0001", "0.0001"},
    {"1e-10", "0.0000000001"},
    {"-1.0002", "-1.0002"},
    {"1.0000", "1"},
    {"0.0", "0"},
    {"1e30", "1000000000000000000000000000000"},
    {"100.00", "100"},
    {"340282366920938463463374607431768211455", "340282366920938463463374607431768211455"},
    {"340282366920938463463374607431768211456", "340282366920938463463374607431768211450"},
    {"340282366920938463463374607431768211459", "340282366920938463463374607431768211450"},
    {"99999999999999999999999999999999999999", "99999999999999999999999999999999999999"},
    {"0.99999999999999999999999999999999999999999999", "0.99999999999999999999999999999999999999"},
    {"99999999999999999999999999999999999999999.9", "99999999999999999999999999999999999999000"},
    {"1e99999999999999999999", "NaN"},
    {"1e-99999999999999999999", "NaN"},
};

}  // namespace

TEST(NSDecimal, ReadsTheNumberAtTheStartOfAText) {
  for (const TextCase& c : kTexts) {
    EXPECT_EQ(textOf(c.text), c.expected) << '"' << c.text << '"';
    EXPECT_TRUE(isCompact(dec(c.text))) << c.text;
  }
}

TEST(NSDecimal, ReadsTheSameFromEveryUnitWidth) {
  for (const TextCase& c : kTexts) {
    const std::string narrow = c.text;
    const std::u16string wide(narrow.begin(), narrow.end());
    const NSDecimal expected = dec(narrow);
    EXPECT_EQ(NSDecimal::fromText(reinterpret_cast<const uint8_t*>(narrow.data()), narrow.size()), expected);
    EXPECT_EQ(NSDecimal::fromText(wide.data(), wide.size()), expected);
  }
  EXPECT_EQ(NSDecimal::fromText(u"\u2003\u00A07", 3), dec("7"));
  EXPECT_TRUE(NSDecimal::fromText(u"\u0665", 1).notANumber);  // digits of other scripts are no digits
}

TEST(NSDecimal, TheExponentOfATextCountsAfterItsFraction) {
  EXPECT_EQ(dec("0.001e130"), NSDecimal::make(1, 127));
  EXPECT_EQ(dec("1000e-131"), NSDecimal::make(1, -128));
  EXPECT_EQ(dec("1234e-130"), NSDecimal::make(12, -128));  // digits below the smallest step are dropped
  EXPECT_TRUE(dec("9e-129").notANumber);
}

TEST(NSDecimal, VeryLongTextsKeepTheirMagnitude) {
  EXPECT_EQ(dec(std::string(500, '0') + "7." + std::string(5000, '0')), dec("7"));
  EXPECT_EQ(dec("0." + std::string(127, '0') + "1"), NSDecimal::make(1, -128));
  EXPECT_TRUE(dec("0." + std::string(128, '0') + "1").notANumber);
  EXPECT_EQ(dec("1" + std::string(128, '0')), NSDecimal::make(10, 127));
  EXPECT_EQ(dec(NSDecimal::largest().text()), NSDecimal::largest());
  EXPECT_TRUE(dec("1" + std::string(200, '0')).notANumber);
}

TEST(NSDecimal, EqualNumbersHaveOneForm) {
  EXPECT_EQ(dec("1.50"), dec("1.5"));
  EXPECT_EQ(dec("1000"), dec("1e3"));
  EXPECT_EQ(dec("-0"), NSDecimal());
  EXPECT_EQ(NSDecimal::make(10, 126), NSDecimal::make(1, 127));
  EXPECT_EQ(NSDecimal::make(1, 128), NSDecimal::make(10, 127));
  EXPECT_NE(NSDecimal::make(1, 127), NSDecimal::make(1, 126));
}

TEST(NSDecimal, TheLongestTextFitsItsBuffer) {
  NSDecimal longest = NSDecimal::largest();
  longest.negative = true;
  EXPECT_EQ(longest.text(), "-340282366920938463463374607431768211455" + std::string(127, '0'));
  EXPECT_LE(longest.text().size(), NSDecimal::kMaxTextLength);
  const NSDecimal smallest = NSDecimal::make(1, -128, true);
  EXPECT_EQ(smallest.text(), "-0." + std::string(127, '0') + "1");
  EXPECT_EQ(NSDecimal::nan().text(), "NaN");
  EXPECT_EQ(NSDecimal().text(), "0");
}

TEST(NSDecimal, SumsAgreeWithThePlainModel) {
  agree(
      1, 3000, [](auto& a, auto& b, auto mode) { return a.adding(b, mode); },
      [](auto& a, auto& b, auto mode) { return model::sum(a, b, mode); });
}

TEST(NSDecimal, DifferencesAgreeWithThePlainModel) {
  agree(
      2, 3000, [](auto& a, auto& b, auto mode) { return a.subtracting(b, mode); },
      [](auto& a, auto& b, auto mode) { return model::sum(a, b.negated(), mode); });
}

TEST(NSDecimal, ProductsAgreeWithThePlainModel) {
  agree(
      3, 3000, [](auto& a, auto& b, auto mode) { return a.multiplyingBy(b, mode); },
      [](auto& a, auto& b, auto mode) { return model::product(a, b, mode); });
}

TEST(NSDecimal, QuotientsAgreeWithThePlainModel) {
  agree(
      4, 300, [](auto& a, auto& b, auto mode) { return a.dividingBy(b, mode); },
      [](auto& a, auto& b, auto mode) {
        return b.isZero() ? model::Outcome{"division by zero"} : model::quotient(a, b, mode);
      });
}

TEST(NSDecimal, ComparisonAgreesWithTheSignOfTheDifference) {
  Numbers numbers(5);
  for (int i = 0; i < 50000; ++i) {
    const NSDecimal a = numbers.next();
    const NSDecimal b = numbers.below(8) == 0 ? a : numbers.next();
    // Rounding never turns a difference that is not zero into zero; at worst it underflows to nothing.
    const NSDecimal::Result difference = a.subtracting(b);
    if (difference.value.notANumber) continue;
    const int sign = difference.value.isZero() ? 0 : difference.value.negative ? -1 : 1;
    ASSERT_EQ(a.compare(b), sign) << a.text() << " and " << b.text();
    ASSERT_EQ(b.compare(a), -sign);
    ASSERT_EQ(a == b, sign == 0);
  }
}

TEST(NSDecimal, EveryNumberReadsBackFromItsText) {
  Numbers numbers(6);
  for (int i = 0; i < 50000; ++i) {
    const NSDecimal d = numbers.next();
    ASSERT_EQ(dec(d.text()), d) << d.text();
  }
}

struct ErrorCase {
  const char* a;
  char operation;
  const char* b;
  NSCalculationError error;
};

constexpr ErrorCase kErrors[] = {
    {"1e100", '*', "1e100", NSCalculationOverflow},
    {"1e-100", '*', "1e-100", NSCalculationUnderflow},
    {"1e100", '/', "1e-100", NSCalculationOverflow},
    {"1e-100", '/', "1e100", NSCalculationUnderflow},
    {"1", '/', "0", NSCalculationDivideByZero},
    {"0", '/', "0", NSCalculationDivideByZero},
    {"0", '/', "5", NSCalculationNoError},
    {"NaN", '+', "1", NSCalculationOverflow},
    {"1", '+', "NaN", NSCalculationOverflow},
    {"NaN", '-', "1", NSCalculationOverflow},
    {"NaN", '*', "0", NSCalculationOverflow},
    {"0", '*', "NaN", NSCalculationOverflow},
    {"NaN", '/', "1", NSCalculationOverflow},
    {"1", '/', "NaN", NSCalculationOverflow},
    {"NaN", '/', "0", NSCalculationOverflow},
    {"1", '/', "3", NSCalculationLossOfPrecision},
    {"1", '+', "1e-100", NSCalculationLossOfPrecision},
    {"1e-128", '*', "0.5", NSCalculationUnderflow},
    {"3e-128", '*', "0.5", NSCalculationLossOfPrecision},
    {"10", '/', "4", NSCalculationNoError},
};

TEST(NSDecimal, ReportsWhatWentWrong) {
  for (const ErrorCase& c : kErrors) {
    const NSDecimal a = dec(c.a), b = dec(c.b);
    const NSDecimal::Result result = c.operation == '+'   ? a.adding(b)
                                     : c.operation == '-' ? a.subtracting(b)
                                     : c.operation == '*' ? a.multiplyingBy(b)
                                                          : a.dividingBy(b);
    EXPECT_EQ(result.error, c.error) << c.a << c.operation << c.b;
    EXPECT_EQ(result.value.notANumber, c.error > NSCalculationLossOfPrecision) << c.a << c.operation << c.b;
  }
}

TEST(NSDecimal, QuotientsHave38Digits) {
  const auto quotient = [](std::string_view a, std::string_view b) {
    return dec(a).dividingBy(dec(b)).value.text();
  };
  EXPECT_EQ(quotient("119.993", "258.469"), "0.46424522863476857959755328492004843908");
  EXPECT_EQ(quotient("1", "3"), "0." + std::string(38, '3'));
  EXPECT_EQ(quotient("2", "3"), "0." + std::string(37, '6') + "7");
  EXPECT_EQ(quotient("10", "4"), "2.5");
  EXPECT_EQ(quotient("-10", "4"), "-2.5");
  EXPECT_EQ(quotient("119", "119"), "1");
  EXPECT_EQ(quotient("2261", "100"), "22.61");
  // An exact quotient may use the whole mantissa.
  EXPECT_EQ(quotient("340282366920938463463374607431768211455", "1"),
            "340282366920938463463374607431768211455");
}

TEST(NSDecimal, PowersMultiply) {
  EXPECT_EQ(dec("2").raisedToPower(10).value, dec("1024"));
  EXPECT_EQ(dec("-1.1").raisedToPower(3).value, dec("-1.331"));
  EXPECT_EQ(dec("0").raisedToPower(0).value, dec("1"));
  EXPECT_EQ(dec("7").raisedToPower(0).value, dec("1"));
  EXPECT_EQ(dec("0").raisedToPower(5).value, NSDecimal());
  EXPECT_EQ(dec("1").raisedToPower(UINT64_MAX).value, dec("1"));
  EXPECT_EQ(dec("10").raisedToPower(127).value, dec("1e127"));
  EXPECT_EQ(dec("10").raisedToPower(200).error, NSCalculationOverflow);
  EXPECT_EQ(dec("0.1").raisedToPower(200).error, NSCalculationUnderflow);
  EXPECT_EQ(dec("NaN").raisedToPower(2).error, NSCalculationOverflow);
  EXPECT_EQ(dec("1.1").raisedToPower(100).error, NSCalculationLossOfPrecision);
}

TEST(NSDecimal, PowersOfTenShiftTheExponent) {
  EXPECT_EQ(dec("1234").multipliedByPowerOf10(-2).value, dec("12.34"));
  EXPECT_EQ(dec("1").multipliedByPowerOf10(127).value, NSDecimal::make(1, 127));
  EXPECT_EQ(dec("1").multipliedByPowerOf10(128).error, NSCalculationOverflow);
  EXPECT_EQ(dec("1").multipliedByPowerOf10(-128).value, NSDecimal::make(1, -128));
  EXPECT_EQ(dec("1").multipliedByPowerOf10(-129).error, NSCalculationUnderflow);
  EXPECT_EQ(dec("15").multipliedByPowerOf10(-129).value, NSDecimal::make(2, -128));
  EXPECT_EQ(dec("0").multipliedByPowerOf10(30000).value, NSDecimal());
  EXPECT_EQ(dec("1").multipliedByPowerOf10(std::numeric_limits<int>::min()).error, NSCalculationUnderflow);
  EXPECT_EQ(dec("NaN").multipliedByPowerOf10(1).error, NSCalculationOverflow);
}

struct RoundCase {
  const char* value;
  int scale;
  const char* expected[4];  // plain, down, up, bankers
};

constexpr RoundCase kRounds[] = {
    {"1.24", 1, {"1.2", "1.2", "1.3", "1.2"}},
    {"1.25", 1, {"1.3", "1.2", "1.3", "1.2"}},
    {"1.35", 1, {"1.4", "1.3", "1.4", "1.4"}},
    {"1.2501", 1, {"1.3", "1.2", "1.3", "1.3"}},
    {"-1.25", 1, {"-1.3", "-1.3", "-1.2", "-1.2"}},
    {"-1.24", 1, {"-1.2", "-1.3", "-1.2", "-1.2"}},
    {"-0.04", 1, {"0", "-0.1", "0", "0"}},
    {"1234.5", -2, {"1200", "1200", "1300", "1200"}},
    {"2.345", 2, {"2.35", "2.34", "2.35", "2.34"}},
    {"-2.345", 2, {"-2.35", "-2.35", "-2.34", "-2.34"}},
    {"9.99", 1, {"10", "9.9", "10", "10"}},
    {"5", -1, {"10", "0", "10", "0"}},
    {"4", -2, {"0", "0", "100", "0"}},
    {"1.5", 5, {"1.5", "1.5", "1.5", "1.5"}},
    {"1.5", NSDecimalNoScale, {"1.5", "1.5", "1.5", "1.5"}},
    {"340282366920938463463374607431768211455",
     -1,
     {"340282366920938463463374607431768211460", "340282366920938463463374607431768211450",
      "340282366920938463463374607431768211460", "340282366920938463463374607431768211460"}},
    {"NaN", 2, {"NaN", "NaN", "NaN", "NaN"}},
    {"0", 2, {"0", "0", "0", "0"}},
    {"1", -200, {"0", "0", "NaN", "0"}},
    {"1", std::numeric_limits<int>::min(), {"0", "0", "NaN", "0"}},
};

TEST(NSDecimal, RoundsToAScaleInEveryMode) {
  for (const RoundCase& c : kRounds)
    for (const NSRoundingMode mode : kModes)
      EXPECT_EQ(dec(c.value).rounded(c.scale, mode).text(), c.expected[mode])
          << c.value << " to " << c.scale << ", mode " << mode;
}

TEST(NSDecimal, RoundingAgreesWithThePlainModel) {
  Numbers numbers(7);
  for (int i = 0; i < 20000; ++i) {
    const NSDecimal d = numbers.next();
    const int cut = static_cast<int>(numbers.below(45));
    const int exponent = d.exponent + cut;
    if (exponent > 120) continue;
    for (const NSRoundingMode mode : kModes) {
      // Cutting digits is the model's rounding with the last digits behind the number.
      const model::Natural number(model::digitsOf(d.mantissa()));
      const auto count = static_cast<size_t>(cut);
      model::Natural kept = number.cut(count);
      const model::Natural gone = number.minus(kept.shifted(count));
      const model::Natural half = cut == 0 ? model::Natural() : model::Natural("5").shifted(count - 1);
      const int side = cut == 0 ? -1 : gone.compare(half);
      if (model::increments(mode, d.negative, kept.digit(0) % 2 == 1, side, !gone.isZero()))
        kept = kept.plus(model::Natural("1"));
      const NSDecimal actual = d.rounded(-exponent, mode);
      ASSERT_EQ(model::outcomeOf({actual}).text, model::canonical(kept, exponent, d.negative)) << d.text();
    }
  }
}

TEST(NSDecimal, NotANumberIsBelowEverythingAndEqualToItself) {
  const NSDecimal nan = NSDecimal::nan();
  EXPECT_EQ(nan.compare(nan), NSOrderedSame);
  EXPECT_EQ(nan.compare(dec("-1e127")), NSOrderedAscending);
  EXPECT_EQ(dec("-1e127").compare(nan), NSOrderedDescending);
  EXPECT_EQ(dec("1.0").compare(dec("1")), NSOrderedSame);
  EXPECT_EQ(dec("-1").compare(dec("0")), NSOrderedAscending);
  EXPECT_EQ(nan.negated(), nan);
  EXPECT_EQ(NSDecimal().negated(), NSDecimal());
}

TEST(NSDecimal, DoublesComeThroughTheirShortestText) {
  EXPECT_EQ(NSDecimal::fromDouble(12.34).text(), "12.34");
  EXPECT_EQ(NSDecimal::fromDouble(0.1 + 0.2).text(), "0.30000000000000004");
  EXPECT_EQ(NSDecimal::fromDouble(-0.0).text(), "0");
  EXPECT_EQ(NSDecimal::fromDouble(1e22).text(), "10000000000000000000000");
  EXPECT_TRUE(NSDecimal::fromDouble(std::nan("")).notANumber);
  EXPECT_TRUE(NSDecimal::fromDouble(HUGE_VAL).notANumber);
  EXPECT_TRUE(NSDecimal::fromDouble(1e300).notANumber);
  EXPECT_TRUE(NSDecimal::fromDouble(1e-300).notANumber);
}

TEST(NSDecimal, DoublesSurviveTheTrip) {
  EXPECT_TRUE(rc::check([](double d) {
    if (std::abs(d) < 1e-100 || std::abs(d) > 1e100) return;
    RC_ASSERT(NSDecimal::fromDouble(d).toDouble() == d);
  }));
}

TEST(NSDecimal, TheNearestDoubleIsThatOfTheText) {
  Numbers numbers(8);
  for (int i = 0; i < 50000; ++i) {
    const NSDecimal d = numbers.next();
    ASSERT_EQ(d.toDouble(), std::strtod(d.text().c_str(), nullptr)) << d.text();
  }
  EXPECT_TRUE(std::isnan(NSDecimal::nan().toDouble()));
}

struct IntegerCase {
  const char* value;
  int64_t expected;
};

constexpr IntegerCase kIntegers[] = {
    {"12.9", 12},
    {"-12.9", -12},
    {"0.999", 0},
    {"NaN", 0},
    {"1e-128", 0},
    {"18446744073709551615", -1},
    {"18446744073709551616", 0},
    {"18446744073709551617", 1},
    {"9223372036854775808", INT64_MIN},
    {"-9223372036854775808", INT64_MIN},
    {"1e64", 0},
    {"1e127", 0},
    {"5e19", -5340232221128654848},
};

TEST(NSDecimal, IntegersTruncateAndWrap) {
  for (const IntegerCase& c : kIntegers) {
    EXPECT_EQ(dec(c.value).toInt64(), c.expected) << c.value;
  }
  EXPECT_EQ(dec("-12.7").toUInt64(), UINT64_MAX - 11);
  EXPECT_EQ(dec("-1").toUInt64(), UINT64_MAX);
  EXPECT_EQ(dec("12.7").toUInt64(), 12u);
}

TEST(NSDecimal, IntegersSurviveTheTrip) {
  EXPECT_TRUE(rc::check([](int64_t n, uint64_t u) {
    RC_ASSERT(NSDecimal::fromInt64(n).toInt64() == n);
    RC_ASSERT(NSDecimal::fromInt64(n).text() == std::to_string(n));
    RC_ASSERT(NSDecimal::fromUInt64(u).toUInt64() == u);
  }));
  EXPECT_EQ(NSDecimal::fromInt64(INT64_MIN).text(), "-9223372036854775808");
  EXPECT_EQ(NSDecimal::fromUInt64(UINT64_MAX).text(), "18446744073709551615");
}

TEST(NSDecimal, KnowsIntegers) {
  for (const char* text : {"0", "5", "1e20", "-100", "1.000"}) EXPECT_TRUE(dec(text).isInteger()) << text;
  for (const char* text : {"0.5", "-1.01", "1e-128", "NaN"}) EXPECT_FALSE(dec(text).isInteger()) << text;
}
