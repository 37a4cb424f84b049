#pragma once

#include "Platform/Foundation/Dates/NSDateComponents.h"
#include "Platform/Foundation/Dates/NSLocale.h"
#include "Platform/Foundation/Dates/NSTimeZone.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSString.h"

extern ORV_EXPORT const NSString NSCalendarIdentifierGregorian;  // "gregorian"
extern ORV_EXPORT const NSString NSCalendarIdentifierISO8601;    // "iso8601"
extern ORV_EXPORT const NSString NSCalendarIdentifierBuddhist;   // "buddhist"

// Splits dates into parts, builds them from parts and moves them by parts, in a time zone.
//
// The Gregorian calendar, Julian before 1582-10-15; the ISO 8601 calendar differs in its weeks, which begin on
// Monday, the Buddhist one counts its years from 543 before Christ. Whole seconds: a part of a second is lost
// on the way. Where the clocks change:
//   - a local time that is skipped is taken with the offset before the change: it lands after the gap;
//   - a local time that comes twice is the first of the two;
//   - days, weeks, months and years keep the local time, hours and less are elapsed time.
//
// Immutable; a copy is another reference to the same calendar, free and safe on every thread. Nil answers nil,
// 0 and undefined components, as every calendar does for a nil date or one beyond 200 million years.
//
//   NSCalendar calendar = NSCalendar::currentCalendar();
//   NSDateComponents parts = calendar.components(NSCalendarUnitYear | NSCalendarUnitMonth, NSDate::date());
//   NSDate firstOfMonth = calendar.dateFromComponents(parts);
class ORV_EXPORT NSCalendar : public orv::Value {
 public:
  NSCalendar() = default;
  NSCalendar(orv::Nil) {}

  static bool accepts(const orv::Value& v) noexcept;

  // The user's: the calendar and the weeks of the current locale, in the local zone.
  static NSCalendar currentCalendar();
  // The local zone; weeks begin on Sunday and the first of a year has one day at least (ISO 8601: Monday and
  // four). nil for an identifier that is none of the above.
  static NSCalendar calendarWithIdentifier(const NSString& identifier);

  // The same calendar with one thing changed. A nil zone is the local, a nil locale the current one; a
  // locale brings its weeks. Weekdays and days outside 1 to 7 change nothing.
  NSCalendar calendarWithTimeZone(const NSTimeZone& zone) const;
  NSCalendar calendarWithLocale(const NSLocale& locale) const;
  NSCalendar calendarWithFirstWeekday(NSInteger weekday) const;
  NSCalendar calendarWithMinimumDaysInFirstWeek(NSInteger days) const;

  NSString calendarIdentifier() const;
  NSTimeZone timeZone() const;
  // nil for a calendar made by identifier.
  NSLocale locale() const;
  NSInteger firstWeekday() const;  // 1 Sunday to 7 Saturday
  NSInteger minimumDaysInFirstWeek() const;

  // The parts asked for; the others stay undefined.
  NSDateComponents components(NSUInteger units, const NSDate& date) const;
  // The one part; undefined for a nil date.
  NSInteger component(NSCalendarUnit unit, const NSDate& date) const;
  // How far it is, largest unit first: from January 31 to March 1, 2024 is 1 month and 1 day. Each is negative
  // or 0 where the end is the earlier one. Units: year, quarter, month, week of year, day, hour, minute,
  // second.
  NSDateComponents componentsFromDate(NSUInteger units, const NSDate& from, const NSDate& to) const;

  // Undefined parts count as era 1, year 1, month 1, day 1, 00:00:00; parts out of range are carried: minute
  // 60, day 0, month 13. Without a day, a week of the year or an ordinal with a weekday places the date. The
  // record's own zone counts before the calendar's. nil when the result is out of reach.
  NSDate dateFromComponents(const NSDateComponents& parts) const;
  // Adds years and months, then weeks and days (a weekday is a day, an ordinal a week), then hours, minutes,
  // seconds and nanoseconds; a day that the month does not have becomes its last.
  NSDate dateByAddingComponents(const NSDateComponents& amounts, const NSDate& date) const;
  NSDate dateByAddingUnit(NSCalendarUnit unit, NSInteger amount, const NSDate& date) const;

  // The start and the length in seconds of the era, year, quarter, month, week, day, hour, minute or second
  // that holds the date. False, with both untouched, for other units and a nil date. Null pointers are left
  // out.
  bool rangeOfUnit(NSCalendarUnit unit, NSDate* start, NSTimeInterval* interval, const NSDate& date) const;
  // The first moment of the date's day: 01:00 where midnight is skipped.
  NSDate startOfDayForDate(const NSDate& date) const;
};
