#pragma once

#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSDictionary.h"

namespace orv::detail {

// One JSON object of strings, numbers, booleans and nulls, which are left out; nil when the text is anything
// else.
ORV_EXPORT NSDictionary readFlatJSON(const NSData& json);

// The same for settings as they were once kept, in ASCII with escapes: there a lone surrogate stands in a
// string as its escape, which JSON has no meaning for.
ORV_EXPORT NSDictionary readOldSettings(const NSData& json);

}  // namespace orv::detail
