#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Platform/Foundation/Values/Detail/StringRep.h"

namespace orv::detail {

// Puts a string together piece by piece. It takes one byte a unit until the first unit above 0xFF
// arrives. Short texts are gathered in the builder itself; longer ones in the memory of the string
// to come, which `finish` hands over as it is.
//
// For one thread at a time; it cannot be copied.
//
//   StringBuilder line;
//   line.appendAscii("[");
//   line.append(name);                 // an NSString; nil is appended as nothing
//   line.appendUnit(u']');
//   NSString text = line.finish();     // the builder is empty again
class ORV_EXPORT StringBuilder {
 public:
  StringBuilder() noexcept = default;
  // With room for that many units, as long as they are narrow.
  explicit StringBuilder(size_t units) { reserve(units); }
  StringBuilder(const StringBuilder&) = delete;
  StringBuilder& operator=(const StringBuilder&) = delete;
  ~StringBuilder() { discard(); }

  size_t length() const noexcept { return length_; }
  // The text so far, valid until the builder is touched again.
  Units units() const noexcept { return {units_, length_, wide_}; }
  bool wide() const noexcept { return wide_; }

  // Makes room for units to come, in the present width.
  void reserve(size_t units) {
    if (units > capacity_ - length_) grow(units);
  }

  void append(const NSString& text) { append(unitsOf(text)); }
  void append(const Units& units) {
    units.wide ? appendWide(units.wideData(), units.length) : appendNarrow(units.narrow(), units.length);
  }
  // UTF-8; malformed parts become U+FFFD.
  void append(std::string_view utf8);
  void append(const char* utf8) { append(std::string_view(utf8)); }
  // Bytes the caller knows to be below 0x80.
  void appendAscii(std::string_view text);
  // Latin-1.
  void appendNarrow(const uint8_t* units, size_t count);
  void appendWide(const char16_t* units, size_t count);
  void appendRepeated(char16_t unit, size_t count);
  // Values above U+10FFFF become U+FFFD.
  void appendCodePoint(char32_t codePoint);

  void appendUnit(char16_t unit) {
    if (!wide_ && unit < 0x100 && length_ < capacity_) {
      narrow()[length_++] = static_cast<uint8_t>(unit);
      seen_ |= static_cast<uint8_t>(unit);
    } else {
      appendUnitSlowly(unit);
    }
  }

  // The text so far. Drops it from the builder.
  NSString finish();
  void discard() noexcept;

 private:
  static constexpr size_t kInlineBytes = 256;

  uint8_t* narrow() noexcept { return static_cast<uint8_t*>(units_); }
  char16_t* wideUnits() noexcept { return static_cast<char16_t*>(units_); }

  void appendUnitSlowly(char16_t unit);
  void grow(size_t units);
  void widen(size_t units);
  void moveTo(size_t capacity, bool wide);
  bool worthKeeping() const noexcept;
  void reset() noexcept;

  void* units_ = inline_;
  size_t length_ = 0;
  size_t capacity_ = kInlineBytes;  // in units of the present width
  void* block_ = nullptr;           // a string-to-be from the pool, once the text has outgrown the builder
  bool wide_ = false;
  uint8_t seen_ = 0;  // all narrow units or-ed together
  alignas(16) uint8_t inline_[kInlineBytes];
};

}  // namespace orv::detail
