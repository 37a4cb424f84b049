#include <stdlib.h>

#include <filesystem>

#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/System/NSBundle.h"
#include "Tests/Support/LogLines.h"
#include "Tests/Support/World.h"

using namespace orv;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
namespace fs = std::filesystem;

namespace {

struct NSFileManagerFolders : testing::Test {
  void SetUp() override {
    NSBundle::mainBundle()->setInfoDictionary(
        NSDictionary{{"CFBundleIdentifier", "org.example.notes"}, {"CFBundleName", "My App"}});
  }
  void TearDown() override {
    NSBundle::mainBundle()->setInfoDictionary(nil);
    NSFileManager::zuUseAppName(false);
    ::unsetenv("APPNAME");
  }
  static NSString environment(const char* name) { return ::getenv(name); }

  const Ref<NSFileManager> manager = NSFileManager::defaultManager();
};

}  // namespace

TEST(ZxFileURL, TurnsPathsAndFileURLsIntoFileURLs) {
  const NSURL file = NSURL::URLWithString("FILE:///a%20b");
  EXPECT_TRUE(zxFileURL(file).isSame(file));
  EXPECT_EQ(zxFileURL("/no/such file").absoluteString(), "file:///no/such%20file");
  EXPECT_EQ(zxFileURL("/tmp").absoluteString(), "file:///tmp/");
}

TEST(ZxFileURL, AnythingElseIsNil) {
  LogLines log;
  for (const Value& location : {Value(), Value(NSURL::URLWithString("http://h/a")), Value(7),
                                Value(NSArray{"/tmp"}), Value(NSURL::URLWithString("/tmp"))})
    EXPECT_TRUE(zxFileURL(location).isNil()) << location;
  EXPECT_TRUE(log.take().empty());
}

TEST(ZxFileURL, ABookmarkThatCannotBeResolvedIsOneWarning) {
  LogLines log;
  EXPECT_TRUE(zxFileURL(NSData::dataWithBytes("abcd")).isNil());
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning),
              ElementsAre(StartsWith(
                  "zxFileURL bookmark extraction for {length = 4, bytes = 0x61626364} failed: Error ")));
}

TEST(ZxFileURL, ABookmarkGivesThePlaceWhereItsItemIs) {
  LogLines log;
  const std::string folder = fs::canonical(testFolder());
  fs::create_directories(folder + "/one/two");
  const NSURL made = NSURL::fileURLWithPath(folder + "/one/two", true);
  const NSData bookmark = made.bookmarkDataWithOptions(0);
  EXPECT_EQ(zxFileURL(bookmark), made);
  fs::rename(folder + "/one", folder + "/other");
  EXPECT_EQ(zxFileURL(bookmark), NSURL::fileURLWithPath(folder + "/other/two", true));
  EXPECT_TRUE(log.take().empty());
  fs::remove(folder + "/other/two");
  EXPECT_TRUE(zxFileURL(bookmark).isNil());
  const auto warnings = log.takeMessages(OrvLogLevelWarning);
  EXPECT_THAT(warnings,
              ElementsAre(testing::AllOf(StartsWith("zxFileURL bookmark extraction for {length = "),
                                         HasSubstr(" failed: Error Domain=NSCocoaErrorDomain Code=4 "))));
}

TEST_F(NSFileManagerFolders, TheNameIsTheIdentifierOrTheDisplayName) {
  EXPECT_EQ(NSFileManager::appSpecificFolderName(), "org.example.notes");
  NSFileManager::zuUseAppName(true);
  EXPECT_EQ(NSFileManager::appSpecificFolderName(), "My App");
  NSFileManager::zuUseAppName(false);
  EXPECT_EQ(NSFileManager::appSpecificFolderName(), "org.example.notes");
}

TEST_F(NSFileManagerFolders, TestsRunInFoldersOfTheirOwn) {
  ::setenv("APPNAME", "Foo", 1);
  NSFileManager::zuUseAppName(true);
  EXPECT_EQ(NSFileManager::appSpecificFolderName(), "org.orvane.test.Foo");
  EXPECT_EQ(manager->zuPrivateApplicationSupportFolder().lastPathComponent(), "org.orvane.test.Foo");
  EXPECT_EQ(manager->zuPrivateCacheFolder().lastPathComponent(), "org.example.notes");
  ::setenv("APPNAME", "", 1);
  EXPECT_EQ(NSFileManager::appSpecificFolderName(), "org.orvane.test.");
}

