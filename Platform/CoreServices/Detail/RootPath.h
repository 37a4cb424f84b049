#pragma once

#include <string>

namespace orv::detail {

// Where an absolute path leads: without links, ".." and slashes at the end; "" for "/". What does not exist
// stays as it is, so a link to nothing gives the path at which something is missing.
std::string resolvedRoot(const std::string& path);

}  // namespace orv::detail
