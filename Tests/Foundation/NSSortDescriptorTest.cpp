#include "Platform/Foundation/Values/NSSortDescriptor.h"

#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSNull.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

namespace {
NSDictionary person(const Value& name, const Value& age) { return NSDictionary{{"name", name}, {"age", age}}; }
Value by(const NSString& key, bool ascending) {
  return NSSortDescriptor::sortDescriptorWithKey(key, ascending);
}
}  // namespace

TEST(NSSortDescriptor, TellsWhatItWasMadeFrom) {
  const auto descriptor = NSSortDescriptor::sortDescriptorWithKey("a.b", true);
  EXPECT_EQ(descriptor->key(), "a.b");
  EXPECT_TRUE(descriptor->ascending());
  EXPECT_FALSE(descriptor->comparator());
  EXPECT_EQ(descriptor->description(), "(a.b, ascending)");
  EXPECT_EQ(descriptor->reversedSortDescriptor()->description(), "(a.b, descending)");
  EXPECT_EQ(descriptor->className(), "NSSortDescriptor");
}

TEST(NSSortDescriptor, ComparesTheValuesAtItsKey) {
  const auto descriptor = NSSortDescriptor::sortDescriptorWithKey("age", true);
  EXPECT_EQ(descriptor->compareObject(person("a", 1), person("b", 2)), NSOrderedAscending);
  EXPECT_EQ(descriptor->compareObject(person("a", 2), person("b", 2.0)), NSOrderedSame);
  EXPECT_EQ(descriptor->compareObject(person("a", 1), NSDictionary::dictionary()), NSOrderedDescending);
  EXPECT_EQ(descriptor->reversedSortDescriptor()->compareObject(person("a", 1), person("b", 2)),
            NSOrderedDescending);
  EXPECT_EQ(NSSortDescriptor::sortDescriptorWithKey(nil, true)->compareObject(1, NSNull::null()),
            NSOrderedDescending);
}

TEST(NSSortDescriptor, LaterDescriptorsDecideBetweenEqualValues) {
  const NSArray people{person("Bob", 3), person("Ada", 5), person("Cy", 3)};
  EXPECT_EQ(people.sortedArrayUsingDescriptors({by("age", true), by("name", false)}).valueForKey("name"),
            Value(NSArray{"Cy", "Bob", "Ada"}));
  EXPECT_EQ(people.sortedArrayUsingDescriptors({by("age", true)}).valueForKey("name"),
            Value(NSArray{"Bob", "Cy", "Ada"}));
}

TEST(NSSortDescriptor, SortsTextsDoublesAndMixedKinds) {
  const NSArray texts{"b", "a", "c", "a"};
  EXPECT_EQ(texts.sortedArrayUsingDescriptors({by(nil, true)}), (NSArray{"a", "a", "b", "c"}));
  EXPECT_EQ(texts.sortedArrayUsingDescriptors({by(nil, false)}), (NSArray{"c", "b", "a", "a"}));
  const NSArray doubles{2.5, -1.0, 0.5};
  EXPECT_EQ(doubles.sortedArrayUsingDescriptors({by(nil, true)}), (NSArray{-1.0, 0.5, 2.5}));
  EXPECT_EQ((NSArray{2, "a", 1.5}).sortedArrayUsingDescriptors({by(nil, false)}), (NSArray{"a", 2, 1.5}));
}

TEST(NSSortDescriptor, UsesItsComparatorAndSurvivesAContradictoryOne) {
  const auto byLength =
      NSSortDescriptor::sortDescriptorWithKey("name", true, [](const Value& a, const Value& b) {
        return static_cast<int>(a.toString().length()) - static_cast<int>(b.toString().length());
      });
  const NSArray people{person("Long", 1), person("A", 2), person("Mid", 3)};
  EXPECT_EQ(people.sortedArrayUsingDescriptors({byLength}).valueForKey("age"), Value(NSArray{2, 3, 1}));
  const auto always =
      NSSortDescriptor::sortDescriptorWithKey(nil, true, [](const Value&, const Value&) { return 1; });
  NSMutableArray many = NSMutableArray::array();
  for (int i = 0; i < 1000; ++i) many.addObject(i);
  EXPECT_EQ(many.sortedArrayUsingDescriptors({always}).sorted(), many);
  EXPECT_EQ(many.sortedArrayUsingComparator([](const Value&, const Value&) { return 1; }).sorted(), many);
}

TEST(NSSortDescriptor, NoDescriptorsAndNilKeepTheOrder) {
  const NSArray list{2, 1};
  EXPECT_EQ(list.sortedArrayUsingDescriptors(nil), list);
  EXPECT_EQ(list.sortedArrayUsingDescriptors({"no descriptor"}), list);
  EXPECT_TRUE(NSArray().sortedArrayUsingDescriptors({by(nil, true)}).isNil());
  NSMutableArray().sortUsingDescriptors({by(nil, true)});
  EXPECT_EQ(list.sortedArrayUsingComparator({}), list);
}

TEST(NSSortDescriptor, SortsInPlace) {
  const NSMutableArray list{3, 1, 2};
  list.sortUsingDescriptors({by(nil, true)});
  EXPECT_EQ(list, (NSArray{1, 2, 3}));
}
