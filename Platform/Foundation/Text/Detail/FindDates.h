#pragma once

#include <string>
#include <vector>

#include "Platform/Foundation/Export.h"
#include "Platform/Foundation/Values/NSString.h"

namespace orv::detail {

// What dates without a year, a day or a zone refer to.
struct DetectorContext {
  double now = 0;      // seconds since 2001
  std::string zone;    // a zone's name; empty for this computer's
  std::string locale;  // an identifier: "en_US", "de_DE"

  static DetectorContext current();
};

struct DateMatch {
  NSRange range;
  double date = 0;      // seconds since 2001
  double duration = 0;  // seconds, for spans
  std::string zone;     // as named by the text, else empty
};

// The dates in a text, in text order, at most so many.
ORV_EXPORT std::vector<DateMatch> findDates(const NSString& text, const DetectorContext& context,
                                            size_t limit = SIZE_MAX);

}  // namespace orv::detail
