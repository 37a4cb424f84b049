// Any bytes as a bookmark, as they are and behind the right head and digest. Laws: what is read is written
// again as the same bytes; a bookmark whose digest is not right is refused; whatever one says, resolving it
// gives an existing item or an error, and what a search finds has the identity that was looked for.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Platform/Foundation/Files/Bookmark.h"
#include "Platform/Foundation/Files/BookmarkSearch.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSError.h"
#include "Platform/Foundation/Values/NSURL.h"
#include "Platform/Security/Digest.h"

using namespace orv;
using detail::Bookmark;
using detail::FileIdentity;

namespace {

constexpr size_t kMostNames = 100;  // a search of the whole disk is no fuzzing

void require(bool law) {
  if (!law) std::abort();
}

std::string sealed(std::string_view content) {
  std::string bytes = std::string("OrvMark\x01", 8).append(content);
  return bytes += detail::digestOf(detail::DigestAlgorithm::SHA256, bytes.data(), bytes.size()).view();
}

void checkSearch(const Bookmark& bookmark) {
  const std::string path = detail::findMovedItem(bookmark, {kMostNames, false});
  if (path.empty()) return;
  const auto found = FileIdentity::of(path);
  require(found && found->isSameAs(bookmark.item));
}

void checkBytes(const std::string& bytes) {
  const auto bookmark = Bookmark::decode(bytes);
  if (!bookmark) {
    NSError error;
    require(NSURL::URLByResolvingBookmarkData(NSData::dataWithBytes(bytes), 0, nullptr, &error).isNil());
    return require(error.code() == 259);
  }
  require(bookmark->encoded() == bytes);
  std::string changed = bytes;
  changed.back() = static_cast<char>(changed.back() ^ 1);
  require(!Bookmark::decode(changed));
  checkSearch(*bookmark);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  checkBytes(std::string(bytes));
  checkBytes(sealed(bytes));
  return 0;
}
