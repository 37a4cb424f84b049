#pragma once

#include "Platform/Foundation/Values/Types.h"
#include "Platform/Foundation/Values/Value.h"

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

  // NSDate(Orvane) - Orvane/Categories/NSDate+Orvane.cpp

  // "2001-01-01T00:00:00.000Z": UTC, rounded down to milliseconds, in the calendar of today carried
  // back to year 1. Reads the same on every machine and in every locale.
  NSString ISO8601String() const;

 private:
  // Adding zero turns -0 into 0: equal dates have one form.
  explicit NSDate(NSTimeInterval seconds) noexcept
      : Value(orv::Kind::Date, __builtin_bit_cast(uint64_t, seconds + 0.0), 0) {}
};

namespace orv::detail {

// The bytes that writeISO8601 and writeDateDescription need at most.
inline constexpr size_t kISO8601MaxLength = 48;

// Writes "yyyy-MM-ddTHH:mm:ss.SSSZ" and answers its end: 24 bytes for the years 1 to 9999, more beyond. No
// memory, no lock, no locale.
ORV_EXPORT char* writeISO8601(double secondsSince2001, char* out) noexcept;

// Writes "yyyy-MM-dd HH:mm:ss +0000" and answers its end.
ORV_EXPORT char* writeDateDescription(double secondsSince2001, char* out) noexcept;

}  // namespace orv::detail
