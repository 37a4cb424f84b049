#include "Platform/Foundation/Serialization/StringsFile.h"

#include <gtest/gtest.h>

#include <string>

#include "Platform/Foundation/Serialization/NSPropertyListSerialization.h"
#include "Platform/Foundation/Values/NSDictionary.h"

using namespace orv;

namespace {

NSDictionary table(std::string_view bytes) { return detail::readStringsFile(bytes); }

// The value of the only key, "k".
NSString value(const std::string& written) {
  return table("k = " + written + ";").objectForKey("k").as<NSString>();
}

std::string utf16(std::u16string_view text, bool bigEndian) {
  std::string bytes;
  for (const char16_t unit : text) {
    const char high = static_cast<char>(unit >> 8), low = static_cast<char>(unit & 0xFF);
    bytes += bigEndian ? high : low;
    bytes += bigEndian ? low : high;
  }
  return bytes;
}

}  // namespace

TEST(StringsFile, ReadsKeysAndTexts) {
  EXPECT_EQ(table("/* a comment */\n\"Hello\" = \"Hallo\"; // to the end\n\n\"a b\"=\"c = d;\";"),
            (NSDictionary{{"Hello", "Hallo"}, {"a b", "c = d;"}}));
  EXPECT_EQ(table("plain_Word-1.2/x:$y = other; 'single' = '\"';"),
            (NSDictionary{{"plain_Word-1.2/x:$y", "other"}, {"single", "\""}}));
  EXPECT_EQ(table("\"itself\"; word;"), (NSDictionary{{"itself", "itself"}, {"word", "word"}}));
  EXPECT_EQ(table("{ a = b; }"), (NSDictionary{{"a", "b"}}));
  EXPECT_EQ(table("a = b; a = c;"), (NSDictionary{{"a", "c"}}));
  EXPECT_EQ(table("a = b"), (NSDictionary{{"a", "b"}}));
  EXPECT_EQ(table("\"http://x\" = \"/* no comment */ // none\";"),
            (NSDictionary{{"http://x", "/* no comment */ // none"}}));
  for (const char* nothing : {"", " \n", "// only\r// comments", "/**/", "{}"})
    EXPECT_EQ(table(nothing).count(), 0u);
  EXPECT_FALSE(table("").isNil());
}

TEST(StringsFile, ReadsEscapes) {
  EXPECT_EQ(value(R"("a\n\t\r\b\f\v\a\\\"\'z")"), "a\n\t\r\b\f\v\a\\\"'z");
  EXPECT_EQ(value(R"("\U00e9\u6f22\U41")"), NSString(u"\u00E9\u6F22A"));
  EXPECT_EQ(value(R"("\Ud83d\Ude00")"), NSString(u"\U0001F600"));
  EXPECT_EQ(value(R"("\U0041B")"), "AB");
  EXPECT_EQ(value(R"("\101\1019\7")"), "AA9\a");
  EXPECT_EQ(value(R"("\q\Uzz\8")"), "qUzz8");
  EXPECT_EQ(value("\"two\\\nlines\nmore\""), "two\nlines\nmore");
}

TEST(StringsFile, ReadsEveryEncoding) {
  const std::u16string text = u"\"k\" = \"Gr\u00FC\u00DFe \u6F22\U0001F600\";";
  const NSDictionary expected{{"k", NSString(u"Gr\u00FC\u00DFe \u6F22\U0001F600")}};
  EXPECT_EQ(table(NSString(text).utf8()), expected);
  EXPECT_EQ(table("\xEF\xBB\xBF" + NSString(text).utf8()), expected);
  for (const bool bigEndian : {false, true}) {
    EXPECT_EQ(table(utf16(text, bigEndian)), expected);
    EXPECT_EQ(table(utf16(u"\uFEFF" + text, bigEndian)), expected);
  }
}

TEST(StringsFile, RefusesWhatIsNoTable) {
  for (const char* bad : {"a = ", "= b;", "a b;", "a = b c;", "\"open", "\"a\" = \"b", "a = b; }", "{ a = b;",
                          "/* open", "a = (b, c);", "a = { b = c; };", "a = <00>;", "a == b;", "a = b;;",
                          "\"a\\", "\xFF\xFE\xFF", "a = \"\xFF\";", "\xC3\xA9 = a;"})
    EXPECT_TRUE(table(bad).isNil()) << bad;
}

TEST(StringsFile, ReadsPropertyLists) {
  const NSDictionary texts{{"Hello", "Hallo"}};
  for (const auto format : {NSPropertyListXMLFormat_v1_0, NSPropertyListBinaryFormat_v1_0}) {
    const auto fileOf = [format](const Value& tree) {
      return std::string(NSPropertyListSerialization::dataWithPropertyList(tree, format, 0).view());
    };
    EXPECT_EQ(table(fileOf(texts)), texts);
    EXPECT_TRUE(table(fileOf(NSDictionary{{"n", 1}})).isNil());
    EXPECT_TRUE(table(fileOf("text")).isNil());
    EXPECT_TRUE(table(fileOf(texts).substr(0, 40)).isNil());
  }
  EXPECT_EQ(table("\xEF\xBB\xBF\n<plist><dict><key>a</key><string>b</string></dict></plist>"),
            (NSDictionary{{"a", "b"}}));
}
