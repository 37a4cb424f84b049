#pragma once

#include <initializer_list>
#include <span>

#include "Platform/Foundation/Values/Detail/Blocks.h"
#include "Platform/Foundation/Values/Detail/Iterators.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/Value.h"

class NSEnumerator;
class NSMutableSet;

// A collection of distinct values. Enumeration follows the order in which they were added, in every run.
//
// Sets made here are immutable and safe on every thread; a mutable set seen through this handle may change
// under its owner's hand. A copy of the handle is another reference. NSSet() is nil, NSSet::set() is empty.
//
//   NSSet colours{"red", "green", "red"};     // two members
//   if (colours.containsObject("green")) ...
class ORV_EXPORT NSSet : public orv::Value {
 public:
  using iterator = orv::detail::TableIterator<orv::detail::MemberElement>;
  using const_iterator = iterator;
  using value_type = orv::Value;

  NSSet() = default;
  NSSet(orv::Nil) {}
  // Raises NSInvalidArgumentException for nil, as every way of storing it does.
  NSSet(std::initializer_list<orv::Value> members);

  static bool accepts(const orv::Value& v) noexcept {
    return v.kind() == orv::Kind::Set || v.kind() == orv::Kind::CountedSet;
  }

  static NSSet set();
  static NSSet setWithObjects(std::span<const orv::Value> members);
  static NSSet setWithArray(const NSArray& members);

  NSUInteger count() const noexcept;
  bool containsObject(const orv::Value& object) const;
  // The member equal to the object, or nil.
  orv::Value member(const orv::Value& object) const;
  orv::Value anyObject() const;  // the first one
  NSArray allObjects() const;

  bool isEqualToSet(const NSSet& other) const { return isEqual(other); }
  bool isSubsetOfSet(const NSSet& other) const;
  bool intersectsSet(const NSSet& other) const;
  NSSet setByAddingObject(const orv::Value& object) const;
  NSSet setByAddingObjectsFromSet(const NSSet& other) const;

  NSEnumerator objectEnumerator() const;
  NSMutableSet mutableCopy() const;

  iterator begin() const noexcept { return {orv::detail::tableRep(*this), 0}; }
  iterator end() const noexcept {
    const auto* rep = orv::detail::tableRep(*this);
    return {rep, rep ? rep->used : 0};
  }
  NSUInteger size() const noexcept { return count(); }

  // NSSet(Orvane) - Orvane/Categories/NSSet+Orvane.cpp
  // As the operations of arrays with these names.
  template <orv::detail::BlockFor<const orv::Value&> F>
  NSMutableSet zuMap(F&& block) const;
  template <orv::detail::BlockFor<const orv::Value&> F>
  NSMutableSet zuFilter(F&& block) const;
  template <orv::detail::BlockFor<const orv::Value&> F>
  orv::Value zuAny(F&& block) const;
  template <orv::detail::BlockFor<const orv::Value&, const orv::Value&> F>
  NSArray zuSorted(F&& isBefore) const {
    return allObjects().zuSorted(std::forward<F>(isBefore));
  }
};

// A set that can change; every handle of it sees the changes. The operations do nothing on a nil handle and
// raise NSInvalidArgumentException for a nil member. Changing it while iterating over it raises
// NSGenericException at the next step.
//
//   NSMutableSet seen = NSMutableSet::set();
//   seen.addObject(url);
class ORV_EXPORT NSMutableSet : public NSSet {
 public:
  NSMutableSet() = default;
  NSMutableSet(orv::Nil) {}
  NSMutableSet(std::initializer_list<orv::Value> members);

  static bool accepts(const orv::Value& v) noexcept;

  static NSMutableSet set();
  static NSMutableSet setWithCapacity(NSUInteger capacity);
  static NSMutableSet setWithArray(const NSArray& members);

  void addObject(const orv::Value& object) const;
  void addObjectsFromArray(const NSArray& objects) const;
  void removeObject(const orv::Value& object) const;
  void removeAllObjects() const;
  void unionSet(const NSSet& other) const;
  void minusSet(const NSSet& other) const;
  void intersectSet(const NSSet& other) const;
};

// A mutable set that counts how often each member was added. `count` and enumeration see each distinct
// member once; a member leaves when it was removed as often as it was added.
//
//   NSCountedSet words = NSCountedSet::set();
//   words.addObject("to");  words.addObject("to");
//   words.countForObject("to");               // 2
class ORV_EXPORT NSCountedSet : public NSMutableSet {
 public:
  NSCountedSet() = default;
  NSCountedSet(orv::Nil) {}
  NSCountedSet(std::initializer_list<orv::Value> members);

  static bool accepts(const orv::Value& v) noexcept { return v.kind() == orv::Kind::CountedSet; }

  static NSCountedSet set();
  static NSCountedSet setWithArray(const NSArray& members);

  NSUInteger countForObject(const orv::Value& object) const;

  // NSCountedSet(Orvane) - Orvane/Categories/NSSet+Orvane.cpp

  // The distinct members by how often they were added; equally frequent ones in the order of the set.
  NSArray sortedArrayByCountAscending(bool ascending) const;
};

template <orv::detail::BlockFor<const orv::Value&> F>
NSMutableSet NSSet::zuMap(F&& block) const {
  if (isNil()) return orv::nil;
  const NSMutableSet result = NSMutableSet::set();
  orv::detail::walkTable(*this, block, [&](const orv::Value& member, const orv::Value&) {
    if (const auto mapped = orv::detail::answerOf<orv::Value>(block, member)) result.addObject(mapped);
    return true;
  });
  return result;
}

template <orv::detail::BlockFor<const orv::Value&> F>
NSMutableSet NSSet::zuFilter(F&& block) const {
  if (isNil()) return orv::nil;
  const NSMutableSet result = NSMutableSet::set();
  orv::detail::walkTable(*this, block, [&](const orv::Value& member, const orv::Value&) {
    if (orv::detail::answerOf<bool>(block, member)) result.addObject(member);
    return true;
  });
  return result;
}

template <orv::detail::BlockFor<const orv::Value&> F>
orv::Value NSSet::zuAny(F&& block) const {
  orv::Value found;
  orv::detail::walkTable(*this, block, [&](const orv::Value& member, const orv::Value&) {
    if (!orv::detail::answerOf<bool>(block, member)) return true;
    found = member;
    return false;
  });
  return found;
}
