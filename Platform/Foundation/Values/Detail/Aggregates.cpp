#include "Platform/Foundation/Values/Detail/Aggregates.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "Platform/Foundation/Values/Detail/DecimalRep.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/Detail/ValueOrder.h"
#include "Platform/Foundation/Values/NSNumber.h"

namespace orv::detail {
namespace {

__extension__ typedef __int128 Int128;

// The exact total is kept as a whole number of units of 1e-15.
constexpr int kPlaces = 15;
constexpr int64_t kPowers[] = {1,
                               10,
                               100,
                               1000,
                               10000,
                               100000,
                               1000000,
                               10000000,
                               100000000,
                               1000000000,
                               10000000000,
                               100000000000,
                               1000000000000,
                               10000000000000,
                               100000000000000,
                               1000000000000000};
constexpr double kDoublePowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                    1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
// Every text of up to fifteen digits is the shortest text of the double it stands for.
constexpr double kFifteenDigits = 1e15;
// Totals up to here, and what one run of integers can add to them, fit a decimal's mantissa: no addition so far
// was rounded.
constexpr Int128 kLargestTotal = Int128{1} << 126;

// The nearest whole number, ties to even, of a number below 2^51; a larger one stays as large.
double nearest(double d) {
  constexpr double kShift = 0x1.8p52;
  return (d + kShift) - kShift;
}

NSDecimal decimalOfText(const Value& text) {
  const NSDecimal number = withUnits(unitsOf(text.as<NSString>()), [](const auto* units, size_t length) {
    return NSDecimal::fromText(units, length);
  });
  return number.notANumber ? NSDecimal() : number;
}

NSDecimal decimalOfAny(const Value& v) {
  if (NSNumber::accepts(v)) return v.as<NSNumber>().decimalValue();
  return v.kind() == Kind::String ? decimalOfText(v) : NSDecimal();
}

NSDecimal decimalOfTotal(Int128 total) {
  const auto size = static_cast<UInt128>(total < 0 ? -total : total);
  return NSDecimal::make(size, -kPlaces, total < 0);
}

// Adds exactly as decimal arithmetic does, but without it as long as nothing is rounded: integers, and doubles
// and decimals with up to fifteen digits after the period, are added as integers.
class Sum {
 public:
  NSDecimal of(std::span<const Value> values) {
    const Value* at = values.data();
    const Value* const end = at + values.size();
    while (at != end) {
      at = addIntegers(at, end);
      at = addDoubles(at, end);
      if (at != end && !isFast(*at)) addSlowly(*at++);
    }
    return isExact_ ? decimalOfTotal(total_) : rounded_;
  }

 private:
  static bool isInteger(const Value& v) { return v.kind() == Kind::Int || v.kind() == Kind::Bool; }
  bool isFast(const Value& v) const { return isExact_ && (isInteger(v) || v.kind() == Kind::Double); }

  // A run of integers, as far as the run's own sum fits 64 bits.
  const Value* addIntegers(const Value* at, const Value* end) {
    int64_t sum = 0;
    const Value* const first = at;
    for (int64_t next = 0; at != end && isInteger(*at); ++at, sum = next)
      if (__builtin_add_overflow(sum, static_cast<int64_t>(Access::bits(*at)), &next)) break;
    if (at == first) return at;
    return addUnits(sum, 0, first, at);
  }

  const Value* addDoubles(const Value* at, const Value* end) {
    while (at != end && at->kind() == Kind::Double) {
      const Value* const next = addDoublesOfPlaces(at, end);
      if (next != at) {
        at = next;
      } else if (!findPlaces(doubleOf(*at))) {
        addSlowly(*at++);
      }
    }
    return at;
  }

