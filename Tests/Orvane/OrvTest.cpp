#include "Orvane/Orv.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "Orvane/OrvObject.h"
#include "Platform/Foundation/System/NSBundle.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSSet.h"
#include "Platform/Foundation/Values/NSURL.h"
#include "Tests/Support/LogLines.h"

using namespace orv;

namespace {

std::string base32(std::string_view bytes) {
  return Orv::base32EncodingWithData(NSData::dataWithBytes(bytes)).utf8();
}

// The definition: five bits after five bits.
std::string base32ByDefinition(std::string_view bytes) {
  const std::string alphabet = "0123456789ABCDEFGHJKMNPQRSTVWXYZ";
  std::string text;
  for (size_t bit = 0; bit < bytes.size() * 8; bit += 5) {
    size_t value = 0;
    for (size_t i = bit; i < bit + 5; ++i) {
      const bool set = i / 8 < bytes.size() && (static_cast<uint8_t>(bytes[i / 8]) >> (7 - i % 8) & 1) != 0;
      value = value * 2 + set;
    }
    text += alphabet[value];
  }
  return text.substr(0, 256);
}

NSURL url(const char* path) { return NSURL::fileURLWithPath(path, false); }

// Equal to every box, whatever is inside: where plain equality and the deep one part ways.
class Box : public NSObject {
 public:
  explicit Box(Value v) : content(std::move(v)) {}
  NSString className() const override { return "Box"; }
  NSString description() const override { return NSString("box of ") + content.description(); }
  bool isEqual(const Value& other) const override { return other.isKindOf<Box>(); }
  size_t hash() const override { return 1; }
  bool answers(Answer question) const override { return question == Answer::AllKeys; }
  NSArray allKeys() const override { return {"content"}; }
  Value valueForKey(const NSString&) const override { return content; }

  Value content;
};

// The same with its elements by index.
class Row : public Box {
 public:
  using Box::Box;
  NSString className() const override { return "Row"; }
  bool answers(Answer question) const override {
    return question == Answer::Count || question == Answer::ObjectAtIndex;
  }
  NSUInteger count() const override { return content.count(); }
  Value objectAtIndex(NSUInteger index) const override { return content.as<NSArray>()[index]; }
};

std::vector<std::string> differences(const Value& a, const Value& b) {
  LogLines log;
  EXPECT_FALSE(Orv::isDeepEqual(a, b));
  return log.takeMessages(OrvLogLevelWarning);
}

bool silentlyEqual(const Value& a, const Value& b) {
  LogLines log;
  return Orv::isDeepEqual(a, b) && log.take().empty();
}

using Lines = std::vector<std::string>;

}  // namespace

TEST(Orv, Base32AgreesWithTheDefinition) {
  EXPECT_EQ(base32("\xFF"), "ZW");
  EXPECT_EQ(base32(std::string(16, '\0')), std::string(26, '0'));
  EXPECT_TRUE(Orv::base32EncodingWithData(NSData::data()).isNil());
  EXPECT_TRUE(Orv::base32EncodingWithData(nil).isNil());
  std::string bytes;
  for (int i = 0; i < 300; ++i) {
    bytes += static_cast<char>(i * 37 + 11);
    EXPECT_EQ(base32(bytes), base32ByDefinition(bytes)) << bytes.size();
  }
  EXPECT_EQ(base32(std::string(200, 'x')).size(), 256u);
}

TEST(Orv, IdentifiersAreUniqueAndOfTheirAlphabet) {
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) {
    const std::string uid = Orv::uid().utf8(), shortUid = Orv::uidShort().utf8();
    ASSERT_EQ(uid.size(), 22u);
    ASSERT_EQ(shortUid.size(), 26u);
    EXPECT_EQ(uid.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"),
              std::string::npos);
    EXPECT_EQ(shortUid.find_first_not_of("0123456789ABCDEFGHJKMNPQRSTVWXYZ"), std::string::npos);
    EXPECT_TRUE(seen.insert(uid).second);
    EXPECT_TRUE(seen.insert(shortUid).second);
  }
}

