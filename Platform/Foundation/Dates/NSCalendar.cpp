#include "Platform/Foundation/Dates/NSCalendar.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "Platform/Foundation/Dates/CivilDate.h"
#include "Platform/Foundation/Dates/DateEnvironment.h"
#include "Platform/Foundation/Dates/Weeks.h"
#include "Platform/Foundation/Dates/ZoneTable.h"

using namespace orv;
using namespace orv::detail;

const NSString NSCalendarIdentifierGregorian = "gregorian";
const NSString NSCalendarIdentifierISO8601 = "iso8601";
const NSString NSCalendarIdentifierBuddhist = "buddhist";

namespace {

constexpr int64_t kFurthestYear = 200'000'000;
constexpr double kFurthestSeconds = 6.3e15;
constexpr int64_t kBuddhistEra = 543;
constexpr NSInteger kNoPart = NSDateComponentUndefined;

enum class System { Gregorian, ISO8601, Buddhist };

class CalendarObject : public NSObject {
 public:
  CalendarObject() = default;
  CalendarObject(const CalendarObject& other)
      : NSObject(),
        system(other.system),
        locale(other.locale),
        zone(other.zone),
        table(other.table),
        firstWeekday(other.firstWeekday),
        minimumDays(other.minimumDays) {}

  NSString className() const override { return "NSCalendar"; }
  NSString description() const override { return identifier() + " (" + zone.name() + ")"; }
  bool isEqual(const Value& other) const override;
  size_t hash() const override {
    return zone.hash() * 31 + static_cast<size_t>(firstWeekday * 8 + minimumDays);
  }

  NSString identifier() const {
    switch (system) {
      case System::Gregorian: break;
      case System::ISO8601: return NSCalendarIdentifierISO8601;
      case System::Buddhist: return NSCalendarIdentifierBuddhist;
    }
    return NSCalendarIdentifierGregorian;
  }
  void setZone(const NSTimeZone& given) {
    zone = given.isNil() ? NSTimeZone::localTimeZone() : given;
    table = &zoneTable(zone);
  }
  void setLocale(const NSLocale& given) {
    locale = given.isNil() ? NSLocale::currentLocale() : given;
    firstWeekday = locale.firstWeekday();
    minimumDays = locale.minimumDaysInFirstWeek();
  }

