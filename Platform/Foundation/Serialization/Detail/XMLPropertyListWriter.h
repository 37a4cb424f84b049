#pragma once

#include "Platform/Foundation/Values/NSData.h"

namespace orv::detail {

// Writes a tree to which propertyListObjection for XML has nothing to say; nil when it is too large.
NSData writeXMLPropertyList(const Value& tree);

}  // namespace orv::detail
