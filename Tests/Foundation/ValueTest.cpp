#include "Platform/Foundation/Values/Value.h"

#include <sstream>
#include <type_traits>
#include <unordered_map>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSNull.h"
#include "Platform/Foundation/Values/NSNumber.h"
#include "Platform/Foundation/Values/NSSet.h"

using namespace orv;

namespace {

static_assert(sizeof(Value) == 16 && sizeof(NSString) == 16 && sizeof(NSMutableDictionary) == 16);
static_assert(std::is_nothrow_move_constructible_v<Value> && std::is_nothrow_copy_constructible_v<Value>);
static_assert(!std::is_constructible_v<Value, const void*> && !std::is_constructible_v<Value, int*>);
static_assert(!std::is_constructible_v<Value, char>);  // a character is no number

Value randomValue(int depth) {
  switch (*rc::gen::inRange(0, depth > 0 ? 9 : 6)) {
    case 0: return NSNull::null();
    case 1: return *rc::gen::arbitrary<bool>();
    case 2: return *rc::gen::inRange<int64_t>(-3, 4);
    case 3: return *rc::gen::elementOf(std::vector<double>{0, 1, 1.5, -2, 3e300});
    case 4: return NSString(*rc::gen::elementOf(std::vector<std::string>{"", "a", "b", "\u00e9", "\u4e2d"}));
    case 5: return NSDate::dateWithTimeIntervalSinceReferenceDate(*rc::gen::inRange(0, 3));
    case 6: {
      const NSMutableArray array = NSMutableArray::array();
      for (int i = *rc::gen::inRange(0, 3); i > 0; --i) array.addObject(randomValue(depth - 1));
      return array;
    }
    case 7: {
      const NSMutableSet set = NSMutableSet::set();
      for (int i = *rc::gen::inRange(0, 3); i > 0; --i) set.addObject(randomValue(depth - 1));
      return set;
    }
    default: {
      const NSMutableDictionary dictionary = NSMutableDictionary::dictionary();
      for (int i = *rc::gen::inRange(0, 3); i > 0; --i)
        dictionary.setObjectForKey(randomValue(depth - 1), randomValue(0));
      return dictionary;
    }
  }
}

Value nested(int levels) {
  Value v = NSArray::array();
  for (int i = 0; i < levels; ++i) v = i % 2 == 0 ? Value(NSArray{v}) : Value(NSDictionary{{"k", v}});
  return v;
}

}  // namespace

TEST(Value, NilAnswersNeutralResults) {
  const Value none;
  EXPECT_TRUE(none.isNil());
  EXPECT_FALSE(none);
  EXPECT_FALSE(none.isNull());
  EXPECT_FALSE(none.isEqual(none));
  EXPECT_FALSE(none.isKindOf<NSString>());
  EXPECT_EQ(none.hash(), 0u);
  EXPECT_EQ(none.count(), 0u);
  EXPECT_TRUE(none.description().isNil());
  EXPECT_TRUE(none.className().isNil());
  EXPECT_TRUE(none.copy().isNil());
  EXPECT_TRUE(none.mutableCopy().isNil());
  EXPECT_TRUE(none.valueForKey("x").isNil());
  EXPECT_TRUE(none.as<NSArray>().isNil());
  EXPECT_EQ(none, nil);
}

TEST(Value, NullIsPresentAndDiffersFromNil) {
  const Value null = NSNull::null();
  EXPECT_TRUE(null.isNull());
  EXPECT_FALSE(null.isNil());
  EXPECT_NE(null, nil);
  EXPECT_EQ(null, NSNull::null());
  EXPECT_EQ(null.description(), "<null>");
  EXPECT_EQ(null.className(), "NSNull");
}

TEST(Value, ImmediatesOfEqualNumbersAreTheSameObjectWhateverTheirCType) {
  EXPECT_TRUE(Value(7).isSame(Value(int64_t{7})));
  EXPECT_TRUE(Value(7u).isSame(Value(int8_t{7})));
  EXPECT_FALSE(Value(1).isSame(Value(true)));
  EXPECT_FALSE(Value(1).isSame(Value(1.0)));
}

TEST(Value, CopiesShareTheHeapObjectAndMovesLeaveNil) {
  Value a = "a text";
  Value b = a;
  EXPECT_TRUE(a.isSame(b));
  Value c = std::move(a);
  EXPECT_TRUE(a.isNil());  // NOLINT(bugprone-use-after-move): what is promised
  EXPECT_TRUE(c.isSame(b));
  c = *&c;  // self-assignment
  EXPECT_EQ(c, "a text");
  c = std::move(b);
  EXPECT_EQ(c, "a text");
}

