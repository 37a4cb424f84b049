#include "Platform/Foundation/Dates/FixedDatePattern.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>

#include "Platform/Foundation/Dates/CivilDate.h"
#include "Platform/Foundation/Dates/ZoneTable.h"

using namespace orv::detail;

namespace {

using Outcome = FixedDatePattern::Outcome;
using Step = FixedDatePattern::Step;

constexpr size_t kLongestPattern = 200;
constexpr size_t kKeptPatterns = 10000;  // programs have dozens; more come from outside
constexpr int64_t kFirstOfTwoDigits = 1950;
constexpr int64_t kLastYear = 140000;  // ICU's strict reading ends soon behind it

constexpr std::array<std::string_view, 12> kMonths{"January",   "February", "March",    "April",
                                                   "May",       "June",     "July",     "August",
                                                   "September", "October",  "November", "December"};
constexpr std::array<std::string_view, 7> kWeekdays{"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                    "Thursday", "Friday", "Saturday"};

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }
bool isLetter(char c) { return lower(c) >= 'a' && lower(c) <= 'z'; }

bool isNumeric(char field, size_t count) {
  return std::string_view("ydHhkKmsS").find(field) != std::string_view::npos || (field == 'M' && count <= 2);
}

// A text on its way through the steps, and what it said so far.
class Reader {
 public:
  explicit Reader(std::string_view text) : at_(text.data()), end_(text.data() + text.size()) {}

  Outcome readStep(const Step& step, const std::string& literals);
  Outcome finish(const FixedDatePattern::Options& options, int64_t& milliseconds) const;
  bool atEnd() const { return at_ == end_; }

 private:
  void skipBlanks() {
    while (at_ != end_ && isBlank(*at_)) ++at_;
  }
  bool startsWith(std::string_view word) const {
    if (static_cast<size_t>(end_ - at_) < word.size()) return false;
    for (size_t i = 0; i < word.size(); ++i)
      if (lower(at_[i]) != lower(word[i])) return false;
    return true;
  }
  bool wordEnds(size_t length) const {
    const char* after = at_ + length;
    return after == end_ || !(isLetter(*after) || isDigit(*after) || *after == '+' || *after == '-');
  }
  bool takeLiteral(std::string_view text) {
    if (static_cast<size_t>(end_ - at_) < text.size() || std::memcmp(at_, text.data(), text.size()) != 0)
      return false;
    at_ += text.size();
    return true;
  }
  bool takeBlanks() {
    const char* begin = at_;
    skipBlanks();
    return at_ != begin;
  }
  template <size_t N>
  bool takeName(const std::array<std::string_view, N>& names, std::initializer_list<size_t> lengths,
                int64_t& index);
  bool takeNumber(const Step& step, int64_t& value, size_t& digits);
  bool takeFraction(const Step& step);
  bool takeHalf();
  bool storeNumber(const Step& step);
  Outcome takeZone(char field);
  Outcome takeOffset();
  Outcome takeZoneName(char field);

