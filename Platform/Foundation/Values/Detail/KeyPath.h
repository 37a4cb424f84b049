#pragma once

#include <cstddef>

#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/Value.h"

namespace orv::detail {

// A key path that is followed from many values. Immutable, safe on every thread.
class KeyPath {
 public:
  explicit KeyPath(const NSString& path);

  // The value at the path. Dictionaries of one make have a key at one place: `place` remembers where it was
  // found last and is asked first. Start with 0.
  Value valueIn(const Value& v, size_t& place) const;

 private:
  NSString path_;
  bool isOneKey_;
};

}  // namespace orv::detail
