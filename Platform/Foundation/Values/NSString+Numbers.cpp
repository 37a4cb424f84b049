#include <locale.h>
#include <stdlib.h>
#include <unicode/uchar.h>

#include <charconv>
#include <limits>
#include <string>

#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSString.h"

using namespace orv;
using detail::Units;

namespace {

bool isBlank(char16_t unit) {
  if (unit < 0x80) return unit == ' ' || (unit >= 0x09 && unit <= 0x0D);
  return u_isUWhiteSpace(unit);
}

bool isDigit(char16_t unit) { return unit >= '0' && unit <= '9'; }

size_t skipBlanks(const Units& u, size_t from) {
  while (from < u.length && isBlank(u[from])) ++from;
  return from;
}

bool isSign(const Units& u, size_t i) { return i < u.length && (u[i] == '+' || u[i] == '-'); }

// Blanks, a sign, blanks, digits; clamps at the limits of the type.
template <class T>
T readInteger(const Units& u) {
  constexpr uint64_t kLargest = static_cast<uint64_t>(std::numeric_limits<T>::max());
  size_t i = skipBlanks(u, 0);
  const bool negative = isSign(u, i) && u[i] == '-';
  if (isSign(u, i)) i = skipBlanks(u, i + 1);
  const uint64_t limit = negative ? kLargest + 1 : kLargest;
  uint64_t value = 0;
  for (; i < u.length && isDigit(u[i]); ++i) {
    const uint64_t digit = static_cast<uint64_t>(u[i] - '0');
    value = value > (limit - digit) / 10 ? limit : value * 10 + digit;
    if (value == limit) break;
  }
  return static_cast<T>(negative ? 0 - value : value);
}

bool belongsToNumber(char16_t unit) {
  return isDigit(unit) || unit == '+' || unit == '-' || unit == '.' || unit == 'e' || unit == 'E';
}

// The longest run of characters that numbers are made of.
std::string numberText(const Units& u) {
  std::string text;
  for (size_t i = skipBlanks(u, 0); i < u.length && belongsToNumber(u[i]); ++i) text += static_cast<char>(u[i]);
  return text;
}

// Tells overflow, which is infinite, from underflow, which is 0 or a denormal.
double readSlowly(const std::string& text) {
  static const locale_t plain = ::newlocale(LC_ALL_MASK, "C", nullptr);
  return ::strtod_l(text.c_str(), nullptr, plain);
}

double readDouble(const Units& u) {
  const std::string text = numberText(u);
  const char* first = text.data();
  const char* last = first + text.size();
  if (first != last && *first == '+') {
    if (++first == last || *first == '-') return 0;  // a second sign is none
  }
  double value = 0;
  const auto [end, error] = std::from_chars(first, last, value);
  return error == std::errc::result_out_of_range ? readSlowly(text) : value;
}

}  // namespace

bool NSString::boolValue() const {
  const Units u = detail::unitsOf(*this);
  size_t i = skipBlanks(u, 0);
  if (isSign(u, i)) ++i;
  while (i < u.length && u[i] == '0') ++i;
  if (i == u.length) return false;
  const char16_t unit = u[i];
  return unit == 'Y' || unit == 'y' || unit == 'T' || unit == 't' || (unit >= '1' && unit <= '9');
}

int32_t NSString::intValue() const { return readInteger<int32_t>(detail::unitsOf(*this)); }
NSInteger NSString::integerValue() const { return readInteger<int64_t>(detail::unitsOf(*this)); }
int64_t NSString::longLongValue() const { return integerValue(); }
double NSString::doubleValue() const { return readDouble(detail::unitsOf(*this)); }
float NSString::floatValue() const { return static_cast<float>(doubleValue()); }
