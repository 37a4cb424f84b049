#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Platform/Security/Digest.h"

// Digests of whole files, read in pieces into a buffer that is used again.
namespace orv::detail {

// What was found in a file. A file that cannot be read is empty; only regular files are read, so that no pipe
// or device can block or never end.
struct FileDigestResult {
  DigestBytes digest;
  uint64_t bytesRead = 0;
  bool changed = false;  // size or modification time differed before and after
};

// Reads files, one after the other. For one thread at a time.
class FileDigester {
 public:
  explicit FileDigester(DigestAlgorithm algorithm);

  // The file at a path relative to an open folder (or AT_FDCWD); links are followed.
  FileDigestResult read(int folder, const std::string& path);

 private:
  void readOpen(int descriptor, FileDigestResult& result);

  static constexpr size_t kBufferSize = 256 * 1024;

  Digest digest_;
  std::unique_ptr<char[]> buffer_;
};

FileDigestResult digestOfFile(DigestAlgorithm algorithm, const std::string& path);

// One file of a tree.
struct TreeFile {
  std::string path;   // below the root
  uint64_t size = 0;  // of the item itself: of a link, not of what it points to
  bool exists = true;
  FileDigestResult content;
};

// How far the work on a tree is, in files. Called on the caller's thread only, at the begin and now and then;
// `done` never falls, and the last call has `done` equal to `total`.
using TreeProgress = std::function<void(size_t done, size_t total)>;

// The SHA-256 of every item of a tree that is no folder, in the order of the walk. Works on as many threads as
// the process may use processors; they end before it returns.
std::vector<TreeFile> digestsOfTree(const std::string& root, const TreeProgress& progress = nullptr);

}  // namespace orv::detail
