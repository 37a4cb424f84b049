#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "Platform/Foundation/Values/NSString.h"
#include "Tests/Support/World.h"

using namespace orv;

namespace {

int64_t distance(const NSString& a, const NSString& b) { return a.computeLevenshteinDistanceWithString(b); }

// The same, row by row.
int64_t rowDistance(const std::u16string& a, const std::u16string& b) {
  std::vector<int32_t> row(b.size() + 1), next(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = static_cast<int32_t>(j);
  for (size_t i = 1; i <= a.size(); ++i) {
    next[0] = static_cast<int32_t>(i);
    for (size_t j = 1; j <= b.size(); ++j)
      next[j] = std::min({row[j] + 1, next[j - 1] + 1, row[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
    row.swap(next);
  }
  return row.back();
}

// The definition: the full table.
int64_t tableDistance(const std::u16string& a, const std::u16string& b) {
  std::vector<std::vector<int64_t>> table(a.size() + 1, std::vector<int64_t>(b.size() + 1));
  for (size_t i = 0; i <= a.size(); ++i) table[i][0] = static_cast<int64_t>(i);
  for (size_t j = 0; j <= b.size(); ++j) table[0][j] = static_cast<int64_t>(j);
  for (size_t i = 1; i <= a.size(); ++i)
    for (size_t j = 1; j <= b.size(); ++j)
      table[i][j] = std::min(
          {table[i - 1][j] + 1, table[i][j - 1] + 1, table[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
  return table[a.size()][b.size()];
}

// Which units a text is made of: few 8-bit ones, all of them, few 16-bit ones, a mixture, all of them.
std::u16string randomText(std::mt19937& random, size_t length, int alphabet) {
  std::u16string text(length, 0);
  for (char16_t& unit : text) {
    const auto r = static_cast<uint32_t>(random());
    switch (alphabet) {
      case 0: unit = static_cast<char16_t>('a' + r % 3); break;
      case 1: unit = static_cast<char16_t>(r % 256); break;
      case 2: unit = static_cast<char16_t>(0x0430 + r % 5); break;
      case 3: unit = static_cast<char16_t>(r % 2 ? 'a' + r / 2 % 3 : 0x4E00 + r / 2 % 40); break;
      default: unit = static_cast<char16_t>(r); break;
    }
  }
  return text;
}

// A text with a number of edits: close to the original, as real texts are.
std::u16string edited(std::mt19937& random, std::u16string text, size_t edits) {
  for (size_t i = 0; i < edits; ++i) {
    const size_t at = random() % (text.size() + 1);
    switch (random() % 3) {
      case 0: text.insert(at, 1, static_cast<char16_t>('a' + random() % 3)); break;
      case 1: text.erase(at, 1); break;
      default:
        if (at < text.size()) text[at] = static_cast<char16_t>('a' + random() % 3);
    }
  }
  return text.empty() ? u"a" : text;
}

}  // namespace

TEST(NSStringDistance, KnownDistances) {
  EXPECT_EQ(distance("kitten", "sitting"), 3);
  EXPECT_EQ(distance("Kitten", "kitten"), 1);
  EXPECT_EQ(distance("abc", "abc"), 0);
  EXPECT_EQ(distance("ab", "ba"), 2);  // no transposition
  EXPECT_EQ(distance("abc", "xyz12"), 5);
  EXPECT_EQ(distance(u"\U0001F600", "a"), 2);  // units, not characters
  EXPECT_EQ(distance(u"\xD83D", u"\U0001F600"), 1);
  EXPECT_EQ(distance(u"\u0161", "a"), 1);  // 0x161 is no 'a'
}

TEST(NSStringDistance, EmptyTextsHaveNoDistance) {
  for (const NSString& other : {NSString(""), NSString("a"), NSString()}) EXPECT_EQ(distance("", other), -1);
  EXPECT_EQ(distance("a", ""), -1);
  EXPECT_EQ(distance("a", nil), -1);
  EXPECT_EQ(distance(nil, "a"), 0);
}

TEST(NSStringDistance, TheQuotientRelatesTheDistanceToTheLengths) {
  const auto quotient = [](const NSString& a, const NSString& b) {
    return a.computeLevenshteinDistanceQuotientWithString(b);
  };
  EXPECT_DOUBLE_EQ(quotient("kitten", "sitting"), 3 / 6.5);
  EXPECT_EQ(quotient("same", "same"), 0.0);
  EXPECT_EQ(quotient("a", "xyz"), 1.5);
  EXPECT_EQ(quotient("", "a"), 1.0);
  EXPECT_EQ(quotient("a", nil), 1.0);
  EXPECT_EQ(quotient("", ""), 1.0);
  EXPECT_EQ(quotient(nil, "a"), 0.0);
}

// Both sides of each word and of each band, in every pairing of widths.
TEST(NSStringDistance, AgreesWithTheTableAroundEveryLimit) {
  std::mt19937 random(7);
  const size_t lengths[] = {1, 2, 31, 63, 64, 65, 127, 128, 129, 191, 192, 193, 255, 256, 257, 320, 511, 513};
  for (const size_t m : lengths)
    for (const size_t n : lengths)
      for (const auto& [a, b] : {std::pair{0, 0}, {1, 1}, {2, 2}, {0, 3}, {3, 0}, {4, 4}}) {
        if (m * n > 70000 && a != b) continue;
        const std::u16string x = randomText(random, m, a), y = randomText(random, n, b);
        ASSERT_EQ(distance(x, y), tableDistance(x, y)) << m << ' ' << n << ' ' << a << ' ' << b;
      }
}

TEST(NSStringDistance, AgreesWithTheTableOnSimilarTexts) {
  std::mt19937 random(11);
  for (int round = 0; round < 400; ++round) {
    const std::u16string x = randomText(random, 1 + random() % 400, round % 5);
    const std::u16string y = edited(random, x, random() % 20);
    ASSERT_EQ(distance(x, y), tableDistance(x, y)) << round;
  }
}

// Long texts are first tried near the diagonal, with more and more reach.
TEST(NSStringDistance, LongTextsAreExactWhateverTheirDistance) {
  std::mt19937 random(13);
  for (const size_t length : {8192u, 17000u}) {
    if (kSanitized && length > 9000) continue;  // the plain table takes its time
    for (const size_t edits : {1u, 60u, 127u, 130u, 200u, 500u, 1000u, 3000u}) {
      if ((length > 9000 && edits != 1000) || (kSanitized && edits % 100 == 0)) continue;
      const std::u16string x = randomText(random, length, static_cast<int>(edits % 5));
      const std::u16string y = edited(random, x, edits);
      ASSERT_EQ(distance(x, y), rowDistance(x, y)) << length << ' ' << edits;
      const std::u16string cut = y.substr(y.size() / 9);  // far from the diagonal
      ASSERT_EQ(distance(x, cut), rowDistance(x, cut)) << length << ' ' << edits;
    }
  }
}

TEST(NSStringDistance, TwoSimilarTextsOfAMillionUnits) {
  std::mt19937 random(17);
  const std::u16string x = randomText(random, 1'000'000, 1);
  std::u16string y = x;
  for (size_t i = 0; i < 100; ++i) y[i * 10'000 + 7] = static_cast<char16_t>(y[i * 10'000 + 7] ^ 1);
  EXPECT_EQ(distance(x, y), 100);
  y.erase(500'000, 10);
  EXPECT_EQ(distance(x, y), 109);  // one of the changed units is among the erased
}

TEST(NSStringDistance, IsAMetric) {
  const auto text = rc::gen::nonEmpty(rc::gen::container<std::u16string>(
      rc::gen::element<char16_t>(u'a', u'b', u'c', u'\u00E9', u'\u0436', 0xD800, 0xDC00)));
  EXPECT_TRUE(rc::check([&] {
    const NSString a(*text), b(*text), c(*text);
    RC_ASSERT(distance(a, a) == 0);
    RC_ASSERT((distance(a, b) == 0) == (a == b));
    RC_ASSERT(distance(a, b) == distance(b, a));
    RC_ASSERT(distance(a, c) <= distance(a, b) + distance(b, c));
    const auto longer = static_cast<int64_t>(std::max(a.length(), b.length()));
    const auto shorter = static_cast<int64_t>(std::min(a.length(), b.length()));
    RC_ASSERT(distance(a, b) >= longer - shorter && distance(a, b) <= longer);
  }));
}

// The tables are kept between calls: an earlier text must leave nothing behind.
TEST(NSStringDistance, CallsDoNotInfluenceEachOther) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(distance("abcdef", "ghijkl"), 6);
    EXPECT_EQ(distance("ghijkl", "abcdef"), 6);
    EXPECT_EQ(distance(u"\u0436\u0437", u"\u0438\u0439"), 2);
    EXPECT_EQ(distance(u"\u0438\u0439", u"\u0436\u0437"), 2);
  }
}

TEST(NSStringDistance, LongTextsNeedMemoryForTheShorterOnly) {
  std::u16string a(1'000'000, u'a');
  for (size_t i = 0; i < a.size(); ++i) a[i] = static_cast<char16_t>('a' + i % 7);
  std::u16string b = a;
  b[10] = u'x';
  b[999'990] = u'y';
  b.erase(500'000, 1);
  // Only what lies between the first and the last difference counts; here it is cut to a short part.
  EXPECT_EQ(distance(a, std::u16string(a, 400, 200)), 1'000'000 - 200);
  EXPECT_EQ(distance(std::u16string(a, 0, 30'000), std::u16string(b, 0, 30'000)), 1);
  EXPECT_EQ(distance(std::u16string(a, 0, 30'000), u"z" + std::u16string(b, 1, 29'998) + u"z"), 3);
}
