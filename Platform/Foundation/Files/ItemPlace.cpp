#include "Platform/Foundation/Files/ItemPlace.h"

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <string_view>
#include <utility>

namespace orv::detail {
namespace {

constexpr int kPassFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;

int openFolder(int start, const std::string& path) {
  return retried([&] { return ::openat(start, path.c_str(), kPassFlags); });
}

// As many whole components as the system takes at once; what is left stays in `path`.
std::string takePiece(std::string_view& path) {
  constexpr size_t kLongest = PATH_MAX - 1;
  const size_t slash = path.size() <= kLongest ? path.size() : path.rfind('/', kLongest);
  const size_t end = slash == std::string_view::npos || slash == 0 ? path.size() : slash;
  std::string piece(path.substr(0, end));
  path.remove_prefix(end);
  while (path.starts_with('/')) path.remove_prefix(1);
  return piece;
}

// A folder of any depth: a descriptor, or -1 and errno.
int openDeep(std::string_view path) {
  int folder = openFolder(AT_FDCWD, takePiece(path));
  while (folder >= 0 && !path.empty()) {
    const Descriptor above(folder);
    folder = openFolder(above, takePiece(path));
  }
  return folder;
}

int openParent(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return openFolder(AT_FDCWD, ".");
  return openDeep(std::string_view(path).substr(0, slash == 0 ? 1 : slash));
}

std::string nameIn(const std::string& path) {
  const std::string name = path.substr(path.rfind('/') + 1);  // npos + 1 is 0
  return name.empty() ? "." : name;
}

bool isTaken(int folder, const char* name) {
  struct stat info;
  return ::fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) == 0;
}

bool isUnknown(int error) { return error == EINVAL || error == ENOSYS; }

// The old item steps aside first, and comes back when its name cannot be given.
int takeNameInSteps(std::string& aside, const ItemPlace& place) {
  const int folder = place.folder();
  std::string old;
  int error = makeHidden(old, [&](const char* hidden) {
    errno = renameToUnused(folder, place.name(), folder, hidden);
    return errno == 0 ? 0 : -1;
  });
  if (error != 0) return error;
  error = renameToUnused(folder, aside.c_str(), folder, place.name());
  if (error != 0) return renameToUnused(folder, old.c_str(), folder, place.name()), error;
  aside = old;
  return 0;
}

}  // namespace

ItemPlace::ItemPlace(const std::string& path) : name_(nameIn(path)), folder_(openParent(path)) {
  if (folder_ < 0) error_ = errno;
}

int ItemPlace::status(struct stat& info) const {
  return ::fstatat(folder(), name(), &info, AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
}

std::string hiddenName() {
  uint64_t number = 0;
  if (::getrandom(&number, sizeof number, 0) != static_cast<ssize_t>(sizeof number))
    number = static_cast<uint64_t>(::getpid()) << 32 ^ reinterpret_cast<uintptr_t>(&number);
  char name[32];
  std::snprintf(name, sizeof name, ".orv-%016llx", static_cast<unsigned long long>(number));
  return name;
}

int renameToUnused(int fromFolder, const char* from, int toFolder, const char* to) {
  const int error = errorOf([&] { return ::renameat2(fromFolder, from, toFolder, to, RENAME_NOREPLACE); });
  if (!isUnknown(error)) return error;
  if (isTaken(toFolder, to)) return EEXIST;
  return errorOf([&] { return ::renameat(fromFolder, from, toFolder, to); });
}

int takeName(std::string& aside, const ItemPlace& place) {
  const int folder = place.folder();
  int error =
      errorOf([&] { return ::renameat2(folder, aside.c_str(), folder, place.name(), RENAME_EXCHANGE); });
  if (isUnknown(error)) error = takeNameInSteps(aside, place);
  if (error != ENOENT) return error;
  error = renameToUnused(folder, aside.c_str(), folder, place.name());
  if (error == 0) aside.clear();
  return error;
}

int forceToDisk(int descriptor) {
  const int error = errorOf([&] { return ::fsync(descriptor); });
  return error == EINVAL || error == ENOTSUP || error == EROFS ? 0 : error;
}

}  // namespace orv::detail
