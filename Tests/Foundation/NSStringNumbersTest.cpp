#include <cmath>
#include <limits>

#include "Platform/Foundation/Values/NSString.h"

using namespace orv;

TEST(NSStringNumbers, BooleansAreToldByOneCharacter) {
  for (const char* text : {"YES", "yes", "  +000009", "tRuE", "T", "1", "-7", "0t", "+t", "\t\nY", "01"})
    EXPECT_TRUE(NSString(text).boolValue()) << text;
  for (const char* text : {"no", "-00000", "<true>", "_true", "++", "", "on", "0", "  ", "+ 1", "--1", "N"})
    EXPECT_FALSE(NSString(text).boolValue()) << text;
  EXPECT_FALSE(NSString().boolValue());
}

TEST(NSStringNumbers, IntegersAreReadFromTheStart) {
  struct Case {
    const char* text;
    int64_t expected;
  };
  constexpr Case kCases[] = {
      {"42abc", 42},
      {"  -7", -7},
      {"+123", 123},
      {"++123", 0},
      {"--1", 0},
      {"- 5", -5},
      {"a12", 0},
      {"1e3", 1},
      {"0x1F", 0},
      {"3.99", 3},
      {"", 0},
      {"\u00A0\u30007", 7},
      {"1,000", 1},
      {"\u0661", 0},
      {"9223372036854775806", INT64_MAX - 1},
      {"9223372036854775807", INT64_MAX},
      {"9223372036854775808", INT64_MAX},
      {"-9223372036854775807", -INT64_MAX},
      {"-9223372036854775808", INT64_MIN},
      {"-9223372036854775809", INT64_MIN},
      {"999999999999999999999", INT64_MAX},
      {"-999999999999999999999", INT64_MIN},
      {"00000000000000000000000000012", 12},
  };
  for (const Case& c : kCases) {
    EXPECT_EQ(NSString(c.text).integerValue(), c.expected) << c.text;
    EXPECT_EQ(NSString(c.text).longLongValue(), c.expected) << c.text;
  }
  EXPECT_EQ(NSString().integerValue(), 0);
}

TEST(NSStringNumbers, IntValueClampsAt32Bits) {
  EXPECT_EQ(NSString("2147483647").intValue(), INT32_MAX);
  EXPECT_EQ(NSString("2147483648").intValue(), INT32_MAX);
  EXPECT_EQ(NSString("-2147483648").intValue(), INT32_MIN);
  EXPECT_EQ(NSString("-2147483649").intValue(), INT32_MIN);
  EXPECT_EQ(NSString("-12").intValue(), -12);
  EXPECT_EQ(NSString().intValue(), 0);
}

TEST(NSStringNumbers, DoublesAreReadAsInTheCLocale) {
  struct Case {
    const char* text;
    double expected;
  };
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr Case kCases[] = {
      {".2", 0.2},
      {"-31.25e-04", -0.003125},
      {"12.e4", 120000},
      {"1E3", 1000},
      {"1.2.3.4", 1.2},
      {"2e3.12", 2000},
      {".e12", 0},
      {"1e", 1},
      {"1,5", 1},
      {" 7 up", 7},
      {"abc", 0},
      {"inf", 0},
      {"nan", 0},
      {"infinity", 0},
      {"0x1p4", 0},
      {"1e400", kInfinity},
      {"-1e400", -kInfinity},
      {"1e-400", 0},
      {"+2.5", 2.5},
      {"+-2.5", 0},
      {"-+2.5", 0},
      {"+", 0},
      {"", 0},
      {"1e+2", 100},
      {"1-2", 1},
      {"4.9e-324", 4.9e-324},
  };
  for (const Case& c : kCases) EXPECT_EQ(NSString(c.text).doubleValue(), c.expected) << c.text;
  EXPECT_TRUE(std::signbit(NSString("-0").doubleValue()));
  EXPECT_EQ(NSString().doubleValue(), 0);
}

TEST(NSStringNumbers, FloatsNarrowTheDouble) {
  EXPECT_EQ(NSString("0.1").floatValue(), 0.1f);
  EXPECT_EQ(NSString("1e39").floatValue(), std::numeric_limits<float>::infinity());
}

TEST(NSStringNumbers, WrittenIntegersAreReadBack) {
  EXPECT_TRUE(rc::check([](int64_t n) { RC_ASSERT(NSString(std::to_string(n)).integerValue() == n); }));
}

TEST(NSStringNumbers, WrittenDoublesAreReadBack) {
  EXPECT_TRUE(rc::check([](double n) {
    RC_PRE(std::isfinite(n));
    RC_ASSERT(NSString::stringWithFormat("%.17g", n).doubleValue() == n);
  }));
}
