// Amounts of up to 19 digits against arithmetic done digit by digit: the short ways of the calculations have to
// give what the long way gives, in every rounding mode.

#include "Platform/Foundation/Values/Detail/DecimalWords.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <random>
#include <string>
#include <vector>

#include "Platform/Foundation/Values/NSDecimalNumber.h"
#include "Tests/Support/World.h"

using namespace orv;
using detail::UInt128;

namespace {

constexpr int kRounds = kSanitized ? 50000 : 1000000;
constexpr NSRoundingMode kModes[] = {NSRoundPlain, NSRoundDown, NSRoundUp, NSRoundBankers};

// A number as it is before it is made compact.
struct Plain {
  UInt128 mantissa = 0;
  int exponent = 0;
  bool negative = false;
};

NSDecimal compact(Plain n) {
  if (n.mantissa == 0) return {};
  for (; n.mantissa % 10 == 0; n.mantissa /= 10) ++n.exponent;
  return {static_cast<uint64_t>(n.mantissa), static_cast<uint64_t>(n.mantissa >> 64),
          static_cast<int16_t>(n.exponent), n.negative, false};
}

UInt128 tenTo(int power) { return power == 0 ? 1 : 10 * tenTo(power - 1); }

// Amounts of all lengths, with a liking for cents, for zeros at the end and for the border of 64 bits.
class Words {
 public:
  explicit Words(uint32_t seed) : random_(seed) {}

  uint64_t below(uint64_t limit) { return random_() % limit; }

  Plain next() {
    const bool negative = below(3) == 0;
    switch (below(5)) {
      case 0: return {below(1000000), -2, negative};
      case 1: return {UINT64_MAX - below(100), static_cast<int>(below(8)) - 4, negative};
      case 2: return {below(2000) * 1000, static_cast<int>(below(9)) - 6, negative};
      case 3: return {static_cast<uint64_t>(tenTo(static_cast<int>(below(19)))) + below(3), -2, negative};
      default: return {random_() >> below(64), static_cast<int>(below(19)) - 9, negative};
    }
  }

 private:
  std::mt19937_64 random_;
};

NSDecimalNumber number(const Plain& n) {
  return NSDecimalNumber::decimalNumberWithMantissa(static_cast<uint64_t>(n.mantissa),
                                                    static_cast<short>(n.exponent), n.negative);
}

NSDecimal plainSum(const Plain& a, const Plain& b) {
  const int low = std::min(a.exponent, b.exponent);
  const UInt128 x = a.mantissa * tenTo(a.exponent - low), y = b.mantissa * tenTo(b.exponent - low);
  if (a.negative == b.negative) return compact({x + y, low, a.negative});
  return x >= y ? compact({x - y, low, a.negative}) : compact({y - x, low, b.negative});
}

bool goesAway(NSRoundingMode mode, bool negative, bool odd, bool anything, int besideHalf) {
  switch (mode) {
    case NSRoundPlain: return anything && besideHalf >= 0;
    case NSRoundDown: return anything && negative;
    case NSRoundUp: return anything && !negative;
    case NSRoundBankers: return anything && (besideHalf > 0 || (besideHalf == 0 && odd));
  }
  return false;
}

// The first 38 digits of a quotient as they are found with pencil and paper, with what is left behind them.
struct LongDivision {
  UInt128 digits = 0;
  int exponent = 0;
  UInt128 rest = 0;
  UInt128 divisor;

  LongDivision(const Plain& a, const Plain& b) : divisor(b.mantissa) {
    digits = a.mantissa / b.mantissa;
    rest = a.mantissa % b.mantissa;
    exponent = a.exponent - b.exponent;
    for (; rest != 0 && digits < tenTo(37); --exponent) {
      rest *= 10;
      digits = digits * 10 + rest / divisor;
      rest %= divisor;
    }
  }

  // A mantissa may have 39 digits where they are all there are.
  bool endsAfterOneMore() const { return rest != 0 && rest * 10 % divisor == 0; }

  NSDecimal rounded(NSRoundingMode mode, bool negative) const {
    const UInt128 twice = rest * 2;
    const int besideHalf = twice < divisor ? -1 : twice == divisor ? 0 : 1;
    const bool away = goesAway(mode, negative, digits % 2 != 0, rest != 0, besideHalf);
    return compact({digits + away, exponent, negative});
  }
};

NSDecimal roundedByDigits(const Plain& n, int scale, NSRoundingMode mode) {
  Plain kept = n;
  bool anything = false;
  int besideHalf = -1;
  for (; kept.exponent < -scale; ++kept.exponent) {
    const int digit = static_cast<int>(kept.mantissa % 10);
    besideHalf = digit > 5 || (digit == 5 && anything) ? 1 : digit == 5 ? 0 : -1;
    anything = anything || digit != 0;
    kept.mantissa /= 10;
  }
  if (goesAway(mode, n.negative, kept.mantissa % 2 != 0, anything, besideHalf)) ++kept.mantissa;
  return compact(kept);
}

std::string shown(const Plain& a, const Plain& b) { return compact(a).text() + " and " + compact(b).text(); }

}  // namespace

