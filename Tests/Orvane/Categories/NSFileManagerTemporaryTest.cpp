#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <thread>
#include <vector>

#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/System/NSBundle.h"
#include "Tests/Support/LogLines.h"
#include "Tests/Support/World.h"

using namespace orv;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
namespace fs = std::filesystem;

namespace {

struct NSFileManagerTemporary : testing::Test {
  void SetUp() override {
    NSBundle::mainBundle()->setInfoDictionary(NSDictionary{{"CFBundleIdentifier", "org.example.notes"}});
  }
  void TearDown() override { NSBundle::mainBundle()->setInfoDictionary(nil); }
  static mode_t modeOf(const NSURL& url) {
    struct stat info {};
    EXPECT_EQ(::lstat(url.path().utf8().c_str(), &info), 0) << url;
    return info.st_mode & 07777;
  }

  const Ref<NSFileManager> manager = NSFileManager::defaultManager();
};

}  // namespace

TEST_F(NSFileManagerTemporary, TheApplicationsFolderIsForThisUserOnly) {
  const NSURL folder = manager->zuTempFolder();
  EXPECT_EQ(folder.path(), NSString(::getenv("TMPDIR")) + "/org.example.notes");
  EXPECT_EQ(modeOf(folder), 0700u);
  EXPECT_EQ(manager->zuTempFolder(), folder);
}

TEST_F(NSFileManagerTemporary, NewFoldersAreEmptyAndDifferent) {
  const NSURL first = manager->zuNewEmptyTempFolder();
  const NSURL second = manager->zuNewEmptyTempFolder();
  EXPECT_NE(first, second);
  for (const NSURL& folder : {first, second}) {
    EXPECT_TRUE(folder.hasDirectoryPath());
    EXPECT_EQ(folder.URLByDeletingLastPathComponent().path(), manager->zuTempFolder().path());
    EXPECT_EQ(modeOf(folder), 0700u);
    EXPECT_EQ(manager->zuListDir(folder).count(), 0u);
  }
}

// In a folder shared with others anybody can take a name first.
TEST_F(NSFileManagerTemporary, WhatOthersPutThereIsNotTaken) {
  LogLines log;
  const std::string usual = std::string(::getenv("TMPDIR")) + "/org.example.notes";
  const std::string own = usual + "-" + std::to_string(::geteuid());
  const std::string foreign = testFolder() + "/foreign";
  const auto plantFile = [&](const std::string& path) { std::ofstream(path) << "x"; };
  const auto plantLink = [&](const std::string& path) { fs::create_directory_symlink(foreign, path); };
  const auto plantDanglingLink = [&](const std::string& path) { fs::create_symlink(foreign + "/no", path); };
  const auto plantFolder = [&](const std::string& path) {
    fs::create_directory(path);
    EXPECT_EQ(::chown(path.c_str(), 54321, 54321), 0);
    EXPECT_EQ(::chmod(path.c_str(), 0777), 0);
  };
  std::vector<std::function<void(const std::string&)>> plants{plantFile, plantLink, plantDanglingLink};
  if (::geteuid() == 0) plants.push_back(plantFolder);
  fs::create_directory(foreign);
  for (const auto& plant : plants) {
    fs::remove_all(usual);
    plant(usual);
    EXPECT_EQ(manager->zuTempFolder().path(), own);
    EXPECT_EQ(modeOf(NSURL::fileURLWithPath(own)), 0700u);
    EXPECT_THAT(log.takeMessages(OrvLogLevelWarning), IsEmpty());
    fs::remove_all(own);
    plant(own);
    EXPECT_TRUE(manager->zuTempFolder().isNil());
    EXPECT_THAT(log.takeMessages(OrvLogLevelWarning),
                ElementsAre(StartsWith("Failed to make dirs at file://")));
    EXPECT_TRUE(fs::is_empty(foreign));
    fs::remove_all(own);
  }
  fs::remove_all(usual);
}

TEST_F(NSFileManagerTemporary, AFolderOfThisUserIsTakenAsItIs) {
  const std::string usual = std::string(::getenv("TMPDIR")) + "/org.example.notes";
  fs::remove_all(usual);
  fs::create_directory(usual);
  ASSERT_EQ(::chmod(usual.c_str(), 0750), 0);
  EXPECT_EQ(manager->zuTempFolder().path(), usual);
  EXPECT_EQ(modeOf(NSURL::fileURLWithPath(usual)), 0750u);
  fs::remove_all(usual);
}

