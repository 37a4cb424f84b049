#include "Platform/Foundation/Values/NSArray.h"

#include <algorithm>
#include <vector>

#include "Platform/Foundation/Text/StringBuilder.h"
#include "Platform/Foundation/Values/NSEnumerator.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSPredicate.h"
#include "Platform/Foundation/Values/NSSortDescriptor.h"

using namespace orv;
using orv::detail::arrayRep;
using orv::detail::ArrayRep;

namespace {

void requireObject(const Value& object, const char* operation) {
  if (!object.isNil()) return;
  NSException::raise(NSInvalidArgumentException,
                     NSString::stringWithFormat("*** -[NSMutableArray %s]: object cannot be nil", operation));
}

[[noreturn]] void raiseRange(const char* operation, NSUInteger index, NSUInteger count) {
  NSException::raise(NSRangeException,
                     NSString::stringWithFormat("*** -[NSArray %s]: index %lu beyond bounds (count %lu)",
                                                operation, index, count));
}

Value arrayOf(std::span<const Value> items, bool isMutable) {
  for (const Value& item : items) requireObject(item, "arrayWithObjects:");
  ArrayRep* rep = ArrayRep::make(items.size(), isMutable);
  for (const Value& item : items) rep->append(item);
  return detail::Access::adopt(rep);
}

std::span<const Value> itemsOf(const NSArray& array) {
  const ArrayRep* rep = arrayRep(array);
  return rep ? std::span<const Value>(rep->items, rep->count) : std::span<const Value>();
}

Value arrayByJoining(std::span<const Value> head, std::span<const Value> tail) {
  ArrayRep* rep = ArrayRep::make(head.size() + tail.size(), false);
  for (const Value& item : head) rep->append(item);
  for (const Value& item : tail) rep->append(item);
  return detail::Access::adopt(rep);
}

// The comparator may raise, contradict itself or look at the array.
NSArray sortedWith(const NSArray& array, const NSArray::Comparator& compare) {
  if (!compare) return array.copy().as<NSArray>();
  detail::SortRoom room(array);
  room.sort([&](const Value& a, const Value& b) { return compare(a, b) > 0; });
  return detail::Access::cast<NSArray>(room.finish());
}

}  // namespace

// ---- NSArray

NSArray::NSArray(std::initializer_list<Value> items) : Value(arrayOf(items, false)) {}

NSArray NSArray::array() { return arrayOf({}, false).as<NSArray>(); }
NSArray NSArray::arrayWithObjects(std::span<const Value> items) { return arrayOf(items, false).as<NSArray>(); }
NSArray NSArray::arrayWithArray(const NSArray& other) {
  return other.isNil() ? array() : other.copy().as<NSArray>();
}

NSUInteger NSArray::count() const noexcept {
  const ArrayRep* rep = arrayRep(*this);
  return rep ? rep->count : 0;
}

const Value& NSArray::objectAtIndex(NSUInteger index) const {
  static const Value none;
  const ArrayRep* rep = arrayRep(*this);
  if (!rep) return none;
  if (index >= rep->count) raiseRange("objectAtIndex:", index, rep->count);
  return rep->items[index];
}

Value NSArray::firstObject() const { return count() == 0 ? Value() : objectAtIndex(0); }
Value NSArray::lastObject() const { return count() == 0 ? Value() : objectAtIndex(count() - 1); }

bool NSArray::containsObject(const Value& object) const { return indexOfObject(object) != NSNotFound; }

NSUInteger NSArray::indexOfObject(const Value& object) const {
  const auto items = itemsOf(*this);
  const auto found =
      std::find_if(items.begin(), items.end(), [&](const Value& v) { return v.isEqual(object); });
  return found == items.end() ? NSNotFound : static_cast<NSUInteger>(found - items.begin());
}

NSUInteger NSArray::indexOfObjectIdenticalTo(const Value& object) const {
  const auto items = itemsOf(*this);
  const auto found = std::find_if(items.begin(), items.end(), [&](const Value& v) { return v.isSame(object); });
  return found == items.end() ? NSNotFound : static_cast<NSUInteger>(found - items.begin());
}

NSArray NSArray::arrayByAddingObject(const Value& object) const {
  if (isNil()) return nil;
  requireObject(object, "arrayByAddingObject:");
  return arrayByJoining(itemsOf(*this), {&object, 1}).as<NSArray>();
}

NSArray NSArray::arrayByAddingObjectsFromArray(const NSArray& other) const {
  return isNil() ? NSArray() : arrayByJoining(itemsOf(*this), itemsOf(other)).as<NSArray>();
}

NSArray NSArray::subarrayWithRange(NSRange range) const {
  if (isNil()) return nil;
  if (range.location > count() || range.length > count() - range.location)
    raiseRange("subarrayWithRange:", range.end(), count());
  return arrayWithObjects(itemsOf(*this).subspan(range.location, range.length));
}

NSArray NSArray::sortedArrayUsingComparator(const Comparator& compare) const {
  return isNil() ? NSArray() : sortedWith(*this, compare);
}

NSArray NSArray::sortedArrayUsingDescriptors(const NSArray& descriptors) const {
  return isNil() ? NSArray() : detail::sortedByDescriptors(*this, descriptors);
}

