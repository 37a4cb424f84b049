#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "Platform/Foundation/Dates/NSCalendar.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSNumber.h"
#include "Tests/Support/LogLines.h"
#include "Tests/Support/Zones.h"

using namespace orv;

namespace {

using Reader = NSDate (*)(const NSString&);

std::string iso(const NSDate& date) { return date.isNil() ? "nil" : date.ISO8601String().utf8(); }

constexpr const char* kMailWarning = "Could not parse RFC822 date: \"%s\" Possibly invalid format.";
constexpr const char* kStampWarning = "Could not parse RFC3339 date: \"%s\" Possibly invalid format.";

std::string warning(const char* format, const char* text) {
  char line[400];
  std::snprintf(line, sizeof line, format, text);
  return line;
}

}  // namespace

TEST(NSDateReaders, ReadMailDates) {
  const std::pair<const char*, const char*> cases[] = {
      {"Tue, 10 Jun 2003 04:00:00 GMT", "2003-06-10T04:00:00.000Z"},
      {"tue, 10 jun 2003 04:00:00 gmt", "2003-06-10T04:00:00.000Z"},
      {"Tue, 10 Jun 2003 04:00 GMT", "2003-06-10T04:00:00.000Z"},
      {"Tue, 10 Jun 2003 04:00:00", "2003-06-10T04:00:00.000Z"},
      {"Tue, 10 Jun 2003 04:00", "2003-06-10T04:00:00.000Z"},
      {"10 Jun 2003 04:00 +0200", "2003-06-10T02:00:00.000Z"},
      {"10 Jun 2003 04:00:05 EST", "2003-06-10T09:00:05.000Z"},
      {"10 Jun 2003 04:00:05", "2003-06-10T04:00:05.000Z"},
      {"  Tue, 10 June 2003 4:0:0 PDT ", "2003-06-10T11:00:00.000Z"},
      {"Mon, 10 Jun 2003 04:00:00 GMT", "2003-06-10T04:00:00.000Z"}};
  LogLines log;
  for (const auto& [text, date] : cases) EXPECT_EQ(iso(NSDate::zuDateFromRFC822String(text)), date) << text;
  EXPECT_TRUE(log.take().empty());
}

TEST(NSDateReaders, MailDatesThatAreNoneAreLogged) {
  LogLines log;
  for (const char* text :
       {"", "Tue 10 Jun 2003 04:00:00 GMT", "Tue, 31 Jun 2003 04:00:00 GMT", "Tue, 10 Jun 2003 04:00:00 CET",
        "Tue, 10 Jun 2003 04:00:00 GMT x", "2003-06-10T04:00:00Z", "\xC3\xA4"}) {
    EXPECT_TRUE(NSDate::zuDateFromRFC822String(text).isNil()) << text;
    EXPECT_EQ(log.takeMessages(OrvLogLevelWarning), std::vector{warning(kMailWarning, text)});
  }
}

TEST(NSDateReaders, ReadInternetTimestamps) {
  const std::pair<const char*, const char*> cases[] = {
      {"2003-06-10T04:00:00Z", "2003-06-10T04:00:00.000Z"},
      {"2003-06-10t04:00:00z", "2003-06-10T04:00:00.000Z"},
      {"2003-06-10T04:00:00.123+02:00", "2003-06-10T02:00:00.123Z"},
      {"2003-06-10T04:00:00+02:00", "2003-06-10T02:00:00.000Z"},
      {"2003-06-10T04:00:00-0030", "2003-06-10T04:30:00.000Z"},
      {"2003-06-10T04:00:00.5Z", "2003-06-10T04:00:00.500Z"},
      {"2003-06-10T04:00:00", "2003-06-10T04:00:00.000Z"},
      {"0001-01-01T00:00:00Z", "0001-01-01T00:00:00.000Z"}};
  LogLines log;
  for (const auto& [text, date] : cases) EXPECT_EQ(iso(NSDate::zuDateFromRFC3339String(text)), date) << text;
  EXPECT_TRUE(log.take().empty());
  for (const char* text :
       {"", "2003-06-10", "2003-06-10T24:00:00Z", "2003-06-10T04:00:00.123", "2003-06-10 04:00:00"}) {
    EXPECT_TRUE(NSDate::zuDateFromRFC3339String(text).isNil()) << text;
    EXPECT_EQ(log.takeMessages(OrvLogLevelWarning), std::vector{warning(kStampWarning, text)});
  }
}

