#pragma once

#include "Platform/Foundation/Values/Detail/DecimalWords.h"
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

  constexpr bool roundsNothing() const { return scale == NSDecimalNoScale; }
};

namespace orv::detail {
inline constexpr NSDecimalNumberHandler kDefaultHandler;  // nothing to be made for each calculation
}

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
  NSDecimalNumber decimalNumberByAdding(const NSDecimalNumber& other, const NSDecimalNumberHandler& handler =
                                                                          orv::detail::kDefaultHandler) const {
    if (handler.roundsNothing())
      if (const auto word = orv::detail::addWords(*this, other, 0)) return NSDecimalNumber(word);
    return sumWith(other, handler);
  }
  NSDecimalNumber decimalNumberBySubtracting(
      const NSDecimalNumber& other,
      const NSDecimalNumberHandler& handler = orv::detail::kDefaultHandler) const {
    if (handler.roundsNothing())
      if (const auto word = orv::detail::addWords(*this, other, orv::detail::kDecimalNegative))
        return NSDecimalNumber(word);
    return differenceWith(other, handler);
  }
  NSDecimalNumber decimalNumberByMultiplyingBy(
      const NSDecimalNumber& other,
      const NSDecimalNumberHandler& handler = orv::detail::kDefaultHandler) const {
    if (handler.roundsNothing())
      if (const auto word = orv::detail::multiplyWords(*this, other)) return NSDecimalNumber(word);
    return productWith(other, handler);
  }
  NSDecimalNumber decimalNumberByDividingBy(
      const NSDecimalNumber& divisor,
      const NSDecimalNumberHandler& handler = orv::detail::kDefaultHandler) const;
  NSDecimalNumber decimalNumberByRaisingToPower(
      NSUInteger power, const NSDecimalNumberHandler& handler = orv::detail::kDefaultHandler) const;
  NSDecimalNumber decimalNumberByMultiplyingByPowerOf10(
      short power, const NSDecimalNumberHandler& handler = orv::detail::kDefaultHandler) const;
  NSDecimalNumber decimalNumberByRoundingAccordingToBehavior(const NSDecimalNumberHandler& handler) const;

  // NSDecimalNumber(Orvane) - Orvane/Categories/NSDecimalNumber+Orvane.cpp
  // Money. Nothing here but `twoDigits` and its relatives rounds. A nil operand counts as 0 unless said
  // otherwise; products, sums and differences raise as the calculations above do.

  // The quotient, and 0 where there is none: sums of amounts stay finite. Never raises. A divisor of 0, nil or
  // not-a-number gives 0 in silence; what else fails gives 0 and logs "Division by zero? 1 / 3" as a warning.
  NSDecimalNumber zu_decimalNumberByDividingBy(const NSDecimalNumber& divisor) const;

  // The integer with its last `shiftDecimalPlaces` digits behind the period: 1234 and 2 give 12.34. The places
  // count modulo 2^16.
  static NSDecimalNumber decimalNumberWithInteger(long integer, long shiftDecimalPlaces);
  // Cents as an amount: -1999 gives -19.99.
  static NSDecimalNumber decimalNumberWithAmountInteger(long cents);
  // The amount in cents, cut and not rounded: 12.349 gives 1234. Clamped at the limits of 64 bits.
  long amountIntegerValue() const;
  // The digits before the period; clamped at the limits of 64 bits, 0 for not-a-number.
  int64_t integerValue() const noexcept;

  // Rounds to so many digits after the period (before it when negative; modulo 2^16), halves away from zero
  // where no mode is given. Never raises: not-a-number stays so, and so becomes what is out of range.
  NSDecimalNumber decimalNumberByRoundingToDecimalPlaces(long places, NSRoundingMode roundingMode) const;
  NSDecimalNumber decimalNumberByRoundingToDecimalPlaces(long places) const;
  NSDecimalNumber twoDigits() const;

  // Neither zero nor not-a-number.
  bool isTrue() const noexcept;

  // Always two digits, "1234.50" and "1234,50", halves to the even digit: 2.345 is "2.34" here, and 2.35 by
  // `twoDigits`. What rounds to nothing keeps its sign: "-0.00". Not-a-number is "NaN".
  NSString stringValueWithPeriod() const;
  NSString stringValueWithComma() const;

  // Sales tax, rates in percent (19 is 19 %). The receiver is what the name has behind its "From":
  // `taxFromGross` is asked of the gross amount.
  NSDecimalNumber taxFromNetWithRate(const NSDecimalNumber& ratePercent) const;
  // nil at a rate of -100.
  NSDecimalNumber taxFromGrossWithRate(const NSDecimalNumber& ratePercent) const;
  NSDecimalNumber netFromGrossWithRate(const NSDecimalNumber& ratePercent) const;
  NSDecimalNumber grossFromNetWithRate(const NSDecimalNumber& ratePercent) const;
  // -1 where the tax is all of the gross amount.
  NSDecimalNumber rateFromGrossWithTax(const NSDecimalNumber& tax) const;
  // nil where the rate is nil or 0.
  NSDecimalNumber netFromTaxWithRate(const NSDecimalNumber& ratePercent) const;

  // Equal for amounts that are equal to the cent, for use in dictionaries: the rounded cents, "1235"
  // for 12.345.
  NSString key() const;

 private:
  explicit NSDecimalNumber(orv::detail::DecimalWord word) noexcept {
    bits_ = word.bits;
    tag_ = word.tag;
  }

  // For amounts of any size.
  NSDecimalNumber sumWith(const NSDecimalNumber& other, const NSDecimalNumberHandler& handler) const;
  NSDecimalNumber differenceWith(const NSDecimalNumber& other, const NSDecimalNumberHandler& handler) const;
  NSDecimalNumber productWith(const NSDecimalNumber& other, const NSDecimalNumberHandler& handler) const;
};
