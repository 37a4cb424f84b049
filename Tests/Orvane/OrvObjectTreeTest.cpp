// Models as trees: cleaning, import, export and JSON.

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <string>

#include "Orvane/OrvObject.h"
#include "Platform/Foundation/Foundation.h"
#include "Tests/Support/LogLines.h"

using namespace orv;

namespace {

class Note : public OrvObject {
  ORV_MODEL(Note, OrvObject)
  ORV_DYNAMIC(NSString, text, setText)
};

Value cleaned(const Value& value, bool forImport) { return make<OrvObject>()->cleanedObject(value, forImport); }

Value exported(const Value& value) { return cleaned(value, false); }

constexpr int kDeep = 100000;

Value deepDictionary() {
  Value tree = NSMutableDictionary{{"leaf", 1}};
  for (int i = 0; i < kDeep; ++i) tree = NSMutableDictionary{{"in", tree}};
  return tree;
}

Value deepArray() {
  Value tree = NSMutableArray{1};
  for (int i = 0; i < kDeep; ++i) tree = NSMutableArray{tree};
  return tree;
}

int levelsOf(Value tree) {
  int levels = 0;
  for (;; ++levels) {
    const Value inner = tree.valueForKey("in");
    if (inner.isNil()) return levels;
    tree = inner;
  }
}

// Runs a block that is refused because of a cycle.
template <class F>
bool isRefused(const F& block) {
  try {
    block();
  } catch (const NSException& e) {
    return e.name() == NSInvalidArgumentException;
  }
  return false;
}

std::string textOf(const Ref<OrvObject>& model) { return std::string(model->toJSONData().view()); }

}  // namespace

// ---- Cleaning

TEST(OrvObjectTree, ExportTurnsEverythingIntoPlainContainersWithoutNulls) {
  const NSDate date = NSDate::dateWithTimeIntervalSince1970(0);
  const Ref<Note> note = make<Note>();
  note->setText("t");
  const struct {
    Value value, expected;
  } cases[] = {
      {Value(), Value()},
      {NSNull::null(), Value()},
      {1, 1},
      {"x", "x"},
      {date, date},
      {NSArray{1, NSNull::null(), 2}, NSArray{1, 2}},
      {NSArray::array(), NSArray::array()},
      {NSSet{3, 1, 2}, NSArray{3, 1, 2}},
      {NSDictionary{{"a", NSNull::null()}, {"b", NSArray{NSNull::null()}}},
       NSDictionary{{"b", NSArray::array()}}},
      {NSDictionary{{1, "number as key"}}, NSDictionary{{1, "number as key"}}},
      {note, NSDictionary{{"text", "t"}}},
      {NSArray{note, NSDictionary{{"n", note}}},
       NSArray{NSDictionary{{"text", "t"}}, NSDictionary{{"n", NSDictionary{{"text", "t"}}}}}},
  };
  for (const auto& each : cases) EXPECT_EQ(exported(each.value), each.expected) << each.value;
}

TEST(OrvObjectTree, TheResultIsMutableAndNew) {
  const NSMutableArray list = NSMutableArray{NSMutableDictionary{{"a", 1}}};
  const Value copy = exported(list);
  ASSERT_TRUE(copy.isKindOf<NSMutableArray>());
  ASSERT_TRUE(copy.as<NSArray>()[0].isKindOf<NSMutableDictionary>());
  copy.as<NSArray>()[0].as<NSMutableDictionary>().setObjectForKey(2, "a");
  EXPECT_EQ(list, (NSArray{NSDictionary{{"a", 1}}}));
}

TEST(OrvObjectTree, ImportTurnsDictionariesIntoModelsThatNeedSaving) {
  const Value result =
      cleaned(NSDictionary{{"a", NSDictionary{{"b", NSArray{NSDictionary{{"c", 1}}, NSSet{2}}}}},
                           {"none", NSNull::null()},
                           {"empty", NSDictionary::dictionary()}},
              true);
  const Ref<OrvObject> model = result.as<OrvObject>();
  ASSERT_TRUE(model);
  EXPECT_EQ(model->className(), "OrvObject");
  EXPECT_TRUE(model->needsSave());
  EXPECT_EQ(model->allKeys(), (NSArray{"a", "empty"}));
  const Ref<OrvObject> inner = model->objectForKey("a").as<OrvObject>();
  ASSERT_TRUE(inner);
  EXPECT_TRUE(inner->needsSave());
  const NSArray list = inner->objectForKey("b").as<NSArray>();
  EXPECT_TRUE(list[0].as<OrvObject>()->needsSave());
  EXPECT_EQ(list[1], NSArray{2});
  EXPECT_FALSE(model->objectForKey("empty").as<OrvObject>()->needsSave()) << "nothing was stored in it";
}

