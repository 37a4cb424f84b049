#pragma once

#include <span>

#include "Platform/Foundation/Values/NSDecimal.h"
#include "Platform/Foundation/Values/Value.h"

// Sums and extremes over values of any kind; none of them raises.
namespace orv::detail {

// The sum of the elements one after the other in decimal arithmetic. Texts count as the number at their start,
// all else that is no number as 0. Not-a-number when an element is, or the sum leaves the decimal range.
NSDecimal sumOf(std::span<const Value> values);
// Zero for no elements.
NSDecimal averageOf(std::span<const Value> values);

// The first of the smallest (or largest) among the values that have an order with the first one that has any.
Value smallestOf(std::span<const Value> values);
Value largestOf(std::span<const Value> values);
// The same among the numbers.
Value smallestNumberOf(std::span<const Value> values);
Value largestNumberOf(std::span<const Value> values);

}  // namespace orv::detail
