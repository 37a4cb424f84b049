#include "Platform/Foundation/Values/NSValueTransformer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "Tests/Support/World.h"

using namespace orv;

namespace {

class Doubling : public NSValueTransformer {
 public:
  Value transformedValue(const Value& stored) override { return stored.toInt() * 2; }
};

Ref<NSValueTransformer> named(const NSString& name) {
  return NSValueTransformer::valueTransformerForName(name);
}

}  // namespace

TEST(NSValueTransformer, PassesValuesOnAndDoesNotReverse) {
  const Ref<NSValueTransformer> plain = make<NSValueTransformer>();
  EXPECT_EQ(plain->transformedValue(5), Value(5));
  EXPECT_TRUE(plain->transformedValue(nil).isNil());
  EXPECT_TRUE(plain->reverseTransformedValue(5).isNil());
  EXPECT_FALSE(plain->canReverse());
  EXPECT_FALSE(NSValueTransformer::allowsReverseTransformation());
}

TEST(NSValueTransformer, IsFoundUnderTheNameItWasRegisteredUnder) {
  EXPECT_FALSE(named("Doubling"));
  const Ref<NSValueTransformer> doubling = make<Doubling>();
  NSValueTransformer::setValueTransformerForName(doubling, "Doubling");
  EXPECT_EQ(named("Doubling"), doubling);
  EXPECT_EQ(named("Doubling")->transformedValue(4), Value(8));
  EXPECT_TRUE(NSValueTransformer::valueTransformerNames().containsObject("Doubling"));
  NSValueTransformer::setValueTransformerForName(make<Doubling>(), "Doubling");
  EXPECT_FALSE(named("Doubling") == doubling);
  NSValueTransformer::setValueTransformerForName(nil, "Doubling");
  EXPECT_FALSE(named("Doubling"));
}

TEST(NSValueTransformer, ARegisteredOneCountsBeforeTheLibrarysOwn) {
  const Ref<NSValueTransformer> own = make<Doubling>();
  NSValueTransformer::setValueTransformerForName(own, "OrvStringTransformer");
  EXPECT_EQ(named("OrvStringTransformer"), own);
  NSValueTransformer::setValueTransformerForName(nil, "OrvStringTransformer");
  EXPECT_EQ(named("OrvStringTransformer")->transformedValue(4), Value("4"));
}

TEST(NSValueTransformer, NilAndUnknownNamesGiveNil) {
  EXPECT_FALSE(named(nil));
  EXPECT_FALSE(named("NSObject"));
  NSValueTransformer::setValueTransformerForName(make<Doubling>(), nil);
  EXPECT_FALSE(named(nil));
}

TEST(NSValueTransformer, ThreadsGetTheSameOne) {
  std::atomic<int> different = 0;
  const Ref<NSValueTransformer> first = named("OrvDPITransformer");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 200; ++i) {
        if (!(named("OrvDPITransformer") == first)) ++different;
        NSValueTransformer::setValueTransformerForName(make<Doubling>(), "Shared");
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(different, 0);
}