TEST(Orv, TheReleaseComesFromTheMainBundle) {
  const NSDictionary before = NSBundle::mainBundle()->infoDictionary();
  NSBundle::mainBundle()->setInfoDictionary({});
  EXPECT_EQ(Orv::appReleaseID(), NSString("(null)@(null)+(null)"));
  NSBundle::mainBundle()->setInfoDictionary({{"CFBundleIdentifier", "org.example.notes"},
                                             {"CFBundleShortVersionString", "1.2"},
                                             {"CFBundleVersion", "345"}});
  EXPECT_EQ(Orv::appReleaseID(), NSString("org.example.notes@1.2+345"));
  NSBundle::mainBundle()->setInfoDictionary(before);
}

TEST(Orv, TranslatesTypes) {
  EXPECT_EQ(Orv::utiForMIME("image/jpeg"), NSString("public.jpeg"));
  EXPECT_TRUE(Orv::utiForMIME("application/x-orvane-unknown").hasPrefix("dyn.a"));
  EXPECT_EQ(Orv::mimeForUTI("public.png"), NSString("image/png"));
  EXPECT_TRUE(Orv::mimeForUTI("public.image").isNil());
  EXPECT_EQ(Orv::filenameExtensionForUTI("com.adobe.pdf"), NSString("pdf"));
  EXPECT_EQ(Orv::filenameExtensionForUTI("no.such.type"), NSString("bin"));
  EXPECT_EQ(Orv::filenameExtensionForUTI(nil), NSString("bin"));
  EXPECT_TRUE(Orv::utiForMIME(nil).isNil());
  EXPECT_TRUE(Orv::mimeForUTI(nil).isNil());
}

TEST(Orv, TypesOfURLsComeFromTheExtension) {
  EXPECT_EQ(Orv::utiForURL(url("/tmp/Photo.JPG")), NSString("public.jpeg"));
  EXPECT_EQ(Orv::mimeForURL(url("/tmp/a.pdf")), NSString("application/pdf"));
  EXPECT_TRUE(Orv::mimeForURL(url("/tmp/a.orvaneunknown")).isNil());
  EXPECT_TRUE(Orv::mimeForURL(nil).isNil());
  EXPECT_TRUE(Orv::utiForURL(nil).isNil());
}

TEST(Orv, ConformsToAnyOfTheTypes) {
  EXPECT_TRUE(Orv::utiConformsTo("public.jpeg", {"public.audio", "public.image"}));
  EXPECT_FALSE(Orv::utiConformsTo("public.jpeg", {"public.audio"}));
  EXPECT_FALSE(Orv::utiConformsTo("public.jpeg", NSArray::array()));
  EXPECT_FALSE(Orv::utiConformsTo("public.jpeg", nil));
  EXPECT_FALSE(Orv::utiConformsTo("public.jpeg", {1, NSArray::array()}));
  EXPECT_FALSE(Orv::utiConformsTo(nil, {"public.image"}));
  EXPECT_TRUE(Orv::urlConformsTo(url("/tmp/a.png"), {"public.image"}));
  EXPECT_FALSE(Orv::urlConformsTo(url("/tmp/a.txt"), {"public.image"}));
  EXPECT_FALSE(Orv::urlConformsTo(nil, {"public.image"}));
}

TEST(OrvDeepEqual, EqualValuesAreSilent) {
  EXPECT_TRUE(silentlyEqual(nil, nil));
  EXPECT_TRUE(silentlyEqual(1, 1.0));
  EXPECT_TRUE(silentlyEqual("a", "a"));
  const NSArray list{1, "two", NSDictionary{{"k", NSArray{3.5}}}, NSSet{1, 2}};
  EXPECT_TRUE(silentlyEqual(list, list));
  EXPECT_TRUE(silentlyEqual(list, NSArray{1, "two", NSDictionary{{"k", NSArray{3.5}}}, NSSet{1, 2}}));
  EXPECT_TRUE(silentlyEqual(NSDictionary::dictionary(), NSDictionary::dictionary()));
  EXPECT_TRUE(silentlyEqual(make<Box>(NSArray{1}), make<Box>(NSArray{1})));
  EXPECT_TRUE(silentlyEqual(make<Row>(NSArray{1, 2}), make<Row>(NSArray{1, 2})));
}

