#include <rapidcheck.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "Platform/Foundation/Text/NSAttributedString.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDecimalNumber.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSNull.h"
#include "Platform/Foundation/Values/NSSet.h"
#include "Platform/Foundation/Values/NSURL.h"

using namespace orv;

namespace {

template <class F>
std::string raised(F&& operation) {
  try {
    operation();
  } catch (const NSException& exception) {
    return exception.name().utf8();
  }
  return "";
}

NSArray numbers(const std::vector<int>& list) { return NSArray::from(list); }

NSArray pairs(const std::vector<int>& keys) {
  NSMutableArray list = NSMutableArray::array();
  for (const int key : keys) list.addObject(NSDictionary{{"k", key}, {"at", list.count()}});
  return list;
}

NSDecimal decimal(const char* text) { return NSDecimal::fromText(std::string_view(text)); }

// The sum as decimal arithmetic alone gives it.
NSDecimal plainSum(const NSArray& list) {
  NSDecimal sum;
  for (const Value& v : list) sum = sum.adding(v.as<NSNumber>().decimalValue()).value;
  return sum;
}

bool isOdd(const Value& v) { return v.toInt() % 2 != 0; }

}  // namespace

// ---- Access

TEST(NSArrayOrvane, NilAnswersNeutrally) {
  const NSArray none;
  EXPECT_TRUE(none.at(0).isNil());
  EXPECT_EQ(none.length(), 0u);
  EXPECT_TRUE(none.join(",").isNil());
  EXPECT_TRUE(none.joinAttributedStrings(nil).isNil());
  EXPECT_TRUE(none.sorted().isNil());
  EXPECT_TRUE(none.sliceFrom(0, 0).isNil());
  EXPECT_TRUE(none.zuMap([](const Value& v) { return v; }).isNil());
  EXPECT_TRUE(none.zuFilter(isOdd).isNil());
  EXPECT_TRUE(none.zuAny(isOdd).isNil());
  EXPECT_TRUE(none.zuReduce(1, [](const Value& a, const Value&) { return a; }).isNil());
  EXPECT_TRUE(none.zuSorted([](const Value&, const Value&) { return true; }).isNil());
  EXPECT_TRUE(none.zuSortBy("k").isNil());
  EXPECT_TRUE(none.zuGroupBy("k", [](const NSArray& g) { return g; }).isNil());
  EXPECT_TRUE(none.set().isNil());
  EXPECT_TRUE(none.mutableSet().isNil());
  EXPECT_TRUE(none.deepMutableCopy().isNil());
  EXPECT_TRUE(none.sumValue().isNil());
  EXPECT_TRUE(none.averageValue().isNil());
  EXPECT_TRUE(none.minValue().isNil());
  EXPECT_TRUE(none.maxValue().isNil());
  const NSMutableArray noneMutable;
  EXPECT_TRUE(noneMutable.pop(0).isNil());
  EXPECT_TRUE(noneMutable.popFirst().isNil());
  EXPECT_TRUE(noneMutable.popLast().isNil());
  noneMutable.addFormat("%d", 1);
  noneMutable.addObjectIfNotNil(1);
  EXPECT_TRUE(noneMutable.isNil());
}

TEST(NSArrayOrvane, AtIsNilPastTheEnd) {
  const NSArray list{1, 2, 3};
  EXPECT_EQ(list.at(2), Value(3));
  EXPECT_TRUE(list.at(3).isNil());
  EXPECT_TRUE(list.at(5).isNil());
  EXPECT_EQ(list.length(), 3u);
}

TEST(NSArrayOrvane, JoinPutsTheSeparatorBetweenDescriptions) {
  EXPECT_EQ((NSArray{1, "two", 3.5}).join(", "), "1, two, 3.5");
  EXPECT_EQ(NSArray::array().join(","), "");
}

TEST(NSArrayOrvane, JoinAttributedStringsKeepsEachPiecesAttributes) {
  const NSDictionary bold{{"weight", "bold"}};
  const NSArray pieces{NSString("a").attributedStringWithAttributes(bold), "b",
                       NSString("c").attributedString()};
  const NSMutableAttributedString joined = pieces.joinAttributedStrings(NSString("--").attributedString());
  EXPECT_EQ(joined.string(), "a--b--c");
  EXPECT_EQ(joined.attributesAtIndex(0), bold);
  NSRange run;
  EXPECT_EQ(joined.attributesAtIndex(3, &run).count(), 0u);
  EXPECT_EQ(run, (NSRange{1, 6}));
}

