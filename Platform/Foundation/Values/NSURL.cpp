#include "Platform/Foundation/Values/NSURL.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <climits>
#include <new>

#include "Platform/Foundation/Values/Detail/Pool.h"
#include "Platform/Foundation/Values/Detail/URLRep.h"
#include "Platform/Foundation/Values/Detail/URLText.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;
using detail::URLParts;
using detail::URLRep;
using detail::urlRep;

namespace {

bool isFolder(const std::string& path) {
  struct stat info;
  return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool equalsIgnoringCase(std::string_view text, std::string_view lower) {
  if (text.size() != lower.size()) return false;
  for (size_t i = 0; i < text.size(); ++i)
    if ((text[i] | 0x20) != lower[i]) return false;
  return true;
}

NSURL currentFolder() {
  std::array<char, PATH_MAX> buffer;
  if (!::getcwd(buffer.data(), buffer.size())) return nil;
  return NSURL::fileURLWithFileSystemRepresentation(buffer.data(), true);
}

// A file URL's text for a path of bytes, whose trailing slashes say nothing any more.
NSURL fileURL(std::string_view path, bool isDirectory) {
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  std::string text = detail::encodedPath(path);
  if (isDirectory && !text.ends_with('/')) text += '/';
  if (path.starts_with('/')) return detail::makeFileURL("file://" + text);
  if (text.substr(0, text.find('/')).find(':') != std::string::npos) text.insert(0, "./");
  const NSURL base = currentFolder();
  return base ? detail::makeURL(text, base) : NSURL();
}

// The decoded part of the absolute URL, nil when it is absent or not UTF-8.
NSString decodedPart(const NSURL& url, detail::URLPart URLParts::*part) {
  const NSURL absolute = url.absoluteURL();
  const URLRep* rep = urlRep(absolute);
  if (!rep || !(rep->parts.*part).present()) return nil;
  return NSString(std::string_view(detail::decodedBytes(rep->part(rep->parts.*part))));
}

std::string_view pathWithoutTrailingSlashes(std::string_view path) {
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  return path;
}

// RFC 3986, section 5.2.3.
std::string mergedPath(const URLRep& base, std::string_view path) {
  const std::string_view basePath = base.part(base.parts.path);
  if (basePath.empty() && base.parts.hasAuthority()) return "/" + std::string(path);
  const size_t slash = basePath.rfind('/');
  return std::string(basePath.substr(0, slash == std::string_view::npos ? 0 : slash + 1)) + std::string(path);
}

// RFC 3986, section 5.2.2, for a reference without a scheme.
std::string resolvedText(const URLRep& url, const URLRep& base) {
  const std::string_view text = url.ascii();
  const std::string scheme = std::string(base.part(base.parts.scheme)) + ':';
  if (url.parts.hasAuthority()) return scheme + std::string(text);

  const std::string_view path = url.part(url.parts.path);
  const std::string_view afterPath = text.substr(url.parts.path.end);
  const std::string_view beforeBasePath = base.ascii().substr(0, base.parts.path.begin);
  std::string result(beforeBasePath);
  if (path.empty()) {
    result += base.part(base.parts.path);
    if (base.parts.query.present() && !url.parts.query.present())
      result.append("?").append(base.part(base.parts.query));
  } else {
    result += detail::withoutDotSegments(path.starts_with('/') ? std::string(path) : mergedPath(base, path));
  }
  return result.append(afterPath);
}

}  // namespace

NSURL orv::detail::makeURL(std::string_view text, const Value& base) {
  URLParts parts;
  if (!parseURL(text, parts)) return nil;
  void* memory = poolAllocate(sizeof(URLRep));
  return Access::cast<NSURL>(Access::adopt(new (memory) URLRep(NSString(text), base, parts)));
}

NSURL orv::detail::makeFileURL(std::string_view text) {
  const auto size = static_cast<uint32_t>(text.size());
  URLParts parts;
  parts.scheme = {0, 4};
  parts.host = {7, 7};
  parts.path = {7, size};
  parts.authority = true;
  void* memory = poolAllocate(sizeof(URLRep));
  return Access::cast<NSURL>(Access::adopt(new (memory) URLRep(NSString(text), nil, parts)));
}

NSURL NSURL::URLWithString(const NSString& text) { return URLWithStringRelativeToURL(text, nil); }

NSURL NSURL::URLWithStringRelativeToURL(const NSString& text, const NSURL& base) {
  const detail::Units units = detail::unitsOf(text);
  if (units.wide || units.length == 0) return nil;
  const std::string_view ascii(static_cast<const char*>(units.data), units.length);
  URLParts parts;
  if (!detail::parseURL(ascii, parts)) return nil;
  const bool relative = !parts.scheme.present() && base;
  return detail::makeURL(ascii, relative ? base.absoluteURL() : NSURL());
}

NSURL NSURL::fileURLWithPath(const NSString& path) {
  if (path.isNil()) return nil;
  const std::string bytes = path.fileSystemRepresentation();
  return fileURL(bytes.empty() ? "." : bytes, bytes.empty() || bytes.ends_with('/') || isFolder(bytes));
}

NSURL NSURL::fileURLWithPath(const NSString& path, bool isDirectory) {
  if (path.isNil()) return nil;
  const std::string bytes = path.fileSystemRepresentation();
  return fileURL(bytes.empty() ? "." : bytes, isDirectory);
}

NSURL NSURL::fileURLWithFileSystemRepresentation(std::string_view path, bool isDirectory) {
  return path.starts_with('/') ? fileURL(path, isDirectory) : NSURL();
}

NSString NSURL::absoluteString() const {
  const URLRep* rep = urlRep(*this);
  if (!rep) return nil;
  return rep->base.isNil() ? rep->text : NSString(resolvedText(*rep, *urlRep(rep->base)));
}

NSString NSURL::relativeString() const {
  const URLRep* rep = urlRep(*this);
  return rep ? rep->text : NSString();
}

NSURL NSURL::baseURL() const {
  const URLRep* rep = urlRep(*this);
  return rep ? rep->base.as<NSURL>() : NSURL();
}

NSURL NSURL::absoluteURL() const {
  const URLRep* rep = urlRep(*this);
  if (!rep || rep->base.isNil()) return *this;
  return detail::makeURL(resolvedText(*rep, *urlRep(rep->base)), nil);
}

NSString NSURL::scheme() const { return decodedPart(*this, &URLParts::scheme); }

NSString NSURL::user() const { return decodedPart(*this, &URLParts::user); }

NSString NSURL::password() const { return decodedPart(*this, &URLParts::password); }

NSString NSURL::host() const {
  const NSString host = decodedPart(*this, &URLParts::host);
  return host.length() > 0 ? host : NSString();
}

NSNumber NSURL::port() const {
  const NSURL absolute = absoluteURL();
  const URLRep* rep = urlRep(absolute);
  if (!rep) return nil;
  const std::string_view digits = rep->part(rep->parts.port);
  uint16_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return digits.empty() || error != std::errc() ? NSNumber() : NSNumber(number);
}

NSString NSURL::query() const {
  const NSURL absolute = absoluteURL();
  const URLRep* rep = urlRep(absolute);
  return rep && rep->parts.query.present() ? NSString(rep->part(rep->parts.query)) : NSString();
}

NSString NSURL::fragment() const { return decodedPart(*this, &URLParts::fragment); }

NSString NSURL::resourceSpecifier() const {
  const URLRep* rep = urlRep(*this);
  if (!rep) return nil;
  return rep->parts.scheme.present() ? NSString(rep->ascii().substr(rep->parts.scheme.end + 1)) : rep->text;
}

NSString NSURL::path() const {
  const NSURL absolute = absoluteURL();
  const URLRep* rep = urlRep(absolute);
  if (!rep || rep->parts.opaque(rep->ascii())) return nil;
  return NSString::stringWithFileSystemRepresentation(fileSystemRepresentation());
}

std::string NSURL::fileSystemRepresentation() const {
  const NSURL absolute = absoluteURL();
  const URLRep* rep = urlRep(absolute);
  if (!rep || rep->parts.opaque(rep->ascii())) return {};
  return detail::decodedBytes(pathWithoutTrailingSlashes(rep->part(rep->parts.path)));
}

bool NSURL::isFileURL() const noexcept {
  const URLRep* rep = urlRep(*this);
  if (rep && !rep->parts.scheme.present()) rep = urlRep(rep->base);
  return rep && equalsIgnoringCase(rep->part(rep->parts.scheme), "file");
}

bool NSURL::hasDirectoryPath() const noexcept {
  const URLRep* rep = urlRep(*this);
  return rep && rep->part(rep->parts.path).ends_with('/');
}

NSString NSURL::description() const {
  const URLRep* rep = urlRep(*this);
  if (!rep) return nil;
  return rep->base.isNil() ? rep->text : rep->text + " -- " + baseURL().absoluteString();
}
