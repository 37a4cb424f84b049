#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/Files/UbiquityProvider.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Tests/Support/LogLines.h"
#include "Tests/Support/World.h"

using namespace orv;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
namespace fs = std::filesystem;

namespace {

class Cloud : public UbiquityProvider {
 public:
  explicit Cloud(bool raises) : raises_(raises) {}
  bool isUbiquitous(const NSURL&) const override {
    if (raises_) NSException::raise("CloudException", "the cloud is gone");
    return true;
  }

 private:
  const bool raises_;
};

struct NSFileManagerStorage : testing::Test {
  void SetUp() override { fs::create_directories(home / ".dropbox"); }
  void TearDown() override {
    NSFileManager::setUbiquityProvider(nil);
    fs::remove_all(home / ".dropbox");
  }

  NSURL directory(const std::string& name) const {
    fs::create_directories(folder + "/" + name);
    return NSURL::fileURLWithPath(folder + "/" + name, true);
  }
  NSURL file(const std::string& name) const {
    fs::create_directories(fs::path(folder + "/" + name).parent_path());
    std::ofstream(folder + "/" + name) << "x";
    return NSURL::fileURLWithPath(folder + "/" + name, false);
  }
  void dropboxInfo(const std::string& json) const { std::ofstream(home / ".dropbox/info.json") << json; }
  void dropboxAt(const std::string& personal) const {
    dropboxInfo("{\"personal\":{\"path\":\"" + personal + "\"}}");
  }
  // Whether the tests' folders lie on a volume that counts as local, which the rest depends on.
  bool onFixedVolume() const { return volumeIsLocal(directory("probe")); }
  static bool volumeIsLocal(const NSURL& url) {
    Value local;
    url.getResourceValue(NSURLVolumeIsLocalKey, &local);
    return local.as<NSNumber>().boolValue();
  }
  // Puts a table before this process in which every file system is of one type; false when it may not.
  bool tableSays(const std::string& type, const std::string& source) const {
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
      return false;
    std::ifstream in("/proc/self/mountinfo");
    std::ofstream out(folder + "/table");
    for (std::string line; std::getline(in, line);)
      out << line.substr(0, line.find(" - ")) << " - " << type << ' ' << source << " rw\n";
    out.close();
    const std::string place = "/proc/" + std::to_string(::getpid()) + "/mountinfo";
    return ::mount((folder + "/table").c_str(), place.c_str(), nullptr, MS_BIND, nullptr) == 0;
  }
  NSString managerOf(const NSURL& url) const { return manager->zuIsManagedBy(url); }

  const Ref<NSFileManager> manager = NSFileManager::defaultManager();
  const std::string folder = testFolder();
  const fs::path home = ::getenv("HOME");
};

#define NEEDS_A_FIXED_VOLUME() \
  if (!onFixedVolume()) GTEST_SKIP() << "the tests' folder lies on a volume that is not local"

}  // namespace

TEST_F(NSFileManagerStorage, APlainFolderIsManagedByNobody) {
  NEEDS_A_FIXED_VOLUME();
  LogLines log;
  EXPECT_TRUE(managerOf(directory("d")).isNil());
  EXPECT_TRUE(managerOf(file("d/f")).isNil());
  EXPECT_TRUE(manager->zuIsLocal(directory("d")));
  const std::string url = directory("d").absoluteString().utf8();
  EXPECT_THAT(log.takeMessages(OrvLogLevelInfo), ElementsAre("isLocal=no url=" + url + " managedBy=(null)"));
}

TEST_F(NSFileManagerStorage, TheStepsAreToldOfTheFolder) {
  NEEDS_A_FIXED_VOLUME();
  OrvLog::sharedObject()->setLevel(31);
  LogLines log;
  managerOf(file("d/f"));
  OrvLog::sharedObject()->setLevel(orvLogLevel);
  const std::string url = directory("d").absoluteString().utf8();
  EXPECT_THAT(log.takeMessages(OrvLogLevelDebug),
              ElementsAre("state=1 url=" + url, "ubiq=0 url=" + url, "dbx=0 url=" + url));
}