TEST(NSArrayOrvane, JoinAttributedStringsOfNothingIsAnEmptyText) {
  const NSMutableAttributedString joined =
      NSArray::array().joinAttributedStrings(NSString("-").attributedString());
  EXPECT_EQ(joined.string(), "");
  EXPECT_EQ((NSArray{"a", "b"}).joinAttributedStrings(nil).string(), "ab");
}

// ---- Slices

TEST(NSArrayOrvane, SliceCountsNegativeIndicesFromTheEnd) {
  struct Case {
    NSInteger from, to;
    std::vector<int> expected;
  };
  const Case cases[] = {{0, 0, {1, 2, 3}},
                        {1, 2, {2}},
                        {-2, 0, {2, 3}},
                        {1, -1, {2}},
                        {5, 0, {}},
                        {3, 0, {}},
                        {-10, 2, {1, 2}},
                        {-10, -8, {}},
                        {2, 1, {}},
                        {0, 100, {1, 2, 3}},
                        {0, -3, {}},
                        {INT64_MIN, INT64_MAX, {1, 2, 3}},
                        {INT64_MAX, INT64_MIN, {}}};
  for (const Case& c : cases)
    EXPECT_EQ((NSArray{1, 2, 3}).sliceFrom(c.from, c.to), numbers(c.expected)) << c.from << " " << c.to;
  EXPECT_EQ(NSArray::array().sliceFrom(0, 1), NSArray::array());
}

TEST(NSArrayOrvane, SliceHoldsWhatAWalkOverTheIndicesFinds) {
  EXPECT_TRUE(rc::check([](const std::vector<int>& list) {
    const auto n = static_cast<NSInteger>(list.size());
    const auto from = *rc::gen::inRange<NSInteger>(-n - 3, n + 4);
    const auto to = *rc::gen::inRange<NSInteger>(-n - 3, n + 4);
    std::vector<int> expected;
    const NSInteger first = from < 0 ? from + n : from;
    const NSInteger end = to == 0 ? n : to < 0 ? to + n : to;
    for (NSInteger i = 0; i < n; ++i)
      if (i >= first && i < end) expected.push_back(list[static_cast<size_t>(i)]);
    RC_ASSERT(numbers(list).sliceFrom(from, to) == numbers(expected));
  }));
}

// ---- Blocks

TEST(NSArrayOrvane, MapSkipsNilAnswers) {
  const NSArray list{1, 2, 3};
  EXPECT_EQ(list.zuMap([](const Value& v) { return v.toInt() * 2; }), (NSArray{2, 4, 6}));
  EXPECT_EQ(list.zuMap([](const Value& v) { return isOdd(v) ? v : Value(); }), (NSArray{1, 3}));
  EXPECT_EQ(list.zuMap([](const Value&) { return nil; }), NSArray::array());
  EXPECT_EQ(list.zuMap([](const Value&) { return NSNull::null(); }).count(), 3u);
}

TEST(NSArrayOrvane, BlocksAreAnythingThatCanBeCalled) {
  const NSArray list{1, 2};
  struct Adder {
    int calls = 0;
    Value operator()(const Value& v) { return v.toInt() + ++calls; }
  } adder;
  EXPECT_EQ(list.zuMap(&Value::description), (NSArray{"1", "2"}));
  EXPECT_EQ(list.zuMap(adder), (NSArray{2, 4}));
  EXPECT_EQ(adder.calls, 2);
  EXPECT_EQ(list.zuFilter(isOdd), (NSArray{1}));
  EXPECT_EQ(list.zuMap(std::function<Value(const Value&)>([](const Value& v) { return v; })), list);
  EXPECT_EQ(list.zuMap([](auto v) { return v; }), list);
}

TEST(NSArrayOrvane, AbsentBlocksAreNeutral) {
  const NSArray list{2, 1};
  EXPECT_EQ(list.zuMap(std::function<Value(const Value&)>()), NSArray::array());
  EXPECT_EQ(list.zuMap(nullptr), NSArray::array());
  EXPECT_EQ(list.zuFilter(std::function<bool(const Value&)>()), NSArray::array());
  EXPECT_EQ(list.zuFilter(nullptr), NSArray::array());
  EXPECT_TRUE(list.zuAny(std::function<bool(const Value&)>()).isNil());
  EXPECT_TRUE(list.zuAny(nullptr).isNil());
  EXPECT_EQ(list.zuReduce(7, std::function<Value(const Value&, const Value&)>()), Value(7));
  EXPECT_EQ(list.zuReduce(7, nullptr), Value(7));
  EXPECT_EQ(list.zuSorted(std::function<bool(const Value&, const Value&)>()), list);
  EXPECT_EQ(list.zuSorted(nullptr), list);
  bool (*noFunction)(const Value&) = nullptr;
  EXPECT_EQ(list.zuFilter(noFunction), NSArray::array());
  EXPECT_EQ(pairs({1}).zuGroupBy("k", nullptr), NSArray::array());
  EXPECT_EQ(pairs({1}).zuGroupBy("k", std::function<Value(const NSArray&)>()), NSArray::array());
}

