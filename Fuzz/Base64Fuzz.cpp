// Base64: the vector path and the plain path agree on every text, what is decoded encodes to the same text, and
// what is encoded comes back.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Foundation/Text/Base64.h"

using namespace orv::detail;

namespace {

void require(bool law) {
  if (!law) std::abort();
}

std::optional<std::string> decode(const std::string& text, Base64Form form, Base64Path path) {
  const auto room = base64DecodedLength(text.data(), text.size(), form);
  std::vector<uint8_t> out(room.value_or(0));
  const auto length = base64Decode(text.data(), text.size(), out.data(), form, path);
  require(!length || length == room);
  if (!length) return std::nullopt;
  return std::string(reinterpret_cast<const char*>(out.data()), *length);
}

std::string encode(const std::string& bytes, Base64Form form, Base64Path path) {
  std::string text(base64EncodedLength(bytes.size(), form), '\0');
  base64Encode(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), text.data(), form, path);
  return text;
}

// Two texts of one length that may differ in the unused bits of their last character.
bool sameButForUnusedBits(std::string a, std::string b) {
  for (std::string* text : {&a, &b}) {
    while (!text->empty() && text->back() == '=') text->pop_back();
    if (text->size() % 4 != 0) text->pop_back();
  }
  return a == b;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  for (const Base64Form form : {Base64Form::Standard, Base64Form::Canonical}) {
    const auto plain = decode(input, form, Base64Path::Plain);
    require(plain == decode(input, form, Base64Path::Best));
    if (plain && form == Base64Form::Standard)
      require(sameButForUnusedBits(encode(*plain, form, Base64Path::Best), input));
    const std::string text = encode(input, form, Base64Path::Best);
    require(text == encode(input, form, Base64Path::Plain));
    const auto back = decode(text, form, Base64Path::Best);
    const bool refused = form == Base64Form::Canonical && size % 3 == 2;
    require(refused ? !back : back == input);
  }
  return 0;
}
