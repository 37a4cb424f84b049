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

NSString NSTextCheckingResult::className() const { return "NSTextCheckingResult"; }

NSString NSTextCheckingResult::description() const {
  const NSString text =
      NSString::stringWithFormat("<NSTextCheckingResult: {%lu, %lu}", range_.location, range_.length);
  return date_.isNil() ? text + ">" : text + " " + date_.description() + ">";
}
