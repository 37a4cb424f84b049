// Any format with a fixed set of arguments of every class: it never fails, prints the same twice, prints the
// same from bytes and from code units, and a format without % stands as it is.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Platform/Foundation/Text/Format.h"
#include "Platform/Foundation/Values/NSString.h"

namespace {

void require(bool law) {
  if (!law) std::abort();
}

NSString filledIn(const NSString& format, const NSString& word) {
  return NSString::stringWithFormat(format, word, -42, 2.5, "bytes \xC3\xA9", u"units", UINT64_MAX,
                                    orv::Value(7), 'c', word, 1e300, nullptr, orv::nil);
}

NSString filledInBytes(std::string_view format, const NSString& word) {
  using orv::detail::FormatArgument;
  const orv::Value seven = 7;
  const FormatArgument arguments[] = {word, -42,  2.5,   "bytes \xC3\xA9", u"units", UINT64_MAX, seven,
                                      'c',  word, 1e300, nullptr,          orv::nil};
  orv::detail::StringBuilder out;
  orv::detail::appendFormat(out, format, arguments);
  return out.finish();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 200) return 0;  // widths make long outputs of short formats
  const std::string_view bytes(size ? reinterpret_cast<const char*>(data) : "", size);
  const NSString format = NSString::stringWithLossyUTF8(bytes);
  const NSString word = "%d w\u00F6rd %@";
  const NSString text = filledIn(format, word);
  require(!text.isNil());
  require(text == filledIn(format, word));
  require(text == filledInBytes(format.utf8(), word));
  if (!format.containsString("%")) require(text == format);
  return 0;
}