TEST(NSArrayOrvane, AnyStopsAtTheFirstFind) {
  int asked = 0;
  const Value found = NSArray{2, 3, 5}.zuAny([&](const Value& v) { return ++asked, isOdd(v); });
  EXPECT_EQ(found, Value(3));
  EXPECT_EQ(asked, 2);
  EXPECT_TRUE((NSArray{2, 4}).zuAny(isOdd).isNil());
}

TEST(NSArrayOrvane, ReduceFoldsFromTheLeft) {
  const auto join = [](const Value& a, const Value& b) { return a.toString() + b.toString(); };
  EXPECT_EQ((NSArray{"b", "c"}).zuReduce("a", join), "abc");
  EXPECT_EQ(NSArray::array().zuReduce("a", join), "a");
  EXPECT_TRUE((NSArray{1}).zuReduce(2, [](const Value&, const Value&) { return nil; }).isNil());
}

TEST(NSArrayOrvane, AddingInsideOfABlockRaises) {
  const NSMutableArray list{1, 2, 3};
  EXPECT_EQ(raised([&] { list.zuMap([&](const Value& v) { return list.addObject(9), v; }); }),
            "NSGenericException");
  EXPECT_EQ(raised([&] { list.zuFilter([&](const Value&) { return list.removeAllObjects(), true; }); }),
            "NSGenericException");
  EXPECT_EQ(list.count(), 0u);
}

TEST(NSArrayOrvane, AnElementReplacedInsideOfABlockLivesOnInTheBlock) {
  const NSMutableArray list{NSString("a long text that lies on the heap"), "b"};
  const NSArray mapped = list.zuMap([&](const Value& v) {
    list.replaceObjectAtIndex(0, "other");
    return v.toString().substringToIndex(1);
  });
  EXPECT_EQ(mapped, (NSArray{"a", "b"}));
}

TEST(NSArrayOrvane, AnArrayLetGoInsideOfABlockLivesOnInTheLoop) {
  NSArray list{"x", "y"};
  const NSArray mapped = list.zuMap([&](const Value& v) { return list = nil, v; });
  EXPECT_EQ(mapped, (NSArray{"x", "y"}));
}

TEST(NSArrayOrvane, AnExceptionInABlockPasses) {
  const auto throwing = [](const Value& v) -> Value { return v.toInt() == 2 ? throw 7 : v; };
  EXPECT_THROW((NSArray{1, 2, 3}).zuMap(throwing), int);
  EXPECT_THROW((NSArray{3, 2, 1}).zuSorted([](const Value&, const Value&) -> bool { throw 7; }), int);
}

TEST(NSArrayOrvane, FilterOfManyKeepsTheirOrder) {
  NSMutableArray list = NSMutableArray::array();
  for (int i = 0; i < 10000; ++i) list.addObject(i);
  const NSArray odd = list.zuFilter(isOdd);
  EXPECT_EQ(odd.count(), 5000u);
  EXPECT_EQ(odd[4999], Value(9999));
  EXPECT_EQ(list.zuMap([](const Value& v) { return v.toInt() == 77 ? v : Value(); }), (NSArray{77}));
}

// ---- Sorting

TEST(NSArrayOrvane, SortedOrdersByCompareAndMixedKindsByKind) {
  EXPECT_EQ((NSArray{3, 1.5, 2}).sorted(), (NSArray{1.5, 2, 3}));
  EXPECT_EQ((NSArray{"b", "a"}).sorted(), (NSArray{"a", "b"}));
  const NSDate date = NSDate::dateWithTimeIntervalSince1970(0);
  EXPECT_EQ((NSArray{date, "a", NSArray::array(), 2, NSNull::null(), 1}).sorted(),
            (NSArray{NSNull::null(), 1, 2, "a", date, NSArray::array()}));
}

