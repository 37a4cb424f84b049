#pragma once

#include <sys/stat.h>

#include <string>
#include <unordered_map>
#include <vector>

namespace orv::detail {

// What a copy was made of: the kind, size and date of every item, by the folder it is in. Whoever removes the
// original asks it just before each item, so that nothing goes that is not in the copy.
//
//   const size_t folder = record.add(CopyRecord::kOutside, "", info);
//   record.add(folder, "notes", infoOfNotes);
//   if (record.holds(folder, "notes", infoNow)) ...
class CopyRecord {
 public:
  // The folder around the outermost item, which is kept under the name "" there.
  static constexpr size_t kOutside = 0;

  // Notes an item of a folder, and answers the number of the items in it.
  size_t add(size_t folder, const std::string& name, const struct stat& info);
  // Whether an item must also be the same inode with the same date of change, which tells new attributes and
  // names; not at first. Some file systems give new inode numbers to the same file.
  void expectIdentity(bool expected) { expectsIdentity_ = expected; }
  // Whether the item is the one that was noted, as it was then; a folder, whatever is in it now.
  bool holds(size_t folder, const std::string& name, const struct stat& now) const;
  // The number that add() answered; kOutside for what was not noted.
  size_t inside(size_t folder, const std::string& name) const;

 private:
  struct Item {
    mode_t kind;
    off_t size;
    timespec modified;
    timespec changed;
    ino_t inode;
    bool isAlone;   // removing another name of the file changes the date of change
    size_t inside;  // kOutside for all but folders
  };

  static bool isIdentical(const Item& item, const struct stat& now);
  const Item* find(size_t folder, const std::string& name) const;

  std::vector<std::unordered_map<std::string, Item>> folders_{1};
  bool expectsIdentity_ = false;
};

}  // namespace orv::detail
