#pragma once

#include <sys/inotify.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "Platform/CoreServices/Detail/Moment.h"

namespace orv::detail {

// The kernel's queue of events. It holds 16,384 of them, so it is emptied into memory (`drain`) often, also in
// the middle of other work, and worked on later. For one thread.
class Inotify {
 public:
  struct Chunk {
    std::vector<char> bytes;  // of whole events
    Moment since;             // everything before was in earlier chunks
  };

  Inotify();
  Inotify(const Inotify&) = delete;
  Inotify& operator=(const Inotify&) = delete;
  ~Inotify() { close(); }

  // False when the system has no instance left: then every `add` fails with ENOSPC.
  bool open();
  // Ends all watches and forgets what was read.
  void close();
  bool isOpen() const noexcept { return descriptor_ >= 0; }
  int descriptor() const noexcept { return descriptor_; }

  // The number of the watch, the folder's old one if it has one already; or a negative errno.
  int add(const char* path, uint32_t mask) const;
  void remove(int watch) const;

  void drain();
  bool hasChunks() const noexcept { return !chunks_.empty(); }
  Chunk takeChunk();
  // Everything before this moment has been read.
  Moment known() const noexcept { return isOpen() ? known_ : Moment::now(); }

 private:
  static constexpr size_t kBufferSize = 512 * 1024;

  int descriptor_ = -1;
  std::unique_ptr<char[]> buffer_;
  std::deque<Chunk> chunks_;
  Moment known_;
};

}  // namespace orv::detail
