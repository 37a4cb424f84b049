#include "Platform/Foundation/Files/BookmarkSearch.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <deque>
#include <filesystem>
#include <functional>
#include <set>
#include <utility>
#include <vector>

#include "Platform/Foundation/Files/Descriptor.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/Files/Volumes.h"

namespace orv::detail {
namespace {

constexpr long kOverlay = 0x794C7630;  // its lists tell other inodes than its items

std::string joined(const std::string& folder, const std::string& name) {
  return folder.ends_with('/') ? folder + name : folder + "/" + name;
}

bool isAt(const std::string& path, const FileIdentity& wanted) {
  const auto found = FileIdentity::of(path);
  return found && found->isSameAs(wanted);
}

std::string pathOfDescriptor(int descriptor) {
  std::array<char, PATH_MAX> path;
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  const ssize_t size = ::readlink(link.c_str(), path.data(), path.size());
  return size > 0 ? std::string(path.data(), static_cast<size_t>(size)) : std::string();
}

// What is read of a folder's list.
struct Entry {
  std::string name;
  uint64_t inode;
  unsigned char type;
};

// One bookmark's search. Places of the chain are numbered like its names: 0 is the folder "/", the last one is
// the item.
class Search {
 public:
  Search(const Bookmark& bookmark, const BookmarkSearchLimits& limits)
      : bookmark_(bookmark), names_(bookmark.names()), left_(limits.names) {
    for (const Mount& mount : mounts_.mounts()) mountPoints_.insert(mount.point);
  }

  // True when the kernel's word is final: it found the item, or the path is "" and the item gone.
  bool byHandle(std::string& path) const;
  std::string byChain();
  std::string byNames();

 private:
  const FileIdentity& identityAt(size_t place) const {
    return place < bookmark_.folders.size() ? bookmark_.folders[place] : bookmark_.item;
  }
  Descriptor openHandle(const std::string& root) const;
  bool isOnFileSystem(const std::string& folder) const;
  size_t nearestStanding() const;
  std::string descend(std::string path, size_t& place);
  std::string childOf(const std::string& folder, const FileIdentity& wanted);
  std::string below(const std::string& root);
  std::string match(const Entry& entry, const std::string& folder);
  std::vector<std::string> roots() const;
  bool readEntries(int folder, const std::function<bool(const Entry&)>& use);

