#include "Platform/Foundation/Text/Unicode.h"

#include <algorithm>
#include <cstring>

namespace orv::detail {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

constexpr bool isTail(uint8_t byte) { return (byte & 0xC0) == 0x80; }

// One step of decoding: a code point, or a maximal ill-formed part of `length` bytes.
struct Step {
  char32_t codePoint;
  uint8_t length;
  bool valid;
};

inline Step twoBytes(const uint8_t* p, size_t left) noexcept {
  if (left < 2 || !isTail(p[1])) return {0, 1, false};
  return {static_cast<char32_t>((p[0] & 0x1F) << 6 | (p[1] & 0x3F)), 2, true};
}

inline Step threeBytes(const uint8_t* p, size_t left) noexcept {
  const uint8_t low = p[0] == 0xE0 ? 0xA0 : 0x80;   // overlong below
  const uint8_t high = p[0] == 0xED ? 0x9F : 0xBF;  // surrogates above
  if (left < 2 || p[1] < low || p[1] > high) return {0, 1, false};
  if (left < 3 || !isTail(p[2])) return {0, 2, false};
  return {static_cast<char32_t>((p[0] & 0x0F) << 12 | (p[1] & 0x3F) << 6 | (p[2] & 0x3F)), 3, true};
}

inline Step fourBytes(const uint8_t* p, size_t left) noexcept {
  const uint8_t low = p[0] == 0xF0 ? 0x90 : 0x80;   // overlong below
  const uint8_t high = p[0] == 0xF4 ? 0x8F : 0xBF;  // beyond U+10FFFF above
  if (left < 2 || p[1] < low || p[1] > high) return {0, 1, false};
  if (left < 3 || !isTail(p[2])) return {0, 2, false};
  if (left < 4 || !isTail(p[3])) return {0, 3, false};
  const int c = (p[0] & 0x07) << 18 | (p[1] & 0x3F) << 12 | (p[2] & 0x3F) << 6 | (p[3] & 0x3F);
  return {static_cast<char32_t>(c), 4, true};
}

// The step at a byte of 0x80 or more.
inline Step nextStep(const uint8_t* p, size_t left) noexcept {
  const uint8_t lead = p[0];
  if (lead < 0xC2) return {0, 1, false};
  if (lead < 0xE0) return twoBytes(p, left);
  if (lead < 0xF0) return threeBytes(p, left);
  if (lead < 0xF5) return fourBytes(p, left);
  return {0, 1, false};
}

inline void put(char32_t c, char16_t*& out) noexcept {
  if (c < 0x10000) {
    *out++ = static_cast<char16_t>(c);
  } else {
    *out++ = highSurrogateOf(c);
    *out++ = lowSurrogateOf(c);
  }
}

// The length of the run of ASCII that starts here, or 1: a blank between words of another script is not
// worth looking any further.
inline size_t asciiRun(const uint8_t* p, const uint8_t* end) noexcept {
  if (end - p < 8 || (loadWord<uint64_t>(p) & 0x8080808080808080u)) return 1;
  return 8 + asciiPrefix(p + 8, static_cast<size_t>(end - p - 8));
}

// Two-byte sequences that stand side by side, one in each 16-bit lane of a word: lead below, tail above.
template <class Word>
struct Pairs {
  static constexpr Word kOnes = static_cast<Word>(0x0001000100010001u);

  static bool valid(Word w) noexcept {
    const bool shaped = (w & kOnes * 0xC0E0u) == kOnes * 0x80C0u;
    const bool shortest = (((w & kOnes * 0x1Eu) + kOnes * 0x7Eu) & kOnes * 0x80u) == kOnes * 0x80u;
    return shaped && shortest;
  }
  // All of them below U+0100.
  static bool narrow(Word w) noexcept { return (w & kOnes * 0x1Cu) == 0; }
  static Word units(Word w) noexcept { return (w & kOnes * 0x1Fu) << 6 | (w >> 8 & kOnes * 0x3Fu); }
};

// Four two-byte sequences at once, or none of them.
inline size_t fourPairs(const uint8_t* p, const uint8_t* end, Utf8Shape& shape) noexcept {
  if (*p >= 0xE0 || end - p < 8) return 0;
  const auto word = loadWord<uint64_t>(p);
  if (!Pairs<uint64_t>::valid(word)) return 0;
  shape.ascii = false;
  shape.narrow &= Pairs<uint64_t>::narrow(word);
  return 4;
}

// Decodes into UTF-16, keeping all units or'ed together. Each member moves on by what it has decoded.
class WideDecoder {
 public:
  WideDecoder(std::string_view bytes, char16_t* out) noexcept
      : p_(reinterpret_cast<const uint8_t*>(bytes.data())), end_(p_ + bytes.size()), begin_(out), out_(out) {}

