#include "Platform/Foundation/Text/Format.h"

#include <locale.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "Platform/Foundation/Text/Unicode.h"
#include "Platform/Foundation/Values/NSNumber.h"

namespace orv::detail {
namespace {

using Type = FormatArgument::Type;

// The C locale for the calling thread, for as long as this lives.
class PlainLocale {
 public:
  PlainLocale() : before_(::uselocale(plain())) {}
  PlainLocale(const PlainLocale&) = delete;
  PlainLocale& operator=(const PlainLocale&) = delete;
  ~PlainLocale() { ::uselocale(before_); }

 private:
  static locale_t plain() {
    static const locale_t locale = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
  }
  locale_t before_;
};

// The number an argument stands for, 0 when it stands for none.
int64_t integerOf(const FormatArgument* argument) {
  if (!argument) return 0;
  switch (argument->type) {
    case Type::Signed:
    case Type::Unsigned: return static_cast<int64_t>(argument->bits);
    case Type::Double: return NSNumber(argument->number).longLongValue();
    case Type::Pointer: return static_cast<int64_t>(reinterpret_cast<intptr_t>(argument->pointer));
    case Type::Object: return argument->object().as<NSNumber>().longLongValue();
    case Type::Bytes:
    case Type::Units: return 0;
  }
  return 0;
}

double doubleOf(const FormatArgument* argument) {
  if (!argument) return 0;
  switch (argument->type) {
    case Type::Signed: return static_cast<double>(static_cast<int64_t>(argument->bits));
    case Type::Unsigned: return static_cast<double>(argument->bits);
    case Type::Double: return argument->number;
    case Type::Object: return argument->object().as<NSNumber>().doubleValue();
    case Type::Bytes:
    case Type::Units:
    case Type::Pointer: return 0;
  }
  return 0;
}

uint64_t addressOf(const FormatArgument* argument) {
  if (!argument) return 0;
  if (argument->type == Type::Object) return reinterpret_cast<uintptr_t>(Access::heap(argument->object()));
  if (argument->type == Type::Bytes || argument->type == Type::Units)
    return reinterpret_cast<uintptr_t>(argument->pointer);
  return static_cast<uint64_t>(integerOf(argument));
}

int64_t narrowed(int64_t n, FormatLength length) {
  switch (length) {
    case FormatLength::Char: return static_cast<int8_t>(n);
    case FormatLength::Short: return static_cast<int16_t>(n);
    case FormatLength::Int: return static_cast<int32_t>(n);
    case FormatLength::Long: return n;
  }
  return n;
}

uint64_t narrowedUnsigned(uint64_t n, FormatLength length) {
  switch (length) {
    case FormatLength::Char: return static_cast<uint8_t>(n);
    case FormatLength::Short: return static_cast<uint16_t>(n);
    case FormatLength::Int: return static_cast<uint32_t>(n);
    case FormatLength::Long: return n;
  }
  return n;
}

std::string_view signOf(bool negative, const Conversion& c) {
  return negative ? "-" : c.plus ? "+" : c.blank ? " " : "";
}

void makeUpper(char* begin, char* end) {
  std::transform(begin, end, begin,
                 [](char c) { return static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c); });
}

bool isUpper(char letter) { return letter >= 'A' && letter <= 'Z'; }

// The part of UTF-8 text that a precision in bytes lets through, without cutting a character.
std::string_view cut(std::string_view bytes, int precision) {
  if (precision < 0 || static_cast<size_t>(precision) >= bytes.size()) return bytes;
  auto end = static_cast<size_t>(precision);
  while (end > 0 && (bytes[end] & 0xC0) == 0x80) --end;
  return bytes.substr(0, end);
}

NSString textOf(std::string_view bytes) {
  const NSString text = StringFactory::fromUtf8(bytes, IllFormed::Refuse);
  return text.isNil() ? NSString::stringWithLatin1(bytes) : text;
}

// Writes an amount of moderate size with a few decimals, rounded exactly (ties to even); null when it is not
// of that kind. Many times faster than the general way.
char* writeFixed(double n, int precision, char* out, char* outEnd) {
  constexpr std::array<uint64_t, 10> kPowers{1,      10,      100,      1000,      10000,
                                             100000, 1000000, 10000000, 100000000, 1000000000};
  const auto bits = std::bit_cast<uint64_t>(n);
  const int exponent = static_cast<int>(bits >> 52 & 0x7FF) - 1075;  // n is mantissa * 2^exponent
  const int places = -exponent;
  if (places < 1 || places > 62 || precision >= static_cast<int>(kPowers.size())) return nullptr;
  const uint64_t mantissa = (bits & 0xFFFFFFFFFFFFFu) | uint64_t{1} << 52;
  const uint64_t power = kPowers[static_cast<size_t>(precision)];
  __extension__ using Wide = unsigned __int128;
  const Wide scaled = static_cast<Wide>(mantissa & ((uint64_t{1} << places) - 1)) * power;
  uint64_t whole = mantissa >> places;
  auto decimals = static_cast<uint64_t>(scaled >> places);
  const auto rest = static_cast<uint64_t>(scaled) & ((uint64_t{1} << places) - 1);
  const uint64_t half = uint64_t{1} << (places - 1);
  const bool odd = ((precision == 0 ? whole : decimals) & 1) != 0;
  if (rest > half || (rest == half && odd)) ++decimals;
  if (decimals >= power) {
    decimals -= power;
    ++whole;
  }
  out = std::to_chars(out, outEnd, whole).ptr;
  if (precision == 0) return out;
  *out++ = '.';
  for (int i = precision - 1; i >= 0; --i, decimals /= 10) out[i] = static_cast<char>('0' + decimals % 10);
  return out + precision;
}

// Fills in a format from its first conversion to its last.
class Formatter {
 public:
  Formatter(StringBuilder& out, std::span<const FormatArgument> arguments) : out_(out), arguments_(arguments) {}