  System system = System::Gregorian;
  NSLocale locale;
  NSTimeZone zone;
  const ZoneTable* table = nullptr;
  int64_t firstWeekday = 1;
  int64_t minimumDays = 1;
};

const CalendarObject* objectOf(const Value& v) noexcept {
  if (v.kind() != Kind::Object) return nullptr;
  return dynamic_cast<const CalendarObject*>(static_cast<NSObject*>(Access::heap(v)));
}

// A handle's object, without asking for its class: a handle has no other.
const CalendarObject* behind(const NSCalendar& calendar) noexcept {
  return static_cast<const CalendarObject*>(static_cast<NSObject*>(Access::heap(calendar)));
}

bool CalendarObject::isEqual(const Value& other) const {
  const CalendarObject* c = objectOf(other);
  return c && c->system == system && c->zone == zone && c->locale == locale &&
         c->firstWeekday == firstWeekday && c->minimumDays == minimumDays;
}

NSCalendar handle(const Ref<CalendarObject>& calendar) { return Access::cast<NSCalendar>(calendar); }

// A date taken apart: its local day and second of the day.
struct Split {
  int64_t time;
  int32_t offset;
  int64_t day;
  int64_t second;
};

// False for nil, not-a-number and what is out of reach.
bool wholeSeconds(const NSDate& date, int64_t& time) {
  const double seconds = std::floor(date.timeIntervalSince1970());
  if (date.isNil() || !(std::abs(seconds) <= kFurthestSeconds)) return false;
  time = static_cast<int64_t>(seconds);
  return true;
}

Split split(const ZoneTable& zone, int64_t time) {
  const int32_t offset = zone.offsetAt(time);
  const int64_t local = time + offset, day = floorDivide(local, kSecondsPerDay);
  return {time, offset, day, local - day * kSecondsPerDay};
}

NSDate dateOf(int64_t time) { return NSDate::dateWithTimeIntervalSince1970(static_cast<double>(time)); }

int64_t quarterOf(int64_t month) { return (month + 2) / 3; }

int64_t eraYear(System system, int64_t year) {
  if (system == System::Buddhist) return year + kBuddhistEra;
  return year > 0 ? year : 1 - year;
}

NSInteger weekPart(const CalendarObject& calendar, NSCalendarUnit unit, int64_t day, const CivilDay& civil) {
  const Weeks weeks(calendar.firstWeekday, calendar.minimumDays);
  if (unit == NSCalendarUnitWeekOfMonth) return weeks.numberIn(dayNumber(civil.year, civil.month, 1), day);
  const int64_t year = weeks.yearOf(day, civil.year);
  if (unit == NSCalendarUnitWeekOfYear) return weeks.numberIn(dayNumber(year, 1, 1), day);
  return calendar.system == System::Buddhist ? year + kBuddhistEra : year;
}

NSInteger partOf(const CalendarObject& calendar, NSCalendarUnit unit, const Split& at, const CivilDay& civil) {
  switch (unit) {
    case NSCalendarUnitEra: return calendar.system == System::Buddhist ? 0 : civil.year > 0;
    case NSCalendarUnitYear: return eraYear(calendar.system, civil.year);
    case NSCalendarUnitMonth: return civil.month;
    case NSCalendarUnitDay: return civil.day;
    case NSCalendarUnitHour: return at.second / 3600;
    case NSCalendarUnitMinute: return at.second / 60 % 60;
    case NSCalendarUnitSecond: return at.second % 60;
    case NSCalendarUnitWeekday: return weekdayOf(at.day);
    case NSCalendarUnitWeekdayOrdinal: return (civil.day - 1) / 7 + 1;
    case NSCalendarUnitQuarter: return quarterOf(civil.month);
    case NSCalendarUnitWeekOfMonth:
    case NSCalendarUnitWeekOfYear:
    case NSCalendarUnitYearForWeekOfYear: return weekPart(calendar, unit, at.day, civil);
    case NSCalendarUnitNanosecond:
    case NSCalendarUnitCalendar:
    case NSCalendarUnitTimeZone: break;
  }
  return kNoPart;
}

NSInteger nanoseconds(const NSDate& date) {
  const double seconds = date.timeIntervalSinceReferenceDate();
  return static_cast<NSInteger>((seconds - std::floor(seconds)) * 1e9);
}

constexpr NSCalendarUnit kNumberUnits[] = {NSCalendarUnitEra,
                                           NSCalendarUnitYear,
                                           NSCalendarUnitMonth,
                                           NSCalendarUnitDay,
                                           NSCalendarUnitHour,
                                           NSCalendarUnitMinute,
                                           NSCalendarUnitSecond,
                                           NSCalendarUnitWeekday,
                                           NSCalendarUnitWeekdayOrdinal,
                                           NSCalendarUnitQuarter,
                                           NSCalendarUnitWeekOfMonth,
                                           NSCalendarUnitWeekOfYear,
                                           NSCalendarUnitYearForWeekOfYear};

NSInteger partOr(NSInteger part, NSInteger fallback) { return part == kNoPart ? fallback : part; }

// Sums that would not fit mark the whole as out of reach.
class Sum {
 public:
  void add(NSInteger amount, int64_t factor) {
    int64_t product = 0;
    if (amount == kNoPart) return;
    failed_ |=
        __builtin_mul_overflow(amount, factor, &product) || __builtin_add_overflow(total_, product, &total_);
  }
  bool fits(int64_t limit) const { return !failed_ && total_ >= -limit && total_ <= limit; }
  int64_t total() const { return total_; }