TEST_F(NSFileManagerStorage, WhatIsNoFileURLIsManagedByNobody) {
  LogLines log;
  const NSURL web = NSURL::URLWithString("http://h/a");
  EXPECT_TRUE(managerOf(web).isNil());
  EXPECT_TRUE(managerOf(nil).isNil());
  EXPECT_THAT(log.take(), IsEmpty());
  EXPECT_TRUE(manager->zuIsLocal(web));
  EXPECT_THAT(log.takeMessages(OrvLogLevelInfo), ElementsAre("isLocal=no url=http://h/a managedBy=(null)"));
}

// The kernel's table says so in a world of this process's own: mounting a network volume would take a server.
TEST_F(NSFileManagerStorage, ANetworkVolumeIsExternalWhateverElseItIs) {
  const NSURL inside = file("sync/f");
  directory("sync/.sync");
  dropboxAt(folder);
  const pid_t child = ::fork();
  if (child == 0)
    ::_exit(tableSays("nfs4", "server:/x") ? (managerOf(inside) == "External Location" ? 0 : 1) : 2);
  int status = 0;
  ::waitpid(child, &status, 0);
  if (WEXITSTATUS(status) == 2) GTEST_SKIP() << "may not mount";
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_TRUE(WIFEXITED(status));
}

TEST_F(NSFileManagerStorage, AVolumeThatCannotBeReadIsExternal) {
  LogLines log;
  const NSURL lost = NSURL::fileURLWithPath(folder + "/no/such/f", false);
  EXPECT_EQ(managerOf(lost), "External Location");
  EXPECT_FALSE(manager->zuIsLocal(lost));
  EXPECT_THAT(log.takeMessages(OrvLogLevelInfo), ElementsAre(AllOf(StartsWith("isLocal=yes url=file:///"),
                                                                   HasSubstr("managedBy=External Location"))));
}

TEST_F(NSFileManagerStorage, AnExternalVolumeComesFirst) {
  NSFileManager::setUbiquityProvider(make<Cloud>(false));
  dropboxAt(folder);
  directory("sync/.sync");
  EXPECT_EQ(managerOf(NSURL::fileURLWithPath(folder + "/sync/none/f", false)), "External Location");
}

TEST_F(NSFileManagerStorage, TheCloudComesBeforeDropboxAndThatBeforeMarkers) {
  NEEDS_A_FIXED_VOLUME();
  const NSURL inside = file("box/sub/f");
  directory("box/.stversions");
  EXPECT_EQ(managerOf(inside), "Syncthing");
  dropboxAt(folder + "/box");
  EXPECT_EQ(managerOf(inside), "Dropbox");
  NSFileManager::setUbiquityProvider(make<Cloud>(false));
  EXPECT_EQ(managerOf(inside), "iCloud Drive");
  EXPECT_FALSE(manager->zuIsLocal(inside));
}

TEST_F(NSFileManagerStorage, AnExceptionIsFatalNewsAndNobody) {
  NEEDS_A_FIXED_VOLUME();
  NSFileManager::setUbiquityProvider(make<Cloud>(true));
  LogLines log;
  EXPECT_TRUE(managerOf(directory("d")).isNil());
  EXPECT_THAT(log.takeMessages(OrvLogLevelError), ElementsAre("CloudException: the cloud is gone"));
}

TEST_F(NSFileManagerStorage, DropboxIsAPrefixOfTexts) {
  dropboxInfo(R"({"personal": {"path": "/home/ada/Dropbox"}, "business": {"path": "/work/box"}})");
  for (const char* path : {"/home/ada/Dropbox", "/home/ada/Dropbox/a", "/home/ada/Dropbox2/a", "/work/box/b"}) {
    EXPECT_TRUE(manager->isDropbox(path)) << path;
    EXPECT_TRUE(manager->isDropbox(NSURL::fileURLWithPath(path, false))) << path;
  }
  for (const char* path : {"/home/ada/dropbox", "/home/ada", "/work", "/", ""})
    EXPECT_FALSE(manager->isDropbox(path)) << path;
  EXPECT_FALSE(manager->isDropbox(nil));
  EXPECT_FALSE(manager->isDropbox(7));
  EXPECT_FALSE(manager->isDropbox(NSURL::URLWithString("http://h/work/box")));
}

