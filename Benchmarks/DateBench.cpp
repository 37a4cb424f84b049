// Dates: reading, writing and calendar steps beside Qt, GLib and ICU.

#include <benchmark/benchmark.h>
#include <glib.h>
#include <unicode/calendar.h>
#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>

#include <QDateTime>
#include <QString>
#include <QTimeZone>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "Benchmarks/Support.h"
#include "Platform/Foundation/Dates/NSDateFormatter.h"
#include "Platform/Foundation/Dates/NSLocale.h"
#include "Platform/Foundation/Dates/NSTimeZone.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSString.h"

namespace {

constexpr double kMoment = 1055217600.123;  // 2003-06-10T04:00:00.123Z
constexpr const char* kRFC3339 = "2003-06-10T04:00:00.123+02:00";
constexpr const char* kRFC822 = "Tue, 10 Jun 2003 04:00:00 GMT";
constexpr const char* kPattern = "yyyy-MM-dd HH:mm:ss";
constexpr const char* kPatternText = "2003-06-10 04:00:00";

// ---- ICU, its formats built once

std::unique_ptr<icu::SimpleDateFormat> icuFormat(const char* pattern) {
  UErrorCode status = U_ZERO_ERROR;
  auto format =
      std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString(pattern), icu::Locale("en_US_POSIX"), status);
  format->setTimeZone(*icu::TimeZone::getGMT());
  return format;
}

void writeICU(benchmark::State& state, const char* pattern) {
  const auto format = icuFormat(pattern);
  for (auto _ : state) {
    icu::UnicodeString text;
    benchmark::DoNotOptimize(format->format(kMoment * 1000, text));
  }
}

void readICU(benchmark::State& state, const char* pattern, const char* text) {
  const auto format = icuFormat(pattern);
  const icu::UnicodeString source(text);
  for (auto _ : state) {
    UErrorCode status = U_ZERO_ERROR;
    benchmark::DoNotOptimize(format->parse(source, status));
    if (U_FAILURE(status)) return state.SkipWithError("ICU refuses the text");
  }
}

// ---- Qt

void writeQt(benchmark::State& state) {
  const QDateTime date = QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(kMoment * 1000), Qt::UTC);
  for (auto _ : state) benchmark::DoNotOptimize(date.toString(Qt::ISODateWithMs));
}

void readQt(benchmark::State& state, const char* text, Qt::DateFormat format) {
  const QString source = QString::fromLatin1(text);
  if (!QDateTime::fromString(source, format).isValid()) return state.SkipWithError("Qt refuses the text");
  for (auto _ : state) benchmark::DoNotOptimize(QDateTime::fromString(source, format));
}

// ---- Ours

void writeISO(benchmark::State& state) {
  const NSDate date = NSDate::dateWithTimeIntervalSince1970(kMoment);
  for (auto _ : state) benchmark::DoNotOptimize(date.ISO8601String());
}

void readOurs(benchmark::State& state, NSDate (*read)(const NSString&), const char* text) {
  const NSString source = text;
  if (read(source).isNil()) return state.SkipWithError("the text is refused");
  for (auto _ : state) benchmark::DoNotOptimize(read(source));
}

orv::Ref<NSDateFormatter> ourFormat() {
  const auto format = orv::make<NSDateFormatter>();
  format->setLocale(NSLocale::localeWithLocaleIdentifier("en_US_POSIX"));
  format->setTimeZone(NSTimeZone::timeZoneForSecondsFromGMT(0));
  format->setDateFormat(kPattern);
  return format;
}

void readPattern(benchmark::State& state) {
  const auto format = ourFormat();
  const NSString text = kPatternText;
  for (auto _ : state) benchmark::DoNotOptimize(format->dateFromString(text));
}

void writePattern(benchmark::State& state) {
  const auto format = ourFormat();
  const NSDate date = NSDate::dateWithTimeIntervalSince1970(kMoment);
  for (auto _ : state) benchmark::DoNotOptimize(format->stringFromDate(date));
}

void readGLib(benchmark::State& state) {
  for (auto _ : state) {
    GDateTime* date = g_date_time_new_from_iso8601(kRFC3339, nullptr);
    benchmark::DoNotOptimize(date);
    g_date_time_unref(date);
  }
}

// ---- Calendar steps, in Europe/Berlin

const char* const kZone = "Europe/Berlin";

template <NSDate (NSDate::*Step)() const>
void stepOurs(benchmark::State& state) {
  ::setenv("TZ", kZone, 1);
  double moment = kMoment;
  for (auto _ : state)
    benchmark::DoNotOptimize((NSDate::dateWithTimeIntervalSince1970(moment += 3600).*Step)());
}

