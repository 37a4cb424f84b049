#pragma once

#include <string>

#include "Orvane/Detail/FileDigest.h"
#include "Platform/Foundation/Export.h"
#include "Platform/Foundation/Values/NSSet.h"

namespace orv::detail {

// The checksum lines of a tree, as NSFileManager::zuListChecksumsForTreeAtURL gives them, for callers that show
// how far the work is.
ORV_EXPORT NSMutableSet checksumsOfTree(const std::string& root, const TreeProgress& progress = nullptr);

}  // namespace orv::detail
