#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDecimalNumber.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSNull.h"
#include "Platform/Foundation/Values/NSSet.h"
#include "Platform/Foundation/Values/NSURL.h"
#include "Platform/Foundation/Values/Value.h"
#include "Tests/Support/LogLines.h"

using namespace orv;

namespace {

// An object that answers what it is told to.
class Thing : public NSObject {
 public:
  Thing(Answer answer, NSUInteger size) : answer_(answer), size_(size) {}
  bool answers(Answer question) const override { return question == answer_; }
  NSUInteger count() const override { return size_; }
  NSUInteger length() const override { return size_; }
  NSString stringValue() const override { return "a thing's text"; }
  NSString description() const override { return "thing"; }

 private:
  Answer answer_;
  NSUInteger size_;
};

using Answer = NSObject::Answer;

Value thing(Answer answer, NSUInteger size = 0) { return make<Thing>(answer, size); }

NSDecimalNumber decimal(const char* text) { return NSDecimalNumber::decimalNumberWithString(text); }
NSDate date(double since1970) { return NSDate::dateWithTimeIntervalSince1970(since1970); }
NSData data(std::string_view bytes) { return NSData::dataWithBytes(bytes.data(), bytes.size()); }

// "nil" for nil, else the text in brackets.
std::string shown(const NSString& text) { return text.isNil() ? "nil" : "[" + text.utf8() + "]"; }
std::string shown(const NSDecimalNumber& amount) {
  return amount.isNil() ? "nil" : amount.stringValue().utf8();
}
std::string shown(const NSDate& d) { return d.isNil() ? "nil" : d.ISO8601String().utf8(); }
std::string shown(const NSData& bytes) {
  if (bytes.isNil()) return "nil";
  return "[" + std::string(reinterpret_cast<const char*>(bytes.bytes()), bytes.length()) + "]";
}

struct Row {
  const char* name;
  Value value;
  bool toBool;
  int64_t toInt;
  uint64_t toUnsigned;
  double toDouble;
  const char* toDecimal;
  const char* toString;
  const char* stringDefault;  // with the default "other"
  const char* toData;
  const char* toDate;
  bool isNotNull;
  bool isNotEmpty;
  bool isTrue;
};

constexpr uint64_t kMax = UINT64_MAX;

std::vector<Row> rows() {
  const char* const e = "1970-01-01T00:00:00.000Z";
  const double infinity = std::numeric_limits<double>::infinity();
  return {
      {"nil", nil, false, 0, 0, 0, "nil", "nil", "nil", "nil", "nil", false, false, false},
      {"null", NSNull::null(), false, 0, 0, 0, "NaN", "[]", "[<null>]", "[]", "nil", false, false, false},
      {"true", true, true, 1, 1, 1, "1", "[1]", "[1]", "[1]", "1970-01-01T00:00:01.000Z", true, true, true},
      {"false", false, false, 0, 0, 0, "0", "[0]", "[0]", "[0]", e, true, true, false},
      {"integer", 42, true, 42, 42, 42, "42", "[42]", "[42]", "[42]", "1970-01-01T00:00:42.000Z", true, true,
       true},
      {"zero", 0, false, 0, 0, 0, "0", "[0]", "[0]", "[0]", e, true, true, false},
      {"negative", -7, true, -7, kMax - 6, -7, "-7", "[-7]", "[-7]", "[-7]", "1969-12-31T23:59:53.000Z", true,
       true, true},
      {"time stamp", 1600000000, true, 1600000000, 1600000000, 1600000000, "1600000000", "[1600000000]",
       "[1600000000]", "[1600000000]", "2020-09-13T12:26:40.000Z", true, true, true},
      {"unsigned", kMax, true, -1, kMax, 18446744073709551615.0, "18446744073709551615",
       "[18446744073709551615]", "[18446744073709551615]", "[18446744073709551615]", "any", true, true, true},
      {"double", 12.75, true, 12, 12, 12.75, "12.75", "[12.75]", "[12.75]", "[12.75]",
       "1970-01-01T00:00:12.750Z", true, true, true},
      {"infinity", infinity, true, INT64_MAX, kMax, infinity, "NaN", "[inf]", "[inf]", "[inf]", "any", true,
       true, true},
      {"decimal", decimal("12.7"), true, 12, 12, 12.7, "12.7", "[12.7]", "[12.7]", "[12.7]",
       "1970-01-01T00:00:12.700Z", true, true, true},
      {"big decimal", decimal("12345678901234567890123"), true,
       decimal("12345678901234567890123").longLongValue(),
       decimal("12345678901234567890123").unsignedLongLongValue(), 12345678901234567890123.0,
       "12345678901234567890123", "[12345678901234567890123]", "[12345678901234567890123]",
       "[12345678901234567890123]", "any", true, true, true},
      {"decimal zero", decimal("0"), false, 0, 0, 0, "0", "[0]", "[0]", "[0]", e, true, true, false},
      {"empty string", "", false, 0, 0, 0, "NaN", "[]", "[other]", "[]", e, true, false, false},
      {"word", "abc", false, 0, 0, 0, "NaN", "[abc]", "[abc]", "[abc]", e, true, true, true},
      {"number first", "42abc", true, 42, 42, 42, "42", "[42abc]", "[42abc]", "[42abc]",
       "1970-01-01T00:00:42.000Z", true, true, true},
      {"blank first", "  9.5 ", true, 9, 9, 9.5, "9.5", "[  9.5 ]", "[  9.5 ]", "[  9.5 ]",
       "1970-01-01T00:00:09.500Z", true, true, true},
      {"negative text", "-1", true, -1, kMax, -1, "-1", "[-1]", "[-1]", "[-1]", "nil", true, true, true},
      {"yes", "yes", true, 0, 0, 0, "NaN", "[yes]", "[yes]", "[yes]", e, true, true, true},
      {"no", "no", false, 0, 0, 0, "NaN", "[no]", "[no]", "[no]", e, true, true, true},
      {"the word false", "false", false, 0, 0, 0, "NaN", "[false]", "[false]", "[false]", e, true, true, true},
      {"the digit 0", "0", false, 0, 0, 0, "0", "[0]", "[0]", "[0]", e, true, true, true},
      {"too large", "99999999999999999999", true, INT64_MAX, kMax, 1e20, "99999999999999999999",
       "[99999999999999999999]", "[99999999999999999999]", "[99999999999999999999]", "any", true, true, true},
      {"time stamp text", "1600000000", true, 1600000000, 1600000000, 1600000000, "1600000000", "[1600000000]",
       "[1600000000]", "[1600000000]", "2020-09-13T12:26:40.000Z", true, true, true},
      {"date text", "2020-01-02", true, 2020, 2020, 2020, "2020", "[2020-01-02]", "[2020-01-02]",
       "[2020-01-02]", "2020-01-02T12:00:00.000Z", true, true, true},
      {"no date", "a-b", false, 0, 0, 0, "NaN", "[a-b]", "[a-b]", "[a-b]", "nil", true, true, true},
      {"umlaut", "\u00fc", false, 0, 0, 0, "NaN", "[\u00fc]", "[\u00fc]", "[\u00fc]", e, true, true, true},
      {"lone surrogate", NSString(u"\xD800"), false, 0, 0, 0, "NaN", "[\uFFFD]", "[\uFFFD]", "nil", e, true,
       true, true},
      {"date", date(1600000000), false, 0, 0, 1600000000, "1600000000", "[1600000000]",
       "[2020-09-13 12:26:40 +0000]", "[1600000000]", "2020-09-13T12:26:40.000Z", true, true, true},
      {"data", data("12"), false, 0, 0, 0, "12", "[12]", "any", "[12]", "nil", true, true, true},
      {"empty data", data(""), false, 0, 0, 0, "NaN", "[]", "any", "[]", "nil", true, false, false},
      {"data that is no text", data("\xFF\xFE"), false, 0, 0, 0, "NaN", "nil", "any", "[\xFF\xFE]", "nil", true,
       true, true},
      {"URL", NSURL::URLWithString("http://a.b/c"), false, 0, 0, 0, "NaN", "[http://a.b/c]", "[http://a.b/c]",
       "[http://a.b/c]", "nil", true, true, true},
      {"array", NSArray{1, 2}, false, 0, 0, 0, "NaN", "any", "any", "any", "nil", true, true, true},
      {"empty array", NSArray::array(), false, 0, 0, 0, "NaN", "any", "any", "any", "nil", true, false, false},
      {"set", NSSet{1}, false, 0, 0, 0, "NaN", "any", "any", "any", "nil", true, true, true},
      {"empty set", NSSet::set(), false, 0, 0, 0, "NaN", "any", "any", "any", "nil", true, false, false},
      {"counted set", NSCountedSet::set(), false, 0, 0, 0, "NaN", "any", "any", "any", "nil", true, false,
       false},
      {"dictionary", NSDictionary{{"a", 1}}, false, 0, 0, 0, "NaN", "any", "any", "any", "nil", true, true,
       true},
      {"empty dictionary", NSDictionary::dictionary(), false, 0, 0, 0, "NaN", "any", "any", "any", "nil", true,
       false, false},
      {"plain object", thing(Answer::Days), false, 0, 0, 0, "NaN", "[thing]", "[thing]", "[thing]", "nil", true,
       true, true},
      {"object with text", thing(Answer::StringValue), false, 0, 0, 0, "NaN", "[a thing's text]",
       "[a thing's text]", "[a thing's text]", "nil", true, true, true},
      {"object with count", thing(Answer::Count, 1), false, 0, 0, 0, "NaN", "[thing]", "[thing]", "[thing]",
       "nil", true, true, true},
      {"object with no count", thing(Answer::Count, 0), false, 0, 0, 0, "NaN", "[thing]", "[thing]", "[thing]",
       "nil", true, false, false},
      {"object with length", thing(Answer::Length, 3), false, 0, 0, 0, "NaN", "[thing]", "[thing]", "[thing]",
       "nil", true, true, true},
      {"object with no length", thing(Answer::Length, 0), false, 0, 0, 0, "NaN", "[thing]", "[thing]",
       "[thing]", "nil", true, false, false},
  };
}

void expectShown(const char* expected, const std::string& found, const char* conversion) {
  if (std::string(expected) == "any") return;
  EXPECT_EQ(found, expected) << conversion;
}

}  // namespace