TEST_F(NSFileManagerFolders, WithoutABundleItIsAUnitTest) {
  LogLines log;
  NSBundle::mainBundle()->setInfoDictionary(nil);
  EXPECT_EQ(NSFileManager::appSpecificFolderName(), "org.orvane.test.UnitTest");
  EXPECT_TRUE(log.take().empty());
  EXPECT_TRUE(manager->zuPrivateCacheFolder().isNil());
}

TEST_F(NSFileManagerFolders, AnEmptyNameIsReportedAndReturned) {
  LogLines log;
  NSBundle::mainBundle()->setInfoDictionary(NSDictionary{{"CFBundleIdentifier", ""}});
  EXPECT_EQ(NSFileManager::appSpecificFolderName(), "");
  EXPECT_THAT(
      log.takeMessages(OrvLogLevelWarning),
      ElementsAre(testing::AllOf(StartsWith("Did not find app name"), HasSubstr("[appName length] > 0"))));
}

TEST_F(NSFileManagerFolders, StandardFoldersLieWhereTheDesktopPutsThem) {
  EXPECT_EQ(manager->zuHomeFolder().path(), environment("HOME"));
  EXPECT_EQ(manager->zuLibraryFolder().path(), environment("XDG_STATE_HOME"));
  EXPECT_EQ(manager->zuApplicationSupportFolder().path(), environment("XDG_DATA_HOME"));
  EXPECT_EQ(manager->zuCachesFolder().path(), environment("XDG_CACHE_HOME"));
  EXPECT_EQ(manager->zuDocumentFolder().path(), environment("HOME") + "/Documents");
  EXPECT_EQ(manager->zuPicturesFolder().path(), environment("HOME") + "/Pictures");
  EXPECT_EQ(manager->zuDownloadsFolder().path(), environment("HOME") + "/Downloads");
  EXPECT_FALSE(manager->zuIsDir(manager->zuDocumentFolder()));
}

TEST_F(NSFileManagerFolders, PrivateFoldersAreMade) {
  for (const auto& [folder, parent] : {std::pair{manager->zuPrivateLibraryFolder(), "XDG_STATE_HOME"},
                                       std::pair{manager->zuPrivateApplicationSupportFolder(), "XDG_DATA_HOME"},
                                       std::pair{manager->zuPrivateFolder(), "XDG_DATA_HOME"},
                                       std::pair{manager->zuPrivateCacheFolder(), "XDG_CACHE_HOME"},
                                       std::pair{manager->zuTempFolder(), "TMPDIR"}}) {
    EXPECT_EQ(folder.path(), environment(parent) + "/org.example.notes");
    EXPECT_TRUE(folder.hasDirectoryPath());
    EXPECT_TRUE(manager->zuIsDir(folder)) << folder;
  }
}

TEST_F(NSFileManagerFolders, PlacesForPrivateFilesAreNotMade) {
  EXPECT_EQ(manager->zuPathForPrivateFile("a b").path(),
            environment("XDG_DATA_HOME") + "/org.example.notes/a b");
  EXPECT_FALSE(manager->zuPathForPrivateFile("a b").checkResourceIsReachable());
  EXPECT_TRUE(manager->zuIsDir(manager->zuPathForPrivateFolder("sub")));
  EXPECT_EQ(manager->zuPathForDocumentFile("x.txt").path(), environment("HOME") + "/Documents/x.txt");
  EXPECT_TRUE(manager->zuPathForPrivateFile(nil).isNil());
}

TEST_F(NSFileManagerFolders, AFolderThatCannotBeMadeIsNil) {
  LogLines log;
  fs::create_directories(testFolder());
  const NSString file = testFolder() + "/file";
  ASSERT_TRUE(manager->createFileAtPath(file, nil));
  const std::string saved = ::getenv("XDG_DATA_HOME");
  ::setenv("XDG_DATA_HOME", file.utf8().c_str(), 1);
  EXPECT_TRUE(manager->zuPrivateFolder().isNil());
  ::setenv("XDG_DATA_HOME", saved.c_str(), 1);
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning), ElementsAre(StartsWith("Failed to make dirs at file://")));
}

TEST_F(NSFileManagerFolders, TheHomeFoldersFileSystemHasASize) {
  EXPECT_GT(manager->zuHomeAttributes()[NSFileSystemSize].as<NSNumber>().unsignedLongLongValue(), 0u);
  const std::string saved = ::getenv("HOME");
  ::setenv("HOME", "/no/such/home", 1);
  EXPECT_TRUE(manager->zuHomeAttributes().isNil());
  ::setenv("HOME", saved.c_str(), 1);
}
