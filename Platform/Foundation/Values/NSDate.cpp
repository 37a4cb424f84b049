#include "Platform/Foundation/Values/NSDate.h"

#include <time.h>
#include <atomic>
#include <limits>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "Platform/Foundation/Values/Detail/StringRep.h"

using namespace orv;

namespace {

constexpr NSTimeInterval kDistance = 63113904000.0;  // 2000 years: from year 1, and to year 4001
constexpr int64_t kSecondsPerDay = 86400;
// Dates further away than 30 million years print as that; their days fit every calculation below.
constexpr double kFurthest = 1e15;

struct Pairs {
  char text[200];
};

constexpr Pairs makePairs() {
  Pairs pairs{};
  for (int i = 0; i < 100; ++i) {
    pairs.text[2 * i] = static_cast<char>('0' + i / 10);
    pairs.text[2 * i + 1] = static_cast<char>('0' + i % 10);
  }
  return pairs;
}

constexpr Pairs kPairs = makePairs();

inline char* writePair(char* out, uint32_t n) {
  std::memcpy(out, kPairs.text + 2 * n, 2);
  return out + 2;
}

inline int64_t floorDivide(int64_t n, int64_t divisor) { return n / divisor - (n % divisor < 0 ? 1 : 0); }

struct Day {
  int64_t year;
  uint32_t month;
  uint32_t day;
};

// The Gregorian date of a day counted from 2001-01-01, for all years alike. Years run from March, so that the
// leap day comes last, in eras of 400 years.
Day dayOf(int64_t daysSince2001) {
  constexpr int64_t kEra = 146097;
  constexpr int64_t kToYear0March = 730791;  // the days from 0000-03-01 to 2001-01-01
  const int64_t days = daysSince2001 + kToYear0March;
  const int64_t era = floorDivide(days, kEra);
  const auto dayOfEra = static_cast<uint32_t>(days - era * kEra);
  const uint32_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const uint32_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const uint32_t shiftedMonth = (5 * dayOfYear + 2) / 153;
  const uint32_t month = shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9;
  return {era * 400 + yearOfEra + (month <= 2 ? 1 : 0), month, dayOfYear - (153 * shiftedMonth + 2) / 5 + 1};
}

char* writeYear(char* out, int64_t year) {
  if (year >= 0 && year <= 9999) {
    out = writePair(out, static_cast<uint32_t>(year) / 100);
    return writePair(out, static_cast<uint32_t>(year) % 100);
  }
  if (year < 0) *out++ = '-';
  const int64_t size = std::abs(year);
  for (int64_t limit = 1000; size < limit; limit /= 10) *out++ = '0';
  return std::to_chars(out, out + 20, size).ptr;
}

char* writeDay(char* out, int64_t daysSince2001) {
  const Day day = dayOf(daysSince2001);
  out = writeYear(out, day.year);
  *out++ = '-';
  out = writePair(out, day.month);
  *out++ = '-';
  return writePair(out, day.day);
}

char* writeTime(char* out, uint32_t secondOfDay) {
  out = writePair(out, secondOfDay / 3600);
  *out++ = ':';
  out = writePair(out, secondOfDay / 60 % 60);
  *out++ = ':';
  return writePair(out, secondOfDay % 60);
}

}  // namespace

namespace orv::detail {

namespace {
constinit std::atomic<double> pinnedNow{std::numeric_limits<double>::quiet_NaN()};
}  // namespace

void pinNow(double secondsSince2001) noexcept { pinnedNow.store(secondsSince2001, std::memory_order_relaxed); }

double now() noexcept {
  const double pinned = pinnedNow.load(std::memory_order_relaxed);
  return std::isnan(pinned) ? CFAbsoluteTimeGetCurrent() : pinned;
}

}  // namespace orv::detail

NSTimeInterval CFAbsoluteTimeGetCurrent() {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  constexpr auto kTo1970 = static_cast<int64_t>(NSTimeIntervalSince1970);
  return static_cast<double>(now.tv_sec - kTo1970) + static_cast<double>(now.tv_nsec) * 1e-9;
}

NSDate NSDate::date() { return NSDate(detail::now()); }

NSDate NSDate::dateWithTimeIntervalSinceNow(NSTimeInterval seconds) { return NSDate(detail::now() + seconds); }

