#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orv::detail {

using FolderId = uint32_t;
inline constexpr FolderId kNoFolder = UINT32_MAX;

// The folders that are watched, as one tree that begins at "/". A folder is its name, its parent and its
// watch: renaming one costs the same however much lies below it. About a hundred bytes for each.
//
// A folder that is removed from the tree while something refers to it (`pin`) keeps its number and its last
// path until the last pin goes.
class FolderTable {
 public:
  enum Mark : uint8_t {
    IsRoot = 1,
    Needed = 2,
    Visited = 4,
    Linked = 8,
    Dead = 16,
    Unseen = 32,
    Closed = 64,  // something in it, or further down, was not to be entered
  };

  FolderTable();

  static constexpr FolderId top() noexcept { return 0; }  // "/"
  size_t count() const noexcept { return living_; }
  size_t bytes() const noexcept;

  // Below a parent that has no child of that name.
  FolderId add(FolderId parent, std::string_view name);
  FolderId child(FolderId parent, std::string_view name) const;
  FolderId withWatch(int watch) const;
  // A negative number is none.
  void setWatch(FolderId folder, int watch);

  // Takes a folder, with all that is below it, out of the tree; it remembers where it was.
  void unlink(FolderId folder);
  // Puts an unlinked folder into a place that is free and does not lie below it.
  void link(FolderId folder, FolderId parent, std::string_view name);
  // Ends an unlinked folder that has no children.
  void remove(FolderId folder);
  void clear();

  void pin(FolderId folder) { ++folders_[folder].pins; }
  void unpin(FolderId folder);

  int watch(FolderId folder) const { return folders_[folder].watch; }
  FolderId parent(FolderId folder) const { return folders_[folder].parent; }
  FolderId firstChild(FolderId folder) const { return folders_[folder].firstChild; }
  FolderId nextSibling(FolderId folder) const { return folders_[folder].next; }
  std::string_view name(FolderId folder) const {
    return {folders_[folder].name.get(), folders_[folder].nameLength};
  }
  bool has(FolderId folder, Mark mark) const { return (folders_[folder].marks & mark) != 0; }
  void set(FolderId folder, Mark mark, bool on);
  void clearEverywhere(Mark mark);
  // Whether `folder` is `other` or lies below it.
  bool isWithin(FolderId folder, FolderId other) const;

  // Without a slash at the end, "" for the top.
  void appendPath(FolderId folder, std::string& path) const;
  std::string path(FolderId folder) const;

  // Calls a function with every folder of the tree; it must not change it.
  template <class Function>
  void forEach(const Function& function) const {
    for (FolderId i = 0; i < folders_.size(); ++i)
      if (has(i, Linked)) function(i);
  }

 private:
  struct Folder {
    std::unique_ptr<char[]> name;
    FolderId parent = kNoFolder;
    FolderId firstChild = kNoFolder;
    FolderId next = kNoFolder;
    FolderId previous = kNoFolder;
    int watch = -1;
    uint32_t pins = 0;
    uint16_t nameLength = 0;
    uint8_t marks = 0;
  };

  // A hash table of folders: open addressing, at most two thirds full.
  class Index {
   public:
    template <class Matches>
    FolderId find(size_t hash, const Matches& matches) const;
    template <class HashOf>
    void insert(FolderId folder, const HashOf& hashOf);
    template <class HashOf>
    void erase(FolderId folder, const HashOf& hashOf);
    size_t bytes() const noexcept { return slots_.capacity() * sizeof(FolderId); }

   private:
    template <class HashOf>
    void put(FolderId folder, const HashOf& hashOf);

    std::vector<FolderId> slots_;
    size_t used_ = 0;
  };

  static size_t hashOfName(FolderId parent, std::string_view name);
  static size_t hashOfWatch(int watch);
  void setName(Folder& folder, std::string_view name);
  void join(FolderId folder, FolderId parent);
  FolderId allocate();
  void release(FolderId folder);

  std::vector<Folder> folders_;
  std::vector<FolderId> free_;
  Index byName_;
  Index byWatch_;
  size_t living_ = 0;
  size_t nameBytes_ = 0;
};

}  // namespace orv::detail
