#include <algorithm>
#include <cmath>

#include "Platform/Foundation/Dates/NSDateFormatter.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

namespace {

// A double of whole seconds as an unsigned number: what lies before 1970 counts as 1970.
uint64_t unsignedSeconds(double seconds) {
  constexpr double kLimit = 18446744073709551615.0;
  if (!(seconds > 0)) return 0;
  return seconds >= kLimit ? UINT64_MAX : static_cast<uint64_t>(seconds);
}

NSLocale american() {
  static const NSLocale* const locale = new NSLocale(NSLocale::localeWithLocaleIdentifier("en_US"));
  return *locale;
}

}  // namespace

NSString NSDate::formatDate(const NSString& pattern, const NSLocale& locale) const {
  if (isNil()) return nil;
  const Ref<NSDateFormatter> formatter = make<NSDateFormatter>();
  formatter->setDateFormat(pattern.isNil() ? NSString("yyyy'-'MM'-'dd' 'HH':'mm':'ss") : pattern);
  formatter->setLocale(locale.isNil() ? american() : locale);
  return formatter->stringFromDate(*this);
}

NSString NSDate::descriptionDate() const { return formatDate("yyyy'-'MM'-'dd'", nil); }

NSString NSDate::descriptionDateTime() const { return formatDate("yyyy'-'MM'-'dd' 'HH':'mm':'ss'", nil); }

NSString NSDate::descriptionTime() const { return formatDate("'HH':'mm':'ss'", nil); }

NSString NSDate::formatDateWithStyle(NSInteger style) const {
  if (isNil()) return nil;
  const Ref<NSDateFormatter> formatter = make<NSDateFormatter>();
  formatter->setDateStyle(static_cast<NSDateFormatterStyle>(style));
  formatter->setTimeStyle(static_cast<NSDateFormatterStyle>(style));
  return formatter->stringFromDate(*this);
}

NSString NSDate::ISO8601String() const {
  if (isNil()) return nil;
  char text[detail::kISO8601MaxLength];
  const char* end = detail::writeISO8601(timeIntervalSinceReferenceDate(), text);
  return detail::StringFactory::ascii(text, static_cast<size_t>(end - text));
}

NSString NSDate::timeAgoInWords() const {
  if (isNil()) return nil;
  constexpr double kHour = 60, kDay = 1440;
  const double minutes = std::round(std::abs(timeIntervalSinceNow()) / 60);
  if (minutes <= 1) return "1 min";
  if (minutes < 45) return NSString::stringWithFormat("%.0f mins", minutes);
  if (minutes < 90) return "1 hour";
  if (minutes < kDay) return NSString::stringWithFormat("%.0f hours", std::round(minutes / kHour));
  if (minutes < 2 * kDay) return "1 day";
  return NSString::stringWithFormat("%.0f days", std::round(minutes / kDay));
}

NSNumber NSDate::timeStampSeconds() const {
  return isNil() ? NSNumber() : NSNumber(unsignedSeconds(std::floor(timeIntervalSince1970())));
}

NSNumber NSDate::timeStampMilliSeconds() const {
  return isNil() ? NSNumber() : NSNumber(unsignedSeconds(std::floor(timeIntervalSince1970() * 1000)));
}

NSNumber NSDate::unixTimeStampObject() const {
  return isNil() ? NSNumber() : NSNumber(std::floor(timeIntervalSince1970()));
}

NSString NSDate::unixTimeStampString() const { return unixTimeStampObject().stringValue(); }

NSDate NSDate::canonicalDate() const {
  if (isNil()) return nil;
  const NSNumber seconds = std::floor(timeIntervalSince1970());
  return dateWithTimeIntervalSince1970(static_cast<double>(seconds.longLongValue()));
}
