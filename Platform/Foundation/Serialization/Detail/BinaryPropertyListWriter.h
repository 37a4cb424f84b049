#pragma once

#include "Platform/Foundation/Values/NSData.h"

namespace orv::detail {

enum class DateForm { Exact, WholeSeconds };  // the latter rounds down

// The binary form of a tree to which propertyListObjection has nothing to say: "bplist00", the objects from the
// top one down, each container before its contents, the table of their offsets, and a trailer. Equal leaves are
// written once.
NSData writeBinaryPropertyList(const Value& tree, DateForm dates = DateForm::Exact);

}  // namespace orv::detail
