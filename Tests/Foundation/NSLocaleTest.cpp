#include "Platform/Foundation/Dates/NSLocale.h"

#include <gtest/gtest.h>

#include "Tests/Support/Zones.h"

using namespace orv;

namespace {
NSLocale locale(const char* identifier) { return NSLocale::localeWithLocaleIdentifier(identifier); }
}  // namespace

TEST(NSLocale, NilAnswersNeutrally) {
  const NSLocale none;
  EXPECT_TRUE(none.localeIdentifier().isNil());
  EXPECT_TRUE(none.languageCode().isNil());
  EXPECT_TRUE(none.countryCode().isNil());
  EXPECT_EQ(none.firstWeekday(), 0);
  EXPECT_EQ(none.minimumDaysInFirstWeek(), 0);
  EXPECT_TRUE(NSLocale::localeWithLocaleIdentifier(nil).isNil());
}

TEST(NSLocale, HyphensAndUnderscoresAreTheSame) {
  EXPECT_EQ(locale("en-US"), locale("en_US"));
  EXPECT_EQ(locale("en-US").hash(), locale("en_US").hash());
  EXPECT_EQ(locale("zh-hant-tw").localeIdentifier(), NSString("zh_Hant_TW"));
  EXPECT_EQ(locale("en_US_POSIX").localeIdentifier(), NSString("en_US_POSIX"));
  EXPECT_EQ(locale("de_AT").languageCode(), NSString("de"));
  EXPECT_EQ(locale("de_AT").countryCode(), NSString("AT"));
  EXPECT_EQ(locale("de").countryCode(), NSString(""));
}

TEST(NSLocale, KnowsTheWeeksOfItsRegion) {
  struct Case {
    const char* identifier;
    NSInteger first, minimum;
  };
  for (const Case& c : {Case{"en_US", 1, 1}, Case{"en_US_POSIX", 1, 1}, Case{"en_CA", 1, 1}, Case{"ja", 1, 1},
                        Case{"he", 1, 1}, Case{"pt_BR", 1, 1}, Case{"pt_PT", 1, 4}, Case{"de", 2, 4},
                        Case{"fr", 2, 4}, Case{"en_GB", 2, 4}, Case{"sv", 2, 4}, Case{"en_AU", 2, 1},
                        Case{"zh_CN", 2, 1}, Case{"ar_EG", 7, 1}, Case{"en_001", 2, 1}}) {
    EXPECT_EQ(locale(c.identifier).firstWeekday(), c.first) << c.identifier;
    EXPECT_EQ(locale(c.identifier).minimumDaysInFirstWeek(), c.minimum) << c.identifier;
  }
}

TEST(NSLocale, CurrentLocaleFollowsTheEnvironment) {
  const std::pair<const char*, const char*> cases[] = {
      {"C", "en_US_POSIX"},     {"POSIX", "en_US_POSIX"}, {"C.UTF-8", "en_US_POSIX"},
      {"de_DE.UTF-8", "de_DE"}, {"de_DE@euro", "de_DE"},  {"sr_RS.UTF-8@latin", "sr_Latn_RS"},
      {"tr_TR", "tr_TR"}};
  for (const auto& [setting, identifier] : cases) {
    const Setting all("LC_ALL", setting);
    EXPECT_EQ(NSLocale::currentLocale().localeIdentifier(), NSString(identifier)) << setting;
  }
  const Setting all("LC_ALL", ""), time("LC_TIME", "fr_FR.UTF-8"), language("LANG", "it_IT");
  EXPECT_EQ(NSLocale::currentLocale().localeIdentifier(), NSString("fr_FR"));
  const Setting noTime("LC_TIME", "");
  EXPECT_EQ(NSLocale::currentLocale().localeIdentifier(), NSString("it_IT"));
}

TEST(NSLocale, OddIdentifiersAreKept) {
  EXPECT_FALSE(locale("").isNil());
  EXPECT_FALSE(locale(std::string(10000, 'x').c_str()).isNil());
  EXPECT_EQ(locale("xx_YY").localeIdentifier(), NSString("xx_YY"));
}
