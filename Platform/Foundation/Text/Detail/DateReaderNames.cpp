#include "Platform/Foundation/Text/Detail/DateReader.h"

namespace orv::detail {

using enum DateRole;

DateReader::MaybeDay DateReader::namedDay(Place i) const {
  if (at(i).is(The) && at(i + 1).isNumber()) ++i;
  if (at(i).isNumber()) return dayThenMonth(i);
  return at(i).is(Month) ? monthThenDay(i) : std::nullopt;
}

bool DateReader::isDayNumber(Place i) const {
  return at(i).isNumber() && at(i).digits <= 2 && at(i).value >= 1 && at(i).value <= 31;
}

// Behind the letters of an ordinal.
std::optional<DateReader::Place> DateReader::ordinalEnd(Place i) const {
  if (at(i).is(Ordinal) && at(i).glued()) return i + 1;
  if (gluedSign(i, 0xBA)) return i + 1;
  return std::nullopt;
}

// One day of the month or two with a dash or a word between: 5, 5th, 5., 5-7, 5th to the 7th. A second that
// does not come later, or begins a time, is left alone.
std::optional<DateReader::DaysOfMonth> DateReader::daysOfMonth(Place i, bool periods) const {
  if (!at(i).isNumber() || at(i).digits > 2) return std::nullopt;
  DaysOfMonth days;
  days.first = days.last = at(i).value;
  days.end = behindOrdinal(i + 1, periods);
  days.ordinal = days.end > i + 1;
  if (!isDash(days.end) && !at(days.end).is(Until)) return days;
  const Place second = skipRole(days.end + 1, The);
  if (!isDayNumber(second) || at(second).value <= days.first) return days;
  if (gluedSign(second + 1, ':') || meridiem(second + 1) || isAmount(second + 1)) return days;
  days.last = at(second).value;
  days.end = behindOrdinal(second + 1, periods);
  return days;
}

// Behind the letters of an ordinal, or its period where that is one.
DateReader::Place DateReader::behindOrdinal(Place i, bool periods) const {
  if (const auto end = ordinalEnd(i)) return *end;
  return periods && gluedSign(i, '.') && !gluedNumber(i + 1) ? i + 1 : i;
}

// Whether the number before was an amount of something.
bool DateReader::isAmount(Place i) const {
  return at(i).is(Measure) || at(i).is(Hours) || at(i).is(Unit) || at(i).isSign('%');
}

// 5 March 2021, 5th of March, 5. März, 5-7 March
DateReader::MaybeDay DateReader::dayThenMonth(Place i) const {
  if (auto day = joinedDay(i)) return day;
  const auto days = daysOfMonth(i, true);
  if (!days) return std::nullopt;
  const Place j = skipRole(days->end, Of);
  if (!at(j).is(Month) || at(j + 1).is(Measure)) return std::nullopt;
  const bool certain = !at(j).is(Tentative) || at(j).capital || days->ordinal;
  return withYear(j + 1, at(j).word->month, days->first, days->last, true, certain);
}

// 05-Mar-21, 5-March, 10/Oct/2000
DateReader::MaybeDay DateReader::joinedDay(Place i) const {
  const char16_t sign = gluedSign(i + 1, '-') ? u'-' : u'/';
  if (at(i).digits > 2 || !gluedSign(i + 1, sign) || !at(i + 2).is(Month) || !at(i + 2).glued())
    return std::nullopt;
  const int month = at(i + 2).word->month;
  const Token& year = at(i + 4);
  if (!gluedSign(i + 3, sign) || !gluedNumber(i + 4) || (year.digits != 2 && year.digits != 4))
    return sign == '-' ? withYear(i + 3, month, at(i).value, at(i).value, false, true) : std::nullopt;
  auto day = dayOf(i + 5, fullYear(year), month, at(i).value);
  day->colon = sign == '/';
  return day;
}

// March 5, 2021; Mar. 5th; March the 5th; March 5-7
DateReader::MaybeDay DateReader::monthThenDay(Place i) const {
  const Token& name = at(i);
  const Place behind = skipSign(i + 1, '.');
  if (gluedSign(behind, '-') && gluedNumber(behind + 1)) return hyphenedDay(i, behind + 1);
  const Place number = skipRole(behind, The);
  if (continuesNumber(number + 1)) return std::nullopt;
  const auto days = daysOfMonth(number, words_.german());
  if (!days || meridiem(number + 1) || isAmount(number + 1) || isAmount(days->end)) return std::nullopt;
  const bool certain = !name.is(Tentative) || name.capital || days->ordinal;
  return withYear(days->end, name.word->month, days->first, days->last, false, certain);
}

// Mar-05-2021
DateReader::MaybeDay DateReader::hyphenedDay(Place i, Place number) const {
  const Token& year = at(number + 2);
  if (at(number).digits > 2 || !gluedSign(number + 1, '-') || !gluedNumber(number + 2) || year.digits != 4)
    return std::nullopt;
  return dayOf(number + 3, year.value, at(i).word->month, at(number).value);
}

// Whether a number goes on here: as a time, a fraction, or thousands.
bool DateReader::continuesNumber(Place i) const {
  if (gluedSign(i, ':') || gluedSign(i, '/')) return true;
  if (gluedSign(i, '.')) return gluedNumber(i + 1);
  return gluedSign(i, ',') && gluedNumber(i + 1) && at(i + 1).digits == 3;
}

// A year of four digits, or 'xx. A short form takes two digits where no time can begin with them.
std::optional<std::pair<DateReader::Place, int64_t>> DateReader::yearAfter(Place i, bool shortForm) const {
  if ((at(i).isSign('\'') || at(i).isSign(0x2019)) && gluedNumber(i + 1) && at(i + 1).digits == 2)
    return std::pair{i + 2, fullYear(at(i + 1))};
  const Token& year = at(i);
  if (!year.isNumber() || (year.digits != 4 && !(shortForm && year.digits == 2))) return std::nullopt;
  if (year.digits == 4 && (year.value < 1000 || year.value > 2999)) return std::nullopt;
  const Token& after = at(i + 1);
  if (after.glued() && (after.isNumber() || after.kind == TokenKind::Word)) return std::nullopt;
  if (gluedSign(i + 1, ':') && gluedNumber(i + 2) && year.digits == 2) return std::nullopt;
  if ((gluedSign(i + 1, '.') || gluedSign(i + 1, ',')) && gluedNumber(i + 2)) return std::nullopt;
  if (isAmount(i + 1) || meridiem(i + 1)) return std::nullopt;
  if (year.digits == 2 && (after.kind == TokenKind::Word && !after.is(At))) return std::nullopt;
  if (year.digits == 2 && (isDash(i + 1) || after.is(Month))) return std::nullopt;
  return std::pair{i + 1, fullYear(year)};
}

// The year if one follows, else this year; `certain` is false for a word that needs the year to be a month.
DateReader::MaybeDay DateReader::withYear(Place i, int month, int64_t first, int64_t last, bool shortForm,
                                          bool certain) const {
  Place j = i;
  if (at(j).isSign('.') && at(j).glued() && !gluedNumber(j + 1)) ++j;
  const Place comma = skipSign(j, ',');
  Place afterOf = comma;
  if (afterOf == j) afterOf = skipRole(afterOf, Of);
  const auto year = yearAfter(afterOf, shortForm && comma == j);
  if (!year && !certain) return std::nullopt;
  // The period of an abbreviation belongs to it only when the date goes on.
  auto day =
      year ? dayOf(year->first, year->second, month, first) : dayOf(i, civilDay(today_).year, month, first);
  if (!year) {
    day->month = static_cast<int8_t>(month);
    day->date = static_cast<int8_t>(first);
  }
  if (last > first && !day->impossible) day->spanEnd = day->day + (last - first);
  return day;
}

}  // namespace orv::detail
