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

// Behind the letters of an ordinal, or its period where a blank or a month follows.
std::optional<DateReader::Place> DateReader::ordinalEnd(Place i) const {
  if (at(i).is(Ordinal) && at(i).glued()) return i + 1;
  if (gluedSign(i, 0xBA)) return i + 1;
  return std::nullopt;
}

// 5 March 2021, 5th of March, 5. März, 05-Mar-21, 5-7 March, 10/Oct/2000
DateReader::MaybeDay DateReader::dayThenMonth(Place i) const {
  if (!at(i).isNumber() || at(i).digits > 2) return std::nullopt;
  const int64_t first = at(i).value;
  int64_t last = first;
  Place j = i + 1;
  const auto skipOrdinal = [&] {
    if (const auto end = ordinalEnd(j))
      j = *end;
    else if (gluedSign(j, '.'))
      ++j;
  };
  const Place plain = j;
  skipOrdinal();
  bool certain = j > plain;
  if (isDash(j) && isDayNumber(j + 1)) {
    last = at(j + 1).value;
    j += 2;
    skipOrdinal();
    if (last <= first) return std::nullopt;
  }
  const char16_t sign = at(j).glued() && (at(j).isSign('-') || at(j).isSign('/')) ? at(j).sign : u'\0';
  if (sign)
    ++j;
  else
    j = skipRole(j, Of);
  if (!at(j).is(Month) || (sign && !at(j).glued())) return std::nullopt;
  if (at(j).is(Tentative) && !at(j).capital && !certain && !sign) {
    const Place after = skipSign(j + 1, ',');
    if (!yearAfter(after, false)) return std::nullopt;
  }
  if (!sign) return withYear(j + 1, at(j).word->month, first, last, true, true);
  const int month = at(j).word->month;
  if (!gluedSign(j + 1, sign) || !gluedNumber(j + 2) || (at(j + 2).digits != 2 && at(j + 2).digits != 4))
    return sign == '-' ? withYear(j + 1, month, first, last, false, true) : std::nullopt;
  auto day = dayOf(j + 3, fullYear(at(j + 2)), month, first);
  day->colon = sign == '/';
  return day;
}

// March 5, 2021; Mar. 5th; March the 5th; March 5-7; Mar-05-2021
DateReader::MaybeDay DateReader::monthThenDay(Place i) const {
  const Token& name = at(i);
  Place j = skipSign(i + 1, '.');
  const bool dashed = gluedSign(j, '-') && gluedNumber(j + 1);
  if (dashed) ++j;
  j = skipRole(j, The);
  if (!at(j).isNumber() || at(j).digits > 2) return std::nullopt;
  const int64_t first = at(j).value;
  int64_t last = first;
  ++j;
  if (gluedSign(j, ':') || gluedSign(j, '/') || (gluedSign(j, '.') && gluedNumber(j + 1))) return std::nullopt;
  if (gluedSign(j, ',') && gluedNumber(j + 1) && at(j + 1).digits == 3) return std::nullopt;
  if (meridiem(j) || at(j).is(Measure) || at(j).is(Hours) || at(j).isSign('%') ||
      (at(j).is(Unit) && !at(j).is(Ordinal)))
    return std::nullopt;
  const auto ordinal = ordinalEnd(j);
  if (ordinal)
    j = *ordinal;
  else if (words_.german() && gluedSign(j, '.'))
    ++j;
  if (dashed && gluedSign(j, '-') && gluedNumber(j + 1) && at(j + 1).digits == 4)
    return dayOf(j + 2, at(j + 1).value, name.word->month, first);
  if (isDash(j) && isDayNumber(j + 1) && at(j + 1).value > first && !gluedSign(j + 2, ':') &&
      !meridiem(j + 2)) {
    last = at(j + 1).value;
    j += 2;
    if (const auto end = ordinalEnd(j)) j = *end;
  }
  return withYear(j, name.word->month, first, last, false, !name.is(Tentative) || name.capital || ordinal);
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
  if (after.is(Measure) || after.is(Hours) || after.is(Unit) || meridiem(i + 1)) return std::nullopt;
  if (year.digits == 2 && (after.kind == TokenKind::Word && !after.is(At))) return std::nullopt;
  if (year.digits == 2 && (isDash(i + 1) || after.isSign('%') || after.is(Month))) return std::nullopt;
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
