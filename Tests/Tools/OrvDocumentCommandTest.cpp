#include <string>
#include <utility>

#include "Platform/Foundation/Foundation.h"
#include "Tests/Tools/OrvHarness.h"

using orv::Value;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

void expectRefused(Arguments arguments, const std::string& message, std::string input = "") {
  const ProcessResult result = runOrv(std::move(arguments), std::move(input));
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(result.error, StartsWith(message));
  EXPECT_EQ(linesOf(result.error).size(), 1u);
}

std::string binaryOf(const Value& tree) {
  return std::string(
      NSPropertyListSerialization::dataWithPropertyList(tree, NSPropertyListBinaryFormat_v1_0, 0).view());
}

Value treeOf(const std::string& propertyList) {
  return NSPropertyListSerialization::propertyListWithData(NSData::dataWithBytes(propertyList), 0);
}

}  // namespace

// ---- json

TEST(OrvJSON, FormatsFilesAndStandardInput) {
  const std::string pretty = "{\n  \"b\" : [\n    1,\n    \"a/b\"\n  ],\n  \"a\" : null\n}\n";
  const std::string text = "{\"b\":[1,\"a/b\"],\"a\":null}";
  writeFile("a.json", text);
  EXPECT_EQ(printed({"json", "a.json"}), pretty);
  EXPECT_EQ(printed({"json", "--pretty", "a.json"}), pretty);
  EXPECT_EQ(printed({"json", "--compact", "a.json"}), text + "\n");
  EXPECT_EQ(printed({"json"}, text), pretty);
  EXPECT_EQ(printed({"json", "--compact", "-"}, " " + pretty), text + "\n");
  EXPECT_EQ(printed({"json"}, "\"\xC3\xA9\""), "\"\xC3\xA9\"\n");
  EXPECT_EQ(printed({"json", "--compact"}, "[0.1, 18446744073709551615, 12345678901234567890.125]"),
            "[0.1,18446744073709551615,12345678901234567890.125]\n");
}

TEST(OrvJSON, MalformedTextIsToldWithLineAndColumn) {
  writeFile("bad.json", "{\n  \"a\": 1,\n  oops\n}");
  expectRefused({"json", "bad.json"}, "orv: bad.json:3:3: ");
  expectRefused({"json"}, "orv: standard input:1:", "[1,]");
  expectRefused({"json", "get", "a", "bad.json"}, "orv: bad.json:3:3: ");
  expectRefused({"json", "missing.json"}, "orv: missing.json: No such file or directory");
  expectRefused({"json"}, "orv: standard input:1:1: Unable to parse empty data.");
  EXPECT_EQ(runOrv({"json", "--pretty", "--compact"}).exitStatus, 2);
}

TEST(OrvJSON, LooksUpValues) {
  writeFile("a.json", R"({"list": [{"name": "x\ty"}, 2.5], "n": null, "": {"": 7}, "t": true})");
  const std::pair<const char*, const char*> cases[] = {
      {"list.0.name", "x\ty\n"}, {"list.1", "2.5\n"}, {"n", "null\n"}, {"t", "true\n"}, {".", "7\n"}};
  for (const auto& [path, value] : cases) EXPECT_EQ(printed({"json", "get", path, "a.json"}), value) << path;
  EXPECT_EQ(printed({"json", "get", "list", "a.json", "--compact"}), "[{\"name\":\"x\\ty\"},2.5]\n");
  EXPECT_EQ(printed({"json", "get", "list.0", "-"}, "{\"list\": [[1]]}"), "[\n  1\n]\n");
  EXPECT_EQ(printed({"json", "get", "", "-", "--compact"}, "[1]"), "[1]\n");
  for (const char* path :
       {"no", "list.2", "list.-1", "list.x", "list.0.name.x", "list.", "t.0", "list.00000000000000000000001x"})
    expectRefused({"json", "get", path, "a.json"}, std::string("orv: a.json: there is nothing at ") + path);
  EXPECT_EQ(runOrv({"json", "get"}).exitStatus, 2);
}

TEST(OrvJSON, ComparesInsideOut) {
  const auto diff = [](const std::string& a, const std::string& b) {
    writeFile("a.json", a);
    writeFile("b.json", b);
    const ProcessResult result = runOrv({"json", "diff", "a.json", "b.json"});
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.exitStatus, result.output.empty() ? 0 : 1);
    return result.output;
  };
  EXPECT_EQ(diff("{\"a\": [1, 2]}", "{ \"a\":[1.0,2] }"), "");
  EXPECT_EQ(diff("{\"a\": 1, \"b\": 2}", "{\"b\": 2, \"a\": 1}"), "");
  EXPECT_EQ(diff("{\"a\": [{\"b\": 1}]}", "{\"a\": [{\"b\": \"1\"}]}"),
            "a.0.b: Not deep equal at 1 != 1 [NSNumber =! NSString]\n");
  EXPECT_EQ(diff("[1, [2, 3]]", "[1, [2, 4]]"), "1.1: Not deep equal at 3 != 4 [NSNumber =! NSNumber]\n");
  EXPECT_EQ(diff("[1]", "[1, 2]"), "1: Not deep equal at (null) != 2 [(null) =! NSNumber]\n");
  EXPECT_EQ(diff("{\"a\": {\"b\": 1}}", "{\"a\": {}}"),
            "a.b: Not deep equal at 1 != (null) [NSNumber =! (null)]\n");
  EXPECT_EQ(diff("{}", "{\"k\": null}"), "k: Not deep equal at (null) != <null> [(null) =! NSNull]\n");
  EXPECT_EQ(diff("\"x\"", "1"), ".: Not deep equal at x != 1 [NSString =! NSNumber]\n");
  writeFile("bad.json", "[");
  expectRefused({"json", "diff", "a.json", "bad.json"}, "orv: bad.json:1:");
  EXPECT_EQ(printed({"json", "diff", "a.json", "-"}, "\"x\""), "");
}

