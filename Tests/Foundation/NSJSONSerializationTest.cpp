#include "Platform/Foundation/Serialization/NSJSONSerialization.h"

#include <gtest/gtest.h>

#include <rapidcheck.h>
#include <charconv>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>
#include <string>

#include "Platform/Foundation/Foundation.h"
#include "Platform/Foundation/Serialization/Detail/JSONWriter.h"

using namespace orv;

namespace {

NSData bytes(std::string_view text) { return NSData::dataWithBytes(text.data(), text.size()); }

Value read(std::string_view text, NSUInteger options = 0) {
  return NSJSONSerialization::JSONObjectWithData(bytes(text), options);
}

Value readFragment(std::string_view text) { return read(text, NSJSONReadingFragmentsAllowed); }

NSError errorOf(std::string_view text, NSUInteger options = 0) {
  NSError error;
  EXPECT_TRUE(NSJSONSerialization::JSONObjectWithData(bytes(text), options, &error).isNil()) << text;
  EXPECT_TRUE(error) << text;
  return error;
}

std::string written(const Value& tree, NSUInteger options = 0) {
  const NSData data = NSJSONSerialization::dataWithJSONObject(tree, options | NSJSONWritingFragmentsAllowed);
  return {reinterpret_cast<const char*>(data.bytes()), data.length()};
}

NSString reasonOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const NSException& exception) {
    EXPECT_EQ(exception.name(), NSInvalidArgumentException);
    return exception.reason();
  }
  return nil;
}

std::string repeated(std::string_view text, size_t times) {
  std::string all;
  for (size_t i = 0; i < times; ++i) all += text;
  return all;
}

}  // namespace

// ---- Reading

TEST(NSJSONReading, ReadsEveryKindOfValue) {
  EXPECT_EQ(read(" [1, -2.5, \"a\\u00e9\\n\", true, false, null, {}, []] "),
            Value(NSArray{1, -2.5, "a\u00e9\n", true, false, NSNull::null(), NSDictionary::dictionary(),
                          NSArray::array()}));
  EXPECT_EQ(read(R"({"a": {"b": [18446744073709551615]}})"),
            Value(NSDictionary{{"a", NSDictionary{{"b", NSArray{UINT64_MAX}}}}}));
}

TEST(NSJSONReading, NumbersKeepTheirKind) {
  const std::pair<const char*, Kind> cases[] = {{"7", Kind::Int},
                                                {"-7", Kind::Int},
                                                {"0", Kind::Int},
                                                {"9223372036854775807", Kind::Int},
                                                {"-9223372036854775808", Kind::Int},
                                                {"9223372036854775808", Kind::UInt},
                                                {"18446744073709551615", Kind::UInt},
                                                {"7.0", Kind::Double},
                                                {"1e2", Kind::Double},
                                                {"-0", Kind::Double},
                                                {"12345678901234567.5", Kind::Decimal},
                                                {"18446744073709551616", Kind::BigDecimal},
                                                {"1e400000000000000000000", Kind::Nil},
                                                {"1e-400000000000000000000", Kind::Double}};
  for (const auto& [text, kind] : cases) EXPECT_EQ(readFragment(text).kind(), kind) << text;
}

TEST(NSJSONReading, NumbersHaveTheirValue) {
  EXPECT_EQ(readFragment("-9223372036854775808"), Value(INT64_MIN));
  EXPECT_EQ(readFragment("1.0E+2").description(), "100");
  EXPECT_EQ(readFragment("1E5"), Value(100000));
  EXPECT_TRUE(std::signbit(readFragment("-0").as<NSNumber>().doubleValue()));
  EXPECT_EQ(readFragment("0.1"), Value(0.1));
  EXPECT_EQ(readFragment("2.2250738585072011e-308"), Value(2.2250738585072011e-308));
  EXPECT_EQ(readFragment("1e-400"), Value(0.0));
  EXPECT_EQ(readFragment("0.00000000000000000000000000000000000000000123").as<NSNumber>().doubleValue(),
            1.23e-42);
  EXPECT_EQ(readFragment("1234567890.12345678901").description(), "1234567890.12345678901");
  EXPECT_EQ(readFragment("-340282366920938463463374607431768211455").kind(), Kind::Double);  // 39 digits
}

