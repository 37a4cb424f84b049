#include "Orvane/OrvObject.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Platform/Foundation/Foundation.h"
#include "Tests/Support/LogLines.h"

using namespace orv;

namespace {

class Invoice : public OrvObject {
  ORV_MODEL(Invoice, OrvObject)
  ORV_DYNAMIC(NSString, title, setTitle)
  ORV_DYNAMIC(NSNumber, x, setX)
  ORV_DYNAMIC(Value, URLString, setURLString)
  ORV_DYNAMIC(Ref<OrvObject>, customer, setCustomer)
  ORV_DYNAMIC(Value, settings, setSettings)

  void configure() override {
    ++configured;
    storeAtConfigure = allKeys();
    nameAtConfigure = className();
  }

  int configured = 0;
  NSArray storeAtConfigure;
  NSString nameAtConfigure;

 private:
  ORV_DYNAMIC(NSString, secret, setSecret)
};

class DatedInvoice : public Invoice {
  ORV_MODEL(DatedInvoice, Invoice)
  ORV_DYNAMIC(NSDate, date, setDate)
};

class PlainDerived : public Invoice {};

class Numbered : public OrvObject {
  ORV_MODEL(Numbered, OrvObject)
  Numbered() = default;
  explicit Numbered(int first) : number(first) {}
  int number = 0;
};

class Dangerous : public OrvObject {
  ORV_MODEL(Dangerous, OrvObject)
  ORV_DYNAMIC(NSString, title, setTitle)
  ORV_STORED(NSString, name, setName)
  ORV_STORED(NSDate, born, setBorn)
};

class AlsoDangerous : public Dangerous {
  ORV_MODEL(AlsoDangerous, Dangerous)
};

class Tolerated : public OrvObject {
  ORV_MODEL(Tolerated, OrvObject)
  ORV_STORED(NSString, name, setName)
  static NSSet ignoreDangerousPropertyNames() { return NSSet{"name"}; }
};

class HalfTolerated : public OrvObject {
  ORV_MODEL(HalfTolerated, OrvObject)
  ORV_STORED(NSString, name, setName)
  ORV_STORED(NSString, other, setOther)
  static NSSet ignoreDangerousPropertyNames() { return NSSet{"name"}; }
};

// Notes the calls that announce changes.
class Announcing : public OrvObject {
  ORV_MODEL(Announcing, OrvObject)
  void willChangeValueForKey(const NSString& key) override {
    heard += "<" + key.utf8();
    OrvObject::willChangeValueForKey(key);
  }
  void didChangeValueForKey(const NSString& key) override {
    heard += ">" + key.utf8();
    OrvObject::didChangeValueForKey(key);
  }
  std::string heard;
};

template <class T>
std::string reasonOfRefusal() {
  try {
    make<T>();
  } catch (const NSException& e) {
    EXPECT_EQ(e.name(), "Missing @dynamic");
    return e.reason().utf8();
  }
  return "";
}

}  // namespace

// ---- Creation

namespace {

// Describes a model when the thread-local values of its thread are gone.
struct DescribesAtTheEnd {
  ~DescribesAtTheEnd() {
    if (!model->description().hasPrefix("<OrvObject\n _properties=")) std::abort();
  }
  Ref<OrvObject> model = make<OrvObject>();
};

}  // namespace

TEST(OrvObject, IsDescribedWhileTheProcessEnds) {
  static const DescribesAtTheEnd describesAtTheEnd;
  EXPECT_TRUE(describesAtTheEnd.model->description());
}

TEST(OrvObject, BeginsEmptyAndSaved) {
  const Ref<OrvObject> model = make<OrvObject>();
  EXPECT_EQ(model->count(), 0u);
  EXPECT_EQ(model->allKeys(), NSArray::array());
  EXPECT_FALSE(model->needsSave());
  EXPECT_EQ(model->jsonDictionary(), NSDictionary::dictionary());
  model->setObject(1, "a");
  EXPECT_EQ(model->objectForKey("a"), Value(1));
}