  template <class Unit>
  void run(const Unit* at, const Unit* end) {
    while (at < end) {
      const Unit* percent = findPercent(at, end);
      appendText(at, percent);
      if (percent == end) return;
      ConversionReader<Unit> reader(percent + 1, end);
      Conversion conversion = reader.read();
      at = reader.at();
      if (conversion.letter == 0)
        appendText(percent, at);
      else
        convert(conversion);
    }
  }

 private:
  template <class Unit>
  static const Unit* findPercent(const Unit* at, const Unit* end) {
    if constexpr (sizeof(Unit) == 1) {
      const void* found = std::memchr(at, '%', static_cast<size_t>(end - at));
      return found ? static_cast<const Unit*>(found) : end;
    }
    return std::find(at, end, static_cast<Unit>('%'));
  }

  void appendText(const char* begin, const char* end) {
    out_.append(std::string_view(begin, static_cast<size_t>(end - begin)));
  }
  void appendText(const uint8_t* begin, const uint8_t* end) {
    out_.appendNarrow(begin, static_cast<size_t>(end - begin));
  }
  void appendText(const char16_t* begin, const char16_t* end) {
    out_.appendWide(begin, static_cast<size_t>(end - begin));
  }

  const FormatArgument* argument(int position) {
    const size_t index = position > 0 ? static_cast<size_t>(position - 1) : next_++;
    return index < arguments_.size() ? &arguments_[index] : nullptr;
  }

  void resolve(Conversion& c) {
    if (c.width.star) {
      const int64_t width = narrowed(integerOf(argument(c.width.argument)), FormatLength::Int);
      c.left |= width < 0;
      c.width.value = static_cast<int>(std::min<int64_t>(std::abs(width), kLargestAmount));
    }
    if (c.precision.star) {
      const int64_t precision = narrowed(integerOf(argument(c.precision.argument)), FormatLength::Int);
      c.precision.value = static_cast<int>(std::clamp<int64_t>(precision, -1, kLargestAmount));
    }
  }

  void convert(Conversion& c) {
    if (c.letter == '%') return out_.appendUnit('%');
    resolve(c);
    const FormatArgument* given = argument(c.argument);
    switch (c.letter) {
      case '@': return convertObject(given);
      case 'd':
      case 'i': return convertSigned(c, integerOf(given));
      case 'u': return convertUnsigned(c, integerOf(given), 10);
      case 'o': return convertUnsigned(c, integerOf(given), 8);
      case 'x':
      case 'X': return convertUnsigned(c, integerOf(given), 16);
      case 'c': return pad(c, {Units{&(byte_ = static_cast<uint8_t>(integerOf(given))), 1, false}});
      case 'C': return convertUnit(c, static_cast<char16_t>(integerOf(given)));
      case 's':
      case 'S': return convertText(c, given);
      case 'p': return convertPointer(c, addressOf(given));
      default: return convertDouble(c, doubleOf(given));
    }
  }

  // --- Values

