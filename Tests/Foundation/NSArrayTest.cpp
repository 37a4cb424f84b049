#include "Platform/Foundation/Values/NSArray.h"

#include <algorithm>
#include <iterator>
#include <list>
#include <ranges>
#include <string>
#include <vector>

#include "Platform/Foundation/Values/NSEnumerator.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSNull.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

static_assert(std::random_access_iterator<NSArray::iterator>);
static_assert(std::ranges::random_access_range<const NSArray>);

namespace {

// The name of the exception that an operation raises, "" when it raises none.
template <class F>
std::string raised(F&& operation) {
  try {
    operation();
  } catch (const NSException& exception) {
    return exception.name().utf8();
  }
  return "";
}

// Counts the elements of an array at the moment of its own end.
struct Looker : NSObject {
  explicit Looker(const NSArray& l) : list(l) {}
  ~Looker() override { count = list.count(); }
  NSArray list;
  static NSUInteger count;
};
NSUInteger Looker::count = 99;

int byNumber(const Value& a, const Value& b) { return a.compare(b); }

}  // namespace

TEST(NSArray, NilIsEmptyAndSafe) {
  const NSArray none;
  EXPECT_EQ(none.count(), 0u);
  EXPECT_TRUE(none[0].isNil());
  EXPECT_TRUE(none.firstObject().isNil());
  EXPECT_TRUE(none.lastObject().isNil());
  EXPECT_EQ(none.indexOfObject(1), NSNotFound);
  EXPECT_TRUE(none.arrayByAddingObject(1).isNil());
  EXPECT_TRUE(none.subarrayWithRange({0, 5}).isNil());
  EXPECT_TRUE(none.componentsJoinedByString(",").isNil());
  EXPECT_TRUE(none.objectEnumerator().nextObject().isNil());
  EXPECT_TRUE(none.mutableCopy().isNil());
  EXPECT_EQ(none.begin(), none.end());
  const NSMutableArray noneMutable;
  noneMutable.addObject(1);
  noneMutable.removeAllObjects();
  EXPECT_TRUE(noneMutable.isNil());
}

TEST(NSArray, EmptyIsNotNil) {
  EXPECT_FALSE(NSArray::array().isNil());
  EXPECT_EQ(NSArray::array().count(), 0u);
  EXPECT_EQ(NSArray::array(), NSMutableArray::array());
}

TEST(NSArray, HoldsWhatTheBracesList) {
  const NSArray list{1, "two", 3.0, NSNull::null(), NSArray{4}};
  EXPECT_EQ(list.count(), 5u);
  EXPECT_EQ(list[1], "two");
  EXPECT_EQ(list.firstObject(), Value(1));
  EXPECT_EQ(list.lastObject(), Value(NSArray{4}));
}

TEST(NSArray, NilElementsRaise) {
  EXPECT_EQ(raised([] { NSArray{1, nil}; }), "NSInvalidArgumentException");
  EXPECT_EQ(raised([] { NSMutableArray::array().addObject(nil); }), "NSInvalidArgumentException");
  EXPECT_EQ(raised([] { NSMutableArray{1}.insertObjectAtIndex(nil, 0); }), "NSInvalidArgumentException");
  EXPECT_EQ(raised([] { NSMutableArray{1}.replaceObjectAtIndex(0, nil); }), "NSInvalidArgumentException");
  EXPECT_EQ(raised([] { static_cast<void>(NSArray{1}.arrayByAddingObject(nil)); }),
            "NSInvalidArgumentException");
}

TEST(NSArray, IndicesPastTheEndRaise) {
  EXPECT_EQ(raised([] { static_cast<void>(NSArray{1}[1]); }), "NSRangeException");
  EXPECT_EQ(raised([] { static_cast<void>(NSArray{1}.subarrayWithRange({1, 1})); }), "NSRangeException");
  EXPECT_EQ(raised([] {
              static_cast<void>(NSArray{1}.subarrayWithRange({1, NSNotFound * 2}));
            }),
            "NSRangeException");
  EXPECT_EQ(raised([] { NSMutableArray{1}.insertObjectAtIndex(2, 2); }), "NSRangeException");
  EXPECT_EQ(raised([] { NSMutableArray{1}.removeObjectAtIndex(1); }), "NSRangeException");
  EXPECT_EQ(raised([] { NSMutableArray::array().removeLastObject(); }), "NSRangeException");
  EXPECT_EQ(raised([] { NSMutableArray{1}.exchangeObjectAtIndex(0, 1); }), "NSRangeException");
  EXPECT_EQ(NSArray({1, 2}).subarrayWithRange({2, 0}).count(), 0u);
}

TEST(NSArray, FindsByEqualityAndByIdentity) {
  const NSString text = NSString::stringWithFormat("%d", 12345);
  const NSArray list{1, text, 1.0};
  EXPECT_EQ(list.indexOfObject(true), 0u);
  EXPECT_EQ(list.indexOfObject("12345"), 1u);
  EXPECT_EQ(list.indexOfObjectIdenticalTo(text), 1u);
  EXPECT_EQ(list.indexOfObjectIdenticalTo(NSString::stringWithFormat("%d", 12345)), NSNotFound);
  EXPECT_FALSE(list.containsObject("1"));
  EXPECT_FALSE(list.containsObject(nil));
}

TEST(NSArray, JoinsDescriptions) {
  EXPECT_EQ((NSArray{1, "a", NSNull::null()}.componentsJoinedByString("-")), "1-a-<null>");
  EXPECT_EQ(NSArray::array().componentsJoinedByString("-"), "");
  EXPECT_EQ((NSArray{1, 2}.componentsJoinedByString(nil)), "12");
}

