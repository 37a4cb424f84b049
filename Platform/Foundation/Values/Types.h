#pragma once

#include <cstdint>

// The plain types that the value classes share.

using NSInteger = int64_t;
using NSUInteger = uint64_t;

// "No such index": the largest signed number, so that it survives a trip through NSInteger.
inline constexpr NSUInteger NSNotFound = INT64_MAX;

enum NSComparisonResult : int { NSOrderedAscending = -1, NSOrderedSame = 0, NSOrderedDescending = 1 };

// A run of positions: code units of a string, bytes of data or indices of an array.
struct NSRange {
  NSUInteger location = 0;
  NSUInteger length = 0;

  // The first position after the range.
  constexpr NSUInteger end() const { return location + length; }
  constexpr bool isFound() const { return location != NSNotFound; }
  friend constexpr bool operator==(const NSRange&, const NSRange&) = default;
};

inline constexpr NSRange NSRangeNotFound{NSNotFound, 0};

namespace orv {

// The literal for "absent". Every handle can be made from it, assigned it and compared with it.
struct Nil {};
inline constexpr Nil nil{};

// What a Value holds. Kinds up to Decimal live inside the handle itself, the others on the heap.
enum class Kind : uint8_t {
  Nil,
  Null,
  Bool,
  Int,
  UInt,
  Double,
  Date,
  Decimal,
  BigDecimal,
  String,
  Data,
  URL,
  Array,
  Set,
  CountedSet,
  Dictionary,
  Object,
};

}  // namespace orv
