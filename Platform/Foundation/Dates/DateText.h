#pragma once

#include <string_view>

#include "Platform/Foundation/Dates/NSTimeZone.h"
#include "Platform/Foundation/Values/NSDate.h"

// What the readers and writers of dates share.
namespace orv::detail {

// Milliseconds since 1970, rounded down as ISO8601String does, and the date that they make.
inline int64_t millisecondsOf(const NSDate& date) {
  return millisecondsSince2001(date.timeIntervalSinceReferenceDate()) +
         static_cast<int64_t>(NSTimeIntervalSince1970) * 1000;
}
inline NSDate dateOfMilliseconds(int64_t since1970) {
  const int64_t since2001 = since1970 - static_cast<int64_t>(NSTimeIntervalSince1970) * 1000;
  return NSDate::dateWithTimeIntervalSinceReferenceDate(static_cast<double>(since2001) / 1000);
}

// The start of 1950 in a zone: from here on years of two digits count.
ORV_EXPORT NSDate defaultTwoDigitStart(const NSTimeZone& zone);

// Unicode's White_Space among the code units.
constexpr bool isWhiteSpace(char16_t c) {
  return c == ' ' || (c >= '\t' && c <= '\r') || c == 0x85 || c == 0xA0 || c == 0x1680 ||
         (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F ||
         c == 0x3000;
}

// The text without white space at its ends.
template <class Text>
constexpr Text trimmedText(Text text) {
  const auto isBlank = [](auto c) { return isWhiteSpace(static_cast<char16_t>(c)); };
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace orv::detail
