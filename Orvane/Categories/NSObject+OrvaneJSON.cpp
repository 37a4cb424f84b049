#include <algorithm>
#include <bit>
#include <string>
#include <vector>

#include "Orvane/OrvDays.h"
#include "Orvane/OrvLog.h"
#include "Platform/Foundation/Serialization/Detail/JSONReader.h"
#include "Platform/Foundation/Serialization/Detail/JSONText.h"
#include "Platform/Foundation/Serialization/Detail/JSONWriter.h"
#include "Platform/Foundation/Serialization/NSJSONSerialization.h"
#include "Platform/Foundation/Values/Detail/ContainerRep.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDecimalNumber.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSException.h"

using namespace orv;

namespace {

constexpr NSUInteger kPretty = NSJSONWritingPrettyPrinted | NSJSONWritingSortedKeys;

Value errorText(const Value& value) {
  OrvLogWarning("orv_jsonObject not defined for %@: %@", value.className(), value);
  return NSString::stringWithFormat("ERROR:%@", value.description());
}

Value jsonOfObject(const Value& value) {
  const Ref<NSObject> object = value.as<NSObject>();
  if (object->answers(NSObject::Answer::Days)) return object->days();
  const Value standIn = object->jsonObject();
  return standIn.isNil() ? errorText(value) : standIn;
}

// What stands for a value that is no container.
Value jsonOfLeaf(const Value& value) {
  switch (value.kind()) {
    case Kind::String:
    case Kind::Null: return value;
    case Kind::Bool:
    case Kind::Int:
    case Kind::UInt:
    case Kind::Double: return value.as<NSNumber>().doubleValue();
    case Kind::Decimal:
    case Kind::BigDecimal: return value.as<NSNumber>().stringValue();
    case Kind::Date: return value.as<NSDate>().ISO8601String();
    case Kind::Object: return jsonOfObject(value);
    default: return errorText(value);
  }
}

// Copies a tree of containers, leaf by leaf, without recursion.
class TreeConverter {
 public:
  Value convert(const Value& root) {
    enter(root);
    while (!levels_.empty())
      if (!step()) leave();
    return result_;
  }

 private:
  // A container on the way and its copy.
  struct Level {
    Value source;
    Value copy;
    Value keyInParent;
    size_t next = 0;
  };

  // Converts the next element; false when there is none.
  bool step() {
    Level& level = levels_.back();
    return level.source.kind() == Kind::Array ? stepArray(level) : stepTable(level);
  }

  bool stepArray(Level& level) {
    const detail::ArrayRep* rep = detail::arrayRep(level.source);
    if (level.next >= rep->count) return false;
    take(Value(), Value(rep->items[level.next++]));
    return true;
  }

  bool stepTable(Level& level) {
    const detail::TableRep* rep = detail::tableRep(level.source);
    const size_t entry = rep->nextLive(level.next);
    if (entry >= rep->used) return false;
    level.next = entry + 1;
    take(Value(rep->key(entry)), Value(rep->value(entry)));
    return true;
  }

  void take(const Value& key, const Value& element) {
    if (isContainer(element))
      enter(element, key);
    else
      store(levels_.back().copy, key, jsonOfLeaf(element));
  }

  void enter(const Value& source, const Value& key = {}) {
    const bool isArray = source.kind() == Kind::Array;
    Value copy = isArray ? Value(NSMutableArray::arrayWithCapacity(source.count()))
                         : Value(NSMutableDictionary::dictionaryWithCapacity(source.count()));
    levels_.push_back({source, std::move(copy), key});
    if (levels_.size() >= kSuspicious && std::has_single_bit(levels_.size())) refuseCycle();
  }

  void leave() {
    const Level done = std::move(levels_.back());
    levels_.pop_back();
    if (levels_.empty())
      result_ = done.copy;
    else
      store(levels_.back().copy, done.keyInParent, done.copy);
  }

  static void store(const Value& copy, const Value& key, const Value& element) {
    if (key.isNil())
      copy.as<NSMutableArray>().addObject(element);
    else
      copy.as<NSMutableDictionary>().setObjectForKey(element, key);
  }

  // A cycle makes the path grow without end: from some depth on, and each time it has doubled, it is searched
  // for a container that is on it twice.
  void refuseCycle() const {
    std::vector<uint64_t> path;
    path.reserve(levels_.size());
    for (const Level& level : levels_) path.push_back(detail::Access::bits(level.source));
    std::sort(path.begin(), path.end());
    if (std::adjacent_find(path.begin(), path.end()) != path.end())
      NSException::raise(NSInvalidArgumentException, "*** A collection that contains itself has no JSON form.");
  }

  static bool isContainer(const Value& value) {
    return value.kind() == Kind::Array || value.kind() == Kind::Dictionary;
  }

  static constexpr size_t kSuspicious = 1024;
  std::vector<Level> levels_;
  Value result_;
};

Value readTree(std::string_view bytes) {
  const detail::JSONText text(bytes);
  detail::JSONFault fault;
  return text.valid() ? detail::readJSON(text.utf8(), {.mutableContainers = true}, fault) : Value();
}

NSString textOf(const NSData& data) {
  if (data.isNil()) return nil;
  return std::string_view(reinterpret_cast<const char*>(data.bytes()), data.length());
}

}  // namespace

Value Value::orv_jsonObject() const {
  if (isNil()) return nil;
  if (kind() != Kind::Array && kind() != Kind::Dictionary) return jsonOfLeaf(*this);
  return TreeConverter().convert(*this);
}

NSData Value::toJSONData() const {
  return isNil() ? NSData() : NSJSONSerialization::dataWithJSONObject(orv_jsonObject(), 0);
}

NSData Value::toJSONDataPretty() const {
  return isNil() ? NSData() : NSJSONSerialization::dataWithJSONObject(orv_jsonObject(), kPretty);
}

// Converted on the way to the text; the tree in between is only made for what is no container.
NSString Value::toJSONString() const {
  if (kind() == Kind::Array || kind() == Kind::Dictionary)
    return textOf(detail::writeJSON(*this, 0, jsonOfLeaf));
  return isNil() ? NSString() : textOf(orv_jsonObject().toJSONData());
}

NSString Value::toJSONPretty() const {
  if (isNil()) return nil;
  NSError error;
  const NSData data = NSJSONSerialization::dataWithJSONObject(orv_jsonObject(), kPretty, &error);
  if (error) OrvLogDebug("••• %s = %@", "error", error);
  return textOf(data);
}

Value NSString::fromJSON() const {
  if (isNil()) return nil;
  const detail::StringRep* rep = detail::stringRep(*this);
  if (rep->ascii()) return readTree({static_cast<const char*>(rep->units()), rep->length});
  const NSData bytes = dataUsingEncoding(NSUTF8StringEncoding);
  return bytes.fromJSON();
}

Value NSData::fromJSON() const { return readTree({reinterpret_cast<const char*>(bytes()), length()}); }
