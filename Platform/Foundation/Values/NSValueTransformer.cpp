#include "Platform/Foundation/Values/NSValueTransformer.h"

#include <mutex>

#include "Platform/Foundation/Values/NSDictionary.h"

using namespace orv;

namespace {

struct Registry {
  std::mutex mutex;  // guards the transformers
  const NSMutableDictionary transformers = NSMutableDictionary::dictionary();
};

Registry& registry() {
  static auto* const shared = new Registry;  // never destroyed: bindings may end late
  return *shared;
}

}  // namespace

Value NSValueTransformer::transformedValue(const Value& stored) { return stored; }

Value NSValueTransformer::reverseTransformedValue(const Value&) { return nil; }

Ref<NSValueTransformer> NSValueTransformer::valueTransformerForName(const NSString& name) {
  if (name.isNil()) return nil;
  Registry& known = registry();
  const std::lock_guard lock(known.mutex);
  if (const Ref<NSValueTransformer> found = known.transformers.objectForKey(name).as<NSValueTransformer>())
    return found;
  const Ref<NSValueTransformer> made = orvTransformerOfClass(name);
  if (made) known.transformers.setObjectForKey(made, name);
  return made;
}

void NSValueTransformer::setValueTransformerForName(const Ref<NSValueTransformer>& transformer,
                                                    const NSString& name) {
  if (name.isNil()) return;
  Registry& known = registry();
  Value replaced;  // ends outside of the lock
  const std::lock_guard lock(known.mutex);
  replaced = known.transformers.objectForKey(name);
  known.transformers.setValueForKey(transformer, name);
}

NSArray NSValueTransformer::valueTransformerNames() {
  Registry& known = registry();
  const std::lock_guard lock(known.mutex);
  return known.transformers.allKeys();
}