TEST(NSArrayOrvane, SortedIsAStablePermutation) {
  EXPECT_TRUE(rc::check([](const std::vector<uint8_t>& bytes) {
    std::vector<int> keys;
    for (const uint8_t byte : bytes) keys.push_back(byte % 8);
    const NSArray list = pairs(keys);
    const auto isBefore = [](const Value& a, const Value& b) {
      return a.valueForKey("k").toInt() < b.valueForKey("k").toInt();
    };
    std::vector<Value> expected(list.begin(), list.end());
    std::stable_sort(expected.begin(), expected.end(), isBefore);
    RC_ASSERT(list.zuSorted(isBefore) == NSArray::arrayWithObjects(expected));
    std::reverse(expected.begin(), expected.end());
    std::stable_sort(expected.begin(), expected.end(), [](const Value& a, const Value& b) {
      return a.valueForKey("at").toInt() < b.valueForKey("at").toInt();
    });
    std::stable_sort(expected.begin(), expected.end(),
                     [&](const Value& a, const Value& b) { return isBefore(b, a); });
    RC_ASSERT(list.zuSortBy("k") == NSArray::arrayWithObjects(expected));
  }));
}

TEST(NSArrayOrvane, SortedNumbersAreThoseOfTheStandardSort) {
  EXPECT_TRUE(rc::check([](std::vector<double> list) {
    const NSArray ours = NSArray::from(list).sorted();
    std::stable_sort(list.begin(), list.end());
    RC_ASSERT(ours == NSArray::from(list));
  }));
}

TEST(NSArrayOrvane, ContradictoryBlocksGiveAPermutation) {
  EXPECT_TRUE(rc::check([](const std::vector<int>& list, uint32_t seed) {
    const NSArray sorted = numbers(list).zuSorted([&](const Value&, const Value&) {
      seed = seed * 1664525 + 1013904223;
      return seed >> 31 != 0;
    });
    std::vector<int> found;
    for (const Value& v : sorted) found.push_back(static_cast<int>(v.toInt()));
    std::vector<int> wanted = list;
    std::sort(found.begin(), found.end());
    std::sort(wanted.begin(), wanted.end());
    RC_ASSERT(found == wanted);
  }));
  const auto lessOrEqual = [](const Value& a, const Value& b) { return a.toInt() <= b.toInt(); };
  EXPECT_EQ((NSArray{1.0, 1, true}).zuSorted(lessOrEqual).join(","), "1,1,1");
  EXPECT_EQ((NSArray{3, 1, 2}).zuSorted(lessOrEqual), (NSArray{1, 2, 3}));
}

TEST(NSArrayOrvane, SortByIsDescending) {
  const NSArray list{NSDictionary{{"n", 1}}, NSDictionary{{"n", 3}}, NSDictionary{{"n", 2}},
                     NSDictionary::dictionary()};
  EXPECT_EQ(list.zuSortBy("n").valueForKey("n"), Value(NSArray{3, 2, 1, NSNull::null()}));
  EXPECT_EQ(list.zuSortBy(nil), list);
  EXPECT_EQ(list.zuSortBy("absent"), list);
}

// ---- Groups

TEST(NSArrayOrvane, GroupsStandInTheOrderOfTheirFirstElement) {
  const NSArray list = pairs({2, 1, 2, 1, 3});
  const NSArray groups = list.zuGroupBy("k", [](const NSArray& group) {
    return group[0].valueForKey("k").toInt() == 3 ? Value() : group.valueForKey("at");
  });
  EXPECT_EQ(groups, (NSArray{NSArray{0, 2}, NSArray{1, 3}}));
  EXPECT_EQ(list.zuGroupBy(nil, [](const NSArray& g) { return g; }), NSArray::array());
}

TEST(NSArrayOrvane, GroupsOfEqualNumbersAndOfKeyPaths) {
  const auto entry = [](const Value& v) { return NSDictionary{{"a", NSDictionary{{"b", v}}}}; };
  const NSArray list{entry(1), entry("x"), entry(1.0), entry(true)};
  EXPECT_EQ(list.zuGroupBy("a.b", [](const NSArray& g) { return g.count(); }), (NSArray{3, 1}));
}

