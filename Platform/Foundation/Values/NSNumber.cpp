#include "Platform/Foundation/Values/NSNumber.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "Platform/Foundation/Values/Detail/DecimalRep.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSDecimalNumber.h"

using namespace orv;

namespace {

__extension__ typedef __int128 Int128;

constexpr double kTwo63 = 9223372036854775808.0;
constexpr double kTwo64 = 18446744073709551616.0;

bool isInteger(const Value& v) { return v.kind() >= Kind::Bool && v.kind() <= Kind::UInt; }
bool isDecimal(const Value& v) { return v.kind() == Kind::Decimal || v.kind() == Kind::BigDecimal; }

uint64_t bitsOf(const Value& v) { return detail::Access::bits(v); }
double doubleOf(const Value& v) { return __builtin_bit_cast(double, bitsOf(v)); }

Int128 integerOf(const Value& v) {
  return v.kind() == Kind::UInt ? static_cast<Int128>(bitsOf(v))
                                : static_cast<Int128>(static_cast<int64_t>(bitsOf(v)));
}

template <class T>
NSComparisonResult order(const T& a, const T& b) {
  return a < b ? NSOrderedAscending : b < a ? NSOrderedDescending : NSOrderedSame;
}

NSComparisonResult opposite(NSComparisonResult result) { return static_cast<NSComparisonResult>(-result); }

// A double's not-a-number lies between the negative numbers and zero.
NSComparisonResult compareDoubles(double a, double b) {
  if (std::isnan(a) && std::isnan(b)) return NSOrderedSame;
  if (std::isnan(a)) return b < 0 ? NSOrderedDescending : NSOrderedAscending;
  if (std::isnan(b)) return a < 0 ? NSOrderedAscending : NSOrderedDescending;
  return order(a, b);
}

// Exact: the double is never rounded to an integer, nor the integer to a double.
NSComparisonResult compareIntegerWithDouble(Int128 n, double d) {
  if (std::isnan(d)) return n < 0 ? NSOrderedAscending : NSOrderedDescending;
  if (d >= kTwo64) return NSOrderedAscending;
  if (d < -kTwo63) return NSOrderedDescending;
  const double whole = std::trunc(d);
  const NSComparisonResult result = order(n, static_cast<Int128>(whole));
  return result != NSOrderedSame ? result : order(whole, d);
}

NSDecimal decimalOfInteger(const Value& v) {
  return v.kind() == Kind::UInt ? NSDecimal::fromUInt64(bitsOf(v))
                                : NSDecimal::fromInt64(static_cast<int64_t>(bitsOf(v)));
}

bool isWhole64(double d) { return d == std::trunc(d) && d >= -kTwo63 && d < kTwo64; }

// Whole doubles of up to 64 bits stand for themselves, others for their shortest text.
NSDecimal decimalOfDouble(double d) {
  if (!isWhole64(d)) return NSDecimal::fromDouble(d);
  return d < 0 ? NSDecimal::fromInt64(static_cast<int64_t>(d))
               : NSDecimal::fromUInt64(static_cast<uint64_t>(d));
}

NSComparisonResult compareDecimalWithDouble(const NSDecimal& a, double d) {
  if (a.notANumber) return NSOrderedAscending;
  if (std::isnan(d)) return a.negative ? NSOrderedAscending : NSOrderedDescending;
  const NSDecimal b = decimalOfDouble(d);
  if (!b.notANumber) {
    const NSComparisonResult result = a.compare(b);
    // Close to the smallest exponent a decimal holds only the first digits of a double, which lies behind it.
    return result != NSOrderedSame || isWhole64(d) ? result : order(b.toDouble(), d);
  }
  // Beyond the decimal range: larger than every amount, or closer to zero than any but zero itself.
  const NSComparisonResult sign = d < 0 ? NSOrderedDescending : NSOrderedAscending;
  if (std::abs(d) > 1 || a.isZero()) return sign;
  return a.negative ? NSOrderedAscending : NSOrderedDescending;
}

NSComparisonResult compareDecimal(const Value& a, const Value& b) {
  const NSDecimal x = detail::decimalOf(a);
  if (isDecimal(b)) return x.compare(detail::decimalOf(b));
  if (isInteger(b)) return x.compare(decimalOfInteger(b));
  return compareDecimalWithDouble(x, doubleOf(b));
}

size_t hashOfBits(uint64_t bits) {
  const uint64_t h = bits * 0x9E3779B97F4A7C15u;
  return h ^ h >> 32;
}

size_t hashOfDouble(double d) {
  if (isWhole64(d))
    return hashOfBits(d < 0 ? static_cast<uint64_t>(static_cast<int64_t>(d)) : static_cast<uint64_t>(d));
  return hashOfBits(std::isnan(d) ? 0x7FF8000000000000u : __builtin_bit_cast(uint64_t, d));
}

size_t hashOfDecimal(const NSDecimal& d) {
  if (d.notANumber) return hashOfBits(0x7FF8000000000001u);
  const bool fits = d.isInteger() && d.compare(NSDecimal::fromUInt64(UINT64_MAX)) != NSOrderedDescending &&
                    d.compare(NSDecimal::fromInt64(INT64_MIN)) != NSOrderedAscending;
  return fits ? hashOfBits(d.toUInt64()) : hashOfDouble(d.toDouble());
}

int64_t clampToSigned(double d) {
  if (std::isnan(d)) return 0;
  if (d >= kTwo63) return INT64_MAX;
  if (d < -kTwo63) return INT64_MIN;
  return static_cast<int64_t>(d);
}

uint64_t clampToUnsigned(double d) {
  if (d >= kTwo64) return UINT64_MAX;
  return d >= 0 ? static_cast<uint64_t>(d) : static_cast<uint64_t>(clampToSigned(d));
}

// Ten to the power of -19 to 0.
constexpr double kTinyPowers[] = {1e-19, 1e-18, 1e-17, 1e-16, 1e-15, 1e-14, 1e-13, 1e-12, 1e-11, 1e-10,
                                  1e-9,  1e-8,  1e-7,  1e-6,  1e-5,  1e-4,  1e-3,  1e-2,  1e-1,  1e0};

// Whether two neighbouring doubles lie closer together than the sixteenth digit counts. Then a number that has
// a text of up to fifteen digits prints as that text with sixteen, too.
bool isFinerThanSixteenDigits(double d, int exponent) {
  const double gap = std::ldexp(1.0, std::ilogb(d) - 52);
  return gap < 0.99 * kTinyPowers[exponent + 4];
}

// The shortest text of a double that reads back, in plain notation; nothing where sixteen digits might say
// something else, or the number is too large or too small for plain notation.
size_t writeShortText(double d, char* out) {
  char shortest[40];
  const char* end = std::to_chars(shortest, std::end(shortest), d, std::chars_format::scientific).ptr;
  const char* first = shortest + (d < 0 ? 1 : 0);
  const char* e = std::find(first, end, 'e');
  int exponent = 0;
  std::from_chars(e + (e[1] == '+' ? 2 : 1), end, exponent);
  char digits[24];
  digits[0] = *first;
  const auto count = static_cast<int>(e - first > 1 ? std::copy(first + 2, e, digits + 1) - digits : 1);
  if (d == 0 || count > 15 || exponent < -4 || exponent > 15 || !isFinerThanSixteenDigits(d, exponent))
    return 0;
  char* at = out;
  if (d < 0) *at++ = '-';
  if (exponent < 0) at = std::fill_n(std::copy_n("0.", 2, at), -exponent - 1, '0');
  const int whole = std::clamp(exponent + 1, 0, count);
  at = std::copy_n(digits, whole, at);
  if (exponent + 1 > count) at = std::fill_n(at, exponent + 1 - count, '0');
  if (exponent >= 0 && whole < count) *at++ = '.';
  at = std::copy(digits + whole, digits + count, at);
  return static_cast<size_t>(at - out);
}

NSString textOfDouble(double d, int digits) {
  if (std::isnan(d)) return "nan";
  if (std::isinf(d)) return d < 0 ? "-inf" : "inf";
  char buffer[48];
  if (const size_t length = digits == 16 ? writeShortText(d, buffer) : 0)
    return detail::StringFactory::ascii(buffer, length);
  const auto end = std::to_chars(buffer, std::end(buffer), d, std::chars_format::general, digits).ptr;
  return detail::StringFactory::ascii(buffer, static_cast<size_t>(end - buffer));
}

template <class T>
NSString textOfInteger(T n) {
  char buffer[24];
  const auto end = std::to_chars(buffer, std::end(buffer), n).ptr;
  return detail::StringFactory::ascii(buffer, static_cast<size_t>(end - buffer));
}

}  // namespace