 private:
  int64_t total_ = 0;
  bool failed_ = false;
};

constexpr int64_t kFurthestDay = kFurthestYear * 366;
constexpr auto kFurthestTime = static_cast<int64_t>(kFurthestSeconds);

bool isWithin(NSInteger n, int64_t limit) { return n >= -limit && n <= limit; }

// The year counted from the year 1 on, with 0 and negative ones before; false when out of reach.
bool astronomicalYear(const CalendarObject& calendar, NSInteger era, NSInteger year, int64_t& result) {
  if (!isWithin(year, kFurthestYear)) return false;
  if (calendar.system == System::Buddhist)
    result = year - kBuddhistEra;
  else
    result = era == 0 ? 1 - year : year;
  return true;
}

// The day that a record without a day names by its week or by a weekday's ordinal, else the month's first.
int64_t dayByWeek(const CalendarObject& calendar, const NSDateComponents& parts, int64_t year, int64_t month) {
  const Weeks weeks(calendar.firstWeekday, calendar.minimumDays);
  const int64_t weekday = partOr(parts.weekday(), calendar.firstWeekday);
  const int64_t ofWeek = floorModulo(weekday - calendar.firstWeekday, 7);
  const auto inWeek = [&](int64_t periodStart, NSInteger week) {
    return weeks.firstWeek(periodStart) + (std::clamp(week, -kFurthestDay, kFurthestDay) - 1) * 7 + ofWeek;
  };
  const int64_t monthStart = dayNumber(year, month, 1);
  if (parts.weekOfYear() != kNoPart) return inWeek(dayNumber(year, 1, 1), parts.weekOfYear());
  if (parts.weekOfMonth() != kNoPart) return inWeek(monthStart, parts.weekOfMonth());
  if (parts.weekdayOrdinal() == kNoPart || parts.weekday() == kNoPart) return monthStart;
  const NSInteger ordinal = std::clamp(parts.weekdayOrdinal(), -kFurthestDay, kFurthestDay);
  if (ordinal > 0) return monthStart + floorModulo(weekday - weekdayOf(monthStart), 7) + (ordinal - 1) * 7;
  const int64_t monthEnd = dayNumber(year, month + 1, 1) - 1;
  return monthEnd - floorModulo(weekdayOf(monthEnd) - weekday, 7) + (ordinal + 1) * 7;
}

bool buildDay(const CalendarObject& calendar, const NSDateComponents& parts, int64_t& day) {
  const NSInteger month =
      partOr(parts.month(), parts.quarter() == kNoPart ? 1 : (parts.quarter() % kFurthestYear) * 3 - 2);
  const bool byWeek = parts.day() == kNoPart && parts.weekOfYear() != kNoPart;
  const NSInteger ownYear = partOr(parts.year(), 1);
  int64_t year = 0;
  if (!isWithin(month, kFurthestYear) || !isWithin(partOr(parts.weekday(), 1), 1 << 20) ||
      !astronomicalYear(calendar, partOr(parts.era(), 1),
                        byWeek ? partOr(parts.yearForWeekOfYear(), ownYear) : ownYear, year))
    return false;
  if (parts.day() == kNoPart)
    day = dayByWeek(calendar, parts, year, month);
  else if (isWithin(parts.day(), kFurthestDay))
    day = dayNumber(year, month, parts.day());
  else
    return false;
  return isWithin(day, kFurthestDay);
}

// Moves by whole years, then by whole months; a day that the month does not have becomes its last.
bool addMonths(int64_t& number, NSInteger years, NSInteger months) {
  if (!isWithin(years, 2 * kFurthestYear) || !isWithin(months, 24 * kFurthestYear)) return false;
  CivilDay civil = civilDay(number);
  const auto clampDay = [&] { civil.day = std::min(civil.day, lengthOfMonth(civil.year, civil.month)); };
  civil.year += years;
  clampDay();
  const int64_t month = civil.month - 1 + months;
  civil.year += floorDivide(month, 12);
  civil.month = floorModulo(month, 12) + 1;
  clampDay();
  number = dayNumber(civil.year, civil.month, civil.day);
  return isWithin(number, kFurthestDay);
}

// The local time after a move by days alone keeps the offset it had where the clocks show it twice.
int64_t timeKeepingOffset(const ZoneTable& zone, int64_t local, int32_t offset) {
  const ZoneTable::Resolved resolved = zone.resolve(local);
  if (resolved.how == ZoneTable::Local::Twice && zone.offsetAt(local - offset) == offset) return local - offset;
  return resolved.time;
}

struct Amounts {
  NSInteger years = 0, months = 0;
  Sum days, seconds;
};

Amounts amountsOf(const NSDateComponents& parts) {
  Amounts amounts{};
  Sum months, years;
  years.add(parts.year(), 1);
  years.add(parts.yearForWeekOfYear(), 1);
  months.add(parts.month(), 1);
  months.add(parts.quarter(), 3);
  amounts.years = years.fits(INT64_MAX - 1) ? years.total() : INT64_MAX;
  amounts.months = months.fits(INT64_MAX - 1) ? months.total() : INT64_MAX;
  for (const NSInteger weeks : {parts.weekOfYear(), parts.weekOfMonth(), parts.weekdayOrdinal()})
    amounts.days.add(weeks, 7);
  amounts.days.add(parts.day(), 1);
  amounts.days.add(parts.weekday(), 1);
  amounts.seconds.add(parts.hour(), 3600);
  amounts.seconds.add(parts.minute(), 60);
  amounts.seconds.add(parts.second(), 1);
  return amounts;
}

bool addAmounts(const ZoneTable& zone, const Amounts& amounts, int64_t& time) {
  if (!amounts.days.fits(2 * kFurthestDay) || !amounts.seconds.fits(2 * kFurthestTime)) return false;
  const bool months = amounts.years != 0 || amounts.months != 0;
  if (months || amounts.days.total() != 0) {
    Split at = split(zone, time);
    if (months && !addMonths(at.day, amounts.years, amounts.months)) return false;
    at.day += amounts.days.total();
    if (!isWithin(at.day, kFurthestDay)) return false;
    const int64_t local = at.day * kSecondsPerDay + at.second;
    time = months ? zone.timeOfLocal(local) : timeKeepingOffset(zone, local, at.offset);
  }
  time += amounts.seconds.total();
  return isWithin(time, kFurthestTime);
}

// How often a unit fits between two times, counted from the earlier towards the later one, never past it.
int64_t countBetween(const ZoneTable& zone, NSCalendarUnit unit, int64_t from, int64_t to, int64_t guess) {
  const auto reached = [&](int64_t count) {
    NSDateComponents parts;
    parts.setValueForComponent(count, unit);
    int64_t time = from;
    return addAmounts(zone, amountsOf(parts), time) ? time : (count > 0 ? INT64_MAX : INT64_MIN);
  };
  const int64_t step = to < from ? -1 : 1;
  const auto isPast = [&](int64_t count) { return to < from ? reached(count) < to : reached(count) > to; };
  while (guess != 0 && isPast(guess)) guess -= step;
  while (!isPast(guess + step)) guess += step;
  return guess;
}

int64_t guessBetween(NSCalendarUnit unit, const Split& from, const Split& to) {
  const int64_t days = to.day - from.day;
  const auto toward0 = [](int64_t n) { return n > 0 ? n - 1 : n < 0 ? n + 1 : 0; };
  if (unit == NSCalendarUnitDay) return toward0(days);
  if (unit == NSCalendarUnitWeekOfYear) return toward0(days / 7);
  const CivilDay a = civilDay(from.day), b = civilDay(to.day);
  const int64_t months = (b.year - a.year) * 12 + b.month - a.month;
  if (unit == NSCalendarUnitMonth) return toward0(months);
  return toward0(months / (unit == NSCalendarUnitQuarter ? 3 : 12));
}

// The first moment of a local day.
int64_t startOfDay(const ZoneTable& zone, int64_t day) {
  const ZoneTable::Resolved resolved = zone.resolve(day * kSecondsPerDay);
  if (resolved.how != ZoneTable::Local::Skipped) return resolved.time;
  // The gap's end: it began at most a day before the time that lies behind it.
  const int64_t end = zone.nextTransition(resolved.time - kSecondsPerDay);
  return std::min(end, resolved.time);
}

struct Span {
  int64_t start, end;
};

bool dayRange(const CalendarObject& calendar, NSCalendarUnit unit, int64_t day, Span& days) {
  const CivilDay civil = civilDay(day);
  const auto months = [&](int64_t first, int64_t count) {
    days = {dayNumber(civil.year, first, 1), dayNumber(civil.year, first + count, 1)};
    return true;
  };
  const auto week = [&] {
    const int64_t start = Weeks(calendar.firstWeekday, calendar.minimumDays).startOfWeek(day);
    days = {start, start + 7};
    return true;
  };
  switch (unit) {
    case NSCalendarUnitEra:
      days = civil.year > 0 ? Span{dayNumber(1, 1, 1), kFurthestDay} : Span{-kFurthestDay, dayNumber(1, 1, 1)};
      if (calendar.system == System::Buddhist) days = {-kFurthestDay, kFurthestDay};
      return true;
    case NSCalendarUnitYear: return months(1, 12);
    case NSCalendarUnitQuarter: return months(quarterOf(civil.month) * 3 - 2, 3);
    case NSCalendarUnitMonth: return months(civil.month, 1);
    case NSCalendarUnitWeekOfMonth:
    case NSCalendarUnitWeekOfYear: return week();
    case NSCalendarUnitYearForWeekOfYear: {
      const Weeks weeks(calendar.firstWeekday, calendar.minimumDays);
      const int64_t year = weeks.yearOf(day, civil.year);
      days = {weeks.firstWeek(dayNumber(year, 1, 1)), weeks.firstWeek(dayNumber(year + 1, 1, 1))};
      return true;
    }
    case NSCalendarUnitDay:
    case NSCalendarUnitWeekday:
    case NSCalendarUnitWeekdayOrdinal: days = {day, day + 1}; return true;
    case NSCalendarUnitHour:
    case NSCalendarUnitMinute:
    case NSCalendarUnitSecond:
    case NSCalendarUnitNanosecond:
    case NSCalendarUnitCalendar:
    case NSCalendarUnitTimeZone: break;
  }
  return false;
}

int64_t lengthOfUnit(NSCalendarUnit unit) {
  return unit == NSCalendarUnitHour     ? 3600
         : unit == NSCalendarUnitMinute ? 60
         : unit == NSCalendarUnitSecond ? 1
                                        : 0;
}

bool rangeOf(const CalendarObject& calendar, NSCalendarUnit unit, int64_t time, Span& range) {
  const Split at = split(*calendar.table, time);
  if (const int64_t length = lengthOfUnit(unit)) {
    range.start = time - at.second % length;
    range.end = range.start + length;
    return true;
  }
  Span days{};
  if (!dayRange(calendar, unit, at.day, days)) return false;
  range = {startOfDay(*calendar.table, days.start), startOfDay(*calendar.table, days.end)};
  return true;
}

// The user's calendar that the thread saw last, with what it was made from. A thread's end, static destructors
// included, goes without.
thread_local constinit bool lastSeenEnded = false;
struct LastSeen {
  ~LastSeen() { lastSeenEnded = true; }
  bool matches(const DateEnvironment& now, uint32_t nowGeneration) const {
    return calendar && generation == nowGeneration && hasZone == (now.zone != nullptr) &&
           (!now.zone || zone == now.zone) && locale == now.locale();
  }
  void store(const DateEnvironment& now, uint32_t nowGeneration, const NSCalendar& made) {
    hasZone = now.zone != nullptr;
    zone = hasZone ? now.zone : "";
    locale = now.locale();
    generation = nowGeneration;
    calendar = made;
  }

