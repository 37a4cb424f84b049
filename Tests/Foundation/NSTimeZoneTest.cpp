#include "Platform/Foundation/Dates/NSTimeZone.h"

#include <gtest/gtest.h>
#include <unicode/timezone.h>

#include <memory>
#include <random>

#include "Platform/Foundation/Dates/ZoneTable.h"
#include "Tests/Support/Zones.h"

using namespace orv;

namespace {

NSDate since1970(double seconds) { return NSDate::dateWithTimeIntervalSince1970(seconds); }
NSTimeZone zone(const char* name) { return NSTimeZone::timeZoneWithName(name); }

constexpr double kWinter = 1705320000;  // 2024-01-15 12:00 UTC
constexpr double kSummer = 1721044800;  // 2024-07-15 12:00 UTC

}  // namespace

TEST(NSTimeZone, NilAnswersNeutrally) {
  const NSTimeZone none;
  EXPECT_TRUE(none.name().isNil());
  EXPECT_TRUE(none.abbreviation().isNil());
  EXPECT_EQ(none.secondsFromGMTForDate(since1970(0)), 0);
  EXPECT_EQ(none.daylightSavingTimeOffsetForDate(since1970(0)), 0);
  EXPECT_FALSE(none.isDaylightSavingTimeForDate(since1970(0)));
  EXPECT_TRUE(none.nextDaylightSavingTimeTransitionAfterDate(since1970(0)).isNil());
}

TEST(NSTimeZone, KnowsOffsetsAndSummerTime) {
  const NSTimeZone berlin = zone("Europe/Berlin"), howe = zone("Australia/Lord_Howe");
  EXPECT_EQ(berlin.secondsFromGMTForDate(since1970(kWinter)), 3600);
  EXPECT_EQ(berlin.secondsFromGMTForDate(since1970(kSummer)), 7200);
  EXPECT_EQ(berlin.daylightSavingTimeOffsetForDate(since1970(kSummer)), 3600);
  EXPECT_FALSE(berlin.isDaylightSavingTimeForDate(since1970(kWinter)));
  EXPECT_EQ(howe.daylightSavingTimeOffsetForDate(since1970(kWinter)), 1800);
  EXPECT_EQ(zone("Asia/Kolkata").secondsFromGMTForDate(since1970(kWinter)), 19800);
  EXPECT_EQ(berlin.nextDaylightSavingTimeTransitionAfterDate(since1970(kWinter)), since1970(1711846800));
  EXPECT_TRUE(zone("UTC").nextDaylightSavingTimeTransitionAfterDate(since1970(0)).isNil());
  EXPECT_GT(berlin.nextDaylightSavingTimeTransitionAfterDate(since1970(5e9)), since1970(5e9));
}

TEST(NSTimeZone, RefusesUnknownNames) {
  for (const char* name :
       {"", "Nowhere/City", "Etc/Unknown", "GMT+24", "GMT+x", "GMT+1x", "CEST1", "Europe/B\xC3\xA4r"})
    EXPECT_TRUE(zone(name).isNil()) << name;
  EXPECT_TRUE(NSTimeZone::timeZoneWithName(nil).isNil());
  EXPECT_TRUE(NSTimeZone::timeZoneWithAbbreviation("XYZ").isNil());
  EXPECT_TRUE(NSTimeZone::timeZoneWithAbbreviation(nil).isNil());
}

TEST(NSTimeZone, FixedZonesAreNamedByTheirOffset) {
  const std::pair<NSInteger, const char*> cases[] = {
      {0, "GMT"},      {3600, "GMT+1"}, {-12600, "GMT-3:30"}, {86399, "GMT+23:59:59"}, {-3600 * 11, "GMT-11"},
      {60, "GMT+0:01"}};
  for (const auto& [seconds, name] : cases) {
    const NSTimeZone fixed = NSTimeZone::timeZoneForSecondsFromGMT(seconds);
    EXPECT_EQ(fixed.name(), NSString(name));
    EXPECT_EQ(fixed.abbreviation(), NSString(name));
    EXPECT_EQ(fixed.secondsFromGMTForDate(since1970(kSummer)), seconds);
    EXPECT_FALSE(fixed.isDaylightSavingTimeForDate(since1970(kSummer)));
    EXPECT_EQ(zone(name), fixed);
    EXPECT_EQ(NSTimeZone::timeZoneWithAbbreviation(name), fixed);
  }
  EXPECT_TRUE(NSTimeZone::timeZoneForSecondsFromGMT(86400).isNil());
  EXPECT_TRUE(NSTimeZone::timeZoneForSecondsFromGMT(INT64_MIN).isNil());
}

