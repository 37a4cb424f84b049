#include "Platform/Foundation/Text/NSAttributedString.h"

#include <rapidcheck.h>

#include <string>
#include <thread>
#include <vector>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

namespace {

NSDictionary style(int n) { return n == 0 ? NSDictionary::dictionary() : NSDictionary{{"style", n}}; }

// One style for each unit.
struct Model {
  std::string text;
  std::vector<int> styles;
};

NSMutableAttributedString styled(const Model& model) {
  const NSMutableAttributedString text = NSMutableAttributedString::attributedString();
  for (size_t i = 0; i < model.text.size(); ++i)
    text.appendAttributedString(
        NSAttributedString::attributedStringWithString(model.text.substr(i, 1), style(model.styles[i])));
  return text;
}

std::vector<NSRange> runsOf(const NSAttributedString& text) {
  std::vector<NSRange> runs;
  text.enumerateAttributesInRange({0, text.length()},
                                  [&](const NSDictionary&, NSRange range, bool&) { runs.push_back(range); });
  return runs;
}

template <class F>
std::string raised(F&& operation) {
  try {
    operation();
  } catch (const NSException& exception) {
    return exception.name().utf8();
  }
  return "";
}

}  // namespace

TEST(NSAttributedString, NilAnswersNeutrally) {
  const NSAttributedString none;
  EXPECT_TRUE(none.string().isNil());
  EXPECT_EQ(none.length(), 0u);
  NSRange run{1, 1};
  EXPECT_TRUE(none.attributesAtIndex(5, &run).isNil());
  EXPECT_EQ(run, (NSRange{0, 0}));
  EXPECT_TRUE(none.attributeAtIndex("a", 5, &run).isNil());
  EXPECT_TRUE(none.attributedSubstringFromRange({1, 2}).isNil());
  EXPECT_TRUE(none.mutableCopy().isNil());
  none.enumerateAttributesInRange({0, 9}, [](const NSDictionary&, NSRange, bool&) { ADD_FAILURE(); });
  const NSMutableAttributedString noneMutable;
  noneMutable.appendAttributedString(NSAttributedString::attributedStringWithString("x"));
  noneMutable.setAttributes(style(1), {0, 9});
  noneMutable.addAttribute("a", 1, {0, 9});
  noneMutable.removeAttribute("a", {0, 9});
  noneMutable.replaceCharactersInRange({3, 4}, NSString("x"));
  noneMutable.deleteCharactersInRange({3, 4});
  EXPECT_TRUE(noneMutable.isNil());
  EXPECT_TRUE(NSString().attributedString().isNil());
  EXPECT_TRUE(NSString().attributedStringWithAttributes(style(1)).isNil());
}

TEST(NSAttributedString, HoldsATextAndItsAttributes) {
  const auto text = NSAttributedString::attributedStringWithString("abc", style(1));
  EXPECT_EQ(text.string(), "abc");
  EXPECT_EQ(text.length(), 3u);
  NSRange run;
  EXPECT_EQ(text.attributesAtIndex(2, &run), style(1));
  EXPECT_EQ(run, (NSRange{0, 3}));
  EXPECT_EQ(text.className(), "NSAttributedString");
  EXPECT_FALSE(text.isKindOf<NSMutableAttributedString>());
  EXPECT_EQ(NSAttributedString::attributedStringWithString(nil).string(), "");
  EXPECT_TRUE(NSString("x").attributedString().isKindOf<NSMutableAttributedString>());
}

TEST(NSAttributedString, CountsCodeUnits) {
  const auto text = NSString(u8"a\U0001F600b").attributedString();
  EXPECT_EQ(text.length(), 4u);
  text.addAttribute("k", 1, {1, 2});
  EXPECT_EQ(runsOf(text).size(), 3u);
  EXPECT_EQ(text.attributedSubstringFromRange({1, 2}).string(), NSString(u8"\U0001F600"));
}

TEST(NSAttributedString, AttributesGivenLaterChangeNothing) {
  const NSMutableDictionary attributes{{"a", 1}};
  const auto text = NSAttributedString::attributedStringWithString("x", attributes);
  attributes.setObjectForKey(2, "a");
  EXPECT_EQ(text.attributesAtIndex(0)["a"], Value(1));
}

