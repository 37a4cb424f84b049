#include <rapidcheck.h>

#include <unordered_set>

#include "Platform/Foundation/Values/Class.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDecimalNumber.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSNull.h"
#include "Platform/Foundation/Values/NSSet.h"

using namespace orv;

namespace {

// The name and reason of the exception that an operation raises.
template <class F>
std::pair<std::string, std::string> raised(F&& operation) {
  try {
    operation();
  } catch (const NSException& exception) {
    return {exception.name().utf8(), exception.reason().utf8()};
  }
  return {};
}

class Account : public NSObject {
 public:
  NSString owner() const { return owner_; }
  void setOwner(const NSString& owner) { owner_ = owner; }
  int64_t balance() const { return balance_; }
  void setBalance(int64_t balance) { balance_ = balance; }
  bool isOpen() const { return open_; }
  void setOpen(bool open) { open_ = open; }
  double rate() const { return rate_; }
  void setRate(double rate) { rate_ = rate; }
  uint64_t serial() const { return serial_; }
  void setSerial(uint64_t serial) { serial_ = serial; }
  Ref<Account> parent() const { return parent_; }
  void setParent(const Ref<Account>& parent) { parent_ = parent; }
  Value note() const { return note_; }
  void setNote(const Value& note) { note_ = note; }
  NSUInteger digits() const { return 2; }
  ORV_PROPERTIES(Account, NSObject, ORV_PROPERTY(owner, setOwner), ORV_PROPERTY(balance, setBalance),
                 ORV_PROPERTY(isOpen, setOpen), ORV_PROPERTY(rate, setRate), ORV_PROPERTY(serial, setSerial),
                 ORV_PROPERTY(parent, setParent), ORV_PROPERTY(note, setNote), ORV_READ_ONLY(digits))

 private:
  NSString owner_;
  int64_t balance_ = 0;
  bool open_ = false;
  double rate_ = 0;
  uint64_t serial_ = 0;
  Ref<Account> parent_;
  Value note_;
};

class Savings : public Account {
 public:
  int years() const { return 3; }
  ORV_PROPERTIES(Savings, Account, ORV_READ_ONLY(years))
};

// Serves every key from a dictionary.
class Open : public NSObject {
 public:
  Value valueForUndefinedKey(const NSString& key) const override { return store[key]; }
  void setValueForUndefinedKey(const Value& value, const NSString& key) override {
    store.setValueForKey(value, key);
  }
  NSMutableDictionary store = NSMutableDictionary::dictionary();
};

NSArray column(std::initializer_list<Value> values) {
  NSMutableArray list = NSMutableArray::array();
  for (const Value& v : values) list.addObject(v.isNil() ? NSDictionary::dictionary() : NSDictionary{{"k", v}});
  return list;
}

}  // namespace

// ---- Objects

TEST(KeyValueCoding, ReadsAndWritesDeclaredProperties) {
  const Ref<Account> account = make<Account>();
  const Value any = account;
  any.setValueForKey("Ada", "owner");
  any.setValueForKey("42 apples", "balance");
  any.setValueForKey("yes", "isOpen");
  any.setValueForKey("2.5", "rate");
  any.setValueForKey(UINT64_MAX, "serial");
  any.setValueForKey(account, "note");
  EXPECT_EQ(any.valueForKey("owner"), "Ada");
  EXPECT_EQ(any.valueForKey("balance"), Value(42));
  EXPECT_TRUE(any.valueForKey("isOpen").isSame(true));
  EXPECT_EQ(any.valueForKey("rate"), Value(2.5));
  EXPECT_EQ(account->serial(), UINT64_MAX);
  EXPECT_TRUE(any.valueForKey("note").isSame(any));
  EXPECT_TRUE(any.valueForKey("self").isSame(any));
  account->setNote(nil);
}

TEST(KeyValueCoding, AValueOfAnotherKindSetsNil) {
  const Ref<Account> account = make<Account>();
  account->setOwner("Ada");
  account->setValueForKey(7, "owner");
  EXPECT_TRUE(account->owner().isNil());
  account->setParent(make<Account>());
  account->setValueForKey("text", "parent");
  EXPECT_TRUE(account->parent().isNil());
  account->setBalance(9);
  account->setValueForKey(NSNull::null(), "balance");
  EXPECT_EQ(account->balance(), 0);
}

TEST(KeyValueCoding, InheritsProperties) {
  const Value savings = make<Savings>();
  savings.setValueForKey("Bob", "owner");
  EXPECT_EQ(savings.valueForKey("owner"), "Bob");
  EXPECT_EQ(savings.valueForKey("years"), Value(3));
  EXPECT_EQ(Savings::staticClass().properties().size(), 1u);
  EXPECT_EQ(Savings::staticClass().base(), &Account::staticClass());
  EXPECT_EQ(Account::staticClass().base(), nullptr);
  EXPECT_EQ(Account::staticClass().properties()[0].name, "owner");
  EXPECT_EQ(Account::staticClass().properties()[7].attributes, "R");
  EXPECT_EQ(Savings::staticClass().name(), "Savings");
}

