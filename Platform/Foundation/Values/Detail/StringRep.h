#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "Platform/Foundation/Text/Bytes.h"
#include "Platform/Foundation/Text/Unicode.h"
#include "Platform/Foundation/Values/NSString.h"

// How strings lie in memory, and the means by which the library's own units read and build them.
namespace orv::detail {

// A string on the heap. Units are 8-bit (Latin-1) when all of them are below 0x100, else 16-bit; the form
// is canonical, so strings of different width are never equal. The units follow the header, or lie in
// another string when the Slice flag is set.
struct StringRep : HeapObject {
  uint64_t length = 0;
  std::atomic<uint32_t> cachedHash{0};  // 0: not computed yet

  static constexpr size_t kInlineOffset = 20;

  struct SliceRef {
    StringRep* owner;
    const void* units;
  };

  const void* units() const noexcept {
    return has(Slice) ? slice()->units : reinterpret_cast<const char*>(this) + kInlineOffset;
  }
  void* inlineUnits() noexcept { return reinterpret_cast<char*>(this) + kInlineOffset; }
  const SliceRef* slice() const noexcept {
    return reinterpret_cast<const SliceRef*>(reinterpret_cast<const char*>(this) + 24);
  }
  SliceRef* slice() noexcept { return reinterpret_cast<SliceRef*>(reinterpret_cast<char*>(this) + 24); }
  bool wide() const noexcept { return has(Wide); }
  bool ascii() const noexcept { return (flags & (Wide | NotAscii)) == 0; }

 private:
  using HeapObject::HeapObject;
  friend struct StringFactory;
};

// Ends a string whose units lie in another one.
void destroySlice(StringRep* rep) noexcept;

// A hash of the units, cached in the string: below 2^32, never 0, the same in every run.
ORV_EXPORT size_t hashOfString(const StringRep* rep) noexcept;
// Where hashes are known, they tell long strings apart; short ones are compared faster than looked up.
inline bool hashesDiffer(const StringRep* a, const StringRep* b) noexcept {
  const uint32_t hashA = a->cachedHash.load(std::memory_order_relaxed);
  const uint32_t hashB = b->cachedHash.load(std::memory_order_relaxed);
  return hashA != hashB && hashA != 0 && hashB != 0;
}

inline bool equalStrings(const StringRep* a, const StringRep* b) noexcept {
  if (a->length != b->length || ((a->flags ^ b->flags) & HeapObject::Wide)) return false;
  const size_t bytes = a->length << static_cast<int>(a->wide());
  if (bytes > kShortBytes && (a == b || hashesDiffer(a, b))) return a == b;
  return equalBytes(a->units(), b->units(), bytes);
}

// Where strings come from. Whoever fills a fresh string keeps the canonical form: wide only when some
// unit is 0x100 or more, NotAscii on every narrow string that may hold a unit above 0x7F.
struct ORV_EXPORT StringFactory {
  // Slices shorter than this, or than a quarter of the text they lie in, are copied: a small part never
  // keeps a large text alive.
  static constexpr size_t kSmallestSlice = 64;

  static constexpr size_t bytesFor(size_t length, bool wide) {
    return StringRep::kInlineOffset + (wide ? length * 2 : length);
  }
  // A string with room for its units, which are not set. Throws std::bad_alloc when there is none.
  static StringRep* allocate(size_t length, bool wide, uint8_t flags = 0);
  // Writes a string's header into a block of at least bytesFor(length, wide) bytes from the pool. A block
  // of more than kPoolLargest bytes may have room to spare.
  static StringRep* place(void* block, size_t length, uint8_t flags) noexcept;
  // The one empty string.
  static NSString empty();
  static NSString adopt(StringRep* rep) noexcept { return Access::cast<NSString>(Access::adopt(rep)); }

  static NSString ascii(const void* units, size_t length);
  static NSString narrow(const uint8_t* units, size_t length);
  // Answers the narrow form when all units allow it.
  static NSString fromUnits(const char16_t* units, size_t length);
  static NSString fromUtf8(std::string_view bytes, IllFormed policy) { return adopt(make(bytes, policy)); }
  // The same as a reference that is the caller's, null for nil: it comes back in a register, where a handle
  // would be put together in memory and read back at once.
  static StringRep* make(std::string_view bytes, IllFormed policy);
  static StringRep* makeAscii(const void* units, size_t length);
  // Part of a string; the caller has checked the range.
  static NSString part(const NSString& text, size_t location, size_t length);

 private:
  static StringRep* makeEmpty();
  static NSString share(StringRep* parent, const void* units, size_t length, uint8_t flags);
};

// The units of a string, whatever their width. Valid while the string lives; a nil string has none.
struct Units {
  const void* data = nullptr;
  size_t length = 0;
  bool wide = false;

  char16_t operator[](size_t i) const noexcept {
    return wide ? static_cast<const char16_t*>(data)[i] : static_cast<const uint8_t*>(data)[i];
  }
  const uint8_t* narrow() const noexcept { return static_cast<const uint8_t*>(data); }
  const char16_t* wideData() const noexcept { return static_cast<const char16_t*>(data); }
};

inline StringRep* stringRep(const Value& v) noexcept { return static_cast<StringRep*>(Access::heap(v)); }

inline Units unitsOf(const NSString& s) noexcept {
  const StringRep* rep = stringRep(s);
  return rep ? Units{rep->units(), rep->length, rep->wide()} : Units{};
}

// Raises NSRangeException when the range does not lie within the text.
void requireRange(const NSString& text, NSRange range);

// Calls f with a pointer to the units in their own width and their number.
template <class F>
decltype(auto) withUnits(const Units& u, F&& f) {
  return u.wide ? f(u.wideData(), u.length) : f(u.narrow(), u.length);
}

}  // namespace orv::detail