TEST(OrvObjectTree, ImportKeepsModelsAsTheyAre) {
  const Ref<Note> note = make<Note>();
  const Ref<OrvObject> model = OrvObject::initWithDictionary(NSDictionary{{"note", note}});
  EXPECT_TRUE(model->objectForKey("note").isSame(note));
  note->setText("later");
  EXPECT_EQ(model->jsonDictionary(), (NSDictionary{{"note", NSDictionary{{"text", "later"}}}}));
}

TEST(OrvObjectTree, AModelWithoutAStoreIsAnEmptyDictionary) {
  LogLines lines;
  const Ref<OrvObject> absent = OrvObject::initWithJSON("broken");
  EXPECT_EQ(exported(NSArray{absent}), NSArray{NSDictionary::dictionary()});
  EXPECT_EQ(exported(absent), NSDictionary::dictionary());
}

// ---- Import

TEST(OrvObjectTree, NestedEntriesAnswerDynamicGettersAndGoBackToDictionaries) {
  const Ref<OrvObject> model = make<OrvObject>();
  model->setJsonDictionary(
      NSDictionary{{"none", NSNull::null()}, {"inner", NSDictionary{{"title", "t"}}}, {"n", 1}});
  EXPECT_EQ(model->count(), 2u);
  EXPECT_EQ(model->objectForKey("inner").as<OrvObject>()->forwardInvocation("title"), Value("t"));
  EXPECT_EQ(model->jsonDictionary(), (NSDictionary{{"inner", NSDictionary{{"title", "t"}}}, {"n", 1}}));
  EXPECT_TRUE(model->jsonDictionary()["inner"].isKindOf<NSMutableDictionary>());
  EXPECT_FALSE(model->needsSave());
}

TEST(OrvObjectTree, AnImportReplacesTheStoreAndNilKeepsIt) {
  const Ref<OrvObject> model = OrvObject::initWithDictionary(NSDictionary{{"a", 1}});
  model->setObject(2, "b");
  model->setJsonDictionary(nil);
  EXPECT_EQ(model->jsonDictionary(), (NSDictionary{{"a", 1}, {"b", 2}}));
  EXPECT_TRUE(model->needsSave());
  model->setJsonDictionary(NSDictionary{{"c", 3}});
  EXPECT_EQ(model->jsonDictionary(), (NSDictionary{{"c", 3}}));
  EXPECT_TRUE(model->needsSave()) << "an import leaves the flag";
}

TEST(OrvObjectTree, AnImportIsACopy) {
  const NSMutableDictionary source = NSMutableDictionary{{"list", NSMutableArray{1}}};
  const Ref<OrvObject> model = OrvObject::initWithDictionary(source);
  source["list"].as<NSMutableArray>().addObject(2);
  source.setObjectForKey(1, "more");
  EXPECT_EQ(model->jsonDictionary(), (NSDictionary{{"list", NSArray{1}}}));
}

TEST(OrvObjectTree, AModelMayBecomeTheStoreOfAnother) {
  const Ref<Note> inner = make<Note>();
  inner->setText("a");
  inner->setNeedsSave(false);
  const Ref<OrvObject> outer = OrvObject::initWithDictionary(inner);
  EXPECT_EQ(outer->objectForKey("text"), Value("a"));
  int calls = 0;
  const auto token = inner->addObserver("text", [&](const NSString&, const NSDictionary&) { ++calls; });
  outer->setObject("b", "text");
  EXPECT_EQ(inner->text(), "b");
  EXPECT_TRUE(inner->needsSave());
  EXPECT_TRUE(outer->needsSave());
  EXPECT_EQ(calls, 1);
  outer->removeObjectForKey("text");
  EXPECT_EQ(inner->count(), 0u);
  EXPECT_EQ(calls, 2);
}

