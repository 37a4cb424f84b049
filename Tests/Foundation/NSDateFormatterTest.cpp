#include "Platform/Foundation/Dates/NSDateFormatter.h"

#include <gtest/gtest.h>
#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>

#include <memory>
#include <random>
#include <thread>

#include "Tests/Support/Zones.h"

using namespace orv;

namespace {

NSDate since1970(double seconds) { return NSDate::dateWithTimeIntervalSince1970(seconds); }

Ref<NSDateFormatter> formatter(const char* pattern, const char* zone = "GMT",
                               const char* locale = "en_US_POSIX") {
  const Ref<NSDateFormatter> f = make<NSDateFormatter>();
  f->setLocale(NSLocale::localeWithLocaleIdentifier(locale));
  f->setTimeZone(NSTimeZone::timeZoneWithName(zone));
  f->setDateFormat(pattern);
  return f;
}

// The date in ISO form, or "nil".
std::string read(const char* pattern, const NSString& text, const char* zone = "GMT",
                 const char* locale = "en_US_POSIX") {
  const NSDate date = formatter(pattern, zone, locale)->dateFromString(text);
  return date.isNil() ? "nil" : date.ISO8601String().utf8();
}

std::string write(const char* pattern, double since1970Seconds, const char* zone = "GMT",
                  const char* locale = "en_US_POSIX") {
  return formatter(pattern, zone, locale)->stringFromDate(since1970(since1970Seconds)).utf8();
}

constexpr double kSample = 1600000000;  // 2020-09-13 12:26:40 GMT, a Sunday

// ICU with our rules around it: another pattern for reading, the defaults, and nothing left unread.
class Peer {
 public:
  Peer(const char* pattern, const char* readingPattern, const char* zone)
      : writer_(make(pattern, zone)),
        reader_(make(readingPattern, zone)),
        defaults_(reader_->getCalendar()->clone()) {
    defaults_->clear();
    defaults_->set(2000, 0, 1, 0, 0, 0);
    defaults_->set(UCAL_MILLISECOND, 0);
  }
  std::string write(double milliseconds) const {
    icu::UnicodeString text;
    std::string utf8;
    writer_->format(milliseconds, text);
    return text.toUTF8String(utf8);
  }
  bool read(const std::string& text, double& milliseconds) const {
    const size_t first = text.find_first_not_of(" \t\n\v\f\r"), last = text.find_last_not_of(" \t\n\v\f\r");
    if (first == std::string::npos) return false;
    const icu::UnicodeString whole = icu::UnicodeString::fromUTF8(text.substr(first, last - first + 1));
    const std::unique_ptr<icu::Calendar> calendar(defaults_->clone());
    icu::ParsePosition position(0);
    UErrorCode status = U_ZERO_ERROR;
    reader_->parse(whole, *calendar, position);
    milliseconds = calendar->getTime(status);
    return position.getIndex() == whole.length() && position.getErrorIndex() < 0 && U_SUCCESS(status);
  }

