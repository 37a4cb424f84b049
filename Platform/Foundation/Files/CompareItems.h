#pragma once

#include "Platform/Foundation/Export.h"

namespace orv::detail {

// Whether two items, named in open folders, are the same in content: files byte by byte, folders by the names
// and contents of what is in them, links by their targets; other items only when they are one and the same, and
// inside folders by name. Answers 0, or the errno of what could not be read before a difference was found.
ORV_EXPORT int compareItems(int folderA, const char* nameA, int folderB, const char* nameB, bool& equal);

}  // namespace orv::detail
