#include "Platform/Foundation/Text/Bytes.h"

#include <algorithm>
#include <numeric>
#include <vector>

#include "Platform/Foundation/Text/Unicode.h"

using namespace orv::detail;

namespace {

// One more than every way takes: words, blocks, and what goes to the C library.
constexpr size_t kMost = 2 * kShortBytes + 5;

// Bytes of their own allocation, so that the address sanitizer sees every step beyond them.
std::vector<uint8_t> bytesOf(size_t count) {
  std::vector<uint8_t> bytes(count);
  std::iota(bytes.begin(), bytes.end(), uint8_t{1});
  for (uint8_t& byte : bytes) byte &= 0x7F;
  bytes.shrink_to_fit();
  return bytes;
}

}  // namespace

TEST(Bytes, CopyMovesEveryByteAndNoOther) {
  for (size_t count = 0; count < kMost; ++count) {
    const std::vector<uint8_t> from = bytesOf(count);
    std::vector<uint8_t> to(count + 2, 0xEE);
    copyBytes(to.data() + 1, from.data(), count);
    EXPECT_EQ(to.front(), 0xEE);
    EXPECT_EQ(to.back(), 0xEE);
    ASSERT_TRUE(std::equal(from.begin(), from.end(), to.begin() + 1)) << count;
  }
}

TEST(Bytes, EqualSeesEveryByte) {
  for (size_t count = 0; count < kMost; ++count) {
    const std::vector<uint8_t> a = bytesOf(count);
    std::vector<uint8_t> b = a;
    ASSERT_TRUE(equalBytes(a.data(), b.data(), count)) << count;
    for (size_t i = 0; i < count; ++i)
      for (const uint8_t bit : {uint8_t{0x01}, uint8_t{0x80}}) {
        b[i] ^= bit;
        ASSERT_FALSE(equalBytes(a.data(), b.data(), count)) << i << " of " << count;
        b[i] ^= bit;
      }
  }
}

TEST(Bytes, OneByteAbove7FIsNotAscii) {
  for (size_t count = 0; count < kMost; ++count) {
    std::vector<uint8_t> bytes = bytesOf(count);
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), count);
    ASSERT_TRUE(isAscii(text)) << count;
    for (size_t i = 0; i < count; ++i) {
      bytes[i] |= 0x80;
      ASSERT_FALSE(isAscii(text)) << i << " of " << count;
      bytes[i] &= 0x7F;
    }
  }
}
