#pragma once

#include <cstdint>

// Calendar days as numbers, counted from 1970-01-01, and back: the Gregorian calendar from 1582-10-15 on, the
// Julian one before. Years are astronomical: 0 is the year 1 before Christ. Years run from March inside, so
// that the leap day comes last.
namespace orv::detail {

inline constexpr int64_t kSecondsPerDay = 86400;
inline constexpr int64_t kGregorianStart = -141427;  // 1582-10-15
inline constexpr int64_t kGregorianStartYear = 1582;

struct CivilDay {
  int64_t year;
  int64_t month;  // 1 to 12
  int64_t day;    // 1 to 31
  friend constexpr bool operator==(const CivilDay&, const CivilDay&) = default;
};

constexpr int64_t floorDivide(int64_t n, int64_t divisor) {
  const int64_t quotient = n / divisor;
  return n % divisor < 0 ? quotient - 1 : quotient;
}
constexpr int64_t floorModulo(int64_t n, int64_t divisor) { return n - floorDivide(n, divisor) * divisor; }

// The day of the year that runs from March, for a month 1 to 12.
constexpr int64_t daysBeforeMonth(int64_t month) { return (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5; }

constexpr int64_t gregorianDayNumber(int64_t year, int64_t month, int64_t day) {
  const int64_t y = month > 2 ? year : year - 1;
  return 365 * y + floorDivide(y, 4) - floorDivide(y, 100) + floorDivide(y, 400) + daysBeforeMonth(month) +
         day - 1 - 719468;
}

constexpr int64_t julianDayNumber(int64_t year, int64_t month, int64_t day) {
  const int64_t y = month > 2 ? year : year - 1;
  return 365 * y + floorDivide(y, 4) + daysBeforeMonth(month) + day - 1 - 719470;
}

// Months and days out of range are carried. The days that the change of calendars left out count as Julian.
constexpr int64_t dayNumber(int64_t year, int64_t month, int64_t day) {
  if (month < 1 || month > 12) {
    year += floorDivide(month - 1, 12);
    month = floorModulo(month - 1, 12) + 1;
  }
  const bool gregorian = year >= kGregorianStartYear;
  const int64_t number = gregorian ? gregorianDayNumber(year, month, day) : julianDayNumber(year, month, day);
  if (gregorian == (number >= kGregorianStart)) return number;
  return gregorian ? julianDayNumber(year, month, day) : gregorianDayNumber(year, month, day);
}

// The calendar day in a year that began in March `year`, by its distance from that March 1.
constexpr CivilDay dayOfMarchYear(int64_t year, uint32_t dayOfYear) {
  const uint32_t shifted = (5 * dayOfYear + 2) / 153;
  const uint32_t month = shifted < 10 ? shifted + 3 : shifted - 9;
  return {month <= 2 ? year + 1 : year, month, dayOfYear - (153 * shifted + 2) / 5 + 1};
}

constexpr CivilDay civilDay(int64_t number) {
  if (number < kGregorianStart) {
    const int64_t days = number + 719470, cycle = floorDivide(days, 1461);
    const auto ofCycle = static_cast<uint32_t>(days - cycle * 1461);
    const uint32_t year = (ofCycle - ofCycle / 1460) / 365;
    return dayOfMarchYear(cycle * 4 + year, ofCycle - 365 * year);
  }
  const int64_t days = number + 719468, era = days / 146097;
  const auto ofEra = static_cast<uint32_t>(days - era * 146097);
  const uint32_t year = (ofEra - ofEra / 1460 + ofEra / 36524 - ofEra / 146096) / 365;
  return dayOfMarchYear(era * 400 + year, ofEra - (365 * year + year / 4 - year / 100));
}

// 1 Sunday to 7 Saturday.
constexpr int64_t weekdayOf(int64_t dayNumber) { return floorModulo(dayNumber + 4, 7) + 1; }

constexpr bool isLeapYear(int64_t year) {
  return year % 4 == 0 && (year < kGregorianStartYear || year % 100 != 0 || year % 400 == 0);
}

// The last day's number in the month; 31 for October 1582, too, though ten days of it never were.
constexpr int64_t lengthOfMonth(int64_t year, int64_t month) {
  if (month == 2) return isLeapYear(year) ? 29 : 28;
  return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

static_assert(dayNumber(1970, 1, 1) == 0 && dayNumber(1582, 10, 15) == kGregorianStart);
static_assert(dayNumber(1582, 10, 4) == kGregorianStart - 1 && dayNumber(2024, 13, 1) == dayNumber(2025, 1, 1));
static_assert(civilDay(kGregorianStart - 1) == CivilDay{1582, 10, 4} && weekdayOf(0) == 5);

}  // namespace orv::detail