TEST(OrvJSON, WritesFilesInOneStep) {
  writeFile("a.json", "[1]");
  EXPECT_EQ(printed({"json", "--compact", "a.json", "-o", "out.json"}), "");
  EXPECT_EQ(readFile(place("out.json")), "[1]\n");
  EXPECT_EQ(printed({"json", "a.json", "-o", "a.json"}), "");
  EXPECT_EQ(readFile(place("a.json")), "[\n  1\n]\n");
  fs::create_symlink("out.json", place("link.json"));
  EXPECT_EQ(printed({"json", "get", "0", "a.json", "-o", "link.json"}), "");
  EXPECT_TRUE(fs::is_symlink(place("link.json")));
  EXPECT_EQ(readFile(place("out.json")), "1\n");
  fs::create_symlink("made.json", place("dangling.json"));
  EXPECT_EQ(printed({"json", "--compact", "a.json", "-o", "dangling.json"}), "");
  EXPECT_TRUE(fs::is_symlink(place("dangling.json")));
  EXPECT_EQ(readFile(place("made.json")), "[1]\n");
  writeFile("bad.json", "[");
  EXPECT_EQ(runOrv({"json", "bad.json", "-o", "out.json"}).exitStatus, 1);
  EXPECT_EQ(readFile(place("out.json")), "1\n");
  expectRefused({"json", "a.json", "-o", "missing/out.json"}, "orv: missing/out.json: No such file");
}

// ---- plist

TEST(OrvPropertyList, TurnsEveryFormIntoJSON) {
  const NSDictionary tree{{"n", UINT64_MAX},
                          {"d", NSDate::dateWithTimeIntervalSinceReferenceDate(0.5)},
                          {"b", NSData::dataWithBytes("abc")},
                          {"l", NSArray{true, "x", NSDictionary{{"k", -1.5}}}}};
  writeFile("a.plist", binaryOf(tree));
  EXPECT_EQ(printed({"plist", "to-json", "--compact", "a.plist"}),
            "{\"n\":18446744073709551615,\"d\":\"2001-01-01T00:00:00.500Z\",\"b\":\"YWJj\","
            "\"l\":[true,\"x\",{\"k\":-1.5}]}\n");
  EXPECT_EQ(printed({"plist", "to-json"}, "{a = (b, <00>);}"),
            "{\n  \"a\" : [\n    \"b\",\n    \"AA==\"\n  ]\n}\n");
  EXPECT_EQ(printed({"plist", "to-json", "-"}, "<plist><integer>5</integer></plist>"), "5\n");
  expectRefused({"plist", "to-json"}, "orv: standard input: *** +[NSJSONSerialization dataWithJSONObject",
                "<plist><real>nan</real></plist>");
}

TEST(OrvPropertyList, ComesFromJSON) {
  const NSDictionary tree{{"a", NSArray{1, 2.5, "x", false}}};
  const std::string text = "{\"a\": [1, 2.5, \"x\", false]}";
  EXPECT_THAT(printed({"plist", "from-json"}, text), HasSubstr("<key>a</key>"));
  EXPECT_EQ(treeOf(printed({"plist", "from-json"}, text)), tree);
  EXPECT_EQ(printed({"plist", "from-json", "--binary"}, text), binaryOf(tree));
  EXPECT_EQ(printed({"plist", "from-json", "--binary", "-o", "out.plist"}, text), "");
  EXPECT_EQ(readFile(place("out.plist")), binaryOf(tree));
  expectRefused({"plist", "from-json"}, "orv: standard input: Property list invalid for format: 100 (",
                "[null]");
  expectRefused({"plist", "from-json"}, "orv: standard input:1:2: ", "[");
}

TEST(OrvPropertyList, PrintsWhatItHolds) {
  writeFile("a.plist", binaryOf(NSDictionary{{"a", NSArray{1, "x y"}}}));
  EXPECT_EQ(printed({"plist", "print", "a.plist"}),
            "{\n    a =     (\n        1,\n        \"x y\"\n    );\n}\n");
  EXPECT_EQ(printed({"plist", "print"}, "word"), "word\n");
}

TEST(OrvPropertyList, MalformedListsAreToldWithTheirPlace) {
  expectRefused({"plist", "print"}, "orv: standard input:2:4: A semicolon is missing", "{a = b;\n a b;}");
  expectRefused({"plist", "print"}, "orv: standard input:2:2: There is no such element",
                "<plist>\n<x/></plist>");
  expectRefused({"plist", "to-json"}, "orv: standard input: The binary property list is too short", "bplist00");
  expectRefused({"plist", "print"}, "orv: standard input: stream had too few bytes");
  expectRefused({"plist", "print", "missing"}, "orv: missing: No such file or directory");
  for (const Arguments& wrong : {Arguments{"plist"}, Arguments{"plist", "what"}})
    EXPECT_EQ(runOrv(wrong).exitStatus, 2);
}
