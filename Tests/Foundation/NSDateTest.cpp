#include "Platform/Foundation/Values/NSDate.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <time.h>

#include <cmath>
#include <limits>
#include <string>

#include "Platform/Foundation/Values/NSString.h"

using namespace orv;

namespace {

NSDate since1970(double seconds) { return NSDate::dateWithTimeIntervalSince1970(seconds); }
NSDate since2001(double seconds) { return NSDate::dateWithTimeIntervalSinceReferenceDate(seconds); }

std::string iso(const NSDate& date) { return date.ISO8601String().utf8(); }

// The text by way of the C library.
std::string isoByLibrary(int64_t milliseconds1970) {
  int64_t seconds = milliseconds1970 / 1000;
  if (milliseconds1970 % 1000 < 0) --seconds;
  const auto time = static_cast<time_t>(seconds);
  tm parts{};
  ::gmtime_r(&time, &parts);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", parts.tm_year + 1900,
                parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec,
                static_cast<int>(milliseconds1970 - seconds * 1000));
  return text;
}

}  // namespace

TEST(NSDate, NilAnswersNeutrally) {
  const NSDate none;
  EXPECT_EQ(none.timeIntervalSinceReferenceDate(), 0);
  EXPECT_EQ(none.timeIntervalSince1970(), 0);
  EXPECT_EQ(none.timeIntervalSinceNow(), 0);
  EXPECT_EQ(none.timeIntervalSinceDate(since2001(5)), 0);
  EXPECT_EQ(since2001(5).timeIntervalSinceDate(none), 0);
  EXPECT_TRUE(none.dateByAddingTimeInterval(1).isNil());
  EXPECT_TRUE(none.description().isNil());
  EXPECT_TRUE(none.ISO8601String().isNil());
  EXPECT_FALSE(none.isEqualToDate(none));
  EXPECT_TRUE(none == NSDate());
  NSDate moved = since2001(7);
  const NSDate taken = std::move(moved);
  EXPECT_EQ(moved.timeIntervalSinceReferenceDate(), 0);  // a moved-from date is nil, NOLINT
}

TEST(NSDate, CountsFrom2001AndFrom1970) {
  EXPECT_EQ(since1970(0).timeIntervalSinceReferenceDate(), -978307200.0);
  EXPECT_EQ(since2001(0).timeIntervalSince1970(), 978307200.0);
  EXPECT_EQ(NSDate::distantPast().description(), NSString("0001-01-01 00:00:00 +0000"));
  EXPECT_EQ(NSDate::distantFuture().description(), NSString("4001-01-01 00:00:00 +0000"));
}

TEST(NSDate, NowIsTheWallClock) {
  timespec before{}, after{};
  ::clock_gettime(CLOCK_REALTIME, &before);
  const NSDate now = NSDate::date();
  ::clock_gettime(CLOCK_REALTIME, &after);
  EXPECT_GE(now.timeIntervalSince1970(), static_cast<double>(before.tv_sec));
  EXPECT_LE(now.timeIntervalSince1970(), static_cast<double>(after.tv_sec + 1));
  EXPECT_NEAR(CFAbsoluteTimeGetCurrent(), now.timeIntervalSinceReferenceDate(), 60);
  EXPECT_NEAR(NSDate::dateWithTimeIntervalSinceNow(3600).timeIntervalSinceNow(), 3600, 60);
}

TEST(NSDate, OrdersAndEquals) {
  const NSDate early = since2001(1), late = since2001(2);
  EXPECT_EQ(early.compare(late), NSOrderedAscending);
  EXPECT_EQ(late.compare(early), NSOrderedDescending);
  EXPECT_EQ(early.compare(since2001(1)), NSOrderedSame);
  EXPECT_EQ(early.compare(nil), NSOrderedDescending);
  EXPECT_EQ(NSDate().compare(early), NSOrderedAscending);
  EXPECT_TRUE(early < late);
  EXPECT_EQ(early.earlierDate(late), early);
  EXPECT_EQ(late.earlierDate(early), early);
  EXPECT_EQ(early.laterDate(late), late);
  EXPECT_EQ(late.laterDate(early), late);
  EXPECT_EQ(early.earlierDate(nil), early);
  EXPECT_EQ(NSDate().laterDate(late), late);
  EXPECT_EQ(early.dateByAddingTimeInterval(1), late);
  EXPECT_EQ(late.timeIntervalSinceDate(early), 1);
}

