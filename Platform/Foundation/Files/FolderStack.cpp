#include "Platform/Foundation/Files/FolderStack.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "Platform/Foundation/Files/Descriptor.h"
#include "Platform/Foundation/Files/Retry.h"

namespace orv::detail {

FolderStack::~FolderStack() {
  for (const Level& level : levels_)
    if (level.descriptor >= 0) ::close(level.descriptor);
}

int FolderStack::push(int descriptor) {
  levels_.push_back({descriptor});
  reopened_ = false;
  return levels_.size() - firstOpen_ > kMostOpen ? closeShallowest() : 0;
}

int FolderStack::enter(const char* name) {
  const int descriptor =
      retried([&] { return ::openat(innermost(), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); });
  return descriptor < 0 ? errno : push(descriptor);
}

int FolderStack::leave() {
  const Descriptor child(levels_.back().descriptor);
  levels_.pop_back();
  reopened_ = false;
  return levels_.empty() || innermost() >= 0 ? 0 : reopen(child);
}

int FolderStack::closeShallowest() {
  Level& level = levels_[firstOpen_];
  struct stat info;
  if (::fstat(level.descriptor, &info) != 0) return errno;
  level.device = info.st_dev;
  level.inode = info.st_ino;
  ::close(std::exchange(level.descriptor, -1));
  ++firstOpen_;
  return 0;
}

int FolderStack::reopen(int child) {
  Level& level = levels_.back();
  const int descriptor = retried([&] { return ::openat(child, "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  if (descriptor < 0) return errno;
  level.descriptor = descriptor;
  --firstOpen_;
  reopened_ = true;
  struct stat info;
  if (::fstat(descriptor, &info) != 0) return errno;
  return info.st_dev == level.device && info.st_ino == level.inode ? 0 : ENOENT;
}

}  // namespace orv::detail