TEST(Value, AsGivesTheHandleOrNil) {
  const Value v = "text";
  EXPECT_EQ(v.as<NSString>().length(), 4u);
  EXPECT_TRUE(v.as<NSNumber>().isNil());
  EXPECT_TRUE(v.as<NSArray>().isNil());
}

TEST(Value, AMutableContainerIsAlsoOfTheImmutableKind) {
  const Value v = NSMutableArray{1};
  EXPECT_TRUE(v.isKindOf<NSArray>());
  EXPECT_TRUE(v.isKindOf<NSMutableArray>());
  EXPECT_FALSE(Value(NSArray{1}).isKindOf<NSMutableArray>());
  EXPECT_TRUE(Value(NSCountedSet{1}).isKindOf<NSMutableSet>());
  EXPECT_FALSE(Value(NSSet{1}).isKindOf<NSMutableSet>());
}

TEST(Value, ValuesOfDifferentFamiliesAreNeverEqual) {
  const Value values[] = {"1",
                          1,
                          NSNull::null(),
                          NSArray{1},
                          NSSet{1},
                          NSDictionary{{1, 1}},
                          NSDate::dateWithTimeIntervalSinceReferenceDate(1)};
  for (const Value& a : values)
    for (const Value& b : values) EXPECT_EQ(a.isEqual(b), &a == &b) << a << " and " << b;
}

TEST(Value, EqualityIgnoresMutabilityAndTheOrderOfTables) {
  EXPECT_EQ(Value(NSArray{1, "x"}), Value(NSMutableArray{1, "x"}));
  EXPECT_EQ(Value(NSDictionary{{"a", 1}, {"b", 2}}), Value(NSMutableDictionary{{"b", 2}, {"a", 1}}));
  EXPECT_EQ(Value(NSSet{1, 2}), Value(NSMutableSet{2, 1}));
  EXPECT_NE(Value(NSArray{1, 2}), Value(NSArray{2, 1}));
  EXPECT_NE(Value(NSDictionary{{"a", 1}}), Value(NSDictionary{{"a", 2}}));
  EXPECT_NE(Value(NSDictionary{{"a", 1}}), Value(NSDictionary{{"b", 1}}));
}

TEST(Value, EqualityIsAnEquivalenceAndHashAgrees) {
  EXPECT_TRUE(rc::check([] {
    const Value a = randomValue(2), b = randomValue(2);
    RC_ASSERT(a.isEqual(a));
    RC_ASSERT(a.isEqual(b) == b.isEqual(a));
    if (a.isEqual(b)) RC_ASSERT(a.hash() == b.hash());
    RC_ASSERT(a.copy().isEqual(a));
    RC_ASSERT(a.copy().hash() == a.hash());
    RC_ASSERT(a.mutableCopy().isEqual(a));
  }));
}

TEST(Value, HashIsTheSameOnEveryMachine) {
  EXPECT_EQ(Value(1).hash(), Value(1.0).hash());
  EXPECT_EQ(Value(1).hash(), Value(true).hash());
  EXPECT_EQ(Value(7).hash(), size_t{0x9E3779B97F4A7C15u * 7 ^ (0x9E3779B97F4A7C15u * 7) >> 32});
}

TEST(Value, OrdersNumbersStringsAndDates) {
  EXPECT_EQ(Value(1).compare(2.5), NSOrderedAscending);
  EXPECT_EQ(Value("b").compare("a"), NSOrderedDescending);
  EXPECT_EQ(Value(NSDate::dateWithTimeIntervalSinceReferenceDate(1))
                .compare(NSDate::dateWithTimeIntervalSinceReferenceDate(1)),
            NSOrderedSame);
  EXPECT_EQ(Value(1).compare(nil), NSOrderedDescending);
  EXPECT_EQ(Value().compare(1), NSOrderedAscending);
  EXPECT_EQ(Value().compare(nil), NSOrderedSame);
}

TEST(Value, ComparingWhatHasNoOrderRaises) {
  EXPECT_THROW(static_cast<void>(Value(1).compare("1")), NSException);
  EXPECT_THROW(static_cast<void>(Value(NSArray{1}).compare(NSArray{1})), NSException);
}

TEST(Value, CopyOfAMutableContainerIsIndependent) {
  const NSMutableArray original{1, 2};
  const Value copy = original.copy();
  original.addObject(3);
  EXPECT_EQ(copy, Value(NSArray{1, 2}));
  EXPECT_FALSE(copy.isKindOf<NSMutableArray>());
}

