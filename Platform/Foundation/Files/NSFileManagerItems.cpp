// Copying, moving, removing and comparing whole items.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Platform/Foundation/Files/Descriptor.h"
#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Files/FolderWalk.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/Values/NSURL.h"

using namespace orv;
using detail::Descriptor;
using detail::fail;
using detail::FileAction;
using detail::FolderWalk;
using detail::itemPath;

namespace {

bool exists(const std::string& path) {
  struct stat info;
  return ::lstat(path.c_str(), &info) == 0;
}

std::string parentOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string realPath(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path.c_str(), nullptr), &std::free);
  return resolved ? resolved.get() : std::string();
}

// True when `path`, which need not exist, would lie below the folder.
bool liesWithin(const std::string& folder, const std::string& path) {
  const std::string parent = realPath(parentOf(path));
  const std::string root = realPath(folder);
  return parent == root || parent.starts_with(root.ends_with('/') ? root : root + "/");
}

// ---- removing: each answers an errno, or 0 ----------------------------------------------------

int removeTree(const std::string& path) {
  int failure = 0;
  FolderWalk walk(path, FolderWalk::TellLeaving, [&](const std::string&, int number) {
    failure = number;
    return false;
  });
  while (const auto* item = walk.next()) {
    if (item->kind == FolderWalk::Kind::Folder && !item->leaving) continue;
    if (::unlinkat(item->folder, item->name.data(), item->leaving ? AT_REMOVEDIR : 0) != 0) return errno;
  }
  if (failure != 0) return failure;
  return ::rmdir(path.c_str()) == 0 ? 0 : errno;
}

// True for "." and ".." as the last component: a folder that cannot be removed under that name, so that only
// its contents would go.
bool endsInDots(const std::string& path) {
  const std::string_view last = std::string_view(path).substr(path.rfind('/') + 1);  // npos + 1 is 0
  return last == "." || last == "..";
}

int removeItem(const std::string& path) {
  if (path == "/") return EBUSY;
  if (endsInDots(path)) return EINVAL;
  if (::unlink(path.c_str()) == 0) return 0;
  return errno == EISDIR ? removeTree(path) : errno;
}

// ---- copying ----------------------------------------------------------------------------------

void copyExtendedAttributes(int from, int to) {
  const ssize_t size = ::flistxattr(from, nullptr, 0);
  if (size <= 0) return;
  std::vector<char> names(static_cast<size_t>(size));
  const ssize_t got = ::flistxattr(from, names.data(), names.size());
  for (ssize_t at = 0; at < got;) {
    const char* name = names.data() + at;
    at += static_cast<ssize_t>(std::char_traits<char>::length(name)) + 1;
    std::vector<char> value(static_cast<size_t>(std::max<ssize_t>(::fgetxattr(from, name, nullptr, 0), 0)));
    const ssize_t length = ::fgetxattr(from, name, value.data(), value.size());
    // What the target's file system cannot keep is left out.
    if (length >= 0) static_cast<void>(::fsetxattr(to, name, value.data(), static_cast<size_t>(length), 0));
  }
}

// Everything but the contents. The owner stays with the copier unless the system allows more.
void copyFacts(int from, int to, const struct stat& info) {
  copyExtendedAttributes(from, to);
  struct stat fresh;
  const bool sameOwner =
      ::fchown(to, info.st_uid, info.st_gid) == 0 ||
      (::fstat(to, &fresh) == 0 && fresh.st_uid == info.st_uid && fresh.st_gid == info.st_gid);
  // The set-user-ID bits only mean what they meant while the owner stays.
  ::fchmod(to, info.st_mode & (sameOwner ? 07777 : 01777));
  const std::array<timespec, 2> times{info.st_atim, info.st_mtim};
  ::futimens(to, times.data());
}

