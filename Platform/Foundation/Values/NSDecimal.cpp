#include "Platform/Foundation/Values/NSDecimal.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "Platform/Foundation/Values/Detail/UInt256.h"

using orv::detail::digitCount;
using orv::detail::dropZero;
using orv::detail::highHalf;
using orv::detail::kLargestPower64;
using orv::detail::kPowersOf10;
using orv::detail::lowHalf;
using orv::detail::powerOf10;
using orv::detail::UInt128;
using orv::detail::UInt256;

namespace {

constexpr int kDivisionDigits = 38;
constexpr UInt128 kLargestMantissa = ~static_cast<UInt128>(0);
constexpr int kUInt256Digits = 77;  // every number of so many digits fits

// How what was cut off behind a number relates to half a unit of its last digit.
enum class Tail { Exact, BelowHalf, Half, AboveHalf };

constexpr Tail tailOf(unsigned digit, Tail behind) {
  if (digit == 0 && behind == Tail::Exact) return Tail::Exact;
  if (digit < 5) return Tail::BelowHalf;
  return digit == 5 && behind == Tail::Exact ? Tail::Half : Tail::AboveHalf;
}

bool roundsAway(NSRoundingMode mode, bool negative, bool odd, Tail tail) {
  if (tail == Tail::Exact) return false;
  switch (mode) {
    case NSRoundPlain: return tail != Tail::BelowHalf;
    case NSRoundDown: return negative;
    case NSRoundUp: return !negative;
    case NSRoundBankers: return tail == Tail::AboveHalf || (tail == Tail::Half && odd);
  }
  return false;
}

NSDecimal compacted(UInt128 mantissa, int exponent, bool negative) {
  return {lowHalf(mantissa), highHalf(mantissa), static_cast<int16_t>(exponent), negative, false};
}

// Divides a number by a power of ten when that leaves no remainder.
inline bool dropZeros(UInt128& n, uint64_t power) {
  const UInt128 quotient = n / power;
  if (lowHalf(n) != lowHalf(quotient) * power) return false;  // a remainder is below 2^64
  n = quotient;
  return true;
}

inline bool isMultipleOf10(UInt128 n) {
  // 2^64 leaves the remainder 1 when divided by 5.
  return (lowHalf(n) & 1) == 0 && (highHalf(n) % 5 + lowHalf(n) % 5) % 5 == 0;
}

// Moves trailing zeros of a mantissa other than 0 into the exponent, which must not be above the largest.
inline void moveZeros(UInt128& mantissa, int& exponent) {
  constexpr int kStep = 16;
  if (highHalf(mantissa) != 0 && lowHalf(mantissa) % (1 << kStep) == 0 &&
      exponent <= NSDecimal::kMaxExponent - kStep && dropZeros(mantissa, kPowersOf10[kStep]))
    exponent += kStep;
  while (highHalf(mantissa) != 0) {
    if (exponent >= NSDecimal::kMaxExponent || !isMultipleOf10(mantissa)) return;
    mantissa /= 10;
    ++exponent;
  }
  uint64_t word = lowHalf(mantissa);
  while (exponent < NSDecimal::kMaxExponent && dropZero(word)) ++exponent;
  mantissa = word;
}

// Cuts the last `count` digits off, at least one, and answers what they were worth with the tail behind them.
Tail dropDigits(UInt256& n, int count, Tail behind) {
  bool anything = behind != Tail::Exact;
  while (count > 1 && !n.isZero()) {
    const int step = std::min(count - 1, kLargestPower64);
    anything |= n.divide(kPowersOf10[step]) != 0;
    count -= step;
  }
  return tailOf(static_cast<unsigned>(n.divide(10)), anything ? Tail::BelowHalf : Tail::Exact);
}

NSDecimal::Result failure(NSCalculationError error) { return {NSDecimal::nan(), error}; }

// The value of an exact 128-bit mantissa whose exponent is in range.
inline NSDecimal::Result exact(UInt128 mantissa, int exponent, bool negative) {
  if (mantissa == 0) return {};
  moveZeros(mantissa, exponent);
  return {compacted(mantissa, exponent, negative), NSCalculationNoError};
}

// The digits to cut so that the number is at most `limit`, 10^38 - 1 or more.
int excessDigits(UInt256 n, UInt128 limit) {
  // 1233 / 4096 is a little less than the digits in a bit: never too many to begin with.
  int excess = std::max(0, (n.bitCount() - 129) * 1233 >> 12);
  for (int left = excess; left > 0; left -= kLargestPower64)
    n.divide(kPowersOf10[std::min(left, kLargestPower64)]);
  while (!n.fits128() || n.low128() > limit) {
    n.divide(10);
    ++excess;
  }
  return excess;
}

// Writes a number whose exponent is above the largest with the largest; false when the mantissa is too small
// for that.
bool lowerExponent(UInt128& mantissa, int& exponent) {
  const int excess = exponent - NSDecimal::kMaxExponent;
  if (excess <= 0) return true;
  if (excess > 38 || mantissa > kLargestMantissa / powerOf10(excess)) return false;
  mantissa *= powerOf10(excess);
  exponent = NSDecimal::kMaxExponent;
  return true;
}

// Rounds an exact result, a number and the tail behind it, to a decimal with a mantissa of at most `limit`.
NSDecimal::Result finished(const UInt256& number, Tail behind, int exponent, bool negative, NSRoundingMode mode,
                           UInt128 limit = kLargestMantissa) {
  if (number.isZero() && behind == Tail::Exact) return {};
  int cut = excessDigits(number, limit);
  for (;; ++cut) {
    cut = std::max(cut, NSDecimal::kMinExponent - exponent);
    UInt256 rest = number;
    const Tail tail = cut > 0 ? dropDigits(rest, cut, behind) : behind;
    UInt128 mantissa = rest.low128();
    if (mantissa == 0) return failure(NSCalculationUnderflow);
    if (roundsAway(mode, negative, (mantissa & 1) != 0, tail)) {
      if (mantissa == limit) continue;  // 99...9 becomes 100...0: cut one digit more
      ++mantissa;
    }
    int power = exponent + cut;
    if (!lowerExponent(mantissa, power)) return failure(NSCalculationOverflow);
    moveZeros(mantissa, power);
    return {compacted(mantissa, power, negative),
            tail == Tail::Exact ? NSCalculationNoError : NSCalculationLossOfPrecision};
  }
}

// Adds where the plain path cannot: 128-bit mantissas, or exponents far apart. `upper` has the larger exponent.
NSDecimal::Result wideSum(const NSDecimal& upper, const NSDecimal& lower, NSRoundingMode mode) {
  const int distance = upper.exponent - lower.exponent;
  const int shift = std::min(distance, kUInt256Digits - digitCount(upper.mantissa()));
  UInt256 a = upper.mantissa();
  a.multiplyByPowerOf10(shift);
  UInt256 b = lower.mantissa();
  // Far below the last digit that can matter, only whether there is anything counts.
  Tail tail = Tail::Exact;
  if (distance > shift) tail = dropDigits(b, distance - shift, Tail::Exact);
  const int exponent = upper.exponent - shift;
  if (upper.negative == lower.negative) {
    a.add(b);
    return finished(a, tail, exponent, upper.negative, mode);
  }
  if (a.compare(b) < 0) {
    b.subtract(a);
    return finished(b, tail, exponent, lower.negative, mode);
  }
  a.subtract(b);
  if (tail != Tail::Exact) {
    a.subtract(UInt256(1));
    tail = tail == Tail::BelowHalf ? Tail::AboveHalf : tail == Tail::Half ? Tail::Half : Tail::BelowHalf;
  }
  return finished(a, tail, exponent, upper.negative, mode);
}

// The sum of two numbers of which the second takes another sign.
inline NSDecimal::Result sum(const NSDecimal& a, NSDecimal b, NSRoundingMode mode) {
  if (a.notANumber || b.notANumber) return failure(NSCalculationOverflow);
  if (b.isZero()) return {a, NSCalculationNoError};
  if (a.isZero()) return {b, NSCalculationNoError};
  const bool ordered = a.exponent >= b.exponent;
  const NSDecimal& upper = ordered ? a : b;
  const NSDecimal& lower = ordered ? b : a;
  const int distance = upper.exponent - lower.exponent;
  if ((a.high | b.high) != 0 || distance > kLargestPower64) return wideSum(upper, lower, mode);
  const UInt128 x = static_cast<UInt128>(upper.low) * kPowersOf10[distance];
  const UInt128 y = lower.low;
  if (upper.negative == lower.negative) return exact(x + y, lower.exponent, upper.negative);
  return x >= y ? exact(x - y, lower.exponent, upper.negative) : exact(y - x, lower.exponent, lower.negative);
}

// The quotient of two mantissas of one word, other than 0: two long divisions give its 38 digits, 19 each.
// False where the exponent would leave the range, or the mantissa could hold one digit more.
inline bool divideWords(const NSDecimal& a, const NSDecimal& b, NSRoundingMode mode,
                        NSDecimal::Result& result) {
  constexpr uint64_t kHalfUnit = kPowersOf10[kDivisionDigits / 2 - 1];  // the least of 19 digits
  const bool sign = a.negative != b.negative;
  const int power = a.exponent - b.exponent;
  if (power > NSDecimal::kMaxExponent || power < NSDecimal::kMinExponent + 64) return false;
  const uint64_t whole = a.low / b.low;
  if (whole * b.low == a.low) {
    result = exact(whole, power, sign);
    return true;
  }
  int shift = kDivisionDigits / 2 - 1 - digitCount(a.low) + digitCount(b.low);
  if (shift < 0) return false;
  UInt128 dividend = a.low * powerOf10(shift);
  if (dividend < static_cast<UInt128>(b.low) * kHalfUnit) {
    dividend *= 10;
    ++shift;
  }
  const uint64_t upper = lowHalf(dividend / b.low);
  UInt128 rest = dividend - static_cast<UInt128>(upper) * b.low;
  if (rest == 0) {
    result = exact(upper, power - shift, sign);
    return true;
  }
  rest *= kPowersOf10[kLargestPower64];
  const uint64_t lower = lowHalf(rest / b.low);
  const uint64_t left = lowHalf(rest) - lower * b.low;
  // Only such a divisor leaves nothing behind one digit more.
  if (left != 0 && (b.low % 2 == 0 || b.low % 5 == 0) && static_cast<UInt128>(left) * 10 % b.low == 0)
    return false;
  UInt128 quotient = static_cast<UInt128>(upper) * kPowersOf10[kLargestPower64] + lower;
  const uint64_t missing = b.low - left;
  const Tail tail = left == 0        ? Tail::Exact
                    : left < missing ? Tail::BelowHalf
                    : left > missing ? Tail::AboveHalf
                                     : Tail::Half;
  if (roundsAway(mode, sign, (quotient & 1) != 0, tail)) ++quotient;
  result = exact(quotient, power - shift - kLargestPower64, sign);
  if (left != 0) result.error = NSCalculationLossOfPrecision;
  return true;
}

// Reads the digits of a number from units of any width.
template <class Unit>
class Reader {
 public:
  Reader(const Unit* text, size_t length) : at_(text), end_(text + length) {}

