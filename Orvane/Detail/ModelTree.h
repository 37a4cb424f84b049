#pragma once

#include "Platform/Foundation/Values/Value.h"

namespace orv::detail {

// A value cleaned of nulls, in new containers. For export models and sets become plain dictionaries and arrays,
// for import dictionaries become models. Nil for nil and null. Raises NSInvalidArgumentException for a
// container that contains itself; any depth is fine.
Value cleanedTree(const Value& value, bool forImport);

}  // namespace orv::detail
