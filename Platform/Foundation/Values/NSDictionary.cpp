#include "Platform/Foundation/Values/NSDictionary.h"

#include <algorithm>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSEnumerator.h"
#include "Platform/Foundation/Values/NSException.h"

using namespace orv;
using orv::detail::tableRep;
using orv::detail::TableRep;

namespace {

void requireEntry(const Value& object, const Value& key) {
  if (key.isNil())
    NSException::raise(NSInvalidArgumentException,
                       "*** -[NSMutableDictionary setObject:forKey:]: key cannot be nil");
  if (object.isNil())
    NSException::raise(
        NSInvalidArgumentException,
        NSString::stringWithFormat(
            "*** -[NSMutableDictionary setObject:forKey:]: object cannot be nil (key: %@)", key));
}

void store(TableRep* rep, const Value& object, const Value& key) {
  requireEntry(object, key);
  Value stored = object;  // the argument may lie in this very table
  bool added = false;
  const size_t at = rep->findOrAdd(key, added);
  rep->value(at).swap(stored);
}

Value empty(size_t capacity, bool isMutable) {
  return detail::Access::adopt(TableRep::make(Kind::Dictionary, capacity, isMutable));
}

Value dictionaryOf(std::initializer_list<NSDictionary::Entry> entries, bool isMutable) {
  Value owner = empty(entries.size(), isMutable);
  for (const auto& [key, value] : entries) store(tableRep(owner), value, key);
  return owner;
}

size_t find(const NSDictionary& dictionary, const Value& key) {
  return dictionary.isNil() || key.isNil() ? TableRep::kNone : tableRep(dictionary)->find(key);
}

}  // namespace

// ---- NSDictionary

NSDictionary::NSDictionary(std::initializer_list<Entry> entries) : Value(dictionaryOf(entries, false)) {}

NSDictionary NSDictionary::dictionary() { return empty(0, false).as<NSDictionary>(); }

NSDictionary NSDictionary::dictionaryWithObjectForKey(const Value& object, const Value& key) {
  return NSDictionary{{key, object}};
}

NSDictionary NSDictionary::dictionaryWithDictionary(const NSDictionary& other) {
  return other.isNil() ? dictionary() : other.copy().as<NSDictionary>();
}

NSDictionary NSDictionary::dictionaryWithObjectsForKeys(const NSArray& objects, const NSArray& keys) {
  if (objects.count() != keys.count())
    NSException::raise(NSInvalidArgumentException,
                       NSString::stringWithFormat("*** -[NSDictionary initWithObjects:forKeys:]: count of "
                                                  "objects (%lu) differs from count of keys (%lu)",
                                                  objects.count(), keys.count()));
  const Value owner = empty(keys.count(), false);
  for (NSUInteger i = 0; i < keys.count(); ++i) store(tableRep(owner), objects[i], keys[i]);
  return owner.as<NSDictionary>();
}

NSUInteger NSDictionary::count() const noexcept {
  const TableRep* rep = tableRep(*this);
  return rep ? rep->count : 0;
}

const Value& NSDictionary::objectForKey(const Value& key) const {
  static const Value none;
  const size_t at = find(*this, key);
  return at == TableRep::kNone ? none : static_cast<const TableRep*>(tableRep(*this))->value(at);
}

bool NSDictionary::containsKey(const Value& key) const { return find(*this, key) != TableRep::kNone; }

NSArray NSDictionary::allKeys() const {
  if (isNil()) return nil;
  const NSMutableArray keys = NSMutableArray::arrayWithCapacity(count());
  for (auto [key, value] : *this) keys.addObject(key);
  return keys.copy().as<NSArray>();
}

NSArray NSDictionary::allValues() const {
  if (isNil()) return nil;
  const NSMutableArray values = NSMutableArray::arrayWithCapacity(count());
  for (auto [key, value] : *this) values.addObject(value);
  return values.copy().as<NSArray>();
}

NSArray NSDictionary::allKeysForObject(const Value& object) const {
  if (isNil()) return nil;
  const NSMutableArray keys = NSMutableArray::array();
  for (auto [key, value] : *this)
    if (value.isEqual(object)) keys.addObject(key);
  return keys.copy().as<NSArray>();
}

NSEnumerator NSDictionary::keyEnumerator() const {
  if (isNil()) return nil;
  return NSEnumerator::enumeratorWithBlock([dictionary = *this, at = begin(), end = end()]() mutable -> Value {
    return at == end ? Value() : Value((*at++).first);
  });
}

NSEnumerator NSDictionary::objectEnumerator() const {
  if (isNil()) return nil;
  return NSEnumerator::enumeratorWithBlock([dictionary = *this, at = begin(), end = end()]() mutable -> Value {
    return at == end ? Value() : Value((*at++).second);
  });
}

NSMutableDictionary NSDictionary::mutableCopy() const { return Value::mutableCopy().as<NSMutableDictionary>(); }

// ---- NSMutableDictionary

NSMutableDictionary::NSMutableDictionary(std::initializer_list<Entry> entries) {
  Value made = dictionaryOf(entries, true);
  swap(made);
}

bool NSMutableDictionary::accepts(const Value& v) noexcept {
  return NSDictionary::accepts(v) && tableRep(v)->has(detail::HeapObject::Mutable);
}

NSMutableDictionary NSMutableDictionary::dictionary() { return dictionaryWithCapacity(0); }

NSMutableDictionary NSMutableDictionary::dictionaryWithCapacity(NSUInteger capacity) {
  return empty(std::min(capacity, detail::kLargestAnnounced), true).as<NSMutableDictionary>();
}

NSMutableDictionary NSMutableDictionary::dictionaryWithDictionary(const NSDictionary& other) {
  return other.isNil() ? dictionary() : other.mutableCopy();
}

void NSMutableDictionary::setObjectForKey(const Value& object, const Value& key) const {
  if (!isNil()) store(tableRep(*this), object, key);
}

void NSMutableDictionary::setValueForKey(const Value& value, const NSString& key) const {
  if (value.isNil()) return removeObjectForKey(key);
  setObjectForKey(value, key);
}

void NSMutableDictionary::addEntriesFromDictionary(const NSDictionary& other) const {
  if (other.isSame(*this)) return;
  for (auto [key, value] : other) setObjectForKey(value, key);
}

void NSMutableDictionary::removeObjectForKey(const Value& key) const {
  if (isNil()) return;
  if (key.isNil())
    NSException::raise(NSInvalidArgumentException,
                       "*** -[NSMutableDictionary removeObjectForKey:]: key cannot be nil");
  const size_t at = find(*this, key);
  if (at != TableRep::kNone) tableRep(*this)->erase(at);
}

void NSMutableDictionary::removeObjectsForKeys(const NSArray& keys) const {
  for (const Value& key : keys) removeObjectForKey(key);
}

void NSMutableDictionary::removeAllObjects() const {
  if (!isNil()) tableRep(*this)->clear();
}

void NSMutableDictionary::setDictionary(const NSDictionary& other) const {
  if (other.isSame(*this)) return;
  removeAllObjects();
  addEntriesFromDictionary(other);
}
