#pragma once

#include <string>

#include "Platform/Foundation/Files/CopyRecord.h"
#include "Platform/Foundation/Files/ItemPlace.h"

// Copying whole items, by open folders on both sides, so that paths may be of any length. Each answers 0 or the
// errno of a failure, after which nothing is left of the copy.
namespace orv::detail {

// What becomes of sockets, pipes and devices inside a folder, and of extended attributes that cannot be kept.
// With `Refused` a mounted folder is refused, too (EBUSY).
enum class Losses { LeftOut, Refused };

// A file, a link or a folder to a name that is not taken. EINVAL for anything else and for a folder that would
// come into itself, EBUSY for a file that keeps changing and when something goes from a folder meanwhile.
int copyItem(const ItemPlace& from, const ItemPlace& to);

// The same to a name that may be taken: what has it gets a hidden name in the target's folder once the copy is
// whole (takeName). `old` is that name, "" when there is none. EINVAL when the item is what would step aside,
// lies in it or is a link to it.
int copyItemOver(const ItemPlace& from, const ItemPlace& to, std::string& old);

// The same into an open folder under a hidden name, which is answered. `record`, if any, takes what was copied.
int copyAside(const ItemPlace& from, int folder, Losses losses, std::string& name,
              CopyRecord* record = nullptr);

}  // namespace orv::detail