TEST(DecimalWords, SumsAndDifferencesAreThoseOfLongArithmetic) {
  Words words(1);
  for (int i = 0; i < kRounds; ++i) {
    const Plain a = words.next(), b = words.next();
    const Plain turned{b.mantissa, b.exponent, !b.negative};
    ASSERT_EQ(number(a).decimalNumberByAdding(number(b)).decimalValue(), plainSum(a, b)) << shown(a, b);
    ASSERT_EQ(number(a).decimalNumberBySubtracting(number(b)).decimalValue(), plainSum(a, turned))
        << shown(a, b);
  }
}

TEST(DecimalWords, ProductsAreThoseOfLongArithmetic) {
  Words words(2);
  for (int i = 0; i < kRounds; ++i) {
    const Plain a = words.next(), b = words.next();
    const NSDecimal expected =
        compact({a.mantissa * b.mantissa, a.exponent + b.exponent, a.negative != b.negative});
    ASSERT_EQ(number(a).decimalNumberByMultiplyingBy(number(b)).decimalValue(), expected) << shown(a, b);
  }
}

TEST(DecimalWords, QuotientsAreThoseOfLongDivisionInEveryMode) {
  Words words(3);
  for (int i = 0; i < kRounds / 4; ++i) {
    const Plain a = words.next();
    const Plain b = words.below(2) == 0 ? Plain{words.below(2000) + 1, 0, false} : words.next();
    if (b.mantissa == 0) continue;
    const LongDivision division(a, b);
    if (division.endsAfterOneMore()) continue;
    const bool negative = a.negative != b.negative;
    for (const NSRoundingMode mode : kModes) {
      const auto result = compact(a).dividingBy(compact(b), mode);
      ASSERT_EQ(result.value, division.rounded(mode, negative)) << shown(a, b) << ", mode " << mode;
      ASSERT_EQ(result.error == NSCalculationLossOfPrecision, division.rest != 0) << shown(a, b);
    }
  }
}

TEST(DecimalWords, RoundingIsThatOfDigitsInEveryMode) {
  Words words(4);
  for (int i = 0; i < kRounds; ++i) {
    const Plain n = words.next();
    const int scale = static_cast<int>(words.below(16)) - 8;
    for (const NSRoundingMode mode : kModes)
      ASSERT_EQ(number(n).decimalValue().rounded(scale, mode), roundedByDigits(n, scale, mode))
          << compact(n).text() << " to " << scale << ", mode " << mode;
  }
}

TEST(DecimalWords, ResultsThatFitAreBoxedAlikeOnEveryPath) {
  Words words(5);
  for (int i = 0; i < kRounds / 4; ++i) {
    const NSDecimalNumber a = number(words.next()), b = number(words.next());
    for (const NSDecimalNumber& result : {a.decimalNumberByAdding(b), a.decimalNumberBySubtracting(b),
                                          a.decimalNumberByMultiplyingBy(b), a.twoDigits()}) {
      const Value boxed = detail::boxDecimal(result.decimalValue());
      ASSERT_EQ(result.kind(), boxed.kind());
      ASSERT_EQ(detail::Access::tag(result), detail::Access::tag(boxed)) << result;
    }
  }
}

TEST(DecimalWords, TheBordersOfTheRangeAreLeftToTheGeneralCalculation) {
  const auto dec = [](const char* text) { return NSDecimalNumber::decimalNumberWithString(text); };
  EXPECT_EQ(dec("18446744073709551615").decimalNumberByAdding(dec("1")), dec("18446744073709551616"));
  EXPECT_EQ(dec("9e127").decimalNumberByAdding(dec("1e127")).description().length(), 129u);
  EXPECT_EQ(dec("1e127").decimalNumberByAdding(dec("-1e127")), NSDecimalNumber::zero());
  EXPECT_EQ(dec("1e100").decimalNumberByAdding(dec("1")), dec("1e100"));
  EXPECT_EQ(dec("5e-128").decimalNumberByMultiplyingBy(dec("20")), dec("1e-126"));
  EXPECT_EQ(dec("0").decimalNumberByMultiplyingBy(dec("1e-128")), NSDecimalNumber::zero());
  EXPECT_EQ(dec("0").decimalNumberBySubtracting(dec("2.50")), dec("-2.5"));
}

TEST(DecimalWords, AmountsOfMoneyAllocateNothing) {
  if (kSanitized) GTEST_SKIP() << "the sanitizer's allocator tells no sizes";
  constexpr size_t kAmounts = 100000;
  const auto used = [] { return mallinfo2().uordblks + mallinfo2().hblkhd; };
  const NSDecimalNumber price = NSDecimalNumber::decimalNumberWithString("1999.99");
  const NSDecimalNumber quarter = NSDecimalNumber::decimalNumberWithString("2.5");
  std::vector<NSDecimalNumber> kept(kAmounts);

  const size_t before = used();
  for (size_t i = 0; i < kAmounts; i += 5) {
    kept[i] = price.decimalNumberByAdding(quarter);
    kept[i + 1] = price.decimalNumberBySubtracting(quarter);
    kept[i + 2] = price.decimalNumberByMultiplyingBy(quarter);
    kept[i + 3] = price.decimalNumberByDividingBy(quarter);
    kept[i + 4] = kept[i + 2].twoDigits();
  }
  EXPECT_EQ(used(), before);
  // What the measure would see.
  const NSDecimalNumber three = NSDecimalNumber::decimalNumberWithString("3");
  for (NSDecimalNumber& amount : kept) amount = price.decimalNumberByDividingBy(three);
  EXPECT_GT(used(), before + kAmounts * sizeof(detail::BigDecimalRep) / 2);
}
