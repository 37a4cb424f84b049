#pragma once

#include <sys/stat.h>

#include <string>

#include "Platform/Foundation/Export.h"
#include "Platform/Foundation/Files/Descriptor.h"
#include "Platform/Foundation/Files/Retry.h"

namespace orv::detail {

// Where an item lies or is to lie: its folder, kept open, and its name there. Whatever happens to the folders
// above, the place stays the same, and the path may be longer than the system takes at once.
//
//   const ItemPlace place("/home/ada/notes");
//   if (place.error() == 0) ::unlinkat(place.folder(), place.name(), 0);
class ORV_EXPORT ItemPlace {
 public:
  // A path without a zero byte and, but for "/", without slashes at its end.
  explicit ItemPlace(const std::string& path);

  // The errno of a folder that cannot be reached, or 0.
  int error() const noexcept { return error_; }
  // For openat and its like; it need not be readable.
  int folder() const noexcept { return folder_.number(); }
  // "." for the root folder.
  const char* name() const noexcept { return name_.c_str(); }
  // True for "." and "..", which name a folder that has another name, too.
  bool isDots() const noexcept { return name_ == "." || name_ == ".."; }

  // Of the item itself, also when it is a link: the errno of a failure, or 0.
  int status(struct stat& info) const;

 private:
  std::string name_;
  int error_ = 0;
  const Descriptor folder_;
};

// A name that nothing in a folder has, by all likelihood; hidden, and short enough for every file system.
ORV_EXPORT std::string hiddenName();

// Makes an entry under a hidden name: `make` answers the result of its system call. The errno of a failure, or
// 0.
template <class Make>
int makeHidden(std::string& name, Make make) {
  constexpr int kMostNames = 64;
  int error = 0;
  for (int i = 0; i < kMostNames; ++i) {
    name = hiddenName();
    error = errorOf([&] { return make(name.c_str()); });
    if (error != EEXIST) break;
  }
  return error;
}

// Renames to a name that must not be taken: EEXIST when it is. Where the file system has no such operation,
// what is made at that name in the very moment between the test and the renaming is replaced.
int renameToUnused(int fromFolder, const char* from, int toFolder, const char* to);

// Gives what lies beside a place under a hidden name the name of the place. What has that name gets the hidden
// one in the same moment: at any time the old item or the new one has the name, whole. `aside` is the hidden
// name, at last that of the old item; "" when there was none. Where the file system cannot exchange names,
// nothing has the name for a moment. 0, or the errno of a failure, after which both are as they were.
ORV_EXPORT int takeName(std::string& aside, const ItemPlace& place);

// Forces a file or a folder to the disk: the errno of a failure, or 0, also where nothing can be forced.
int forceToDisk(int descriptor);

}  // namespace orv::detail
