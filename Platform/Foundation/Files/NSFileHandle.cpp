#include "Platform/Foundation/Files/NSFileHandle.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>

#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSException.h"

using namespace orv;

namespace {

[[noreturn]] void raise(const char* operation, int error) {
  NSException::raise(NSFileHandleOperationException,
                     NSString("*** -[NSConcreteFileHandle ") + operation +
                         "]: " + NSError::errorWithErrno(error).localizedFailureReason());
}

// The answer of a system call that is not negative; raises otherwise.
int64_t checked(const char* operation, int64_t result) {
  if (result < 0) raise(operation, errno);
  return result;
}

template <class Call>
ssize_t untilNotInterrupted(Call call) {
  ssize_t result = 0;
  do result = call();
  while (result < 0 && errno == EINTR);
  return result;
}

std::string readUpTo(int descriptor, NSUInteger length, const char* operation) {
  std::string bytes;
  std::array<char, 64 * 1024> buffer;
  while (bytes.size() < length) {
    const size_t wanted = std::min<NSUInteger>(length - bytes.size(), buffer.size());
    const ssize_t got = untilNotInterrupted([&] { return ::read(descriptor, buffer.data(), wanted); });
    if (checked(operation, got) == 0) break;
    bytes.append(buffer.data(), static_cast<size_t>(got));
  }
  return bytes;
}

}  // namespace

NSFileHandle::~NSFileHandle() { closeFile(); }

Ref<NSFileHandle> NSFileHandle::open(const NSString& path, int flags) {
  std::string bytes;
  if (!detail::systemPath(path, bytes)) return nil;
  const int descriptor = ::open(bytes.c_str(), flags | O_CLOEXEC);
  return descriptor < 0 ? Ref<NSFileHandle>() : make<NSFileHandle>(descriptor, true);
}

Ref<NSFileHandle> NSFileHandle::fileHandleForReadingAtPath(const NSString& path) {
  return open(path, O_RDONLY);
}

Ref<NSFileHandle> NSFileHandle::fileHandleForWritingAtPath(const NSString& path) {
  return open(path, O_WRONLY);
}

Ref<NSFileHandle> NSFileHandle::fileHandleForUpdatingAtPath(const NSString& path) { return open(path, O_RDWR); }

Ref<NSFileHandle> NSFileHandle::fileHandleWithStandardError() {
  static auto* const shared =
      new NSFileHandle(STDERR_FILENO, false);  // never destroyed: it serves until the very end
  return Ref<NSFileHandle>(shared);
}

Ref<NSFileHandle> NSFileHandle::fileHandleWithFileDescriptor(int descriptor, bool closeWithHandle) {
  return descriptor < 0 ? Ref<NSFileHandle>() : make<NSFileHandle>(descriptor, closeWithHandle);
}

NSData NSFileHandle::readDataToEndOfFile() {
  return NSData::dataWithBytes(std::string_view(readUpTo(fileDescriptor(), INT64_MAX, "readDataToEndOfFile")));
}

NSData NSFileHandle::readDataOfLength(NSUInteger length) {
  return NSData::dataWithBytes(std::string_view(readUpTo(fileDescriptor(), length, "readDataOfLength:")));
}

void NSFileHandle::writeData(const NSData& data) {
  if (data) write(data.view());
}

void NSFileHandle::write(std::string_view bytes) {
  const int descriptor = fileDescriptor();
  do {
    const ssize_t written =
        untilNotInterrupted([&] { return ::write(descriptor, bytes.data(), bytes.size()); });
    bytes.remove_prefix(static_cast<size_t>(checked("writeData:", written)));
  } while (!bytes.empty());
}

uint64_t NSFileHandle::seekToEndOfFile() {
  return static_cast<uint64_t>(checked("seekToEndOfFile", ::lseek(fileDescriptor(), 0, SEEK_END)));
}

uint64_t NSFileHandle::offsetInFile() const {
  return static_cast<uint64_t>(checked("offsetInFile", ::lseek(fileDescriptor(), 0, SEEK_CUR)));
}

void NSFileHandle::seekToFileOffset(uint64_t offset) {
  checked("seekToFileOffset:", ::lseek(fileDescriptor(), static_cast<off_t>(offset), SEEK_SET));
}

void NSFileHandle::truncateFileAtOffset(uint64_t offset) {
  checked("truncateFileAtOffset:", ::ftruncate(fileDescriptor(), static_cast<off_t>(offset)));
  seekToFileOffset(offset);
}

void NSFileHandle::synchronizeFile() {
  // What cannot be synchronised, such as a terminal, needs it not.
  if (::fsync(fileDescriptor()) < 0 && errno != EINVAL && errno != EROFS) raise("synchronizeFile", errno);
}

void NSFileHandle::closeFile() noexcept {
  if (!closes_) return;
  const int descriptor = descriptor_.exchange(-1);
  if (descriptor >= 0) ::close(descriptor);
}
