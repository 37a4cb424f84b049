#include "Tools/orv/FileDigest.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "Tools/orv/Output.h"

namespace tool {
namespace {

constexpr size_t kPieceBytes = size_t{256} * 1024;

bool sameState(const struct stat& a, const struct stat& b) {
  return a.st_size == b.st_size && a.st_mtim.tv_sec == b.st_mtim.tv_sec &&
         a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

// Reads to the end; answers the system's error number or 0.
int feed(int file, orv::detail::Digest& digest, const std::function<void(uint64_t)>& onBytes) {
  std::vector<char> piece(kPieceBytes);
  while (true) {
    const ssize_t got = ::read(file, piece.data(), piece.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return errno;
    if (got == 0) return 0;
    digest.update(piece.data(), static_cast<size_t>(got));
    onBytes(static_cast<uint64_t>(got));
  }
}

std::string hexOf(const orv::detail::DigestBytes& bytes) {
  std::string hex(2 * bytes.length, '0');
  bytes.writeHex(hex.data());
  return hex;
}

FileDigest digestOpenFile(int file, orv::detail::DigestAlgorithm algorithm,
                          const std::function<void(uint64_t)>& onBytes) {
  FileDigest result;
  struct stat before {};
  struct stat after {};
  orv::detail::Digest digest(algorithm);
  if (::fstat(file, &before) != 0) return {"", errno, false};
  result.error = feed(file, digest, onBytes);
  if (result.error != 0 || ::fstat(file, &after) != 0) return result;
  result.hex = hexOf(digest.finish());
  result.changed = S_ISREG(before.st_mode) && !sameState(before, after);
  return result;
}

}  // namespace

FileDigest digestFile(const std::string& path, orv::detail::DigestAlgorithm algorithm,
                      const std::function<void(uint64_t)>& onBytes) {
  if (path == "-") return digestOpenFile(STDIN_FILENO, algorithm, onBytes);
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return {"", errno, false};
  FileDigest result = digestOpenFile(file, algorithm, onBytes);
  ::close(file);
  return result;
}

bool report(const FileDigest& digest, const std::string& name, Output& output) {
  if (digest.error != 0) output.failWithErrno(name, digest.error);
  if (digest.changed) output.fail(name, "the file was changed while it was read");
  return digest.ok();
}

}  // namespace tool
