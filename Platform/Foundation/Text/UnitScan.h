#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "Platform/Foundation/Text/Bytes.h"
#include "Platform/Foundation/Values/Detail/Pool.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"

// Looking for kinds of units in a text, many at a time, and room for a text that is put together from units.
namespace orv::detail {

// Unicode White_Space; all of it lies in the Basic Multilingual Plane.
constexpr bool isWhiteSpace(char16_t unit) noexcept {
  if (unit <= 0x20) return unit == 0x20 || (unit >= 0x09 && unit <= 0x0D);
  if (unit < 0x1680) return unit == 0x85 || unit == 0xA0;
  return unit == 0x1680 || (unit >= 0x2000 && unit <= 0x200A) || unit == 0x2028 || unit == 0x2029 ||
         unit == 0x202F || unit == 0x205F || unit == 0x3000;
}

// The members of White_Space that end a line.
constexpr bool isNewline(char16_t unit) noexcept {
  return (unit >= 0x0A && unit <= 0x0D) || unit == 0x85 || unit == 0x2028 || unit == 0x2029;
}

template <class F>
constexpr std::array<bool, 256> tableOf(F&& isMember) {
  std::array<bool, 256> table{};
  for (char16_t c = 0; c < 256; ++c) table[c] = isMember(c);
  return table;
}

inline constexpr std::array<bool, 256> kWhiteSpace = tableOf(isWhiteSpace);

inline bool isBlankUnit(uint8_t unit) noexcept { return kWhiteSpace[unit]; }
inline bool isBlankUnit(char16_t unit) noexcept {
  return unit < 256 ? kWhiteSpace[unit] : unit >= 0x1680 && isWhiteSpace(unit);
}

// Sixteen bytes of units in one register.
template <class Unit>
struct UnitLanes;
template <>
struct UnitLanes<uint8_t> {
  using Lane = uint8_t;
  using Block __attribute__((vector_size(16))) = uint8_t;
};
template <>
struct UnitLanes<char16_t> {
  using Lane = uint16_t;
  using Block __attribute__((vector_size(16))) = uint16_t;
};

// A set of up to a dozen ASCII characters, and of all units below a limit.
template <char16_t kBelow, char16_t... kMembers>
struct UnitClass {
  template <class Unit>
  static bool contains(Unit unit) noexcept {
    return unit < 256 && kMember[unit];
  }

  // The position of the first member at or after `from`, or the length.
  template <class Unit>
  static size_t find(const Unit* units, size_t from, size_t length) noexcept {
    using Block = typename UnitLanes<Unit>::Block;
    constexpr size_t kLanes = 16 / sizeof(Unit);
    size_t i = from;
    for (; i + kLanes <= length; i += kLanes)
      if (!isZero(members<Unit>(loadWord<Block>(units + i)))) break;
    while (i < length && !contains(units[i])) ++i;
    return i;
  }

 private:
  static constexpr std::array<bool, 256> kMember =
      tableOf([](char16_t unit) { return unit < kBelow || ((unit == kMembers) || ...); });

  template <class Unit>
  static ByteBlock members(typename UnitLanes<Unit>::Block block) noexcept {
    using Block = typename UnitLanes<Unit>::Block;
    using Lane = typename UnitLanes<Unit>::Lane;
    ByteBlock found = {};
    if constexpr (kBelow > 0) found |= (ByteBlock)(block < (Block{} + static_cast<Lane>(kBelow)));
    ((found |= (ByteBlock)(block == (Block{} + static_cast<Lane>(kMembers)))), ...);
    return found;
  }
};

// Room for up to a number of units, of which the first `count` become a string. Short texts are put together on
// the stack, long ones in the memory of the string to come.
template <class Unit>
class UnitRoom {
 public:
  explicit UnitRoom(size_t capacity) : capacity_(capacity) {
    if (capacity * sizeof(Unit) <= sizeof inline_) return;
    block_ = poolAllocate(bytes(capacity));
    units_ = reinterpret_cast<Unit*>(static_cast<char*>(block_) + StringRep::kInlineOffset);
  }
  UnitRoom(const UnitRoom&) = delete;
  UnitRoom& operator=(const UnitRoom&) = delete;
  ~UnitRoom() {
    if (block_) poolFree(block_, bytes(capacity_));
  }

  Unit* units() noexcept { return units_; }

  NSString finish(size_t count) {
    const bool keep = block_ && bytes(count) > kPoolLargest && count >= capacity_ - capacity_ / 4;
    if constexpr (sizeof(Unit) == 1) {
      if (!keep) return StringFactory::narrow(units_, count);
      return handOver(count, asciiPrefix(units_, count) == count ? 0 : HeapObject::NotAscii);
    } else {
      if (!keep || narrowPrefix(units_, count) == count) return StringFactory::fromUnits(units_, count);
      return handOver(count, HeapObject::Wide);
    }
  }

 private:
  static size_t bytes(size_t count) { return StringFactory::bytesFor(count, sizeof(Unit) == 2); }

  NSString handOver(size_t count, uint8_t flags) noexcept {
    return StringFactory::adopt(StringFactory::place(std::exchange(block_, nullptr), count, flags));
  }

  size_t capacity_;
  void* block_ = nullptr;
  alignas(16) char inline_[kPoolLargest];
  Unit* units_ = reinterpret_cast<Unit*>(inline_);
};

}  // namespace orv::detail
