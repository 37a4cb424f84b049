#pragma once

#include <cstddef>
#include <string>

#include "Platform/Foundation/Files/Bookmark.h"

// Looking for an item that is no longer where its bookmark says.
namespace orv::detail {

struct BookmarkSearchLimits {
  size_t names = 100'000;  // how many names of folders are read before the search gives up
  bool handles = true;     // whether to ask the kernel, which needs a capability (CAP_DAC_READ_SEARCH)
};

// Where the item is now; "" when it is not found. Asks, in this order: the kernel, by the item's handle; its
// folders, each of which may have been renamed or moved in the next one; then all names below the nearest
// folder that still stands and the one above it, below the home folder, below the other folders above up to the
// volume's root, and below other places where its volume is mounted, be it under another device number. That
// the item is gone is believed of the kernel only on the item's own volume. The search stays on the volume,
// asks no network file system but the item's, does not follow links, goes through near folders before far ones
// and ends at the limit.
ORV_EXPORT std::string findMovedItem(const Bookmark& bookmark, const BookmarkSearchLimits& limits = {});

}  // namespace orv::detail
