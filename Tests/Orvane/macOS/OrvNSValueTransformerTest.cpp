#include "Orvane/macOS/OrvNSValueTransformer.h"

#include <gtest/gtest.h>

#include <vector>

#include "Platform/Foundation/Foundation.h"
#include "Tests/Support/LogLines.h"

using namespace orv;

namespace {

Ref<NSValueTransformer> named(const NSString& name) {
  return NSValueTransformer::valueTransformerForName(name);
}

struct Case {
  Value given;
  Value expected;
};

// The same value in the same form: 1 is not YES.
void expectForm(const Value& given, const Value& result, const Value& expected) {
  EXPECT_TRUE(result == expected && result.kind() == expected.kind()) << given << " gave " << result;
}

void expectShown(const char* name, const std::vector<Case>& cases) {
  const Ref<NSValueTransformer> transformer = named(name);
  ASSERT_TRUE(transformer) << name;
  for (const Case& each : cases)
    expectForm(each.given, transformer->transformedValue(each.given), each.expected);
}

void expectStored(const char* name, const std::vector<Case>& cases) {
  const Ref<NSValueTransformer> transformer = named(name);
  ASSERT_TRUE(transformer) << name;
  for (const Case& each : cases)
    expectForm(each.given, transformer->reverseTransformedValue(each.given), each.expected);
}

}  // namespace

TEST(OrvNSValueTransformer, AreFoundByTheNamesOfTheirClasses) {
  const struct {
    const char* name;
    bool reverses;
  } cases[] = {{"OrvStringTransformer", false},       {"OrvUppercaseTransformer", false},
               {"OrvIntegerNumberTransformer", true}, {"OrvBoolTransformer", true},
               {"OrvBoolInversTransformer", true},    {"OrvShortDateTransformer", true},
               {"OrvDPITransformer", true},           {"OrvQualityTransformer", true}};
  for (const auto& each : cases) {
    const Ref<NSValueTransformer> transformer = named(each.name);
    ASSERT_TRUE(transformer) << each.name;
    EXPECT_EQ(transformer->className(), each.name);
    EXPECT_EQ(transformer->canReverse(), each.reverses) << each.name;
    EXPECT_EQ(named(each.name), transformer) << "always the same one";
  }
}

TEST(OrvNSValueTransformer, TheClassesSayWhetherTheyReverse) {
  EXPECT_FALSE(OrvStringTransformer::allowsReverseTransformation());
  EXPECT_FALSE(OrvUppercaseTransformer::allowsReverseTransformation());
  EXPECT_TRUE(OrvIntegerNumberTransformer::allowsReverseTransformation());
  EXPECT_TRUE(OrvBoolTransformer::allowsReverseTransformation());
  EXPECT_TRUE(OrvBoolInversTransformer::allowsReverseTransformation());
  EXPECT_TRUE(OrvShortDateTransformer::allowsReverseTransformation());
  EXPECT_TRUE(OrvDPITransformer::allowsReverseTransformation());
  EXPECT_TRUE(OrvQualityTransformer::allowsReverseTransformation());
}

TEST(OrvNSValueTransformer, TextShowsAnyValue) {
  const std::vector<Case> cases = {
      {12, "12"}, {"abc", "abc"}, {1.5, "1.5"}, {NSNull::null(), ""}, {Value(), Value()}};
  expectShown("OrvStringTransformer", cases);
  expectShown("OrvIntegerNumberTransformer", cases);
  expectShown("OrvDPITransformer", cases);
  expectShown("OrvQualityTransformer", cases);
  expectStored("OrvStringTransformer", {{"abc", Value()}});
}

TEST(OrvNSValueTransformer, UpperCaseShowsTextInUpperCase) {
  expectShown("OrvUppercaseTransformer",
              {{12, "12"}, {"abc", "ABC"}, {"größe", "GRÖSSE"}, {NSNull::null(), ""}, {Value(), Value()}});
}

TEST(OrvNSValueTransformer, IntegersAreReadFromTheStart) {
  expectStored("OrvIntegerNumberTransformer",
               {{"42abc", 42}, {"abc", 0}, {"-7", -7}, {3.9, 3}, {true, 1}, {Value(), 0}, {NSNull::null(), 0}});
}

TEST(OrvNSValueTransformer, BooleansBothWays) {
  const std::vector<Case> cases = {{true, true}, {false, false},   {1, true},
                                   {0, false},   {"yes", true},    {"no", false},
                                   {"0", false}, {Value(), false}, {NSNull::null(), false}};
  expectShown("OrvBoolTransformer", cases);
  expectStored("OrvBoolTransformer", cases);
}

TEST(OrvNSValueTransformer, InvertedBooleansAreIntegersUnlessAbsent) {
  const std::vector<Case> cases = {{true, 0},  {false, 1}, {1, 0},          {0, 1},
                                   {"yes", 0}, {"no", 1},  {Value(), true}, {NSNull::null(), 1}};
  expectShown("OrvBoolInversTransformer", cases);
  expectStored("OrvBoolInversTransformer", cases);
}

TEST(OrvNSValueTransformer, ResolutionsStayInTheirRange) {
  expectStored("OrvDPITransformer", {{72, 72},
                                     {10, 36},
                                     {3000, 2000},
                                     {"20", 36},
                                     {"abc", 36},
                                     {"4800", 2000},
                                     {36, 36},
                                     {2000, 2000},
                                     {Value(), 36},
                                     {INT64_MAX, 2000}});
}

TEST(OrvNSValueTransformer, PercentagesStayInTheirRange) {
  expectStored("OrvQualityTransformer",
               {{"85", 85}, {"-5", 0}, {"150", 100}, {0, 0}, {100, 100}, {Value(), 0}});
}

TEST(OrvNSValueTransformer, ShortDatesFollowTheLocaleAndReadWhatPeopleType) {
  const Ref<NSValueTransformer> dates = named("OrvShortDateTransformer");
  const NSDate date = NSDate::zuDateFromHumanString("2024-02-29");
  ASSERT_FALSE(date.isNil());
  EXPECT_EQ(dates->transformedValue(date), Value(NSDateFormatter::localizedStringFromDate(
                                               date, NSDateFormatterShortStyle, NSDateFormatterNoStyle)));
  EXPECT_GT(dates->transformedValue(date).as<NSString>().length(), 0u);
  for (const Value& other : {Value(), Value("text"), Value(5), Value(NSNull::null())})
    EXPECT_EQ(dates->transformedValue(other), Value("")) << other;
  EXPECT_EQ(dates->reverseTransformedValue("2024-02-29"), Value(date));
  EXPECT_EQ(dates->reverseTransformedValue("February 29, 2024"), Value(date));
  LogLines lines;
  for (const Value& other : {Value(), Value("nothing of a date"), Value(5)})
    EXPECT_TRUE(dates->reverseTransformedValue(other).isNil()) << other;
  const Ref<OrvShortDateTransformer> fresh = make<OrvShortDateTransformer>();
  fresh->setupFormatter();
  fresh->setupFormatter();
  EXPECT_EQ(fresh->transformedValue(date), dates->transformedValue(date));
}