 private:
  static std::unique_ptr<icu::SimpleDateFormat> make(const char* pattern, const char* zone) {
    UErrorCode status = U_ZERO_ERROR;
    auto format = std::make_unique<icu::SimpleDateFormat>(pattern, icu::Locale("en_US_POSIX"), status);
    format->adoptTimeZone(icu::TimeZone::createTimeZone(zone));
    format->setLenient(false);
    auto* calendar = format->getCalendar()->clone();
    calendar->setRepeatedWallTimeOption(UCAL_WALLTIME_FIRST);
    format->adoptCalendar(calendar);
    UErrorCode ignored = U_ZERO_ERROR;
    icu::GregorianCalendar start(1950, 0, 1, ignored);
    start.setTimeZone(format->getTimeZone());
    format->set2DigitYearStart(start.getTime(ignored), ignored);
    return format;
  }
  std::unique_ptr<icu::SimpleDateFormat> writer_, reader_;
  std::unique_ptr<icu::Calendar> defaults_;
};

struct PatternPair {
  const char* pattern;
  const char* reading;
};
// Patterns that are compiled, with the form in which ICU reads as leniently as we promise.
constexpr PatternPair kCompiled[] = {
    {"EEE, d MMM yyyy HH:mm:ss zzz", "EEE, d MMM yyyy H:m:s zzz"},
    {"d MMM yyyy HH:mm zzz", "d MMM yyyy H:m zzz"},
    {"yyyy'-'MM'-'dd'T'HH':'mm':'ssZZZ", "yyyy'-'M'-'d'T'H':'m':'sZZZ"},
    {"yyyy'-'MM'-'dd'T'HH':'mm':'ss.SSSZZZ", "yyyy'-'M'-'d'T'H':'m':'s.SSSZZZ"},
    {"yyyy-MM-dd'T'HH:mm:ss.SSSZ", "yyyy-M-d'T'H:m:s.SSSZ"},
    {"yyyy-MM-dd HH:mm:ss", "yyyy-M-d H:m:s"},
    {"yyyyMMddHHmmss", "yyyyMMddHHmmss"},
    {"MM/dd/yy h:mm a", "M/d/yy h:m a"},
    {"EEEE, MMMM d, y hh:mm:ss a", "EEEE, MMMM d, y h:m:s a"},
    {"dd.MM.yyyy 'at' kk:mm", "d.M.yyyy 'at' k:m"},
    {"K:mm a yyyy-MM-dd", "K:m a yyyy-M-d"},
    {"yyyy-MM-dd'T'HH:mm:ssZZZZZ", "yyyy-M-d'T'H:m:sZZZZZ"},
    {"yyyy-MM-dd'T'HH:mm:ssXXX", "yyyy-M-d'T'H:m:sXXX"},
    {"yyyy-MM-dd'T'HH:mmx", "yyyy-M-d'T'H:mx"},
};

class TextSource {
 public:
  explicit TextSource(uint64_t seed) : engine_(seed) {}

  int64_t of(int64_t low, int64_t high) { return std::uniform_int_distribution<int64_t>(low, high)(engine_); }
  double time() { return static_cast<double>(of(-62000000000000, 253000000000000)); }

  std::string mutated(std::string text) {
    for (int64_t n = of(0, 3); n > 0; --n) mutateOnce(text);
    return text;
  }

 private:
  void mutateOnce(std::string& text) {
    constexpr std::string_view kLetters = "0123456789 -:+.,/TtZzGMUCESDPAamp";
    if (text.empty()) return;
    const auto at = static_cast<size_t>(of(0, static_cast<int64_t>(text.size()) - 1));
    const char c = kLetters[static_cast<size_t>(of(0, static_cast<int64_t>(kLetters.size()) - 1))];
    switch (of(0, 5)) {
      case 0: text[at] = c; break;
      case 1: text.insert(at, 1, c); break;
      case 2: text.erase(at, 1); break;
      case 3: text.insert(at, 1, text[at]); break;
      case 4: text.resize(at); break;
      default: text[at] = static_cast<char>(text[at] ^ ((text[at] | 0x20) >= 'a' ? 0x20 : 0x01)); break;
    }
  }
  std::mt19937_64 engine_;
};

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Texts on which ICU does what nobody asks for: exponents ("1e1" as 10), more digits than its numbers hold, and
// the re-dividing of digits that were to be read at fixed widths.
bool isBeyondPeer(const std::string& text, bool fixedWidths) {
  size_t run = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    run = isDigit(text[i]) ? run + 1 : 0;
    if (run > 9 && !(fixedWidths && run <= 14)) return true;
    if (i > 0 && (text[i] == 'E' || text[i] == 'e') && (isDigit(text[i - 1]))) return true;
  }
  if (!fixedWidths) return false;
  return text.size() != 14 || run != 14;
}

// "10:-0" as 10:00: another of ICU's readings that is not ours.
bool hasNegativeZero(const std::string& text) {
  for (size_t i = text.find("-0"); i != std::string::npos; i = text.find("-0", i + 1))
    if (i == 0 || !isDigit(text[i - 1])) return true;
  return false;
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kTexts = 40000;
#else
constexpr int kTexts = 1050000;
#endif

}  // namespace