TEST(NSJSONReading, DoublesAgreeWithTheCLibrary) {
  std::mt19937_64 random(5);
  for (int i = 0; i < 200'000; ++i) {
    char text[64];
    const auto value = __builtin_bit_cast(double, random());
    if (!std::isfinite(value)) continue;
    std::snprintf(text, sizeof text, "%.*e", static_cast<int>(random() % 17), value);
    const double expected = std::strtod(text, nullptr);
    ASSERT_EQ(readFragment(text), std::isfinite(expected) ? Value(expected) : Value()) << text;
    std::snprintf(text, sizeof text, "%.*f", static_cast<int>(random() % 8),
                  static_cast<double>(random() % 1'000'000'000) / 997);
    ASSERT_EQ(readFragment(text), Value(std::strtod(text, nullptr))) << text;
  }
}

TEST(NSJSONReading, StringsUndoTheirEscapes) {
  EXPECT_EQ(readFragment(R"("\"\\\/\b\f\n\r\t\u0041")"), Value("\"\\/\b\f\n\r\tA"));
  EXPECT_EQ(readFragment(R"("\ud83d\ude00 \u00DF")"), Value("\U0001F600 \u00df"));
  EXPECT_EQ(readFragment(R"("\u0000")").as<NSString>().length(), 1u);
  EXPECT_EQ(readFragment("\"\x7F\u2028\U0001F600\""), Value("\x7F\u2028\U0001F600"));
}

TEST(NSJSONReading, StringsOfEveryLengthEndWhereTheyEnd) {
  for (size_t length = 0; length < 70; ++length)
    for (const char* end : {"", "\\n", "\u00e9", "\\\"", "\u20ac"}) {
      const std::string plain(length, 'x');
      const std::string text = "[\"" + plain + end + "\",\"" + end + plain + "\"]";
      const auto expected = nlohmann::json::parse(text);
      EXPECT_EQ(read(text), Value(NSArray{expected[0].get<std::string>(), expected[1].get<std::string>()}))
          << text;
    }
}

TEST(NSJSONReading, OfARepeatedKeyTheLastValueCounts) {
  EXPECT_EQ(read(R"({"a":1,"b":2,"a":3})"), Value(NSDictionary{{"a", 3}, {"b", 2}}));
  EXPECT_EQ(read(R"({"":1,"":2})"), Value(NSDictionary{{"", 2}}));
  EXPECT_EQ(
      read(R"([{"k":{"x":1},"k":{"x":2}},{"k":{"x":3}}])"),
      Value(NSArray{NSDictionary{{"k", NSDictionary{{"x", 2}}}}, NSDictionary{{"k", NSDictionary{{"x", 3}}}}}));
}

TEST(NSJSONReading, RecordsWithEqualAndWithDifferentKeysKeepTheirOwn) {
  EXPECT_EQ(
      read(R"([{"a":1,"b":2},{"a":3,"b":4},{"a":5},{"a":6,"b":7,"c":8},{"b":9,"a":10},{"a\"":1},{"a\"":2}])"),
      Value(NSArray{NSDictionary{{"a", 1}, {"b", 2}}, NSDictionary{{"a", 3}, {"b", 4}}, NSDictionary{{"a", 5}},
                    NSDictionary{{"a", 6}, {"b", 7}, {"c", 8}}, NSDictionary{{"b", 9}, {"a", 10}},
                    NSDictionary{{"a\"", 1}}, NSDictionary{{"a\"", 2}}}));
}