  // A run of doubles whose shortest texts have up to `places_` digits after the period.
  const Value* addDoublesOfPlaces(const Value* at, const Value* end) {
    const double power = kDoublePowers[places_];
    int64_t sum = 0;
    const Value* const first = at;
    for (int64_t next = 0; at != end && at->kind() == Kind::Double; ++at, sum = next) {
      const double d = doubleOf(*at);
      const double units = nearest(d * power);
      if (!(std::abs(units) < kFifteenDigits) || units / power != d) break;
      if (__builtin_add_overflow(sum, static_cast<int64_t>(units), &next)) break;
    }
    if (at == first) return at;
    return addUnits(sum, places_, first, at);
  }

  // The number of digits after the period, when that and the number are small enough.
  bool findPlaces(double d) {
    for (int places = 0; places <= kPlaces; ++places) {
      const double units = nearest(d * kDoublePowers[places]);
      if (!(std::abs(units) < kFifteenDigits)) return false;
      if (units / kDoublePowers[places] != d) continue;
      places_ = places;
      return isExact_;
    }
    return false;
  }

  // Adds the sum of a run; when the total grows too large for that, the run is added one by one.
  const Value* addUnits(int64_t sum, int places, const Value* first, const Value* last) {
    const Int128 total = total_ + static_cast<Int128>(sum) * kPowers[kPlaces - places];
    if (isExact_ && total < kLargestTotal && total > -kLargestTotal) {
      total_ = total;
      return last;
    }
    for (const Value* at = first; at != last; ++at) addSlowly(*at);
    return last;
  }

  bool addDecimalExactly(const NSDecimal& d) {
    if (d.notANumber || d.high != 0 || d.exponent < -kPlaces || d.exponent > kPlaces) return false;
    auto units = static_cast<UInt128>(d.low);
    if (d.exponent > 0) units *= static_cast<UInt128>(kPowers[d.exponent]);
    if (units > static_cast<UInt128>(kLargestTotal) / static_cast<UInt128>(kPowers[kPlaces])) return false;
    units *= static_cast<UInt128>(kPowers[kPlaces + std::min<int>(d.exponent, 0)]);
    const Int128 total = d.negative ? total_ - static_cast<Int128>(units) : total_ + static_cast<Int128>(units);
    if (total >= kLargestTotal || total <= -kLargestTotal) return false;
    total_ = total;
    return true;
  }

  void addSlowly(const Value& v) {
    const NSDecimal d = decimalOfAny(v);
    if (isExact_ && addDecimalExactly(d)) return;
    if (std::exchange(isExact_, false)) rounded_ = decimalOfTotal(total_);
    rounded_ = rounded_.adding(d).value;
  }

  static double doubleOf(const Value& v) { return __builtin_bit_cast(double, Access::bits(v)); }

  Int128 total_ = 0;
  int places_ = 0;
  bool isExact_ = true;
  NSDecimal rounded_;
};

template <class Accepts>
Value extremeOf(std::span<const Value> values, NSComparisonResult better, Accepts accepts) {
  const Value* best = nullptr;
  for (const Value& v : values) {
    if (!accepts(v, best)) continue;
    if (!best || v.compare(*best) == better) best = &v;
  }
  return best ? *best : Value();
}

bool isOrderedWith(const Value& v, const Value* best) { return best ? haveOrder(v, *best) : hasOrder(v); }
bool isNumber(const Value& v, const Value*) { return NSNumber::accepts(v); }

}  // namespace

NSDecimal sumOf(std::span<const Value> values) { return Sum().of(values); }

NSDecimal averageOf(std::span<const Value> values) {
  if (values.empty()) return {};
  return sumOf(values).dividingBy(NSDecimal::fromUInt64(values.size())).value;
}

Value smallestOf(std::span<const Value> values) { return extremeOf(values, NSOrderedAscending, isOrderedWith); }
Value largestOf(std::span<const Value> values) { return extremeOf(values, NSOrderedDescending, isOrderedWith); }
Value smallestNumberOf(std::span<const Value> values) {
  return extremeOf(values, NSOrderedAscending, isNumber);
}
Value largestNumberOf(std::span<const Value> values) {
  return extremeOf(values, NSOrderedDescending, isNumber);
}

}  // namespace orv::detail
