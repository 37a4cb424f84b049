#include "Orvane/macOS/OrvSettings.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <thread>
#include <vector>

#include "Platform/Foundation/Foundation.h"
#include "Tests/Support/LogLines.h"
#include "Tests/Support/World.h"

using namespace orv;
namespace fs = std::filesystem;

namespace {

class Preferences : public OrvSettings {
  ORV_MODEL(Preferences, OrvSettings)
  ORV_DYNAMIC(NSNumber, dpi, setDpi)

  void configure() override { countAtConfigure = static_cast<int>(count()); }
  int countAtConfigure = -1;
};

class OrvSettingsTest : public testing::Test {
 protected:
  Ref<OrvSettings> settings(const NSDictionary& defaults = {{"a", 1}, {"b", 2}}) const {
    return OrvSettings::initWithURL(path, defaults);
  }
  void store(const std::string& text) const { std::ofstream(path, std::ios::binary) << text; }
  static std::string contentsOf(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream all;
    all << in.rdbuf();
    return all.str();
  }
  std::string stored() const { return contentsOf(path); }
  // The files kept beside the settings.
  std::vector<fs::path> keptFiles() const {
    std::vector<fs::path> kept;
    for (const auto& entry : fs::directory_iterator(folder))
      if (entry.path() != path) kept.push_back(entry.path());
    return kept;
  }

  const fs::path folder = testFolder();
  const std::string path = (folder / "app.json").string();
};

}  // namespace

TEST_F(OrvSettingsTest, StoredValuesLieOverTheDefaults) {
  store("{\"b\": 3, \"none\": null, \"in\": {\"x\": 1}}");
  const auto all = settings();
  EXPECT_EQ(all->jsonDictionary(), (NSDictionary{{"a", 1}, {"b", 3}, {"in", NSDictionary{{"x", 1}}}}));
  EXPECT_TRUE(all->objectForKey("in").isKindOf<OrvObject>());
  EXPECT_FALSE(all->needsSave());
}

TEST_F(OrvSettingsTest, NothingIsWrittenWithoutAChange) {
  const auto all = settings();
  EXPECT_TRUE(all->synchronize());
  EXPECT_FALSE(fs::exists(path));
}

TEST_F(OrvSettingsTest, AChangeIsWrittenOnceWithAllDefaults) {
  store("{\"b\": 3}");
  const auto all = settings();
  all->setObject(4, "b");
  EXPECT_TRUE(all->needsSave());
  EXPECT_TRUE(all->synchronize());
  EXPECT_FALSE(all->needsSave());
  EXPECT_EQ(stored(), "{\n  \"a\" : 1,\n  \"b\" : 4\n}");
  store("changed by somebody else");
  EXPECT_TRUE(all->synchronize());
  EXPECT_EQ(stored(), "changed by somebody else");
}

TEST_F(OrvSettingsTest, TheEndOfLifeWrites) {
  settings()->setObject(5, "a");
  EXPECT_EQ(stored(), "{\n  \"a\" : 5,\n  \"b\" : 2\n}");
  fs::remove(path);
  static_cast<void>(settings());
  EXPECT_FALSE(fs::exists(path));
}

TEST_F(OrvSettingsTest, TheDefaultsStayTheCallers) {
  const NSMutableDictionary defaults = NSMutableDictionary{{"a", 1}};
  settings(defaults)->setObject(2, "a");
  EXPECT_EQ(defaults, (NSDictionary{{"a", 1}}));
}

TEST_F(OrvSettingsTest, AMissingOrEmptyFileGivesTheDefaults) {
  LogLines lines;
  EXPECT_EQ(settings()->jsonDictionary(), (NSDictionary{{"a", 1}, {"b", 2}}));
  store("");
  const auto all = settings();
  EXPECT_EQ(all->jsonDictionary(), (NSDictionary{{"a", 1}, {"b", 2}}));
  all->setObject(2, "a");
  all->synchronize();
  EXPECT_TRUE(keptFiles().empty());
  EXPECT_EQ(settings(nil)->jsonDictionary(), (NSDictionary{{"a", 2}, {"b", 2}}));
  EXPECT_TRUE(lines.take().empty());
}

TEST_F(OrvSettingsTest, WhatCannotBeReadIsKeptBesideBeforeItIsOverwritten) {
  for (const std::string text : {"{\"a\": ", "[1, 2]", "\xFF\xFE\xFD"}) {
    fs::remove_all(folder);
    fs::create_directories(folder);
    store(text);
    LogLines lines;
    const auto all = settings();
    EXPECT_EQ(all->jsonDictionary(), (NSDictionary{{"a", 1}, {"b", 2}}));
    all->synchronize();
    EXPECT_TRUE(keptFiles().empty()) << "not before something is written";
    EXPECT_TRUE(lines.take().empty());
    all->setObject(9, "a");
    all->synchronize();
    all->setObject(10, "a");
    all->synchronize();
    EXPECT_EQ(stored(), "{\n  \"a\" : 10,\n  \"b\" : 2\n}");
    ASSERT_EQ(keptFiles().size(), 1u);
    EXPECT_EQ(contentsOf(keptFiles()[0]), text);
    EXPECT_TRUE(std::regex_match(keptFiles()[0].filename().string(),
                                 std::regex("app\\.json\\.corrupt-[0-9]{8}T[0-9]{6}Z")));
    EXPECT_EQ(lines.takeMessages(OrvLogLevelWarning).size(), 1u);
  }
}

