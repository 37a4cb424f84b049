#include "Platform/Foundation/Values/NSString.h"

using namespace orv;

namespace {
struct CompareCase {
  NSString a, b;
  NSUInteger options;
  int expected;
};

const CompareCase kCases[] = {
    {"a", "b", 0, -1},
    {"B", "a", 0, -1},
    {"10", "9", 0, -1},
    {"", "a", 0, -1},
    {"", "", 0, 0},
    {"abc", "abc", 0, 0},
    {"abc", "abcd", 0, -1},
    {"\u00E9", "e\u0301", 0, 0},
    {"\u00E9", "e\u0301", NSLiteralSearch, 1},
    {"x\u00E9y", "xe\u0301y", 0, 0},
    {"x\u00E9y", "xe\u0301z", 0, 1},
    {"\u212B", "\u00C5", 0, 0},
    {"\u212B", "\u00C5", NSLiteralSearch, 1},
    {"q\u0307\u0323", "q\u0323\u0307", 0, 0},
    {"\uAC00", "\u1100\u1161", 0, 0},
    {"\u00FF", "\u0100", 0, -1},
    {"a", "\u0416", 0, -1},
    {"\uFFFD", "\U0001F600", 0, 1},  // by code unit: the pair begins with 0xD83D
    {"ABC", "abc", NSCaseInsensitiveSearch, 0},
    {"ABC", "abd", NSCaseInsensitiveSearch, -1},
    {"stra\u00DFe", "STRASSE", NSCaseInsensitiveSearch, 0},
    {"\u00C9", "e\u0301", NSCaseInsensitiveSearch, 0},
    {"\u00C9", "e\u0301", NSCaseInsensitiveSearch | NSLiteralSearch, 1},
    {"\u03A3", "\u03C2", NSCaseInsensitiveSearch, 0},
    {"_", "a", NSCaseInsensitiveSearch, -1},
    {"_", "A", NSCaseInsensitiveSearch, -1},
    {"a10", "a9", NSNumericSearch, 1},
    {"a010", "a10", NSNumericSearch, 0},
    {"a10", "a9b", NSNumericSearch, 1},
    {"1.10", "1.9", NSNumericSearch, 1},
    {"x123456789012345678901234567890", "x123456789012345678901234567891", NSNumericSearch, -1},
    {"file2", "FILE10", NSNumericSearch | NSCaseInsensitiveSearch, -1},
    {"a1", "ab", NSNumericSearch, -1},
    {"a", "a0", NSNumericSearch, -1},
};
}  // namespace

TEST(NSStringCompare, TextsComeInTheStatedOrder) {
  for (const CompareCase& c : kCases) {
    EXPECT_EQ(c.a.compare(c.b, c.options), c.expected) << c.a << " " << c.b << " " << c.options;
    EXPECT_EQ(c.b.compare(c.a, c.options), -c.expected) << c.b << " " << c.a << " " << c.options;
  }
}

TEST(NSStringCompare, EverythingSortsAboveNil) {
  EXPECT_EQ(NSString("").compare(nil), NSOrderedDescending);
  EXPECT_EQ(NSString().compare("a"), NSOrderedSame);
  EXPECT_TRUE(NSString() < NSString(""));
  EXPECT_TRUE((NSString() <=> NSString()) == 0);
}

TEST(NSStringCompare, SpaceshipAgreesWithEquality) {
  EXPECT_TRUE(NSString("a") < NSString("b"));
  EXPECT_TRUE((NSString("\u00E9") <=> NSString("e\u0301")) > 0);
  EXPECT_TRUE((NSString("a") <=> NSString("a")) == 0);
}

TEST(NSStringCompare, CaseInsensitiveCompareIsTheOption) {
  EXPECT_EQ(NSString("Zebra").caseInsensitiveCompare("zebra"), NSOrderedSame);
  EXPECT_EQ(NSString("Zebra").caseInsensitiveCompare("apple"), NSOrderedDescending);
}

TEST(NSStringCompare, LiteralOrderIsThatOfTheUnits) {
  EXPECT_TRUE(rc::check([](const std::u16string& a, const std::u16string& b) {
    const int order = a < b ? -1 : a > b ? 1 : 0;
    RC_ASSERT(NSString(a).compare(b, NSLiteralSearch) == order);
  }));
}

TEST(NSStringCompare, FoldingOrderIsThatOfLowerCaseAscii) {
  EXPECT_TRUE(rc::check([] {
    const auto text = rc::gen::container<std::string>(rc::gen::inRange<char>('A', 'f'));
    const std::string a = *text, b = *text;
    const auto lower = [](std::string s) {
      for (char& c : s) c = static_cast<char>(std::tolower(c));
      return s;
    };
    const int order = lower(a) < lower(b) ? -1 : lower(a) > lower(b) ? 1 : 0;
    RC_ASSERT(NSString(a).caseInsensitiveCompare(b) == order);
  }));
}
