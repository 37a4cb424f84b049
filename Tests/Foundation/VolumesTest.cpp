#include "Platform/Foundation/Files/Volumes.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <filesystem>
#include <fstream>

#include "Tests/Support/World.h"

using namespace orv;
using detail::Mount;
using detail::MountTable;
using detail::VolumeKind;
namespace fs = std::filesystem;

namespace {

std::string line(const std::string& point, const std::string& type, const std::string& source,
                 const std::string& device = "0:99", int id = 7) {
  return std::to_string(id) + " 1 " + device + " / " + point + " rw,relatime shared:1 master:2 - " + type +
         " " + source + " rw,x=y\n";
}

// A kernel's folder about devices: an inner disk, a stick, an SD card and what lies on them.
struct Volumes : testing::Test {
  void SetUp() override {
    disk("pci0000:00/ata1/host0/block/sda", "8:0", "0");
    part("pci0000:00/ata1/host0/block/sda/sda1", "8:1");
    disk("pci0000:00/usb2/2-1/host6/block/sdb", "8:16", "1");
    part("pci0000:00/usb2/2-1/host6/block/sdb/sdb1", "8:17");
    disk("pci0000:00/usb2/2-2/host7/block/sdc", "8:32", "0");
    disk("platform/mmc0/block/mmcblk0", "179:0", "0");
    write(devices() / "platform/mmc0/block/mmcblk0/device/type", "SD\n");
    disk("virtual/block/dm-0", "254:0", "0");
    slave("virtual/block/dm-0", "pci0000:00/usb2/2-1/host6/block/sdb/sdb1");
    disk("virtual/block/dm-1", "254:1", "0");
    slave("virtual/block/dm-1", "pci0000:00/ata1/host0/block/sda/sda1");
    disk("virtual/block/loop0", "7:0", "0");
  }

  fs::path devices() const { return sysfs / "devices"; }
  void write(const fs::path& file, const std::string& bytes) const {
    fs::create_directories(file.parent_path());
    std::ofstream(file) << bytes;
  }
  void number(const fs::path& folder, const std::string& number) const {
    fs::create_directories(sysfs / "dev/block");
    fs::create_directories(sysfs / "class/block");
    fs::create_symlink(folder, sysfs / "dev/block" / number);
    fs::create_symlink(folder, sysfs / "class/block" / folder.filename());
  }
  void disk(const std::string& place, const std::string& device, const std::string& removable) const {
    write(devices() / place / "removable", removable + "\n");
    number(devices() / place, device);
  }
  void part(const std::string& place, const std::string& device) const {
    write(devices() / place / "partition", "1\n");
    number(devices() / place, device);
  }
  void slave(const std::string& place, const std::string& below) const {
    fs::create_directories(devices() / place / "slaves");
    fs::create_symlink(devices() / below, devices() / place / "slaves" / fs::path(below).filename());
  }
  VolumeKind kindOf(const std::string& type, const std::string& source, const std::string& device,
                    const std::string& rootDevice = "8:1") const {
    const MountTable table(line("/", "ext4", "/dev/root", rootDevice) + line("/mnt", type, source, device));
    return detail::kindOfVolume(table, table.mounts().at(1), sysfs);
  }

  const fs::path sysfs = fs::path(testFolder()) / "sys";
};

}  // namespace

TEST(MountTable, ReadsTheKernelsLines) {
  const MountTable table(
      "36 35 98:0 /mnt1 /mnt/a\\040b\\134\\011\\012\\043 rw,noatime master:1 - ext3 /dev/root rw\n"
      "37 35 0:40 / /plain rw - fuse.rclone my\\040drive:a/b rw\n");
  ASSERT_EQ(table.mounts().size(), 2u);
  EXPECT_EQ(table.mounts()[0].id, 36u);
  EXPECT_EQ(table.mounts()[0].device, makedev(98, 0));
  EXPECT_EQ(table.mounts()[0].point, "/mnt/a b\\\t\n#");
  EXPECT_EQ(table.mounts()[0].type, "ext3");
  EXPECT_EQ(table.mounts()[0].source, "/dev/root");
  EXPECT_EQ(table.mounts()[1].source, "my drive:a/b");
}

TEST(MountTable, LeavesOutMalformedLines) {
  const MountTable table(
      "\n x\n36 35 98 / /a rw - ext3 /dev/x rw\n36 35 9:8 / a rw - t s rw\nq 35 9:8 / /a rw - t s\n" +
      line("/ok\\04", "ext4", "s\\x40"));
  ASSERT_EQ(table.mounts().size(), 1u);
  EXPECT_EQ(table.mounts()[0].point, "/ok\\04");
  EXPECT_EQ(table.mounts()[0].source, "s\\x40");
  EXPECT_TRUE(MountTable("").mounts().empty());
}