  Utf8Units run(IllFormed policy) noexcept {
    while (p_ < end_) {
      const uint8_t lead = *p_;
      if (lead < 0x80)
        plain();
      else if (lead < 0xE0 ? pairs() : triple())
        continue;
      else if (!step(policy))
        return {0, false, 0};
    }
    const uint64_t halves = seen_ | seen_ >> 32;
    return {static_cast<size_t>(out_ - begin_), true, static_cast<char16_t>(halves | halves >> 16)};
  }

 private:
  size_t left() const noexcept { return static_cast<size_t>(end_ - p_); }

  void plain() noexcept {
    const size_t run = asciiRun(p_, end_);
    if (run == 1) {
      *out_++ = *p_++;
    } else {
      out_ = std::copy(p_, p_ + run, out_);
      p_ += run;
    }
  }

  // Four or two letters at once; false when there are not so many.
  bool pairs() noexcept { return pairsOf<uint64_t>() || pairsOf<uint32_t>(); }

  template <class Word>
  bool pairsOf() noexcept {
    if (left() < sizeof(Word)) return false;
    const auto word = loadWord<Word>(p_);
    if (!Pairs<Word>::valid(word)) return false;
    const Word units = Pairs<Word>::units(word);
    storeWord(out_, units);
    seen_ |= units;
    p_ += sizeof(Word);
    out_ += sizeof(Word) / 2;
    return true;
  }

  // A three-byte sequence with another byte behind it.
  bool triple() noexcept {
    if (left() < 4) return false;
    const auto word = loadWord<uint32_t>(p_);
    const uint32_t unit = (word & 0x0F) << 12 | (word >> 2 & 0x0FC0) | (word >> 16 & 0x3F);
    if ((word & 0xC0C0F0) != 0x8080E0 || unit < 0x800 || isSurrogate(unit)) return false;
    *out_++ = static_cast<char16_t>(unit);
    seen_ |= unit;
    p_ += 3;
    return true;
  }

  bool step(IllFormed policy) noexcept {
    const Step step = nextStep(p_, left());
    if (step.valid)
      add(step.codePoint);
    else if (policy == IllFormed::Refuse)
      return false;
    else if (policy == IllFormed::Replace)
      add(kReplacement);
    else
      for (int i = 0; i < step.length; ++i) add(0xDC00u + p_[i]);
    p_ += step.length;
    return true;
  }

  void add(char32_t c) noexcept {
    seen_ |= c < 0x10000 ? c : 0xFFFFu;
    put(c, out_);
  }

  const uint8_t* p_;
  const uint8_t* const end_;
  char16_t* const begin_;
  char16_t* out_;
  uint64_t seen_ = 0;
};

// For texts that have measured narrow: every sequence is valid and has one or two bytes.
void decodeNarrow(std::string_view bytes, uint8_t* out) noexcept {
  const auto* p = reinterpret_cast<const uint8_t*>(bytes.data());
  const uint8_t* end = p + bytes.size();
  while (p < end) {
    if (*p < 0x80) {
      const size_t plain = asciiRun(p, end);
      out = std::copy(p, p + plain, out);
      p += plain;
    } else {
      *out++ = static_cast<uint8_t>(p[0] << 6 | (p[1] & 0x3F));
      p += 2;
    }
  }
}

// What one unit, or one pair, becomes in UTF-8.
struct Piece {
  char bytes[4];
  size_t length;  // 0: refused
  size_t units;
};

Piece loneSurrogate(char16_t unit, LoneSurrogate policy) noexcept {
  Piece piece{{}, 0, 1};
  if (policy == LoneSurrogate::Refuse) return piece;
  if (policy == LoneSurrogate::Escape && unit >= 0xDC80 && unit <= 0xDCFF) {
    piece.bytes[0] = static_cast<char>(unit & 0xFF);
    piece.length = 1;
  } else {
    piece.length = encodeUtf8(kReplacement, piece.bytes);
  }
  return piece;
}

Piece pieceAt(const char16_t* units, size_t count, size_t index, LoneSurrogate policy) noexcept {
  const CodePoint c = codePointAt(units, count, index);
  if (isSurrogate(c.value)) return loneSurrogate(units[index], policy);
  Piece piece{{}, 0, c.units};
  piece.length = encodeUtf8(c.value, piece.bytes);
  return piece;
}

// An upper bound that is exact for texts without surrogates.
size_t utf8Room(const char16_t* units, size_t count) noexcept {
  size_t room = count;
  for (size_t i = 0; i < count; ++i)
    room += static_cast<size_t>(units[i] > 0x7F) + static_cast<size_t>(units[i] > 0x7FF);
  return room;
}

}  // namespace

