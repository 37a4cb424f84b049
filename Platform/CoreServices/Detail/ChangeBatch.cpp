#include "Platform/CoreServices/Detail/ChangeBatch.h"

#include <algorithm>
#include <functional>

namespace orv::detail {

namespace {
constexpr size_t kFirstSlots = 256;
constexpr uint64_t kSpread = 0x9E3779B97F4A7C15;
}  // namespace

size_t ChangeBatch::hashOf(FolderId folder, std::string_view name) {
  const uint64_t mixed = (std::hash<std::string_view>()(name) ^ folder) * kSpread;
  return mixed ^ mixed >> 32;
}

bool ChangeBatch::add(FolderId folder, std::string_view name, uint32_t flags, uint64_t id) {
  if ((entries_.size() + 1) * 2 > slots_.size()) grow();
  const size_t mask = slots_.size() - 1;
  size_t at = hashOf(folder, name) & mask;
  for (; slots_[at] != kFree; at = (at + 1) & mask) {
    Entry& entry = entries_[slots_[at]];
    if (entry.folder != folder || this->name(entry) != name) continue;
    entry.flags |= flags;
    return false;
  }
  slots_[at] = static_cast<uint32_t>(entries_.size());
  entries_.push_back(
      {folder, static_cast<uint32_t>(names_.size()), static_cast<uint32_t>(name.size()), flags, id});
  names_ += name;
  return true;
}

void ChangeBatch::grow() {
  slots_.assign(std::max(kFirstSlots, slots_.size() * 2), kFree);
  const size_t mask = slots_.size() - 1;
  for (uint32_t i = 0; i < entries_.size(); ++i) {
    size_t at = hashOf(entries_[i].folder, name(entries_[i])) & mask;
    while (slots_[at] != kFree) at = (at + 1) & mask;
    slots_[at] = i;
  }
}

void ChangeBatch::clear() { *this = ChangeBatch(); }

}  // namespace orv::detail
