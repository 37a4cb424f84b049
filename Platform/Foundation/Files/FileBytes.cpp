#include "Platform/Foundation/Files/FileBytes.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <new>
#include <utility>

#include "Platform/Foundation/Files/FileAttributes.h"
#include "Platform/Foundation/Files/ItemPlace.h"
#include "Platform/Foundation/Values/Detail/DataRep.h"

namespace orv::detail {
namespace {

class File {
 public:
  explicit File(int descriptor) : descriptor_(descriptor) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  int get() const { return descriptor_; }
  bool isOpen() const { return descriptor_ >= 0; }
  // Reports what a delayed write ran into, on network file systems above all.
  int close() { return ::close(std::exchange(descriptor_, -1)) == 0 ? 0 : errno; }

 private:
  int descriptor_;
};

constexpr size_t kLargestTransfer = 1 << 30;  // the kernel moves less than 2 GiB at once

// Reads until the buffer is full or the file ends; the bytes read, or -1.
ssize_t readFully(int descriptor, uint8_t* buffer, size_t size) {
  size_t done = 0;
  while (done < size) {
    const ssize_t count = ::read(descriptor, buffer + done, std::min(size - done, kLargestTransfer));
    if (count == 0) break;
    if (count < 0 && errno != EINTR) return -1;
    if (count > 0) done += static_cast<size_t>(count);
  }
  return static_cast<ssize_t>(done);
}

int writeFully(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), std::min(bytes.size(), kLargestTransfer));
    if (count < 0 && errno != EINTR) return errno;
    if (count > 0) bytes.remove_prefix(static_cast<size_t>(count));
  }
  return 0;
}

// What follows a file's known size: files of /proc, and those that grow while they are read.
int readRest(int descriptor, std::string& rest) {
  uint8_t chunk[65536];
  for (;;) {
    const ssize_t count = readFully(descriptor, chunk, sizeof chunk);
    if (count < 0) return errno;
    rest.append(reinterpret_cast<const char*>(chunk), static_cast<size_t>(count));
    if (static_cast<size_t>(count) < sizeof chunk) return 0;
  }
}

int readContents(int descriptor, size_t size, NSData& contents) {
  ssize_t count = 0;
  NSData known = dataWithLength(size, [&](uint8_t* bytes) { count = readFully(descriptor, bytes, size); });
  if (count < 0) return errno;
  std::string rest;
  if (static_cast<size_t>(count) == size)
    if (const int error = readRest(descriptor, rest)) return error;
  if (static_cast<size_t>(count) == size && rest.empty()) {
    contents = std::move(known);
  } else {
    const std::string_view start = known.view().substr(0, static_cast<size_t>(count));
    contents = dataWithLength(start.size() + rest.size(), [&](uint8_t* bytes) {
      std::copy(rest.begin(), rest.end(), std::copy(start.begin(), start.end(), bytes));
    });
  }
  return 0;
}

bool hasZeroByte(const std::string& path) { return path.find('\0') != std::string::npos; }

