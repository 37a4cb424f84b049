#include "Platform/Foundation/Dates/NSDateFormatter.h"

#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>

#include <cmath>
#include <mutex>
#include <string>

#include "Platform/Foundation/Dates/DateText.h"
#include "Platform/Foundation/Dates/FixedDatePattern.h"
#include "Platform/Foundation/Dates/ZoneTable.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"

using namespace orv;
using namespace orv::detail;

namespace {

constexpr double kFurthest = 1.8e17;    // ICU's dates end there, in milliseconds
constexpr size_t kLongestText = 65536;  // without the blanks at both ends
constexpr size_t kMostDigits = 300;     // in a row; ICU's time grows with their square

bool isStyle(NSInteger style) { return style >= NSDateFormatterNoStyle && style <= NSDateFormatterFullStyle; }

icu::DateFormat::EStyle icuStyle(NSDateFormatterStyle style) {
  switch (style) {
    case NSDateFormatterNoStyle: break;
    case NSDateFormatterShortStyle: return icu::DateFormat::kShort;
    case NSDateFormatterMediumStyle: return icu::DateFormat::kMedium;
    case NSDateFormatterLongStyle: return icu::DateFormat::kLong;
    case NSDateFormatterFullStyle: return icu::DateFormat::kFull;
  }
  return icu::DateFormat::kNone;
}

icu::UnicodeString icuText(const std::u16string& text) {
  return icu::UnicodeString(text.data(), static_cast<int32_t>(text.size()));
}

icu::Locale icuLocale(const NSLocale& locale) { return icu::Locale(locale.localeIdentifier().utf8().c_str()); }

// The blank before AM and PM is the plain one.
std::u16string patternOfStyles(NSDateFormatterStyle date, NSDateFormatterStyle time, const NSLocale& locale) {
  if (date == NSDateFormatterNoStyle && time == NSDateFormatterNoStyle) return {};
  const std::unique_ptr<icu::DateFormat> format(
      icu::DateFormat::createDateTimeInstance(icuStyle(date), icuStyle(time), icuLocale(locale)));
  const auto* simple = dynamic_cast<const icu::SimpleDateFormat*>(format.get());
  icu::UnicodeString pattern;
  if (simple) simple->toPattern(pattern);
  pattern.findAndReplace(icu::UnicodeString(char16_t{0x202F}), icu::UnicodeString(u' '));
  return {pattern.getBuffer(), static_cast<size_t>(pattern.length())};
}

bool isNumberField(char16_t letter, size_t count) {
  if (std::u16string_view(u"yYudHhKkmsSDFwWAgr").find(letter) != std::u16string_view::npos) return true;
  return std::u16string_view(u"MLQqec").find(letter) != std::u16string_view::npos && count <= 2;
}

// The pattern for reading: ICU's strict reading wants as many digits as there are letters, ours takes one where
// two are written; blanks at both ends count for nothing.
class ReadingPattern {
 public:
  explicit ReadingPattern(std::u16string_view pattern) : pattern_(pattern) {}

  std::u16string text() {
    while (at_ < pattern_.size()) next();
    const size_t first = out_.find_first_not_of(u' ');
    if (first == std::u16string::npos) return {};
    const size_t last = out_.find_last_not_of(u' ');
    return out_.substr(first, last - first + 1);
  }

  // Whether one of the letters is a field of it; asked after `text`.
  bool hasAnyOf(std::u16string_view letters) const {
    return fields_.find_first_of(letters) != std::u16string::npos;
  }