TEST(NSObjectOrvane, EveryKindHasEveryConversion) {
  const LogLines log;
  for (const Row& row : rows()) {
    SCOPED_TRACE(row.name);
    const Value& v = row.value;
    EXPECT_EQ(v.toBool(), row.toBool);
    // A decimal beyond 64 bits is clamped here, and taken modulo 2^64 by the others.
    EXPECT_EQ(v.toInt(), v.kind() == Kind::BigDecimal ? INT64_MAX : row.toInt);
    EXPECT_EQ(v.toLong(), row.toInt);
    EXPECT_EQ(v.toLongLong(), row.toInt);
    EXPECT_EQ(v.toUnsignedLongLong(), row.toUnsigned);
    EXPECT_EQ(v.toDouble(), row.toDouble);
    EXPECT_EQ(v.toFloat(), static_cast<float>(row.toDouble));
    expectShown(row.toDecimal, shown(v.toDecimalNumber()), "toDecimalNumber");
    expectShown(row.toString, shown(v.toString()), "toString");
    expectShown(row.stringDefault, shown(v.stringDefault("other")), "stringDefault");
    expectShown(row.toData, shown(v.toData()), "toData");
    expectShown(row.toDate, shown(v.toDate()), "toDate");
    EXPECT_EQ(v.isNotNull(), row.isNotNull);
    EXPECT_EQ(v.isNotEmpty(), row.isNotEmpty);
    EXPECT_EQ(v.isTrue(), row.isTrue);
    EXPECT_EQ(v.nilOrObject().isNil(), !row.isNotNull);
    EXPECT_TRUE(v.nilOrObject().isNil() || v.nilOrObject().isSame(v));
    EXPECT_EQ(v.nilOrNotEmptyObject().isNil(), !row.isNotEmpty);
    EXPECT_TRUE(v.nilOrNotEmptyObject().isNil() || v.nilOrNotEmptyObject().isSame(v));
    const NSString text = v.toString();
    EXPECT_EQ(shown(v.toStringNotEmpty()), text.length() > 0 ? shown(text) : "nil");
    EXPECT_EQ(shown(v.shortDescription()), shown(v.description()));
  }
}

