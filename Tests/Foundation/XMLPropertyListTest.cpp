#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <random>
#include <string>

#include "Tests/Foundation/PropertyLists.h"

using namespace orv;
using namespace plists;

TEST(XMLPropertyList, ReadsEveryKind) {
  const std::pair<const char*, Value> cases[] = {
      {"<true/>", true},
      {"<false ></false >", false},
      {"<integer>5</integer>", 5},
      {"<integer> -9223372036854775808 </integer>", INT64_MIN},
      {"<integer>18446744073709551615</integer>", UINT64_MAX},
      {"<integer>+7</integer>", 7},
      {"<integer>0x1F</integer>", 31},
      {"<integer>010</integer>", 10},
      {"<integer>-08</integer>", -8},
      {"<real>0.1</real>", 0.1},
      {"<real>+1.5e3</real>", 1500.0},
      {"<real>-infinity</real>", -std::numeric_limits<double>::infinity()},
      {"<real>5</real>", 5.0},
      {"<date>2001-01-01T00:00:01Z</date>", dateAt(1)},
      {"<date>0001-01-01T00:00:00Z</date>", NSDate::distantPast()},
      {"<date>9999-12-31T23:59:59Z</date>", dateAt(252423993599)},
      {"<date>2000-02-29T00:00:00Z</date>", dateAt(-26524800)},
      {"<data> AAEC\n Aw== </data>", bytes(std::string_view("\0\1\2\3", 4))},
      {"<data/>", bytes("")},
      {"<string/>", ""},
      {"<string>  a\n b </string>", "  a\n b "},
      {"<string>&lt;&amp;&gt;&quot;&apos;&#65;&#x1F600;&#60;&#38;</string>", "<&>\"'A\U0001F600<&"},
      {"<string>a<![CDATA[<b>&amp;]]>c<!-- d -->e</string>", "a<b>&amp;ce"},
      {"<array/>", NSArray::array()},
      {"<dict/>", NSDictionary::dictionary()},
      {"<array><!-- </array> --><?pi </array> ?><true/></array>", NSArray{true}},
      {"<dict><key/><array a='1' b=\"'2\"><false/></array><key>&lt;</key><dict></dict></dict>",
       NSDictionary{{"", NSArray{false}}, {"<", NSDictionary::dictionary()}}},
      {"<dict><key>a</key><true/><key>a</key><integer>2</integer></dict>", NSDictionary{{"a", 2}}},
      {"<dict><key>CF$UID</key><integer>1</integer></dict>", NSDictionary{{"CF$UID", 1}}},
  };
  for (const auto& [body, expected] : cases)
    EXPECT_TRUE(sameTree(readXML(body), expected)) << body << readXML(body);
  EXPECT_TRUE(std::isnan(readXML("<real>NaN</real>").toDouble()));
}