TEST(NSArray, SortsStably) {
  const NSArray list{3, 1, 1.0, 2, true};
  const NSArray sorted = list.sortedArrayUsingComparator(byNumber);
  EXPECT_EQ(sorted.componentsJoinedByString(","), "1,1,1,2,3");
  EXPECT_EQ(sorted[0].kind(), Kind::Int);
  EXPECT_EQ(sorted[1].kind(), Kind::Double);
  EXPECT_EQ(sorted[2].kind(), Kind::Bool);
}

TEST(NSArray, IsMadeFromAnyRange) {
  EXPECT_EQ(NSArray::from(std::vector<int>{1, 2}), Value(NSArray{1, 2}));
  EXPECT_EQ(NSArray::from(std::list<std::string>{"a", "b"}), Value(NSArray{"a", "b"}));
  EXPECT_EQ(NSArray::from(std::views::iota(0, 3)).count(), 3u);
}

TEST(NSArray, WorksWithTheStandardAlgorithms) {
  const NSArray list{5, 3, 9};
  EXPECT_EQ(*std::ranges::max_element(list, [](const Value& a, const Value& b) { return a.compare(b) < 0; }),
            Value(9));
  EXPECT_EQ(std::ranges::count_if(list, [](const Value& v) { return v.as<NSNumber>().intValue() > 3; }), 2);
}

TEST(NSArray, EnumeratorsWalkBothWaysAndKeepTheArrayAlive) {
  NSEnumerator forward = NSArray{1, 2, 3}.objectEnumerator();
  EXPECT_EQ(forward.nextObject(), Value(1));
  EXPECT_EQ(forward.allObjects(), Value(NSArray{2, 3}));
  EXPECT_TRUE(forward.nextObject().isNil());
  EXPECT_EQ((NSArray{1, 2, 3}.reverseObjectEnumerator().allObjects()), Value(NSArray{3, 2, 1}));
}

TEST(NSMutableArray, EveryHandleSeesTheChange) {
  const NSMutableArray one{1};
  const NSMutableArray two = one;
  const NSArray three = one;
  two.addObject(2);
  EXPECT_EQ(one.count(), 2u);
  EXPECT_EQ(three.count(), 2u);
}

TEST(NSMutableArray, AnAbsurdCapacityIsOnlyAHint) {
  const NSMutableArray list = NSMutableArray::arrayWithCapacity(NSNotFound);
  list.addObject(1);
  EXPECT_EQ(list.count(), 1u);
}

TEST(NSMutableArray, AddingAnArrayToItselfDoublesIt) {
  const NSMutableArray list{1, 2};
  list.addObjectsFromArray(list);
  EXPECT_EQ(list, Value(NSArray{1, 2, 1, 2}));
  list.setArray(list);
  EXPECT_EQ(list.count(), 4u);
}

TEST(NSMutableArray, ArgumentsMayLieInTheArrayItself) {
  const NSMutableArray list{"a", "b", "c"};
  for (int i = 0; i < 20; ++i) list.addObject(list[0]);
  list.insertObjectAtIndex(list[2], 0);
  list.replaceObjectAtIndex(1, list[2]);
  list.removeObject(list[0]);
  EXPECT_EQ(list[0], "b");
  EXPECT_FALSE(list.containsObject("c"));
}

TEST(NSMutableArray, AgreesWithAVectorUnderRandomEdits) {
  EXPECT_TRUE(rc::check([] {
    const NSMutableArray ours = NSMutableArray::arrayWithCapacity(*rc::gen::inRange(0u, 5u));
    std::vector<int> model;
    for (int step = 0; step < 60; ++step) {
      const int n = *rc::gen::inRange(0, 100);
      const size_t at = model.empty() ? 0 : static_cast<size_t>(n) % model.size();
      switch (*rc::gen::inRange(0, 6)) {
        case 0: ours.addObject(n), model.push_back(n); break;
        case 1: ours.insertObjectAtIndex(n, at), model.insert(model.begin() + static_cast<long>(at), n); break;
        case 2:
          if (model.empty()) break;
          ours.removeObjectAtIndex(at), model.erase(model.begin() + static_cast<long>(at));
          break;
        case 3:
          if (model.empty()) break;
          ours.replaceObjectAtIndex(at, n), model[at] = n;
          break;
        case 4: ours.removeObject(n), std::erase(model, n); break;
        default: ours.sortUsingComparator(byNumber), std::ranges::stable_sort(model); break;
      }
      RC_ASSERT(ours.isEqual(NSArray::from(model)));
    }
  }));
}

TEST(NSMutableArray, ChangingItWhileIteratingRaises) {
  const NSMutableArray list{1, 2, 3};
  EXPECT_EQ(raised([&] {
              for (const Value& v : list) list.addObject(v);
            }),
            "NSGenericException");
  EXPECT_EQ(list.count(), 4u);
}

TEST(NSMutableArray, ChangingItInTheLastTurnOfALoopRaisesToo) {
  const NSMutableArray list{1};
  EXPECT_EQ(raised([&] {
              for (const Value& v : list) list.addObject(v);
            }),
            "NSGenericException");
}

TEST(NSMutableArray, ReplacingAnElementIsNoChangeOfTheStructure) {
  const NSMutableArray list{1, 2};
  NSUInteger i = 0;
  for (const Value& v : list) list.replaceObjectAtIndex(i++, v.as<NSNumber>().intValue() * 10);
  EXPECT_EQ(list, Value(NSArray{10, 20}));
}

TEST(NSMutableArray, ElementsThatEndMayNotSeeAHalfChangedArray) {
  const NSMutableArray list = NSMutableArray::array();
  list.addObject(make<Looker>(list));
  list.removeAllObjects();
  EXPECT_EQ(Looker::count, 0u);
}
