#pragma once

#include <initializer_list>
#include <utility>

#include "Platform/Foundation/Values/Detail/Blocks.h"
#include "Platform/Foundation/Values/Detail/Iterators.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/Value.h"

class NSEnumerator;
class NSMutableDictionary;

// Values under keys. Keys are compared by value (1, 1.0 and true are one key) and copied when stored;
// enumeration follows the order in which they were added, in every run.
//
// Dictionaries made here are immutable and safe on every thread; a mutable one seen through this handle may
// change under its owner's hand. A copy of the handle is another reference. NSDictionary() is nil,
// NSDictionary::dictionary() is empty.
//
//   NSDictionary person{{"name", "Ada"}, {"born", 1815}};
//   for (auto [key, value] : person) std::cout << key << ": " << value << '\n';
//   NSString name = person["name"].as<NSString>();
class ORV_EXPORT NSDictionary : public orv::Value {
 public:
  using Entry = std::pair<orv::Value, orv::Value>;
  using iterator = orv::detail::TableIterator<orv::detail::EntryElement>;
  using const_iterator = iterator;
  using value_type = Entry;

  NSDictionary() = default;
  NSDictionary(orv::Nil) {}
  // A repeated key takes the last value. Raises NSInvalidArgumentException for a nil key or value, as every
  // way of storing one does.
  NSDictionary(std::initializer_list<Entry> entries);

  static bool accepts(const orv::Value& v) noexcept { return v.kind() == orv::Kind::Dictionary; }

  static NSDictionary dictionary();
  static NSDictionary dictionaryWithObjectForKey(const orv::Value& object, const orv::Value& key);
  static NSDictionary dictionaryWithDictionary(const NSDictionary& other);
  // Raises NSInvalidArgumentException when the numbers of keys and objects differ.
  static NSDictionary dictionaryWithObjectsForKeys(const NSArray& objects, const NSArray& keys);

  NSUInteger count() const noexcept;
  // The value under a key, or nil. Valid until the dictionary changes.
  const orv::Value& objectForKey(const orv::Value& key) const;
  const orv::Value& operator[](const orv::Value& key) const { return objectForKey(key); }
  bool containsKey(const orv::Value& key) const;

  NSArray allKeys() const;
  NSArray allValues() const;
  NSArray allKeysForObject(const orv::Value& object) const;
  bool isEqualToDictionary(const NSDictionary& other) const { return isEqual(other); }

  NSEnumerator keyEnumerator() const;
  NSEnumerator objectEnumerator() const;
  NSMutableDictionary mutableCopy() const;

  iterator begin() const noexcept { return {orv::detail::tableRep(*this), 0}; }
  iterator end() const noexcept {
    const auto* rep = orv::detail::tableRep(*this);
    return {rep, rep ? rep->used : 0};
  }
  NSUInteger size() const noexcept { return count(); }

  // NSDictionary(Orvane) - Orvane/Categories/NSDictionary+Orvane.cpp

  // See NSArray::deepMutableCopy.
  NSMutableDictionary deepMutableCopy() const;
  // A mutable copy with the other dictionary's entries put over its own; nil and empty ones add nothing.
  NSMutableDictionary mergeDict(const NSDictionary& other) const;
  NSMutableDictionary dictionaryByAddingEntriesFromDictionary(const NSDictionary& other) const;
  // Sets the properties that the object's own class declares (not its bases) and that have an entry here, the
  // last declared first. Read-only properties and values that are no such object are left alone.
  void mapValuesToObject(const orv::Value& object) const;
  // What the block answers for each key and value, nil answers left out. Changing the dictionary's keys from
  // inside of the block raises NSGenericException when it returns; a nil block gives no elements.
  template <orv::detail::BlockFor<const orv::Value&, const orv::Value&> F>
  NSArray zuFlatten(F&& block) const;
  // A mutable dictionary without the entries whose value is null; dictionaries in it likewise. Nulls in arrays
  // stay, as does a dictionary that contains itself or lies deeper than 2,048.
  NSMutableDictionary copyWithNullsStripped() const;
};

// A dictionary that can change; every handle of it sees the changes. The operations do nothing on a nil
// handle. Adding or removing keys while iterating over it raises NSGenericException at the next step.
//
//   NSMutableDictionary ages = NSMutableDictionary::dictionary();
//   ages.setObjectForKey(36, "Ada");
class ORV_EXPORT NSMutableDictionary : public NSDictionary {
 public:
  NSMutableDictionary() = default;
  NSMutableDictionary(orv::Nil) {}
  NSMutableDictionary(std::initializer_list<Entry> entries);

  static bool accepts(const orv::Value& v) noexcept;

  static NSMutableDictionary dictionary();
  static NSMutableDictionary dictionaryWithCapacity(NSUInteger capacity);
  static NSMutableDictionary dictionaryWithDictionary(const NSDictionary& other);

  // Raises NSInvalidArgumentException for a nil key or value.
  void setObjectForKey(const orv::Value& object, const orv::Value& key) const;
  // A nil value removes the key.
  void setValueForKey(const orv::Value& value, const NSString& key) const;
  // A nil dictionary adds nothing.
  void addEntriesFromDictionary(const NSDictionary& other) const;
  // An absent key changes nothing; a nil key raises NSInvalidArgumentException.
  void removeObjectForKey(const orv::Value& key) const;
  void removeObjectsForKeys(const NSArray& keys) const;
  void removeAllObjects() const;
  void setDictionary(const NSDictionary& other) const;

  // NSMutableDictionary(Orvane) - Orvane/Categories/NSDictionary+Orvane.cpp

  // Adds 1 to the whole number under a key (see Value::toInt; an absent one is 0), stores and answers the sum,
  // which wraps around. 0 for a nil key or dictionary.
  NSInteger incrementCounterForKey(const orv::Value& key) const;
};

template <orv::detail::BlockFor<const orv::Value&, const orv::Value&> F>
NSArray NSDictionary::zuFlatten(F&& block) const {
  if (isNil()) return orv::nil;
  orv::detail::ArrayMaker result(orv::detail::isAbsent(block) ? 0 : count());
  orv::detail::walkTable(*this, block, [&](const orv::Value& key, const orv::Value& value) {
    result.addUnlessNil(orv::detail::answerOf<orv::Value>(block, key, value));
    return true;
  });
  return orv::detail::Access::cast<NSArray>(result.finish());
}
