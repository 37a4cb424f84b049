#pragma once

#include "Platform/Foundation/Values/Value.h"

// The null value: present, unlike nil, but standing for "nothing". It can be stored in containers and is
// written as null in JSON. There is one; an immediate. Its description is "<null>".
//
//   NSArray row{1, NSNull::null(), "x"};
class ORV_EXPORT NSNull : public orv::Value {
 public:
  NSNull() = default;  // nil, as for every handle
  NSNull(orv::Nil) {}

  static NSNull null() { return NSNull(orv::Kind::Null); }
  static bool accepts(const orv::Value& v) noexcept { return v.isNull(); }

 private:
  explicit NSNull(orv::Kind kind) : Value(kind, 0, 0) {}
};
