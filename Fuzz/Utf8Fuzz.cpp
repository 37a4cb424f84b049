// Any bytes are read as UTF-8 in the three ways, and compared with a plain model that follows the table of
// well-formed sequences byte by byte. Then they make the trip back.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Platform/Foundation/Text/Unicode.h"
#include "Platform/Foundation/Values/NSString.h"

namespace {

void require(bool law) {
  if (!law) std::abort();
}

// The bytes that may follow, by Unicode 15, table 3-7: what the second byte may be depends on the first.
bool mayFollow(const std::string& part, uint8_t byte) {
  const auto lead = static_cast<uint8_t>(part[0]);
  if (part.size() > 1) return byte >= 0x80 && byte <= 0xBF;
  switch (lead) {
    case 0xE0: return byte >= 0xA0 && byte <= 0xBF;
    case 0xED: return byte >= 0x80 && byte <= 0x9F;
    case 0xF0: return byte >= 0x90 && byte <= 0xBF;
    case 0xF4: return byte >= 0x80 && byte <= 0x8F;
    default: return byte >= 0x80 && byte <= 0xBF;
  }
}

size_t lengthFor(uint8_t lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return 2;
  if (lead >= 0xE0 && lead <= 0xEF) return 3;
  return lead >= 0xF0 && lead <= 0xF4 ? 4 : 0;
}

struct Model {
  bool valid = true;
  std::u16string lossy, escaped;

  void take(const std::string& part, bool whole) {
    if (whole) {
      char32_t c = static_cast<uint8_t>(part[0]);
      if (part.size() == 2) c &= 0x1F;
      if (part.size() == 3) c &= 0x0F;
      if (part.size() == 4) c &= 0x07;
      for (size_t i = 1; i < part.size(); ++i) c = c << 6 | (static_cast<uint8_t>(part[i]) & 0x3F);
      append(c);
    } else {
      valid = false;
      lossy += u'\uFFFD';
      for (const char b : part) escaped += static_cast<char16_t>(0xDC00 + static_cast<uint8_t>(b));
    }
  }
  void append(char32_t c) {
    std::u16string units;
    if (c < 0x10000) {
      units += static_cast<char16_t>(c);
    } else {
      units += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
      units += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
    }
    lossy += units;
    escaped += units;
  }
};

Model modelOf(std::string_view bytes) {
  Model model;
  for (size_t i = 0; i < bytes.size();) {
    const size_t length = lengthFor(static_cast<uint8_t>(bytes[i]));
    std::string part(1, bytes[i++]);
    while (part.size() < length && i < bytes.size() && mayFollow(part, static_cast<uint8_t>(bytes[i])))
      part += bytes[i++];
    model.take(part, part.size() == length);
  }
  return model;
}

void checkTrips(const NSString& strict, std::string_view bytes) {
  require(strict.utf8() == bytes);
  require(NSString(strict.utf16()) == strict);
  require(NSString(strict.utf16()).hash() == strict.hash());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(size ? reinterpret_cast<const char*>(data) : "", size);
  const Model model = modelOf(bytes);
  const NSString strict(bytes);
  require(strict.isNil() != model.valid);
  if (model.valid) checkTrips(strict, bytes);
  require(NSString::stringWithLossyUTF8(bytes).utf16() == model.lossy);
  const NSString name = NSString::stringWithFileSystemRepresentation(bytes);
  require(name.utf16() == model.escaped);
  require(name.fileSystemRepresentation() == bytes);
  require(NSString(NSString::stringWithLatin1(bytes).utf8()).length() == size);
  return 0;
}