TEST(MountTable, FindsTheMountAboveAPath) {
  const MountTable table(line("/", "ext4", "r") + line("/a", "t1", "s") + line("/a/b", "t2", "s") +
                         line("/a/b", "t3", "s"));
  const auto type = [&](const char* path) { return table.mountAbove(path)->type; };
  EXPECT_EQ(type("/"), "ext4");
  EXPECT_EQ(type("/ab"), "ext4");
  EXPECT_EQ(type("/a"), "t1");
  EXPECT_EQ(type("/a/bc"), "t1");
  EXPECT_EQ(type("/a/b/c"), "t3");
  EXPECT_EQ(table.mountAbove("relative"), nullptr);
}

TEST(MountTable, TellsWhatLeadsIntoANetwork) {
  const MountTable table(line("/", "nfs4", "server:/root") + line("/net", "nfs4", "server:/x") +
                         line("/net/disk", "ext4", "/dev/sdb1") + line("/auto", "autofs", "map") +
                         line("/auto", "fuse.sshfs", "host:") + line("/disk", "ext4", "/dev/sdc1"));
  for (const char* path : {"/net", "/net/a", "/net/disk", "/net/disk/a", "/auto"})
    EXPECT_TRUE(table.leadsIntoNetwork(path)) << path;
  for (const char* path : {"/", "/disk", "/disk/a", "/network", "relative", ""})
    EXPECT_FALSE(table.leadsIntoNetwork(path)) << path;
}

TEST(MountTable, FindsTheMountOfAnItem) {
  const MountTable table = MountTable::current();
  if (table.mounts().empty()) GTEST_SKIP() << "no /proc here";
  const Mount* proc = table.mountOf("/proc/self/mountinfo");
  ASSERT_NE(proc, nullptr);
  EXPECT_EQ(proc->type, "proc");
  EXPECT_EQ(table.mountOf(testFolder() + "/none"), nullptr);
}

TEST_F(Volumes, NetworkFileSystemsAreTold) {
  for (const char* type : {"nfs", "nfs4", "cifs", "smb3", "9p", "ceph", "fuse.sshfs", "fuse.rclone",
                           "fuse.gvfsd-fuse", "fuse", "fuse.glusterfs", "fuse.unheard-of", "virtiofs"})
    EXPECT_EQ(kindOf(type, "server:/x", "0:50"), VolumeKind::Network) << type;
  for (const char* type :
       {"tmpfs", "overlay", "zfs", "fuse.gocryptfs", "fuse.mergerfs", "fuse.portal", "ramfs"})
    EXPECT_EQ(kindOf(type, "pool", "0:50"), VolumeKind::Fixed) << type;
}

TEST_F(Volumes, InnerDisksAreFixed) {
  EXPECT_EQ(kindOf("ext4", "/dev/sda1", "8:1"), VolumeKind::Fixed);
  EXPECT_EQ(kindOf("ext4", "/dev/mapper/home", "254:1"), VolumeKind::Fixed);
  EXPECT_EQ(kindOf("iso9660", "/dev/loop0", "7:0"), VolumeKind::Fixed);
  EXPECT_EQ(kindOf("ext4", "/dev/vanished", "250:0"), VolumeKind::Fixed);
}

TEST_F(Volumes, RemovableMediaAndPluggedDisksAreRemovable) {
  EXPECT_EQ(kindOf("vfat", "/dev/sdb1", "8:17"), VolumeKind::Removable);
  EXPECT_EQ(kindOf("fuseblk", "/dev/sdb1", "8:17"), VolumeKind::Removable);
  EXPECT_EQ(kindOf("ext4", "/dev/sdc", "8:32"), VolumeKind::Removable) << "a USB disk without the flag";
  EXPECT_EQ(kindOf("exfat", "/dev/mmcblk0", "179:0"), VolumeKind::Removable) << "an SD card";
  EXPECT_EQ(kindOf("ext4", "/dev/mapper/luks", "254:0"), VolumeKind::Removable) << "an encrypted stick";
}

TEST_F(Volumes, ADeviceNumberOfTheFileSystemsOwnIsFoundByItsSource) {
  EXPECT_EQ(kindOf("btrfs", "/dev/sdb1", "0:41"), VolumeKind::Removable);
  EXPECT_EQ(kindOf("btrfs", "/dev/sda1", "0:41"), VolumeKind::Fixed);
}

TEST_F(Volumes, TheSystemsOwnDiskIsNeverRemovable) {
  EXPECT_EQ(kindOf("ext4", "/dev/sdb1", "8:17", "8:17"), VolumeKind::Fixed);
  EXPECT_EQ(kindOf("ext4", "/dev/mapper/home", "254:0", "8:17"), VolumeKind::Fixed);
  EXPECT_EQ(kindOf("ext4", "/dev/sdc", "8:32", "8:17"), VolumeKind::Removable);
}

TEST(VolumeIsLocal, TellsOfRealItems) {
  EXPECT_EQ(detail::volumeIsLocal("/proc"), 1);
  EXPECT_EQ(detail::volumeIsLocal(testFolder() + "/none"), -1);
}