TEST(NSAttributedString, RangesPastTheEndRaise) {
  const auto text = NSString("abc").attributedString();
  EXPECT_EQ(raised([&] { text.attributesAtIndex(3); }), "NSRangeException");
  EXPECT_EQ(raised([&] { text.attributeAtIndex("a", 3); }), "NSRangeException");
  EXPECT_EQ(raised([&] { text.attributedSubstringFromRange({2, 2}); }), "NSRangeException");
  EXPECT_EQ(raised([&] { text.attributedSubstringFromRange({1, UINT64_MAX}); }), "NSRangeException");
  EXPECT_EQ(raised([&] { text.enumerateAttributesInRange({0, 4}, {}); }), "NSRangeException");
  EXPECT_EQ(raised([&] { text.setAttributes(nil, {4, 0}); }), "NSRangeException");
  EXPECT_EQ(raised([&] { text.addAttribute("a", 1, {0, 4}); }), "NSRangeException");
  EXPECT_EQ(raised([&] { text.addAttributes(nil, {0, 4}); }), "NSRangeException");
  EXPECT_EQ(raised([&] { text.removeAttribute("a", {0, 4}); }), "NSRangeException");
  EXPECT_EQ(raised([&] { text.replaceCharactersInRange({3, 1}, NSString("x")); }), "NSRangeException");
  EXPECT_EQ(raised([&] { text.insertAttributedString(text, 4); }), "NSRangeException");
  EXPECT_EQ(raised([&] { text.deleteCharactersInRange({0, 4}); }), "NSRangeException");
  EXPECT_EQ(text.string(), "abc");
}

TEST(NSAttributedString, EqualRunsAreOne) {
  const auto text = NSString("abcdef").attributedString();
  text.addAttribute("k", 1, {0, 2});
  text.addAttribute("k", 1, {4, 2});
  EXPECT_EQ(runsOf(text), (std::vector<NSRange>{{0, 2}, {2, 2}, {4, 2}}));
  text.addAttribute("k", 1.0, {2, 2});
  EXPECT_EQ(runsOf(text), (std::vector<NSRange>{{0, 6}}));
  text.removeAttribute("k", {1, 1});
  EXPECT_EQ(runsOf(text), (std::vector<NSRange>{{0, 1}, {1, 1}, {2, 4}}));
  text.setAttributes(nil, {0, 6});
  EXPECT_EQ(runsOf(text), (std::vector<NSRange>{{0, 6}}));
}

TEST(NSAttributedString, OneAttributesRangeSpansRuns) {
  const auto text = NSString("abcdef").attributedString();
  text.addAttribute("a", 1, {0, 4});
  text.addAttribute("b", 1, {2, 3});
  NSRange range;
  EXPECT_EQ(text.attributeAtIndex("a", 1, &range), Value(1));
  EXPECT_EQ(range, (NSRange{0, 4}));
  EXPECT_TRUE(text.attributeAtIndex("a", 5, &range).isNil());
  EXPECT_EQ(range, (NSRange{4, 2}));
  EXPECT_EQ(text.attributeAtIndex("b", 4), Value(1));
}

TEST(NSAttributedString, EnumerationCutsRunsAndStops) {
  const auto text = NSString("abcdef").attributedString();
  text.addAttribute("k", 1, {2, 2});
  std::vector<NSRange> seen;
  text.enumerateAttributesInRange({1, 4}, [&](const NSDictionary&, NSRange r, bool&) { seen.push_back(r); });
  EXPECT_EQ(seen, (std::vector<NSRange>{{1, 1}, {2, 2}, {4, 1}}));
  seen.clear();
  text.enumerateAttributesInRange({0, 6}, [&](const NSDictionary&, NSRange r, bool& stop) {
    seen.push_back(r);
    stop = true;
  });
  EXPECT_EQ(seen.size(), 1u);
  text.enumerateAttributesInRange(
      {0, 6}, [&](const NSDictionary&, NSRange r, bool&) { text.addAttribute("seen", r.location, r); });
  EXPECT_EQ(text.attributeAtIndex("seen", 3), Value(2));
  text.enumerateAttributesInRange({0, 6}, {});
}

TEST(NSAttributedString, EqualityAndHashLookAtTextAndRuns) {
  const auto a = NSString("ab").attributedString();
  const auto b = NSAttributedString::attributedStringWithString("ab");
  EXPECT_EQ(a, Value(b));
  EXPECT_TRUE(b.isEqualToAttributedString(a));
  EXPECT_EQ(a.hash(), b.hash());
  a.addAttribute("k", 1, {0, 1});
  EXPECT_NE(a, Value(b));
  EXPECT_NE(Value(b), Value("ab"));
  EXPECT_NE(Value(b), Value(NSAttributedString::attributedStringWithString("ac")));
}

TEST(NSAttributedString, CopiesAreIndependent) {
  const auto text = NSString("ab").attributedString();
  const Value frozen = text.copy();
  const NSMutableAttributedString other = text.mutableCopy();
  const NSMutableAttributedString shared = text;
  text.addAttribute("k", 1, {0, 1});
  EXPECT_FALSE(frozen.isKindOf<NSMutableAttributedString>());
  EXPECT_TRUE(frozen.copy().isSame(frozen));
  EXPECT_EQ(frozen, other);
  EXPECT_EQ(shared.attributesAtIndex(0).count(), 1u);
  EXPECT_EQ((NSDictionary{{text, 1}}).allKeys()[0].isKindOf<NSMutableAttributedString>(), false);
}

