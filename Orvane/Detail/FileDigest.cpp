#include "Orvane/Detail/FileDigest.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <system_error>
#include <thread>

#include "Platform/Foundation/Files/FolderWalk.h"

namespace orv::detail {
namespace {

bool sameMoment(const timespec& a, const timespec& b) { return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec; }

// Opens a path that may be longer than the system takes at once, folder by folder.
int openBelow(int folder, const std::string& path) {
  constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK;  // opening a pipe must not wait for its writer
  if (path.size() < PATH_MAX) return ::openat(folder, path.c_str(), kFlags);
  const size_t slash = path.rfind('/', PATH_MAX - 2);
  if (slash == std::string::npos) return -1;
  const int next = ::openat(folder, path.substr(0, slash).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  if (next < 0) return -1;
  const int result = openBelow(next, path.substr(slash + 1));
  ::close(next);
  return result;
}

std::vector<TreeFile> filesOfTree(const std::string& root) {
  std::vector<TreeFile> files;
  FolderWalk walk(root, 0);
  while (const auto* item = walk.next()) {
    if (item->kind == FolderWalk::Kind::Folder) continue;
    TreeFile& file = files.emplace_back();
    file.path = walk.path();
    struct stat info;
    file.exists = ::fstatat(item->folder, item->name.data(), &info, AT_SYMLINK_NOFOLLOW) == 0;
    if (file.exists) file.size = static_cast<uint64_t>(info.st_size);
  }
  return files;
}

size_t usableProcessors() {
  cpu_set_t set;
  const bool known = ::sched_getaffinity(0, sizeof set, &set) == 0;
  return known ? static_cast<size_t>(CPU_COUNT(&set)) : std::thread::hardware_concurrency();
}

// What the threads that work on one tree share.
struct TreeWork {
  const std::string& root;
  std::vector<TreeFile>& files;
  std::atomic<size_t> next = 0;  // the first file that nobody has taken
  std::atomic<size_t> done = 0;
};

// Takes files, a few at a time, until there are none left.
void digestFiles(TreeWork& work, const TreeProgress& progress) {
  constexpr size_t kAtOnce = 8;
  const size_t total = work.files.size();
  const int folder = ::open(work.root.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  FileDigester digester(DigestAlgorithm::SHA256);
  for (size_t begin = 0; (begin = work.next.fetch_add(kAtOnce)) < total;)
    for (size_t i = begin; i < std::min(begin + kAtOnce, total); ++i) {
      work.files[i].content = digester.read(folder, work.files[i].path);
      const size_t done = work.done.fetch_add(1, std::memory_order_relaxed) + 1;
      if (progress && done < total) progress(done, total);
    }
  if (folder >= 0) ::close(folder);
}

}  // namespace

FileDigester::FileDigester(DigestAlgorithm algorithm)
    : digest_(algorithm), buffer_(std::make_unique_for_overwrite<char[]>(kBufferSize)) {}

FileDigestResult FileDigester::read(int folder, const std::string& path) {
  FileDigestResult result;
  const int descriptor = openBelow(folder, path);
  if (descriptor >= 0) {
    readOpen(descriptor, result);
    ::close(descriptor);
  }
  result.digest = digest_.finish();
  return result;
}

void FileDigester::readOpen(int descriptor, FileDigestResult& result) {
  struct stat before, after;
  if (::fstat(descriptor, &before) != 0 || !S_ISREG(before.st_mode)) return;
  const auto expected = static_cast<uint64_t>(before.st_size);
  for (;;) {
    const ssize_t got = ::read(descriptor, buffer_.get(), kBufferSize);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    digest_.update(buffer_.get(), static_cast<size_t>(got));
    result.bytesRead += static_cast<uint64_t>(got);
    // A short read at the expected end needs no second one to find the end; growth shows in the times.
    if (result.bytesRead == expected && static_cast<size_t>(got) < kBufferSize) break;
  }
  result.changed = ::fstat(descriptor, &after) == 0 &&
                   (after.st_size != before.st_size || !sameMoment(after.st_mtim, before.st_mtim));
}

FileDigestResult digestOfFile(DigestAlgorithm algorithm, const std::string& path) {
  return FileDigester(algorithm).read(AT_FDCWD, path);
}

std::vector<TreeFile> digestsOfTree(const std::string& root, const TreeProgress& progress) {
  constexpr size_t kWorthAThread = 16;
  std::vector<TreeFile> files = filesOfTree(root);
  if (progress && !files.empty()) progress(0, files.size());
  TreeWork work{root, files};
  const size_t wanted = std::min(usableProcessors(), files.size() / kWorthAThread + 1);
  std::vector<std::jthread> helpers;
  try {
    while (helpers.size() + 1 < wanted) helpers.emplace_back([&] { digestFiles(work, nullptr); });
  } catch (const std::system_error&) {
    // The system refuses another thread: those there are do the work.
  }
  digestFiles(work, progress);
  helpers.clear();  // joins
  if (progress) progress(files.size(), files.size());
  return files;
}

}  // namespace orv::detail
