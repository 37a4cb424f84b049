#include "Platform/CoreServices/Detail/DynamicType.h"

#include <array>
#include <cstdint>

namespace orv::detail {
namespace {

constexpr std::string_view kAlphabet = "abcdefghkmnpqrstuvwxyz0123456789";

struct ParentCode {
  char code;
  std::string_view identifier;
};

constexpr std::array kParentCodes{ParentCode{'6', "public.data"},
                                  ParentCode{'7', "public.text"},
                                  ParentCode{'8', "public.plain-text"},
                                  ParentCode{'9', "public.utf16-plain-text"},
                                  ParentCode{'A', "com.apple.traditional-mac-plain-text"},
                                  ParentCode{'B', "public.image"},
                                  ParentCode{'C', "public.video"},
                                  ParentCode{'D', "public.audio"},
                                  ParentCode{'E', "public.directory"},
                                  ParentCode{'F', "public.folder"}};

std::string codeOf(const std::string& parent) {
  for (const ParentCode& p : kParentCodes)
    if (p.identifier == parent) return std::string(1, p.code);
  return parent;
}

std::string parentOf(const std::string& code) {
  for (const ParentCode& p : kParentCodes)
    if (code.size() == 1 && code[0] == p.code) return std::string(p.identifier);
  return code;
}

void appendEscaped(std::string& text, std::string_view value) {
  for (const char c : value) {
    if (c == '?' || c == ':' || c == '=' || c == ',' || c == '\\') text += '\\';
    text += c;
  }
}

std::string encoded(std::string_view text) {
  std::string result;
  uint32_t bits = 0;
  int count = 0;
  for (const char c : text) {
    bits = (bits & 31) << 8 | static_cast<uint8_t>(c);
    for (count += 8; count >= 5; count -= 5) result += kAlphabet[bits >> (count - 5) & 31];
  }
  if (count > 0) result += kAlphabet[bits << (5 - count) & 31];
  return result;
}

std::optional<std::string> decoded(std::string_view text) {
  std::string result;
  uint32_t bits = 0;
  int count = 0;
  for (const char c : text) {
    const size_t value = kAlphabet.find(c);
    if (value == std::string_view::npos) return std::nullopt;
    bits = (bits & 255) << 5 | static_cast<uint32_t>(value);
    count += 5;
    if (count < 8) continue;
    count -= 8;
    result += static_cast<char>(bits >> count & 255);
  }
  return result;
}

// Reads a value up to an unescaped ':' and moves on behind it.
std::string takeValue(std::string_view& text) {
  std::string value;
  size_t i = 0;
  for (; i < text.size() && text[i] != ':'; ++i) {
    if (text[i] == '\\' && i + 1 < text.size()) ++i;
    value += text[i];
  }
  text.remove_prefix(i < text.size() ? i + 1 : i);
  return value;
}

}  // namespace

std::string DynamicType::identifier() const {
  std::string text = "?0=";
  appendEscaped(text, codeOf(parent));
  text += ':';
  text += tagClass;
  text += '=';
  appendEscaped(text, tag);
  return std::string(kPrefix) + encoded(text);
}

std::optional<DynamicType> DynamicType::fromIdentifier(std::string_view identifier) {
  if (!identifier.starts_with(kPrefix)) return std::nullopt;
  const auto contents = decoded(identifier.substr(kPrefix.size()));
  if (!contents || !contents->starts_with('?')) return std::nullopt;
  DynamicType type;
  for (std::string_view text = std::string_view(*contents).substr(1); !text.empty();) {
    if (text.size() < 2 || text[1] != '=') return std::nullopt;
    const char key = text[0];
    text.remove_prefix(2);
    std::string value = takeValue(text);
    if (key == '0') {
      type.parent = parentOf(value);
    } else if (type.tagClass == 0) {
      type.tagClass = key;
      type.tag = std::move(value);
    }
  }
  if (type.tagClass == 0) return std::nullopt;
  return type;
}

}  // namespace orv::detail