TEST(OrvObject, EveryWayOfCreationConfiguresTheCompleteObjectOnce) {
  const NSString path = "/nonexistent/file.json";
  const Ref<Invoice> models[] = {make<Invoice>(),
                                 Invoice::initWithDictionary({}),
                                 Invoice::initWithDictionary(NSDictionary{{"a", 1}}),
                                 Invoice::initWithJSON("{\"a\": 1}"),
                                 Invoice::initWithJSONFromURL(path),
                                 OrvObject::initWithDictionary<Invoice>(NSDictionary{{"a", 1}})};
  const NSArray stores[] = {NSArray::array(), NSArray::array(), NSArray{"a"},
                            NSArray{"a"},     NSArray::array(), NSArray{"a"}};
  for (size_t i = 0; i < std::size(models); ++i) {
    EXPECT_EQ(models[i]->configured, 1) << i;
    EXPECT_EQ(models[i]->storeAtConfigure, stores[i]) << i;
    EXPECT_EQ(models[i]->nameAtConfigure, "Invoice") << i;
  }
}

TEST(OrvObject, ADerivedClassWithoutDeclarationsIsAModelToo) {
  const Ref<PlainDerived> model = make<PlainDerived>();
  model->setTitle("t");
  EXPECT_EQ(model->title(), "t");
  EXPECT_EQ(model->className(), "PlainDerived");
  EXPECT_EQ(OrvObject::initWithDictionary<PlainDerived>(NSDictionary{{"title", "x"}})->title(), "x");
}

TEST(OrvObject, MakePassesArgumentsToTheConstructor) {
  const Ref<Numbered> model = make<Numbered>(7);
  EXPECT_EQ(model->number, 7);
  EXPECT_EQ(model->count(), 0u);
}

TEST(OrvObject, AFailedParseLeavesTheStoreAbsent) {
  LogLines lines;
  const Ref<Invoice> model = Invoice::initWithJSON("{broken");
  EXPECT_EQ(lines.takeMessages(OrvLogLevelWarning).size(), 1u);
  EXPECT_EQ(model->configured, 1);
  EXPECT_EQ(model->count(), 0u);
  EXPECT_TRUE(model->allKeys().isNil());
  EXPECT_TRUE(model->keyEnumerator().isNil());
  model->setObject(1, "a");
  model->setTitle("t");
  model->removeObjectForKey("a");
  EXPECT_TRUE(model->objectForKey("a").isNil());
  EXPECT_FALSE(model->needsSave());
  EXPECT_EQ(model->jsonDictionary(), NSDictionary::dictionary());
  EXPECT_EQ(model->description(), "<Invoice\n _properties=(null)>");
  model->setJsonDictionary(nil);
  model->setTitle("t");
  EXPECT_EQ(model->title(), "t");
  EXPECT_TRUE(model->needsSave());
}

// ---- Store

TEST(OrvObject, StoringChangesTheValueAndNeedsSave) {
  const Ref<OrvObject> model = make<OrvObject>();
  model->setObject("b", "a");
  model->setNeedsSave(false);
  model->setObject("c", "a");
  EXPECT_EQ(model->objectForKey("a"), Value("c"));
  EXPECT_TRUE(model->needsSave());
}

TEST(OrvObject, AValueEqualToItsOwnKeyStays) {
  const Ref<OrvObject> model = make<OrvObject>();
  model->setObject("a", "a");
  EXPECT_TRUE(model->needsSave());
  model->setNeedsSave(false);
  model->setObject("z", "a");
  EXPECT_EQ(model->objectForKey("a"), Value("a"));
  EXPECT_FALSE(model->needsSave());
  model->removeObjectForKey("a");
  model->setObject("z", "a");
  EXPECT_EQ(model->objectForKey("a"), Value("z"));
}

