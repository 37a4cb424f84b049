#include "Platform/Foundation/Dates/InternetDates.h"

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Foundation/Dates/DateText.h"
#include "Platform/Foundation/Dates/NSDateFormatter.h"
#include "Platform/Foundation/Dates/NSLocale.h"
#include "Platform/Foundation/Dates/NSTimeZone.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Tests/Support/World.h"

using namespace orv;
using orv::detail::readMailDate;
using orv::detail::readTimestamp;

namespace {

// The same forms by the full rules: a formatter for each pattern.
class FullRules {
 public:
  explicit FullRules(std::initializer_list<const char*> patterns) {
    for (const char* pattern : patterns) {
      auto formatter = make<NSDateFormatter>();
      formatter->setLocale(NSLocale::localeWithLocaleIdentifier("en_US_POSIX"));
      formatter->setTimeZone(NSTimeZone::timeZoneForSecondsFromGMT(0));
      formatter->setProleptic(true);
      formatter->setDateFormat(pattern);
      formatters_.push_back(formatter);
    }
  }
  NSDate read(const NSString& text) const {
    for (const auto& formatter : formatters_)
      if (const NSDate date = formatter->dateFromString(text)) return date;
    return nil;
  }

 private:
  std::vector<Ref<NSDateFormatter>> formatters_;
};

const FullRules& timestampRules() {
  static const FullRules rules{"yyyy-MM-dd'T'HH:mm:ssZZZ", "yyyy-MM-dd'T'HH:mm:ss.SSSZZZ",
                               "yyyy-MM-dd'T'HH:mm:ss"};
  return rules;
}

const FullRules& mailRules() {
  static const FullRules rules{"EEE, d MMM yyyy HH:mm:ss zzz", "EEE, d MMM yyyy HH:mm zzz",
                               "EEE, d MMM yyyy HH:mm:ss",     "EEE, d MMM yyyy HH:mm",
                               "d MMM yyyy HH:mm:ss zzz",      "d MMM yyyy HH:mm zzz",
                               "d MMM yyyy HH:mm:ss",          "d MMM yyyy HH:mm"};
  return rules;
}

using Reader = bool (*)(std::string_view, int64_t&) noexcept;

// Texts that begin as good ones and have some characters changed, dropped or doubled.
class Mutations {
 public:
  explicit Mutations(std::vector<std::string> seeds) : seeds_(std::move(seeds)) {}

  std::string next() {
    std::string text = seeds_[random_() % seeds_.size()];
    for (auto changes = random_() % 3; changes > 0 && !text.empty(); --changes) change(text);
    return text;
  }

 private:
  void change(std::string& text) {
    static constexpr std::string_view kLetters = "0123456789:-+., TZtzGMTESDPjunTUEx/";
    const size_t at = random_() % text.size();
    switch (random_() % 4) {
      case 0: text.erase(at, 1); break;
      case 1: text.insert(at, 1, kLetters[random_() % kLetters.size()]); break;
      default: text[at] = kLetters[random_() % kLetters.size()]; break;
    }
  }

  std::vector<std::string> seeds_;
  std::mt19937 random_{7};
};

void expectAgreement(Reader read, const FullRules& rules, const std::vector<std::string>& seeds) {
  Mutations mutations(seeds);
  int taken = 0;
  for (int i = 0; i < (kSanitized ? 20000 : 200000); ++i) {
    const std::string text = mutations.next();
    int64_t milliseconds = 0;
    if (!read(text, milliseconds)) continue;
    ++taken;
    const NSDate expected = rules.read(NSString(text).uppercaseString());
    ASSERT_FALSE(expected.isNil()) << text;
    ASSERT_EQ(orv::detail::dateOfMilliseconds(milliseconds), expected) << text;
  }
  EXPECT_GT(taken, 1000);
}

int64_t millisecondsBy(Reader read, std::string_view text) {
  int64_t milliseconds = -1;
  EXPECT_TRUE(read(text, milliseconds)) << text;
  return milliseconds;
}

}  // namespace

TEST(InternetDates, ReadsTheUsualTimestamps) {
  EXPECT_EQ(millisecondsBy(readTimestamp, "2003-06-10T04:00:00Z"), 1055217600000);
  EXPECT_EQ(millisecondsBy(readTimestamp, "2003-06-10t06:00:00.123456+02:00"), 1055217600123);
  EXPECT_EQ(millisecondsBy(readTimestamp, "2003-06-09T23:30:00.5-0430"), 1055217600500);
  EXPECT_EQ(millisecondsBy(readTimestamp, "2003-06-10T04:00:00"), 1055217600000);
  EXPECT_EQ(millisecondsBy(readTimestamp, "1969-12-31T23:59:59.999Z"), -1);
}

TEST(InternetDates, ReadsTheUsualMailDates) {
  EXPECT_EQ(millisecondsBy(readMailDate, "Tue, 10 Jun 2003 04:00:00 GMT"), 1055217600000);
  EXPECT_EQ(millisecondsBy(readMailDate, "tue, 10 JUN 2003 04:00:00 +0000"), 1055217600000);
  EXPECT_EQ(millisecondsBy(readMailDate, "9 Jun 2003 23:00 EST"), 1055217600000);
  EXPECT_EQ(millisecondsBy(readMailDate, "10 Jun 2003 04:00"), 1055217600000);
  EXPECT_EQ(millisecondsBy(readMailDate, "Mon, 10 Jun 2003 04:00:00 z"), 1055217600000);
}

TEST(InternetDates, LeavesEverythingUnusualToTheFullRules) {
  int64_t ignored = 0;
  for (const char* text :
       {"", "2003-06-10", "2003-02-29T00:00:00Z", "2003-06-10T24:00:00Z", "2003-06-10T04:00:60Z",
        "2003-06-10T04:00:00.5", "2003-06-10T04:00:00 Z", "1500-06-10T04:00:00Z", "2003-6-10T04:00:00Z",
        "2003-06-10T04:00:00.Z", "2003-06-10T04:00:00+24:00", "2003-06-10T04:00:00Z "})
    EXPECT_FALSE(readTimestamp(text, ignored)) << text;
  for (const char* text :
       {"", "Tue,10 Jun 2003 04:00:00 GMT", "Xyz, 10 Jun 2003 04:00 GMT", "31 Jun 2003 04:00 GMT",
        "10 Jun 03 04:00 GMT", "10 Jun 2003 04:00 CET", "10  Jun 2003 04:00 GMT", "10 Jun 2003 4:00"})
    EXPECT_FALSE(readMailDate(text, ignored)) << text;
}

TEST(InternetDates, WhatIsTakenIsWhatTheFullRulesSay) {
  expectAgreement(readTimestamp, timestampRules(),
                  {"2003-06-10T04:00:00Z", "2024-02-29T23:59:59.999+13:45", "1999-12-31T00:00:00-0700",
                   "2003-06-10T04:00:00", "1583-01-01T00:00:00.1Z", "9999-12-31T23:59:59.123456789-23:59"});
}

TEST(InternetDates, WhatIsTakenOfMailIsWhatTheFullRulesSay) {
  expectAgreement(readMailDate, mailRules(),
                  {"Tue, 10 Jun 2003 04:00:00 GMT", "Thu, 29 Feb 2024 23:59:59 +1345", "1 Jan 1999 00:00 PDT",
                   "sat, 31 dec 9999 00:00:00 z", "10 May 2003 04:00:00", "Sun, 1 Aug 1999 12:30 UTC"});
}