bool NSNumber::boolValue() const noexcept {
  switch (kind()) {
    case Kind::Bool:
    case Kind::Int:
    case Kind::UInt: return bits_ != 0;
    case Kind::Double: return doubleOf(*this) != 0;
    case Kind::Decimal:
    case Kind::BigDecimal: {
      const NSDecimal d = detail::decimalOf(*this);
      return !d.isZero() && !d.notANumber;
    }
    default: return false;
  }
}

int64_t NSNumber::longLongOfOther() const noexcept {
  if (kind() == Kind::Double) return clampToSigned(doubleOf(*this));
  return isDecimal() ? detail::decimalOf(*this).toInt64() : 0;
}

NSInteger NSNumber::integerValue() const noexcept {
  return isDecimal() ? as<NSDecimalNumber>().integerValue() : longLongValue();
}

uint64_t NSNumber::unsignedLongLongValue() const noexcept {
  if (isInteger()) return bits_;
  if (kind() == Kind::Double) return clampToUnsigned(doubleOf(*this));
  return isDecimal() ? detail::decimalOf(*this).toUInt64() : 0;
}

double NSNumber::doubleOfOther() const noexcept {
  if (kind() == Kind::UInt) return static_cast<double>(bits_);
  if (isInteger()) return static_cast<double>(static_cast<int64_t>(bits_));
  return isDecimal() ? detail::decimalOf(*this).toDouble() : 0;
}