TEST(Value, CopyOfAnImmutableValueIsTheValueItself) {
  const Value array = NSArray{1, 2};
  EXPECT_TRUE(array.copy().isSame(array));
  EXPECT_FALSE(array.mutableCopy().isSame(array));
  EXPECT_TRUE(array.mutableCopy().isKindOf<NSMutableArray>());
}

TEST(Value, ContainersOfAnyDepthAreCompared) {
  const auto nested = [](const std::function<Value(const Value&)>& wrap, int leaf) {
    Value value = NSArray{leaf};
    for (int i = 0; i < 100'000; ++i) value = wrap(value);
    return value;
  };
  const std::function<Value(const Value&)> wraps[] = {
      [](const Value& v) -> Value { return NSArray{v}; },
      [](const Value& v) -> Value {
        return NSDictionary{{"k", v}};
      },
      [](const Value& v) -> Value { return NSSet::setWithArray(NSArray{v}); }};
  for (const auto& wrap : wraps) {
    EXPECT_EQ(nested(wrap, 1), nested(wrap, 1));
    EXPECT_NE(nested(wrap, 1), nested(wrap, 2));
  }
}

TEST(Value, SetsOfManyNestedTooDeepRaiseInsteadOfOverflowing) {
  const auto nested = [] {
    Value value = NSArray{1};
    for (int i = 0; i < 5000; ++i) value = NSSet::setWithArray(NSArray{value, i});
    return value;
  };
  EXPECT_THROW(static_cast<void>(nested() == nested()), NSException);
}

TEST(Value, ContainersThatContainThemselvesAreCompared) {
  const auto ring = [](int leaf) {
    const NSMutableArray outer = NSMutableArray::array();
    outer.addObject(leaf);
    outer.addObject(NSDictionary{{"up", outer}});
    return outer;
  };
  const NSMutableArray a = ring(1), b = ring(1), c = ring(2);
  EXPECT_EQ(a, b);
  EXPECT_NE(a, c);
  for (const NSMutableArray& array : {a, b, c}) array.removeAllObjects();
}

TEST(Value, CopiesOfContainersAreOneLevelDeep) {
  const NSMutableArray inner{1};
  const Value copy = NSMutableArray{inner}.copy();
  inner.addObject(2);
  EXPECT_EQ(copy.as<NSArray>()[0].count(), 2u);
}

TEST(Value, ValueForKeyReachesIntoContainers) {
  const NSArray people{NSDictionary{{"name", "Ada"}}, NSDictionary{{"born", 1815}}};
  EXPECT_EQ(people.valueForKey("name"), Value(NSArray{"Ada", NSNull::null()}));
  EXPECT_EQ(Value(NSDictionary{{"k", 3}}).valueForKey("k"), Value(3));
  EXPECT_TRUE(Value("text").valueForKey("length").isNil());
}

TEST(Value, NestingHasNoLimitForComparisonAndDestruction) {
  constexpr int kLevels = 200000;
  const Value a = nested(kLevels), b = nested(kLevels);
  EXPECT_TRUE(a.isEqual(b));
  EXPECT_FALSE(a.isEqual(nested(kLevels + 2)));
  EXPECT_EQ(a.hash(), b.hash());
  EXPECT_NE(a.description().length(), 0u);
}

TEST(Value, WorksAsAKeyOfTheStandardContainers) {
  std::unordered_map<Value, int> map;
  map["one"] = 1;
  map[1] = 2;
  map[1.0] = 3;
  EXPECT_EQ(map.size(), 2u);
  EXPECT_EQ(map[true], 3);
}

TEST(Value, StreamsItsDescription) {
  std::ostringstream out;
  out << Value(NSArray{1}) << Value() << NSString("x");
  EXPECT_EQ(out.str(), "(\n    1\n)(null)x");
}

TEST(Value, ClassNamesAreThePublicOnes) {
  EXPECT_EQ(Value("x").className(), "NSString");
  EXPECT_EQ(Value(true).className(), "NSNumber");
  EXPECT_EQ(Value(NSArray{1}).className(), "NSArray");
  EXPECT_EQ(Value(NSMutableArray{1}).className(), "NSMutableArray");
  EXPECT_EQ(Value(NSDictionary{{1, 1}}).className(), "NSDictionary");
  EXPECT_EQ(Value(NSCountedSet{1}).className(), "NSCountedSet");
  EXPECT_EQ(Value(NSDate::date()).className(), "NSDate");
}
