#pragma once

#include <functional>
#include <initializer_list>
#include <ranges>
#include <span>

#include "Platform/Foundation/Values/Detail/Blocks.h"
#include "Platform/Foundation/Values/Detail/Iterators.h"
#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/Value.h"

class NSAttributedString;
class NSEnumerator;
class NSMutableArray;
class NSMutableAttributedString;
class NSMutableSet;
class NSNumber;
class NSPredicate;
class NSSet;

// An ordered list of values. Never holds nil; NSNull stands for an empty place.
//
// The handle of a list that this handle cannot change: arrays made here are immutable and safe on every
// thread; a mutable array seen through it may still change under its owner's hand. A copy of the handle is
// another reference. Nil counts 0 and iterates over nothing; NSArray() is nil, NSArray::array() is empty.
//
//   NSArray list{1, "two", 3.0};              // braces list the elements
//   for (const Value& v : list) std::cout << v << '\n';
//   NSString second = list[1].as<NSString>();
class ORV_EXPORT NSArray : public orv::Value {
 public:
  using iterator = orv::detail::ArrayIterator;
  using const_iterator = iterator;
  using value_type = orv::Value;
  // Negative, zero or positive, like NSComparisonResult.
  using Comparator = std::function<int(const orv::Value&, const orv::Value&)>;

  NSArray() = default;
  NSArray(orv::Nil) {}
  // Raises NSInvalidArgumentException for a nil element, as every way of storing one does.
  NSArray(std::initializer_list<orv::Value> items);

  static bool accepts(const orv::Value& v) noexcept { return v.kind() == orv::Kind::Array; }

  static NSArray array();
  static NSArray arrayWithObjects(std::span<const orv::Value> items);
  static NSArray arrayWithArray(const NSArray& other);
  // Everything a range of values, or of what converts to a value, holds.
  template <std::ranges::input_range R>
  requires std::convertible_to<std::ranges::range_reference_t<R>, orv::Value>
  static NSArray from(R&& range);

  NSUInteger count() const noexcept;
  // Raise NSRangeException past the end; nil answers nil.
  const orv::Value& objectAtIndex(NSUInteger index) const;
  const orv::Value& operator[](NSUInteger index) const { return objectAtIndex(index); }
  // Nil when there is none.
  orv::Value firstObject() const;
  orv::Value lastObject() const;

  bool containsObject(const orv::Value& object) const;
  // NSNotFound when there is none.
  NSUInteger indexOfObject(const orv::Value& object) const;
  NSUInteger indexOfObjectIdenticalTo(const orv::Value& object) const;
  bool isEqualToArray(const NSArray& other) const { return isEqual(other); }

  NSArray arrayByAddingObject(const orv::Value& object) const;
  NSArray arrayByAddingObjectsFromArray(const NSArray& other) const;
  // Raises NSRangeException past the end.
  NSArray subarrayWithRange(NSRange range) const;
  // Stable.
  NSArray sortedArrayUsingComparator(const Comparator& compare) const;
  // By the first descriptor (an NSSortDescriptor), what it leaves equal by the second, and so on. Stable.
  NSArray sortedArrayUsingDescriptors(const NSArray& descriptors) const;
  // The elements for which the predicate holds. A nil predicate holds for none.
  NSArray filteredArrayUsingPredicate(const orv::Ref<NSPredicate>& predicate) const;
  // The descriptions of the elements with the separator between them; a nil separator is "".
  NSString componentsJoinedByString(const NSString& separator) const;

  NSEnumerator objectEnumerator() const;
  NSEnumerator reverseObjectEnumerator() const;
  NSMutableArray mutableCopy() const;

  iterator begin() const noexcept;
  iterator end() const noexcept;
  NSUInteger size() const noexcept { return count(); }

  // NSArray(Orvane) - Orvane/Categories/NSArray+Orvane.cpp
  // Short forms of common work. A block is anything that can be called with an element; it is called at once,
  // in order, and compiled into the loop. A nil block (an empty std::function) finds nothing, keeps nothing and
  // orders nothing. Changing the array from inside of a block raises NSGenericException when the block returns.

