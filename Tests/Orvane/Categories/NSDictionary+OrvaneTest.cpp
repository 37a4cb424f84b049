#include "Platform/Foundation/Values/NSDictionary.h"

#include "Platform/Foundation/Values/Class.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSNull.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

namespace {

std::vector<std::string> setters;

class Animal : public NSObject {
 public:
  NSString name() const { return name_; }
  void setName(const NSString& name) {
    name_ = name;
    setters.push_back("name");
  }
  ORV_PROPERTIES(Animal, NSObject, ORV_PROPERTY(name, setName))

 private:
  NSString name_;
};

class Dog : public Animal {
 public:
  int legs() const { return legs_; }
  void setLegs(int legs) {
    legs_ = legs;
    setters.push_back("legs");
  }
  double weight() const { return weight_; }
  void setWeight(double weight) {
    weight_ = weight;
    setters.push_back("weight");
  }
  bool isOld() const { return legs_ < 4; }
  ORV_PROPERTIES(Dog, Animal, ORV_PROPERTY(legs, setLegs), ORV_PROPERTY(weight, setWeight),
                 ORV_READ_ONLY(isOld))

 private:
  int legs_ = 4;
  double weight_ = 0;
};

class Puppy : public Dog {};

}  // namespace

TEST(NSDictionaryOrvane, NilAnswersNeutrally) {
  const NSDictionary none;
  EXPECT_TRUE(none.deepMutableCopy().isNil());
  EXPECT_TRUE(none.mergeDict(NSDictionary{{"a", 1}}).isNil());
  EXPECT_TRUE(none.dictionaryByAddingEntriesFromDictionary(nil).isNil());
  EXPECT_TRUE(none.zuFlatten([](const Value& k, const Value&) { return k; }).isNil());
  EXPECT_TRUE(none.copyWithNullsStripped().isNil());
  none.mapValuesToObject(make<Dog>());
  EXPECT_EQ(NSMutableDictionary().incrementCounterForKey("a"), 0);
}

TEST(NSDictionaryOrvane, DeepCopyIsNewAndMutable) {
  const NSDictionary source{{"a", NSArray{1}}};
  const NSMutableDictionary copied = source.deepMutableCopy();
  EXPECT_EQ(copied, source);
  copied["a"].as<NSMutableArray>().addObject(2);
  EXPECT_EQ(source["a"].count(), 1u);
  EXPECT_TRUE((NSDictionary{{"a", NSNull::null()}}).deepMutableCopy().isNil());
}

TEST(NSDictionaryOrvane, MergeReplacesEqualKeys) {
  const NSDictionary a{{"x", 1}, {"y", 2}};
  EXPECT_EQ(a.mergeDict({{"y", 3}, {"z", 4}}), (NSDictionary{{"x", 1}, {"y", 3}, {"z", 4}}));
  EXPECT_EQ(a.mergeDict(nil), a);
  EXPECT_EQ(a.dictionaryByAddingEntriesFromDictionary(NSDictionary::dictionary()), a);
  EXPECT_EQ(a.mergeDict(a), a);
  const NSMutableDictionary merged = a.mergeDict(nil);
  merged.setObjectForKey(9, "x");
  EXPECT_EQ(a["x"], Value(1));
}

TEST(NSDictionaryOrvane, FlattenCollectsInTheOrderOfTheKeys) {
  const NSDictionary d{{"b", 1}, {"a", 2}, {"c", 3}};
  const auto text = [](const Value& k, const Value& v) {
    return v.toInt() == 2 ? NSString() : NSString::stringWithFormat("%@=%@", k, v);
  };
  EXPECT_EQ(d.zuFlatten(text), (NSArray{"b=1", "c=3"}));
  EXPECT_EQ(d.zuFlatten(nullptr), NSArray::array());
  EXPECT_EQ(d.zuFlatten(std::function<Value(const Value&, const Value&)>()), NSArray::array());
}

TEST(NSDictionaryOrvane, ChangingTheKeysInsideOfABlockRaises) {
  const NSMutableDictionary d{{"a", 1}, {"b", 2}};
  EXPECT_THROW(d.zuFlatten([&](const Value& k, const Value&) { return d.removeObjectForKey("b"), k; }),
               NSException);
}

TEST(NSDictionaryOrvane, NullsAreStrippedFromDictionariesAlone) {
  const NSDictionary source{{"a", NSNull::null()},
                            {"b", NSDictionary{{"c", NSNull::null()}, {"d", 1}}},
                            {"e", NSArray{NSNull::null()}}};
  const NSMutableDictionary stripped = source.copyWithNullsStripped();
  EXPECT_EQ(stripped, (NSDictionary{{"b", NSDictionary{{"d", 1}}}, {"e", NSArray{NSNull::null()}}}));
  EXPECT_TRUE(stripped["b"].isKindOf<NSMutableDictionary>());
}

TEST(NSDictionaryOrvane, NullsAreStrippedFromADictionaryInItself) {
  const NSMutableDictionary loop{{"n", NSNull::null()}};
  loop.setObjectForKey(loop, "a");
  loop.setObjectForKey(loop, "b");
  const NSMutableDictionary stripped = loop.copyWithNullsStripped();
  EXPECT_EQ(stripped.allKeys(), (NSArray{"a", "b"}));
  EXPECT_TRUE(stripped["a"].isSame(loop));
  loop.removeAllObjects();
}

TEST(NSDictionaryOrvane, ValuesGoToTheObjectsOwnPropertiesLastDeclaredFirst) {
  setters.clear();
  const Ref<Dog> dog = make<Dog>();
  const NSDictionary values{{"name", "Rex"}, {"legs", "3"}, {"weight", 12.5}, {"isOld", true}, {"other", 1}};
  values.mapValuesToObject(dog);
  EXPECT_EQ(setters, (std::vector<std::string>{"weight", "legs"}));
  EXPECT_EQ(dog->legs(), 3);
  EXPECT_EQ(dog->weight(), 12.5);
  EXPECT_TRUE(dog->name().isNil());
}

TEST(NSDictionaryOrvane, AbsentValuesAndClassesWithoutPropertiesAreLeftAlone) {
  setters.clear();
  const Ref<Dog> dog = make<Dog>();
  (NSDictionary{{"weight", 2}}).mapValuesToObject(dog);
  EXPECT_EQ(setters, std::vector<std::string>{"weight"});
  setters.clear();
  (NSDictionary{{"weight", 2}}).mapValuesToObject(make<Puppy>());
  (NSDictionary{{"weight", 2}}).mapValuesToObject(make<NSObject>());
  (NSDictionary{{"weight", 2}}).mapValuesToObject(NSMutableDictionary::dictionary());
  (NSDictionary{{"weight", 2}}).mapValuesToObject(nil);
  EXPECT_TRUE(setters.empty());
}

TEST(NSMutableDictionaryOrvane, CountersCountFromWhatIsThere) {
  const NSMutableDictionary d{{"text", "41"}, {"list", NSArray{1}}, {"last", INT64_MAX}};
  EXPECT_EQ(d.incrementCounterForKey("new"), 1);
  EXPECT_EQ(d.incrementCounterForKey("new"), 2);
  EXPECT_EQ(d["new"], Value(2));
  EXPECT_EQ(d.incrementCounterForKey("text"), 42);
  EXPECT_EQ(d["text"], Value(42));
  EXPECT_EQ(d.incrementCounterForKey("list"), 1);
  EXPECT_EQ(d.incrementCounterForKey("last"), INT64_MIN);
  EXPECT_EQ(d.incrementCounterForKey(nil), 0);
}
