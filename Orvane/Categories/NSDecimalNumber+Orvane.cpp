#include <charconv>
#include <limits>
#include <string_view>

#include "Orvane/OrvLog.h"
#include "Platform/Foundation/Dates/NSLocale.h"
#include "Platform/Foundation/Text/NSNumberFormatter.h"
#include "Platform/Foundation/Values/Detail/DecimalRep.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/Detail/UInt256.h"
#include "Platform/Foundation/Values/NSDecimalNumber.h"

using namespace orv;

namespace {

NSDecimalNumber hundred() { return NSDecimalNumber(NSDecimal::fromUInt64(100)); }

bool isZero(const NSDecimalNumber& n) { return detail::decimalOf(n).isZero(); }

constexpr NSDecimalNumberHandler rounding(long places, NSRoundingMode mode) {
  return NSDecimalNumberHandler::decimalNumberHandlerWithRoundingMode(mode, static_cast<short>(places), false,
                                                                      false, false, false);
}

// Any amount with two decimals: the form that the texts of usual amounts are a shortcut to.
NSString formattedTwoDecimals(const NSDecimalNumber& amount, const char* separator) {
  const auto formatter = make<NSNumberFormatter>();
  formatter->setLocale(NSLocale::localeWithLocaleIdentifier("en_US_POSIX"));
  formatter->setNumberStyle(NSNumberFormatterDecimalStyle);
  formatter->setPositiveFormat("0.00");
  formatter->setMinimumFractionDigits(2);
  formatter->setMaximumFractionDigits(2);
  formatter->setPaddingPosition(NSNumberFormatterPadBeforePrefix);
  formatter->setPaddingCharacter("0");
  formatter->setUsesGroupingSeparator(false);
  formatter->setDecimalSeparator(separator);
  return formatter->stringFromNumber(amount);
}

// The mantissa with its last digits cut off, halves rounded to the even digit.
uint64_t roundedToEven(uint64_t mantissa, int excess) {
  const uint64_t unit = detail::kPowersOf10[excess];
  const uint64_t kept = mantissa / unit, gone = mantissa - kept * unit;
  return kept + (gone > unit - gone || (gone == unit - gone && (kept & 1) != 0));
}

// The text of an amount of one word with up to 19 decimals; nil for others.
NSString shortTwoDecimals(const NSDecimal& d, char separator) {
  constexpr int kMost = detail::kLargestPower64;
  if (d.notANumber || d.high != 0 || d.exponent < -kMost || d.exponent > 2) return nil;
  uint64_t cents = d.low;
  if (d.exponent < -2) cents = roundedToEven(cents, -2 - d.exponent);
  if (d.exponent > -2 && __builtin_mul_overflow(cents, detail::kPowersOf10[d.exponent + 2], &cents)) return nil;

  char text[32];
  char* end = text;
  if (d.negative) *end++ = '-';
  end = std::to_chars(end, end + 20, cents / 100).ptr;
  *end++ = separator;
  *end++ = static_cast<char>('0' + cents / 10 % 10);
  *end++ = static_cast<char>('0' + cents % 10);
  return detail::StringFactory::ascii(text, static_cast<size_t>(end - text));
}

NSString twoDecimals(const NSDecimalNumber& amount, const char* separator, const char* nothing) {
  if (amount.isNil()) return nil;
  NSString text = shortTwoDecimals(detail::decimalOf(amount), *separator);
  if (text.isNil()) text = formattedTwoDecimals(amount, separator);
  return text.isNil() ? NSString(nothing) : text;
}

}  // namespace

NSDecimalNumber NSDecimalNumber::zu_decimalNumberByDividingBy(const NSDecimalNumber& divisor) const {
  if (isNil()) return nil;
  const NSDecimal d = detail::decimalOf(divisor);
  if (d.isZero() || d.notANumber) return zero();
  const NSDecimal::Result quotient = detail::decimalOf(*this).dividingBy(d);
  if (!quotient.value.notANumber) return NSDecimalNumber(quotient.value);
  OrvLogWarning("Division by zero? %@ / %@", *this, divisor);
  return zero();
}

