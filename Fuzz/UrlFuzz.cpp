// Any bytes as a URL text and as a path. Laws: a URL that was read gives its text back; its parts and its
// resolution are themselves readable; editing the path never yields an unreadable text or moves the URL to
// another host; path bytes survive the way into a file URL and back.

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSNumber.h"
#include "Platform/Foundation/Values/NSURL.h"

namespace {

void require(bool law) {
  if (!law) std::abort();
}

void checkEdited(const NSURL& url, const NSURL& edited) {
  if (edited.isNil()) return;
  require(edited.host() == url.host() && edited.scheme() == url.scheme());
  require(NSURL::URLWithString(edited.absoluteString()).absoluteString() == edited.absoluteString());
}

void checkURL(const NSURL& url, const NSString& text) {
  require(url.relativeString() == text && NSURL::URLWithString(text) == url &&
          url.hash() == NSURL::URLWithString(text).hash());
  require(url.path().isNil() == url.pathComponents().isNil());
  checkEdited(url, url.URLByDeletingLastPathComponent());
  checkEdited(url, url.URLByDeletingPathExtension());
  checkEdited(url, url.URLByStandardizingPath());
  checkEdited(url, url.URLByAppendingPathExtension("a:b"));
  checkEdited(url, url.URLByAppendingPathComponent("a:b/c", true));
  const NSURL absolute =
      NSURL::URLWithStringRelativeToURL(text, NSURL::URLWithString("file:///a/b/c")).absoluteURL();
  require(!absolute.isNil() && !absolute.scheme().isNil());
}

void checkPath(std::string_view bytes) {
  if (bytes.empty() || bytes.find('\0') != std::string_view::npos || bytes.ends_with('/')) return;
  const std::string path = "/" + std::string(bytes);
  const NSURL url = NSURL::fileURLWithFileSystemRepresentation(path, false);
  require(url.fileSystemRepresentation() == path);
  require(NSURL::fileURLWithPath(url.path(), false) == url);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const NSString text = bytes;  // nil for malformed UTF-8
  const NSURL url = NSURL::URLWithString(text);
  if (url) checkURL(url, text);
  checkPath(bytes);
  return 0;
}
