// Any text through the readers of dates. Laws: what a reader of a fixed form accepts, written as ISO 8601, is
// read back as the same date; either reader's result is what the one for both answers; the calendar's steps
// around it are in order.

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Orvane/OrvLog.h"
#include "Platform/Foundation/Values/NSDate.h"

namespace {

void require(bool law) {
  if (!law) std::abort();
}

void checkSteps(const NSDate& date) {
  require(date.dayStart() <= date && date <= date.dayEnd().dateByAddingTimeInterval(1));
  require(date.monthStart() <= date.monthEnd() && date.yearStart() <= date.monthStart());
  require(NSDate::fromDays(date.days()) == date.dayStart());
}

void check(const NSDate& date) {
  if (date.isNil() || date < NSDate::distantPast()) return;
  const NSString text = date.ISO8601String();
  if (text.length() == 24) require(NSDate::zuDateFromJSONString(text) == date);
  checkSteps(date);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool quiet = (::setenv("TZ", "UTC", 1), OrvLog::sharedObject()->setLevel(0), true);
  const NSString text = NSString::stringWithLossyUTF8({reinterpret_cast<const char*>(data), size});
  const NSDate mail = NSDate::zuDateFromRFC822String(text), stamp = NSDate::zuDateFromRFC3339String(text);
  require(quiet && NSDate::dateFromInternetDateTimeString(text) == (mail.isNil() ? stamp : mail));
  check(mail);
  check(stamp);
  check(NSDate::zuDateFromJSONString(text));
  NSDate::zuDateFromUNIXTimestampString(text).dayStart();
  return 0;
}
