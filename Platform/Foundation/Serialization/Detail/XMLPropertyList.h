#pragma once

#include <string_view>

#include "Platform/Foundation/Serialization/Detail/PropertyListRules.h"
#include "Platform/Foundation/Values/NSData.h"

namespace orv::detail {

// Reads a property list in XML; nil, and the fault, for anything else. The text is well-formed UTF-8.
Value readXMLPropertyList(std::string_view utf8, bool mutableContainers, PropertyListFault& fault);

// Writes a tree to which propertyListObjection for XML has nothing to say; nil when there is no memory for it.
NSData writeXMLPropertyList(const Value& tree);

}  // namespace orv::detail
