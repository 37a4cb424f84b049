#pragma once

#include <string_view>

#include "Platform/Foundation/Serialization/Detail/PropertyListRules.h"

namespace orv::detail {

inline constexpr std::string_view kBinaryPropertyListMagic = "bplist00";

// The tree in some bytes that begin with the magic; nil, and the fault, for anything that is malformed. Nothing
// in the bytes is trusted: objects and tables lie within their bounds, containers contain neither themselves
// nor more than 512 levels, and what references repeat may make the tree only a few times as large as the
// bytes.
Value readBinaryPropertyList(std::string_view bytes, bool mutableContainers, PropertyListFault& fault);

}  // namespace orv::detail