TEST_F(NSFileManagerStorage, AMissingDropboxRootNeverMatches) {
  LogLines log;
  EXPECT_FALSE(manager->isDropbox("/home/ada")) << "no file";
  for (const char* json : {"", "{", "[]", "7", "{}", R"({"personal": {}})", R"({"personal": {"path": ""}})",
                           R"({"personal": {"path": null}, "business": 7})", R"({"personal": {"path": 7}})",
                           R"({"personal": "/"})"}) {
    dropboxInfo(json);
    for (const char* path : {"/home/ada", "/", ""}) EXPECT_FALSE(manager->isDropbox(path)) << json << path;
  }
  dropboxInfo(R"({"business": {"path": "/work"}})");
  EXPECT_TRUE(manager->isDropbox("/work/a")) << "the other account still counts";
}

TEST_F(NSFileManagerStorage, DropboxIsReadAfresh) {
  dropboxAt("/a");
  EXPECT_TRUE(manager->isDropbox("/a/f"));
  dropboxAt("/b");
  EXPECT_FALSE(manager->isDropbox("/a/f"));
}

TEST_F(NSFileManagerStorage, MarkersTellTheService) {
  directory("r/.sync");
  directory("s/.stversions");
  directory("g/.tmp.drivedownload");
  EXPECT_EQ(manager->zuIsManagedByFolderSync(directory("r")), "Resilio Sync");
  EXPECT_EQ(manager->zuIsManagedByFolderSync(directory("s")), "Syncthing");
  EXPECT_EQ(manager->zuIsManagedByFolderSync(directory("g")), "Google Drive");
  directory("g/.stversions");
  EXPECT_EQ(manager->zuIsManagedByFolderSync(directory("g")), "Syncthing");
  directory("g/.sync");
  EXPECT_EQ(manager->zuIsManagedByFolderSync(directory("g")), "Resilio Sync");
}

TEST_F(NSFileManagerStorage, MarkersOfFoldersAboveCount) {
  const NSURL deep = file("s/a/b/f");
  directory("s/.stversions");
  EXPECT_EQ(manager->zuIsManagedByFolderSync(deep), "Syncthing");
  EXPECT_EQ(manager->zuIsManagedByFolderSync(NSURL::fileURLWithPath(folder + "/s/a/none", false)), "Syncthing");
  directory("s/a/.sync");
  EXPECT_EQ(manager->zuIsManagedByFolderSync(deep), "Resilio Sync") << "the nearest one";
}

TEST_F(NSFileManagerStorage, AMarkerThatIsAFileDoesNotCount) {
  file("s/.stversions");
  const NSURL inside = file("s/a/f");
  EXPECT_TRUE(manager->zuIsManagedByFolderSync(inside).isNil());
  fs::create_directory_symlink(folder, folder + "/s/.sync");
  EXPECT_TRUE(manager->zuIsManagedByFolderSync(inside).isNil()) << "a link is no folder";
}

TEST_F(NSFileManagerStorage, TenFoldersAreExamined) {
  directory("top/.sync");
  std::string path = "top";
  for (int i = 1; i <= 9; ++i) path += "/" + std::to_string(i);
  EXPECT_EQ(manager->zuIsManagedByFolderSync(directory(path)), "Resilio Sync") << "the tenth";
  EXPECT_TRUE(manager->zuIsManagedByFolderSync(directory(path + "/10")).isNil());
  EXPECT_TRUE(manager->zuIsManagedByFolderSync(file(path + "/f")).isNil()) << "a file counts as one of them";
}

TEST_F(NSFileManagerStorage, ShortPathsAreNobodys) {
  LogLines log;
  for (const char* path : {"/", "/a"})
    EXPECT_TRUE(manager->zuIsManagedByFolderSync(NSURL::fileURLWithPath(path, true)).isNil()) << path;
  EXPECT_TRUE(manager->zuIsManagedByFolderSync(nil).isNil());
  EXPECT_THAT(log.take(), IsEmpty());
}

// A mounted memory disk is a fixed volume, with markers of its own.
TEST_F(NSFileManagerStorage, AMountedVolumeIsAskedLikeAnyOther) {
  const NSURL disk = directory("disk");
  if (::mount("none", (folder + "/disk").c_str(), "tmpfs", 0, "") != 0) GTEST_SKIP() << "may not mount";
  EXPECT_TRUE(volumeIsLocal(disk));
  EXPECT_TRUE(managerOf(disk).isNil());
  directory("disk/.sync");
  EXPECT_EQ(managerOf(disk), "Resilio Sync");
  ::umount((folder + "/disk").c_str());
  EXPECT_TRUE(managerOf(disk).isNil());
}