  std::string zone, locale;
  bool hasZone = false;
  uint32_t generation = 0;
  NSCalendar calendar;
};
thread_local LastSeen lastSeen;

System systemOfLocale(const NSLocale& locale) {
  return locale.countryCode() == NSString("TH") ? System::Buddhist : System::Gregorian;
}

NSCalendar makeCurrent(const NSTimeZone& zone, const NSLocale& locale) {
  const Ref<CalendarObject> calendar = make<CalendarObject>();
  calendar->system = systemOfLocale(locale);
  calendar->setLocale(locale);
  calendar->setZone(zone);
  return handle(calendar);
}

template <class Change>
NSCalendar changed(const NSCalendar& calendar, Change change) {
  if (calendar.isNil()) return nil;
  const Ref<CalendarObject> copy = make<CalendarObject>(*behind(calendar));
  change(*copy);
  return handle(copy);
}

}  // namespace

bool NSCalendar::accepts(const Value& v) noexcept { return objectOf(v) != nullptr; }

NSCalendar NSCalendar::currentCalendar() {
  if (lastSeenEnded) return makeCurrent(NSTimeZone::localTimeZone(), NSLocale::currentLocale());
  const DateEnvironment environment = dateEnvironment();
  const uint32_t generation = zoneGeneration();
  if (!lastSeen.matches(environment, generation))
    lastSeen.store(environment, generation,
                   makeCurrent(NSTimeZone::localTimeZone(), NSLocale::currentLocale()));
  return lastSeen.calendar;
}

