#pragma once

#include <cstddef>
#include <string>

#include "Platform/Foundation/Values/Detail/StringRep.h"

// Finding texts in texts. All searches take time in proportion to the distance searched, whatever the
// texts look like.
namespace orv::detail {

inline constexpr size_t kNoMatch = static_cast<size_t>(-1);

// Where a text was found.
struct Match {
  size_t location = kNoMatch;
  size_t length = 0;
  explicit operator bool() const { return location != kNoMatch; }
};

// Part of some units.
inline Units unitsIn(const Units& u, size_t location, size_t length) noexcept {
  const size_t width = u.wide ? 2 : 1;
  return {static_cast<const char*>(u.data) + location * width, length, u.wide};
}

bool equalUnits(const Units& a, const Units& b) noexcept;

// The first or last occurrence, unit by unit. An empty needle is never found. The needle is a whole string,
// so a wide one has a unit that no narrow text holds.
size_t findUnits(const Units& text, const Units& needle);
size_t findUnitsBackwards(const Units& text, const Units& needle);

enum class Anchor : uint8_t { None, Start, End };

// The same by full case folding: "strasse" is found in "Straße". A match covers whole code points. With
// an anchor it lies at that end of the text.
Match findFolded(const Units& text, const Units& needle, bool backwards, Anchor anchor);

// The full case folding of a code point, in the root locale; answers the number of units, at most 4.
size_t foldCodePoint(char32_t c, char16_t (&out)[4]) noexcept;

}  // namespace orv::detail
