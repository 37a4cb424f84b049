// The operations of NSURL that ask the disk about the item.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Files/PackageNames.h"
#include "Platform/Foundation/Values/Detail/KeptText.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSNumber.h"
#include "Platform/Foundation/Values/NSURL.h"

using namespace orv;
using detail::FileAction;

const NSString NSURLNameKey = orv::detail::keptText("NSURLNameKey");
const NSString NSURLIsDirectoryKey = orv::detail::keptText("NSURLIsDirectoryKey");
const NSString NSURLIsRegularFileKey = orv::detail::keptText("NSURLIsRegularFileKey");
const NSString NSURLIsSymbolicLinkKey = orv::detail::keptText("NSURLIsSymbolicLinkKey");
const NSString NSURLIsPackageKey = orv::detail::keptText("NSURLIsPackageKey");
const NSString NSURLIsHiddenKey = orv::detail::keptText("NSURLIsHiddenKey");
const NSString NSURLFileSizeKey = orv::detail::keptText("NSURLFileSizeKey");
const NSString NSURLContentModificationDateKey = orv::detail::keptText("NSURLContentModificationDateKey");
const NSString NSURLCreationDateKey = orv::detail::keptText("NSURLCreationDateKey");
const NSString NSURLTagNamesKey = orv::detail::keptText("NSURLTagNamesKey");
const NSString NSURLVolumeIsLocalKey = orv::detail::keptText("NSURLVolumeIsLocalKey");

namespace {

// The item a value is read from.
struct Item {
  std::string path;
  struct statx info;

  bool is(mode_t type) const { return (info.stx_mode & S_IFMT) == type; }
  std::string_view name() const {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos || path.size() == 1 ? path : std::string_view(path).substr(slash + 1);
  }
};

Value dateOf(const struct statx_timestamp& time) {
  return NSDate::dateWithTimeIntervalSinceReferenceDate(
      static_cast<double>(time.tv_sec) - NSTimeIntervalSince1970 + static_cast<double>(time.tv_nsec) / 1e9);
}

Value creationDate(const Item& item) {
  return item.info.stx_mask & STATX_BTIME ? dateOf(item.info.stx_btime) : Value();
}

// Tags lie in the extended attribute that Linux desktops share, as names separated by commas.
Value tagNames(const Item& item) {
  std::array<char, 4096> buffer;
  const ssize_t size = ::lgetxattr(item.path.c_str(), "user.xdg.tags", buffer.data(), buffer.size());
  if (size <= 0) return nil;
  const NSMutableArray names = NSMutableArray::array();
  std::string_view rest(buffer.data(), static_cast<size_t>(size));
  while (!rest.empty()) {
    const size_t comma = std::min(rest.find(','), rest.size());
    const NSString name = NSString::stringWithLossyUTF8(rest.substr(0, comma));
    if (comma > 0) names.addObject(name);
    rest.remove_prefix(std::min(comma + 1, rest.size()));
  }
  return names.count() > 0 ? names.copy() : Value();
}

Value volumeIsLocal(const Item& item) {
  // The numbers that network file systems report, from <linux/magic.h> and their own sources.
  constexpr std::array<uint32_t, 10> kRemote = {0x6969,     0x517B,     0xFE534D42, 0xFF534D42, 0x5346414F,
                                                0x73757245, 0x01021997, 0x00C36400, 0x0BD00BD0, 0x47504653};
  struct statfs info;
  if (::statfs(item.path.c_str(), &info) != 0) return nil;
  return std::ranges::find(kRemote, static_cast<uint32_t>(info.f_type)) == kRemote.end();
}

struct Resource {
  const NSString& key;
  Value (*read)(const Item&);
};

const std::array<Resource, 11> kResources = {{
    {NSURLIsDirectoryKey, [](const Item& i) -> Value { return i.is(S_IFDIR); }},
    {NSURLIsRegularFileKey, [](const Item& i) -> Value { return i.is(S_IFREG); }},
    {NSURLIsSymbolicLinkKey, [](const Item& i) -> Value { return i.is(S_IFLNK); }},
    {NSURLIsPackageKey,
     [](const Item& i) -> Value { return i.is(S_IFDIR) && detail::isPackageName(i.name()); }},
    {NSURLIsHiddenKey, [](const Item& i) -> Value { return i.name().starts_with('.'); }},
    {NSURLNameKey,
     [](const Item& i) -> Value { return NSString::stringWithFileSystemRepresentation(i.name()); }},
    {NSURLFileSizeKey,
     [](const Item& i) { return i.is(S_IFREG) ? Value(uint64_t{i.info.stx_size}) : Value(); }},
    {NSURLContentModificationDateKey, [](const Item& i) { return dateOf(i.info.stx_mtime); }},
    {NSURLCreationDateKey, creationDate},
    {NSURLTagNamesKey, tagNames},
    {NSURLVolumeIsLocalKey, volumeIsLocal},
}};

// Reads the item's facts; false, with the error filled in, when there is no such item.
bool readItem(const NSURL& url, Item& item, NSError* error) {
  if (!detail::systemPath(url, item.path))
    return detail::fail(error, detail::invalidPathError(FileAction::Open, url));
  constexpr unsigned kMask = STATX_BASIC_STATS | STATX_BTIME;
  if (::statx(AT_FDCWD, item.path.c_str(), AT_SYMLINK_NOFOLLOW, kMask, &item.info) == 0) return true;
  // A file where a folder should be on the way: there is no such item either.
  return detail::fail(error, errno == ENOTDIR ? ENOENT : errno, FileAction::Open, url.path());
}

}  // namespace

bool NSURL::checkResourceIsReachable(NSError* error) const {
  Item item;
  return readItem(*this, item, error);
}

bool NSURL::getResourceValue(const NSString& key, Value* value, NSError* error) const {
  Item item;
  if (!readItem(*this, item, error)) return false;
  for (const Resource& resource : kResources) {
    if (resource.key != key) continue;
    if (value) *value = resource.read(item);
    return true;
  }
  return detail::fail(error, NSError::errorWithDomain(NSCocoaErrorDomain, NSFeatureUnsupportedError, nil));
}