TEST(NSObjectOrvane, NoConversionLogs) {
  LogLines log;
  for (const Row& row : rows()) {
    row.value.toDecimalNumber();
    row.value.toData();
    row.value.toDate();
    row.value.stringDefault(nil);
  }
  EXPECT_TRUE(log.take().empty());
}

TEST(NSObjectOrvane, ContainersAndDataPrintTheirDescription) {
  const NSArray array{1, "two"};
  EXPECT_EQ(Value(array).toString(), array.description());
  EXPECT_EQ(Value(array).stringDefault("x"), array.description());
  EXPECT_EQ(Value(data("12")).stringDefault("x"), data("12").description());
}

TEST(NSObjectOrvane, TheDefaultMayBeNil) {
  EXPECT_TRUE(Value("").stringDefault(nil).isNil());
  EXPECT_EQ(Value("a").stringDefault(nil), NSString("a"));
}

TEST(NSObjectOrvane, TextWithAHyphenOrAColonIsReadAsPeopleWriteDates) {
  EXPECT_EQ(shown(Value("2020-01-02 10:30").toDate()), "2020-01-02T10:30:00.000Z");
  EXPECT_EQ(Value("10:30").toDate(), NSDate::zuDateFromHumanString("10:30"));
  EXPECT_FALSE(Value("10:30").toDate().isNil());
  EXPECT_TRUE(Value("a:b").toDate().isNil());
}

