#include "Platform/Foundation/Dates/InternetDates.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "Platform/Foundation/Dates/CivilDate.h"

namespace orv::detail {
namespace {

constexpr int64_t kFirstYear = 1583;  // before it the calendar is a matter of taste

// Three letters as one number, capitals for all.
constexpr uint32_t lettersOf(const char* at) {
  uint32_t letters = 0;
  for (int i = 0; i < 3; ++i) {
    const auto c = static_cast<unsigned char>(at[i]);
    const bool isLetter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    letters = letters << 8 | (isLetter ? c & 0xDFu : 0);
  }
  return letters;
}

template <size_t N>
constexpr std::array<uint32_t, N> lettersOfAll(const char* const (&names)[N]) {
  std::array<uint32_t, N> all{};
  for (size_t i = 0; i < N; ++i) all[i] = lettersOf(names[i]);
  return all;
}

constexpr auto kWeekdays = lettersOfAll({"SUN", "MON", "TUE", "WED", "THU", "FRI", "SAT"});
constexpr auto kMonths =
    lettersOfAll({"JAN", "FEB", "MAR", "APR", "MAY", "JUN", "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"});

struct Zone {
  uint32_t letters;
  int hours;
};
constexpr Zone kZones[] = {{lettersOf("GMT"), 0},  {lettersOf("UTC"), 0},  {lettersOf("EST"), -5},
                           {lettersOf("EDT"), -4}, {lettersOf("CST"), -6}, {lettersOf("CDT"), -5},
                           {lettersOf("MST"), -7}, {lettersOf("MDT"), -6}, {lettersOf("PST"), -8},
                           {lettersOf("PDT"), -7}};

// A text from front to back; every step answers whether it went well.
class Cursor {
 public:
  explicit Cursor(std::string_view text) : at_(text.data()), end_(text.data() + text.size()) {}

  bool atEnd() const { return at_ == end_; }
  size_t left() const { return static_cast<size_t>(end_ - at_); }
  char next() const { return at_ < end_ ? *at_ : '\0'; }
  bool sees(size_t offset, char c) const { return offset < left() && at_[offset] == c; }

  bool accept(char c) {
    if (next() != c) return false;
    ++at_;
    return true;
  }
  // A letter in either case.
  bool acceptLetter(char capital) {
    if ((next() & ~0x20) != capital) return false;
    ++at_;
    return true;
  }
  // Exactly that many digits.
  template <int Digits>
  bool number(int64_t& value) {
    if (left() < Digits) return false;
    value = 0;
    for (int i = 0; i < Digits; ++i) {
      const auto digit = static_cast<unsigned>(at_[i] - '0');
      if (digit > 9) return false;
      value = value * 10 + digit;
    }
    at_ += Digits;
    return true;
  }
  bool letters(uint32_t& value) {
    if (left() < 3) return false;
    value = lettersOf(at_);
    at_ += 3;
    return true;
  }
  // The position in a list of names.
  template <size_t N>
  bool name(const std::array<uint32_t, N>& names, int64_t& index) {
    uint32_t value = 0;
    if (!letters(value)) return false;
    const auto found = std::find(names.begin(), names.end(), value);
    index = found - names.begin();
    return found != names.end();
  }

 private:
  const char* at_;
  const char* end_;
};

struct Parts {
  int64_t year = 0, month = 0, day = 0;
  int64_t hour = 0, minute = 0, second = 0, millisecond = 0;
  int64_t offset = 0;  // minutes east of Greenwich

