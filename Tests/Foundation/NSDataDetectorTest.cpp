#include "Platform/Foundation/Text/NSDataDetector.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Embedded/human_dates.h"
#include "Platform/Foundation/Text/Detail/FindDates.h"
#include "Tests/Support/World.h"

using namespace orv;
using orv::detail::DateMatch;
using orv::detail::DetectorContext;
using orv::detail::findDates;

namespace {

std::vector<std::string> split(std::string_view text, std::string_view separator) {
  std::vector<std::string> pieces;
  size_t from = 0;
  for (size_t at; (at = text.find(separator, from)) != std::string_view::npos; from = at + separator.size())
    pieces.emplace_back(text.substr(from, at - from));
  pieces.emplace_back(text.substr(from));
  return pieces;
}

// "2024-02-29T14:30:00.5+01:00" in seconds since 2001; the offset may have seconds.
double instant(const std::string& iso) {
  tm parts{};
  const char* rest = ::strptime(iso.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
  if (!rest) throw std::runtime_error("not a date: " + iso);
  double fraction = 0;
  if (*rest == '.') {
    char* end = nullptr;
    fraction = std::strtod(rest, &end);
    rest = end;
  }
  int hours = 0, minutes = 0, seconds = 0;
  if (*rest != 'Z') std::sscanf(rest + 1, "%d:%d:%d", &hours, &minutes, &seconds);
  const int offset = (hours * 3600 + minutes * 60 + seconds) * (*rest == '-' ? -1 : 1);
  return static_cast<double>(::timegm(&parts) - offset) + fraction - NSTimeIntervalSince1970;
}

std::string text(const NSString& s, const std::vector<DateMatch>& matches) {
  std::string all;
  for (const DateMatch& m : matches) {
    const NSDate date = NSDate::dateWithTimeIntervalSinceReferenceDate(m.date);
    all += "[" + s.substringWithRange(m.range).utf8() + "] " + date.ISO8601String().utf8() + " ";
  }
  return all.empty() ? "none" : all;
}

DetectorContext world(const char* locale = "en_US") {
  return {instant("2024-02-29T14:30:00+01:00"), "Europe/Berlin", locale};
}

std::vector<DateMatch> find(const NSString& s, const char* locale = "en_US") {
  return findDates(s, world(locale));
}

std::string matched(const NSString& s, const char* locale = "en_US") {
  const auto matches = find(s, locale);
  return matches.empty() ? "none" : s.substringWithRange(matches[0].range).utf8();
}

// The law that the fuzz target checks, too.
void expectLawful(const NSString& s, const DetectorContext& context) {
  NSUInteger end = 0;
  for (const DateMatch& m : findDates(s, context)) {
    EXPECT_GE(m.range.location, end);
    EXPECT_LE(m.range.end(), s.length());
    EXPECT_TRUE(std::isfinite(m.date));
    end = m.range.end();
    const auto alone = findDates(s.substringWithRange(m.range), context);
    ASSERT_EQ(alone.size(), 1u) << s << ": " << s.substringWithRange(m.range);
    EXPECT_EQ(alone[0].date, m.date) << s;
    EXPECT_EQ(alone[0].range, (NSRange{0, m.range.length})) << s;
  }
}

}  // namespace

TEST(NSDataDetector, FindsWhatTheCorpusSays) {
  DetectorContext context = world();
  size_t rows = 0, positives = 0;
  for (const std::string& line : split(detail::human_dates, "\n")) {
    if (line.empty() || line.starts_with("# ")) continue;
    const auto columns = split(line, "\t");
    if (columns[0] == "@") {
      context.now = instant(columns[1]);
      context.zone = columns[2];
      continue;
    }
    ASSERT_EQ(columns.size(), 4u) << line;
    ++rows;
    context.locale = columns[2];
    const NSString s(columns[0]);
    const auto matches = findDates(s, context);
    std::vector<double> expected;
    if (columns[1] != "none")
      for (const std::string& iso : split(columns[1], " & ")) expected.push_back(instant(iso));
    positives += !expected.empty();
    std::vector<double> found;
    for (const DateMatch& m : matches) found.push_back(m.date);
    EXPECT_EQ(expected.size(), found.size()) << line << "\nfound " << text(s, matches);
    for (size_t i = 0; i < std::min(found.size(), expected.size()); ++i)
      EXPECT_NEAR(expected[i], found[i], 1e-4) << line << "\nfound " << text(s, matches);
    expectLawful(s, context);
  }
  EXPECT_GE(rows, 400u);
  EXPECT_GE(positives, rows / 3);
  EXPECT_GE(rows - positives, rows / 3);
}

TEST(NSDataDetector, RangesCountCodeUnits) {
  const NSString s(u"\U0001F389 March 5, 2021 at 5pm!");
  const auto matches = find(s);
  ASSERT_EQ(matches.size(), 1u);
  EXPECT_EQ(matches[0].range, (NSRange{3, 20}));
}

TEST(NSDataDetector, RangesHoldTheDateAndNothingElse) {
  EXPECT_EQ(matched("See you on Friday."), "Friday");
  EXPECT_EQ(matched("Due 2024-03-05."), "2024-03-05");
  EXPECT_EQ(matched("at 10:30 CET (sharp)"), "10:30 CET");
  EXPECT_EQ(matched("the end of month."), "the end of month");
  EXPECT_EQ(matched("in 3 days time"), "in 3 days");
  EXPECT_EQ(matched("at 5 p.m., then"), "5 p.m.");
  EXPECT_EQ(matched("Open from 10:00 to 11:00, daily"), "10:00 to 11:00");
  EXPECT_EQ(matched("am 24.12. um 10 Uhr", "de_DE"), "24.12. um 10 Uhr");
}

TEST(NSDataDetector, NoDateSpansALineBreak) {
  EXPECT_EQ(matched("March\n5, 2021"), "none");
  EXPECT_EQ(find("March 5, 2021\n10:30").size(), 2u);
  EXPECT_EQ(find("10:30\r\n11:30").size(), 2u);
  EXPECT_EQ(matched("March" + NSString(std::string(100, ' ')) + "5"), "none");
}

TEST(NSDataDetector, SpansCarryTheirLength) {
  const struct {
    const char* text;
    double seconds;
  } cases[] = {{"5pm-6pm", 3600},
               {"from 10:00 to 11:30", 5400},
               {"March 5-7", 2 * 86400},
               {"10pm-2am", 4 * 3600},
               {"10-11am", 3600},
               {"March 5 to March 7", 2 * 86400},
               {"5pm", 0},
               {"2024-03-05", 0},
               {"March 3 from 10am to 11:30am", 5400},
               {"Friday-Sunday", 2 * 86400},
               {"March 5-7 at 5pm", 2 * 86400}};
  for (const auto& [s, seconds] : cases) {
    const auto matches = find(s);
    ASSERT_EQ(matches.size(), 1u) << s;
    EXPECT_EQ(matches[0].duration, seconds) << s;
  }
}

TEST(NSDataDetector, ZonesAreNamed) {
  const struct {
    const char* text;
    const char* zone;
  } cases[] = {{"10:30", ""},
               {"10:30 PST", "GMT-8"},
               {"10:30Z", "GMT"},
               {"10:30 GMT+2", "GMT+2"},
               {"10:30 +0530", "GMT+5:30"},
               {"10:30 Europe/London", "Europe/London"},
               {"tomorrow 5pm ET", "America/New_York"}};
  for (const auto& [s, zone] : cases) {
    const auto matches = find(s);
    ASSERT_EQ(matches.size(), 1u) << s;
    EXPECT_EQ(matches[0].zone, zone) << s;
  }
}

TEST(NSDataDetector, TheLimitEndsTheSearch) {
  const NSString s = "today tomorrow yesterday";
  EXPECT_EQ(findDates(s, world(), 2).size(), 2u);
  EXPECT_EQ(findDates(s, world(), 0).size(), 0u);
  EXPECT_EQ(findDates(s, world()).size(), 3u);
}

TEST(NSDataDetector, UnknownZonesAndLocalesAreNeutral) {
  const DetectorContext odd{0, "Nowhere/Land", "xx_YY"};
  const auto matches = findDates("2001-01-01 00:00", odd);
  ASSERT_EQ(matches.size(), 1u);
  EXPECT_EQ(matches[0].date, 0);
}

TEST(NSDataDetector, AnswersResultsInTextOrder) {
  ::setenv("TZ", "Europe/Berlin", 1);
  const auto detector = NSDataDetector::dataDetectorWithTypes(NSTextCheckingTypeDate);
  ASSERT_TRUE(detector);
  const NSArray results = detector->matchesInString("2020-01-02 or 2020-02-03T04:05:06Z");
  ASSERT_EQ(results.count(), 2u);
  const auto first = results.objectAtIndex(0).as<NSTextCheckingResult>();
  EXPECT_EQ(first->resultType(), NSTextCheckingTypeDate);
  EXPECT_EQ(first->range(), (NSRange{0, 10}));
  EXPECT_EQ(first->date().description(), NSString("2020-01-02 11:00:00 +0000"));
  EXPECT_TRUE(first->timeZone().isNil());
  EXPECT_EQ(first->duration(), 0);
  const auto second = results.objectAtIndex(1).as<NSTextCheckingResult>();
  EXPECT_EQ(second->range(), (NSRange{14, 20}));
  EXPECT_EQ(second->timeZone().secondsFromGMT(), 0);
  EXPECT_FALSE(second->timeZone().isNil());
  EXPECT_EQ(second->description(), NSString("<NSTextCheckingResult: {14, 20} 2020-02-03 04:05:06 +0000>"));
  ::setenv("TZ", "UTC", 1);
}

TEST(NSDataDetector, TheFirstMatchIsTheFirstOfAll) {
  const auto detector = NSDataDetector::dataDetectorWithTypes(NSTextCheckingTypeDate);
  EXPECT_EQ(detector->firstMatchInString("meet 2020-01-02 or 2020-02-03")->range(), (NSRange{5, 10}));
  EXPECT_FALSE(detector->firstMatchInString("no date"));
  EXPECT_FALSE(detector->firstMatchInString(nil));
  EXPECT_FALSE(detector->firstMatchInString(""));
  EXPECT_EQ(detector->matchesInString(nil).count(), 0u);
  EXPECT_FALSE(detector->matchesInString(nil).isNil());
}

TEST(NSDataDetector, ReadsTheClockOfTheCall) {
  const auto detector = NSDataDetector::dataDetectorWithTypes(NSTextCheckingTypeDate);
  const auto found = detector->firstMatchInString("in 2 hours");
  ASSERT_TRUE(found);
  EXPECT_NEAR(found->date().timeIntervalSinceNow(), 7200, 60);
}

TEST(NSDataDetector, OnlyDatesAreDetected) {
  EXPECT_FALSE(NSDataDetector::dataDetectorWithTypes(0));
  EXPECT_FALSE(NSDataDetector::dataDetectorWithTypes(NSTextCheckingTypeRegularExpression));
  EXPECT_EQ(NSDataDetector::dataDetectorWithTypes(0xFFFF)->checkingTypes(), 0xFFFFu);
}

TEST(NSDataDetector, TheYearsOfTwoDigitsMoveWithTheClock) {
  const auto year = [](const char* now) {
    const auto matches = findDates("1/2/45", {instant(now), "UTC", "en_US"});
    return NSDate::dateWithTimeIntervalSinceReferenceDate(matches.at(0).date)
        .ISO8601String()
        .utf8()
        .substr(0, 4);
  };
  EXPECT_EQ(year("2024-06-01T00:00:00Z"), "1945");
  EXPECT_EQ(year("2025-06-01T00:00:00Z"), "2045");
  EXPECT_EQ(year("1999-06-01T00:00:00Z"), "1945");
}

TEST(NSDataDetector, DecomposedNamesAreNames) {
  EXPECT_EQ(find(NSString(u"5. Ma\u0308rz 2021"), "de_DE").size(), 1u);
}

TEST(NSDataDetector, ThreadsMayAskAtOnce) {
  constexpr const char* kLocales[] = {"en_US", "de_DE", "fr_FR", "sv_SE", "pl_PL", "fi_FI"};
  std::vector<std::thread> threads;
  std::atomic<int> found = 0;
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([&] {
      for (const char* locale : kLocales)
        found += static_cast<int>(find("today, 5 March 2021 10:30 PST", locale).size());
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(found, 8 * 6 * 2);
}

// Whatever a text holds, reading takes time in proportion to its length.
TEST(NSDataDetector, AnyTextTakesLinearTime) {
  const size_t length = kSanitized ? 200'000 : 2'000'000;
  std::u16string surrogates;
  for (size_t i = 0; i < length / 4; ++i) surrogates += static_cast<char16_t>(0xD800 + i % 0x800);
  const auto repeated = [&](std::string_view piece) {
    std::string all;
    while (all.size() < length) all += piece;
    return NSString(all);
  };
  const NSString texts[] = {repeated("7"),
                            repeated("1/"),
                            repeated("10:30:"),
                            repeated("March "),
                            repeated("in 3 "),
                            repeated("a day and "),
                            repeated("March 5-"),
                            repeated("next "),
                            repeated("5 of the "),
                            repeated("to "),
                            repeated(std::string_view("\0 5", 3)),
                            repeated("1.2."),
                            repeated("2024-02-"),
                            repeated("the "),
                            NSString(surrogates)};
  for (const NSString& s : texts) {
    const std::clock_t start = std::clock();  // the time of this process: others may be busy
    find(s, "de_DE");
    EXPECT_LT((std::clock() - start) / CLOCKS_PER_SEC, 20) << s.substringToIndex(12);
  }
}

TEST(NSDataDetector, AMegabyteOfDatesIsFoundWhole) {
  std::string all;
  for (int i = 0; i < 50'000; ++i) all += "2024-02-29 14:30, ";
  EXPECT_EQ(find(NSString(all)).size(), 50'000u);
}
