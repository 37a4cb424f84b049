#include "Platform/Foundation/Values/NSDecimalNumber.h"

#include "Platform/Foundation/Values/Detail/DecimalRep.h"
#include "Platform/Foundation/Values/Detail/KeptText.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSException.h"

using namespace orv;

const NSString NSDecimalNumberExactnessException = orv::detail::keptText("NSDecimalNumberExactnessException");
const NSString NSDecimalNumberOverflowException = orv::detail::keptText("NSDecimalNumberOverflowException");
const NSString NSDecimalNumberUnderflowException = orv::detail::keptText("NSDecimalNumberUnderflowException");
const NSString NSDecimalNumberDivideByZeroException =
    orv::detail::keptText("NSDecimalNumberDivideByZeroException");

namespace {

void raiseAsAsked(NSCalculationError error, const NSDecimalNumberHandler& handler) {
  switch (error) {
    case NSCalculationNoError: return;
    case NSCalculationLossOfPrecision:
      if (!handler.raiseOnExactness) return;
      NSException::raise(NSDecimalNumberExactnessException, "The result of a decimal calculation is not exact");
    case NSCalculationUnderflow:
      if (!handler.raiseOnUnderflow) return;
      NSException::raise(NSDecimalNumberUnderflowException, "The result of a decimal calculation is too small");
    case NSCalculationOverflow:
      if (!handler.raiseOnOverflow) return;
      NSException::raise(NSDecimalNumberOverflowException, "The result of a decimal calculation is too large");
    case NSCalculationDivideByZero:
      if (!handler.raiseOnDivideByZero) return;
      NSException::raise(NSDecimalNumberDivideByZeroException, "A decimal number is divided by zero");
  }
}

NSDecimalNumber roundedTo(const NSDecimal& value, const NSDecimalNumberHandler& handler) {
  const NSDecimal result = value.rounded(handler.scale, handler.roundingMode);
  if (result.notANumber && !value.notANumber) raiseAsAsked(NSCalculationOverflow, handler);
  return NSDecimalNumber(result);
}

NSDecimalNumber finished(const NSDecimal::Result& result, const NSDecimalNumberHandler& handler) {
  if (result.error != NSCalculationNoError) raiseAsAsked(result.error, handler);
  return handler.scale == NSDecimalNoScale ? NSDecimalNumber(result.value) : roundedTo(result.value, handler);
}

}  // namespace

NSDecimalNumber::NSDecimalNumber(const NSDecimal& decimal) {
  static_cast<Value&>(*this) = detail::boxDecimal(decimal);
}

NSDecimalNumber NSDecimalNumber::decimalNumberWithString(const NSString& text) {
  if (text.isNil()) return notANumber();
  return NSDecimalNumber(detail::withUnits(detail::unitsOf(text), [](const auto* units, size_t length) {
    return NSDecimal::fromText(units, length);
  }));
}

NSDecimalNumber NSDecimalNumber::decimalNumberWithDecimal(const NSDecimal& decimal) {
  return NSDecimalNumber(decimal);
}

NSDecimalNumber NSDecimalNumber::decimalNumberWithMantissa(unsigned long long mantissa, short exponent,
                                                           bool isNegative) {
  return NSDecimalNumber(NSDecimal::make(mantissa, exponent, isNegative));
}

NSDecimalNumber NSDecimalNumber::zero() { return NSDecimalNumber(NSDecimal()); }

NSDecimalNumber NSDecimalNumber::one() { return NSDecimalNumber(NSDecimal::fromUInt64(1)); }

NSDecimalNumber NSDecimalNumber::notANumber() { return NSDecimalNumber(NSDecimal::nan()); }

NSDecimalNumber NSDecimalNumber::maximumDecimalNumber() { return NSDecimalNumber(NSDecimal::largest()); }

NSDecimalNumber NSDecimalNumber::minimumDecimalNumber() {
  return NSDecimalNumber(NSDecimal::largest().negated());
}

NSDecimalNumber NSDecimalNumber::sumWith(const NSDecimalNumber& other,
                                         const NSDecimalNumberHandler& handler) const {
  if (isNil()) return nil;
  return finished(detail::decimalOf(*this).adding(detail::decimalOf(other), handler.roundingMode), handler);
}

NSDecimalNumber NSDecimalNumber::differenceWith(const NSDecimalNumber& other,
                                                const NSDecimalNumberHandler& handler) const {
  if (isNil()) return nil;
  return finished(detail::decimalOf(*this).subtracting(detail::decimalOf(other), handler.roundingMode),
                  handler);
}

NSDecimalNumber NSDecimalNumber::productWith(const NSDecimalNumber& other,
                                             const NSDecimalNumberHandler& handler) const {
  if (isNil()) return nil;
  return finished(detail::decimalOf(*this).multiplyingBy(detail::decimalOf(other), handler.roundingMode),
                  handler);
}

NSDecimalNumber NSDecimalNumber::decimalNumberByDividingBy(const NSDecimalNumber& divisor,
                                                           const NSDecimalNumberHandler& handler) const {
  if (isNil()) return nil;
  return finished(detail::decimalOf(*this).dividingBy(detail::decimalOf(divisor), handler.roundingMode),
                  handler);
}

NSDecimalNumber NSDecimalNumber::decimalNumberByRaisingToPower(NSUInteger power,
                                                               const NSDecimalNumberHandler& handler) const {
  if (isNil()) return nil;
  return finished(detail::decimalOf(*this).raisedToPower(power, handler.roundingMode), handler);
}

NSDecimalNumber NSDecimalNumber::decimalNumberByMultiplyingByPowerOf10(
    short power, const NSDecimalNumberHandler& handler) const {
  if (isNil()) return nil;
  return finished(detail::decimalOf(*this).multipliedByPowerOf10(power, handler.roundingMode), handler);
}

NSDecimalNumber NSDecimalNumber::decimalNumberByRoundingAccordingToBehavior(
    const NSDecimalNumberHandler& handler) const {
  if (isNil()) return nil;
  const NSDecimal value = detail::decimalOf(*this);
  if (value.notANumber) raiseAsAsked(NSCalculationOverflow, handler);
  return roundedTo(value, handler);
}
