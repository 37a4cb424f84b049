#include "Platform/Foundation/Values/NSArray.h"

#include <algorithm>

#include "Orvane/Detail/PropertyListCopy.h"
#include "Platform/Foundation/Text/NSAttributedString.h"
#include "Platform/Foundation/Values/Detail/Aggregates.h"
#include "Platform/Foundation/Values/NSDecimalNumber.h"
#include "Platform/Foundation/Values/NSSet.h"
#include "Platform/Foundation/Values/NSSortDescriptor.h"

using namespace orv;

namespace {

std::span<const Value> itemsOf(const NSArray& array) {
  const detail::ArrayRep* rep = detail::arrayRep(array);
  return rep ? std::span<const Value>(rep->items, rep->count) : std::span<const Value>();
}

NSArray sortedByKey(const NSArray& array, const NSString& key, bool ascending) {
  return array.sortedArrayUsingDescriptors({NSSortDescriptor::sortDescriptorWithKey(key, ascending)});
}

void appendStyled(const NSMutableAttributedString& text, const Value& piece) {
  if (const auto styled = piece.as<NSAttributedString>()) return text.appendAttributedString(styled);
  text.appendAttributedString(NSAttributedString::attributedStringWithString(piece.description()));
}

NSInteger fromTheEnd(NSInteger index, NSInteger count) { return index < 0 ? index + count : index; }

}  // namespace

// ---- NSArray

Value NSArray::at(NSUInteger index) const { return index < count() ? objectAtIndex(index) : Value(); }

NSMutableAttributedString NSArray::joinAttributedStrings(const NSAttributedString& separator) const {
  if (isNil()) return nil;
  const NSMutableAttributedString result = NSMutableAttributedString::attributedString();
  bool first = true;
  for (const Value& piece : itemsOf(copy().as<NSArray>())) {
    if (!first) result.appendAttributedString(separator);
    first = false;
    appendStyled(result, piece);
  }
  return result;
}

NSArray NSArray::sorted() const { return sortedByKey(*this, nil, true); }

NSArray NSArray::sliceFrom(NSInteger from, NSInteger to) const {
  if (isNil()) return nil;
  const auto n = static_cast<NSInteger>(count());
  const NSInteger first = fromTheEnd(from, n);
  const NSInteger last = to == 0 ? n : fromTheEnd(to, n);
  if (n == 0 || last <= first || first >= n) return array();
  const NSInteger start = std::max<NSInteger>(first, 0);
  if (last <= start) return array();
  return subarrayWithRange(
      {static_cast<NSUInteger>(start), static_cast<NSUInteger>(std::min(n, last) - start)});
}

NSArray NSArray::zuSortBy(const NSString& key) const {
  return isNil() ? NSArray() : key.isNil() ? copy().as<NSArray>() : sortedByKey(*this, key, false);
}

NSSet NSArray::set() const { return isNil() ? NSSet() : NSSet::setWithArray(*this); }
NSMutableSet NSArray::mutableSet() const {
  return isNil() ? NSMutableSet() : NSMutableSet::setWithArray(*this);
}

NSMutableArray NSArray::deepMutableCopy() const { return detail::propertyListCopy(*this).as<NSMutableArray>(); }

NSNumber NSArray::sumValue() const {
  return isNil() ? NSNumber() : NSDecimalNumber(detail::sumOf(itemsOf(*this)));
}

NSNumber NSArray::averageValue() const {
  return isNil() ? NSNumber() : NSDecimalNumber(detail::averageOf(itemsOf(*this)));
}

NSNumber NSArray::minValue() const { return detail::smallestNumberOf(itemsOf(*this)).as<NSNumber>(); }
NSNumber NSArray::maxValue() const { return detail::largestNumberOf(itemsOf(*this)).as<NSNumber>(); }

// ---- NSMutableArray

Value NSMutableArray::pop(NSInteger index) const {
  const auto n = static_cast<NSInteger>(count());
  const NSInteger at = fromTheEnd(index, n);
  if (at < 0 || at >= n) return nil;
  Value removed = objectAtIndex(static_cast<NSUInteger>(at));
  removeObjectAtIndex(static_cast<NSUInteger>(at));
  return removed;
}

void NSMutableArray::addObjectIfNotNil(const Value& object) const {
  if (!object.isNil()) addObject(object);
}
