#include "Platform/Foundation/Values/NSSet.h"

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSNull.h"

using namespace orv;

namespace {
bool isOdd(const Value& v) { return v.toInt() % 2 != 0; }
}  // namespace

TEST(NSSetOrvane, NilAnswersNeutrally) {
  const NSSet none;
  EXPECT_TRUE(none.zuMap([](const Value& v) { return v; }).isNil());
  EXPECT_TRUE(none.zuFilter(isOdd).isNil());
  EXPECT_TRUE(none.zuAny(isOdd).isNil());
  EXPECT_TRUE(none.zuSorted([](const Value&, const Value&) { return false; }).isNil());
  EXPECT_TRUE(NSCountedSet().sortedArrayByCountAscending(true).isNil());
}

TEST(NSSetOrvane, MapGivesTheDistinctAnswers) {
  const NSMutableSet mapped =
      NSSet{1, 2, 3, 4}.zuMap([](const Value& v) { return isOdd(v) ? Value("odd") : Value(); });
  EXPECT_EQ(mapped, (NSSet{"odd"}));
  mapped.addObject("more");
  EXPECT_EQ(mapped.count(), 2u);
}

TEST(NSSetOrvane, FilterAndAnyFollowTheOrderOfTheSet) {
  const NSSet set{4, 3, 1};
  EXPECT_EQ(set.zuFilter(isOdd).allObjects(), (NSArray{3, 1}));
  EXPECT_EQ(set.zuAny(isOdd), Value(3));
  EXPECT_TRUE(set.zuAny([](const Value&) { return false; }).isNil());
}

TEST(NSSetOrvane, SortedGivesAnArray) {
  const auto less = [](const Value& a, const Value& b) { return a.compare(b) < 0; };
  EXPECT_EQ((NSSet{3, 1, 2}).zuSorted(less), (NSArray{1, 2, 3}));
}

TEST(NSSetOrvane, AbsentBlocksAreNeutral) {
  const NSSet set{1, 2};
  EXPECT_EQ(set.zuMap(std::function<Value(const Value&)>()), NSMutableSet::set());
  EXPECT_EQ(set.zuFilter(nullptr), NSMutableSet::set());
  EXPECT_TRUE(set.zuAny(nullptr).isNil());
  EXPECT_EQ(set.zuSorted(nullptr), (NSArray{1, 2}));
}

TEST(NSSetOrvane, ChangingTheSetInsideOfABlockRaises) {
  const NSMutableSet set{1, 2, 3};
  EXPECT_THROW(set.zuMap([&](const Value& v) { return set.removeAllObjects(), v; }), NSException);
}

TEST(NSSetOrvane, CountedSetsBlocksSeeEachMemberOnce) {
  const NSCountedSet set{"x", "y", "x"};
  int calls = 0;
  set.zuAny([&](const Value&) { return ++calls, false; });
  EXPECT_EQ(calls, 2);
}

TEST(NSCountedSetOrvane, SortsMembersByTheirCounts) {
  const NSCountedSet set{"y", "x", "z", "x", "x", "w"};
  EXPECT_EQ(set.sortedArrayByCountAscending(false), (NSArray{"x", "y", "z", "w"}));
  EXPECT_EQ(set.sortedArrayByCountAscending(true), (NSArray{"y", "z", "w", "x"}));
  EXPECT_EQ(NSCountedSet::set().sortedArrayByCountAscending(true), NSArray::array());
}
