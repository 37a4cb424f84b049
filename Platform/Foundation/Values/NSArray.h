#pragma once

#include <functional>
#include <initializer_list>
#include <ranges>
#include <span>

#include "Platform/Foundation/Values/Detail/Iterators.h"
#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/Value.h"

class NSEnumerator;
class NSMutableArray;

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
  // The descriptions of the elements with the separator between them; a nil separator is "".
  NSString componentsJoinedByString(const NSString& separator) const;

  NSEnumerator objectEnumerator() const;
  NSEnumerator reverseObjectEnumerator() const;
  NSMutableArray mutableCopy() const;

  iterator begin() const noexcept;
  iterator end() const noexcept;
  NSUInteger size() const noexcept { return count(); }
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
  // break the cycle, and comparing it with another such container does not end.
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
