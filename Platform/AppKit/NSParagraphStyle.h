#pragma once

#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

class NSMutableParagraphStyle;

enum NSTextAlignment : NSUInteger {
  NSTextAlignmentLeft = 0,
  NSTextAlignmentRight = 1,
  NSTextAlignmentCenter = 2,
  NSTextAlignmentJustified = 3,
  NSTextAlignmentNatural = 4,  // by the direction of the text
};

enum NSLineBreakMode : NSUInteger {
  NSLineBreakByWordWrapping = 0,
  NSLineBreakByCharWrapping = 1,
  NSLineBreakByClipping = 2,
  NSLineBreakByTruncatingHead = 3,
  NSLineBreakByTruncatingTail = 4,
  NSLineBreakByTruncatingMiddle = 5,
};

// How the lines of a paragraph are set. Lengths are in points; 0 in the limits of the line height is no limit.
// Styles are equal when all their settings are, whether mutable or not. Immutable, safe on every thread, unless
// it is a mutable style seen through this class.
//
//   text.setParagraphStyleWithBlock([](const Ref<NSMutableParagraphStyle>& style) {
//     style->setAlignment(NSTextAlignmentCenter);
//   });
class ORV_EXPORT NSParagraphStyle : public NSObject {
 public:
  struct Settings {
    NSTextAlignment alignment = NSTextAlignmentNatural;
    NSLineBreakMode lineBreakMode = NSLineBreakByWordWrapping;
    double lineSpacing = 0;  // between the bottom of a line and the top of the next
    double paragraphSpacing = 0;
    double paragraphSpacingBefore = 0;
    double headIndent = 0;  // of all lines but the first
    double firstLineHeadIndent = 0;
    double tailIndent = 0;  // from the leading edge; 0 and less from the trailing one
    double minimumLineHeight = 0;
    double maximumLineHeight = 0;
    double lineHeightMultiple = 0;  // 0: as the font says
    friend bool operator==(const Settings&, const Settings&) = default;
  };

  NSParagraphStyle() = default;
  explicit NSParagraphStyle(const Settings& settings) : settings_(settings) {}

  static orv::Ref<NSParagraphStyle> defaultParagraphStyle();

  NSTextAlignment alignment() const noexcept { return settings_.alignment; }
  NSLineBreakMode lineBreakMode() const noexcept { return settings_.lineBreakMode; }
  double lineSpacing() const noexcept { return settings_.lineSpacing; }
  double paragraphSpacing() const noexcept { return settings_.paragraphSpacing; }
  double paragraphSpacingBefore() const noexcept { return settings_.paragraphSpacingBefore; }
  double headIndent() const noexcept { return settings_.headIndent; }
  double firstLineHeadIndent() const noexcept { return settings_.firstLineHeadIndent; }
  double tailIndent() const noexcept { return settings_.tailIndent; }
  double minimumLineHeight() const noexcept { return settings_.minimumLineHeight; }
  double maximumLineHeight() const noexcept { return settings_.maximumLineHeight; }
  double lineHeightMultiple() const noexcept { return settings_.lineHeightMultiple; }

  orv::Ref<NSMutableParagraphStyle> mutableCopy() const;

  NSString className() const override;
  // Names what differs from the default: "<NSParagraphStyle: alignment 2, lineSpacing 4>".
  NSString description() const override;
  bool isEqual(const orv::Value& other) const override;
  size_t hash() const override;
  orv::Value mutableCopyOfObject() const override;

 protected:
  Settings settings_;
};

// A paragraph style to be set up. For one thread at a time.
class ORV_EXPORT NSMutableParagraphStyle : public NSParagraphStyle {
 public:
  using NSParagraphStyle::NSParagraphStyle;

  void setAlignment(NSTextAlignment alignment) noexcept { settings_.alignment = alignment; }
  void setLineBreakMode(NSLineBreakMode mode) noexcept { settings_.lineBreakMode = mode; }
  void setLineSpacing(double points) noexcept { settings_.lineSpacing = points; }
  void setParagraphSpacing(double points) noexcept { settings_.paragraphSpacing = points; }
  void setParagraphSpacingBefore(double points) noexcept { settings_.paragraphSpacingBefore = points; }
  void setHeadIndent(double points) noexcept { settings_.headIndent = points; }
  void setFirstLineHeadIndent(double points) noexcept { settings_.firstLineHeadIndent = points; }
  void setTailIndent(double points) noexcept { settings_.tailIndent = points; }
  void setMinimumLineHeight(double points) noexcept { settings_.minimumLineHeight = points; }
  void setMaximumLineHeight(double points) noexcept { settings_.maximumLineHeight = points; }
  void setLineHeightMultiple(double factor) noexcept { settings_.lineHeightMultiple = factor; }

  orv::Ref<NSParagraphStyle> copy() const;

  NSString className() const override;
  orv::Value copyOfObject() const override;
};
