#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "Platform/Foundation/Values/NSDecimal.h"

// Unsigned integers of 256 bits: what holds the exact result of a decimal calculation before it is rounded.
// Only the operations that decimals need; none of them may overflow.
namespace orv::detail {

inline constexpr uint64_t kPowersOf10[] = {1ull,
                                           10ull,
                                           100ull,
                                           1000ull,
                                           10000ull,
                                           100000ull,
                                           1000000ull,
                                           10000000ull,
                                           100000000ull,
                                           1000000000ull,
                                           10000000000ull,
                                           100000000000ull,
                                           1000000000000ull,
                                           10000000000000ull,
                                           100000000000000ull,
                                           1000000000000000ull,
                                           10000000000000000ull,
                                           100000000000000000ull,
                                           1000000000000000000ull,
                                           10000000000000000000ull};
inline constexpr int kLargestPower64 = 19;

constexpr uint64_t lowHalf(UInt128 n) { return static_cast<uint64_t>(n); }
constexpr uint64_t highHalf(UInt128 n) { return static_cast<uint64_t>(n >> 64); }

// Divides a number by ten when that leaves no remainder. The product with the inverse of ten modulo 2^64,
// rotated, is small for multiples of ten only.
inline bool dropZero(uint64_t& n) {
  const uint64_t quotient = std::rotr(n * 0xCCCCCCCCCCCCCCCDull, 1);
  if (quotient > UINT64_MAX / 10) return false;
  n = quotient;
  return true;
}

// 10 to the power of `power`, 0 to 38.
constexpr UInt128 powerOf10(int power) {
  if (power <= kLargestPower64) return kPowersOf10[power];
  return static_cast<UInt128>(kPowersOf10[kLargestPower64]) * kPowersOf10[power - kLargestPower64];
}

// The number of decimal digits; 0 has none.
constexpr int digitCount(UInt128 n) {
  int digits = 0;
  if (highHalf(n) != 0) {
    const UInt128 upper = n / kPowersOf10[kLargestPower64];
    if (highHalf(upper) != 0) return 2 * kLargestPower64 + 1;  // at least 10^38: 39 digits
    digits = kLargestPower64;
    n = upper;
  }
  const uint64_t word = lowHalf(n);
  if (word == 0) return digits;
  const int estimate = (64 - std::countl_zero(word)) * 1233 >> 12;
  return digits + estimate + (word >= kPowersOf10[estimate] ? 1 : 0);
}

struct UInt256 {
  std::array<uint64_t, 4> word{};  // the least significant first

  constexpr UInt256() = default;
  constexpr UInt256(UInt128 n) : word{lowHalf(n), highHalf(n), 0, 0} {}

  constexpr bool fits128() const { return (word[2] | word[3]) == 0; }
  constexpr UInt128 low128() const { return static_cast<UInt128>(word[1]) << 64 | word[0]; }
  constexpr int bitCount() const {
    for (int i = 3; i >= 0; --i)
      if (word[static_cast<size_t>(i)] != 0)
        return 64 * (i + 1) - std::countl_zero(word[static_cast<size_t>(i)]);
    return 0;
  }
  constexpr bool isZero() const { return (word[0] | word[1] | word[2] | word[3]) == 0; }

  static constexpr UInt256 product(UInt128 a, UInt128 b) {
    UInt256 result;
    const uint64_t x[2] = {lowHalf(a), highHalf(a)};
    const uint64_t y[2] = {lowHalf(b), highHalf(b)};
    for (size_t i = 0; i < 2; ++i) {
      uint64_t carry = 0;
      for (size_t j = 0; j < 2; ++j) {
        const UInt128 sum = static_cast<UInt128>(x[i]) * y[j] + result.word[i + j] + carry;
        result.word[i + j] = lowHalf(sum);
        carry = highHalf(sum);
      }
      result.word[i + 2] = carry;
    }
    return result;
  }

  constexpr void add(const UInt256& other) {
    uint64_t carry = 0;
    for (size_t i = 0; i < 4; ++i) {
      const UInt128 sum = static_cast<UInt128>(word[i]) + other.word[i] + carry;
      word[i] = lowHalf(sum);
      carry = highHalf(sum);
    }
  }

  // `other` is not larger.
  constexpr void subtract(const UInt256& other) {
    uint64_t borrow = 0;
    for (size_t i = 0; i < 4; ++i) {
      const UInt128 difference = static_cast<UInt128>(word[i]) - other.word[i] - borrow;
      word[i] = lowHalf(difference);
      borrow = highHalf(difference) & 1;
    }
  }

  constexpr void multiply(uint64_t factor) {
    uint64_t carry = 0;
    for (uint64_t& w : word) {
      const UInt128 product = static_cast<UInt128>(w) * factor + carry;
      w = lowHalf(product);
      carry = highHalf(product);
    }
  }

  constexpr void multiplyByPowerOf10(int power) {
    for (; power > kLargestPower64; power -= kLargestPower64) multiply(kPowersOf10[kLargestPower64]);
    multiply(kPowersOf10[power]);
  }

  // Divides in place and answers the remainder.
  constexpr uint64_t divide(uint64_t divisor) {
    uint64_t remainder = 0;
    for (size_t i = 4; i-- > 0;) {
      const UInt128 part = static_cast<UInt128>(remainder) << 64 | word[i];
      word[i] = lowHalf(part / divisor);
      remainder = lowHalf(part) - word[i] * divisor;  // cheaper than a second division
    }
    return remainder;
  }

  // Divides in place by a divisor of up to 128 bits and answers the remainder.
  UInt128 divideWide(UInt128 divisor);

  // Negative, 0 or positive.
  constexpr int compare(const UInt256& other) const {
    for (size_t i = 4; i-- > 0;)
      if (word[i] != other.word[i]) return word[i] < other.word[i] ? -1 : 1;
    return 0;
  }
};

// Long division in base 2^64 (Knuth, volume 2, 4.3.1, algorithm D) for a divisor of two words.
inline UInt128 UInt256::divideWide(UInt128 divisor) {
  if (highHalf(divisor) == 0) return divide(lowHalf(divisor));
  const int shift = std::countl_zero(highHalf(divisor));
  const UInt128 d = divisor << shift;  // its upper half has its top bit set: estimates are off by 2 at most
  const uint64_t upper = highHalf(d), lower = lowHalf(d);

  // The dividend, shifted alike, has a fifth word.
  uint64_t n[5] = {word[0] << shift, 0, 0, 0, 0};
  for (size_t i = 1; i < 4; ++i) n[i] = shift ? word[i] << shift | word[i - 1] >> (64 - shift) : word[i];
  n[4] = shift ? word[3] >> (64 - shift) : 0;

  word = {};
  for (size_t j = 3; j-- > 0;) {
    const UInt128 top = static_cast<UInt128>(n[j + 2]) << 64 | n[j + 1];
    UInt128 estimate = n[j + 2] >= upper ? UINT64_MAX : top / upper;
    UInt128 rest = top - estimate * upper;
    while (highHalf(rest) == 0 && estimate * lower > (rest << 64 | n[j])) {
      --estimate;
      rest += upper;
    }
    const UInt128 below = estimate * lower;
    const UInt128 middle = static_cast<UInt128>(n[j]) - lowHalf(below);
    n[j] = lowHalf(middle);
    const UInt128 above = estimate * upper + highHalf(below) + (highHalf(middle) & 1);
    n[j + 1] = lowHalf(top - above);
    n[j + 2] = 0;
    word[j] = lowHalf(estimate);
  }
  return (static_cast<UInt128>(n[1]) << 64 | n[0]) >> shift;
}

}  // namespace orv::detail
