#include "Platform/Foundation/Values/NSNumber.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "Platform/Foundation/Values/Detail/DecimalRep.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDecimal.h"

using namespace orv;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

NSNumber decimal(const char* text) { return detail::boxDecimal(NSDecimal::fromText(text)).as<NSNumber>(); }

struct TextCase {
  NSNumber number;
  const char* text;
};

// Numbers in ascending order, neighbours unequal.
std::vector<NSNumber> ladder() {
  return {decimal("NaN"),
          -kInfinity,
          decimal("-1e40"),
          INT64_MIN,
          decimal("-1.5"),
          -1,
          kNaN,
          0,
          decimal("1e-128"),
          1e-100,
          0.1,
          decimal("0.2"),
          true,
          1.5,
          decimal("9007199254740992"),
          int64_t{9007199254740993},
          INT64_MAX,
          static_cast<uint64_t>(INT64_MAX) + 1,
          UINT64_MAX,
          18446744073709551616.0,
          decimal("1e30"),
          1e31,
          1e200,
          kInfinity};
}

}  // namespace

TEST(NSNumber, PrintsAsItsTypeAsks) {
  const TextCase cases[] = {
      {true, "1"},
      {false, "0"},
      {-128, "-128"},
      {UINT64_MAX, "18446744073709551615"},
      {INT64_MIN, "-9223372036854775808"},
      {1.1f, "1.1"},
      {3.0f, "3"},
      {16777216.0f, "1.677722e+07"},
      {0.1f, "0.1"},
      {0.1, "0.1"},
      {3.0, "3"},
      {100000.0, "100000"},
      {1e15, "1000000000000000"},
      {1e16, "1e+16"},
      {1e21, "1e+21"},
      {1e-7, "1e-07"},
      {0.0001, "0.0001"},
      {1600000000.0, "1600000000"},
      {0.1 + 0.2, "0.3"},
      {1.0 / 3, "0.3333333333333333"},
      {1234567.891, "1234567.891"},
      {-0.0, "-0"},
      {100.0, "100"},
      {kNaN, "nan"},
      {kInfinity, "inf"},
      {-kInfinity, "-inf"},
      {decimal("1.50"), "1.5"},
      {decimal("1e3"), "1000"},
      {decimal("abc"), "NaN"},
      {decimal("123456789012345678901234567890.5"), "123456789012345678901234567890.5"},
  };
  for (const TextCase& c : cases) {
    EXPECT_EQ(c.number.stringValue(), c.text);
    EXPECT_EQ(c.number.description(), c.text);
  }
}

TEST(NSNumber, DoublesPrintAsTheCLibraryDoes) {
  EXPECT_TRUE(rc::check([](double d) {
    char expected[64];
    std::snprintf(expected, sizeof expected, "%.16g", d);
    RC_ASSERT(NSNumber(d).stringValue() == NSString(static_cast<const char*>(expected)));
  }));
}

TEST(NSNumber, DecimalTextsPrintAsTheCLibraryDoes) {
  EXPECT_TRUE(rc::check([](int64_t mantissa, int shift) {
    const int digits = (shift & 31) + 1;
    for (int exponent = -26; exponent <= 20; ++exponent) {
      int64_t kept = mantissa;
      for (int i = digits; i < 19; ++i) kept /= 10;
      const double d = std::strtod((std::to_string(kept) + "e" + std::to_string(exponent)).c_str(), nullptr);
      char expected[64];
      std::snprintf(expected, sizeof expected, "%.16g", d);
      RC_ASSERT(NSNumber(d).stringValue() == NSString(static_cast<const char*>(expected)));
    }
  }));
}

TEST(NSNumber, ConvertsWithTruncationAndClamping) {
  EXPECT_EQ(NSNumber(12.9).integerValue(), 12);
  EXPECT_EQ(NSNumber(-12.9).integerValue(), -12);
  EXPECT_EQ(NSNumber(1e30).longLongValue(), INT64_MAX);
  EXPECT_EQ(NSNumber(-1e30).longLongValue(), INT64_MIN);
  EXPECT_EQ(NSNumber(kNaN).longLongValue(), 0);
  EXPECT_EQ(NSNumber(1e30).unsignedLongLongValue(), UINT64_MAX);
  EXPECT_EQ(NSNumber(-1.0).unsignedLongLongValue(), UINT64_MAX);
  EXPECT_EQ(NSNumber(12.7).unsignedLongLongValue(), 12u);
  EXPECT_EQ(NSNumber(-1).unsignedLongLongValue(), UINT64_MAX);
  EXPECT_EQ(NSNumber(UINT64_MAX).longLongValue(), -1);
  EXPECT_EQ(NSNumber(int64_t{4294967297}).intValue(), 1);
  EXPECT_EQ(NSNumber(300).charValue(), 44);
  EXPECT_EQ(NSNumber(int64_t{9007199254740993}).doubleValue(), 9007199254740992.0);
  EXPECT_EQ(decimal("12.7").unsignedLongLongValue(), 12u);
  EXPECT_EQ(decimal("NaN").longLongValue(), 0);
}

TEST(NSNumber, OnlyZeroIsFalse) {
  for (const NSNumber& zero : {NSNumber(0), NSNumber(0.0), NSNumber(-0.0), NSNumber(false), decimal("0")})
    EXPECT_FALSE(zero.boolValue()) << zero;
  for (const NSNumber& other : {NSNumber(0.1), NSNumber(-1), NSNumber(kNaN), decimal("0.001")})
    EXPECT_TRUE(other.boolValue()) << other;
  EXPECT_FALSE(decimal("NaN").boolValue());
}

