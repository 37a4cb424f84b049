// Copying, moving, removing and comparing whole items.

#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "Platform/Foundation/Files/CompareItems.h"
#include "Platform/Foundation/Files/CopyItem.h"
#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Files/ItemPlace.h"
#include "Platform/Foundation/Files/MoveItem.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/Files/RemoveItem.h"
#include "Platform/Foundation/Values/NSURL.h"

using namespace orv;
using detail::fail;
using detail::FileAction;
using detail::itemPath;
using detail::ItemPlace;

namespace {

bool exists(const ItemPlace& place) {
  struct stat info;
  return place.error() == 0 && place.status(info) == 0;
}

// The error of a move or copy: what is missing decides whose error it is.
bool failBetween(NSError* error, int number, FileAction action, const NSString& from,
                 const ItemPlace& fromPlace, const NSString& to) {
  if (number == ENOENT && exists(fromPlace)) return fail(error, ENOENT, FileAction::Create, to);
  return fail(error, number, action, from, to);
}

}  // namespace

bool NSFileManager::removeItemAtPath(const NSString& path, NSError* error) const {
  std::string bytes;
  if (!itemPath(path, bytes)) return fail(error, ENOENT, FileAction::Remove, path);
  const int number = detail::removeItemAt(ItemPlace(bytes));
  return number == 0 || fail(error, number, FileAction::Remove, path);
}

bool NSFileManager::removeItemAtURL(const NSURL& url, NSError* error) const {
  if (!url.isFileURL()) return fail(error, detail::invalidPathError(FileAction::Remove, url));
  return removeItemAtPath(url.path(), error);
}

bool NSFileManager::moveItemAtPath(const NSString& from, const NSString& to, NSError* error) const {
  std::string fromBytes, toBytes;
  if (!itemPath(from, fromBytes) || !itemPath(to, toBytes))
    return fail(error, ENOENT, FileAction::Move, from, to);
  const ItemPlace source(fromBytes);
  const int number = detail::moveItem(source, ItemPlace(toBytes));
  return number == 0 || failBetween(error, number, FileAction::Move, from, source, to);
}

bool NSFileManager::moveItemAtURL(const NSURL& from, const NSURL& to, NSError* error) const {
  if (!from.isFileURL()) return fail(error, detail::invalidPathError(FileAction::Move, from));
  if (!to.isFileURL()) return fail(error, detail::invalidPathError(FileAction::Move, to));
  return moveItemAtPath(from.path(), to.path(), error);
}

bool NSFileManager::copyItemAtPath(const NSString& from, const NSString& to, NSError* error) const {
  std::string fromBytes, toBytes;
  if (!itemPath(from, fromBytes) || !itemPath(to, toBytes))
    return fail(error, ENOENT, FileAction::Copy, from, to);
  const ItemPlace source(fromBytes);
  const int number = detail::copyItem(source, ItemPlace(toBytes));
  return number == 0 || failBetween(error, number, FileAction::Copy, from, source, to);
}

bool NSFileManager::copyItemAtURL(const NSURL& from, const NSURL& to, NSError* error) const {
  if (!from.isFileURL()) return fail(error, detail::invalidPathError(FileAction::Copy, from));
  if (!to.isFileURL()) return fail(error, detail::invalidPathError(FileAction::Copy, to));
  return copyItemAtPath(from.path(), to.path(), error);
}

bool NSFileManager::copyItemOverURL(const NSURL& from, const NSURL& to, NSURL* old, NSError* error) const {
  if (!from.isFileURL()) return fail(error, detail::invalidPathError(FileAction::Copy, from));
  if (!to.isFileURL()) return fail(error, detail::invalidPathError(FileAction::Copy, to));
  std::string fromBytes, toBytes, oldName;
  if (!itemPath(from.path(), fromBytes) || !itemPath(to.path(), toBytes))
    return fail(error, ENOENT, FileAction::Copy, from.path(), to.path());
  const ItemPlace source(fromBytes);
  if (const int number = detail::copyItemOver(source, ItemPlace(toBytes), oldName))
    return failBetween(error, number, FileAction::Copy, from.path(), source, to.path());
  if (old)
    *old = oldName.empty() ? NSURL() : to.URLByDeletingLastPathComponent().URLByAppendingPathComponent(oldName);
  return true;
}

bool NSFileManager::contentsEqualAtPath(const NSString& path, const NSString& otherPath) const {
  std::string bytes, otherBytes;
  if (!itemPath(path, bytes) || !itemPath(otherPath, otherBytes)) return false;
  const ItemPlace a(bytes), b(otherBytes);
  if (a.error() != 0 || b.error() != 0) return false;
  bool equal = false;
  return detail::compareItems(a.folder(), a.name(), b.folder(), b.name(), equal) == 0 && equal;
}
