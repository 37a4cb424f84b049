#include <optional>
#include <string>

#include "Platform/Foundation/Text/StringBuilder.h"
#include "Platform/Foundation/Text/Unicode.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSCharacterSet.h"
#include "Platform/Foundation/Values/NSString.h"

using namespace orv;
using detail::Units;

namespace {

void appendEscaped(char32_t c, std::string& out) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  char bytes[4];
  const size_t count = detail::encodeUtf8(c, bytes);
  for (size_t i = 0; i < count; ++i) {
    const auto byte = static_cast<uint8_t>(bytes[i]);
    out += '%';
    out += kDigits[byte >> 4];
    out += kDigits[byte & 15];
  }
}

int hexadecimalDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

// The bytes an escaped text stands for; nothing when a % does not begin an escape.
std::optional<std::string> unescaped(const std::string& text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      bytes += text[i];
      continue;
    }
    if (text.size() - i < 3) return std::nullopt;
    const int high = hexadecimalDigit(text[i + 1]);
    const int low = hexadecimalDigit(text[i + 2]);
    if (high < 0 || low < 0) return std::nullopt;
    bytes += static_cast<char>(high << 4 | low);
    i += 2;
  }
  return bytes;
}

}  // namespace

NSString NSString::stringByAddingPercentEncodingWithAllowedCharacters(const NSCharacterSet& allowed) const {
  if (isNil()) return nil;
  std::string out;
  out.reserve(length() + length() / 2);
  const bool whole = detail::withUnits(detail::unitsOf(*this), [&](auto* units, size_t length) {
    for (size_t i = 0; i < length;) {
      const detail::CodePoint c = detail::codePointAt(units, length, i);
      if (detail::isSurrogate(c.value)) return false;
      if (c.value < 0x80 && allowed.longCharacterIsMember(c.value))
        out += static_cast<char>(c.value);
      else
        appendEscaped(c.value, out);
      i += c.units;
    }
    return true;
  });
  return whole ? detail::StringFactory::ascii(out.data(), out.size()) : NSString();
}

NSString NSString::stringByRemovingPercentEncoding() const {
  if (isNil()) return nil;
  const Units u = detail::unitsOf(*this);
  const auto text = u.wide ? detail::utf8FromUnits(u.wideData(), u.length, detail::LoneSurrogate::Refuse)
                           : detail::utf8FromLatin1(u.narrow(), u.length);
  if (!text) return nil;
  const auto bytes = unescaped(*text);
  return bytes ? NSString(std::string_view(*bytes)) : NSString();
}
