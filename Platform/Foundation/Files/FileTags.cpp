#include "Platform/Foundation/Files/FileTags.h"

#include <sys/xattr.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

namespace orv::detail {
namespace {

constexpr const char* kAttribute = "user.xdg.tags";

// No such attribute, none on this file system, or none on this kind of item.
bool meansNone(int error) { return error == ENODATA || error == ENOTSUP || error == EPERM; }

std::vector<std::string> namesIn(std::string_view list) {
  std::vector<std::string> names;
  while (!list.empty()) {
    const size_t comma = std::min(list.find(','), list.size());
    if (comma > 0) names.emplace_back(list.substr(0, comma));
    list.remove_prefix(std::min(comma + 1, list.size()));
  }
  return names;
}

std::string joined(const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) list.append(list.empty() ? "" : ",").append(name);
  return list;
}

// Nothing to remove is a success; a file that may not be changed refuses with EPERM, too.
int removeTags(const std::string& path) {
  if (::lremovexattr(path.c_str(), kAttribute) == 0 || errno == ENODATA || errno == ENOTSUP) return 0;
  const int error = errno;
  const bool isThere = ::lgetxattr(path.c_str(), kAttribute, nullptr, 0) >= 0;
  return isThere || !meansNone(error) ? error : 0;
}

}  // namespace

int readFileTags(const std::string& path, std::vector<std::string>& names) {
  names.clear();
  std::string list(512, '\0');
  ssize_t size = 0;
  // It may have grown between the two calls: asked again until it fits.
  while ((size = ::lgetxattr(path.c_str(), kAttribute, list.data(), list.size())) < 0 && errno == ERANGE) {
    const ssize_t needed = ::lgetxattr(path.c_str(), kAttribute, nullptr, 0);
    list.resize(static_cast<size_t>(std::max<ssize_t>(needed, 512)));
  }
  if (size < 0) return meansNone(errno) ? 0 : errno;
  names = namesIn({list.data(), static_cast<size_t>(size)});
  return 0;
}

int writeFileTags(const std::string& path, const std::vector<std::string>& names) {
  if (names.empty()) return removeTags(path);
  const std::string list = joined(names);
  return ::lsetxattr(path.c_str(), kAttribute, list.data(), list.size(), 0) == 0 ? 0 : errno;
}

}  // namespace orv::detail
