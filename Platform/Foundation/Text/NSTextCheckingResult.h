#pragma once

#include "Platform/Foundation/Dates/NSTimeZone.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

// What a result stands for: one bit each.
using NSTextCheckingTypes = uint64_t;
inline constexpr NSTextCheckingTypes NSTextCheckingTypeDate = 1u << 3;
inline constexpr NSTextCheckingTypes NSTextCheckingTypeRegularExpression = 1u << 10;

// One find in a text: what it is, where it lies, and what it says.
//
// Immutable; any thread may use it. It does not keep the text it was found in.
//
//   Ref<NSTextCheckingResult> found = detector->firstMatchInString("lunch on March 5, 2021 at noon");
//   found->range();    // of "March 5, 2021 at noon"
//   found->date();
class ORV_EXPORT NSTextCheckingResult : public NSObject {
 public:
  // A date, the zone the text names (nil when it names none), and the seconds a span lasts (0 for one moment).
  static orv::Ref<NSTextCheckingResult> dateCheckingResultWithRange(NSRange range, const NSDate& date,
                                                                    NSTimeInterval duration = 0,
                                                                    const NSTimeZone& timeZone = orv::nil);

  NSTextCheckingResult(NSTextCheckingTypes type, NSRange range) noexcept : type_(type), range_(range) {}

  NSTextCheckingTypes resultType() const noexcept { return type_; }
  // In code units of the text searched.
  NSRange range() const noexcept { return range_; }

  // nil, 0 and nil for results of other types.
  NSDate date() const noexcept { return date_; }
  NSTimeInterval duration() const noexcept { return duration_; }
  NSTimeZone timeZone() const noexcept { return timeZone_; }

  NSString className() const override;
  // "<NSTextCheckingResult: {12, 22} 2021-03-05 12:00:00 +0000>"
  NSString description() const override;

 private:
  NSTextCheckingTypes type_;
  NSRange range_;
  NSDate date_;
  NSTimeInterval duration_ = 0;
  NSTimeZone timeZone_;
};