NSDecimal NSNumber::decimalValue() const {
  if (isDecimal()) return detail::decimalOf(*this);
  if (kind() == Kind::Double) return decimalOfDouble(doubleOf(*this));
  return isInteger() ? decimalOfInteger(*this) : NSDecimal();
}

NSString NSNumber::stringValue() const {
  switch (kind()) {
    case Kind::Bool:
    case Kind::Int: return textOfInteger(static_cast<int64_t>(bits_));
    case Kind::UInt: return textOfInteger(bits_);
    case Kind::Double: return textOfDouble(doubleOf(*this), detail::Access::type(*this) == 'f' ? 7 : 16);
    case Kind::Decimal:
    case Kind::BigDecimal: {
      char buffer[NSDecimal::kMaxTextLength];
      const char* end = detail::decimalOf(*this).writeText(buffer);
      return detail::StringFactory::ascii(buffer, static_cast<size_t>(end - buffer));
    }
    default: return nil;
  }
}

const char* NSNumber::objCType() const noexcept {
  switch (detail::Access::type(*this)) {
    case 'c': return "c";
    case 's': return "s";
    case 'i': return "i";
    case 'q': return "q";
    case 'Q': return "Q";
    case 'f': return "f";
    default: return isNil() ? nullptr : "d";
  }
}

namespace orv::detail {

NSComparisonResult compareNumbers(const Value& a, const Value& b) noexcept {
  if (isDecimal(a)) return compareDecimal(a, b);
  if (isDecimal(b)) return opposite(compareDecimal(b, a));
  if (isInteger(a) && isInteger(b)) return order(integerOf(a), integerOf(b));
  if (isInteger(a)) return compareIntegerWithDouble(integerOf(a), doubleOf(b));
  if (isInteger(b)) return opposite(compareIntegerWithDouble(integerOf(b), doubleOf(a)));
  return compareDoubles(doubleOf(a), doubleOf(b));
}

bool equalNumbers(const Value& a, const Value& b) noexcept { return compareNumbers(a, b) == NSOrderedSame; }

size_t hashOfNumber(const Value& number) noexcept {
  if (isInteger(number)) return hashOfBits(bitsOf(number));
  return isDecimal(number) ? hashOfDecimal(decimalOf(number)) : hashOfDouble(doubleOf(number));
}

}  // namespace orv::detail
