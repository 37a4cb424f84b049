#include "Platform/Foundation/Text/Base64.h"

#include <array>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace orv::detail {
namespace {

constexpr char kStandardAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kCanonicalAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

// Two characters for every twelve bits: half the look-ups of a table of single characters.
using PairTable = std::array<std::array<char, 2>, 4096>;

constexpr PairTable makePairs(const char* alphabet) {
  PairTable table{};
  for (size_t i = 0; i < table.size(); ++i) table[i] = {alphabet[i >> 6], alphabet[i & 63]};
  return table;
}

constexpr PairTable kPairs[] = {makePairs(kStandardAlphabet), makePairs(kCanonicalAlphabet)};

// For each place in a group the character's six bits where they belong in the group's 24; characters outside
// the alphabet have a bit above them.
constexpr uint32_t kBad = 1u << 24;
using GroupTable = std::array<std::array<uint32_t, 256>, 4>;

constexpr GroupTable makeGroups(bool canonical) {
  GroupTable table{};
  for (size_t place = 0; place < 4; ++place) {
    const size_t shift = 18 - 6 * place;
    for (uint32_t& entry : table[place]) entry = kBad;
    for (uint32_t i = 0; i < 64; ++i) {
      table[place][static_cast<uint8_t>(kStandardAlphabet[i])] = i << shift;
      if (canonical) table[place][static_cast<uint8_t>(kCanonicalAlphabet[i])] = i << shift;
    }
  }
  return table;
}

constexpr GroupTable kGroups[] = {makeGroups(false), makeGroups(true)};

constexpr size_t index(Base64Form form) { return static_cast<size_t>(form); }

// A place in the input and one in the output, moved on by each stage.
struct Encoding {
  const uint8_t* in;
  size_t left;
  char* out;
};

struct Decoding {
  const char* in;
  size_t left;
  uint8_t* out;
};

void encodePlain(Encoding& e, Base64Form form) {
  const PairTable& pairs = kPairs[index(form)];
  for (; e.left >= 3; e.left -= 3, e.in += 3, e.out += 4) {
    const uint32_t group = static_cast<uint32_t>(e.in[0]) << 16 | static_cast<uint32_t>(e.in[1]) << 8 | e.in[2];
    std::memcpy(e.out, pairs[group >> 12].data(), 2);
    std::memcpy(e.out + 2, pairs[group & 0xFFF].data(), 2);
  }
}

void encodeTail(Encoding& e, Base64Form form) {
  if (e.left == 0) return;
  const uint32_t group =
      static_cast<uint32_t>(e.in[0]) << 16 | (e.left == 2 ? static_cast<uint32_t>(e.in[1]) << 8 : 0);
  const PairTable& pairs = kPairs[index(form)];
  std::memcpy(e.out, pairs[group >> 12].data(), 2);
  if (e.left == 2) e.out[2] = pairs[group & 0xFFF][0];
  if (form == Base64Form::Canonical) return;
  if (e.left == 1) e.out[2] = '=';
  e.out[3] = '=';
}

uint32_t groupOf(const GroupTable& table, const char* in) {
  return table[0][static_cast<uint8_t>(in[0])] | table[1][static_cast<uint8_t>(in[1])] |
         table[2][static_cast<uint8_t>(in[2])] | table[3][static_cast<uint8_t>(in[3])];
}

// Whole groups; stops at one that is not Base64.
bool decodePlain(Decoding& d, Base64Form form) {
  const GroupTable& table = kGroups[index(form)];
  for (; d.left >= 4; d.left -= 4, d.in += 4, d.out += 3) {
    const uint32_t group = groupOf(table, d.in);
    if (group >= kBad) return false;
    d.out[0] = static_cast<uint8_t>(group >> 16);
    d.out[1] = static_cast<uint8_t>(group >> 8);
    d.out[2] = static_cast<uint8_t>(group);
  }
  return true;
}

// The characters of a last group that is not whole: 0, 2 or 3. Nothing when the length cannot be right.
std::optional<size_t> tailOf(const char* text, size_t length, Base64Form form) {
  if (form == Base64Form::Canonical && length % 4 == 2) return 2;
  if (length % 4 != 0) return std::nullopt;
  if (length == 0 || text[length - 1] != '=') return 0;
  return text[length - 2] == '=' ? 2 : 3;
}

size_t wholeGroups(size_t length, size_t tail) { return tail == 0 ? length : (length - 1) / 4 * 4; }

// The characters of a last group that stands for one or two bytes.
bool decodeTail(Decoding& d, size_t characters, Base64Form form) {
  const char group[4] = {d.in[0], d.in[1], characters == 3 ? d.in[2] : 'A', 'A'};
  const uint32_t bits = groupOf(kGroups[index(form)], group);
  if (bits >= kBad) return false;
  *d.out++ = static_cast<uint8_t>(bits >> 16);
  if (characters == 3) *d.out++ = static_cast<uint8_t>(bits >> 8);
  return true;
}

#if defined(__x86_64__)

// Vectors of 24 bytes and 32 characters, after Mula and Lemire, "Faster Base64 Encoding and Decoding Using AVX2
// Instructions" (2018). They leave the ends of the data to the plain code.

__attribute__((target("avx2"))) __m256i bothLanes(__m128i lane) { return _mm256_broadcastsi128_si256(lane); }

__attribute__((target("avx2"))) void encodeAvx2(Encoding& e, Base64Form form) {
  const bool canonical = form == Base64Form::Canonical;
  // What to add to a six-bit value for its character, by its range: A-Z, a-z, ten digits, 62, 63.
  const __m256i offsets = bothLanes(_mm_setr_epi8(65, 71, -4, -4, -4, -4, -4, -4, -4, -4, -4, -4,
                                                  canonical ? -17 : -19, canonical ? 32 : -16, 0, 0));
  const __m256i spread = bothLanes(_mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10));
  while (e.left >= 28) {  // the second load reads 16 bytes from the twelfth
    const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(e.in));
    const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(e.in + 12));
    const __m256i bytes = _mm256_shuffle_epi8(_mm256_set_m128i(high, low), spread);
    // Each 32 bits hold a group as b1 b0 b2 b1: shift the four sextets into their bytes by multiplication.
    const __m256i odd = _mm256_mulhi_epu16(_mm256_and_si256(bytes, _mm256_set1_epi32(0x0FC0FC00)),
                                           _mm256_set1_epi32(0x04000040));
    const __m256i even = _mm256_mullo_epi16(_mm256_and_si256(bytes, _mm256_set1_epi32(0x003F03F0)),
                                            _mm256_set1_epi32(0x01000010));
    const __m256i sextets = _mm256_or_si256(odd, even);
    const __m256i above25 = _mm256_cmpgt_epi8(sextets, _mm256_set1_epi8(25));
    const __m256i range = _mm256_sub_epi8(_mm256_subs_epu8(sextets, _mm256_set1_epi8(51)), above25);
    const __m256i text = _mm256_add_epi8(sextets, _mm256_shuffle_epi8(offsets, range));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(e.out), text);
    e.in += 24;
    e.left -= 24;
    e.out += 32;
  }
}

