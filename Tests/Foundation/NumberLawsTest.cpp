// The laws of equality, order and hash over every mixture of number kinds.

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <cmath>
#include <limits>
#include <vector>

#include "Platform/Foundation/Values/NSDecimalNumber.h"
#include "Platform/Foundation/Values/NSNumber.h"
#include "Platform/Foundation/Values/NSString.h"

using namespace orv;

namespace {

// Doubles that sit where the kinds meet: the limits of integers, of exact integers and of decimals.
double landmark() {
  static const std::vector<double> kLandmarks = {0,
                                                 0.1,
                                                 0.5,
                                                 1,
                                                 1e15,
                                                 9007199254740992.0,
                                                 9223372036854775808.0,
                                                 18446744073709551616.0,
                                                 1e22,
                                                 1e37,
                                                 1e38,
                                                 1e127,
                                                 3e165,
                                                 1e300,
                                                 1e-100,
                                                 1.2345678901234567e-115,
                                                 1.2345678901234567e-120,
                                                 1e-128,
                                                 9.87654321987654e-127,
                                                 1e-140,
                                                 5e-324};
  return *rc::gen::elementOf(kLandmarks);
}

double anyDouble() {
  double d = landmark();
  for (int steps = *rc::gen::inRange(0, 3); steps > 0; --steps)
    d = std::nextafter(d, *rc::gen::element(-1e308, 1e308));
  return *rc::gen::element(d, -d);
}

Value decimalOf(double d) {
  return NSDecimalNumber::decimalNumberWithString(
      NSString::stringWithFormat("%.*e", *rc::gen::inRange(0, 20), d));
}

Value anyNumber() {
  const double d = anyDouble();
  switch (*rc::gen::inRange(0, 8)) {
    case 0: return *rc::gen::arbitrary<bool>();
    case 1: return *rc::gen::element<int64_t>(0, 1, -1, INT64_MAX, INT64_MIN, INT64_MAX - 1, 9007199254740993);
    case 2: return *rc::gen::element<uint64_t>(0, UINT64_MAX, UINT64_MAX - 1, uint64_t{1} << 63);
    case 3: return std::abs(d) < 9e18 ? Value(static_cast<int64_t>(d)) : Value(d);
    case 4: return static_cast<float>(std::abs(d) < 3e38 ? d : 1);
    case 5: return decimalOf(d);
    case 6: return NSDecimalNumber(NSNumber(d).decimalValue());
    default: return *rc::gen::element(d, d, d, d, std::nan(""), std::numeric_limits<double>::infinity());
  }
}

std::string shown(const Value& v) { return v.className().utf8() + " " + v.description().utf8(); }

TEST(NumberLaws, TheOrderIsTotalAndEqualityAndHashFollowIt) {
  EXPECT_TRUE(rc::check([] {
    const Value a = anyNumber(), b = anyNumber(), c = anyNumber();
    const auto ab = a.compare(b), bc = b.compare(c), ac = a.compare(c);
    RC_LOG() << shown(a) << " | " << shown(b) << " | " << shown(c) << " : " << ab << bc << ac << "\n";
    RC_ASSERT(a.compare(a) == NSOrderedSame);
    RC_ASSERT(b.compare(a) == -ab);
    RC_ASSERT(a.isEqual(b) == (ab == NSOrderedSame));
    RC_ASSERT(ab != NSOrderedSame || a.hash() == b.hash());
    if (ab <= 0 && bc <= 0) RC_ASSERT(ac <= 0);
    if (ab == 0 && bc == 0) RC_ASSERT(ac == 0);
    if ((ab < 0 && bc <= 0) || (ab <= 0 && bc < 0)) RC_ASSERT(ac < 0);
  }));
}

// The decimal keeps fewer digits than the double when it is that small: they are not equal.
TEST(NumberLaws, ADoubleWithMoreDigitsThanItsDecimalLiesBehindIt) {
  const double d = 1.2345678901234567e-120;
  const NSDecimalNumber cut(NSNumber(d).decimalValue());
  EXPECT_EQ(Value(d).compare(cut), NSOrderedDescending);
  EXPECT_EQ(Value(-d).compare(NSDecimalNumber(NSNumber(-d).decimalValue())), NSOrderedAscending);
  EXPECT_FALSE(Value(d).isEqual(cut));
  EXPECT_TRUE(Value(1.23456789e-120).isEqual(cut));
  EXPECT_EQ(Value(1.23456789e-120).hash(), cut.hash());
}

}  // namespace
