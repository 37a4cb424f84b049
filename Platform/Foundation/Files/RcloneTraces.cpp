#include "Platform/Foundation/Files/RcloneTraces.h"

#include <algorithm>
#include <filesystem>
#include <utility>
#include <vector>

#include "Platform/Foundation/Files/FileBytes.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/System/NSProcessInfo.h"

namespace orv::detail {
namespace {

constexpr std::string_view kService = "iclouddrive";
constexpr int kMostWrappers = 8;  // remotes around remotes; a circle ends, too

std::string_view trimmed(std::string_view text) {
  const size_t begin = text.find_first_not_of(" \t\r");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

// Settings as "[name]" and "key = value"; lines that begin with # or ; say nothing.
std::map<std::string, RcloneTraces::Remote, std::less<>> readRemotes(std::string_view config) {
  std::map<std::string, RcloneTraces::Remote, std::less<>> remotes;
  RcloneTraces::Remote* current = nullptr;
  while (!config.empty()) {
    const size_t end = std::min(config.find('\n'), config.size());
    const std::string_view line = trimmed(config.substr(0, end));
    config.remove_prefix(std::min(end + 1, config.size()));
    if (line.empty() || line.starts_with('#') || line.starts_with(';')) continue;
    const size_t equal = line.find('=');
    if (line.starts_with('[') && line.ends_with(']'))
      current = &remotes[std::string(line.substr(1, line.size() - 2))];
    else if (current && equal != std::string_view::npos)
      (*current)[std::string(trimmed(line.substr(0, equal)))] = trimmed(line.substr(equal + 1));
  }
  return remotes;
}

std::string folderFrom(const char* variable, const char* base, const char* belowHome) {
  NSString folder = environmentValue(variable);
  if (folder.length() > 0) return folder.fileSystemRepresentation();
  folder = environmentValue(base);
  if (!folder.isAbsolutePath()) folder = NSHomeDirectory().stringByAppendingPathComponent(belowHome);
  return folder.stringByAppendingPathComponent("rclone").fileSystemRepresentation();
}

std::string settings() {
  const NSString given = environmentValue("RCLONE_CONFIG");
  NSData contents;
  readFile(given.length() > 0 ? given.fileSystemRepresentation()
                              : folderFrom("", "XDG_CONFIG_HOME", ".config") + "/rclone.conf",
           contents);
  return std::string(contents.view());
}

// How rclone writes a place into the name of a listing: without slashes at the ends, "_" for what a file name
// had better not hold.
std::string canonicalName(std::string_view place) {
  while (place.starts_with('/')) place.remove_prefix(1);
  while (place.ends_with('/')) place.remove_suffix(1);
  std::string name(place);
  std::ranges::replace_if(
      name, [](char c) { return std::string_view(" \t\n\v\f\r\\/:?*").find(c) != std::string_view::npos; },
      '_');
  return name;
}

using Places = std::pair<std::string_view, std::string_view>;

// What the name of a listing, "PLACE..PLACE.path1.lst", may mean: one pair of places for each "..", which may
// as well belong to the name of a folder.
std::vector<Places> readListingName(std::string_view name) {
  constexpr std::string_view kEnd = ".path1.lst";
  std::vector<Places> readings;
  if (!name.ends_with(kEnd)) return readings;
  name.remove_suffix(kEnd.size());
  for (size_t gap = name.find(".."); gap != std::string_view::npos; gap = name.find("..", gap + 1))
    readings.emplace_back(name.substr(0, gap), name.substr(gap + 2));
  return readings;
}

// The path, or the folder above it, that a listing's name means; empty when it means none of them.
std::string folderNamed(std::string_view place, std::string path) {
  while (path.size() > 1) {
    if (canonicalName(path) == place) return path;
    path.resize(path.rfind('/'));
  }
  return {};
}

}  // namespace

RcloneTraces RcloneTraces::ofUser() {
  return RcloneTraces(MountTable::current(), settings(),
                      folderFrom("RCLONE_CACHE_DIR", "XDG_CACHE_HOME", ".cache"));
}

RcloneTraces::RcloneTraces(MountTable mounts, std::string_view config, std::string cacheFolder)
    : mounts_(std::move(mounts)), remotes_(readRemotes(config)), cacheFolder_(std::move(cacheFolder)) {}

std::optional<std::string> RcloneTraces::evidenceFor(const std::string& path) const {
  if (!path.starts_with('/')) return std::nullopt;
  if (auto evidence = mountEvidence(path)) return evidence;
  return bisyncEvidence(path);
}

bool RcloneTraces::isCloudRemote(std::string_view source) const {
  std::string place(source);
  for (int i = 0; i < kMostWrappers; ++i) {
    // A remote made up at the command line is ":type,settings:path" or ":type{digest}:path".
    if (place.starts_with(':')) {
      const std::string_view type = std::string_view(place).substr(1, place.find_first_of(",:{", 1) - 1);
      return type == kService;
    }
    const auto remote = remotes_.find(place.substr(0, place.find_first_of(",:{")));
    if (place.find(':') == std::string::npos || remote == remotes_.end()) return false;
    const auto type = remote->second.find("type");
    if (type != remote->second.end() && type->second == kService) return true;
    const auto inner = remote->second.find("remote");
    if (inner == remote->second.end()) return false;
    place = inner->second;
  }
  return false;
}

std::optional<std::string> RcloneTraces::mountEvidence(const std::string& path) const {
  const Mount* mount = mounts_.mountOf(path);
  if (!mount) mount = mounts_.mountAbove(path);
  if (!mount || mount->type != "fuse.rclone" || !isCloudRemote(mount->source)) return std::nullopt;
  return "rclone mounts \"" + mount->source + "\" at " + mount->point;
}

// The remote of the service that a place in a listing's name lies on; empty for another place.
std::string RcloneTraces::cloudRemoteAt(std::string_view place) const {
  for (const auto& [name, settings] : remotes_)
    if (place.starts_with(canonicalName(name + ":")) && isCloudRemote(name + ":")) return name + ":";
  return {};
}

// What the listing of a folder, or of one above it, and a place says when that lies on a remote of the service.
std::optional<std::string> RcloneTraces::evidenceOfPair(std::string_view folder, std::string_view place,
                                                        const std::string& path) const {
  const std::string remote = cloudRemoteAt(place);
  const std::string kept = remote.empty() ? remote : folderNamed(folder, path);
  if (kept.empty()) return std::nullopt;
  return "rclone bisync keeps " + kept + " in step with \"" + remote + "\"";
}

std::optional<std::string> RcloneTraces::bisyncEvidence(const std::string& path) const {
  std::error_code error;
  const std::filesystem::path listings = std::filesystem::path(cacheFolder_) / "bisync";
  for (const auto& entry : std::filesystem::directory_iterator(listings, error)) {
    const std::string file = entry.path().filename();
    for (const auto& [first, second] : readListingName(file)) {
      if (auto evidence = evidenceOfPair(second, first, path)) return evidence;
      if (auto evidence = evidenceOfPair(first, second, path)) return evidence;
    }
  }
  return std::nullopt;
}

}  // namespace orv::detail
