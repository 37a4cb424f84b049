#include "Platform/Foundation/Files/CompareItems.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <memory>
#include <string>

#include "Platform/Foundation/Files/Descriptor.h"
#include "Platform/Foundation/Files/FolderWalk.h"
#include "Platform/Foundation/Files/Retry.h"

namespace orv::detail {
namespace {

bool isSame(const struct stat& a, const struct stat& b) { return a.st_dev == b.st_dev && a.st_ino == b.st_ino; }

int openForReading(int folder, const char* name, int flags) {
  return retried([&] { return ::openat(folder, name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC | flags); });
}

bool hasHoles(const struct stat& info) { return info.st_blocks < info.st_size / 512; }

// Where the hole ends that the file has from here, if any; its end when no more data comes.
off_t nextData(int file, off_t at) {
  const off_t data = ::lseek(file, at, SEEK_DATA);
  if (data >= 0) return data;
  return errno == ENXIO ? ::lseek(file, 0, SEEK_END) : at;
}

// Compares one pair of files after the other.
class FileComparer {
 public:
  int compare(int folderA, const char* nameA, int folderB, const char* nameB, bool& equal);

 private:
  // Fits the processor's cache, so that what was read is still there when it is compared.
  static constexpr size_t kSize = 256 * 1024;

  int compareBytes(int a, int b, bool hasHoles, bool& equal);
  ssize_t comparePiece(int b, off_t at, size_t size, bool& equal);

  std::unique_ptr<char[]> bytesA_;
  std::unique_ptr<char[]> bytesB_;
};

int FileComparer::compare(int folderA, const char* nameA, int folderB, const char* nameB, bool& equal) {
  equal = false;
  const Descriptor a(openForReading(folderA, nameA, O_NONBLOCK));  // no pipe is waited for
  if (a < 0) return errno;
  const Descriptor b(openForReading(folderB, nameB, O_NONBLOCK));
  if (b < 0) return errno;
  struct stat infoA, infoB;
  if (::fstat(a, &infoA) != 0 || ::fstat(b, &infoB) != 0) return errno;
  equal = isSame(infoA, infoB);
  if (equal || !S_ISREG(infoA.st_mode) || !S_ISREG(infoB.st_mode) || infoA.st_size != infoB.st_size) return 0;
  if (static_cast<size_t>(infoA.st_size) > kSize)
    for (const int file : {a.number(), b.number()}) ::posix_fadvise(file, 0, 0, POSIX_FADV_SEQUENTIAL);
  return compareBytes(a, b, hasHoles(infoA) && hasHoles(infoB), equal);
}

int FileComparer::compareBytes(int a, int b, bool hasHoles, bool& equal) {
  if (!bytesA_) bytesA_ = std::make_unique_for_overwrite<char[]>(kSize);
  if (!bytesB_) bytesB_ = std::make_unique_for_overwrite<char[]>(kSize);
  equal = true;
  for (off_t at = 0; equal;) {
    if (hasHoles) at = std::max(at, std::min(nextData(a, at), nextData(b, at)));
    const ssize_t got = retried([&] { return ::pread(a, bytesA_.get(), kSize, at); });
    if (got < 0 || comparePiece(b, at, static_cast<size_t>(got), equal) < 0) return equal = false, errno;
    if (got == 0) break;
    at += got;
  }
  return 0;
}

// The piece of the first file that was just read, or its end, beside the second file: -1 and errno on failure.
ssize_t FileComparer::comparePiece(int b, off_t at, size_t size, bool& equal) {
  size_t done = 0;
  ssize_t got = 0;
  do {
    const size_t wanted = size == 0 ? 1 : size - done;
    got = retried([&] { return ::pread(b, bytesB_.get(), wanted, at + static_cast<off_t>(done)); });
    if (got < 0) return got;
    equal = size == 0
                ? got == 0
                : got > 0 && std::memcmp(bytesA_.get() + done, bytesB_.get(), static_cast<size_t>(got)) == 0;
    done += static_cast<size_t>(got);
  } while (equal && done < size);
  return 0;
}

int compareLinks(int folderA, const char* nameA, int folderB, const char* nameB, bool& equal) {
  std::array<char, PATH_MAX> a, b;
  const ssize_t sizeA = ::readlinkat(folderA, nameA, a.data(), a.size());
  if (sizeA < 0) return errno;
  const ssize_t sizeB = ::readlinkat(folderB, nameB, b.data(), b.size());
  if (sizeB < 0) return errno;
  equal = sizeA == sizeB && std::memcmp(a.data(), b.data(), static_cast<size_t>(sizeA)) == 0;
  return 0;
}

int compareWalked(const FolderWalk::Item& a, const FolderWalk::Item& b, FileComparer& comparer, bool& equal) {
  equal = a.level == b.level && a.kind == b.kind && a.name == b.name;
  if (!equal) return 0;
  const char* name = a.name.data();
  if (a.kind == FolderWalk::Kind::File) return comparer.compare(a.folder, name, b.folder, name, equal);
  if (a.kind == FolderWalk::Kind::Link) return compareLinks(a.folder, name, b.folder, name, equal);
  return 0;
}

int compareTrees(int a, int b, bool& equal) {
  int error = 0;
  FileComparer comparer;
  const auto note = [&](const std::string&, int number) {
    error = number;
    return false;
  };
  FolderWalk walkA(a, 0, note);
  FolderWalk walkB(b, 0, note);
  for (equal = true; equal && error == 0;) {
    const auto* itemA = walkA.next();
    const auto* itemB = walkB.next();
    if (error != 0) break;
    if (!itemA || !itemB) return equal = itemA == itemB, 0;
    error = compareWalked(*itemA, *itemB, comparer, equal);
  }
  if (error != 0) equal = false;
  return error;
}

int compareFolders(int folderA, const char* nameA, int folderB, const char* nameB, bool& equal) {
  const int a = openForReading(folderA, nameA, O_DIRECTORY);
  if (a < 0) return errno;
  const int b = openForReading(folderB, nameB, O_DIRECTORY);
  if (b >= 0) return compareTrees(a, b, equal);
  const int error = errno;
  ::close(a);
  return error;
}

}  // namespace

int compareItems(int folderA, const char* nameA, int folderB, const char* nameB, bool& equal) {
  equal = false;
  struct stat a, b;
  if (::fstatat(folderA, nameA, &a, AT_SYMLINK_NOFOLLOW) != 0) return errno;
  if (::fstatat(folderB, nameB, &b, AT_SYMLINK_NOFOLLOW) != 0) return errno;
  if ((a.st_mode & S_IFMT) != (b.st_mode & S_IFMT)) return 0;
  switch (a.st_mode & S_IFMT) {
    case S_IFREG: return FileComparer().compare(folderA, nameA, folderB, nameB, equal);
    case S_IFDIR: return compareFolders(folderA, nameA, folderB, nameB, equal);
    case S_IFLNK: return compareLinks(folderA, nameA, folderB, nameB, equal);
    default: return equal = isSame(a, b), 0;
  }
}

}  // namespace orv::detail
