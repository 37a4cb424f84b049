#include "Platform/Foundation/Text/NSNumberFormatter.h"

#include <unicode/dcfmtsym.h>
#include <unicode/decimfmt.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "Platform/Foundation/Text/Detail/NumberPattern.h"
#include "Platform/Foundation/Values/Detail/DecimalRep.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSDecimalNumber.h"

using namespace orv;
using namespace orv::detail;

namespace {

constexpr NSUInteger kMost = NumberPattern::kMostDigits;

NSString textOf(const std::u16string& text) { return StringFactory::fromUnits(text.data(), text.size()); }

// What a locale says about a style.
struct LocaleForm {
  std::u16string pattern = u"#";
  std::u16string decimalSeparator = u".", groupingSeparator = u",", minusSign = u"-";
  std::u16string notANumber = u"NaN", infinity = u"\u221E";
  char16_t zero = u'0';
};

std::u16string symbol(const icu::DecimalFormatSymbols& symbols,
                      icu::DecimalFormatSymbols::ENumberFormatSymbol which) {
  const icu::UnicodeString& text = symbols.getConstSymbol(which);
  return {text.getBuffer(), static_cast<size_t>(text.length())};
}

LocaleForm readLocale(const std::string& identifier, NSNumberFormatterStyle style) {
  UErrorCode status = U_ZERO_ERROR;
  const auto kind = style == NSNumberFormatterPercentStyle ? UNUM_PERCENT : UNUM_DECIMAL;
  const std::unique_ptr<icu::NumberFormat> format(
      icu::NumberFormat::createInstance(icu::Locale(identifier.c_str()), kind, status));
  const auto* decimal = dynamic_cast<const icu::DecimalFormat*>(format.get());
  LocaleForm form;
  if (U_FAILURE(status) || !decimal) return form;
  using Symbols = icu::DecimalFormatSymbols;
  const Symbols& symbols = *decimal->getDecimalFormatSymbols();
  form.decimalSeparator = symbol(symbols, Symbols::kDecimalSeparatorSymbol);
  form.groupingSeparator = symbol(symbols, Symbols::kGroupingSeparatorSymbol);
  form.minusSign = symbol(symbols, Symbols::kMinusSignSymbol);
  form.notANumber = symbol(symbols, Symbols::kNaNSymbol);
  form.infinity = symbol(symbols, Symbols::kInfinitySymbol);
  const std::u16string zero = symbol(symbols, Symbols::kZeroDigitSymbol);
  if (zero.size() == 1) form.zero = zero[0];
  if (style == NSNumberFormatterNoStyle) return form;
  icu::UnicodeString pattern;
  decimal->toPattern(pattern);
  form.pattern.assign(pattern.getBuffer(), static_cast<size_t>(pattern.length()));
  return form;
}

// Locales do not change, and asking for one takes long.
LocaleForm formOfLocale(const NSLocale& locale, NSNumberFormatterStyle style) {
  constexpr size_t kMostForms = 64;
  static std::mutex mutex;  // guards the forms
  static std::map<std::pair<std::string, NSUInteger>, LocaleForm> forms;
  const auto key = std::make_pair(locale.localeIdentifier().utf8(), static_cast<NSUInteger>(style));
  const std::lock_guard lock(mutex);
  if (const auto known = forms.find(key); known != forms.end()) return known->second;
  if (forms.size() >= kMostForms) forms.clear();
  return forms.emplace(key, readLocale(key.first, style)).first->second;
}

// Between what stands before and behind the digits of numbers with a sign.
struct Affixes {
  std::u16string prefix, suffix;
};

enum class Special { None, NotANumber, Infinite };

struct Number {
  NumberDigits digits;
  Special special = Special::None;
};

template <class Float>
Number numberOfFloat(Float value) {
  Number number;
  number.digits.negative = std::signbit(value);
  if (std::isnan(value)) return {{}, Special::NotANumber};
  if (std::isinf(value)) {
    number.special = Special::Infinite;
    return number;
  }
  char text[64];
  const char* end = std::to_chars(text, std::end(text), std::abs(value), std::chars_format::scientific).ptr;
  const char* mark = std::find(static_cast<const char*>(text), end, 'e');
  std::copy_if(static_cast<const char*>(text), mark, std::back_inserter(number.digits.digits),
               [](char c) { return c != '.'; });
  std::from_chars(mark + (mark[1] == '+' ? 2 : 1), end, number.digits.point);
  ++number.digits.point;
  return number;
}

Number numberOf(const NSNumber& value) {
  if (value.kind() == Kind::Double) {
    const bool single = Access::type(value) == 'f';
    return single ? numberOfFloat(value.floatValue()) : numberOfFloat(value.doubleValue());
  }
  const NSDecimal d = value.decimalValue();
  if (d.notANumber) return {{}, Special::NotANumber};
  NSDecimal mantissa = d;
  mantissa.exponent = 0;
  mantissa.negative = false;
  Number number{{mantissa.text(), 0, d.negative}, Special::None};
  number.digits.point = static_cast<int>(number.digits.digits.size()) + d.exponent;
  return number;
}

bool isBlank(char16_t unit) {
  return unit == ' ' || (unit >= '\t' && unit <= '\r') || unit == 0xA0 || unit == 0x202F;
}

std::u16string_view withoutFirstBlanks(std::u16string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  return text;
}

std::u16string_view withoutLastBlanks(std::u16string_view text) {
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace

struct NSNumberFormatter::State {
  mutable std::mutex mutex;  // guards all below
  NSNumberFormatterStyle style = NSNumberFormatterNoStyle;
  NSLocale locale;
  LocaleForm form;
  NSString positiveFormat, negativeFormat;
  NumberPattern pattern;  // of the positive numbers, with what was set since
  Affixes negative;       // of the negative format
  bool grouping = false;
  NumberRounding rounding = NumberRounding::HalfEven;
  NSUInteger width = 0;
  NSNumberFormatterPadPosition paddingPosition = NSNumberFormatterPadBeforePrefix;
  std::u16string padding = u" ";
  bool decimals = false;

  void takeStyle();
  bool takePattern(const std::u16string& text);
  bool takeNegative(const std::u16string& text);

  Affixes affixes(bool isNegative) const;
  std::u16string write(Number number) const;
  std::u16string layOut(const NumberDigits& digits) const;
  // Whether a group begins where so many digits are left.
  bool beginsGroup(size_t left) const;
  void appendGrouped(std::u16string& out, const std::string& digits) const;
  std::u16string padded(const Affixes& affixes, const std::u16string& body) const;

  NSNumber read(std::u16string_view text) const;
  NSNumber readUnpadded(std::u16string_view text) const;
  NSNumber readSigned(std::u16string_view text, bool isNegative) const;
  bool readDigits(std::u16string_view text, std::string& ascii) const;
  NSNumber numberOfAscii(std::string ascii, bool isNegative) const;
};

void NSNumberFormatter::State::takeStyle() {
  form = formOfLocale(locale, style);
  negativeFormat = nil;
  takePattern(form.pattern);
}

bool NSNumberFormatter::State::takePattern(const std::u16string& text) {
  auto parsed = NumberPattern::parse(text);
  if (!parsed) return false;
  if (!parsed->negative.empty() && !takeNegative(parsed->negative)) return false;
  pattern = std::move(*parsed);
  grouping = pattern.group > 0;
  positiveFormat = textOf(text);
  return true;
}

bool NSNumberFormatter::State::takeNegative(const std::u16string& text) {
  const auto parsed = NumberPattern::parse(text);
  if (!parsed) return false;
  negative = {parsed->prefix, parsed->suffix};
  negativeFormat = textOf(text);
  return true;
}

Affixes NSNumberFormatter::State::affixes(bool isNegative) const {
  if (!isNegative) return {pattern.prefix, pattern.suffix};
  return negativeFormat.isNil() ? Affixes{form.minusSign + pattern.prefix, pattern.suffix} : negative;
}

std::u16string NSNumberFormatter::State::write(Number number) const {
  switch (number.special) {
    case Special::NotANumber: return form.notANumber;
    case Special::Infinite: return padded(affixes(number.digits.negative), form.infinity);
    case Special::None: break;
  }
  if (pattern.percent) number.digits.point += 2;
  number.digits.round(pattern.maximumFraction, rounding);
  return padded(affixes(number.digits.negative), layOut(number.digits));
}

std::u16string NSNumberFormatter::State::layOut(const NumberDigits& digits) const {
  std::string whole = digits.integerPart();
  if (whole.size() > pattern.maximumInteger) whole.erase(0, whole.size() - pattern.maximumInteger);
  if (whole.size() < pattern.minimumInteger) whole.insert(0, pattern.minimumInteger - whole.size(), '0');
  std::string fraction = digits.fractionPart(pattern.maximumFraction);
  if (fraction.size() < pattern.minimumFraction)
    fraction.append(pattern.minimumFraction - fraction.size(), '0');
  if (whole.empty() && fraction.empty()) whole.push_back('0');

  std::u16string out;
  appendGrouped(out, whole);
  if (!fraction.empty() || pattern.showsSeparator) out += form.decimalSeparator;
  for (const char c : fraction) out += static_cast<char16_t>(form.zero + (c - '0'));
  return out;
}

bool NSNumberFormatter::State::beginsGroup(size_t left) const {
  if (!grouping || pattern.group == 0 || left < pattern.group) return false;
  return (left - pattern.group) % pattern.upperGroup == 0;
}

void NSNumberFormatter::State::appendGrouped(std::u16string& out, const std::string& digits) const {
  for (size_t i = 0; i < digits.size(); ++i) {
    if (i > 0 && beginsGroup(digits.size() - i)) out += form.groupingSeparator;
    out += static_cast<char16_t>(form.zero + (digits[i] - '0'));
  }
}

// One or two units; a blank where there is none.
static std::u16string firstCharacter(const std::u16string& text) {
  if (text.empty()) return u" ";
  return text.substr(0, detail::codePointAt(text.data(), text.size(), 0).units);
}

std::u16string NSNumberFormatter::State::padded(const Affixes& affixes, const std::u16string& body) const {
  const size_t length = affixes.prefix.size() + body.size() + affixes.suffix.size();
  const std::u16string one = firstCharacter(padding);
  std::u16string fill;
  while (length + fill.size() < width) fill += one;
  switch (paddingPosition) {
    case NSNumberFormatterPadBeforePrefix: break;
    case NSNumberFormatterPadAfterPrefix: return affixes.prefix + fill + body + affixes.suffix;
    case NSNumberFormatterPadBeforeSuffix: return affixes.prefix + body + fill + affixes.suffix;
    case NSNumberFormatterPadAfterSuffix: return affixes.prefix + body + affixes.suffix + fill;
  }
  return fill + affixes.prefix + body + affixes.suffix;
}

NSNumber NSNumberFormatter::State::read(std::u16string_view text) const {
  text = withoutLastBlanks(withoutFirstBlanks(text));
  const NSNumber whole = readUnpadded(text);
  if (!whole.isNil() || width == 0) return whole;
  const std::u16string one = firstCharacter(padding);
  while (text.starts_with(one)) text.remove_prefix(one.size());
  while (text.ends_with(one)) text.remove_suffix(one.size());
  return readUnpadded(text);
}

NSNumber NSNumberFormatter::State::readUnpadded(std::u16string_view text) const {
  if (text == form.notANumber && !text.empty())
    return decimals ? NSNumber(NSDecimalNumber::notANumber()) : NSNumber(std::nan(""));
  const NSNumber positive = readSigned(text, false);
  return positive.isNil() ? readSigned(text, true) : positive;
}

NSNumber NSNumberFormatter::State::readSigned(std::u16string_view text, bool isNegative) const {
  // The text comes without blanks at its ends, also those of a prefix and a suffix.
  const Affixes around = affixes(isNegative);
  const std::u16string_view prefix = withoutFirstBlanks(around.prefix),
                            suffix = withoutLastBlanks(around.suffix);
  if (text.size() < prefix.size() + suffix.size()) return nil;
  if (!text.starts_with(prefix) || !text.ends_with(suffix)) return nil;
  text.remove_prefix(prefix.size());
  text.remove_suffix(suffix.size());
  std::string ascii;
  return readDigits(text, ascii) ? numberOfAscii(std::move(ascii), isNegative) : NSNumber();
}

// Digits, with grouping separators between them, then the decimal separator and digits: as ASCII with a period.
bool NSNumberFormatter::State::readDigits(std::u16string_view text, std::string& ascii) const {
  bool fraction = false, any = false, afterDigit = false;
  while (!text.empty()) {
    const char16_t unit = text.front();
    const char16_t zero = unit >= '0' && unit <= '9' ? u'0' : form.zero;
    if (unit >= zero && unit <= zero + 9) {
      ascii += static_cast<char>('0' + (unit - zero));
      any = afterDigit = true;
      text.remove_prefix(1);
    } else if (!fraction && !form.decimalSeparator.empty() && text.starts_with(form.decimalSeparator)) {
      ascii += '.';
      fraction = true;
      text.remove_prefix(form.decimalSeparator.size());
    } else if (!fraction && afterDigit && grouping && !form.groupingSeparator.empty() &&
               text.starts_with(form.groupingSeparator)) {
      afterDigit = false;
      text.remove_prefix(form.groupingSeparator.size());
    } else {
      return false;
    }
  }
  return any && (afterDigit || fraction);
}

NSNumber NSNumberFormatter::State::numberOfAscii(std::string ascii, bool isNegative) const {
  if (isNegative) ascii.insert(ascii.begin(), '-');
  const char* const end = ascii.data() + ascii.size();
  int64_t integer = 0;
  if (!decimals && !pattern.percent && !(isNegative && ascii.find_first_not_of("-0") == std::string::npos)) {
    const auto [stop, error] = std::from_chars(ascii.data(), end, integer);
    if (error == std::errc() && stop == end) return integer;
  }
  if (pattern.percent) ascii += "e-2";
  if (decimals) {
    const NSDecimal value = NSDecimal::fromText(ascii);
    return value.notANumber ? NSNumber() : NSNumber(NSDecimalNumber(value));
  }
  double value = 0;
  const auto [stop, error] = std::from_chars(ascii.data(), ascii.data() + ascii.size(), value);
  return error == std::errc() ? NSNumber(value) : NSNumber();
}

NSNumberFormatter::NSNumberFormatter() : state_(std::make_unique<State>()) {
  state_->locale = NSLocale::currentLocale();
  state_->takeStyle();
}

NSNumberFormatter::~NSNumberFormatter() = default;

NSString NSNumberFormatter::localizedStringFromNumber(const NSNumber& number, NSNumberFormatterStyle style) {
  const auto formatter = make<NSNumberFormatter>();
  formatter->setNumberStyle(style);
  return formatter->stringFromNumber(number);
}

// Members that read or write one field under the lock.
#define ORV_LOCKED const std::lock_guard lock(state_->mutex)

NSNumberFormatterStyle NSNumberFormatter::numberStyle() const {
  ORV_LOCKED;
  return state_->style;
}

void NSNumberFormatter::setNumberStyle(NSNumberFormatterStyle style) {
  if (style > NSNumberFormatterPercentStyle || style == 2) return;
  ORV_LOCKED;
  state_->style = style;
  state_->takeStyle();
}

NSLocale NSNumberFormatter::locale() const {
  ORV_LOCKED;
  return state_->locale;
}

void NSNumberFormatter::setLocale(const NSLocale& locale) {
  ORV_LOCKED;
  state_->locale = locale.isNil() ? NSLocale::currentLocale() : locale;
  state_->takeStyle();
}

NSString NSNumberFormatter::positiveFormat() const {
  ORV_LOCKED;
  return state_->positiveFormat;
}

void NSNumberFormatter::setPositiveFormat(const NSString& format) {
  if (format.isNil()) return;
  ORV_LOCKED;
  state_->takePattern(format.utf16());
}

NSString NSNumberFormatter::negativeFormat() const {
  ORV_LOCKED;
  return state_->negativeFormat;
}

void NSNumberFormatter::setNegativeFormat(const NSString& format) {
  ORV_LOCKED;
  if (format.isNil())
    state_->negativeFormat = nil;
  else
    state_->takeNegative(format.utf16());
}

NSUInteger NSNumberFormatter::minimumIntegerDigits() const {
  ORV_LOCKED;
  return state_->pattern.minimumInteger;
}

void NSNumberFormatter::setMinimumIntegerDigits(NSUInteger digits) {
  ORV_LOCKED;
  state_->pattern.minimumInteger = std::min(digits, kMost);
  state_->pattern.maximumInteger = std::max(state_->pattern.maximumInteger, state_->pattern.minimumInteger);
}

NSUInteger NSNumberFormatter::maximumIntegerDigits() const {
  ORV_LOCKED;
  return state_->pattern.maximumInteger;
}

void NSNumberFormatter::setMaximumIntegerDigits(NSUInteger digits) {
  ORV_LOCKED;
  state_->pattern.maximumInteger = std::min(digits, kMost);
  state_->pattern.minimumInteger = std::min(state_->pattern.minimumInteger, state_->pattern.maximumInteger);
}

NSUInteger NSNumberFormatter::minimumFractionDigits() const {
  ORV_LOCKED;
  return state_->pattern.minimumFraction;
}

void NSNumberFormatter::setMinimumFractionDigits(NSUInteger digits) {
  ORV_LOCKED;
  state_->pattern.minimumFraction = std::min(digits, kMost);
  state_->pattern.maximumFraction = std::max(state_->pattern.maximumFraction, state_->pattern.minimumFraction);
}

NSUInteger NSNumberFormatter::maximumFractionDigits() const {
  ORV_LOCKED;
  return state_->pattern.maximumFraction;
}

void NSNumberFormatter::setMaximumFractionDigits(NSUInteger digits) {
  ORV_LOCKED;
  state_->pattern.maximumFraction = std::min(digits, kMost);
  state_->pattern.minimumFraction = std::min(state_->pattern.minimumFraction, state_->pattern.maximumFraction);
}

NSNumberFormatterRoundingMode NSNumberFormatter::roundingMode() const {
  ORV_LOCKED;
  return static_cast<NSNumberFormatterRoundingMode>(state_->rounding);
}

void NSNumberFormatter::setRoundingMode(NSNumberFormatterRoundingMode mode) {
  if (mode > NSNumberFormatterRoundHalfUp) return;
  ORV_LOCKED;
  state_->rounding = static_cast<NumberRounding>(mode);
}

bool NSNumberFormatter::usesGroupingSeparator() const {
  ORV_LOCKED;
  return state_->grouping;
}

void NSNumberFormatter::setUsesGroupingSeparator(bool uses) {
  ORV_LOCKED;
  state_->grouping = uses;
}

NSString NSNumberFormatter::groupingSeparator() const {
  ORV_LOCKED;
  return textOf(state_->form.groupingSeparator);
}

void NSNumberFormatter::setGroupingSeparator(const NSString& separator) {
  ORV_LOCKED;
  state_->form.groupingSeparator = separator.utf16();
}

NSUInteger NSNumberFormatter::groupingSize() const {
  ORV_LOCKED;
  return state_->pattern.group;
}

void NSNumberFormatter::setGroupingSize(NSUInteger size) {
  ORV_LOCKED;
  state_->pattern.group = state_->pattern.upperGroup = size;
}

NSString NSNumberFormatter::decimalSeparator() const {
  ORV_LOCKED;
  return textOf(state_->form.decimalSeparator);
}

void NSNumberFormatter::setDecimalSeparator(const NSString& separator) {
  ORV_LOCKED;
  state_->form.decimalSeparator = separator.utf16();
}

bool NSNumberFormatter::alwaysShowsDecimalSeparator() const {
  ORV_LOCKED;
  return state_->pattern.showsSeparator;
}

void NSNumberFormatter::setAlwaysShowsDecimalSeparator(bool shows) {
  ORV_LOCKED;
  state_->pattern.showsSeparator = shows;
}

NSString NSNumberFormatter::minusSign() const {
  ORV_LOCKED;
  return textOf(state_->form.minusSign);
}

void NSNumberFormatter::setMinusSign(const NSString& sign) {
  ORV_LOCKED;
  state_->form.minusSign = sign.utf16();
}

NSString NSNumberFormatter::notANumberSymbol() const {
  ORV_LOCKED;
  return textOf(state_->form.notANumber);
}

void NSNumberFormatter::setNotANumberSymbol(const NSString& symbol) {
  ORV_LOCKED;
  state_->form.notANumber = symbol.utf16();
}

NSUInteger NSNumberFormatter::formatWidth() const {
  ORV_LOCKED;
  return state_->width;
}

void NSNumberFormatter::setFormatWidth(NSUInteger width) {
  ORV_LOCKED;
  state_->width = std::min(width, kMost);
}

NSNumberFormatterPadPosition NSNumberFormatter::paddingPosition() const {
  ORV_LOCKED;
  return state_->paddingPosition;
}

void NSNumberFormatter::setPaddingPosition(NSNumberFormatterPadPosition position) {
  if (position > NSNumberFormatterPadAfterSuffix) return;
  ORV_LOCKED;
  state_->paddingPosition = position;
}

NSString NSNumberFormatter::paddingCharacter() const {
  ORV_LOCKED;
  return textOf(state_->padding);
}

void NSNumberFormatter::setPaddingCharacter(const NSString& character) {
  ORV_LOCKED;
  state_->padding = character.utf16();
}

bool NSNumberFormatter::generatesDecimalNumbers() const {
  ORV_LOCKED;
  return state_->decimals;
}

void NSNumberFormatter::setGeneratesDecimalNumbers(bool generates) {
  ORV_LOCKED;
  state_->decimals = generates;
}

NSString NSNumberFormatter::stringFromNumber(const NSNumber& number) const {
  if (number.isNil()) return nil;
  ORV_LOCKED;
  return textOf(state_->write(numberOf(number)));
}

NSNumber NSNumberFormatter::numberFromString(const NSString& text) const {
  if (text.isNil()) return nil;
  ORV_LOCKED;
  return state_->read(text.utf16());
}

NSString NSNumberFormatter::className() const { return "NSNumberFormatter"; }