TEST(NSJSONReading, LargeRecordsFindTheirKeys) {
  std::string record = "{";
  for (int i = 0; i < 40; ++i)
    record += (i ? ",\"key" : "\"key") + std::to_string(i) + "\":" + std::to_string(i);
  const Value tree = read("[" + record + "}," + record + "}," + record + ",\"more\":1}]");
  for (const Value& element : tree.as<NSArray>())
    for (int i = 0; i < 40; ++i) EXPECT_EQ(element.valueForKey(NSString("key" + std::to_string(i))), Value(i));
  EXPECT_EQ(tree.as<NSArray>()[2].valueForKey("more"), Value(1));
}

TEST(NSJSONReading, ContainersAreMutableOnDemand) {
  const Value fixed = read(R"({"a":[1]})");
  EXPECT_FALSE(fixed.isKindOf<NSMutableDictionary>());
  const auto open = read(R"({"a":[1]})", NSJSONReadingMutableContainers).as<NSMutableDictionary>();
  ASSERT_TRUE(open);
  open["a"].as<NSMutableArray>().addObject(2);
  open.setObjectForKey("x", "b");
  EXPECT_EQ(open, (NSDictionary{{"a", NSArray{1, 2}}, {"b", "x"}}));
}

TEST(NSJSONReading, RefusesWhatIsNotJSON) {
  const char* const cases[] = {"[1,]",
                               "[,1]",
                               "[1 2]",
                               "{\"a\"}",
                               "{\"a\":}",
                               "{\"a\":1,}",
                               "{a:1}",
                               "{'a':1}",
                               "['a']",
                               "[NaN]",
                               "[Infinity]",
                               "[+1]",
                               "[01]",
                               "[-01]",
                               "[.5]",
                               "[1.]",
                               "[1.e5]",
                               "[1e]",
                               "[1e+]",
                               "[-]",
                               "[1a]",
                               "[tru]",
                               "[truex]",
                               "[\"a\tb\"]",
                               "[\"\\x\"]",
                               "[\"\\u12\"]",
                               "[\"\\u12g4\"]",
                               "[\"\\ud800\"]",
                               "[\"\\udc00\"]",
                               "[\"\\ud800\\u0041\"]",
                               "[\"abc]",
                               "[1",
                               "{",
                               "[",
                               "]",
                               "}",
                               "[}",
                               "{]",
                               "[1]]",
                               "[1] 2",
                               "[1]x",
                               "// c\n[1]",
                               "[1/**/]",
                               "[\"a\" \"b\"]",
                               "[\"a\"b]",
                               "[1\"a\"]",
                               "[\f1]",
                               "[\xC3]",
                               "[\"\xC3\"]",
                               "[\"\xED\xA0\x80\"]",
                               "[1:2]",
                               "{1:2}",
                               "{\"a\" 1}",
                               "{\"a\":1 \"b\":2}",
                               ",",
                               ":",
                               "[\"\\\"]",
                               "[\xC2\xA0"
                               "1]",
                               "[1,\n\n}",
                               "{\"a\":1]",
                               "[--1]",
                               "[1e400]",
                               "[-1e999]",
                               "[\"\\",
                               "\"",
                               "  ",
                               "[1] \"",
                               "[\"\x01\"]"};
  for (const char* text : cases) {
    const NSError error = errorOf(text);
    EXPECT_EQ(error.domain(), NSCocoaErrorDomain) << text;
    EXPECT_EQ(error.code(), 3840) << text;
    EXPECT_TRUE(error.userInfo()[NSDebugDescriptionErrorKey].isKindOf<NSString>()) << text;
    EXPECT_FALSE(nlohmann::json::accept(text)) << text;
  }
}

