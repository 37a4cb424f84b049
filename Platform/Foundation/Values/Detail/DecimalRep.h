#pragma once

#include "Platform/Foundation/Values/NSDecimal.h"
#include "Platform/Foundation/Values/Value.h"

// How decimal amounts lie in a handle, and the means by which the library's own units read and box them.
namespace orv::detail {

// Where an amount whose mantissa has up to 64 bits keeps the rest of itself in the handle's tag.
inline constexpr int kDecimalExponentShift = 16;
inline constexpr uint64_t kDecimalNegative = uint64_t{1} << 24;
inline constexpr uint64_t kDecimalNotANumber = uint64_t{1} << 25;

// An amount whose mantissa needs more than 64 bits.
struct BigDecimalRep : HeapObject {
  explicit BigDecimalRep(const NSDecimal& d) noexcept : HeapObject(Kind::BigDecimal), decimal(d) {}
  NSDecimal decimal;
};

void destroyBigDecimal(HeapObject* object) noexcept;

// The amount in a value of kind Decimal or BigDecimal; zero for every other kind.
inline NSDecimal decimalOf(const Value& v) noexcept {
  if (v.kind() == Kind::BigDecimal) return static_cast<const BigDecimalRep*>(Access::heap(v))->decimal;
  if (v.kind() != Kind::Decimal) return {};
  const uint64_t tag = Access::tag(v);
  return {Access::bits(v), 0, static_cast<int8_t>(tag >> kDecimalExponentShift & 0xFF),
          (tag & kDecimalNegative) != 0, (tag & kDecimalNotANumber) != 0};
}

ORV_EXPORT Value boxBigDecimal(const NSDecimal& d);

// The value of kind Decimal when the mantissa has up to 64 bits, else of kind BigDecimal. Equal amounts are
// always boxed alike.
inline Value boxDecimal(const NSDecimal& d) {
  if (d.high != 0) return boxBigDecimal(d);
  const uint64_t exponent = static_cast<uint8_t>(d.exponent);
  return Access::immediate(d.low, static_cast<uint64_t>(Kind::Decimal) | exponent << kDecimalExponentShift |
                                      (d.negative ? kDecimalNegative : 0) |
                                      (d.notANumber ? kDecimalNotANumber : 0));
}

}  // namespace orv::detail