  void convertObject(const FormatArgument* given) {
    if (!given) return out_.appendAscii("(null)");
    switch (given->type) {
      case Type::Signed: return appendInteger(static_cast<int64_t>(given->bits));
      case Type::Unsigned: return appendInteger(given->bits);
      case Type::Double: return appendDescription(Value(given->number));
      case Type::Pointer:
        return given->pointer ? convertPointer({}, addressOf(given)) : out_.appendAscii("(null)");
      case Type::Bytes:
      case Type::Units: return convertText({}, given);
      case Type::Object: return appendDescription(given->object());
    }
  }

  void appendDescription(const Value& value) {
    switch (value.kind()) {
      case Kind::Nil: return out_.appendAscii("(null)");
      case Kind::Bool:
      case Kind::Int: return appendInteger(static_cast<int64_t>(Access::bits(value)));
      case Kind::String: return out_.append(unitsOf(Access::cast<NSString>(value)));
      default: break;
    }
    const NSString text = value.description();
    text.isNil() ? out_.appendAscii("(null)") : out_.append(text);
  }

  template <class T>
  void appendInteger(T n) {
    char digits[24];
    const auto end = std::to_chars(digits, std::end(digits), n).ptr;
    out_.appendAscii({digits, static_cast<size_t>(end - digits)});
  }

  // --- Text

  void pad(const Conversion& c, const Units& text) {
    const size_t width = c.width.value > 0 ? static_cast<size_t>(c.width.value) : 0;
    const size_t blanks = width > text.length ? width - text.length : 0;
    if (!c.left) out_.appendRepeated(' ', blanks);
    out_.append(text);
    if (c.left) out_.appendRepeated(' ', blanks);
  }

  void convertUnit(const Conversion& c, char16_t unit) { pad(c, {&unit, 1, true}); }

  void convertText(const Conversion& c, const FormatArgument* given) {
    if (!given) return out_.appendAscii("(null)");
    switch (given->type) {
      case Type::Bytes: return convertBytes(c, static_cast<const char*>(given->pointer), given->length);
      case Type::Units: return convertUnits(c, static_cast<const char16_t*>(given->pointer), given->length);
      default: return convertObject(given);
    }
  }

  void convertBytes(const Conversion& c, const char* bytes, size_t length) {
    if (!bytes) return out_.appendAscii("(null)");
    const std::string_view shown = cut({bytes, length}, c.precision.value);
    if (isAscii(shown)) return pad(c, {shown.data(), shown.size(), false});
    pad(c, unitsOf(textOf(shown)));
  }

  void convertUnits(const Conversion& c, const char16_t* units, size_t length) {
    if (!units) return out_.appendAscii("(null)");
    if (c.precision.value >= 0) length = std::min(length, static_cast<size_t>(c.precision.value));
    pad(c, {units, length, true});
  }

  // --- Numbers

  // A number in its parts: sign or base in front, zeros asked for by the precision, digits.
  void appendNumber(const Conversion& c, std::string_view prefix, size_t zeros, std::string_view digits,
                    bool mayZero) {
    const size_t length = prefix.size() + zeros + digits.size();
    const size_t width = c.width.value > 0 ? static_cast<size_t>(c.width.value) : 0;
    const size_t missing = width > length ? width - length : 0;
    const bool fill = mayZero && c.zero && !c.left;
    if (missing == 0 && zeros == 0) {
      if (!prefix.empty()) out_.appendAscii(prefix);
      return out_.appendAscii(digits);
    }
    if (!c.left && !fill) out_.appendRepeated(' ', missing);
    out_.appendAscii(prefix);
    out_.appendRepeated('0', fill ? zeros + missing : zeros);
    out_.appendAscii(digits);
    if (c.left) out_.appendRepeated(' ', missing);
  }

  void convertSigned(const Conversion& c, int64_t n) {
    n = narrowed(n, c.length);
    const uint64_t size = n < 0 ? 0 - static_cast<uint64_t>(n) : static_cast<uint64_t>(n);
    appendDigits(c, signOf(n < 0, c), size, 10);
  }

  void convertUnsigned(const Conversion& c, int64_t bits, int base) {
    const uint64_t n = narrowedUnsigned(static_cast<uint64_t>(bits), c.length);
    const bool prefixed = c.alternate && base == 16 && n != 0;
    appendDigits(c, prefixed ? (c.letter == 'X' ? "0X" : "0x") : "", n, base);
  }

  void appendDigits(const Conversion& c, std::string_view prefix, uint64_t n, int base) {
    char digits[24];
    char* end = std::to_chars(digits, std::end(digits), n, base).ptr;
    if (c.letter == 'X') makeUpper(digits, end);
    if (n == 0 && c.precision.value == 0) end = digits;
    auto count = static_cast<size_t>(end - digits);
    const auto least = static_cast<size_t>(std::max(c.precision.value, 0));
    size_t zeros = least > count ? least - count : 0;
    if (base == 8 && c.alternate && zeros == 0 && (count == 0 || digits[0] != '0')) zeros = 1;
    appendNumber(c, prefix, zeros, {digits, count}, c.precision.value < 0);
  }

