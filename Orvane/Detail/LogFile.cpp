#include "Orvane/Detail/LogFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSDate.h"

namespace orv::detail {
namespace {

int openForAppending(const std::string& path) {
  return ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
}

// The rest of a line that the system took only in part, when the disk is full for a moment.
void writeFully(int descriptor, std::string_view line) noexcept {
  while (!line.empty()) {
    const ssize_t written = ::write(descriptor, line.data(), line.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    line.remove_prefix(static_cast<size_t>(written));
  }
}

}  // namespace

void LineBuffer::append(std::string_view bytes) {
  if (long_.empty() && length_ + bytes.size() <= sizeof short_) {
    std::memcpy(short_ + length_, bytes.data(), bytes.size());
    length_ += bytes.size();
    return;
  }
  if (long_.empty()) long_.assign(short_, length_);
  long_.append(bytes);
}

void LineBuffer::append(const NSString& text) {
  const StringRep* rep = stringRep(text);
  if (!rep) return;
  if (rep->ascii()) return append(std::string_view(static_cast<const char*>(rep->units()), rep->length));
  append(std::string_view(text.utf8()));
}

void LineBuffer::appendTimeStamp(double secondsSince2001) {
  char buffer[kISO8601MaxLength];
  const char* end = writeISO8601(secondsSince2001, buffer);
  append(std::string_view(buffer, static_cast<size_t>(end - buffer)));
}

bool LogFile::open(const NSString& path) {
  close();
  path_ = path.fileSystemRepresentation();
  descriptor_ = openForAppending(path_);
  return isOpen();
}

void LogFile::close() noexcept {
  const int descriptor = descriptor_.exchange(-1);
  if (descriptor >= 0) ::close(descriptor);
}

void LogFile::append(std::string_view line) noexcept {
  const int saved = errno;
  const int descriptor = descriptor_.load(std::memory_order_relaxed);
  if (descriptor >= 0) {
    remakeIfDeleted(descriptor);
    writeFully(descriptor, line);
  }
  errno = saved;
}

void LogFile::synchronize() noexcept {
  const int saved = errno;
  const int descriptor = descriptor_.load(std::memory_order_relaxed);
  if (descriptor >= 0) ::fsync(descriptor);
  errno = saved;
}

// The new file takes the old descriptor's number, so that no thread can write to a closed one.
void LogFile::remakeIfDeleted(int descriptor) noexcept {
  struct stat status;
  if (::fstat(descriptor, &status) != 0 || status.st_nlink != 0) return;
  std::error_code ignored;
  std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), ignored);
  const int fresh = openForAppending(path_);
  if (fresh < 0) return;
  ::dup3(fresh, descriptor, O_CLOEXEC);
  ::close(fresh);
}

}  // namespace orv::detail
