#include "Platform/CoreServices/Detail/FolderTable.h"

#include <algorithm>
#include <functional>

namespace orv::detail {

namespace {
constexpr size_t kFirstSlots = 64;
constexpr uint64_t kSpread = 0x9E3779B97F4A7C15;
constexpr size_t kBlockOverhead = 16;  // of the allocator, for each name
}  // namespace

template <class Matches>
FolderId FolderTable::Index::find(size_t hash, const Matches& matches) const {
  if (slots_.empty()) return kNoFolder;
  const size_t mask = slots_.size() - 1;
  for (size_t at = hash & mask; slots_[at] != kNoFolder; at = (at + 1) & mask)
    if (matches(slots_[at])) return slots_[at];
  return kNoFolder;
}

template <class HashOf>
void FolderTable::Index::put(FolderId folder, const HashOf& hashOf) {
  const size_t mask = slots_.size() - 1;
  size_t at = hashOf(folder) & mask;
  while (slots_[at] != kNoFolder) at = (at + 1) & mask;
  slots_[at] = folder;
}

template <class HashOf>
void FolderTable::Index::insert(FolderId folder, const HashOf& hashOf) {
  if ((used_ + 1) * 3 > slots_.size() * 2) {
    std::vector<FolderId> old(std::max(kFirstSlots, slots_.size() * 2), kNoFolder);
    old.swap(slots_);
    for (const FolderId each : old)
      if (each != kNoFolder) put(each, hashOf);
  }
  put(folder, hashOf);
  ++used_;
}

// Closes the gap, so that no marks of removed folders remain.
template <class HashOf>
void FolderTable::Index::erase(FolderId folder, const HashOf& hashOf) {
  if (slots_.empty()) return;
  const size_t mask = slots_.size() - 1;
  size_t gap = hashOf(folder) & mask;
  while (slots_[gap] != folder) {
    if (slots_[gap] == kNoFolder) return;
    gap = (gap + 1) & mask;
  }
  for (size_t at = (gap + 1) & mask; slots_[at] != kNoFolder; at = (at + 1) & mask) {
    const size_t home = hashOf(slots_[at]) & mask;
    if (((at - home) & mask) < ((at - gap) & mask)) continue;
    slots_[gap] = slots_[at];
    gap = at;
  }
  slots_[gap] = kNoFolder;
  --used_;
}

FolderTable::FolderTable() { clear(); }

void FolderTable::clear() {
  folders_.clear();
  free_.clear();
  byName_ = Index();
  byWatch_ = Index();
  living_ = nameBytes_ = 0;
  set(allocate(), Linked, true);
}

size_t FolderTable::bytes() const noexcept {
  return folders_.capacity() * sizeof(Folder) + free_.capacity() * sizeof(FolderId) + byName_.bytes() +
         byWatch_.bytes() + nameBytes_;
}

size_t FolderTable::hashOfName(FolderId parent, std::string_view name) {
  const uint64_t mixed = (std::hash<std::string_view>()(name) ^ parent) * kSpread;
  return mixed ^ mixed >> 32;
}

size_t FolderTable::hashOfWatch(int watch) {
  const uint64_t mixed = static_cast<uint64_t>(watch) * kSpread;
  return mixed >> 32;
}

FolderId FolderTable::allocate() {
  ++living_;
  if (free_.empty()) {
    folders_.emplace_back();
    return static_cast<FolderId>(folders_.size() - 1);
  }
  const FolderId folder = free_.back();
  free_.pop_back();
  return folder;
}

void FolderTable::setName(Folder& folder, std::string_view name) {
  if (folder.name) nameBytes_ -= folder.nameLength + kBlockOverhead;
  folder.name = std::make_unique<char[]>(name.size());
  std::copy(name.begin(), name.end(), folder.name.get());
  folder.nameLength = static_cast<uint16_t>(name.size());
  nameBytes_ += name.size() + kBlockOverhead;
}

FolderId FolderTable::add(FolderId parent, std::string_view name) {
  const FolderId folder = allocate();
  setName(folders_[folder], name);
  join(folder, parent);
  return folder;
}

void FolderTable::join(FolderId folder, FolderId parent) {
  Folder& it = folders_[folder];
  it.parent = parent;
  it.previous = kNoFolder;
  it.next = folders_[parent].firstChild;
  if (it.next != kNoFolder) folders_[it.next].previous = folder;
  folders_[parent].firstChild = folder;
  it.marks |= Linked;
  byName_.insert(folder, [this](FolderId id) { return hashOfName(folders_[id].parent, name(id)); });
}

FolderId FolderTable::child(FolderId parent, std::string_view wanted) const {
  return byName_.find(hashOfName(parent, wanted),
                      [&](FolderId id) { return folders_[id].parent == parent && name(id) == wanted; });
}

FolderId FolderTable::withWatch(int watch) const {
  return byWatch_.find(hashOfWatch(watch), [&](FolderId id) { return folders_[id].watch == watch; });
}

void FolderTable::setWatch(FolderId folder, int watch) {
  const auto hashOf = [this](FolderId id) { return hashOfWatch(folders_[id].watch); };
  if (folders_[folder].watch >= 0) byWatch_.erase(folder, hashOf);
  folders_[folder].watch = watch;
  if (watch >= 0) byWatch_.insert(folder, hashOf);
}

void FolderTable::unlink(FolderId folder) {
  Folder& it = folders_[folder];
  byName_.erase(folder, [this](FolderId id) { return hashOfName(folders_[id].parent, name(id)); });
  if (it.next != kNoFolder) folders_[it.next].previous = it.previous;
  if (it.previous != kNoFolder)
    folders_[it.previous].next = it.next;
  else
    folders_[it.parent].firstChild = it.next;
  it.next = it.previous = kNoFolder;
  it.marks &= static_cast<uint8_t>(~Linked);
  pin(it.parent);
}

void FolderTable::link(FolderId folder, FolderId parent, std::string_view name) {
  const FolderId before = folders_[folder].parent;
  const std::string copy(name);  // it may be the folder's own
  setName(folders_[folder], copy);
  join(folder, parent);
  unpin(before);
}

void FolderTable::remove(FolderId folder) {
  setWatch(folder, -1);
  folders_[folder].marks = Dead;
  --living_;
  if (folders_[folder].pins == 0) release(folder);
}

void FolderTable::unpin(FolderId folder) {
  if (--folders_[folder].pins == 0 && has(folder, Dead)) release(folder);
}

// Also the dead folders above that were kept for its path.
void FolderTable::release(FolderId folder) {
  while (true) {
    const FolderId parent = folders_[folder].parent;
    nameBytes_ -= folders_[folder].nameLength + kBlockOverhead;
    folders_[folder] = Folder();
    free_.push_back(folder);
    if (--folders_[parent].pins > 0 || !has(parent, Dead)) return;
    folder = parent;
  }
}

void FolderTable::set(FolderId folder, Mark mark, bool on) {
  uint8_t& marks = folders_[folder].marks;
  marks = static_cast<uint8_t>(on ? marks | mark : marks & ~mark);
}

void FolderTable::clearEverywhere(Mark mark) {
  for (Folder& folder : folders_) folder.marks &= static_cast<uint8_t>(~mark);
}

bool FolderTable::isWithin(FolderId folder, FolderId other) const {
  while (folder != other && folder != kNoFolder) folder = folders_[folder].parent;
  return folder == other;
}

void FolderTable::appendPath(FolderId folder, std::string& path) const {
  size_t length = path.size();
  for (FolderId at = folder; at != top(); at = folders_[at].parent) length += folders_[at].nameLength + 1u;
  path.resize(length);
  for (FolderId at = folder; at != top(); at = folders_[at].parent) {
    const std::string_view piece = name(at);
    length -= piece.size();
    std::copy(piece.begin(), piece.end(), path.begin() + static_cast<std::ptrdiff_t>(length));
    path[--length] = '/';
  }
}

std::string FolderTable::path(FolderId folder) const {
  std::string path;
  appendPath(folder, path);
  return path;
}

}  // namespace orv::detail
