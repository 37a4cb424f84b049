#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Foundation/Export.h"
#include "Platform/Foundation/Files/Volumes.h"

// What rclone, the Linux client of most cloud services, leaves behind for iCloud Drive: a mounted file system
// whose source is a remote of the type "iclouddrive", and the listings of folders that its command bisync keeps
// in step with such a remote.
namespace orv::detail {

class ORV_EXPORT RcloneTraces {
 public:
  // A remote's settings by name.
  using Remote = std::map<std::string, std::string>;

  // What is there at this moment: the process's mounts, rclone's settings ($RCLONE_CONFIG, or
  // rclone/rclone.conf below $XDG_CONFIG_HOME or ~/.config) and its cache folder ($RCLONE_CACHE_DIR, or rclone
  // below $XDG_CACHE_HOME or ~/.cache).
  static RcloneTraces ofUser();

  // `config` is the text of the settings; `cacheFolder` may be missing.
  RcloneTraces(MountTable mounts, std::string_view config, std::string cacheFolder);

  // Why an item counts as one of iCloud Drive, as a phrase for people; nothing when it does not. Asks the disk.
  std::optional<std::string> evidenceFor(const std::string& path) const;

  // Whether "name:path" is a remote of iCloud Drive, also behind remotes that wrap another one (crypt, alias).
  bool isCloudRemote(std::string_view source) const;

 private:
  std::optional<std::string> mountEvidence(const std::string& path) const;
  std::optional<std::string> bisyncEvidence(const std::string& path) const;
  std::optional<std::string> evidenceOfPair(std::string_view folder, std::string_view place,
                                            const std::string& path) const;
  std::string cloudRemoteAt(std::string_view place) const;

  MountTable mounts_;
  std::map<std::string, Remote, std::less<>> remotes_;
  std::string cacheFolder_;
};

}  // namespace orv::detail
