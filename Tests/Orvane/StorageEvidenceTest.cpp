#include "Orvane/Detail/StorageEvidence.h"

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/Files/UbiquityProvider.h"
#include "Tests/Support/World.h"

using namespace orv;
using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

namespace {

class Cloud : public UbiquityProvider {
 public:
  bool isUbiquitous(const NSURL&) const override { return true; }
};

std::vector<std::string> servicesOf(const std::vector<detail::StorageEvidence>& found) {
  std::vector<std::string> services;
  for (const auto& each : found)
    if (each.service != "External Location") services.push_back(each.service);
  return services;
}

// Takes root's right to read everything from this thread.
bool obeyPermissions() {
  if (::geteuid() != 0) return true;
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct sets[2]{};
  if (::syscall(SYS_capget, &header, sets) != 0) return false;
  sets[0].effective &= ~(1u << CAP_DAC_OVERRIDE | 1u << CAP_DAC_READ_SEARCH);
  return ::syscall(SYS_capset, &header, sets) == 0;
}

}  // namespace

TEST(StorageEvidence, MountsTellWhatTheyAre) {
  const auto found = detail::evidenceOfMount("nfs4", "server:/x", "/mnt/x", false);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].service, "External Location");
  EXPECT_EQ(found[0].reason, "server:/x (nfs4) is mounted at /mnt/x");
  EXPECT_EQ(detail::evidenceOfMount("vfat", "/dev/sdb1", "/media/x", true)[0].reason,
            "the removable volume /dev/sdb1 (vfat) is mounted at /media/x");
  EXPECT_THAT(servicesOf(detail::evidenceOfMount("fuse.rclone", "s3:b", "/m", false)), ElementsAre("rclone"));
  EXPECT_THAT(
      servicesOf(detail::evidenceOfMount("fuse.gvfsd-fuse", "gvfsd-fuse", "/run/user/1000/gvfs", false)),
      ElementsAre("GVfs"));
}

TEST(StorageEvidence, TracesInTheFoldersAboveCount) {
  const std::string folder = testFolder();
  fs::create_directories(folder + "/own/sub");
  for (const char* name : {"/own/.owncloudsync.log", "/own/._sync_1.db", "/own/.sync_x", "/own/sync_1.db"})
    std::ofstream(folder + name) << "";
  const NSURL sub = NSURL::fileURLWithPath(folder + "/own/sub", true);
  EXPECT_THAT(servicesOf(detail::storageEvidenceFor(sub)), ElementsAre("Nextcloud or ownCloud", "ownCloud"));
  fs::create_directories(folder + "/own/sub/.sync");
  EXPECT_THAT(servicesOf(detail::storageEvidenceFor(sub)),
              ElementsAre("Resilio Sync", "Nextcloud or ownCloud", "ownCloud"));
}

// What answers zuIsManagedBy has to be among the evidence.
TEST(StorageEvidence, AFolderThatMayOnlyBeEnteredShowsItsTraces) {
  const fs::path folder = fs::path(testFolder()) / "closed";
  fs::create_directories(folder / ".sync");
  std::ofstream(folder / ".owncloudsync.log") << "";
  fs::create_directories(folder / ".nextcloudsync.log");  // of the wrong kind
  std::ofstream(folder / ".stfolder") << "";
  fs::permissions(folder, fs::perms(0311));
  std::thread([&] {
    ASSERT_TRUE(obeyPermissions());
    std::error_code error;
    ASSERT_EQ(fs::directory_iterator(folder, error), fs::directory_iterator());
    ASSERT_EQ(error, std::errc::permission_denied);
    EXPECT_THAT(servicesOf(detail::storageEvidenceFor(NSURL::fileURLWithPath(folder.string(), true))),
                ElementsAre("ownCloud", "Resilio Sync"));
  }).join();
  fs::permissions(folder, fs::perms(0755));
}

TEST(StorageEvidence, AnApplicationsProviderIsEvidence) {
  NSFileManager::setUbiquityProvider(make<Cloud>());
  const auto found = detail::storageEvidenceFor(NSURL::fileURLWithPath(testFolder(), true));
  NSFileManager::setUbiquityProvider(nil);
  EXPECT_THAT(servicesOf(found), ElementsAre("iCloud Drive"));
  EXPECT_EQ(found.back().reason, "the application's provider says so");
}

TEST(StorageEvidence, WhatIsNoFileURLHasNone) {
  EXPECT_THAT(detail::storageEvidenceFor(nil), IsEmpty());
  EXPECT_THAT(detail::storageEvidenceFor(NSURL::URLWithString("http://h/x")), IsEmpty());
}
