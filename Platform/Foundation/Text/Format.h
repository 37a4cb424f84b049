#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>

#include "Platform/Foundation/Text/FormatArgument.h"
#include "Platform/Foundation/Text/StringBuilder.h"
#include "Platform/Foundation/Values/NSString.h"

// The language of formats: printf's, with %@ for values.
//
//   %[n$][flags][width][.precision][length]conversion
//
//   conversions  @ (a value's description)  d i u o x X  c C (one unit)  s (UTF-8; Latin-1 where it is not)
//                S (UTF-16)  p  f F e E g G a A  %%
//   flags        - + 0 # blank; ' is accepted and does nothing
//   lengths      hh h l ll q z t j L; without one an integer has 32 bits, l and above have 64
//   width, precision   a number or *, also *n$; above 65535 they count as 65535
//
// Output never depends on the locale. Text of an argument is not scanned for conversions. No format is
// undefined: a missing argument prints as "(null)" where text is asked for and as 0 elsewhere, one of another
// class as what comes closest (a number for %@ prints as its boxed form, anything but a number for %d as 0),
// and a conversion that does not exist prints as it stands. Width and precision of %@ are ignored.
namespace orv::detail {

enum class FormatLength : uint8_t { Char, Short, Int, Long };

// One conversion of a format, as it is written.
struct Conversion {
  // A width or a precision: absent, a number, or an argument's.
  struct Amount {
    int value = -1;
    bool star = false;
    int argument = 0;
  };

  char letter = 0;   // 0: there is no such conversion
  int argument = 0;  // counted from 1; 0 is the next one
  bool left = false;
  bool plus = false;
  bool blank = false;
  bool alternate = false;
  bool zero = false;
  Amount width;
  Amount precision;
  FormatLength length = FormatLength::Int;
};

inline constexpr int kLargestAmount = 65535;

// Whether an ASCII character names a conversion.
inline constexpr std::array<bool, 128> kLetters = [] {
  std::array<bool, 128> letters{};
  for (const char known : std::string_view("@diuoxXcCsSpfFeEgGaA%"))
    letters[static_cast<unsigned char>(known)] = true;
  return letters;
}();

// Reads one conversion; `at` stands behind the %.
template <class Unit>
class ConversionReader {
 public:
  constexpr ConversionReader(const Unit* at, const Unit* end) : at_(at), end_(end) {}

  constexpr Conversion read() {
    Conversion c;
    c.argument = position();
    readFlags(c);
    readAmount(c.width);
    if (accept('.')) {
      c.precision.value = 0;
      readAmount(c.precision);
    }
    readLength(c);
    c.letter = letter();
    if (c.letter != 0) ++at_;
    return c;
  }
  constexpr const Unit* at() const { return at_; }

 private:
  constexpr bool sees(char c) const { return at_ < end_ && *at_ == static_cast<Unit>(c); }
  constexpr bool accept(char c) {
    if (!sees(c)) return false;
    ++at_;
    return true;
  }
  constexpr bool seesDigit() const { return at_ < end_ && *at_ >= '0' && *at_ <= '9'; }
  constexpr int number() {
    int value = 0;
    for (; seesDigit(); ++at_) {
      value = value * 10 + static_cast<int>(*at_ - '0');
      if (value > kLargestAmount) value = kLargestAmount;
    }
    return value;
  }
  // "n$", or 0 where there is none.
  constexpr int position() {
    const Unit* start = at_;
    const int value = number();
    if (value > 0 && accept('$')) return value;
    at_ = start;
    return 0;
  }
  constexpr void readFlags(Conversion& c) {
    for (; at_ < end_; ++at_) switch (*at_) {
        case '-': c.left = true; break;
        case '+': c.plus = true; break;
        case ' ': c.blank = true; break;
        case '#': c.alternate = true; break;
        case '0': c.zero = true; break;
        case '\'': break;
        default: return;
      }
  }
  constexpr void readAmount(Conversion::Amount& amount) {
    if (accept('*')) {
      amount.star = true;
      amount.argument = position();
    } else if (seesDigit()) {
      amount.value = number();
    }
  }
  constexpr void readLength(Conversion& c) {
    if (accept('h')) {
      c.length = accept('h') ? FormatLength::Char : FormatLength::Short;
    } else if (accept('l')) {
      accept('l');
      c.length = FormatLength::Long;
    } else if (accept('q') || accept('j') || accept('z') || accept('t')) {
      c.length = FormatLength::Long;
    } else {
      accept('L');
    }
  }
  constexpr char letter() const {
    if (at_ == end_) return 0;
    const auto unit = static_cast<std::make_unsigned_t<Unit>>(*at_);  // a char may be negative
    return unit < kLetters.size() && kLetters[unit] ? static_cast<char>(unit) : '\0';
  }