TEST(OrvObject, TheSameObjectIsNoChangeAnEqualOneIs) {
  const Ref<Announcing> model = make<Announcing>();
  const NSString text = NSString("some").stringByAppendingString(" text");
  model->setObject(text, "a");
  model->setNeedsSave(false);
  model->heard.clear();
  model->setObject(text, "a");
  EXPECT_FALSE(model->needsSave());
  EXPECT_EQ(model->heard, "");
  model->setObject(NSString("some text").stringByAppendingString(""), "a");
  model->setObject(NSString("some tex").stringByAppendingString("t"), "a");
  EXPECT_TRUE(model->needsSave());
  model->setObject(1, "n");
  model->setNeedsSave(false);
  model->setObject(1, "n");
  EXPECT_FALSE(model->needsSave()) << "equal numbers are one object";
  model->setObject(1.0, "n");
  EXPECT_TRUE(model->needsSave()) << "an equal number of another type is not";
}

TEST(OrvObject, NilRemovesAndLeavesNeedsSave) {
  const Ref<Announcing> model = make<Announcing>();
  model->setObject(1, "a");
  model->setNeedsSave(false);
  model->heard.clear();
  model->setObject(nil, "a");
  EXPECT_TRUE(model->objectForKey("a").isNil());
  EXPECT_FALSE(model->needsSave());
  EXPECT_EQ(model->heard, "<a>a");
  model->setObject(nil, "a");
  model->removeObjectForKey("a");
  EXPECT_EQ(model->heard, "<a>a") << "nothing is announced where nothing was";
}

TEST(OrvObject, AnImportedStoreFollowsTheSameRules) {
  const Ref<OrvObject> model = OrvObject::initWithDictionary(NSDictionary{{"a", "b"}, {"k", "k"}});
  EXPECT_FALSE(model->needsSave());
  model->setObject("c", "a");
  EXPECT_TRUE(model->needsSave());
  EXPECT_EQ(model->objectForKey("a"), Value("c"));
  model->setNeedsSave(false);
  model->setObject("z", "k");
  model->removeObjectForKey("a");
  EXPECT_EQ(model->jsonDictionary(), (NSDictionary{{"k", "k"}}));
  EXPECT_FALSE(model->needsSave());
}

TEST(OrvObject, NilKeysAreHarmless) {
  const Ref<OrvObject> model = make<OrvObject>();
  model->setObject(1, nil);
  model->removeObjectForKey(nil);
  EXPECT_TRUE(model->objectForKey(nil).isNil());
  EXPECT_TRUE(model->forwardInvocation(nil).isNil());
  EXPECT_TRUE(model->methodSignatureForSelector(nil).isNil());
  EXPECT_EQ(model->count(), 0u);
}

TEST(OrvObject, SubscriptsReadAndStore) {
  const Ref<OrvObject> model = make<OrvObject>();
  (*model)["a"] = 5;
  EXPECT_EQ((*model)["a"].value(), Value(5));
  (*model)["b"] = (*model)["a"];
  EXPECT_EQ(model->objectForKey("b"), Value(5));
  (*model)["a"] = nil;
  EXPECT_EQ(model->allKeys(), NSArray{"b"});
  const OrvObject& constant = *model;
  EXPECT_EQ(constant["b"], Value(5));
  model->setObjectForKeyedSubscript(6, "c");
  EXPECT_EQ(model->objectForKeyedSubscript("c"), Value(6));
  EXPECT_TRUE(model->needsSave());
}

TEST(OrvObject, EnumeratesItsKeys) {
  const Ref<OrvObject> model = OrvObject::initWithDictionary(NSDictionary{{"b", 1}, {"a", 2}});
  EXPECT_EQ(model->allKeys(), (NSArray{"b", "a"}));
  EXPECT_EQ(model->keyEnumerator().allObjects(), (NSArray{"b", "a"}));
  EXPECT_EQ(Value(model).count(), 2u);
  EXPECT_TRUE(Value(model).isNotEmpty());
  EXPECT_FALSE(Value(make<OrvObject>()).isNotEmpty());
}

// ---- Key-value coding