NSCalendar NSCalendar::calendarWithIdentifier(const NSString& identifier) {
  const Ref<CalendarObject> calendar = make<CalendarObject>();
  if (identifier == NSCalendarIdentifierISO8601) {
    calendar->system = System::ISO8601;
    calendar->firstWeekday = 2;
    calendar->minimumDays = 4;
  } else if (identifier == NSCalendarIdentifierBuddhist) {
    calendar->system = System::Buddhist;
  } else if (identifier != NSCalendarIdentifierGregorian) {
    return nil;
  }
  calendar->setZone(nil);
  return handle(calendar);
}

NSCalendar NSCalendar::calendarWithTimeZone(const NSTimeZone& zone) const {
  return changed(*this, [&](CalendarObject& c) { c.setZone(zone); });
}

NSCalendar NSCalendar::calendarWithLocale(const NSLocale& locale) const {
  return changed(*this, [&](CalendarObject& c) { c.setLocale(locale); });
}

NSCalendar NSCalendar::calendarWithFirstWeekday(NSInteger weekday) const {
  if (weekday < 1 || weekday > 7) return *this;
  return changed(*this, [&](CalendarObject& c) { c.firstWeekday = weekday; });
}

NSCalendar NSCalendar::calendarWithMinimumDaysInFirstWeek(NSInteger days) const {
  if (days < 1 || days > 7) return *this;
  return changed(*this, [&](CalendarObject& c) { c.minimumDays = days; });
}

