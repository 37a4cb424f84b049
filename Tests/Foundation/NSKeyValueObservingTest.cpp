#include "Platform/Foundation/Values/NSKeyValueObserving.h"

#include <gtest/gtest.h>

#include <optional>
#include <thread>
#include <vector>

#include "Platform/Foundation/Values/Class.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSNull.h"
#include "Tests/Support/World.h"

using namespace orv;

namespace {

class Lamp : public NSKeyValueObserving {
 public:
  using NSKeyValueObserving::announceChange;

  ~Lamp() override {
    if (ended) *ended = true;
  }
  Value power() const { return power_; }
  void setPower(const Value& power) {
    const Ref<Lamp> held(this);
    willChangeValueForKey("power");
    power_ = power;
    didChangeValueForKey("power");
  }
  ORV_PROPERTIES(Lamp, NSObject, ORV_PROPERTY(power, setPower))

  bool* ended = nullptr;

 private:
  Value power_;
};

constexpr NSUInteger kNew = NSKeyValueObservingOptionNew;
constexpr NSUInteger kOld = NSKeyValueObservingOptionOld;
constexpr NSUInteger kInitial = NSKeyValueObservingOptionInitial;
constexpr NSUInteger kPrior = NSKeyValueObservingOptionPrior;

class NSKeyValueObservingTest : public testing::Test {
 protected:
  Ref<NSKeyValueObservation> listen(const std::string& mark) {
    return lamp->addObserver("power", 0, [this, mark](const NSString&, const NSDictionary&) { heard += mark; });
  }
  Ref<NSKeyValueObservation> collect(NSUInteger options) {
    return lamp->addObserver("power", options, [this](const NSString& key, const NSDictionary& change) {
      EXPECT_EQ(key, "power");
      changes.push_back(change.copy().as<NSDictionary>());
    });
  }

  Ref<Lamp> lamp = make<Lamp>();
  std::string heard;
  std::vector<NSDictionary> changes;
};

}  // namespace

TEST_F(NSKeyValueObservingTest, TellsOldAndNewUnlessAskedOtherwise) {
  const auto token = lamp->addObserver("power", [&](const NSString& key, const NSDictionary& change) {
    EXPECT_EQ(key, "power");
    changes.push_back(change);
  });
  lamp->setPower(5);
  lamp->setPower(7);
  ASSERT_EQ(changes.size(), 2u);
  EXPECT_EQ(changes[0], (NSDictionary{{"kind", 1}, {"old", NSNull::null()}, {"new", 5}}));
  EXPECT_EQ(changes[1], (NSDictionary{{"kind", 1}, {"old", 5}, {"new", 7}}));
}

TEST_F(NSKeyValueObservingTest, TheOptionsChooseWhatAChangeHolds) {
  struct Case {
    NSUInteger options;
    std::vector<NSDictionary> expected;
  };
  const Case cases[] = {
      {0, {{{"kind", 1}}}},
      {kNew, {{{"kind", 1}, {"new", 2}}}},
      {kOld, {{{"kind", 1}, {"old", 1}}}},
      {kInitial, {{{"kind", 1}}, {{"kind", 1}}}},
      {kInitial | kNew | kOld, {{{"kind", 1}, {"new", 1}}, {{"kind", 1}, {"new", 2}, {"old", 1}}}},
      {kPrior, {{{"kind", 1}, {"notificationIsPrior", true}}, {{"kind", 1}}}},
      {kPrior | kNew | kOld,
       {{{"kind", 1}, {"notificationIsPrior", true}, {"old", 1}}, {{"kind", 1}, {"new", 2}, {"old", 1}}}},
  };
  for (const Case& each : cases) {
    lamp->setPower(1);
    changes.clear();
    const auto token = collect(each.options);
    lamp->setPower(2);
    EXPECT_EQ(changes, each.expected) << each.options;
  }
}

TEST_F(NSKeyValueObservingTest, APriorCallComesBeforeTheChange) {
  lamp->setPower(1);
  std::vector<Value> seen;
  const auto token = lamp->addObserver(
      "power", kPrior, [&](const NSString&, const NSDictionary&) { seen.push_back(lamp->power()); });
  lamp->setPower(2);
  EXPECT_EQ(seen, (std::vector<Value>{1, 2}));
}

TEST_F(NSKeyValueObservingTest, TellsInTheOrderOfRegistrationOncePerPair) {
  const auto a = listen("a"), b = listen("b"), c = listen("c");
  lamp->setPower(1);
  lamp->setPower(1);
  EXPECT_EQ(heard, "abcabc");
  lamp->willChangeValueForKey("other");
  lamp->didChangeValueForKey("other");
  EXPECT_EQ(heard, "abcabc");
}

TEST_F(NSKeyValueObservingTest, NestedPairsAreToldFromTheInside) {
  const auto token = collect(kOld | kNew);
  lamp->willChangeValueForKey("power");
  lamp->setPower(3);
  EXPECT_EQ(changes.size(), 1u);
  lamp->didChangeValueForKey("power");
  EXPECT_EQ(changes.size(), 2u);
  lamp->didChangeValueForKey("power");
  EXPECT_EQ(changes.size(), 2u) << "without a beginning";
}

TEST_F(NSKeyValueObservingTest, ARegistrationEndsWithItsTokenOrByRemoval) {
  auto a = listen("a");
  const auto b = listen("b");
  a = nil;
  lamp->setPower(1);
  EXPECT_EQ(heard, "b");
  lamp->removeObserver(b);
  lamp->setPower(2);
  EXPECT_EQ(heard, "b");
}

