#include "Platform/Foundation/Files/NSFileManager.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <string>
#include <vector>

#include "Platform/Foundation/Files/FileBytes.h"
#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Files/FolderWalk.h"
#include "Platform/Foundation/Files/NSDirectoryEnumerator.h"
#include "Platform/Foundation/Files/Retry.h"
#include "Platform/Foundation/Values/Detail/KeptText.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSNumber.h"
#include "Platform/Foundation/Values/NSURL.h"

using namespace orv;
using detail::fail;
using detail::FileAction;
using detail::systemPath;

const NSString NSFileType = orv::detail::keptText("NSFileType");
const NSString NSFileTypeRegular = orv::detail::keptText("NSFileTypeRegular");
const NSString NSFileTypeDirectory = orv::detail::keptText("NSFileTypeDirectory");
const NSString NSFileTypeSymbolicLink = orv::detail::keptText("NSFileTypeSymbolicLink");
const NSString NSFileTypeSocket = orv::detail::keptText("NSFileTypeSocket");
const NSString NSFileTypeCharacterSpecial = orv::detail::keptText("NSFileTypeCharacterSpecial");
const NSString NSFileTypeBlockSpecial = orv::detail::keptText("NSFileTypeBlockSpecial");
const NSString NSFileTypeUnknown = orv::detail::keptText("NSFileTypeUnknown");
const NSString NSFileSize = orv::detail::keptText("NSFileSize");
const NSString NSFileModificationDate = orv::detail::keptText("NSFileModificationDate");
const NSString NSFileCreationDate = orv::detail::keptText("NSFileCreationDate");
const NSString NSFilePosixPermissions = orv::detail::keptText("NSFilePosixPermissions");
const NSString NSFileOwnerAccountID = orv::detail::keptText("NSFileOwnerAccountID");
const NSString NSFileOwnerAccountName = orv::detail::keptText("NSFileOwnerAccountName");
const NSString NSFileGroupOwnerAccountID = orv::detail::keptText("NSFileGroupOwnerAccountID");
const NSString NSFileGroupOwnerAccountName = orv::detail::keptText("NSFileGroupOwnerAccountName");
const NSString NSFileReferenceCount = orv::detail::keptText("NSFileReferenceCount");
const NSString NSFileSystemNumber = orv::detail::keptText("NSFileSystemNumber");
const NSString NSFileSystemFileNumber = orv::detail::keptText("NSFileSystemFileNumber");
const NSString NSFileImmutable = orv::detail::keptText("NSFileImmutable");
const NSString NSFileSystemSize = orv::detail::keptText("NSFileSystemSize");
const NSString NSFileSystemFreeSize = orv::detail::keptText("NSFileSystemFreeSize");
const NSString NSFileSystemNodes = orv::detail::keptText("NSFileSystemNodes");
const NSString NSFileSystemFreeNodes = orv::detail::keptText("NSFileSystemFreeNodes");

