#include "Platform/Foundation/Files/RcloneTraces.h"

#include <filesystem>
#include <fstream>
#include <thread>

#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/Files/UbiquityProvider.h"
#include "Tests/Support/World.h"

using namespace orv;
using detail::MountTable;
using detail::RcloneTraces;
namespace fs = std::filesystem;

namespace {

constexpr const char* kConfig =
    "# settings\n"
    "[drive]\n"
    "type = iclouddrive\n"
    "apple_id = ada@example.org\n"
    "\n"
    "[my drive]\ntype=iclouddrive\n"
    "[other]\ntype = s3\n"
    "[secret]\ntype = crypt\nremote = drive:vault\n"
    "[round]\ntype = alias\nremote = about:\n[about]\ntype = alias\nremote = round:x\n"
    "[plain]\ntype = alias\nremote = /local/folder\n"
    "; [drive]\n; type = s3\n"
    "[last]\nnovalue\n= x\n[open\ntype = iclouddrive\n";

std::string mount(const std::string& point, const std::string& type, const std::string& source) {
  return "9 1 0:77 / " + point + " rw - " + type + " " + source + " rw\n";
}

struct RcloneTracesTest : testing::Test {
  RcloneTraces traces(const std::string& mounts = "") const {
    return RcloneTraces(MountTable(mounts), kConfig, cache);
  }
  void listing(const std::string& name) const {
    fs::create_directories(cache + "/bisync");
    std::ofstream(cache + "/bisync/" + name) << "# bisync listing v1 from test\n";
  }

  const std::string cache = testFolder() + "/cache";
};

}  // namespace

TEST_F(RcloneTracesTest, RemotesOfTheServiceAreKnownByTheirType) {
  for (const char* source : {"drive:", "drive:a/b", "my drive:x", "secret:", ":iclouddrive:",
                             ":iclouddrive{x1}:a", ":iclouddrive,apple_id=a:b", "drive{x1}:a"})
    EXPECT_TRUE(traces().isCloudRemote(source)) << source;
  for (const char* source :
       {"other:", "plain:", "round:", "unknown:a", "", "drive", "/drive:", ":s3:x", "open:"})
    EXPECT_FALSE(traces().isCloudRemote(source)) << source;
}

TEST_F(RcloneTracesTest, AMountOfTheServiceIsEvidence) {
  const RcloneTraces found =
      traces(mount("/", "ext4", "/dev/sda1") + mount("/no/cloud\\040here", "fuse.rclone", "drive:a") +
             mount("/no/s3", "fuse.rclone", "other:a") + mount("/no/fake", "fuse.sshfs", "drive:a"));
  EXPECT_EQ(found.evidenceFor("/no/cloud here/f"), "rclone mounts \"drive:a\" at /no/cloud here");
  EXPECT_EQ(found.evidenceFor("/no/cloud here"), "rclone mounts \"drive:a\" at /no/cloud here");
  for (const char* path : {"/no/cloud hereafter", "/no/s3/f", "/no/fake/f", "/no/f", "", "relative"})
    EXPECT_EQ(found.evidenceFor(path), std::nullopt) << path;
}

TEST_F(RcloneTracesTest, AFolderThatBisyncKeepsInStepIsEvidence) {
  listing("home_ada_My_Documents..drive_Documents.path1.lst");
  listing("my_drive_..home_ada_all.path1.lst");
  listing("home_ada_photos..other_bucket.path1.lst");
  listing("home_ada_half.path1.lst");
  listing("home_ada_temp..drive_x.path2.lst");
  const RcloneTraces found = traces();
  EXPECT_EQ(found.evidenceFor("/home/ada/My Documents/f"),
            "rclone bisync keeps /home/ada/My Documents in step with \"drive:\"");
  EXPECT_EQ(found.evidenceFor("/home/ada/all"), "rclone bisync keeps /home/ada/all in step with \"my drive:\"");
  for (const char* path :
       {"/home/ada", "/home/ada/photos", "/home/ada/half", "/home/ada/temp", "/home/ada/allx", "/"})
    EXPECT_EQ(found.evidenceFor(path), std::nullopt) << path;
}

