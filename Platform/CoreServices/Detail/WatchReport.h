#pragma once

#include <cstddef>
#include <string>

namespace orv::detail {

// Logs that the system allows no more watches. Implemented beside the logger, in Orvane/Detail.
void reportWatchLimit(const std::string& path, size_t watches);
// Logs that there is no inotify instance to be had, so that nothing is watched.
void reportInstanceLimit(const std::string& path);

}  // namespace orv::detail
