// Dates in text: every range lies inside the text and behind the one before, every date is finite, and the
// matched text alone is the same date.

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Platform/Foundation/Text/Detail/FindDates.h"

using namespace orv::detail;

namespace {

void require(bool law) {
  if (!law) std::abort();
}

void check(const NSString& text, const DetectorContext& context) {
  NSUInteger end = 0;
  for (const DateMatch& match : findDates(text, context)) {
    require(match.range.length > 0 && match.range.location >= end && match.range.end() <= text.length());
    require(std::isfinite(match.date) && std::isfinite(match.duration) && match.duration >= 0);
    end = match.range.end();
    const auto alone = findDates(text.substringWithRange(match.range), context);
    require(alone.size() == 1 && alone[0].date == match.date && alone[0].duration == match.duration);
    require(alone[0].range == NSRange{0, match.range.length} && alone[0].zone == match.zone);
  }
}

// The first byte picks the locale and whether the rest is UTF-8 or bare code units.
NSString textOf(uint8_t choice, std::string_view bytes) {
  if ((choice & 0x80) == 0) return NSString::stringWithLossyUTF8(bytes);
  std::u16string units;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2)
    units += static_cast<char16_t>(static_cast<uint8_t>(bytes[i]) | static_cast<uint8_t>(bytes[i + 1]) << 8);
  return NSString(units);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr const char* kLocales[] = {"en_US", "de_DE", "fr_FR", "ja_JP", "ar_EG", "th_TH", "nl_NL", "en_GB"};
  if (size == 0) return 0;
  const NSString text = textOf(data[0], {reinterpret_cast<const char*>(data) + 1, size - 1});
  check(text, {730909800, "Europe/Berlin", kLocales[data[0] % std::size(kLocales)]});
  return 0;
}
