#include <algorithm>

#include "Platform/Foundation/Text/StringBuilder.h"
#include "Platform/Foundation/Text/Unicode.h"
#include "Platform/Foundation/Text/UnitSearch.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSCharacterSet.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSString.h"

using namespace orv;
using detail::kNoMatch;
using detail::Match;
using detail::StringFactory;
using detail::Units;

namespace {

detail::Anchor anchorOf(NSUInteger options) {
  if (!(options & NSAnchoredSearch)) return detail::Anchor::None;
  return options & NSBackwardsSearch ? detail::Anchor::End : detail::Anchor::Start;
}

Match findAnchored(const Units& text, const Units& needle, detail::Anchor anchor) {
  if (needle.length == 0 || needle.length > text.length) return {};
  const size_t at = anchor == detail::Anchor::Start ? 0 : text.length - needle.length;
  if (!detail::equalUnits(detail::unitsIn(text, at, needle.length), needle)) return {};
  return {at, needle.length};
}

Match find(const Units& text, const Units& needle, NSUInteger options) {
  const detail::Anchor anchor = anchorOf(options);
  const bool backwards = options & NSBackwardsSearch;
  if (options & NSCaseInsensitiveSearch) return detail::findFolded(text, needle, backwards, anchor);
  if (anchor != detail::Anchor::None) return findAnchored(text, needle, anchor);
  return {backwards ? detail::findUnitsBackwards(text, needle) : detail::findUnits(text, needle),
          needle.length};
}

// The next code point of a set at or after a position.
template <class Unit>
NSRange findMember(const Unit* units, size_t length, size_t from, const NSCharacterSet& set) {
  for (size_t i = from; i < length;) {
    const detail::CodePoint c = detail::codePointAt(units, length, i);
    if (set.longCharacterIsMember(c.value)) return {i, c.units};
    i += c.units;
  }
  return NSRangeNotFound;
}

template <class Unit>
NSRange findMemberBackwards(const Unit* units, size_t length, const NSCharacterSet& set) {
  for (size_t i = length; i > 0;) {
    const detail::CodePoint c = detail::codePointBefore(units, i);
    i -= c.units;
    if (set.longCharacterIsMember(c.value)) return {i, c.units};
  }
  return NSRangeNotFound;
}

// The number of units of the members with which a text begins or ends.
template <class Unit>
size_t membersAtStart(const Unit* units, size_t length, const NSCharacterSet& set) {
  size_t i = 0;
  while (i < length) {
    const detail::CodePoint c = detail::codePointAt(units, length, i);
    if (!set.longCharacterIsMember(c.value)) break;
    i += c.units;
  }
  return i;
}

template <class Unit>
size_t membersAtEnd(const Unit* units, size_t length, const NSCharacterSet& set) {
  size_t i = length;
  while (i > 0) {
    const detail::CodePoint c = detail::codePointBefore(units, i);
    if (!set.longCharacterIsMember(c.value)) break;
    i -= c.units;
  }
  return length - i;
}

// Every occurrence of one unit, all texts narrow: the result's length is known beforehand.
NSString replacingUnit(const NSString& text, uint8_t unit, const NSString& replacement) {
  const Units all = detail::unitsOf(text), with = detail::unitsOf(replacement);
  const uint8_t* const end = all.narrow() + all.length;
  const auto count = static_cast<size_t>(std::count(all.narrow(), end, unit));
  const auto flags = static_cast<uint8_t>(
      (detail::stringRep(text)->flags | detail::stringRep(replacement)->flags) & detail::HeapObject::NotAscii);
  const size_t length = all.length - count + count * with.length;
  if (length == 0) return StringFactory::empty();
  detail::StringRep* rep = StringFactory::allocate(length, false, flags);
  auto* out = static_cast<uint8_t*>(rep->inlineUnits());
  for (const uint8_t* in = all.narrow(); in < end; ++in) {
    if (*in == unit)
      out = std::copy_n(with.narrow(), with.length, out);
    else
      *out++ = *in;
  }
  return StringFactory::adopt(rep);
}

}  // namespace

