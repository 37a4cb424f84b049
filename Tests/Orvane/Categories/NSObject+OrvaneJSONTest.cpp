#include <gtest/gtest.h>
#include <rapidcheck.h>

#include "Orvane/OrvDays.h"
#include "Platform/Foundation/Foundation.h"
#include "Platform/Foundation/Serialization/NSJSONSerialization.h"
#include "Tests/Support/LogLines.h"

using namespace orv;

namespace {

const std::vector<std::string> kNothing;

NSDecimalNumber amount(const char* text) { return NSDecimalNumber::decimalNumberWithString(text); }
NSDate someDay() { return NSDate::dateWithTimeIntervalSince1970(1'700'000'000.5); }

// Has a stand-in, which itself holds what JSON has no form for.
class Model : public NSObject {
 public:
  explicit Model(Value standIn) : standIn_(std::move(standIn)) {}
  Value jsonObject() const override { return standIn_; }

 private:
  Value standIn_;
};

class Stranger : public NSObject {
 public:
  NSString className() const override { return "Stranger"; }
  NSString description() const override { return "who?"; }
};

template <class Action>
bool raises(Action action) {
  try {
    action();
  } catch (const NSException& exception) {
    return exception.name() == NSInvalidArgumentException;
  }
  return false;
}

}  // namespace

TEST(JSONBridge, DatesAmountsAndNumbersTakeTheirUniformForm) {
  const Value tree = NSDictionary{{"date", someDay()}, {"amount", amount("12.50")}, {"n", 3}}.orv_jsonObject();
  EXPECT_EQ(tree, Value(NSDictionary{{"date", someDay().ISO8601String()}, {"amount", "12.5"}, {"n", 3.0}}));
  EXPECT_EQ(tree.valueForKey("n").kind(), Kind::Double);
  EXPECT_TRUE(tree.valueForKey("amount").isKindOf<NSString>());
  EXPECT_EQ((NSDictionary{{"n", 3}}).toJSONString(), "{\"n\":3}");
}

TEST(JSONBridge, BooleansAreWrittenAsNumbers) {
  EXPECT_EQ((NSArray{true, false}).toJSONString(), "[1,0]");
  EXPECT_EQ((NSArray{true}).toJSONPretty(), "[\n  1\n]");
}

TEST(JSONBridge, IntegersBeyondTheDoublesLoseTheirLastDigits) {
  EXPECT_EQ((NSArray{INT64_MAX, UINT64_MAX, int64_t{1} << 53, INT64_MIN}).toJSONString(),
            "[9.223372036854776e+18,1.8446744073709552e+19,9007199254740992,-9.223372036854776e+18]");
}

TEST(JSONBridge, NullStaysNull) { EXPECT_EQ((NSArray{NSNull::null()}).toJSONString(), "[null]"); }

TEST(JSONBridge, WhatHasNoFormBecomesAnErrorTextWithOneWarningEach) {
  LogLines log;
  const Value tree = NSDictionary{{"data", NSData::dataWithBytes("ab", 2)}, {"who", Value(make<Stranger>())}};
  const Value converted = tree.orv_jsonObject();
  EXPECT_EQ(converted,
            Value(NSDictionary{{"data", "ERROR:{length = 2, bytes = 0x6162}"}, {"who", "ERROR:who?"}}));
  const std::vector<std::string> expected{"orv_jsonObject not defined for NSData: {length = 2, bytes = 0x6162}",
                                          "orv_jsonObject not defined for Stranger: who?"};
  EXPECT_EQ(log.takeMessages(OrvLogLevelWarning), expected);
  EXPECT_EQ(tree.toJSONString(), "{\"data\":\"ERROR:{length = 2, bytes = 0x6162}\",\"who\":\"ERROR:who?\"}");
  EXPECT_EQ(log.takeMessages(OrvLogLevelWarning), expected);
  EXPECT_TRUE((NSArray{NSSet::setWithArray(NSArray{1})}).toJSONString().hasPrefix("[\"ERROR:"));
  EXPECT_EQ(log.takeMessages(OrvLogLevelWarning).size(), 1u);
}

TEST(JSONBridge, ADayNumberIsItsCountOfDays) {
  EXPECT_EQ((NSArray{Value(OrvDays::initWithDays(20240117))}).toJSONString(), "[20240117]");
}

TEST(JSONBridge, AModelIsItsStandIn) {
  const Value model = make<Model>(NSDictionary{{"on", true}, {"at", someDay()}});
  EXPECT_EQ(model.orv_jsonObject(), Value(NSDictionary{{"on", true}, {"at", someDay()}}));
  const NSString text = NSString("{\"on\":1,\"at\":\"") + someDay().ISO8601String() + "\"}";
  EXPECT_EQ(model.toJSONString(), text);
  EXPECT_EQ(NSArray{model}.toJSONString(), NSString("[") + text + "]");
  EXPECT_TRUE(raises([&] { model.toJSONData(); })) << "data converts once: the date is still one";
}

TEST(JSONBridge, PrettyFormSortsKeysAndCompactFormKeepsTheirOrder) {
  const Value tree = NSDictionary{{"b", 1}, {"a", NSArray{2}}};
  EXPECT_EQ(tree.toJSONPretty(), "{\n  \"a\" : [\n    2\n  ],\n  \"b\" : 1\n}");
  EXPECT_EQ(tree.toJSONString(), "{\"b\":1,\"a\":[2]}");
  EXPECT_EQ(tree.toJSONData().string(), tree.toJSONString());
  EXPECT_EQ(tree.toJSONDataPretty().string(), tree.toJSONPretty());
}

TEST(JSONBridge, TheTreeIsNewAndMutable) {
  const NSMutableArray inner = NSMutableArray::array();
  const Value tree = NSDictionary{{"a", inner}}.orv_jsonObject();
  ASSERT_TRUE(tree.isKindOf<NSMutableDictionary>());
  EXPECT_FALSE(tree.valueForKey("a").isSame(inner));
  EXPECT_TRUE(tree.valueForKey("a").isKindOf<NSMutableArray>());
}

TEST(JSONBridge, NilAnswersNil) {
  EXPECT_TRUE(Value().orv_jsonObject().isNil());
  EXPECT_TRUE(Value().toJSONData().isNil());
  EXPECT_TRUE(Value().toJSONDataPretty().isNil());
  EXPECT_TRUE(Value().toJSONString().isNil());
  EXPECT_TRUE(Value().toJSONPretty().isNil());
  EXPECT_TRUE(NSString().fromJSON().isNil());
  EXPECT_TRUE(NSData().fromJSON().isNil());
}

TEST(JSONBridge, ABareScalarRaises) {
  EXPECT_TRUE(raises([] { Value("text").toJSONString(); }));
  EXPECT_TRUE(raises([] { Value(1).toJSONData(); }));
  EXPECT_TRUE(raises([] { NSNull::null().toJSONPretty(); }));
  EXPECT_TRUE(raises([] { NSArray{HUGE_VAL}.toJSONString(); }));
}

TEST(JSONBridge, ALoneSurrogateGivesNilAndOneDebugLineFromThePrettyForm) {
  LogLines log;
  orv::detail::logMask = ~uint64_t{0};
  const NSArray tree{NSString(std::u16string_view(u"\xD800"))};
  EXPECT_TRUE(tree.toJSONString().isNil());
  EXPECT_TRUE(log.take().empty());
  EXPECT_TRUE(tree.toJSONPretty().isNil());
  const auto lines = log.take();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_TRUE(lines[0].message.starts_with("\u2022\u2022\u2022 error = ")) << lines[0].message;
}

TEST(JSONBridge, ACycleRaises) {
  const NSMutableDictionary cycle = NSMutableDictionary::dictionary();
  cycle.setObjectForKey(NSArray{cycle}, "self");
  EXPECT_TRUE(raises([&] { cycle.orv_jsonObject(); }));
  EXPECT_TRUE(raises([&] { cycle.toJSONString(); }));
  cycle.removeAllObjects();
}

TEST(JSONBridge, AHundredThousandLevelsAreConvertedButNotWritten) {
  Value tree = NSArray::array();
  for (int i = 0; i < 100'000; ++i) tree = NSDictionary{{"k", tree}};
  EXPECT_EQ(tree.orv_jsonObject(), tree);
  EXPECT_TRUE(raises([&] { tree.toJSONString(); }));
}

TEST(JSONBridge, FromJSONGivesMutableContainers) {
  const Value tree = NSString("{\"a\":[1,2]}").fromJSON();
  ASSERT_TRUE(tree.isKindOf<NSMutableDictionary>());
  EXPECT_TRUE(tree.valueForKey("a").isKindOf<NSMutableArray>());
  EXPECT_EQ(tree, NSData::dataWithBytes("{\"a\":[1,2]}", 11).fromJSON());
  EXPECT_EQ(NSString("[\"\u20ac\"]").fromJSON(), Value(NSArray{"\u20ac"}));
}

TEST(JSONBridge, FromJSONOfMalformedTextIsNilAndLogsNothing) {
  LogLines log;
  for (const char* text : {"", "{", "1", "\"a\"", "[1,]"})
    EXPECT_TRUE(NSString(text).fromJSON().isNil()) << text;
  EXPECT_TRUE(NSString(std::u16string_view(u"[\"\xD800\"]")).fromJSON().isNil());
  EXPECT_TRUE(NSData::data().fromJSON().isNil());
  EXPECT_TRUE(log.take().empty());
}

namespace {

Value foreignLeaf() {
  switch (*rc::gen::inRange(0, 7)) {
    case 0: return *rc::gen::arbitrary<int64_t>();
    case 1: return static_cast<double>(*rc::gen::arbitrary<int>()) / 8;
    case 2: return *rc::gen::arbitrary<bool>();
    case 3: return NSDate::dateWithTimeIntervalSince1970(*rc::gen::inRange(0, 2'000'000'000));
    case 4:
      return NSDecimalNumber::decimalNumberWithMantissa(*rc::gen::arbitrary<unsigned>(), -2,
                                                        *rc::gen::arbitrary<bool>());
    case 5: return Value(OrvDays::initWithDays(*rc::gen::inRange(0, 99'991'231)));
    default: return Value(make<Model>(NSDictionary{{"at", someDay()}}));
  }
}

}  // namespace

TEST(JSONBridge, TheTextIsThatOfTheTreeConvertedTwice) {
  EXPECT_TRUE(rc::check([] {
    NSMutableArray rows = NSMutableArray::array();
    for (int i = *rc::gen::inRange(0, 6); i > 0; --i)
      rows.addObject(NSDictionary{{"a", foreignLeaf()}, {"b", NSArray{foreignLeaf(), foreignLeaf()}}});
    const Value twice = rows.orv_jsonObject().orv_jsonObject();
    const NSData data = NSJSONSerialization::dataWithJSONObject(twice, 0);
    RC_ASSERT(rows.toJSONString() == data.string());
  }));
}
