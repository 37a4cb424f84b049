#include "Platform/Foundation/Files/RemoveItem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "Platform/Foundation/Files/FolderReading.h"
#include "Platform/Foundation/Files/FolderStack.h"

namespace orv::detail {
namespace {

int unlinkEntry(int folder, const char* name, int flags = 0) {
  return errorOf([&] { return ::unlinkat(folder, name, flags); });
}

int openFolder(int folder, const char* name) {
  return retried([&] { return ::openat(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); });
}

int sameFolder(int folder) { return ::fcntl(folder, F_DUPFD_CLOEXEC, 0); }

bool isFolder(int folder, const char* name) {
  struct stat info;
  return ::fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(info.st_mode);
}

// Changes the permissions of a folder that cannot be opened for reading, never through a link; `mode` becomes
// those it had. Whether that was allowed.
bool exchangeMode(int folder, const char* name, mode_t& mode) {
  const auto call = [&] { return ::openat(folder, name, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); };
  const Descriptor found(retried(call));
  struct stat info;
  if (found < 0 || ::fstat(found, &info) != 0) return false;
  const std::string self = "/proc/self/fd/" + std::to_string(found);
  if (::chmod(self.c_str(), mode) != 0) return false;
  mode = info.st_mode & 07777;
  return true;
}

// Goes through a tree, file by file as they are read; a folder's folders wait until the buffer is done with.
class TreeRemover {
 public:
  explicit TreeRemover(bool forced, const CopyRecord* record = nullptr) : forced_(forced), record_(record) {}

  int remove(int root, const char* name);
  bool removedAny() const { return removedAny_; }

 private:
  // Something keeps making files in the folder.
  static constexpr int kMostRounds = 100;
  static constexpr mode_t kUnchanged = ~mode_t{0};

  struct Level {
    std::string name;
    int rounds = 0;
    mode_t mode = kUnchanged;  // before the folder was opened by force
    size_t number = 0;         // in the record
    std::string folders = {};  // those to remove next, each with a zero byte behind
    size_t at = 0;
  };

  int step();
  int removeNextFolder(Level& level);
  int removeEntries(Level& level);
  int leave();
  int removeFile(const char* name, Level& level);
  int removeFolder(int folder, std::string name, int rounds);
  int enter(int folder, const std::string& name, int rounds);
  int open(int folder, const char* name, mode_t& mode);
  int openByForce(int folder, const char* name, mode_t& mode);
  void closeAgain();
  bool openInnermost();
  size_t numberHere() const { return levels_.empty() ? CopyRecord::kOutside : levels_.back().number; }
  std::string nameInRecord(const char* name) const { return levels_.empty() ? std::string() : name; }
  int check(int folder, const char* name) const;
  int unlink(int folder, const char* name, int flags);