  // The element, or nil past the end.
  orv::Value at(NSUInteger index) const;
  NSUInteger length() const noexcept { return count(); }
  NSString join(const NSString& separator) const { return componentsJoinedByString(separator); }
  // The styled texts one after the other with the separator between them. An element that is no styled text
  // counts with its description and no attributes.
  NSMutableAttributedString joinAttributedStrings(const NSAttributedString& separator) const;
  // Ascending by `compare`, stable. Where there is no order between kinds: null, numbers, texts, dates, all
  // else.
  NSArray sorted() const;
  // The elements from one index up to but not including another. Negative indices count from the end, 0 as the
  // end is the end; never raises: indices outside of the array are moved to its ends.
  NSArray sliceFrom(NSInteger from, NSInteger to) const;

  // What the block answers for each element, nil answers left out.
  template <orv::detail::BlockFor<const orv::Value&> F>
  NSArray zuMap(F&& block) const;
  // The elements for which the block answers true.
  template <orv::detail::BlockFor<const orv::Value&> F>
  NSArray zuFilter(F&& block) const;
  // The first element for which the block answers true, or nil; later ones are not asked.
  template <orv::detail::BlockFor<const orv::Value&> F>
  orv::Value zuAny(F&& block) const;
  // block(block(block(start, first), second), third) and so on; the start itself for no elements.
  template <orv::detail::BlockFor<const orv::Value&, const orv::Value&> F>
  orv::Value zuReduce(orv::Value start, F&& block) const;
  // Sorted by a block that tells whether its first argument comes before its second. Stable; a block that
  // contradicts itself gives some order of the same elements, never more or fewer.
  template <orv::detail::BlockFor<const orv::Value&, const orv::Value&> F>
  NSArray zuSorted(F&& isBefore) const;
  // Descending by the values at a key path. Kept: lists show the newest and the largest first. Stable.
  NSArray zuSortBy(const NSString& key) const;
  // What the block answers for each group of elements that have equal values at a key path, nil answers left
  // out; groups in the order of their first element. Elements without a value are in no group, unless null is a
  // value: then they are in its group.
  template <orv::detail::BlockFor<const NSArray&> F>
  NSArray zuGroupBy(const NSString& key, F&& block) const;

  NSSet set() const;
  NSMutableSet mutableSet() const;
  // A copy in which every array and dictionary is new and mutable. nil when anything in it is no property list
  // (null, URLs, sets, objects, keys that are no strings), or the nesting is deeper than 2,048.
  NSMutableArray deepMutableCopy() const;

  // In exact decimal arithmetic: a decimal number, 0 for no elements. Texts count as the number at their start,
  // everything else that is no number as 0; not-a-number gives not-a-number. Never raises.
  NSNumber sumValue() const;
  // The sum divided by the number of elements, to 38 digits.
  NSNumber averageValue() const;
  // The element itself; among equal ones the first. What is no number is passed over; nil when there is none.
  NSNumber minValue() const;
  NSNumber maxValue() const;
};

// An array that can change. Every handle of it sees the changes; changing it needs the caller's own lock when
// several threads share it. Changing it while iterating over it raises NSGenericException at the next step.
//
//   NSMutableArray list = NSMutableArray::array();
//   list.addObject("one");
//   NSArray frozen = list.copy().as<NSArray>();
class ORV_EXPORT NSMutableArray : public NSArray {
 public:
  NSMutableArray() = default;
  NSMutableArray(orv::Nil) {}
  NSMutableArray(std::initializer_list<orv::Value> items);

  static bool accepts(const orv::Value& v) noexcept;

  static NSMutableArray array();
  static NSMutableArray arrayWithCapacity(NSUInteger capacity);
  static NSMutableArray arrayWithArray(const NSArray& other);

  // Every operation does nothing on a nil handle, raises NSInvalidArgumentException for a nil element, and
  // NSRangeException for an index past the end. A container may be added to itself; only its owner can then
  // break the cycle.
  void addObject(const orv::Value& object) const;
  void addObjectsFromArray(const NSArray& other) const;
  void insertObjectAtIndex(const orv::Value& object, NSUInteger index) const;
  void replaceObjectAtIndex(NSUInteger index, const orv::Value& object) const;
  void exchangeObjectAtIndex(NSUInteger a, NSUInteger b) const;
  void removeObjectAtIndex(NSUInteger index) const;
  void removeLastObject() const;
  // All elements equal to the object.
  void removeObject(const orv::Value& object) const;
  void removeAllObjects() const;
  void setArray(const NSArray& other) const;
  void sortUsingComparator(const Comparator& compare) const;  // stable
  void sortUsingDescriptors(const NSArray& descriptors) const;
  void filterUsingPredicate(const orv::Ref<NSPredicate>& predicate) const;

