#include "Platform/Foundation/Text/StringBuilder.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "Platform/Foundation/Values/Detail/Pool.h"

namespace orv::detail {
namespace {

// The first block is larger than the pool's largest class, so that its exact size is of no matter when
// the string is freed.
constexpr size_t kFirstBlock = 2 * kPoolLargest;
// From this size on memory that was never touched costs nothing worth a copy.
constexpr size_t kLargeBlock = 128 * 1024;

size_t bytesOf(size_t capacity, bool wide) {
  return std::max(kFirstBlock, StringFactory::bytesFor(capacity, wide));
}

size_t unitsIn(size_t bytes, bool wide) { return (bytes - StringRep::kInlineOffset) / (wide ? 2 : 1); }

}  // namespace

void StringBuilder::append(std::string_view utf8) {
  const size_t plain = asciiPrefix(reinterpret_cast<const uint8_t*>(utf8.data()), utf8.size());
  appendAscii(utf8.substr(0, plain));
  if (plain < utf8.size()) append(StringFactory::fromUtf8(utf8.substr(plain), IllFormed::Replace));
}

void StringBuilder::appendAscii(std::string_view text) {
  if (text.empty()) return;
  reserve(text.size());
  if (wide_)
    std::copy(text.begin(), text.end(), wideUnits() + length_);
  else
    std::memcpy(narrow() + length_, text.data(), text.size());
  length_ += text.size();
}

void StringBuilder::appendNarrow(const uint8_t* units, size_t count) {
  if (count == 0) return;
  reserve(count);
  if (wide_) {
    std::copy(units, units + count, wideUnits() + length_);
  } else {
    std::memcpy(narrow() + length_, units, count);
    if (seen_ < 0x80 && asciiPrefix(units, count) < count) seen_ |= 0x80;
  }
  length_ += count;
}

void StringBuilder::appendWide(const char16_t* units, size_t count) {
  if (count == 0) return;
  if (!wide_) {
    const size_t plain = narrowPrefix(units, count);
    if (plain == count) {
      reserve(count);
      for (size_t i = 0; i < count; ++i) appendUnit(units[i]);
      return;
    }
    widen(count);
  }
  reserve(count);
  std::memcpy(wideUnits() + length_, units, count * 2);
  length_ += count;
}

void StringBuilder::appendRepeated(char16_t unit, size_t count) {
  if (!wide_ && unit > 0xFF && count > 0) widen(count);
  reserve(count);
  if (wide_) {
    std::fill_n(wideUnits() + length_, count, unit);
  } else {
    std::fill_n(narrow() + length_, count, static_cast<uint8_t>(unit));
    seen_ |= static_cast<uint8_t>(count ? unit : 0);
  }
  length_ += count;
}

void StringBuilder::appendCodePoint(char32_t codePoint) {
  if (codePoint > 0x10FFFF) codePoint = 0xFFFD;
  if (codePoint < 0x10000) {
    appendUnit(static_cast<char16_t>(codePoint));
  } else {
    appendUnit(highSurrogateOf(codePoint));
    appendUnit(lowSurrogateOf(codePoint));
  }
}

void StringBuilder::appendUnitSlowly(char16_t unit) {
  if (!wide_ && unit > 0xFF) widen(1);
  reserve(1);
  if (!wide_) return appendUnit(unit);
  wideUnits()[length_++] = unit;
}

NSString StringBuilder::finish() {
  if (length_ == 0) {
    discard();
    return StringFactory::empty();
  }
  const uint8_t flags = wide_ ? HeapObject::Wide : seen_ > 0x7F ? HeapObject::NotAscii : 0;
  if (worthKeeping()) {
    StringRep* rep = StringFactory::place(block_, length_, flags);
    reset();
    return StringFactory::adopt(rep);
  }
  StringRep* rep = StringFactory::allocate(length_, wide_, flags);
  std::memcpy(rep->inlineUnits(), units_, wide_ ? length_ * 2 : length_);
  discard();
  return StringFactory::adopt(rep);
}

void StringBuilder::discard() noexcept {
  if (block_) poolFree(block_, bytesOf(capacity_, wide_));
  reset();
}

// Doubles, so that appending unit by unit stays linear.
void StringBuilder::grow(size_t units) {
  if (units > SIZE_MAX / 8) throw std::bad_alloc();
  moveTo(std::max(length_ + units, 2 * capacity_), wide_);
}

// Switches to 16-bit units, with room for more to come.
void StringBuilder::widen(size_t units) {
  if (!block_ && length_ + units <= kInlineBytes / 2) {
    char16_t copy[kInlineBytes / 2];
    std::copy_n(inline_, length_, copy);
    std::memcpy(inline_, copy, length_ * 2);
    capacity_ = kInlineBytes / 2;
    wide_ = true;
  } else {
    moveTo(std::max(length_ + units, capacity_), true);
  }
}

void StringBuilder::moveTo(size_t capacity, bool wide) {
  const size_t bytes = bytesOf(capacity, wide);
  void* block = poolAllocate(bytes);
  void* units = static_cast<char*>(block) + StringRep::kInlineOffset;
  if (wide && !wide_)
    std::copy_n(narrow(), length_, static_cast<char16_t*>(units));
  else
    std::memcpy(units, units_, wide_ ? length_ * 2 : length_);
  if (block_) poolFree(block_, bytesOf(capacity_, wide_));
  block_ = block;
  units_ = units;
  capacity_ = unitsIn(bytes, wide);
  wide_ = wide;
}

// A block becomes the string when it is large enough to be freed by any size and not mostly empty.
bool StringBuilder::worthKeeping() const noexcept {
  if (!block_) return false;
  const size_t used = StringFactory::bytesFor(length_, wide_);
  const size_t held = bytesOf(capacity_, wide_);
  return used > kPoolLargest && (held >= kLargeBlock || used >= held / 4 * 3);
}

void StringBuilder::reset() noexcept {
  block_ = nullptr;
  units_ = inline_;
  length_ = 0;
  capacity_ = kInlineBytes;
  wide_ = false;
  seen_ = 0;
}

}  // namespace orv::detail