  const char* at_;
  const char* const end_;
  int64_t year_ = 2000, month_ = 1, day_ = 1;
  int64_t hour_ = 0, minute_ = 0, second_ = 0, millisecond_ = 0;
  bool afternoon_ = false;
  int64_t offset_ = 0;
  bool hasOffset_ = false;
  bool offsetByName_ = false;
};

// The full names first, as the general formatter does; then the shorter forms.
template <size_t N>
bool Reader::takeName(const std::array<std::string_view, N>& names, std::initializer_list<size_t> lengths,
                      int64_t& index) {
  skipBlanks();
  for (const size_t length : lengths) {
    for (size_t i = 0; i < N; ++i) {
      const std::string_view name = names[i].substr(0, length);
      if (!startsWith(name)) continue;
      at_ += name.size();
      index = static_cast<int64_t>(i);
      return true;
    }
  }
  return false;
}

// A number too large for any field stays too large.
bool Reader::takeNumber(const Step& step, int64_t& value, size_t& digits) {
  constexpr int64_t kTooLarge = 1000000000;
  if (!step.touches) skipBlanks();
  const char* begin = at_;
  value = 0;
  while (at_ != end_ && isDigit(*at_) && (!step.touches || at_ - begin < step.count)) {
    if (value < kTooLarge) value = value * 10 + (*at_ - '0');
    ++at_;
  }
  digits = static_cast<size_t>(at_ - begin);
  return step.touches ? digits == step.count : digits > 0;
}

// Any number of digits; what is below a millisecond is dropped.
bool Reader::takeFraction(const Step& step) {
  if (!step.touches) skipBlanks();
  const char* begin = at_;
  int64_t factor = 100;
  millisecond_ = 0;
  while (at_ != end_ && isDigit(*at_) && (!step.touches || at_ - begin < step.count)) {
    millisecond_ += factor * (*at_++ - '0');
    factor /= 10;
  }
  return step.touches ? at_ - begin == step.count : at_ != begin;
}

bool Reader::takeHalf() {
  skipBlanks();
  for (const std::string_view half : {"am", "pm", "a", "p"}) {
    if (!startsWith(half)) continue;
    afternoon_ = half[0] == 'p';
    at_ += half.size();
    return true;
  }
  return false;
}

bool Reader::storeNumber(const Step& step) {
  int64_t n = 0;
  size_t digits = 0;
  if (!takeNumber(step, n, digits)) return false;
  switch (step.field) {
    case 'y':
      if (step.count <= 2 && digits == 2) n += n < kFirstOfTwoDigits % 100 ? 2000 : 1900;
      year_ = n;
      return n >= 1;
    case 'M': month_ = n; return n >= 1 && n <= 12;
    case 'd': day_ = n; return n >= 1 && n <= 31;
    case 'H': hour_ = n; return n <= 23;
    case 'k': hour_ = n == 24 ? 0 : n; return n <= 24;
    case 'h': hour_ = n == 12 ? 0 : n; return n <= 12;
    case 'K': hour_ = n; return n <= 11;
    case 'm': minute_ = n; return n <= 59;
    case 's': second_ = n; return n <= 59;
    default: return false;
  }
}

Outcome Reader::takeOffset() {
  const bool west = *at_ == '-';
  size_t digits = 0;
  while (at_ + 1 + digits != end_ && isDigit(at_[1 + digits]) && digits < 5) ++digits;
  const char* after = at_ + 1 + digits;
  const auto pair = [](const char* p) { return int64_t{p[0] - '0'} * 10 + (p[1] - '0'); };
  int64_t minutes = 0;
  if (digits == 4 && (after == end_ || *after != ':')) {
    minutes = pair(at_ + 3);
  } else if (digits == 2 && end_ - after >= 3 && *after == ':' && isDigit(after[1]) && isDigit(after[2]) &&
             (end_ - after == 3 || (after[3] != ':' && !isDigit(after[3])))) {
    minutes = pair(after + 1);
    after += 3;
  } else if (digits != 2 || (after != end_ && *after == ':')) {
    return Outcome::Unsure;
  }
  const int64_t hours = pair(at_ + 1);
  if (hours > 23 || minutes > 59) return Outcome::Unsure;
  hasOffset_ = true;
  offset_ = (hours * 3600 + minutes * 60) * (west ? -1 : 1);
  at_ = after;
  return Outcome::Read;
}

Outcome Reader::takeZoneName(char field) {
  struct Name {
    std::string_view text;
    int64_t hours;
  };
  constexpr Name kUniversal[] = {{"GMT", 0}, {"UTC", 0}, {"UT", 0}};
  constexpr Name kAmerican[] = {{"EST", -5}, {"EDT", -4}, {"CST", -6}, {"CDT", -5},
                                {"MST", -7}, {"MDT", -6}, {"PST", -8}, {"PDT", -7}};
  for (const Name& name : kUniversal) {
    if (!startsWith(name.text) || !wordEnds(name.text.size())) continue;
    hasOffset_ = true;
    at_ += name.text.size();
    return Outcome::Read;
  }
  if (field != 'z') return Outcome::Unsure;
  for (const Name& name : kAmerican) {
    if (!startsWith(name.text) || !wordEnds(name.text.size())) continue;
    hasOffset_ = true;
    offset_ = name.hours * 3600;
    offsetByName_ = true;
    at_ += name.text.size();
    return Outcome::Read;
  }
  return Outcome::Unsure;
}

Outcome Reader::takeZone(char field) {
  skipBlanks();
  if (at_ == end_) return Outcome::Refused;
  if (*at_ == '+' || *at_ == '-') return takeOffset();
  if (lower(*at_) == 'z' && wordEnds(1)) {
    hasOffset_ = true;
    ++at_;
    return Outcome::Read;
  }
  if (!isLetter(*at_)) return Outcome::Refused;
  return field == 'X' || field == 'x' ? Outcome::Unsure : takeZoneName(field);
}

Outcome Reader::readStep(const Step& step, const std::string& literals) {
  int64_t ignored = 0;
  const auto outcome = [](bool read) { return read ? Outcome::Read : Outcome::Refused; };
  switch (step.field) {
    case FixedDatePattern::kLiteral:
      return outcome(takeLiteral(std::string_view(literals).substr(step.at, step.length)));
    case FixedDatePattern::kBlank: return outcome(takeBlanks());
    case 'S': return outcome(takeFraction(step));
    case 'a': return outcome(takeHalf());
    case 'E': return outcome(takeName(kWeekdays, {9, 3, 2, 1}, ignored));
    case 'z':
    case 'Z':
    case 'X':
    case 'x': return takeZone(step.field);
    default: break;
  }
  if (step.field != 'M' || step.count <= 2) return outcome(storeNumber(step));
  if (!takeName(kMonths, {9, 3}, month_)) return Outcome::Refused;
  ++month_;
  return Outcome::Read;
}

bool isLeap(int64_t year, bool proleptic) {
  return proleptic ? year % 4 == 0 && (year % 100 != 0 || year % 400 == 0) : isLeapYear(year);
}

Outcome Reader::finish(const FixedDatePattern::Options& options, int64_t& milliseconds) const {
  const int64_t lastDay =
      month_ == 2 ? (isLeap(year_, options.proleptic) ? 29 : 28) : lengthOfMonth(year_, month_);
  if (day_ > lastDay) return Outcome::Refused;
  if (year_ > kLastYear) return Outcome::Unsure;
  // A name stands for a place's clocks, which had other offsets once and may have again.
  if (offsetByName_ && (year_ < 1970 || year_ > 2030)) return Outcome::Unsure;
  const int64_t day =
      options.proleptic ? gregorianDayNumber(year_, month_, day_) : dayNumber(year_, month_, day_);
  const int64_t local = day * kSecondsPerDay + (hour_ + (afternoon_ ? 12 : 0)) * 3600 + minute_ * 60 + second_;
  int64_t time = local - offset_;
  if (!hasOffset_ && options.zone) {
    const ZoneTable::Resolved resolved = options.zone->resolve(local);
    if (resolved.how == ZoneTable::Local::Skipped) return Outcome::Refused;
    time = resolved.time;
  }
  milliseconds = time * 1000 + millisecond_;
  return Outcome::Read;
}

// A date on its way into a text.
struct Written {
  CivilDay day;
  int64_t weekday;  // 0 Sunday
  int64_t second;   // of the day
  int64_t millisecond;
  int64_t offset;
};

void writeNumber(std::string& text, int64_t n, size_t width) {
  char digits[24];
  char* at = digits + sizeof digits;
  do {
    *--at = static_cast<char>('0' + n % 10);
    n /= 10;
  } while (n != 0);
  const auto length = static_cast<size_t>(digits + sizeof digits - at);
  if (length < width) text.append(width - length, '0');
  text.append(at, length);
}

void writeFraction(std::string& text, int64_t millisecond, size_t width) {
  const char digits[3] = {static_cast<char>('0' + millisecond / 100),
                          static_cast<char>('0' + millisecond / 10 % 10),
                          static_cast<char>('0' + millisecond % 10)};
  text.append(digits, std::min<size_t>(width, 3));
  if (width > 3) text.append(width - 3, '0');
}

void writeOffset(std::string& text, int64_t offset, bool colon, bool minutesIfAny) {
  const int64_t minutes = std::abs(offset) / 60;
  text += offset < 0 ? '-' : '+';
  writeNumber(text, minutes / 60, 2);
  if (minutesIfAny && minutes % 60 == 0) return;
  if (colon) text += ':';
  writeNumber(text, minutes % 60, 2);
}

void writeISOOffset(std::string& text, const Step& step, int64_t offset) {
  if (step.field == 'X' && offset == 0)
    text += 'Z';
  else
    writeOffset(text, offset, step.count == 3, step.count == 1);
}

void writeZone(std::string& text, const Step& step, int64_t offset) {
  if (step.count <= 3) return writeOffset(text, offset, false, false);
  if (step.count == 5)
    return offset == 0 ? static_cast<void>(text += 'Z') : writeOffset(text, offset, true, false);
  text += "GMT";
  if (offset != 0) writeOffset(text, offset, true, false);
}

int64_t orLast(int64_t n, int64_t last) { return n == 0 ? last : n; }

void writeField(std::string& text, const Step& step, const Written& date) {
  const int64_t hour = date.second / 3600;
  const auto number = [&](int64_t n) { writeNumber(text, n, step.count); };
  switch (step.field) {
    case 'y': return step.count == 2 ? writeNumber(text, date.day.year % 100, 2) : number(date.day.year);
    case 'M': {
      if (step.count <= 2) return number(date.day.month);
      const std::string_view name = kMonths[static_cast<size_t>(date.day.month - 1)];
      text += step.count == 3 ? name.substr(0, 3) : name;
      return;
    }
    case 'E': {
      const std::string_view name = kWeekdays[static_cast<size_t>(date.weekday)];
      text += step.count <= 3 ? name.substr(0, 3) : name;
      return;
    }
    case 'd': return number(date.day.day);
    case 'H': return number(hour);
    case 'k': return number(orLast(hour, 24));
    case 'h': return number(orLast(hour % 12, 12));
    case 'K': return number(hour % 12);
    case 'm': return number(date.second / 60 % 60);
    case 's': return number(date.second % 60);
    case 'S': return writeFraction(text, date.millisecond, step.count);
    case 'a': text += hour < 12 ? "AM" : "PM"; return;
    case 'Z': return writeZone(text, step, date.offset);
    case 'X':
    case 'x': return writeISOOffset(text, step, date.offset);
    default: return;
  }
}

CivilDay civilDayIn(bool proleptic, int64_t number) {
  if (!proleptic || number >= kGregorianStart) return civilDay(number);
  // The cycle of 400 years is the same everywhere.
  constexpr int64_t kCycle = 146097;
  const int64_t cycles = floorDivide(number - kGregorianStart, kCycle);
  CivilDay day = civilDay(number - cycles * kCycle);
  day.year += cycles * 400;
  return day;
}

// The part of a field that may be there once; 0 for what is no plain field.
char slotOf(char letter) {
  constexpr std::string_view kFields = "yMdHkhKmsSaEzZXx", kSlots = "yMdHHHHmsSaEzzzz";
  const size_t at = kFields.find(letter);
  return at == std::string_view::npos ? '\0' : kSlots[at];
}

}  // namespace