TEST_F(NSFileManagerTemporary, WithoutATemporaryFolderThereIsNone) {
  LogLines log;
  const std::string saved = ::getenv("TMPDIR");
  const std::string file = testFolder() + "/file";
  ASSERT_TRUE(manager->createFileAtPath(file, nil));
  ::setenv("TMPDIR", file.c_str(), 1);
  EXPECT_TRUE(manager->zuTempFolder().isNil());
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning), ElementsAre(StartsWith("Failed to make dirs at file://")));
  EXPECT_TRUE(manager->zuNewEmptyTempFolder().isNil());
  ::setenv("TMPDIR", saved.c_str(), 1);
}

TEST_F(NSFileManagerTemporary, AFolderForAURLLiesOnItsVolume) {
  LogLines log;
  const NSURL file = NSURL::fileURLWithPath(testFolder() + "/f");
  const NSURL first = manager->zuTempFolderForURL(file);
  const NSURL second = manager->zuTempFolderForURL(file);
  EXPECT_NE(first, second);
  EXPECT_TRUE(manager->zuIsDir(first));
  EXPECT_EQ(modeOf(first), 0700u);
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning), IsEmpty());
}

TEST_F(NSFileManagerTemporary, AFolderForNoFileIsOneWarning) {
  LogLines log;
  EXPECT_TRUE(manager->zuTempFolderForURL(nil).isNil());
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning),
              ElementsAre(AllOf(StartsWith("zuTempFolderForURL error: Error "), EndsWith(" (url=(null))"))));
  EXPECT_TRUE(manager->zuTempFolderForURL(NSURL::URLWithString("http://h/a")).isNil());
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning), ElementsAre(EndsWith(" (url=http://h/a)")));
}

// The process has one private folder: what happens to it is told in one go.
TEST_F(NSFileManagerTemporary, ThePrivateFolderIsMadeOnceAndStaysTheSame) {
  LogLines log;
  manager->zuDestroyPrivateTempFolder();  // there is none yet
  EXPECT_TRUE(log.take().empty());
  EXPECT_FALSE(fs::exists(manager->zuTempFolder().path().utf8() + "/none"));

  std::vector<NSURL> found(8);
  std::vector<std::thread> threads;
  for (NSURL& url : found) threads.emplace_back([&] { url = manager->zuCreatePrivateTempFolder(); });
  for (std::thread& thread : threads) thread.join();
  const NSURL folder = found.front();
  for (const NSURL& url : found) EXPECT_EQ(url, folder);
  EXPECT_TRUE(manager->zuIsDir(folder));
  EXPECT_EQ(modeOf(folder), 0700u);
  EXPECT_TRUE(folder.path().hasPrefix(manager->zuTempFolder().path()));

  const NSURL plain = manager->zuPrivateTempFolderFileNameWithSuffix(nil);
  const NSURL other = manager->zuPrivateTempFolderFileNameWithSuffix(nil);
  EXPECT_EQ(plain.pathExtension(), "tmp");
  EXPECT_NE(plain, other);
  EXPECT_TRUE(plain.hasDirectoryPath());
  EXPECT_EQ(plain.URLByDeletingLastPathComponent().path(), folder.path());
  EXPECT_EQ(manager->zuPrivateTempFolderFileNameWithSuffix("txt").pathExtension(), "txt");
  EXPECT_EQ(manager->zuListDir(folder).count(), 0u);

  ASSERT_TRUE(manager->createFileAtPath(folder.path() + "/f", nil));
  manager->zuDestroyPrivateTempFolder();
  EXPECT_FALSE(manager->zuIsDir(folder));
  EXPECT_EQ(manager->zuCreatePrivateTempFolder(), folder);
  EXPECT_FALSE(manager->zuIsDir(folder)) << "gone it stays, until somebody makes it";
  manager->zuDestroyPrivateTempFolder();
  EXPECT_EQ(manager->zuMakeDirs(manager->zuCreatePrivateTempFolder()), folder);
  manager->zuDestroyPrivateTempFolder();
  EXPECT_FALSE(manager->zuIsDir(folder));
}
