// Runs one operation on files again and again, on a disk whose first call fails, then whose second call fails,
// and so on (FaultyDisk must be preloaded), and checks what each failure leaves: the old state or the new one,
// no temporary file, no open descriptor.
//
//   FaultyFiles CASE FOLDER [FOLDER-ON-ANOTHER-VOLUME]

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <string>
#include <string_view>

#include "Platform/Foundation/Files/FileBytes.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Tests/Support/FaultyDisk.h"

using namespace orv;
namespace fs = std::filesystem;

namespace {

fs::path here;   // where the items are
fs::path other;  // on another volume, or in the same folder

const auto arm = reinterpret_cast<decltype(&faultyDiskArm)>(::dlsym(RTLD_DEFAULT, "faultyDiskArm"));
const auto disarm = reinterpret_cast<decltype(&faultyDiskDisarm)>(::dlsym(RTLD_DEFAULT, "faultyDiskDisarm"));

// Path to kind, permissions and contents, of everything in both folders.
using State = std::map<std::string, std::string>;

std::string contentsOf(const fs::path& path) {
  if (fs::is_symlink(path)) return fs::read_symlink(path);
  std::ifstream in(path, std::ios::binary);
  return fs::is_directory(path) ? std::string() : std::string(std::istreambuf_iterator<char>(in), {});
}

State stateNow() {
  State state;
  for (const fs::path& root : {here, other})
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
      struct stat info {};
      ::lstat(entry.path().c_str(), &info);
      state[entry.path()] = std::to_string(info.st_mode) + " " + contentsOf(entry.path());
    }
  return state;
}

bool isPartOf(const State& part, const State& whole) { return std::ranges::includes(whole, part); }

State below(const State& state, const fs::path& root) {
  State result;
  for (const auto& [path, text] : state)
    if (path == root || path.starts_with(root.string() + "/")) result[path] = text;
  return result;
}

State except(State state, const fs::path& root) {
  for (const auto& [path, text] : below(state, root)) state.erase(path);
  return state;
}

void write(const fs::path& path, const std::string& contents) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << contents;
}

