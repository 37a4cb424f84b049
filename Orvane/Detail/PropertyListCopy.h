#pragma once

#include "Platform/Foundation/Values/Value.h"

namespace orv::detail {

// How deep containers are followed: what nests deeper, or contains itself, is no property list.
inline constexpr unsigned kDeepestPropertyList = 2048;

// A copy of a tree of texts, numbers, dates, data, arrays and dictionaries under texts, every container new and
// mutable. Nil for anything else.
Value propertyListCopy(const Value& tree);

}  // namespace orv::detail
