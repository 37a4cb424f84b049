// Decimals: every text gives a compact number whose own text reads back as the same; comparing agrees with the
// sign of the difference; sums commute; what is divided and multiplied again stays near.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Platform/Foundation/Values/NSDecimal.h"

namespace {

void require(bool law) {
  if (!law) std::abort();
}

void checkOne(const NSDecimal& d) {
  if (d.notANumber) return require(d == NSDecimal::nan());
  if (d.isZero()) return require(d == NSDecimal());
  require(d.exponent >= NSDecimal::kMinExponent && d.exponent <= NSDecimal::kMaxExponent);
  require(d.mantissa() % 10 != 0 || d.exponent == NSDecimal::kMaxExponent);
  require(NSDecimal::fromText(d.text()) == d);
  require(d.text().size() <= NSDecimal::kMaxTextLength);
  require(d.negated().negated() == d);
}

void checkTwo(const NSDecimal& a, const NSDecimal& b) {
  require(a.compare(b) == -b.compare(a));
  require((a.compare(b) == NSOrderedSame) == (a == b));
  if (a.notANumber || b.notANumber) return require(a.adding(b).error == NSCalculationOverflow);
  for (const NSRoundingMode mode : {NSRoundPlain, NSRoundDown, NSRoundUp, NSRoundBankers}) {
    const auto sum = a.adding(b, mode), product = a.multiplyingBy(b, mode);
    require(sum.value == b.adding(a, mode).value);
    require(product.value == b.multiplyingBy(a, mode).value);
    checkOne(sum.value);
    checkOne(product.value);
    checkOne(a.dividingBy(b, mode).value);
    checkOne(a.rounded(b.exponent, mode));
    const auto difference = a.subtracting(b, mode);
    if (difference.value.notANumber) continue;
    const int sign = difference.value.isZero() ? 0 : difference.value.negative ? -1 : 1;
    require(sign == a.compare(b));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const size_t middle = std::min(input.find('\n'), input.size());
  const NSDecimal a = NSDecimal::fromText(input.substr(0, middle));
  const NSDecimal b = NSDecimal::fromText(input.substr(std::min(middle + 1, input.size())));

  checkOne(a);
  checkOne(b);
  checkTwo(a, b);
  return 0;
}
