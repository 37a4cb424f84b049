#include "Platform/Foundation/Values/NSEnumerator.h"

#include <utility>

#include "Platform/Foundation/Values/NSArray.h"

using namespace orv;

namespace {

class EnumeratorObject : public NSObject {
 public:
  explicit EnumeratorObject(std::function<Value()> block) : next(std::move(block)) {}
  NSString className() const override { return "NSEnumerator"; }

  std::function<Value()> next;  // empty once it has answered nil
};

EnumeratorObject* contentsOf(const Value& v) noexcept {
  return v.kind() == Kind::Object
             ? dynamic_cast<EnumeratorObject*>(static_cast<NSObject*>(detail::Access::heap(v)))
             : nullptr;
}

}  // namespace

NSEnumerator NSEnumerator::enumeratorWithBlock(std::function<Value()> next) {
  return Value(make<EnumeratorObject>(std::move(next))).as<NSEnumerator>();
}

bool NSEnumerator::accepts(const Value& v) noexcept { return contentsOf(v) != nullptr; }

Value NSEnumerator::nextObject() const {
  EnumeratorObject* contents = contentsOf(*this);
  if (!contents || !contents->next) return nil;
  Value result = contents->next();
  if (result.isNil()) contents->next = nullptr;
  return result;
}

NSArray NSEnumerator::allObjects() const {
  if (isNil()) return nil;
  NSMutableArray rest = NSMutableArray::array();
  while (Value v = nextObject()) rest.addObject(v);
  return rest;
}
