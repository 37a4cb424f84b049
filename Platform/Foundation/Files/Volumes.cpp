#include "Platform/Foundation/Files/Volumes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

namespace orv::detail {
namespace {

namespace fs = std::filesystem;

// File systems that lie on other machines, or on the host of a virtual one.
constexpr std::array<std::string_view, 28> kNetworkTypes = {
    "9p",   "acfs",   "afs",  "beegfs", "ceph",   "cifs",     "coda",   "davfs",    "fuse",   "gfs2",
    "gpfs", "lustre", "ncp",  "ncpfs",  "nfs",    "nfs4",     "ocfs2",  "orangefs", "prl_fs", "pvfs2",
    "shfs", "smb2",   "smb3", "smbfs",  "vboxsf", "virtiofs", "vmhgfs", "glusterfs"};

// File systems in user space whose files lie on this machine all the same.
constexpr std::array<std::string_view, 19> kLocalFuseTypes = {
    "fuse.bindfs",   "fuse.cryfs",          "fuse.encfs",      "fuse.exfat",     "fuse.exfat-fuse",
    "fuse.ext2",     "fuse.fuse-overlayfs", "fuse.fuse2fs",    "fuse.gocryptfs", "fuse.lxcfs",
    "fuse.mergerfs", "fuse.mhddfs",         "fuse.ntfs",       "fuse.ntfs-3g",   "fuse.overlayfs",
    "fuse.portal",   "fuse.securefs",       "fuse.squashfuse", "fuse.unionfs"};

// What network and user-space file systems tell as their number, from <linux/magic.h> and their own sources.
constexpr std::array<uint32_t, 12> kNetworkMagic = {0x6969,     0x517B,     0xFE534D42, 0xFF534D42,
                                                    0x5346414F, 0x73757245, 0x01021997, 0x00C36400,
                                                    0x0BD00BD0, 0x47504653, 0x65735546, 0x6A656A63};

template <class Table, class Item>
bool holds(const Table& table, const Item& item) {
  return std::ranges::find(table, item) != table.end();
}

std::string_view takeField(std::string_view& line) {
  const size_t end = std::min(line.find(' '), line.size());
  const std::string_view field = line.substr(0, end);
  line.remove_prefix(std::min(end + 1, line.size()));
  return field;
}

template <class Number>
bool readNumber(std::string_view text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

bool isOctal(char c) { return c >= '0' && c <= '7'; }

// Blanks, line ends, backslashes and number signs come as "\040".
std::string unescaped(std::string_view text) {
  std::string bytes;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 3 < text.size() && isOctal(text[i + 1]) && isOctal(text[i + 2]) &&
        isOctal(text[i + 3])) {
      bytes += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0'));
      i += 3;
    } else {
      bytes += text[i];
    }
  }
  return bytes;
}

bool readDevice(std::string_view text, dev_t& device) {
  const size_t colon = text.find(':');
  unsigned major = 0, minor = 0;
  if (colon == std::string_view::npos || !readNumber(text.substr(0, colon), major) ||
      !readNumber(text.substr(colon + 1), minor))
    return false;
  device = makedev(major, minor);
  return true;
}

// "36 35 98:0 /root /point options optional... - type source options"
bool readMount(std::string_view line, Mount& mount) {
  const size_t dash = line.find(" - ");
  if (dash == std::string_view::npos) return false;
  std::string_view tail = line.substr(dash + 3);
  mount.type = unescaped(takeField(tail));
  mount.source = unescaped(takeField(tail));
  if (!readNumber(takeField(line), mount.id)) return false;
  takeField(line);  // the parent
  if (!readDevice(takeField(line), mount.device)) return false;
  takeField(line);  // the root within the file system
  mount.point = unescaped(takeField(line));
  return mount.point.starts_with('/');
}

bool isBelow(std::string_view path, std::string_view folder) {
  if (folder == "/") return path.starts_with('/');
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

std::string contentsOf(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// ---- Devices

fs::path realPath(const fs::path& path) {
  std::error_code error;
  fs::path real = fs::canonical(path, error);
  return error ? fs::path() : real;
}

// The folder of the kernel's about the device that a mount lies on; empty where it lies on none. Some file
// systems (btrfs) have device numbers of their own: their source tells the device.
fs::path deviceOf(const Mount& mount, const fs::path& sysfs) {
  if (major(mount.device) != 0)
    return realPath(sysfs / "dev/block" /
                    (std::to_string(major(mount.device)) + ":" + std::to_string(minor(mount.device))));
  if (!mount.source.starts_with("/dev/")) return {};
  const fs::path node = realPath(mount.source);
  return realPath(sysfs / "class/block" / (node.empty() ? fs::path(mount.source) : node).filename());
}

// The whole disks that a device is made of: itself, or what an encrypted or combined one lies on.
std::set<fs::path> disksBelow(const fs::path& device) {
  std::set<fs::path> disks;
  if (device.empty()) return disks;
  std::error_code error;
  const fs::path disk = fs::exists(device / "partition", error) ? device.parent_path() : device;
  for (const auto& slave : fs::directory_iterator(device / "slaves", error))
    disks.merge(disksBelow(realPath(slave.path())));
  if (disks.empty()) disks.insert(disk);
  return disks;
}

// A component such as "usb2" or "fw0" in the place of a device: what it is plugged into.
bool isPluggedIn(const fs::path& disk) {
  for (const fs::path& part : disk) {
    const std::string& name = part.native();
    const size_t digits = name.starts_with("usb") ? 3 : name.starts_with("fw") ? 2 : 0;
    if (digits > 0 && name.size() > digits && name.find_first_not_of("0123456789", digits) == std::string::npos)
      return true;
  }
  return false;
}

bool isRemovable(const fs::path& disk) {
  return contentsOf(disk / "removable").starts_with('1') ||
         contentsOf(disk / "device/type").starts_with("SD") || isPluggedIn(disk);
}

bool isNetworkType(const std::string& type) {
  if (type.starts_with("fuse.")) return !holds(kLocalFuseTypes, type);
  return holds(kNetworkTypes, type);
}

}  // namespace

MountTable::MountTable(std::string_view mountInfo) {
  while (!mountInfo.empty()) {
    const size_t end = std::min(mountInfo.find('\n'), mountInfo.size());
    Mount mount;
    if (readMount(mountInfo.substr(0, end), mount)) mounts_.push_back(std::move(mount));
    mountInfo.remove_prefix(std::min(end + 1, mountInfo.size()));
  }
}

MountTable MountTable::current() { return MountTable(contentsOf("/proc/self/mountinfo")); }

const Mount* MountTable::mountOf(const std::string& path) const {
  struct statx info;
  if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_MNT_ID, &info) != 0)
    return nullptr;
  const dev_t device = makedev(info.stx_dev_major, info.stx_dev_minor);
  const bool told = info.stx_mask & STATX_MNT_ID;  // since Linux 5.8
  const auto found = std::ranges::find_if(
      mounts_, [&](const Mount& mount) { return told ? mount.id == info.stx_mnt_id : mount.device == device; });
  return found == mounts_.end() ? nullptr : &*found;
}

