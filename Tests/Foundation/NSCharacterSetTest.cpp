#include "Platform/Foundation/Values/NSCharacterSet.h"

#include <thread>

using namespace orv;

namespace {
struct SetCase {
  const char* name;
  NSCharacterSet set;
  std::u32string members;
  std::u32string others;
};

const SetCase kSets[] = {
    {"white space", NSCharacterSet::whitespaceCharacterSet(), U"\t \u00A0\u1680\u2000\u200A\u202F\u205F\u3000",
     U"\n\r\v\f\u0085\u2028\u2029\u200B\u001C\u001Fa"},
    {"newlines", NSCharacterSet::newlineCharacterSet(), U"\n\v\f\r\u0085\u2028\u2029", U"\t \u00A0a"},
    {"white space and newlines", NSCharacterSet::whitespaceAndNewlineCharacterSet(),
     U"\t \u00A0\u3000\n\v\f\r\u0085\u2028\u2029", U"\u200B\u001Ca"},
    {"alphanumerics", NSCharacterSet::alphanumericCharacterSet(),
     U"aZ5\u00E9\u0301\u00BD\u0661\u4E00\U00010400", U" -_+\u20AC"},
    {"decimal digits", NSCharacterSet::decimalDigitCharacterSet(), U"09\u0661\uFF15\U0001D7D8",
     U"a\u00BD\u00B2"},
    {"letters", NSCharacterSet::letterCharacterSet(), U"aZ\u00E9\u0301\u4E00", U"5 -"},
    {"upper case", NSCharacterSet::uppercaseLetterCharacterSet(), U"AZ\u00C9\u01C5\u0416", U"a5\u00E9"},
    {"lower case", NSCharacterSet::lowercaseLetterCharacterSet(), U"az\u00E9\u00DF\u0436", U"A5\u00C9"},
    {"punctuation", NSCharacterSet::punctuationCharacterSet(), U"!-_.\u2019\u00AB", U"+$a "},
    {"symbols", NSCharacterSet::symbolCharacterSet(), U"+$<\u20AC\u00A9\U0001F600", U"!a "},
    {"controls", NSCharacterSet::controlCharacterSet(), std::u32string(U"\0\x1F\x7F\u0085\u200E\uFEFF", 6),
     U" a"},
    {"illegal", NSCharacterSet::illegalCharacterSet(),
     std::u32string{0x0378, 0x05FF, 0xFFFF, 0xFFFE, 0xFDD0, 0xD800, 0x10FFFF}, U"a\uFFFC\uFEFF\uE000\uFFFD"},
    {"query", NSCharacterSet::URLQueryAllowedCharacterSet(), U"aZ0-._~!$&'()*+,;=:@/?",
     U" %#[]\"<>\\^`{|}\u00E9"},
    {"fragment", NSCharacterSet::URLFragmentAllowedCharacterSet(), U"aZ0-._~!$&'()*+,;=:@/?", U" %#[]\""},
    {"path", NSCharacterSet::URLPathAllowedCharacterSet(), U"aZ0-._~!$&'()*+,=:@/", U" %#[]?;"},
    {"host", NSCharacterSet::URLHostAllowedCharacterSet(), U"aZ0-._~!$&'()*+,;=:[]", U" %#/?@"},
};
}  // namespace

TEST(NSCharacterSet, NamedSetsHaveTheirMembers) {
  for (const SetCase& c : kSets) {
    for (const char32_t m : c.members)
      EXPECT_TRUE(c.set.longCharacterIsMember(m)) << c.name << " " << uint32_t{m};
    for (const char32_t m : c.others)
      EXPECT_FALSE(c.set.longCharacterIsMember(m)) << c.name << " " << uint32_t{m};
  }
}

TEST(NSCharacterSet, NilContainsNothing) {
  const NSCharacterSet none;
  EXPECT_FALSE(none.characterIsMember('a'));
  EXPECT_TRUE(none.invertedSet().isNil());
  EXPECT_TRUE(NSCharacterSet::characterSetWithCharactersInString(nil).isNil());
  EXPECT_TRUE(none.setByAddingCharactersInSet(nil).isNil());
  EXPECT_TRUE(none.setByRemovingCharactersInString("a").isNil());
}

