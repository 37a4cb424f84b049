#include "Platform/Foundation/Text/Detail/DateReader.h"

namespace orv::detail {

using enum DateRole;

namespace {
constexpr int64_t kMostDays = 3652059;  // the days of the years 1 to 9999
constexpr double kDay = 86400;
}  // namespace

struct DateReader::Amount {
  Place end = 0;
  int64_t months = 0;
  int64_t days = 0;
  double seconds = 0;
  bool fine = false;  // with hours, minutes or seconds
};

DateReader::MaybeDay DateReader::phrase(Place i) const {
  if (auto day = relativeDay(i)) return day;
  if (auto day = partOfToday(i)) return day;
  if (auto day = weekday(i)) return day;
  if (auto day = edgeOfPeriod(i)) return day;
  return amountFromNow(i);
}

FoundDay DateReader::phraseDay(Place end, int64_t day) const {
  FoundDay found;
  found.end = end;
  found.day = day;
  found.weak = true;
  return found;
}

// "tomorrow morning", "Friday night", the German "morgen früh"
FoundDay DateReader::withPart(FoundDay day) const {
  const Token& part = at(day.end);
  if (part.is(DayPart) && !part.is(Day))
    day.part = part.word->hour;
  else if (part.is(DayPart) && words_.german())
    day.part = part.word->hour;
  else if (part.is(Early))
    day.part = 9;
  if (day.part >= 0) ++day.end;
  return day;
}

DateReader::MaybeDay DateReader::relativeDay(Place i) const {
  if (at(i).is(The)) ++i;
  // the day after tomorrow
  if (at(i).is(Unit) && at(i).word->unit == DateUnit::Day && at(i + 1).is(After) && at(i + 2).is(Day) &&
      at(i + 2).word->day == at(i + 1).word->day)
    return withPart(phraseDay(i + 3, today_ + 2 * at(i + 2).word->day));
  if (!at(i).is(Day)) return std::nullopt;
  // The German for "tomorrow" is also "morning".
  if (at(i).is(DayPart) && words_.german() && at(i).capital && tokens_.at(i - 1).is(On)) return std::nullopt;
  FoundDay day = phraseDay(i + 1, today_ + at(i).word->day);
  if (at(i).is(DayPart) && !words_.german()) {
    day.part = at(i).word->hour;
    return day;
  }
  return withPart(day);
}

// "this morning", "last night"
DateReader::MaybeDay DateReader::partOfToday(Place i) const {
  if (!at(i).is(Direction) || !at(i + 1).is(DayPart)) return std::nullopt;
  const int direction = at(i).word->direction, hour = at(i + 1).word->hour;
  if (direction > 0 || (direction < 0 && hour != 20)) return std::nullopt;
  FoundDay day = phraseDay(i + 2, today_ + direction);
  day.part = static_cast<int8_t>(hour);
  return day;
}

int64_t DateReader::weekdayFrom(int weekday, int direction) const {
  const int64_t ahead = (weekday - weekdayOf(today_) + 7) % 7;
  if (direction < 0) return today_ + ahead - 7;
  return today_ + (direction > 0 && ahead == 0 ? 7 : ahead);
}

int64_t DateReader::weekStart(int64_t day) const {
  return day - (weekdayOf(day) - words_.firstWeekday() + 7) % 7;
}

// "Friday", "next Friday", "Fri, 5 Mar 2021", "Friday next week". Short names that are everyday words need a
// time, a preposition or a date to count.
DateReader::MaybeDay DateReader::weekday(Place i) const {
  const bool on = at(i).is(On) && at(i + 1).is(Weekday) && at(i + 1).is(Tentative) && at(i + 1).capital;
  const bool directed = at(i).is(Direction) && at(i + 1).is(Weekday);
  const Place name = i + (on || directed ? 1 : 0);
  if (!at(name).is(Weekday)) return std::nullopt;
  const DateWord& word = *at(name).word;
  if (!directed)
    if (auto exact = dayAfterWeekday(name + 1)) return exact;
  FoundDay day = phraseDay(name + 1, weekdayFrom(word.weekday, directed ? at(i).word->direction : 0));
  const bool everyday = word.has(Tentative) || (at(name).end - at(name).start <= 3 && !at(name).capital);
  day.tentative = everyday && !(at(name).capital && (on || directed));
  const Place week = skipRole(day.end, Of);
  if (!directed && at(week).is(Direction) && at(week + 1).is(Unit) &&
      at(week + 1).word->unit == DateUnit::Week) {
    day.day = weekStart(today_) + 7 * at(week).word->direction + (word.weekday - words_.firstWeekday() + 7) % 7;
    day.end = week + 2;
  }
  return withPart(day);
}

// The date behind a weekday's name; the name itself is not compared with it.
DateReader::MaybeDay DateReader::dayAfterWeekday(Place i) const {
  Place j = skipSign(i, '.');
  j = skipSign(j, ',');
  const Place plain = j;
  if (at(j).is(On)) ++j;
  if (at(j).isNumber() || at(j).is(Month) || at(j).is(The)) {
    if (auto day = numericDay(j)) return day;
    if (auto day = namedDay(j)) return day;
  }
  // Fri 3/1
  if (j != plain || !isDayNumber(j) || !gluedSign(j + 1, '/') || !gluedNumber(j + 2) || at(j + 2).digits > 2)
    return std::nullopt;
  if (at(j + 3).glued() && at(j + 3).isSign('/')) return std::nullopt;
  if (at(j + 3).is(Measure)) return std::nullopt;
  const bool dayFirst = words_.dayFirst();
  auto day =
      dayOf(j + 3, civilDay(today_).year, at(dayFirst ? j + 2 : j).value, at(dayFirst ? j : j + 2).value);
  if (day->impossible) return std::nullopt;
  return day;
}

// "end of month", "the beginning of next year", "end of March 2021", "Ende des Monats", "Monatsende"
DateReader::MaybeDay DateReader::edgeOfPeriod(Place i) const {
  if (at(i).is(The)) ++i;
  if (at(i).is(Whole)) return edgeOf(i + 1, at(i).word->unit, 1, 0);
  if (!at(i).is(Edge)) return std::nullopt;
  const int edge = at(i).word->edge;
  const bool of = at(i + 1).is(Of);
  if (!of && !words_.german()) return std::nullopt;
  Place j = skipRole(i + (of ? 2 : 1), The);
  if (at(j).is(Month)) return edgeOfMonth(j, edge);
  int direction = 0;
  if (at(j).is(Direction)) direction = at(j++).word->direction;
  return at(j).is(Unit) ? edgeOf(j + 1, at(j).word->unit, edge, direction) : std::nullopt;
}

DateReader::MaybeDay DateReader::edgeOfMonth(Place i, int edge) const {
  const int month = at(i).word->month;
  const auto year = yearAfter(i + 1, false);
  const int64_t y = year ? year->second : civilDay(today_).year;
  return phraseDay(year ? year->first : i + 1, dayNumber(y, month, edge < 0 ? 1 : lengthOfMonth(y, month)));
}

DateReader::MaybeDay DateReader::edgeOf(Place end, DateUnit unit, int edge, int direction) const {
  if (unit == DateUnit::Week) {
    const int64_t start = weekStart(today_) + 7 * direction;
    return phraseDay(end, edge < 0 ? start : start + 6);
  }
  if (unit != DateUnit::Month && unit != DateUnit::Year) return std::nullopt;
  const CivilDay now = civilDay(today_);
  const int months = unit == DateUnit::Month ? 1 : 12;
  const int64_t start = dayNumber(now.year, (unit == DateUnit::Month ? now.month : 1) + direction * months, 1);
  return phraseDay(end, edge < 0 ? start : addMonths(start, months) - 1);
}

// "in 3 days", "3 weeks ago", "2 hours from now", "vor drei Tagen"
DateReader::MaybeDay DateReader::amountFromNow(Place i) const {
  if (at(i).is(Future) || at(i).is(Past)) {
    const auto found = amount(i + 1);
    if (!found || at(found->end).is(Of) || at(found->end).is(Ago) || at(found->end).isSign('/'))
      return std::nullopt;
    return moved(*found, at(i).is(Future) ? 1 : -1, found->end);
  }
  if (!at(i).isNumber() && !at(i).is(Count) && !at(i).is(Half)) return std::nullopt;
  const auto found = amount(i);
  if (!found) return std::nullopt;
  if (at(found->end).is(Ago)) return moved(*found, -1, found->end + 1);
  if (at(found->end).is(From) && at(found->end + 1).is(Now)) return moved(*found, 1, found->end + 2);
  return std::nullopt;
}

// One amount or several: "2 years, 3 months and a day".
std::optional<DateReader::Amount> DateReader::amount(Place i) const {
  auto total = oneAmount(i);
  for (int round = 0; total && round < 3; ++round) {
    const auto more = oneAmount(skipRole(skipSign(total->end, ','), And));
    if (!more) break;
    total->end = more->end;
    total->months += more->months;
    total->days += more->days;
    total->seconds += more->seconds;
    total->fine = total->fine || more->fine;
  }
  return total;
}

std::optional<DateReader::Amount> DateReader::oneAmount(Place i) const {
  Amount found;
  bool half = at(i).is(Half);
  int64_t count = 1;
  if (half)
    i = skipRole(i + 1, Count);
  else if (at(i).is(Count))
    count = at(i++).word->count;
  else if (at(i).isNumber() && at(i).digits <= 4)
    count = at(i++).value;
  else
    return std::nullopt;
  if (!half && count == 1 && at(i).is(Half)) half = true, ++i;
  if (!at(i).is(Unit) || (half && at(i).word->unit != DateUnit::Hour)) return std::nullopt;
  found.end = i + 1;
  switch (at(i).word->unit) {
    case DateUnit::Second: found.seconds = static_cast<double>(count); break;
    case DateUnit::Minute: found.seconds = static_cast<double>(count) * 60; break;
    case DateUnit::Hour: found.seconds = half ? 1800 : static_cast<double>(count) * 3600; break;
    case DateUnit::Day: found.days = count; break;
    case DateUnit::Week: found.days = count * 7; break;
    case DateUnit::Month: found.months = count; break;
    case DateUnit::Year: found.months = count * 12; break;
  }
  found.fine = found.seconds > 0 || at(i).word->unit < DateUnit::Day;
  return found;
}

// Days and longer units keep the time on the clocks, shorter ones are elapsed time.
DateReader::MaybeDay DateReader::moved(const Amount& amount, int sign, Place end) const {
  const int64_t first = dayNumber(1, 1, 1);
  if (amount.months > 12 * 9999) return std::nullopt;
  const int64_t day = addMonths(today_, sign * amount.months) + sign * amount.days;
  if (day < first || day >= first + kMostDays) return std::nullopt;
  FoundDay found = phraseDay(end, day);
  found.weak = false;
  if (!amount.fine) return found;
  const double clocks = static_cast<double>(day - today_) * kDay + clocks_;
  found.instant = (day == today_ ? now_ : zone_.instantAt(clocks)) + sign * amount.seconds;
  return found;
}

}  // namespace orv::detail
