// Models in files: every write is the old or the new file, never anything else.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>

#include "Orvane/OrvObject.h"
#include "Platform/Foundation/Foundation.h"
#include "Tests/Support/LogLines.h"
#include "Tests/Support/World.h"

using namespace orv;
namespace fs = std::filesystem;

namespace {

std::string contentsOf(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream all;
  all << in.rdbuf();
  return all.str();
}

void write(const fs::path& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

Ref<OrvObject> modelOf(const Value& value) {
  const Ref<OrvObject> model = make<OrvObject>();
  model->setObject(value, "v");
  return model;
}

std::string textOf(const Ref<OrvObject>& model) { return std::string(model->toJSONData().view()); }

size_t filesIn(const fs::path& folder) {
  return static_cast<size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

// Runs a block in a process of its own; true when it answers true there.
bool inChild(const std::function<bool()>& block) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(block() ? 0 : 1);
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Without root's privilege to write everywhere.
void obeyPermissions() {
  if (::geteuid() != 0) return;
  if (::setresgid(65534, 65534, 65534) != 0 || ::setresuid(65534, 65534, 65534) != 0) ::_exit(2);
}

// A folder that everybody may enter.
fs::path openFolder() {
  const fs::path folder = testFolder();
  for (fs::path each = folder;
       each != each.parent_path() && each.string().find("orvane-test-") != std::string::npos;
       each = each.parent_path())
    fs::permissions(each, fs::perms::others_exec | fs::perms::others_read, fs::perm_options::add);
  return folder;
}

}  // namespace

TEST(OrvObjectFiles, WritesAndReadsJSON) {
  const std::string path = testFolder() + "/a.json";
  const Ref<OrvObject> model = modelOf(NSArray{1, "é"});
  EXPECT_TRUE(model->writeAsJSON(path));
  EXPECT_FALSE(model->needsSave());
  EXPECT_EQ(contentsOf(path), "{\n  \"v\" : [\n    1,\n    \"é\"\n  ]\n}");
  const Ref<OrvObject> read = make<OrvObject>();
  read->setObject(1, "old");
  EXPECT_TRUE(read->readAsJSON(path));
  EXPECT_FALSE(read->needsSave());
  EXPECT_EQ(read->jsonDictionary(), model->jsonDictionary());
  EXPECT_EQ(OrvObject::initWithJSONFromURL(path)->jsonDictionary(), model->jsonDictionary());
}

TEST(OrvObjectFiles, ALocationIsAPathOrAFileURL) {
  const std::string path = testFolder() + "/a b.json";
  EXPECT_TRUE(modelOf(1)->writeAsJSON(NSURL::fileURLWithPath(path)));
  EXPECT_TRUE(make<OrvObject>()->readAsJSON(NSURL::fileURLWithPath(path)));
  EXPECT_TRUE(make<OrvObject>()->readAsJSON(path));
}

TEST(OrvObjectFiles, WhatIsNoLocationCannotBeWrittenOrRead) {
  const Value places[] = {Value(),
                          5,
                          NSURL::URLWithString("http://h/x"),
                          "",
                          NSData::dataWithBytes("bookmark"),
                          testFolder() + "/no/such/folder/x.json",
                          testFolder()};
  for (const Value& place : places) {
    const Ref<OrvObject> model = modelOf(1);
    LogLines lines;
    EXPECT_FALSE(model->writeAsJSON(place)) << place;
    EXPECT_FALSE(model->writeAsPList(place)) << place;
    for (const std::string& each : lines.takeMessages(OrvLogLevelWarning))
      EXPECT_EQ(each.rfind("zxFileURL bookmark", 0), 0u) << each;
    EXPECT_TRUE(model->needsSave());
    EXPECT_FALSE(model->readAsJSON(place)) << place;
    EXPECT_TRUE(model->needsSave());
    EXPECT_EQ(model->jsonDictionary(), (NSDictionary{{"v", 1}}));
    const auto warnings = lines.takeMessages(OrvLogLevelWarning);
    ASSERT_FALSE(warnings.empty());
    EXPECT_EQ(
        warnings.back().rfind("From JSON failed for json=(null) error=Error Domain=NSCocoaErrorDomain", 0), 0u);
  }
}

TEST(OrvObjectFiles, AMissingFileGivesAnEmptyModelADamagedOneNone) {
  const fs::path folder = testFolder();
  LogLines lines;
  const Ref<OrvObject> missing = OrvObject::initWithJSONFromURL((folder / "none").string());
  const Ref<OrvObject> aFolder = OrvObject::initWithJSONFromURL(folder.string());
  EXPECT_TRUE(lines.take().empty());
  EXPECT_EQ(missing->allKeys(), NSArray::array());
  EXPECT_EQ(aFolder->allKeys(), NSArray::array());
  write(folder / "bad", "{");
  const Ref<OrvObject> damaged = OrvObject::initWithJSONFromURL((folder / "bad").string());
  EXPECT_EQ(lines.takeMessages(OrvLogLevelWarning).size(), 1u);
  EXPECT_TRUE(damaged->allKeys().isNil());
}

TEST(OrvObjectFiles, AValueThatJSONCannotHoldWritesNothing) {
  const std::string path = testFolder() + "/a.json";
  ASSERT_TRUE(modelOf("old")->writeAsJSON(path));
  const std::string old = contentsOf(path);
  const Ref<OrvObject> model = modelOf(NSDate::date());
  LogLines lines;
  EXPECT_FALSE(model->writeAsJSON(path));
  EXPECT_TRUE(lines.take().empty());
  EXPECT_TRUE(model->needsSave());
  EXPECT_EQ(contentsOf(path), old);
}

TEST(OrvObjectFiles, PermissionsAndOwnerStay) {
  const std::string path = testFolder() + "/a.json";
  const bool isRoot = ::geteuid() == 0;  // others cannot give files away
  for (const mode_t mode : {0600u, 0640u, 0444u, 0666u}) {
    write(path, "{}");
    ASSERT_EQ(::chmod(path.c_str(), mode), 0);
    if (isRoot) {
      ASSERT_EQ(::chown(path.c_str(), 12345, 54321), 0);
    }
    EXPECT_TRUE(modelOf("new")->writeAsJSON(path));
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, mode);
    if (isRoot) {
      EXPECT_EQ(status.st_uid, 12345u);
      EXPECT_EQ(status.st_gid, 54321u);
    }
    fs::remove(path);
  }
}

TEST(OrvObjectFiles, ASymbolicLinkStaysAndItsTargetIsReplaced) {
  const fs::path folder = testFolder();
  fs::create_directories(folder / "real");
  write(folder / "real/file", "{}");
  fs::create_symlink("real/file", folder / "near");
  fs::create_symlink(folder / "near", folder / "far");
  fs::create_symlink("real/new", folder / "dangling");
  fs::create_symlink("loop", folder / "loop");
  EXPECT_TRUE(modelOf(1)->writeAsJSON((folder / "far").string()));
  EXPECT_TRUE(fs::is_symlink(folder / "far"));
  EXPECT_TRUE(fs::is_symlink(folder / "near"));
  EXPECT_EQ(contentsOf(folder / "real/file"), textOf(modelOf(1)));
  EXPECT_TRUE(modelOf(2)->writeAsJSON((folder / "dangling").string()));
  EXPECT_EQ(contentsOf(folder / "real/new"), textOf(modelOf(2)));
  EXPECT_FALSE(modelOf(3)->writeAsJSON((folder / "loop").string()));
}

TEST(OrvObjectFiles, NothingIsLeftBesideTheFile) {
  const fs::path folder = testFolder();
  EXPECT_TRUE(modelOf(1)->writeAsJSON((folder / "a").string()));
  EXPECT_TRUE(modelOf(2)->writeAsJSON((folder / "a").string()));
  EXPECT_EQ(filesIn(folder), 1u);
}

// ---- Property lists

TEST(OrvObjectFiles, WritesAndReadsBinaryPropertyLists) {
  const std::string path = testFolder() + "/a.plist";
  const Ref<OrvObject> model = make<OrvObject>();
  model->setObject(NSDate::dateWithTimeIntervalSince1970(1.5), "date");
  model->setObject(NSData::dataWithBytes("bytes"), "data");
  model->setObject(NSDictionary{{"list", NSArray{1, 2.5, true, "é"}}}, "in");
  model->setObject(NSNull::null(), "none");
  EXPECT_TRUE(model->writeAsPList(path));
  EXPECT_FALSE(model->needsSave());
  EXPECT_EQ(contentsOf(path).rfind("bplist00", 0), 0u);
  const Ref<OrvObject> read = modelOf("old");
  EXPECT_TRUE(read->readAsPList(path));
  EXPECT_FALSE(read->needsSave());
  EXPECT_EQ(read->jsonDictionary(), model->jsonDictionary());
  EXPECT_TRUE(read->objectForKey("in").isKindOf<OrvObject>());
}

TEST(OrvObjectFiles, APropertyListThatCannotBeReadClearsTheFlagAllTheSame) {
  const std::string path = testFolder() + "/a.plist";
  write(path, "bplist00 and nothing more");
  for (const Value& place : {Value(path), Value(testFolder() + "/none"), Value()}) {
    LogLines lines;
    const Ref<OrvObject> model = modelOf(1);
    EXPECT_FALSE(model->readAsPList(place));
    EXPECT_FALSE(model->needsSave());
    EXPECT_EQ(model->jsonDictionary(), (NSDictionary{{"v", 1}}));
    const auto warnings = lines.takeMessages(OrvLogLevelWarning);
    ASSERT_EQ(warnings.size(), 1u);
    const std::string start =
        NSString::stringWithFormat("Not able to read JSON path=%@ error=Error Domain=", place).utf8();
    EXPECT_EQ(warnings[0].rfind(start, 0), 0u) << warnings[0];
  }
  LogLines lines;
  const Ref<OrvObject> absent = OrvObject::initWithJSON("broken");
  EXPECT_FALSE(absent->readAsPList(path));
  EXPECT_EQ(absent->allKeys(), NSArray::array()) << "a store is made where there was none";
}

TEST(OrvObjectFiles, AValueThatPropertyListsCannotHoldWritesNothing) {
  const std::string path = testFolder() + "/a.plist";
  ASSERT_TRUE(modelOf("old")->writeAsPList(path));
  const std::string old = contentsOf(path);
  const NSMutableArray cycle = NSMutableArray::array();
  cycle.addObject(cycle);
  for (const Value& value :
       {Value(NSURL::URLWithString("http://h")), Value(NSDictionary{{1, 2}}), Value(cycle)}) {
    const Ref<OrvObject> model = modelOf(value);
    EXPECT_FALSE(model->writeAsPList(path));
    EXPECT_FALSE(value.isSame(cycle) && model->writeAsJSON(path));
    EXPECT_TRUE(model->needsSave());
    EXPECT_EQ(contentsOf(path), old);
  }
  cycle.removeAllObjects();
}

// ---- Trouble

TEST(OrvObjectFiles, AFolderThatVanishedOrMayNotBeWrittenFailsTheWrite) {
  const fs::path folder = openFolder();
  fs::create_directories(folder / "locked");
  write(folder / "locked/a", "old");
  fs::permissions(folder / "locked", fs::perms(0555));
  EXPECT_TRUE(inChild([&] {
    obeyPermissions();
    const Ref<OrvObject> model = modelOf("new");
    return !model->writeAsJSON((folder / "locked/a").string()) && model->needsSave();
  }));
  EXPECT_EQ(contentsOf(folder / "locked/a"), "old");
  EXPECT_EQ(filesIn(folder / "locked"), 1u);
  const Ref<OrvObject> model = OrvObject::initWithJSONFromURL((folder / "gone/a").string());
  model->setObject(1, "v");
  EXPECT_FALSE(model->writeAsJSON((folder / "gone/a").string()));
  EXPECT_TRUE(model->needsSave());
  EXPECT_FALSE(fs::exists(folder / "gone"));
}

TEST(OrvObjectFiles, AFileThatMayNotGrowStaysAsItWas) {
  const fs::path folder = testFolder();
  const std::string path = (folder / "a").string();
  ASSERT_TRUE(modelOf("old")->writeAsJSON(path));
  EXPECT_TRUE(inChild([&] {
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{4096, 4096};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    const Ref<OrvObject> model = modelOf(std::string(100000, 'x'));
    return !model->writeAsJSON(path) && model->needsSave();
  }));
  EXPECT_EQ(contentsOf(path), textOf(modelOf("old")));
  EXPECT_EQ(filesIn(folder), 1u);
}

TEST(OrvObjectFiles, AFullDiskKeepsTheOldFile) {
  const fs::path folder = testFolder();
  if (::mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=256k") != 0)
    GTEST_SKIP() << "no file system may be mounted here";
  const std::string path = (folder / "a").string();
  EXPECT_TRUE(modelOf("old")->writeAsJSON(path));
  const Ref<OrvObject> model = modelOf(std::string(400000, 'x'));
  EXPECT_FALSE(model->writeAsJSON(path));
  EXPECT_TRUE(model->needsSave());
  EXPECT_EQ(contentsOf(path), textOf(modelOf("old")));
  EXPECT_EQ(filesIn(folder), 1u);
  model->setObject("small", "v");
  EXPECT_TRUE(model->writeAsJSON(path));
  EXPECT_FALSE(model->needsSave());
  ::umount(folder.c_str());
}

// ORVANE_LONG_TESTS=1 kills a thousand.
TEST(OrvObjectFiles, AKilledSaveLeavesTheOldOrTheNewFile) {
  const int kills = std::getenv("ORVANE_LONG_TESTS") ? 1000 : kSanitized ? 40 : 200;
  const fs::path folder = testFolder();
  const std::string path = (folder / "a").string();
  const Ref<OrvObject> versions[] = {modelOf(std::string(300000, 'a')), modelOf(std::string(200000, 'b'))};
  const std::string texts[] = {textOf(versions[0]), textOf(versions[1])};
  ASSERT_TRUE(versions[0]->writeAsJSON(path));
  std::mt19937 random(20240229);
  size_t seen[2] = {};
  size_t left = 0;
  for (int i = 0; i < kills; ++i) {
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    if (child == 0) {
      static_cast<void>(!::write(ready[1], "", 1));
      for (size_t round = static_cast<size_t>(i);; ++round) versions[round % 2]->writeAsJSON(path);
    }
    char byte = 0;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    ::usleep(static_cast<useconds_t>(random() % 4000));
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    ::close(ready[0]);
    ::close(ready[1]);
    const std::string now = contentsOf(path);
    ASSERT_TRUE(now == texts[0] || now == texts[1]) << "after kill " << i << ": " << now.size() << " bytes";
    ++seen[now == texts[1]];
    for (const auto& entry : fs::directory_iterator(folder)) {
      if (entry.path() == path) continue;
      EXPECT_EQ(entry.path().filename().string().rfind(".orv-", 0), 0u) << entry.path();
      fs::remove(entry.path());
      ++left;
    }
  }
  EXPECT_GT(seen[0], 0u);
  EXPECT_GT(seen[1], 0u);
  RecordProperty("leftTemporaries", static_cast<int>(left));
}