// Whole vectors; stops before the first that has a character outside the alphabet.
__attribute__((target("avx2"))) void decodeAvx2(Decoding& d, Base64Form form) {
  // A character is outside the alphabet when the classes of its two halves share a bit.
  const __m256i classOfLow = bothLanes(_mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                                     0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A));
  const __m256i classOfHigh = bothLanes(_mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10,
                                                      0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10));
  // What to add to a character for its value, by its upper half; '/' takes the entry before its own.
  const __m256i offsets = bothLanes(_mm_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0));
  const __m256i pack = bothLanes(_mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1));
  const __m256i slash = _mm256_set1_epi8('/');
  while (d.left >= 32) {
    __m256i text = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(d.in));
    if (form == Base64Form::Canonical) {
      text = _mm256_blendv_epi8(text, _mm256_set1_epi8('+'), _mm256_cmpeq_epi8(text, _mm256_set1_epi8('-')));
      text = _mm256_blendv_epi8(text, slash, _mm256_cmpeq_epi8(text, _mm256_set1_epi8('_')));
    }
    const __m256i nibble = _mm256_set1_epi8(0x0F);
    const __m256i high = _mm256_and_si256(_mm256_srli_epi32(text, 4), nibble);
    const __m256i low = _mm256_and_si256(text, nibble);
    if (!_mm256_testz_si256(_mm256_shuffle_epi8(classOfLow, low), _mm256_shuffle_epi8(classOfHigh, high)))
      return;
    const __m256i entry = _mm256_add_epi8(high, _mm256_cmpeq_epi8(text, slash));
    const __m256i sextets = _mm256_add_epi8(text, _mm256_shuffle_epi8(offsets, entry));
    const __m256i pairs = _mm256_maddubs_epi16(sextets, _mm256_set1_epi32(0x01400140));
    const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
    const __m256i bytes = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(groups, pack),
                                                      _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d.out), _mm256_castsi256_si128(bytes));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(d.out + 16), _mm256_extracti128_si256(bytes, 1));
    d.in += 32;
    d.left -= 32;
    d.out += 24;
  }
}

bool hasAvx2(Base64Path path) {
  static const bool available = __builtin_cpu_supports("avx2") != 0;
  return path != Base64Path::Plain && available;
}

#else

void encodeAvx2(Encoding&, Base64Form) {}
void decodeAvx2(Decoding&, Base64Form) {}
bool hasAvx2(Base64Path) { return false; }

#endif

}  // namespace

void base64Encode(const uint8_t* bytes, size_t length, char* out, Base64Form form, Base64Path path) noexcept {
  Encoding e{bytes, length, out};
  if (length >= 28 && hasAvx2(path)) encodeAvx2(e, form);
  encodePlain(e, form);
  encodeTail(e, form);
}

std::optional<size_t> base64DecodedLength(const char* text, size_t length, Base64Form form) noexcept {
  const auto tail = tailOf(text, length, form);
  if (!tail) return std::nullopt;
  return wholeGroups(length, *tail) / 4 * 3 + (*tail == 0 ? 0 : *tail - 1);
}

std::optional<size_t> base64Decode(const char* text, size_t length, uint8_t* out, Base64Form form,
                                   Base64Path path) noexcept {
  Decoding d{text, length, out};
  const auto tail = tailOf(text, length, form);
  if (!tail) return std::nullopt;
  d.left = wholeGroups(length, *tail);
  if (d.left >= 32 && hasAvx2(path)) decodeAvx2(d, form);
  if (!decodePlain(d, form)) return std::nullopt;
  if (*tail != 0 && !decodeTail(d, *tail, form)) return std::nullopt;
  return static_cast<size_t>(d.out - out);
}

}  // namespace orv::detail
