#include "Platform/Foundation/Files/MoveItem.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <string>

#include "Platform/Foundation/Files/CompareItems.h"
#include "Platform/Foundation/Files/CopyItem.h"
#include "Platform/Foundation/Files/RemoveItem.h"

namespace orv::detail {
namespace {

// A folder's entries. One that may be written but not read cannot be forced alone: then everything is.
int forceFolder(int folder) {
  const Descriptor readable(retried([&] { return ::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  if (readable >= 0) return forceToDisk(readable);
  if (errno != EACCES) return errno;
  ::sync();
  return 0;
}

// What was copied: a file alone, a folder with its whole volume; a link is part of its folder.
int forceCopy(int folder, const char* name) {
  struct stat info;
  if (::fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) != 0) return errno;
  if (S_ISLNK(info.st_mode)) return 0;
  const Descriptor copy(retried([&] { return ::openat(folder, name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC); }));
  if (copy < 0 && errno == EACCES) return ::sync(), 0;  // a copy of what not even its owner may read
  if (copy < 0) return errno;
  return S_ISDIR(info.st_mode) ? errorOf([&] { return ::syncfs(copy); }) : forceToDisk(copy);
}

// Whether the source's folder lets it go, as far as that can be told without trying. In a folder with the
// sticky bit only the owner of either may remove it; nobody else may ask for O_NOATIME.
int checkRemovable(const ItemPlace& from) {
  struct stat folder;
  if (::faccessat(from.folder(), ".", W_OK | X_OK, AT_EACCESS) != 0) return errno;
  if (::fstat(from.folder(), &folder) != 0) return errno;
  if ((folder.st_mode & S_ISVTX) == 0 || folder.st_uid == ::geteuid()) return 0;
  constexpr int kFlags = O_RDONLY | O_NOATIME | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  const Descriptor item(retried([&] { return ::openat(from.folder(), from.name(), kFlags); }));
  return item < 0 && errno == EPERM ? EPERM : 0;
}

int verifyCopy(const ItemPlace& from, int folder, const char* name) {
  bool equal = false;
  if (const int error = compareItems(from.folder(), from.name(), folder, name, equal)) return error;
  return equal ? 0 : EIO;
}

bool isSame(const struct stat& a, const struct stat& b) { return a.st_dev == b.st_dev && a.st_ino == b.st_ino; }

// Whether the folder's file system keeps inode numbers, and dates of change as exact as they are at first.
bool keepsIdentity(int folder) {
  struct statfs info;
  if (::fstatfs(folder, &info) != 0) return false;
  switch (static_cast<unsigned long>(info.f_type)) {
    case EXT4_SUPER_MAGIC:
    case XFS_SUPER_MAGIC:
    case BTRFS_SUPER_MAGIC:
    case OVERLAYFS_SUPER_MAGIC:
    case TMPFS_MAGIC: return true;
    default: return false;
  }
}

// The move of an item to another volume.
class Crossing {
 public:
  Crossing(const ItemPlace& from, const ItemPlace& to) : from_(from), to_(to) {}

  int run();

 private:
  int makeTarget();
  void takeBack();

  const ItemPlace& from_;
  const ItemPlace& to_;
  CopyRecord record_;
  struct stat made_ {};
};

int Crossing::run() {
  struct stat taken;
  if (to_.status(taken) == 0) return EEXIST;
  if (const int error = checkRemovable(from_)) return error;
  if (const int error = makeTarget()) return error;
  bool removedAny = false;
  record_.expectIdentity(keepsIdentity(from_.folder()));
  const int error = discardCopied(from_.folder(), from_.name(), record_, removedAny);
  if (error != 0 && !removedAny) takeBack();  // else it is the only whole one
  return error;
}

// Makes the target, whole and on the disk.
int Crossing::makeTarget() {
  std::string aside;
  if (const int error = copyAside(from_, to_.folder(), Losses::Refused, aside, &record_)) return error;
  int error = forceCopy(to_.folder(), aside.c_str());
  if (error == 0) error = verifyCopy(from_, to_.folder(), aside.c_str());
  if (error == 0 && ::fstatat(to_.folder(), aside.c_str(), &made_, AT_SYMLINK_NOFOLLOW) != 0) error = errno;
  if (error == 0) error = renameToUnused(to_.folder(), aside.c_str(), to_.folder(), to_.name());
  if (error != 0) return discardItem(to_.folder(), aside.c_str()), error;
  error = forceFolder(to_.folder());
  if (error != 0) takeBack();
  return error;
}

// Others see the target already. It goes only when it is what was made, and nothing but that: what took its
// name, was put into it or written there belongs to somebody.
void Crossing::takeBack() {
  struct stat now;
  if (to_.status(now) != 0 || !isSame(now, made_)) return;
  bool removedAny = false;
  record_.expectIdentity(false);
  if (verifyCopy(from_, to_.folder(), to_.name()) == 0)
    discardCopied(to_.folder(), to_.name(), record_, removedAny);
}

}  // namespace

int moveItem(const ItemPlace& from, const ItemPlace& to) {
  struct stat info;
  if (from.error() != 0) return from.error();
  if (from.isDots()) return EINVAL;
  if (const int error = from.status(info)) return error;
  if (to.error() != 0) return to.error();
  const int error = renameToUnused(from.folder(), from.name(), to.folder(), to.name());
  return error == EXDEV ? Crossing(from, to).run() : error;
}

}  // namespace orv::detail
