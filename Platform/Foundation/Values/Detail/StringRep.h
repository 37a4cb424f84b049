#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

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

void destroyString(StringRep* rep) noexcept;
size_t hashOfString(const StringRep* rep) noexcept;
bool equalStrings(const StringRep* a, const StringRep* b) noexcept;

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

// Calls f with a pointer to the units in their own width and their number.
template <class F>
decltype(auto) withUnits(const Units& u, F&& f) {
  return u.wide ? f(u.wideData(), u.length) : f(u.narrow(), u.length);
}

}  // namespace orv::detail