TEST(OrvObjectTree, AModelIsNeverItsOwnStore) {
  const Ref<OrvObject> a = make<OrvObject>();
  a->setObject(1, "n");
  EXPECT_TRUE(isRefused([&] { a->setJsonDictionary(a); }));
  const Ref<OrvObject> b = OrvObject::initWithDictionary(a), c = OrvObject::initWithDictionary(b);
  EXPECT_TRUE(isRefused([&] { a->setJsonDictionary(c); }));
  EXPECT_EQ(c->jsonDictionary(), (NSDictionary{{"n", 1}}));
}

TEST(OrvObjectTree, WhatHasNoKeysIsKeptForWriting) {
  const Ref<OrvObject> model = OrvObject::initWithJSON("[1, {\"a\": null}]");
  EXPECT_EQ(model->count(), 2u);
  EXPECT_TRUE(model->objectForKey("a").isNil());
  EXPECT_TRUE(model->allKeys().isNil());
  model->setObject(1, "a");
  EXPECT_FALSE(model->needsSave());
  EXPECT_EQ(model->jsonDictionary(), NSDictionary::dictionary());
  EXPECT_EQ(textOf(model), "[\n  1,\n  {\n\n  }\n]");
}

// ---- JSON

TEST(OrvObjectTree, JSONIsPrettyAndSorted) {
  const Ref<OrvObject> model = make<OrvObject>();
  model->setObject(NSSet{2}, "b");
  model->setObject(true, "a");
  model->setObject(NSNull::null(), "z");
  EXPECT_EQ(textOf(model), "{\n  \"a\" : true,\n  \"b\" : [\n    2\n  ]\n}");
}

TEST(OrvObjectTree, WhatJSONCannotHoldGivesNoData) {
  const Value refused[] = {NSDate::date(),
                           NSData::data(),
                           NSURL::URLWithString("http://h"),
                           std::numeric_limits<double>::infinity(),
                           NSDictionary{{1, 2}},
                           std::u16string_view(u"\xD800")};
  for (const Value& each : refused) {
    const Ref<OrvObject> model = make<OrvObject>();
    model->setObject(NSArray{each}, "k");
    EXPECT_TRUE(model->toJSONData().isNil()) << each.className();
  }
}

TEST(OrvObjectTree, TheBridgeReachesModels) {
  const Ref<Note> note = make<Note>();
  note->setText("t");
  EXPECT_EQ(note->orv_jsonObject(), (NSDictionary{{"text", "t"}}));
  EXPECT_EQ(NSArray{note}.orv_jsonObject(), (NSArray{NSDictionary{{"text", "t"}}}));
  EXPECT_EQ((NSDictionary{{"n", note}}.toJSONString()), "{\"n\":{\"text\":\"t\"}}");
}

TEST(OrvObjectTree, FromJSONTakesTextAndData) {
  const Ref<OrvObject> model = make<OrvObject>();
  model->setObject(1, "old");
  EXPECT_TRUE(model->fromJSON("{\"a\": [1, null, 2.5], \"b\": null}"));
  EXPECT_EQ(model->jsonDictionary(), (NSDictionary{{"a", NSArray{1, 2.5}}}));
  EXPECT_FALSE(model->needsSave());
  EXPECT_TRUE(model->fromJSON(NSData::dataWithBytes("{\"é\": \"ü\"}")));
  EXPECT_EQ(model->objectForKey("é"), Value("ü"));
}

TEST(OrvObjectTree, WhatDoesNotParseLeavesTheModelWithOneWarning) {
  const Value inputs[] = {"",
                          "{",
                          "1",
                          "{\"a\": 1,}",
                          Value(),
                          5,
                          NSData::data(),
                          NSNull::null(),
                          std::u16string_view(u"{\"\xD800\": 1}"),
                          NSData::dataWithBytes("\xFF\xFE\xFD")};
  for (const Value& input : inputs) {
    LogLines lines;
    const Ref<OrvObject> model = make<OrvObject>();
    model->setObject(1, "a");
    EXPECT_FALSE(model->fromJSON(input)) << input;
    EXPECT_EQ(model->jsonDictionary(), (NSDictionary{{"a", 1}}));
    EXPECT_TRUE(model->needsSave());
    const auto warnings = lines.takeMessages(OrvLogLevelWarning);
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_EQ(warnings[0].rfind("From JSON failed for json=(null) error=Error Domain=NSCocoaErrorDomain", 0),
              0u)
        << warnings[0];
  }
}

