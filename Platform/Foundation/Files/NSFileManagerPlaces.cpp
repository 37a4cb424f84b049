// Where the user's folders lie: the XDG base directories and user directories, and new folders for
// replacements.

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <fstream>
#include <string>
#include <string_view>

#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Files/ItemPlace.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/System/NSProcessInfo.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSURL.h"

using namespace orv;

namespace {

// The folder in an environment variable; relative ones do not count.
NSString folderFrom(const char* variable) {
  const NSString value = detail::environmentValue(variable);
  return value.isAbsolutePath() ? value : NSString();
}

NSString baseFolder(const char* variable, const char* belowHome) {
  const NSString folder = folderFrom(variable);
  return folder ? folder : NSHomeDirectory().stringByAppendingPathComponent(belowHome);
}

NSString homeOfAccount() {
  passwd entry;
  passwd* found = nullptr;
  std::array<char, 4096> buffer;
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found) return "/";
  return NSString::stringWithFileSystemRepresentation(entry.pw_dir);
}

// The value of a line such as XDG_MUSIC_DIR="$HOME/Music"; nil when the line names something else.
NSString userFolderFromLine(std::string_view line, std::string_view name) {
  line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
  if (!line.starts_with(name) || !line.substr(name.size()).starts_with("=\"")) return nil;
  line.remove_prefix(name.size() + 2);
  const bool belowHome = line.starts_with("$HOME/") || line.starts_with("$HOME\"");
  if (belowHome) line.remove_prefix(5);
  std::string path;
  for (size_t i = 0; i < line.size() && line[i] != '"'; ++i) {
    if (line[i] == '\\' && i + 1 < line.size()) ++i;
    path += line[i];
  }
  const NSString text = NSString::stringWithFileSystemRepresentation(path);
  if (belowHome) return NSHomeDirectory().stringByAppendingPathComponent(text);
  return text.isAbsolutePath() ? text : NSString();
}

// A user folder: the last line of user-dirs.dirs that names it, or the usual name below home.
NSString userFolder(const char* name, const char* usual) {
  const NSString config =
      baseFolder("XDG_CONFIG_HOME", ".config").stringByAppendingPathComponent("user-dirs.dirs");
  std::ifstream in(config.fileSystemRepresentation());
  NSString folder;
  for (std::string line; std::getline(in, line);)
    if (const NSString found = userFolderFromLine(line, name)) folder = found;
  return folder ? folder : NSHomeDirectory().stringByAppendingPathComponent(usual);
}

NSString pathOf(NSSearchPathDirectory directory) {
  switch (directory) {
    case NSLibraryDirectory: return baseFolder("XDG_STATE_HOME", ".local/state");
    case NSUserDirectory: return NSHomeDirectory().stringByDeletingLastPathComponent();
    case NSDocumentDirectory: return userFolder("XDG_DOCUMENTS_DIR", "Documents");
    case NSDesktopDirectory: return userFolder("XDG_DESKTOP_DIR", "Desktop");
    case NSCachesDirectory: return baseFolder("XDG_CACHE_HOME", ".cache");
    case NSApplicationSupportDirectory: return baseFolder("XDG_DATA_HOME", ".local/share");
    case NSDownloadsDirectory: return userFolder("XDG_DOWNLOAD_DIR", "Downloads");
    case NSMoviesDirectory: return userFolder("XDG_VIDEOS_DIR", "Videos");
    case NSMusicDirectory: return userFolder("XDG_MUSIC_DIR", "Music");
    case NSPicturesDirectory: return userFolder("XDG_PICTURES_DIR", "Pictures");
    case NSSharedPublicDirectory: return userFolder("XDG_PUBLICSHARE_DIR", "Public");
    case NSItemReplacementDirectory: return nil;
    case NSTrashDirectory:
      return baseFolder("XDG_DATA_HOME", ".local/share").stringByAppendingPathComponent("Trash/files");
  }
  return nil;
}

// ---- folders for replacements -----------------------------------------------------------------

std::string parentOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

int statusOf(const std::string& path, struct statx& info, int flags = 0) {
  return ::statx(AT_FDCWD, path.c_str(), flags, STATX_TYPE | STATX_MNT_ID, &info) == 0 ? 0 : errno;
}

// Whether something can be renamed from the one to the other: two mounts of one file system do not allow it.
bool areOnOneMount(const struct statx& a, const struct statx& b) {
  const bool told = a.stx_mask & b.stx_mask & STATX_MNT_ID;  // since Linux 5.8
  if (told && a.stx_mnt_id != b.stx_mnt_id) return false;
  return a.stx_dev_major == b.stx_dev_major && a.stx_dev_minor == b.stx_dev_minor;
}

