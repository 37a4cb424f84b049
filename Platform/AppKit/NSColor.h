#pragma once

#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

// A colour in the sRGB space. Immutable, safe on every thread; equal when all components are.
//
//   auto warning = NSColor::colorWithRed(1, 0.6, 0, 1);
class ORV_EXPORT NSColor : public NSObject {
 public:
  // Components from 0 to 1; what lies outside is moved to the nearer end, not-a-number is 0.
  static orv::Ref<NSColor> colorWithRed(double red, double green, double blue, double alpha);
  static orv::Ref<NSColor> colorWithWhite(double white, double alpha);
  static orv::Ref<NSColor> blackColor();
  static orv::Ref<NSColor> whiteColor();
  static orv::Ref<NSColor> redColor();
  static orv::Ref<NSColor> greenColor();
  static orv::Ref<NSColor> blueColor();
  static orv::Ref<NSColor> clearColor();

  NSColor(double red, double green, double blue, double alpha) noexcept;

  double redComponent() const noexcept { return red_; }
  double greenComponent() const noexcept { return green_; }
  double blueComponent() const noexcept { return blue_; }
  double alphaComponent() const noexcept { return alpha_; }

  // The same colour with another opacity.
  orv::Ref<NSColor> colorWithAlphaComponent(double alpha) const;

  NSString className() const override;
  // "sRGB 1 0.5 0 1": red, green, blue, alpha
  NSString description() const override;
  bool isEqual(const orv::Value& other) const override;
  size_t hash() const override;

 private:
  double red_, green_, blue_, alpha_;
};
