#include "Platform/Foundation/Files/CopyItem.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstdint>
#include <string_view>
#include <vector>

#include "Platform/Foundation/Files/FileCopier.h"
#include "Platform/Foundation/Files/FolderReading.h"
#include "Platform/Foundation/Files/FolderStack.h"
#include "Platform/Foundation/Files/RemoveItem.h"

namespace orv::detail {
namespace {

bool isSame(const struct stat& a, const struct stat& b) { return a.st_dev == b.st_dev && a.st_ino == b.st_ino; }

Attributes attributesFor(Losses losses) {
  return losses == Losses::Refused ? Attributes::Required : Attributes::AsPossible;
}

int openForCopy(int folder, const char* name) {
  // A pipe that took the file's place meanwhile would be waited for.
  return retried([&] { return ::openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC); });
}

int openFolder(int folder, const char* name) {
  return retried([&] { return ::openat(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); });
}

int createFile(int folder, const char* name, mode_t mode) {
  return retried([&] { return ::openat(folder, name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode); });
}

int makeFolder(int folder, const char* name) {
  return errorOf([&] { return ::mkdirat(folder, name, 0700); });
}

// Where an open folder is mounted; 0 where the kernel does not tell (before Linux 5.8).
uint64_t mountOf(int folder) {
  struct statx info;
  const bool told =
      ::statx(folder, "", AT_EMPTY_PATH, STATX_MNT_ID, &info) == 0 && info.stx_mask & STATX_MNT_ID;
  return told ? info.stx_mnt_id : 0;
}

// An open file that is to be copied: the errno of a failure, or 0.
int checkFile(int descriptor, struct stat& info) {
  if (descriptor < 0 || ::fstat(descriptor, &info) != 0) return errno;
  return S_ISREG(info.st_mode) ? 0 : EBUSY;  // it was another kind of item a moment ago
}

// `info` tells what the link was.
int copyLink(int fromFolder, const char* from, int toFolder, const char* to, struct stat& info) {
  std::array<char, PATH_MAX + 1> place;
  const ssize_t size = ::readlinkat(fromFolder, from, place.data(), place.size() - 1);
  if (size < 0) return errno;
  place[static_cast<size_t>(size)] = '\0';
  if (::fstatat(fromFolder, from, &info, AT_SYMLINK_NOFOLLOW) != 0) return errno;
  if (const int error = errorOf([&] { return ::symlinkat(place.data(), toFolder, to); })) return error;
  const std::array<timespec, 2> times{info.st_atim, info.st_mtim};
  static_cast<void>(::utimensat(toFolder, to, times.data(), AT_SYMLINK_NOFOLLOW));
  static_cast<void>(::fchownat(toFolder, to, info.st_uid, info.st_gid, AT_SYMLINK_NOFOLLOW));
  return 0;
}

// ---- folders ----------------------------------------------------------------------------------

// Copies what is in a folder into a new one, and at last the folder's own facts: a read-only folder could not
// be filled, and filling it changes its date.
class TreeCopier {
 public:
  TreeCopier(Losses losses, CopyRecord* record) : losses_(losses), record_(record) {}

  // Into an empty folder.
  int copy(const ItemPlace& from, int toFolder, const char* to);

 private:
  struct Level {
    struct stat info;
    std::string entries;  // a type and a name with a zero byte behind, each
    size_t at = 0;
    size_t number = 0;  // in the record
  };

  int begin(const char* name);
  size_t note(const char* name, const struct stat& info);
  int readEntries(Level& level);
  int step();
  int copyEntry(unsigned char type, const char* name);
  int copyFile(const char* name);
  int copyLinkEntry(const char* name);
  int enter(const char* name);
  int leave();

