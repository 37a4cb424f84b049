#pragma once

#include <compare>

#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/Value.h"

struct NSDecimal;

// A number: a boolean, a signed or unsigned integer of up to 64 bits, a float or double, or a decimal
// amount. An immediate value (decimal amounts beyond 64 bits of digits excepted): copying shares nothing.
//
// A number remembers the C type it was made from, which `objCType` tells and which decides its text; equality,
// order and hash follow the numeric value alone: true, 1, 1.0 and the decimal 1 are the same dictionary key.
// Nil answers 0 everywhere.
//
//   NSNumber n = 12.9;
//   n.integerValue();                     // 12
//   n == NSNumber(12.9f);                 // false: the float is another number
class ORV_EXPORT NSNumber : public orv::Value {
 public:
  NSNumber() = default;
  NSNumber(orv::Nil) {}
  template <class T>
  requires std::is_arithmetic_v<T>
  constexpr NSNumber(T n) noexcept : Value(n) {}

  static bool accepts(const orv::Value& v) noexcept {
    return v.kind() >= orv::Kind::Bool && v.kind() <= orv::Kind::BigDecimal && v.kind() != orv::Kind::Date;
  }
  // True for the two booleans only, not for 0 and 1.
  bool isBoolean() const noexcept { return kind() == orv::Kind::Bool; }
  bool isDecimal() const noexcept { return kind() == orv::Kind::Decimal || kind() == orv::Kind::BigDecimal; }

  // Zero of any type and the decimal not-a-number are false; the floating not-a-number is true.
  bool boolValue() const noexcept;
  // Integers narrow by bit pattern; floating numbers truncate toward zero, clamp at the limits of 64 bits, and
  // give 0 for not-a-number; decimals truncate and are taken modulo 2^64.
  int8_t charValue() const noexcept { return static_cast<int8_t>(longLongValue()); }
  int16_t shortValue() const noexcept { return static_cast<int16_t>(longLongValue()); }
  int32_t intValue() const noexcept { return static_cast<int32_t>(longLongValue()); }
  uint32_t unsignedIntValue() const noexcept { return static_cast<uint32_t>(unsignedLongLongValue()); }
  // A decimal's digits before the period, clamped at the limits of 64 bits.
  NSInteger integerValue() const noexcept;
  NSUInteger unsignedIntegerValue() const noexcept { return unsignedLongLongValue(); }
  int64_t longLongValue() const noexcept {
    return isInteger() ? static_cast<int64_t>(bits_) : longLongOfOther();
  }
  uint64_t unsignedLongLongValue() const noexcept;
  // Rounded to nearest.
  double doubleValue() const noexcept {
    return kind() == orv::Kind::Double ? __builtin_bit_cast(double, bits_) : doubleOfOther();
  }
  float floatValue() const noexcept { return static_cast<float>(doubleValue()); }
  // The exact amount; a floating number gives the decimal of its shortest text.
  NSDecimal decimalValue() const;

  // Booleans 1 and 0, integers plain, floats with up to 7 and doubles with up to 16 significant digits as
  // printf's %g writes them, decimals in full; "nan", "inf", "-inf". Independent of the locale.
  NSString stringValue() const;

  // "c" boolean and 8 bits, "s" 16, "i" 32, "q" 64 bits, "Q" above the signed range, "f", "d"; decimals "d".
  // A null pointer for nil.
  const char* objCType() const noexcept;

  bool isEqualToNumber(const NSNumber& other) const { return isEqual(other); }

  // NSNumber(Orvane) - Orvane/Categories/NSNumber+Orvane.cpp

  // The signed integer sum with longLongValue; wraps around at the limits of 64 bits. Nil: nil.
  NSNumber plus(int64_t addend) const;

  friend std::weak_ordering operator<=>(const NSNumber& a, const NSNumber& b) {
    return static_cast<int>(a.compare(b)) <=> 0;
  }

 private:
  bool isInteger() const noexcept { return kind() >= orv::Kind::Bool && kind() <= orv::Kind::UInt; }
  int64_t longLongOfOther() const noexcept;
  double doubleOfOther() const noexcept;
};

namespace orv::detail {
// Exact order of two numbers of any types. A double's not-a-number lies between the negative numbers and
// zero, a decimal's below everything; each equals itself.
NSComparisonResult compareNumbers(const Value& a, const Value& b) noexcept;
bool equalNumbers(const Value& a, const Value& b) noexcept;
size_t hashOfNumber(const Value& number) noexcept;
}  // namespace orv::detail
