#include <pwd.h>
#include <stdlib.h>
#include <unicode/uchar.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Platform/Foundation/Text/StringBuilder.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSString.h"

using namespace orv;
using detail::StringFactory;
using detail::Units;

namespace {

NSString part(const NSString& text, size_t location, size_t length) {
  return StringFactory::part(text, location, length);
}

bool isNormal(const Units& u) {
  for (size_t i = 1; i < u.length; ++i)
    if (u[i] == '/' && (u[i - 1] == '/' || i + 1 == u.length)) return false;
  return true;
}

// Without repeated slashes and without a slash at the end, except for the root.
NSString normalPath(const NSString& path) {
  const Units u = detail::unitsOf(path);
  if (isNormal(u)) return path;
  detail::StringBuilder builder(u.length);
  for (size_t i = 0; i < u.length; ++i)
    if (u[i] != '/' || i == 0 || u[i - 1] != '/') builder.appendUnit(u[i]);
  const NSString collapsed = builder.finish();
  const size_t length = collapsed.length();
  const bool trailing = length > 1 && collapsed.characterAtIndex(length - 1) == '/';
  return trailing ? part(collapsed, 0, length - 1) : collapsed;
}

// Where the last component of a normal path starts.
size_t lastComponentStart(const Units& u) {
  if (u.length == 1) return 0;
  size_t i = u.length;
  while (i > 0 && u[i - 1] != '/') --i;
  return i;
}

bool isBidirectionalControl(char16_t unit) {
  return unit == 0x061C || unit == 0x200E || unit == 0x200F || (unit >= 0x202A && unit <= 0x202E) ||
         (unit >= 0x2066 && unit <= 0x2069);
}

bool fitsExtension(char16_t unit) {
  return unit != '/' && !isBidirectionalControl(unit) && !u_isUWhiteSpace(unit);
}

// Where the dot before the extension of a normal path stands, or the length of the path. A name that is
// all dots up to there has no extension.
size_t extensionDot(const Units& u) {
  const size_t start = lastComponentStart(u);
  size_t dot = u.length;
  while (dot > start && u[dot - 1] != '.') {
    if (!fitsExtension(u[dot - 1])) return u.length;
    --dot;
  }
  if (dot == start || dot == u.length) return u.length;
  --dot;
  for (size_t i = start; i < dot; ++i)
    if (u[i] != '.') return dot;
  return u.length;
}

std::string homeOf(const passwd* entry) { return entry && entry->pw_dir ? entry->pw_dir : ""; }

std::string homeOfUser(const std::string& user) {
  passwd entry;
  passwd* found = nullptr;
  std::vector<char> room(1024);
  int error;
  do {
    room.resize(room.size() * 2);
    error = user.empty() ? ::getpwuid_r(::getuid(), &entry, room.data(), room.size(), &found)
                         : ::getpwnam_r(user.c_str(), &entry, room.data(), room.size(), &found);
  } while (error == ERANGE);
  return homeOf(found);
}

// The home folder of a user, of the process's own for the empty name; empty when there is none.
std::string homeFolder(const std::string& user) {
  const char* home = user.empty() ? ::getenv("HOME") : nullptr;
  return home && *home ? home : homeOfUser(user);
}

NSString joinedPath(const std::vector<NSString>& names, bool absolute) {
  detail::StringBuilder builder;
  if (absolute) builder.appendUnit('/');
  for (size_t i = 0; i < names.size(); ++i) {
    if (i > 0) builder.appendUnit('/');
    builder.append(names[i]);
  }
  return builder.finish();
}

// The names between the slashes of a normal path.
std::vector<NSString> namesIn(const NSString& path) {
  const Units u = detail::unitsOf(path);
  std::vector<NSString> names;
  for (size_t i = 0; i < u.length;) {
    size_t end = i;
    while (end < u.length && u[end] != '/') ++end;
    if (end > i) names.push_back(part(path, i, end - i));
    i = end + 1;
  }
  return names;
}

}  // namespace

NSString NSString::lastPathComponent() const {
  if (isNil()) return nil;
  const NSString path = normalPath(*this);
  const Units u = detail::unitsOf(path);
  const size_t start = lastComponentStart(u);
  return part(path, start, u.length - start);
}

NSString NSString::pathExtension() const {
  if (isNil()) return nil;
  const NSString path = normalPath(*this);
  const Units u = detail::unitsOf(path);
  const size_t dot = extensionDot(u);
  return dot == u.length ? StringFactory::empty() : part(path, dot + 1, u.length - dot - 1);
}

NSString NSString::stringByDeletingPathExtension() const {
  if (isNil()) return nil;
  const NSString path = normalPath(*this);
  return part(path, 0, extensionDot(detail::unitsOf(path)));
}

NSString NSString::stringByDeletingLastPathComponent() const {
  if (isNil()) return nil;
  const NSString path = normalPath(*this);
  const Units u = detail::unitsOf(path);
  if (u.length == 1 && u[0] == '/') return path;
  const size_t start = lastComponentStart(u);
  return part(path, 0, start > 1 ? start - 1 : start);
}

NSString NSString::stringByAppendingPathComponent(const NSString& component) const {
  if (isNil()) return nil;
  if (component.length() == 0) return normalPath(*this);
  if (length() == 0) return normalPath(component);
  return normalPath(*this + "/" + component);
}

NSString NSString::stringByAppendingPathExtension(const NSString& extension) const {
  if (isNil() || extension.length() == 0) return *this;
  const NSString path = normalPath(*this);
  if (path.length() == 0 || path == "/") return nil;
  return path + "." + extension;
}

NSArray NSString::pathComponents() const {
  if (isNil()) return nil;
  const NSMutableArray components = NSMutableArray::array();
  if (hasPrefix("/")) components.addObject("/");
  for (const NSString& name : namesIn(*this)) components.addObject(name);
  if (components.count() > 0 && length() > 1 && hasSuffix("/") && normalPath(*this) != "/")
    components.addObject("/");
  return detail::Access::cast<NSArray>(components.copy());
}

bool NSString::isAbsolutePath() const noexcept {
  const Units u = detail::unitsOf(*this);
  return u.length > 0 && (u[0] == '/' || u[0] == '~');
}

NSString NSString::stringByExpandingTildeInPath() const {
  if (length() == 0) return *this;
  const NSString path = normalPath(*this);
  const Units u = detail::unitsOf(path);
  if (u[0] != '~') return path;
  size_t end = 1;
  while (end < u.length && u[end] != '/') ++end;
  const std::string home = homeFolder(part(path, 1, end - 1).fileSystemRepresentation());
  if (home.empty()) return path;
  return normalPath(stringWithFileSystemRepresentation(home) + part(path, end, u.length - end));
}

NSString NSString::stringByStandardizingPath() const {
  if (length() == 0) return *this;
  const NSString path = stringByExpandingTildeInPath();
  const bool absolute = path.hasPrefix("/");
  std::vector<NSString> kept;
  for (const NSString& name : namesIn(path)) {
    if (name == "." && (absolute || !kept.empty())) continue;
    if (name == ".." && absolute) {
      if (!kept.empty()) kept.pop_back();
    } else {
      kept.push_back(name);
    }
  }
  return joinedPath(kept, absolute);
}
