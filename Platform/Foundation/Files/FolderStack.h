#pragma once

#include <sys/types.h>

#include <vector>

namespace orv::detail {

// The open folders from the root of a tree down to the one at work. Of a deep tree only the innermost 64 stay
// open; the others are opened again on the way back, as the parents of their children, and only when they are
// the same folders as before.
class FolderStack {
 public:
  FolderStack() = default;
  FolderStack(const FolderStack&) = delete;
  FolderStack& operator=(const FolderStack&) = delete;
  ~FolderStack();

  // Goes into an open folder, which the stack then closes: the errno of a failure, or 0.
  int push(int descriptor);
  // Goes into a folder of the innermost one, never through a link.
  int enter(const char* name);
  // Back to the folder above, if any: ENOENT when the tree was moved meanwhile.
  int leave();

  bool empty() const noexcept { return levels_.empty(); }
  int innermost() const { return levels_.back().descriptor; }
  // Whether leave() has opened the innermost folder again, so that its reading begins anew.
  bool wasReopened() const noexcept { return reopened_; }

 private:
  static constexpr size_t kMostOpen = 64;
  struct Level {
    int descriptor;
    dev_t device = 0;  // known once the folder was closed
    ino_t inode = 0;
  };

  int closeShallowest();
  int reopen(int child);

  std::vector<Level> levels_;
  size_t firstOpen_ = 0;  // the levels above this one are closed
  bool reopened_ = false;
};

}  // namespace orv::detail
