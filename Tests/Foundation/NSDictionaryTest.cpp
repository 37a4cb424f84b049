#include "Platform/Foundation/Values/NSDictionary.h"

#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSEnumerator.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

static_assert(std::forward_iterator<NSDictionary::iterator>);

TEST(NSDictionary, NilIsEmptyAndSafe) {
  const NSDictionary none;
  EXPECT_EQ(none.count(), 0u);
  EXPECT_TRUE(none["x"].isNil());
  EXPECT_FALSE(none.containsKey("x"));
  EXPECT_TRUE(none.allKeys().isNil());
  EXPECT_TRUE(none.allValues().isNil());
  EXPECT_TRUE(none.keyEnumerator().nextObject().isNil());
  EXPECT_TRUE(none.mutableCopy().isNil());
  const NSMutableDictionary noneMutable;
  noneMutable.setObjectForKey(1, "a");
  noneMutable.addEntriesFromDictionary(NSDictionary{{"a", 1}});
  noneMutable.removeObjectForKey("a");
  EXPECT_TRUE(noneMutable.isNil());
}

TEST(NSDictionary, FindsByValueOfTheKey) {
  const NSDictionary d{{"a", 1}, {2, "two"}, {NSArray{1, 2}, "list"}};
  EXPECT_EQ(d["a"], Value(1));
  EXPECT_EQ(d[2.0], "two");
  EXPECT_EQ(d[NSMutableArray({1, 2})], "list");
  EXPECT_TRUE(d["b"].isNil());
  EXPECT_TRUE(d[nil].isNil());
}

TEST(NSDictionary, OneAndTrueAreOneKeyAndTheLastValueWins) {
  const NSDictionary d{{1, "int"}, {true, "bool"}, {1.0, "double"}};
  EXPECT_EQ(d.count(), 1u);
  EXPECT_EQ(d[1], "double");
}

TEST(NSDictionary, NilKeysAndValuesRaise) {
  EXPECT_THROW((NSDictionary{{"a", nil}}), NSException);
  EXPECT_THROW((NSDictionary{{nil, 1}}), NSException);
  EXPECT_THROW(NSMutableDictionary::dictionary().setObjectForKey(nil, "a"), NSException);
  EXPECT_THROW(NSMutableDictionary::dictionary().setObjectForKey(1, nil), NSException);
  EXPECT_THROW(NSMutableDictionary::dictionary().removeObjectForKey(nil), NSException);
  EXPECT_THROW(NSDictionary::dictionaryWithObjectsForKeys(NSArray{1}, NSArray{1, 2}), NSException);
}

TEST(NSDictionary, EnumeratesInOrderOfInsertionEverywhere) {
  const NSMutableDictionary d = NSMutableDictionary::dictionary();
  for (const char* key : {"z", "y", "x", "w"}) d.setObjectForKey(d.count(), key);
  d.removeObjectForKey("y");
  d.setObjectForKey("again", "z");
  d.setObjectForKey("new", "y");
  const NSArray order{"z", "x", "w", "y"};
  EXPECT_EQ(d.allKeys(), order);
  EXPECT_EQ(d.keyEnumerator().allObjects(), order);
  EXPECT_EQ(d.allValues(), Value(NSArray{"again", 2, 3, "new"}));
  EXPECT_EQ(d.objectEnumerator().allObjects(), d.allValues());
  std::vector<std::string> seen;
  for (auto [key, value] : d) seen.push_back(key.as<NSString>().utf8());
  EXPECT_THAT(seen, testing::ElementsAre("z", "x", "w", "y"));
}

TEST(NSDictionary, AllKeysForObjectFindsEveryHolder) {
  const NSDictionary d{{"a", 1}, {"b", 2}, {"c", 1.0}};
  EXPECT_EQ(d.allKeysForObject(1), Value(NSArray{"a", "c"}));
}

TEST(NSMutableDictionary, SettingNilThroughTheKeyRemovesIt) {
  const NSMutableDictionary d{{"a", 1}};
  d.setValueForKey(nil, "a");
  EXPECT_EQ(d.count(), 0u);
  d.setValueForKey(2, "b");
  EXPECT_EQ(d["b"], Value(2));
}