NSDate NSDate::dateWithTimeIntervalSince1970(NSTimeInterval seconds) {
  return NSDate(seconds - NSTimeIntervalSince1970);
}

NSDate NSDate::distantPast() { return NSDate(-kDistance); }

NSDate NSDate::distantFuture() { return NSDate(kDistance); }

NSTimeInterval NSDate::timeIntervalSinceNow() const {
  return isNil() ? 0 : timeIntervalSinceReferenceDate() - detail::now();
}

NSTimeInterval NSDate::timeIntervalSinceDate(const NSDate& other) const noexcept {
  if (isNil() || other.isNil()) return 0;
  return timeIntervalSinceReferenceDate() - other.timeIntervalSinceReferenceDate();
}

bool NSDate::isEqualToDate(const NSDate& other) const noexcept {
  return !isNil() && !other.isNil() &&
         timeIntervalSinceReferenceDate() == other.timeIntervalSinceReferenceDate();
}

NSComparisonResult NSDate::compare(const NSDate& other) const noexcept {
  if (isNil() || other.isNil()) return static_cast<NSComparisonResult>(other.isNil() - isNil());
  const double a = timeIntervalSinceReferenceDate(), b = other.timeIntervalSinceReferenceDate();
  return a < b ? NSOrderedAscending : a > b ? NSOrderedDescending : NSOrderedSame;
}

NSDate NSDate::earlierDate(const NSDate& other) const noexcept {
  if (isNil() || other.isNil()) return isNil() ? other : *this;
  return other.compare(*this) == NSOrderedAscending ? other : *this;
}

NSDate NSDate::laterDate(const NSDate& other) const noexcept {
  if (isNil() || other.isNil()) return isNil() ? other : *this;
  return other.compare(*this) == NSOrderedDescending ? other : *this;
}

NSDate NSDate::dateByAddingTimeInterval(NSTimeInterval seconds) const noexcept {
  return isNil() ? NSDate() : NSDate(timeIntervalSinceReferenceDate() + seconds);
}

NSString NSDate::description() const {
  if (isNil()) return nil;
  char text[detail::kISO8601MaxLength];
  const char* end = detail::writeDateDescription(timeIntervalSinceReferenceDate(), text);
  return detail::StringFactory::ascii(text, static_cast<size_t>(end - text));
}

namespace orv::detail {

int64_t millisecondsSince2001(double seconds) noexcept {
  const double nearest = std::nearbyint(seconds * 1000);
  constexpr double kTo1970 = NSTimeIntervalSince1970;
  if (nearest / 1000 == seconds || (nearest + kTo1970 * 1000) / 1000 - kTo1970 == seconds)
    return static_cast<int64_t>(nearest);
  return static_cast<int64_t>(std::floor(seconds * 1000));
}

char* writeISO8601(double secondsSince2001, char* out) noexcept {
  if (std::isnan(secondsSince2001)) return std::copy_n("NaN", 3, out);
  const int64_t time = millisecondsSince2001(std::clamp(secondsSince2001, -kFurthest, kFurthest));
  const int64_t day = floorDivide(time, kSecondsPerDay * 1000);
  const auto ofDay = static_cast<uint32_t>(time - day * kSecondsPerDay * 1000);
  out = writeDay(out, day);
  *out++ = 'T';
  out = writeTime(out, ofDay / 1000);
  const uint32_t fraction = ofDay % 1000;
  *out++ = '.';
  *out++ = static_cast<char>('0' + fraction / 100);
  out = writePair(out, fraction % 100);
  *out++ = 'Z';
  return out;
}

char* writeDateDescription(double secondsSince2001, char* out) noexcept {
  if (std::isnan(secondsSince2001)) return std::copy_n("NaN", 3, out);
  const double clamped = std::clamp(secondsSince2001, -kFurthest, kFurthest);
  const auto time = static_cast<int64_t>(std::floor(clamped));
  const int64_t day = floorDivide(time, kSecondsPerDay);
  out = writeDay(out, day);
  *out++ = ' ';
  out = writeTime(out, static_cast<uint32_t>(time - day * kSecondsPerDay));
  return std::copy_n(" +0000", 6, out);
}

}  // namespace orv::detail
