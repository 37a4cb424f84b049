#pragma once

#include "Platform/Foundation/Values/NSURL.h"

namespace orv::detail {

enum class ResourceReading { Read, NoItem, NoValue };

// What NSURL::getResourceValue does, without an error, but telling with one question to the disk whether the
// item or only its value cannot be read. `value` is set for Read alone.
ORV_EXPORT ResourceReading readResourceValue(const NSURL& url, const NSString& key, Value& value);

}  // namespace orv::detail