NSDecimalNumber NSDecimalNumber::decimalNumberWithInteger(long integer, long shiftDecimalPlaces) {
  const auto power = static_cast<short>(0 - static_cast<unsigned long>(shiftDecimalPlaces));
  return NSDecimalNumber(NSDecimal::fromInt64(integer)).decimalNumberByMultiplyingByPowerOf10(power);
}

NSDecimalNumber NSDecimalNumber::decimalNumberWithAmountInteger(long cents) {
  return decimalNumberWithInteger(cents, 2);
}

long NSDecimalNumber::amountIntegerValue() const {
  return decimalNumberByMultiplyingByPowerOf10(2).integerValue();
}

int64_t NSDecimalNumber::integerValue() const noexcept {
  constexpr int64_t kLeast = std::numeric_limits<int64_t>::min(), kMost = std::numeric_limits<int64_t>::max();
  const NSDecimal d = detail::decimalOf(*this);
  if (d.compare(NSDecimal::fromInt64(kMost)) == NSOrderedDescending) return kMost;
  if (d.notANumber || d.compare(NSDecimal::fromInt64(kLeast)) != NSOrderedAscending) return d.toInt64();
  return kLeast;
}

NSDecimalNumber NSDecimalNumber::decimalNumberByRoundingToDecimalPlaces(long places,
                                                                        NSRoundingMode roundingMode) const {
  return decimalNumberByRoundingAccordingToBehavior(rounding(places, roundingMode));
}

NSDecimalNumber NSDecimalNumber::decimalNumberByRoundingToDecimalPlaces(long places) const {
  return decimalNumberByRoundingToDecimalPlaces(places, NSRoundPlain);
}

NSDecimalNumber NSDecimalNumber::twoDigits() const { return decimalNumberByRoundingToDecimalPlaces(2); }

bool NSDecimalNumber::isTrue() const noexcept { return boolValue(); }

NSString NSDecimalNumber::stringValueWithPeriod() const { return twoDecimals(*this, ".", "0.00"); }

NSString NSDecimalNumber::stringValueWithComma() const { return twoDecimals(*this, ",", "0,00"); }

NSDecimalNumber NSDecimalNumber::taxFromNetWithRate(const NSDecimalNumber& ratePercent) const {
  return decimalNumberByMultiplyingBy(ratePercent).zu_decimalNumberByDividingBy(hundred());
}

NSDecimalNumber NSDecimalNumber::taxFromGrossWithRate(const NSDecimalNumber& ratePercent) const {
  const NSDecimalNumber grossRate = hundred().decimalNumberByAdding(ratePercent);
  if (isZero(grossRate)) return nil;
  return zu_decimalNumberByDividingBy(grossRate).decimalNumberByMultiplyingBy(ratePercent);
}

NSDecimalNumber NSDecimalNumber::netFromGrossWithRate(const NSDecimalNumber& ratePercent) const {
  return decimalNumberBySubtracting(taxFromGrossWithRate(ratePercent));
}

NSDecimalNumber NSDecimalNumber::grossFromNetWithRate(const NSDecimalNumber& ratePercent) const {
  return decimalNumberByAdding(taxFromNetWithRate(ratePercent));
}

NSDecimalNumber NSDecimalNumber::rateFromGrossWithTax(const NSDecimalNumber& tax) const {
  const NSDecimalNumber net = decimalNumberBySubtracting(tax);
  if (net.isNil()) return nil;
  if (isZero(net)) return NSDecimalNumber(NSDecimal::fromInt64(-1));
  return hundred().decimalNumberByMultiplyingBy(tax).zu_decimalNumberByDividingBy(net);
}

NSDecimalNumber NSDecimalNumber::netFromTaxWithRate(const NSDecimalNumber& ratePercent) const {
  if (isNil() || ratePercent.isNil() || isZero(ratePercent)) return nil;
  return hundred().decimalNumberByMultiplyingBy(*this).zu_decimalNumberByDividingBy(ratePercent);
}

NSString NSDecimalNumber::key() const {
  return decimalNumberByMultiplyingBy(hundred()).decimalNumberByRoundingToDecimalPlaces(0).stringValue();
}