TEST(NSDateFormatter, ReadsStrictly) {
  struct Case {
    const char* pattern;
    const char* text;
    const char* date;
  };
  const Case cases[] = {
      {"yyyy-MM-dd", "2020-01-02", "2020-01-02T00:00:00.000Z"},
      {"yyyy-MM-dd", "2020-01-02x", "nil"},
      {"yyyy-MM-dd", "2018-03-09T10:25", "nil"},
      {"yyyy-MM-dd", " 2020-01-02 ", "2020-01-02T00:00:00.000Z"},
      {"yyyy-MM-dd", "\t2020-01-02\r\n", "2020-01-02T00:00:00.000Z"},
      {"yyyy-MM-dd", "2020-1-2", "2020-01-02T00:00:00.000Z"},
      {"yyyy-MM-dd", "2020- 1-02", "2020-01-02T00:00:00.000Z"},
      {"yyyy-MM-dd", "12020-01-02", "12020-01-02T00:00:00.000Z"},
      {"yyyy-MM-dd", "+2020-01-02", "nil"},
      {"yyyy-MM-dd", "-2020-01-02", "nil"},
      {"yyyy-MM-dd", "2020/01/02", "nil"},
      {"yyyy-MM-dd", "2020-02-30", "nil"},
      {"yyyy-MM-dd", "2020-13-01", "nil"},
      {"yyyy-MM-dd", "2020-01-32", "nil"},
      {"yyyy-MM-dd", "2021-02-29", "nil"},
      {"yyyy-MM-dd", "", "nil"},
      {"yyyy-MM-dd", "   ", "nil"},
      {"yyyyMMdd", "20200131", "2020-01-31T00:00:00.000Z"},
      {"yyyyMMdd", "2020131", "nil"},
      {"yyyyMMdd", "120200131", "nil"},
      {"yy-MM-dd", "49-01-01", "2049-01-01T00:00:00.000Z"},
      {"yy-MM-dd", "50-01-01", "1950-01-01T00:00:00.000Z"},
      {"yy-MM-dd", "2020-01-01", "2020-01-01T00:00:00.000Z"},
      {"HH:mm:ss", "4:0:0", "2000-01-01T04:00:00.000Z"},
      {"HH:mm", "10:30", "2000-01-01T10:30:00.000Z"},
      {"HH:mm", "24:00", "nil"},
      {"HH:mm", "10:60", "nil"},
      {"HH:mm:ss", "10:00:60", "nil"},
      {"h:mm a", "17:00 PM", "nil"},
      {"h:mm a", "5:07pm", "nil"},
      {"h:mm a", "5:07 pm", "2000-01-01T17:07:00.000Z"},
      {"h:mm a", "12:00 am", "2000-01-01T00:00:00.000Z"},
      {"h:mm a", "12:00 PM", "2000-01-01T12:00:00.000Z"},
      {"kk:mm", "24:10", "2000-01-01T00:10:00.000Z"},
      {"EEE, d MMM yyyy", "TUE,10 JUN 2003", "nil"},
      {"EEE, d MMM yyyy", "TUE,  10   JUN 2003", "2003-06-10T00:00:00.000Z"},
      {"EEE, d MMM yyyy", "TUESDAY, 10 JUNE 2003", "2003-06-10T00:00:00.000Z"},
      {"EEE, d MMM yyyy", "MON, 10 Jun 2003", "2003-06-10T00:00:00.000Z"},
      {"d MMM yyyy", "31 Jun 2003", "nil"},
      {"yyyy-MM-dd'T'HH", "2020-01-02t03", "nil"},
      {"ss.SSS", "05.1", "2000-01-01T00:00:05.100Z"},
      {"ss.SSS", "05.123456", "2000-01-01T00:00:05.123Z"},
      {"ss.SSS", "05.12345678901234567890", "2000-01-01T00:00:05.123Z"},
      {"ss.SSS", "05", "nil"},
      {"ss", "05.5", "nil"},
      {"d", "1e1", "nil"},
      {"yyyy", "0000", "nil"},
      {"EEE, d MMM yyyy HH:mm:ss zzz", "TUE, 10 JUN 2003 04:00:00 GMT", "2003-06-10T04:00:00.000Z"},
      {"EEE, d MMM yyyy HH:mm:ss zzz", "TUE, 10 JUN 2003 04:00:00 +0200", "2003-06-10T02:00:00.000Z"},
      {"EEE, d MMM yyyy HH:mm:ss zzz", "TUE, 10 JUN 2003 04:00:00 EST", "2003-06-10T09:00:00.000Z"},
      {"EEE, d MMM yyyy HH:mm:ss zzz", "TUE, 10 JUN 2003 04:00:00 CET", "nil"},
      {"d MMM yyyy HH:mm zzz", "10 JUN 2003 04:00 +0200", "2003-06-10T02:00:00.000Z"},
      {"d MMM yyyy HH:mm zzz", "10 JUN 2003 04:00 GMT+2", "2003-06-10T02:00:00.000Z"},
      {"d MMM yyyy HH:mm zzz", "10 JUN 2003 04:00 GMT+02:00", "2003-06-10T02:00:00.000Z"},
      {"HH:mm Z", "10:30 +2400", "nil"},
      {"HH:mm Z", "10:30 +02", "2000-01-01T08:30:00.000Z"},
      {"HH:mm Z", "10:30 UT", "2000-01-01T10:30:00.000Z"},
      {"yyyy-MM-dd'T'HH:mm:ss.SSSZ", "2020-01-02T03:04:05.678Z", "2020-01-02T03:04:05.678Z"},
      {"yyyy-MM-dd'T'HH:mm:ss.SSSZ", "2020-01-02T03:04:05.678z", "2020-01-02T03:04:05.678Z"},
      {"yyyy-MM-dd'T'HH:mm:ss.SSSZ", "2020-01-02T03:04:05.678+0000", "2020-01-02T03:04:05.678Z"},
      {"yyyy-MM-dd'T'HH:mm:ss.SSSZ", "2020-01-02T03:04:05.678+00:00", "2020-01-02T03:04:05.678Z"},
      {"yyyy-MM-dd'T'HH:mm:ss.SSSZ", "2020-01-02T03:04:05.678", "nil"},
      {"yyyy-MM-dd'T'HH:mm:ss.SSSZ", "2020-01-02T03:04:05Z", "nil"},
      {"foo", "2020", "nil"},
      {"", "2020", "nil"},
      {"D yyyy", "60 2024", "2024-02-29T00:00:00.000Z"},  // the general formatter's fields, too
  };
  for (const Case& c : cases) {
    EXPECT_EQ(read(c.pattern, c.text), c.date) << c.pattern << " | " << c.text;
  }
  EXPECT_EQ(read("HH:mm", nil), "nil");
}

