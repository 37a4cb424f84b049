#include "Platform/Foundation/Text/UnitSearch.h"

#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <vector>

#include "Platform/Foundation/Text/Unicode.h"

namespace orv::detail {
namespace {

// Not 0 when one of the four units in a word is the wanted one, given four times in the pattern.
uint64_t hasUnit(const char16_t* units, uint64_t pattern) noexcept {
  uint64_t word;
  std::memcpy(&word, units, sizeof word);
  word ^= pattern;
  return (word - 0x0001000100010001u) & ~word & 0x8000800080008000u;
}

// The first position of a unit in a run, or its length. Eight units at a time.
size_t findUnit(const char16_t* units, size_t count, char16_t unit) noexcept {
  const uint64_t pattern = unit * 0x0001000100010001u;
  size_t i = 0;
  while (i + 8 <= count && !(hasUnit(units + i, pattern) | hasUnit(units + i + 4, pattern))) i += 8;
  while (i < count && units[i] != unit) ++i;
  return i;
}

template <class It>
size_t findUnit(It units, size_t count, typename std::iterator_traits<It>::value_type unit) noexcept {
  return static_cast<size_t>(std::find(units, units + static_cast<std::ptrdiff_t>(count), unit) - units);
}

template <class It>
auto at(It it, size_t i) noexcept {
  return it[static_cast<std::ptrdiff_t>(i)];
}

// For each prefix of the needle, the longest proper prefix that is also its suffix.
template <class It>
std::vector<size_t> borders(It needle, size_t count) {
  std::vector<size_t> table(count, 0);
  for (size_t i = 1, k = 0; i < count; ++i) {
    while (k > 0 && at(needle, i) != at(needle, k)) k = table[k - 1];
    if (at(needle, i) == at(needle, k)) ++k;
    table[i] = k;
  }
  return table;
}

// Knuth, Morris and Pratt: linear whatever the texts.
template <class It>
size_t searchSurely(It text, size_t from, size_t length, It needle, size_t count) {
  const std::vector<size_t> table = borders(needle, count);
  for (size_t i = from, k = 0; i < length; ++i) {
    while (k > 0 && at(text, i) != at(needle, k)) k = table[k - 1];
    if (at(text, i) == at(needle, k) && ++k == count) return i + 1 - count;
  }
  return kNoMatch;
}

// Tries every place that begins well, until the failed attempts have cost too much.
template <class It>
size_t search(It text, size_t length, It needle, size_t count) {
  if (count == 0 || count > length) return kNoMatch;
  const size_t places = length - count + 1;
  for (size_t i = 0, cost = 0; i < places; ++i) {
    i += findUnit(text + static_cast<std::ptrdiff_t>(i), places - i, *needle);
    if (i == places) break;
    size_t same = 1;
    while (same < count && at(text, i + same) == at(needle, same)) ++same;
    if (same == count) return i;
    cost += same;
    if (cost > 4 * i + 256) return searchSurely(text, i + 1, length, needle, count);
  }
  return kNoMatch;
}

size_t findNarrow(const Units& text, const Units& needle) noexcept {
  if (needle.length == 1) {
    const void* found = std::memchr(text.data, *needle.narrow(), text.length);
    return found ? static_cast<size_t>(static_cast<const uint8_t*>(found) - text.narrow()) : kNoMatch;
  }
  const void* found = ::memmem(text.data, text.length, needle.data, needle.length);
  return found ? static_cast<size_t>(static_cast<const uint8_t*>(found) - text.narrow()) : kNoMatch;
}

template <class Unit>
size_t searchBackwards(const Unit* text, size_t length, const Unit* needle, size_t count) {
  const size_t found =
      search(std::reverse_iterator(text + length), length, std::reverse_iterator(needle + count), count);
  return found == kNoMatch ? kNoMatch : length - found - count;
}

std::u16string widened(const Units& u) { return std::u16string(u.narrow(), u.narrow() + u.length); }

// Part of a text in folded form, with the way back to the units it came from.
class FoldedWindow {
 public:
  FoldedWindow(const Units& text, size_t begin, size_t end) : begin_(begin) {
    units_.reserve(end - begin + 4);
    withUnits(text, [&](auto* units, size_t) { fold(units, begin, end); });
    if (!plain_) origins_.push_back(end);
  }

  const std::u16string& units() const { return units_; }

  // The place in the text of a run of folded units, nothing when it cuts a code point.
  Match place(size_t from, size_t count) const {
    if (plain_) return {begin_ + from, count};
    const size_t begin = origins_[from];
    const size_t end = origins_[from + count];
    if (begin == kNoMatch || end == kNoMatch) return {};
    return {begin, end - begin};
  }

 private:
  template <class Unit>
  void fold(const Unit* units, size_t i, size_t end) {
    char16_t folded[4];
    while (i < end) {
      const CodePoint c = codePointAt(units, end, i);
      const size_t count = foldCodePoint(c.value, folded);
      if (plain_ && (c.units != 1 || count != 1)) startOrigins();
      units_.append(folded, count);
      if (!plain_) {
        origins_.push_back(i);
        origins_.resize(units_.size(), kNoMatch);
      }
      i += c.units;
    }
  }

  // Up to here every unit was folded to one unit; from here on that is no longer so.
  void startOrigins() {
    plain_ = false;
    for (size_t i = 0; i < units_.size(); ++i) origins_.push_back(begin_ + i);
  }

