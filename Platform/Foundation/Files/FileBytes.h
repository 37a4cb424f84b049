#pragma once

#include <string>
#include <string_view>

#include "Platform/Foundation/Values/NSData.h"

// Whole files in and out, in the file system's own bytes for paths. Each answers 0 or the system's error
// number. They block on the disk and may be called from any thread.
namespace orv::detail {

// Reads to the end, also where the file's size is not known beforehand. EISDIR for a folder.
ORV_EXPORT int readFile(const std::string& path, NSData& contents);

// Writes a new file beside the target, syncs it, gives it the old file's extended attributes, owner, group,
// permissions and access list as far as the system allows, renames it over the
// target and syncs the folder: at every moment the target is the old or the new file in full. A symbolic link
// at the target is replaced by the file. After an error the old file is untouched and nothing is left behind.
// Where the file system can hold a file without a name, a process that is killed while writing leaves none,
// too. A pipe or a device is written to instead, and blocks as it likes; EINVAL for a socket. Where the group
// or the access list cannot be kept the permissions shrink: nobody gets in whom the old file kept out.
ORV_EXPORT int replaceFile(const std::string& path, std::string_view contents);

// The same, but a symbolic link stays and the file it names is replaced, or made where there is none.
ORV_EXPORT int replaceLinkedFile(const std::string& path, std::string_view contents);

// Overwrites the file in place, or creates it, and syncs it. Follows symbolic links.
ORV_EXPORT int overwriteFile(const std::string& path, std::string_view contents);

// Gives a file's contents a second name, `base` or the first free of `base-1`, `base-2` and so on, which is
// answered in `kept`; the file itself stays. A symbolic link is followed. Where there can be no second link it
// is a copy that nobody may read who may not read the file. ENOENT when there is no such file, EEXIST when a
// hundred names are taken.
ORV_EXPORT int keepFileAside(const std::string& path, const std::string& base, std::string& kept);

}  // namespace orv::detail