TEST(NSJSONReading, ErrorsSayWhereAndWhat) {
  struct Case {
    std::string_view text;
    const char* description;
    int index, line, column;
  };
  const Case cases[] = {
      {"[1,\n  }", "Badly formed object around line 2, column 3.", 6, 2, 3},
      {"{\"a\":1,}", "No string key for value in object around line 1, column 8.", 7, 1, 8},
      {"[\"\u00e9\", tru]", "Invalid value around line 1, column 7.", 7, 1, 7},
      {"[1] x", "Garbage at end around line 1, column 5.", 4, 1, 5},
      {"[\"abc", "Unterminated string around line 1, column 2.", 1, 1, 2},
      {"[1, \"a\x02\"]", "Unescaped control character around line 1, column 7.", 6, 1, 7},
      {"[x, \"a\x02\"]", "Invalid value around line 1, column 2.", 1, 1, 2},
      {"[1, \"\xFF\"]", "Unable to convert data to string around line 1, column 6.", 5, 1, 6},
      {"[\"a\\q\"]", "Invalid escape sequence around line 1, column 4.", 3, 1, 4},
      {"[1", "Unexpected end of file during JSON parse around line 1, column 3.", 2, 1, 3},
      {"[1e400]", "Number wound up as NaN/infinity around line 1, column 2.", 1, 1, 2},
      {"1", "JSON text did not start with array or object and option to allow fragments not set.", 0, 1, 1}};
  for (const Case& c : cases) {
    const NSDictionary info = errorOf(c.text).userInfo();
    EXPECT_EQ(info[NSDebugDescriptionErrorKey], Value(c.description)) << c.text;
    EXPECT_EQ(info[NSJSONSerializationErrorIndex], Value(c.index)) << c.text;
    EXPECT_EQ(info[NSJSONSerializationErrorLine], Value(c.line)) << c.text;
    EXPECT_EQ(info[NSJSONSerializationErrorColumn], Value(c.column)) << c.text;
  }
}

TEST(NSJSONReading, FragmentsAreReadOnDemand) {
  for (const char* text : {"1", "\"a\"", "null", "true"}) {
    EXPECT_TRUE(read(text).isNil()) << text;
    EXPECT_FALSE(readFragment(text).isNil()) << text;
  }
}

TEST(NSJSONReading, FiveHundredTwelveLevelsAreReadAndOneMoreIsNot) {
  EXPECT_TRUE(read(repeated("[", 512) + repeated("]", 512)));
  EXPECT_EQ(errorOf(repeated("[", 513) + repeated("]", 513)).userInfo()[NSDebugDescriptionErrorKey],
            Value("Too many nested arrays or dictionaries around line 1, column 513."));
  errorOf(repeated("[", 100'000));
  errorOf(repeated("{\"a\":", 100'000));
}

TEST(NSJSONReading, ReadsEveryUnicodeEncodingWithAndWithoutMark) {
  const std::u32string text = U"{\"a\": [1, \"\u00e9\U0001F600\"]}";
  const Value expected = NSDictionary{{"a", NSArray{1, "\u00e9\U0001F600"}}};
  const auto encode = [](const std::u32string& units, size_t width, bool bigEndian) {
    std::string out;
    const auto put = [&](char32_t unit) {
      for (size_t i = 0; i < width; ++i)
        out += static_cast<char>(unit >> 8 * (bigEndian ? width - 1 - i : i) & 0xFF);
    };
    for (const char32_t c : units) {
      if (width == 2 && c > 0xFFFF) {
        put(0xD7C0 + (c >> 10));
        put(0xDC00 + (c & 0x3FF));
      } else {
        put(c);
      }
    }
    return out;
  };
  for (const size_t width : {size_t{2}, size_t{4}})
    for (const bool bigEndian : {false, true}) {
      EXPECT_EQ(read(encode(text, width, bigEndian)), expected) << width << bigEndian;
      EXPECT_EQ(read(encode(U"\uFEFF" + text, width, bigEndian)), expected) << width << bigEndian;
      const NSDictionary info = errorOf(encode(U"[\"\U0001F600\", x]", width, bigEndian)).userInfo();
      EXPECT_EQ(info[NSJSONSerializationErrorIndex], Value(width == 2 ? 14 : 24));
      EXPECT_EQ(info[NSJSONSerializationErrorColumn], Value(7));
    }
  EXPECT_EQ(read("\xEF\xBB\xBF[1]"), Value(NSArray{1}));
  errorOf(std::string_view("\x00[\x00\xD8", 4));
  errorOf(std::string_view("[\x00\x31", 3));
}

TEST(NSJSONReading, TextsThatCannotBeDecodedSayWhere) {
  const NSDictionary info = errorOf(std::string_view("\xFF\xFE[\0\"\0\x00\xD8\"\0]\0", 12)).userInfo();
  EXPECT_EQ(info[NSJSONSerializationErrorIndex], Value(6));
  EXPECT_EQ(info[NSJSONSerializationErrorColumn], Value(3));
  EXPECT_EQ(errorOf("").userInfo()[NSJSONSerializationErrorLine], Value(1));
}

namespace {

// Reads when the thread-local values of its thread are gone.
struct ReadsAtTheEnd {
  ~ReadsAtTheEnd() {
    if (read(R"( {"a\"" : [ 1 , "b" ,true]} )") != Value(NSDictionary{{"a\"", NSArray{1, "b", true}}}))
      std::abort();
    for (const char* bad : {"[1\"a\"]", "[\"a", "[\"\x01\"]", "[\xFF]", "[1,]", ""})
      if (!read(bad).isNil()) std::abort();
  }
};
ReadsAtTheEnd readsAtTheEnd;

}  // namespace

