#include "Tests/Support/FaultyDisk.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>

namespace {

struct Plan {
  bool armed = false;
  bool forEver = false;
  long failing = 0;
  int error = 0;
  long count = 0;
};

thread_local Plan plan;

// Counts a call; true when it is to fail.
bool fails(bool removes = false) {
  if (!plan.armed) return false;
  const long number = ++plan.count;
  if (plan.failing == 0 || number < plan.failing) return false;
  if (number > plan.failing && (!plan.forEver || removes)) return false;
  errno = plan.error;
  return true;
}

template <class Function>
Function* real(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

bool creates(int flags) { return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE; }

mode_t modeFrom(int flags, va_list arguments) {
  return creates(flags) ? static_cast<mode_t>(va_arg(arguments, int)) : 0;
}

}  // namespace

#define REAL(name) static auto* const next = real<decltype(name)>(#name)

extern "C" {

__attribute__((visibility("default"))) void faultyDiskArm(long n, int error, bool forEver) {
  plan = {true, forEver, n, error, 0};
}

__attribute__((visibility("default"))) long faultyDiskDisarm() {
  plan.armed = false;
  return plan.count;
}

int open(const char* path, int flags, ...) {
  REAL(open);
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = modeFrom(flags, arguments);
  va_end(arguments);
  return creates(flags) && fails() ? -1 : next(path, flags, mode);
}

int open64(const char* path, int flags, ...) {
  REAL(open64);
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = modeFrom(flags, arguments);
  va_end(arguments);
  return creates(flags) && fails() ? -1 : next(path, flags, mode);
}

int openat(int folder, const char* path, int flags, ...) {
  REAL(openat);
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = modeFrom(flags, arguments);
  va_end(arguments);
  return creates(flags) && fails() ? -1 : next(folder, path, flags, mode);
}

int ioctl(int file, unsigned long request, ...) noexcept {
  REAL(ioctl);
  va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  return request == FICLONE && fails() ? -1 : next(file, request, argument);
}

ssize_t write(int file, const void* bytes, size_t size) {
  REAL(write);
  return fails() ? -1 : next(file, bytes, size);
}

ssize_t pwrite(int file, const void* bytes, size_t size, off_t at) {
  REAL(pwrite);
  return fails() ? -1 : next(file, bytes, size, at);
}

ssize_t copy_file_range(int from, off64_t* in, int to, off64_t* out, size_t size, unsigned flags) {
  REAL(copy_file_range);
  return fails() ? -1 : next(from, in, to, out, size, flags);
}

int ftruncate(int file, off_t size) noexcept {
  REAL(ftruncate);
  return fails() ? -1 : next(file, size);
}

int fsync(int file) {
  REAL(fsync);
  return fails() ? -1 : next(file);
}

int fdatasync(int file) {
  REAL(fdatasync);
  return fails() ? -1 : next(file);
}

int syncfs(int file) noexcept {
  REAL(syncfs);
  return fails() ? -1 : next(file);
}

int rename(const char* from, const char* to) noexcept {
  REAL(rename);
  return fails() ? -1 : next(from, to);
}

int renameat(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
  REAL(renameat);
  return fails() ? -1 : next(fromFolder, from, toFolder, to);
}

int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) noexcept {
  REAL(renameat2);
  return fails() ? -1 : next(fromFolder, from, toFolder, to, flags);
}

int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags) noexcept {
  REAL(linkat);
  return fails() ? -1 : next(fromFolder, from, toFolder, to, flags);
}

int symlinkat(const char* target, int folder, const char* path) noexcept {
  REAL(symlinkat);
  return fails() ? -1 : next(target, folder, path);
}

int mkdir(const char* path, mode_t mode) noexcept {
  REAL(mkdir);
  return fails() ? -1 : next(path, mode);
}

int mkdirat(int folder, const char* path, mode_t mode) noexcept {
  REAL(mkdirat);
  return fails() ? -1 : next(folder, path, mode);
}

int unlink(const char* path) noexcept {
  REAL(unlink);
  return fails(true) ? -1 : next(path);
}

int unlinkat(int folder, const char* path, int flags) noexcept {
  REAL(unlinkat);
  return fails(true) ? -1 : next(folder, path, flags);
}

int rmdir(const char* path) noexcept {
  REAL(rmdir);
  return fails(true) ? -1 : next(path);
}
}
