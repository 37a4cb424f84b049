#include "Orvane/Detail/PropertyListCopy.h"

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSDictionary.h"

namespace orv::detail {
namespace {

Value copyOf(const Value& v, unsigned depth);

Value copyOfArray(const NSArray& array, unsigned depth) {
  NSMutableArray result = NSMutableArray::arrayWithCapacity(array.count());
  for (const Value& element : array) {
    const Value copied = copyOf(element, depth);
    if (!copied) return nil;
    result.addObject(copied);
  }
  return result;
}

Value copyOfDictionary(const NSDictionary& dictionary, unsigned depth) {
  NSMutableDictionary result = NSMutableDictionary::dictionaryWithCapacity(dictionary.count());
  for (auto [key, value] : dictionary) {
    const Value copied = key.isKindOf<NSString>() ? copyOf(value, depth) : Value();
    if (!copied) return nil;
    result.setObjectForKey(copied, key);
  }
  return result;
}

Value copyOf(const Value& v, unsigned depth) {
  switch (v.kind()) {
    case Kind::Bool:
    case Kind::Int:
    case Kind::UInt:
    case Kind::Double:
    case Kind::Date:
    case Kind::Decimal:
    case Kind::BigDecimal:
    case Kind::String:
    case Kind::Data: return v;
    case Kind::Array: return depth == 0 ? Value() : copyOfArray(v.as<NSArray>(), depth - 1);
    case Kind::Dictionary: return depth == 0 ? Value() : copyOfDictionary(v.as<NSDictionary>(), depth - 1);
    case Kind::Nil:
    case Kind::Null:
    case Kind::URL:
    case Kind::Set:
    case Kind::CountedSet:
    case Kind::Object: return nil;
  }
  return nil;
}

}  // namespace

Value propertyListCopy(const Value& tree) { return copyOf(tree, kDeepestPropertyList); }

}  // namespace orv::detail
