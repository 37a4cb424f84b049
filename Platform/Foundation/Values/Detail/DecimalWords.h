#pragma once

#include <algorithm>

#include "Platform/Foundation/Values/Detail/DecimalRep.h"
#include "Platform/Foundation/Values/Detail/UInt256.h"

// Sums and products of amounts of one word, from handle to handle: nearly all the arithmetic of money. Each
// answers nothing where the general calculation has to be asked.
namespace orv::detail {

// What a handle of such an amount holds; the tag 0 is none.
struct DecimalWord {
  uint64_t bits = 0;
  uint64_t tag = 0;

  explicit operator bool() const { return tag != 0; }
};

inline constexpr uint64_t kDecimalExponentMask = uint64_t{0xFF} << kDecimalExponentShift;

inline bool isWord(uint64_t tag) {
  return (tag & (0xFF | kDecimalNotANumber)) == static_cast<uint64_t>(Kind::Decimal);
}

inline int exponentOf(uint64_t tag) { return static_cast<int8_t>(tag >> kDecimalExponentShift & 0xFF); }

constexpr uint64_t tagOf(int exponent, uint64_t sign) {
  return static_cast<uint64_t>(Kind::Decimal) | sign |
         (static_cast<uint64_t>(exponent) << kDecimalExponentShift & kDecimalExponentMask);
}

// A result that may end in zeros.
inline DecimalWord wordOf(uint64_t mantissa, int exponent, uint64_t sign) {
  if (mantissa == 0) return {0, tagOf(0, 0)};
  while (exponent < NSDecimal::kMaxExponent && dropZero(mantissa)) ++exponent;
  return {mantissa, tagOf(exponent, sign)};
}

// Writes the one with the larger exponent with the smaller one.
inline bool raiseUpper(uint64_t& x, uint64_t& y, int distance) {
  if (distance > kLargestPower64 || distance < -kLargestPower64) return false;
  if (distance > 0) return !__builtin_mul_overflow(x, kPowersOf10[distance], &x);
  return !__builtin_mul_overflow(y, kPowersOf10[-distance], &y);
}

// The sum of two words, the second with its sign turned over by `flip`.
inline DecimalWord addWords(const Value& a, const Value& b, uint64_t flip) {
  const uint64_t tagA = Access::tag(a), tagB = Access::tag(b) ^ flip;
  if (!isWord(tagA) || !isWord(tagB)) return {};
  uint64_t x = Access::bits(a), y = Access::bits(b);
  int exponent = exponentOf(tagA);
  if (const int distance = exponent - exponentOf(tagB)) {
    if (!raiseUpper(x, y, distance)) return {};
    exponent -= std::max(distance, 0);
  }
  const uint64_t sign = tagA & kDecimalNegative;
  if (((tagA ^ tagB) & kDecimalNegative) == 0) {
    if (__builtin_add_overflow(x, y, &x)) return {};
    return wordOf(x, exponent, sign);
  }
  if (x < y) return wordOf(y - x, exponent, sign ^ kDecimalNegative);
  return wordOf(x - y, exponent, sign);
}

inline DecimalWord multiplyWords(const Value& a, const Value& b) {
  const uint64_t tagA = Access::tag(a), tagB = Access::tag(b);
  uint64_t product = 0;
  if (!isWord(tagA) || !isWord(tagB)) return {};
  if (__builtin_mul_overflow(Access::bits(a), Access::bits(b), &product)) return {};
  const int exponent = exponentOf(tagA) + exponentOf(tagB);
  if (exponent < NSDecimal::kMinExponent || exponent > NSDecimal::kMaxExponent) return {};
  return wordOf(product, exponent, (tagA ^ tagB) & kDecimalNegative);
}

}  // namespace orv::detail