void prepare() {
  for (const fs::path& root : {here, other}) {
    fs::remove_all(root);
    fs::create_directories(root);
  }
  write(here / "file", "a file");
  write(here / "large", std::string(300'000, 'x'));
  write(here / "keep/outside", "untouched");
  write(here / "tree/a", "A");
  write(here / "tree/sub/b", std::string(200'000, 'b'));
  write(here / "tree/sub/deeper/c", "");
  fs::create_directories(here / "tree/empty");
  fs::create_symlink(here / "keep", here / "tree/link");
  fs::permissions(here / "tree/empty", fs::perms(0500));
  fs::create_symlink("keep", here / "link");
  write(here / "sparse", "start");
  fs::resize_file(here / "sparse", 1'000'000);
  write(here / "old", "old contents");
  write(here / "over/sub/a", "over");
  write(here / "over/b", "");
}

const NSFileManager& manager() { return *NSFileManager::defaultManager(); }
NSString text(const fs::path& path) { return NSString::stringWithFileSystemRepresentation(path.string()); }
NSURL url(const fs::path& path) { return NSURL::fileURLWithPath(text(path)); }

bool copy(const char* from, const char* to) {
  return manager().copyItemAtPath(text(here / from), text(here / to));
}
bool moveAcross(const char* from) { return manager().moveItemAtPath(text(here / from), text(other / from)); }

// What else may be there afterwards, beside the old state and the new one.
using Allowed = std::function<bool(const State& now, const State& before, const State& after)>;

bool nothingElse(const State&, const State&, const State&) { return false; }

// Only the tree may have lost something.
bool partOfTree(const State& now, const State& before, const State&) {
  return except(now, here / "tree") == except(before, here / "tree") && isPartOf(now, before);
}

// The target is whole; the source may have lost something.
bool wholeTarget(const State& now, const State& before, const State& after) {
  return below(now, other) == below(after, other) &&
         except(except(now, other), here / "tree") == except(except(before, other), here / "tree") &&
         isPartOf(below(now, here), below(before, here));
}

// The new item is there, and what of the old one could not be removed lies beside it.
bool oldBeside(const State& now, const State& before, const State& after) {
  State rest = now;
  const auto isHidden = [](const auto& each) { return each.first.find("/.orv-") != std::string::npos; };
  const auto hidden = static_cast<size_t>(std::ranges::count_if(now, isHidden));
  std::erase_if(rest, isHidden);
  return rest == after && hidden <= below(before, here / "over").size();
}

struct Case {
  std::string_view name;
  std::function<bool()> run;
  long leastCalls;  // which the disk must have seen
  Allowed allowed = nothingElse;
};

const Case kCases[] = {
    {"copy-file", [] { return copy("file", "copy"); }, 3},
    {"copy-large", [] { return copy("large", "copy"); }, 3},
    {"copy-sparse", [] { return copy("sparse", "copy"); }, 4},
    {"copy-link", [] { return copy("tree/link", "copy"); }, 1},
    {"copy-tree", [] { return copy("tree", "copy"); }, 10},
    {"force-copy", [] { return manager().zuForceCopy(url(here / "file"), url(here / "over")); }, 6, oldBeside},
    {"move", [] { return manager().moveItemAtPath(text(here / "tree"), text(here / "moved")); }, 1},
    {"move-file-across", [] { return moveAcross("file"); }, 6},
    {"move-link-across", [] { return manager().moveItemAtPath(text(here / "link"), text(other / "link")); }, 4},
    {"move-tree-across", [] { return moveAcross("tree"); }, 20, wholeTarget},
    {"remove-tree", [] { return manager().removeItemAtPath(text(here / "tree")); }, 8, partOfTree},
    {"remove-file", [] { return manager().removeItemAtPath(text(here / "file")); }, 1},
    {"make-folders", [] { return manager().createDirectoryAtPath(text(here / "m/n/o/p"), true); }, 6},
    {"replace-file", [] { return detail::replaceFile(here / "old", "new contents") == 0; }, 5},
    {"new-file", [] { return detail::replaceFile(here / "new", "new contents") == 0; }, 5},
    {"create-file", [] { return manager().createFileAtPath(text(here / "old"), NSData::dataWithBytes("n")); },
     5},
};

std::ptrdiff_t openDescriptors() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

struct Fault {
  int error;
  bool forEver;
};

constexpr Fault kFaults[] = {{ENOSPC, false}, {EIO, false}, {EACCES, false}, {EINTR, false},
                             {ENOSPC, true},  {EIO, true},  {EDQUOT, false}, {EINVAL, false}};

int failures = 0;

void complain(const Case& which, const Fault& fault, long n, const std::string& what) {
  ++failures;
  std::cout << which.name << ": call " << n << ", " << std::strerror(fault.error)
            << (fault.forEver ? " for ever: " : ": ") << what << '\n';
}

// The paths in which two states differ.
std::string difference(const State& now, const State& before) {
  std::string result;
  for (const auto& [path, value] : now)
    if (!before.contains(path) || before.at(path) != value) result += " +" + path;
  for (const auto& [path, value] : before)
    if (!now.contains(path)) result += " -" + path;
  return result;
}

// One run with the n-th call failing. False when the operation does not make so many.
bool runWith(const Case& which, const Fault& fault, long n, const State& before, const State& after) {
  prepare();
  const auto open = openDescriptors();
  arm(n, fault.error, fault.forEver);
  const bool done = which.run();
  const bool wasHit = disarm() >= n;
  if (openDescriptors() != open) complain(which, fault, n, "a descriptor stayed open");
  const State now = stateNow();
  if (fault.error == EINTR && !done) complain(which, fault, n, "gave up after a signal");
  if (done && now != after && !which.allowed(now, before, after))
    complain(which, fault, n, "answers success, but:" + difference(now, after));
  if (!done && now != before && now != after && !which.allowed(now, before, after))
    complain(which, fault, n, "is in between:" + difference(now, before));
  return wasHit;
}

void check(const Case& which) {
  prepare();
  const State before = stateNow();
  arm(0, 0, false);
  const bool done = which.run();
  const long calls = disarm();
  const State after = stateNow();
  if (!done || before == after) complain(which, {0, false}, 0, "does nothing even when all is well");
  if (calls < which.leastCalls) complain(which, {0, false}, calls, "the disk saw too few calls");
  for (const Fault& fault : kFaults)
    for (long n = 1; runWith(which, fault, n, before, after);) ++n;
  std::cout << which.name << ": " << calls << " calls\n";
}

}  // namespace

int main(int argc, char** argv) {
  if (!arm || !disarm || argc < 3) return std::cout << "the faulty disk is not loaded\n", 2;
  here = fs::path(argv[2]) / "here";
  other = (argc > 3 ? fs::path(argv[3]) : fs::path(argv[2])) / "other";
  const auto* found = std::ranges::find(kCases, std::string_view(argv[1]), &Case::name);
  if (found == std::end(kCases)) return std::cout << "no such case\n", 2;
  manager().zuRemove(url(here / "none"));  // opens the log
  check(*found);
  return failures == 0 ? 0 : 1;
}
