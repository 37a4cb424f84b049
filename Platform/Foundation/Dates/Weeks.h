#pragma once

#include <cstdint>

#include "Platform/Foundation/Dates/CivilDate.h"

namespace orv::detail {

// Weeks: the first one of a period is the first that has enough days in it.
class Weeks {
 public:
  Weeks(int64_t firstWeekday, int64_t minimumDays) : first_(firstWeekday), minimum_(minimumDays) {}

  int64_t startOfWeek(int64_t day) const { return day - floorModulo(weekdayOf(day) - first_, 7); }
  // Of the week 1 of a period, which may lie before the period's first day.
  int64_t firstWeek(int64_t periodStart) const {
    const int64_t start = startOfWeek(periodStart);
    return start + 7 - periodStart >= minimum_ ? start : start + 7;
  }
  int64_t numberIn(int64_t periodStart, int64_t day) const {
    return floorDivide(startOfWeek(day) - firstWeek(periodStart), 7) + 1;
  }
  // The year to which the week of a day belongs.
  int64_t yearOf(int64_t day, int64_t year) const {
    if (startOfWeek(day) < firstWeek(dayNumber(year, 1, 1))) return year - 1;
    return startOfWeek(day) >= firstWeek(dayNumber(year + 1, 1, 1)) ? year + 1 : year;
  }

 private:
  const int64_t first_;
  const int64_t minimum_;
};

}  // namespace orv::detail