  bool sound() const {
    return year >= kFirstYear && month >= 1 && month <= 12 && day >= 1 && day <= lengthOfMonth(year, month) &&
           hour < 24 && minute < 60 && second < 60;
  }
  int64_t milliseconds() const {
    const int64_t days = gregorianDayNumber(year, month, day);
    return (((days * 24 + hour) * 60 + minute - offset) * 60 + second) * 1000 + millisecond;
  }
};

// "+0200", and with a colon where one is allowed.
bool readOffset(Cursor& cursor, bool colonAllowed, Parts& parts) {
  const bool west = cursor.next() == '-';
  if (!west && cursor.next() != '+') return false;
  cursor.accept(west ? '-' : '+');
  int64_t hours = 0, minutes = 0;
  if (!cursor.number<2>(hours)) return false;
  if (colonAllowed) cursor.accept(':');
  if (!cursor.number<2>(minutes) || hours > 23 || minutes > 59) return false;
  parts.offset = (hours * 60 + minutes) * (west ? -1 : 1);
  return true;
}

// One to nine digits, of which three count.
bool readFraction(Cursor& cursor, Parts& parts) {
  int64_t digit = 0, scale = 100;
  int count = 0;
  for (; count < 9 && cursor.number<1>(digit); ++count) {
    parts.millisecond += digit * scale;
    scale /= 10;
  }
  return count > 0;
}

bool readClock(Cursor& cursor, bool secondsRequired, Parts& parts) {
  if (!cursor.number<2>(parts.hour) || !cursor.accept(':') || !cursor.number<2>(parts.minute)) return false;
  if (!cursor.accept(':')) return !secondsRequired;
  return cursor.number<2>(parts.second);
}

bool readMailZone(Cursor& cursor, Parts& parts) {
  if (cursor.atEnd()) return true;
  if (!cursor.accept(' ')) return false;
  if (cursor.left() == 1) return cursor.acceptLetter('Z');
  if (cursor.next() == '+' || cursor.next() == '-') return readOffset(cursor, false, parts);
  uint32_t letters = 0;
  if (!cursor.letters(letters)) return false;
  const auto* zone =
      std::find_if(std::begin(kZones), std::end(kZones), [&](const Zone& z) { return z.letters == letters; });
  // Before the clocks were put in order these names stand for local times.
  if (zone == std::end(kZones) || (zone->hours != 0 && parts.year < 1970)) return false;
  parts.offset = zone->hours * 60;
  return true;
}

bool readMailDay(Cursor& cursor, Parts& parts) {
  int64_t weekday = 0;
  if (cursor.sees(3, ',') && !(cursor.name(kWeekdays, weekday) && cursor.accept(',') && cursor.accept(' ')))
    return false;
  const bool oneDigit = cursor.sees(1, ' ');
  if (!(oneDigit ? cursor.number<1>(parts.day) : cursor.number<2>(parts.day)) || !cursor.accept(' '))
    return false;
  if (!cursor.name(kMonths, parts.month) || !cursor.accept(' ')) return false;
  ++parts.month;
  return cursor.number<4>(parts.year) && cursor.accept(' ');
}

bool finish(const Cursor& cursor, const Parts& parts, int64_t& milliseconds) {
  if (!cursor.atEnd() || !parts.sound()) return false;
  milliseconds = parts.milliseconds();
  return true;
}

}  // namespace

bool readTimestamp(std::string_view text, int64_t& milliseconds) noexcept {
  Cursor cursor(text);
  Parts parts;
  if (!cursor.number<4>(parts.year) || !cursor.accept('-') || !cursor.number<2>(parts.month) ||
      !cursor.accept('-') || !cursor.number<2>(parts.day) || !cursor.acceptLetter('T') ||
      !readClock(cursor, true, parts))
    return false;
  if (cursor.atEnd()) return finish(cursor, parts, milliseconds);
  if (cursor.accept('.') && !readFraction(cursor, parts)) return false;
  if (!cursor.acceptLetter('Z') && !readOffset(cursor, true, parts)) return false;
  return finish(cursor, parts, milliseconds);
}

bool readMailDate(std::string_view text, int64_t& milliseconds) noexcept {
  Cursor cursor(text);
  Parts parts;
  return readMailDay(cursor, parts) && readClock(cursor, false, parts) && readMailZone(cursor, parts) &&
         finish(cursor, parts, milliseconds);
}

}  // namespace orv::detail
