// The operations of NSURL on the path, as text. Only URLByAppendingPathComponent without a flag asks the disk.

#include <sys/stat.h>

#include <vector>

#include "Platform/Foundation/Values/Detail/URLRep.h"
#include "Platform/Foundation/Values/Detail/URLText.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSURL.h"

using namespace orv;
using detail::URLRep;
using detail::urlRep;

namespace {

constexpr std::string_view kUnescaped =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~!$&'()*+,=:@/";

constexpr auto kStays = [] {
  struct {
    bool byte[256] = {};
  } table;
  for (char c : kUnescaped) table.byte[static_cast<uint8_t>(c)] = true;
  return table;
}();

int hexValue(char c) {
  if (c <= '9') return c - '0';
  return (c | 0x20) - 'a' + 10;
}

// The encoded path of a URL that has one; such as "mailto:" have not.
bool hasPath(const URLRep* rep) { return rep && !rep->parts.opaque(rep->ascii()); }

std::string_view trimmed(std::string_view path) {
  while (path.ends_with('/')) path.remove_suffix(1);
  return path;
}

// The encoded last component of a path without trailing slashes; empty for a root.
std::string_view lastOf(std::string_view path) {
  path = trimmed(path);
  const size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

NSString decoded(std::string_view component) {
  return NSString::stringWithFileSystemRepresentation(detail::decodedBytes(component));
}

// The URL with its last component replaced, a trailing slash kept.
NSURL withLastComponent(const NSURL& url, const NSString& name) {
  const std::string_view path = urlRep(url)->part(urlRep(url)->parts.path);
  const std::string_view last = lastOf(path);
  std::string result(path.substr(0, static_cast<size_t>(last.data() - path.data())));
  result += detail::encodedPath(name.fileSystemRepresentation());
  if (path.ends_with('/')) result += '/';
  return detail::withPath(url, result);
}

bool namesFolder(const NSURL& url) {
  struct stat info;
  const std::string path = url.fileSystemRepresentation();
  return path.find('\0') == std::string::npos && ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

}  // namespace

void orv::detail::appendEncodedPath(std::string& text, std::string_view bytes) {
  constexpr char digits[] = "0123456789ABCDEF";
  for (size_t begin = 0; begin < bytes.size();) {
    size_t end = begin;
    while (end < bytes.size() && kStays.byte[static_cast<uint8_t>(bytes[end])]) ++end;
    text.append(bytes, begin, end - begin);
    for (begin = end; begin < bytes.size() && !kStays.byte[static_cast<uint8_t>(bytes[begin])]; ++begin) {
      const auto byte = static_cast<uint8_t>(bytes[begin]);
      text.append({'%', digits[byte >> 4], digits[byte & 15]});
    }
  }
}

std::string orv::detail::encodedPath(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size() + 8);
  appendEncodedPath(text, bytes);
  return text;
}

std::string orv::detail::decodedBytes(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      bytes += static_cast<char>(hexValue(text[i + 1]) << 4 | hexValue(text[i + 2]));
      i += 2;
    } else {
      bytes += text[i];
    }
  }
  return bytes;
}

std::string orv::detail::withoutDotSegments(std::string_view path) {
  const bool absolute = path.starts_with('/');
  std::vector<std::string_view> kept;
  bool folder = false;  // the last segment seen ends in a slash or stands for a folder
  for (size_t at = absolute ? 1 : 0; at <= path.size();) {
    const size_t slash = std::min(path.find('/', at), path.size());
    const std::string_view segment = path.substr(at, slash - at);
    const bool dots = segment == "." || segment == "..";
    if (segment == ".." && !kept.empty() && kept.back() != "..") {
      kept.pop_back();
    } else if (segment == ".." && !absolute) {
      kept.push_back(segment);
    } else if (!dots) {
      kept.push_back(segment);
    }
    folder = dots;
    at = slash + 1;
  }
  std::string result(absolute ? "/" : "");
  for (size_t i = 0; i < kept.size(); ++i) result.append(i > 0 ? "/" : "").append(kept[i]);
  if (folder && !kept.empty()) result += '/';
  return result;
}

