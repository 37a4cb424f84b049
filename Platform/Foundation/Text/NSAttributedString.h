#pragma once

#include <functional>

#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

class NSColor;
class NSFont;
class NSMutableAttributedString;
class NSMutableParagraphStyle;

// The attributes that text drawing knows: an NSFont, an NSColor, an NSParagraphStyle.
extern ORV_EXPORT const NSString NSFontAttributeName;             // "NSFont"
extern ORV_EXPORT const NSString NSForegroundColorAttributeName;  // "NSColor"
extern ORV_EXPORT const NSString NSParagraphStyleAttributeName;   // "NSParagraphStyle"

// A styled text: a string, every unit of which has a dictionary of attributes. Ranges count UTF-16 code units;
// a run is a longest stretch of units with equal attributes.
//
// Texts made here are immutable and safe on every thread; a mutable one seen through this handle may change
// under its owner's hand. A copy of the handle is another reference. Nil answers 0 and nil.
//
//   const NSString word = "bold";
//   NSAttributedString text = word.attributedStringWithAttributes({{NSFontAttributeName, font}});
//   NSRange run;
//   NSDictionary style = text.attributesAtIndex(0, &run);   // {0, 4}
class ORV_EXPORT NSAttributedString : public orv::Value {
 public:
  // Receives the attributes of a run and its range; `stop` set to true ends the walk.
  using RunBlock = std::function<void(const NSDictionary& attributes, NSRange range, bool& stop)>;

  NSAttributedString() = default;
  NSAttributedString(orv::Nil) {}

  static bool accepts(const orv::Value& v) noexcept;

  // A nil string is "", nil attributes are none.
  static NSAttributedString attributedStringWithString(const NSString& string,
                                                       const NSDictionary& attributes = orv::nil);

  NSString string() const;
  NSUInteger length() const noexcept;

  // The attributes of a unit, and the run that it lies in. Raises NSRangeException past the end.
  NSDictionary attributesAtIndex(NSUInteger index, NSRange* effectiveRange = nullptr) const;
  // One of them, nil when the unit has none of that name, with the longest stretch in which it stays the same.
  orv::Value attributeAtIndex(const NSString& name, NSUInteger index, NSRange* effectiveRange = nullptr) const;
  // The runs in their order, cut off at the ends of a range. Of a mutable text the runs at the time of the
  // call. Raises NSRangeException for a range past the end.
  void enumerateAttributesInRange(NSRange range, const RunBlock& block) const;

  // Raises NSRangeException for a range past the end.
  NSAttributedString attributedSubstringFromRange(NSRange range) const;

  // Equal strings with equal attributes everywhere, whether mutable or not.
  bool isEqualToAttributedString(const NSAttributedString& other) const { return isEqual(other); }
  NSMutableAttributedString mutableCopy() const;
};

// A styled text that can change; every handle of it sees the changes. Changing it needs the caller's own lock
// when several threads share it, and so does reading it meanwhile. The operations do nothing on a nil handle
// and raise NSRangeException for a range past the end.
//
//   NSMutableAttributedString line = NSString("sum: 12").attributedString();
//   line.addAttribute(NSForegroundColorAttributeName, NSColor::redColor(), {5, 2});
class ORV_EXPORT NSMutableAttributedString : public NSAttributedString {
 public:
  NSMutableAttributedString() = default;
  NSMutableAttributedString(orv::Nil) {}

  static bool accepts(const orv::Value& v) noexcept;

  static NSMutableAttributedString attributedString();
  static NSMutableAttributedString attributedStringWithString(const NSString& string,
                                                              const NSDictionary& attributes = orv::nil);

  // A nil text appends nothing. A text may be appended to itself.
  void appendAttributedString(const NSAttributedString& other) const;
  void insertAttributedString(const NSAttributedString& other, NSUInteger index) const;
  // Plain text takes the attributes of the first unit it replaces, or of the one before where it replaces none.
  void replaceCharactersInRange(NSRange range, const NSString& string) const;
  void replaceCharactersInRange(NSRange range, const NSAttributedString& other) const;
  void deleteCharactersInRange(NSRange range) const;
  void setAttributedString(const NSAttributedString& other) const;

  // Exactly these attributes; nil takes all away.
  void setAttributes(const NSDictionary& attributes, NSRange range) const;
  // These besides the others. Nil names and values add nothing.
  void addAttributes(const NSDictionary& attributes, NSRange range) const;
  void addAttribute(const NSString& name, const orv::Value& value, NSRange range) const;
  void removeAttribute(const NSString& name, NSRange range) const;

  // NSMutableAttributedString(ZUGraphics) - Orvane/Categories/NSAttributedString+ZUGraphics.cpp
  // Styles for the whole text as it is now; text appended later does not have them. Nil and an empty text
  // change nothing.

  // The block is called once with a new paragraph style to be set up. A nil block leaves the style as it is.
  void setParagraphStyleWithBlock(
      const std::function<void(const orv::Ref<NSMutableParagraphStyle>& style)>& block) const;
  void setFont(const orv::Ref<NSFont>& font) const;
  void setColor(const orv::Ref<NSColor>& color) const;
};
