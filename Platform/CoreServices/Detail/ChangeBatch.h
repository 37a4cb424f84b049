#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/CoreServices/Detail/FolderTable.h"

namespace orv::detail {

// A change as it is delivered.
struct Change {
  std::string path;
  uint32_t flags = 0;
  uint64_t id = 0;
};

// The changes that wait: one entry for each item, in the order of their first numbers, with the flags of all.
// An item is a name in a folder rather than a path, so that its path is the right one when it is delivered.
class ChangeBatch {
 public:
  struct Entry {
    FolderId folder;  // none: the name is a path
    uint32_t nameAt;
    uint32_t nameLength;
    uint32_t flags;
    uint64_t id;
  };

  // "" is the folder itself. True when the item is new in the batch.
  bool add(FolderId folder, std::string_view name, uint32_t flags, uint64_t id);
  bool empty() const noexcept { return entries_.empty(); }
  const std::vector<Entry>& entries() const noexcept { return entries_; }
  std::string_view name(const Entry& entry) const {
    return std::string_view(names_).substr(entry.nameAt, entry.nameLength);
  }
  void clear();

 private:
  static constexpr uint32_t kFree = UINT32_MAX;

  static size_t hashOf(FolderId folder, std::string_view name);
  void grow();

  std::vector<Entry> entries_;
  std::vector<uint32_t> slots_;
  std::string names_;
};

}  // namespace orv::detail