TEST(NSDateReaders, EitherFormIsTriedInOrder) {
  LogLines log;
  EXPECT_EQ(iso(NSDate::dateFromInternetDateTimeString("Tue, 10 Jun 2003 04:00:00 GMT")),
            "2003-06-10T04:00:00.000Z");
  EXPECT_TRUE(log.take().empty());
  EXPECT_EQ(iso(NSDate::dateFromInternetDateTimeString("2003-06-10T04:00:00Z")), "2003-06-10T04:00:00.000Z");
  EXPECT_EQ(log.takeMessages(OrvLogLevelWarning), std::vector{warning(kMailWarning, "2003-06-10T04:00:00Z")});
  EXPECT_TRUE(NSDate::dateFromInternetDateTimeString("x").isNil());
  EXPECT_EQ(log.takeMessages(OrvLogLevelWarning),
            (std::vector{warning(kMailWarning, "x"), warning(kStampWarning, "x")}));
}

TEST(NSDateReaders, ReadJSONDates) {
  LogLines log;
  EXPECT_EQ(iso(NSDate::zuDateFromJSONString("2020-01-02T03:04:05.678Z")), "2020-01-02T03:04:05.678Z");
  EXPECT_EQ(iso(NSDate::zuDateFromJSONString("2020-01-02T03:04:05.678+0100")), "2020-01-02T02:04:05.678Z");
  const NSDate date = NSDate::date();
  EXPECT_EQ(NSDate::zuDateFromJSONString(date), date);
  for (const Value& none :
       {Value(), Value(""), Value("2020-01-02T03:04:05Z"), Value("2020-01-02T03:04:05.678"), Value("x")})
    EXPECT_TRUE(NSDate::zuDateFromJSONString(none).isNil()) << none;
  EXPECT_TRUE(log.take().empty());
  EXPECT_TRUE(NSDate::zuDateFromJSONString(12).isNil());
  EXPECT_EQ(log.takeMessages(OrvLogLevelWarning), std::vector<std::string>{"Wrong class: 12"});
}

TEST(NSDateReaders, JSONDatesReadBackWhatWasWritten) {
  std::mt19937_64 random(3);
  std::uniform_int_distribution<int64_t> milliseconds(-63113904000000, 252423993599999);  // the years 1 to 9999
  for (const char* zone : kZones) {
    const Setting tz("TZ", zone);
    for (int i = 0; i < 3000; ++i) {
      const NSDate date =
          NSDate::dateWithTimeIntervalSinceReferenceDate(static_cast<double>(milliseconds(random)) / 1000);
      const NSString text = date.ISO8601String();
      ASSERT_EQ(NSDate::zuDateFromJSONString(text), date) << text;
      ASSERT_EQ(NSDate::zuDateFromRFC3339String(text), date) << text;
    }
  }
}

TEST(NSDateReaders, ReadUNIXTimestamps) {
  EXPECT_EQ(iso(NSDate::zuDateFromUNIXTimestampString("1600000000")), "2020-09-13T12:26:40.000Z");
  EXPECT_EQ(iso(NSDate::zuDateFromUNIXTimestampString("1600000000.5 or so")), "2020-09-13T12:26:40.500Z");
  EXPECT_EQ(iso(NSDate::zuDateFromUNIXTimestampString("abc")), "1970-01-01T00:00:00.000Z");
  EXPECT_EQ(iso(NSDate::zuDateFromUNIXTimestampString(nil)), "1970-01-01T00:00:00.000Z");
  EXPECT_EQ(iso(NSDate::zuDateFromUNIXTimestampObject(1600000000)), "2020-09-13T12:26:40.000Z");
  EXPECT_EQ(iso(NSDate::zuDateFromUNIXTimestampObject("1600000000")), "2020-09-13T12:26:40.000Z");
  EXPECT_EQ(iso(NSDate::zuDateFromUNIXTimestampObject(NSArray::array())), "1970-01-01T00:00:00.000Z");
  const NSDate date = NSDate::date();
  EXPECT_EQ(NSDate::zuDateFromUNIXTimestampObject(date), date);
}

