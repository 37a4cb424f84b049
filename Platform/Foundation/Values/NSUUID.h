#pragma once

#include <array>
#include <cstdint>

#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/Value.h"

class NSData;

// A universally unique identifier: 16 bytes.
//
// Immutable; a copy is another reference to the same identifier, free and safe on every thread. Two are equal
// when their bytes are. Nil answers nil to everything.
//
//   NSUUID id = NSUUID::UUID();
//   std::cout << id;                                              // E621E1F8-C36C-495A-93FC-0C247A3E6E5F
//   NSUUID same = NSUUID::initWithUUIDString(id.UUIDString());   // same == id
class ORV_EXPORT NSUUID : public orv::Value {
 public:
  using Bytes = std::array<uint8_t, 16>;

  NSUUID() = default;
  NSUUID(orv::Nil) {}

  static bool accepts(const orv::Value& v) noexcept;

  // A fresh random one (version 4 of RFC 4122) from the system's generator.
  static NSUUID UUID();
  // 36 characters, hexadecimal digits of either case in groups of 8-4-4-4-12; nil for anything else.
  static NSUUID initWithUUIDString(const NSString& text);
  static NSUUID initWithUUIDBytes(const Bytes& bytes);

  // Upper-case: "E621E1F8-C36C-495A-93FC-0C247A3E6E5F".
  NSString UUIDString() const;
  // The 16 bytes in the order of the text.
  NSData data() const;
  // All zero for nil.
  Bytes bytes() const noexcept;
};

namespace orv::detail {
// The bytes of a fresh random UUID, for those who need no object.
ORV_EXPORT NSUUID::Bytes randomUUIDBytes();
}  // namespace orv::detail
