#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Platform/Foundation/Export.h"
#include "Platform/Foundation/Values/Types.h"

namespace orv::detail {
__extension__ typedef unsigned __int128 UInt128;
}

// What a calculation reports beside its result, from harmless to fatal.
enum NSCalculationError : NSUInteger {
  NSCalculationNoError = 0,
  NSCalculationLossOfPrecision = 1,  // the result is rounded
  NSCalculationUnderflow = 2,        // not zero, but smaller than the smallest step
  NSCalculationOverflow = 3,
  NSCalculationDivideByZero = 4,
};

enum NSRoundingMode : NSUInteger {
  NSRoundPlain = 0,    // to the nearest, halves away from zero
  NSRoundDown = 1,     // towards minus infinity
  NSRoundUp = 2,       // towards plus infinity
  NSRoundBankers = 3,  // to the nearest, halves to the even digit
};

// The scale that asks for no rounding.
inline constexpr short NSDecimalNoScale = 32767;

// A decimal number: sign times mantissa times a power of ten. The mantissa is an unsigned 128-bit integer,
// so that every amount of 38 digits is exact (and some of 39); the exponent runs from -128 to 127. There is
// one not-a-number; there are no infinities and no negative zero.
//
// A plain value without heap memory. It is always compact: trailing zeros of the mantissa are moved into
// the exponent (up to 127) and zero has exponent 0, so that numbers are equal exactly when their fields are.
//
//   NSDecimal price = NSDecimal::fromText("19.99");
//   auto [sum, error] = price.adding(NSDecimal::fromText("0.01"));   // 20, NSCalculationNoError
//   sum.text();                                                      // "20"
struct ORV_EXPORT NSDecimal {
  struct Result;

  static constexpr int kMinExponent = -128;
  static constexpr int kMaxExponent = 127;
  // The characters that writeText needs at most.
  static constexpr size_t kMaxTextLength = 176;

  // The compact form of a mantissa and an exponent of any size. Not-a-number when the number is above the
  // largest, or other than zero and below 1e-128; digits below 1e-128 are dropped.
  static NSDecimal make(orv::detail::UInt128 mantissa, int exponent, bool negative = false);
  static NSDecimal fromUInt64(uint64_t n);
  static NSDecimal fromInt64(int64_t n);
  // The number whose text is the shortest that reads back as the same double. Not-a-number for NaN, for
  // infinities and outside of the decimal range.
  static NSDecimal fromDouble(double d);
  static constexpr NSDecimal nan() { return {0, 0, 0, false, true}; }
  static constexpr NSDecimal largest() { return {UINT64_MAX, UINT64_MAX, kMaxExponent, false, false}; }

  // Reads blanks, a sign, digits, a period and digits, and e or E with a sign and digits, whatever the
  // locale; stops at the first character that does not fit. Digits that the mantissa cannot hold are dropped.
  // Not-a-number when there is no digit or the number is out of range. Kept: a text that begins with "e" is 0.
  // Of UTF-8 only the ASCII blanks are skipped, of the other forms those of all scripts.
  static NSDecimal fromText(std::string_view text);
  static NSDecimal fromText(const uint8_t* latin1, size_t length);
  static NSDecimal fromText(const char16_t* units, size_t length);

  orv::detail::UInt128 mantissa() const { return static_cast<orv::detail::UInt128>(high) << 64 | low; }
  constexpr bool isZero() const { return (low | high) == 0 && !notANumber; }
  constexpr bool isInteger() const { return exponent >= 0 && !notANumber; }

  // Calculation. The exact result is rounded by the mode when it does not fit the mantissa. On overflow,
  // underflow and division by zero the result is not-a-number; an operand that is not-a-number counts as
  // overflow.
  Result adding(const NSDecimal& other, NSRoundingMode mode = NSRoundPlain) const;
  Result subtracting(const NSDecimal& other, NSRoundingMode mode = NSRoundPlain) const;
  Result multiplyingBy(const NSDecimal& other, NSRoundingMode mode = NSRoundPlain) const;
  // A quotient that the mantissa cannot hold exactly has 38 significant digits.
  Result dividingBy(const NSDecimal& divisor, NSRoundingMode mode = NSRoundPlain) const;
  // Every number to the power 0 is 1. Rounded after each of its multiplications.
  Result raisedToPower(NSUInteger power, NSRoundingMode mode = NSRoundPlain) const;
  // Shifts the exponent: overflows when it would go above 127. Digits pushed below 1e-128 are rounded.
  Result multipliedByPowerOf10(int power, NSRoundingMode mode = NSRoundPlain) const;

  // Rounds to `scale` digits after the period; a negative scale rounds left of it, NSDecimalNoScale not at
  // all. Not-a-number stays so, and is the answer when the rounded number is out of range.
  NSDecimal rounded(int scale, NSRoundingMode mode = NSRoundPlain) const;
  NSDecimal negated() const;

  // Not-a-number equals itself and lies below every number.
  NSComparisonResult compare(const NSDecimal& other) const;
  friend constexpr bool operator==(const NSDecimal&, const NSDecimal&) = default;

  // Plain positional notation, never an exponent: "-0.001", "1000", "NaN".
  std::string text() const;
  // Writes the text without a final zero byte and answers its end. `out` has kMaxTextLength bytes.
  char* writeText(char* out) const;

  // The nearest double, ties to even; NaN for not-a-number.
  double toDouble() const;
  // Truncated towards zero, then reduced modulo 2 to the power 64; not-a-number is 0.
  int64_t toInt64() const;
  uint64_t toUInt64() const;

  // The mantissa's halves.
  uint64_t low = 0;
  uint64_t high = 0;
  int16_t exponent = 0;
  bool negative = false;
  bool notANumber = false;
};

struct NSDecimal::Result {
  NSDecimal value;
  NSCalculationError error = NSCalculationNoError;
};
