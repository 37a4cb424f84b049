#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>

#include "Platform/Foundation/Dates/CivilDate.h"
#include "Platform/Foundation/Dates/NSTimeZone.h"
#include "Platform/Foundation/Dates/ZoneTable.h"

// Days and clocks as people write them, and the way from there to points in time.
namespace orv::detail {

// Whether the calendar has the day; years 1 to 9999.
constexpr bool isDay(const CivilDay& d) noexcept {
  return d.year >= 1 && d.year <= 9999 && d.month >= 1 && d.month <= 12 && d.day >= 1 &&
         d.day <= lengthOfMonth(d.year, d.month);
}

// The same day so many months on, or the last day of a shorter month.
constexpr int64_t addMonths(int64_t number, int64_t months) noexcept {
  const CivilDay from = civilDay(number);
  const int64_t total = from.year * 12 + from.month - 1 + months;
  const int64_t year = floorDivide(total, 12), month = floorModulo(total, 12) + 1;
  return dayNumber(year, month, std::min(from.day, lengthOfMonth(year, month)));
}

// The clocks of one zone. Immutable and cheap to copy: any thread may use it.
class CivilZone {
 public:
  // A zone's name ("Europe/Berlin"), or an offset "GMT+2", "GMT-3:30"; absent for others. An empty name is the
  // zone of this computer.
  static std::optional<CivilZone> named(const std::string& name) {
    const NSTimeZone zone = name.empty() ? NSTimeZone::localTimeZone() : NSTimeZone::timeZoneWithName(name);
    if (zone.isNil()) return std::nullopt;
    return CivilZone(zone);
  }

  // Seconds since 1970 on the zone's clocks at a point in time, also in seconds since 1970.
  double clocksAt(double instant) const {
    return instant + table_->offsetAt(static_cast<int64_t>(std::floor(instant)));
  }
  // The point in time at which the clocks show the seconds. Of two the first; a time that the clocks skip
  // is taken by the offset before the change.
  double instantAt(double clocks) const {
    const double whole = std::floor(clocks);
    return static_cast<double>(table_->timeOfLocal(static_cast<int64_t>(whole))) + (clocks - whole);
  }
  const std::string& name() const noexcept { return table_->name(); }

 private:
  explicit CivilZone(const NSTimeZone& zone) : table_(&zoneTable(zone)) {}

  const ZoneTable* table_;  // lives as long as the process
};

}  // namespace orv::detail
