#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Foundation/Export.h"

namespace orv::detail {

// Goes through a tree in depth, each folder before its contents, names in the order of their UTF-16 code units.
// Links are never followed. What readdir tells about an item is not asked again: a walk costs one open and one
// reading for each folder. At most 64 folders are open at a time, however deep the tree.
//
// For one thread at a time. Changes on the disk during the walk may or may not be seen; nothing is listed
// twice.
//
//   FolderWalk walk("/tmp/notes", FolderWalk::SkipHidden);
//   while (const FolderWalk::Item* item = walk.next()) use(item->name, item->kind);
class ORV_EXPORT FolderWalk {
 public:
  enum class Kind : uint8_t { File, Folder, Link, Other };

  enum Option : unsigned {
    Shallow = 1,         // the root's own children only
    SkipPackages = 2,    // not below packages
    SkipHidden = 4,      // neither names that begin with "." nor what lies below them
    TellLeaving = 1024,  // every folder comes again, after its contents
  };

  // Valid until the next step.
  struct Item {
    std::string_view name;  // ends in a zero byte
    Kind kind = Kind::Other;
    bool leaving = false;  // a folder, the second time
    int folder = -1;       // the open folder that the item lies in, for openat and fstatat
    size_t level = 0;      // 1 for the root's children
  };

  // Called with the path below the root ("" for the root itself) and the errno of what could not be read;
  // false ends the walk.
  using ErrorHandler = std::function<bool(const std::string& path, int error)>;

  // A root that is not a readable folder is an error of its own, and the walk is empty. A root that is a link
  // is followed.
  FolderWalk(std::string root, unsigned options, ErrorHandler handler = nullptr);
  // Below an open folder, which the walk then closes.
  FolderWalk(int folder, unsigned options, ErrorHandler handler);
  FolderWalk(const FolderWalk&) = delete;
  FolderWalk& operator=(const FolderWalk&) = delete;
  ~FolderWalk();

  // Null at the end.
  const Item* next();
  // Leaves out what lies below the item just given.
  void skipDescendants() noexcept { descend_ = false; }

  // The path of the item just given below the root: "a/b/name".
  std::string path() const { return prefix_ + std::string(item_.name); }
  // Its folders with a slash behind each, "" at level 1.
  const std::string& prefix() const noexcept { return prefix_; }

 private:
  static constexpr size_t kBufferSize = 64 * 1024;

  struct Child {
    uint64_t key;  // the first bytes of the name, for sorting
    uint32_t offset;
    uint16_t length;
    Kind kind;
  };
  struct Level {
    int descriptor = -1;
    size_t prefixLength = 0;  // of the path of this folder
    size_t at = 0;            // the next child
    std::string names;
    std::vector<Child> children;
    dev_t device = 0;
    ino_t inode = 0;

    std::string_view nameOf(const Child& c) const { return std::string_view(names).substr(c.offset, c.length); }
  };

  void push(int descriptor);
  bool report(int error, std::string_view name);
  void enter();
  const Item* leave();
  void closeShallowest();
  bool reopen(Level& level, int child);
  int readChildren(Level& level);
  static Kind kindOf(int folder, const char* name, unsigned char type);
  static void sortAscii(Level& level);
  static void sortUnits(Level& level);

  unsigned options_;
  ErrorHandler handler_;
  std::vector<Level> levels_;
  std::vector<Level> spare_;  // emptied levels, whose memory is used again
  size_t firstOpen_ = 0;      // the levels above this one are closed
  std::unique_ptr<char[]> buffer_;
  std::string prefix_;
  Item item_;
  bool descend_ = false;
  bool ended_ = false;
};

}  // namespace orv::detail
