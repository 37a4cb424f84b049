#include "Platform/Foundation/Files/MoveItem.h"

#include <fcntl.h>
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

int verifyCopy(const ItemPlace& from, int folder, const char* name) {
  bool equal = false;
  if (const int error = compareItems(from.folder(), from.name(), folder, name, equal)) return error;
  return equal ? 0 : EIO;
}

// Makes the target, whole and on the disk.
int makeTarget(const ItemPlace& from, const ItemPlace& to) {
  std::string aside;
  if (const int error = copyAside(from, to.folder(), SpecialFiles::Refused, aside)) return error;
  int error = forceCopy(to.folder(), aside.c_str());
  if (error == 0) error = verifyCopy(from, to.folder(), aside.c_str());
  if (error == 0) error = renameToUnused(to.folder(), aside.c_str(), to.folder(), to.name());
  if (error != 0) return discardItem(to.folder(), aside.c_str()), error;
  error = forceFolder(to.folder());
  if (error != 0) discardItem(to.folder(), to.name());
  return error;
}

int moveAcross(const ItemPlace& from, const ItemPlace& to) {
  struct stat taken;
  if (to.status(taken) == 0) return EEXIST;
  if (const int error = makeTarget(from, to)) return error;
  bool removedAny = false;
  const int error = discardItem(from.folder(), from.name(), &removedAny);
  if (error != 0 && !removedAny) discardItem(to.folder(), to.name());  // else it is the only whole one
  return error;
}

}  // namespace

int moveItem(const ItemPlace& from, const ItemPlace& to) {
  struct stat info;
  if (from.error() != 0) return from.error();
  if (const int error = from.status(info)) return error;
  if (to.error() != 0) return to.error();
  const int error = renameToUnused(from.folder(), from.name(), to.folder(), to.name());
  return error == EXDEV ? moveAcross(from, to) : error;
}

}  // namespace orv::detail