TEST(OrvDeepEqual, UnequalValuesAreReportedOnce) {
  EXPECT_EQ(differences(1, "1"), Lines{"Not deep equal at 1 != 1 [NSNumber =! NSString]"});
  EXPECT_EQ(differences(nil, 5), Lines{"Not deep equal at (null) != 5 [(null) =! NSNumber]"});
  EXPECT_EQ(differences(5, nil), Lines{"Not deep equal at 5 != (null) [NSNumber =! (null)]"});
  EXPECT_EQ(differences(NSArray{1}, NSArray{2}).size(), 1u);
  EXPECT_EQ(differences(NSArray{NSArray{1}}, NSArray{NSArray{2}}).size(), 1u);
}

TEST(OrvDeepEqual, TheWalkReportsFromTheInsideOut) {
  const Value a = make<Box>(1), b = make<Box>(2);
  EXPECT_EQ(differences(a, b), (Lines{"Not deep equal at 1 != 2 [NSNumber =! NSNumber]",
                                      "Not deep equal at 1 != 2 [NSNumber =! NSNumber]"}));
  EXPECT_EQ(differences(NSArray{a}, NSArray{b}),
            (Lines{"Not deep equal at 1 != 2 [NSNumber =! NSNumber]",
                   "Not deep equal at 1 != 2 [NSNumber =! NSNumber]",
                   "Not deep equal at box of 1 != box of 2 [Box =! Box]"}));
  EXPECT_EQ(differences(make<Row>(NSArray{1, 7}), make<Row>(NSArray{1, 8})),
            (Lines{"Not deep equal at 7 != 8 [NSNumber =! NSNumber]",
                   "Not deep equal at 7 != 8 [NSNumber =! NSNumber]"}));
}

TEST(OrvDeepEqual, DifferingShapesAreNotReportedThemselves) {
  EXPECT_EQ(differences(make<Row>(NSArray{1}), make<Row>(NSArray{1, 2})), Lines{});
  EXPECT_EQ(differences(make<Box>(1), make<Row>(NSArray{1})), Lines{});
  EXPECT_EQ(differences(NSArray{make<Row>(NSArray{1})}, NSArray{make<Row>(NSArray{1, 2})}).size(), 1u);
}

TEST(OrvDeepEqual, SetsCompareInTheOrderOfEnumeration) {
  EXPECT_TRUE(silentlyEqual(NSSet{1, 2}, NSSet{1, 2}));
  EXPECT_EQ(differences(NSSet{1, 2}, NSSet{2, 1}).size(), 2u);
}

TEST(OrvDeepEqual, DeepNestingDoesNotOverflow) {
  NSArray a{1}, b{1};
  for (int i = 0; i < 100000; ++i) {
    a = NSArray{a};
    b = NSArray{b};
  }
  EXPECT_TRUE(silentlyEqual(a, b));
}

TEST(OrvDeepEqual, SharedPartsAreComparedOnceAndCirclesEnd) {
  Value a = make<Box>(1), b = make<Box>(1);
  for (int i = 0; i < 200; ++i) {
    a = make<Row>(NSArray{a, a});
    b = make<Row>(NSArray{b, b});
  }
  EXPECT_TRUE(silentlyEqual(a, b));
  const Ref<Box> x = make<Box>(nil), y = make<Box>(nil);
  x->content = x;
  y->content = y;
  EXPECT_TRUE(silentlyEqual(x, y));
  x->content = nil;
  y->content = nil;
}

TEST(Orv, ModelsAreComparedByTheirEntriesNotByTheirProperties) {
  class Shelf : public OrvObject {
   public:
    bool isEqual(const Value& other) const override { return !!other.as<Shelf>(); }
  };
  const auto shelf = [](const Value& books) {
    const auto model = make<Shelf>();
    model->setObject(books, "count");
    return model;
  };
  EXPECT_TRUE(silentlyEqual(shelf(NSArray{1, 2}), shelf(NSArray{1, 2})));
  EXPECT_FALSE(Orv::isDeepEqual(shelf(NSArray{1, 2}), shelf(NSArray{1, 3})));
}
