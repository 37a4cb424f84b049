#include "Platform/Foundation/Text/Detail/DateReader.h"

namespace orv::detail {

// Three numbers with the same sign between them.
struct DateReader::Triple {
  const Token& a;
  const Token& b;
  const Token& c;
  char16_t separator;
  Place end;
};

DateReader::MaybeDay DateReader::numericDay(Place i) const {
  if (!at(i).isNumber()) return prepositionedDay(i);
  if (at(i).digits == 8) return compactDay(i);
  if (auto day = ideographicDay(i)) return day;
  const auto t = triple(i);
  if (!t) return shortDay(i);
  return t->a.digits == 4 ? yearFirstDay(*t) : yearLastDay(*t);
}

// A day that the calendar does not have is found, too: as an impossible one.
DateReader::MaybeDay DateReader::dayOf(Place end, int64_t year, int64_t month, int64_t day) const {
  FoundDay found;
  found.end = end;
  if (year >= 2400) year -= words_.yearOffset();
  found.impossible = !isDay({year, month, day});
  if (!found.impossible) found.day = dayNumber(year, month, day);
  return found;
}

// Numbers of eight digits are mostly something else: only the years around ours count.
DateReader::MaybeDay DateReader::compactDay(Place i) const {
  const int64_t value = at(i).value, year = value / 10000;
  if (year < 1900 || year > 2099) return std::nullopt;
  auto day = dayOf(i + 1, year, value / 100 % 100, value % 100);
  if (day->impossible) return std::nullopt;
  day->machine = day->weak = true;
  return day;
}

std::optional<DateReader::Triple> DateReader::triple(Place i) const {
  const Token& first = at(i + 1);
  if (first.kind != TokenKind::Sign || !first.glued()) return std::nullopt;
  const char16_t separator = first.sign;
  if (separator != '-' && separator != '/' && separator != '.' && separator != 0x2010 && separator != 0x2011)
    return std::nullopt;
  if (!at(i + 2).isNumber() || !at(i + 4).isNumber() || !gluedSign(i + 3, separator)) return std::nullopt;
  const bool spaced = !at(i + 2).glued() || !at(i + 4).glued();
  if (spaced && (separator != '.' || at(i).digits + at(i + 4).digits < 5)) return std::nullopt;
  if (at(i).digits == 0 || at(i + 2).digits > 2) return std::nullopt;
  return Triple{at(i), at(i + 2), at(i + 4), separator, i + 5};
}

DateReader::MaybeDay DateReader::yearFirstDay(const Triple& t) const {
  if (t.c.digits > 2) return std::nullopt;
  const bool written = t.b.digits == 2 && t.c.digits == 2;
  // 2024.1.2 is a version wherever the year does not come first.
  if (t.separator == '.' && !written && !words_.yearFirst()) return std::nullopt;
  auto day = dayOf(t.end, t.a.value, t.b.value, t.c.value);
  day->machine = true;
  if (t.separator == '.' && words_.yearFirst() && gluedSign(t.end, '.') && !gluedNumber(t.end + 1)) ++day->end;
  return day;
}

int64_t DateReader::fullYear(const Token& year) const {
  if (year.digits > 2) return year.value;
  const int64_t now = civilDay(today_).year;
  int64_t full = now - now % 100 + year.value;
  if (full > now + 20) full -= 100;
  if (full <= now - 80) full += 100;
  return full;
}

bool DateReader::prefersDayFirst(const Triple& t) const {
  if (t.separator == '.') return true;
  if (t.a.value > 12 && t.b.value <= 12) return true;
  if (t.b.value > 12 && t.a.value <= 12) return false;
  return words_.dayFirst();
}

DateReader::MaybeDay DateReader::yearLastDay(const Triple& t) const {
  if (t.a.digits > 2 || (t.c.digits != 4 && t.c.digits != 2)) return std::nullopt;
  const bool dayFirst = prefersDayFirst(t);
  const int64_t day = dayFirst ? t.a.value : t.b.value, month = dayFirst ? t.b.value : t.a.value;
  if (t.c.digits == 2) {
    // Short years look like versions, parts and serial numbers where the sign is not the locale's own.
    if (t.separator == '-' && !words_.dashed()) return std::nullopt;
    if (t.separator == '.' && !words_.dotted() &&
        (t.a.digits < 2 || t.b.digits < 2 || t.a.value <= 12 || at(-1).is(DateRole::Apart)))
      return std::nullopt;
    if (month > 12 || month < 1 || day < 1 || day > 31) return std::nullopt;
  }
  if (t.c.digits == 4 && t.c.value < 1000) return std::nullopt;
  auto found = dayOf(t.end, fullYear(t.c), month, day);
  found->weak = t.c.digits == 2;
  return found;
}

// 24.12., where the locale writes it so.
DateReader::MaybeDay DateReader::shortDay(Place i) const {
  if (!words_.dotted() || !words_.dayFirst() || at(i).digits > 2) return std::nullopt;
  if (!gluedSign(i + 1, '.') || !at(i + 2).isNumber() || at(i + 2).digits > 2 || !gluedSign(i + 3, '.'))
    return std::nullopt;
  if (gluedNumber(i + 4) || (at(i + 4).glued() && at(i + 4).kind == TokenKind::Word)) return std::nullopt;
  if (at(i + 4).is(DateRole::Measure) || at(i + 4).isSign(0x20AC) || at(i + 4).isSign('%')) return std::nullopt;
  // The number of a heading: 1.2. Introduction
  const bool heading = i == 0 && at(0).gap == Gap::Break && (at(0).digits == 1 || at(2).digits == 1);
  if (heading && at(4).kind == TokenKind::Word && at(4).capital && !at(4).word) return std::nullopt;
  // The tail of 2024. 3. 5.
  if (tokens_.at(i - 1).isSign('.') && tokens_.at(i - 2).isNumber()) return std::nullopt;
  auto day = dayOf(i + 4, civilDay(today_).year, at(i + 2).value, at(i).value);
  if (day->impossible) return std::nullopt;
  day->weak = true;
  return day;
}

// "am 24.12": the preposition tells it from a fraction.
DateReader::MaybeDay DateReader::prepositionedDay(Place i) const {
  if (!words_.german() || !at(i).is(DateRole::On) || !at(i + 1).isNumber() || at(i + 1).digits > 2)
    return std::nullopt;
  if (!gluedSign(i + 2, '.') || !gluedNumber(i + 3) || at(i + 3).digits > 2) return std::nullopt;
  if (gluedSign(i + 4, '.') || at(i + 4).is(DateRole::Measure) || at(i + 4).is(DateRole::Hours))
    return std::nullopt;
  if (at(i + 4).isSign(0x20AC) || at(i + 4).isSign('%') || gluedSign(i + 4, ',')) return std::nullopt;
  auto day = dayOf(i + 4, civilDay(today_).year, at(i + 3).value, at(i + 1).value);
  if (day->impossible) return std::nullopt;
  return day;
}

// 2024年3月5日 and 2024년 3월 5일; the year may be missing.
DateReader::MaybeDay DateReader::ideographicDay(Place i) const {
  int64_t year = civilDay(today_).year;
  Place at0 = i;
  if (at(i).digits == 4 && (gluedSign(i + 1, 0x5E74) || gluedSign(i + 1, 0xB144))) {
    year = at(i).value;
    at0 = i + 2;
  }
  if (!at(at0).isNumber() || at(at0).digits > 2) return std::nullopt;
  if (!gluedSign(at0 + 1, 0x6708) && !gluedSign(at0 + 1, 0xC6D4)) return std::nullopt;
  if (!at(at0 + 2).isNumber() || at(at0 + 2).digits > 2) return std::nullopt;
  if (!gluedSign(at0 + 3, 0x65E5) && !gluedSign(at0 + 3, 0xC77C)) return std::nullopt;
  return dayOf(at0 + 4, year, at(at0).value, at(at0 + 2).value);
}

}  // namespace orv::detail