NSString NSCalendar::calendarIdentifier() const { return isNil() ? NSString() : behind(*this)->identifier(); }

NSTimeZone NSCalendar::timeZone() const { return isNil() ? NSTimeZone() : behind(*this)->zone; }

NSLocale NSCalendar::locale() const { return isNil() ? NSLocale() : behind(*this)->locale; }

NSInteger NSCalendar::firstWeekday() const { return isNil() ? 0 : behind(*this)->firstWeekday; }

NSInteger NSCalendar::minimumDaysInFirstWeek() const { return isNil() ? 0 : behind(*this)->minimumDays; }

NSDateComponents NSCalendar::components(NSUInteger units, const NSDate& date) const {
  NSDateComponents parts;
  int64_t time = 0;
  if (isNil() || !wholeSeconds(date, time)) return parts;
  const CalendarObject& calendar = *behind(*this);
  const Split at = split(*calendar.table, time);
  const CivilDay civil = civilDay(at.day);
  for (const NSCalendarUnit unit : kNumberUnits)
    if (units & unit) parts.setValueForComponent(partOf(calendar, unit, at, civil), unit);
  if (units & NSCalendarUnitNanosecond) parts.setNanosecond(nanoseconds(date));
  if (units & NSCalendarUnitTimeZone) parts.setTimeZone(calendar.zone);
  return parts;
}

