#pragma once

#include <cstddef>

#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/Value.h"

// What all forms of property lists have in common.
namespace orv::detail {

inline constexpr int kDeepestPropertyListTree = 512;

// Why some bytes are no property list, and the byte at which it shows.
struct PropertyListFault {
  const char* complaint = "";
  size_t offset = 0;
};

inline constexpr const char* kTooDeepPropertyList = "Arrays and dictionaries are nested too deep";

// Strings, numbers, booleans, dates and data.
constexpr bool isPropertyListLeaf(Kind kind) noexcept {
  switch (kind) {
    case Kind::Bool:
    case Kind::Int:
    case Kind::UInt:
    case Kind::Double:
    case Kind::Date:
    case Kind::Decimal:
    case Kind::BigDecimal:
    case Kind::String:
    case Kind::Data: return true;
    default: return false;
  }
}

enum class PropertyListTarget { Binary, XML };

// Why a tree cannot be written; nil when it can.
NSString propertyListObjection(const Value& tree, PropertyListTarget target);

}  // namespace orv::detail
