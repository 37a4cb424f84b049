#include <cmath>
#include <cstdlib>

#include "Platform/Foundation/Text/Detail/DateReader.h"

namespace orv::detail {

using enum DateRole;

namespace {
std::string offsetName(int sign, int64_t hours, int64_t minutes) {
  if (hours == 0 && minutes == 0) return "GMT";
  std::string name = (sign < 0 ? "GMT-" : "GMT+") + std::to_string(hours);
  if (minutes > 0) name += (minutes < 10 ? ":0" : ":") + std::to_string(minutes);
  return name;
}
}  // namespace

DateReader::MaybeTime DateReader::time(Place i) const {
  MaybeTime found = clockWord(i);
  if (!found) found = compactTime(i);
  if (!found) found = colonTime(i);
  if (!found) found = hourTime(i);
  if (found) readZone(*found);
  return found;
}

bool DateReader::isUnit(Place i, char16_t lower) const noexcept {
  const Token& token = at(i);
  return token.kind == TokenKind::Word && token.end - token.start == 1 &&
         (tokens_.text()[token.start] | 0x20) == lower;
}

// "noon", "midnight"
DateReader::MaybeTime DateReader::clockWord(Place i) const {
  if (!at(i).is(Clock)) return std::nullopt;
  FoundTime found;
  found.end = i + 1;
  found.seconds = at(i).word->hour * 3600;
  found.half = true;
  return found;
}

// Behind the T of ISO 8601: 0304, 030405.678
DateReader::MaybeTime DateReader::compactTime(Place i) const {
  const Token& number = at(i);
  if (!gluedNumber(i) || !tokens_.at(i - 1).is(IsoT) || (number.digits != 4 && number.digits != 6))
    return std::nullopt;
  const int64_t value = number.digits == 4 ? number.value * 100 : number.value;
  const int64_t hour = value / 10000, minute = value / 100 % 100, second = value % 100;
  if (hour > 23 || minute > 59 || second > 59) return std::nullopt;
  FoundTime found;
  found.seconds = static_cast<double>(hour * 3600 + minute * 60 + second);
  found.end = number.digits == 6 ? readFraction(i + 1, found.seconds) : i + 1;
  found.machine = true;
  return found;
}

// Fractions of a second behind a period or a comma; milliseconds count.
DateReader::Place DateReader::readFraction(Place i, double& seconds) const {
  if (!gluedSign(i, '.') && !gluedSign(i, ',')) return i;
  if (!gluedNumber(i + 1) || at(i + 1).digits > 18) return i;
  if (at(i).isSign(',') && at(i + 1).digits < 3) return i;
  const double fraction = static_cast<double>(at(i + 1).value) / std::pow(10, at(i + 1).digits);
  seconds += std::floor(fraction * 1000 + 1e-6) / 1000;
  return i + 2;
}

// 10:30, 5:15 PM, 17:00 Uhr, 23:59:59.999
DateReader::MaybeTime DateReader::colonTime(Place i) const {
  if (!at(i).isNumber() || at(i).digits > 2 || at(i).value > 23) return std::nullopt;
  if (!gluedSign(i + 1, ':') || !gluedNumber(i + 2) || at(i + 2).digits != 2 || at(i + 2).value > 59)
    return std::nullopt;
  FoundTime found;
  found.seconds = static_cast<double>(at(i).value * 3600 + at(i + 2).value * 60);
  found.end = i + 3;
  if (gluedSign(i + 3, ':')) {
    if (!gluedNumber(i + 4) || at(i + 4).digits != 2 || at(i + 4).value > 59) return std::nullopt;
    found.seconds += static_cast<double>(at(i + 4).value);
    found.end = readFraction(i + 5, found.seconds);
    found.machine = true;
  }
  if (tokens_.at(i - 1).is(IsoT) && at(i).glued()) found.machine = true;
  const Place plain = found.end;
  if (!readHalf(found)) return std::nullopt;
  const bool amount = at(plain).is(Measure) || (gluedSign(plain, '/') && at(plain + 1).glued());
  return amount && found.end == plain ? std::nullopt : MaybeTime(found);
}

// Reads am, pm, Uhr or "in the evening" where they follow. False when the hour does not fit.
bool DateReader::readHalf(FoundTime& found) const {
  if (const auto half = meridiem(found.end)) {
    found.end = half->first;
    return applyMeridiem(found, half->second);
  }
  if (const auto end = hoursWord(found.end)) found.end = *end;
  Place part = found.end;
  if (at(part).is(Future) && at(part + 1).is(The))
    part += 2;
  else if (at(part).is(At))
    part += 1;
  else
    return true;
  if (!at(part).is(DayPart) || found.seconds >= 13 * 3600) return true;
  const int hour = at(part).word->hour;
  found.end = part + 1;
  return found.seconds < 3600 || applyMeridiem(found, hour < 12 ? 0 : 12);
}

bool DateReader::applyMeridiem(FoundTime& found, int half) const {
  if (found.seconds < 3600 || found.seconds >= 13 * 3600) return false;
  if (found.seconds >= 12 * 3600) found.seconds -= 12 * 3600;
  found.seconds += half * 3600;
  found.half = true;
  return true;
}

// am, PM, a.m. and p.m.
std::optional<std::pair<DateReader::Place, int>> DateReader::meridiem(Place i) const {
  if (at(i).is(Meridiem)) {
    // The German "am" is also a preposition.
    if (at(i).is(On) && !at(i).glued() && at(i + 1).kind != TokenKind::End && at(i + 1).kind != TokenKind::Sign)
      return std::nullopt;
    return std::pair{i + 1, int{at(i).word->hour}};
  }
  if ((!isUnit(i, 'a') && !isUnit(i, 'p')) || !gluedSign(i + 1, '.') || !isUnit(i + 2, 'm') ||
      !at(i + 2).glued())
    return std::nullopt;
  return std::pair{gluedSign(i + 3, '.') ? i + 4 : i + 3, isUnit(i, 'a') ? 0 : 12};
}

// Uhr, o'clock, and h behind two digits of hours and minutes
std::optional<DateReader::Place> DateReader::hoursWord(Place i) const {
  if (at(i).is(Hours)) return i + 1;
  if (isUnit(i, 'h') && at(i).glued() && i >= 3 && at(i - 2).isSign(':') && at(i - 3).digits == 2) return i + 1;
  if (isUnit(i, 'o') && (gluedSign(i + 1, '\'') || gluedSign(i + 1, 0x2019)) && at(i + 2).glued() &&
      at(i + 2).is(Hours))
    return i + 3;
  return std::nullopt;
}

DateReader::MaybeTime DateReader::hourTime(Place i) const {
  if (!at(i).isNumber() || at(i).digits > 2 || at(i).value > 23) return std::nullopt;
  if (auto found = hourWithMark(i)) return found;
  if (auto found = hourOfSpan(i)) return found;
  return hourAfterAt(i);
}

// 5pm, 17 Uhr 30, 5.30pm, 10.30 Uhr, 5 o'clock, 12 noon
DateReader::MaybeTime DateReader::hourWithMark(Place i) const {
  FoundTime found;
  found.seconds = static_cast<double>(at(i).value * 3600);
  found.end = i + 1;
  if (gluedSign(i + 1, '.') && gluedNumber(i + 2) && at(i + 2).digits == 2 && at(i + 2).value <= 59) {
    found.seconds += static_cast<double>(at(i + 2).value * 60);
    found.end = i + 3;
  }
  if (at(found.end).is(Clock) && at(i).value == 12) {
    found.seconds = at(found.end).word->hour * 3600;
    ++found.end;
    return found;
  }
  const Place plain = found.end;
  const bool part = at(plain).is(Future) && at(plain + 1).is(The) && at(plain + 2).is(DayPart);
  const bool marked = meridiem(plain) || hoursWord(plain) || (part && plain == i + 1);
  if (!marked || !readHalf(found) || found.end == plain) return std::nullopt;
  const Token& minutes = at(found.end);
  if (at(plain).is(Hours) && minutes.isNumber() && minutes.digits == 2 && minutes.value <= 59 &&
      plain == i + 1 && !at(found.end + 1).is(Unit) && !at(found.end + 1).isSign('.') &&
      !gluedSign(found.end + 1, ':')) {
    found.seconds += static_cast<double>(minutes.value * 60);
    ++found.end;
  }
  return found;
}

// The first hour of 10-11am or 10 to 11 am: the mark at the end counts for both.
DateReader::MaybeTime DateReader::hourOfSpan(Place i) const {
  if (!isDash(i + 1) && !at(i + 1).is(Until)) return std::nullopt;
  if (!at(i + 2).isNumber() || at(i + 2).digits > 2) return std::nullopt;
  const auto half = meridiem(i + 3);
  if (!half || at(i + 2).value > 12 || at(i).value % 12 >= at(i + 2).value % 12) return std::nullopt;
  FoundTime found;
  found.end = i + 1;
  found.seconds = static_cast<double>(at(i).value * 3600);
  found.open = true;
  return applyMeridiem(found, half->second) ? MaybeTime(found) : std::nullopt;
}

// "at 5", where nothing that could be counted follows
DateReader::MaybeTime DateReader::hourAfterAt(Place i) const {
  const Token& before = tokens_.at(i - 1);
  if (i == 0 || !(before.is(At) || before.isSign('@')) || at(i).glued()) return std::nullopt;
  const Token& after = at(i + 1);
  const bool sign = after.kind == TokenKind::Sign && after.glued() &&
                    std::u16string_view(u".,;!?)").find(after.sign) != std::u16string_view::npos &&
                    !gluedNumber(i + 2);
  const bool word = after.is(On) || after.is(Until) || after.is(And) || after.is(Day) || after.is(Weekday);
  if (after.kind != TokenKind::End && !sign && !word) return std::nullopt;
  FoundTime found;
  found.end = i + 1;
  found.seconds = static_cast<double>(at(i).value * 3600);
  return found;
}

void DateReader::readZone(FoundTime& found) const {
  MaybeZone zone = namedZone(found.end);
  if (!zone) zone = offsetZone(found.end, found.machine);
  if (!zone) zone = cityZone(found.end);
  if (!zone) return;
  found.end = zone->first;
  found.zone = std::move(zone->second);
}

// +0200, -05:00; forms that could be another number or time count only behind seconds.
DateReader::MaybeZone DateReader::offsetZone(Place i, bool machine) const {
  const bool minus = at(i).isSign('-') || at(i).isSign(0x2212);
  if ((!minus && !at(i).isSign('+')) || !gluedNumber(i + 1)) return std::nullopt;
  const Token& number = at(i + 1);
  int64_t hours = number.value, minutes = 0;
  Place end = i + 2;
  if (number.digits == 4) {
    hours = number.value / 100;
    minutes = number.value % 100;
  } else if (number.digits != 2) {
    return std::nullopt;
  } else if (gluedSign(i + 2, ':') && gluedNumber(i + 3) && at(i + 3).digits == 2) {
    if (minus && !machine) return std::nullopt;
    minutes = at(i + 3).value;
    end = i + 4;
  } else if (!machine || !at(i).glued()) {
    return std::nullopt;
  }
  if (hours > 23 || minutes > 59) return std::nullopt;
  auto zone = CivilZone::named(offsetName(minus ? -1 : 1, hours, minutes));
  return zone ? MaybeZone(std::pair{end, *zone}) : std::nullopt;
}

// PST, Z, (CET), GMT+2, UTC-05:30
DateReader::MaybeZone DateReader::namedZone(Place i) const {
  const bool bracket = at(i).isSign('(');
  if (bracket) ++i;
  const Token& name = at(i);
  if (!name.is(Zone)) return std::nullopt;
  const std::string zone = DateLexicon::zoneName(name.word->zone);
  const bool world = zone == "GMT" && !isUnit(i, 'z');
  if (!name.allCapital && !(world && name.end - name.start == 3) && !(isUnit(i, 'z') && name.glued()))
    return std::nullopt;
  Place end = i + 1;
  std::string full = zone;
  const bool minus = gluedSign(end, '-');
  if (world && (minus || gluedSign(end, '+')) && gluedNumber(end + 1)) {
    const Token& number = at(end + 1);
    const bool colon =
        number.digits <= 2 && gluedSign(end + 2, ':') && gluedNumber(end + 3) && at(end + 3).digits == 2;
    const int64_t hours = number.digits == 4 ? number.value / 100 : number.value;
    const int64_t minutes = number.digits == 4 ? number.value % 100 : colon ? at(end + 3).value : 0;
    if (number.digits > 4 || number.digits == 3 || hours > 23 || minutes > 59) return std::nullopt;
    full = offsetName(minus ? -1 : 1, hours, minutes);
    end += colon ? 4 : 2;
  }
  if (bracket && !at(end).isSign(')')) return std::nullopt;
  auto made = CivilZone::named(full);
  return made ? MaybeZone(std::pair{end + bracket, *made}) : std::nullopt;
}

// Europe/Berlin, America/New_York
DateReader::MaybeZone DateReader::cityZone(Place i) const {
  if (at(i).kind != TokenKind::Word || !at(i).capital || !gluedSign(i + 1, '/')) return std::nullopt;
  Place end = i + 1;
  while (end < i + 10 && at(end).glued() &&
         (at(end).kind == TokenKind::Word || at(end).isSign('/') || at(end).isSign('_') || at(end).isSign('-')))
    ++end;
  std::string name;
  for (NSUInteger at0 = at(i).start; at0 < at(end - 1).end && name.size() < 48; ++at0)
    name += static_cast<char>(tokens_.text()[at0] < 0x80 ? tokens_.text()[at0] : '?');
  auto zone = CivilZone::named(name);
  return zone ? MaybeZone(std::pair{end, *zone}) : std::nullopt;
}

}  // namespace orv::detail