namespace {

NSString typeOf(mode_t mode) {
  switch (mode & S_IFMT) {
    case S_IFREG: return NSFileTypeRegular;
    case S_IFDIR: return NSFileTypeDirectory;
    case S_IFLNK: return NSFileTypeSymbolicLink;
    case S_IFSOCK: return NSFileTypeSocket;
    case S_IFCHR: return NSFileTypeCharacterSpecial;
    case S_IFBLK: return NSFileTypeBlockSpecial;
    default: return NSFileTypeUnknown;
  }
}

NSDate dateOf(const struct statx_timestamp& time) {
  return NSDate::dateWithTimeIntervalSinceReferenceDate(
      static_cast<double>(time.tv_sec) - NSTimeIntervalSince1970 + static_cast<double>(time.tv_nsec) / 1e9);
}

NSString userName(uid_t id) {
  passwd entry;
  passwd* found = nullptr;
  std::array<char, 4096> buffer;
  return ::getpwuid_r(id, &entry, buffer.data(), buffer.size(), &found) == 0 && found ? NSString(entry.pw_name)
                                                                                      : NSString();
}

NSString groupName(gid_t id) {
  group entry;
  group* found = nullptr;
  std::array<char, 4096> buffer;
  return ::getgrgid_r(id, &entry, buffer.data(), buffer.size(), &found) == 0 && found ? NSString(entry.gr_name)
                                                                                      : NSString();
}

NSDictionary attributesFrom(const struct statx& info) {
  const NSMutableDictionary result{
      {NSFileType, typeOf(info.stx_mode)},
      {NSFileSize, uint64_t{info.stx_size}},
      {NSFileModificationDate, dateOf(info.stx_mtime)},
      {NSFilePosixPermissions, static_cast<uint32_t>(info.stx_mode & 07777)},
      {NSFileOwnerAccountID, uint32_t{info.stx_uid}},
      {NSFileGroupOwnerAccountID, uint32_t{info.stx_gid}},
      {NSFileReferenceCount, uint32_t{info.stx_nlink}},
      {NSFileSystemNumber, uint64_t{makedev(info.stx_dev_major, info.stx_dev_minor)}},
      {NSFileSystemFileNumber, uint64_t{info.stx_ino}},
      {NSFileImmutable, (info.stx_attributes & STATX_ATTR_IMMUTABLE) != 0}};
  result.setValueForKey(userName(info.stx_uid), NSFileOwnerAccountName);
  result.setValueForKey(groupName(info.stx_gid), NSFileGroupOwnerAccountName);
  if (info.stx_mask & STATX_BTIME) result.setObjectForKey(dateOf(info.stx_btime), NSFileCreationDate);
  return result.copy().as<NSDictionary>();
}

// The largest whole seconds that both a double and every system call take.
constexpr double kFurthest = 1e15;

// A date that is no number counts as the reference date.
timespec timeOf(const NSDate& date) {
  const double given = date.timeIntervalSince1970();
  const double seconds = std::isnan(given) ? NSTimeIntervalSince1970 : std::clamp(given, -kFurthest, kFurthest);
  const double whole = std::floor(seconds);
  return {static_cast<time_t>(whole), static_cast<long>((seconds - whole) * 1e9)};
}

bool isFolder(const std::string& path) {
  struct stat info;
  return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

int makeFolder(const std::string& path) {
  return detail::errorOf([&] { return ::mkdir(path.c_str(), 0777); });
}

// Makes a folder and those above it, which it lists: the errno of a failure, or 0. An existing folder is a
// success.
int makeMissing(const std::string& path, std::vector<std::string>& made) {
  int error = makeFolder(path);
  const size_t slash = path.find_last_of('/', path.find_last_not_of('/'));
  if (error == ENOENT && slash != std::string::npos && slash != 0) {
    if (const int above = makeMissing(path.substr(0, slash), made); above != 0) return above;
    error = makeFolder(path);
  }
  if (error == 0) made.push_back(path);
  return error == EEXIST && isFolder(path) ? 0 : error;  // another process may have been first
}

// The same; after a failure none of them is left.
int makeFolders(const std::string& path) {
  std::vector<std::string> made;
  const int error = makeMissing(path, made);
  for (; error != 0 && !made.empty(); made.pop_back()) ::rmdir(made.back().c_str());
  return error;
}

}  // namespace

Ref<NSFileManager> NSFileManager::defaultManager() {
  static auto* const shared = new NSFileManager;  // never destroyed: the logger uses it until the very end
  return Ref<NSFileManager>(shared);
}

bool NSFileManager::fileExistsAtPath(const NSString& path, bool* isDirectory) const {
  std::string bytes;
  struct stat info;
  if (!systemPath(path, bytes) || ::stat(bytes.c_str(), &info) != 0) return false;
  if (isDirectory) *isDirectory = S_ISDIR(info.st_mode);
  return true;
}

bool NSFileManager::isReadableFileAtPath(const NSString& path) const {
  std::string bytes;
  return systemPath(path, bytes) && ::access(bytes.c_str(), R_OK) == 0;
}

NSArray NSFileManager::contentsOfDirectoryAtPath(const NSString& path, NSError* error) const {
  std::string bytes;
  if (!systemPath(path, bytes)) {
    fail(error, ENOENT, FileAction::Open, path);
    return nil;
  }
  int failure = 0;
  detail::FolderWalk walk(bytes, detail::FolderWalk::Shallow, [&](const std::string&, int number) {
    failure = number;
    return false;
  });
  const NSMutableArray names = NSMutableArray::array();
  while (const auto* item = walk.next())
    names.addObject(NSString::stringWithFileSystemRepresentation(item->name));
  if (failure == 0) return names.copy().as<NSArray>();
  fail(error, failure, FileAction::Open, path);
  return nil;
}

Ref<NSDirectoryEnumerator> NSFileManager::enumeratorAtURL(const NSURL& url, const NSArray&, NSUInteger options,
                                                          ErrorHandler handler) const {
  return url.isFileURL() ? make<NSDirectoryEnumerator>(url, options, std::move(handler))
                         : Ref<NSDirectoryEnumerator>();
}

NSDictionary NSFileManager::attributesOfItemAtPath(const NSString& path, NSError* error) const {
  std::string bytes;
  struct statx info;
  if (!detail::itemPath(path, bytes)) {
    fail(error, ENOENT, FileAction::Open, path);
    return nil;
  }
  if (::statx(AT_FDCWD, bytes.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &info) == 0)
    return attributesFrom(info);
  fail(error, errno, FileAction::Open, path);
  return nil;
}

bool NSFileManager::setAttributesOfItemAtPath(const NSDictionary& attributes, const NSString& path,
                                              NSError* error) const {
  std::string bytes;
  if (!systemPath(path, bytes)) return fail(error, ENOENT, FileAction::Change, path);
  if (::access(bytes.c_str(), F_OK) != 0) return fail(error, errno, FileAction::Change, path);
  if (const auto permissions = attributes[NSFilePosixPermissions].as<NSNumber>())
    if (::chmod(bytes.c_str(), permissions.unsignedIntValue() & 07777) != 0)
      return fail(error, errno, FileAction::Change, path);
  if (const auto date = attributes[NSFileModificationDate].as<NSDate>()) {
    const std::array<timespec, 2> times{timespec{0, UTIME_OMIT}, timeOf(date)};
    if (::utimensat(AT_FDCWD, bytes.c_str(), times.data(), 0) != 0)
      return fail(error, errno, FileAction::Change, path);
  }
  return true;
}

NSDictionary NSFileManager::attributesOfFileSystemForPath(const NSString& path, NSError* error) const {
  std::string bytes;
  struct statvfs info;
  struct stat item;
  if (!systemPath(path, bytes)) {
    fail(error, ENOENT, FileAction::Open, path);
    return nil;
  }
  if (::statvfs(bytes.c_str(), &info) != 0 || ::stat(bytes.c_str(), &item) != 0) {
    fail(error, errno, FileAction::Open, path);
    return nil;
  }
  return NSDictionary{{NSFileSystemSize, uint64_t{info.f_blocks} * info.f_frsize},
                      {NSFileSystemFreeSize, uint64_t{info.f_bavail} * info.f_frsize},
                      {NSFileSystemNodes, uint64_t{info.f_files}},
                      {NSFileSystemFreeNodes, uint64_t{info.f_favail}},
                      {NSFileSystemNumber, uint64_t{item.st_dev}}};
}

bool NSFileManager::createDirectoryAtPath(const NSString& path, bool withIntermediateDirectories,
                                          NSError* error) const {
  std::string bytes;
  if (!systemPath(path, bytes)) return fail(error, ENOENT, FileAction::Create, path);
  if (withIntermediateDirectories) {
    const int number = makeFolders(bytes);
    return number == 0 || fail(error, number, FileAction::Create, path);
  }
  const int number = makeFolder(bytes);
  return number == 0 || fail(error, number, FileAction::Create, path);
}

bool NSFileManager::createDirectoryAtURL(const NSURL& url, bool withIntermediateDirectories,
                                         NSError* error) const {
  if (!url.isFileURL()) return fail(error, detail::invalidPathError(FileAction::Create, url));
  return createDirectoryAtPath(url.path(), withIntermediateDirectories, error);
}

bool NSFileManager::createFileAtPath(const NSString& path, const NSData& contents) const {
  std::string bytes;
  if (!systemPath(path, bytes)) return false;
  return detail::replaceLinkedFile(bytes, contents.view()) == 0;
}
