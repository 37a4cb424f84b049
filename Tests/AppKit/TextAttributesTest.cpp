#include <cmath>

#include "Platform/AppKit/NSColor.h"
#include "Platform/AppKit/NSFont.h"
#include "Platform/AppKit/NSParagraphStyle.h"
#include "Platform/Foundation/Text/NSAttributedString.h"
#include "Platform/Foundation/Values/NSSet.h"

using namespace orv;

TEST(NSColor, ComponentsStayBetweenZeroAndOne) {
  const auto color = NSColor::colorWithRed(-1, 0.25, 7, std::nan(""));
  EXPECT_EQ(color->redComponent(), 0);
  EXPECT_EQ(color->greenComponent(), 0.25);
  EXPECT_EQ(color->blueComponent(), 1);
  EXPECT_EQ(color->alphaComponent(), 0);
  EXPECT_EQ(NSColor::colorWithRed(-0.0, 0, 0, 1)->description(), "sRGB 0 0 0 1");
}

TEST(NSColor, EqualComponentsMakeEqualColours) {
  EXPECT_EQ(Value(NSColor::redColor()), Value(NSColor::colorWithRed(1, 0, 0, 1)));
  EXPECT_NE(Value(NSColor::redColor()), Value(NSColor::redColor()->colorWithAlphaComponent(0.5)));
  EXPECT_NE(Value(NSColor::redColor()), Value("sRGB 1 0 0 1"));
  EXPECT_EQ((NSSet{NSColor::whiteColor(), NSColor::colorWithWhite(1, 1), NSColor::blackColor(),
                   NSColor::greenColor(), NSColor::blueColor(), NSColor::clearColor()})
                .count(),
            5u);
  EXPECT_EQ(NSColor::redColor()->className(), "NSColor");
}

TEST(NSFont, HasANameAndASize) {
  const auto font = NSFont::fontWithName("Noto Sans", 12.5);
  EXPECT_EQ(font->fontName(), "Noto Sans");
  EXPECT_EQ(font->pointSize(), 12.5);
  EXPECT_EQ(font->description(), "Noto Sans 12.5");
  EXPECT_EQ(font->fontWithSize(20)->pointSize(), 20);
  EXPECT_EQ(font->className(), "NSFont");
}

TEST(NSFont, BadNamesAreNilAndBadSizesTheSystems) {
  EXPECT_TRUE(NSFont::fontWithName(nil, 12).isNil());
  EXPECT_TRUE(NSFont::fontWithName("", 12).isNil());
  for (const double size : {0.0, -3.0, std::nan(""), static_cast<double>(INFINITY)})
    EXPECT_EQ(NSFont::systemFontOfSize(size)->pointSize(), NSFont::kSystemFontSize);
}

TEST(NSFont, EqualNamesAndSizesMakeEqualFonts) {
  EXPECT_EQ(Value(NSFont::systemFontOfSize(9)), Value(NSFont::fontWithName("Sans", 9)));
  EXPECT_EQ(Value(NSFont::systemFontOfSize(9)).hash(), Value(NSFont::fontWithName("Sans", 9)).hash());
  EXPECT_NE(Value(NSFont::systemFontOfSize(9)), Value(NSFont::boldSystemFontOfSize(9)));
  EXPECT_NE(Value(NSFont::systemFontOfSize(9)), Value(NSFont::systemFontOfSize(10)));
}

TEST(NSParagraphStyle, StartsWithTheDefaults) {
  const auto style = NSParagraphStyle::defaultParagraphStyle();
  EXPECT_EQ(style->alignment(), NSTextAlignmentNatural);
  EXPECT_EQ(style->lineBreakMode(), NSLineBreakByWordWrapping);
  EXPECT_EQ(style->lineSpacing(), 0);
  EXPECT_EQ(style->description(), "<NSParagraphStyle>");
}

