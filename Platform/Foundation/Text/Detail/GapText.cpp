#include "Platform/Foundation/Text/Detail/GapText.h"

#include <unicode/utf16.h>

#include <algorithm>
#include <cstring>

namespace orv::detail {
namespace {

constexpr size_t kRoom = 64;

void moveUnits(char16_t* to, const char16_t* from, size_t count) noexcept {
  std::memmove(to, from, count * sizeof(char16_t));
}

}  // namespace

GapText::GapText(const Units& units)
    : room_(units.length + 2 * kRoom), gapBegin_(0), gapEnd_(kRoom), end_(kRoom + units.length) {
  withUnits(units, [&](auto* from, size_t length) { std::copy_n(from, length, room_.data() + kRoom); });
}

icu::UnicodeString GapText::text() const {
  icu::UnicodeString all;
  extractBetween(0, getLength(), all);
  return all;
}

void GapText::handleReplaceBetween(int32_t start, int32_t limit, const icu::UnicodeString& text) {
  const auto begin = static_cast<size_t>(start), end = static_cast<size_t>(limit);
  const char16_t* units = text.getBuffer();
  const auto count = static_cast<size_t>(text.length());
  if (end == size() && begin >= gapBegin_) return replaceAtEnd(begin, units, count);
  moveGap(end);
  gapBegin_ = begin;
  if (count > gapEnd_ - gapBegin_) makeRoom(count);
  moveUnits(room_.data() + gapBegin_, units, count);
  gapBegin_ += count;
}

void GapText::extractBetween(int32_t start, int32_t limit, icu::UnicodeString& target) const {
  const auto begin = static_cast<size_t>(start), end = static_cast<size_t>(limit);
  target.remove();
  const size_t middle = std::clamp(gapBegin_, begin, end);
  target.append(room_.data() + begin, static_cast<int32_t>(middle - begin));
  target.append(room_.data() + middle + (gapEnd_ - gapBegin_), static_cast<int32_t>(end - middle));
}

void GapText::copy(int32_t start, int32_t limit, int32_t dest) {
  icu::UnicodeString part;
  extractBetween(start, limit, part);
  handleReplaceBetween(dest, dest, part);
}

char16_t GapText::getCharAt(int32_t offset) const {
  const auto index = static_cast<size_t>(offset);
  return offset >= 0 && index < size() ? unitAt(index) : char16_t{0xFFFF};
}

// As a UnicodeString answers: the whole code point for either of its halves.
UChar32 GapText::getChar32At(int32_t offset) const {
  const char16_t unit = getCharAt(offset);
  if (U16_IS_LEAD(unit) && offset + 1 < getLength()) {
    const char16_t next = getCharAt(offset + 1);
    if (U16_IS_TRAIL(next)) return U16_GET_SUPPLEMENTARY(unit, next);
  }
  if (U16_IS_TRAIL(unit) && offset > 0) {
    const char16_t before = getCharAt(offset - 1);
    if (U16_IS_LEAD(before)) return U16_GET_SUPPLEMENTARY(before, unit);
  }
  return unit;
}

void GapText::moveGap(size_t to) {
  char16_t* room = room_.data();
  const size_t width = gapEnd_ - gapBegin_;
  if (to < gapBegin_)
    moveUnits(room + to + width, room + to, gapBegin_ - to);
  else
    moveUnits(room + gapBegin_, room + gapEnd_, to - gapBegin_);
  gapBegin_ = to;
  gapEnd_ = to + width;
}

// Widens the gap to hold that many units and some more.
void GapText::makeRoom(size_t count) {
  const size_t more = count + size() / 2 + kRoom;
  room_.resize(room_.size() + more);
  moveUnits(room_.data() + gapEnd_ + more, room_.data() + gapEnd_, end_ - gapEnd_);
  gapEnd_ += more;
  end_ += more;
}

// The start lies behind the gap or at it.
void GapText::replaceAtEnd(size_t start, const char16_t* units, size_t count) {
  end_ = start + (gapEnd_ - gapBegin_);
  if (end_ + count > room_.size()) room_.resize(end_ + count + end_ / 2 + kRoom);
  moveUnits(room_.data() + end_, units, count);
  end_ += count;
}

}  // namespace orv::detail