TEST(NSDateFormatter, WritesPatterns) {
  struct Case {
    const char* pattern;
    const char* text;
  };
  for (const Case& c : {Case{"'HH':'mm':'ss'", "HH:mm:ss"},
                        Case{"yyyy'-'MM'-'dd' 'HH':'mm':'ss'", "2020-09-13 12:26:40"},
                        Case{"yyyy'-'MM'-'dd'", "2020-09-13"},
                        Case{"'unterminated yyyy", "unterminated yyyy"},
                        Case{"'", ""},
                        Case{"''", "'"},
                        Case{"HH 'o''clock'", "12 o'clock"},
                        Case{"foo", ""},
                        Case{"", ""},
                        Case{"y yy yyyy yyyyy", "2020 20 2020 02020"},
                        Case{"M MM MMM MMMM", "9 09 Sep September"},
                        Case{"EEE EEEE", "Sun Sunday"},
                        Case{"h:mm a", "12:26 PM"},
                        Case{"SSS SSSSSS", "000 000000"},
                        Case{"Z ZZZZ ZZZZZ", "+0000 GMT Z"},
                        Case{"X XX XXX x xx xxx", "Z Z Z +00 +0000 +00:00"},
                        Case{"zzz", "GMT"},
                        Case{"D w", "257 38"},
                        Case{"QQQ", "Q3"},
                        Case{"d. \u00e4", "13. \u00e4"}})
    EXPECT_EQ(write(c.pattern, kSample), c.text) << c.pattern;
  EXPECT_EQ(write("SSS", 0.9999), "999");
  EXPECT_EQ(write("zzz Z", kSample, "America/New_York"), "EDT -0400");
  EXPECT_EQ(write("zzz Z ZZZZZ X", kSample, "GMT-3:30"), "GMT-3:30 -0330 -03:30 -0330");
  EXPECT_TRUE(formatter("yyyy")->stringFromDate(nil).isNil());
  EXPECT_EQ(write("yyyy", 1e300), "");
  EXPECT_EQ(write("yyyy G", -62200000000), "0003 BC");
}

