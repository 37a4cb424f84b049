#include "Platform/Foundation/Files/CopyRecord.h"

namespace orv::detail {
namespace {

bool isSameTime(const timespec& a, const timespec& b) { return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec; }

}  // namespace

size_t CopyRecord::add(size_t folder, const std::string& name, const struct stat& info) {
  Item item{info.st_mode & S_IFMT, info.st_size,       info.st_mtim, info.st_ctim,
            info.st_ino,           info.st_nlink == 1, kOutside};
  if (S_ISDIR(info.st_mode)) {
    item.inside = folders_.size();
    folders_.emplace_back();
  }
  folders_[folder].insert_or_assign(name, item);
  return item.inside;
}

bool CopyRecord::holds(size_t folder, const std::string& name, const struct stat& now) const {
  const Item* item = find(folder, name);
  if (!item || item->kind != (now.st_mode & S_IFMT)) return false;
  if (S_ISDIR(now.st_mode)) return true;
  if (expectsIdentity_ && !isIdentical(*item, now)) return false;
  return item->size == now.st_size && isSameTime(item->modified, now.st_mtim);
}

bool CopyRecord::isIdentical(const Item& item, const struct stat& now) {
  return item.inode == now.st_ino && (!item.isAlone || isSameTime(item.changed, now.st_ctim));
}

size_t CopyRecord::inside(size_t folder, const std::string& name) const {
  const Item* item = find(folder, name);
  return item ? item->inside : kOutside;
}

const CopyRecord::Item* CopyRecord::find(size_t folder, const std::string& name) const {
  const auto found = folders_[folder].find(name);
  return found != folders_[folder].end() ? &found->second : nullptr;
}

}  // namespace orv::detail
