#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

// The patterns of number formatters (Unicode TR35), and the digits that they lay out.
namespace orv::detail {

// What one pattern says. Digits are counted before and after the decimal separator.
struct NumberPattern {
  static constexpr size_t kMostDigits = 1000;

  std::u16string prefix, suffix;
  size_t minimumInteger = 0, maximumInteger = kMostDigits;
  size_t minimumFraction = 0, maximumFraction = 0;
  size_t group = 0, upperGroup = 0;  // 0: no groups; groups further up are of the size `upperGroup`
  bool percent = false;
  bool showsSeparator = false;  // ends in a period
  std::u16string negative;      // what follows the semicolon

  // Nothing for a text that is no pattern.
  static std::optional<NumberPattern> parse(std::u16string_view text);
};

enum class NumberRounding { Ceiling, Floor, Down, Up, HalfEven, HalfDown, HalfUp };

// A number as its decimal digits: 0.DIGITS times ten to the power of `point`.
struct NumberDigits {
  std::string digits;
  int point = 0;
  bool negative = false;

  // Cuts what lies behind so many digits of the fraction.
  void round(size_t fraction, NumberRounding mode);
  // The digits before the decimal separator, and so many behind it at most.
  std::string integerPart() const;
  std::string fractionPart(size_t most) const;
};

}  // namespace orv::detail
