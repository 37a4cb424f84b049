#include "Platform/Foundation/Text/NSDataDetector.h"

#include "Platform/Foundation/Dates/NSLocale.h"
#include "Platform/Foundation/Text/Detail/FindDates.h"

using namespace orv;

namespace {
Ref<NSTextCheckingResult> resultOf(const detail::DateMatch& match) {
  const NSTimeZone zone = match.zone.empty() ? NSTimeZone() : NSTimeZone::timeZoneWithName(match.zone);
  return NSTextCheckingResult::dateCheckingResultWithRange(
      match.range, NSDate::dateWithTimeIntervalSinceReferenceDate(match.date), match.duration, zone);
}
}  // namespace

detail::DetectorContext detail::DetectorContext::current() {
  return {detail::now(), NSTimeZone::localTimeZone().name().utf8(),
          NSLocale::currentLocale().localeIdentifier().utf8()};
}

Ref<NSDataDetector> NSDataDetector::dataDetectorWithTypes(NSTextCheckingTypes types) {
  if ((types & NSTextCheckingTypeDate) == 0) return nil;
  return make<NSDataDetector>(types);
}

NSArray NSDataDetector::matchesInString(const NSString& text) const {
  NSMutableArray results = NSMutableArray::array();
  for (const detail::DateMatch& match : detail::findDates(text, detail::DetectorContext::current()))
    results.addObject(resultOf(match));
  return results;
}

Ref<NSTextCheckingResult> NSDataDetector::firstMatchInString(const NSString& text) const {
  const auto matches = detail::findDates(text, detail::DetectorContext::current(), 1);
  return matches.empty() ? Ref<NSTextCheckingResult>() : resultOf(matches[0]);
}

NSString NSDataDetector::className() const { return "NSDataDetector"; }