TEST(KeyValueCoding, UnknownKeysRaiseWithTheKeyInTheReason) {
  const Value account = make<Account>();
  const NSString address =
      NSString::stringWithFormat("<Account %p>", static_cast<const void*>(account.as<Account>().get()));
  const auto read = raised([&] { account.valueForKey("x"); });
  EXPECT_EQ(read.first, "NSUnknownKeyException");
  EXPECT_EQ(read.second,
            "[" + address.utf8() +
                " valueForUndefinedKey:]: this class is not key value coding-compliant for the key x.");
  const auto written = raised([&] { account.setValueForKey(1, "x"); });
  EXPECT_EQ(written.first, "NSUnknownKeyException");
  EXPECT_EQ(written.second,
            "[" + address.utf8() +
                " setValue:forUndefinedKey:]: this class is not key value coding-compliant for the key x.");
  EXPECT_EQ(raised([&] { account.setValueForKey(1, "digits"); }).first, "NSUnknownKeyException");
  EXPECT_EQ(raised([] { Value(make<NSObject>()).valueForKey("x"); }).first, "NSUnknownKeyException");
}

TEST(KeyValueCoding, NilForAScalarRaises) {
  const Value account = make<Account>();
  const auto found = raised([&] { account.setValueForKey(nil, "balance"); });
  EXPECT_EQ(found.first, "NSInvalidArgumentException");
  EXPECT_NE(found.second.find("could not set nil as the value for the key balance."), std::string::npos);
  account.setValueForKey(nil, "owner");
  EXPECT_TRUE(account.valueForKey("owner").isNil());
}

TEST(KeyValueCoding, AnObjectMayServeAnyKey) {
  const Ref<Open> open = make<Open>();
  const Value any = open;
  EXPECT_TRUE(any.valueForKey("x").isNil());
  any.setValueForKeyPath(1, "x");
  EXPECT_EQ(open->store["x"], Value(1));
}

TEST(Class, PropertiesCanBeDeclaredOneByOne) {
  Class objectClass("Thing", typeid(NSObject), nullptr);
  EXPECT_TRUE(objectClass.properties().empty());
  objectClass.declare({"a", "D", [](const NSObject&) { return Value(1); }, nullptr});
  ASSERT_NE(objectClass.property("a"), nullptr);
  EXPECT_EQ(objectClass.property("b"), nullptr);
  EXPECT_TRUE(objectClass.isClassOf(*make<NSObject>()));
  EXPECT_FALSE(objectClass.isClassOf(*make<Account>()));
}

// ---- Containers

TEST(KeyValueCoding, AtSignsAskTheContainerItself) {
  const NSDictionary d{{"count", "mine"}, {"b", 2}};
  EXPECT_EQ(d.valueForKey("count"), "mine");
  EXPECT_EQ(d.valueForKey("@count"), Value(2));
  EXPECT_EQ(d.valueForKeyPath("@count"), Value(2));
  EXPECT_EQ(d.valueForKey("@allKeys"), Value(NSArray{"count", "b"}));
  EXPECT_EQ(d.valueForKey("@allValues"), Value(NSArray{"mine", 2}));
  EXPECT_TRUE(d.valueForKey("@self").isSame(d));
  EXPECT_TRUE(d.valueForKey("self").isSame(d));
  EXPECT_EQ((NSDictionary{{"self", 1}}).valueForKey("self"), Value(1));
  EXPECT_EQ((NSDictionary{{"@count", 7}}).valueForKey("@count"), Value(1));
  EXPECT_EQ((NSDictionary{{"@type", "Person"}}).valueForKey("@type"), "Person");
  EXPECT_EQ((NSArray{1, 2}).valueForKey("@count"), Value(2));
  EXPECT_EQ(raised([&] { d.valueForKey("@nothing"); }).first, "NSUnknownKeyException");
}

TEST(KeyValueCoding, ValuesThatHaveNoKeysAnswerNil) {
  EXPECT_TRUE(Value(1).valueForKey("x").isNil());
  EXPECT_TRUE(Value("text").valueForKeyPath("a.b").isNil());
  EXPECT_EQ(Value("text").valueForKey("self"), "text");
  EXPECT_TRUE(Value().valueForKeyPath("self").isNil());
  EXPECT_TRUE(Value(1).valueForKeyPath(nil).isNil());
  Value(1).setValueForKey(2, "x");
  Value().setValueForKeyPath(2, "x.y");
}

