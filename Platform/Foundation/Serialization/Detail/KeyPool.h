#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "Platform/Foundation/Text/Bytes.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"

namespace orv::detail {

// The keys of one document: equal ones share a string, as long as not too many different ones come in between.
// For one thread.
class KeyPool {
 public:
  // The string of some ASCII bytes.
  NSString keyFor(const uint8_t* bytes, size_t length) {
    NSString& slot = slots_[hashOf(bytes, length) % slots_.size()];
    const StringRep* known = stringRep(slot);
    if (known && known->length == length && equalBytes(known->units(), bytes, length)) return slot;
    slot = StringFactory::ascii(bytes, length);
    return slot;
  }

 private:
  // First and last bytes and the length; the full hash is for those that are kept.
  static size_t hashOf(const uint8_t* bytes, size_t length) noexcept {
    uint64_t word = length;
    if (length >= 8)
      word ^= loadWord<uint64_t>(bytes) ^ (loadWord<uint64_t>(bytes + length - 8) << 1);
    else if (length >= 4)
      word ^= loadWord<uint32_t>(bytes) | uint64_t{loadWord<uint32_t>(bytes + length - 4)} << 32;
    else if (length > 0)
      word ^= uint64_t{bytes[0]} << 8 | uint64_t{bytes[length / 2]} << 16 | uint64_t{bytes[length - 1]} << 24;
    return static_cast<size_t>(word * 0x9E3779B97F4A7C15u >> 48);
  }

  std::array<NSString, 128> slots_;
};

}  // namespace orv::detail
