#pragma once

#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSObject.h"

// A calendar day as one number, which reads like the date: 20240229 for February 29, 2024. It sorts as the days
// do; differences of two have no meaning.
//
// An immutable object, safe on every thread. The day belongs to the user's calendar and local zone.
//
//   Ref<OrvDays> day = OrvDays::daysFromDate(NSDate::date());
//   day->date();                                          // today at 00:00, local time
//   day->isEqual(NSDate::date());                         // true: the same day
class ORV_EXPORT OrvDays : public NSObject {
 public:
  explicit OrvDays(NSInteger dayNumber) noexcept : days_(dayNumber) {}

  // Any number; it is not checked.
  static orv::Ref<OrvDays> initWithDays(NSInteger dayNumber);
  // The day of a date; number 0 for nil.
  static orv::Ref<OrvDays> initWithDate(const NSDate& date);
  // nil for a nil date.
  static orv::Ref<OrvDays> daysFromDate(const NSDate& date);

  // The start of the day, local time. Numbers that are no day are carried: 20241301 is January 1, 2025.
  NSDate date() const;
  NSInteger days() const override;
  orv::Ref<OrvDays> copy() const;

  bool answers(Answer question) const override;
  // Equal to every value that answers `days` with the same number, dates included. A date does not equal a
  // day in return.
  bool isEqual(const orv::Value& other) const override;
  size_t hash() const override;
  NSString className() const override;
  // "20240229".
  NSString description() const override;

 private:
  const NSInteger days_;
};
