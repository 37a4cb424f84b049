#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include "Platform/Foundation/Export.h"

// The extended attributes of open files: tags and notes, security labels, and the access list. They are kept as
// far as the system allows; where it does not, that is no failure. May be called from any thread.
namespace orv::detail {

// Gives a file the other's extended attributes, owner, group, access list and permissions, those as they were
// when `info` was asked for. Without the owner it has at least the group, where that is allowed; without the
// group or the list the permissions shrink, so that nobody gets in whom the other keeps out; and the
// set-user-ID bits stay only with both. Lists that it got from its folder go. `lost` becomes the errno for an
// attribute of the user's own ("user.*") that cannot be kept. Answers 0 or the errno of permissions that cannot
// be set. `from` may be opened with O_PATH.
int takeFacts(int from, int to, const struct stat& info, int* lost = nullptr);

// Gives a file the other's access list, or none where the other has none: also none that it got from its
// folder. `mode` is what the file's permissions are to be afterwards. Where the list cannot be kept they
// shrink, so that nobody gets in whom the list kept out. Answers 0 or the errno of a list that cannot be taken
// away. `from` may be opened with O_PATH.
ORV_EXPORT int takeAccessList(int from, int to, mode_t& mode);

// What takeAccessList does where the list cannot be kept.
ORV_EXPORT int dropAccessList(int from, int to, mode_t& mode);

}  // namespace orv::detail
