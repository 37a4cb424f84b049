#include "Orvane/OrvDays.h"

#include "Platform/Foundation/Dates/NSCalendar.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

NSInteger NSDate::days() const {
  const NSDateComponents parts = NSCalendar::currentCalendar().components(
      NSCalendarUnitYear | NSCalendarUnitMonth | NSCalendarUnitDay, *this);
  if (parts.year() == NSDateComponentUndefined) return 0;
  return parts.day() + parts.month() * 100 + parts.year() * 10000;
}

NSDate NSDate::fromDays(NSInteger dayNumber) {
  return dateWithYear(dayNumber / 10000, dayNumber / 100 % 100, dayNumber % 100);
}

Ref<OrvDays> OrvDays::initWithDays(NSInteger dayNumber) { return make<OrvDays>(dayNumber); }

Ref<OrvDays> OrvDays::initWithDate(const NSDate& date) { return make<OrvDays>(date.days()); }

Ref<OrvDays> OrvDays::daysFromDate(const NSDate& date) {
  return date.isNil() ? Ref<OrvDays>() : initWithDate(date);
}

NSDate OrvDays::date() const { return NSDate::fromDays(days_); }

NSInteger OrvDays::days() const { return days_; }

Ref<OrvDays> OrvDays::copy() const { return make<OrvDays>(days_); }

bool OrvDays::answers(Answer question) const { return question == Answer::Days || NSObject::answers(question); }

bool OrvDays::isEqual(const Value& other) const {
  if (other.isKindOf<NSDate>()) return other.as<NSDate>().days() == days_;
  const Ref<NSObject> object = other.as<NSObject>();
  return object && object->answers(Answer::Days) && object->days() == days_;
}

size_t OrvDays::hash() const { return NSNumber(days_).hash(); }

NSString OrvDays::className() const { return "OrvDays"; }

NSString OrvDays::description() const { return NSNumber(days_).stringValue(); }
