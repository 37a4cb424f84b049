#pragma once

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <cstddef>
#include <cstdint>
#include <cstring>

// Copying, comparing and looking through short stretches of memory without a call: blocks of 16 bytes, the last
// of which overlaps the one before, or two overlapping words. Stretches above kShortBytes go to the C library.
namespace orv::detail {

inline constexpr size_t kShortBytes = 128;

// Sixteen bytes in one register.
using ByteBlock = uint64_t __attribute__((vector_size(16)));

template <class Word>
inline Word loadWord(const void* from) noexcept {
  Word word;
  std::memcpy(&word, from, sizeof word);
  return word;
}

template <class Word>
inline void storeWord(void* to, Word word) noexcept {
  std::memcpy(to, &word, sizeof word);
}

// What two words that begin and end a stretch of sizeof(Word) to 2 * sizeof(Word) bytes do to each other.
template <class Word>
inline void copyEnds(uint8_t* to, const uint8_t* from, size_t count) noexcept {
  const Word first = loadWord<Word>(from);
  const Word last = loadWord<Word>(from + count - sizeof(Word));
  storeWord(to, first);
  storeWord(to + count - sizeof(Word), last);
}

template <class Word>
inline bool equalEnds(const uint8_t* a, const uint8_t* b, size_t count) noexcept {
  const size_t last = count - sizeof(Word);
  return ((loadWord<Word>(a) ^ loadWord<Word>(b)) | (loadWord<Word>(a + last) ^ loadWord<Word>(b + last))) == 0;
}

inline bool isZero(ByteBlock block) noexcept { return (block[0] | block[1]) == 0; }

// The stretches must not overlap each other.
inline void copyBytes(void* target, const void* source, size_t count) noexcept {
  auto* to = static_cast<uint8_t*>(target);
  const auto* from = static_cast<const uint8_t*>(source);
  if (count > kShortBytes) {
    std::memcpy(to, from, count);
  } else if (count >= 16) {
    for (size_t i = 0; i + 16 < count; i += 16) storeWord(to + i, loadWord<ByteBlock>(from + i));
    storeWord(to + count - 16, loadWord<ByteBlock>(from + count - 16));
  } else if (count >= 8) {
    copyEnds<uint64_t>(to, from, count);
  } else if (count >= 4) {
    copyEnds<uint32_t>(to, from, count);
  } else if (count > 0) {
    to[0] = from[0];
    to[count / 2] = from[count / 2];
    to[count - 1] = from[count - 1];
  }
}

inline bool equalBytes(const void* left, const void* right, size_t count) noexcept {
  const auto* a = static_cast<const uint8_t*>(left);
  const auto* b = static_cast<const uint8_t*>(right);
  if (count > kShortBytes) return std::memcmp(a, b, count) == 0;
  if (count >= 16) {
    const size_t last = count - 16;
    ByteBlock difference = loadWord<ByteBlock>(a + last) ^ loadWord<ByteBlock>(b + last);
    for (size_t i = 0; i < last; i += 16) difference |= loadWord<ByteBlock>(a + i) ^ loadWord<ByteBlock>(b + i);
    return isZero(difference);
  }
  if (count >= 8) return equalEnds<uint64_t>(a, b, count);
  if (count >= 4) return equalEnds<uint32_t>(a, b, count);
  return count == 0 || (a[0] == b[0] && a[count / 2] == b[count / 2] && a[count - 1] == b[count - 1]);
}

// Sixteen bytes that compare one by one: `block == 'x'` is all ones in every byte that is an x.
using ByteBlock8 = uint8_t __attribute__((vector_size(16)));

// One bit for each byte whose highest bit is set, the first byte's lowest.
template <class Block>
inline unsigned highBitsOf(const Block& block) noexcept {
#ifdef __SSE2__
  return static_cast<unsigned>(_mm_movemask_epi8(__builtin_bit_cast(__m128i, block)));
#else
  const auto words = __builtin_bit_cast(ByteBlock, block);
  const auto gather = [](uint64_t word) {
    return static_cast<unsigned>((word >> 7 & 0x0101010101010101u) * 0x0102040810204080u >> 56);
  };
  return gather(words[0]) | gather(words[1]) << 8;
#endif
}

// Whether no byte of up to kShortBytes is above 0x7F.
inline bool isShortAscii(const uint8_t* bytes, size_t count) noexcept {
  constexpr uint64_t kHigh = 0x8080808080808080u;
  if (count >= 16) {
    ByteBlock seen = loadWord<ByteBlock>(bytes + count - 16);
    for (size_t i = 0; i + 16 < count; i += 16) seen |= loadWord<ByteBlock>(bytes + i);
    return ((seen[0] | seen[1]) & kHigh) == 0;
  }
  if (count >= 8) return ((loadWord<uint64_t>(bytes) | loadWord<uint64_t>(bytes + count - 8)) & kHigh) == 0;
  if (count >= 4)
    return ((loadWord<uint32_t>(bytes) | loadWord<uint32_t>(bytes + count - 4)) & uint32_t{0x80808080}) == 0;
  return count == 0 || (bytes[0] | bytes[count / 2] | bytes[count - 1]) < 0x80;
}

}  // namespace orv::detail
