#include "Platform/AppKit/NSFont.h"

#include <cmath>

#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

Ref<NSFont> NSFont::fontWithName(const NSString& name, double size) {
  return name.length() == 0 ? Ref<NSFont>() : make<NSFont>(name, size);
}
Ref<NSFont> NSFont::systemFontOfSize(double size) { return make<NSFont>("Sans", size); }
Ref<NSFont> NSFont::boldSystemFontOfSize(double size) { return make<NSFont>("Sans Bold", size); }

NSFont::NSFont(NSString name, double size) noexcept
    : name_(std::move(name)), size_(std::isfinite(size) && size > 0 ? size : kSystemFontSize) {}

Ref<NSFont> NSFont::fontWithSize(double size) const { return make<NSFont>(name_, size); }

NSString NSFont::className() const { return "NSFont"; }
NSString NSFont::description() const { return NSString::stringWithFormat("%@ %@", name_, Value(size_)); }

bool NSFont::isEqual(const Value& other) const {
  const auto that = other.as<NSFont>();
  return that && size_ == that->size_ && name_ == that->name_;
}

size_t NSFont::hash() const { return name_.hash() * 31 + Value(size_).hash(); }