TEST(NSDateFormatter, StylesFollowTheLocale) {
  struct Case {
    const char* locale;
    NSDateFormatterStyle date, time;
    const char* text;
  };
  constexpr auto kNone = NSDateFormatterNoStyle, kShort = NSDateFormatterShortStyle,
                 kMedium = NSDateFormatterMediumStyle, kLong = NSDateFormatterLongStyle,
                 kFull = NSDateFormatterFullStyle;
  const Case cases[] = {{"en_US", kShort, kNone, "9/13/20"},
                        {"en_US", kNone, kShort, "12:26 PM"},
                        {"en_US", kShort, kShort, "9/13/20, 12:26 PM"},
                        {"en_US", kMedium, kNone, "Sep 13, 2020"},
                        {"en_US", kMedium, kMedium, "Sep 13, 2020, 12:26:40 PM"},
                        {"en_US", kLong, kNone, "September 13, 2020"},
                        {"en_US", kFull, kNone, "Sunday, September 13, 2020"},
                        {"en_US", kLong, kLong, "September 13, 2020 at 12:26:40 PM GMT"},
                        {"de_DE", kShort, kNone, "13.09.20"},
                        {"de_DE", kNone, kShort, "12:26"},
                        {"de_DE", kShort, kShort, "13.09.20, 12:26"},
                        {"de_DE", kMedium, kNone, "13.09.2020"},
                        {"de_DE", kMedium, kMedium, "13.09.2020, 12:26:40"},
                        {"de_DE", kFull, kNone, "Sonntag, 13. September 2020"},
                        {"en_GB", kMedium, kNone, "13 Sept 2020"},
                        {"fr_FR", kShort, kShort, "13/09/2020 12:26"},
                        {"fr_FR", kMedium, kNone, "13 sept. 2020"},
                        {"en_US", kNone, kNone, ""}};
  for (const Case& c : cases) {
    const Ref<NSDateFormatter> f = make<NSDateFormatter>();
    f->setLocale(NSLocale::localeWithLocaleIdentifier(c.locale));
    f->setTimeZone(NSTimeZone::timeZoneWithName("GMT"));
    f->setDateStyle(c.date);
    f->setTimeStyle(c.time);
    EXPECT_EQ(f->stringFromDate(since1970(kSample)), NSString(c.text)) << c.locale << c.date << c.time;
  }
  const Setting all("LC_ALL", "en_US");
  EXPECT_EQ(NSDateFormatter::localizedStringFromDate(since1970(kSample), kShort, kNone), NSString("9/13/20"));
}

TEST(NSDateFormatter, SettingsAreKept) {
  const Ref<NSDateFormatter> f = make<NSDateFormatter>();
  EXPECT_EQ(f->dateFormat(), NSString(""));
  EXPECT_EQ(f->locale(), NSLocale::currentLocale());
  EXPECT_EQ(f->timeZone(), NSTimeZone::localTimeZone());
  EXPECT_FALSE(f->isLenient());
  EXPECT_EQ(f->className(), NSString("NSDateFormatter"));
  f->setDateFormat("yyyy");
  f->setDateStyle(static_cast<NSDateFormatterStyle>(17));
  EXPECT_EQ(f->dateFormat(), NSString("yyyy"));
  f->setDateStyle(NSDateFormatterShortStyle);
  EXPECT_EQ(f->dateStyle(), NSDateFormatterShortStyle);
  EXPECT_EQ(f->timeStyle(), NSDateFormatterNoStyle);
  f->setLocale(NSLocale::localeWithLocaleIdentifier("de_DE"));
  EXPECT_EQ(f->dateFormat(), NSString("dd.MM.yy"));
}