bool FixedDatePattern::addField(char letter, size_t count) {
  if (letter == 'L') letter = 'M';
  if (slotOf(letter) == 0 || count > 9) return false;
  const bool tooLong = (letter == 'M' && count > 4) || (letter == 'E' && count > 4) ||
                       (letter == 'a' && count > 3) || (letter == 'z' && count > 3) ||
                       (letter == 'Z' && count > 5) || ((letter == 'X' || letter == 'x') && count > 3) ||
                       (std::string_view("dHkhKms").find(letter) != std::string_view::npos && count > 2);
  if (tooLong) return false;
  for (const Step& step : steps_)
    if (slotOf(step.field) == slotOf(letter)) return false;
  steps_.push_back({letter, static_cast<uint8_t>(count), false, 0, 0});
  return true;
}

// Blanks and other characters make steps of their own.
void FixedDatePattern::addLiteral(char c) {
  const char kind = isBlank(c) ? kBlank : kLiteral;
  if (steps_.empty() || steps_.back().field != kind)
    steps_.push_back({kind, 0, false, static_cast<uint16_t>(literals_.size()), 0});
  literals_ += c;
  ++steps_.back().length;
}

bool FixedDatePattern::finish() {
  std::string fields;
  for (size_t i = 0; i < steps_.size(); ++i) {
    Step& step = steps_[i];
    const auto isNumber = [&](size_t j) {
      return j < steps_.size() && isNumeric(steps_[j].field, steps_[j].count);
    };
    if (step.field != kLiteral && step.field != kBlank) fields += step.field;
    step.touches = isNumber(i) && (isNumber(i + 1) || (i > 0 && isNumber(i - 1)));
    // Without a width of its own such a field cannot be told from the next.
    if (step.touches && step.count == 1) return false;
  }
  const auto has = [&](const char* any) { return fields.find_first_of(any) != std::string::npos; };
  if (has("a") && !has("hK")) return false;
  endStep_ = steps_.size();
  while (firstStep_ < endStep_ && steps_[firstStep_].field == kBlank) ++firstStep_;
  while (endStep_ > firstStep_ && steps_[endStep_ - 1].field == kBlank) --endStep_;
  return !fields.empty();
}

