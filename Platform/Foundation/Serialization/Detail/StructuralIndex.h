#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace orv::detail {

// Where the tokens of a JSON text begin: at each bracket, colon and comma, and at the first byte of each
// string, number and word outside of strings. Found by simdjson, many bytes at a time; everything else about
// the grammar is for the reader to judge.
//
// Keeps its memory from one text to the next, up to a limit. For one thread at a time.
//
//   StructuralIndex index;
//   if (index.scan(text)) for (size_t i = 0; i < index.count(); ++i) handle(text[index.at(i)]);
class StructuralIndex {
 public:
  // simdjson counts positions in 32 bits.
  static constexpr size_t kLongestText = UINT32_MAX - 64;

  StructuralIndex();
  ~StructuralIndex();

  // False when the text is not UTF-8, a string in it has no end or holds an unescaped control character, or the
  // text is longer than kLongestText. A text without any token has none.
  bool scan(std::string_view text);
  // The same byte by byte and without simdjson, whose own parts may be gone while the process ends.
  bool scanPlainly(std::string_view text);

  size_t count() const noexcept { return count_; }
  // For `i` below the count; at the count itself the length of the text.
  uint32_t at(size_t i) const noexcept { return positions_[i]; }
  const uint32_t* positions() const noexcept { return positions_; }

 private:
  struct Scanner;
  // Reads on behind an opening quote; the place of the closing one, or npos.
  static size_t endOfString(std::string_view text, size_t at) noexcept;

  std::unique_ptr<Scanner> scanner_;
  std::vector<uint32_t> plain_;
  const uint32_t* positions_ = nullptr;
  size_t count_ = 0;
};

}  // namespace orv::detail