  // NSMutableArray(Orvane) - Orvane/Categories/NSArray+Orvane.cpp

  // Removes and answers an element; a negative index counts from the end. nil outside of the array, which then
  // stays as it is.
  orv::Value pop(NSInteger index) const;
  orv::Value popFirst() const { return pop(0); }
  orv::Value popLast() const { return pop(-1); }
  // Appends the text of a format, see NSString::stringWithFormat.
  template <class... Args>
  void addFormat(const NSString& format, const Args&... args) const {
    if (!isNil()) addObjectIfNotNil(NSString::stringWithFormat(format, args...));
  }
  // Null is appended.
  void addObjectIfNotNil(const orv::Value& object) const;
};

template <std::ranges::input_range R>
requires std::convertible_to<std::ranges::range_reference_t<R>, orv::Value> NSArray NSArray::from(R&& range) {
  NSMutableArray result = NSMutableArray::array();
  for (auto&& item : range) result.addObject(orv::Value(item));
  return result.copy().template as<NSArray>();
}

inline NSArray::iterator NSArray::begin() const noexcept { return {orv::detail::arrayRep(*this), 0}; }
inline NSArray::iterator NSArray::end() const noexcept {
  const auto* rep = orv::detail::arrayRep(*this);
  return {rep, rep ? rep->count : 0};
}

namespace orv::detail {
// The elements in groups of equal values at a key path, an array of arrays; see NSArray::zuGroupBy. A nil path:
// none.
ORV_EXPORT NSArray groupsByKey(const NSArray& array, const NSString& path);
}  // namespace orv::detail

template <orv::detail::BlockFor<const orv::Value&> F>
NSArray NSArray::zuMap(F&& block) const {
  if (isNil()) return orv::nil;
  orv::detail::ArrayMaker result(orv::detail::isAbsent(block) ? 0 : count());
  orv::detail::walkArray(*this, block, [&](const orv::Value& element) {
    result.addUnlessNil(orv::detail::answerOf<orv::Value>(block, element));
    return true;
  });
  return orv::detail::Access::cast<NSArray>(result.finish());
}

template <orv::detail::BlockFor<const orv::Value&> F>
NSArray NSArray::zuFilter(F&& block) const {
  if (isNil()) return orv::nil;
  orv::detail::ArrayMaker result(0);
  orv::detail::walkArray(*this, block, [&](const orv::Value& element) {
    if (orv::detail::answerOf<bool>(block, element)) result.add(element);
    return true;
  });
  return orv::detail::Access::cast<NSArray>(result.finish());
}

template <orv::detail::BlockFor<const orv::Value&> F>
orv::Value NSArray::zuAny(F&& block) const {
  orv::Value found;
  orv::detail::walkArray(*this, block, [&](const orv::Value& element) {
    if (!orv::detail::answerOf<bool>(block, element)) return true;
    found = element;
    return false;
  });
  return found;
}

template <orv::detail::BlockFor<const orv::Value&, const orv::Value&> F>
orv::Value NSArray::zuReduce(orv::Value start, F&& block) const {
  if (isNil()) return orv::nil;
  orv::detail::walkArray(*this, block, [&](const orv::Value& element) {
    start = orv::detail::answerOf<orv::Value>(block, start, element);
    return true;
  });
  return start;
}

template <orv::detail::BlockFor<const orv::Value&, const orv::Value&> F>
NSArray NSArray::zuSorted(F&& isBefore) const {
  if (isNil()) return orv::nil;
  orv::detail::SortRoom room(*this);
  const auto mustSwap = [&](const orv::Value& a, const orv::Value& b) {
    return !orv::detail::answerOf<bool>(isBefore, a, b) && orv::detail::answerOf<bool>(isBefore, b, a);
  };
  if (!orv::detail::isAbsent(isBefore)) room.sort(mustSwap);
  return orv::detail::Access::cast<NSArray>(room.finish());
}

template <orv::detail::BlockFor<const NSArray&> F>
NSArray NSArray::zuGroupBy(const NSString& key, F&& block) const {
  if (isNil()) return orv::nil;
  const NSArray groups = orv::detail::groupsByKey(*this, orv::detail::isAbsent(block) ? NSString() : key);
  return groups.zuMap(
      [&](const orv::Value& group) { return orv::detail::answerOf<orv::Value>(block, group.as<NSArray>()); });
}