std::unique_ptr<FixedDatePattern> FixedDatePattern::compile(std::u16string_view pattern) {
  std::unique_ptr<FixedDatePattern> compiled(new FixedDatePattern);
  if (pattern.size() > kLongestPattern) return nullptr;
  bool quoted = false;
  for (size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] == 0 || pattern[i] > 0x7E) return nullptr;
    const char c = static_cast<char>(pattern[i]);
    if (c == '\'') {
      const bool twice = i + 1 < pattern.size() && pattern[i + 1] == '\'';
      if (twice) compiled->addLiteral('\'');
      i += twice;
      quoted ^= !twice;
    } else if (quoted || !isLetter(c)) {
      compiled->addLiteral(c);
    } else {
      const size_t end = std::min(pattern.find_first_not_of(pattern[i], i), pattern.size());
      if (!compiled->addField(c, end - i)) return nullptr;
      i = end - 1;
    }
  }
  if (!compiled->finish()) return nullptr;
  return compiled;
}

const FixedDatePattern* FixedDatePattern::forPattern(const std::u16string& pattern) {
  struct Cache {
    std::shared_mutex mutex;  // guards patterns
    std::unordered_map<std::u16string, std::unique_ptr<FixedDatePattern>> patterns;
  };
  static Cache* const cache = new Cache;  // never destroyed: dates are written until the very end
  {
    const std::shared_lock lock(cache->mutex);
    const auto found = cache->patterns.find(pattern);
    if (found != cache->patterns.end()) return found->second.get();
  }
  const std::unique_lock lock(cache->mutex);
  if (cache->patterns.size() >= kKeptPatterns || pattern.size() > kLongestPattern) return nullptr;
  return cache->patterns.try_emplace(pattern, compile(pattern)).first->second.get();
}

