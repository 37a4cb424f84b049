#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSNull.h"
#include "Platform/Foundation/Values/NSNumber.h"
#include "Platform/Foundation/Values/NSSet.h"
#include "Platform/Foundation/Values/NSURL.h"

using namespace orv;

namespace {
struct Thing : NSObject {
  NSString description() const override { return "<Thing: 0x1>"; }
};
}  // namespace

TEST(Description, LeavesAreQuotedUnlessLettersAndDigitsAlone) {
  EXPECT_EQ((NSArray{"abc", "a_b", "", "1.5", "\u00e9", "it's"}.description()),
            "(\n    abc,\n    \"a_b\",\n    \"\",\n    \"1.5\",\n    \"\\U00e9\",\n    \"it's\"\n)");
  EXPECT_EQ((NSArray{1, -1, 1.5, true}.description()), "(\n    1,\n    \"-1\",\n    \"1.5\",\n    1\n)");
}

TEST(Description, QuotedTextIsEscaped) {
  EXPECT_EQ(NSArray{"a\"b\\c\nd\te\rf\x03g\x7Fh\U0001F600"}.description(),
            "(\n    \"a\\\"b\\\\c\\nd\\te\\rf\\003g\\177h\\Ud83d\\Ude00\"\n)");
}

TEST(Description, OtherLeavesAreQuotedExceptData) {
  const NSArray list{NSNull::null(), NSDate::dateWithTimeIntervalSince1970(1577836800),
                     NSURL::URLWithString("http://h"), make<Thing>(), NSData::dataWithBytes("\1\2\3\4", 4)};
  EXPECT_EQ(list.description(),
            "(\n    \"<null>\",\n    \"2020-01-01 00:00:00 +0000\",\n    \"http://h\",\n    \"<Thing: 0x1>\",\n"
            "    {length = 4, bytes = 0x01020304}\n)");
}

TEST(Description, EmptyContainersKeepTheirBrackets) {
  EXPECT_EQ(NSArray::array().description(), "(\n)");
  EXPECT_EQ(NSDictionary::dictionary().description(), "{\n}");
  EXPECT_EQ(NSSet::set().description(), "{(\n)}");
}

TEST(Description, NestedContainersAreIndented) {
  const NSDictionary d{{"b", NSDictionary{{"c", NSNull::null()}}}, {"a", NSArray{1, "x y"}}};
  EXPECT_EQ(d.description(), R"({
    a =     (
        1,
        "x y"
    );
    b =     {
        c = "<null>";
    };
})");
}

TEST(Description, ArraysInArraysAndSets) {
  EXPECT_EQ((NSArray{1, NSArray{2, NSArray::array()}}.description()),
            "(\n    1,\n        (\n        2,\n                (\n        )\n    )\n)");
  EXPECT_EQ((NSSet{1, "b c"}.description()), "{(\n    1,\n    \"b c\"\n)}");
  EXPECT_EQ((NSCountedSet{"x", "x"}.description()), "{(\n    x [2]\n)}");
}

TEST(Description, StringKeysAreSortedOthersKeepTheirOrder) {
  EXPECT_EQ((NSDictionary{{"b", 1}, {"B", 2}, {"a", 3}}.description()),
            "{\n    B = 2;\n    a = 3;\n    b = 1;\n}");
  EXPECT_EQ((NSDictionary{{2, 1}, {1, 2}}.description()), "{\n    2 = 1;\n    1 = 2;\n}");
}

TEST(Description, AContainerInsideItselfIsNamedNotFollowed) {
  const NSMutableArray list{1};
  list.addObject(list);
  EXPECT_EQ(list.description(), "(\n    1,\n    \"<contains itself>\"\n)");
  list.removeAllObjects();
}

TEST(Description, WhatIsNestedTooDeeplyIsNamedNotShown) {
  Value v = NSArray{"core"};
  for (int i = 0; i < 511; ++i) v = NSArray{v};
  EXPECT_TRUE(v.description().containsString("core"));
  v = NSArray{v};
  EXPECT_FALSE(v.description().containsString("core"));
  EXPECT_TRUE(v.description().containsString("\"<nested too deeply>\""));
}

TEST(Description, ScalarsPrintThemselves) {
  EXPECT_EQ(Value("a b").description(), "a b");
  EXPECT_EQ(Value(true).description(), "1");
  EXPECT_EQ(Value(NSNull::null()).description(), "<null>");
}
