#include "Platform/Foundation/System/NSBundle.h"

#include "Platform/Foundation/Serialization/SmallJSON.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

TEST(NSBundle, ABareToolHasAnEmptyDictionary) {
  const Ref<NSBundle> bundle = NSBundle::mainBundle();
  ASSERT_TRUE(bundle->infoDictionary());
  EXPECT_EQ(bundle->infoDictionary().count(), 0u);
  EXPECT_TRUE(bundle->bundleIdentifier().isNil());
  EXPECT_TRUE(bundle->objectForInfoDictionaryKey("CFBundleName").isNil());
  EXPECT_TRUE(bundle->objectForInfoDictionaryKey(nil).isNil());
}

TEST(NSBundle, AnApplicationSetsItsDictionary) {
  const Ref<NSBundle> bundle = NSBundle::mainBundle();
  const NSMutableDictionary info{{"CFBundleIdentifier", "org.example.notes"}, {"Count", 3}};
  bundle->setInfoDictionary(info);
  info.removeAllObjects();  // a copy was taken
  EXPECT_EQ(NSBundle::mainBundle()->bundleIdentifier(), "org.example.notes");
  EXPECT_EQ(bundle->objectForInfoDictionaryKey("Count"), Value(3));
  bundle->setInfoDictionary(NSDictionary{{"CFBundleIdentifier", 7}});
  EXPECT_TRUE(bundle->bundleIdentifier().isNil());
  bundle->setInfoDictionary(nil);
  EXPECT_EQ(bundle->infoDictionary().count(), 0u);
}

TEST(NSBundle, KnowsItsPlace) {
  EXPECT_EQ(NSBundle::mainBundle()->executablePath().lastPathComponent(), "NSBundleTest");
  EXPECT_EQ(NSBundle::mainBundle()->bundlePath(),
            NSBundle::mainBundle()->executablePath().stringByDeletingLastPathComponent());
}

TEST(NSBundle, UntranslatedTextsStandForThemselves) {
  const Ref<NSBundle> bundle = NSBundle::mainBundle();
  EXPECT_EQ(bundle->localizedStringForKey(nil, nil, nil), "");
  EXPECT_EQ(bundle->localizedStringForKey(nil, "v", nil), "v");
  EXPECT_EQ(bundle->localizedStringForKey("k", nil, nil), "k");
  EXPECT_EQ(bundle->localizedStringForKey("k", "", "T"), "k");
  EXPECT_EQ(bundle->localizedStringForKey("k", "v", nil), "v");
}

TEST(FlatJSON, ReadsStringsNumbersAndBooleans) {
  const NSDictionary info = detail::readFlatJSON(
      " {\"a\" : \"x\\\"\\\\\\/\\n\\u00e9\\ud83d\\ude00\u00e9\" , \"n\":-12, "
      "\"d\":1.5e2,\n\"t\":true,\"f\":false,\"z\":null } ");
  EXPECT_EQ(info,
            (NSDictionary{
                {"a", "x\"\\/\n\u00e9\U0001F600\u00e9"}, {"n", -12}, {"d", 150.0}, {"t", true}, {"f", false}}));
  EXPECT_EQ(detail::readFlatJSON("{}").count(), 0u);
}

TEST(FlatJSON, RefusesEverythingElse) {
  for (const char* bad : {"",
                          "[]",
                          "{",
                          "{\"a\"}",
                          "{\"a\":}",
                          "{\"a\":1,}",
                          "{\"a\":1} x",
                          "{\"a\":[1]}",
                          "{\"a\":{}}",
                          "{a:1}",
                          "{\"a\":\"\n\"}",
                          "{\"a\":\"\\x\"}",
                          "{\"a\":\"\\u12g4\"}",
                          "{\"a\":\"\\u12",
                          "{\"a\":+1}",
                          "{\"a\":1e999}",
                          "{\"a\":--1}",
                          "{\"a\":nul}",
                          "{\"a\":\"\xff\"}",
                          "{\"a\":\"x"})
    EXPECT_TRUE(detail::readFlatJSON(bad).isNil()) << bad;
}
