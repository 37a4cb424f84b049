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

bool isFolder(int folder, const char* name) {
  struct stat info;
  return ::fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(info.st_mode);
}

// Goes through a tree, file by file as they are read; a folder's folders wait until the buffer is done with.
class TreeRemover {
 public:
  explicit TreeRemover(bool forced) : forced_(forced) {}

  int remove(int root, const char* name);
  bool removedAny() const { return removedAny_; }

 private:
  // Something keeps making files in the folder.
  static constexpr int kMostRounds = 100;

  struct Level {
    std::string name;
    int rounds = 0;
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
  int open(int folder, const char* name);
  int unlink(int folder, const char* name, int flags);

  const bool forced_;
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
  return error;
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

// The folder itself, now that it is empty; it is read once more when it is not.
int TreeRemover::leave() {
  const Level done = std::move(levels_.back());
  levels_.pop_back();
  if (const int error = stack_.leave()) return error;
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
  const int descriptor = open(folder, name.c_str());
  if (descriptor >= 0) {
    levels_.push_back({name, rounds});
    return stack_.push(descriptor);
  }
  if (errno == ENOENT) return 0;
  return errno == ENOTDIR || errno == ELOOP ? unlink(folder, name.c_str(), 0) : errno;
}

int TreeRemover::open(int folder, const char* name) {
  const auto call = [&] { return ::openat(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); };
  const int descriptor = retried(call);
  if (descriptor >= 0 || errno != EACCES || !forced_) return descriptor;
  static_cast<void>(::fchmodat(folder, name, 0700, 0));
  return retried(call);
}

int TreeRemover::unlink(int folder, const char* name, int flags) {
  int error = unlinkEntry(folder, name, flags);
  if (error == EACCES && forced_ && !levels_.empty() && ::fchmod(folder, 0700) == 0)
    error = unlinkEntry(folder, name, flags);
  removedAny_ = removedAny_ || error == 0;
  return error == ENOENT ? 0 : error;
}

int removeWhole(int folder, const char* name, bool forced, bool* removedAny) {
  int error = unlinkEntry(folder, name);
  if (removedAny) *removedAny = error == 0;
  if ((error != EISDIR && error != EPERM) || !isFolder(folder, name)) return error;
  TreeRemover remover(forced);
  error = remover.remove(folder, name);
  if (removedAny) *removedAny = remover.removedAny();
  return error;
}

}  // namespace

int removeItem(int folder, const char* name, bool* removedAny) {
  return removeWhole(folder, name, false, removedAny);
}

int discardItem(int folder, const char* name, bool* removedAny) {
  return removeWhole(folder, name, true, removedAny);
}

int removeItemAt(const ItemPlace& place) {
  if (place.error() != 0) return place.error();
  return place.isDots() ? EINVAL : removeItem(place.folder(), place.name());
}

}  // namespace orv::detail