TEST(NSTimeZone, AbbreviationsStandForWholeZones) {
  EXPECT_EQ(NSTimeZone::timeZoneWithAbbreviation("CEST").name(), NSString("Europe/Paris"));
  EXPECT_EQ(NSTimeZone::timeZoneWithAbbreviation("PST").secondsFromGMTForDate(since1970(kSummer)), -25200);
  EXPECT_EQ(zone("America/New_York").abbreviationForDate(since1970(kSummer)), NSString("EDT"));
  EXPECT_EQ(zone("America/New_York").abbreviationForDate(since1970(kWinter)), NSString("EST"));
}

TEST(NSTimeZone, EqualByName) {
  EXPECT_EQ(zone("Europe/Berlin"), zone("Europe/Berlin"));
  EXPECT_EQ(zone("Europe/Berlin").hash(), zone("Europe/Berlin").hash());
  EXPECT_FALSE(zone("Europe/Berlin") == zone("Europe/Paris"));
  EXPECT_FALSE(zone("Europe/Berlin").isEqual(NSString("Europe/Berlin")));
  EXPECT_TRUE(Value(zone("UTC")).isKindOf<NSTimeZone>());
  EXPECT_FALSE(Value("UTC").isKindOf<NSTimeZone>());
}

TEST(NSTimeZone, LocalZoneFollowsTheEnvironment) {
  const std::pair<const char*, const char*> cases[] = {
      {"Europe/Berlin", "Europe/Berlin"},
      {":Asia/Kolkata", "Asia/Kolkata"},
      {"", "GMT"},
      {"/usr/share/zoneinfo/America/Sao_Paulo", "America/Sao_Paulo"},
      {"CET-1CEST", "GMT+1"},
      {"<+0330>-3:30", "GMT+3:30"},
      {"no such zone", "GMT"},
      {"EST5EDT", "EST5EDT"}};
  for (const auto& [setting, name] : cases) {
    const Setting tz("TZ", setting);
    EXPECT_EQ(NSTimeZone::localTimeZone().name(), NSString(name)) << setting;
    EXPECT_EQ(NSTimeZone::systemTimeZone(), NSTimeZone::localTimeZone());
  }
}

TEST(NSTimeZone, WithoutASettingTheSystemDecides) {
  const Setting tz("TZ", "UTC");
  ::unsetenv("TZ");
  NSTimeZone::resetSystemTimeZone();
  EXPECT_FALSE(NSTimeZone::localTimeZone().name().isNil());
}

TEST(ZoneTable, AgreesWithICUOnEveryOffset) {
  std::mt19937_64 random(1);
  for (const char* name : kZones) {
    const std::unique_ptr<icu::TimeZone> icu(icu::TimeZone::createTimeZone(name));
    const auto table = detail::ZoneTable::named(name);
    for (int i = 0; i < 20000; ++i) {
      const auto time = std::uniform_int_distribution<int64_t>(-5000000000, 7000000000)(random);
      UErrorCode status = U_ZERO_ERROR;
      int32_t raw = 0, saving = 0;
      icu->getOffset(static_cast<double>(time) * 1000, false, raw, saving, status);
      ASSERT_EQ(table->offsetAt(time), (raw + saving) / 1000) << name << " " << time;
      ASSERT_EQ(table->intervalAt(time).saving, saving / 1000) << name << " " << time;
    }
  }
}

TEST(ZoneTable, ResolvesEveryLocalTimeNearTransitions) {
  for (const char* name : kZones) {
    const auto table = detail::ZoneTable::named(name);
    for (int64_t at = table->nextTransition(-5000000000); at < 7000000000; at = table->nextTransition(at)) {
      const int64_t before = table->offsetAt(at - 1), after = table->offsetAt(at);
      for (int64_t local = at + std::min(before, after) - 7200; local < at + std::max(before, after) + 7200;
           local += 900) {
        const auto resolved = table->resolve(local);
        const bool early = table->offsetAt(local - before) == before && local - before < at;
        const bool late = table->offsetAt(local - after) == after && local - after >= at;
        ASSERT_EQ(resolved.time, early || !late ? local - before : local - after) << name << " " << local;
        ASSERT_EQ(resolved.how == detail::ZoneTable::Local::Skipped, !early && !late) << name << " " << local;
        ASSERT_EQ(resolved.how == detail::ZoneTable::Local::Twice, early && late && before != after)
            << name << " " << local;
      }
    }
  }
}