TEST_F(NSKeyValueObservingTest, RemovingWhatIsNotRegisteredRaises) {
  const auto token = listen("a");
  const Ref<Lamp> other = make<Lamp>();
  EXPECT_THROW(other->removeObserver(token), NSException);
  lamp->removeObserver(token);
  try {
    lamp->removeObserver(token);
    FAIL();
  } catch (const NSException& e) {
    EXPECT_EQ(e.name(), NSRangeException);
  }
  lamp->removeObserver(nil);
}

TEST_F(NSKeyValueObservingTest, NoKeyAndNoBlockRegisterNothing) {
  EXPECT_TRUE(lamp->addObserver("power", nullptr).isNil());
  EXPECT_TRUE(lamp->addObserver(nil, [](const NSString&, const NSDictionary&) {}).isNil());
}

TEST_F(NSKeyValueObservingTest, ATokenMayOutliveItsObject) {
  const auto token = listen("a");
  lamp = nil;
  EXPECT_EQ(heard, "");
}

TEST_F(NSKeyValueObservingTest, ObserversComeAndGoInsideOfACallback) {
  Ref<NSKeyValueObservation> first, second, late;
  first = lamp->addObserver("power", 0, [&](const NSString&, const NSDictionary&) {
    heard += "1";
    first = nil;
    second = nil;
    late = listen("late");
  });
  second = listen("2");
  const auto third = listen("3");
  lamp->setPower(1);
  EXPECT_EQ(heard, "13");
  heard.clear();
  lamp->setPower(2);
  EXPECT_EQ(heard, "3late");
}

TEST_F(NSKeyValueObservingTest, TheObjectMayEndInsideOfACallback) {
  bool ended = false;
  lamp->ended = &ended;
  Lamp* const raw = lamp.get();
  const auto a = lamp->addObserver("power", [&](const NSString&, const NSDictionary&) { lamp = nil; });
  const auto b = listen("b");
  raw->willChangeValueForKey("power");
  EXPECT_FALSE(ended);
  raw->didChangeValueForKey("power");
  EXPECT_TRUE(ended);
  EXPECT_EQ(heard, "b");
}

TEST_F(NSKeyValueObservingTest, AnExceptionGoesToWhoChangesAndStopsTheRest) {
  bool prior = true;
  const auto a = lamp->addObserver("power", kPrior, [&](const NSString&, const NSDictionary& change) {
    if (change.containsKey("notificationIsPrior") == prior) NSException::raise("Stop", "no");
  });
  const auto b = listen("b");
  EXPECT_THROW(lamp->setPower(1), NSException);
  EXPECT_TRUE(lamp->power().isNil());
  lamp->didChangeValueForKey("power");
  EXPECT_EQ(heard, "") << "a change that was refused is no longer announced";
  prior = false;
  EXPECT_THROW(lamp->setPower(1), NSException);
  EXPECT_EQ(lamp->power(), Value(1));
  EXPECT_EQ(heard, "");
}

TEST_F(NSKeyValueObservingTest, AnUnknownKeyRaisesWhenItsValueIsAskedFor) {
  const auto plain = lamp->addObserver("x", 0, [&](const NSString&, const NSDictionary&) { heard += "x"; });
  lamp->willChangeValueForKey("x");
  lamp->didChangeValueForKey("x");
  EXPECT_EQ(heard, "x");
  const auto valued = lamp->addObserver("x", [](const NSString&, const NSDictionary&) {});
  EXPECT_THROW(lamp->willChangeValueForKey("x"), NSException);
}

TEST_F(NSKeyValueObservingTest, ThreadsAnnounceAndRegisterAtOnce) {
  const int rounds = kSanitized ? 300 : 3000;
  std::atomic<int> calls = 0;
  const auto steady = lamp->addObserver("power", 0, [&](const NSString&, const NSDictionary&) { ++calls; });
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < rounds; ++i) {
        const auto token = lamp->addObserver("power", 0, [](const NSString&, const NSDictionary&) {});
        lamp->willChangeValueForKey("power");
        lamp->didChangeValueForKey("power");
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(calls, 3 * rounds);
}

TEST_F(NSKeyValueObservingTest, AChangeIsToldOnTheThreadThatMakesIt) {
  std::thread::id told;
  const auto token = lamp->addObserver(
      "power", [&](const NSString&, const NSDictionary&) { told = std::this_thread::get_id(); });
  std::thread::id changing;
  std::thread([&] {
    changing = std::this_thread::get_id();
    lamp->setPower(1);
  }).join();
  EXPECT_EQ(told, changing);
}

TEST_F(NSKeyValueObservingTest, AChangeThatHasHappenedIsToldWithTheValuesGiven) {
  const auto prior = collect(kNew | kOld | kPrior);
  lamp->announceChange("power", 3, 4);
  lamp->announceChange("other", 1, 2);
  ASSERT_EQ(changes.size(), 2U);
  EXPECT_TRUE(changes[0]["notificationIsPrior"].toBool());
  EXPECT_EQ(changes[0]["old"], Value(3));
  EXPECT_EQ(changes[1]["old"], Value(3));
  EXPECT_EQ(changes[1]["new"], Value(4));
  EXPECT_TRUE(lamp->power().isNil());
}
