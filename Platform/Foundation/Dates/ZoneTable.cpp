#include "Platform/Foundation/Dates/ZoneTable.h"

#include <unicode/basictz.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>
#include <unicode/tztrans.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

using namespace orv;
using namespace orv::detail;

namespace {

constexpr int64_t kFirst = -6000000000;  // before every transition known: they begin around 1840
constexpr int64_t kLast = 4260000000;    // 2104
constexpr int64_t kDay = 86400;
constexpr int64_t kFurthest = 180000000000000;  // ICU's dates end there, 5.7 million years away

ZoneTable::Interval askRules(const icu::TimeZone& zone, int64_t time) {
  UErrorCode status = U_ZERO_ERROR;
  int32_t raw = 0, saving = 0;
  const auto clamped = static_cast<double>(std::clamp(time, -kFurthest, kFurthest));
  zone.getOffset(clamped * 1000, false, raw, saving, status);
  return {time, (raw + saving) / 1000, saving / 1000};
}

}  // namespace

struct ZoneTable::Rules {
  std::unique_ptr<icu::TimeZone> zone;
};

ZoneTable::ZoneTable(std::string name) : name_(std::move(name)) {}

ZoneTable::~ZoneTable() = default;

std::unique_ptr<ZoneTable> ZoneTable::named(const std::string& name) {
  const icu::UnicodeString id(name.data(), static_cast<int32_t>(name.size()), US_INV);
  std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone(id));
  icu::UnicodeString made;
  if (!zone || zone->getID(made) == UNICODE_STRING_SIMPLE(UCAL_UNKNOWN_ZONE_ID)) return nullptr;
  std::unique_ptr<ZoneTable> table(new ZoneTable(name));
  table->rules_ = std::make_unique<Rules>(Rules{std::move(zone)});
  table->fill();
  return table;
}

std::unique_ptr<ZoneTable> ZoneTable::fixed(const std::string& name, int32_t offset) {
  std::unique_ptr<ZoneTable> table(new ZoneTable(name));
  table->intervals_.push_back({INT64_MIN, offset, 0});
  return table;
}

void ZoneTable::fill() {
  const icu::TimeZone& zone = *rules_->zone;
  intervals_.push_back({INT64_MIN, askRules(zone, kFirst).offset, 0});
  const auto* basic = dynamic_cast<const icu::BasicTimeZone*>(&zone);
  icu::TimeZoneTransition transition;
  double time = static_cast<double>(kFirst) * 1000;
  while (basic && basic->getNextTransition(time, false, transition)) {
    isFixed_ = false;
    time = transition.getTime();
    const auto start = static_cast<int64_t>(time / 1000);
    if (start >= kLast) {
      end_ = kLast;
      break;
    }
    const Interval next = askRules(zone, start);
    if (next.offset != intervals_.back().offset || next.saving != intervals_.back().saving)
      intervals_.push_back(next);
  }
}

size_t ZoneTable::indexAt(int64_t time) const noexcept {
  const size_t guess = last_.load(std::memory_order_relaxed);
  if (time >= intervals_[guess].start && (guess + 1 == intervals_.size() || time < intervals_[guess + 1].start))
    return guess;
  const auto next = std::upper_bound(intervals_.begin(), intervals_.end(), time,
                                     [](int64_t t, const Interval& interval) { return t < interval.start; });
  const auto index = static_cast<size_t>(next - intervals_.begin()) - 1;
  last_.store(static_cast<uint32_t>(index), std::memory_order_relaxed);
  return index;
}

ZoneTable::Interval ZoneTable::intervalAt(int64_t time) const noexcept {
  if (time >= end_) return askRules(*rules_->zone, time);
  return intervals_[indexAt(time)];
}

ZoneTable::Resolved ZoneTable::resolve(int64_t local) const noexcept {
  if (isFixed_) return {local - intervals_[0].offset, Local::Once};
  const size_t guess = last_.load(std::memory_order_relaxed);
  const int64_t time = local - intervals_[guess].offset;
  // Two days away from both ends no other interval can show this local time.
  if (time - 2 * kDay >= std::max(intervals_[guess].start, -kFurthest) && guess + 1 < intervals_.size() &&
      time + 2 * kDay < intervals_[guess + 1].start)
    return {time, Local::Once};
  return local + 2 * kDay < end_ ? resolveInTable(local) : resolveByRules(local);
}

// Walks the intervals from a day before: the first that shows the local time decides.
ZoneTable::Resolved ZoneTable::resolveInTable(int64_t local) const noexcept {
  size_t i = indexAt(local - kDay);
  while (i + 1 < intervals_.size() && local - intervals_[i].offset >= intervals_[i + 1].start) ++i;
  const int64_t time = local - intervals_[i].offset;
  if (i > 0 && time < intervals_[i].start) return {local - intervals_[i - 1].offset, Local::Skipped};
  for (size_t next = i + 1; next < intervals_.size() && intervals_[next].start <= time + kDay; ++next) {
    if (intervals_[next].offset != intervals_[i].offset &&
        local - intervals_[next].offset >= intervals_[next].start)
      return {time, Local::Twice};
  }
  return {time, Local::Once};
}

ZoneTable::Resolved ZoneTable::resolveByRules(int64_t local) const noexcept {
  const int32_t before = offsetAt(local - kDay), after = offsetAt(local + kDay);
  const int64_t early = local - before, late = local - after;
  const bool first = offsetAt(early) == before, second = offsetAt(late) == after;
  if (first) return {early, second && early != late ? Local::Twice : Local::Once};
  return second ? Resolved{late, Local::Once} : Resolved{early, Local::Skipped};
}

int64_t ZoneTable::nextTransition(int64_t time) const noexcept {
  if (isFixed_) return INT64_MAX;
  if (time < end_) {
    const size_t next = indexAt(time) + 1;
    if (next < intervals_.size()) return intervals_[next].start;
    if (end_ == INT64_MAX) return INT64_MAX;
  }
  icu::TimeZoneTransition transition;
  const auto* basic = dynamic_cast<const icu::BasicTimeZone*>(rules_->zone.get());
  const auto from = static_cast<double>(std::clamp(time, -kFurthest, kFurthest)) * 1000;
  if (!basic || !basic->getNextTransition(from, false, transition)) return INT64_MAX;
  return static_cast<int64_t>(transition.getTime() / 1000);
}

std::string ZoneTable::abbreviation(bool summer) const {
  if (!rules_) return name_;
  icu::UnicodeString text;
  std::string utf8;
  rules_->zone->getDisplayName(summer, icu::TimeZone::SHORT, icu::Locale::getUS(), text);
  return text.toUTF8String(utf8);
}

std::string orv::detail::nameOfOffset(int32_t offset) {
  if (offset == 0) return "GMT";
  const int32_t size = std::abs(offset), hours = size / 3600, minutes = size / 60 % 60, seconds = size % 60;
  char text[32];
  int length = std::snprintf(text, sizeof text, "GMT%c%d", offset < 0 ? '-' : '+', hours);
  const auto append = [&](int n) {
    length += std::snprintf(text + length, sizeof text - static_cast<size_t>(length), ":%02d", n);
  };
  if (minutes != 0 || seconds != 0) append(minutes);
  if (seconds != 0) append(seconds);
  return text;
}
