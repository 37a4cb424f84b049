#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "Platform/Foundation/Export.h"

// Message digests over raw bytes.
namespace orv::detail {

enum class DigestAlgorithm : uint8_t { MD5, SHA1, SHA256 };

constexpr size_t digestLength(DigestAlgorithm algorithm) {
  switch (algorithm) {
    case DigestAlgorithm::MD5: return 16;
    case DigestAlgorithm::SHA1: return 20;
    case DigestAlgorithm::SHA256: return 32;
  }
  return 0;
}

// A finished digest. Empty when the machine's policy forbids the algorithm.
struct ORV_EXPORT DigestBytes {
  static constexpr size_t kLongest = 32;

  std::array<uint8_t, kLongest> bytes{};
  size_t length = 0;

  std::string_view view() const { return {reinterpret_cast<const char*>(bytes.data()), length}; }
  // Writes 2 * length lower-case hexadecimal digits.
  void writeHex(char* out) const noexcept;
};

// The digest of bytes that lie together.
ORV_EXPORT DigestBytes digestOf(DigestAlgorithm algorithm, const void* bytes, size_t length) noexcept;

// A digest of bytes that come piece by piece. One thread at a time.
//
//   Digest digest(DigestAlgorithm::SHA256);
//   while (readChunk(chunk)) digest.update(chunk.data(), chunk.size());
//   const DigestBytes result = digest.finish();
class ORV_EXPORT Digest {
 public:
  explicit Digest(DigestAlgorithm algorithm);
  Digest(const Digest&) = delete;
  Digest& operator=(const Digest&) = delete;
  ~Digest();

  void update(const void* bytes, size_t length) noexcept;
  // Ends the digest and answers it; the object then begins anew.
  DigestBytes finish() noexcept;

 private:
  void begin() noexcept;

  struct Context;
  std::unique_ptr<Context> context_;
};

}  // namespace orv::detail
