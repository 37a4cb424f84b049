#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Foundation/Values/NSDecimal.h"

// Decimal arithmetic done the slow, plain way: digit by digit on vectors, exactly, and rounded at the end. What
// the fast code is measured against; it shares nothing with it.
namespace model {

// A natural number, the least significant digit first, no leading zeros.
class Natural {
 public:
  Natural() = default;
  explicit Natural(const std::string& text) {
    for (auto c = text.rbegin(); c != text.rend(); ++c) digits_.push_back(static_cast<uint32_t>(*c - '0'));
    trim();
  }

  size_t size() const { return digits_.size(); }
  bool isZero() const { return digits_.empty(); }
  uint32_t digit(size_t i) const { return i < size() ? digits_[i] : 0; }

  std::string text() const {
    std::string result;
    for (size_t i = size(); i-- > 0;) result += static_cast<char>('0' + digits_[i]);
    return result.empty() ? "0" : result;
  }

  int compare(const Natural& other) const {
    if (size() != other.size()) return size() < other.size() ? -1 : 1;
    for (size_t i = size(); i-- > 0;)
      if (digits_[i] != other.digits_[i]) return digits_[i] < other.digits_[i] ? -1 : 1;
    return 0;
  }

  Natural plus(const Natural& other) const {
    Natural result;
    uint32_t carry = 0;
    for (size_t i = 0; i < std::max(size(), other.size()) || carry != 0; ++i) {
      carry += digit(i) + other.digit(i);
      result.digits_.push_back(carry % 10);
      carry /= 10;
    }
    return result;
  }

  Natural minus(const Natural& smaller) const {
    Natural result;
    uint32_t borrow = 0;
    for (size_t i = 0; i < size(); ++i) {
      const uint32_t take = smaller.digit(i) + borrow;
      borrow = digits_[i] < take ? 1 : 0;
      result.digits_.push_back(digits_[i] + 10 * borrow - take);
    }
    result.trim();
    return result;
  }

  Natural times(const Natural& other) const {
    Natural result;
    result.digits_.assign(size() + other.size() + 1, 0);
    for (size_t i = 0; i < size(); ++i)
      for (size_t j = 0; j < other.size(); ++j) result.digits_[i + j] += digits_[i] * other.digits_[j];
    uint32_t carry = 0;
    for (uint32_t& d : result.digits_) {
      carry += d;
      d = carry % 10;
      carry /= 10;
    }
    result.trim();
    return result;
  }

  Natural shifted(size_t zeros) const {
    Natural result = *this;
    if (!isZero()) result.digits_.insert(result.digits_.begin(), zeros, 0);
    return result;
  }

  // Without the last `count` digits.
  Natural cut(size_t count) const {
    Natural result;
    if (count < size()) result.digits_.assign(digits_.begin() + static_cast<ptrdiff_t>(count), digits_.end());
    return result;
  }

  // Quotient and remainder, by subtraction.
  std::pair<Natural, Natural> dividedBy(const Natural& divisor) const {
    Natural quotient, rest;
    for (size_t i = size(); i-- > 0;) {
      rest = rest.shifted(1).plus(Natural(std::string(1, static_cast<char>('0' + digits_[i]))));
      uint32_t count = 0;
      for (; rest.compare(divisor) >= 0; ++count) rest = rest.minus(divisor);
      quotient = quotient.shifted(1).plus(Natural(std::to_string(count)));
    }
    return {quotient, rest};
  }

 private:
  void trim() {
    while (!digits_.empty() && digits_.back() == 0) digits_.pop_back();
  }

