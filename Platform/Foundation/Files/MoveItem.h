#pragma once

#include "Platform/Foundation/Files/ItemPlace.h"

namespace orv::detail {

// Renames an item to a name that is not taken. Between volumes it is copied aside, forced to the disk, compared
// and named, the name is forced to the disk, and then of the source goes what was copied and has not changed
// since. 0, or the errno of a failure (EINVAL for "." and "..", EBUSY when the source changed): the source is
// as it was and there is no target, but the target stays, whole, when something of the source is gone already,
// when either of the two was changed meanwhile and when the target's file system does not keep dates.
int moveItem(const ItemPlace& from, const ItemPlace& to);

}  // namespace orv::detail
