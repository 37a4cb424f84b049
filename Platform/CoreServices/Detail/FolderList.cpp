#include "Platform/CoreServices/Detail/FolderList.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <utility>

#include "Platform/CoreServices/Detail/Moment.h"

namespace orv::detail {

namespace {

constexpr size_t kBufferSize = 128 * 1024;

// What the kernel writes.
struct Record {
  uint64_t inode;
  int64_t offset;
  uint16_t length;
  uint8_t type;
  char name[1];
};

int64_t nanoseconds(const struct statx_timestamp& time) {
  return Moment::nanoseconds(time.tv_sec, time.tv_nsec);
}

}  // namespace

FolderList::FolderList() : buffer_(std::make_unique<char[]>(kBufferSize)) {}

bool FolderList::open(const std::string& path) {
  close();
  descriptor_ =
      ::open(path.empty() ? "/" : path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
  at_ = end_ = 0;
  return descriptor_ >= 0;
}

void FolderList::close() {
  if (descriptor_ >= 0) ::close(std::exchange(descriptor_, -1));
}

bool FolderList::fill() {
  const long got = ::syscall(SYS_getdents64, descriptor_, buffer_.get(), kBufferSize);
  at_ = 0;
  end_ = got > 0 ? static_cast<size_t>(got) : 0;
  return got > 0;
}

bool FolderList::next() {
  while (true) {
    if (at_ >= end_ && !fill()) return false;
    const auto* record = reinterpret_cast<const Record*>(buffer_.get() + at_);
    at_ += record->length;
    name_ = static_cast<const char*>(record->name);
    if (name_ == "." || name_ == "..") continue;
    switch (record->type) {
      case DT_DIR: kind_ = Kind::Folder; break;
      case DT_LNK: kind_ = Kind::Link; break;
      case DT_UNKNOWN: kind_ = kindIn(descriptor_, name_.data()); break;
      default: kind_ = Kind::File; break;
    }
    return true;
  }
}

FolderList::Kind FolderList::kindIn(int folder, const char* name) {
  struct stat info {};
  if (::fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) != 0) return Kind::File;
  if (S_ISDIR(info.st_mode)) return Kind::Folder;
  return S_ISLNK(info.st_mode) ? Kind::Link : Kind::File;
}

FolderList::Kind FolderList::kindOf(const std::string& path) { return kindIn(AT_FDCWD, path.c_str()); }

bool FolderList::factsOf(const std::string& path, Facts& facts) {
  return read(AT_FDCWD, path.empty() ? "/" : path.c_str(), facts);
}

bool FolderList::read(int folder, const char* name, Facts& facts) {
  struct statx info {};
  const unsigned wanted = STATX_TYPE | STATX_CTIME | STATX_MTIME | STATX_BTIME | STATX_INO;
  if (::statx(folder, name, AT_SYMLINK_NOFOLLOW | AT_EMPTY_PATH, wanted, &info) != 0) return false;
  facts = {nanoseconds(info.stx_ctime), nanoseconds(info.stx_mtime),
           info.stx_mask & STATX_BTIME ? nanoseconds(info.stx_btime) : 0, info.stx_ino, S_ISDIR(info.stx_mode)};
  return true;
}

}  // namespace orv::detail
