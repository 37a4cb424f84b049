#pragma once

#include "Platform/Foundation/Files/ItemPlace.h"

// Removing, by open folders: no link is followed, also one that takes a folder's place meanwhile, and the paths
// below may be of any length. Each answers 0 or the errno of a failure. What is gone already is no failure
// below the item, and a volume mounted inside is one (EBUSY) that leaves the volume alone.
namespace orv::detail {

// A file, a link, or a folder with everything in it. A failure ends it halfway. `removedAny`, if any, tells
// whether anything is gone.
int removeItem(int folder, const char* name, bool* removedAny = nullptr);

// The same for what is no longer needed, a half copy or what was moved away: folders that are closed to it are
// opened first.
int discardItem(int folder, const char* name, bool* removedAny = nullptr);

// The item at a place; "/" and a name that ends in dots are refused.
int removeItemAt(const ItemPlace& place);

}  // namespace orv::detail