  NSDecimal read() {
    skipBlanks();
    bool negative = false;
    if (at_ < end_ && (*at_ == '+' || *at_ == '-')) negative = *at_++ == '-';
    if (isExponentMark()) return {};
    readDigits(false);
    if (at_ < end_ && *at_ == '.') {
      ++at_;
      readDigits(true);
    }
    if (!anyDigit_) return NSDecimal::nan();
    const int power = isExponentMark() ? readExponent() : 0;
    if (mantissa_ == 0) {
      const bool inRange = power >= NSDecimal::kMinExponent && power <= NSDecimal::kMaxExponent;
      return inRange ? NSDecimal() : NSDecimal::nan();
    }
    return NSDecimal::make(mantissa_, exponent_ + power, negative);
  }

 private:
  static constexpr int kFar = 1 << 28;  // beyond every exponent, and safe to add to

  static bool isBlank(uint32_t c) {
    if (c <= 0x20) return c == 0x20 || (c >= 0x09 && c <= 0x0D);
    if (c < 0x1680) return c == 0x85 || c == 0xA0;
    return c == 0x1680 || (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F ||
           c == 0x205F || c == 0x3000;
  }
  bool isDigit() const { return at_ < end_ && *at_ >= '0' && *at_ <= '9'; }
  bool isExponentMark() const { return at_ < end_ && (*at_ == 'e' || *at_ == 'E'); }
  void skipBlanks() {
    while (at_ < end_ && isBlank(static_cast<uint32_t>(*at_))) ++at_;
  }

  void readDigits(bool fraction) {
    for (; isDigit(); ++at_) {
      anyDigit_ = true;
      take(static_cast<unsigned>(*at_ - '0'), fraction);
    }
  }

  void take(unsigned digit, bool fraction) {
    constexpr uint64_t kNoCarry = UINT64_MAX / 10;
    if (highHalf(mantissa_) == 0 && lowHalf(mantissa_) < kNoCarry) {
      mantissa_ = lowHalf(mantissa_) * 10 + digit;
      if (fraction && exponent_ > -kFar) --exponent_;
      return;
    }
    constexpr UInt128 kLast = kLargestMantissa / 10;
    full_ = full_ || mantissa_ > kLast || (mantissa_ == kLast && digit > lowHalf(kLargestMantissa % 10));
    if (!full_) mantissa_ = mantissa_ * 10 + digit;
    if (fraction != full_ && exponent_ > -kFar && exponent_ < kFar) exponent_ += full_ ? 1 : -1;
  }

  int readExponent() {
    const Unit* mark = at_++;
    bool negative = false;
    if (at_ < end_ && (*at_ == '+' || *at_ == '-')) negative = *at_++ == '-';
    if (!isDigit()) {
      at_ = mark;
      return 0;
    }
    int power = 0;
    for (; isDigit(); ++at_) power = std::min(power * 10 + static_cast<int>(*at_ - '0'), kFar / 16);
    return negative ? -power : power;
  }

  const Unit* at_;
  const Unit* end_;
  UInt128 mantissa_ = 0;
  int exponent_ = 0;
  bool anyDigit_ = false;
  bool full_ = false;  // a digit has been dropped: all that follow are, too
};

char* writeDigits(UInt128 n, char* out) {
  if (highHalf(n) == 0) return std::to_chars(out, out + 20, lowHalf(n)).ptr;
  constexpr uint64_t kChunk = kPowersOf10[kLargestPower64];
  const UInt128 upper = n / kChunk;
  uint64_t rest = lowHalf(n) - lowHalf(upper) * kChunk;
  char* const end = writeDigits(upper, out) + kLargestPower64;
  for (char* at = end; at != end - kLargestPower64; rest /= 10) *--at = static_cast<char>('0' + rest % 10);
  return end;
}

// What is left of a number cut to an integer, modulo 2^64.
uint64_t truncated(const NSDecimal& d) {
  if (d.notANumber) return 0;
  if (d.exponent < 0) return d.exponent < -38 ? 0 : lowHalf(d.mantissa() / powerOf10(-d.exponent));
  if (d.exponent >= 64) return 0;  // a multiple of 2^64
  uint64_t n = d.low;
  for (int i = 0; i < d.exponent; ++i) n *= 10;
  return n;
}

}  // namespace

NSDecimal NSDecimal::make(UInt128 mantissa, int exponent, bool negative) {
  if (mantissa == 0) return {};
  if (!lowerExponent(mantissa, exponent)) return nan();
  if (exponent < kMinExponent) {
    const int excess = kMinExponent - exponent;
    if (excess >= digitCount(mantissa)) return nan();
    mantissa /= powerOf10(excess);
    exponent = kMinExponent;
  }
  return exact(mantissa, exponent, negative).value;
}

NSDecimal NSDecimal::fromUInt64(uint64_t n) { return exact(n, 0, false).value; }

NSDecimal NSDecimal::fromInt64(int64_t n) {
  const bool negative = n < 0;
  return exact(negative ? 0 - static_cast<uint64_t>(n) : static_cast<uint64_t>(n), 0, negative).value;
}

NSDecimal NSDecimal::fromDouble(double d) {
  if (!std::isfinite(d)) return nan();
  char text[32];
  const auto end = std::to_chars(text, text + sizeof text, d, std::chars_format::scientific).ptr;
  return fromText(std::string_view(text, static_cast<size_t>(end - text)));
}

NSDecimal NSDecimal::fromText(std::string_view text) { return Reader<char>(text.data(), text.size()).read(); }

NSDecimal NSDecimal::fromText(const uint8_t* latin1, size_t length) {
  return Reader<uint8_t>(latin1, length).read();
}

NSDecimal NSDecimal::fromText(const char16_t* units, size_t length) {
  return Reader<char16_t>(units, length).read();
}

NSDecimal::Result NSDecimal::adding(const NSDecimal& other, NSRoundingMode mode) const {
  return sum(*this, other, mode);
}

NSDecimal::Result NSDecimal::subtracting(const NSDecimal& other, NSRoundingMode mode) const {
  return sum(*this, other.negated(), mode);
}

NSDecimal::Result NSDecimal::multiplyingBy(const NSDecimal& other, NSRoundingMode mode) const {
  if (notANumber || other.notANumber) return failure(NSCalculationOverflow);
  if (isZero() || other.isZero()) return {};
  const bool sign = negative != other.negative;
  const int power = exponent + other.exponent;
  if ((high | other.high) == 0 && power >= kMinExponent && power <= kMaxExponent)
    return exact(static_cast<UInt128>(low) * other.low, power, sign);
  return finished(UInt256::product(mantissa(), other.mantissa()), Tail::Exact, power, sign, mode);
}

NSDecimal::Result NSDecimal::dividingBy(const NSDecimal& divisor, NSRoundingMode mode) const {
  if (notANumber || divisor.notANumber) return failure(NSCalculationOverflow);
  if (divisor.isZero()) return failure(NSCalculationDivideByZero);
  if (isZero()) return {};
  if (Result result; (high | divisor.high) == 0 && divideWords(*this, divisor, mode, result)) return result;
  const bool sign = negative != divisor.negative;
  const UInt128 d = divisor.mantissa();
  if (d == 1) return finished(mantissa(), Tail::Exact, exponent - divisor.exponent, sign, mode);
  // So many digits more that the quotient has one digit too many, or just enough.
  const int shift = std::max(0, kDivisionDigits - digitCount(mantissa()) + digitCount(d));
  UInt256 quotient = mantissa();
  quotient.multiplyByPowerOf10(shift);
  const UInt128 rest = quotient.divideWide(d);
  const int power = exponent - divisor.exponent - shift;
  if (rest == 0) return finished(quotient, Tail::Exact, power, sign, mode);
  if (quotient.fits128() && quotient.low128() <= kLargestMantissa / 10) {
    // One digit more may make it exact, and the mantissa can hold it.
    UInt256 next = rest;
    next.multiply(10);
    if (next.divideWide(d) == 0) {
      quotient.multiply(10);
      quotient.add(next);
      return finished(quotient, Tail::Exact, power - 1, sign, mode);
    }
  }
  const UInt128 missing = d - rest;
  const Tail tail = rest < missing ? Tail::BelowHalf : rest == missing ? Tail::Half : Tail::AboveHalf;
  return finished(quotient, tail, power, sign, mode, powerOf10(kDivisionDigits) - 1);
}

NSDecimal::Result NSDecimal::raisedToPower(NSUInteger power, NSRoundingMode mode) const {
  if (notANumber) return failure(NSCalculationOverflow);
  Result result{fromUInt64(1), NSCalculationNoError};
  Result square{*this, NSCalculationNoError};
  bool inexact = false;
  while (power != 0) {
    if (power & 1) {
      result = result.value.multiplyingBy(square.value, mode);
      if (result.value.notANumber) return result;
      inexact = inexact || result.error != NSCalculationNoError;
    }
    power >>= 1;
    if (power == 0) break;
    square = square.value.multiplyingBy(square.value, mode);
    if (square.value.notANumber) return square;
    inexact = inexact || square.error != NSCalculationNoError;
  }
  return {result.value, inexact ? NSCalculationLossOfPrecision : NSCalculationNoError};
}

NSDecimal::Result NSDecimal::multipliedByPowerOf10(int power, NSRoundingMode mode) const {
  if (notANumber) return failure(NSCalculationOverflow);
  if (isZero()) return {};
  const int shifted = exponent + std::clamp(power, -4096, 4096);
  if (shifted > kMaxExponent) return failure(NSCalculationOverflow);
  return finished(mantissa(), Tail::Exact, shifted, negative, mode);
}

NSDecimal NSDecimal::rounded(int scale, NSRoundingMode mode) const {
  if (notANumber || scale == NSDecimalNoScale || isZero()) return *this;
  scale = std::max(scale, -4096);
  const int excess = -scale - exponent;
  if (excess <= 0) return *this;
  if (high == 0 && excess <= kLargestPower64) {
    const uint64_t unit = kPowersOf10[excess];
    const uint64_t kept = low / unit, gone = low - kept * unit, half = unit / 2;
    const Tail tail = gone == 0      ? Tail::Exact
                      : gone < half  ? Tail::BelowHalf
                      : gone == half ? Tail::Half
                                     : Tail::AboveHalf;
    return make(kept + roundsAway(mode, negative, (kept & 1) != 0, tail), -scale, negative);
  }
  UInt256 number = mantissa();
  const Tail tail = dropDigits(number, excess, Tail::Exact);
  UInt128 result = number.low128();
  if (roundsAway(mode, negative, (result & 1) != 0, tail)) ++result;
  return make(result, -scale, negative);
}

NSDecimal NSDecimal::negated() const {
  NSDecimal result = *this;
  result.negative = !negative && !isZero() && !notANumber;
  return result;
}

NSComparisonResult NSDecimal::compare(const NSDecimal& other) const {
  const auto order = [](int sign) { return static_cast<NSComparisonResult>((sign > 0) - (sign < 0)); };
  if (notANumber || other.notANumber) return order(other.notANumber - notANumber);
  const int sign = isZero() ? 0 : negative ? -1 : 1;
  const int otherSign = other.isZero() ? 0 : other.negative ? -1 : 1;
  if (sign != otherSign || sign == 0) return order(sign - otherSign);
  const UInt128 a = mantissa(), b = other.mantissa();
  if (exponent == other.exponent) return order(a == b ? 0 : a < b ? -sign : sign);
  const int shift = exponent - other.exponent;
  if ((high | other.high) == 0 && std::abs(shift) <= kLargestPower64) {
    const UInt128 x = a * kPowersOf10[std::max(shift, 0)], y = b * kPowersOf10[std::max(-shift, 0)];
    return order(x == y ? 0 : x < y ? -sign : sign);
  }
  const int magnitude = digitCount(a) + exponent - digitCount(b) - other.exponent;
  if (magnitude != 0) return order(magnitude * sign);
  // As many digits before the period: write both with the smaller exponent.
  const UInt256 x = UInt256::product(a, powerOf10(std::max(shift, 0)));
  const UInt256 y = UInt256::product(b, powerOf10(std::max(-shift, 0)));
  return order(x.compare(y) * sign);
}

char* NSDecimal::writeText(char* out) const {
  if (notANumber) return std::copy_n("NaN", 3, out);
  if (negative) *out++ = '-';
  if (exponent >= 0) {
    char* end = writeDigits(mantissa(), out);
    return isZero() ? end : std::fill_n(end, exponent, '0');
  }
  char digits[40];
  const int count = static_cast<int>(writeDigits(mantissa(), digits) - digits);
  const int whole = count + exponent;  // digits before the period
  if (whole <= 0) {
    out = std::copy_n("0.", 2, out);
    out = std::fill_n(out, -whole, '0');
    return std::copy_n(digits, count, out);
  }
  out = std::copy_n(digits, whole, out);
  *out++ = '.';
  return std::copy_n(digits + whole, count - whole, out);
}

std::string NSDecimal::text() const {
  char buffer[kMaxTextLength];
  return {buffer, writeText(buffer)};
}

double NSDecimal::toDouble() const {
  if (notANumber) return std::numeric_limits<double>::quiet_NaN();
  static constexpr double kExactPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                            1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                            1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  constexpr uint64_t kExactLimit = uint64_t{1} << 53;
  if (high == 0 && low <= kExactLimit && exponent >= -22 && exponent <= 22) {
    // Both numbers are exact doubles, so that the one operation rounds correctly.
    const double n = static_cast<double>(low);
    const double size = exponent < 0 ? n / kExactPowers[-exponent] : n * kExactPowers[exponent];
    return negative ? -size : size;
  }
  char buffer[48];
  char* end = buffer;
  if (negative) *end++ = '-';
  end = writeDigits(mantissa(), end);
  *end++ = 'e';
  end = std::to_chars(end, buffer + sizeof buffer, exponent).ptr;
  double result = 0;
  std::from_chars(buffer, end, result);
  return result;
}

int64_t NSDecimal::toInt64() const { return static_cast<int64_t>(toUInt64()); }

uint64_t NSDecimal::toUInt64() const {
  const uint64_t size = truncated(*this);
  return negative ? 0 - size : size;
}
