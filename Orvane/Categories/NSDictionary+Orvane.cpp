#include "Platform/Foundation/Values/NSDictionary.h"

#include <algorithm>
#include <vector>

#include "Orvane/Detail/PropertyListCopy.h"
#include "Platform/Foundation/Values/Class.h"

using namespace orv;

namespace {

// Leaves nulls out of a dictionary and the dictionaries in it.
class NullStripper {
 public:
  NSMutableDictionary strip(const NSDictionary& dictionary) {
    outer_.push_back(&dictionary);
    const NSMutableDictionary result = NSMutableDictionary::dictionaryWithCapacity(dictionary.count());
    for (auto [key, value] : dictionary)
      if (!value.isNull()) result.setObjectForKey(stripped(value), key);
    outer_.pop_back();
    return result;
  }

 private:
  Value stripped(const Value& value) {
    const auto inner = value.as<NSDictionary>();
    return inner && !isTooMuch(inner) ? strip(inner) : value;
  }

  bool isTooMuch(const NSDictionary& inner) const {
    return outer_.size() >= detail::kDeepestPropertyList ||
           std::ranges::any_of(outer_, [&](const NSDictionary* outer) { return outer->isSame(inner); });
  }

  std::vector<const NSDictionary*> outer_;
};

}  // namespace

// ---- NSDictionary

NSMutableDictionary NSDictionary::deepMutableCopy() const {
  return detail::propertyListCopy(*this).as<NSMutableDictionary>();
}

NSMutableDictionary NSDictionary::mergeDict(const NSDictionary& other) const {
  const NSMutableDictionary merged = mutableCopy();
  if (other.isTrue()) merged.addEntriesFromDictionary(other);
  return merged;
}

NSMutableDictionary NSDictionary::dictionaryByAddingEntriesFromDictionary(const NSDictionary& other) const {
  return mergeDict(other);
}

void NSDictionary::mapValuesToObject(const Value& object) const {
  const auto target = object.as<NSObject>();
  const Class* objectClass = target ? target->objectClass() : nullptr;
  if (!objectClass || !objectClass->isClassOf(*target)) return;
  const auto properties = objectClass->properties();
  for (auto property = properties.rbegin(); property != properties.rend(); ++property)
    if (property->set && containsKey(property->name))
      target->setValueForKey(Value(objectForKey(property->name)), property->name);
}

NSMutableDictionary NSDictionary::copyWithNullsStripped() const {
  return isNil() ? NSMutableDictionary() : NullStripper().strip(*this);
}

// ---- NSMutableDictionary

NSInteger NSMutableDictionary::incrementCounterForKey(const Value& key) const {
  if (isNil() || key.isNil()) return 0;
  const auto sum = static_cast<NSInteger>(static_cast<NSUInteger>(objectForKey(key).toInt()) + 1);
  setObjectForKey(sum, key);
  return sum;
}
