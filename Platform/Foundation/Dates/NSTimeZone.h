#pragma once

#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/Value.h"

// A time zone: the offset of its clocks from GMT at every moment, by the rules of the tz database or fixed.
//
// Immutable; a copy is another reference to the same zone, free and safe on every thread. Zones are kept for
// the life of the process, so asking for one again is cheap. Two are equal when their names are. Nil answers
// 0, false and nil; services that take a zone read nil as the local one.
//
//   NSTimeZone berlin = NSTimeZone::timeZoneWithName("Europe/Berlin");
//   berlin.secondsFromGMTForDate(NSDate::date());       // 3600 in winter, 7200 in summer
//   NSTimeZone::timeZoneForSecondsFromGMT(-12600).name();   // "GMT-3:30"
class ORV_EXPORT NSTimeZone : public orv::Value {
 public:
  NSTimeZone() = default;
  NSTimeZone(orv::Nil) {}

  static bool accepts(const orv::Value& v) noexcept;

  // The zone of this computer: the environment's TZ (a zone's name, the path of its file, or a POSIX text such
  // as "CET-1CEST", of which the offset counts), else where /etc/localtime leads, else GMT. TZ is looked at in
  // each call; a changed /etc/localtime is noticed after `resetSystemTimeZone`.
  static NSTimeZone systemTimeZone();
  // The zone that calendars and formatters use when they are given none. The same as the system's.
  static NSTimeZone localTimeZone();
  static void resetSystemTimeZone();

  // "Europe/Berlin", "UTC", or an offset "GMT+1"; nil for an unknown name.
  static NSTimeZone timeZoneWithName(const NSString& name);
  // "GMT", "UTC", "Z", an offset "GMT-3:30", or one of the customary short names ("PST", "CEST"), which stands
  // for the whole zone with its summer time, whatever the season it names. nil for others.
  static NSTimeZone timeZoneWithAbbreviation(const NSString& abbreviation);
  // A zone that never changes its clocks, named "GMT", "GMT+1" or "GMT-3:30". nil at 24 hours and beyond.
  static NSTimeZone timeZoneForSecondsFromGMT(NSInteger seconds);

  NSString name() const;
  // "EST", "EDT", or "GMT+2" where the English of the United States has no customary name.
  NSString abbreviation() const;
  NSString abbreviationForDate(const NSDate& date) const;

  // Seconds east of Greenwich, summer time included; now, or at a date (nil: now).
  NSInteger secondsFromGMT() const;
  NSInteger secondsFromGMTForDate(const NSDate& date) const;
  // What summer time adds at the date, in seconds: mostly 0 or 3600.
  NSTimeInterval daylightSavingTimeOffsetForDate(const NSDate& date) const;
  bool isDaylightSavingTimeForDate(const NSDate& date) const;
  // The next moment the clocks change; nil when they never do.
  NSDate nextDaylightSavingTimeTransitionAfterDate(const NSDate& date) const;
};

namespace orv::detail {
class ZoneTable;
// The offsets behind a zone, the local zone's for nil. Lives as long as the process.
ORV_EXPORT const ZoneTable& zoneTable(const NSTimeZone& zone);
// Grows with every `resetSystemTimeZone`.
ORV_EXPORT uint32_t zoneGeneration() noexcept;
}  // namespace orv::detail