TEST(NSNumber, RemembersTheCTypeItWasMadeFrom) {
  EXPECT_STREQ(NSNumber(true).objCType(), "c");
  EXPECT_STREQ(NSNumber(int8_t{1}).objCType(), "c");
  EXPECT_STREQ(NSNumber(uint8_t{1}).objCType(), "s");
  EXPECT_STREQ(NSNumber(int16_t{1}).objCType(), "s");
  EXPECT_STREQ(NSNumber(uint16_t{1}).objCType(), "i");
  EXPECT_STREQ(NSNumber(1).objCType(), "i");
  EXPECT_STREQ(NSNumber(1u).objCType(), "q");
  EXPECT_STREQ(NSNumber(int64_t{1}).objCType(), "q");
  EXPECT_STREQ(NSNumber(uint64_t{1}).objCType(), "q");
  EXPECT_STREQ(NSNumber(UINT64_MAX).objCType(), "Q");
  EXPECT_STREQ(NSNumber(1.0f).objCType(), "f");
  EXPECT_STREQ(NSNumber(1.0).objCType(), "d");
  EXPECT_STREQ(decimal("1").objCType(), "d");
  EXPECT_EQ(NSNumber().objCType(), nullptr);
}

TEST(NSNumber, EqualNumbersOfAllTypesAreEqualAndHashAlike) {
  const std::vector<Value> ones{true, int8_t{1}, 1, 1u, uint64_t{1}, 1.0f, 1.0, decimal("1"), decimal("1.000")};
  for (const Value& a : ones)
    for (const Value& b : ones) {
      EXPECT_TRUE(a.isEqual(b));
      EXPECT_EQ(a.hash(), b.hash());
    }
  EXPECT_EQ(Value(0.1), Value(decimal("0.1")));
  EXPECT_EQ(Value(0.1).hash(), Value(decimal("0.1")).hash());
  EXPECT_NE(Value(0.1f), Value(0.1));
  EXPECT_EQ(Value(9223372036854775808.0), Value(static_cast<uint64_t>(INT64_MAX) + 1));
  EXPECT_EQ(Value(kNaN), Value(kNaN));
  EXPECT_EQ(Value(0.0), Value(-0.0));
  EXPECT_EQ(Value(0.0).hash(), Value(-0.0).hash());
}

TEST(NSNumber, OrderIsTotalAndExactAcrossTypes) {
  const std::vector<NSNumber> numbers = ladder();
  for (size_t i = 0; i < numbers.size(); ++i)
    for (size_t j = 0; j < numbers.size(); ++j)
      EXPECT_EQ(numbers[i].compare(numbers[j]), i < j ? -1 : i > j) << numbers[i] << " and " << numbers[j];
}

TEST(NSNumber, ComparesIntegersWithDoublesExactly) {
  EXPECT_EQ(NSNumber(int64_t{9007199254740993}).compare(9007199254740992.0), NSOrderedDescending);
  EXPECT_EQ(NSNumber(INT64_MAX).compare(9223372036854775808.0), NSOrderedAscending);
  EXPECT_EQ(NSNumber(-1).compare(-1.5), NSOrderedDescending);
  EXPECT_TRUE(NSNumber(1) < NSNumber(1.5));
}

TEST(NSNumber, EqualityAgreesWithHashForRandomDoublesAndDecimals) {
  EXPECT_TRUE(rc::check([](int64_t n, int shift) {
    const double d = std::ldexp(static_cast<double>(n), -(shift & 63));
    const NSNumber asDecimal = detail::boxDecimal(NSDecimal::fromDouble(d)).as<NSNumber>();
    if (asDecimal.isEqual(d)) RC_ASSERT(asDecimal.hash() == Value(d).hash());
    const NSNumber whole = detail::boxDecimal(NSDecimal::fromInt64(n)).as<NSNumber>();
    RC_ASSERT(whole.isEqual(n));
    RC_ASSERT(whole.hash() == Value(n).hash());
  }));
}

TEST(NSNumber, DecimalValueIsExactForIntegersAndShortestForDoubles) {
  EXPECT_EQ(NSNumber(UINT64_MAX).decimalValue().text(), "18446744073709551615");
  EXPECT_EQ(NSNumber(12.34).decimalValue().text(), "12.34");
  EXPECT_EQ(NSNumber(9223372036854775808.0).decimalValue().text(), "9223372036854775808");
  EXPECT_TRUE(NSNumber(kNaN).decimalValue().notANumber);
}

TEST(NSNumber, IsTheKindOfNumbersAlone) {
  EXPECT_TRUE(NSNumber::accepts(Value(true)));
  EXPECT_TRUE(NSNumber::accepts(decimal("1e30")));
  EXPECT_FALSE(NSNumber::accepts(Value("1")));
  EXPECT_FALSE(NSNumber::accepts(NSDate::date()));
  EXPECT_FALSE(NSNumber::accepts(Value()));
  EXPECT_TRUE(NSNumber(true).isBoolean());
  EXPECT_FALSE(NSNumber(1).isBoolean());
}

TEST(NSNumber, NilIsZero) {
  const NSNumber none;
  EXPECT_FALSE(none.boolValue());
  EXPECT_EQ(none.longLongValue(), 0);
  EXPECT_EQ(none.unsignedLongLongValue(), 0u);
  EXPECT_EQ(none.doubleValue(), 0.0);
  EXPECT_EQ(none.intValue(), 0);
  EXPECT_TRUE(none.stringValue().isNil());
  EXPECT_EQ(none.decimalValue().text(), "0");
  EXPECT_FALSE(none.isEqualToNumber(0));
}
