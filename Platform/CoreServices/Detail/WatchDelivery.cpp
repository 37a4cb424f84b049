#include "Platform/CoreServices/Detail/WatchDelivery.h"

#include <string_view>
#include <unordered_map>

#include "Platform/CoreServices/Detail/FolderList.h"
#include "Platform/CoreServices/FSEvents.h"

namespace orv::detail {

namespace {

constexpr size_t kItemsBetweenPauses = 512;
constexpr uint32_t kKinds =
    kFSEventStreamEventFlagItemIsFile | kFSEventStreamEventFlagItemIsDir | kFSEventStreamEventFlagItemIsSymlink;

// Paths of items; those of one folder often follow each other.
class PathMaker {
 public:
  PathMaker(const ChangeBatch& batch, const FolderTable& folders) : batch_(batch), folders_(folders) {}

  std::string make(const ChangeBatch::Entry& entry) {
    const std::string_view name = batch_.name(entry);
    if (entry.folder == kNoFolder) return std::string(name);
    if (entry.folder != folder_) {
      folder_ = entry.folder;
      prefix_ = folders_.path(folder_);
    }
    if (name.empty()) return prefix_.empty() ? "/" : prefix_;
    std::string path;
    path.reserve(prefix_.size() + 1 + name.size());
    return path.append(prefix_).append(1, '/').append(name);
  }

 private:
  const ChangeBatch& batch_;
  const FolderTable& folders_;
  FolderId folder_ = kNoFolder;
  std::string prefix_;
};

uint32_t kindOf(const std::string& path) {
  switch (FolderList::kindOf(path)) {
    case FolderList::Kind::Folder: return kFSEventStreamEventFlagItemIsDir;
    case FolderList::Kind::Link: return kFSEventStreamEventFlagItemIsSymlink;
    case FolderList::Kind::File: break;
  }
  return kFSEventStreamEventFlagItemIsFile;
}

// A folder that was removed and made again is two folders with one path.
std::vector<Change> merged(std::vector<Change>&& changes) {
  std::unordered_map<std::string_view, size_t> places(changes.size());
  std::vector<bool> repeated(changes.size(), false);
  bool any = false;
  for (size_t i = 0; i < changes.size(); ++i) {
    const auto [place, isNew] = places.emplace(changes[i].path, i);
    if (isNew) continue;
    changes[place->second].flags |= changes[i].flags;
    repeated[i] = any = true;
  }
  if (!any) return std::move(changes);
  std::vector<Change> result;
  for (size_t i = 0; i < changes.size(); ++i)
    if (!repeated[i]) result.push_back(std::move(changes[i]));
  return result;
}

}  // namespace

std::vector<Change> changesOf(const ChangeBatch& batch, const FolderTable& folders, bool fileEvents,
                              const std::function<void()>& pause) {
  std::vector<Change> changes;
  changes.reserve(batch.entries().size());
  PathMaker paths(batch, folders);
  for (const ChangeBatch::Entry& entry : batch.entries()) {
    changes.push_back({paths.make(entry), entry.flags, entry.id});
    Change& change = changes.back();
    if (entry.folder == kNoFolder) continue;
    if (fileEvents && !(change.flags & kKinds)) change.flags |= kindOf(change.path);
    if (!fileEvents && change.path != "/") change.path += '/';
    if (changes.size() % kItemsBetweenPauses == 0) pause();
  }
  return merged(std::move(changes));
}

}  // namespace orv::detail