  const Bookmark& bookmark_;
  const std::vector<std::string> names_;
  const MountTable mounts_ = MountTable::current();
  std::set<std::string, std::less<>> mountPoints_;
  size_t left_;                             // names that may still be read
  size_t missing_ = 1;                      // the first place of the chain that is not found
  std::set<std::pair<dev_t, ino_t>> seen_;  // folders that were searched
};

// Opens the item by the kernel's handle on the volume of a folder; errno tells why not.
Descriptor Search::openHandle(const std::string& root) const {
  alignas(file_handle) std::array<char, sizeof(file_handle) + 128> space{};
  auto* handle = reinterpret_cast<file_handle*>(space.data());
  handle->handle_bytes = static_cast<unsigned>(bookmark_.handle.size());
  handle->handle_type = bookmark_.handleType;
  std::memcpy(handle->f_handle, bookmark_.handle.data(), bookmark_.handle.size());
  const Descriptor volume(::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return Descriptor(volume < 0 ? -1 : ::open_by_handle_at(volume, handle, O_PATH | O_CLOEXEC));
}

// A volume that does not know the handle may just be the wrong one: that the item is gone is believed only of
// the file system it was on, and only when no other place of it opens the handle (which is the case for an item
// that was removed but is held open, and for one that is not to be seen from there).
bool Search::byHandle(std::string& path) const {
  bool isGone = false, isOpened = false;
  if (bookmark_.handle.empty()) return false;
  for (const std::string& root : roots()) {
    const Descriptor item = openHandle(root);
    if (item < 0) {
      isGone = isGone || (errno == ESTALE && isOnFileSystem(root));
      continue;
    }
    isOpened = true;
    path = pathOfDescriptor(item);
    if (path.starts_with('/') && isAt(path, bookmark_.item)) return true;
    path.clear();
  }
  return isGone && !isOpened;
}

// Whether a folder is certainly, not just by its device number, on the item's volume.
bool Search::isOnFileSystem(const std::string& folder) const {
  const auto identity = FileIdentity::of(folder);
  return identity && identity->fileSystem != 0 && identity->fileSystem == bookmark_.item.fileSystem;
}

// The deepest folder of the chain that is still in its place.
size_t Search::nearestStanding() const {
  size_t nearest = 0;
  std::string path = "/";
  for (size_t place = 1; place < bookmark_.folders.size(); ++place) {
    path = joined(path, names_[place - 1]);
    if (isAt(path, identityAt(place))) nearest = place;
  }
  return nearest;
}

std::string Search::byChain() {
  if (names_.empty()) return {};
  size_t place = nearestStanding();
  std::string path = "/";
  for (size_t i = 0; i < place; ++i) path = joined(path, names_[i]);
  path = descend(std::move(path), place);
  missing_ = place + 1;
  return path;
}

// From a place of the chain that was found down to the item, by the old names or, where they do not lead on, by
// the identities of the children. `place` becomes the last one that was found.
std::string Search::descend(std::string path, size_t& place) {
  while (place < names_.size()) {
    const FileIdentity& wanted = identityAt(place + 1);
    std::string next = joined(path, names_[place]);
    if (!isAt(next, wanted)) next = childOf(path, wanted);
    if (next.empty()) break;
    path = std::move(next);
    ++place;
  }
  return place == names_.size() ? path : std::string();
}

std::string Search::childOf(const std::string& folder, const FileIdentity& wanted) {
  const Descriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  std::string found;
  readEntries(descriptor, [&](const Entry& entry) {
    if (entry.inode == wanted.inode && isAt(joined(folder, entry.name), wanted))
      found = joined(folder, entry.name);
    return found.empty();
  });
  return found;
}

// Calls for each entry of an open folder until that answers false, or no more names may be read.
bool Search::readEntries(int folder, const std::function<bool(const Entry&)>& use) {
  const int copy = folder < 0 ? -1 : ::fcntl(folder, F_DUPFD_CLOEXEC, 0);
  DIR* list = copy < 0 ? nullptr : ::fdopendir(copy);
  if (!list) {
    if (copy >= 0) ::close(copy);
    return true;
  }
  struct statfs volume {};
  ::fstatfs(folder, &volume);
  bool goOn = true;
  while (const dirent* entry = goOn && left_ > 0 ? ::readdir(list) : nullptr) {
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    --left_;
    struct stat info {};
    const bool asks = volume.f_type == kOverlay || entry->d_type == DT_UNKNOWN;
    if (asks && ::fstatat(folder, entry->d_name, &info, AT_SYMLINK_NOFOLLOW) != 0) continue;
    goOn = use({std::string(name), asks ? info.st_ino : entry->d_ino,
                asks ? static_cast<unsigned char>(IFTODT(info.st_mode)) : entry->d_type});
  }
  ::closedir(list);
  return goOn;
}

// Where the item is when an entry is the item itself or one of its folders that were missing.
std::string Search::match(const Entry& entry, const std::string& folder) {
  for (size_t place = names_.size(); place >= missing_ && place > 0; --place) {
    if (entry.inode != identityAt(place).inode) continue;
    const std::string path = joined(folder, entry.name);
    size_t found = place;
    if (!isAt(path, identityAt(place))) continue;
    if (std::string item = descend(path, found); !item.empty()) return item;
  }
  return {};
}

// All names below a folder, near ones first, on its volume. What is mounted is not touched: it could hang. A
// folder that was searched before is left out: what lies below it was searched with it.
std::string Search::below(const std::string& root) {
  std::deque<std::string> open{root};
  struct stat info {};
  if (::lstat(root.c_str(), &info) != 0) return {};
  const dev_t device = info.st_dev;
  std::string item;
  while (!open.empty() && left_ > 0 && item.empty()) {
    const std::string path = std::move(open.front());
    open.pop_front();
    if (path != root && mountPoints_.contains(path)) continue;
    const Descriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (folder < 0 || ::fstat(folder, &info) != 0 || info.st_dev != device) continue;
    if (!seen_.emplace(info.st_dev, info.st_ino).second) continue;
    readEntries(folder, [&](const Entry& entry) {
      item = match(entry, path);
      if (entry.type == DT_DIR) open.push_back(joined(path, entry.name));
      return item.empty();
    });
  }
  return item;
}

// The folders to search below, in their order: all on the item's volume. A device number finds a network file
// system's other mounts; what else leads into one is not touched.
std::vector<std::string> Search::roots() const {
  std::vector<std::string> above{"/"};  // the chain's folders
  for (size_t i = 0; i + 1 < names_.size(); ++i) above.push_back(joined(above.back(), names_[i]));
  std::reverse(above.begin(), above.end());
  std::erase_if(above, [](const std::string& folder) { return ::access(folder.c_str(), F_OK) != 0; });
  const auto near = above.begin() + std::min<ptrdiff_t>(2, std::ssize(above));
  std::vector<std::string> candidates(above.begin(), near);
  std::error_code error;
  candidates.push_back(std::filesystem::canonical(NSHomeDirectory().fileSystemRepresentation(), error));
  candidates.insert(candidates.end(), near, above.end());
  for (const Mount& mount : mounts_.mounts())
    if (mount.device == bookmark_.item.device || !mounts_.leadsIntoNetwork(mount.point))
      candidates.push_back(mount.point);
  std::erase_if(candidates, [&](const std::string& folder) {
    const auto identity = FileIdentity::of(folder);
    return !identity || !identity->isFolder() || !identity->isOnVolumeOf(bookmark_.item);
  });
  return candidates;
}

std::string Search::byNames() {
  for (const std::string& root : roots())
    if (std::string item = below(root); !item.empty()) return item;
  return {};
}

}  // namespace

std::string findMovedItem(const Bookmark& bookmark, const BookmarkSearchLimits& limits) {
  Search search(bookmark, limits);
  std::string path;
  if (limits.handles && search.byHandle(path)) return path;
  path = search.byChain();
  return path.empty() ? search.byNames() : path;
}

}  // namespace orv::detail
