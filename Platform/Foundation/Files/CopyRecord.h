#pragma once

#include <sys/stat.h>

#include <string>
#include <unordered_map>
#include <vector>

namespace orv::detail {

// What a copy was made of: the kind, size and date of every item, by the folder it is in. Whoever removes the
// original asks it just before each item, so that nothing goes that is not in the copy. Inode numbers are not
// kept: some file systems give new ones to the same file.
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
  // Whether the item is the one that was noted, as it was then; a folder, whatever is in it now.
  bool holds(size_t folder, const std::string& name, const struct stat& now) const;
  // The number that add() answered; kOutside for what was not noted.
  size_t inside(size_t folder, const std::string& name) const;

 private:
  struct Item {
    mode_t kind;
    off_t size;
    timespec modified;
    size_t inside;  // kOutside for all but folders
  };

  const Item* find(size_t folder, const std::string& name) const;

  std::vector<std::unordered_map<std::string, Item>> folders_{1};
};

}  // namespace orv::detail
