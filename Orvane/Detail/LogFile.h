#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSString.h"

// What the logger and the context handler write with.
namespace orv::detail {

// One line, put together on the stack while it is short.
class LineBuffer {
 public:
  void append(std::string_view bytes) {
    if (!long_.empty() || bytes.size() > sizeof short_ - length_) return appendToLong(bytes);
    std::memcpy(short_ + length_, bytes.data(), bytes.size());
    length_ += bytes.size();
  }
  // As UTF-8; a nil text is nothing.
  void append(const Units& text);
  void append(const NSString& text) { append(unitsOf(text)); }
  void appendTimeStamp(double secondsSince2001);
  std::string_view bytes() const noexcept { return long_.empty() ? std::string_view(short_, length_) : long_; }

 private:
  void appendToLong(std::string_view bytes);

  char short_[1024];
  size_t length_ = 0;
  std::string long_;  // the whole line, once it has outgrown `short_`
};

// A file that lines are appended to, each with one write(2). No lock: every operation may be called from any
// thread and in a forked child. Troubles are not reported: a log has nobody to report them to.
//
// A file that was deleted is made anew, with its folder, when that is noticed: `synchronize` always looks,
// `append` when the last look is a tenth of a second old (asking costs half as much as writing a line). What
// was written to the deleted file since the last look is copied to the new one, so that no line is lost.
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

  // Appends a line; `now` is the present in seconds on any scale.
  void append(std::string_view line, double now) noexcept;
  // Forces everything to the disk.
  void synchronize() noexcept;

 private:
  void look(int descriptor) noexcept;
  void remake(int descriptor) noexcept;

  std::atomic<int> descriptor_{-1};
  std::atomic<double> lastLook_{0};
  std::atomic<int64_t> sizeAtLook_{0};
  // The process of the one thread that looks, 0 when none does; the others go on. A child that was forked
  // meanwhile sees a process that is not its own.
  std::atomic<int> looking_{0};
  std::string path_;
};

}  // namespace orv::detail
