#pragma once

#include <string_view>

#include "Platform/Foundation/Serialization/Detail/PropertyListRules.h"

namespace orv::detail {

// Whether some bytes claim to be a binary property list, of this version or another.
inline bool isBinaryPropertyList(std::string_view bytes) noexcept { return bytes.starts_with("bplist"); }

// The tree in some bytes of version 00; nil, and the fault, for anything that is malformed. Nothing
// in the bytes is trusted: objects and tables lie within their bounds, containers contain neither themselves
// nor more than 512 levels, and what references repeat may make the tree only a few times as large as the
// bytes.
Value readBinaryPropertyList(std::string_view bytes, bool mutableContainers, PropertyListFault& fault);

}  // namespace orv::detail