  size_t begin_;
  bool plain_ = true;  // every unit was folded to one unit
  std::u16string units_;
  std::vector<size_t> origins_;  // of each folded unit and of the end, when the window is not plain
};

bool cutsPair(const Units& u, size_t index) {
  return u.wide && index > 0 && index < u.length && isLowSurrogate(u[index]) && isHighSurrogate(u[index - 1]);
}

Match matchAtStart(const FoldedWindow& window, const std::u16string& needle) {
  return window.units().starts_with(needle) ? window.place(0, needle.size()) : Match{};
}

Match matchAtEnd(const FoldedWindow& window, const std::u16string& needle) {
  const std::u16string& units = window.units();
  return units.ends_with(needle) ? window.place(units.size() - needle.size(), needle.size()) : Match{};
}

Match firstIn(const FoldedWindow& window, const std::u16string& needle) {
  const std::u16string& units = window.units();
  for (size_t from = 0; from < units.size(); ++from) {
    const size_t found = search(units.data() + from, units.size() - from, needle.data(), needle.size());
    if (found == kNoMatch) return {};
    from += found;
    if (const Match match = window.place(from, needle.size())) return match;
  }
  return {};
}

Match lastIn(const FoldedWindow& window, const std::u16string& needle) {
  const std::u16string& units = window.units();
  for (size_t end = units.size(); end > 0;) {
    const size_t found = searchBackwards(units.data(), end, needle.data(), needle.size());
    if (found == kNoMatch) return {};
    if (const Match match = window.place(found, needle.size())) return match;
    end = found + needle.size() - 1;
  }
  return {};
}

// Windows grow as the search goes on, so that a near match is found without folding the whole text. They
// overlap by as many units as a match can cover.
Match findForwards(const Units& text, const std::u16string& needle, size_t reach) {
  size_t size = 4 * reach + 256;
  for (size_t begin = 0;; size *= 2) {
    size_t end = size < text.length - begin ? begin + size : text.length;
    if (cutsPair(text, end)) ++end;
    if (const Match match = firstIn(FoldedWindow(text, begin, end), needle)) return match;
    if (end == text.length) return {};
    begin = end - reach;
    if (cutsPair(text, begin)) --begin;
  }
}

Match findBackwards(const Units& text, const std::u16string& needle, size_t reach) {
  size_t size = 4 * reach + 256;
  for (size_t end = text.length;; size *= 2) {
    size_t begin = size < end ? end - size : 0;
    if (cutsPair(text, begin)) --begin;
    if (const Match match = lastIn(FoldedWindow(text, begin, end), needle)) return match;
    if (begin == 0) return {};
    end = begin + reach;
    if (cutsPair(text, end)) ++end;
  }
}

}  // namespace

bool equalUnits(const Units& a, const Units& b) noexcept {
  if (a.length != b.length) return false;
  if (a.length == 0) return true;
  if (a.wide == b.wide) return std::memcmp(a.data, b.data, a.wide ? a.length * 2 : a.length) == 0;
  const Units& wide = a.wide ? a : b;
  const Units& narrow = a.wide ? b : a;
  return std::equal(wide.wideData(), wide.wideData() + wide.length, narrow.narrow());
}

size_t findUnits(const Units& text, const Units& needle) {
  if (needle.length == 0 || needle.length > text.length) return kNoMatch;
  if (!text.wide) return needle.wide ? kNoMatch : findNarrow(text, needle);
  if (needle.wide) return search(text.wideData(), text.length, needle.wideData(), needle.length);
  const std::u16string wide = widened(needle);
  return search(text.wideData(), text.length, wide.data(), wide.size());
}

size_t findUnitsBackwards(const Units& text, const Units& needle) {
  if (needle.length == 0 || needle.length > text.length) return kNoMatch;
  if (!text.wide && !needle.wide)
    return searchBackwards(text.narrow(), text.length, needle.narrow(), needle.length);
  if (!text.wide) return kNoMatch;
  const std::u16string room = needle.wide ? std::u16string() : widened(needle);
  const char16_t* units = needle.wide ? needle.wideData() : room.data();
  return searchBackwards(text.wideData(), text.length, units, needle.length);
}

Match findFolded(const Units& text, const Units& needle, bool backwards, Anchor anchor) {
  if (needle.length == 0 || text.length == 0) return {};
  const std::u16string folded = FoldedWindow(needle, 0, needle.length).units();
  // A code point of two units folds to one unit at least.
  const size_t reach = std::min(2 * folded.size(), text.length);
  if (anchor == Anchor::Start) return matchAtStart(FoldedWindow(text, 0, reach), folded);
  if (anchor == Anchor::End) return matchAtEnd(FoldedWindow(text, text.length - reach, text.length), folded);
  return backwards ? findBackwards(text, folded, reach) : findForwards(text, folded, reach);
}

size_t foldCodePoint(char32_t c, char16_t (&out)[4]) noexcept {
  if (c < 0x80) {
    out[0] = static_cast<char16_t>(c >= 'A' && c <= 'Z' ? c | 0x20 : c);
    return 1;
  }
  char16_t in[2] = {static_cast<char16_t>(c), 0};
  int32_t count = 1;
  if (c > 0xFFFF) {
    in[0] = highSurrogateOf(c);
    in[1] = lowSurrogateOf(c);
    count = 2;
  }
  UErrorCode status = U_ZERO_ERROR;
  const int32_t folded = u_strFoldCase(out, 4, in, count, U_FOLD_CASE_DEFAULT, &status);
  if (U_SUCCESS(status)) return static_cast<size_t>(folded);
  std::copy_n(in, count, out);
  return static_cast<size_t>(count);
}

}  // namespace orv::detail
