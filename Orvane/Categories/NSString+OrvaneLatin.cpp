#include <algorithm>

#include "Platform/Foundation/Text/StringBuilder.h"
#include "Platform/Foundation/Text/StringTransform.h"
#include "Platform/Foundation/Text/UnitScan.h"
#include "Platform/Foundation/Text/UnitSearch.h"
#include "Platform/Foundation/Values/NSString.h"

using namespace orv;
using detail::Units;

namespace {

constexpr long kLongestName = 250;

using InPath = detail::UnitClass<0, '\\', '?', '%', '*', '|', '"', '<', '>', '(', ')', '[', ']', '{', '}'>;
using InName = detail::UnitClass<0, '/', '\\', '?', '%', '*', '|', '"', '<', '>', '(', ')', '[', ']', '{', '}'>;

// The text with each member of a class replaced.
template <class Class>
NSString replacing(const NSString& text, const NSString& replacement) {
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
NSString sanitized(const NSString& name, const NSString& replacement) {
  return replacing<Class>(name.stringByTransformingToPlainLatin(), replacement)
      .strip()
      .sliceFrom(0, kLongestName);
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