NSURL orv::detail::withPath(const NSURL& url, std::string_view path) {
  const URLRep* rep = urlRep(url);
  const std::string_view text = rep->ascii();
  std::string result(text.substr(0, rep->parts.path.begin));
  if (rep->parts.hasAuthority() && !path.empty() && !path.starts_with('/'))
    result += '/';
  else if (!rep->parts.hasAuthority() && path.starts_with("//"))
    result += "/.";
  else if (result.empty() && path.substr(0, path.find('/')).find(':') != std::string_view::npos)
    result += "./";
  return makeURL(result.append(path).append(text.substr(rep->parts.path.end)), rep->base);
}

NSString NSURL::lastPathComponent() const {
  const NSURL absolute = absoluteURL();
  const URLRep* rep = urlRep(absolute);
  if (!hasPath(rep)) return nil;
  const std::string_view path = rep->part(rep->parts.path);
  const std::string_view last = lastOf(path);
  return last.empty() && !path.empty() ? NSString("/") : decoded(last);
}

NSString NSURL::pathExtension() const { return lastPathComponent().pathExtension(); }

NSArray NSURL::pathComponents() const {
  const NSURL absolute = absoluteURL();
  const URLRep* rep = urlRep(absolute);
  if (!hasPath(rep)) return nil;
  const std::string_view path = rep->part(rep->parts.path);
  const NSMutableArray components = NSMutableArray::array();
  if (path.starts_with('/')) components.addObject("/");
  for (size_t at = 0; at < path.size();) {
    const size_t slash = std::min(path.find('/', at), path.size());
    if (slash > at) components.addObject(decoded(path.substr(at, slash - at)));
    at = slash + 1;
  }
  return components.copy().as<NSArray>();
}

NSURL NSURL::URLByAppendingPathComponent(const NSString& component, bool isDirectory) const {
  const URLRep* rep = urlRep(*this);
  if (!hasPath(rep) || component.isNil()) return nil;
  const std::string bytes = component.fileSystemRepresentation();
  std::string_view added = trimmed(bytes);
  while (added.starts_with('/')) added.remove_prefix(1);

  std::string path(rep->part(rep->parts.path));
  const bool needsSlash = path.empty() ? rep->parts.hasAuthority() : !path.ends_with('/');
  if (!added.empty()) path.append(needsSlash ? "/" : "").append(detail::encodedPath(added));
  if (isDirectory && !path.empty() && !path.ends_with('/')) path += '/';
  return detail::withPath(*this, path);
}

NSURL NSURL::URLByAppendingPathComponent(const NSString& component) const {
  if (component.hasSuffix("/")) return URLByAppendingPathComponent(component, true);
  const NSURL url = URLByAppendingPathComponent(component, false);
  return url.isFileURL() && namesFolder(url) ? URLByAppendingPathComponent(component, true) : url;
}

NSURL NSURL::URLByAppendingPathExtension(const NSString& extension) const {
  const URLRep* rep = urlRep(*this);
  if (!hasPath(rep) || extension.isNil() || extension.containsString("/")) return nil;
  const std::string_view last = lastOf(rep->part(rep->parts.path));
  if (last.empty()) return nil;
  if (extension.length() == 0) return *this;
  return withLastComponent(*this, decoded(last) + "." + extension);
}

NSURL NSURL::URLByDeletingLastPathComponent() const {
  const URLRep* rep = urlRep(*this);
  if (!hasPath(rep)) return nil;
  const std::string_view path = rep->part(rep->parts.path);
  const std::string_view last = lastOf(path);
  const std::string before(path.substr(0, trimmed(path).size() - last.size()));
  if (last.empty()) return detail::withPath(*this, (path.empty() ? "" : "/") + std::string("../"));
  if (last == "..") return detail::withPath(*this, before + "../../");
  if (last == ".") return detail::withPath(*this, before + "../");
  return detail::withPath(*this, before.empty() ? "./" : before);
}

NSURL NSURL::URLByDeletingPathExtension() const {
  const URLRep* rep = urlRep(*this);
  if (!hasPath(rep)) return nil;
  const NSString name = decoded(lastOf(rep->part(rep->parts.path)));
  if (name.pathExtension().length() == 0) return *this;
  return withLastComponent(*this, name.stringByDeletingPathExtension());
}

NSURL NSURL::URLByStandardizingPath() const {
  const URLRep* rep = urlRep(*this);
  if (!hasPath(rep)) return *this;
  const std::string path = detail::withoutDotSegments(rep->part(rep->parts.path));
  return detail::withPath(*this, path.empty() && !rep->part(rep->parts.path).empty() ? "./" : path);
}