bool NSString::containsString(const NSString& text) const noexcept {
  return detail::findUnits(detail::unitsOf(*this), detail::unitsOf(text)) != kNoMatch;
}

NSRange NSString::rangeOfString(const NSString& text, NSUInteger options) const {
  const Match match = find(detail::unitsOf(*this), detail::unitsOf(text), options);
  return match ? NSRange{match.location, match.length} : NSRangeNotFound;
}

NSRange NSString::rangeOfStringInRange(const NSString& text, NSUInteger options, NSRange range) const {
  if (isNil()) return NSRangeNotFound;
  detail::requireRange(*this, range);
  const Units part = detail::unitsIn(detail::unitsOf(*this), range.location, range.length);
  const Match match = find(part, detail::unitsOf(text), options);
  return match ? NSRange{range.location + match.location, match.length} : NSRangeNotFound;
}

NSRange NSString::rangeOfCharacterFromSet(const NSCharacterSet& set, NSUInteger options) const {
  return detail::withUnits(detail::unitsOf(*this), [&](auto* units, size_t length) {
    const bool backwards = options & NSBackwardsSearch;
    const NSRange found =
        backwards ? findMemberBackwards(units, length, set) : findMember(units, length, 0, set);
    if (!(options & NSAnchoredSearch) || !found.isFound()) return found;
    return (backwards ? found.end() == length : found.location == 0) ? found : NSRangeNotFound;
  });
}

NSString NSString::stringByReplacingOccurrencesOfString(const NSString& target,
                                                        const NSString& replacement) const {
  if (isNil() || replacement.isNil()) return *this;
  const Units all = detail::unitsOf(*this);
  const Units wanted = detail::unitsOf(target);
  size_t found = detail::findUnits(all, wanted);
  if (found == kNoMatch) return *this;
  if (wanted.length == 1 && !all.wide && !detail::unitsOf(replacement).wide)
    return replacingUnit(*this, *wanted.narrow(), replacement);
  detail::StringBuilder builder(all.wide ? 0 : all.length);
  size_t from = 0;
  while (found != kNoMatch) {
    builder.append(detail::unitsIn(all, from, found));
    builder.append(replacement);
    from += found + wanted.length;
    found = detail::findUnits(detail::unitsIn(all, from, all.length - from), wanted);
  }
  builder.append(detail::unitsIn(all, from, all.length - from));
  return builder.finish();
}

NSString NSString::stringByTrimmingCharactersInSet(const NSCharacterSet& set) const {
  if (isNil() || set.isNil()) return *this;
  return detail::withUnits(detail::unitsOf(*this), [&](auto* units, size_t length) {
    const size_t front = membersAtStart(units, length, set);
    const size_t back = front == length ? 0 : membersAtEnd(units, length, set);
    return StringFactory::part(*this, front, length - front - back);
  });
}

NSArray NSString::componentsSeparatedByString(const NSString& separator) const {
  if (isNil()) return nil;
  const Units all = detail::unitsOf(*this);
  const Units wanted = detail::unitsOf(separator);
  const NSMutableArray pieces = NSMutableArray::array();
  size_t from = 0;
  for (;;) {
    const size_t found = detail::findUnits(detail::unitsIn(all, from, all.length - from), wanted);
    if (found == kNoMatch) break;
    pieces.addObject(StringFactory::part(*this, from, found));
    from += found + wanted.length;
  }
  pieces.addObject(StringFactory::part(*this, from, all.length - from));
  return detail::Access::cast<NSArray>(pieces.copy());
}

NSArray NSString::componentsSeparatedByCharactersInSet(const NSCharacterSet& set) const {
  if (isNil()) return nil;
  const NSMutableArray pieces = NSMutableArray::array();
  detail::withUnits(detail::unitsOf(*this), [&](auto* units, size_t length) {
    size_t from = 0;
    for (;;) {
      const NSRange found = findMember(units, length, from, set);
      if (!found.isFound()) break;
      pieces.addObject(StringFactory::part(*this, from, found.location - from));
      from = found.end();
    }
    pieces.addObject(StringFactory::part(*this, from, length - from));
  });
  return detail::Access::cast<NSArray>(pieces.copy());
}