const Mount* MountTable::mountAbove(std::string_view path) const {
  const Mount* best = nullptr;
  for (const Mount& mount : mounts_)
    if (isBelow(path, mount.point) && (!best || mount.point.size() >= best->point.size())) best = &mount;
  return best;
}

bool MountTable::leadsIntoNetwork(std::string_view path) const {
  return std::ranges::any_of(mounts_, [&](const Mount& mount) {
    return mount.point != "/" && isBelow(path, mount.point) && isNetworkType(mount.type);
  });
}

VolumeKind kindOfVolume(const MountTable& table, const Mount& mount, const std::string& sysfs) {
  if (isNetworkType(mount.type)) return VolumeKind::Network;
  const std::set<fs::path> disks = disksBelow(deviceOf(mount, sysfs));
  if (std::ranges::none_of(disks, isRemovable)) return VolumeKind::Fixed;
  const Mount* root = table.mountAbove("/");
  const bool runsFromIt = root && disksBelow(deviceOf(*root, sysfs)) == disks;
  return runsFromIt ? VolumeKind::Fixed : VolumeKind::Removable;
}

int volumeIsLocal(const std::string& path) {
  const MountTable table = MountTable::current();
  if (const Mount* mount = table.mountOf(path)) return kindOfVolume(table, *mount) == VolumeKind::Fixed;
  struct statfs info;  // no mount table here: the file system's own number has to do
  if (::statfs(path.c_str(), &info) != 0) return -1;
  return !holds(kNetworkMagic, static_cast<uint32_t>(info.f_type));
}

}  // namespace orv::detail
