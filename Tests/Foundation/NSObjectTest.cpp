#include "Platform/Foundation/Values/NSObject.h"

#include <atomic>
#include <thread>
#include <vector>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

namespace {

class Probe : public NSObject {
 public:
  explicit Probe(std::atomic<int>* ended = nullptr, Value held = nil) : ended_(ended), held_(std::move(held)) {}
  ~Probe() override {
    if (ended_) ++*ended_;
  }

 private:
  std::atomic<int>* ended_;
  Value held_;
};

class Point : public NSObject {
 public:
  Point(int x, int y) : x_(x), y_(y) {}
  bool isEqual(const Value& other) const override {
    const auto that = other.as<Point>();
    return that && that->x_ == x_ && that->y_ == y_;
  }
  size_t hash() const override { return static_cast<size_t>(x_ * 31 + y_); }
  Value valueForKey(const NSString& key) const override { return key == "x" ? Value(x_) : Value(); }

 private:
  int x_, y_;
};

}  // namespace

TEST(NSObject, LivesAsLongAsItsLastReference) {
  std::atomic<int> ended = 0;
  Ref<Probe> first = make<Probe>(&ended);
  {
    const Value any = first;
    const Ref<Probe> second = first;
    first = nil;
    EXPECT_EQ(ended, 0);
  }
  EXPECT_EQ(ended, 1);
}

TEST(NSObject, PassesThroughValueUnchanged) {
  const Ref<Point> point = make<Point>(1, 2);
  const Value any = point;
  EXPECT_EQ(any.as<Point>(), point);
  EXPECT_TRUE(any.isKindOf<NSObject>());
  EXPECT_FALSE(any.isKindOf<Probe>());
  EXPECT_FALSE(any.as<Probe>());
  EXPECT_EQ(any.valueForKey("x"), Value(1));
}

TEST(NSObject, EqualityIsIdentityUnlessOverridden) {
  EXPECT_NE(Value(make<Probe>()), Value(make<Probe>()));
  EXPECT_EQ(Value(make<Point>(1, 2)), Value(make<Point>(1, 2)));
  EXPECT_NE(Value(make<Point>(1, 2)), Value(make<Point>(2, 1)));
  EXPECT_NE(Value(make<Point>(1, 2)), Value("text"));
}

TEST(NSObject, DescriptionNamesTheClassWithoutItsNamespace) {
  const Ref<Probe> probe = make<Probe>();
  EXPECT_EQ(probe->className(), "Probe");
  EXPECT_EQ(Value(probe).description(),
            NSString::stringWithFormat("<Probe: %p>", static_cast<const void*>(probe.get())));
}

TEST(NSObject, AnEmptyReferenceConvertsToNil) {
  const Ref<Probe> none;
  EXPECT_TRUE(Value(none).isNil());
  EXPECT_TRUE(none.isNil());
  EXPECT_TRUE(none == nil);
}

TEST(NSObject, AChainOfObjectsEndsWithoutExhaustingTheStack) {
  std::atomic<int> ended = 0;
  Value chain;
  for (int i = 0; i < 200000; ++i) chain = make<Probe>(&ended, chain);
  chain = nil;
  EXPECT_EQ(ended, 200000);
}

TEST(WeakRef, AnswersTheObjectOnlyWhileItLives) {
  Ref<Probe> strong = make<Probe>();
  const WeakRef<Probe> weak = strong;
  const WeakRef<Probe> copy = weak;
  EXPECT_EQ(weak.lock(), strong);
  strong = nil;
  EXPECT_FALSE(weak.lock());
  EXPECT_FALSE(copy.lock());
  EXPECT_FALSE(WeakRef<Probe>().lock());
}

TEST(WeakRef, LockedReferenceKeepsTheObject) {
  std::atomic<int> ended = 0;
  Ref<Probe> strong = make<Probe>(&ended);
  const WeakRef<Probe> weak = strong;
  {
    const Ref<Probe> locked = weak.lock();
    strong = nil;
    EXPECT_EQ(ended, 0);
  }
  EXPECT_EQ(ended, 1);
}

TEST(WeakRef, LockingRacesSafelyWithTheEnd) {
  std::atomic<int> ended = 0;
  for (int round = 0; round < 500; ++round) {
    Ref<Probe> strong = make<Probe>(&ended);
    const WeakRef<Probe> weak = strong;
    std::thread other([&] {
      while (weak.lock()) {
      }
    });
    strong = nil;
    other.join();
  }
  EXPECT_EQ(ended, 500);
}

TEST(NSObject, ReferencesMayBeCopiedAndDroppedOnManyThreads) {
  std::atomic<int> ended = 0;
  {
    const Value shared = make<Probe>(&ended);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
      threads.emplace_back([shared] {
        for (int i = 0; i < 20000; ++i) {
          const Value mine = shared;
          const NSArray list{mine, mine};
          ASSERT_EQ(list.count(), 2u);
        }
      });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(ended, 0);
  }
  EXPECT_EQ(ended, 1);
}
