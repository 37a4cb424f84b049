#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Foundation/Export.h"

// The mounted file systems, and whether one of them is a disk of this machine.
namespace orv::detail {

struct Mount {
  uint64_t id = 0;  // as statx tells it
  dev_t device = 0;
  std::string point;   // where it is mounted, as bytes
  std::string type;    // "ext4", "nfs4", "fuse.sshfs"
  std::string source;  // "/dev/sda1", "server:/export", "remote:folder"
};

// The mounts of the process at one moment. Reading it costs some ten microseconds. Immutable.
//
//   const MountTable table = MountTable::current();
//   if (const Mount* mount = table.mountOf("/home/ada")) use(mount->type);
class ORV_EXPORT MountTable {
 public:
  static MountTable current();
  // The text of /proc/self/mountinfo; lines that are malformed are left out.
  explicit MountTable(std::string_view mountInfo);

  const std::vector<Mount>& mounts() const noexcept { return mounts_; }

  // The mount that an item lies on; asks the disk. Null for a missing item.
  const Mount* mountOf(const std::string& path) const;
  // The one whose mount point is the longest beginning of an absolute path, by whole components; of several at
  // one point the last, which hides the others. Asks nothing.
  const Mount* mountAbove(std::string_view path) const;
  // Whether the way to an absolute path leads into a network file system, so that asking for it can hang; one
  // that carries "/" itself does not count. Asks nothing.
  bool leadsIntoNetwork(std::string_view path) const;

 private:
  std::vector<Mount> mounts_;
};

enum class VolumeKind : uint8_t {
  Fixed,     // a disk of this machine, or its memory
  Network,   // a network file system, a host's shared folder, a user-space file system that is not known as
             // local
  Removable  // on a removable medium, or a disk at a USB or FireWire plug, unless the system itself runs from
             // it
};

// What a mount is. `sysfs` is where the kernel tells about devices.
ORV_EXPORT VolumeKind kindOfVolume(const MountTable& table, const Mount& mount,
                                   const std::string& sysfs = "/sys");

// Whether an item lies on a fixed volume: 1 or 0, and -1 when that cannot be told.
ORV_EXPORT int volumeIsLocal(const std::string& path);

}  // namespace orv::detail
