#pragma once

#include <cstdint>
#include <string_view>

#include "Platform/Foundation/Export.h"

// The two date forms of the internet in the way nearly everybody writes them, read without a pattern. False is
// no verdict: the text may still be a date by the full rules. True is what the full rules would say.
namespace orv::detail {

// RFC 3339: "2003-06-10T04:00:00", with a fraction only where an offset follows, and "Z", "+02:00" or "+0200".
// The years 1583 to 9999. Milliseconds since 1970; further digits are dropped.
ORV_EXPORT bool readTimestamp(std::string_view text, int64_t& milliseconds) noexcept;

// RFC 822: "Tue, 10 Jun 2003 04:00:00 GMT", in any case; weekday, seconds and zone may be missing. The years
// 1583 to 9999, single blanks. The weekday must be one, not the right one.
ORV_EXPORT bool readMailDate(std::string_view text, int64_t& milliseconds) noexcept;

}  // namespace orv::detail
