#pragma once

#include "Platform/Foundation/Values/Types.h"
#include "Platform/Foundation/Values/Value.h"

class NSCalendar;
class NSLocale;
class NSNumber;

// Seconds; fractions count.
using NSTimeInterval = double;

// The seconds from 1970 to 2001, the date system's zero (both at 00:00 UTC).
inline constexpr NSTimeInterval NSTimeIntervalSince1970 = 978307200.0;

// Now, in seconds since 2001. The wall clock: it may be set back.
ORV_EXPORT NSTimeInterval CFAbsoluteTimeGetCurrent();

// A point in time: seconds since 2001-01-01 00:00 UTC, whatever the zone.
//
// An immediate value: copying costs nothing and shares nothing; any thread may use its own copy. Nil is the
// absent date; every operation on it answers 0 or nil.
//
//   NSDate start = NSDate::date();
//   NSDate deadline = start.dateByAddingTimeInterval(90);
//   if (NSDate::date() > deadline) ...
class ORV_EXPORT NSDate : public orv::Value {
 public:
  NSDate() = default;
  NSDate(orv::Nil) {}

  static bool accepts(const orv::Value& v) noexcept { return v.kind() == orv::Kind::Date; }

  // Now, to the nanosecond as far as a double goes.
  static NSDate date();
  static NSDate dateWithTimeIntervalSinceNow(NSTimeInterval seconds);
  static NSDate dateWithTimeIntervalSince1970(NSTimeInterval seconds);
  static NSDate dateWithTimeIntervalSinceReferenceDate(NSTimeInterval seconds) noexcept {
    return NSDate(seconds);
  }
  // The starts of the years 1 and 4001, UTC.
  static NSDate distantPast();
  static NSDate distantFuture();

  // 0 for nil.
  NSTimeInterval timeIntervalSinceReferenceDate() const noexcept {
    return isNil() ? 0 : __builtin_bit_cast(NSTimeInterval, bits_);
  }
  NSTimeInterval timeIntervalSince1970() const noexcept {
    return isNil() ? 0 : timeIntervalSinceReferenceDate() + NSTimeIntervalSince1970;
  }
  // Positive when this date lies in the future.
  NSTimeInterval timeIntervalSinceNow() const;
  // Positive when this date is the later one; 0 when either is nil.
  NSTimeInterval timeIntervalSinceDate(const NSDate& other) const noexcept;

  bool isEqualToDate(const NSDate& other) const noexcept;
  // Every date is later than nil.
  NSComparisonResult compare(const NSDate& other) const noexcept;
  // One of the two; this one when they are equal. The present one when one is nil.
  NSDate earlierDate(const NSDate& other) const noexcept;
  NSDate laterDate(const NSDate& other) const noexcept;

  NSDate dateByAddingTimeInterval(NSTimeInterval seconds) const noexcept;

  // UTC, whole seconds rounded down: "1970-01-01 00:00:00 +0000".
  NSString description() const;

  friend bool operator==(const NSDate& a, const NSDate& b) noexcept {
    return a.isSame(b) || a.isEqualToDate(b);
  }
  friend std::weak_ordering operator<=>(const NSDate& a, const NSDate& b) noexcept {
    return static_cast<int>(a.compare(b)) <=> 0;
  }

  // NSDate(Orvane) - Orvane/Categories/NSDate+Orvane.cpp, ...Format, ...Calendar
  // Calendar work is done in the user's current calendar and the local zone.

  // Mail dates, else internet timestamps: what the two readers below take, with their log lines.
  static NSDate dateFromInternetDateTimeString(const NSString& text);
  // RFC 822, in any case: "Tue, 10 Jun 2003 04:00:00 GMT"; weekday, seconds and zone may be missing (no zone
  // is GMT). nil and a Warning for anything else.
  static NSDate zuDateFromRFC822String(const NSString& text);
  // RFC 3339: "2003-06-10T04:00:00.123+02:00"; fraction and zone may be missing (no zone is GMT). nil and a
  // Warning for anything else.
  static NSDate zuDateFromRFC3339String(const NSString& text);
  // What ISO8601String wrote: milliseconds and an offset are required. A date is answered as it is; a value of
  // another class gives nil and a Warning, nil and "" give nil.
  static NSDate zuDateFromJSONString(const orv::Value& value);
  // Seconds since 1970 in decimal; text that begins with no number, and nil, is 1970 itself.
  static NSDate zuDateFromUNIXTimestampString(const NSString& secondsSince1970);
  // A number, a text or a date, as seconds since 1970; everything else is 1970 itself, nil included.
  static NSDate zuDateFromUNIXTimestampObject(const orv::Value& secondsSince1970);
  // By a TR35 pattern in the locale en_US_POSIX and GMT. Patterns are kept for the life of the process.
  static NSDate zuDateFromString(const NSString& text, const NSString& format);
  // The first date in running text: "see you tomorrow at 5pm". nil when there is none.
  static NSDate zuDateFromHumanString(const orv::Value& text);