void dayStartQt(benchmark::State& state) {
  const QTimeZone zone(kZone);
  auto moment = static_cast<qint64>(kMoment * 1000);
  for (auto _ : state)
    benchmark::DoNotOptimize(QDateTime::fromMSecsSinceEpoch(moment += 3600000, zone).date().startOfDay(zone));
}

void monthEndQt(benchmark::State& state) {
  const QTimeZone zone(kZone);
  auto moment = static_cast<qint64>(kMoment * 1000);
  for (auto _ : state) {
    const QDate day = QDateTime::fromMSecsSinceEpoch(moment += 3600000, zone).date();
    benchmark::DoNotOptimize(QDate(day.year(), day.month(), 1).addMonths(1).startOfDay(zone).addSecs(-1));
  }
}

std::unique_ptr<icu::GregorianCalendar> icuCalendar() {
  UErrorCode status = U_ZERO_ERROR;
  return std::make_unique<icu::GregorianCalendar>(icu::TimeZone::createTimeZone(kZone), status);
}

void startOfDay(icu::Calendar& calendar) {
  for (UCalendarDateFields field : {UCAL_HOUR_OF_DAY, UCAL_MINUTE, UCAL_SECOND, UCAL_MILLISECOND})
    calendar.set(field, 0);
}

void dayStartICU(benchmark::State& state) {
  const auto calendar = icuCalendar();
  UErrorCode status = U_ZERO_ERROR;
  double moment = kMoment * 1000;
  for (auto _ : state) {
    calendar->setTime(moment += 3600000, status);
    startOfDay(*calendar);
    benchmark::DoNotOptimize(calendar->getTime(status));
  }
}

void monthEndICU(benchmark::State& state) {
  const auto calendar = icuCalendar();
  UErrorCode status = U_ZERO_ERROR;
  double moment = kMoment * 1000;
  for (auto _ : state) {
    calendar->setTime(moment += 3600000, status);
    calendar->set(UCAL_DATE, 1);
    startOfDay(*calendar);
    calendar->add(UCAL_MONTH, 1, status);
    benchmark::DoNotOptimize(calendar->getTime(status) - 1000);
  }
}

}  // namespace

BENCHMARK(writeISO)->Name("date/iso-write/ours");
BENCHMARK(writeQt)->Name("date/iso-write/qt");
BENCHMARK_CAPTURE(writeICU, iso, "yyyy-MM-dd'T'HH:mm:ss.SSS'Z'")->Name("date/iso-write/icu");
BENCHMARK_CAPTURE(readOurs, rfc3339, &NSDate::zuDateFromRFC3339String, kRFC3339)
    ->Name("date/rfc3339-parse/ours");
BENCHMARK(readGLib)->Name("date/rfc3339-parse/glib");
BENCHMARK_CAPTURE(readQt, rfc3339, kRFC3339, Qt::ISODateWithMs)->Name("date/rfc3339-parse/qt");
BENCHMARK_CAPTURE(readICU, rfc3339, "yyyy-MM-dd'T'HH:mm:ss.SSSZ", kRFC3339)->Name("date/rfc3339-parse/icu");
BENCHMARK_CAPTURE(readOurs, rfc822, &NSDate::zuDateFromRFC822String, kRFC822)->Name("date/rfc822-parse/ours");
BENCHMARK_CAPTURE(readQt, rfc822, "10 Jun 2003 04:00:00 +0000", Qt::RFC2822Date)->Name("date/rfc822-parse/qt");
BENCHMARK_CAPTURE(readICU, rfc822, "EEE, d MMM yyyy HH:mm:ss zzz", kRFC822)->Name("date/rfc822-parse/icu");
BENCHMARK(readPattern)->Name("date/pattern-parse/ours");
BENCHMARK_CAPTURE(readICU, pattern, kPattern, kPatternText)->Name("date/pattern-parse/icu");
BENCHMARK(writePattern)->Name("date/pattern-write/ours");
BENCHMARK_CAPTURE(writeICU, pattern, kPattern)->Name("date/pattern-write/icu");
BENCHMARK(stepOurs<&NSDate::dayStart>)->Name("date/day-start/ours");
BENCHMARK(dayStartQt)->Name("date/day-start/qt");
BENCHMARK(dayStartICU)->Name("date/day-start/icu");
BENCHMARK(stepOurs<&NSDate::monthEnd>)->Name("date/month-end/ours");
BENCHMARK(monthEndQt)->Name("date/month-end/qt");
BENCHMARK(monthEndICU)->Name("date/month-end/icu");

ORVANE_BENCHMARK_MAIN()