TEST(XMLPropertyList, RefusesEverythingElse) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "The property list is empty around line 4, column 1."},
      {"<array>", "A closing tag does not match around line 4, column 1."},
      {"<array></dict>", "A closing tag does not match around line 3, column 8."},
      {"<array>x</array>", "Text stands where an element is expected around line 3, column 8."},
      {"<true/><false/>", "There is a second value around line 3, column 8."},
      {"<foo/>", "There is no such element in property lists around line 3, column 2."},
      {"<plist><true/></plist>", "A plist element stands within another around line 3, column 1."},
      {"<key>a</key>", "A key stands outside of a dictionary around line 3, column 1."},
      {"<dict><true/></dict>", "A value has no key around line 3, column 7."},
      {"<dict><key>a</key></dict>", "A key has no value around line 3, column 19."},
      {"<dict><key>a</key><key>b</key></dict>", "A key has no value around line 3, column 19."},
      {"<string>&foo;</string>", "There is no such entity around line 3, column 9."},
      {"<string>a<b/></string>", "An element stands within a text around line 3, column 10."},
      {"<integer>abc</integer>", "The text of an element is malformed around line 3, column 1."},
      {"<integer/>", "An element is empty around line 3, column 1."},
      {"<string>\x01</string>", "A control character is not allowed around line 3, column 9."},
      {"<string>\xEF\xBF\xBE</string>",
       "A code point that is no character is not allowed around line 3, column 9."},
  };
  for (const auto& [body, complaint] : cases) EXPECT_EQ(complaintOf(plist(body)), complaint) << body;
  for (const char* body : {"<integer></integer>",
                           "<integer>18446744073709551616</integer>",
                           "<integer>-9223372036854775809</integer>",
                           "<integer>- 5</integer>",
                           "<integer>-0x1</integer>",
                           "<integer>0x</integer>",
                           "<integer>1.5</integer>",
                           "<integer>+-1</integer>",
                           "<integer>1 2</integer>",
                           "<integer><!-- --></integer>",
                           "<real></real>",
                           "<real>x</real>",
                           "<real>1e999</real>",
                           "<real>1.5x</real>",
                           "<real>++1</real>",
                           "<real>+-1</real>",
                           "<real>0x1p3</real>",
                           "<real>nan(1)</real>",
                           "<real>-nan(2)</real>",
                           "<date>zz</date>",
                           "<date>2001-02-29T00:00:00Z</date>",
                           "<date>1900-02-29T00:00:00Z</date>",
                           "<date>2001-13-01T00:00:00Z</date>",
                           "<date>2001-00-01T00:00:00Z</date>",
                           "<date>2001-01-00T00:00:00Z</date>",
                           "<date>2001-01-32T00:00:00Z</date>",
                           "<date>2001-01-01T24:00:00Z</date>",
                           "<date>2001-01-01T00:60:00Z</date>",
                           "<date>2001-01-01T00:00:60Z</date>",
                           "<date>0000-01-01T00:00:00Z</date>",
                           "<date>2001-01-01</date>",
                           "<date>2001-01-01T00:00:00+01:00</date>",
                           "<data>A</data>",
                           "<data>A*AA</data>",
                           "<data>AA=A</data>",
                           "<data>====</data>",
                           "<data>A===</data>",
                           "<true>x</true>",
                           "<true><false/></true>",
                           "<string>&#0;</string>",
                           "<string>&#xD800;</string>",
                           "<string>&#x110000;</string>",
                           "<string>&#;</string>",
                           "<string>&#x;</string>",
                           "<string>&#-1;</string>",
                           "<string>&amp</string>",
                           "<string>& ;</string>",
                           "<string>a",
                           "<string>a</key>",
                           "<string><![CDATA[a</string>",
                           "<string><!-- a</string>",
                           "<!-- ",
                           "<?pi",
                           "<array",
                           "<array a=\"</array>",
                           "<array a=\"x></array>",
                           "<arrayx/>",
                           "<array></array x>",
                           "</array>",
                           "<",
                           "</",
                           "<null/>",
                           "<Array/>",
                           "<![CDATA[x]]>",
                           "<!DOCTYPE x>",
                           "\xC3\xA9"})
    EXPECT_TRUE(complaintOf(plist(body)).length() > 0) << body;
}

TEST(XMLPropertyList, TheDocumentAroundIsChecked) {
  const std::string list = "<plist><true/></plist>";
  for (const std::string& good :
       {list, "\n" + list + "\n<!-- end -->\n", "\xEF\xBB\xBF" + list, "<?xml version='1.0'?>" + list,
        "<!DOCTYPE plist PUBLIC \"-//X//DTD PLIST 1.0//EN\" \"http://x/a.dtd\">" + list,
        "<!-- <plist> -->" + list})
    EXPECT_EQ(read(good), Value(true)) << good;
  for (const std::string& bad :
       {std::string("<?xml"), std::string("<plist>"), std::string("<plist/>"), std::string("<!-- a"),
        list + "x", list + list, "x" + list, "<!DOCTYPE plist [<!ENTITY a \"b\">]>" + list,
        std::string("<!DOCTYPE plist"), "<!x>" + list, std::string("<?xml?><true/>"),
        std::string("<plistx><true/></plistx>"), std::string("<plist><true/></array>")})
    EXPECT_TRUE(complaintOf(bad).length() > 0) << bad;
}

TEST(XMLPropertyList, ReadsEveryEncoding) {
  const std::u16string text = u"<plist><string>\u00e9\u6f22\U0001F600</string></plist>";
  const Value expected = NSString(u"\u00e9\u6f22\U0001F600");
  EXPECT_EQ(read(NSString(text).utf8()), expected);
  std::string little = "\xFF\xFE", big;
  for (const char16_t u : text) {
    little += std::string{static_cast<char>(u & 0xFF), static_cast<char>(u >> 8)};
    big += std::string{static_cast<char>(u >> 8), static_cast<char>(u & 0xFF)};
  }
  EXPECT_EQ(read(little), expected);
  EXPECT_EQ(read(big), expected);
}

TEST(XMLPropertyList, RefusesEveryBeginning) {
  const std::string good =
      written(NSDictionary{{"a", NSArray{1, 2.5, dateAt(1), bytes("x"), "<&>"}}, {"\u00e9", true}}, kXML);
  for (size_t length = 0; length < good.find("</plist>") + 8; ++length) complaintOf(good.substr(0, length));
}

