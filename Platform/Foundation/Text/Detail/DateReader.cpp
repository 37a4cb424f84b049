#include "Platform/Foundation/Text/Detail/DateReader.h"

#include <algorithm>
#include <cmath>

#include "Platform/Foundation/Values/NSDate.h"

namespace orv::detail {

using enum DateRole;

namespace {
constexpr double kNoon = 12 * 3600;
constexpr double kDay = 86400;

CivilZone zoneOf(const std::string& name) {
  if (auto zone = CivilZone::named(name)) return *zone;
  return *CivilZone::named("GMT");
}

bool contains(std::u16string_view signs, char16_t c) { return signs.find(c) != std::u16string_view::npos; }
}  // namespace

DateReader::DateReader(const Units& text, const DetectorContext& context)
    : words_(DateLexicon::of(context.locale)),
      zone_(zoneOf(context.zone)),
      now_(context.now + NSTimeIntervalSince1970),
      clocks_(zone_.clocksAt(now_)),
      today_(static_cast<int64_t>(std::floor(clocks_ / kDay))),
      tokens_(text, words_) {}

std::optional<DateMatch> DateReader::next() {
  while (!tokens_.atEnd()) {
    consumed_ = 1;
    std::optional<DateMatch> match;
    if (mayBegin()) {
      setLimit();
      match = read();
    }
    tokens_.advance(consumed_);
    if (match) return match;
  }
  return std::nullopt;
}

bool DateReader::mayBegin() const {
  const Token& first = tokens_.at(0);
  if (first.isNumber()) return first.digits <= 8;
  constexpr auto kBeginners =
      static_cast<uint64_t>(Month) | static_cast<uint64_t>(Weekday) | static_cast<uint64_t>(Day) |
      static_cast<uint64_t>(Direction) | static_cast<uint64_t>(Unit) | static_cast<uint64_t>(Future) |
      static_cast<uint64_t>(Past) | static_cast<uint64_t>(Count) | static_cast<uint64_t>(Clock) |
      static_cast<uint64_t>(The) | static_cast<uint64_t>(Edge) | static_cast<uint64_t>(Whole) |
      static_cast<uint64_t>(Half) | static_cast<uint64_t>(On);
  return first.word && (first.word->roles & kBeginners) != 0;
}

void DateReader::setLimit() {
  limit_ = 1;
  while (limit_ < static_cast<Place>(DateTokens::kReach) && tokens_.at(limit_).kind != TokenKind::End &&
         tokens_.at(limit_).gap != Gap::Break)
    ++limit_;
}

bool DateReader::isDash(Place i) const noexcept {
  return at(i).isSign('-') || at(i).isSign(0x2013) || at(i).isSign(0x2014) || at(i).isSign(0x2012);
}

std::optional<DateMatch> DateReader::read() {
  auto found = moment(0);
  return found ? finish(std::move(*found)) : std::nullopt;
}

std::optional<FoundMoment> DateReader::moment(Place i) const {
  auto found = dayThenTime(i);
  return found ? found : timeThenDay(i);
}

DateReader::MaybeDay DateReader::anyDay(Place i) const {
  if (auto day = numericDay(i)) return day;
  if (auto day = namedDay(i)) return day;
  return phrase(i);
}

std::optional<FoundMoment> DateReader::dayThenTime(Place i) const {
  FoundMoment found;
  found.day = anyDay(i);
  if (!found.day) return std::nullopt;
  found.end = found.day->end;
  if (found.day->instant) return found;
  if (const Place place = timeAfterDay(*found.day)) found.time = time(place);
  if (!found.time) return found.day->tentative ? std::nullopt : std::optional(found);
  found.end = found.time->end;
  if (found.day->month > 0) readTrailingYear(found);
  return found;
}

// The C library's order: Thu Feb 29 14:30:15 CET 2024
void DateReader::readTrailingYear(FoundMoment& found) const {
  const auto year = yearAfter(found.end, false);
  if (!year || at(found.end).digits != 4) return;
  found.day = dayOf(year->first, year->second, found.day->month, found.day->date);
  found.end = year->first;
}

// Where a time may begin behind a day.
DateReader::Place DateReader::timeAfterDay(const FoundDay& day) const {
  Place j = day.end;
  if (day.machine && at(j).is(IsoT) && at(j).glued() && gluedNumber(j + 1)) return j + 1;
  if (day.colon && gluedSign(j, ':') && gluedNumber(j + 1)) return j + 1;
  if (at(j).isSign(','))
    ++j;
  else if ((isDash(j) || at(j).isSign('|') || at(j).isSign('(')) && !at(j).glued())
    ++j;
  if (at(j).isSign('@')) ++j;
  for (int round = 0; round < 2; ++round) j = skipRole(j, At);
  return j;
}

std::optional<FoundMoment> DateReader::timeThenDay(Place i) const {
  FoundMoment found;
  found.time = time(i);
  if (!found.time) return std::nullopt;
  found.end = found.time->end;
  const Place j = skipSign(found.end, ',');
  MaybeDay day = anyDay(j);
  if (!day && at(j).is(On)) day = anyDay(j + 1);
  if (!day || day->instant) return found;
  found.end = day->end;
  found.day = day;
  return found;
}

std::optional<DateMatch> DateReader::finish(FoundMoment first) {
  DateMatch match;
  const bool possible = !first.day || !first.day->impossible;
  if (possible) match.date = instantOf(first);
  const bool span = possible && extendToSpan(first, match);
  if (first.time && first.time->open && !span) return std::nullopt;
  const bool machine = first.day && first.day->machine;
  if (!startsCleanly(machine) || !endsCleanly(first.end, machine && !first.time)) return std::nullopt;
  consumed_ = static_cast<size_t>(first.end);
  if (!possible || ((!first.day || first.day->weak) && setApart())) return std::nullopt;
  if (!span && first.day && first.day->spanEnd > first.day->day)
    match.duration = static_cast<double>(first.day->spanEnd - first.day->day) * kDay;
  match.date -= NSTimeIntervalSince1970;
  match.range = {at(0).start, at(first.end - 1).end - at(0).start};
  if (first.time && first.time->zone) match.zone = first.time->zone->name();
  return match;
}

double DateReader::instantOf(const FoundMoment& m) const {
  if (m.day && m.day->instant) return *m.day->instant;
  double seconds = kNoon;
  if (m.time) {
    seconds = m.time->seconds;
    // "tonight at 8": the part of the day tells which half is meant.
    if (m.day && m.day->part >= 12 && !m.time->half && seconds >= 3600 && seconds < kNoon) seconds += kNoon;
  } else if (m.day && m.day->part >= 0) {
    seconds = m.day->part * 3600;
  }
  const double clocks = static_cast<double>(m.day ? m.day->day : today_) * kDay + seconds;
  return (m.time && m.time->zone ? *m.time->zone : zone_).instantAt(clocks);
}

// Another time or day behind a dash or "to" makes a span. The end takes its day from the start, the start its
// zone from the end.
bool DateReader::extendToSpan(FoundMoment& first, DateMatch& match) const {
  if (first.day && first.day->instant) return false;
  if (!isDash(first.end) && !at(first.end).is(Until)) return false;
  auto last = moment(skipRole(first.end + 1, At));
  if (!last || (last->day && (last->day->impossible || last->day->instant))) return false;
  if (first.time.has_value() != last->time.has_value() || !endsCleanly(last->end, false)) return false;
  const bool sameDay = !last->day;
  if (sameDay) last->day = first.day;
  if (!first.time.has_value() && sameDay) return false;
  FoundMoment start = first;
  if (!start.day && start.time) start.day = last->day;  // 9am-5pm on Monday
  if (start.time && !start.time->zone) start.time->zone = last->time->zone;
  if (start.time && !last->time->zone) last->time->zone = start.time->zone;
  const double from = instantOf(start);
  double to = instantOf(*last);
  if (to <= from && sameDay) to += kDay;
  if (to <= from) return false;
  start.end = last->end;
  first = std::move(start);
  match.date = from;
  match.duration = to - from;
  return true;
}

// Whether the first token is not the tail of something else: a number, a path, a price, an address.
bool DateReader::startsCleanly(bool machine) const {
  const Token &first = tokens_.at(0), &before = tokens_.at(-1), &earlier = tokens_.at(-2);
  if (!first.glued() || before.kind == TokenKind::End) return true;
  if (before.kind != TokenKind::Sign || contains(u"+#$\u20AC\u00A3\u00A5%\\", before.sign)) return false;
  const bool joined = before.glued() && (earlier.isNumber() || earlier.kind == TokenKind::Word);
  const bool number = joined && earlier.isNumber();
  switch (before.sign) {
    case '_': return machine;
    case '@': return !joined && first.isNumber();
    case '/': return false;
    case '.':
    case '\'':
    case 0x2019: return !joined && before.sign != '.';
    case '-': return joined ? machine && !number : !first.isNumber();
    case ',': return !number || machine;
    case ':': return !number && !earlier.isSign(':');
    default: return true;
  }
}

bool DateReader::endsCleanly(Place end, bool machine) const {
  const Token &after = tokens_.at(end), &later = tokens_.at(end + 1);
  if (!after.glued() || after.kind == TokenKind::End) return true;
  if (after.kind != TokenKind::Sign || after.isSign('%')) return false;
  if (after.isSign('@') || after.isSign('\\')) return false;
  const bool number = later.glued() && later.isNumber();
  // Monday.com
  const bool word = tokens_.at(end - 1).kind == TokenKind::Word && later.kind == TokenKind::Word;
  if (after.isSign('.') && word && later.glued() && !later.capital) return false;
  if (after.isSign(',') && machine) return true;
  return !number || !contains(u".,:/-+'", after.sign);
}

// Whether a word before tells that the number is of another kind: version 10:30, Psalm 23:10.
bool DateReader::setApart() const {
  if (tokens_.at(0).gap == Gap::Break) return false;
  Place i = -1;
  for (int round = 0; round < 2; ++round) {
    const Token& token = tokens_.at(i);
    if (token.is(Filler) || token.is(Of) || (token.kind == TokenKind::Sign && contains(u":=.(#", token.sign)))
      --i;
  }
  return tokens_.at(i).is(Apart);
}

std::vector<DateMatch> findDates(const NSString& text, const DetectorContext& context, size_t limit) {
  std::vector<DateMatch> matches;
  if (text.length() == 0) return matches;
  DateReader reader(unitsOf(text), context);
  while (matches.size() < limit) {
    auto match = reader.next();
    if (!match) break;
    matches.push_back(std::move(*match));
  }
  return matches;
}

}  // namespace orv::detail
