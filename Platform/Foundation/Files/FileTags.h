#pragma once

#include <string>
#include <vector>

#include "Platform/Foundation/Export.h"

// The tags of files: names, separated by commas, in the extended attribute "user.xdg.tags" that Linux desktops
// share. Each operation is about the item itself, never about what a link points to, and answers 0 or the
// system's error number.
namespace orv::detail {

// The names as bytes, without empty ones. An item without tags, and one on a file system that keeps no extended
// attributes, gives none.
ORV_EXPORT int readFileTags(const std::string& path, std::vector<std::string>& names);

// Replaces all tags in one step; no names remove the attribute.
ORV_EXPORT int writeFileTags(const std::string& path, const std::vector<std::string>& names);

}  // namespace orv::detail
