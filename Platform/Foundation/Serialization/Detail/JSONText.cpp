#include "Platform/Foundation/Serialization/Detail/JSONText.h"

#include <algorithm>
#include <cstdint>

#include "Platform/Foundation/Text/Unicode.h"

namespace orv::detail {
namespace {

struct Encoding {
  size_t width;
  bool bigEndian;
  size_t mark;
};

uint8_t byteAt(std::string_view bytes, size_t i) noexcept { return static_cast<uint8_t>(bytes[i]); }

bool markedEncoding(std::string_view b, Encoding& found) noexcept {
  const auto starts = [b](std::string_view mark) { return b.substr(0, mark.size()) == mark; };
  if (starts("\xEF\xBB\xBF")) return found = {1, false, 3}, true;
  if (starts(std::string_view("\x00\x00\xFE\xFF", 4))) return found = {4, true, 4}, true;
  if (starts(std::string_view("\xFF\xFE\x00\x00", 4))) return found = {4, false, 4}, true;
  if (starts("\xFE\xFF")) return found = {2, true, 2}, true;
  if (starts("\xFF\xFE")) return found = {2, false, 2}, true;
  return false;
}

// JSON begins with an ASCII character, so that zero bytes tell the width and the order.
Encoding encodingOf(std::string_view b) noexcept {
  Encoding marked{};
  if (markedEncoding(b, marked)) return marked;
  if (b.size() >= 4 && b[0] == 0 && b[1] == 0 && b[2] == 0) return {4, true, 0};
  if (b.size() >= 4 && b[1] == 0 && b[2] == 0 && b[3] == 0) return {4, false, 0};
  if (b.size() >= 2 && b[0] == 0) return {2, true, 0};
  if (b.size() >= 2 && b[1] == 0) return {2, false, 0};
  return {1, false, 0};
}

char32_t unitAt(std::string_view bytes, size_t at, const Encoding& e) noexcept {
  char32_t unit = 0;
  for (size_t i = 0; i < e.width; ++i)
    unit = unit << 8 | byteAt(bytes, at + (e.bigEndian ? i : e.width - 1 - i));
  return unit;
}

void appendUtf8(std::string& out, char32_t c) {
  char bytes[4];
  out.append(bytes, encodeUtf8(c, bytes));
}

// False for a lone surrogate and for what is no code point.
bool decodeUnits(std::string_view bytes, const Encoding& e, std::string& out) {
  if (bytes.size() % e.width != 0) return false;
  for (size_t at = 0; at < bytes.size(); at += e.width) {
    char32_t c = unitAt(bytes, at, e);
    if (e.width == 2 && isHighSurrogate(c) && at + 4 <= bytes.size()) {
      const char32_t low = unitAt(bytes, at + 2, e);
      if (isLowSurrogate(low)) c = combineSurrogates(c, low), at += 2;
    }
    if (isSurrogate(c) || c > 0x10FFFF) return false;
    appendUtf8(out, c);
  }
  return true;
}

bool startsCharacter(char c) noexcept { return (static_cast<uint8_t>(c) & 0xC0) != 0x80; }

}  // namespace

JSONText::JSONText(std::string_view bytes) {
  const Encoding e = encodingOf(bytes);
  mark_ = e.mark;
  width_ = e.width;
  view_ = bytes.substr(e.mark);
  if (e.width == 1) return;
  valid_ = decodeUnits(view_, e, decoded_);
  view_ = decoded_;
}

size_t JSONText::originalOffset(size_t offset) const noexcept {
  if (width_ == 1) return mark_ + offset;
  size_t units = 0;
  for (size_t i = 0; i < std::min(offset, view_.size()); ++i) {
    const auto byte = static_cast<uint8_t>(view_[i]);
    if (startsCharacter(view_[i])) units += width_ == 2 && byte >= 0xF0 ? 2 : 1;
  }
  return mark_ + units * width_;
}

TextPlace placeInText(std::string_view utf8, size_t offset) noexcept {
  const std::string_view before = utf8.substr(0, offset);
  const size_t lineStart = before.rfind('\n') + 1;  // npos + 1 is 0
  TextPlace place;
  place.line += static_cast<size_t>(std::count(before.begin(), before.end(), '\n'));
  place.column += static_cast<size_t>(
      std::count_if(before.begin() + static_cast<std::ptrdiff_t>(lineStart), before.end(), startsCharacter));
  return place;
}

}  // namespace orv::detail
