#include "Platform/Foundation/Dates/NSDateComponents.h"

#include <string>

using namespace orv;

namespace {

constexpr const char* kNames[] = {"era",        "year",        "quarter", "month",     "yearForWeekOfYear",
                                  "weekOfYear", "weekOfMonth", "day",     "weekday",   "weekdayOrdinal",
                                  "hour",       "minute",      "second",  "nanosecond"};

}  // namespace

NSDateComponents::Index NSDateComponents::indexOf(NSCalendarUnit unit) {
  switch (unit) {
    case NSCalendarUnitEra: return Era;
    case NSCalendarUnitYear: return Year;
    case NSCalendarUnitMonth: return Month;
    case NSCalendarUnitDay: return Day;
    case NSCalendarUnitHour: return Hour;
    case NSCalendarUnitMinute: return Minute;
    case NSCalendarUnitSecond: return Second;
    case NSCalendarUnitWeekday: return Weekday;
    case NSCalendarUnitWeekdayOrdinal: return WeekdayOrdinal;
    case NSCalendarUnitQuarter: return Quarter;
    case NSCalendarUnitWeekOfMonth: return WeekOfMonth;
    case NSCalendarUnitWeekOfYear: return WeekOfYear;
    case NSCalendarUnitYearForWeekOfYear: return YearForWeekOfYear;
    case NSCalendarUnitNanosecond: return Nanosecond;
    case NSCalendarUnitCalendar:
    case NSCalendarUnitTimeZone: break;
  }
  return Count;
}

NSInteger NSDateComponents::valueForComponent(NSCalendarUnit unit) const {
  const Index index = indexOf(unit);
  return index == Count ? NSDateComponentUndefined : values_[index];
}

void NSDateComponents::setValueForComponent(NSInteger value, NSCalendarUnit unit) {
  const Index index = indexOf(unit);
  if (index != Count) values_[index] = value;
}

NSString NSDateComponents::description() const {
  std::string text;
  for (size_t i = 0; i < Count; ++i) {
    if (values_[i] == NSDateComponentUndefined) continue;
    if (!text.empty()) text += ", ";
    text += std::string(kNames[i]) + ": " + std::to_string(values_[i]);
  }
  return NSString(text);
}
