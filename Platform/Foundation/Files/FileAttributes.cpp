#include "Platform/Foundation/Files/FileAttributes.h"

#include <endian.h>
#include <linux/posix_acl.h>
#include <linux/posix_acl_xattr.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace orv::detail {
namespace {

using Bytes = std::vector<char>;

constexpr char kAccessList[] = "system.posix_acl_access";
constexpr char kDefaultList[] = "system.posix_acl_default";
constexpr mode_t kEverything = 07;

// The name of an open file, for calls that do not take a descriptor opened with O_PATH.
std::string nameOf(int file) { return "/proc/self/fd/" + std::to_string(file); }

ssize_t getAttribute(int file, const char* name, char* value, size_t size) {
  const ssize_t length = ::fgetxattr(file, name, value, size);
  return length < 0 && errno == EBADF ? ::getxattr(nameOf(file).c_str(), name, value, size) : length;
}

ssize_t listAttributes(int file, char* names, size_t size) {
  const ssize_t length = ::flistxattr(file, names, size);
  return length < 0 && errno == EBADF ? ::listxattr(nameOf(file).c_str(), names, size) : length;
}

// Asks for the size first; 0 or the errno of a failure, and then the bytes are empty.
template <class Call>
int readSized(Bytes& bytes, Call call) {
  ssize_t length = call(nullptr, size_t{0});
  bytes.resize(static_cast<size_t>(std::max<ssize_t>(length, 0)));
  if (length > 0) length = call(bytes.data(), bytes.size());
  const int error = length < 0 ? errno : 0;
  bytes.resize(static_cast<size_t>(std::max<ssize_t>(length, 0)));
  return error;
}

int readAttribute(int file, const char* name, Bytes& value) {
  return readSized(value, [&](char* bytes, size_t size) { return getAttribute(file, name, bytes, size); });
}

int setAttribute(int file, const char* name, const Bytes& value) {
  return ::fsetxattr(file, name, value.data(), value.size(), 0) == 0 ? 0 : errno;
}

// 0, or the errno when one of the user's own cannot be kept; one that has just gone is not lost.
int copyAttribute(int from, int to, const char* name) {
  Bytes value;
  int error = readAttribute(from, name, value);
  if (error == ENODATA) return 0;
  if (error == 0) error = setAttribute(to, name, value);
  return std::string_view(name).starts_with("user.") ? error : 0;
}

bool isNone(int error) { return error == ENODATA || error == EOPNOTSUPP; }

// Reads the access list; empty when there is none.
int readAccessList(int file, Bytes& list) {
  const int error = readAttribute(file, kAccessList, list);
  return isNone(error) ? 0 : error;
}

// What an access list lets its entries do, each of them the least of its kind.
struct Least {
  mode_t group = kEverything, users = kEverything, groups = kEverything, mask = kEverything;
  bool namesUsers = false, namesGroups = false;
};

void note(const posix_acl_xattr_entry& entry, Least& least) {
  const mode_t allowed = le16toh(entry.e_perm);
  switch (le16toh(entry.e_tag)) {
    case ACL_USER: least.namesUsers = true, least.users &= allowed; break;
    case ACL_GROUP_OBJ: least.group = allowed; break;
    case ACL_GROUP: least.namesGroups = true, least.groups &= allowed; break;
    case ACL_MASK: least.mask = allowed; break;
    default: break;
  }
}

Least leastOf(const Bytes& list) {
  Least least;
  posix_acl_xattr_entry entry;
  for (size_t at = sizeof(posix_acl_xattr_header); at + sizeof entry <= list.size(); at += sizeof entry) {
    std::memcpy(&entry, list.data() + at, sizeof entry);
    note(entry, least);
  }
  // The mask limits whom the list names.
  if (least.namesUsers) least.users &= least.mask;
  if (least.namesGroups) least.groups &= least.mask;
  return least;
}

// The permissions that let nobody in, without the list, whom it kept out: the group bits are its mask, and whom
// it names is then one of the group or one of the others.
mode_t withoutList(mode_t mode, const Bytes& list) {
  if (list.empty()) return mode;
  const Least least = leastOf(list);
  const mode_t group = (mode >> 3) & least.group & least.users;
  const mode_t others = mode & least.users & least.groups & kEverything;
  return (mode & ~mode_t{077}) | group << 3 | others;
}

void copyAllButAccess(int from, int to, int& lost) {
  Bytes names;
  readSized(names, [&](char* bytes, size_t size) { return listAttributes(from, bytes, size); });
  for (const char *name = names.data(), *end = name + names.size(); name < end; name += std::strlen(name) + 1)
    if (std::string_view(name) != kAccessList)
      if (const int error = copyAttribute(from, to, name)) lost = error;
}

// True also when that cannot be told.
bool hasAttribute(int file, const char* name) {
  return getAttribute(file, name, nullptr, 0) >= 0 || !isNone(errno);
}

int removeAttribute(int file, const char* name) {
  if (!hasAttribute(file, name)) return 0;  // asking is quicker
  const int error = ::fremovexattr(file, name) == 0 ? 0 : errno;
  return isNone(error) ? 0 : error;
}

// Gives a file the owner and the group, or at least the group, when that is allowed; `now` tells what it then
// has.
int takeOwner(int file, const struct stat& wanted, struct stat& now) {
  if (::fstat(file, &now) != 0) return errno;
  if (now.st_uid == wanted.st_uid && now.st_gid == wanted.st_gid) return 0;
  if (::fchown(file, wanted.st_uid, wanted.st_gid) != 0)
    static_cast<void>(::fchown(file, static_cast<uid_t>(-1), wanted.st_gid));
  return ::fstat(file, &now) == 0 ? 0 : errno;
}

// Another group gets no more than everybody; the old one's members are then of everybody.
mode_t withoutGroup(mode_t mode) {
  const mode_t everybody = mode & mode >> 3 & kEverything;
  return (mode & ~mode_t{077}) | everybody << 3 | everybody;
}

// Gives a file, which is as `now` tells, the access list and the permissions.
int takeAccess(int from, int to, const struct stat& info, const struct stat& now) {
  const bool sameGroup = now.st_gid == info.st_gid, sameOwner = sameGroup && now.st_uid == info.st_uid;
  // The set-user-ID bits only mean what they meant while the owner stays.
  mode_t mode = info.st_mode & (sameOwner ? 07777 : 01777);
  const bool hasLists = hasAttribute(from, kAccessList) || hasAttribute(to, kAccessList);
  int error = 0;
  if (hasLists) error = (sameGroup ? takeAccessList : dropAccessList)(from, to, mode);
  if (!sameGroup) mode = withoutGroup(mode);
  if (!hasLists && (now.st_mode & 07777) == mode) return 0;
  return ::fchmod(to, mode) == 0 ? error : errno;
}

}  // namespace

int takeFacts(int from, int to, const struct stat& info, int* lost) {
  int ignored = 0;
  struct stat now {};
  if (const int error = takeOwner(to, info, now)) return error;
  if (S_ISDIR(info.st_mode) && !hasAttribute(from, kDefaultList)) removeAttribute(to, kDefaultList);
  copyAllButAccess(from, to, lost ? *lost : ignored);
  return takeAccess(from, to, info, now);
}

int takeAccessList(int from, int to, mode_t& mode) {
  Bytes list;
  if (readAccessList(from, list) == 0 && !list.empty() && setAttribute(to, kAccessList, list) == 0) return 0;
  return dropAccessList(from, to, mode);
}

int dropAccessList(int from, int to, mode_t& mode) {
  Bytes list;
  // Of a list that cannot be read the least is supposed.
  mode = readAccessList(from, list) == 0 ? withoutList(mode, list) : mode & ~mode_t{077};
  return removeAttribute(to, kAccessList);
}

}  // namespace orv::detail
