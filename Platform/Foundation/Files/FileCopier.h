#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <memory>

namespace orv::detail {

// Whether a copy is a failure when it cannot keep the extended attributes named "user."
enum class Attributes { AsPossible, Required };

// Copies open files, one after the other; what it learns about the two file systems serves the next file. Each
// operation answers 0 or the errno of a failure. For one thread at a time.
//
//   FileCopier copier;
//   if (const int error = copier.copy(from, to)) return error;
class FileCopier {
 public:
  explicit FileCopier(Attributes attributes = Attributes::AsPossible) : attributes_(attributes) {}

  // Fills a new, empty file with the contents of another and gives it the other's facts: by sharing the
  // contents where the file system can, else inside the kernel, else through a buffer. Holes stay holes. A file
  // that changes while it is read is copied once more; EBUSY when it changes again. `copied`, if any, tells
  // what the file was when it was copied.
  int copy(int from, int to, struct stat* copied = nullptr);

 private:
  int finish(int from, int to, const struct stat& info) const;
  int copyContents(int from, int to, const struct stat& info);
  bool clone(int from, int to);
  int copyPieces(int from, int to, off_t size);
  int copyPiece(int from, int to, off_t at, off_t end);
  off_t copyInKernel(int from, int to, off_t at, off_t end);
  int copyThroughBuffer(int from, int to, off_t at, off_t end);

  const Attributes attributes_;
  bool canClone_ = true;
  bool canCopyInKernel_ = true;
  std::unique_ptr<char[]> buffer_;
};

// Gives a copy the other's facts (takeFacts) and times, as they were when `info` was asked for. What the system
// does not allow or cannot keep is left out. 0, or the errno for an attribute named "user." that was left out.
int copyFacts(int from, int to, const struct stat& info);

}  // namespace orv::detail