int copyBytesThroughBuffer(int from, int to) {
  std::vector<char> buffer(256 * 1024);
  for (;;) {
    const ssize_t got = ::read(from, buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return got < 0 ? errno : 0;
    for (ssize_t done = 0; done < got;) {
      const ssize_t written = ::write(to, buffer.data() + done, static_cast<size_t>(got - done));
      if (written < 0 && errno != EINTR) return errno;
      done += std::max<ssize_t>(written, 0);
    }
  }
}

int copyBytes(int from, int to) {
  constexpr size_t kPiece = size_t{1} << 30;
  bool any = false;
  for (;;) {
    const ssize_t copied = ::copy_file_range(from, nullptr, to, nullptr, kPiece, 0);
    if (copied > 0) {
      any = true;
    } else if (copied == 0 && any) {
      return 0;
    } else if (copied == 0 || errno == EXDEV || errno == EINVAL || errno == EOPNOTSUPP || errno == ENOSYS) {
      return copyBytesThroughBuffer(from, to);  // also what claims to be empty, as files of /proc do
    } else if (errno != EINTR) {
      return errno;
    }
  }
}

int copyFile(int folder, const char* name, const std::string& target) {
  const Descriptor from(::openat(folder, name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  struct stat info;
  if (from < 0 || ::fstat(from, &info) != 0) return errno;
  const Descriptor to(::open(target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (to < 0) return errno;
  if (const int error = copyBytes(from, to); error != 0) {
    ::unlink(target.c_str());  // half a file would look like a whole one
    return error;
  }
  copyFacts(from, to, info);
  return 0;
}

int copyLink(int folder, const char* name, const std::string& target) {
  std::array<char, PATH_MAX + 1> place;
  const ssize_t size = ::readlinkat(folder, name, place.data(), place.size() - 1);
  if (size < 0) return errno;
  place[static_cast<size_t>(size)] = '\0';
  if (::symlink(place.data(), target.c_str()) != 0) return errno;
  struct stat info;
  if (::fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) != 0) return 0;
  const std::array<timespec, 2> times{info.st_atim, info.st_mtim};
  ::utimensat(AT_FDCWD, target.c_str(), times.data(), AT_SYMLINK_NOFOLLOW);
  return 0;
}

// A folder's own facts, once its contents are there: a read-only folder could not be filled otherwise, and
// filling it changes its date.
int finishFolder(int folder, const char* name, const std::string& target) {
  const Descriptor from(::openat(folder, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const Descriptor to(::open(target.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  struct stat info;
  if (from < 0 || to < 0 || ::fstat(from, &info) != 0) return errno;
  copyFacts(from, to, info);
  return 0;
}

int copyWalked(const FolderWalk::Item& item, const std::string& target) {
  switch (item.kind) {
    case FolderWalk::Kind::File: return copyFile(item.folder, item.name.data(), target);
    case FolderWalk::Kind::Link: return copyLink(item.folder, item.name.data(), target);
    case FolderWalk::Kind::Other: return 0;
    case FolderWalk::Kind::Folder: break;
  }
  if (item.leaving) return finishFolder(item.folder, item.name.data(), target);
  return ::mkdir(target.c_str(), 0700) == 0 ? 0 : errno;
}

int copyTree(const std::string& from, const std::string& to) {
  if (liesWithin(from, to)) return EINVAL;
  if (::mkdir(to.c_str(), 0700) != 0) return errno;
  int failure = 0;
  FolderWalk walk(from, FolderWalk::TellLeaving, [&](const std::string&, int number) {
    failure = number;
    return false;
  });
  while (const auto* item = walk.next()) {
    failure = copyWalked(*item, to + "/" + walk.path());
    if (failure != 0) break;
  }
  return failure != 0 ? failure : finishFolder(AT_FDCWD, from.c_str(), to);
}

int copyItem(const std::string& from, const std::string& to) {
  struct stat info;
  if (::lstat(from.c_str(), &info) != 0) return errno;
  if (exists(to)) return EEXIST;
  switch (info.st_mode & S_IFMT) {
    case S_IFDIR: return copyTree(from, to);
    case S_IFLNK: return copyLink(AT_FDCWD, from.c_str(), to);
    case S_IFREG: return copyFile(AT_FDCWD, from.c_str(), to);
    default: return EINVAL;
  }
}

// ---- comparing --------------------------------------------------------------------------------

bool equalFiles(int folderA, const char* nameA, int folderB, const char* nameB) {
  const Descriptor a(::openat(folderA, nameA, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  const Descriptor b(::openat(folderB, nameB, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat infoA, infoB;
  if (a < 0 || b < 0 || ::fstat(a, &infoA) != 0 || ::fstat(b, &infoB) != 0) return false;
  if (infoA.st_dev == infoB.st_dev && infoA.st_ino == infoB.st_ino) return true;
  if (!S_ISREG(infoA.st_mode) || !S_ISREG(infoB.st_mode) || infoA.st_size != infoB.st_size) return false;
  std::array<char, 64 * 1024> bytesA, bytesB;
  for (off_t at = 0;;) {
    const ssize_t gotA = ::pread(a, bytesA.data(), bytesA.size(), at);
    if (gotA <= 0) return gotA == 0;
    for (ssize_t done = 0; done < gotA;) {
      const ssize_t gotB = ::pread(b, bytesB.data(), static_cast<size_t>(gotA - done), at + done);
      if (gotB <= 0 || std::memcmp(bytesA.data() + done, bytesB.data(), static_cast<size_t>(gotB)) != 0)
        return false;
      done += gotB;
    }
    at += gotA;
  }
}

bool equalLinks(int folderA, const char* nameA, int folderB, const char* nameB) {
  std::array<char, PATH_MAX> a, b;
  const ssize_t sizeA = ::readlinkat(folderA, nameA, a.data(), a.size());
  const ssize_t sizeB = ::readlinkat(folderB, nameB, b.data(), b.size());
  return sizeA >= 0 && sizeA == sizeB && std::memcmp(a.data(), b.data(), static_cast<size_t>(sizeA)) == 0;
}

bool equalTrees(const std::string& a, const std::string& b) {
  bool readable = true;
  const auto unreadable = [&](const std::string&, int) { return readable = false; };
  FolderWalk walkA(a, 0, unreadable);
  FolderWalk walkB(b, 0, unreadable);
  for (;;) {
    const auto* itemA = walkA.next();
    const auto* itemB = walkB.next();
    if (!readable) return false;
    if (!itemA || !itemB) return itemA == itemB;
    if (itemA->level != itemB->level || itemA->kind != itemB->kind || itemA->name != itemB->name) return false;
    const char* name = itemA->name.data();
    if (itemA->kind == FolderWalk::Kind::File && !equalFiles(itemA->folder, name, itemB->folder, name))
      return false;
    if (itemA->kind == FolderWalk::Kind::Link && !equalLinks(itemA->folder, name, itemB->folder, name))
      return false;
  }
}

// ---- moving -----------------------------------------------------------------------------------

bool equalItems(const std::string& a, const std::string& b) {
  struct stat info;
  if (::lstat(a.c_str(), &info) != 0) return false;
  if (S_ISDIR(info.st_mode)) return equalTrees(a, b);
  if (S_ISLNK(info.st_mode)) return equalLinks(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str());
  return equalFiles(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str());
}

// Forces a file system to the disk, named by an item's parent folder.
int syncAround(const std::string& path) {
  const size_t slash = path.find_last_of('/', path.find_last_not_of('/'));
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const Descriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return descriptor >= 0 && ::syncfs(descriptor) == 0 ? 0 : errno;
}

// Between file systems the source goes only when its copy is whole, the same, and on the disk. Sockets and
// pipes cannot be copied: what holds one stays where it is. After a failure the target is gone again.
int moveAcross(const std::string& from, const std::string& to) {
  if (exists(to)) return EEXIST;
  int error = copyItem(from, to);
  if (error == 0) error = syncAround(to);
  if (error == 0 && !equalItems(from, to)) error = EIO;
  if (error == 0) return removeItem(from);
  if (error != EEXIST) removeItem(to);
  return error;
}

int moveItem(const std::string& from, const std::string& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno == EINVAL || errno == ENOSYS) {  // also what a file system without that flag says
    if (exists(to)) return EEXIST;
    if (::rename(from.c_str(), to.c_str()) == 0) return 0;
  }
  return errno == EXDEV ? moveAcross(from, to) : errno;
}

// The error of a move or copy: what is missing decides whose error it is.
bool failBetween(NSError* error, int number, FileAction action, const NSString& from,
                 const std::string& fromBytes, const NSString& to) {
  if (action == FileAction::Copy && number == ENOENT && exists(fromBytes))
    return fail(error, ENOENT, FileAction::Create, to);
  return fail(error, number, action, from, to);
}

}  // namespace

bool NSFileManager::removeItemAtPath(const NSString& path, NSError* error) const {
  std::string bytes;
  if (!itemPath(path, bytes)) return fail(error, ENOENT, FileAction::Remove, path);
  const int number = removeItem(bytes);
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
  const int number = moveItem(fromBytes, toBytes);
  return number == 0 || failBetween(error, number, FileAction::Move, from, fromBytes, to);
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
  const int number = copyItem(fromBytes, toBytes);
  return number == 0 || failBetween(error, number, FileAction::Copy, from, fromBytes, to);
}

bool NSFileManager::copyItemAtURL(const NSURL& from, const NSURL& to, NSError* error) const {
  if (!from.isFileURL()) return fail(error, detail::invalidPathError(FileAction::Copy, from));
  if (!to.isFileURL()) return fail(error, detail::invalidPathError(FileAction::Copy, to));
  return copyItemAtPath(from.path(), to.path(), error);
}

bool NSFileManager::contentsEqualAtPath(const NSString& path, const NSString& otherPath) const {
  std::string a, b;
  struct stat infoA, infoB;
  if (!itemPath(path, a) || !itemPath(otherPath, b)) return false;
  if (::lstat(a.c_str(), &infoA) != 0 || ::lstat(b.c_str(), &infoB) != 0) return false;
  if ((infoA.st_mode & S_IFMT) != (infoB.st_mode & S_IFMT)) return false;
  if (S_ISDIR(infoA.st_mode)) return equalTrees(a, b);
  if (S_ISLNK(infoA.st_mode)) return equalLinks(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str());
  return equalFiles(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str());
}