TEST(NSCharacterSet, TheInvertedSetHoldsTheRest) {
  for (const SetCase& c : kSets) {
    const NSCharacterSet rest = c.set.invertedSet();
    for (const char32_t m : {U'a', U' ', U'\u00E9', U'\u4E00', U'\U0001F600', U'\U0010FFFF'})
      EXPECT_NE(rest.longCharacterIsMember(m), c.set.longCharacterIsMember(m)) << c.name;
    EXPECT_FALSE(rest.longCharacterIsMember(0x110000));
  }
}

TEST(NSCharacterSet, CharactersOfATextAreCodePoints) {
  const auto set = NSCharacterSet::characterSetWithCharactersInString("a\U0001F600");
  EXPECT_TRUE(set.characterIsMember('a'));
  EXPECT_TRUE(set.longCharacterIsMember(U'\U0001F600'));
  EXPECT_FALSE(set.characterIsMember(0xD83D));
  EXPECT_FALSE(set.characterIsMember('b'));
  EXPECT_FALSE(NSCharacterSet::characterSetWithCharactersInString("").characterIsMember('a'));
}

TEST(NSCharacterSet, RangesAreCutAtTheEndOfUnicode) {
  const auto set = NSCharacterSet::characterSetWithRange({'b', 2});
  EXPECT_FALSE(set.characterIsMember('a'));
  EXPECT_TRUE(set.characterIsMember('b'));
  EXPECT_TRUE(set.characterIsMember('c'));
  EXPECT_FALSE(set.characterIsMember('d'));
  EXPECT_TRUE(NSCharacterSet::characterSetWithRange({0x10FFFF, UINT64_MAX}).longCharacterIsMember(0x10FFFF));
  EXPECT_FALSE(NSCharacterSet::characterSetWithRange({UINT64_MAX, 5}).characterIsMember('a'));
  EXPECT_FALSE(NSCharacterSet::characterSetWithRange({'a', 0}).characterIsMember('a'));
}

TEST(NSCharacterSet, SetsAreJoinedAndDiminished) {
  const auto digits = NSCharacterSet::decimalDigitCharacterSet();
  const auto both = digits.setByAddingCharactersInSet(NSCharacterSet::newlineCharacterSet());
  EXPECT_TRUE(both.characterIsMember('5') && both.characterIsMember('\n'));
  EXPECT_FALSE(digits.characterIsMember('\n'));
  const auto more = digits.setByAddingCharactersInString("xy");
  EXPECT_TRUE(more.characterIsMember('x') && more.characterIsMember('5'));
  const auto fewer = NSCharacterSet::URLQueryAllowedCharacterSet().setByRemovingCharactersInString("&=");
  EXPECT_FALSE(fewer.characterIsMember('&'));
  EXPECT_TRUE(fewer.characterIsMember('?'));
  EXPECT_TRUE(NSCharacterSet().setByAddingCharactersInSet(digits).characterIsMember('5'));
}

TEST(NSCharacterSet, EqualSetsAreEqualAndHashAlike) {
  const auto a = NSCharacterSet::characterSetWithCharactersInString("cab");
  const auto b = NSCharacterSet::characterSetWithRange({'a', 3});
  EXPECT_EQ(Value(a), Value(b));
  EXPECT_EQ(a.hash(), b.hash());
  EXPECT_NE(Value(a), Value(NSCharacterSet::newlineCharacterSet()));
  EXPECT_FALSE(Value(a).isEqual("abc"));
}

TEST(NSCharacterSet, IsAKindOfItsOwn) {
  const Value any = NSCharacterSet::newlineCharacterSet();
  EXPECT_TRUE(any.isKindOf<NSCharacterSet>());
  EXPECT_FALSE(any.isKindOf<NSString>());
  EXPECT_TRUE(Value("x").as<NSCharacterSet>().isNil());
  EXPECT_EQ(any.className(), "NSCharacterSet");
}

TEST(NSCharacterSet, ThreadsMayShareASet) {
  const auto set = NSCharacterSet::letterCharacterSet();
  std::atomic<int> found{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (char32_t c = 0; c < 0x3000; ++c)
        if (set.longCharacterIsMember(c) != NSCharacterSet::letterCharacterSet().longCharacterIsMember(c))
          ++found;
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(found, 0);
}