TEST(NSJSONReading, ReadsWhileTheProcessEnds) { EXPECT_TRUE(read("[1]")); }

TEST(NSJSONReading, EmptyDataIsAnErrorAndNilRaises) {
  EXPECT_EQ(errorOf("").code(), 3840);
  EXPECT_EQ(reasonOf([] { NSJSONSerialization::JSONObjectWithData(nil, 0); }),
            "*** +[NSJSONSerialization JSONObjectWithData:options:error:]: data parameter is nil");
}

// ---- Writing

TEST(NSJSONWriting, CompactFormHasNoBlanks) {
  EXPECT_EQ(written(NSDictionary{{"a", NSArray{1, 2}}}), R"({"a":[1,2]})");
  EXPECT_EQ(written(NSDictionary::dictionary()), "{}");
  EXPECT_EQ(written(NSArray{true, false, NSNull::null(), "x"}), R"([true,false,null,"x"])");
}

TEST(NSJSONWriting, PrettyFormIsIndentedAndSorted) {
  const Value tree =
      NSDictionary{{"s", "x"}, {"e", NSArray::array()}, {"a", NSArray{1, NSDictionary{{"b", NSNull::null()}}}}};
  EXPECT_EQ(written(tree, NSJSONWritingPrettyPrinted | NSJSONWritingSortedKeys),
            "{\n  \"a\" : [\n    1,\n    {\n      \"b\" : null\n    }\n  ],\n  \"e\" : [\n\n  ],\n  \"s\" : "
            "\"x\"\n}");
  EXPECT_EQ(written(NSDictionary::dictionary(), NSJSONWritingPrettyPrinted), "{\n\n}");
}

TEST(NSJSONWriting, KeysAreSortedByCodeUnit) {
  EXPECT_EQ(
      written(NSDictionary{{"a10", 1}, {"B", 2}, {"a2", 3}, {"\u00e9", 4}, {"", 5}}, NSJSONWritingSortedKeys),
      "{\"\":5,\"B\":2,\"a10\":1,\"a2\":3,\"\u00e9\":4}");
  EXPECT_EQ(written(NSDictionary{{"b", 1}, {"a", 2}}), R"({"b":1,"a":2})");
}

