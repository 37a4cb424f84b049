#pragma once

#include <array>

#include "Platform/Foundation/Dates/NSTimeZone.h"
#include "Platform/Foundation/Values/Types.h"

// A component that was not set, or not asked for.
inline constexpr NSInteger NSDateComponentUndefined = INT64_MAX;

// The parts of a date that a calendar knows; values combine with |.
enum NSCalendarUnit : NSUInteger {
  NSCalendarUnitEra = 2,
  NSCalendarUnitYear = 4,
  NSCalendarUnitMonth = 8,
  NSCalendarUnitDay = 16,
  NSCalendarUnitHour = 32,
  NSCalendarUnitMinute = 64,
  NSCalendarUnitSecond = 128,
  NSCalendarUnitWeekday = 512,
  NSCalendarUnitWeekdayOrdinal = 1024,
  NSCalendarUnitQuarter = 2048,
  NSCalendarUnitWeekOfMonth = 4096,
  NSCalendarUnitWeekOfYear = 8192,
  NSCalendarUnitYearForWeekOfYear = 16384,
  NSCalendarUnitNanosecond = 32768,
  NSCalendarUnitCalendar = 1 << 20,
  NSCalendarUnitTimeZone = 1 << 21,
};

// The parts of a date, or the amounts to move one by: year, month, day, hour and so on, each of which may be
// undefined. What a record means is up to the calendar it is given to.
//
// A plain value: a copy is independent. Not a Value; it is used on the way from one date to another.
//
//   NSDateComponents parts;
//   parts.setYear(2024);
//   parts.setMonth(2);
//   NSDate day = NSCalendar::currentCalendar().dateFromComponents(parts);   // 2024-02-01 00:00, local time
class ORV_EXPORT NSDateComponents {
 public:
  NSDateComponents() { values_.fill(NSDateComponentUndefined); }

  // 1 for the years since Christ, 0 for those before.
  NSInteger era() const { return values_[Era]; }
  NSInteger year() const { return values_[Year]; }
  NSInteger month() const { return values_[Month]; }  // 1 to 12
  NSInteger day() const { return values_[Day]; }      // of the month
  NSInteger hour() const { return values_[Hour]; }
  NSInteger minute() const { return values_[Minute]; }
  NSInteger second() const { return values_[Second]; }
  NSInteger nanosecond() const { return values_[Nanosecond]; }
  NSInteger weekday() const { return values_[Weekday]; }  // 1 Sunday to 7 Saturday
  NSInteger weekdayOrdinal() const {
    return values_[WeekdayOrdinal];
  }                                                       // 2: the second such weekday of the month
  NSInteger quarter() const { return values_[Quarter]; }  // 1 to 4
  NSInteger weekOfMonth() const { return values_[WeekOfMonth]; }
  NSInteger weekOfYear() const { return values_[WeekOfYear]; }
  NSInteger yearForWeekOfYear() const { return values_[YearForWeekOfYear]; }
  // nil: the calendar's.
  const NSTimeZone& timeZone() const { return timeZone_; }

  void setEra(NSInteger era) { values_[Era] = era; }
  void setYear(NSInteger year) { values_[Year] = year; }
  void setMonth(NSInteger month) { values_[Month] = month; }
  void setDay(NSInteger day) { values_[Day] = day; }
  void setHour(NSInteger hour) { values_[Hour] = hour; }
  void setMinute(NSInteger minute) { values_[Minute] = minute; }
  void setSecond(NSInteger second) { values_[Second] = second; }
  void setNanosecond(NSInteger nanosecond) { values_[Nanosecond] = nanosecond; }
  void setWeekday(NSInteger weekday) { values_[Weekday] = weekday; }
  void setWeekdayOrdinal(NSInteger ordinal) { values_[WeekdayOrdinal] = ordinal; }
  void setQuarter(NSInteger quarter) { values_[Quarter] = quarter; }
  void setWeekOfMonth(NSInteger week) { values_[WeekOfMonth] = week; }
  void setWeekOfYear(NSInteger week) { values_[WeekOfYear] = week; }
  void setYearForWeekOfYear(NSInteger year) { values_[YearForWeekOfYear] = year; }
  void setTimeZone(const NSTimeZone& zone) { timeZone_ = zone; }

  // By a single unit; undefined for a unit that is no number. Setting such a unit does nothing.
  NSInteger valueForComponent(NSCalendarUnit unit) const;
  void setValueForComponent(NSInteger value, NSCalendarUnit unit);

  // "year: 2024, month: 2": the defined parts, largest first.
  NSString description() const;

  friend bool operator==(const NSDateComponents& a, const NSDateComponents& b) {
    return a.values_ == b.values_ && a.timeZone_ == b.timeZone_;
  }

 private:
  enum Index {
    Era,
    Year,
    Quarter,
    Month,
    YearForWeekOfYear,
    WeekOfYear,
    WeekOfMonth,
    Day,
    Weekday,
    WeekdayOrdinal,
    Hour,
    Minute,
    Second,
    Nanosecond,
    Count,
  };
  static Index indexOf(NSCalendarUnit unit);

  std::array<NSInteger, Count> values_;
  NSTimeZone timeZone_;
};