TEST(OrvObject, KeyValueCodingReachesTheStoreAndTheObjectsOwnProperties) {
  const Ref<Invoice> model = make<Invoice>();
  const Value value = model;
  value.setValueForKey("t", "title");
  value.setValueForKey(3, "loose");
  EXPECT_EQ(model->title(), "t");
  EXPECT_EQ(value.valueForKey("loose"), Value(3));
  EXPECT_TRUE(value.valueForKey("absent").isNil());
  EXPECT_EQ(value.valueForKey("count"), Value(2));
  EXPECT_EQ(value.valueForKey("allKeys"), (NSArray{"title", "loose"}));
  EXPECT_EQ(value.valueForKey("needsSave"), Value(true));
  value.setValueForKey(false, "needsSave");
  EXPECT_FALSE(model->needsSave());
  value.setValueForKey(nil, "loose");
  EXPECT_EQ(model->jsonDictionary(), (NSDictionary{{"title", "t"}}));
  EXPECT_EQ(model->valueForUndefinedKey("title"), Value("t"));
  model->setValueForUndefinedKey("u", "title");
  EXPECT_EQ(model->title(), "u");
}

TEST(OrvObject, KeyPathsGoThroughNestedModels) {
  const Ref<OrvObject> model = OrvObject::initWithDictionary(
      NSDictionary{{"lines", NSArray{NSDictionary{{"sum", 2}}, NSDictionary{{"sum", 3}}}}});
  EXPECT_EQ(Value(model).valueForKeyPath("lines.@sum.sum"), Value(5));
  Value(model).setValueForKeyPath(9, "lines.sum");
  EXPECT_EQ(Value(model).valueForKeyPath("lines.@sum.sum"), Value(18));
}

// ---- Dynamic properties

TEST(OrvObject, AccessorsServeTheStore) {
  const Ref<Invoice> model = make<Invoice>();
  EXPECT_TRUE(model->title().isNil());
  model->setTitle("Lamps");
  EXPECT_EQ(model->objectForKey("title"), Value("Lamps"));
  EXPECT_TRUE(model->needsSave());
  model->setX(4);
  EXPECT_EQ(model->x(), Value(4));
  EXPECT_EQ(model->objectForKey("x"), Value(4));
  model->setTitle(nil);
  EXPECT_TRUE(model->objectForKey("title").isNil());
}

TEST(OrvObject, SettersLowerOnlyTheFirstLetter) {
  const Ref<Invoice> model = make<Invoice>();
  model->setURLString("u");
  EXPECT_EQ(model->allKeys(), NSArray{"uRLString"});
  EXPECT_TRUE(model->URLString().isNil());
  model->setObject("v", "URLString");
  EXPECT_EQ(model->URLString(), Value("v"));
}

TEST(OrvObject, ANestedDictionaryIsAModelForItsProperty) {
  const Ref<Invoice> model =
      Invoice::initWithDictionary(NSDictionary{{"customer", NSDictionary{{"name", "Ada"}}}});
  ASSERT_TRUE(model->customer());
  EXPECT_EQ(model->customer()->forwardInvocation("name"), Value("Ada"));
  EXPECT_TRUE(model->customer()->needsSave());
  EXPECT_FALSE(model->needsSave());
}

TEST(OrvObject, AValueOfAnotherKindReadsAsNil) {
  const Ref<Invoice> model = Invoice::initWithDictionary(NSDictionary{{"title", 5}, {"customer", "x"}});
  EXPECT_TRUE(model->title().isNil());
  EXPECT_FALSE(model->customer());
  EXPECT_EQ(model->forwardInvocation("title"), Value(5));
}

