#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "Platform/Foundation/Export.h"

// Base64 over raw bytes, in the machine's widest vectors.
namespace orv::detail {

enum class Base64Form : uint8_t {
  // RFC 4648, section 4, with padding.
  Standard,
  // The URL-safe alphabet of section 5, without padding. The decoder takes both alphabets, and texts with
  // padding; of texts without, those whose last group has two characters.
  Canonical,
};

// The code to run: the best that the processor has, or one that a test or a benchmark asks for. A path that
// the processor does not have falls back to the plain one.
enum class Base64Path : uint8_t { Best, Plain, Avx2 };

constexpr size_t base64EncodedLength(size_t bytes, Base64Form form) {
  if (form == Base64Form::Standard) return (bytes + 2) / 3 * 4;
  return bytes / 3 * 4 + (bytes % 3 == 0 ? 0 : bytes % 3 + 1);
}

// The bytes that a text stands for if it is Base64, judged by its length and padding alone; nothing when these
// already tell that it is not.
ORV_EXPORT std::optional<size_t> base64DecodedLength(const char* text, size_t length, Base64Form form) noexcept;

// Writes base64EncodedLength characters.
ORV_EXPORT void base64Encode(const uint8_t* bytes, size_t length, char* out, Base64Form form,
                             Base64Path path = Base64Path::Best) noexcept;

// Writes base64DecodedLength bytes and answers their number; nothing when the text is not Base64 throughout: a
// character outside the alphabet (blanks and line ends included), a wrong length, missing, misplaced or surplus
// padding. Bits left over in the last group are ignored. `out` may have been written to all the same.
ORV_EXPORT std::optional<size_t> base64Decode(const char* text, size_t length, uint8_t* out, Base64Form form,
                                              Base64Path path = Base64Path::Best) noexcept;

}  // namespace orv::detail