TEST(NSArrayOrvane, ElementsWithoutTheKeyBelongToNullOrNowhere) {
  const NSDictionary without{{"id", 1}};
  const NSDictionary null{{"k", NSNull::null()}, {"id", 2}};
  const NSDictionary one{{"k", 1}, {"id", 3}};
  const auto whole = [](const NSArray& g) { return g; };
  EXPECT_EQ((NSArray{without, one}).zuGroupBy("k", whole), (NSArray{NSArray{one}}));
  EXPECT_EQ((NSArray{one, without, null}).zuGroupBy("k", whole),
            (NSArray{NSArray{one}, NSArray{without, null}}));
}

TEST(NSArrayOrvane, GroupsArePartsOfTheWholeThatDoNotOverlap) {
  EXPECT_TRUE(rc::check([](const std::vector<uint8_t>& bytes) {
    std::vector<int> keys;
    for (const uint8_t byte : bytes) keys.push_back(byte % 5);
    const NSArray list = pairs(keys);
    NSMutableArray all = NSMutableArray::array();
    NSMutableSet seen = NSMutableSet::set();
    list.zuGroupBy("k", [&](const NSArray& group) {
      const Value key = group[0].valueForKey("k");
      RC_ASSERT(!seen.containsObject(key));
      seen.addObject(key);
      for (const Value& v : group) RC_ASSERT(v.valueForKey("k") == key);
      all.addObjectsFromArray(group);
      return nil;
    });
    RC_ASSERT(all.count() == list.count());
    RC_ASSERT(all.set() == list.set());
  }));
}

// ---- Sets and copies

TEST(NSArrayOrvane, SetHoldsEachElementOnce) {
  EXPECT_EQ((NSArray{1, 2, 1.0}).set(), (NSSet{1, 2}));
  const NSMutableSet changeable = NSArray{1}.mutableSet();
  changeable.addObject(2);
  EXPECT_EQ(changeable.count(), 2u);
}

TEST(NSArrayOrvane, DeepCopyIsNewAndMutableThroughout) {
  const NSArray inner{1, "x"};
  const NSArray list{inner, NSDictionary{{"d", NSDate::date()}, {"l", inner}}, 2.5, true};
  const NSMutableArray copied = list.deepMutableCopy();
  EXPECT_EQ(copied, list);
  EXPECT_TRUE(copied[0].isKindOf<NSMutableArray>());
  EXPECT_TRUE(copied[1].isKindOf<NSMutableDictionary>());
  EXPECT_TRUE(copied[1].valueForKey("l").isKindOf<NSMutableArray>());
  copied[0].as<NSMutableArray>().addObject(3);
  EXPECT_EQ(inner.count(), 2u);
}

TEST(NSArrayOrvane, DeepCopyOfWhatIsNoPropertyListIsNil) {
  EXPECT_TRUE((NSArray{NSNull::null()}).deepMutableCopy().isNil());
  EXPECT_TRUE((NSArray{NSSet{1}}).deepMutableCopy().isNil());
  EXPECT_TRUE((NSArray{NSURL::URLWithString("http://h")}).deepMutableCopy().isNil());
  EXPECT_TRUE((NSArray{make<NSObject>()}).deepMutableCopy().isNil());
  EXPECT_TRUE((NSArray{NSDictionary{{1, 2}}}).deepMutableCopy().isNil());
}

TEST(NSArrayOrvane, DeepCopyOfAnArrayInItselfIsNil) {
  const NSMutableArray loop = NSMutableArray::array();
  loop.addObject(loop);
  loop.addObject(loop);
  EXPECT_TRUE(loop.deepMutableCopy().isNil());
  loop.removeAllObjects();
}

TEST(NSArrayOrvane, DeepCopyFollowsTwoThousandLevels) {
  NSArray nested{1};
  for (int i = 0; i < 2000; ++i) nested = NSArray{nested};
  EXPECT_EQ(nested.deepMutableCopy(), nested);
  for (int i = 0; i < 100; ++i) nested = NSArray{nested};
  EXPECT_TRUE(nested.deepMutableCopy().isNil());
}

// ---- Numbers

TEST(NSArrayOrvane, SumAndAverageAreExactDecimals) {
  EXPECT_EQ((NSArray{1, 2.5, 3}).sumValue().stringValue(), "6.5");
  EXPECT_TRUE((NSArray{1}).sumValue().isDecimal());
  EXPECT_EQ((NSArray{1, 2.5, 3}).averageValue().stringValue(), "2.1666666666666666666666666666666666667");
  EXPECT_EQ((NSArray{0.1, 0.2}).sumValue().stringValue(), "0.3");
  EXPECT_EQ(NSArray::array().sumValue(), NSNumber(0));
  EXPECT_EQ(NSArray::array().averageValue(), NSNumber(0));
}

