#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Foundation/Export.h"

// The data form of bookmarks: what is remembered of an item so that it can be found again.
namespace orv::detail {

// What makes an item the same one under another name. Its inode alone does not: it is given to a new item when
// the old one is removed; the birth time tells them apart, and where the file system keeps none, the volume at
// least must be the same.
struct ORV_EXPORT FileIdentity {
  uint64_t fileSystem = 0;  // its own identifier, which outlives a restart; 0 where it has none
  uint64_t device = 0;      // given anew, and to other volumes, with each mount
  uint64_t inode = 0;
  bool hasBirth = false;
  int64_t birthSeconds = 0;
  uint32_t birthNanoseconds = 0;
  uint32_t kind = 0;  // the type bits of the mode

  bool isSameAs(const FileIdentity& other) const noexcept;
  // By the identifiers of the file systems; by the device only where one of them has none.
  bool isOnVolumeOf(const FileIdentity& other) const noexcept;
  bool isFolder() const noexcept;

  // Of an item, not of what a link points to; nothing, with errno set, when it cannot be reached. `folder` is
  // an open one, or AT_FDCWD.
  static std::optional<FileIdentity> of(int folder, const std::string& name);
  static std::optional<FileIdentity> of(const std::string& path);

  bool operator==(const FileIdentity&) const = default;
};

// The form: "OrvMark" and the version, 1; then the members in their order, numbers in little-endian, texts and
// lists behind their count; at the end the SHA-256 of all that. The digest tells damage and careless changes;
// it is no signature.
struct ORV_EXPORT Bookmark {
  std::string path;      // absolute, as it was given
  std::string realPath;  // the same place without links on the way
  FileIdentity item;
  int32_t handleType = 0;  // the kernel's own handle of the item; none when it is empty
  std::string handle;
  std::vector<FileIdentity> folders;  // of realPath, from "/" down to the item's own

  // Reads all of it from the disk; nothing, with errno set, for a missing item and for one whose real path is
  // longer than the kernel takes (ENAMETOOLONG; links can shorten the one given).
  static std::optional<Bookmark> of(const std::string& absolutePath);
  // Nothing for anything that encoded() did not make.
  static std::optional<Bookmark> decode(std::string_view bytes);
  std::string encoded() const;

  // The names of realPath: one for each of the folders behind "/", then the item's.
  std::vector<std::string> names() const;
};

}  // namespace orv::detail