TEST_F(RcloneTracesTest, TheGapInAListingsNameIsAnyOfItsDoubleDots) {
  listing("home_ada_a..b..drive_x.path1.lst");
  listing("home_ada_end....drive_x.path1.lst");
  listing("home_ada_three...drive_x.path1.lst");
  listing("my_drive_p..q..home_ada_c..d.path1.lst");
  listing("home_ada_e..f..other_bucket.path1.lst");
  const RcloneTraces found = traces();
  EXPECT_EQ(found.evidenceFor("/home/ada/a..b/f"),
            "rclone bisync keeps /home/ada/a..b in step with \"drive:\"");
  EXPECT_EQ(found.evidenceFor("/home/ada/end.."),
            "rclone bisync keeps /home/ada/end.. in step with \"drive:\"");
  EXPECT_EQ(found.evidenceFor("/home/ada/three."),
            "rclone bisync keeps /home/ada/three. in step with \"drive:\"");
  EXPECT_EQ(found.evidenceFor("/home/ada/c..d"),
            "rclone bisync keeps /home/ada/c..d in step with \"my drive:\"");
  for (const char* path :
       {"/home/ada/a", "/home/ada/b", "/home/ada/three", "/home/ada/e..f", "/home/ada/e", "/home/ada/d"})
    EXPECT_EQ(found.evidenceFor(path), std::nullopt) << path;
}

TEST_F(RcloneTracesTest, AFolderMayBeNamedLikeARemote) {
  listing("drive_stick..drive_x.path1.lst");
  EXPECT_EQ(traces().evidenceFor("/drive/stick"), "rclone bisync keeps /drive/stick in step with \"drive:\"");
}

TEST_F(RcloneTracesTest, WithoutTracesNothingIsManaged) {
  EXPECT_EQ(RcloneTraces(MountTable(""), "", "/no/such").evidenceFor("/tmp"), std::nullopt);
  EXPECT_EQ(RcloneTraces::ofUser().evidenceFor(testFolder()), std::nullopt);
}

TEST_F(RcloneTracesTest, TheBuiltInProviderReadsTheUsersOwn) {
  const Ref<NSFileManager> manager = NSFileManager::defaultManager();
  fs::create_directories(testFolder() + "/kept/in");
  const NSURL kept = NSURL::fileURLWithPath(testFolder() + "/kept/in", true);
  EXPECT_FALSE(manager->isUbiquitousItemAtURL(kept));
  const fs::path config = fs::path(::getenv("XDG_CONFIG_HOME")) / "rclone";
  const fs::path bisync = fs::path(::getenv("XDG_CACHE_HOME")) / "rclone/bisync";
  fs::create_directories(config);
  fs::create_directories(bisync);
  std::ofstream(config / "rclone.conf") << kConfig;
  std::string name = testFolder().substr(1) + "/kept";
  std::replace(name.begin(), name.end(), '/', '_');
  std::ofstream(bisync / (name + "..drive_Kept.path1.lst")) << "";
  EXPECT_TRUE(manager->isUbiquitousItemAtURL(kept));
  EXPECT_FALSE(manager->isUbiquitousItemAtURL(NSURL::fileURLWithPath(testFolder(), true)));
  EXPECT_FALSE(manager->isUbiquitousItemAtURL(NSURL::URLWithString("http://h/")));
  EXPECT_FALSE(manager->isUbiquitousItemAtURL(nil));
  fs::remove_all(config);
  fs::remove_all(bisync);
}

namespace {

class Everywhere : public UbiquityProvider {
 public:
  bool isUbiquitous(const NSURL& url) const override { return url.path().hasPrefix("/cloud"); }
};

}  // namespace

TEST(UbiquityProviders, AnApplicationsOwnAnswersUntilItIsTakenBack) {
  const Ref<NSFileManager> manager = NSFileManager::defaultManager();
  const NSURL url = NSURL::fileURLWithPath("/cloud/f", false);
  const NSURL web = NSURL::URLWithString("http://cloud/cloud");
  const WeakRef<Everywhere> provider = [] {
    const auto made = make<Everywhere>();
    NSFileManager::setUbiquityProvider(made);
    return WeakRef<Everywhere>(made);
  }();
  EXPECT_TRUE(manager->isUbiquitousItemAtURL(url));
  EXPECT_FALSE(manager->isUbiquitousItemAtURL(web)) << "only files are asked about";
  NSFileManager::setUbiquityProvider(nil);
  EXPECT_FALSE(manager->isUbiquitousItemAtURL(url));
  EXPECT_FALSE(provider.lock()) << "let go";
}

TEST(UbiquityProviders, MayChangeWhileOthersAsk) {
  const Ref<NSFileManager> manager = NSFileManager::defaultManager();
  const NSURL url = NSURL::fileURLWithPath("/cloud/f", false);
  std::thread asking([&] {
    for (int i = 0; i < 200; ++i) manager->isUbiquitousItemAtURL(url);
  });
  for (int i = 0; i < 200; ++i)
    NSFileManager::setUbiquityProvider(i % 2 ? make<Everywhere>() : Ref<Everywhere>());
  asking.join();
  NSFileManager::setUbiquityProvider(nil);
  EXPECT_FALSE(manager->isUbiquitousItemAtURL(url));
}
