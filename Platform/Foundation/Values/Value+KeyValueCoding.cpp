#include <functional>
#include <vector>

#include "Platform/Foundation/Values/Detail/Aggregates.h"
#include "Platform/Foundation/Values/Detail/ContainerRep.h"
#include "Platform/Foundation/Values/Detail/KeyPath.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSDecimalNumber.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSNull.h"
#include "Platform/Foundation/Values/NSSet.h"
#include "Platform/Foundation/Values/Value.h"

namespace orv {
namespace {

using detail::arrayRep;
using detail::ArrayRep;
using detail::tableRep;
using detail::TableRep;

NSObject* objectOf(const Value& v) {
  return v.kind() == Kind::Object ? static_cast<NSObject*>(detail::Access::heap(v)) : nullptr;
}

bool isList(const Value& v) { return v.kind() >= Kind::Array && v.kind() <= Kind::CountedSet; }

[[noreturn]] void raiseUndefinedKey(const Value& v, const char* operation, const NSString& key) {
  NSException::raise(NSUndefinedKeyException,
                     NSString::stringWithFormat(
                         "[<%@ %p> %s]: this class is not key value coding-compliant for the key %@.",
                         v.className(), static_cast<const void*>(detail::Access::heap(v)), operation, key));
}

[[noreturn]] void raiseUnknownOperator(const Value& v, const NSString& name) {
  NSException::raise(
      NSInvalidArgumentException,
      NSString::stringWithFormat("[<%@ %p> valueForKeyPath:]: this class does not implement the %@ operation.",
                                 v.className(), static_cast<const void*>(detail::Access::heap(v)), name));
}

// ---- One key

// A key that begins with "@" is a question to the container, not to what it holds. nil for one it has no answer
// to.
Value askContainer(const Value& container, const NSString& key) {
  if (key == "@count") return container.count();
  if (key == "@self") return container;
  const auto dictionary = container.as<NSDictionary>();
  if (dictionary && key == "@allKeys") return dictionary.allKeys();
  if (dictionary && key == "@allValues") return dictionary.allValues();
  return nil;
}

Value valueOrNull(Value v) { return v.isNil() ? Value(NSNull::null()) : v; }

Value valuesForKey(const Value& list, const NSString& key) {
  if (list.kind() == Kind::Array) {
    detail::ArrayMaker result(list.count());
    detail::walkElements(list, [&](const Value& element) {
      result.addUnlessNil(valueOrNull(element.valueForKey(key)));
      return true;
    });
    return result.finish();
  }
  NSMutableSet result = NSMutableSet::set();
  detail::walkEntries(list, [&](const Value& member, const Value&) {
    result.addObject(valueOrNull(member.valueForKey(key)));
    return true;
  });
  return result.copy();
}

// ---- Paths

// The first key of a path and what follows it.
struct Step {
  NSString key;
  NSString rest;  // nil at the end
};

Step firstStep(const NSString& path) {
  const NSRange period = path.rangeOfString(".");
  if (!period.isFound()) return {path, nil};
  return {path.substringToIndex(period.location), path.substringFromIndex(period.end())};
}

bool isOperator(const NSString& key) { return key.length() > 0 && key.characterAtIndex(0) == '@'; }

Value valueAt(const Value& v, const NSString& path) { return path.isNil() ? v : v.valueForKeyPath(path); }

// The values at a path of every element, nil ones included.
std::vector<Value> column(const Value& list, const NSString& path) {
  std::vector<Value> values;
  values.reserve(list.count());
  const detail::KeyPath keyPath(path);
  size_t place = 0;
  const auto add = [&](const Value& element) {
    values.push_back(keyPath.valueIn(element, place));
    return true;
  };
  list.kind() == Kind::Array ? detail::walkElements(list, add)
                             : detail::walkEntries(list, [&](const Value& v, const Value&) { return add(v); });
  return values;
}

Value unionOf(std::span<const Value> values) {
  detail::ArrayMaker result(values.size());
  for (const Value& v : values) result.addUnlessNil(v);
  return result.finish();
}

Value distinctUnionOf(std::span<const Value> values) {
  const NSMutableSet seen = NSMutableSet::set();
  for (const Value& v : values)
    if (!v.isNil()) seen.addObject(v);
  return seen.allObjects();
}

Value boxed(const NSDecimal& d) { return NSDecimalNumber(d); }

struct Operator {
  std::string_view name;
  Value (*apply)(std::span<const Value> values);
};

constexpr Operator kOperators[] = {
    {"@sum", [](std::span<const Value> values) { return boxed(detail::sumOf(values)); }},
    {"@avg", [](std::span<const Value> values) { return boxed(detail::averageOf(values)); }},
    {"@min", detail::smallestOf},
    {"@max", detail::largestOf},
    {"@unionOfObjects", unionOf},
    {"@distinctUnionOfObjects", distinctUnionOf},
};

Value applyOperator(const Value& list, const Step& step) {
  if (step.key == "@count") return list.count();
  for (const Operator& known : kOperators)
    if (step.key == NSString(known.name) && step.rest.length() > 0) return known.apply(column(list, step.rest));
  raiseUnknownOperator(list, step.key.substringFromIndex(1));
}

}  // namespace

Value Value::valueForKey(const NSString& key) const {
  const bool asks = kind() >= Kind::Array && kind() <= Kind::Dictionary && isOperator(key);
  if (asks)
    if (const Value answer = askContainer(*this, key)) return answer;
  if (kind() == Kind::Dictionary) {
    const TableRep* table = tableRep(*this);
    if (const size_t at = table->find(key); at != TableRep::kNone) return table->value(at);
  }
  if (asks) raiseUndefinedKey(*this, "valueForUndefinedKey:", key.substringFromIndex(1));
  if (isList(*this)) return valuesForKey(*this, key);
  if (const NSObject* object = objectOf(*this); object && key != "self") return object->valueForKey(key);
  return key == "self" ? *this : Value();
}

Value Value::valueForKeyPath(const NSString& path) const {
  if (isNil() || path.isNil()) return nil;
  const Step step = firstStep(path);
  if (isList(*this) && isOperator(step.key)) return applyOperator(*this, step);
  const Value v = valueForKey(step.key);
  return step.rest.isNil() ? v : valueAt(v, step.rest);
}

void Value::setValueForKey(const Value& value, const NSString& key) const {
  if (key.isNil()) return;
  if (NSObject* object = objectOf(*this)) return object->setValueForKey(value, key);
  if (kind() == Kind::Array)
    return detail::walkElements(*this, [&](const Value& v) { return v.setValueForKey(value, key), true; });
  if (isList(*this))
    return detail::walkEntries(
        *this, [&](const Value& v, const Value&) { return v.setValueForKey(value, key), true; });
  if (kind() != Kind::Dictionary) return;
  if (!NSMutableDictionary::accepts(*this)) raiseUndefinedKey(*this, "setValue:forUndefinedKey:", key);
  as<NSMutableDictionary>().setValueForKey(value, key);
}

void Value::setValueForKeyPath(const Value& value, const NSString& path) const {
  const NSRange period = path.rangeOfString(".", NSBackwardsSearch);
  if (!period.isFound()) return setValueForKey(value, path);
  valueForKeyPath(path.substringToIndex(period.location))
      .setValueForKey(value, path.substringFromIndex(period.end()));
}

}  // namespace orv

