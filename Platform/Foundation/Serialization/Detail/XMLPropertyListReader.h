#pragma once

#include <string_view>

#include "Platform/Foundation/Serialization/Detail/PropertyListRules.h"

namespace orv::detail {

// Reads a property list in XML, to the letter: one value in a `plist` element, known elements, keys and values
// in turn, numbers and dates that are such and fit 64 bits, complete Base64, known entities, valid characters,
// at most 512 levels. Integers may be hexadecimal; leading zeros mean nothing. nil for anything else, and the
// first place that is at fault. The text is well-formed UTF-8. Takes time in proportion to its length.
Value readXMLPropertyList(std::string_view utf8, bool mutableContainers, PropertyListFault& fault);

}  // namespace orv::detail
