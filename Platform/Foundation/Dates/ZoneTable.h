#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Platform/Foundation/Export.h"

namespace orv::detail {

// The offsets of a time zone, as a list of the intervals between its transitions: looked up without a lock and
// without ICU, which made the list and answers for what lies beyond it.
//
// Immutable; any thread may ask. Times are whole seconds since 1970, local ones the same number for the local
// clock's reading.
class ORV_EXPORT ZoneTable {
 public:
  struct Interval {
    int64_t start;
    int32_t offset;  // seconds east of Greenwich, summer time included
    int32_t saving;  // what summer time adds
  };
  // The local times that a place's clocks never show, or show twice, end in one of these.
  enum class Local { Once, Skipped, Twice };
  struct Resolved {
    int64_t time;
    Local how;
  };

  // A zone of the tz database, which ICU knows by that name; null for an unknown one.
  static std::unique_ptr<ZoneTable> named(const std::string& name);
  // No transitions, the name as given.
  static std::unique_ptr<ZoneTable> fixed(const std::string& name, int32_t offset);
  ~ZoneTable();

  const std::string& name() const noexcept { return name_; }
  bool isFixed() const noexcept { return isFixed_; }

  int32_t offsetAt(int64_t time) const noexcept { return intervalAt(time).offset; }
  Interval intervalAt(int64_t time) const noexcept;
  // The moment of a local time. One that is skipped is taken with the offset before the gap, one that comes
  // twice is the first.
  Resolved resolve(int64_t local) const noexcept;
  int64_t timeOfLocal(int64_t local) const noexcept { return resolve(local).time; }
  // The next moment the clocks change; INT64_MAX when they never do.
  int64_t nextTransition(int64_t time) const noexcept;
  // "EDT", "GMT+2", as the English of the United States names it.
  std::string abbreviation(bool summer) const;

 private:
  struct Rules;  // ICU's zone
  explicit ZoneTable(std::string name);

  size_t indexAt(int64_t time) const noexcept;
  Resolved resolveInTable(int64_t local) const noexcept;
  Resolved resolveByRules(int64_t local) const noexcept;
  void fill();

  const std::string name_;
  bool isFixed_ = true;              // no transition at all
  std::vector<Interval> intervals_;  // the first begins at INT64_MIN
  int64_t end_ = INT64_MAX;          // from here on ICU is asked
  std::unique_ptr<Rules> rules_;
  mutable std::atomic<uint32_t> last_{0};  // where the last look-up ended: the next is mostly there, too
};

// "GMT", "GMT+1", "GMT-3:30".
std::string nameOfOffset(int32_t offset);

}  // namespace orv::detail
