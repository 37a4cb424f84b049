#include "Orvane/Detail/LogFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <filesystem>
#include <system_error>

#include "Platform/Foundation/Text/Unicode.h"
#include "Platform/Foundation/Values/NSDate.h"

namespace orv::detail {
namespace {

int openForAppending(const std::string& path) {
  return ::open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
}

// A time stamp up to the point behind its seconds.
struct SecondText {
  void set(double newSecond) noexcept {
    second = newSecond;
    const char* end = writeISO8601(newSecond, text);
    length = static_cast<size_t>(end - text) - std::string_view("000Z").size();
  }

  double second = -1e300;
  char text[kISO8601MaxLength] = {};
  size_t length = 0;
};
constinit thread_local SecondText lastSecond;

constexpr double kSecondsBetweenLooks = 0.1;

// The rest of a line that the system took only in part, when the disk is full for a moment.
void writeFully(int descriptor, std::string_view line) noexcept {
  while (!line.empty()) {
    const ssize_t written = ::write(descriptor, line.data(), line.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    line.remove_prefix(static_cast<size_t>(written));
  }
}

// Appends what a file holds from a position on to another one.
void copyTail(int from, int64_t position, int to) noexcept {
  char piece[4096];
  while (true) {
    const ssize_t got = ::pread(from, piece, sizeof piece, position);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return;
    writeFully(to, std::string_view(piece, static_cast<size_t>(got)));
    position += got;
  }
}

}  // namespace

void LineBuffer::appendToLong(std::string_view bytes) {
  if (long_.empty()) long_.assign(short_, length_);
  long_.append(bytes);
}

void LineBuffer::append(const Units& text) {
  if (text.wide)
    return append(std::string_view(*utf8FromUnits(text.wideData(), text.length, LoneSurrogate::Replace)));
  if (asciiPrefix(text.narrow(), text.length) == text.length)
    return append(std::string_view(static_cast<const char*>(text.data), text.length));
  append(std::string_view(utf8FromLatin1(text.narrow(), text.length)));
}

// Most lines share their second with the one before: only the milliseconds are written anew.
void LineBuffer::appendTimeStamp(double secondsSince2001) {
  const double second = std::floor(secondsSince2001);
  if (second != lastSecond.second) lastSecond.set(second);
  append(std::string_view(lastSecond.text, lastSecond.length));
  const auto milliseconds = static_cast<unsigned>((secondsSince2001 - second) * 1000);
  const char tail[] = {static_cast<char>('0' + milliseconds / 100),
                       static_cast<char>('0' + milliseconds / 10 % 10),
                       static_cast<char>('0' + milliseconds % 10), 'Z'};
  append(std::string_view(tail, sizeof tail));
}

bool LogFile::open(const NSString& path) {
  close();
  path_ = path.fileSystemRepresentation();
  const int descriptor = openForAppending(path_);
  descriptor_ = descriptor;
  lastLook_ = 0;
  if (descriptor >= 0) look(descriptor);
  return descriptor >= 0;
}

void LogFile::close() noexcept {
  const int descriptor = descriptor_.exchange(-1);
  if (descriptor >= 0) ::close(descriptor);
}

void LogFile::append(std::string_view line, double now) noexcept {
  const int saved = errno;
  const int descriptor = descriptor_.load(std::memory_order_relaxed);
  if (descriptor >= 0) {
    if (std::abs(now - lastLook_.load(std::memory_order_relaxed)) > kSecondsBetweenLooks) {
      lastLook_.store(now, std::memory_order_relaxed);
      look(descriptor);
    }
    writeFully(descriptor, line);
  }
  errno = saved;
}

void LogFile::synchronize() noexcept {
  const int saved = errno;
  const int descriptor = descriptor_.load(std::memory_order_relaxed);
  if (descriptor >= 0) {
    look(descriptor);
    ::fsync(descriptor);
  }
  errno = saved;
}

// Whether the file still has a name.
void LogFile::look(int descriptor) noexcept {
  const int self = ::getpid();
  int looking = looking_.load(std::memory_order_relaxed);
  if (looking == self || !looking_.compare_exchange_strong(looking, self, std::memory_order_acquire)) return;
  struct stat status;
  if (::fstat(descriptor, &status) == 0) {
    if (status.st_nlink == 0)
      remake(descriptor);
    else
      sizeAtLook_.store(status.st_size, std::memory_order_relaxed);
  }
  looking_.store(0, std::memory_order_release);
}

// The new file takes the old descriptor's number, so that no thread can write to a closed one.
void LogFile::remake(int descriptor) noexcept {
  std::error_code ignored;
  std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), ignored);
  const int fresh = openForAppending(path_);
  if (fresh < 0) return;
  const int deleted = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
  ::dup3(fresh, descriptor, O_CLOEXEC);
  if (deleted >= 0) copyTail(deleted, sizeAtLook_.exchange(0, std::memory_order_relaxed), fresh);
  ::close(deleted);
  ::close(fresh);
}

}  // namespace orv::detail
