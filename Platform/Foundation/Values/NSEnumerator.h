#pragma once

#include <functional>

#include "Platform/Foundation/Values/Value.h"

class NSArray;

// Hands out the elements of a collection one after the other, each once, and then nil for ever. It keeps its
// collection alive. Not for several threads at a time; copies of the handle share the position.
//
//   NSEnumerator each = list.objectEnumerator();
//   while (Value v = each.nextObject()) use(v);
class ORV_EXPORT NSEnumerator : public orv::Value {
 public:
  NSEnumerator() = default;
  NSEnumerator(orv::Nil) {}
  // An enumerator over whatever a function answers, until it answers nil.
  static NSEnumerator enumeratorWithBlock(std::function<orv::Value()> next);

  static bool accepts(const orv::Value& v) noexcept;

  // Raises NSGenericException when the collection was changed since the enumeration began.
  orv::Value nextObject() const;
  // What is left.
  NSArray allObjects() const;
};
