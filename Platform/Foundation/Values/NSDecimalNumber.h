#pragma once

#include "Platform/Foundation/Values/NSDecimal.h"
#include "Platform/Foundation/Values/NSNumber.h"

// The names under which calculations raise.
extern ORV_EXPORT const NSString NSDecimalNumberExactnessException;
extern ORV_EXPORT const NSString NSDecimalNumberOverflowException;
extern ORV_EXPORT const NSString NSDecimalNumberUnderflowException;
extern ORV_EXPORT const NSString NSDecimalNumberDivideByZeroException;

// How a calculation rounds and which of its errors raise. A plain value. Rounding to the scale is what was
// asked for and no inexactness; running out of digits is.
struct ORV_EXPORT NSDecimalNumberHandler {
  NSRoundingMode roundingMode = NSRoundPlain;
  // Digits after the period to which results are rounded; NSDecimalNoScale: not at all.
  short scale = NSDecimalNoScale;
  bool raiseOnExactness = false;
  bool raiseOnOverflow = true;
  bool raiseOnUnderflow = true;
  bool raiseOnDivideByZero = true;

  // Plain rounding, no scale; raises on everything but inexactness.
  static constexpr NSDecimalNumberHandler defaultDecimalNumberHandler() { return {}; }
  static constexpr NSDecimalNumberHandler decimalNumberHandlerWithRoundingMode(NSRoundingMode mode, short scale,
                                                                               bool raiseOnExactness,
                                                                               bool raiseOnOverflow,
                                                                               bool raiseOnUnderflow,
                                                                               bool raiseOnDivideByZero) {
    return {mode, scale, raiseOnExactness, raiseOnOverflow, raiseOnUnderflow, raiseOnDivideByZero};
  }
};

// A decimal amount as a value: what money is held in. See NSDecimal for its range.
//
// Immutable. Amounts whose mantissa has up to 64 bits (19 digits) live in the handle and never allocate; larger
// ones are counted on the heap. Safe on every thread. Calculations raise by their handler, by default
// NSDecimalNumberOverflowException, ...UnderflowException and ...DivideByZeroException; where raising is
// switched off the result is not-a-number. Calculating with not-a-number counts as an overflow. Calculations
// of nil give nil; a nil operand counts as 0.
//
//   NSDecimalNumber net = NSDecimalNumber::decimalNumberWithString("19.99");
//   NSDecimalNumber gross = net.decimalNumberByMultiplyingBy(NSDecimalNumber::decimalNumberWithString("1.19"));
//   gross.description();   // "23.7881"
class ORV_EXPORT NSDecimalNumber : public NSNumber {
 public:
  NSDecimalNumber() = default;
  NSDecimalNumber(orv::Nil) {}
  explicit NSDecimalNumber(const NSDecimal& decimal);

  static bool accepts(const orv::Value& v) noexcept {
    return v.kind() == orv::Kind::Decimal || v.kind() == orv::Kind::BigDecimal;
  }

  // The number at the start of the text (see NSDecimal::fromText); not-a-number when there is none or the
  // text is nil.
  static NSDecimalNumber decimalNumberWithString(const NSString& text);
  static NSDecimalNumber decimalNumberWithDecimal(const NSDecimal& decimal);
  static NSDecimalNumber decimalNumberWithMantissa(unsigned long long mantissa, short exponent,
                                                   bool isNegative);
  static NSDecimalNumber zero();
  static NSDecimalNumber one();
  static NSDecimalNumber notANumber();
  static NSDecimalNumber maximumDecimalNumber();
  static NSDecimalNumber minimumDecimalNumber();

  // Calculations. `decimalValue`, the comparisons and the texts are those of NSNumber.
  NSDecimalNumber decimalNumberByAdding(const NSDecimalNumber& other,
                                        const NSDecimalNumberHandler& handler = {}) const;
  NSDecimalNumber decimalNumberBySubtracting(const NSDecimalNumber& other,
                                             const NSDecimalNumberHandler& handler = {}) const;
  NSDecimalNumber decimalNumberByMultiplyingBy(const NSDecimalNumber& other,
                                               const NSDecimalNumberHandler& handler = {}) const;
  NSDecimalNumber decimalNumberByDividingBy(const NSDecimalNumber& divisor,
                                            const NSDecimalNumberHandler& handler = {}) const;
  NSDecimalNumber decimalNumberByRaisingToPower(NSUInteger power,
                                                const NSDecimalNumberHandler& handler = {}) const;
  NSDecimalNumber decimalNumberByMultiplyingByPowerOf10(short power,
                                                        const NSDecimalNumberHandler& handler = {}) const;
  NSDecimalNumber decimalNumberByRoundingAccordingToBehavior(const NSDecimalNumberHandler& handler) const;
};
