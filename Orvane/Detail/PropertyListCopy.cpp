#include "Orvane/Detail/PropertyListCopy.h"

#include "Platform/Foundation/Serialization/Detail/PropertyListRules.h"
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
  if (isPropertyListLeaf(v.kind())) return v;
  if (depth == 0) return nil;
  if (v.kind() == Kind::Array) return copyOfArray(v.as<NSArray>(), depth - 1);
  if (v.kind() == Kind::Dictionary) return copyOfDictionary(v.as<NSDictionary>(), depth - 1);
  return nil;
}

}  // namespace

Value propertyListCopy(const Value& tree) { return copyOf(tree, kDeepestPropertyList); }

}  // namespace orv::detail
