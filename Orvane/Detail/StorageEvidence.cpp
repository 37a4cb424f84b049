#include "Orvane/Detail/StorageEvidence.h"

#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <filesystem>

#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/Files/RcloneTraces.h"
#include "Platform/Foundation/Files/Volumes.h"

namespace orv::detail {
namespace {

namespace fs = std::filesystem;

// What a client leaves in the folder that it keeps in step.
struct Trace {
  const char* name;
  bool isFolder;
  const char* service;
};

constexpr std::array kTraces = {
    Trace{".sync", true, "Resilio Sync"},
    Trace{".stversions", true, "Syncthing"},
    Trace{".stfolder", true, "Syncthing"},
    Trace{".tmp.drivedownload", true, "Google Drive"},
    Trace{".nextcloudsync.log", false, "Nextcloud"},
    Trace{".owncloudsync.log", false, "ownCloud"},
};

constexpr std::array kJournals = {".sync_*.db", "._sync_*.db"};  // patterns for fnmatch

using Found = std::vector<StorageEvidence>;

void addTrace(const fs::path& item, const char* service, Found& found) {
  found.push_back({service, item.string() + " is there"});
}

bool isThere(const fs::path& item, bool isFolder) {
  std::error_code error;
  const fs::file_status status = fs::symlink_status(item, error);
  return fs::exists(status) && fs::is_directory(status) == isFolder;
}

bool isJournal(const fs::path& item) {
  const std::string name = item.filename();
  return isThere(item, false) && std::ranges::any_of(kJournals, [&](const char* pattern) {
           return ::fnmatch(pattern, name.c_str(), 0) == 0;
         });
}

// Those whose names are known are asked for one by one: a folder may be entered that may not be listed.
void addTraces(const fs::path& folder, Found& found) {
  Found here;
  std::error_code error;
  for (const Trace& trace : kTraces)
    if (isThere(folder / trace.name, trace.isFolder)) addTrace(folder / trace.name, trace.service, here);
  for (fs::directory_iterator at(folder, error); !error && at != fs::directory_iterator(); at.increment(error))
    if (isJournal(at->path())) addTrace(at->path(), "Nextcloud or ownCloud", here);
  std::ranges::sort(here, {}, &StorageEvidence::reason);  // a folder's own order is any
  found.insert(found.end(), here.begin(), here.end());
}

void addMount(const std::string& path, Found& found) {
  const MountTable table = MountTable::current();
  const Mount* mount = table.mountOf(path);
  if (!mount) return;
  const VolumeKind kind = kindOfVolume(table, *mount);
  if (kind == VolumeKind::Fixed) return;
  const Found more = evidenceOfMount(mount->type, mount->source, mount->point, kind == VolumeKind::Removable);
  found.insert(found.end(), more.begin(), more.end());
}

void addCloud(const NSURL& folder, const std::string& path, Found& found) {
  if (!NSFileManager::defaultManager()->isUbiquitousItemAtURL(folder)) return;
  const auto traces = RcloneTraces::ofUser().evidenceFor(path);
  found.push_back({"iCloud Drive", traces.value_or("the application's provider says so")});
}

}  // namespace

std::vector<StorageEvidence> evidenceOfMount(const std::string& type, const std::string& source,
                                             const std::string& point, bool isRemovable) {
  const std::string place = source + " (" + type + ") is mounted at " + point;
  Found found{{"External Location", (isRemovable ? "the removable volume " : "") + place}};
  if (type == "fuse.rclone") found.push_back({"rclone", place});
  if (type == "fuse.gvfsd-fuse") found.push_back({"GVfs", place});
  return found;
}

std::vector<StorageEvidence> storageEvidenceFor(const NSURL& url) {
  if (!url.isFileURL()) return {};
  const Ref<NSFileManager> manager = NSFileManager::defaultManager();
  const NSURL folder = manager->zuIsDir(url) ? url : url.URLByDeletingLastPathComponent();
  const std::string path = folder.fileSystemRepresentation();
  Found found;
  addMount(path, found);
  addCloud(folder, path, found);
  if (manager->isDropbox(folder)) found.push_back({"Dropbox", "its root in ~/.dropbox/info.json is above"});
  for (fs::path at = path; at != at.root_path() && !at.empty(); at = at.parent_path()) addTraces(at, found);
  return found;
}

}  // namespace orv::detail