  const bool forced_;
  const CopyRecord* const record_;  // of all that may go, if any
  bool removedAny_ = false;
  int root_ = -1;
  FolderReader reader_;
  FolderStack stack_;
  std::vector<Level> levels_;
};

int TreeRemover::remove(int root, const char* name) {
  root_ = root;
  int error = removeFolder(root, name, 0);
  while (error == 0 && !levels_.empty()) error = step();
  if (error != 0) closeAgain();
  return error;
}

// The folders that a failure leaves are as open as they were.
void TreeRemover::closeAgain() {
  while (!levels_.empty()) {
    const Level& level = levels_.back();
    const Descriptor folder(level.mode != kUnchanged ? sameFolder(stack_.innermost()) : -1);
    const int error = stack_.leave();
    if (folder >= 0) static_cast<void>(::fchmod(folder, level.mode));
    levels_.pop_back();
    if (error != 0) levels_.clear();
  }
}

int TreeRemover::step() {
  Level& level = levels_.back();
  if (level.at < level.folders.size()) return removeNextFolder(level);
  if (reader_.read(stack_.innermost())) return removeEntries(level);
  return reader_.error() != 0 && reader_.error() != ENOENT ? reader_.error() : leave();
}

int TreeRemover::removeNextFolder(Level& level) {
  const std::string name = level.folders.c_str() + level.at;
  level.at += name.size() + 1;
  return removeFolder(stack_.innermost(), name, 0);
}

int TreeRemover::removeEntries(Level& level) {
  int error = 0;
  level.folders.clear();
  level.at = 0;
  reader_.each([&](const char* name, unsigned char type) {
    if (type == DT_DIR)
      level.folders.append(name).push_back('\0');
    else
      error = removeFile(name, level);
    return error == 0;
  });
  return error;
}

// The folder itself, now that it is empty; it is read once more when it is not. Its own permissions, which do
// not matter for that, come back first, in case it stays.
int TreeRemover::leave() {
  const Level done = std::move(levels_.back());
  levels_.pop_back();
  const Descriptor opened(done.mode != kUnchanged ? sameFolder(stack_.innermost()) : -1);
  const int error = stack_.leave();
  if (opened >= 0) static_cast<void>(::fchmod(opened, done.mode));
  if (error != 0) return levels_.clear(), error;
  if (!levels_.empty() && stack_.wasReopened()) levels_.back().at = levels_.back().folders.size();
  return removeFolder(stack_.empty() ? root_ : stack_.innermost(), done.name, done.rounds + 1);
}

int TreeRemover::removeFile(const char* name, Level& level) {
  const int error = unlink(stack_.innermost(), name, 0);
  if ((error != EISDIR && error != EPERM) || !isFolder(stack_.innermost(), name)) return error;
  level.folders.append(name).push_back('\0');
  return 0;
}

// Without looking inside first: most folders that are left are empty, and a mounted one is told without harm.
int TreeRemover::removeFolder(int folder, std::string name, int rounds) {
  const int error = unlink(folder, name.c_str(), AT_REMOVEDIR);
  if (error == ENOTDIR) return unlink(folder, name.c_str(), 0);  // it was replaced meanwhile
  const bool isFull = error == ENOTEMPTY || error == EEXIST;
  return isFull && rounds < kMostRounds ? enter(folder, name, rounds) : error;
}

int TreeRemover::enter(int folder, const std::string& name, int rounds) {
  mode_t mode = kUnchanged;
  const int descriptor = open(folder, name.c_str(), mode);
  if (descriptor >= 0) {
    const size_t number = record_ ? record_->inside(numberHere(), nameInRecord(name.c_str())) : 0;
    levels_.push_back({name, rounds, mode, number});
    return stack_.push(descriptor);
  }
  if (errno == ENOENT) return 0;
  return errno == ENOTDIR || errno == ELOOP ? unlink(folder, name.c_str(), 0) : errno;
}

// `mode` becomes the permissions the folder had, if they had to be changed.
int TreeRemover::open(int folder, const char* name, mode_t& mode) {
  const int descriptor = openFolder(folder, name);
  return descriptor < 0 && errno == EACCES && forced_ ? openByForce(folder, name, mode) : descriptor;
}

int TreeRemover::openByForce(int folder, const char* name, mode_t& mode) {
  mode_t changed = 0700;
  if (!exchangeMode(folder, name, changed)) return errno = EACCES, -1;
  const int descriptor = openFolder(folder, name);
  if (descriptor >= 0) return mode = changed, descriptor;
  const int error = errno;
  exchangeMode(folder, name, changed);
  return errno = error, -1;
}

// Once.
bool TreeRemover::openInnermost() {
  Level& level = levels_.back();
  struct stat info;
  if (level.mode != kUnchanged || ::fstat(stack_.innermost(), &info) != 0) return false;
  if (::fchmod(stack_.innermost(), 0700) != 0) return false;
  level.mode = info.st_mode & 07777;
  return true;
}

// Whether an item may go: the errno that says why not, or 0.
int TreeRemover::check(int folder, const char* name) const {
  struct stat now;
  if (!record_) return 0;
  if (::fstatat(folder, name, &now, AT_SYMLINK_NOFOLLOW) != 0) return errno;
  return record_->holds(numberHere(), nameInRecord(name), now) ? 0 : EBUSY;
}

int TreeRemover::unlink(int folder, const char* name, int flags) {
  int error = check(folder, name);
  if (error == 0) error = unlinkEntry(folder, name, flags);
  if (error == EACCES && forced_ && !levels_.empty() && openInnermost()) return unlink(folder, name, flags);
  removedAny_ = removedAny_ || error == 0;
  return error == ENOENT ? 0 : error;
}

int removeWhole(int folder, const char* name, bool forced) {
  const int error = unlinkEntry(folder, name);
  if ((error != EISDIR && error != EPERM) || !isFolder(folder, name)) return error;
  return TreeRemover(forced).remove(folder, name);
}

}  // namespace

int removeItem(int folder, const char* name) { return removeWhole(folder, name, false); }

int discardItem(int folder, const char* name) { return removeWhole(folder, name, true); }

int discardCopied(int folder, const char* name, const CopyRecord& record, bool& removedAny) {
  TreeRemover remover(true, &record);
  const int error = remover.remove(folder, name);
  removedAny = remover.removedAny();
  return error;
}

int removeItemAt(const ItemPlace& place) {
  if (place.error() != 0) return place.error();
  return place.isDots() ? EINVAL : removeItem(place.folder(), place.name());
}

}  // namespace orv::detail
