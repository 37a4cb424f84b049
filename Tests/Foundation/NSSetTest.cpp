#include "Platform/Foundation/Values/NSSet.h"

#include <iterator>
#include <set>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSEnumerator.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

static_assert(std::forward_iterator<NSSet::iterator>);

TEST(NSSet, NilIsEmptyAndSafe) {
  const NSSet none;
  EXPECT_EQ(none.count(), 0u);
  EXPECT_FALSE(none.containsObject(1));
  EXPECT_TRUE(none.member(1).isNil());
  EXPECT_TRUE(none.anyObject().isNil());
  EXPECT_TRUE(none.allObjects().isNil());
  EXPECT_FALSE(none.isSubsetOfSet(NSSet{1}));
  EXPECT_FALSE(none.intersectsSet(NSSet{1}));
  EXPECT_TRUE(none.setByAddingObject(1).isNil());
  EXPECT_EQ(none.begin(), none.end());
  const NSMutableSet noneMutable;
  noneMutable.addObject(1);
  noneMutable.unionSet(NSSet{1});
  noneMutable.intersectSet(NSSet{1});
  EXPECT_TRUE(noneMutable.isNil());
  EXPECT_EQ(NSCountedSet().countForObject(1), 0u);
}

TEST(NSSet, KeepsOneOfEachEqualValueInOrderOfArrival) {
  const NSSet set{"b", 1, "a", 1.0, true, "b"};
  EXPECT_EQ(set.count(), 3u);
  EXPECT_EQ(set.allObjects(), Value(NSArray{"b", 1, "a"}));
  EXPECT_EQ(set.member(true).kind(), Kind::Int);
}

TEST(NSSet, NilMembersRaise) {
  EXPECT_THROW(NSSet{nil}, NSException);
  EXPECT_THROW(NSMutableSet::set().addObject(nil), NSException);
  EXPECT_FALSE(NSSet{1}.containsObject(nil));
}

TEST(NSSet, ComparesAsSets) {
  EXPECT_TRUE((NSSet{1, 2}.isSubsetOfSet(NSSet{3, 2, 1})));
  EXPECT_FALSE((NSSet{1, 4}.isSubsetOfSet(NSSet{3, 2, 1})));
  EXPECT_TRUE(NSSet::set().isSubsetOfSet(NSSet{1}));
  EXPECT_TRUE((NSSet{1, 4}.intersectsSet(NSSet{4})));
  EXPECT_FALSE((NSSet{1, 4}.intersectsSet(NSSet{5})));
}

TEST(NSSet, AddingGivesANewSet) {
  const NSSet set{1};
  EXPECT_EQ(set.setByAddingObject(2), Value(NSSet{1, 2}));
  EXPECT_EQ(set.setByAddingObjectsFromSet(NSSet{3}), Value(NSSet{1, 3}));
  EXPECT_EQ(set.count(), 1u);
  EXPECT_FALSE(set.setByAddingObject(2).isKindOf<NSMutableSet>());
}

TEST(NSSet, EnumeratorHandsOutEveryMemberOnce) {
  EXPECT_EQ((NSSet{3, 1, 3}.objectEnumerator().allObjects()), Value(NSArray{3, 1}));
}

TEST(NSMutableSet, AgreesWithAModelUnderRandomEdits) {
  EXPECT_TRUE(rc::check([] {
    const NSMutableSet ours = NSMutableSet::setWithCapacity(*rc::gen::inRange(0u, 20u));
    std::set<int> model;
    for (int step = 0; step < 200; ++step) {
      const int n = *rc::gen::inRange(0, 40);
      if (*rc::gen::inRange(0, 5) < 3)
        ours.addObject(n), model.insert(n);
      else
        ours.removeObject(n), model.erase(n);
      RC_ASSERT(ours.count() == model.size());
      RC_ASSERT(ours.containsObject(n) == model.contains(n));
    }
    for (int n : model) RC_ASSERT(ours.containsObject(n));
    RC_ASSERT(ours.isEqual(NSSet::setWithArray(NSArray::from(model))));
  }));
}

TEST(NSMutableSet, SetOperationsWorkOnTheSetItselfToo) {
  const NSMutableSet set{1, 2, 3};
  set.unionSet(set);
  EXPECT_EQ(set.count(), 3u);
  set.minusSet(NSSet{2});
  EXPECT_EQ(set, Value(NSSet{1, 3}));
  set.intersectSet(NSSet{3, 4});
  EXPECT_EQ(set, Value(NSSet{3}));
  set.minusSet(set);
  EXPECT_EQ(set.count(), 0u);
}

TEST(NSMutableSet, ChangingItWhileIteratingRaises) {
  const NSMutableSet set{1, 2};
  EXPECT_THROW(for (const Value& v : set) set.removeObject(v), NSException);
}

TEST(NSMutableSet, AMutableMemberIsCopiedSoThatItCannotChangeUnderTheTable) {
  const NSMutableArray key{1};
  const NSMutableSet set{key};
  key.addObject(2);
  EXPECT_TRUE(set.containsObject(NSArray{1}));
}

TEST(NSCountedSet, CountsAdditionsAndRemovals) {
  const NSCountedSet words{"to", "be", "to"};
  EXPECT_EQ(words.count(), 2u);
  EXPECT_EQ(words.countForObject("to"), 2u);
  EXPECT_EQ(words.countForObject("or"), 0u);
  words.removeObject("to");
  EXPECT_EQ(words.countForObject("to"), 1u);
  words.removeObject("to");
  words.removeObject("to");
  EXPECT_FALSE(words.containsObject("to"));
  EXPECT_EQ(words.allObjects(), Value(NSArray{"be"}));
}

TEST(NSCountedSet, CopiesKeepTheCountsAndStayCounted) {
  const NSCountedSet words = NSCountedSet::setWithArray(NSArray{"a", "a"});
  const auto copy = words.copy().as<NSCountedSet>();
  words.addObject("a");
  EXPECT_EQ(copy.countForObject("a"), 2u);
  EXPECT_NE(Value(words), Value(copy));
}
