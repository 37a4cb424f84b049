#pragma once

#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/NSURL.h"

namespace orv::detail {

// The path of a location: of a file URL its path, of a string itself, of anything else nil.
inline NSString pathOfLocation(const Value& location) {
  const NSURL url = location.as<NSURL>();
  return url.isFileURL() ? url.path() : location.as<NSString>();
}

}  // namespace orv::detail

// The soft assertion that an argument is a URL, in the words of the report.
#define ORV_ASSERT_URL(argument) \
  ORV_ASSERT_TEXT((argument).isKindOf<NSURL>(), "!!([" #argument " isKindOfClass:NSURL.class])")
