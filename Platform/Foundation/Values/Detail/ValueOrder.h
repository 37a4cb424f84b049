#pragma once

#include "Platform/Foundation/Values/Value.h"

namespace orv::detail {

// An order of all values, which never raises: nil, null, numbers, texts and dates, each kind as Value::compare
// orders it, then all other values, which are equal to each other.
ORV_EXPORT NSComparisonResult orderOfAll(const Value& a, const Value& b);

// Whether Value::compare orders the value among its like: numbers, texts, dates.
bool hasOrder(const Value& v) noexcept;
// Whether it orders these two.
bool haveOrder(const Value& a, const Value& b) noexcept;

}  // namespace orv::detail
