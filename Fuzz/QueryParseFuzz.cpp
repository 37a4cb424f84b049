// Any bytes are taken as a query and parsed, beside a plain model that splits a copy; then they are taken as
// the pairs of a dictionary, from which a query is built and parsed back.

#include <cstdint>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/NSURL.h"

namespace {

void require(bool law) {
  if (!law) std::abort();
}

std::vector<std::u16string> split(const std::u16string& text, char16_t separator) {
  std::vector<std::u16string> pieces(1);
  for (const char16_t unit : text) {
    if (unit == separator)
      pieces.emplace_back();
    else
      pieces.back() += unit;
  }
  return pieces;
}

using Pairs = std::map<std::u16string, std::u16string>;

// Nothing where a piece has no "=".
std::optional<Pairs> modelOf(const NSString& query) {
  Pairs pairs;
  for (const std::u16string& piece : split(query.utf16(), u'&')) {
    const auto halves = split(piece, u'=');
    if (halves.size() < 2) return std::nullopt;
    const NSString value = NSString(halves[1]).stringByRemovingPercentEncoding();
    pairs.erase(halves[0]);
    if (!value.isNil()) pairs[halves[0]] = value.utf16();
  }
  return pairs;
}

std::optional<Pairs> parsed(const NSString& query) {
  try {
    Pairs pairs;
    for (const auto& [key, value] : query.parseQuery())
      pairs[key.as<NSString>().utf16()] = value.as<NSString>().utf16();
    return pairs;
  } catch (const NSException& exception) {
    require(exception.name() == NSRangeException);
    return std::nullopt;
  }
}

void checkEncoding(const NSString& text) {
  const NSString encoded = text.urlEncode();
  require(encoded.isNil() == text.data().isNil());
  if (encoded.isNil()) return;
  require(encoded.stringByRemovingPercentEncoding() == text);
  for (const char16_t unit : encoded.utf16()) require(unit < 0x80 && unit != ' ' && unit != '+' && unit != '/');
}

// Keys and values without the characters that queries do not protect make the way there and back.
void checkRoundTrip(const std::u16string& text) {
  NSMutableDictionary pairs = NSMutableDictionary::dictionary();
  const auto fields = split(text, u'\n');
  for (size_t i = 0; i + 1 < fields.size(); i += 2) {
    const NSString value = NSString(fields[i + 1]).replace("&", "").replace("=", "");
    if (value.urlEncode().isNil()) continue;
    pairs.setObjectForKey(value, NSString::stringWithFormat("k%lu", i));
  }
  if (pairs.count() == 0) return;
  const NSString query = NSString::queryStringWithDictionary(pairs);
  require(query.parseQuery() == pairs);
  require(NSString("x").addQuery(pairs) == NSString("x?") + query || pairs.count() > 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(size ? reinterpret_cast<const char*>(data) : "", size);
  const NSString text = NSString::stringWithFileSystemRepresentation(bytes);
  require(parsed(text) == modelOf(text));
  checkEncoding(text);
  checkRoundTrip(text.utf16());
  const NSString host = text.URL().host();
  require(text.humanizeURL() == (host.length() > 0 ? host.replace("www.", "") : text));
  return 0;
}