  const Unit* at_;
  const Unit* end_;
};

// Appends a format with its arguments filled in. The format is UTF-8, or code units.
ORV_EXPORT void appendFormat(StringBuilder& out, std::string_view format,
                             std::span<const FormatArgument> arguments);
ORV_EXPORT void appendFormat(StringBuilder& out, const Units& format,
                             std::span<const FormatArgument> arguments);

// What is wrong with a format: not defined and not constant, so that calling one of these while the compiler
// checks a format stops it with a name that tells the mistake.
void theFormatHasTooFewArguments();
void theFormatHasTooManyArguments();
void theFormatHasAnUnknownConversion();
void theArgumentMustBeAnObject();
void theArgumentMustBeAnInteger();
void theArgumentMustBeAFloatingPointNumber();
void theArgumentMustBeText();
void theArgumentMustBeAPointer();

// Checks a format against the classes of its arguments.
class FormatChecker {
 public:
  constexpr FormatChecker(const FormatClass* classes, size_t count) : classes_(classes), count_(count) {}

  constexpr void check(std::string_view format) {
    const char* end = format.data() + format.size();
    for (const char* at = format.data(); at < end;) {
      if (*at++ != '%') continue;
      ConversionReader<char> reader(at, end);
      checkConversion(reader.read());
      at = reader.at();
    }
    for (size_t i = 0; i < count_; ++i)
      if (!(used_ >> i & 1)) theFormatHasTooManyArguments();
  }

 private:
  constexpr void checkConversion(const Conversion& c) {
    if (c.letter == 0) theFormatHasAnUnknownConversion();
    if (c.width.star) checkArgument('d', c.width.argument);
    if (c.precision.star) checkArgument('d', c.precision.argument);
    if (c.letter != '%') checkArgument(c.letter, c.argument);
  }
  constexpr void checkArgument(char letter, int position) {
    const size_t index = position > 0 ? static_cast<size_t>(position - 1) : next_++;
    if (index >= count_) return theFormatHasTooFewArguments();
    used_ |= uint64_t{1} << index;
    checkClass(letter, classes_[index]);
  }
  static constexpr void checkClass(char letter, FormatClass given) {
    switch (letter) {
      case '@':
        if (given != FormatClass::Object) theArgumentMustBeAnObject();
        return;
      case 's':
        if (given != FormatClass::Bytes) theArgumentMustBeText();
        return;
      case 'S':
        if (given != FormatClass::Units) theArgumentMustBeText();
        return;
      case 'p':
        if (given != FormatClass::Pointer && given != FormatClass::Bytes && given != FormatClass::Units)
          theArgumentMustBeAPointer();
        return;
      case 'd':
      case 'i':
      case 'u':
      case 'o':
      case 'x':
      case 'X':
      case 'c':
      case 'C':
        if (given != FormatClass::Integer) theArgumentMustBeAnInteger();
        return;
      default:
        if (given != FormatClass::Double) theArgumentMustBeAFloatingPointNumber();
    }
  }

  const FormatClass* classes_;
  size_t count_;
  size_t next_ = 0;
  uint64_t used_ = 0;
};

// A format written in the program, checked by the compiler: conversions and arguments agree in number and
// class, or the call does not compile.
//
//   template <class... Args>
//   void say(orv::detail::FormatString<std::type_identity_t<Args>...> format, const Args&... args);
//   say("%@ has %d pages", title, 12);
template <class... Args>
class FormatString {
  static_assert(sizeof...(Args) <= 64, "A format takes up to 64 arguments");

 public:
  template <size_t N>
  consteval FormatString(const char (&format)[N]) : text_(format, N - 1) {
    constexpr FormatClass classes[] = {formatClassOf<Args>()..., FormatClass::Integer};
    FormatChecker(classes, sizeof...(Args)).check(text_);
  }
  constexpr std::string_view text() const { return text_; }
  NSString string() const { return NSString(text_); }

 private:
  std::string_view text_;
};

// The text of a checked format.
template <class... Args>
NSString formatted(FormatString<std::type_identity_t<Args>...> format, const Args&... args) {
  StringBuilder out;
  if constexpr (sizeof...(Args) == 0) {
    appendFormat(out, format.text(), {});
  } else {
    const FormatArgument arguments[] = {FormatArgument(args)...};
    appendFormat(out, format.text(), arguments);
  }
  return out.finish();
}

}  // namespace orv::detail
