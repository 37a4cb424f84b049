#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Foundation/Export.h"
#include "Platform/Foundation/Text/Bytes.h"

// The kernels that turn bytes into code units and back. They work on raw memory, allocate nothing unless
// they answer a std::string, and keep no state: any thread may call them.
namespace orv::detail {

// What becomes of bytes that are not UTF-8.
enum class IllFormed : uint8_t {
  Refuse,   // the whole text is refused
  Replace,  // each maximal ill-formed part becomes U+FFFD (Unicode 15, table 3-8)
  Escape,   // each byte becomes the lone surrogate U+DC00 + byte, so that it can be turned back
};

// What becomes of a surrogate without its partner.
enum class LoneSurrogate : uint8_t {
  Refuse,   // the whole text is refused
  Replace,  // U+FFFD
  Escape,   // U+DC80 to U+DCFF become the byte they stand for, others U+FFFD
};

// The number of bytes below 0x80, or units below 0x100, with which a text begins.
ORV_EXPORT size_t asciiPrefix(const uint8_t* bytes, size_t count) noexcept;
ORV_EXPORT size_t narrowPrefix(const char16_t* units, size_t count) noexcept;

inline bool isAscii(std::string_view bytes) noexcept {
  const auto* p = reinterpret_cast<const uint8_t*>(bytes.data());
  return bytes.size() <= kShortBytes ? isShortAscii(p, bytes.size())
                                     : asciiPrefix(p, bytes.size()) == bytes.size();
}

// What decoding a text will give.
struct Utf8Shape {
  size_t units = 0;    // UTF-16 code units
  bool valid = true;   // false only with IllFormed::Refuse
  bool ascii = true;   // no unit above 0x7F
  bool narrow = true;  // no unit above 0xFF
};

ORV_EXPORT Utf8Shape measureUtf8(std::string_view bytes, IllFormed policy) noexcept;

// Decodes a text that `measureUtf8` has found valid and narrow. `out` has room for the
// measured units.
ORV_EXPORT void decodeUtf8(std::string_view bytes, uint8_t* out) noexcept;

// What decoding a text has given.
struct Utf8Units {
  size_t count = 0;
  bool valid = true;  // false only with IllFormed::Refuse
  char16_t seen = 0;  // all units, or'ed
};

// Decodes any text. `out` has room for the measured units, or for as many as there are bytes.
ORV_EXPORT Utf8Units decodeUtf8(std::string_view bytes, IllFormed policy, char16_t* out) noexcept;

// The UTF-8 of Latin-1 bytes and of code units; nullopt when the policy refuses.
ORV_EXPORT std::string utf8FromLatin1(const uint8_t* bytes, size_t count);
ORV_EXPORT std::optional<std::string> utf8FromUnits(const char16_t* units, size_t count, LoneSurrogate policy);

// Writes the one to four bytes of a code point and answers their number. Surrogates are not checked.
inline size_t encodeUtf8(char32_t c, char* out) noexcept {
  const auto tail = [c](int shift) { return static_cast<char>(0x80 | (c >> shift & 0x3F)); };
  if (c < 0x80) {
    out[0] = static_cast<char>(c);
    return 1;
  }
  if (c < 0x800) {
    out[0] = static_cast<char>(0xC0 | c >> 6);
    out[1] = tail(0);
    return 2;
  }
  if (c < 0x10000) {
    out[0] = static_cast<char>(0xE0 | c >> 12);
    out[1] = tail(6);
    out[2] = tail(0);
    return 3;
  }
  out[0] = static_cast<char>(0xF0 | c >> 18);
  out[1] = tail(12);
  out[2] = tail(6);
  out[3] = tail(0);
  return 4;
}

constexpr bool isHighSurrogate(char32_t c) { return (c & 0xFFFFFC00) == 0xD800; }
constexpr bool isLowSurrogate(char32_t c) { return (c & 0xFFFFFC00) == 0xDC00; }
constexpr bool isSurrogate(char32_t c) { return (c & 0xFFFFF800) == 0xD800; }
constexpr char32_t combineSurrogates(char32_t high, char32_t low) {
  return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
}
constexpr char16_t highSurrogateOf(char32_t c) { return static_cast<char16_t>(0xD7C0 + (c >> 10)); }
constexpr char16_t lowSurrogateOf(char32_t c) { return static_cast<char16_t>(0xDC00 + (c & 0x3FF)); }

// The code point at a position and the number of its units; a lone surrogate is answered as it is.
struct CodePoint {
  char32_t value;
  size_t units;
};

inline CodePoint codePointAt(const uint8_t* text, size_t, size_t index) noexcept { return {text[index], 1}; }
inline CodePoint codePointAt(const char16_t* text, size_t length, size_t index) noexcept {
  const char16_t unit = text[index];
  if (isHighSurrogate(unit) && index + 1 < length && isLowSurrogate(text[index + 1]))
    return {combineSurrogates(unit, text[index + 1]), 2};
  return {unit, 1};
}

// The same for the code point that ends before `index`.
inline CodePoint codePointBefore(const uint8_t* text, size_t index) noexcept { return {text[index - 1], 1}; }
inline CodePoint codePointBefore(const char16_t* text, size_t index) noexcept {
  const char16_t unit = text[index - 1];
  if (isLowSurrogate(unit) && index >= 2 && isHighSurrogate(text[index - 2]))
    return {combineSurrogates(text[index - 2], unit), 2};
  return {unit, 1};
}

}  // namespace orv::detail
