#include <cmath>

#include "Orvane/OrvAssert.h"
#include "Platform/Foundation/Dates/NSCalendar.h"
#include "Platform/Foundation/System/NSUserDefaults.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

namespace {

constexpr NSUInteger kDayUnits = NSCalendarUnitYear | NSCalendarUnitMonth | NSCalendarUnitDay;
constexpr NSUInteger kUnits =
    kDayUnits | NSCalendarUnitEra | NSCalendarUnitHour | NSCalendarUnitMinute | NSCalendarUnitSecond;
constexpr NSInteger kSunday = 1, kSaturday = 7;
constexpr NSTimeInterval kSecondsOfDay = 86400;

NSInteger component(const NSDate& date, NSCalendarUnit unit) {
  const NSInteger value = NSCalendar::currentCalendar().component(unit, date);
  return value == NSDateComponentUndefined ? 0 : value;
}

// The date with some of its parts changed.
template <class Change>
NSDate rebuilt(const NSDate& date, Change change) {
  if (date.isNil()) return nil;
  const NSCalendar calendar = NSCalendar::currentCalendar();
  NSDateComponents parts = calendar.components(kUnits, date);
  if (parts.year() == NSDateComponentUndefined) return nil;
  change(parts);
  return calendar.dateFromComponents(parts);
}

void setTime(NSDateComponents& parts, NSInteger hour, NSInteger minute, NSInteger second) {
  parts.setHour(hour);
  parts.setMinute(minute);
  parts.setSecond(second);
}

NSDate adding(const NSDate& date, NSCalendarUnit unit, NSInteger amount) {
  return NSCalendar::currentCalendar().dateByAddingUnit(unit, amount, date);
}

NSCalendar gregorian() { return NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian); }

NSDate atHour(const NSCalendar& calendar, const NSDate& date, NSInteger hour) {
  if (date.isNil()) return nil;
  NSDateComponents parts = calendar.components(kDayUnits | NSCalendarUnitEra, date);
  parts.setHour(hour);
  return calendar.dateFromComponents(parts);
}

// The working day next to one end of a month, in the month of the date or the first later one where it is not
// over. All of the months before the present one are, so they are passed over at once.
template <class DayOfMonth>
NSDate workingDay(NSDate date, DayOfMonth dayOfMonth) {
  const NSDate now = NSDate::date();
  const NSCalendar calendar = gregorian();
  for (;;) {
    const NSDate day = dayOfMonth(calendar, date);
    if (day.isNil() || day >= now) return day;
    date = calendar.dateByAddingUnit(NSCalendarUnitMonth, 1, day).laterDate(now);
  }
}

NSDate lastWorkingDay(const NSCalendar& calendar, const NSDate& date) {
  const NSDate end = date.monthEnd();
  const NSInteger weekday = calendar.component(NSCalendarUnitWeekday, end);
  const NSInteger back = weekday == kSunday ? 2 : weekday == kSaturday ? 1 : 0;
  return calendar.dateByAddingUnit(NSCalendarUnitDay, -back, end);
}

NSDate firstWorkingDay(const NSCalendar& calendar, const NSDate& date) {
  const NSDate start = date.monthStart();
  const NSInteger weekday = calendar.component(NSCalendarUnitWeekday, start);
  const NSInteger on = weekday == kSunday ? 1 : weekday == kSaturday ? 2 : 0;
  return calendar.dateByAddingUnit(NSCalendarUnitDay, on, start);
}

}  // namespace

bool NSDate::laterThan(const Value& other) const {
  if (isNil()) return false;
  ORV_ASSERT(other);
  ORV_ASSERT_CLASS(other, NSDate);
  return std::floor(timeIntervalSince1970()) > std::floor(other.as<NSDate>().timeIntervalSince1970());
}

NSInteger NSDate::daysSince(const NSDate& other) const {
  if (isNil() || other.isNil()) return 0;
  return NSNumber(dayStart().timeIntervalSinceDate(other.dayStart()) / kSecondsOfDay).integerValue();
}

bool NSDate::isToday() const { return !isNil() && dayStart().isEqualToDate(date().dayStart()); }

bool NSDate::isYesterday() const {
  return !isNil() && dayStart().isEqualToDate(date().dayStart().dateByAddingTimeInterval(-1).dayStart());
}

NSInteger NSDate::secondOfMinute() const { return component(*this, NSCalendarUnitSecond); }
NSInteger NSDate::weekOfYear() const { return component(*this, NSCalendarUnitWeekOfYear); }
NSInteger NSDate::yearOfCommonEra() const { return component(*this, NSCalendarUnitYear); }
NSInteger NSDate::monthOfYear() const { return component(*this, NSCalendarUnitMonth); }
NSInteger NSDate::dayOfMonth() const { return component(*this, NSCalendarUnitDay); }
NSInteger NSDate::dayOfWeek() const { return component(*this, NSCalendarUnitWeekday); }

NSDate NSDate::dayStart() const {
  return rebuilt(*this, [](NSDateComponents& parts) { setTime(parts, 0, 0, 0); });
}

NSDate NSDate::dayEnd() const {
  return rebuilt(*this, [](NSDateComponents& parts) { setTime(parts, 23, 59, 59); });
}

NSDate NSDate::yesterdayStart() const { return adding(dayStart(), NSCalendarUnitHour, -24); }

NSDate NSDate::hourStart() const {
  return rebuilt(*this, [](NSDateComponents& parts) { setTime(parts, parts.hour(), 0, 0); });
}