TEST(NSArrayOrvane, SumReadsTextsAndCountsAllElseAsZero) {
  EXPECT_EQ((NSArray{"1.5", 2, "x", NSNull::null(), NSArray{9}, "3 apples"}).sumValue().stringValue(), "6.5");
  EXPECT_EQ((NSArray{"4", NSNull::null()}).averageValue().stringValue(), "2");
}

TEST(NSArrayOrvane, SumBeyondSixtyFourBitsStaysExact) {
  const NSArray large{INT64_MAX, INT64_MAX, UINT64_MAX, INT64_MIN};
  EXPECT_EQ(large.sumValue().stringValue(), "27670116110564327421");
  EXPECT_EQ((NSArray{1e22, -1e22, 0.5}).sumValue().stringValue(), "0.5");
  EXPECT_TRUE((NSArray{1.0, std::nan("")}).sumValue().as<NSDecimalNumber>().decimalValue().notANumber);
}

TEST(NSArrayOrvane, SumIsThatOfDecimalArithmetic) {
  const auto element = rc::gen::oneOf(
      rc::gen::map(rc::gen::arbitrary<int64_t>(), [](int64_t n) { return Value(n); }),
      rc::gen::map(rc::gen::arbitrary<uint64_t>(), [](uint64_t n) { return Value(n); }),
      rc::gen::map(rc::gen::inRange(-100000, 100000), [](int n) { return Value(n / 100.0); }),
      rc::gen::map(rc::gen::inRange(-100000, 100000), [](int n) { return Value(n / 3.0); }),
      rc::gen::map(rc::gen::arbitrary<double>(), [](double d) { return Value(d); }),
      rc::gen::map(rc::gen::inRange<int64_t>(-1000000000, 1000000000), [](int64_t n) {
        return Value(NSDecimalNumber(NSDecimal::make(static_cast<uint64_t>(n < 0 ? -n : n), -4, n < 0)));
      }));
  EXPECT_TRUE(rc::check([&] {
    const auto values = *rc::gen::container<std::vector<Value>>(element);
    const NSArray list = NSArray::arrayWithObjects(values);
    RC_ASSERT(list.sumValue().decimalValue() == plainSum(list));
  }));
}

TEST(NSArrayOrvane, SumOfDoublesNearTheLimitsOfTheFastWay) {
  const double cases[] = {0.0,   -0.0,  1e15,   999999999999999.0, 99999999999999.9,   1e15 + 2, 0.1 + 0.2,
                          1e-15, 1e-16, 5e-324, 123456.789012345,  4503599627370497.5, 1e300,    -2.5};
  for (const double a : cases)
    for (const double b : cases) {
      const NSArray list{a, b, a};
      EXPECT_EQ(list.sumValue().decimalValue(), plainSum(list)) << a << " " << b;
    }
}

TEST(NSArrayOrvane, MinAndMaxAreTheElementsThemselves) {
  const NSArray list{3, 1.5, decimal("7.25").isZero() ? Value(0) : Value(NSDecimalNumber(decimal("7.25"))), "9",
                     NSNull::null()};
  EXPECT_EQ(list.minValue(), NSNumber(1.5));
  EXPECT_EQ(list.maxValue().stringValue(), "7.25");
  EXPECT_TRUE(NSArray::array().minValue().isNil());
  EXPECT_TRUE((NSArray{"a"}).maxValue().isNil());
}

// ---- Changing

TEST(NSMutableArrayOrvane, PopRemovesAndAnswersTheElement) {
  const NSMutableArray list{1, 2, 3};
  EXPECT_TRUE(list.pop(-4).isNil());
  EXPECT_TRUE(list.pop(3).isNil());
  EXPECT_EQ(list.count(), 3u);
  EXPECT_EQ(list.pop(-2), Value(2));
  EXPECT_EQ(list.popFirst(), Value(1));
  EXPECT_EQ(list.popLast(), Value(3));
  EXPECT_TRUE(list.popLast().isNil());
  EXPECT_TRUE(list.pop(INT64_MIN).isNil());
}

TEST(NSMutableArrayOrvane, AddFormatAppendsTheText) {
  const NSMutableArray list = NSMutableArray::array();
  list.addFormat("%@-%d", "a", 7);
  list.addFormat(nil);
  list.addObjectIfNotNil(nil);
  list.addObjectIfNotNil(NSNull::null());
  EXPECT_EQ(list, (NSArray{"a-7", NSNull::null()}));
}
