#pragma once

#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/NSURL.h"

namespace tool {

// The uniform type that a file's name stands for. A name without an extension tells nothing: a folder is
// "public.folder", anything else "public.data".
NSString typeOf(const NSURL& url);

}  // namespace tool