TEST(NSDateFormatter, OpenSettingsFollowTheEnvironment) {
  const Ref<NSDateFormatter> f = make<NSDateFormatter>();
  f->setDateFormat("yyyy-MM-dd HH:mm");
  EXPECT_EQ(f->stringFromDate(since1970(kSample)), NSString("2020-09-13 12:26"));
  const Setting tz("TZ", "Asia/Kolkata");
  EXPECT_EQ(f->stringFromDate(since1970(kSample)), NSString("2020-09-13 17:56"));
  EXPECT_EQ(f->dateFromString("2020-09-13 17:56"), since1970(kSample - 40));
}

TEST(NSDateFormatter, LenientReadingCarries) {
  const Ref<NSDateFormatter> f = formatter("yyyy-MM-dd");
  f->setLenient(true);
  EXPECT_TRUE(f->isLenient());
  EXPECT_EQ(f->dateFromString("2003-02-31").ISO8601String(), NSString("2003-03-03T00:00:00.000Z"));
}

TEST(NSDateFormatter, TwoDigitYearsFollowTheirStart) {
  const Ref<NSDateFormatter> f = formatter("yy-MM-dd");
  EXPECT_EQ(f->twoDigitStartDate(), since1970(-631152000));
  f->setTwoDigitStartDate(since1970(0));
  EXPECT_EQ(f->dateFromString("69-01-01").ISO8601String(), NSString("2069-01-01T00:00:00.000Z"));
  EXPECT_EQ(f->dateFromString("70-01-01").ISO8601String(), NSString("1970-01-01T00:00:00.000Z"));
}

TEST(NSDateFormatter, TheJulianCalendarCountsBefore1582) {
  const Ref<NSDateFormatter> f = formatter("yyyy-MM-dd");
  const NSDate date = f->dateFromString("1582-10-04");
  EXPECT_EQ(date.dateByAddingTimeInterval(86400), f->dateFromString("1582-10-15"));
  f->setProleptic(true);
  EXPECT_TRUE(f->isProleptic());
  EXPECT_EQ(f->dateFromString("1582-10-04").dateByAddingTimeInterval(86400 * 11),
            f->dateFromString("1582-10-15"));
  EXPECT_EQ(f->dateFromString("0001-01-01"), NSDate::distantPast());
  EXPECT_EQ(f->stringFromDate(NSDate::distantPast()), NSString("0001-01-01"));
}

TEST(NSDateFormatter, SkippedTimesAreRefusedAndRepeatedOnesAreTheFirst) {
  for (const char* pattern : {"yyyy-MM-dd HH:mm", "yyyy-MM-dd HH:mm D"}) {
    const bool general = NSString(pattern).hasSuffix("D");
    const auto text = [&](const char* time, const char* dayOfYear) {
      return NSString(time) + (general ? NSString(" ") + dayOfYear : NSString(""));
    };
    EXPECT_EQ(read(pattern, text("2024-03-31 02:30", "91"), "Europe/Berlin"), "nil") << pattern;
    EXPECT_EQ(read(pattern, text("2024-10-27 02:30", "301"), "Europe/Berlin"), "2024-10-27T00:30:00.000Z")
        << pattern;
  }
}

TEST(NSDateFormatter, LocalesReadWhatTheyWrite) {
  for (const char* locale : kLocales) {
    for (const char* pattern :
         {"yyyy-MM-dd HH:mm:ss", "EEEE, d MMMM yyyy HH:mm:ss", "G yyyy MMM dd h:mm:ss a"}) {
      const Ref<NSDateFormatter> f = formatter(pattern, "Europe/Berlin", locale);
      for (double time = 0; time < 2e9; time += 123456789)
        EXPECT_EQ(f->dateFromString(f->stringFromDate(since1970(time))), since1970(time))
            << locale << " " << pattern;
    }
  }
}

