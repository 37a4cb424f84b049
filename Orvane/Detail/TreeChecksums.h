#pragma once

#include <functional>
#include <string>

#include "Orvane/Detail/FileDigest.h"
#include "Platform/Foundation/Export.h"
#include "Platform/Foundation/Values/NSSet.h"

namespace orv::detail {

// Hears of a file that was changed while it was read: its path below the root, and its line, which is of no one
// state of the file.
using ChangedFile = std::function<void(const std::string& path, const NSString& line)>;

// The checksum lines of a tree, as NSFileManager::zuListChecksumsForTreeAtURL gives them, for callers that show
// how far the work is and want to know which lines not to trust.
ORV_EXPORT NSMutableSet checksumsOfTree(const std::string& root, const TreeProgress& progress = nullptr,
                                        const ChangedFile& changed = nullptr);

}  // namespace orv::detail