 private:
  static bool isLetter(char16_t c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
  size_t runAt(size_t at) const {
    size_t end = at;
    while (end < pattern_.size() && pattern_[end] == pattern_[at]) ++end;
    return end - at;
  }
  bool numberAt(size_t at) const {
    return at < pattern_.size() && isLetter(pattern_[at]) && isNumberField(pattern_[at], runAt(at));
  }
  void next() {
    const char16_t c = pattern_[at_];
    if (c == '\'') quoted_ = !quoted_;
    if (quoted_ || !isLetter(c)) {
      out_ += c;
      ++at_;
      afterNumber_ = false;
      return;
    }
    const size_t count = runAt(at_);
    const bool number = numberAt(at_), touches = afterNumber_ || numberAt(at_ + count);
    const bool relaxed =
        number && !touches && std::u16string_view(u"dMLHhKkmsDwW").find(c) != std::u16string_view::npos;
    out_.append(relaxed ? 1 : count, c);
    fields_ += c;
    at_ += count;
    afterNumber_ = number;
  }

  const std::u16string_view pattern_;
  size_t at_ = 0;
  bool quoted_ = false;
  bool afterNumber_ = false;
  std::u16string out_;
  std::u16string fields_;
};

bool hasEndlessNumber(std::u16string_view text) {
  size_t digits = 0;
  for (const char16_t c : text) {
    digits = c >= '0' && c <= '9' ? digits + 1 : 0;
    if (digits > kMostDigits) return true;
  }
  return false;
}

// What reading and writing go by, taken together under the lock.
struct Settings {
  NSLocale locale;
  NSTimeZone zone;
  std::u16string pattern;
  bool lenient = false;
  NSDate twoDigitStart;  // nil: 1950
  bool proleptic = false;
};

// A compiled pattern with all it needs: nothing in it ever goes away, so it is used outside the lock.
struct Plain {
  const FixedDatePattern* pattern = nullptr;
  FixedDatePattern::Options options;
  bool reads = false;
};

// ICU's formats for one group of settings. Not safe on two threads at once.
class GeneralFormat {
 public:
  explicit GeneralFormat(const Settings& settings);

  NSString write(int64_t milliseconds) const;
  NSDate read(std::u16string_view text) const;

 private:
  std::unique_ptr<icu::SimpleDateFormat> make(const std::u16string& pattern, const Settings& settings) const;
  void setDefaults(icu::Calendar& calendar) const;

  std::unique_ptr<icu::SimpleDateFormat> writer_, reader_;  // null for a pattern that ICU refuses
  bool daysByOtherFields_ = false;
  bool yearsByWeeks_ = false;
};

GeneralFormat::GeneralFormat(const Settings& settings) : writer_(make(settings.pattern, settings)) {
  ReadingPattern reading(settings.pattern);
  reader_ = make(reading.text(), settings);
  daysByOtherFields_ = reading.hasAnyOf(u"DwWFecYg");
  yearsByWeeks_ = reading.hasAnyOf(u"Y");
}

std::unique_ptr<icu::SimpleDateFormat> GeneralFormat::make(const std::u16string& pattern,
                                                           const Settings& settings) const {
  UErrorCode status = U_ZERO_ERROR;
  auto format = std::make_unique<icu::SimpleDateFormat>(icuText(pattern), icuLocale(settings.locale), status);
  if (U_FAILURE(status)) return nullptr;
  const std::string zone = settings.zone.name().utf8();
  format->adoptTimeZone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(zone)));
  format->setLenient(settings.lenient);
  std::unique_ptr<icu::Calendar> calendar(format->getCalendar()->clone());
  calendar->setRepeatedWallTimeOption(UCAL_WALLTIME_FIRST);
  calendar->setSkippedWallTimeOption(UCAL_WALLTIME_LAST);
  auto* gregorian = dynamic_cast<icu::GregorianCalendar*>(calendar.get());
  if (gregorian && settings.proleptic) gregorian->setGregorianChange(-kFurthest, status);
  format->adoptCalendar(calendar.release());
  const NSDate start =
      settings.twoDigitStart.isNil() ? defaultTwoDigitStart(settings.zone) : settings.twoDigitStart;
  format->set2DigitYearStart(start.timeIntervalSince1970() * 1000, status);
  return U_FAILURE(status) ? nullptr : std::move(format);
}

NSString GeneralFormat::write(int64_t milliseconds) const {
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeString text;
  if (!writer_) return "";
  writer_->format(static_cast<double>(milliseconds), text, nullptr, status);
  if (U_FAILURE(status)) return "";
  return StringFactory::fromUnits(text.getBuffer(), static_cast<size_t>(text.length()));
}

// The first of January 2000, in whatever calendar, with no other field set: a weekday read later moves nothing.
// A pattern that names the day in another way than by month and day gets no month and day to compete with.
void GeneralFormat::setDefaults(icu::Calendar& calendar) const {
  UErrorCode status = U_ZERO_ERROR;
  icu::GregorianCalendar gregorian(calendar.getTimeZone(), status);
  gregorian.clear();
  gregorian.set(2000, UCAL_JANUARY, 1, 12, 0, 0);
  calendar.setTime(gregorian.getTime(status), status);
  constexpr UCalendarDateFields kDay[] = {UCAL_ERA, UCAL_YEAR, UCAL_MONTH, UCAL_DATE};
  const size_t count = daysByOtherFields_ ? (yearsByWeeks_ ? 0 : 2) : std::size(kDay);
  int32_t values[std::size(kDay)];
  for (size_t i = 0; i < count; ++i) values[i] = calendar.get(kDay[i], status);
  calendar.clear();
  for (size_t i = 0; i < count; ++i) calendar.set(kDay[i], values[i]);
  for (const UCalendarDateFields field : {UCAL_HOUR_OF_DAY, UCAL_MINUTE, UCAL_SECOND, UCAL_MILLISECOND})
    calendar.set(field, 0);
}

