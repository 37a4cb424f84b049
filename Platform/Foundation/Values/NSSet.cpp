#include "Platform/Foundation/Values/NSSet.h"

#include <algorithm>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSEnumerator.h"
#include "Platform/Foundation/Values/NSException.h"

using namespace orv;
using orv::detail::tableRep;
using orv::detail::TableRep;

namespace {

void requireMember(const Value& object) {
  if (object.isNil())
    NSException::raise(NSInvalidArgumentException, "*** -[NSMutableSet addObject:]: object cannot be nil");
}

// Counted sets hold the number of times beside each member.
void add(TableRep* rep, const Value& object) {
  requireMember(object);
  bool added = false;
  const size_t at = rep->findOrAdd(object, added);
  if (rep->kind != Kind::CountedSet) return;
  Value& times = rep->value(at);
  times = added ? Value(uint64_t{1}) : Value(detail::Access::bits(times) + 1);
}

void removeOnce(TableRep* rep, const Value& object) {
  const size_t at = rep->find(object);
  if (at == TableRep::kNone) return;
  if (rep->kind != Kind::CountedSet || detail::Access::bits(rep->value(at)) == 1) return rep->erase(at);
  rep->value(at) = Value(detail::Access::bits(rep->value(at)) - 1);
}

template <class Members>
Value setOf(Kind kind, const Members& members, size_t count, bool isMutable) {
  Value owner = detail::Access::adopt(TableRep::make(kind, count, isMutable));
  for (const Value& member : members) add(tableRep(owner), member);
  return owner;
}

bool holds(const NSSet& set, const Value& object) {
  return !set.isNil() && !object.isNil() && tableRep(set)->find(object) != TableRep::kNone;
}

}  // namespace

// ---- NSSet

NSSet::NSSet(std::initializer_list<Value> members) : Value(setOf(Kind::Set, members, members.size(), false)) {}

NSSet NSSet::set() { return setWithObjects({}); }
NSSet NSSet::setWithObjects(std::span<const Value> members) {
  return setOf(Kind::Set, members, members.size(), false).as<NSSet>();
}
NSSet NSSet::setWithArray(const NSArray& members) {
  return setOf(Kind::Set, members, members.count(), false).as<NSSet>();
}

NSUInteger NSSet::count() const noexcept {
  const TableRep* rep = tableRep(*this);
  return rep ? rep->count : 0;
}

bool NSSet::containsObject(const Value& object) const { return holds(*this, object); }

Value NSSet::member(const Value& object) const {
  if (isNil() || object.isNil()) return nil;
  const size_t at = tableRep(*this)->find(object);
  return at == TableRep::kNone ? Value() : tableRep(*this)->key(at);
}

Value NSSet::anyObject() const { return count() == 0 ? Value() : *begin(); }

NSArray NSSet::allObjects() const {
  if (isNil()) return nil;
  const NSMutableArray all = NSMutableArray::arrayWithCapacity(count());
  for (const Value& member : *this) all.addObject(member);
  return all.copy().as<NSArray>();
}

bool NSSet::isSubsetOfSet(const NSSet& other) const {
  return !isNil() && std::all_of(begin(), end(), [&](const Value& v) { return holds(other, v); });
}

bool NSSet::intersectsSet(const NSSet& other) const {
  return std::any_of(begin(), end(), [&](const Value& v) { return holds(other, v); });
}

NSSet NSSet::setByAddingObject(const Value& object) const {
  if (isNil()) return nil;
  const NSMutableSet all = NSMutableSet::setWithArray(allObjects());
  all.addObject(object);
  return all.copy().as<NSSet>();
}

NSSet NSSet::setByAddingObjectsFromSet(const NSSet& other) const {
  if (isNil()) return nil;
  const NSMutableSet all = NSMutableSet::setWithArray(allObjects());
  all.unionSet(other);
  return all.copy().as<NSSet>();
}

NSEnumerator NSSet::objectEnumerator() const {
  if (isNil()) return nil;
  return NSEnumerator::enumeratorWithBlock([set = *this, at = begin(), end = end()]() mutable -> Value {
    return at == end ? Value() : Value(*at++);
  });
}

NSMutableSet NSSet::mutableCopy() const { return Value::mutableCopy().as<NSMutableSet>(); }

// ---- NSMutableSet

NSMutableSet::NSMutableSet(std::initializer_list<Value> members) {
  Value made = setOf(Kind::Set, members, members.size(), true);
  swap(made);
}

bool NSMutableSet::accepts(const Value& v) noexcept {
  return NSSet::accepts(v) && tableRep(v)->has(detail::HeapObject::Mutable);
}

NSMutableSet NSMutableSet::set() { return setWithCapacity(0); }
NSMutableSet NSMutableSet::setWithCapacity(NSUInteger capacity) {
  return detail::Access::adopt(TableRep::make(Kind::Set, std::min(capacity, detail::kLargestAnnounced), true))
      .as<NSMutableSet>();
}
NSMutableSet NSMutableSet::setWithArray(const NSArray& members) {
  return setOf(Kind::Set, members, members.count(), true).as<NSMutableSet>();
}

void NSMutableSet::addObject(const Value& object) const {
  if (!isNil()) add(tableRep(*this), object);
}

void NSMutableSet::addObjectsFromArray(const NSArray& objects) const {
  for (const Value& object : objects) addObject(object);
}

void NSMutableSet::removeObject(const Value& object) const {
  if (!isNil() && !object.isNil()) removeOnce(tableRep(*this), object);
}

void NSMutableSet::removeAllObjects() const {
  if (!isNil()) tableRep(*this)->clear();
}

void NSMutableSet::unionSet(const NSSet& other) const {
  for (const Value& member : other.allObjects()) addObject(member);
}

void NSMutableSet::minusSet(const NSSet& other) const {
  for (const Value& member : other.allObjects()) removeObject(member);
}

void NSMutableSet::intersectSet(const NSSet& other) const {
  if (isNil()) return;
  for (const Value& member : allObjects())
    if (!holds(other, member)) tableRep(*this)->erase(tableRep(*this)->find(member));
}

// ---- NSCountedSet

NSCountedSet::NSCountedSet(std::initializer_list<Value> members) {
  Value made = setOf(Kind::CountedSet, members, members.size(), true);
  swap(made);
}

NSCountedSet NSCountedSet::set() {
  return detail::Access::adopt(TableRep::make(Kind::CountedSet, 0, true)).as<NSCountedSet>();
}
NSCountedSet NSCountedSet::setWithArray(const NSArray& members) {
  return setOf(Kind::CountedSet, members, members.count(), true).as<NSCountedSet>();
}

NSUInteger NSCountedSet::countForObject(const Value& object) const {
  if (isNil() || object.isNil()) return 0;
  const size_t at = tableRep(*this)->find(object);
  return at == TableRep::kNone ? 0 : detail::Access::bits(tableRep(*this)->value(at));
}
