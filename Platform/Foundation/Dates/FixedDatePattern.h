#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Foundation/Export.h"

namespace orv::detail {

class ZoneTable;

// A TR35 pattern of plain fields - numbers, English names, literals, zones - compiled once into a list of
// steps, which read and write in the locale en_US_POSIX without ICU.
//
// Immutable; any thread may use it. Where a text asks for more than the steps know (other digits or blanks than
// ASCII's, rare zone names), reading answers Unsure and the general formatter decides.
class ORV_EXPORT FixedDatePattern {
 public:
  enum class Outcome { Read, Refused, Unsure };

  struct Options {
    const ZoneTable* zone = nullptr;  // for texts without a zone
    bool proleptic = false;           // Gregorian also before 1582-10-15
  };

  // The compiled pattern, kept for the life of the process; null for one that needs the general formatter.
  static const FixedDatePattern* forPattern(const std::u16string& pattern);

  // An ASCII text without blanks at its ends, as milliseconds since 1970.
  Outcome read(std::string_view text, const Options& options, int64_t& milliseconds) const;

  // Appends; false, with the text unchanged, for dates that need the general formatter.
  bool write(int64_t milliseconds, const Options& options, std::string& text) const;

  // The letter is that of the pattern, or one of those below. Reading and writing go by these.
  struct Step {
    char field;           // a TR35 letter, or kLiteral, kBlank
    uint8_t count;        // letters; the digits of a field that touches the next
    bool touches;         // a number with another directly before or behind it
    uint16_t at, length;  // of a literal
  };
  static constexpr char kLiteral = '\'';
  static constexpr char kBlank = ' ';

 private:
  FixedDatePattern() = default;
  static std::unique_ptr<FixedDatePattern> compile(std::u16string_view pattern);
  bool addField(char letter, size_t count);
  void addLiteral(char c);
  bool finish();

  std::vector<Step> steps_;
  std::string literals_;
  size_t firstStep_ = 0, endStep_ = 0;  // for reading: without the blanks at both ends
};

}  // namespace orv::detail