int createNamed(int folder, mode_t mode, std::string& name) {
  int descriptor = -1;
  const int error = makeHidden(name, [&](const char* hidden) {
    descriptor = ::openat(folder, hidden, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    return descriptor >= 0 ? 0 : -1;
  });
  if (error != 0) name.clear();
  errno = error;
  return descriptor;
}

// A file that has no name yet, where the file system knows such files; else one with a temporary name.
int createTemporary(int folder, mode_t mode, std::string& name) {
  name.clear();
  const int descriptor = retried([&] { return ::openat(folder, ".", O_WRONLY | O_TMPFILE | O_CLOEXEC, mode); });
  return descriptor >= 0 ? descriptor : createNamed(folder, mode, name);
}

// Gives a temporary name to a file without one.
int giveName(int descriptor, int folder, std::string& name) {
  const std::string self = "/proc/self/fd/" + std::to_string(descriptor);
  const int error = makeHidden(name, [&](const char* hidden) {
    return ::linkat(AT_FDCWD, self.c_str(), folder, hidden, AT_SYMLINK_FOLLOW);
  });
  if (error != 0) name.clear();
  return error;
}

// The file that is replaced: it stays open, so that what it is can be taken over.
struct OldFile {
  File file;
  struct stat status {};
};

// Also of a file that may not be read.
int openFacts(int folder, const char* name, int flags) {
  flags |= O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  const int descriptor = retried([&] { return ::openat(folder, name, flags | O_RDONLY); });
  return descriptor >= 0 ? descriptor : retried([&] { return ::openat(folder, name, flags | O_PATH); });
}

// Writes and syncs the new file in the old one's place.
int fillTemporary(File& file, const OldFile* old, std::string_view contents) {
  if (old)
    if (const int error = takeFacts(old->file.get(), file.get(), old->status)) return error;
  if (const int error = writeFully(file.get(), contents)) return error;
  return forceToDisk(file.get());
}

// The file under its temporary name, complete; the name stays empty when there is none to remove.
int makeTemporary(int folder, const OldFile* old, std::string_view contents, std::string& name) {
  // Nobody else may read the contents before the old file's permissions hold.
  const mode_t mode = old ? 0600 : 0666;
  File file(createTemporary(folder, mode, name));
  if (!file.isOpen()) return errno;
  if (const int error = fillTemporary(file, old, contents)) return error;
  if (!name.empty()) return file.close();
  if (giveName(file.get(), folder, name) == 0) return file.close();
  // Without /proc a file cannot be named later.
  File named(createNamed(folder, mode, name));
  if (!named.isOpen()) return name.clear(), errno;
  if (const int error = fillTemporary(named, old, contents)) return error;
  return named.close();
}

bool isPipeOrDevice(mode_t mode) { return S_ISFIFO(mode) || S_ISCHR(mode) || S_ISBLK(mode); }

// What is no file of the disk takes the bytes itself.
int writeInto(int folder, const std::string& name, std::string_view contents) {
  File file(retried([&] { return ::openat(folder, name.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY); }));
  if (!file.isOpen()) return errno;
  if (const int error = writeFully(file.get(), contents)) return error;
  if (const int error = forceToDisk(file.get())) return error;
  return file.close();
}

// Writes the new file and gives it the name.
int putInPlace(int folder, const std::string& name, const OldFile* old, std::string_view contents) {
  std::string temporary;
  int error = makeTemporary(folder, old, contents, temporary);
  if (error == 0) error = errorOf([&] { return ::renameat(folder, temporary.c_str(), folder, name.c_str()); });
  if (error != 0 && !temporary.empty()) errorOf([&] { return ::unlinkat(folder, temporary.c_str(), 0); });
  return error;
}

int replaceRegular(int folder, const std::string& name, std::string_view contents) {
  OldFile old{File(openFacts(folder, name.c_str(), O_NOFOLLOW))};
  if (!old.file.isOpen() && errno == ENOENT) return putInPlace(folder, name, nullptr, contents);
  if (!old.file.isOpen() || ::fstat(old.file.get(), &old.status) != 0) return errno;
  return putInPlace(folder, name, &old, contents);
}

int replaceInFolder(int folder, const std::string& name, std::string_view contents) {
  struct stat status {};
  const bool exists = ::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
  if (!exists || S_ISLNK(status.st_mode)) return putInPlace(folder, name, nullptr, contents);
  if (S_ISDIR(status.st_mode)) return EISDIR;
  if (isPipeOrDevice(status.st_mode)) return writeInto(folder, name, contents);
  return S_ISREG(status.st_mode) ? replaceRegular(folder, name, contents) : EINVAL;
}

// What a link says, as seen from the link's own place.
std::string linkTarget(const std::string& link) {
  char target[PATH_MAX];
  const ssize_t length = ::readlink(link.c_str(), target, sizeof target);
  if (length <= 0 || static_cast<size_t>(length) == sizeof target) return {};
  const std::string named(target, static_cast<size_t>(length));
  return named.front() == '/' ? named : link.substr(0, link.rfind('/') + 1) + named;
}

bool isLink(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

// A copy under a new name, for nobody who may not read the file itself. EEXIST when the name is taken.
int copyAs(const std::string& path, const std::string& name) {
  NSData contents;
  if (const int error = readFile(path, contents)) return error;
  OldFile old{File(openFacts(AT_FDCWD, path.c_str(), 0))};
  if (!old.file.isOpen() || ::fstat(old.file.get(), &old.status) != 0) return errno;
  File copy(retried([&] { return ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600); }));
  if (!copy.isOpen()) return errno;
  int error = fillTemporary(copy, &old, contents.view());
  if (error == 0) error = copy.close();
  if (error != 0) ::unlink(name.c_str());
  return error;
}

// Another link to the contents, or a copy where there can be no link.
int keepAs(const std::string& path, const std::string& name) {
  const int error =
      errorOf([&] { return ::linkat(AT_FDCWD, path.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW); });
  return error == 0 || error == EEXIST || error == ENOENT ? error : copyAs(path, name);
}

}  // namespace

