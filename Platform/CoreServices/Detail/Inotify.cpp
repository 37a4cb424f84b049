#include "Platform/CoreServices/Detail/Inotify.h"

#include <errno.h>
#include <unistd.h>

#include <utility>

namespace orv::detail {

namespace {
constexpr int kMostReads = 16;  // a queue that is filled as fast as it is read would hold us for ever
}  // namespace

Inotify::Inotify() : buffer_(std::make_unique<char[]>(kBufferSize)) {}

bool Inotify::open() {
  if (isOpen()) return true;
  descriptor_ = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  known_ = Moment::now();
  return isOpen();
}

void Inotify::close() {
  if (isOpen()) ::close(std::exchange(descriptor_, -1));
  chunks_.clear();
}

int Inotify::add(const char* path, uint32_t mask) const {
  if (!isOpen()) return -ENOSPC;
  const int watch = ::inotify_add_watch(descriptor_, path, mask);
  return watch >= 0 ? watch : -errno;
}

void Inotify::remove(int watch) const { ::inotify_rm_watch(descriptor_, watch); }

void Inotify::drain() {
  if (!isOpen()) return;
  const Moment before = Moment::now();
  for (int i = 0; i < kMostReads; ++i) {
    const ssize_t got = ::read(descriptor_, buffer_.get(), kBufferSize);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) {
      known_ = before;
      return;
    }
    chunks_.push_back({std::vector<char>(buffer_.get(), buffer_.get() + got), known_});
  }
}

Inotify::Chunk Inotify::takeChunk() {
  Chunk chunk = std::move(chunks_.front());
  chunks_.pop_front();
  return chunk;
}

}  // namespace orv::detail
