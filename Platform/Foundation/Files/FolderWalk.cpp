#include "Platform/Foundation/Files/FolderWalk.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "Platform/Foundation/Files/PackageNames.h"
#include "Platform/Foundation/Files/Retry.h"
#include "Platform/Foundation/Values/NSString.h"

namespace orv::detail {
namespace {

constexpr size_t kMostOpen = 64;

// The first eight bytes as a number that orders like them.
uint64_t sortKey(std::string_view name) {
  std::array<char, 8> bytes{};
  std::memcpy(bytes.data(), name.data(), std::min(name.size(), bytes.size()));
  return __builtin_bswap64(__builtin_bit_cast(uint64_t, bytes));
}

bool isAscii(std::string_view text) {
  return std::ranges::none_of(text, [](char c) { return static_cast<signed char>(c) < 0; });
}

}  // namespace

FolderWalk::FolderWalk(std::string root, unsigned options, ErrorHandler handler)
    : options_(options), handler_(std::move(handler)) {
  const bool whole = root.find('\0') == std::string::npos;  // the system would read it up to the zero only
  const auto open = [&] { return ::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); };
  const int descriptor = whole ? retried(open) : -1;
  if (descriptor < 0) {
    report(whole ? errno : EINVAL, {});
    ended_ = true;
    return;
  }
  push(descriptor);
}

FolderWalk::FolderWalk(int folder, unsigned options, ErrorHandler handler)
    : options_(options), handler_(std::move(handler)) {
  push(folder);
}

FolderWalk::~FolderWalk() {
  for (const Level& level : levels_)
    if (level.descriptor >= 0) ::close(level.descriptor);
}

// Reads an open folder and makes it the innermost level.
void FolderWalk::push(int descriptor) {
  Level level;
  if (!spare_.empty()) {
    level = std::move(spare_.back());
    spare_.pop_back();
  }
  level.descriptor = descriptor;
  level.prefixLength = prefix_.size();
  if (const int error = readChildren(level); error != 0) report(error, {});
  levels_.push_back(std::move(level));
  if (levels_.size() - firstOpen_ > kMostOpen) closeShallowest();
}

bool FolderWalk::report(int error, std::string_view name) {
  if (!handler_ || handler_(prefix_ + std::string(name), error)) return true;
  ended_ = true;
  return false;
}

const FolderWalk::Item* FolderWalk::next() {
  if (std::exchange(descend_, false)) enter();
  while (!ended_ && !levels_.empty()) {
    Level& level = levels_.back();
    if (level.at == level.children.size()) {
      if (const Item* left = leave()) return left;
      continue;
    }
    const Child& child = level.children[level.at++];
    item_ = {level.nameOf(child), child.kind, false, level.descriptor, levels_.size()};
    descend_ = child.kind == Kind::Folder && !(options_ & Shallow) &&
               !((options_ & SkipPackages) && isPackageName(item_.name));
    return &item_;
  }
  return nullptr;
}

// Goes into the folder just given.
void FolderWalk::enter() {
  const int descriptor = retried([&] {
    return ::openat(item_.folder, item_.name.data(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  });
  if (descriptor < 0) {
    report(errno, item_.name);
    return;
  }
  prefix_.append(item_.name) += '/';
  push(descriptor);
}

// Ends the innermost level; its folder when that is to be told and the root is not reached.
const FolderWalk::Item* FolderWalk::leave() {
  Level done = std::move(levels_.back());
  levels_.pop_back();
  const bool readable = levels_.empty() || reopen(levels_.back(), done.descriptor);
  ::close(done.descriptor);
  done.names.clear();
  done.children.clear();
  done.at = 0;
  spare_.push_back(std::move(done));
  if (levels_.empty()) return nullptr;

  Level& level = levels_.back();
  prefix_.resize(level.prefixLength);
  if (!readable) {
    level.at = level.children.size();  // what is left of it cannot be reached any more
    report(ENOENT, {});
    return nullptr;
  }
  if (!(options_ & TellLeaving)) return nullptr;
  item_ = {level.nameOf(level.children[level.at - 1]), Kind::Folder, true, level.descriptor, levels_.size()};
  return &item_;
}

void FolderWalk::closeShallowest() {
  Level& level = levels_[firstOpen_++];
  struct stat info {};
  ::fstat(level.descriptor, &info);
  level.device = info.st_dev;
  level.inode = info.st_ino;
  ::close(std::exchange(level.descriptor, -1));
}

// Opens a level's folder again, as the parent of its child; false when the tree was moved meanwhile.
bool FolderWalk::reopen(Level& level, int child) {
  if (level.descriptor >= 0) return true;
  --firstOpen_;
  level.descriptor = retried([&] { return ::openat(child, "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  struct stat info {};
  return level.descriptor >= 0 && ::fstat(level.descriptor, &info) == 0 && info.st_dev == level.device &&
         info.st_ino == level.inode;
}

FolderWalk::Kind FolderWalk::kindOf(int folder, const char* name, unsigned char type) {
  if (type == DT_UNKNOWN) {  // some file systems do not tell
    struct stat info;
    if (::fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) == 0)
      type = static_cast<unsigned char>(IFTODT(info.st_mode));
  }
  switch (type) {
    case DT_REG: return Kind::File;
    case DT_DIR: return Kind::Folder;
    case DT_LNK: return Kind::Link;
    default: return Kind::Other;
  }
}

// Fills the level with its folder's children, sorted; the errno of a failure, or 0.
int FolderWalk::readChildren(Level& level) {
  if (!buffer_) buffer_ = std::make_unique<char[]>(kBufferSize);
  bool ascii = true;
  int error = 0;
  for (;;) {
    const ssize_t size = retried([&] { return ::getdents64(level.descriptor, buffer_.get(), kBufferSize); });
    if (size < 0) error = errno;
    if (size <= 0) break;
    for (ssize_t at = 0; at < size;) {
      const auto* entry = reinterpret_cast<const dirent64*>(buffer_.get() + at);
      at += entry->d_reclen;
      const std::string_view name = entry->d_name;
      if (name == "." || name == ".." || ((options_ & SkipHidden) && name.starts_with('.'))) continue;
      ascii = ascii && isAscii(name);
      level.children.push_back({sortKey(name), static_cast<uint32_t>(level.names.size()),
                                static_cast<uint16_t>(name.size()),
                                kindOf(level.descriptor, entry->d_name, entry->d_type)});
      level.names.append(name).push_back('\0');
    }
  }
  ascii ? sortAscii(level) : sortUnits(level);
  return error;
}

void FolderWalk::sortAscii(Level& level) {
  std::ranges::sort(level.children, [&](const Child& a, const Child& b) {
    return a.key != b.key ? a.key < b.key : level.nameOf(a) < level.nameOf(b);
  });
}

// Bytes of UTF-8 do not sort like UTF-16 units, so the names are converted once.
void FolderWalk::sortUnits(Level& level) {
  std::vector<std::pair<std::u16string, Child>> keyed;
  keyed.reserve(level.children.size());
  for (const Child& child : level.children)
    keyed.emplace_back(NSString::stringWithFileSystemRepresentation(level.nameOf(child)).utf16(), child);
  std::ranges::sort(keyed, {}, [](const auto& pair) -> const std::u16string& { return pair.first; });
  std::ranges::transform(keyed, level.children.begin(), [](const auto& pair) { return pair.second; });
}

}  // namespace orv::detail