TEST(OrvObject, SelectorsAreTakenApartByTheirNames) {
  struct Case {
    const char* selector;
    const char* signature;
    const char* storedKey;  // after a call with an argument; null for a getter or nothing
  };
  const Case cases[] = {
      {"title", "@@:", nullptr},      {"setTitle:", "v@:@", "title"},
      {"setX:", "v@:@", "x"},         {"setURLString:", "v@:@", "uRLString"},
      {"settings", "v@:@", "ting"},   {"set", "v@:@", nullptr},
      {"set:", "v@:@", ":"},          {"setX", "v@:@", "x"},
      {"offset", "@@:", nullptr},     {"Settle:", "@@:", nullptr},
      {"setÄrger:", "v@:@", "ärger"}, {"", "@@:", nullptr},
      {"set_x:", "v@:@", "_x"},       {"settle", "v@:@", "tl"},
  };
  for (const Case& each : cases) {
    const Ref<OrvObject> model = make<OrvObject>();
    EXPECT_EQ(model->methodSignatureForSelector(each.selector), each.signature) << each.selector;
    EXPECT_TRUE(model->forwardInvocation(each.selector, "v").isNil()) << each.selector;
    EXPECT_EQ(model->allKeys(), each.storedKey ? NSArray{each.storedKey} : NSArray::array()) << each.selector;
  }
}

TEST(OrvObject, AnUnknownSelectorIsAGetter) {
  const Ref<OrvObject> model = OrvObject::initWithDictionary(NSDictionary{{"any:thing", 1}});
  EXPECT_EQ(model->forwardInvocation("any:thing"), Value(1));
  EXPECT_TRUE(model->forwardInvocation("nothing").isNil());
}

TEST(OrvObject, AGetterWhoseNameBeginsWithSetRemoves) {
  const Ref<Invoice> model = Invoice::initWithDictionary(NSDictionary{{"settings", 1}, {"ting", 2}});
  EXPECT_TRUE(model->settings().isNil());
  EXPECT_EQ(model->allKeys(), NSArray{"settings"});
  model->setSettings(3);
  EXPECT_EQ(model->objectForKey("settings"), Value(3));
}

// ---- Class

TEST(OrvObject, AClassListsItsOwnPropertiesInOrder) {
  const auto names = [](const Class& listed) {
    std::vector<std::string> found;
    for (const Property& property : listed.properties()) found.push_back(property.name.utf8());
    return found;
  };
  EXPECT_EQ(names(Invoice::staticClass()),
            (std::vector<std::string>{"title", "x", "URLString", "customer", "settings", "secret"}));
  EXPECT_EQ(names(DatedInvoice::staticClass()), std::vector<std::string>{"date"});
  EXPECT_EQ(names(Numbered::staticClass()), std::vector<std::string>());
  EXPECT_EQ(DatedInvoice::staticClass().base(), &Invoice::staticClass());
  EXPECT_EQ(Invoice::staticClass().base(), &OrvObject::staticClass());
  EXPECT_EQ(Invoice::staticClass().name(), "Invoice");
  EXPECT_EQ(Invoice::staticClass().properties()[0].attributes, "T@\"NSString\",&,D,N");
  EXPECT_EQ(Dangerous::staticClass().properties()[1].attributes, "T@\"NSString\",&,N,V_name");
  EXPECT_EQ(make<DatedInvoice>()->objectClass(), &DatedInvoice::staticClass());
}

TEST(OrvObject, ADerivedModelHasTheAccessorsOfBoth) {
  const Ref<DatedInvoice> model = DatedInvoice::initWithDictionary(NSDictionary{{"title", "t"}});
  model->setDate(NSDate::dateWithTimeIntervalSince1970(0));
  EXPECT_EQ(model->title(), "t");
  EXPECT_EQ(model->date(), NSDate::dateWithTimeIntervalSince1970(0));
  EXPECT_EQ(model->configured, 1);
}

TEST(OrvObject, AClassWithStorageIsRefusedAtEachFirstUse) {
  LogLines lines;
  EXPECT_EQ(reasonOfRefusal<Dangerous>(),
            "In class <Dangerous> dangerous properties have been identified. Add the follwing code: @dynamic "
            "name, born");
  EXPECT_EQ(lines.takeMessages(OrvLogLevelError),
            std::vector<std::string>{"In class <Dangerous> dangerous properties have been identified. Add the "
                                     "follwing code:\n\n@dynamic name, born\n"});
  EXPECT_NE(reasonOfRefusal<Dangerous>(), "");
  EXPECT_THROW(Dangerous::initWithDictionary(nil), NSException);
  EXPECT_THROW(Dangerous::initWithJSON("{}"), NSException);
  EXPECT_THROW(Dangerous::initWithJSONFromURL("/x"), NSException);
}