  std::vector<uint32_t> digits_;
};

struct Outcome {
  std::string text;  // mantissa, "e", exponent; or the name of the error
  bool inexact = false;
};

inline Natural largestMantissa() { return Natural("340282366920938463463374607431768211455"); }

inline bool increments(NSRoundingMode mode, bool negative, bool odd, int half, bool anything) {
  switch (mode) {
    case NSRoundPlain: return half >= 0;
    case NSRoundDown: return anything && negative;
    case NSRoundUp: return anything && !negative;
    case NSRoundBankers: return half > 0 || (half == 0 && odd);
  }
  return false;
}

inline std::string canonical(const Natural& mantissa, int exponent, bool negative) {
  Natural m = mantissa;
  if (m.isZero()) return "0e0";
  while (m.digit(0) == 0 && exponent < 127) m = m.cut(1), ++exponent;
  for (; exponent > 127; --exponent) m = m.shifted(1);
  if (m.compare(largestMantissa()) > 0) return "overflow";
  return (negative ? "-" : "") + m.text() + "e" + std::to_string(exponent);
}

// Rounds number * 10^exponent, plus something below one unit when `more` is set, to what a decimal holds.
inline Outcome rounded(const Natural& number, bool more, int exponent, bool negative, NSRoundingMode mode,
                       const Natural& limit = largestMantissa()) {
  if (number.isZero() && !more) return {"0e0"};
  if (static_cast<int>(number.size()) + exponent <= -128) return {"underflow"};
  for (int cut = 0;; ++cut) {
    if (exponent + cut < -128) continue;
    const auto count = static_cast<size_t>(cut);
    Natural kept = number.cut(count);
    const Natural gone = number.minus(kept.shifted(count));
    const Natural half = cut == 0 ? Natural() : Natural("5").shifted(count - 1);
    const bool anything = more || !gone.isZero();
    const int side = cut == 0 ? -1 : gone.compare(half) > 0 ? 1 : gone.compare(half) < 0 ? -1 : more ? 1 : 0;
    if (increments(mode, negative, kept.digit(0) % 2 == 1, side, anything)) kept = kept.plus(Natural("1"));
    if (kept.compare(limit) > 0) continue;
    return {canonical(kept, exponent + cut, negative), anything};
  }
}

inline std::string digitsOf(orv::detail::UInt128 n) {
  std::string text;
  for (; n != 0; n /= 10) text.insert(text.begin(), static_cast<char>('0' + static_cast<int>(n % 10)));
  return text.empty() ? "0" : text;
}

inline Outcome sum(const NSDecimal& a, const NSDecimal& b, NSRoundingMode mode) {
  const int low = std::min(a.exponent, b.exponent);
  const Natural x = Natural(digitsOf(a.mantissa())).shifted(static_cast<size_t>(a.exponent - low));
  const Natural y = Natural(digitsOf(b.mantissa())).shifted(static_cast<size_t>(b.exponent - low));
  if (a.negative == b.negative) return rounded(x.plus(y), false, low, a.negative, mode);
  if (x.compare(y) >= 0) return rounded(x.minus(y), false, low, a.negative, mode);
  return rounded(y.minus(x), false, low, b.negative, mode);
}

inline Outcome product(const NSDecimal& a, const NSDecimal& b, NSRoundingMode mode) {
  return rounded(Natural(digitsOf(a.mantissa())).times(Natural(digitsOf(b.mantissa()))), false,
                 a.exponent + b.exponent, a.negative != b.negative, mode);
}

// Exact where the quotient fits, else to 38 digits.
inline Outcome quotient(const NSDecimal& a, const NSDecimal& b, NSRoundingMode mode) {
  constexpr size_t kShift = 160;  // every exact quotient is found, and every other has digits to spare
  const auto [q, rest] =
      Natural(digitsOf(a.mantissa())).shifted(kShift).dividedBy(Natural(digitsOf(b.mantissa())));
  const int exponent = a.exponent - b.exponent - static_cast<int>(kShift);
  const bool negative = a.negative != b.negative;
  if (rest.isZero()) {
    size_t zeros = 0;
    while (!q.isZero() && q.digit(zeros) == 0) ++zeros;
    if (q.cut(zeros).compare(largestMantissa()) <= 0) return rounded(q, false, exponent, negative, mode);
  }
  return rounded(q, !rest.isZero(), exponent, negative, mode, Natural(std::string(38, '9')));
}

inline Outcome outcomeOf(const NSDecimal::Result& result) {
  switch (result.error) {
    case NSCalculationOverflow: return {"overflow"};
    case NSCalculationUnderflow: return {"underflow"};
    case NSCalculationDivideByZero: return {"division by zero"};
    case NSCalculationNoError:
    case NSCalculationLossOfPrecision: break;
  }
  return {(result.value.negative ? "-" : "") + digitsOf(result.value.mantissa()) + "e" +
              std::to_string(result.value.exponent),
          result.error == NSCalculationLossOfPrecision};
}

}  // namespace model