TEST(NSJSONWriting, StringsAreEscapedWhereNeeded) {
  EXPECT_EQ(written("\"\\/\b\f\n\r\t\x07\x1F\x7F\u00e9\u2028\U0001F600"),
            "\"\\\"\\\\\\/\\b\\f\\n\\r\\t\\u0007\\u001f\x7F\u00e9\u2028\U0001F600\"");
  EXPECT_EQ(written("a/b", NSJSONWritingWithoutEscapingSlashes), "\"a/b\"");
}

TEST(NSJSONWriting, EveryPlaceOfALongStringIsEscaped) {
  for (size_t length = 0; length < 50; ++length)
    for (size_t at = 0; at <= length; ++at)
      for (const char* special : {"\n", "\"", "\u00e9", "\u20ac"}) {
        std::string text(length, 'x');
        text.insert(at, special);
        ASSERT_EQ(written(text), nlohmann::json(text).dump()) << length << ' ' << at;
      }
}

TEST(NSJSONWriting, NumbersHaveTheirShortestText) {
  const std::pair<Value, const char*> cases[] = {
      {3.0, "3"},
      {-0.0, "-0"},
      {0.0, "0"},
      {1e15, "1000000000000000"},
      {1e16, "10000000000000000"},
      {66109432037797136.0, "66109432037797136"},
      {9007199254740994.0, "9007199254740994"},
      {1e17, "1e+17"},
      {1e21, "1e+21"},
      {1e-7, "1e-07"},
      {0.0001, "0.0001"},
      {0.00001234, "1.234e-05"},
      {0.1, "0.1"},
      {129.9, "129.9"},
      {12.1, "12.1"},
      {-12.345, "-12.345"},
      {0.005, "0.005"},
      {1.0 / 3, "0.3333333333333333"},
      {123456789012.5, "123456789012.5"},
      {2.5e-300, "2.5e-300"},
      {std::numeric_limits<double>::max(), "1.7976931348623157e+308"},
      {std::numeric_limits<double>::denorm_min(), "5e-324"},
      {INT64_MIN, "-9223372036854775808"},
      {UINT64_MAX, "18446744073709551615"},
      {NSDecimalNumber::decimalNumberWithString("0.0001"), "0.0001"},
      {NSDecimalNumber::decimalNumberWithString("12345678901234567890.123"), "12345678901234567890.123"}};
  for (const auto& [value, text] : cases) EXPECT_EQ(written(value), text);
}