TEST_F(OrvSettingsTest, TwoDamagedFilesOfOneSecondAreBothKept) {
  for (const char* text : {"{1", "{2", "{3"}) {
    store(text);
    settings()->setObject(9, "a");
  }
  std::vector<std::string> kept;
  for (const fs::path& each : keptFiles()) kept.push_back(contentsOf(each));
  std::sort(kept.begin(), kept.end());
  EXPECT_EQ(kept, (std::vector<std::string>{"{1", "{2", "{3"}));
}

TEST_F(OrvSettingsTest, ADamagedFileBehindALinkIsKept) {
  fs::create_directories(folder / "real");
  std::ofstream(folder / "real/file") << "{broken";
  fs::create_symlink(folder / "real/file", path);
  settings()->setObject(9, "a");
  EXPECT_TRUE(fs::is_symlink(path));
  EXPECT_EQ(contentsOf(folder / "real/file"), "{\n  \"a\" : 9,\n  \"b\" : 2\n}");
  std::string kept;
  for (const fs::path& each : keptFiles())
    if (each.filename() != "real") kept = contentsOf(each);
  EXPECT_EQ(kept, "{broken");
}

TEST_F(OrvSettingsTest, AFailedWriteIsTriedAgain) {
  const auto all = OrvSettings::initWithURL((folder / "later/app.json").string(), {{"a", 1}});
  all->setObject(2, "a");
  EXPECT_TRUE(all->synchronize());
  EXPECT_TRUE(all->needsSave());
  fs::create_directories(folder / "later");
  EXPECT_TRUE(all->synchronize());
  EXPECT_FALSE(all->needsSave());
  EXPECT_EQ(contentsOf(folder / "later/app.json"), "{\n  \"a\" : 2\n}");
}

TEST_F(OrvSettingsTest, WithoutALocationSettingsLiveInMemory) {
  for (const Value& place : {Value(), Value(5), Value(NSURL::URLWithString("http://h"))}) {
    const auto all = OrvSettings::initWithURL(place, {{"a", 1}});
    all->setObject(2, "a");
    EXPECT_TRUE(all->synchronize());
    EXPECT_TRUE(all->needsSave());
    EXPECT_EQ(all->objectForKey("a"), Value(2));
  }
  LogLines lines;
  OrvSettings::initWithURL(NSData::dataWithBytes("bookmark"), nil);
  const auto warnings = lines.takeMessages(OrvLogLevelWarning);
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_EQ(warnings[0].rfind("zxFileURL bookmark extraction for ", 0), 0u);
}

TEST_F(OrvSettingsTest, ABookmarkIsALocation) {
  store("{\"a\": 1}");
  const NSData bookmark = NSURL::fileURLWithPath(path, false).bookmarkDataWithOptions(0);
  const std::string moved = path + ".moved";
  fs::rename(path, moved);
  {
    const auto all = OrvSettings::initWithURL(bookmark, nil);
    EXPECT_EQ(all->objectForKey("a"), Value(1));
    all->setObject(2, "a");
  }
  EXPECT_EQ(contentsOf(moved), "{\n  \"a\" : 2\n}");
}

TEST_F(OrvSettingsTest, ADerivedClassHasItsAccessors) {
  store("{\"dpi\": 72}");
  {
    const auto all = OrvSettings::initWithURL<Preferences>(NSURL::fileURLWithPath(path), {{"dpi", 300}});
    EXPECT_EQ(all->countAtConfigure, 0) << "configured before the file is read";
    EXPECT_EQ(all->dpi(), Value(72));
    all->setDpi(600);
  }
  EXPECT_EQ(stored(), "{\n  \"dpi\" : 600\n}");
}

TEST_F(OrvSettingsTest, RemovingAloneIsNoChangeToSave) {
  const auto all = settings();
  all->setObject(nil, "a");
  EXPECT_FALSE(all->needsSave());
  EXPECT_TRUE(all->objectForKey("a").isNil());
}

TEST_F(OrvSettingsTest, AnObserverMayStoreSaveAndLetGo) {
  Ref<OrvSettings> all = settings();
  const auto token = all->addObserver("a", [&](const NSString&, const NSDictionary&) {
    all->setObject("again", "b");
    all->synchronize();
    all = nil;
  });
  all.get()->setObject(7, "a");
  EXPECT_FALSE(all);
  EXPECT_EQ(stored(), "{\n  \"a\" : 7,\n  \"b\" : \"again\"\n}");
}

TEST_F(OrvSettingsTest, ASaveNeverSeesHalfOfAChange) {
  const int rounds = kSanitized ? 100 : 400;
  const auto all = settings({});
  std::atomic<int> working = 3;
  std::vector<std::thread> writers;
  for (int t = 0; t < 3; ++t)
    writers.emplace_back([&, t] {
      for (int i = 0; i < rounds; ++i)
        all->setObject(i + 1, NSString::stringWithFormat("key %ld of %ld", static_cast<long>(i % 20),
                                                         static_cast<long>(t)));
      --working;
    });
  int saves = 0;
  while (working > 0 || saves == 0) {
    EXPECT_TRUE(all->synchronize());
    if (fs::exists(path)) {
      EXPECT_FALSE(NSString(stored()).fromJSON().isNil());
    }
    ++saves;
  }
  for (std::thread& writer : writers) writer.join();
  all->synchronize();
  EXPECT_EQ(settings(nil)->jsonDictionary(), all->jsonDictionary());
  EXPECT_EQ(all->count(), 60u);
}
