#include "Platform/Foundation/Files/FileCopier.h"

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <limits>

#include "Platform/Foundation/Files/FileAttributes.h"
#include "Platform/Foundation/Files/Retry.h"

namespace orv::detail {
namespace {

constexpr off_t kEndless = std::numeric_limits<off_t>::max();
constexpr size_t kBufferSize = 256 * 1024;
// Below this a read and a write are quicker than a copy inside the kernel.
constexpr off_t kSmall = 128 * 1024;
constexpr off_t kLargestPiece = off_t{1} << 30;  // the kernel moves less than 2 GiB at once

bool isSameTime(const timespec& a, const timespec& b) { return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec; }

bool isUnchanged(const struct stat& before, const struct stat& after) {
  return before.st_size == after.st_size && isSameTime(before.st_mtim, after.st_mtim);
}

int statusOf(int descriptor, struct stat& info) { return ::fstat(descriptor, &info) == 0 ? 0 : errno; }

int setSize(int descriptor, off_t size) {
  return errorOf([&] { return ::ftruncate(descriptor, size); });
}

int writeAll(int descriptor, const char* bytes, size_t size, off_t at) {
  while (size > 0) {
    const ssize_t written = retried([&] { return ::pwrite(descriptor, bytes, size, at); });
    if (written < 0) return errno;
    bytes += written;
    size -= static_cast<size_t>(written);
    at += written;
  }
  return 0;
}

}  // namespace

int copyFacts(int from, int to, const struct stat& info) {
  int lost = 0;
  static_cast<void>(takeFacts(from, to, info, &lost));
  const std::array<timespec, 2> times{info.st_atim, info.st_mtim};
  static_cast<void>(::futimens(to, times.data()));
  return lost;
}

int FileCopier::copy(int from, int to, struct stat* copied) {
  constexpr int kMostAttempts = 2;
  struct stat before, after;
  int error = statusOf(from, before);
  for (int attempt = 0; error == 0 && attempt < kMostAttempts; ++attempt) {
    if (attempt > 0) error = setSize(to, 0);
    if (error == 0) error = copyContents(from, to, before);
    if (error == 0) error = statusOf(from, after);
    if (copied) *copied = before;
    if (error == 0 && isUnchanged(before, after)) return finish(from, to, before);
    before = after;
  }
  return error != 0 ? error : EBUSY;
}

int FileCopier::finish(int from, int to, const struct stat& info) const {
  const int lost = copyFacts(from, to, info);
  return attributes_ == Attributes::Required ? lost : 0;
}

int FileCopier::copyContents(int from, int to, const struct stat& info) {
  if (info.st_size == 0)
    return copyThroughBuffer(from, to, 0, kEndless);  // files of /proc only claim to be empty
  if (clone(from, to)) return 0;
  const bool hasHoles = info.st_blocks < info.st_size / 512;
  return hasHoles ? copyPieces(from, to, info.st_size) : copyPiece(from, to, 0, info.st_size);
}

bool FileCopier::clone(int from, int to) {
  if (canClone_ && errorOf([&] { return ::ioctl(to, FICLONE, from); }) != 0) canClone_ = false;
  return canClone_;
}

// Only what lies between the holes.
int FileCopier::copyPieces(int from, int to, off_t size) {
  for (off_t at = 0; at < size;) {
    const off_t data = ::lseek(from, at, SEEK_DATA);
    if (data < 0 && errno == ENXIO) return setSize(to, size);  // a hole up to the end
    if (data < 0) return copyPiece(from, to, at, size);
    const off_t hole = ::lseek(from, data, SEEK_HOLE);
    at = hole < 0 ? size : std::min(hole, size);
    if (const int error = copyPiece(from, to, data, at)) return error;
  }
  return 0;
}

// Ends early where the file does: that shows in its size.
int FileCopier::copyPiece(int from, int to, off_t at, off_t end) {
  if (canCopyInKernel_ && end - at > kSmall) at = copyInKernel(from, to, at, end);
  return at < end ? copyThroughBuffer(from, to, at, end) : 0;
}

// How far it came. A failure of the disk shows again where the rest is read and written.
off_t FileCopier::copyInKernel(int from, int to, off_t at, off_t end) {
  off_t in = at, out = at;
  while (in < end && canCopyInKernel_) {
    const auto length = static_cast<size_t>(std::min(end - in, kLargestPiece));
    const ssize_t copied = retried([&] { return ::copy_file_range(from, &in, to, &out, length, 0); });
    if (copied == 0) break;
    canCopyInKernel_ = copied > 0;
  }
  return in;
}

int FileCopier::copyThroughBuffer(int from, int to, off_t at, off_t end) {
  if (!buffer_) buffer_ = std::make_unique_for_overwrite<char[]>(kBufferSize);
  while (at < end) {
    const auto wanted = static_cast<size_t>(std::min(end - at, static_cast<off_t>(kBufferSize)));
    const ssize_t got = retried([&] { return ::pread(from, buffer_.get(), wanted, at); });
    if (got <= 0) return got < 0 ? errno : 0;
    if (const int error = writeAll(to, buffer_.get(), static_cast<size_t>(got), at)) return error;
    at += got;
  }
  return 0;
}

}  // namespace orv::detail
