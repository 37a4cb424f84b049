#include "Platform/Foundation/Text/StringBuilder.h"

#include "Platform/Foundation/Text/Unicode.h"

using namespace orv;
using detail::StringBuilder;

TEST(StringBuilder, AnEmptyBuilderGivesTheEmptyText) {
  StringBuilder builder;
  EXPECT_EQ(builder.length(), 0u);
  EXPECT_EQ(builder.finish(), "");
}

TEST(StringBuilder, PiecesOfEveryKindAreAppended) {
  StringBuilder builder;
  builder.append(NSString("a\u00E9"));
  builder.append(NSString());
  builder.append(std::string_view("b\u20AC"));
  builder.append("\xFF");
  builder.appendAscii("cd");
  builder.appendUnit(u'\u0416');
  builder.appendCodePoint(U'\U0001F600');
  builder.appendCodePoint(0x110000);
  builder.appendNarrow(reinterpret_cast<const uint8_t*>("\xFCz"), 2);
  builder.appendRepeated(u'-', 3);
  EXPECT_EQ(builder.finish(), "a\u00E9b\u20AC\uFFFDcd\u0416\U0001F600\uFFFD\u00FCz---");
}

TEST(StringBuilder, ABuilderStartsAnewAfterFinishing) {
  StringBuilder builder;
  builder.appendRepeated(u'\u0416', 1000);
  EXPECT_EQ(builder.finish().length(), 1000u);
  builder.appendAscii("x");
  EXPECT_FALSE(builder.wide());
  EXPECT_EQ(builder.finish(), "x");
  builder.appendAscii("thrown away");
  builder.discard();
  EXPECT_EQ(builder.finish(), "");
}

TEST(StringBuilder, WideUnitsThatFitInAByteStayNarrow) {
  StringBuilder builder;
  builder.appendWide(u"ab\u00FF", 3);
  EXPECT_FALSE(builder.wide());
  const NSString text = builder.finish();
  EXPECT_EQ(text, "ab\u00FF");
  EXPECT_FALSE(detail::stringRep(text)->ascii());
}

TEST(StringBuilder, AsciiIsKnownAsAscii) {
  StringBuilder builder;
  builder.appendAscii("abc");
  builder.appendNarrow(reinterpret_cast<const uint8_t*>("def"), 3);
  builder.appendUnit('g');
  builder.append(NSString("hij"));
  EXPECT_TRUE(detail::stringRep(builder.finish())->ascii());
  builder.appendRepeated(u'\u00E9', 1);
  EXPECT_FALSE(detail::stringRep(builder.finish())->ascii());
}

TEST(StringBuilder, TextsAroundEveryGrowthStepAreWhole) {
  for (size_t length = 0; length < 2300; length += 7) {
    StringBuilder units, pieces;
    for (size_t i = 0; i < length; ++i) units.appendUnit(static_cast<char16_t>('a' + i % 26));
    for (size_t i = 0; i < length; ++i) {
      const char c = static_cast<char>('a' + i % 26);
      pieces.appendAscii({&c, 1});
    }
    const NSString text = units.finish();
    ASSERT_EQ(text.length(), length);
    ASSERT_EQ(text, pieces.finish());
  }
}

TEST(StringBuilder, WideningKeepsWhatIsThere) {
  for (size_t before = 0; before < 1200; before += 13) {
    StringBuilder builder;
    for (size_t i = 0; i < before; ++i) builder.appendUnit(static_cast<char16_t>(i % 256));
    builder.appendUnit(u'\u0416');
    for (size_t i = 0; i < before; ++i) builder.appendUnit(static_cast<char16_t>(i));
    const NSString text = builder.finish();
    ASSERT_EQ(text.length(), 2 * before + 1);
    for (size_t i = 0; i < before; ++i) {
      ASSERT_EQ(text.characterAtIndex(i), i % 256);
      ASSERT_EQ(text.characterAtIndex(before + 1 + i), i);
    }
  }
}

TEST(StringBuilder, LargeTextsAreHandedOverWithoutACopy) {
  StringBuilder builder;
  builder.reserve(1'000'000);
  builder.appendRepeated('x', 1'000'000);
  const NSString text = builder.finish();
  EXPECT_EQ(text.length(), 1'000'000u);
  EXPECT_FALSE(detail::stringRep(text)->has(detail::HeapObject::Slice));
  EXPECT_EQ(text, NSString(std::string(1'000'000, 'x')));
}

TEST(StringBuilder, AnyPiecesGiveTheirConcatenation) {
  EXPECT_TRUE(rc::check([](const std::vector<std::u16string>& pieces) {
    StringBuilder builder;
    std::u16string all;
    for (const std::u16string& piece : pieces) {
      builder.append(NSString(std::u16string_view(piece.data() ? piece : u"")));
      all += piece;
    }
    const NSString text = builder.finish();
    RC_ASSERT(text == NSString(all));
    RC_ASSERT(text.hash() == NSString(all).hash());
  }));
}
