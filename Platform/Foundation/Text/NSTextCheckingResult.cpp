#include "Platform/Foundation/Text/NSTextCheckingResult.h"

#include "Platform/Foundation/Values/NSString.h"

using namespace orv;

Ref<NSTextCheckingResult> NSTextCheckingResult::dateCheckingResultWithRange(NSRange range, const NSDate& date,
                                                                            NSTimeInterval duration,
                                                                            const NSTimeZone& timeZone) {
  auto result = make<NSTextCheckingResult>(NSTextCheckingTypeDate, range);
  result->date_ = date;
  result->duration_ = duration;
  result->timeZone_ = timeZone;
  return result;
}

Ref<NSTextCheckingResult> NSTextCheckingResult::regularExpressionCheckingResultWithRanges(
    std::vector<NSRange> ranges) {
  const NSRange whole = ranges.empty() ? NSRangeNotFound : ranges.front();
  auto result = make<NSTextCheckingResult>(NSTextCheckingTypeRegularExpression, whole);
  if (!ranges.empty()) ranges.erase(ranges.begin());
  result->groups_ = std::move(ranges);
  return result;
}

NSRange NSTextCheckingResult::rangeAtIndex(NSUInteger index) const noexcept {
  if (index == 0) return range_;
  return index <= groups_.size() ? groups_[index - 1] : NSRangeNotFound;
}

NSString NSTextCheckingResult::className() const { return "NSTextCheckingResult"; }

NSString NSTextCheckingResult::description() const {
  const NSString text =
      NSString::stringWithFormat("<NSTextCheckingResult: {%lu, %lu}", range_.location, range_.length);
  return date_.isNil() ? text + ">" : text + " " + date_.description() + ">";
}
