#include "Platform/Foundation/Files/CopyRecord.h"

namespace orv::detail {

size_t CopyRecord::add(size_t folder, const std::string& name, const struct stat& info) {
  Item item{info.st_mode & S_IFMT, info.st_size, info.st_mtim, kOutside};
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
  return item->size == now.st_size && item->modified.tv_sec == now.st_mtim.tv_sec &&
         item->modified.tv_nsec == now.st_mtim.tv_nsec;
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
