#include "Platform/Foundation/Files/Bookmark.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <type_traits>

#include "Platform/Foundation/Files/Descriptor.h"
#include "Platform/Security/Digest.h"

namespace orv::detail {
namespace {

constexpr std::string_view kMagic("OrvMark\x01", 8);
constexpr size_t kDigestLength = digestLength(DigestAlgorithm::SHA256);
constexpr size_t kLongestHandle = 128;  // MAX_HANDLE_SZ

// ---- Writing

template <class Number>
void put(std::string& out, Number number) {
  auto bits = static_cast<std::make_unsigned_t<Number>>(number);
  for (size_t i = 0; i < sizeof bits; ++i) out += static_cast<char>(static_cast<uint64_t>(bits) >> (8 * i));
}

void putText(std::string& out, std::string_view text) {
  put(out, static_cast<uint32_t>(text.size()));
  out += text;
}

void putIdentity(std::string& out, const FileIdentity& identity) {
  put(out, identity.fileSystem);
  put(out, identity.device);
  put(out, identity.inode);
  put(out, static_cast<uint8_t>(identity.hasBirth));
  put(out, identity.birthSeconds);
  put(out, identity.birthNanoseconds);
  put(out, identity.kind);
}

std::string digestOfContent(std::string_view content) {
  return std::string(digestOf(DigestAlgorithm::SHA256, content.data(), content.size()).view());
}

// ---- Reading

// Takes values off the front; once something is missing, all that follows is missing, too.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : rest_(bytes) {}

  bool isDone() const { return ok_ && rest_.empty(); }

  std::string_view bytes(size_t count) {
    if (!ok_ || count > rest_.size()) {
      ok_ = false;
      return {};
    }
    const std::string_view taken = rest_.substr(0, count);
    rest_.remove_prefix(count);
    return taken;
  }

  template <class Number>
  Number number() {
    uint64_t bits = 0;
    const std::string_view taken = bytes(sizeof(Number));
    for (size_t i = 0; i < taken.size(); ++i) bits |= uint64_t{static_cast<uint8_t>(taken[i])} << (8 * i);
    return static_cast<Number>(bits);
  }

  std::string text() { return std::string(bytes(number<uint32_t>())); }

  FileIdentity identity() {
    FileIdentity identity;
    identity.fileSystem = number<uint64_t>();
    identity.device = number<uint64_t>();
    identity.inode = number<uint64_t>();
    const auto hasBirth = number<uint8_t>();
    identity.hasBirth = hasBirth == 1;
    identity.birthSeconds = number<int64_t>();
    identity.birthNanoseconds = number<uint32_t>();
    identity.kind = number<uint32_t>();
    if (hasBirth > 1) ok_ = false;
    return identity;
  }

 private:
  std::string_view rest_;
  bool ok_ = true;
};

bool isWholePath(const std::string& path) {
  return path.starts_with('/') && path.size() < PATH_MAX && path.find('\0') == std::string::npos;
}

// ---- The disk

void readHandle(Bookmark& bookmark) {
  alignas(file_handle) std::array<char, sizeof(file_handle) + kLongestHandle> space{};
  auto* handle = reinterpret_cast<file_handle*>(space.data());
  handle->handle_bytes = kLongestHandle;
  int mount = 0;
  if (::name_to_handle_at(AT_FDCWD, bookmark.realPath.c_str(), handle, &mount, 0) != 0) return;
  bookmark.handleType = handle->handle_type;
  bookmark.handle.assign(reinterpret_cast<const char*>(handle->f_handle), handle->handle_bytes);
}

// The path with the links on the way to the item resolved; "", with errno set, when that fails.
std::string realPathOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  const std::unique_ptr<char, void (*)(void*)> folder(::realpath(path.substr(0, slash + 1).c_str(), nullptr),
                                                      std::free);
  const std::string name = path.substr(slash + 1);
  if (!folder) return {};
  if (name.empty() || name == "." || name == "..") {
    const std::unique_ptr<char, void (*)(void*)> whole(::realpath(path.c_str(), nullptr), std::free);
    return whole ? whole.get() : "";
  }
  return std::string(folder.get()) + (std::string_view(folder.get()) == "/" ? "" : "/") + name;
}

}  // namespace

bool FileIdentity::isOnVolumeOf(const FileIdentity& other) const noexcept {
  if (fileSystem != 0 && other.fileSystem != 0) return fileSystem == other.fileSystem;
  return device == other.device;
}