TEST(NSMutableDictionary, KeysAreCopied) {
  const NSMutableArray key{1};
  const NSMutableDictionary d = NSMutableDictionary::dictionary();
  d.setObjectForKey("v", key);
  key.addObject(2);
  EXPECT_EQ(d[NSArray{1}], "v");
}

TEST(NSMutableDictionary, AgreesWithAMapUnderRandomEdits) {
  EXPECT_TRUE(rc::check([] {
    const NSMutableDictionary ours = NSMutableDictionary::dictionaryWithCapacity(*rc::gen::inRange(0u, 30u));
    std::map<std::string, int> model;
    for (int step = 0; step < 300; ++step) {
      const std::string key = "key" + std::to_string(*rc::gen::inRange(0, 60));
      if (*rc::gen::inRange(0, 5) < 3) {
        ours.setObjectForKey(step, key);
        model[key] = step;
      } else {
        ours.removeObjectForKey(key);
        model.erase(key);
      }
      RC_ASSERT(ours.count() == model.size());
    }
    for (const auto& [key, value] : model) RC_ASSERT(ours[key] == Value(value));
    NSUInteger seen = 0;
    for (auto [key, value] : ours) {
      RC_ASSERT(model.at(key.as<NSString>().utf8()) == value.as<NSNumber>().intValue());
      ++seen;
    }
    RC_ASSERT(seen == model.size());
  }));
}

TEST(NSMutableDictionary, AnAbsurdCapacityIsOnlyAHint) {
  const NSMutableDictionary d = NSMutableDictionary::dictionaryWithCapacity(NSNotFound);
  d.setObjectForKey(1, "a");
  EXPECT_EQ(d.count(), 1u);
}

TEST(NSMutableDictionary, HoldsAHundredThousandEntries) {
  const NSMutableDictionary d = NSMutableDictionary::dictionary();
  for (int i = 0; i < 100000; ++i) d.setObjectForKey(i, NSString::stringWithFormat("key %d", i));
  EXPECT_EQ(d.count(), 100000u);
  for (int i = 0; i < 100000; i += 997) EXPECT_EQ(d[NSString::stringWithFormat("key %d", i)], Value(i));
  EXPECT_TRUE(d["key 100000"].isNil());
}

TEST(NSMutableDictionary, CyclesOfAddingAndRemovingDoNotGrowIt) {
  const NSMutableDictionary d = NSMutableDictionary::dictionary();
  for (int i = 0; i < 100000; ++i) {
    d.setObjectForKey(1, i);
    if (i >= 10) d.removeObjectForKey(i - 10);
  }
  EXPECT_EQ(d.count(), 10u);
  EXPECT_LT(orv::detail::tableRep(d)->capacity, 64u);
}

TEST(NSMutableDictionary, ChangingKeysWhileIteratingRaisesButReplacingValuesDoesNot) {
  const NSMutableDictionary d{{"a", 1}, {"b", 2}};
  for (auto [key, value] : d) d.setObjectForKey("new", key);
  EXPECT_EQ(d.allValues(), Value(NSArray{"new", "new"}));
  EXPECT_THROW(for (auto [key, value] : d) d.removeObjectForKey(key), NSException);
}

TEST(NSMutableDictionary, AddingOrSettingItselfChangesNothing) {
  const NSMutableDictionary d{{"a", 1}};
  d.addEntriesFromDictionary(d);
  d.setDictionary(d);
  d.addEntriesFromDictionary(nil);
  EXPECT_EQ(d, Value(NSDictionary{{"a", 1}}));
  d.setDictionary(NSDictionary{{"b", 2}});
  EXPECT_EQ(d.allKeys(), Value(NSArray{"b"}));
}

TEST(NSMutableDictionary, CopyIsFrozen) {
  const NSMutableDictionary d{{"a", 1}};
  const auto copy = d.copy().as<NSDictionary>();
  d.removeAllObjects();
  EXPECT_EQ(copy.count(), 1u);
  EXPECT_FALSE(copy.isKindOf<NSMutableDictionary>());
}