TEST(NSParagraphStyle, EverySettingCanBeSetAndCounts) {
  using Style = NSMutableParagraphStyle;
  struct Setting {
    void (*set)(Style& style);
    double (*get)(const Style& style);
    double expected;
  };
  const Setting settings[] = {
      {[](Style& s) { s.setAlignment(NSTextAlignmentRight); },
       [](const Style& s) { return double(s.alignment()); }, 1},
      {[](Style& s) { s.setLineBreakMode(NSLineBreakByTruncatingTail); },
       [](const Style& s) { return double(s.lineBreakMode()); }, 4},
      {[](Style& s) { s.setLineSpacing(2); }, [](const Style& s) { return s.lineSpacing(); }, 2},
      {[](Style& s) { s.setParagraphSpacing(3); }, [](const Style& s) { return s.paragraphSpacing(); }, 3},
      {[](Style& s) { s.setParagraphSpacingBefore(4); },
       [](const Style& s) { return s.paragraphSpacingBefore(); }, 4},
      {[](Style& s) { s.setHeadIndent(5); }, [](const Style& s) { return s.headIndent(); }, 5},
      {[](Style& s) { s.setFirstLineHeadIndent(6); }, [](const Style& s) { return s.firstLineHeadIndent(); },
       6},
      {[](Style& s) { s.setTailIndent(-7); }, [](const Style& s) { return s.tailIndent(); }, -7},
      {[](Style& s) { s.setMinimumLineHeight(8); }, [](const Style& s) { return s.minimumLineHeight(); }, 8},
      {[](Style& s) { s.setMaximumLineHeight(9); }, [](const Style& s) { return s.maximumLineHeight(); }, 9},
      {[](Style& s) { s.setLineHeightMultiple(1.5); }, [](const Style& s) { return s.lineHeightMultiple(); },
       1.5}};
  for (const Setting& setting : settings) {
    const Ref<Style> style = make<Style>();
    setting.set(*style);
    EXPECT_EQ(setting.get(*style), setting.expected);
    EXPECT_NE(Value(style), Value(NSParagraphStyle::defaultParagraphStyle()));
    EXPECT_EQ(Value(style->copy()), Value(style));
    EXPECT_EQ(Value(style->copy()).hash(), Value(style).hash());
  }
}

TEST(NSParagraphStyle, CopiesAreIndependent) {
  const Ref<NSMutableParagraphStyle> style = make<NSMutableParagraphStyle>();
  style->setLineSpacing(2);
  const Value frozen = Value(style).copy();
  style->setLineSpacing(3);
  EXPECT_FALSE(frozen.isKindOf<NSMutableParagraphStyle>());
  EXPECT_EQ(frozen.as<NSParagraphStyle>()->lineSpacing(), 2);
  const Value thawed = frozen.mutableCopy();
  EXPECT_TRUE(thawed.isKindOf<NSMutableParagraphStyle>());
  EXPECT_EQ(style->mutableCopy()->description(), "<NSMutableParagraphStyle: lineSpacing 3>");
}

TEST(NSMutableAttributedStringGraphics, StylesTheWholeTextAsItIs) {
  const NSMutableAttributedString text = NSString("abc").attributedString();
  const auto font = NSFont::systemFontOfSize(12);
  text.setFont(font);
  text.setFont(font->fontWithSize(14));
  text.setColor(NSColor::redColor());
  int calls = 0;
  text.setParagraphStyleWithBlock([&](const Ref<NSMutableParagraphStyle>& style) {
    ++calls;
    style->setAlignment(NSTextAlignmentCenter);
  });
  text.appendAttributedString(NSString("d").attributedString());
  EXPECT_EQ(calls, 1);
  NSRange run;
  const NSDictionary attributes = text.attributesAtIndex(1, &run);
  EXPECT_EQ(run, (NSRange{0, 3}));
  EXPECT_EQ(attributes[NSFontAttributeName].as<NSFont>()->pointSize(), 14);
  EXPECT_EQ(attributes[NSForegroundColorAttributeName], Value(NSColor::redColor()));
  EXPECT_EQ(attributes[NSParagraphStyleAttributeName].as<NSParagraphStyle>()->alignment(),
            NSTextAlignmentCenter);
  EXPECT_EQ(text.attributesAtIndex(3).count(), 0u);
}

TEST(NSMutableAttributedStringGraphics, EmptyAndNilTextsAndStylesChangeNothing) {
  const NSMutableAttributedString text = NSString("").attributedString();
  text.setFont(NSFont::systemFontOfSize(12));
  text.setColor(NSColor::redColor());
  text.setParagraphStyleWithBlock({});
  EXPECT_EQ(text, Value(NSString("").attributedString()));
  const NSMutableAttributedString one = NSString("x").attributedString();
  one.setFont(nil);
  one.setColor(nil);
  EXPECT_EQ(one.attributesAtIndex(0).count(), 0u);
  one.setParagraphStyleWithBlock({});
  EXPECT_EQ(one.attributesAtIndex(0)[NSParagraphStyleAttributeName],
            Value(NSParagraphStyle::defaultParagraphStyle()));
  NSMutableAttributedString().setFont(NSFont::systemFontOfSize(12));
  NSMutableAttributedString().setParagraphStyleWithBlock([](const auto&) { ADD_FAILURE(); });
}
