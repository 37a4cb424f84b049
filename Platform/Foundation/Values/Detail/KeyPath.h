#pragma once

#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/Value.h"

namespace orv::detail {

// A key path that is followed from many values.
class KeyPath {
 public:
  explicit KeyPath(const NSString& path)
      : path_(path), isOneKey_(!path.hasPrefix("@") && !path.rangeOfString(".").isFound()) {}

  Value valueIn(const Value& v) const { return isOneKey_ ? v.valueForKey(path_) : v.valueForKeyPath(path_); }

 private:
  NSString path_;
  bool isOneKey_;
};

}  // namespace orv::detail
