#pragma once

#include "Platform/Foundation/Values/NSDecimal.h"
#include "Platform/Foundation/Values/NSNumber.h"

// The names under which calculations raise.
ORV_EXPORT extern const char* const NSDecimalNumberExactnessException;
ORV_EXPORT extern const char* const NSDecimalNumberOverflowException;
ORV_EXPORT extern const char* const NSDecimalNumberUnderflowException;
ORV_EXPORT extern const char* const NSDecimalNumberDivideByZeroException;

// How a calculation rounds and which of its errors raise. A plain value.
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
// switched off the result is not-a-number. Nil: comparisons and texts answer as NSNumber does, calculations
// with a nil receiver give nil; a nil operand counts as not-a-number.
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

  // Zero for nil.
  NSDecimal decimalValue() const noexcept;

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

  // Not-a-number equals itself and lies below every number; everything lies above nil.
  NSComparisonResult compare(const NSNumber& other) const;

  // The nearest double.
  double doubleValue() const;
  // Plain positional notation, never an exponent.
  NSString stringValue() const;
};