NSDate GeneralFormat::read(std::u16string_view text) const {
  if (!reader_ || text.empty() || hasEndlessNumber(text)) return nil;
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::Calendar> calendar(reader_->getCalendar()->clone());
  setDefaults(*calendar);
  const icu::UnicodeString whole(false, text.data(), static_cast<int32_t>(text.size()));
  icu::ParsePosition position(0);
  reader_->parse(whole, *calendar, position);
  if (position.getErrorIndex() >= 0 || position.getIndex() != whole.length()) return nil;
  const UDate time = calendar->getTime(status);
  return U_FAILURE(status) ? NSDate() : dateOfMilliseconds(static_cast<int64_t>(std::floor(time)));
}

}  // namespace

struct NSDateFormatter::State {
  std::mutex mutex;  // guards all below; held while ICU works
  NSDateFormatterStyle dateStyle = NSDateFormatterNoStyle;
  NSDateFormatterStyle timeStyle = NSDateFormatterNoStyle;
  NSString pattern;  // nil: by the styles
  NSLocale locale;   // nil: the current one
  NSTimeZone zone;   // nil: the local one
  bool lenient = false;
  bool proleptic = false;
  NSDate twoDigitStart;

  // What was made for the settings, as they were.
  Settings made;
  Plain fixed;
  std::unique_ptr<GeneralFormat> general;
  bool isMade = false;

  Plain plain() {
    const std::lock_guard lock(mutex);
    update();
    return fixed;
  }

  // Everything from here on is called with the lock held.
  void changed() { isMade = false; }
  void update();
  GeneralFormat& generalFormat() {
    if (!general) general = std::make_unique<GeneralFormat>(made);
    return *general;
  }
};

// Follows the settings, and the environment where they are open.
void NSDateFormatter::State::update() {
  const NSLocale nowLocale = locale.isNil() ? NSLocale::currentLocale() : locale;
  const NSTimeZone nowZone = zone.isNil() ? NSTimeZone::localTimeZone() : zone;
  if (isMade && made.locale == nowLocale && made.zone == nowZone) return;
  made = {nowLocale,
          nowZone,
          pattern.isNil() ? patternOfStyles(dateStyle, timeStyle, nowLocale) : pattern.utf16(),
          lenient,
          twoDigitStart,
          proleptic};
  general.reset();
  const NSString identifier = nowLocale.localeIdentifier();
  const bool posix = identifier == NSString("en_US_POSIX"), english = identifier == NSString("en_US");
  fixed.pattern = posix || english ? FixedDatePattern::forPattern(made.pattern) : nullptr;
  fixed.options = {&zoneTable(nowZone), proleptic};
  fixed.reads = posix && !lenient && twoDigitStart.isNil();
  isMade = true;
}

NSDateFormatter::NSDateFormatter() : state_(std::make_unique<State>()) {}

NSDateFormatter::~NSDateFormatter() = default;

NSString NSDateFormatter::localizedStringFromDate(const NSDate& date, NSDateFormatterStyle dateStyle,
                                                  NSDateFormatterStyle timeStyle) {
  const Ref<NSDateFormatter> formatter = make<NSDateFormatter>();
  formatter->setDateStyle(dateStyle);
  formatter->setTimeStyle(timeStyle);
  return formatter->stringFromDate(date);
}

NSString NSDateFormatter::dateFormat() const {
  const std::lock_guard lock(state_->mutex);
  state_->update();
  return NSString(state_->made.pattern);
}

void NSDateFormatter::setDateFormat(const NSString& pattern) {
  const std::lock_guard lock(state_->mutex);
  if (pattern == state_->pattern) return;
  state_->pattern = pattern;
  state_->changed();
}

NSDateFormatterStyle NSDateFormatter::dateStyle() const {
  const std::lock_guard lock(state_->mutex);
  return state_->dateStyle;
}

