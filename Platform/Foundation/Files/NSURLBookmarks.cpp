// The operations of NSURL that make and resolve bookmarks.

#include <cerrno>

#include "Platform/Foundation/Files/Bookmark.h"
#include "Platform/Foundation/Files/BookmarkSearch.h"
#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSURL.h"

using namespace orv;
using detail::Bookmark;
using detail::FileAction;
using detail::FileIdentity;

namespace {

NSError noBookmark() {
  return NSError::errorWithDomain(
      NSCocoaErrorDomain, NSFileReadCorruptFileError,
      NSDictionary{
          {NSLocalizedDescriptionKey, "The file couldn’t be opened because it isn’t in the correct format."}});
}

NSError noItem(const Bookmark& bookmark) {
  const NSString path = NSString::stringWithFileSystemRepresentation(bookmark.path);
  const NSString text = NSString("The file “") + path.lastPathComponent() + "” doesn’t exist.";
  return NSError::errorWithDomain(NSCocoaErrorDomain, NSFileNoSuchFileError,
                                  NSDictionary{{NSFilePathErrorKey, path}, {NSLocalizedDescriptionKey, text}});
}

// Where a bookmark's item is; "" when it is gone.
std::string placeOf(const Bookmark& bookmark, bool& isStale) {
  const auto there = FileIdentity::of(bookmark.path);
  isStale = !there || !there->isSameAs(bookmark.item);
  if (!isStale) return bookmark.path;
  const auto behindLinks = FileIdentity::of(bookmark.realPath);
  if (behindLinks && behindLinks->isSameAs(bookmark.item)) return bookmark.realPath;
  // Programs save a file by putting a new one in its place: the user means that one.
  if (there && there->kind == bookmark.item.kind) return bookmark.path;
  return detail::findMovedItem(bookmark);
}

}  // namespace

NSData NSURL::bookmarkDataWithOptions(NSUInteger, NSError* error) const {
  std::string path;
  if (!detail::systemPath(*this, path)) {
    detail::fail(error, detail::invalidPathError(FileAction::Open, *this));
    return nil;
  }
  if (const auto bookmark = Bookmark::of(path)) return NSData::dataWithBytes(bookmark->encoded());
  detail::fail(error, errno == ENOTDIR ? ENOENT : errno, FileAction::Open, this->path());
  return nil;
}

NSURL NSURL::URLByResolvingBookmarkData(const NSData& data, NSUInteger, bool* isStale, NSError* error) {
  const auto bookmark = Bookmark::decode(data.view());
  if (!bookmark) {
    detail::fail(error, noBookmark());
    return nil;
  }
  bool stale = false;
  const std::string path = placeOf(*bookmark, stale);
  if (path.empty()) {
    detail::fail(error, noItem(*bookmark));
    return nil;
  }
  if (isStale) *isStale = stale;
  return NSURL::fileURLWithFileSystemRepresentation(path, bookmark->item.isFolder());
}
