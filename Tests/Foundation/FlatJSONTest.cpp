#include "Platform/Foundation/Serialization/FlatJSON.h"

#include <gtest/gtest.h>

#include <string>

#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

namespace {

NSDictionary read(std::string_view json) { return detail::readFlatJSON(NSData::dataWithBytes(json)); }
NSDictionary readOld(std::string_view json) { return detail::readOldSettings(NSData::dataWithBytes(json)); }

}  // namespace

TEST(FlatJSON, ReadsStringsNumbersAndBooleans) {
  const NSDictionary info = read(
      " {\"a\" : \"x\\\"\\\\\\/\\n\\u00e9\\ud83d\\ude00\u00e9\" , \"n\":-12, "
      "\"d\":1.5e2,\n\"t\":true,\"f\":false,\"z\":null } ");
  EXPECT_EQ(info,
            (NSDictionary{
                {"a", "x\"\\/\n\u00e9\U0001F600\u00e9"}, {"n", -12}, {"d", 150.0}, {"t", true}, {"f", false}}));
  EXPECT_EQ(read("{}").count(), 0u);
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
    EXPECT_TRUE(read(bad).isNil()) << bad;
}

TEST(FlatJSON, NilIsNone) {
  EXPECT_TRUE(detail::readFlatJSON(nil).isNil());
  EXPECT_TRUE(detail::readOldSettings(nil).isNil());
}

TEST(OldSettings, LoneSurrogatesAreKept) {
  const auto text = [](std::u16string_view units) { return NSString(units); };
  const char16_t high[] = {'a', 0xD800, 'b'}, low[] = {0xDC00}, two[] = {0xD83D, 0xD83D, 0xDE00},
                 mark[] = {0xFDD0, 'x'};
  const std::pair<const char*, NSString> cases[] = {
      {"a\\ud800b", text({high, 3})},
      {"\\uDC00", text({low, 1})},
      {"\\ud83d\\ud83d\\ude00", text({two, 3})},
      {"\\ud83d\\ude00", text(u"\U0001F600")},
      {"\\ufdd0x", text({mark, 2})},
      {"\\\\ud800", "\\ud800"},
      {"\\u0041\\n", "A\n"},
  };
  for (const auto& [escaped, expected] : cases) {
    EXPECT_EQ(readOld(std::string("{\"k\": \"") + escaped + "\"}"), (NSDictionary{{"k", expected}})) << escaped;
    EXPECT_EQ(readOld(std::string("{\"") + escaped + "\": 1}"), (NSDictionary{{expected, 1}})) << escaped;
  }
  EXPECT_EQ(readOld("{\"t\": true, \"d\": 4.9406564584124654e-324}"),
            (NSDictionary{{"t", true}, {"d", 5e-324}}));
  for (const char* bad : {"", "{", "{\"a\": [1]}", "{\"a\": \"\\ud8", "{\"a\": \"\\u+123\"}", "\\"})
    EXPECT_TRUE(readOld(bad).isNil()) << bad;
}
