#pragma once

#include <vector>

#include "Platform/Foundation/Dates/NSTimeZone.h"
#include "Platform/Foundation/Values/NSArray.h"
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
// The match of a regular expression has several ranges: the whole match, then its groups.
//
//   for (const Value& match : expression->matchesInString(text))
//     std::cout << match.as<NSTextCheckingResult>()->inString(text, 1);   // what the first group took
class ORV_EXPORT NSTextCheckingResult : public NSObject {
 public:
  // A date, the zone the text names (nil when it names none), and the seconds a span lasts (0 for one moment).
  static orv::Ref<NSTextCheckingResult> dateCheckingResultWithRange(NSRange range, const NSDate& date,
                                                                    NSTimeInterval duration = 0,
                                                                    const NSTimeZone& timeZone = orv::nil);

  // A match: its range and those of its groups, at least one in all.
  static orv::Ref<NSTextCheckingResult> regularExpressionCheckingResultWithRanges(std::vector<NSRange> ranges);

  NSTextCheckingResult(NSTextCheckingTypes type, NSRange range) noexcept : type_(type), range_(range) {}

  NSTextCheckingTypes resultType() const noexcept { return type_; }
  // In code units of the text searched.
  NSRange range() const noexcept { return range_; }

  // 1, and one more for each group of a regular expression.
  NSUInteger numberOfRanges() const noexcept { return 1 + groups_.size(); }
  // The whole find at 0; NSRangeNotFound for a group that took no part in the match, and beyond the last.
  NSRange rangeAtIndex(NSUInteger index) const noexcept;

  // nil, 0 and nil for results of other types.
  NSDate date() const noexcept { return date_; }
  NSTimeInterval duration() const noexcept { return duration_; }
  NSTimeZone timeZone() const noexcept { return timeZone_; }

  NSString className() const override;
  // "<NSTextCheckingResult: {12, 22} 2021-03-05 12:00:00 +0000>"
  NSString description() const override;

  // NSTextCheckingResult(Orvane) - Orvane/Categories/NSTextCheckingResult+Orvane.cpp
  // `string` is the text searched. What of a range lies outside of it is left out; a nil text gives nil.

  NSString inString(const NSString& string) const;
  // What the group took: "" where it took no part in the match, nil where there is no such group.
  NSString inString(const NSString& string, NSUInteger groupIndex) const;
  // The same for every index from 0.
  NSMutableArray groupsInString(const NSString& string) const;

 private:
  NSTextCheckingTypes type_;
  NSRange range_;
  std::vector<NSRange> groups_;
  NSDate date_;
  NSTimeInterval duration_ = 0;
  NSTimeZone timeZone_;
};