TEST(OrvObject, TheCheckCanBeAskedForDirectly) {
  LogLines lines;
  EXPECT_THROW(OrvObject::initialize(Dangerous::staticClass()), NSException);
  EXPECT_EQ(lines.takeMessages(OrvLogLevelError).size(), 1u);
  OrvObject::initialize(Dangerous::staticClass(), NSSet{"name", "born"});
  OrvObject::initialize(Invoice::staticClass());
  EXPECT_TRUE(lines.take().empty());
}

TEST(OrvObject, ADerivedClassIsRefusedWithItsBase) {
  LogLines lines;
  EXPECT_NE(reasonOfRefusal<AlsoDangerous>().find("In class <Dangerous>"), std::string::npos);
}

TEST(OrvObject, PropertiesToIgnoreMayHaveStorage) {
  LogLines lines;
  const Ref<Tolerated> model = make<Tolerated>();
  model->setName("n");
  EXPECT_EQ(model->name(), "n");
  EXPECT_EQ(Value(model).valueForKey("name"), Value("n"));
  EXPECT_EQ(model->count(), 0u);
  EXPECT_TRUE(lines.take().empty());
  EXPECT_NE(reasonOfRefusal<HalfTolerated>().find("@dynamic other"), std::string::npos);
}

TEST(OrvObject, DangerousNamesAreListedForOneClass) {
  EXPECT_EQ(OrvObject::getDangerousPropertyNames(Dangerous::staticClass()), (NSArray{"name", "born"}));
  EXPECT_EQ(OrvObject::getDangerousPropertyNames(Dangerous::staticClass(), NSSet{"name"}), NSArray{"born"});
  EXPECT_TRUE(OrvObject::getDangerousPropertyNames(AlsoDangerous::staticClass()).isNil());
  EXPECT_TRUE(OrvObject::getDangerousPropertyNames(Invoice::staticClass()).isNil());
  EXPECT_EQ(OrvObject::ignoreDangerousPropertyNames(), NSSet::set());
}

// ---- Observers

TEST(OrvObject, ObserversHearOfEachChange) {
  const Ref<Invoice> model = make<Invoice>();
  std::vector<NSDictionary> changes;
  bool neededSave = true;
  const auto token = model->addObserver("title", [&](const NSString&, const NSDictionary& change) {
    changes.push_back(change);
    neededSave = model->needsSave();
  });
  model->setTitle("a");
  EXPECT_FALSE(neededSave) << "the flag is set when all is told";
  EXPECT_TRUE(model->needsSave());
  model->setObject("b", "title");
  Value(model).setValueForKey(nil, "title");
  model->setX(1);
  ASSERT_EQ(changes.size(), 3u);
  EXPECT_EQ(changes[0], (NSDictionary{{"kind", 1}, {"old", NSNull::null()}, {"new", "a"}}));
  EXPECT_EQ(changes[1], (NSDictionary{{"kind", 1}, {"old", "a"}, {"new", "b"}}));
  EXPECT_EQ(changes[2], (NSDictionary{{"kind", 1}, {"old", "b"}, {"new", NSNull::null()}}));
}

TEST(OrvObject, AnImportIsAChangeOfAllKeys) {
  const Ref<OrvObject> model = OrvObject::initWithDictionary(NSDictionary{{"a", 1}});
  std::vector<NSDictionary> changes;
  const auto token = model->addObserver(
      "allKeys", [&](const NSString&, const NSDictionary& change) { changes.push_back(change); });
  model->setJsonDictionary(NSDictionary{{"b", 1}});
  model->setJsonDictionary(nil);
  ASSERT_EQ(changes.size(), 2u);
  EXPECT_EQ(changes[0], (NSDictionary{{"kind", 1}, {"old", NSArray{"a"}}, {"new", NSArray{"b"}}}));
  EXPECT_EQ(changes[1], (NSDictionary{{"kind", 1}, {"old", NSArray{"b"}}, {"new", NSArray{"b"}}}));
  EXPECT_FALSE(model->needsSave());
}

