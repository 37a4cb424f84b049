#include "Platform/Foundation/System/NSBundle.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "Platform/Foundation/Serialization/NSPropertyListSerialization.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSNumber.h"
#include "Tests/Support/Capture.h"
#include "Tests/Support/World.h"

using namespace orv;

TEST(NSBundle, ABareToolHasAnEmptyDictionary) {
  const Ref<NSBundle> bundle = NSBundle::mainBundle();
  ASSERT_TRUE(bundle->infoDictionary());
  EXPECT_EQ(bundle->infoDictionary().count(), 0u);
  EXPECT_TRUE(bundle->bundleIdentifier().isNil());
  EXPECT_TRUE(bundle->objectForInfoDictionaryKey("CFBundleName").isNil());
  EXPECT_TRUE(bundle->objectForInfoDictionaryKey(nil).isNil());
}

TEST(NSBundle, AnApplicationSetsItsDictionary) {
  const Ref<NSBundle> bundle = NSBundle::mainBundle();
  const NSMutableDictionary info{{"CFBundleIdentifier", "org.example.notes"}, {"Count", 3}};
  bundle->setInfoDictionary(info);
  info.removeAllObjects();  // a copy was taken
  EXPECT_EQ(NSBundle::mainBundle()->bundleIdentifier(), "org.example.notes");
  EXPECT_EQ(bundle->objectForInfoDictionaryKey("Count"), Value(3));
  bundle->setInfoDictionary(NSDictionary{{"CFBundleIdentifier", 7}});
  EXPECT_TRUE(bundle->bundleIdentifier().isNil());
  bundle->setInfoDictionary(nil);
  EXPECT_EQ(bundle->infoDictionary().count(), 0u);
}

TEST(NSBundle, KnowsItsPlace) {
  EXPECT_EQ(NSBundle::mainBundle()->executablePath().lastPathComponent(), "NSBundleTest");
  EXPECT_EQ(NSBundle::mainBundle()->bundlePath(),
            NSBundle::mainBundle()->executablePath().stringByDeletingLastPathComponent());
}

TEST(NSBundle, UntranslatedTextsStandForThemselves) {
  const Ref<NSBundle> bundle = NSBundle::mainBundle();
  EXPECT_EQ(bundle->localizedStringForKey(nil, nil, nil), "");
  EXPECT_EQ(bundle->localizedStringForKey(nil, "v", nil), "v");
  EXPECT_EQ(bundle->localizedStringForKey("k", nil, nil), "k");
  EXPECT_EQ(bundle->localizedStringForKey("k", "", "T"), "k");
  EXPECT_EQ(bundle->localizedStringForKey("k", "v", nil), "v");
}

namespace {

// A folder of translations, and a bundle that has it.
class Translations : public testing::Test {
 protected:
  void SetUp() override {
    folder_ =
        std::filesystem::path(testFolder()) / testing::UnitTest::GetInstance()->current_test_info()->name();
    std::filesystem::create_directories(folder_);
    for (const char* name : {"LANGUAGE", "LC_MESSAGES", "LANG"}) ::unsetenv(name);
  }
  void TearDown() override { ::setenv("LC_ALL", "C", 1); }

  void write(const std::string& name, const std::string& contents) const {
    std::filesystem::create_directories((folder_ / name).parent_path());
    std::ofstream(folder_ / name, std::ios::binary) << contents;
  }
  NSString text(const char* key, const char* table = "") const {
    if (!bundle_) bundle_ = NSBundle::bundleWithPath(folder_.string());
    return bundle_->localizedStringForKey(key, "", table);
  }

  std::filesystem::path folder_;
  mutable Ref<NSBundle> bundle_;
};

}  // namespace

TEST_F(Translations, AreThoseOfTheUsersLanguage) {
  write("de.lproj/Localizable.strings", "hello = Hallo;");
  write("fr.lproj/Localizable.strings", "hello = Bonjour;");
  ::setenv("LC_ALL", "de_AT.UTF-8@euro", 1);
  EXPECT_EQ(text("hello"), "Hallo");
  EXPECT_EQ(text("missing"), "missing");
  EXPECT_EQ(bundle_->localizedStringForKey("missing", "none", nil), "none");
  EXPECT_EQ(bundle_->localizedStringForKey("hello", "none", nil), "Hallo");
  ::setenv("LANGUAGE", "es:fr:de", 1);
  EXPECT_EQ(text("hello"), "Bonjour");
  ::unsetenv("LANGUAGE");
  ::setenv("LC_ALL", "../fr", 1);
  EXPECT_EQ(text("hello"), "hello");
}

TEST_F(Translations, TheMoreExactLanguageCountsFirst) {
  write("de.lproj/Localizable.strings", "a = general; b = general;");
  write("de-AT.lproj/Localizable.strings", "a = exact;");
  write("zh-Hant.lproj/Localizable.strings", "a = traditional;");
  ::setenv("LC_ALL", "de_AT", 1);
  EXPECT_EQ(text("a"), "exact");
  EXPECT_EQ(text("b"), "general");
  ::setenv("LC_ALL", "zh_TW", 1);
  EXPECT_EQ(text("a"), "traditional");
}