bool isMissing(int error) { return error == ENOENT || error == ENOTDIR; }

// The nearest folder above a place that is there, and its status; an errno, or 0.
int folderAbove(const std::string& place, std::string& folder, struct statx& info) {
  int error = ENOENT;
  for (folder = place; isMissing(error) && folder != "/" && folder != ".";) {
    error = statusOf(folder = parentOf(folder), info);
    if (error == 0 && !S_ISDIR(info.stx_mode)) error = ENOTDIR;
  }
  return folder == "/" ? statusOf(folder, info) : error;
}

// The folder beside an item, or above the place where there is none, and its status; an errno, or 0. The root
// of a volume has nothing beside it: then it is the root itself. A link lies where it is, not where it leads.
int folderBeside(const std::string& item, std::string& folder, struct statx& info) {
  struct statx itself;
  const int error = statusOf(item, itself, AT_SYMLINK_NOFOLLOW);
  if (error != 0 && !isMissing(error)) return error;
  if (const int above = folderAbove(item, folder, info)) return above;
  const bool isRoot = error == 0 && S_ISDIR(itself.stx_mode) && !areOnOneMount(itself, info);
  if (isRoot) folder = item, info = itself;
  return 0;
}

// The errno of a failure, or 0.
int makeFolderIn(const std::string& parent, NSURL& made) {
  const std::string start = parent == "/" ? parent : parent + "/";
  std::string name;
  const int error = orv::detail::makeHidden(
      name, [&](const char* hidden) { return ::mkdir((start + hidden).c_str(), 0700); });
  if (error == 0) made = NSURL::fileURLWithFileSystemRepresentation(start + name, true);
  return error;
}

// The temporary folder, where that is on one mount with an item; else "".
std::string temporaryFolderFor(const struct statx& item) {
  std::string path;
  struct statx info;
  const bool serves = orv::detail::itemPath(NSTemporaryDirectory(), path) && statusOf(path, info) == 0 &&
                      S_ISDIR(info.stx_mode) && areOnOneMount(info, item);
  return serves ? path : std::string();
}

// A new folder from which a file can be renamed to the item: the errno of a failure, or 0.
int makeFolderFor(const std::string& item, NSURL& made) {
  std::string beside;
  struct statx info;
  if (const int error = folderBeside(item, beside, info)) return error;
  const std::string temporary = temporaryFolderFor(info);
  if (!temporary.empty() && makeFolderIn(temporary, made) == 0) return 0;
  return makeFolderIn(beside, made);
}

NSURL folderForReplacing(const NSURL& item, NSError* error) {
  std::string path;
  if (!item.isFileURL() || !orv::detail::itemPath(item.path(), path)) {
    orv::detail::fail(error, orv::detail::invalidPathError(orv::detail::FileAction::Create, item));
    return nil;
  }
  NSURL made;
  if (const int number = makeFolderFor(path, made))
    orv::detail::fail(error, number, orv::detail::FileAction::Create, item.path());
  return made;
}

}  // namespace

NSString NSHomeDirectory() {
  const NSString home = folderFrom("HOME");
  return home ? home : homeOfAccount();
}

NSString NSTemporaryDirectory() {
  const NSString folder = folderFrom("TMPDIR");
  if (folder.isNil()) return "/tmp/";
  return folder.hasSuffix("/") ? folder : folder + "/";
}

NSArray NSFileManager::URLsForDirectory(NSSearchPathDirectory directory, NSUInteger domainMask) const {
  const NSString path = domainMask & NSUserDomainMask ? pathOf(directory) : NSString();
  return path ? NSArray{NSURL::fileURLWithPath(path, true)} : NSArray::array();
}

NSURL NSFileManager::URLForDirectory(NSSearchPathDirectory directory, NSUInteger domainMask,
                                     const NSURL& appropriateForURL, bool create, NSError* error) const {
  if (directory == NSItemReplacementDirectory && (domainMask & NSUserDomainMask))
    return folderForReplacing(appropriateForURL, error);
  const NSURL url = URLsForDirectory(directory, domainMask).firstObject().as<NSURL>();
  if (url.isNil()) detail::fail(error, ENOENT, detail::FileAction::Open, nil);
  if (!create || url.isNil()) return url;
  return createDirectoryAtURL(url, true, error) ? url : NSURL();
}

NSURL NSFileManager::temporaryDirectory() const { return NSURL::fileURLWithPath(NSTemporaryDirectory(), true); }