TEST(NSDate, EqualDatesAreOneValue) {
  EXPECT_TRUE(since2001(-0.0).isSame(since2001(0.0)));
  EXPECT_EQ(Value(since2001(5)), Value(since2001(5)));
  EXPECT_NE(Value(since2001(5)), Value(5));
  EXPECT_EQ(std::hash<NSDate>()(since2001(5)), std::hash<NSDate>()(since2001(5)));
  EXPECT_TRUE(Value(since2001(5)).isKindOf<NSDate>());
  EXPECT_FALSE(Value(5.0).isKindOf<NSDate>());
  EXPECT_EQ(Value(since2001(5)).className(), NSString("NSDate"));
}

TEST(NSDate, DescriptionsRoundDownToSeconds) {
  EXPECT_EQ(since1970(0).description(), NSString("1970-01-01 00:00:00 +0000"));
  EXPECT_EQ(since1970(0.9).description(), NSString("1970-01-01 00:00:00 +0000"));
  EXPECT_EQ(since1970(-0.1).description(), NSString("1969-12-31 23:59:59 +0000"));
  EXPECT_EQ(since2001(0).description(), NSString("2001-01-01 00:00:00 +0000"));
}

TEST(NSDate, ISOTextsRoundDownToMilliseconds) {
  EXPECT_EQ(iso(since2001(0)), "2001-01-01T00:00:00.000Z");
  EXPECT_EQ(iso(since2001(0.0009)), "2001-01-01T00:00:00.000Z");
  EXPECT_EQ(iso(since2001(0.9999999)), "2001-01-01T00:00:00.999Z");
  EXPECT_EQ(iso(since2001(-0.0001)), "2000-12-31T23:59:59.999Z");
  EXPECT_EQ(iso(since1970(0)), "1970-01-01T00:00:00.000Z");
  EXPECT_EQ(iso(since1970(951782400)), "2000-02-29T00:00:00.000Z");
  EXPECT_EQ(iso(since1970(253402300799.999)), "9999-12-31T23:59:59.999Z");
  EXPECT_EQ(iso(NSDate::distantPast()), "0001-01-01T00:00:00.000Z");
}

TEST(NSDate, ISOTextsOfFarYearsGrow) {
  EXPECT_EQ(iso(since1970(253402300800)), "10000-01-01T00:00:00.000Z");
  EXPECT_EQ(iso(NSDate::distantPast().dateByAddingTimeInterval(-1)), "0000-12-31T23:59:59.000Z");
  EXPECT_EQ(iso(NSDate::distantPast().dateByAddingTimeInterval(-366.0 * 86400 - 1)),
            "-0001-12-31T23:59:59.000Z");
  EXPECT_LE(iso(since2001(1e300)).size(), detail::kISO8601MaxLength);
  EXPECT_LE(iso(since2001(-std::numeric_limits<double>::infinity())).size(), detail::kISO8601MaxLength);
  EXPECT_EQ(iso(since2001(1e300)), iso(since2001(1e200)));
  EXPECT_EQ(iso(since2001(std::nan(""))), "NaN");
}

TEST(NSDate, DatesMadeFromMillisecondsPrintThem) {
  EXPECT_TRUE(rc::check([](uint32_t day, uint32_t millisecond) {
    const auto days = static_cast<int64_t>(day % 3652059) - 719162;  // the years 1 to 9999
    const int64_t time = days * 86400000 + millisecond % 86400000;
    const double seconds = static_cast<double>(time) / 1000;
    RC_ASSERT(iso(since1970(seconds)) == isoByLibrary(time));
    const double from2001 = static_cast<double>(time - 978307200000) / 1000;
    RC_ASSERT(iso(since2001(from2001)) == isoByLibrary(time));
  }));
}

// Its seconds since 1970 are twice as fine as those since 2001.
TEST(NSDate, AMillisecondNotLongBefore1698IsNotLost) {
  EXPECT_EQ(iso(since1970(-8589930906.894)), "1697-10-17T12:04:53.106Z");
}

TEST(NSDate, EveryDayOfFourCenturiesIsRight) {
  for (int64_t day = -200000; day < 200000; ++day) {
    const std::string expected = isoByLibrary(day * 86400000);
    ASSERT_EQ(iso(since1970(static_cast<double>(day) * 86400)), expected);
  }
}

TEST(NSDate, TheBufferFormWritesTheSameText) {
  char text[detail::kISO8601MaxLength];
  const char* end = detail::writeISO8601(683424000.25, text);
  EXPECT_EQ(std::string(text, static_cast<size_t>(end - text)), "2022-08-29T00:00:00.250Z");
  EXPECT_EQ(end - text, 24);
}
