#include <gtest/gtest.h>

#include <random>

#include "Orvane/OrvDays.h"
#include "Platform/Foundation/Dates/NSCalendar.h"
#include "Platform/Foundation/System/NSUserDefaults.h"
#include "Platform/Foundation/Values/NSNumber.h"
#include "Tests/Support/LogLines.h"
#include "Tests/Support/Zones.h"

using namespace orv;

namespace {

// A local time, "2024-02-29 14:00:00".
NSDate at(const char* text) {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  std::sscanf(text, "%d-%d-%d %d:%d:%d", &year, &month, &day, &hour, &minute, &second);
  NSDateComponents parts;
  parts.setYear(year);
  parts.setMonth(month);
  parts.setDay(day);
  parts.setHour(hour);
  parts.setMinute(minute);
  parts.setSecond(second);
  return NSCalendar::currentCalendar().dateFromComponents(parts);
}

std::string local(const NSDate& date) { return date.isNil() ? "nil" : date.descriptionDateTime().utf8(); }

NSDate ago(double seconds) { return NSDate::dateWithTimeIntervalSinceNow(-seconds); }

class EveryZone : public testing::TestWithParam<const char*> {
 protected:
  Setting zone_{"TZ", GetParam()};
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(NSDate, EveryZone, testing::ValuesIn(kZones));

TEST(NSDateCalendar, NilAnswersNeutrally) {
  const NSDate none;
  for (const NSDate& date : {none.dayStart(),
                             none.dayEnd(),
                             none.yesterdayStart(),
                             none.hourStart(),
                             none.minuteStart(),
                             none.minuteEnd(),
                             none.last5minutes(),
                             none.next5minutes(),
                             none.weekStart(),
                             none.weekEnd(),
                             none.monthStart(),
                             none.monthEnd(),
                             none.yearStart(),
                             none.yearEnd(),
                             none.roundToInterval(5),
                             none.dateByAddingDays(1, 1, 1),
                             none.dateByAddingMonths(1),
                             none.nextWeekDay(1, 1),
                             none.lastWorkingDayInMonthWithHourOfDay(1),
                             none.firstWorkingDayInMonthWithHourOfDay(1),
                             none.canonicalDate()})
    EXPECT_TRUE(date.isNil());
  for (const NSString& text :
       {none.formatDate(nil, nil), none.descriptionDate(), none.descriptionDateTime(), none.descriptionTime(),
        none.formatDateWithStyle(1), none.timeAgoInWords(), none.unixTimeStampString()})
    EXPECT_TRUE(text.isNil());
  for (const NSInteger n :
       {none.secondOfMinute(), none.weekOfYear(), none.yearOfCommonEra(), none.monthOfYear(), none.dayOfMonth(),
        none.dayOfWeek(), none.days(), none.daysSince(ago(0)), ago(0).daysSince(none), none.weekStartDay()})
    EXPECT_EQ(n, 0);
  EXPECT_FALSE(none.isToday() || none.isYesterday() || none.laterThan(ago(0)));
  EXPECT_TRUE(none.timeStampSeconds().isNil() && none.timeStampMilliSeconds().isNil() &&
              none.unixTimeStampObject().isNil());
}

TEST(NSDateCalendar, WritesItsForms) {
  const NSDate date = NSDate::dateWithTimeIntervalSince1970(1600000000.75);
  EXPECT_EQ(date.formatDate(nil, nil), NSString("2020-09-13 12:26:40"));
  EXPECT_EQ(date.formatDate("EEEE", NSLocale::localeWithLocaleIdentifier("de_DE")), NSString("Sonntag"));
  EXPECT_EQ(date.formatDate("EEEE", nil), NSString("Sunday"));
  EXPECT_EQ(date.descriptionDate(), NSString("2020-09-13"));
  EXPECT_EQ(date.descriptionDateTime(), NSString("2020-09-13 12:26:40"));
  EXPECT_EQ(date.descriptionTime(), NSString("HH:mm:ss"));
  EXPECT_EQ(date.ISO8601String(), NSString("2020-09-13T12:26:40.750Z"));
  EXPECT_EQ(date.timeStampSeconds(), NSNumber(1600000000));
  EXPECT_EQ(date.timeStampMilliSeconds(), NSNumber(1600000000750));
  EXPECT_EQ(date.unixTimeStampObject(), NSNumber(1600000000));
  EXPECT_STREQ(date.unixTimeStampObject().objCType(), "d");
  EXPECT_EQ(date.unixTimeStampString(), NSString("1600000000"));
  EXPECT_EQ(date.canonicalDate(), NSDate::dateWithTimeIntervalSince1970(1600000000));
  const NSDate early = NSDate::dateWithTimeIntervalSince1970(-1.5);
  EXPECT_EQ(early.canonicalDate(), NSDate::dateWithTimeIntervalSince1970(-2));
  EXPECT_EQ(early.unixTimeStampString(), NSString("-2"));
  EXPECT_EQ(early.timeStampSeconds(), NSNumber(0));
  const Setting all("LC_ALL", "en_US");
  EXPECT_EQ(date.formatDateWithStyle(1), NSString("9/13/20, 12:26 PM"));
  EXPECT_EQ(date.formatDateWithStyle(0), NSString(""));
  EXPECT_EQ(date.formatDateWithStyle(99), NSString(""));
}

TEST(NSDateCalendar, SaysTheTimeAgo) {
  constexpr double kMinute = 60, kHour = 3600, kDay = 86400;
  const std::pair<double, const char*> cases[] = {{0, "1 min"},
                                                  {29, "1 min"},
                                                  {89, "1 min"},
                                                  {91, "2 mins"},
                                                  {44.4 * kMinute, "44 mins"},
                                                  {44.6 * kMinute, "1 hour"},
                                                  {89.4 * kMinute, "1 hour"},
                                                  {90.1 * kMinute, "2 hours"},
                                                  {5 * kHour, "5 hours"},
                                                  {23 * kHour + 59.4 * kMinute, "24 hours"},
                                                  {24 * kHour, "1 day"},
                                                  {47 * kHour + 59.6 * kMinute, "2 days"},
                                                  {47 * kHour, "1 day"},
                                                  {40 * kDay, "40 days"}};
  for (const auto& [seconds, words] : cases) {
    EXPECT_EQ(ago(seconds).timeAgoInWords(), NSString(words)) << seconds;
    EXPECT_EQ(ago(-seconds).timeAgoInWords(), NSString(words)) << -seconds;
  }
  EXPECT_EQ(ago(90.001).timeAgoInWords(), NSString("2 mins"));
}

TEST(NSDateCalendar, StepsWithinTheHour) {
  struct Case {
    const char *from, *minuteStart, *minuteEnd, *last5, *next5, *hourStart;
  };
  for (const Case& c : {Case{"2024-02-29 10:15:00", "2024-02-29 10:15:00", "2024-02-29 10:15:00",
                             "2024-02-29 10:15:00", "2024-02-29 10:15:00", "2024-02-29 10:00:00"},
                        Case{"2024-02-29 10:15:40", "2024-02-29 10:15:00", "2024-02-29 10:16:00",
                             "2024-02-29 10:15:00", "2024-02-29 10:15:00", "2024-02-29 10:00:00"},
                        Case{"2024-02-29 10:16:01", "2024-02-29 10:16:00", "2024-02-29 10:17:00",
                             "2024-02-29 10:15:00", "2024-02-29 10:20:00", "2024-02-29 10:00:00"},
                        Case{"2024-02-29 23:57:10", "2024-02-29 23:57:00", "2024-02-29 23:58:00",
                             "2024-02-29 23:55:00", "2024-03-01 00:00:00", "2024-02-29 23:00:00"},
                        Case{"2024-12-31 23:59:59", "2024-12-31 23:59:00", "2025-01-01 00:00:00",
                             "2024-12-31 23:55:00", "2025-01-01 00:00:00", "2024-12-31 23:00:00"}}) {
    const NSDate date = at(c.from).dateByAddingTimeInterval(0.25);
    EXPECT_EQ(local(date.minuteStart()), c.minuteStart) << c.from;
    EXPECT_EQ(local(date.minuteEnd()), c.minuteEnd) << c.from;
    EXPECT_EQ(local(date.last5minutes()), c.last5) << c.from;
    EXPECT_EQ(local(date.next5minutes()), c.next5) << c.from;
    EXPECT_EQ(local(date.hourStart()), c.hourStart) << c.from;
  }
  EXPECT_EQ(local(at("2024-02-29 10:14:59").roundToInterval(900)), "2024-02-29 10:00:00");
  EXPECT_TRUE(std::isnan(at("2024-02-29 10:14:59").roundToInterval(0).timeIntervalSince1970()));
}

TEST(NSDateCalendar, StepsOfDaysMonthsAndYears) {
  const NSDate date = at("2024-02-29 14:00:00");
  EXPECT_EQ(local(date.dayStart()), "2024-02-29 00:00:00");
  EXPECT_EQ(local(date.dayEnd()), "2024-02-29 23:59:59");
  EXPECT_EQ(local(date.yesterdayStart()), "2024-02-28 00:00:00");
  EXPECT_EQ(local(date.monthStart()), "2024-02-01 00:00:00");
  EXPECT_EQ(local(date.yearStart()), "2024-01-01 00:00:00");
  EXPECT_EQ(local(date.yearEnd()), "2024-12-31 23:59:59");
  for (int day = 1; day <= 29; ++day)
    EXPECT_EQ(local(NSDate::dateWithYear(2024, 2, day).monthEnd()), "2024-02-29 23:59:59");
  EXPECT_EQ(local(date.dateByAddingDays(1, 1, 1)), "2025-03-29 14:00:00");
  EXPECT_EQ(local(at("2024-01-31 00:00:00").dateByAddingMonths(1)), "2024-02-29 00:00:00");
  EXPECT_EQ(local(NSDate::dateWithStartOfYear(2024, 5)), "2024-05-01 00:00:00");
  EXPECT_EQ(local(NSDate::dateWithStartOfYear(2024)), "2024-01-01 00:00:00");
  EXPECT_EQ(date.secondOfMinute(), 0);
  EXPECT_EQ(date.yearOfCommonEra(), 2024);
  EXPECT_EQ(date.monthOfYear(), 2);
  EXPECT_EQ(date.dayOfMonth(), 29);
  EXPECT_EQ(date.dayOfWeek(), 5);
  EXPECT_EQ(NSDate::currentCalendar(), NSCalendar::currentCalendar());
  EXPECT_TRUE(NSDate::dateWithYear(INT64_MAX - 1, 1, 1).isNil());
  EXPECT_TRUE(date.dateByAddingDays(INT64_MIN, 0, 0).isNil());
}

TEST(NSDateCalendar, WeeksFollowTheCalendar) {
  const NSDate date = at("2024-02-29 14:00:00");
  {
    const Setting all("LC_ALL", "en_US");
    EXPECT_EQ(local(date.weekStart()), "2024-02-25 00:00:00");
    EXPECT_EQ(local(date.weekEnd()), "2024-03-02 23:59:59");
    EXPECT_EQ(NSDate::dateWithYear(2021, 1, 1).weekOfYear(), 1);
  }
  const Setting all("LC_ALL", "de_DE");
  EXPECT_EQ(local(date.weekStart()), "2024-02-26 00:00:00");
  EXPECT_EQ(local(date.weekEnd()), "2024-03-03 23:59:59");
  EXPECT_EQ(NSDate::dateWithYear(2021, 1, 1).weekOfYear(), 53);
}

TEST(NSDateCalendar, ComparesByWholeSecondsAndDays) {
  const NSDate date = NSDate::dateWithTimeIntervalSince1970(1000.2);
  EXPECT_FALSE(NSDate::dateWithTimeIntervalSince1970(1000.9).laterThan(date));
  EXPECT_TRUE(NSDate::dateWithTimeIntervalSince1970(1001).laterThan(date));
  EXPECT_EQ(at("2024-03-02 01:00:00").daysSince(at("2024-02-28 23:00:00")), 3);
  EXPECT_EQ(at("2024-02-28 23:00:00").daysSince(at("2024-03-02 01:00:00")), -3);
  const Setting tz("TZ", "Europe/Berlin");
  EXPECT_EQ(at("2024-04-01 12:00:00").daysSince(at("2024-03-30 12:00:00")), 1);  // an hour short of two
  EXPECT_TRUE(NSDate::date().isToday());
  EXPECT_FALSE(NSDate::date().isYesterday());
  EXPECT_TRUE(NSDate::date().dateByAddingDays(-1, 0, 0).isYesterday());
  EXPECT_FALSE(NSDate::date().dateByAddingDays(-2, 0, 0).isYesterday());
}

TEST(NSDateCalendar, LaterThanAssertsItsArgument) {
  LogLines log;
  const NSDate date = NSDate::dateWithTimeIntervalSince1970(1000);
  EXPECT_TRUE(date.laterThan(nil));
  const auto lines = log.takeMessages(OrvLogLevelWarning);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_NE(lines[0].find("!!(other)"), std::string::npos);
  EXPECT_NE(lines[1].find("!!(([(other) isKindOfClass:[NSDate class]]))"), std::string::npos);
  EXPECT_TRUE(date.laterThan("text"));
  EXPECT_EQ(log.takeMessages(OrvLogLevelWarning).size(), 1u);
}

TEST(NSDateCalendar, WeekStartDayFollowsTheUserDefault) {
  const Setting all("LC_ALL", "de_DE");
  const Ref<NSUserDefaults> defaults = NSUserDefaults::standardUserDefaults();
  const NSDate date = NSDate::date();
  EXPECT_EQ(date.weekStartDay(), 2);
  const std::pair<Value, NSInteger> cases[] = {
      {"sunday", 1},   {"monday", 2}, {"thuesday", 3}, {"tuesday", INT64_MIN}, {"wednesday", 4},
      {"thursday", 5}, {"friday", 6}, {"saturday", 7}, {"Monday", INT64_MIN},  {5, INT64_MIN}};
  for (const auto& [setting, day] : cases) {
    defaults->setObjectForKey(setting, "weekStart");
    EXPECT_EQ(date.weekStartDay(), day) << setting;
  }
  defaults->removeObjectForKey("weekStart");
  EXPECT_EQ(date.weekStartDay(), 2);
}

TEST(NSDateCalendar, FindsWeekdays) {
  const NSDate thursday = at("2024-02-29 14:00:00");
  EXPECT_EQ(local(thursday.nextWeekDay(5, 8)), "2024-02-29 08:00:00");
  EXPECT_EQ(local(thursday.nextWeekDay(4, 8)), "2024-03-06 08:00:00");
  EXPECT_EQ(local(thursday.nextWeekDay(6, 24)), "2024-03-02 00:00:00");
}

TEST(NSDateCalendar, FindsWorkingDays) {
  // Months to come, always: June 2430 ends on a Sunday, August on a Saturday, July on a Wednesday.
  EXPECT_EQ(local(NSDate::dateWithYear(2430, 6, 5).lastWorkingDayInMonthWithHourOfDay(17)),
            "2430-06-28 17:00:00");
  EXPECT_EQ(local(NSDate::dateWithYear(2430, 8, 5).lastWorkingDayInMonthWithHourOfDay(17)),
            "2430-08-30 17:00:00");
  EXPECT_EQ(local(NSDate::dateWithYear(2430, 7, 5).lastWorkingDayInMonthWithHourOfDay(17)),
            "2430-07-31 17:00:00");
  EXPECT_EQ(local(NSDate::dateWithYear(2430, 6, 5).firstWorkingDayInMonthWithHourOfDay(9)),
            "2430-06-03 09:00:00");
  EXPECT_EQ(local(NSDate::dateWithYear(2430, 9, 5).firstWorkingDayInMonthWithHourOfDay(9)),
            "2430-09-02 09:00:00");
  for (const NSDate& past : {NSDate::distantPast(), NSDate::dateWithYear(2001, 1, 1), NSDate::date()}) {
    const NSDate last = past.lastWorkingDayInMonthWithHourOfDay(23),
                 first = past.firstWorkingDayInMonthWithHourOfDay(0);
    EXPECT_GE(last.dayEnd(), NSDate::date());
    EXPECT_LT(last, NSDate::date().dateByAddingDays(62, 0, 0));
    EXPECT_GE(first, NSDate::date());
    EXPECT_LT(first, NSDate::date().dateByAddingDays(36, 0, 0));
    EXPECT_LE(first.dayOfMonth(), 3);
  }
}

TEST(NSDateCalendar, DaylightSavingIsCorrected) {
  const Setting tz("TZ", "Europe/Berlin");
  const NSDate winter = at("2024-01-15 12:00:00"), summer = at("2024-07-15 12:00:00");
  EXPECT_EQ(winter.dayLightFixedDate(summer), summer.dateByAddingTimeInterval(3600));
  EXPECT_EQ(summer.dayLightFixedDate(winter), winter.dateByAddingTimeInterval(-3600));
  EXPECT_EQ(winter.dayLightFixedDate(winter), winter);
}

TEST_P(EveryZone, EndsComeBeforeTheNextStarts) {
  std::mt19937_64 random(11);
  std::uniform_int_distribution<int64_t> seconds(-60000000000, 250000000000);
  for (const char* locale : kLocales) {
    const Setting all("LC_ALL", locale);
    for (int i = 0; i < 500; ++i) {
      const NSDate date = NSDate::dateWithTimeIntervalSince1970(
          static_cast<double>(i % 2 ? seconds(random) : seconds(random) / 100));
      ASSERT_LE(date.dayStart(), date.dateByAddingTimeInterval(3600)) << date.description();
      ASSERT_LT(date.monthEnd(), date.monthStart().dateByAddingMonths(1).monthStart());
      ASSERT_LT(date.monthStart(), date.monthEnd());
      ASSERT_LT(date.yearStart(), date.yearEnd());
      ASSERT_LE(date.weekStart(), date);
      ASSERT_LT(date, date.weekEnd().dateByAddingTimeInterval(7200));
      const NSDate other = date.dateByAddingTimeInterval(static_cast<double>(seconds(random) / 1000000));
      ASSERT_TRUE(date.days() >= other.days() || date < other) << date.description() << other.description();
      ASSERT_EQ(NSDate::fromDays(date.days()).days(), date.days()) << date.description();
    }
  }
}

TEST(OrvDays, CarriesADayAsANumber) {
  const NSDate date = at("2024-02-29 14:00:00");
  EXPECT_EQ(date.days(), 20240229);
  EXPECT_EQ(local(NSDate::fromDays(20240229)), "2024-02-29 00:00:00");
  EXPECT_EQ(local(NSDate::fromDays(20241301)), "2025-01-01 00:00:00");
  const Ref<OrvDays> days = OrvDays::daysFromDate(date);
  EXPECT_EQ(days->days(), 20240229);
  EXPECT_EQ(local(days->date()), "2024-02-29 00:00:00");
  EXPECT_EQ(days->description(), NSString("20240229"));
  EXPECT_TRUE(OrvDays::daysFromDate(nil).isNil());
  EXPECT_EQ(OrvDays::initWithDate(nil)->days(), 0);
  EXPECT_EQ(OrvDays::initWithDays(-5)->days(), -5);
}

TEST(OrvDays, EqualsWhateverAnswersTheSameDay) {
  const Ref<OrvDays> days = OrvDays::initWithDays(20240229);
  EXPECT_TRUE(days->isEqual(at("2024-02-29 09:30:00")));
  EXPECT_TRUE(days->isEqual(OrvDays::initWithDays(20240229)));
  EXPECT_TRUE(days->isEqual(days->copy()));
  EXPECT_NE(days->copy(), days);
  EXPECT_EQ(days->hash(), days->copy()->hash());
  EXPECT_FALSE(days->isEqual(OrvDays::initWithDays(20240228)));
  EXPECT_FALSE(days->isEqual(nil));
  EXPECT_FALSE(days->isEqual(20240229));
  EXPECT_FALSE(days->isEqual("20240229"));
}