Outcome FixedDatePattern::read(std::string_view text, const Options& options, int64_t& milliseconds) const {
  Reader reader(text);
  for (size_t i = firstStep_; i < endStep_; ++i) {
    const Outcome outcome = reader.readStep(steps_[i], literals_);
    if (outcome != Outcome::Read) return outcome;
  }
  return reader.atEnd() ? reader.finish(options, milliseconds) : Outcome::Refused;
}

bool FixedDatePattern::write(int64_t milliseconds, const Options& options, std::string& text) const {
  const int64_t time = floorDivide(milliseconds, 1000);
  const int64_t offset = options.zone ? options.zone->offsetAt(time) : 0;
  const int64_t day = floorDivide(time + offset, kSecondsPerDay);
  const Written date{civilDayIn(options.proleptic, day), weekdayOf(day) - 1,
                     time + offset - day * kSecondsPerDay, milliseconds - time * 1000, offset};
  if (date.day.year < 1 || offset % 60 != 0) return false;
  const size_t before = text.size();
  for (const Step& step : steps_) {
    if (step.field == kLiteral || step.field == kBlank) {
      text.append(literals_, step.at, step.length);
    } else if (step.field != 'z') {
      writeField(text, step, date);
    } else if (options.zone && options.zone->isFixed()) {
      text += options.zone->name();
    } else {
      text.resize(before);  // the names of places' zones are the general formatter's
      return false;
    }
  }
  return true;
}