TEST(OrvObject, ObserversMayLetGoOfTheModelAndOfThemselves) {
  for (const NSUInteger options : {NSUInteger{0}, NSUInteger{NSKeyValueObservingOptionPrior}}) {
    Ref<Invoice> model = Invoice::initWithDictionary(NSDictionary{{"title", "a"}});
    const WeakRef<Invoice> weak = model;
    Ref<NSKeyValueObservation> token;
    token = model->addObserver("title", options, [&](const NSString&, const NSDictionary&) {
      model = nil;
      token = nil;
    });
    Invoice* const raw = model.get();
    raw->setTitle("b");
    EXPECT_TRUE(weak.lock().isNil());
  }
}

TEST(OrvObject, AnObserverMayStoreAgain) {
  const Ref<Invoice> model = make<Invoice>();
  const auto token = model->addObserver("title", [&](const NSString&, const NSDictionary& change) {
    if (change["new"] == Value("a")) model->setTitle("b");
    model->setX(1);
  });
  model->setTitle("a");
  EXPECT_EQ(model->title(), "b");
}

TEST(OrvObject, AStoredValueNeedsSavingWhateverAnObserverRaises) {
  const Ref<Invoice> model = make<Invoice>();
  const auto token = model->addObserver(
      "title", [](const NSString&, const NSDictionary&) { NSException::raise("Stop", "no"); });
  EXPECT_THROW(model->setTitle("a"), NSException);
  EXPECT_EQ(model->title(), "a");
  EXPECT_TRUE(model->needsSave());
}

// ---- Copies and text

TEST(OrvObject, ACopyIsPlainAndItsOwn) {
  const Ref<Invoice> model =
      Invoice::initWithDictionary(NSDictionary{{"title", "t"}, {"customer", NSDictionary{{"name", "Ada"}}}});
  const Ref<OrvObject> copy = model->copy();
  EXPECT_EQ(copy->className(), "OrvObject");
  EXPECT_EQ(copy->jsonDictionary(), model->jsonDictionary());
  copy->objectForKey("customer").as<OrvObject>()->setObject("Eve", "name");
  EXPECT_EQ(model->customer()->objectForKey("name"), Value("Ada"));
  EXPECT_EQ(Value(model).copy().as<OrvObject>()->jsonDictionary(), model->jsonDictionary());
  EXPECT_NE(Value(model).copy(), Value(model)) << "models are equal by identity";
}

TEST(OrvObject, DescriptionsNameTheClassAndTheStore) {
  const Ref<Invoice> model = make<Invoice>();
  model->setTitle("t");
  EXPECT_EQ(model->description(), "<Invoice\n _properties={\n    title = t;\n}>");
  const Ref<Invoice> imported = Invoice::initWithDictionary(NSDictionary{{"title", "t"}});
  EXPECT_EQ(imported->description(), "<Invoice\n _properties=<OrvObject\n _properties={\n    title = t;\n}>>");
}

TEST(OrvObject, DescriptionsOfModelsInsideOfEachOtherEnd) {
  const Ref<OrvObject> a = make<OrvObject>(), b = make<OrvObject>();
  a->setObject(b, "b");
  b->setObject(a, "a");
  EXPECT_NE(a->description().rangeOfString("<OrvObject contains itself>").location, NSUInteger{NSNotFound});
  b->removeObjectForKey("a");
  Ref<OrvObject> deep = make<OrvObject>();
  for (int i = 0; i < 1000; ++i) {
    const Ref<OrvObject> outer = make<OrvObject>();
    outer->setObject(deep, "in");
    deep = outer;
  }
  EXPECT_LT(deep->description().length(), 10000u);
  EXPECT_TRUE(deep->description().containsString("nested too deeply"));
}

TEST(OrvObject, NilHandlesAnswerNeutrally) {
  const Value none;
  EXPECT_TRUE(none.valueForKey("a").isNil());
  EXPECT_FALSE(none.as<OrvObject>());
}