  const Losses losses_;
  CopyRecord* const record_;
  struct stat target_ {};
  uint64_t mount_ = 0;  // of the outermost folder's name
  FileCopier copier_{attributesFor(losses_)};
  FolderReader reader_;
  FolderStack from_;
  FolderStack to_;
  std::vector<Level> levels_;
};

int pushOpened(FolderStack& stack, int descriptor) { return descriptor < 0 ? errno : stack.push(descriptor); }

int TreeCopier::copy(const ItemPlace& from, int toFolder, const char* to) {
  int error = pushOpened(from_, openFolder(from.folder(), from.name()));
  if (error == 0) error = pushOpened(to_, openFolder(toFolder, to));
  if (error == 0 && ::fstat(to_.innermost(), &target_) != 0) error = errno;
  mount_ = mountOf(from.folder());
  if (error == 0) error = begin("");
  while (error == 0 && !levels_.empty()) error = step();
  return error;
}

int TreeCopier::begin(const char* name) {
  Level level;
  if (::fstat(from_.innermost(), &level.info) != 0) return errno;
  if (isSame(level.info, target_)) return EINVAL;  // moved into the source meanwhile
  // What is mounted cannot be removed later.
  if (losses_ == Losses::Refused && mountOf(from_.innermost()) != mount_) return EBUSY;
  if (const int error = readEntries(level)) return error;
  level.number = note(name, level.info);
  levels_.push_back(std::move(level));
  return 0;
}

size_t TreeCopier::note(const char* name, const struct stat& info) {
  return record_ ? record_->add(levels_.empty() ? CopyRecord::kOutside : levels_.back().number, name, info) : 0;
}

int TreeCopier::readEntries(Level& level) {
  while (reader_.read(from_.innermost()))
    reader_.each([&](const char* name, unsigned char type) {
      level.entries += static_cast<char>(type);
      level.entries.append(name).push_back('\0');
      return true;
    });
  return reader_.error();
}

int TreeCopier::step() {
  Level& level = levels_.back();
  if (level.at == level.entries.size()) return leave();
  const char* entry = level.entries.data() + level.at;
  level.at += std::char_traits<char>::length(entry + 1) + 2;
  const auto type = static_cast<unsigned char>(entry[0]);
  return copyEntry(type != DT_UNKNOWN ? type : typeOfEntry(from_.innermost(), entry + 1), entry + 1);
}

// The errno of an entry that was read from the list and cannot be reached: when it is gone the folder has
// changed.
int ofEntry(int error) { return error == ENOENT ? EBUSY : error; }

int TreeCopier::copyEntry(unsigned char type, const char* name) {
  switch (type) {
    case DT_REG: return copyFile(name);
    case DT_DIR: return enter(name);
    case DT_LNK: return copyLinkEntry(name);
    case DT_UNKNOWN: return ofEntry(ENOENT);
    default: return losses_ == Losses::LeftOut ? 0 : EINVAL;
  }
}

// Nobody else reads the new file before it is whole: its outermost folder is closed to everybody. The owner may
// write it until then, as attributes need that.
int TreeCopier::copyFile(const char* name) {
  const Descriptor from(openForCopy(from_.innermost(), name));
  struct stat info;
  if (const int error = checkFile(from, info)) return ofEntry(error);
  const Descriptor to(createFile(to_.innermost(), name, (info.st_mode & 0777) | 0600));
  if (to < 0) return errno;
  const int error = copier_.copy(from, to, &info);
  if (error == 0) note(name, info);
  return error;
}

int TreeCopier::copyLinkEntry(const char* name) {
  struct stat info;
  const int error = copyLink(from_.innermost(), name, to_.innermost(), name, info);
  if (error == 0) note(name, info);
  return ofEntry(error);
}

int TreeCopier::enter(const char* name) {
  int error = makeFolder(to_.innermost(), name);
  if (error == 0) error = to_.enter(name);
  if (error == 0) error = ofEntry(from_.enter(name));
  return error == 0 ? begin(name) : error;
}

int TreeCopier::leave() {
  const int lost = copyFacts(from_.innermost(), to_.innermost(), levels_.back().info);
  levels_.pop_back();
  int error = from_.leave();
  const int second = to_.leave();
  if (error == 0) error = second;
  return error == 0 && losses_ == Losses::Refused ? lost : error;
}

int openToPass(int folder, const char* name) {
  return retried([&] { return ::openat(folder, name, O_PATH | O_DIRECTORY | O_CLOEXEC); });
}

// True when the open folder is `root` or lies below it.
bool liesWithin(int folder, const struct stat& root) {
  struct stat below {};
  for (int current = openToPass(folder, "."); current >= 0;) {
    const Descriptor done(current);
    struct stat info;
    if (::fstat(done, &info) != 0 || isSame(info, below)) return false;  // the root folder is its own parent
    if (isSame(info, root)) return true;
    below = info;
    current = openToPass(done, "..");
  }
  return false;
}

int copyFolderAside(const ItemPlace& from, int folder, Losses losses, std::string& name, CopyRecord* record) {
  struct stat info;
  if (const int error = from.status(info)) return error;
  if (liesWithin(folder, info)) return EINVAL;
  int error = makeHidden(name, [&](const char* hidden) { return ::mkdirat(folder, hidden, 0700); });
  if (error != 0) return error;
  error = TreeCopier(losses, record).copy(from, folder, name.c_str());
  if (error != 0) discardItem(folder, name.c_str());
  return error;
}

// ---- files ------------------------------------------------------------------------------------

int copyFileAside(int source, int folder, Losses losses, std::string& name, CopyRecord* record) {
  int descriptor = -1;
  int error = makeHidden(name, [&](const char* hidden) {
    descriptor = createFile(folder, hidden, 0600);
    return descriptor >= 0 ? 0 : -1;
  });
  const Descriptor target(descriptor);
  if (target < 0) return error;
  struct stat info;
  error = FileCopier(attributesFor(losses)).copy(source, target, &info);
  if (error != 0) return discardItem(folder, name.c_str()), error;
  if (record) record->add(CopyRecord::kOutside, "", info);
  return error;
}

int copyLinkAside(const ItemPlace& from, int folder, std::string& name, CopyRecord* record) {
  struct stat info;
  const int error = makeHidden(name, [&](const char* hidden) {
    errno = copyLink(from.folder(), from.name(), folder, hidden, info);
    return errno == 0 ? 0 : -1;
  });
  if (error == 0 && record) record->add(CopyRecord::kOutside, "", info);
  return error;
}

// Gives a file without a name its name, which must not be taken.
int linkFile(int descriptor, const ItemPlace& to) {
  const std::string self = "/proc/self/fd/" + std::to_string(descriptor);
  return errorOf([&] { return ::linkat(AT_FDCWD, self.c_str(), to.folder(), to.name(), AT_SYMLINK_FOLLOW); });
}

// Renames what was made aside; it goes when that fails.
int giveName(const std::string& aside, const ItemPlace& to) {
  const int error = renameToUnused(to.folder(), aside.c_str(), to.folder(), to.name());
  if (error != 0) discardItem(to.folder(), aside.c_str());
  return error;
}

// Where files can be without a name, a process that is killed meanwhile leaves nothing behind.
int copyOpenFile(int source, const ItemPlace& to) {
  const Descriptor unnamed(
      retried([&] { return ::openat(to.folder(), ".", O_WRONLY | O_TMPFILE | O_CLOEXEC, 0600); }));
  if (unnamed >= 0) {
    int error = FileCopier().copy(source, unnamed);
    if (error == 0) error = linkFile(unnamed, to);
    const bool cannotLink =
        error == EPERM || error == ENOENT || error == EOPNOTSUPP;  // without /proc, above all
    if (!cannotLink) return error;
  }
  std::string aside;
  const int error = copyFileAside(source, to.folder(), Losses::LeftOut, aside, nullptr);
  return error != 0 ? error : giveName(aside, to);
}

int copyFile(const ItemPlace& from, const ItemPlace& to) {
  const Descriptor source(openForCopy(from.folder(), from.name()));
  struct stat info;
  const int error = checkFile(source, info);
  return error != 0 ? error : copyOpenFile(source, to);
}

// True when removing one item removes the other: it is the same or lies in it. Another link to the same file is
// another item.
bool goesWith(const ItemPlace& item, const struct stat& info, const ItemPlace& removed,
              const struct stat& removedInfo) {
  if (S_ISDIR(removedInfo.st_mode)) return isSame(info, removedInfo) || liesWithin(item.folder(), removedInfo);
  struct stat folder, removedFolder;
  return isSame(info, removedInfo) && std::string_view(item.name()) == removed.name() &&
         ::fstat(item.folder(), &folder) == 0 && ::fstat(removed.folder(), &removedFolder) == 0 &&
         isSame(folder, removedFolder);
}

// True for a link to the item, which it would lead to no longer.
bool leadsTo(const ItemPlace& link, const struct stat& item) {
  struct stat info;
  return ::fstatat(link.folder(), link.name(), &info, 0) == 0 && isSame(info, item);
}

int copyFolder(const ItemPlace& from, const ItemPlace& to) {
  std::string aside;
  const int error = copyFolderAside(from, to.folder(), Losses::LeftOut, aside, nullptr);
  return error != 0 ? error : giveName(aside, to);
}

}  // namespace