TEST(NSJSONWriting, DoublesReadBackAndAreNoLongerThanNeeded) {
  std::mt19937_64 random(3);
  for (int i = 0; i < 300'000; ++i) {
    double value = __builtin_bit_cast(double, random());
    if (i % 3 == 1) value = static_cast<double>(random() % 100'000'000'000) / 1000;
    if (i % 3 == 2) value = std::round(static_cast<double>(random() % 1'000'000)) / 100;
    if (!std::isfinite(value)) continue;
    char ours[40];
    const std::string text(ours, detail::writeJSONDouble(value, ours));
    ASSERT_EQ(std::strtod(text.c_str(), nullptr), value) << text;
    char shortest[40];
    const auto digits = [](std::string_view number) {
      std::string all;
      for (const char c : number.substr(0, number.find('e')))
        if (c >= '0' && c <= '9') all += c;
      all.erase(0, all.find_first_not_of('0'));
      while (!all.empty() && all.back() == '0') all.pop_back();
      return all;
    };
    const std::string reference(
        shortest, std::to_chars(shortest, shortest + 40, value, std::chars_format::scientific).ptr);
    const bool hasIntegerText = std::fabs(value) >= 1e15 && std::fabs(value) < 1e17;
    ASSERT_TRUE(hasIntegerText || digits(text) == digits(reference)) << text << ' ' << reference;
    ASSERT_EQ(readFragment(text), Value(value)) << text;
  }
}

TEST(NSJSONWriting, WhatHasNoFormRaises) {
  const std::string prefix = "*** +[NSJSONSerialization dataWithJSONObject:options:error:]: ";
  const std::pair<Value, const char*> cases[] = {
      {nil, "value parameter is nil"},
      {"text", "Invalid top-level type in JSON write"},
      {NSNull::null(), "Invalid top-level type in JSON write"},
      {NSArray{NSDate::dateWithTimeIntervalSince1970(0)}, "Invalid type in JSON write (NSDate)"},
      {NSArray{NSData::data()}, "Invalid type in JSON write (NSData)"},
      {NSArray{NSSet::set()}, "Invalid type in JSON write (NSSet)"},
      {NSArray{std::nan("")}, "Invalid number value (NaN) in JSON write"},
      {NSArray{HUGE_VAL}, "Invalid number value (infinite) in JSON write"},
      {NSArray{NSDecimalNumber::notANumber()}, "Invalid number value (NaN) in JSON write"},
      {NSDictionary{{1, 2}}, "Invalid (non-string) key in JSON dictionary"}};
  for (const auto& [value, reason] : cases) {
    EXPECT_EQ(reasonOf([&] { NSJSONSerialization::dataWithJSONObject(value, 0); }), NSString(prefix + reason));
    EXPECT_EQ(reasonOf([&] { NSJSONSerialization::dataWithJSONObject(value, NSJSONWritingSortedKeys); }),
              NSString(prefix + reason));
    EXPECT_FALSE(NSJSONSerialization::isValidJSONObject(value));
  }
}

TEST(NSJSONWriting, ALoneSurrogateIsAnErrorNotAnException) {
  NSError error;
  const NSArray tree{NSString(std::u16string_view(u"a\xD800"))};
  EXPECT_TRUE(NSJSONSerialization::dataWithJSONObject(tree, 0, &error).isNil());
  EXPECT_EQ(error.code(), 3852);
}

TEST(NSJSONWriting, CyclesRaiseInsteadOfRunningForEver) {
  const NSMutableArray cycle = NSMutableArray::array();
  cycle.addObject(cycle);
  EXPECT_FALSE(NSJSONSerialization::isValidJSONObject(cycle));
  EXPECT_TRUE(reasonOf([&] { NSJSONSerialization::dataWithJSONObject(cycle, 0); }));
  cycle.removeAllObjects();
}

TEST(NSJSONWriting, FiveHundredTwelveLevelsAreValidAndOneMoreIsNot) {
  Value tree = NSArray::array();
  for (int i = 1; i < 512; ++i) tree = i % 2 ? Value(NSDictionary{{"k", tree}}) : Value(NSArray{tree});
  EXPECT_TRUE(NSJSONSerialization::isValidJSONObject(tree));
  EXPECT_EQ(read(written(tree)), tree);
  tree = NSArray{tree};
  EXPECT_FALSE(NSJSONSerialization::isValidJSONObject(tree));
  EXPECT_TRUE(reasonOf([&] { NSJSONSerialization::dataWithJSONObject(tree, 0); }));
}

TEST(NSJSONWriting, ADeepTreeNeitherOverflowsInValidityNorInItsEnd) {
  Value tree = NSArray::array();
  for (int i = 0; i < 100'000; ++i) tree = NSArray{tree};
  EXPECT_FALSE(NSJSONSerialization::isValidJSONObject(tree));
  EXPECT_TRUE(reasonOf([&] { NSJSONSerialization::dataWithJSONObject(tree, 0); }));
}

// ---- Laws

namespace {

std::string randomText() {
  static const std::vector<std::string> pieces{
      "a", "key", "\n", "\"", "\\", "/", "\u00e9", "\u20ac", "\U0001F600", "\x7F", "0123456789abcdef"};
  std::string text;
  const int count = *rc::gen::inRange(0, 6);
  for (int i = 0; i < count; ++i) text += *rc::gen::elementOf(pieces);
  return text;
}

Value randomTree(int depth) {
  switch (*rc::gen::inRange(0, depth > 0 ? 8 : 6)) {
    case 0: return *rc::gen::arbitrary<int64_t>();
    case 1: return *rc::gen::arbitrary<uint64_t>();
    case 2: {
      const double d = *rc::gen::arbitrary<double>();
      return std::isfinite(d) ? d : 0.5;
    }
    case 3: return *rc::gen::arbitrary<bool>();
    case 4: return NSNull::null();
    case 5: return randomText();
    case 6: {
      NSMutableArray array = NSMutableArray::array();
      for (int i = *rc::gen::inRange(0, 5); i > 0; --i) array.addObject(randomTree(depth - 1));
      return array;
    }
    default: {
      NSMutableDictionary dictionary = NSMutableDictionary::dictionary();
      for (int i = *rc::gen::inRange(0, 12); i > 0; --i)
        dictionary.setObjectForKey(randomTree(depth - 1), randomText());
      return dictionary;
    }
  }
}

}  // namespace

TEST(NSJSONLaws, ReadingUndoesWriting) {
  EXPECT_TRUE(rc::check([] {
    const Value tree = NSArray{randomTree(4)};
    for (const NSUInteger options : {0, 1, 2, 3, 8, 11}) {
      const std::string text = written(tree, options);
      RC_ASSERT(read(text) == tree);
      RC_ASSERT(written(read(text), options) == text);
      RC_ASSERT(nlohmann::json::accept(text));
    }
  }));
}

namespace {

nlohmann::json peerOf(const Value& value) {
  if (value.isNull()) return nullptr;
  if (value.kind() == Kind::Bool) return value.as<NSNumber>().boolValue();
  if (value.kind() == Kind::Int) return value.as<NSNumber>().longLongValue();
  if (value.kind() == Kind::UInt) return value.as<NSNumber>().unsignedLongLongValue();
  if (value.isKindOf<NSNumber>()) return value.as<NSNumber>().doubleValue();
  if (value.isKindOf<NSString>()) return value.as<NSString>().utf8();
  if (value.isKindOf<NSArray>()) {
    auto array = nlohmann::json::array();
    for (const Value& element : value.as<NSArray>()) array.push_back(peerOf(element));
    return array;
  }
  auto object = nlohmann::json::object();
  for (const auto& [key, element] : value.as<NSDictionary>())
    object[key.description().utf8()] = peerOf(element);
  return object;
}

}  // namespace

TEST(NSJSONLaws, MutatedTextsAreReadAndRefusedAsByASecondReader) {
  std::mt19937_64 random(17);
  const std::string seed =
      R"({"id":17,"name":"Ada \"L\"","tags":["x","\u00e9\ud83d\ude00",null],"n":[-1.5e3,0,12345678901234567890,true,false],"o":{"k":{},"e":[]}})";
  static constexpr std::string_view kBytes = "{}[],:\"\\/ \n\t0123456789-+.eEtrufalsn\x01\x80\xC3\xA9";
  int accepted = 0;
  for (int i = 0; i < 60'000; ++i) {
    std::string text = seed;
    for (uint64_t edits = 1 + random() % 3; edits > 0; --edits) {
      const size_t at = random() % text.size();
      switch (random() % 3) {
        case 0: text[at] = kBytes[random() % kBytes.size()]; break;
        case 1: text.erase(at, 1 + random() % 3); break;
        default: text.insert(at, 1, kBytes[random() % kBytes.size()]); break;
      }
    }
    const Value ours = read(text);
    const auto peer = nlohmann::json::parse(text, nullptr, false);
    ASSERT_EQ(ours.isNil(), peer.is_discarded() || !peer.is_structured()) << text;
    if (ours.isNil()) continue;
    ++accepted;
    ASSERT_EQ(peerOf(ours), peer) << text;
  }
  EXPECT_GT(accepted, 5'000);
}
