#pragma once

#include <string>
#include <string_view>

#include "Platform/Foundation/Serialization/Detail/PropertyListRules.h"

namespace orv::detail {

// Whether a text is a property list in XML, to the letter: one value in a `plist` element, known elements, keys
// and values in turn, numbers and dates that are such and fit 64 bits, complete Base64, known entities, valid
// characters, at most 512 levels. The fault tells the first place that is not.
//
// `plain` becomes the same list in the form that the lenient parser behind this check reads right: without
// comments, instructions and attributes, empty elements open and closed, numbers without leading zeros.
bool checkXMLPropertyList(std::string_view utf8, std::string& plain, PropertyListFault& fault);

}  // namespace orv::detail