TEST(NSDateFormatter, HugeTextsGiveNilInTime) {
  for (const char* pattern : {"yyyy-MM-dd", "yyyy-MM-dd D", "EEE, d MMM yyyy HH:mm:ss zzz"}) {
    for (const char* piece : {"7", " ", "Mon", "\xC3\xA4", "+"})
      EXPECT_EQ(read(pattern, NSString("").stringByPaddingToLength(3000000, piece, 0)), "nil")
          << pattern << piece;
  }
  const std::u16string odd = {u'2', 0, 0xD800, 0xDC00, 0xDC00};
  EXPECT_EQ(read("yyyy", NSString(odd)), "nil");
  EXPECT_EQ(read("yyyy D", NSString(odd)), "nil");
  EXPECT_EQ(read("yyyy", NSString(std::string_view("2020\0", 5))), "nil");
}

TEST(NSDateFormatter, CompiledPatternsReadWhatICUReads) {
  TextSource source(7);
  size_t accepted = 0, compared = 0;
  const char* const zones[] = {"GMT", "Europe/Berlin", "America/Sao_Paulo"};
  for (const auto& [pattern, reading] : kCompiled) {
    for (const char* zone : zones) {
      const Peer peer(pattern, reading, zone);
      const Ref<NSDateFormatter> ours = formatter(pattern, zone);
      const bool fixedWidths = std::string_view(pattern) == "yyyyMMddHHmmss";
      for (size_t i = 0; i < static_cast<size_t>(kTexts) / std::size(kCompiled) / std::size(zones) + 1; ++i) {
        const std::string text = source.mutated(peer.write(source.time()));
        double expected = 0;
        if (isBeyondPeer(text, fixedWidths)) continue;
        const bool read = peer.read(text, expected);
        const NSDate date = ours->dateFromString(text);
        ++compared;
        accepted += read;
        if (read && date.isNil() && hasNegativeZero(text)) continue;
        ASSERT_EQ(!date.isNil(), read) << pattern << " | " << text << " | " << zone;
        if (!read) continue;
        ASSERT_EQ(std::nearbyint(date.timeIntervalSince1970() * 1000), expected)
            << pattern << " | " << text << " | " << zone;
      }
    }
  }
  EXPECT_GT(accepted, compared / 4);
  EXPECT_LT(accepted, compared);
}

TEST(NSDateFormatter, CompiledPatternsWriteWhatICUWrites) {
  TextSource source(9);
  for (const auto& [pattern, reading] : kCompiled) {
    for (const char* zone :
         {"GMT", "Europe/Berlin", "Asia/Kolkata", "Australia/Lord_Howe", "America/Sao_Paulo"}) {
      const Peer peer(pattern, reading, zone);
      for (const char* locale : {"en_US_POSIX", "en_US"}) {
        if (std::string_view(locale) == "en_US" &&
            std::string_view(pattern).find('z') != std::string_view::npos)
          continue;
        const Ref<NSDateFormatter> ours = formatter(pattern, zone, locale);
        for (int i = 0; i < kTexts / 2000; ++i) {
          const double time = source.time();
          const NSDate date = NSDate::dateWithTimeIntervalSinceReferenceDate((time - 978307200000) / 1000);
          ASSERT_EQ(ours->stringFromDate(date), NSString(peer.write(time))) << pattern << " " << zone;
        }
      }
    }
  }
}

TEST(NSDateFormatter, EightThreadsMayShareOne) {
  const Ref<NSDateFormatter> shared = formatter("EEE, d MMM yyyy HH:mm:ss zzz", "America/New_York");
  std::vector<std::thread> threads;
  std::atomic<int> wrong{0};
  for (int n = 0; n < 8; ++n) {
    threads.emplace_back([&, n] {
      const Ref<NSDateFormatter> own =
          formatter(n % 2 ? "yyyy-MM-dd HH:mm:ss Z" : "D yyyy HH:mm:ss Z", "Europe/Berlin");
      for (int i = 0; i < 300; ++i) {
        const NSDate date = since1970(n * 86400.0 * 365 + i * 4321.0);
        wrong += own->dateFromString(own->stringFromDate(date)) != date;
        wrong += shared->dateFromString(shared->stringFromDate(date)) != date;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}
