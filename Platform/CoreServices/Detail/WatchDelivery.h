#pragma once

#include <functional>
#include <vector>

#include "Platform/CoreServices/Detail/ChangeBatch.h"

namespace orv::detail {

// What a batch says now, one change for each path. Items of unknown kind are looked at on the disk; `pause` is
// called now and then meanwhile.
std::vector<Change> changesOf(const ChangeBatch& batch, const FolderTable& folders, bool fileEvents,
                              const std::function<void()>& pause);

}  // namespace orv::detail
