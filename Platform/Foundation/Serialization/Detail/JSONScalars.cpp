#include "Platform/Foundation/Serialization/Detail/JSONScalars.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "Platform/Foundation/Text/Bytes.h"
#include "Platform/Foundation/Text/StringBuilder.h"
#include "Platform/Foundation/Text/Unicode.h"
#include "Platform/Foundation/Values/Detail/DecimalRep.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSDecimal.h"

namespace orv::detail {
namespace {

// ---- Numbers

bool isDigit(uint8_t c) noexcept { return static_cast<uint8_t>(c - '0') < 10; }

constexpr ptrdiff_t kLongest = 1 << 28;  // digits beyond this do not change what a number is

// What a number's text says, before it becomes a value.
struct NumberText {
  uint64_t digits = 0;  // all digits as one integer; of use while there are up to 19
  int count = 0;        // of digits from the first that is not 0
  int exponent = 0;     // of the last digit
  bool negative = false;
  bool integer = true;           // neither a period nor an exponent
  const uint8_t* end = nullptr;  // null: this is no number
};

// The highest bit of each of eight bytes that is no digit; only the lowest of them is to be trusted.
uint64_t foreignBytes(uint64_t word) noexcept {
  const uint64_t offsets = word ^ 0x3030303030303030u;
  return ((offsets + 0x7676767676767676u) | offsets) & 0x8080808080808080u;
}

// The number that eight digits make, the first in the lowest byte; zero bytes count as 0. Pairs, then fours,
// then all.
uint64_t valueOfDigits(uint64_t word) noexcept {
  word = (word & 0x0F0F0F0F0F0F0F0Fu) * 2561 >> 8;
  word = (word & 0x00FF00FF00FF00FFu) * 6553601 >> 16;
  return (word & 0x0000FFFF0000FFFFu) * 42949672960001u >> 32;
}

const uint8_t* takeDigits(const uint8_t* at, const uint8_t* end, uint64_t& digits) noexcept {
  constexpr uint32_t kPowers[] = {1, 10, 100, 1000, 10'000, 100'000, 1'000'000, 10'000'000};
  uint64_t value = digits;
  while (end - at >= 8) {
    const auto word = loadWord<uint64_t>(at);
    if (const uint64_t foreign = foreignBytes(word)) {
      const int bits = std::countr_zero(foreign) & ~7;
      if (bits != 0) value = value * kPowers[bits / 8] + valueOfDigits(word << (64 - bits));
      digits = value;
      return at + bits / 8;
    }
    value = value * 100'000'000 + valueOfDigits(word);
    at += 8;
  }
  for (; at != end && isDigit(*at); ++at) value = value * 10 + (*at - '0');
  digits = value;
  return at;
}

// Behind the letter e. Exponents of more digits than can matter stop counting.
const uint8_t* takeExponent(const uint8_t* at, const uint8_t* end, NumberText& n) noexcept {
  constexpr int kEnough = 100'000;
  const bool negative = at != end && *at == '-';
  if (at != end && (*at == '-' || *at == '+')) ++at;
  if (at == end || !isDigit(*at)) return nullptr;
  int exponent = 0;
  for (; at != end && isDigit(*at); ++at)
    if (exponent < kEnough) exponent = exponent * 10 + (*at - '0');
  n.exponent += negative ? -exponent : exponent;
  return at;
}

// Behind the period. Zeros with which a number below 1 begins do not count as digits.
const uint8_t* takeFraction(const uint8_t* at, const uint8_t* end, NumberText& n) noexcept {
  const uint8_t* last = takeDigits(at, end, n.digits);
  if (last == at) return nullptr;
  const auto length = static_cast<int>(std::min<ptrdiff_t>(last - at, kLongest));
  n.exponent = -length;
  const bool small = n.count == 0;
  n.count += length;
  for (; small && at != last && *at == '0'; ++at) --n.count;
  return last;
}

// One zero, or digits that begin with another one.
const uint8_t* takeWhole(const uint8_t* at, const uint8_t* end, NumberText& n) noexcept {
  if (at != end && *at == '0') return at + 1 != end && isDigit(at[1]) ? nullptr : at + 1;
  const uint8_t* last = takeDigits(at, end, n.digits);
  n.count = static_cast<int>(std::min<ptrdiff_t>(last - at, kLongest));
  return last == at ? nullptr : last;
}

NumberText parseNumber(const uint8_t* at, const uint8_t* end) noexcept {
  NumberText n;
  n.negative = *at == '-';
  at = takeWhole(at + n.negative, end, n);
  if (at && at != end && *at == '.') {
    n.integer = false;
    at = takeFraction(at + 1, end, n);
  }
  if (at && at != end && (*at | 0x20) == 'e') {
    n.integer = false;
    at = takeExponent(at + 1, end, n);
  }
  n.end = at && endsScalar(at, end) ? at : nullptr;
  return n;
}

// A product or quotient of two doubles that are exact is rounded once, and so correct (Clinger 1990).
constexpr double kExactPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                   1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr uint64_t kExactDigits = uint64_t{1} << 53;

bool readSimpleDouble(const NumberText& n, double& value) noexcept {
  if (n.count > 19 || n.digits > kExactDigits || n.exponent < -22 || n.exponent > 22) return false;
  const auto digits = static_cast<double>(n.digits);
  const double size = n.exponent < 0 ? digits / kExactPowers[-n.exponent] : digits * kExactPowers[n.exponent];
  value = n.negative ? -size : size;
  return true;
}

// A number too small for a double is 0, as everywhere.
Value readAnyDouble(const uint8_t* at, const NumberText& n, const char*& complaint) {
  double value = 0;
  const auto* first = reinterpret_cast<const char*>(at);
  const auto error = std::from_chars(first, reinterpret_cast<const char*>(n.end), value).ec;
  const bool tiny = n.count == 0 || n.exponent + n.count < 0;
  if (error == std::errc::result_out_of_range && !tiny) {
    complaint = "Number wound up as NaN/infinity";
    return {};
  }
  if (error == std::errc::result_out_of_range) value = n.negative ? -0.0 : 0.0;
  return value;
}

// The decimal that holds every digit, or nil.
Value readExactDecimal(const uint8_t* at, const NumberText& n) {
  constexpr int kMostDigits = 38;
  if (n.count > kMostDigits || n.exponent < NSDecimal::kMinExponent || n.exponent > NSDecimal::kMaxExponent)
    return {};
  const NSDecimal decimal =
      NSDecimal::fromText(std::string_view(reinterpret_cast<const char*>(at), static_cast<size_t>(n.end - at)));
  return decimal.notANumber ? Value() : boxDecimal(decimal);
}

Value readInteger(const NumberText& n) noexcept {
  if (!n.negative) return n.digits;
  return static_cast<int64_t>(0 - n.digits);
}

bool fitsInteger(const NumberText& n) noexcept {
  constexpr uint64_t kSmallest = uint64_t{1} << 63;
  return n.integer && n.count <= 19 && (!n.negative || (n.digits <= kSmallest && n.digits != 0));
}

// Integers of twenty digits that unsigned 64 bits hold.
bool readLongInteger(const uint8_t* at, const NumberText& n, uint64_t& value) noexcept {
  if (!n.integer || n.negative || n.count != 20) return false;
  const auto* first = reinterpret_cast<const char*>(at);
  return std::from_chars(first, reinterpret_cast<const char*>(n.end), value).ec == std::errc();
}

// ---- Strings

// The four digits of a \u escape, or -1.
int hexUnit(const uint8_t* at, const uint8_t* end) noexcept {
  if (end - at < 4) return -1;
  int unit = 0;
  for (int i = 0; i < 4; ++i) {
    const int c = at[i] | 0x20;
    const int digit = isDigit(at[i]) ? at[i] - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
    if (digit < 0) return -1;
    unit = unit * 16 + digit;
  }
  return unit;
}

// Behind "\u": appends the code point and answers where it ends, or null.
const uint8_t* unescapeUnit(const uint8_t* at, const uint8_t* end, StringBuilder& out) {
  const int first = hexUnit(at, end);
  if (first < 0 || isLowSurrogate(static_cast<char32_t>(first))) return nullptr;
  const auto unit = static_cast<char16_t>(first);
  if (!isHighSurrogate(unit)) {
    out.appendUnit(unit);
    return at + 4;
  }
  const bool paired = end - at >= 10 && at[4] == '\\' && at[5] == 'u';
  const int second = paired ? hexUnit(at + 6, end) : -1;
  if (second < 0 || !isLowSurrogate(static_cast<char32_t>(second))) return nullptr;
  out.appendCodePoint(combineSurrogates(unit, static_cast<char32_t>(second)));
  return at + 10;
}

char16_t simpleEscape(uint8_t letter) noexcept {
  switch (letter) {
    case '"':
    case '\\':
    case '/': return letter;
    case 'b': return '\b';
    case 'f': return '\f';
    case 'n': return '\n';
    case 'r': return '\r';
    case 't': return '\t';
    default: return 0;
  }
}

// At a backslash: appends what it stands for and answers where that ends, or null.
const uint8_t* unescape(const uint8_t* at, const uint8_t* end, StringBuilder& out) {
  if (at[1] == 'u') return unescapeUnit(at + 2, end, out);
  const char16_t unit = simpleEscape(at[1]);
  if (unit == 0) return nullptr;
  out.appendUnit(unit);
  return at + 2;
}

std::string_view viewOf(const uint8_t* begin, const uint8_t* end) noexcept {
  return {reinterpret_cast<const char*>(begin), static_cast<size_t>(end - begin)};
}

Value unescapedString(const JSONString& string, JSONFault& fault, const uint8_t* text) {
  StringBuilder out(static_cast<size_t>(string.end - string.begin));
  for (const uint8_t* at = string.begin; at != string.end;) {
    const auto* slash =
        static_cast<const uint8_t*>(std::memchr(at, '\\', static_cast<size_t>(string.end - at)));
    const uint8_t* plainEnd = slash ? slash : string.end;
    out.append(viewOf(at, plainEnd));
    at = slash ? unescape(slash, string.end, out) : string.end;
    if (at) continue;
    fault = {"Invalid escape sequence", static_cast<size_t>(slash - text)};
    return {};
  }
  return out.finish();
}

}  // namespace

Value readJSONNumber(const uint8_t* at, const uint8_t* end, const char*& complaint) {
  const NumberText n = parseNumber(at, end);
  if (!n.end) {
    complaint = "Number with leading zero or without digits, or badly formed";
    return {};
  }
  if (fitsInteger(n)) return readInteger(n);
  double simple = 0;
  if (n.count <= 17 && readSimpleDouble(n, simple)) return simple;
  uint64_t large = 0;
  if (readLongInteger(at, n, large)) return large;
  if (n.count > 17)
    if (Value decimal = readExactDecimal(at, n)) return decimal;
  return readAnyDouble(at, n, complaint);
}

Value readJSONString(const JSONString& string, JSONFault& fault, const uint8_t* text) {
  if (string.escaped) return unescapedString(string, fault, text);
  const auto length = static_cast<size_t>(string.end - string.begin);
  if (string.ascii) return StringFactory::ascii(string.begin, length);
  return StringFactory::fromUtf8(viewOf(string.begin, string.end), IllFormed::Refuse);
}

}  // namespace orv::detail
