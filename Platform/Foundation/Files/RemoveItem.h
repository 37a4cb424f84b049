#pragma once

#include "Platform/Foundation/Files/CopyRecord.h"
#include "Platform/Foundation/Files/ItemPlace.h"

// Removing, by open folders: no link is followed, also one that takes a folder's place meanwhile, and the paths
// below may be of any length. Each answers 0 or the errno of a failure. What is gone already is no failure
// below the item, and a volume mounted inside is one (EBUSY) that leaves the volume alone.
namespace orv::detail {

// A file, a link, or a folder with everything in it. A failure ends it halfway.
int removeItem(int folder, const char* name);

// The same for a half copy: folders that are closed to it are opened first. Those that a failure leaves have
// the permissions they had.
int discardItem(int folder, const char* name);

// The same for what was copied, only as far as the record holds it unchanged: EBUSY at the first item that is
// new or another. Each is looked at just before it goes. `removedAny` tells whether anything is gone.
int discardCopied(int folder, const char* name, const CopyRecord& record, bool& removedAny);

// The item at a place; "/" and a name that ends in dots are refused.
int removeItemAt(const ItemPlace& place);

}  // namespace orv::detail
