// NSFileManager(Orvane): forgiving operations on single items, and the digests of files.

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <string>

#include "Orvane/Detail/FileDigest.h"
#include "Orvane/Detail/Location.h"
#include "Orvane/OrvAssert.h"
#include "Orvane/OrvLog.h"
#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/Values/NSException.h"

using namespace orv;
using detail::DigestAlgorithm;
using detail::FileAction;
using detail::pathOfLocation;

namespace {

enum class ItemKind { Unreachable, Unreadable, File, Folder };

// Asks the disk once; a link is a file. What is merely not there is unreachable.
ItemKind kindOf(const Value& url) {
  std::string path;
  struct stat info;
  if (!detail::systemPath(url.as<NSURL>(), path)) return ItemKind::Unreachable;
  if (::lstat(path.c_str(), &info) == 0) return S_ISDIR(info.st_mode) ? ItemKind::Folder : ItemKind::File;
  const bool isMissing = errno == ENOENT || errno == ENOTDIR;
  return isMissing || !url.as<NSURL>().checkResourceIsReachable() ? ItemKind::Unreachable
                                                                  : ItemKind::Unreadable;
}

// True for the URL of a file; else the error tells of the value that was given.
bool isPlace(const Value& given, FileAction action, NSError& error) {
  return given.as<NSURL>().isFileURL() || detail::fail(&error, detail::invalidPathError(action, given));
}

bool arePlaces(const Value& from, const Value& to, FileAction action, NSError& error) {
  return isPlace(from, action, error) && isPlace(to, action, error);
}

// Copies over what is there, which then goes.
bool copyOver(const NSFileManager& manager, const NSURL& from, const NSURL& to, NSError& error) {
  NSURL old;
  if (!manager.fileExistsAtPath(to.path())) return manager.copyItemAtURL(from, to, &error);
  if (!manager.copyItemOverURL(from, to, &old, &error)) return false;
  if (old) NSFileManager::defaultManager()->zuRemove(old);
  return true;
}

// Reads the file; one that changes meanwhile is reported and digested as read.
detail::FileDigestResult digestOf(DigestAlgorithm algorithm, const Value& url) {
  std::string path;
  detail::systemPath(pathOfLocation(url), path);
  const detail::FileDigestResult result = detail::digestOfFile(algorithm, path);
  if (result.changed) OrvLogWarning("File changed while it was read: %@", url);
  return result;
}

detail::FileDigestResult sha256Of(const Value& url) {
  const detail::FileDigestResult result = digestOf(DigestAlgorithm::SHA256, url);
  ORV_ASSERT_TEXT(result.bytesRead > 0, "!!([inputData length] > 0)");
  return result;
}

NSString hexText(const detail::DigestBytes& digest) {
  std::array<char, 2 * detail::DigestBytes::kLongest> text;
  digest.writeHex(text.data());
  return digest.length > 0 ? NSString(std::string_view(text.data(), 2 * digest.length)) : NSString();
}

}  // namespace

NSURL NSFileManager::zuMakeDirs(const Value& url) const {
  if (url.isNil()) return nil;
  ORV_ASSERT_URL(url);
  NSError error;
  const NSURL folder = url.as<NSURL>();
  if (zuIsDir(url)) return folder;
  if (isPlace(url, FileAction::Create, error) && createDirectoryAtURL(folder, true, &error)) return folder;
  OrvLogWarning("Failed to make dirs at %@ error=%@", url, error);
  return nil;
}

bool NSFileManager::zuCopy(const Value& from, const Value& to) const {
  if (from.isNil() || to.isNil()) return false;
  ORV_ASSERT_URL(from);
  ORV_ASSERT_URL(to);
  try {
    NSError error;
    if (arePlaces(from, to, FileAction::Copy, error) && copyItemAtURL(from.as<NSURL>(), to.as<NSURL>(), &error))
      return true;
    OrvLogWarning("Failed to copy from %@ to %@ error=%@", from, to, error);
  } catch (const std::exception& exception) {
    OrvLogInfo("Failed to copy from %@ to %@ exception=%@", from, to, detail::describeException(exception));
  }
  return false;
}