TEST(NSAttributedString, DescribesItsRuns) {
  const auto text = NSString("ab").attributedString();
  text.addAttribute("k", 1, {0, 1});
  EXPECT_EQ(text.description(), "a{\n    k = 1;\n}b{\n}");
  EXPECT_FALSE(Value(NSString("").attributedString()).isNotEmpty());
  EXPECT_TRUE(Value(text).isTrue());
}

TEST(NSMutableAttributedString, ReplacedTextTakesTheStyleOfWhatItReplaces) {
  const NSMutableAttributedString text = styled({"abcd", {1, 1, 2, 2}});
  text.replaceCharactersInRange({1, 2}, NSString("XYZ"));
  EXPECT_EQ(text, Value(styled({"aXYZd", {1, 1, 1, 1, 2}})));
  text.replaceCharactersInRange({4, 0}, NSString("-"));
  EXPECT_EQ(text, Value(styled({"aXYZ-d", {1, 1, 1, 1, 1, 2}})));
  text.replaceCharactersInRange({0, 0}, NSString(">"));
  text.replaceCharactersInRange({7, 0}, NSString("<"));
  EXPECT_EQ(text, Value(styled({">aXYZ-d<", {1, 1, 1, 1, 1, 1, 2, 2}})));
  text.replaceCharactersInRange({0, 8}, NSString());
  EXPECT_EQ(text.string(), "");
  text.replaceCharactersInRange({0, 0}, NSString("n"));
  EXPECT_EQ(text.attributesAtIndex(0).count(), 0u);
}

TEST(NSMutableAttributedString, CanBePutIntoItself) {
  const NSMutableAttributedString text = styled({"ab", {1, 2}});
  text.appendAttributedString(text);
  EXPECT_EQ(text, Value(styled({"abab", {1, 2, 1, 2}})));
  text.insertAttributedString(text, 1);
  EXPECT_EQ(text, Value(styled({"aababbab", {1, 1, 2, 1, 2, 2, 1, 2}})));
  text.setAttributedString(NSString("z").attributedString());
  EXPECT_EQ(text, Value(NSString("z").attributedString()));
  text.setAttributedString(nil);
  EXPECT_EQ(text.length(), 0u);
}

TEST(NSMutableAttributedString, ChangesAsAListOfStyledUnitsDoes) {
  EXPECT_TRUE(rc::check([](const std::vector<uint8_t>& script) {
    Model model{"abcdef", {0, 0, 1, 1, 2, 2}};
    const NSMutableAttributedString text = styled(model);
    for (const uint8_t byte : script) {
      const size_t n = model.text.size();
      const size_t from = n == 0 ? 0 : byte % (n + 1);
      const size_t length = n == from ? 0 : (byte / 7u) % (n - from + 1);
      const int kind = byte % 3;
      const auto first = static_cast<std::ptrdiff_t>(from);
      const auto last = static_cast<std::ptrdiff_t>(from + length);
      switch (byte % 4) {
        case 0:
          text.setAttributes(style(kind), {from, length});
          std::fill(model.styles.begin() + first, model.styles.begin() + last, kind);
          break;
        case 1:
          text.deleteCharactersInRange({from, length});
          model.text.erase(from, length);
          model.styles.erase(model.styles.begin() + first, model.styles.begin() + last);
          break;
        case 2:
          text.addAttribute("style", 1, {from, length});
          std::fill(model.styles.begin() + first, model.styles.begin() + last, 1);
          break;
        default:
          text.replaceCharactersInRange({from, length},
                                        NSAttributedString::attributedStringWithString("xy", style(kind)));
          model.text.replace(from, length, "xy");
          model.styles.erase(model.styles.begin() + first, model.styles.begin() + last);
          model.styles.insert(model.styles.begin() + first, 2, kind);
      }
    }
    RC_ASSERT(text.string() == NSString(model.text));
    size_t runs = 0;
    for (size_t i = 0; i < model.styles.size(); ++i) {
      RC_ASSERT(text.attributesAtIndex(i) == style(model.styles[i]));
      runs += i == 0 || model.styles[i] != model.styles[i - 1];
    }
    RC_ASSERT(runsOf(text).size() == runs);
    const auto middle = text.attributedSubstringFromRange({0, model.text.size() / 2});
    RC_ASSERT(runsOf(middle).size() <= runs);
  }));
}

TEST(NSAttributedString, ImmutableTextsAreReadByThreadsAtOnce) {
  for (int round = 0; round < 200; ++round) {
    const auto whole = NSAttributedString::attributedStringWithString("forty units of text, more or less");
    const NSAttributedString part = whole.attributedSubstringFromRange({0, 11});
    bool right[2] = {};
    const auto look = [&](int i) { right[i] = part.string() == "forty units" && whole.length() == 33; };
    std::thread other(look, 0);
    look(1);
    other.join();
    ASSERT_TRUE(right[0] && right[1]);
  }
}