NSDate NSDate::minuteStart() const {
  return rebuilt(*this, [](NSDateComponents& parts) { parts.setSecond(0); });
}

NSDate NSDate::minuteEnd() const {
  return rebuilt(*this, [](NSDateComponents& parts) {
    setTime(parts, parts.hour(), parts.minute() + (parts.second() >= 1 ? 1 : 0), 0);
  });
}

NSDate NSDate::last5minutes() const {
  return rebuilt(*this,
                 [](NSDateComponents& parts) { setTime(parts, parts.hour(), parts.minute() / 5 * 5, 0); });
}

// The calendar carries minute 60 and hour 24.
NSDate NSDate::next5minutes() const {
  return rebuilt(
      *this, [](NSDateComponents& parts) { setTime(parts, parts.hour(), (parts.minute() + 4) / 5 * 5, 0); });
}

NSDate NSDate::weekStart() const {
  NSDate start;
  NSCalendar::currentCalendar().rangeOfUnit(NSCalendarUnitWeekOfYear, &start, nullptr, *this);
  return start;
}

NSDate NSDate::weekEnd() const {
  NSDateComponents week;
  week.setWeekday(7);
  week.setSecond(-1);
  return NSCalendar::currentCalendar().dateByAddingComponents(week, weekStart());
}

NSDate NSDate::monthStart() const {
  return rebuilt(*this, [](NSDateComponents& parts) {
    parts.setDay(1);
    setTime(parts, 0, 0, 0);
  });
}

// Day 0 of the next month is the last of this one.
NSDate NSDate::monthEnd() const {
  return rebuilt(*this, [](NSDateComponents& parts) {
    parts.setMonth(parts.month() + 1);
    parts.setDay(0);
    setTime(parts, 23, 59, 59);
  });
}

NSDate NSDate::yearStart() const {
  return rebuilt(*this, [](NSDateComponents& parts) {
    parts.setMonth(1);
    parts.setDay(1);
    setTime(parts, 0, 0, 0);
  });
}

NSDate NSDate::yearEnd() const {
  return rebuilt(*this, [](NSDateComponents& parts) {
    parts.setMonth(12);
    parts.setDay(31);
    setTime(parts, 23, 59, 59);
  });
}

NSDate NSDate::roundToInterval(NSTimeInterval interval) const {
  if (isNil()) return nil;
  return dateWithTimeIntervalSinceReferenceDate(std::floor(timeIntervalSinceReferenceDate() / interval) *
                                                interval);
}

NSDate NSDate::dayLightFixedDate(const NSDate& date) const {
  if (isNil() || date.isNil()) return date;
  const NSTimeZone zone = NSCalendar::currentCalendar().timeZone();
  return date.dateByAddingTimeInterval(zone.daylightSavingTimeOffsetForDate(date) -
                                       zone.daylightSavingTimeOffsetForDate(*this));
}

NSDate NSDate::dateByAddingDays(NSInteger days, NSInteger months, NSInteger years) const {
  NSDateComponents amounts;
  amounts.setDay(days);
  amounts.setMonth(months);
  amounts.setYear(years);
  return NSCalendar::currentCalendar().dateByAddingComponents(amounts, *this);
}

NSDate NSDate::dateByAddingMonths(NSInteger months) const { return dateByAddingDays(0, months, 0); }

NSInteger NSDate::weekStartDay() const {
  constexpr const char* kNames[] = {"sunday",   "monday", "thuesday", "wednesday",
                                    "thursday", "friday", "saturday"};
  if (isNil()) return 0;
  const Value setting = NSUserDefaults::standardUserDefaults()->objectForKey("weekStart");
  if (setting.isNil()) return NSCalendar::currentCalendar().firstWeekday();
  for (size_t i = 0; i < std::size(kNames); ++i)
    if (setting.isEqual(NSString(kNames[i]))) return static_cast<NSInteger>(i) + 1;
  return INT64_MIN;  // "not found" and one more
}

NSDate NSDate::dateWithYear(NSInteger year, NSInteger month, NSInteger day) {
  NSDateComponents parts;
  parts.setYear(year);
  parts.setMonth(month);
  parts.setDay(day);
  return NSCalendar::currentCalendar().dateFromComponents(parts);
}

NSDate NSDate::dateWithStartOfYear(NSInteger year, NSInteger month) { return dateWithYear(year, month, 1); }

NSDate NSDate::dateWithStartOfYear(NSInteger year) { return dateWithYear(year, 1, 1); }

NSCalendar NSDate::currentCalendar() { return NSCalendar::currentCalendar(); }

NSDate NSDate::nextWeekDay(NSInteger weekday, NSInteger hourOfDay) const {
  if (isNil()) return nil;
  const NSCalendar calendar = gregorian();
  NSInteger days = 0;
  if (__builtin_sub_overflow(weekday, calendar.component(NSCalendarUnitWeekday, *this), &days)) return nil;
  if (days < 0) days += 7;
  return atHour(calendar, calendar.dateByAddingUnit(NSCalendarUnitDay, days, *this), hourOfDay);
}

NSDate NSDate::lastWorkingDayInMonthWithHourOfDay(NSInteger hourOfDay) const {
  return atHour(gregorian(), workingDay(*this, lastWorkingDay), hourOfDay);
}

NSDate NSDate::firstWorkingDayInMonthWithHourOfDay(NSInteger hourOfDay) const {
  return atHour(gregorian(), workingDay(*this, firstWorkingDay), hourOfDay);
}
