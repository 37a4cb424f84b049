#pragma once

#include "Platform/Foundation/Text/NSTextCheckingResult.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

// Finds dates in running text: ISO 8601, numbers in the order of the current locale, names of months and days
// in English, German and the locale's language, times, zones, and words such as "tomorrow" and "3 weeks ago".
//
// What a text leaves open comes from the moment of the call: today's year, day and zone. A day without a time
// is noon, local time; a time without a day is today. Days and months without a year are this year's, and
// "Friday" is the next one, today included. Years of two digits lie between 80 years back and 20 years ahead.
//
// What merely looks like a date is passed over: versions, fractions, prices, addresses, telephone numbers, lone
// numbers, names of months alone, and days that no calendar has. A date never begins or ends inside a longer
// number, word or path, and never spans a line break.
//
// Immutable; any thread may use it. Reading takes linear time whatever the text holds.
//
//   auto detector = NSDataDetector::dataDetectorWithTypes(NSTextCheckingTypeDate);
//   auto found = detector->firstMatchInString("Call me tomorrow at 7:30 PM, please");
//   if (found) std::cout << found->date();
class ORV_EXPORT NSDataDetector : public NSObject {
 public:
  // nil when the types do not include dates.
  static orv::Ref<NSDataDetector> dataDetectorWithTypes(NSTextCheckingTypes types);

  NSTextCheckingTypes checkingTypes() const noexcept { return types_; }

  // NSTextCheckingResults in text order, never overlapping; empty when there are none, or for a nil text.
  NSArray matchesInString(const NSString& text) const;
  // nil when there is none.
  orv::Ref<NSTextCheckingResult> firstMatchInString(const NSString& text) const;

  NSString className() const override;

  explicit NSDataDetector(NSTextCheckingTypes types) noexcept : types_(types) {}

 private:
  NSTextCheckingTypes types_;
};