  void convertPointer(const Conversion& c, uint64_t address) {
    char digits[20];
    const char* end = std::to_chars(digits, std::end(digits), address, 16).ptr;
    appendNumber(c, "0x", 0, {digits, static_cast<size_t>(end - digits)}, true);
  }

  void convertDouble(const Conversion& c, double n) {
    if (std::isnan(n)) return appendNumber(c, signOf(false, c), 0, isUpper(c.letter) ? "NAN" : "nan", false);
    const std::string_view sign = signOf(std::signbit(n), c);
    if (std::isinf(n)) return appendNumber(c, sign, 0, isUpper(c.letter) ? "INF" : "inf", false);
    const int precision = c.precision.value < 0 ? 6 : c.precision.value;
    if (c.alternate || precision > kUsualPrecision || c.letter == 'a' || c.letter == 'A')
      return convertRareDouble(c, sign, std::fabs(n));
    char digits[kUsualPrecision + 330];
    const double size = std::fabs(n);
    char* end = c.letter == 'f' ? writeFixed(size, precision, digits, std::end(digits)) : nullptr;
    if (!end) end = std::to_chars(digits, std::end(digits), size, charsFormat(c.letter), precision).ptr;
    if (isUpper(c.letter)) makeUpper(digits, end);
    appendNumber(c, sign, 0, {digits, static_cast<size_t>(end - digits)}, true);
  }

  static std::chars_format charsFormat(char letter) {
    if (letter == 'f' || letter == 'F') return std::chars_format::fixed;
    return letter == 'e' || letter == 'E' ? std::chars_format::scientific : std::chars_format::general;
  }

  // Hexadecimal numbers, forced points and very many digits: the C library's work.
  void convertRareDouble(const Conversion& c, std::string_view sign, double size) {
    std::array<char, 8> format{'%'};
    size_t at = 1;
    if (c.alternate) format[at++] = '#';
    if (c.precision.value >= 0) format[at++] = '.', format[at++] = '*';
    format[at] = c.letter;
    const std::string text = printed(format.data(), c.precision.value, size);
    const bool hexadecimal = c.letter == 'a' || c.letter == 'A';
    const std::string prefix = std::string(sign) + (hexadecimal ? text.substr(0, 2) : "");
    appendNumber(c, prefix, 0, std::string_view(text).substr(hexadecimal ? 2 : 0), true);
  }

  static std::string printed(const char* format, int precision, double n) {
    const PlainLocale guard;
    std::string text(static_cast<size_t>(std::max(precision, 0)) + 400, '\0');
    const int length = precision < 0 ? std::snprintf(text.data(), text.size(), format, n)
                                     : std::snprintf(text.data(), text.size(), format, precision, n);
    text.resize(static_cast<size_t>(std::max(length, 0)));
    return text;
  }

  static constexpr int kUsualPrecision = 100;

  StringBuilder& out_;
  std::span<const FormatArgument> arguments_;
  size_t next_ = 0;
  uint8_t byte_ = 0;
};

}  // namespace

void appendFormat(StringBuilder& out, std::string_view format, std::span<const FormatArgument> arguments) {
  Formatter(out, arguments).run(format.data(), format.data() + format.size());
}

void appendFormat(StringBuilder& out, const Units& format, std::span<const FormatArgument> arguments) {
  withUnits(format, [&](auto* units, size_t length) { Formatter(out, arguments).run(units, units + length); });
}

}  // namespace orv::detail

NSString NSString::stringWithFormatArguments(const char* format,
                                             std::initializer_list<orv::detail::FormatArgument> arguments) {
  const std::string_view bytes = format ? format : "";
  if (!format || !orv::detail::isAscii(bytes)) return stringWithFormatArguments(NSString(format), arguments);
  orv::detail::StringBuilder out;
  orv::detail::appendFormat(out, bytes, {arguments.begin(), arguments.size()});
  return out.finish();
}

NSString NSString::stringWithFormatArguments(const NSString& format,
                                             std::initializer_list<orv::detail::FormatArgument> arguments) {
  if (format.isNil()) return orv::nil;
  orv::detail::StringBuilder out;
  orv::detail::appendFormat(out, orv::detail::unitsOf(format), {arguments.begin(), arguments.size()});
  return out.finish();
}
