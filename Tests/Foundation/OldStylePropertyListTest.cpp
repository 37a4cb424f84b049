#include <gtest/gtest.h>

#include <string>

#include "Tests/Foundation/PropertyLists.h"

using namespace orv;
using namespace plists;

TEST(OldStylePropertyList, ReadsEveryKind) {
  const std::pair<const char*, Value> cases[] = {
      {"{a = 1; b = (x, \"y z\"); d = <0fbd77>;}",
       NSDictionary{{"a", "1"}, {"b", NSArray{"x", "y z"}}, {"d", bytes("\x0f\xbd\x77")}}},
      {"word", "word"},
      {" /* a */ \"two words\" // end", "two words"},
      {"'single'", "single"},
      {"{}", NSDictionary::dictionary()},
      {"()", NSArray::array()},
      {"<>", bytes("")},
      {"< 0F bd\n77 >", bytes("\x0f\xbd\x77")},
      {"<da>", bytes("\xda")},
      {"(a, (b, {c = (d);}),)", NSArray{"a", NSArray{"b", NSDictionary{{"c", NSArray{"d"}}}}}},
      {"{a = b}", NSDictionary{{"a", "b"}}},
      {"a = b; c;", NSDictionary{{"a", "b"}, {"c", "c"}}},
      {"a = (b);", NSDictionary{{"a", NSArray{"b"}}}},
      {"\"\\U00e9\\n\\101\\\"\"", "\u00e9\nA\""},
  };
  for (const auto& [text, expected] : cases) EXPECT_TRUE(sameTree(read(text), expected)) << text << read(text);
}

TEST(OldStylePropertyList, RefusesEverythingElse) {
  const std::pair<const char*, const char*> cases[] = {
      {"{a = 1; b = }", "Unexpected character around line 1, column 13."},
      {"{a = 1;\n b = \"x;", "A quoted text has no end around line 2, column 6."},
      {"(a b)", "A comma is missing around line 1, column 4."},
      {"{a = b c = d;}", "A semicolon is missing around line 1, column 8."},
      {"(a", "A comma is missing around line 1, column 3."},
      {"{a = b;", "A dictionary has no end around line 1, column 8."},
      {"<0f0>", "Data end in half a byte around line 1, column 5."},
      {"<0g>", "Data hold something else than hexadecimal digits around line 1, column 3."},
      {"<00", "Data have no end around line 1, column 4."},
      {"/* \xC3\xA9", "A comment has no end around line 1, column 1."},
      {"{} x", "There is text after the property list around line 1, column 4."},
      {"a b", "A semicolon is missing around line 1, column 3."},
  };
  for (const auto& [text, complaint] : cases) EXPECT_EQ(complaintOf(text), complaint) << text;
  for (const char* text : {"{",
                           "(",
                           "<",
                           "}",
                           ")",
                           ">",
                           ";",
                           "=",
                           "{a;;}",
                           "{=b;}",
                           "(,)",
                           "(a,,b)",
                           "{a = {b = c;}",
                           "((a)",
                           "{(a) = b;}",
                           "\"",
                           "\"\\",
                           "\xC3\xA9",
                           "a = b; }",
                           "(a;)",
                           "{a, b}"})
    EXPECT_TRUE(complaintOf(text).length() > 0) << text;
}

TEST(OldStylePropertyList, DepthIsLimited) {
  EXPECT_TRUE(read(repeated("(", 512) + repeated(")", 512)));
  EXPECT_TRUE(read(repeated("(", 513) + repeated(")", 513)).isNil());
  EXPECT_TRUE(read(repeated("(", 100000)).isNil());
  EXPECT_TRUE(read(repeated("{a=", 100000)).isNil());
}
