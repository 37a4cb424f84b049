#include <algorithm>
#include <type_traits>

#include "Platform/Foundation/Text/StringBuilder.h"
#include "Platform/Foundation/Text/StringTransform.h"
#include "Platform/Foundation/Text/UnitScan.h"
#include "Platform/Foundation/Text/UnitSearch.h"
#include "Platform/Foundation/Values/NSString.h"

using namespace orv;
using detail::Units;

namespace {

constexpr size_t kLongestName = 250;

using InPath = detail::UnitClass<0, '\\', '?', '%', '*', '|', '"', '<', '>', '(', ')', '[', ']', '{', '}'>;
using InName = detail::UnitClass<0, '/', '\\', '?', '%', '*', '|', '"', '<', '>', '(', ')', '[', ']', '{', '}'>;

// The text without the members of a class.
template <class Class>
NSString removing(const NSString& text) {
  return detail::withUnits(detail::unitsOf(text), [&](auto* units, size_t length) {
    const size_t plain = Class::find(units, 0, length);
    if (plain == length) return text;
    detail::UnitRoom<std::remove_cv_t<std::remove_pointer_t<decltype(units)>>> room(length);
    auto* out = std::copy_n(units, plain, room.units());
    for (size_t i = plain; i < length; ++i) {
      *out = units[i];
      out += !Class::contains(units[i]);
    }
    return room.finish(static_cast<size_t>(out - room.units()));
  });
}

// The text with each member of a class replaced.
template <class Class>
NSString replacing(const NSString& text, const NSString& replacement) {
  if (replacement.length() == 0) return removing<Class>(text);
  const Units all = detail::unitsOf(text);
  return detail::withUnits(all, [&](auto* units, size_t length) {
    size_t next = Class::find(units, 0, length);
    if (next == length) return text;
    detail::StringBuilder out(all.wide ? 0 : length);
    for (size_t from = 0;;) {
      out.append(detail::unitsIn(all, from, next - from));
      if (next == length) return out.finish();
      out.append(replacement);
      from = next + 1;
      next = Class::find(units, from, length);
    }
  });
}

template <class Class>
NSString stripped(const NSString& text, const NSString& replacement) {
  return replacing<Class>(text.stringByTransformingToPlainLatin(), replacement).strip();
}

bool isSolid(char16_t unit) { return unit > 0x20 && unit < 0x7F; }

// Whether what follows a stripped start of a text, more of the text or nothing, leaves the start's first units
// as they are: no trim from the end gets past a visible character.
bool endsBeyondName(const NSString& start) {
  const Units units = detail::unitsOf(start);
  for (size_t i = units.length; i > kLongestName; --i)
    if (isSolid(units[i - 1])) return true;
  return false;
}

// Each 8-bit unit becomes plain Latin by itself, so of a long text its start will mostly do.
template <class Class>
NSString sanitized(const NSString& name, const NSString& replacement) {
  constexpr size_t kStart = 8 * kLongestName;
  const Units units = detail::unitsOf(name);
  if (!units.wide && units.length > 2 * kStart) {
    const NSString start = stripped<Class>(name.substringToIndex(kStart), replacement);
    if (endsBeyondName(start)) return start.sliceFrom(0, kLongestName);
  }
  return stripped<Class>(name, replacement).sliceFrom(0, kLongestName);
}

}  // namespace

NSString NSString::stringByTransformingToPlainLatin() const {
  const NSString plain = detail::plainLatin(*this);
  return plain.isNil() ? detail::lossyAscii(*this) : plain;
}

NSString NSString::stringBySanitizingFileNameWithReplacement(const NSString& replacement) const {
  return sanitized<InName>(*this, replacement);
}

NSString NSString::stringBySanitizingFileName() const { return sanitized<InName>(*this, nil); }

NSString NSString::stringBySanitizingFileNameAcceptFolderSlashes() const {
  return sanitized<InPath>(*this, nil);
}