bool FileIdentity::isSameAs(const FileIdentity& other) const noexcept {
  if (inode != other.inode || kind != other.kind) return false;
  if (hasBirth && other.hasBirth)
    return birthSeconds == other.birthSeconds && birthNanoseconds == other.birthNanoseconds;
  return isOnVolumeOf(other);
}

bool FileIdentity::isFolder() const noexcept { return S_ISDIR(kind); }

std::optional<FileIdentity> FileIdentity::of(int folder, const std::string& name) {
  const Descriptor item(::openat(folder, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  struct statx info;
  struct statfs volume;
  if (item < 0 || ::statx(item, "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &info) != 0)
    return std::nullopt;
  FileIdentity identity;
  if (::fstatfs(item, &volume) == 0) std::memcpy(&identity.fileSystem, &volume.f_fsid, sizeof(uint64_t));
  identity.device = makedev(info.stx_dev_major, info.stx_dev_minor);
  if (identity.fileSystem == identity.device)
    identity.fileSystem = 0;  // XFS and FAT repeat the device's number
  identity.inode = info.stx_ino;
  identity.kind = info.stx_mode & S_IFMT;
  identity.hasBirth = info.stx_mask & STATX_BTIME;
  if (!identity.hasBirth) return identity;
  identity.birthSeconds = info.stx_btime.tv_sec;
  identity.birthNanoseconds = info.stx_btime.tv_nsec;
  return identity;
}

std::optional<FileIdentity> FileIdentity::of(const std::string& path) { return of(AT_FDCWD, path); }

std::optional<Bookmark> Bookmark::of(const std::string& absolutePath) {
  Bookmark bookmark;
  const auto item = FileIdentity::of(absolutePath);
  if (!item) return std::nullopt;
  bookmark.item = *item;
  bookmark.path = absolutePath;
  bookmark.realPath = realPathOf(absolutePath);
  if (bookmark.realPath.size() >= PATH_MAX) errno = ENAMETOOLONG;
  if (!isWholePath(bookmark.realPath)) return std::nullopt;
  readHandle(bookmark);
  if (bookmark.realPath == "/") return bookmark;
  for (size_t slash = 0; slash != std::string::npos; slash = bookmark.realPath.find('/', slash + 1)) {
    const auto folder = FileIdentity::of(slash == 0 ? "/" : bookmark.realPath.substr(0, slash));
    if (!folder) return std::nullopt;
    bookmark.folders.push_back(*folder);
  }
  return bookmark;
}

std::string Bookmark::encoded() const {
  std::string out(kMagic);
  putText(out, path);
  putText(out, realPath);
  putIdentity(out, item);
  put(out, handleType);
  putText(out, handle);
  put(out, static_cast<uint32_t>(folders.size()));
  for (const FileIdentity& folder : folders) putIdentity(out, folder);
  return out + digestOfContent(out);
}

std::optional<Bookmark> Bookmark::decode(std::string_view bytes) {
  if (bytes.size() < kMagic.size() + kDigestLength || !bytes.starts_with(kMagic)) return std::nullopt;
  const std::string_view content = bytes.substr(0, bytes.size() - kDigestLength);
  if (bytes.substr(content.size()) != digestOfContent(content)) return std::nullopt;
  Reader reader(content.substr(kMagic.size()));
  Bookmark bookmark;
  bookmark.path = reader.text();
  bookmark.realPath = reader.text();
  bookmark.item = reader.identity();
  bookmark.handleType = reader.number<int32_t>();
  bookmark.handle = reader.text();
  // As many as the path has: a number of the data's own could ask for any memory.
  const auto count = reader.number<uint32_t>();
  if (!isWholePath(bookmark.path) || !isWholePath(bookmark.realPath) || count != bookmark.names().size())
    return std::nullopt;
  for (uint32_t i = 0; i < count; ++i) bookmark.folders.push_back(reader.identity());
  if (!reader.isDone() || bookmark.handle.size() > kLongestHandle) return std::nullopt;
  return bookmark;
}

std::vector<std::string> Bookmark::names() const {
  std::vector<std::string> names;
  for (size_t slash = 0; slash < realPath.size() && realPath.size() > 1;) {
    const size_t end = std::min(realPath.find('/', slash + 1), realPath.size());
    names.push_back(realPath.substr(slash + 1, end - slash - 1));
    slash = end;
  }
  return names;
}

}  // namespace orv::detail
