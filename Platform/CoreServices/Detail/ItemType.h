#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

#include "Platform/Foundation/Values/NSString.h"

// The uniform types of items on the disk.
namespace orv::detail {

// The type of an item with this name and mode. A link, a pipe, a socket and a device have their own types. A
// folder is what its extension says when that is a kind of folder, else public.folder. A file is what its
// extension says, among the types that are no folders; an unknown extension gives a dynamic type below
// public.data. Without an extension a file is public.unix-executable when somebody may execute it, else
// public.data.
ORV_EXPORT NSString typeOfItem(const NSString& name, mode_t mode);

// The extensions of all types at or below an identifier, lower-case, in the order of the registry.
ORV_EXPORT std::vector<std::string> extensionsOfTypesBelow(std::string_view identifier);

}  // namespace orv::detail