TEST(XMLPropertyList, DepthIsLimited) {
  const auto arrays = [](size_t n) { return repeated("<array>", n) + repeated("</array>", n); };
  EXPECT_TRUE(readXML(arrays(512)));
  for (const size_t levels : {513u, 100000u}) {
    EXPECT_EQ(complaintOf(plist(arrays(levels))).utf8().substr(0, 21), "Arrays and dictionari");
    EXPECT_TRUE(readXML(repeated("<array>", levels)).isNil());
    EXPECT_TRUE(readXML(repeated("<dict><key>a</key>", levels)).isNil());
    EXPECT_TRUE(readXML(repeated("<array><!-- </array> -->", levels)).isNil());
  }
  EXPECT_EQ(read(written(nested(512), kXML)), nested(512));
}

TEST(XMLPropertyList, MutatedFilesAreReadOrRefused) {
  const std::string good = written(NSDictionary{{"a", NSArray{1, -2, UINT64_MAX, 2.5, true, "t<&>", "\u6f22"}},
                                                {"d", dateAt(1)},
                                                {"b", bytes("data")}},
                                   kXML);
  constexpr std::string_view kPieces[] = {"<array>", "</array>", "<dict>", "</dict>", "<",         ">",
                                          "&",       ";",        "<!--",   "-->",     "<![CDATA[", "]]>",
                                          "/",       "\"",       "-",      "0",       "\x80"};
  std::mt19937 random(12);
  for (int i = 0; i < 20000; ++i) {
    std::string bad = good;
    for (auto n = random() % 3 + 1; n > 0; --n) {
      const std::string_view piece = kPieces[random() % std::size(kPieces)];
      bad.replace(random() % bad.size(), random() % 8, piece);
    }
    const Value tree = read(bad);
    ASSERT_TRUE(tree.isNil() || sameTree(read(written(tree)), tree)) << bad;
  }
}

TEST(XMLPropertyList, WritesTheUsualForm) {
  const NSArray list{-1, UINT64_MAX, 0.5, true, "<&>", dateAt(1.75), NSDate::distantPast(), bytes("abc")};
  const std::string file = written(NSDictionary{{"a", list}}, kXML);
  EXPECT_TRUE(file.starts_with("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC "));
  EXPECT_EQ(file.substr(file.find("<plist")),
            "<plist version=\"1.0\">\n<dict>\n\t<key>a</key>\n\t<array>\n"
            "\t\t<integer>-1</integer>\n\t\t<integer>18446744073709551615</integer>\n\t\t<real>0.5</real>\n"
            "\t\t<true/>\n\t\t<string>&lt;&amp;&gt;</string>\n\t\t<date>2001-01-01T00:00:01Z</date>\n"
            "\t\t<date>0001-01-01T00:00:00Z</date>\n"
            "\t\t<data>\n\t\tYWJj\n\t\t</data>\n\t</array>\n</dict>\n</plist>\n");
  EXPECT_EQ(read(written(dateAt(-0.5), kXML)), dateAt(-1));  // rounded down
  EXPECT_EQ(read(written(-0.0, kXML)), Value(0.0));
  EXPECT_EQ(read(written("a\r\nb\rc", kXML)), "a\r\nb\rc");
  EXPECT_TRUE(written("a\rb", kXML).find("a&#13;b") != std::string::npos);
  EXPECT_EQ(read(written(dateAt(-63113904000), kXML)), dateAt(-63113904000));  // the first day of the year 1
  EXPECT_TRUE(
      NSPropertyListSerialization::dataWithPropertyList(dateAt(-63113904001), NSPropertyListXMLFormat_v1_0, 0)
          .isNil());
  const std::string data = repeated("0123456789", 100);
  EXPECT_EQ(read(written(NSArray{NSArray{bytes(data)}}, kXML)), (NSArray{NSArray{bytes(data)}}));
}

TEST(XMLPropertyList, LineEndsAreLineFeeds) {
  EXPECT_EQ(readXML("<string>a\r\nb\rc<![CDATA[\r\n]]>&#13;</string>"), "a\nb\nc\n\r");
}

TEST(XMLPropertyList, LargeDictionariesAreReadInLinearTime) {
  const NSMutableDictionary tree = NSMutableDictionary::dictionary();
  for (int i = 0; i < 200000; ++i) tree.setObjectForKey(i, NSString("key" + std::to_string(i)));
  EXPECT_EQ(read(written(tree, kXML)), tree);
}

TEST(XMLPropertyList, NumbersDoNotFollowTheLocale) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "C.UTF-8"}) {
    if (!std::setlocale(LC_ALL, name)) continue;
    EXPECT_EQ(readXML("<real>0.5</real>"), Value(0.5));
    EXPECT_NE(written(0.5, kXML).find("<real>0.5</real>"), std::string::npos);
  }
  std::setlocale(LC_ALL, before.c_str());
}