int copyItem(const ItemPlace& from, const ItemPlace& to) {
  struct stat info, taken;
  if (from.error() != 0) return from.error();
  if (const int error = from.status(info)) return error;
  if (to.error() != 0) return to.error();
  if (const int error = to.status(taken); error != ENOENT) return error == 0 ? EEXIST : error;
  switch (info.st_mode & S_IFMT) {
    case S_IFDIR: return copyFolder(from, to);
    case S_IFREG: return copyFile(from, to);
    case S_IFLNK: return copyLink(from.folder(), from.name(), to.folder(), to.name(), info);
    default: return EINVAL;
  }
}

int copyItemOver(const ItemPlace& from, const ItemPlace& to, std::string& old) {
  struct stat info, taken;
  old.clear();
  if (to.error() != 0 || to.status(taken) != 0) return copyItem(from, to);
  if (from.error() != 0) return from.error();
  if (const int error = from.status(info)) return error;
  if (goesWith(from, info, to, taken)) return EINVAL;
  if (S_ISLNK(info.st_mode) && leadsTo(from, taken)) return EINVAL;
  std::string aside;
  if (const int error = copyAside(from, to.folder(), Losses::LeftOut, aside)) return error;
  const int error = takeName(aside, to);
  if (error != 0) return discardItem(to.folder(), aside.c_str()), error;
  old = aside;
  return 0;
}

int copyAside(const ItemPlace& from, int folder, Losses losses, std::string& name, CopyRecord* record) {
  struct stat info;
  if (const int error = from.status(info)) return error;
  switch (info.st_mode & S_IFMT) {
    case S_IFDIR: return copyFolderAside(from, folder, losses, name, record);
    case S_IFLNK: return copyLinkAside(from, folder, name, record);
    case S_IFREG: break;
    default: return EINVAL;
  }
  const Descriptor source(openForCopy(from.folder(), from.name()));
  const int error = checkFile(source, info);
  return error != 0 ? error : copyFileAside(source, folder, losses, name, record);
}

}  // namespace orv::detail
