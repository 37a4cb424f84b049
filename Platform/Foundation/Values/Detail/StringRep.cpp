#include "Platform/Foundation/Values/Detail/StringRep.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "Platform/Foundation/Values/Detail/PoolLists.h"

namespace orv::detail {
namespace {

constexpr size_t kSliceBytes = 24 + sizeof(StringRep::SliceRef);

// Odd constants without structure, so that small differences reach every bit of a product.
constexpr uint64_t kSeed = 0x9E3779B97F4A7C15u;
constexpr uint64_t kLeft = 0xD1B54A32D192ED03u;
constexpr uint64_t kRight = 0x8CB92BA72F3D8DD7u;

uint64_t load64(const uint8_t* p) noexcept {
  uint64_t word;
  std::memcpy(&word, p, sizeof word);
  return word;
}

uint64_t load32(const uint8_t* p) noexcept {
  uint32_t word;
  std::memcpy(&word, p, sizeof word);
  return word;
}

// Multiplies to 128 bits and folds the halves together.
uint64_t fold(uint64_t a, uint64_t b) noexcept {
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
}

// Up to 16 bytes as two words that overlap in the middle.
uint64_t hashShort(const uint8_t* p, size_t count, uint64_t state) noexcept {
  if (count >= 8) return fold(load64(p) ^ kLeft, load64(p + count - 8) ^ state);
  if (count >= 4) return fold(load32(p) ^ kLeft, load32(p + count - 4) ^ state);
  if (count == 0) return fold(kLeft, state);
  const uint64_t word = static_cast<uint64_t>(p[0]) | static_cast<uint64_t>(p[count / 2]) << 8 |
                        static_cast<uint64_t>(p[count - 1]) << 16;
  return fold(word ^ kLeft, state);
}

// Takes blocks of 32 bytes off the front, in two streams that the processor can work on at once.
uint64_t hashBlocks(const uint8_t*& p, size_t& left, uint64_t state) noexcept {
  uint64_t second = state ^ kSeed;
  for (; left > 32; left -= 32, p += 32) {
    state = fold(load64(p) ^ kLeft, load64(p + 8) ^ state);
    second = fold(load64(p + 16) ^ kRight, load64(p + 24) ^ second);
  }
  return state ^ second;
}

uint64_t hashBytes(const uint8_t* p, size_t count) noexcept {
  uint64_t state = kSeed ^ (count + 1) * kRight;
  size_t left = count;
  if (left > 32) state = hashBlocks(p, left, state);
  if (left > 16) {
    state = fold(load64(p) ^ kRight, load64(p + 8) ^ state);
    left -= 16;
    p += 16;
  }
  return fold(hashShort(p, left, state) ^ kRight, count ^ kLeft);
}

size_t byteCount(const StringRep* rep) noexcept { return rep->wide() ? rep->length * 2 : rep->length; }

uint32_t computeHash(const StringRep* rep) noexcept {
  const uint64_t hash = hashBytes(static_cast<const uint8_t*>(rep->units()), byteCount(rep));
  const auto folded = static_cast<uint32_t>(hash ^ hash >> 32);
  return folded ? folded : 1;
}

uint8_t flagsOf(const Utf8Shape& shape) {
  if (!shape.narrow) return HeapObject::Wide;
  return shape.ascii ? 0 : HeapObject::NotAscii;
}

// A short text is decoded once, into a buffer, instead of being measured first.
constexpr size_t kShortUtf8 = 256;

// Not all of the bytes are ASCII.
StringRep* makeFromShort(std::string_view bytes, IllFormed policy) {
  char16_t units[kShortUtf8];
  const Utf8Units decoded = decodeUtf8(bytes, policy, units);
  if (!decoded.valid) return nullptr;
  const bool wide = decoded.seen > 0xFF;
  StringRep* rep = StringFactory::allocate(decoded.count, wide, wide ? 0 : HeapObject::NotAscii);
  if (wide)
    copyBytes(rep->inlineUnits(), units, decoded.count * 2);
  else
    std::transform(units, units + decoded.count, static_cast<uint8_t*>(rep->inlineUnits()),
                   [](char16_t unit) { return static_cast<uint8_t>(unit); });
  return rep;
}

// A long one is measured, so that it is decoded where it will stay.
StringRep* makeFromLong(std::string_view bytes, IllFormed policy) {
  const Utf8Shape shape = measureUtf8(bytes, policy);
  if (!shape.valid) return nullptr;
  StringRep* rep = StringFactory::allocate(shape.units, !shape.narrow, flagsOf(shape));
  if (shape.narrow)
    decodeUtf8(bytes, static_cast<uint8_t*>(rep->inlineUnits()));
  else
    decodeUtf8(bytes, policy, static_cast<char16_t*>(rep->inlineUnits()));
  return rep;
}

}  // namespace

void destroySlice(StringRep* rep) noexcept {
  StringRep* owner = rep->slice()->owner;
  poolFreeInline(rep, kSliceBytes);
  release(owner);
}

size_t hashOfString(const StringRep* rep) noexcept {
  uint32_t hash = rep->cachedHash.load(std::memory_order_relaxed);
  if (hash == 0) {
    hash = computeHash(rep);
    const_cast<StringRep*>(rep)->cachedHash.store(hash, std::memory_order_relaxed);
  }
  return hash;
}

StringRep* StringFactory::allocate(size_t length, bool wide, uint8_t flags) {
  if (length > SIZE_MAX / 4) throw std::bad_alloc();
  return place(poolAllocateInline(bytesFor(length, wide)), length,
               static_cast<uint8_t>(wide ? flags | HeapObject::Wide : flags));
}

StringRep* StringFactory::place(void* block, size_t length, uint8_t flags) noexcept {
  // The units may begin in the padding behind the header: constructing writes the fields alone.
  auto* rep = ::new (block) StringRep(Kind::String, flags);
  rep->length = length;
  return rep;
}

StringRep* StringFactory::makeEmpty() {
  static StringRep* const shared = allocate(0, false);  // its first reference is never given back
  retain(shared);
  return shared;
}

NSString StringFactory::empty() { return adopt(makeEmpty()); }

StringRep* StringFactory::makeAscii(const void* units, size_t length) {
  if (length == 0) return makeEmpty();
  StringRep* rep = allocate(length, false);
  copyBytes(rep->inlineUnits(), units, length);
  return rep;
}

NSString StringFactory::ascii(const void* units, size_t length) { return adopt(makeAscii(units, length)); }

NSString StringFactory::narrow(const uint8_t* units, size_t length) {
  if (length == 0) return empty();
  const uint8_t flags = asciiPrefix(units, length) == length ? 0 : HeapObject::NotAscii;
  StringRep* rep = allocate(length, false, flags);
  copyBytes(rep->inlineUnits(), units, length);
  return adopt(rep);
}

NSString StringFactory::fromUnits(const char16_t* units, size_t length) {
  if (length == 0) return empty();
  const bool wide = narrowPrefix(units, length) < length;
  StringRep* rep = allocate(length, wide);
  if (wide) {
    copyBytes(rep->inlineUnits(), units, length * 2);
    return adopt(rep);
  }
  auto* out = static_cast<uint8_t*>(rep->inlineUnits());
  unsigned seen = 0;
  for (size_t i = 0; i < length; ++i) {
    seen |= units[i];
    out[i] = static_cast<uint8_t>(units[i]);
  }
  if (seen > 0x7F) rep->flags = HeapObject::NotAscii;
  return adopt(rep);
}

StringRep* StringFactory::make(std::string_view bytes, IllFormed policy) {
  if (isAscii(bytes)) return makeAscii(bytes.data(), bytes.size());
  return bytes.size() <= kShortUtf8 ? makeFromShort(bytes, policy) : makeFromLong(bytes, policy);
}

NSString StringFactory::part(const NSString& text, size_t location, size_t length) {
  StringRep* rep = stringRep(text);
  if (length == 0) return empty();
  if (length == rep->length) return text;
  StringRep* owner = rep->has(HeapObject::Slice) ? rep->slice()->owner : rep;
  const bool sharing = length >= kSmallestSlice && length >= owner->length / 4;
  if (!rep->wide()) {
    const uint8_t* units = static_cast<const uint8_t*>(rep->units()) + location;
    if (sharing) return share(owner, units, length, rep->flags & HeapObject::NotAscii);
    return rep->ascii() ? ascii(units, length) : narrow(units, length);
  }
  const char16_t* units = static_cast<const char16_t*>(rep->units()) + location;
  if (sharing && narrowPrefix(units, length) < length) return share(owner, units, length, HeapObject::Wide);
  return fromUnits(units, length);
}

NSString StringFactory::share(StringRep* parent, const void* units, size_t length, uint8_t flags) {
  StringRep* rep =
      place(poolAllocateInline(kSliceBytes), length, static_cast<uint8_t>(flags | HeapObject::Slice));
  retain(parent);
  ::new (rep->slice()) StringRep::SliceRef{parent, units};
  return adopt(rep);
}

}  // namespace orv::detail
