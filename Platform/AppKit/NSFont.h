#pragma once

#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

// The font that a text asks for: a name and a size. What is drawn is the nearest that the system has.
// Immutable, safe on every thread; equal when name and size are.
//
//   auto title = NSFont::fontWithName("Noto Sans Bold", 18);
class ORV_EXPORT NSFont : public NSObject {
 public:
  static constexpr double kSystemFontSize = 13;

  // The size in points; 0 and less, and what is no finite number, is the system's size. nil for a nil or empty
  // name.
  static orv::Ref<NSFont> fontWithName(const NSString& name, double size);
  // The desktop's own fonts, "Sans" and "Sans Bold".
  static orv::Ref<NSFont> systemFontOfSize(double size);
  static orv::Ref<NSFont> boldSystemFontOfSize(double size);

  NSFont(NSString name, double size) noexcept;

  const NSString& fontName() const noexcept { return name_; }
  double pointSize() const noexcept { return size_; }

  orv::Ref<NSFont> fontWithSize(double size) const;

  NSString className() const override;
  // "Sans 13"
  NSString description() const override;
  bool isEqual(const orv::Value& other) const override;
  size_t hash() const override;

 private:
  NSString name_;
  double size_;
};