int readFile(const std::string& path, NSData& contents) {
  if (hasZeroByte(path)) return EINVAL;
  const File file(retried([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC); }));
  if (!file.isOpen()) return errno;
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  try {
    return readContents(file.get(), S_ISREG(status.st_mode) ? static_cast<size_t>(status.st_size) : 0,
                        contents);
  } catch (const std::bad_alloc&) {
    return ENOMEM;
  }
}

int replaceFile(const std::string& path, std::string_view contents) {
  if (path.empty() || hasZeroByte(path)) return path.empty() ? ENOENT : EINVAL;
  const size_t slash = path.rfind('/');
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  const std::string parent = slash == std::string::npos ? "." : path.substr(0, std::max<size_t>(slash, 1));
  if (name.empty()) return EISDIR;
  const File folder(retried([&] { return ::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  if (folder.isOpen()) {
    if (const int error = replaceInFolder(folder.get(), name, contents)) return error;
    return forceToDisk(folder.get());
  }
  if (errno != EACCES) return errno;
  // A folder that may be written but not listed: it cannot be synced.
  const File closed(retried([&] { return ::open(parent.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC); }));
  return closed.isOpen() ? replaceInFolder(closed.get(), name, contents) : errno;
}

int replaceLinkedFile(const std::string& path, std::string_view contents) {
  constexpr int kMostLinks = 40;  // as many as the kernel follows
  if (hasZeroByte(path)) return EINVAL;
  struct stat status {};
  // Links of /proc lead to pipes that have no path.
  if (::stat(path.c_str(), &status) == 0 && isPipeOrDevice(status.st_mode))
    return writeInto(AT_FDCWD, path, contents);
  std::string file = path;
  for (int links = 0; isLink(file); ++links) {
    if (links == kMostLinks) return ELOOP;
    file = linkTarget(file);
  }
  return replaceFile(file, contents);
}

int overwriteFile(const std::string& path, std::string_view contents) {
  if (hasZeroByte(path)) return EINVAL;
  File file(retried([&] { return ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666); }));
  if (!file.isOpen()) return errno;
  if (const int error = writeFully(file.get(), contents)) return error;
  if (const int error = forceToDisk(file.get())) return error;
  return file.close();
}

int keepFileAside(const std::string& path, const std::string& base, std::string& kept) {
  constexpr int kMostNames = 100;
  if (hasZeroByte(path) || hasZeroByte(base)) return EINVAL;
  int error = keepAs(path, kept = base);
  for (int i = 1; error == EEXIST && i < kMostNames; ++i)
    error = keepAs(path, kept = base + "-" + std::to_string(i));
  return error;
}

}  // namespace orv::detail