TEST(NSObjectOrvane, UnsignedTextIsReadAsCDoes) {
  const char* texts[] = {"0",
                         " \t\n\v\f\r12",
                         "+7",
                         "-7",
                         "+-7",
                         "- 7",
                         "18446744073709551615",
                         "18446744073709551616",
                         "-18446744073709551616",
                         "-18446744073709551615",
                         "1e5",
                         "0x10",
                         "",
                         " ",
                         "-",
                         "007",
                         "12 3"};
  for (const char* text : texts)
    EXPECT_EQ(Value(text).toUnsignedLongLong(), std::strtoull(text, nullptr, 10)) << text;
  EXPECT_EQ(Value(std::string_view("1\0002", 3)).toUnsignedLongLong(), 1u);
}

TEST(NSObjectOrvane, IntegersSurviveTheTripThroughText) {
  EXPECT_TRUE(rc::check([](int64_t n) {
    const Value text = Value(n).toString();
    RC_ASSERT(text.toLongLong() == n);
    RC_ASSERT(text.toUnsignedLongLong() == static_cast<uint64_t>(n));
    RC_ASSERT(text.toDecimalNumber().isEqual(Value(n)));
    RC_ASSERT(Value(Value(n).toData()).toString().isEqual(text));
  }));
}

TEST(NSObjectOrvane, ShortDescriptionsHaveAtMost256CodeUnits) {
  const std::string longText(1000, 'x');
  EXPECT_EQ(Value(longText).shortDescription(), NSString(std::string(256, 'x')));
  EXPECT_EQ(Value(std::string(256, 'y')).shortDescription().length(), 256u);
  EXPECT_EQ(Value("").shortDescription(), NSString(""));
}

TEST(NSObjectOrvane, KeysLoseTheirPrefixAndCase) {
  const struct {
    const char* key;
    bool runs;
  } cases[] = {{"save", true},     {"Save", true},    {"IBSave", true},    {"IB$Save", true},
               {"$save", true},    {"IB$SAVE", true}, {"IBIBsave", false}, {"IB$$save", false},
               {"$IBsave", false}, {"ibsave", false}, {"save ", false},    {"", false},
               {"IB", false},      {"IB$", false}};
  for (const auto& [key, runs] : cases) {
    int count = 0;
    Value("receiver").handleIBKey(key, {{NSArray{"store", "save"}, [&] { ++count; }}});
    EXPECT_EQ(count, runs ? 1 : 0) << key;
  }
}

TEST(NSObjectOrvane, TheFirstMatchingEntryRunsOnce) {
  std::string ran;
  const Value::KeyActions actions = {{"open", [&] { ran += "a"; }},
                                     {NSArray{"save", "keep"}, [&] { ran += "b"; }},
                                     {"save", [&] { ran += "c"; }},
                                     {"Loud", [&] { ran += "d"; }}};
  Value(1).handleIBKey("IB$Save", actions);
  EXPECT_EQ(ran, "b");
  Value(1).handleIBKey("keep", actions);
  EXPECT_EQ(ran, "bb");
  Value(1).handleIBKey("Loud", actions);  // entries are to be in lower case
  Value(1).handleIBKey(nil, actions);
  Value().handleIBKey("save", actions);
  Value(1).handleIBKey("save", {});
  Value(1).handleIBKey("save", {{"save", nullptr}});
  EXPECT_EQ(ran, "bb");
}

TEST(NSObjectOrvane, AKeyThatIsNoListIsReported) {
  LogLines log;
  bool ran = false;
  Value(1).handleIBKey("save", {{7, [] {}}, {"save", [&] { ran = true; }}, {8, [] {}}});
  EXPECT_TRUE(ran);
  const auto messages = log.takeMessages(OrvLogLevelWarning);
  ASSERT_EQ(messages.size(), 1u);  // what stands behind the match is not looked at
  EXPECT_TRUE(messages[0].starts_with("An important assertion did fail. Please send this error."));
  EXPECT_NE(messages[0].find("!!(([key isKindOfClass:[NSArray class]]))"), std::string::npos);
}

TEST(NSNumberOrvane, PlusAddsToTheSignedInteger) {
  EXPECT_EQ(NSNumber(40).plus(2), NSNumber(42));
  EXPECT_EQ(NSNumber(12.9).plus(1), NSNumber(13));
  EXPECT_EQ(NSNumber(true).plus(-3), NSNumber(-2));
  EXPECT_EQ(NSNumber(INT64_MAX).plus(1), NSNumber(INT64_MIN));
  EXPECT_STREQ(NSNumber(1.5).plus(0).objCType(), "q");
  EXPECT_TRUE(NSNumber().plus(1).isNil());
}
