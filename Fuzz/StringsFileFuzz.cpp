// Tables of translations: any bytes are a table or none; what a table says reads back from its plainest form,
// in UTF-8 and in UTF-16.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Platform/Foundation/Serialization/StringsFile.h"
#include "Platform/Foundation/Values/NSString.h"

using namespace orv;

namespace {

void require(bool law) {
  if (!law) std::abort();
}

std::u16string quoted(const NSString& text) {
  constexpr std::u16string_view kDigits = u"0123456789abcdef";
  std::u16string out = u"\"";
  for (const char16_t unit : text.utf16()) {
    out += u"\\U";
    for (int shift = 12; shift >= 0; shift -= 4) out += kDigits[unit >> shift & 0xF];
  }
  return out + u'"';
}

std::string littleEndian(const std::u16string& text) {
  std::string bytes = "\xFF\xFE";
  for (const char16_t unit : text) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const NSDictionary table = detail::readStringsFile({reinterpret_cast<const char*>(data), size});
  if (table.isNil()) return 0;
  std::u16string plain;
  for (const auto& [key, value] : table) {
    require(key.isKindOf<NSString>() && value.isKindOf<NSString>());
    plain += quoted(key.as<NSString>()) + u" = " + quoted(value.as<NSString>()) + u";\n";
  }
  require(detail::readStringsFile(NSString(plain).utf8()) == table);
  require(detail::readStringsFile(littleEndian(plain)) == table);
  return 0;
}