  // By a TR35 pattern in the local zone; nil is "yyyy-MM-dd HH:mm:ss" and the locale en_US.
  NSString formatDate(const NSString& pattern, const NSLocale& locale) const;
  NSString descriptionDate() const;      // "2024-02-29", local time
  NSString descriptionDateTime() const;  // "2024-02-29 14:00:00", local time
  // The text "HH:mm:ss" for every date. Kept: stored texts depend on it.
  NSString descriptionTime() const;
  // Date and time in a style (0 none to 4 full) of the current locale, local time.
  NSString formatDateWithStyle(NSInteger style) const;
  // "2001-01-01T00:00:00.000Z": UTC, rounded down to milliseconds, in the calendar of today carried
  // back to year 1. Reads the same on every machine and in every locale.
  NSString ISO8601String() const;
  // The distance from now, past or future: "1 min", "12 mins", "1 hour", "5 hours", "1 day", "40 days".
  NSString timeAgoInWords() const;
  // Whole seconds or milliseconds since 1970, rounded down; as an unsigned number before 1970 is 0.
  NSNumber timeStampSeconds() const;
  NSNumber timeStampMilliSeconds() const;
  // Whole seconds since 1970, rounded down, as a double and as its text: "1600000000".
  NSNumber unixTimeStampObject() const;
  NSString unixTimeStampString() const;
  // Without the part of a second.
  NSDate canonicalDate() const;

  // By whole seconds. Asserts softly that the other is present and a date; what is none counts as 1970.
  bool laterThan(const orv::Value& other) const;
  // The seconds between the starts of both days, in days, truncated: one fewer across the start of summer
  // time. Kept: stored counts depend on it. 0 for nil.
  NSInteger daysSince(const NSDate& other) const;
  bool isToday() const;
  bool isYesterday() const;

  NSInteger secondOfMinute() const;
  NSInteger weekOfYear() const;
  NSInteger yearOfCommonEra() const;
  NSInteger monthOfYear() const;  // 1 to 12
  NSInteger dayOfMonth() const;
  NSInteger dayOfWeek() const;  // 1 Sunday to 7 Saturday

  NSDate dayStart() const;
  NSDate dayEnd() const;  // 23:59:59, as all ends: the last whole second
  // 24 hours before the start of the day: 23:00 or 01:00 after a change of the clocks.
  NSDate yesterdayStart() const;
  NSDate hourStart() const;
  NSDate minuteStart() const;
  NSDate minuteEnd() const;  // the next whole minute, or this one
  NSDate last5minutes() const;
  // The next multiple of five minutes; within such a minute its start: 10:15:40 gives 10:15:00.
  NSDate next5minutes() const;
  NSDate weekStart() const;  // of the calendar's week, whatever weekStartDay says
  NSDate weekEnd() const;
  NSDate monthStart() const;
  NSDate monthEnd() const;
  NSDate yearStart() const;
  NSDate yearEnd() const;
  // Down to a multiple of the interval, counted from 2001 UTC. An interval of 0 gives a date that is no number.
  NSDate roundToInterval(NSTimeInterval interval) const;
  // A date moved by the difference between summer time then and summer time at this date.
  NSDate dayLightFixedDate(const NSDate& date) const;
  NSDate dateByAddingDays(NSInteger days, NSInteger months, NSInteger years) const;
  NSDate dateByAddingMonths(NSInteger months) const;
  // The first day of the week, 1 Sunday to 7: the user default "weekStart", one of "sunday", "monday",
  // "thuesday", "wednesday" ...; the calendar's where it is not set. Kept: the third name is spelled so,
  // and any other value gives the smallest integer.
  NSInteger weekStartDay() const;

  // At 00:00; months and days out of range are carried.
  static NSDate dateWithYear(NSInteger year, NSInteger month, NSInteger day);
  static NSDate dateWithStartOfYear(NSInteger year, NSInteger month);
  static NSDate dateWithStartOfYear(NSInteger year);
  static NSCalendar currentCalendar();

  // These use the Gregorian calendar whatever the user's is. The time is the full hour.
  // The next such weekday (1 Sunday to 7), this day included.
  NSDate nextWeekDay(NSInteger weekday, NSInteger hourOfDay) const;
  // The last day of the month, or the first, that is a Monday to Friday. Where that is over (begun, for
  // the first), that of a later month.
  NSDate lastWorkingDayInMonthWithHourOfDay(NSInteger hourOfDay) const;
  NSDate firstWorkingDayInMonthWithHourOfDay(NSInteger hourOfDay) const;

  // NSDate(OrvDays) - Orvane/OrvDays.cpp

  // The day as a number, 20240229; 0 for nil.
  NSInteger days() const;
  // The start of a numbered day; numbers that are no day are carried.
  static NSDate fromDays(NSInteger dayNumber);

 private:
  // Adding zero turns -0 into 0: equal dates have one form.
  explicit NSDate(NSTimeInterval seconds) noexcept
      : Value(orv::Kind::Date, __builtin_bit_cast(uint64_t, seconds + 0.0), 0) {}
};

namespace orv::detail {

// What dates take for now, in seconds since 2001. Tests, and tools that answer for another moment, let it stand
// still; not-a-number lets it run again. The wall clock of CFAbsoluteTimeGetCurrent goes on all the same.
ORV_EXPORT void pinNow(double secondsSince2001) noexcept;
ORV_EXPORT double now() noexcept;

// The bytes that writeISO8601 and writeDateDescription need at most.
inline constexpr size_t kISO8601MaxLength = 48;

// Writes "yyyy-MM-ddTHH:mm:ss.SSSZ" and answers its end: 24 bytes for the years 1 to 9999, more beyond. No
// memory, no lock, no locale.
ORV_EXPORT char* writeISO8601(double secondsSince2001, char* out) noexcept;

// The whole milliseconds that the text forms show, rounded down. A date made from a decimal text or a time
// stamp is the nearest double of its milliseconds, which may lie a trace below them: such dates count as what
// they were made from. The date lies within 30 million years.
ORV_EXPORT int64_t millisecondsSince2001(double seconds) noexcept;

// Writes "yyyy-MM-dd HH:mm:ss +0000" and answers its end.
ORV_EXPORT char* writeDateDescription(double secondsSince2001, char* out) noexcept;

}  // namespace orv::detail