bool NSFileManager::zuForceCopy(const Value& from, const Value& to) const {
  if (from.isNil() || to.isNil()) return false;
  ORV_ASSERT_URL(from);
  ORV_ASSERT_URL(to);
  try {
    NSError error;
    if (arePlaces(from, to, FileAction::Copy, error) &&
        copyOver(*this, from.as<NSURL>(), to.as<NSURL>(), error))
      return true;
    OrvLogInfo("Failed to copy from %@ to %@ error-%@", from, to, error);
  } catch (const std::exception& exception) {
    OrvLogInfo("Failed to copy from %@ to %@ ex=%@", from, to, detail::describeException(exception));
  }
  return false;
}

bool NSFileManager::zuMove(const Value& from, const Value& to) const {
  if (from.isNil() || to.isNil()) return false;
  ORV_ASSERT_URL(from);
  ORV_ASSERT_URL(to);
  NSError error;
  if (arePlaces(from, to, FileAction::Move, error) && moveItemAtURL(from.as<NSURL>(), to.as<NSURL>(), &error))
    return true;
  OrvLogInfo("Error moving from %@ to %@; %@", from, to, error.localizedDescription());
  return false;
}

bool NSFileManager::zuRemove(const Value& url) const {
  if (url.isNil()) return false;
  ORV_ASSERT_URL(url);
  NSError error;
  if (isPlace(url, FileAction::Remove, error) && removeItemAtURL(url.as<NSURL>(), &error)) return true;
  OrvLogInfo("Failed to remove files at %@ error=%@", url, error);
  return false;
}

bool NSFileManager::zuRemoveFolder(const Value& url) const { return zuIsDir(url) && zuRemove(url); }

bool NSFileManager::zuRemoveFile(const Value& url) const { return zuIsFile(url) && zuRemove(url); }

bool NSFileManager::zuIsFile(const Value& url) const {
  if (url.isNil()) return false;
  ORV_ASSERT_URL(url);
  return kindOf(url) == ItemKind::File;
}

bool NSFileManager::zuIsDir(const Value& url) const {
  if (url.isNil()) return false;
  ORV_ASSERT_URL(url);
  const ItemKind kind = kindOf(url);
  if (kind == ItemKind::Unreadable) OrvLogDebug("Directory does not exist %@", url);
  return kind == ItemKind::Folder;
}

bool NSFileManager::zuTouch(const Value& url) const {
  ORV_ASSERT_URL(url);
  return setAttributesOfItemAtPath(NSDictionary{{NSFileModificationDate, NSDate::date()}}, pathOfLocation(url));
}

NSDictionary NSFileManager::zuAttributes(const Value& url) const {
  ORV_ASSERT_URL(url);
  return attributesOfItemAtPath(pathOfLocation(url));
}

uint64_t NSFileManager::zuFileSize(const Value& url) const {
  return zuAttributes(url)[NSFileSize].as<NSNumber>().unsignedLongLongValue();
}

NSDate NSFileManager::zuFileModificationDate(const Value& url) const {
  return zuAttributes(url)[NSFileModificationDate].as<NSDate>();
}

bool NSFileManager::zuFileCompare(const Value& url, const Value& otherURL) const {
  if (url.isNil() || otherURL.isNil()) return false;
  ORV_ASSERT_URL(url);
  ORV_ASSERT_URL(otherURL);
  return contentsEqualAtPath(pathOfLocation(url), pathOfLocation(otherURL));
}

NSString NSFileManager::zuFileMD5String(const Value& url) const {
  if (url.isNil()) return nil;
  ORV_ASSERT_URL(url);
  const detail::FileDigestResult result = digestOf(DigestAlgorithm::MD5, url);
  return result.bytesRead > 0 ? hexText(result.digest) : NSString();
}

NSString NSFileManager::zuFileSHA256String(const Value& url) const {
  if (url.isNil()) return nil;
  ORV_ASSERT_URL(url);
  return hexText(sha256Of(url).digest);
}

NSData NSFileManager::zuFileSHA256Data(const Value& url) const {
  if (url.isNil()) return nil;
  ORV_ASSERT_URL(url);
  return NSData::dataWithBytes(sha256Of(url).digest.view());
}
