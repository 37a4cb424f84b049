#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "Platform/Foundation/Serialization/Detail/JSONReader.h"
#include "Platform/Foundation/Text/Bytes.h"
#include "Platform/Foundation/Values/Value.h"

// Numbers and strings of a JSON text, read from the memory between `at` and `end`.
namespace orv::detail {

// Whether a byte may follow a number or a word: a blank, a comma, a colon or a closing bracket. The end of the
// text may, too.
inline bool endsScalar(const uint8_t* at, const uint8_t* end) noexcept {
  if (at == end || *at == ',') return true;
  constexpr uint64_t kBlanksAndColon = 1ull << ' ' | 1ull << '\n' | 1ull << '\r' | 1ull << '\t' | 1ull << ':';
  return *at < 64 ? (kBlanksAndColon >> *at & 1) != 0 : *at == '}' || *at == ']';
}

// A number: without fraction and exponent an integer where 64 bits hold it; a decimal where a double would lose
// digits (more than 17) and a decimal keeps all of them; else a double. Nil for what is no number, and for one
// beyond the doubles, with the complaint.
Value readJSONNumber(const uint8_t* at, const uint8_t* end, const char*& complaint);

// Where a string lies: the bytes between its quotes.
struct JSONString {
  const uint8_t* begin;
  const uint8_t* end;
  bool ascii;    // no byte above 0x7F
  bool escaped;  // a backslash is in it
};

// The string that begins behind a quote. The text is known to hold its closing quote.
inline JSONString findJSONString(const uint8_t* at, const uint8_t* textEnd) noexcept {
  JSONString found{at, at, true, false};
  unsigned foreign = 0;
  while (textEnd - at >= 16) {
    const auto block = loadWord<ByteBlock8>(at);
    const unsigned stops = highBitsOf((block == '"') | (block == '\\'));
    const unsigned high = highBitsOf(block);
    if (stops == 0) {
      foreign |= high;
      at += 16;
      continue;
    }
    foreign |= high & (stops - 1) & ~stops;
    at += std::countr_zero(stops);
    if (*at == '"') break;
    found.escaped = true;
    at += 2;
  }
  for (; at < textEnd && *at != '"'; ++at) {
    foreign |= *at & 0x80u;
    if (*at != '\\') continue;
    found.escaped = true;
    ++at;
  }
  found.end = at;
  found.ascii = foreign == 0;
  return found;
}

// The string's value; nil for an escape that is none, with the complaint and where.
Value readJSONString(const JSONString& string, JSONFault& fault, const uint8_t* text);

}  // namespace orv::detail