NSDateFormatterStyle NSDateFormatter::timeStyle() const {
  const std::lock_guard lock(state_->mutex);
  return state_->timeStyle;
}

void NSDateFormatter::setDateStyle(NSDateFormatterStyle style) {
  const std::lock_guard lock(state_->mutex);
  if (!isStyle(style)) return;
  state_->dateStyle = style;
  state_->pattern = nil;
  state_->changed();
}

void NSDateFormatter::setTimeStyle(NSDateFormatterStyle style) {
  const std::lock_guard lock(state_->mutex);
  if (!isStyle(style)) return;
  state_->timeStyle = style;
  state_->pattern = nil;
  state_->changed();
}

NSLocale NSDateFormatter::locale() const {
  const std::lock_guard lock(state_->mutex);
  return state_->locale.isNil() ? NSLocale::currentLocale() : state_->locale;
}

void NSDateFormatter::setLocale(const NSLocale& locale) {
  const std::lock_guard lock(state_->mutex);
  state_->locale = locale;
}

NSTimeZone NSDateFormatter::timeZone() const {
  const std::lock_guard lock(state_->mutex);
  return state_->zone.isNil() ? NSTimeZone::localTimeZone() : state_->zone;
}

void NSDateFormatter::setTimeZone(const NSTimeZone& zone) {
  const std::lock_guard lock(state_->mutex);
  state_->zone = zone;
}

bool NSDateFormatter::isLenient() const {
  const std::lock_guard lock(state_->mutex);
  return state_->lenient;
}

void NSDateFormatter::setLenient(bool lenient) {
  const std::lock_guard lock(state_->mutex);
  state_->lenient = lenient;
  state_->changed();
}

NSDate NSDateFormatter::twoDigitStartDate() const {
  const std::lock_guard lock(state_->mutex);
  if (!state_->twoDigitStart.isNil()) return state_->twoDigitStart;
  return defaultTwoDigitStart(state_->zone.isNil() ? NSTimeZone::localTimeZone() : state_->zone);
}

void NSDateFormatter::setTwoDigitStartDate(const NSDate& date) {
  const std::lock_guard lock(state_->mutex);
  state_->twoDigitStart = date;
  state_->changed();
}

bool NSDateFormatter::isProleptic() const {
  const std::lock_guard lock(state_->mutex);
  return state_->proleptic;
}

void NSDateFormatter::setProleptic(bool proleptic) {
  const std::lock_guard lock(state_->mutex);
  state_->proleptic = proleptic;
  state_->changed();
}

NSString NSDateFormatter::stringFromDate(const NSDate& date) const {
  const double seconds = date.timeIntervalSince1970();
  if (date.isNil()) return nil;
  if (!(std::abs(seconds) * 1000 < kFurthest)) return "";
  const int64_t time = millisecondsOf(date);
  if (const Plain plain = state_->plain(); plain.pattern) {
    std::string text;
    if (plain.pattern->write(time, plain.options, text)) return StringFactory::ascii(text.data(), text.size());
  }
  const std::lock_guard lock(state_->mutex);
  state_->update();
  return state_->generalFormat().write(time);
}

NSDate NSDateFormatter::dateFromString(const NSString& text) const {
  if (text.isNil()) return nil;
  const Plain plain = state_->plain();
  const StringRep* rep = stringRep(text);
  if (plain.pattern && plain.reads && rep->ascii()) {
    const auto bytes = trimmedText(std::string_view(static_cast<const char*>(rep->units()), rep->length));
    int64_t time = 0;
    if (bytes.size() > kLongestText) return nil;
    const auto outcome = plain.pattern->read(bytes, plain.options, time);
    if (outcome == FixedDatePattern::Outcome::Read) return dateOfMilliseconds(time);
    if (outcome == FixedDatePattern::Outcome::Refused) return nil;
  }
  const std::u16string units = text.utf16();
  const auto rest = trimmedText(std::u16string_view(units));
  if (rest.size() > kLongestText) return nil;
  const std::lock_guard lock(state_->mutex);
  state_->update();
  return state_->generalFormat().read(rest);
}

NSString NSDateFormatter::className() const { return "NSDateFormatter"; }

NSDate orv::detail::defaultTwoDigitStart(const NSTimeZone& zone) {
  constexpr int64_t kStartOf1950 = -631152000;
  return NSDate::dateWithTimeIntervalSince1970(static_cast<double>(zoneTable(zone).timeOfLocal(kStartOf1950)));
}
