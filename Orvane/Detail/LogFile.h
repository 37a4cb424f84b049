#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <string_view>

#include "Platform/Foundation/Values/NSString.h"

// What the logger and the context handler write with.
namespace orv::detail {

// One line, put together on the stack while it is short.
class LineBuffer {
 public:
  void append(std::string_view bytes);
  void append(const NSString& text);  // UTF-8; a nil text is nothing
  void appendTimeStamp(double secondsSince2001);
  std::string_view bytes() const noexcept { return long_.empty() ? std::string_view(short_, length_) : long_; }

 private:
  char short_[1024];
  size_t length_ = 0;
  std::string long_;  // the whole line, once it has outgrown `short_`
};

// A file that lines are appended to, each with one write(2). No lock: every operation may be called from any
// thread and in a forked child. Troubles are not reported: a log has nobody to report them to.
class LogFile {
 public:
  LogFile() = default;
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;
  ~LogFile() { close(); }

  // Opens the file for appending, making it if need be; an earlier one is closed. Not while others append.
  bool open(const NSString& path);
  void close() noexcept;
  bool isOpen() const noexcept { return descriptor_.load(std::memory_order_relaxed) >= 0; }

  // Appends a line. A file that was deleted since is made anew first, with its folder.
  void append(std::string_view line) noexcept;
  // Forces everything to the disk.
  void synchronize() noexcept;

 private:
  void remakeIfDeleted(int descriptor) noexcept;

  std::atomic<int> descriptor_{-1};
  std::string path_;
};

}  // namespace orv::detail
