// NSFileManager(Orvane): listings of folders and checksum sets of trees.

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <string>

#include "Orvane/Detail/FileDigest.h"
#include "Orvane/Detail/Location.h"
#include "Orvane/Detail/TreeChecksums.h"
#include "Orvane/OrvAssert.h"
#include "Orvane/OrvLog.h"
#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Files/FolderWalk.h"
#include "Platform/Foundation/Files/NSDirectoryEnumerator.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/Text/StringBuilder.h"

using namespace orv;
using detail::FolderWalk;

namespace {

// "/name" for the file and then for each of its folders upward.
std::string relativeKey(const std::string& path) {
  std::string key;
  key.reserve(path.size() + 1);
  for (size_t end = path.size(); end != std::string::npos;) {
    const size_t slash = end == 0 ? std::string::npos : path.rfind('/', end - 1);
    const size_t begin = slash == std::string::npos ? 0 : slash + 1;
    key.append("/").append(path, begin, end - begin);
    end = slash;
  }
  return key;
}

NSString checksumLine(const detail::TreeFile& file) {
  std::string line = relativeKey(file.path);
  line.append("; size=").append(std::to_string(file.size)).append(" hash=");
  std::array<char, 2 * detail::DigestBytes::kLongest> hex;
  file.content.digest.writeHex(hex.data());
  line.append(hex.data(), 2 * file.content.digest.length);
  return NSString::stringWithFileSystemRepresentation(line);
}

// What reading a file on its own would have reported.
void reportOddities(const detail::TreeFile& file) {
  if (file.content.changed)
    OrvLogWarning("File changed while it was read: %@",
                  NSString::stringWithFileSystemRepresentation(file.path));
  ORV_ASSERT_TEXT(file.content.bytesRead > 0, "!!([inputData length] > 0)");
}

// One line of a printed tree; nothing for an item that is gone meanwhile.
void appendTreeLine(detail::StringBuilder& lines, const FolderWalk::Item& item) {
  struct stat info {};
  const bool isFolder = item.kind == FolderWalk::Kind::Folder;
  if (!isFolder && ::fstatat(item.folder, item.name.data(), &info, AT_SYMLINK_NOFOLLOW) != 0) return;
  if (lines.length() > 0) lines.appendUnit(u'\n');
  lines.appendRepeated(u' ', 4 * item.level);
  lines.append(NSString::stringWithFileSystemRepresentation(item.name));
  if (isFolder)
    lines.appendAscii("/");
  else
    lines.appendAscii(" (" + std::to_string(info.st_size) + " bytes, x)");
}

}  // namespace

NSArray NSFileManager::zuListDir(const Value& url) const {
  ORV_ASSERT_URL(url);
  const NSString path = detail::pathOfLocation(url);
  NSError error;
  const NSArray names = contentsOfDirectoryAtPath(path, &error);
  if (names.isNil()) OrvLogInfo("Not able to list contents of path=%@ error=%@", path, error);
  return names;
}

NSArray NSFileManager::zuListVisibleFilesDir(const Value& url) const {
  const NSArray names = zuListDir(url);
  if (names.isNil()) return nil;
  const NSMutableArray visible = NSMutableArray::array();
  for (const Value& name : names)
    if (!name.as<NSString>().hasPrefix(".")) visible.addObject(name);
  return visible.copy().as<NSArray>();
}

NSMutableArray NSFileManager::zuListAllVisibleFilesInSubFolders(const Value& directoryURL) const {
  if (directoryURL.isNil()) return nil;
  ORV_ASSERT_URL(directoryURL);
  const NSMutableArray files = NSMutableArray::array();
  const auto each = defaultManager()->enumeratorAtURL(
      zxFileURL(directoryURL), NSArray{NSURLIsDirectoryKey, NSURLIsPackageKey, NSURLIsRegularFileKey},
      NSDirectoryEnumerationSkipsPackageDescendants | NSDirectoryEnumerationSkipsHiddenFiles);
  if (!each) return files;
  while (const NSURL url = each->nextURL())
    if (each->isRegularFile() && !url.relativeString().hasSuffix("/Icon")) files.addObject(url);
  return files;
}

NSString NSFileManager::zuListTree(const Value& url) const {
  if (url.isNil()) return nil;
  ORV_ASSERT_URL(url);
  detail::StringBuilder lines;
  std::string root;
  if (!detail::systemPath(zxFileURL(url), root)) return "";
  FolderWalk walk(root, 0);
  while (const auto* item = walk.next()) appendTreeLine(lines, *item);
  return lines.finish();
}

NSMutableSet NSFileManager::zuListChecksumsForTreeAtURL(const Value& folderUrl) const {
  if (folderUrl.isNil()) return nil;
  ORV_ASSERT_URL(folderUrl);
  std::string root;
  return detail::systemPath(folderUrl.as<NSURL>(), root) ? detail::checksumsOfTree(root) : NSMutableSet::set();
}

NSMutableSet detail::checksumsOfTree(const std::string& root, const TreeProgress& progress,
                                     const ChangedFile& changed) {
  const std::vector<TreeFile> files = digestsOfTree(root, progress);
  const NSMutableSet lines = NSMutableSet::setWithCapacity(files.size());
  for (const TreeFile& file : files) {
    if (!file.exists) continue;
    reportOddities(file);
    const NSString line = checksumLine(file);
    if (changed && file.content.changed) changed(file.path, line);
    lines.addObject(line);
  }
  return lines;
}
