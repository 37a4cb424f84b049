// The operations of NSURL that ask the disk about the item.

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <vector>

#include "Platform/CoreServices/Detail/ItemType.h"
#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Files/FileTags.h"
#include "Platform/Foundation/Files/PackageNames.h"
#include "Platform/Foundation/Files/Volumes.h"
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
const NSString NSURLTypeIdentifierKey = orv::detail::keptText("NSURLTypeIdentifierKey");
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

// Each reads one value and answers 0, or the system's error number.

int isPackage(const Item& item, Value& value) {
  value = item.is(S_IFDIR) && detail::isPackageName(item.name());
  return 0;
}

int fileName(const Item& item, Value& value) {
  value = NSString::stringWithFileSystemRepresentation(item.name());
  return 0;
}

int typeIdentifier(const Item& item, Value& value) {
  value = detail::typeOfItem(NSString::stringWithFileSystemRepresentation(item.name()), item.info.stx_mode);
  return 0;
}

int fileSize(const Item& item, Value& value) {
  value = item.is(S_IFREG) ? Value(uint64_t{item.info.stx_size}) : Value();
  return 0;
}

int modificationDate(const Item& item, Value& value) {
  value = dateOf(item.info.stx_mtime);
  return 0;
}

int creationDate(const Item& item, Value& value) {
  value = item.info.stx_mask & STATX_BTIME ? dateOf(item.info.stx_btime) : Value();
  return 0;
}

int tagNames(const Item& item, Value& value) {
  std::vector<std::string> names;
  if (const int error = detail::readFileTags(item.path, names)) return error;
  const NSMutableArray tags = NSMutableArray::array();
  for (const std::string& name : names) tags.addObject(NSString::stringWithLossyUTF8(name));
  value = names.empty() ? Value() : tags.copy();
  return 0;
}

int volumeIsLocal(const Item& item, Value& value) {
  const int local = detail::volumeIsLocal(item.path);
  value = local < 0 ? Value() : Value(local == 1);
  return 0;
}

template <mode_t type>
int isOfKind(const Item& item, Value& value) {
  value = item.is(type);
  return 0;
}

struct Resource {
  const NSString& key;
  int (*read)(const Item&, Value&);
};

const std::array<Resource, 12> kResources = {{
    {NSURLIsDirectoryKey, isOfKind<S_IFDIR>},
    {NSURLIsRegularFileKey, isOfKind<S_IFREG>},
    {NSURLIsSymbolicLinkKey, isOfKind<S_IFLNK>},
    {NSURLIsPackageKey, isPackage},
    {NSURLIsHiddenKey,
     [](const Item& item, Value& value) {
       value = item.name().starts_with('.');
       return 0;
     }},
    {NSURLNameKey, fileName},
    {NSURLTypeIdentifierKey, typeIdentifier},
    {NSURLFileSizeKey, fileSize},
    {NSURLContentModificationDateKey, modificationDate},
    {NSURLCreationDateKey, creationDate},
    {NSURLTagNamesKey, tagNames},
    {NSURLVolumeIsLocalKey, volumeIsLocal},
}};

const Resource* resourceNamed(const NSString& key) {
  for (const Resource& resource : kResources)
    if (resource.key == key) return &resource;
  return nullptr;
}

// Reads the item's facts; false, with the error filled in, when there is no such item.
bool readItem(const NSURL& url, Item& item, NSError* error, FileAction action = FileAction::Open) {
  constexpr unsigned kMask = STATX_BASIC_STATS | STATX_BTIME;
  const bool isPath = detail::systemPath(url, item.path);
  if (isPath && ::statx(AT_FDCWD, item.path.c_str(), AT_SYMLINK_NOFOLLOW, kMask, &item.info) == 0) return true;
  const int number = errno;
  if (!error) return false;  // spares the texts of an error that nobody reads
  if (!isPath) return detail::fail(error, detail::invalidPathError(action, url));
  // A file where a folder should be on the way: there is no such item either.
  return detail::fail(error, number == ENOTDIR ? ENOENT : number, action, url.path());
}

NSError unsupported(const NSString& why) {
  return NSError::errorWithDomain(NSCocoaErrorDomain, NSFeatureUnsupportedError,
                                  why ? NSDictionary{{NSLocalizedDescriptionKey, why}} : NSDictionary());
}

// What stands in the way of a tag, or nil. Desktops read the list back at its commas, without any escape.
NSString faultOfTag(const Value& tag) {
  const auto name = tag.as<NSString>();
  if (name.isNil()) return "A tag is a text.";
  if (name.length() == 0) return "A tag cannot be empty.";
  if (name.containsString(",")) return "A tag cannot hold a comma.";
  if (!NSString(name.utf8()).isEqualToString(name) || name.utf8().find('\0') != std::string::npos)
    return "A tag cannot hold a zero or half a character.";
  return nil;
}

// The names to write, each once; false, with the error filled in, when one cannot be a tag.
bool readTags(const Value& value, std::vector<std::string>& names, NSError* error) {
  if (!value.isNil() && !value.isKindOf<NSArray>()) return detail::fail(error, unsupported("Tags are a list."));
  for (const Value& tag : value.as<NSArray>()) {
    if (const NSString fault = faultOfTag(tag)) return detail::fail(error, unsupported(fault));
    std::string name = tag.as<NSString>().utf8();
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(std::move(name));
  }
  return true;
}

}  // namespace

bool NSURL::checkResourceIsReachable(NSError* error) const {
  Item item;
  return readItem(*this, item, error);
}

bool NSURL::getResourceValue(const NSString& key, Value* value, NSError* error) const {
  Item item;
  if (!readItem(*this, item, error)) return false;
  const Resource* resource = resourceNamed(key);
  if (!resource) return detail::fail(error, unsupported(nil));
  Value read;
  if (const int number = resource->read(item, read))
    return error && detail::fail(error, number, FileAction::Open, path());
  if (value) *value = read;
  return true;
}

bool NSURL::setResourceValue(const Value& value, const NSString& key, NSError* error) const {
  Item item;
  std::vector<std::string> names;
  if (!readItem(*this, item, error, FileAction::Change)) return false;
  if (key != NSURLTagNamesKey) return detail::fail(error, unsupported(nil));
  if (!readTags(value, names, error)) return false;
  const int number = detail::writeFileTags(item.path, names);
  return number == 0 || detail::fail(error, number, FileAction::Change, path());
}