TEST_F(Translations, FallBackToTheApplicationsOwnLanguage) {
  write("Info.json", "{\"CFBundleDevelopmentRegion\": \"it\"}");
  write("it.lproj/Localizable.strings", "a = Italian;");
  write("Base.lproj/Localizable.strings", "a = base; b = base;");
  write("Localizable.strings", "c = \"of no language\";");
  ::setenv("LC_ALL", "C", 1);
  EXPECT_EQ(text("a"), "Italian");
  EXPECT_EQ(text("b"), "base");
  EXPECT_EQ(text("c"), "of no language");
}

TEST_F(Translations, LieInTables) {
  write("en.lproj/Localizable.strings", "a = default;");
  write("en.lproj/Other.strings", "a = other;");
  ::setenv("LC_ALL", "en_GB", 1);
  EXPECT_EQ(text("a"), "default");
  EXPECT_EQ(text("a", "Other"), "other");
  EXPECT_EQ(text("a", "Missing"), "a");
}

TEST_F(Translations, AreReadOnceAndBrokenTablesCountAsMissing) {
  write("en.lproj/Localizable.strings", "a = ");
  write("Base.lproj/Localizable.strings", "a = base;");
  ::setenv("LC_ALL", "en", 1);
  const std::string shown = captureStandardError([&] {
    EXPECT_EQ(text("a"), "base");
    EXPECT_EQ(text("a"), "base");
  });
  EXPECT_NE(shown.find("Not a table of strings: " + folder_.string() + "/en.lproj/Localizable.strings"),
            std::string::npos);
  EXPECT_EQ(shown.find("Not a table"), shown.rfind("Not a table"));
  write("Base.lproj/Localizable.strings", "a = changed;");
  EXPECT_EQ(text("a"), "base");
}

TEST(NSBundle, AnotherFolderIsABundleOfItsOwn) {
  const std::string folder = testFolder() + "/own";
  std::filesystem::create_directories(folder);
  std::ofstream(folder + "/Info.json") << "{\"CFBundleIdentifier\": \"org.example.part\"}";
  const auto bundle = NSBundle::bundleWithPath(folder);
  EXPECT_EQ(bundle->bundlePath(), folder.c_str());
  EXPECT_TRUE(bundle->executablePath().isNil());
  EXPECT_EQ(bundle->bundleIdentifier(), "org.example.part");
  EXPECT_TRUE(NSBundle::mainBundle()->bundleIdentifier().isNil());
  bundle->setInfoDictionary(NSDictionary{{"CFBundleIdentifier", "org.example.other"}});
  EXPECT_TRUE(NSBundle::mainBundle()->bundleIdentifier().isNil());
  EXPECT_FALSE(NSBundle::bundleWithPath(folder + "/Info.json"));
  EXPECT_FALSE(NSBundle::bundleWithPath(testFolder() + "/missing"));
  EXPECT_FALSE(NSBundle::bundleWithPath(nil));
}

TEST(NSBundle, ReadsItsInformationFromAPropertyListOrJSON) {
  const std::string folder = testFolder() + "/information";
  std::filesystem::create_directories(folder);
  const auto write = [&](const char* name, std::string_view contents) {
    std::ofstream(folder + "/" + name, std::ios::binary) << contents;
  };
  const auto info = [&] { return NSBundle::bundleWithPath(folder)->infoDictionary(); };
  const NSDictionary list{{"CFBundleIdentifier", "org.example.list"}, {"Types", NSArray{"a", "b"}}};
  write("Info.json", "{\"CFBundleIdentifier\": \"org.example.json\", \"n\": null}");
  EXPECT_EQ(info(), (NSDictionary{{"CFBundleIdentifier", "org.example.json"}}));
  for (const auto format : {NSPropertyListXMLFormat_v1_0, NSPropertyListBinaryFormat_v1_0}) {
    write("Info.plist", NSPropertyListSerialization::dataWithPropertyList(list, format, 0).view());
    EXPECT_EQ(info(), list);  // which comes before the JSON
  }
  write("Info.plist", "{ CFBundleName = Notes; }");
  EXPECT_EQ(info(), (NSDictionary{{"CFBundleName", "Notes"}}));
  for (const char* bad : {"<plist><array/></plist>", "{ a", ""}) {
    write("Info.plist", bad);
    const std::string said = captureStandardError([&] { EXPECT_EQ(info().count(), 1u); });
    EXPECT_NE(said.find("Not a property list: "), std::string::npos);
  }
  write("Info.json", "{\"a\": [1]}");
  const std::string said = captureStandardError([&] { EXPECT_EQ(info().count(), 0u); });
  EXPECT_NE(said.find("Not a flat JSON object: "), std::string::npos);
}