size_t asciiPrefix(const uint8_t* bytes, size_t count) noexcept {
  constexpr uint64_t kHigh = 0x8080808080808080u;
  size_t i = 0;
  for (; i + 16 <= count; i += 16)
    if ((loadWord<uint64_t>(bytes + i) | loadWord<uint64_t>(bytes + i + 8)) & kHigh) break;
  if (i + 8 <= count && !(loadWord<uint64_t>(bytes + i) & kHigh)) i += 8;
  while (i < count && bytes[i] < 0x80) ++i;
  return i;
}

size_t narrowPrefix(const char16_t* units, size_t count) noexcept {
  constexpr uint64_t kHigh = 0xFF00FF00FF00FF00u;
  size_t i = 0;
  for (; i + 8 <= count; i += 8)
    if ((loadWord<uint64_t>(units + i) | loadWord<uint64_t>(units + i + 4)) & kHigh) break;
  while (i < count && units[i] < 0x100) ++i;
  return i;
}

Utf8Shape measureUtf8(std::string_view bytes, IllFormed policy) noexcept {
  Utf8Shape shape;
  const auto* p = reinterpret_cast<const uint8_t*>(bytes.data());
  const uint8_t* end = p + bytes.size();
  while (p < end) {
    if (*p < 0x80) {
      const size_t plain = asciiRun(p, end);
      shape.units += plain;
      p += plain;
      continue;
    }
    if (const size_t pairs = fourPairs(p, end, shape); pairs > 0) {
      shape.units += pairs;
      p += 2 * pairs;
      continue;
    }
    const Step step = nextStep(p, static_cast<size_t>(end - p));
    if (!step.valid && policy == IllFormed::Refuse) return {0, false, false, false};
    shape.ascii = false;
    shape.narrow &= step.valid && step.codePoint < 0x100;
    shape.units += step.valid ? (step.length == 4 ? 2u : 1u) : (policy == IllFormed::Escape ? step.length : 1u);
    p += step.length;
  }
  return shape;
}

void decodeUtf8(std::string_view bytes, uint8_t* out) noexcept { decodeNarrow(bytes, out); }

Utf8Units decodeUtf8(std::string_view bytes, IllFormed policy, char16_t* out) noexcept {
  return WideDecoder(bytes, out).run(policy);
}

std::string utf8FromLatin1(const uint8_t* bytes, size_t count) {
  const auto high =
      static_cast<size_t>(std::count_if(bytes, bytes + count, [](uint8_t b) { return b >= 0x80; }));
  std::string text(count + high, '\0');
  char* out = text.data();
  for (size_t i = 0; i < count;) {
    const size_t plain = asciiPrefix(bytes + i, count - i);
    if (plain) std::memcpy(out, bytes + i, plain);
    out += plain;
    i += plain;
    for (; i < count && bytes[i] >= 0x80; ++i) out += encodeUtf8(bytes[i], out);
  }
  return text;
}

std::optional<std::string> utf8FromUnits(const char16_t* units, size_t count, LoneSurrogate policy) {
  std::string text(utf8Room(units, count), '\0');
  char* out = text.data();
  for (size_t i = 0; i < count;) {
    if (!isSurrogate(units[i])) {
      out += encodeUtf8(units[i++], out);
      continue;
    }
    const Piece piece = pieceAt(units, count, i, policy);
    if (piece.length == 0) return std::nullopt;
    std::memcpy(out, piece.bytes, piece.length);
    out += piece.length;
    i += piece.units;
  }
  text.resize(static_cast<size_t>(out - text.data()));
  return text;
}

}  // namespace orv::detail
