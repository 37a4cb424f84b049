#pragma once

#include <string_view>

#include "Platform/Foundation/Export.h"

namespace orv::detail {

// True when a folder of that name is a package: a folder that is shown to the user as one file, such as an
// application or a document bundle. The extension decides, in any case;
// what stands behind nothing but dots is none, as for NSString::pathExtension.
ORV_EXPORT bool isPackageName(std::string_view name) noexcept;

}  // namespace orv::detail
