#pragma once

#include "Platform/Foundation/Files/ItemPlace.h"

namespace orv::detail {

// Renames an item to a name that is not taken. Between volumes it is copied aside, forced to the disk, compared
// and named, the name is forced to the disk, and then the source goes. 0, or the errno of a failure: the source
// is as it was and there is no target, or, when removing a folder fails halfway, the whole target stays.
int moveItem(const ItemPlace& from, const ItemPlace& to);

}  // namespace orv::detail
