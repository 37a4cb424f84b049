#pragma once

#include <sys/types.h>

#include "Platform/Foundation/Export.h"

// The extended attributes of open files: tags and notes, security labels, and the access list. They are kept as
// far as the system allows; where it does not, that is no failure. May be called from any thread.
namespace orv::detail {

// Gives a file all those of another, its access list at last. True when there are any. `lost` becomes the errno
// for one of the user's own ("user.*") that cannot be kept.
bool copyAttributes(int from, int to, int* lost = nullptr);

// The same without the access list. `from` may be opened with O_PATH.
bool copyAttributesButAccess(int from, int to);

// Gives a file the other's access list, or none where the other has none: also none that it got from its
// folder. `mode` is what the file's permissions are to be afterwards. Where the list cannot be kept they
// shrink, so that nobody gets in whom the list kept out. Answers 0 or the errno of a list that cannot be taken
// away. `from` may be opened with O_PATH.
ORV_EXPORT int takeAccessList(int from, int to, mode_t& mode);

// Takes away the access lists that a file or folder has from its folder and the original has not: they would
// open it to others.
void removeInheritedAccess(int from, int to);

// What takeAccessList does where the list cannot be kept.
ORV_EXPORT int dropAccessList(int from, int to, mode_t& mode);

}  // namespace orv::detail