NSArray NSArray::filteredArrayUsingPredicate(const Ref<NSPredicate>& predicate) const {
  return zuFilter([&](const Value& v) { return predicate && predicate->evaluateWithObject(v); });
}

NSString NSArray::componentsJoinedByString(const NSString& separator) const {
  if (isNil()) return nil;
  detail::StringBuilder out;
  bool first = true;
  for (const Value& item : itemsOf(*this)) {
    if (!first) out.append(separator);
    first = false;
    out.append(item.description());
  }
  return out.finish();
}

NSEnumerator NSArray::objectEnumerator() const {
  if (isNil()) return nil;
  return NSEnumerator::enumeratorWithBlock(
      [array = *this, at = begin(), end = end()]() mutable -> Value { return at == end ? Value() : *at++; });
}

NSEnumerator NSArray::reverseObjectEnumerator() const {
  if (isNil()) return nil;
  return NSEnumerator::enumeratorWithBlock([array = *this, begin = begin(), at = end()]() mutable -> Value {
    return at == begin ? Value() : *--at;
  });
}

NSMutableArray NSArray::mutableCopy() const { return Value::mutableCopy().as<NSMutableArray>(); }

// ---- NSMutableArray

NSMutableArray::NSMutableArray(std::initializer_list<Value> items) {
  Value made = arrayOf(items, true);
  swap(made);
}

bool NSMutableArray::accepts(const Value& v) noexcept {
  return v.kind() == Kind::Array && arrayRep(v)->has(detail::HeapObject::Mutable);
}

NSMutableArray NSMutableArray::array() { return arrayOf({}, true).as<NSMutableArray>(); }

NSMutableArray NSMutableArray::arrayWithCapacity(NSUInteger capacity) {
  return detail::Access::adopt(ArrayRep::make(std::min(capacity, detail::kLargestAnnounced), true))
      .as<NSMutableArray>();
}

NSMutableArray NSMutableArray::arrayWithArray(const NSArray& other) {
  return other.isNil() ? array() : other.mutableCopy();
}

void NSMutableArray::addObject(const Value& object) const {
  if (isNil()) return;
  requireObject(object, "addObject:");
  arrayRep(*this)->append(object);
}

void NSMutableArray::addObjectsFromArray(const NSArray& other) const {
  if (isNil()) return;
  const NSArray source = other.isSame(*this) ? other.copy().as<NSArray>() : other;
  detail::ArrayRep* rep = arrayRep(*this);
  const size_t wanted = rep->count + source.count();
  if (wanted > rep->capacity) rep->reserve(std::max<size_t>(wanted, rep->capacity * 2));
  for (const Value& item : itemsOf(source)) arrayRep(*this)->append(item);
}

void NSMutableArray::insertObjectAtIndex(const Value& object, NSUInteger index) const {
  if (isNil()) return;
  requireObject(object, "insertObject:atIndex:");
  if (index > count()) raiseRange("insertObject:atIndex:", index, count());
  Value stored = object;  // the argument may lie in this very array
  arrayRep(*this)->openGap(index).swap(stored);
}

void NSMutableArray::replaceObjectAtIndex(NSUInteger index, const Value& object) const {
  if (isNil()) return;
  requireObject(object, "replaceObjectAtIndex:withObject:");
  if (index >= count()) raiseRange("replaceObjectAtIndex:withObject:", index, count());
  Value stored = object;
  arrayRep(*this)->items[index].swap(stored);
}

void NSMutableArray::exchangeObjectAtIndex(NSUInteger a, NSUInteger b) const {
  if (isNil()) return;
  if (std::max(a, b) >= count())
    raiseRange("exchangeObjectAtIndex:withObjectAtIndex:", std::max(a, b), count());
  arrayRep(*this)->items[a].swap(arrayRep(*this)->items[b]);
}

void NSMutableArray::removeObjectAtIndex(NSUInteger index) const {
  if (isNil()) return;
  if (index >= count()) raiseRange("removeObjectAtIndex:", index, count());
  arrayRep(*this)->erase(index);
}

void NSMutableArray::removeLastObject() const {
  if (isNil()) return;
  if (count() == 0) raiseRange("removeLastObject", 0, 0);
  arrayRep(*this)->erase(count() - 1);
}

void NSMutableArray::removeObject(const Value& object) const {
  if (isNil()) return;
  const Value wanted = object;  // the argument may lie in this very array
  for (NSUInteger i = count(); i-- > 0;)
    if (objectAtIndex(i).isEqual(wanted)) arrayRep(*this)->erase(i);
}

void NSMutableArray::removeAllObjects() const {
  if (!isNil()) arrayRep(*this)->clear();
}

void NSMutableArray::setArray(const NSArray& other) const {
  if (isNil()) return;
  const NSArray source = other.isSame(*this) ? other.copy().as<NSArray>() : other;
  arrayRep(*this)->clear();
  addObjectsFromArray(source);
}

void NSMutableArray::sortUsingComparator(const Comparator& compare) const {
  if (isNil()) return;
  setArray(sortedWith(*this, compare));
}

void NSMutableArray::sortUsingDescriptors(const NSArray& descriptors) const {
  if (!isNil()) setArray(sortedArrayUsingDescriptors(descriptors));
}

void NSMutableArray::filterUsingPredicate(const Ref<NSPredicate>& predicate) const {
  if (!isNil()) setArray(filteredArrayUsingPredicate(predicate));
}
