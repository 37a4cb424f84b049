#include "Platform/Foundation/System/NSNotificationCenter.h"

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

using namespace orv;
using Center = NSNotificationCenter;

namespace {

struct CenterTest : testing::Test {
  Ref<NSNotificationObserver> listen(const char* letter, const NSString& name = "N",
                                     const Value& object = nil) {
    return center->addObserver(name, object, [this, letter](const auto&) { heard += letter; });
  }
  Ref<Center> center = make<Center>();
  std::string heard;
};

using NSNotificationCenterTest = CenterTest;

}  // namespace

TEST_F(NSNotificationCenterTest, DeliversAtOnceInOrderOfRegistration) {
  const auto a = listen("a"), b = listen("b"), again = listen("a");
  center->postNotificationName("N");
  EXPECT_EQ(heard, "aba");
}

TEST_F(NSNotificationCenterTest, HandsOverNameObjectAndDetails) {
  const Ref<NSObject> object = make<NSObject>();
  int calls = 0;
  const auto token = center->addObserver("N", nil, [&](const Ref<NSNotification>& note) {
    ++calls;
    EXPECT_EQ(note->name(), "N");
    EXPECT_TRUE(note->object().isSame(Value(object)));
    EXPECT_EQ(note->userInfo(), (NSDictionary{{"k", 1}}));
  });
  center->postNotificationName("N", object, NSDictionary{{"k", 1}});
  EXPECT_EQ(calls, 1);
}

TEST_F(NSNotificationCenterTest, FiltersByNameAndObject) {
  const Ref<NSObject> object = make<NSObject>();
  const Ref<NSObject> other = make<NSObject>();
  const auto all = listen("*", nil), named = listen("n"), about = listen("o", "N", object),
             any = listen("x", nil, object);
  center->postNotificationName("N");
  EXPECT_EQ(heard, "*n");
  heard.clear();
  center->postNotificationName("N", object);
  EXPECT_EQ(heard, "*nox");
  heard.clear();
  center->postNotificationName("M", object);
  EXPECT_EQ(heard, "*x");
  heard.clear();
  center->postNotificationName("N", other);
  EXPECT_EQ(heard, "*n");
  heard.clear();
  center->postNotificationName(nil, object);
  EXPECT_EQ(heard, "");
}

TEST_F(NSNotificationCenterTest, EndsWithTheTokenOrByRemoval) {
  auto a = listen("a");
  const auto b = listen("b");
  a = nil;
  center->postNotificationName("N");
  EXPECT_EQ(heard, "b");
  center->removeObserver(b);
  center->removeObserver(b);
  center->removeObserver(nil);
  center->postNotificationName("N");
  EXPECT_EQ(heard, "b");
  EXPECT_TRUE(center->addObserver("N", nil, nullptr).isNil());
}

TEST_F(NSNotificationCenterTest, ObserversMayGoDuringADelivery) {
  Ref<NSNotificationObserver> first, second;
  first = center->addObserver("N", nil, [&](const auto&) {
    heard += "1";
    first = nil;   // itself
    second = nil;  // and one whose turn has not come
  });
  second = center->addObserver("N", nil, [&](const auto&) { heard += "2"; });
  const auto third = listen("3");
  center->postNotificationName("N");
  EXPECT_EQ(heard, "13");
}

TEST_F(NSNotificationCenterTest, OneThatIsAddedHearsFromTheNextPostOn) {
  Ref<NSNotificationObserver> late;
  const auto token = center->addObserver("N", nil, [&](const auto&) {
    heard += "a";
    if (!late) late = listen("b");
  });
  center->postNotificationName("N");
  EXPECT_EQ(heard, "a");
  center->postNotificationName("N");
  EXPECT_EQ(heard, "aab");
}

TEST_F(NSNotificationCenterTest, AnObserverMayPost) {
  const auto token = center->addObserver("N", nil, [&](const auto&) { center->postNotificationName("M"); });
  const auto inner = listen("m", "M");
  center->postNotificationName("N");
  EXPECT_EQ(heard, "m");
}

TEST_F(NSNotificationCenterTest, ExceptionsGoToThePoster) {
  const auto token = center->addObserver("N", nil, [](const auto&) { throw std::runtime_error("x"); });
  const auto later = listen("l");
  EXPECT_THROW(center->postNotificationName("N"), std::runtime_error);
  EXPECT_EQ(heard, "");
}

TEST_F(NSNotificationCenterTest, ATokenMayOutliveItsCenter) {
  auto token = listen("a");
  center = nil;
  token = nil;
}

TEST_F(NSNotificationCenterTest, TheBlockGoesWithTheRegistration) {
  const auto held = std::make_shared<int>(1);
  auto token = center->addObserver("N", nil, [held](const auto&) {});
  EXPECT_EQ(held.use_count(), 2);
  center->removeObserver(token);
  token = nil;
  EXPECT_EQ(held.use_count(), 1);
}

TEST_F(NSNotificationCenterTest, ManyThreadsMayPostAndRegister) {
  std::atomic<int> calls = 0;
  const auto steady = center->addObserver("N", nil, [&](const auto&) { ++calls; });
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) {
        const auto token = center->addObserver("N", nil, [&](const auto&) { ++calls; });
        center->postNotificationName("N");
      }
    });
  for (auto& thread : threads) thread.join();
  EXPECT_GE(calls.load(), 4 * 500 * 2);
  const int before = calls;
  center->postNotificationName("N");
  EXPECT_EQ(calls.load(), before + 1);
}

TEST(NSNotificationCenterExit, TerminationIsPostedOnceAtOrderlyExit) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    static Ref<NSNotificationObserver> tokens[2];
    for (auto& token : tokens)
      token =
          Center::defaultCenter()->addObserver(NSApplicationWillTerminateNotification, nil,
                                               [&](const auto&) { EXPECT_EQ(::write(ends[1], "t", 1), 1); });
    std::exit(0);
  }
  ::close(ends[1]);
  ASSERT_EQ(::waitpid(child, nullptr, 0), child);
  char buffer[8];
  EXPECT_EQ(::read(ends[0], buffer, sizeof buffer), 2);
  ::close(ends[0]);
}
