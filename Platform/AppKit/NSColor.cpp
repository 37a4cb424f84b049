#include "Platform/AppKit/NSColor.h"

#include <algorithm>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

namespace {
// Never a negative zero, which would be equal to zero and print as something else.
double component(double d) { return d > 0 ? std::min(d, 1.0) : 0.0; }
}  // namespace

NSColor::NSColor(double red, double green, double blue, double alpha) noexcept
    : red_(component(red)), green_(component(green)), blue_(component(blue)), alpha_(component(alpha)) {}

Ref<NSColor> NSColor::colorWithRed(double red, double green, double blue, double alpha) {
  return make<NSColor>(red, green, blue, alpha);
}
Ref<NSColor> NSColor::colorWithWhite(double white, double alpha) {
  return colorWithRed(white, white, white, alpha);
}
Ref<NSColor> NSColor::blackColor() { return colorWithWhite(0, 1); }
Ref<NSColor> NSColor::whiteColor() { return colorWithWhite(1, 1); }
Ref<NSColor> NSColor::redColor() { return colorWithRed(1, 0, 0, 1); }
Ref<NSColor> NSColor::greenColor() { return colorWithRed(0, 1, 0, 1); }
Ref<NSColor> NSColor::blueColor() { return colorWithRed(0, 0, 1, 1); }
Ref<NSColor> NSColor::clearColor() { return colorWithWhite(0, 0); }

Ref<NSColor> NSColor::colorWithAlphaComponent(double alpha) const {
  return colorWithRed(red_, green_, blue_, alpha);
}

NSString NSColor::className() const { return "NSColor"; }

NSString NSColor::description() const {
  return NSString::stringWithFormat("sRGB %@ %@ %@ %@", Value(red_), Value(green_), Value(blue_),
                                    Value(alpha_));
}

bool NSColor::isEqual(const Value& other) const {
  const auto that = other.as<NSColor>();
  return that && red_ == that->red_ && green_ == that->green_ && blue_ == that->blue_ && alpha_ == that->alpha_;
}

size_t NSColor::hash() const { return Value(NSArray{red_, green_, blue_, alpha_}).hash(); }