TEST(OrvObjectTree, TextThatWasWrittenReadsBackTheSame) {
  EXPECT_TRUE(rc::check([](const std::map<std::string, std::vector<int64_t>>& lists,
                           const std::map<std::string, double>& numbers) {
    const NSMutableDictionary tree = NSMutableDictionary::dictionary();
    for (const auto& [key, list] : lists) {
      const NSMutableArray array = NSMutableArray::array();
      for (const int64_t n : list) array.addObject(n);
      if (const NSString text = key.c_str()) tree.setObjectForKey(array, text);
    }
    for (const auto& [key, n] : numbers)
      if (const NSString text = key.c_str()) tree.setObjectForKey(NSDictionary{{"n", n}}, text);
    const Ref<OrvObject> model = OrvObject::initWithDictionary(tree);
    RC_ASSERT(model->jsonDictionary() == tree);
    const Ref<OrvObject> read = OrvObject::initWithJSON(model->toJSONData());
    RC_ASSERT(read->jsonDictionary() == tree);
    RC_ASSERT(read->toJSONData() == model->toJSONData());
  }));
}

// ---- Depth and cycles

TEST(OrvObjectTree, AHundredThousandLevelsAreFine) {
  const Value tree = deepDictionary();
  const Ref<OrvObject> model = OrvObject::initWithDictionary(tree);
  EXPECT_EQ(levelsOf(model), kDeep);
  EXPECT_EQ(levelsOf(model->jsonDictionary()), kDeep);
  EXPECT_EQ(levelsOf(model->copy()), kDeep);
  EXPECT_TRUE(model->toJSONData().isNil()) << "deeper than JSON is written";
  EXPECT_TRUE(model->description().containsString("nested too deeply"));
  EXPECT_FALSE(exported(deepArray()).isNil());
  EXPECT_FALSE(cleaned(deepArray(), true).isNil());
}

TEST(OrvObjectTree, AHundredThousandModelsAroundEachOtherAreFine) {
  Ref<OrvObject> model = make<OrvObject>();
  model->setObject(1, "leaf");
  for (int i = 0; i < kDeep; ++i) model = OrvObject::initWithDictionary(model);
  EXPECT_EQ(model->objectForKey("leaf"), Value(1));
  EXPECT_EQ(model->jsonDictionary(), (NSDictionary{{"leaf", 1}}));
}

TEST(OrvObjectTree, CyclesAreRefused) {
  const NSMutableDictionary dictionary = NSMutableDictionary::dictionary();
  dictionary.setObjectForKey(NSArray{dictionary}, "self");
  const NSMutableArray array = NSMutableArray::array();
  array.addObject(array);
  const Ref<OrvObject> model = make<OrvObject>();
  model->setObject(2, "kept");
  EXPECT_TRUE(isRefused([&] { model->setJsonDictionary(dictionary); }));
  EXPECT_TRUE(isRefused([&] { exported(array); }));
  EXPECT_TRUE(isRefused([&] { cleaned(array, true); }));
  EXPECT_TRUE(isRefused([&] { OrvObject::initWithDictionary(dictionary); }));
  EXPECT_EQ(model->jsonDictionary(), (NSDictionary{{"kept", 2}}));
  model->setObject(dictionary, "cycle");
  EXPECT_TRUE(isRefused([&] { model->jsonDictionary(); }));
  EXPECT_TRUE(isRefused([&] { model->copy(); }));
  EXPECT_TRUE(model->toJSONData().isNil());
  dictionary.removeAllObjects();
  array.removeAllObjects();
}

TEST(OrvObjectTree, ModelsThatHoldEachOtherAreRefused) {
  const Ref<OrvObject> a = make<OrvObject>(), b = OrvObject::initWithDictionary(NSDictionary{{"n", 1}});
  a->setObject(b, "b");
  b->setObject(NSArray{a}, "a");
  EXPECT_TRUE(isRefused([&] { a->jsonDictionary(); }));
  EXPECT_TRUE(a->toJSONData().isNil());
  b->removeObjectForKey("a");
  EXPECT_EQ(a->jsonDictionary(), (NSDictionary{{"b", NSDictionary{{"n", 1}}}}));
}