TEST(KeyValueCoding, WritesIntoMutableDictionariesAndThroughLists) {
  const NSMutableDictionary a{{"k", 1}};
  const NSMutableDictionary b = NSMutableDictionary::dictionary();
  Value(NSArray{a, b}).setValueForKey(5, "k");
  EXPECT_EQ(a["k"], Value(5));
  EXPECT_EQ(b["k"], Value(5));
  Value(a).setValueForKey(nil, "k");
  EXPECT_EQ(a.count(), 0u);
  Value(NSDictionary{{"in", b}}).setValueForKeyPath("deep", "in.k");
  EXPECT_EQ(b["k"], "deep");
  EXPECT_EQ(raised([] { Value(NSDictionary::dictionary()).setValueForKey(1, "k"); }).first,
            "NSUnknownKeyException");
}

TEST(KeyValueCoding, PathsWalkThroughDictionariesObjectsAndLists) {
  const Ref<Account> account = make<Account>();
  account->setNote(NSDictionary{{"tags", NSArray{"a", "b"}}});
  const NSDictionary root{{"account", account}, {"list", column({1, nil, 3})}};
  EXPECT_EQ(root.valueForKeyPath("account.note.tags"), Value(NSArray{"a", "b"}));
  EXPECT_EQ(root.valueForKeyPath("list.k"), Value(NSArray{1, NSNull::null(), 3}));
  EXPECT_EQ(root.valueForKeyPath("list.@count"), Value(3));
  EXPECT_TRUE(root.valueForKeyPath("absent.more").isNil());
  account->setNote(nil);
}

// ---- Operators

TEST(KeyValueCoding, OperatorsOverArraysAndSets) {
  const NSArray list{1, 2.5, 3};
  EXPECT_EQ(list.valueForKeyPath("@sum.self").description(), "6.5");
  EXPECT_TRUE(list.valueForKeyPath("@sum.self").isKindOf<NSDecimalNumber>());
  EXPECT_EQ(list.valueForKeyPath("@avg.self").description(), "2.1666666666666666666666666666666666667");
  EXPECT_EQ((NSArray{"b", "a"}).valueForKeyPath("@min.self"), "a");
  EXPECT_TRUE(NSArray::array().valueForKeyPath("@max.self").isNil());
  EXPECT_EQ(column({1, nil, 4}).valueForKeyPath("@sum.k"), Value(5));
  EXPECT_EQ(column({3, nil, 4, "x"}).valueForKeyPath("@max.k"), Value(4));
  EXPECT_EQ(column({3, nil, 3, 1}).valueForKeyPath("@unionOfObjects.k"), Value(NSArray{3, 3, 1}));
  EXPECT_EQ(column({3, nil, 3.0, 1}).valueForKeyPath("@distinctUnionOfObjects.k"), Value(NSArray{3, 1}));
  EXPECT_EQ((NSSet{1, 2}).valueForKeyPath("@sum.self"), Value(3));
  EXPECT_EQ(column({NSDictionary{{"n", 2}}}).valueForKeyPath("@sum.k.n"), Value(2));
}

TEST(KeyValueCoding, MinAndMaxPassOverWhatHasNoOrder) {
  const NSDate date = NSDate::dateWithTimeIntervalSince1970(5);
  EXPECT_EQ((NSArray{NSNull::null(), 2, "a", 1}).valueForKeyPath("@min.self"), Value(1));
  EXPECT_EQ((NSArray{NSArray::array(), date}).valueForKeyPath("@max.self"), Value(date));
}

TEST(KeyValueCoding, UnknownAndUnfinishedOperatorsRaise) {
  const auto unknown = raised([] { NSArray{1}.valueForKeyPath("@median.self"); });
  EXPECT_EQ(unknown.first, "NSInvalidArgumentException");
  EXPECT_NE(unknown.second.find("this class does not implement the median operation."), std::string::npos);
  EXPECT_EQ(raised([] { NSArray{1}.valueForKeyPath("@sum"); }).first, "NSInvalidArgumentException");
  EXPECT_EQ(raised([] { NSArray{1}.valueForKeyPath("@sum."); }).first, "NSInvalidArgumentException");
}

TEST(KeyValueCoding, DistinctUnionHoldsEachValueWhereItFirstStood) {
  EXPECT_TRUE(rc::check([](const std::vector<uint8_t>& bytes) {
    std::vector<int> distinct;
    std::unordered_set<int> seen;
    NSMutableArray list = NSMutableArray::array();
    for (const uint8_t byte : bytes) {
      const int n = byte % 16;
      list.addObject(NSDictionary{{"k", n}});
      if (seen.insert(n).second) distinct.push_back(n);
    }
    RC_ASSERT(list.valueForKeyPath("@distinctUnionOfObjects.k") == Value(NSArray::from(distinct)));
  }));
}