// ---- Groups

namespace orv::detail {
namespace {

// Where a group's elements are collected. Null stands for no value.
class Groups {
 public:
  void add(const Value& element, const Value& key) {
    bool isNew = false;
    const size_t group = table()->findOrAdd(key.isNil() ? Value(NSNull::null()) : key, isNew);
    if (isNew) members_.emplace_back(kFewest);
    if (key.isNull()) nullIsAValue_ = true;
    members_[group].add(element);
  }

  NSArray finish() {
    ArrayMaker result(members_.size());
    for (size_t i = 0; i < members_.size(); ++i)
      if (nullIsAValue_ || !table()->key(i).isNull()) result.addUnlessNil(members_[i].finish());
    return Access::cast<NSArray>(result.finish());
  }

 private:
  // The room a group is made with.
  static constexpr size_t kFewest = 4;

  TableRep* table() const { return tableRep(keys_); }

  Value keys_ = Access::adopt(TableRep::make(Kind::Set, 0, true));
  std::vector<ArrayMaker> members_;
  bool nullIsAValue_ = false;
};

// Has the records ahead of the one at hand fetched from memory: looking at one is mostly waiting for it.
class LookAhead {
 public:
  explicit LookAhead(const NSArray& array) {
    const ArrayRep* rep = arrayRep(array);
    if (!rep || rep->count <= kAhead) return;
    first_ = rep->items;
    last_ = rep->items + (rep->count - kAhead);
  }

  void passes(const Value& element) const {
    const Value* const at = &element;
    if (std::less<>()(at, first_) || !std::less<>()(at, last_)) return;
    const auto* ahead = reinterpret_cast<const char*>(Access::heap(at[kAhead]));
    if (!ahead) return;
    __builtin_prefetch(ahead, 1);
    __builtin_prefetch(ahead + 128);
  }

 private:
  static constexpr size_t kAhead = 8;
  const Value* first_ = nullptr;
  const Value* last_ = nullptr;
};

}  // namespace

NSArray groupsByKey(const NSArray& array, const NSString& path) {
  Groups groups;
  const KeyPath keyPath(path);
  const LookAhead ahead(array);
  size_t place = 0;
  if (!path.isNil())
    walkElements(array, [&](const Value& element) {
      ahead.passes(element);
      groups.add(element, keyPath.valueIn(element, place));
      return true;
    });
  return groups.finish();
}

}  // namespace orv::detail
