#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

// What words mean in dates: English always, German and any other language for its own locales.
namespace orv::detail {

// The parts a word can play in a date; a word may have several ("may", the German "morgen").
enum class DateRole : uint64_t {
  Month = uint64_t{1} << 0,
  Weekday = uint64_t{1} << 1,
  Day = uint64_t{1} << 2,        // today, tomorrow: days from today
  Direction = uint64_t{1} << 3,  // last -1, this 0, next 1
  Unit = uint64_t{1} << 4,       // a DateUnit
  Ago = uint64_t{1} << 5,        // behind an amount
  Past = uint64_t{1} << 6,       // before an amount: the German "vor"
  Future = uint64_t{1} << 7,     // before an amount: in
  At = uint64_t{1} << 8,         // before a time
  On = uint64_t{1} << 9,         // before a day
  Of = uint64_t{1} << 10,
  The = uint64_t{1} << 11,
  Meridiem = uint64_t{1} << 12,   // am 0, pm 12
  Clock = uint64_t{1} << 13,      // noon 12, midnight 0
  DayPart = uint64_t{1} << 14,    // morning 9, afternoon 15, evening 18, night 20
  Hours = uint64_t{1} << 15,      // Uhr, o'clock
  Ordinal = uint64_t{1} << 16,    // the letters behind 1st
  Count = uint64_t{1} << 17,      // one, two, a
  Until = uint64_t{1} << 18,      // between the ends of a span
  Edge = uint64_t{1} << 19,       // start -1, end 1 of a month
  Zone = uint64_t{1} << 20,       // an index of zoneName
  IsoT = uint64_t{1} << 21,       // between the date and the time of ISO 8601
  Apart = uint64_t{1} << 22,      // what follows is a number of another kind: version, chapter, ratio
  Tentative = uint64_t{1} << 23,  // also an everyday word: counts only when more speaks for a date
  Half = uint64_t{1} << 24,
  And = uint64_t{1} << 25,
  From = uint64_t{1} << 26,
  Now = uint64_t{1} << 27,
  After = uint64_t{1} << 28,    // the day after 1, the day before -1
  Whole = uint64_t{1} << 29,    // a unit's end in one word: the German "Monatsende"
  Measure = uint64_t{1} << 30,  // behind a number: it was an amount
  Early = uint64_t{1} << 31,    // the German "früh" behind a day
  Filler = uint64_t{1} << 32,   // may stand between an Apart word and its number: is, was
};

enum class DateUnit : int8_t { Second, Minute, Hour, Day, Week, Month, Year };

struct DateWord {
  uint64_t roles = 0;
  int8_t month = 0;
  int8_t weekday = 0;
  int8_t day = 0;
  int8_t direction = 0;
  int8_t hour = 0;  // of a Meridiem, a Clock or a DayPart
  int8_t edge = 0;
  int16_t count = 0;
  int16_t zone = 0;
  DateUnit unit = DateUnit::Day;

  bool has(DateRole role) const noexcept { return (roles & static_cast<uint64_t>(role)) != 0; }
};

// The words and habits of one locale. Immutable once made; shared by all threads for the life of the process.
class DateLexicon {
 public:
  static constexpr size_t kLongestWord = 24;

  // The lexicon of a locale identifier; made on first use.
  static const DateLexicon& of(const std::string& locale);

  // The meaning of a word in any case, null for all others.
  const DateWord* find(std::u16string_view word) const;

  bool dayFirst() const noexcept { return dayFirst_; }  // 24/12 rather than 12/24
  bool yearFirst() const noexcept { return yearFirst_; }
  bool dotted() const noexcept { return separator_ == '.'; }  // the locale writes 24.12.
  bool dashed() const noexcept { return separator_ == '-'; }
  bool german() const noexcept { return german_; }
  int firstWeekday() const noexcept { return firstWeekday_; }
  // What the locale's calendar adds to the year: 543 in Thailand.
  int yearOffset() const noexcept { return yearOffset_; }

  // The zone behind a Zone word: a name or "GMT-5".
  static const char* zoneName(int16_t index) noexcept;

 private:
  friend struct LexiconMaker;
  struct Hash {
    using is_transparent = void;
    size_t operator()(std::u16string_view s) const { return std::hash<std::u16string_view>()(s); }
  };

  std::unordered_map<std::u16string, DateWord, Hash, std::equal_to<>> words_;
  uint64_t firstLetters_ = 0;  // a bit for each lower 6 bits of a first letter
  bool dayFirst_ = false;
  bool yearFirst_ = false;
  bool german_ = false;
  char16_t separator_ = '/';
  int firstWeekday_ = 1;
  int yearOffset_ = 0;
};

}  // namespace orv::detail