TEST(NSDateReaders, ReadByAnyPattern) {
  LogLines log;
  EXPECT_EQ(iso(NSDate::zuDateFromString("29.02.2024 14:00", "dd.MM.yyyy HH:mm")), "2024-02-29T14:00:00.000Z");
  EXPECT_EQ(iso(NSDate::zuDateFromString("60 2024", "D yyyy")), "2024-02-29T00:00:00.000Z");
  EXPECT_EQ(iso(NSDate::zuDateFromString("29.02.2023", "dd.MM.yyyy")), "nil");
  EXPECT_EQ(iso(NSDate::zuDateFromString("x", "")), "nil");
  EXPECT_EQ(iso(NSDate::zuDateFromString(nil, "yyyy")), "nil");
  EXPECT_EQ(iso(NSDate::zuDateFromString("2024", nil)), "nil");
  EXPECT_TRUE(log.take().empty());
}

TEST(NSDateReaders, ReadTheFirstDateOfAnyText) {
  LogLines log;
  EXPECT_EQ(iso(NSDate::zuDateFromHumanString("meet 2020-01-02 or 2020-02-03")), "2020-01-02T12:00:00.000Z");
  EXPECT_EQ(iso(NSDate::zuDateFromHumanString("Aug 14, 2017")), "2017-08-14T12:00:00.000Z");
  for (const Value& none :
       {Value(), Value(""), Value("no date"), Value("Feb get"), Value(20200102), Value(NSArray{"2020-01-02"})})
    EXPECT_TRUE(NSDate::zuDateFromHumanString(none).isNil()) << none;
  EXPECT_TRUE(log.take().empty());
}

TEST(NSDateReaders, DoNotDependOnLocaleAndZone) {
  for (const char* locale : kLocales) {
    for (const char* zone : kZones) {
      const Setting all("LC_ALL", locale), tz("TZ", zone);
      EXPECT_EQ(iso(NSDate::zuDateFromRFC822String("Tue, 10 Jun 2003 04:00:00")), "2003-06-10T04:00:00.000Z");
      EXPECT_EQ(iso(NSDate::zuDateFromRFC3339String("2003-06-10T04:00:00")), "2003-06-10T04:00:00.000Z");
      EXPECT_EQ(iso(NSDate::zuDateFromString("Jun 2003", "MMM yyyy")), "2003-06-01T00:00:00.000Z");
    }
  }
}

TEST(NSDateReaders, EightThreadsReadAndWriteAtOnce) {
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int n = 0; n < 8; ++n) {
    threads.emplace_back([&, n] {
      for (int i = 0; i < 300; ++i) {
        const NSDate date = NSDate::dateWithTimeIntervalSince1970(n * 1e7 + i * 86461.0);
        wrong += NSDate::zuDateFromRFC822String(date.formatDate("EEE, d MMM yyyy HH:mm:ss 'GMT'", nil)) != date;
        wrong += NSDate::zuDateFromRFC3339String(date.ISO8601String()) != date;
        wrong += NSDate::zuDateFromJSONString(date.ISO8601String()) != date;
        wrong += NSDate::zuDateFromString(date.descriptionDateTime(), "yyyy-MM-dd HH:mm:ss") != date;
        wrong += NSDate::zuDateFromString(date.formatDate("D yyyy HH:mm:ss", nil), "D yyyy HH:mm:ss") != date;
        wrong += date.monthEnd() < date.monthStart();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}