NSInteger NSCalendar::component(NSCalendarUnit unit, const NSDate& date) const {
  int64_t time = 0;
  if (isNil() || !wholeSeconds(date, time)) return NSDateComponentUndefined;
  if (unit == NSCalendarUnitNanosecond) return nanoseconds(date);
  const Split at = split(*behind(*this)->table, time);
  return partOf(*behind(*this), unit, at, civilDay(at.day));
}

NSDateComponents NSCalendar::componentsFromDate(NSUInteger units, const NSDate& from, const NSDate& to) const {
  NSDateComponents parts;
  int64_t start = 0, end = 0;
  if (isNil() || !wholeSeconds(from, start) || !wholeSeconds(to, end)) return parts;
  const ZoneTable& zone = *behind(*this)->table;
  for (const NSCalendarUnit unit : {NSCalendarUnitYear, NSCalendarUnitQuarter, NSCalendarUnitMonth,
                                    NSCalendarUnitWeekOfYear, NSCalendarUnitDay}) {
    if (!(units & unit)) continue;
    const int64_t guess = guessBetween(unit, split(zone, start), split(zone, end));
    NSDateComponents amount;
    amount.setValueForComponent(countBetween(zone, unit, start, end, guess), unit);
    parts.setValueForComponent(amount.valueForComponent(unit), unit);
    addAmounts(zone, amountsOf(amount), start);
  }
  for (const NSCalendarUnit unit : {NSCalendarUnitHour, NSCalendarUnitMinute, NSCalendarUnitSecond}) {
    if (!(units & unit)) continue;
    const int64_t count = (end - start) / lengthOfUnit(unit);
    parts.setValueForComponent(count, unit);
    start += count * lengthOfUnit(unit);
  }
  return parts;
}

NSDate NSCalendar::dateFromComponents(const NSDateComponents& parts) const {
  int64_t day = 0;
  if (isNil() || !buildDay(*behind(*this), parts, day)) return nil;
  Sum local;
  local.add(day, kSecondsPerDay);
  local.add(parts.hour(), 3600);
  local.add(parts.minute(), 60);
  local.add(parts.second(), 1);
  if (!local.fits(kFurthestTime)) return nil;
  const ZoneTable& zone = parts.timeZone().isNil() ? *behind(*this)->table : zoneTable(parts.timeZone());
  const NSDate date = dateOf(zone.timeOfLocal(local.total()));
  if (parts.nanosecond() == kNoPart) return date;
  return date.dateByAddingTimeInterval(static_cast<double>(parts.nanosecond()) * 1e-9);
}

NSDate NSCalendar::dateByAddingComponents(const NSDateComponents& parts, const NSDate& date) const {
  int64_t start = 0;
  if (isNil() || !wholeSeconds(date, start)) return nil;
  int64_t end = start;
  if (!addAmounts(*behind(*this)->table, amountsOf(parts), end)) return nil;
  const NSDate moved = date.dateByAddingTimeInterval(static_cast<double>(end - start));
  if (parts.nanosecond() == kNoPart) return moved;
  return moved.dateByAddingTimeInterval(static_cast<double>(parts.nanosecond()) * 1e-9);
}

NSDate NSCalendar::dateByAddingUnit(NSCalendarUnit unit, NSInteger amount, const NSDate& date) const {
  NSDateComponents parts;
  parts.setValueForComponent(amount, unit);
  return dateByAddingComponents(parts, date);
}

bool NSCalendar::rangeOfUnit(NSCalendarUnit unit, NSDate* start, NSTimeInterval* interval,
                             const NSDate& date) const {
  int64_t time = 0;
  Span range{};
  if (isNil() || !wholeSeconds(date, time) || !rangeOf(*behind(*this), unit, time, range)) return false;
  if (start) *start = dateOf(range.start);
  if (interval) *interval = static_cast<double>(range.end - range.start);
  return true;
}

NSDate NSCalendar::startOfDayForDate(const NSDate& date) const {
  NSDate start;
  rangeOfUnit(NSCalendarUnitDay, &start, nullptr, date);
  return start;
}
