#include "Platform/Foundation/Serialization/SmallJSON.h"

#include <string>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSNull.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;
using orv::detail::readSmallJSON;

TEST(SmallJSON, ReadsEveryKindOfValue) {
  EXPECT_EQ(readSmallJSON(" [1, -2.5, \"a\\u00e9\\n\", true, false, null, {}, []] "),
            Value(NSArray{1, -2.5, "a\u00e9\n", true, false, NSNull::null(), NSDictionary::dictionary(),
                          NSArray::array()}));
  EXPECT_EQ(readSmallJSON("{\"a\": {\"b\": [18446744073709551615]}}"),
            Value(NSDictionary{{"a", NSDictionary{{"b", NSArray{UINT64_MAX}}}}}));
  EXPECT_EQ(readSmallJSON("\"\\ud83d\\ude00\""), "\U0001F600");
}

TEST(SmallJSON, NumbersAreIntegersWhereTheyFit) {
  EXPECT_EQ(readSmallJSON("7").kind(), Kind::Int);
  EXPECT_EQ(readSmallJSON("7.0").kind(), Kind::Double);
  EXPECT_EQ(readSmallJSON("1e2"), Value(100.0));
  EXPECT_EQ(readSmallJSON("18446744073709551616").kind(), Kind::Double);
}

TEST(SmallJSON, TheLastOfARepeatedKeyCounts) {
  EXPECT_EQ(readSmallJSON("{\"a\":1,\"a\":2}"), Value(NSDictionary{{"a", 2}}));
}

TEST(SmallJSON, RefusesWhatIsNotJSON) {
  for (const char* bad :
       {"",    " ",   "01",  "+1",  ".5", "1.",      "1e",     "-",       "[1,]", "{\"a\":1,}", "{a:1}", "'a'",
        "\"a", "nul", "tru", "1 2", "[1", "{\"a\"}", "\"\t\"", "\"\\x\"", "NaN",  "1e999",      "\xff"})
    EXPECT_TRUE(readSmallJSON(bad).isNil()) << bad;
}

TEST(SmallJSON, DepthIsLimited) {
  const auto nested = [](int depth) {
    return std::string(static_cast<size_t>(depth), '[') + std::string(static_cast<size_t>(depth), ']');
  };
  EXPECT_FALSE(readSmallJSON(nested(detail::kDeepestJSON)).isNil());
  EXPECT_TRUE(readSmallJSON(nested(detail::kDeepestJSON + 1)).isNil());
  EXPECT_TRUE(readSmallJSON(nested(1000000)).isNil());
}
