#pragma once

#include <memory>

#include "Platform/Foundation/Dates/NSLocale.h"
#include "Platform/Foundation/Values/NSNumber.h"
#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

// The patterns a formatter starts from.
enum NSNumberFormatterStyle : NSUInteger {
  NSNumberFormatterNoStyle = 0,       // "#": whole numbers
  NSNumberFormatterDecimalStyle = 1,  // the locale's, as "#,##0.###"
  NSNumberFormatterPercentStyle = 3,  // the locale's, as "#,##0%": numbers are shown times 100
};

// Where digits are cut off.
enum NSNumberFormatterRoundingMode : NSUInteger {
  NSNumberFormatterRoundCeiling = 0,   // towards plus infinity
  NSNumberFormatterRoundFloor = 1,     // towards minus infinity
  NSNumberFormatterRoundDown = 2,      // towards zero
  NSNumberFormatterRoundUp = 3,        // away from zero
  NSNumberFormatterRoundHalfEven = 4,  // to the nearest, halves to the even digit
  NSNumberFormatterRoundHalfDown = 5,  // to the nearest, halves towards zero
  NSNumberFormatterRoundHalfUp = 6,    // to the nearest, halves away from zero
};

enum NSNumberFormatterPadPosition : NSUInteger {
  NSNumberFormatterPadBeforePrefix = 0,
  NSNumberFormatterPadAfterPrefix = 1,
  NSNumberFormatterPadBeforeSuffix = 2,
  NSNumberFormatterPadAfterSuffix = 3,
};

// Writes numbers as text and reads them, by a pattern of Unicode TR35 ("#,##0.00") or by a style of the locale.
// It works on decimal digits, never on binary fractions: 2.345 lies exactly between 2.34 and 2.35.
//
// In a pattern 0 is a digit that is always there, # one that may be left out, the comma groups digits, the
// period separates the fraction; % shows the number times 100. Text around them stands for itself, in single
// quotes any,
// '' is one quote. What follows a semicolon is the negative format; without one, negative numbers have the
// minus sign in front of the positive form. Only the prefix and the suffix of a negative format count, its
// digits are those of the positive one. The comma and the period of a pattern stand for the separators that are
// set. A pattern that this does not describe is refused: setting it changes nothing.
//
// Rounding to nothing keeps the sign ("-0.00"). Not-a-number is "NaN", infinity is the sign for it.
//
// An object with identity. Every member may be called from any thread; a lock inside keeps them apart.
//
//   Ref<NSNumberFormatter> formatter = make<NSNumberFormatter>();
//   formatter->setNumberStyle(NSNumberFormatterDecimalStyle);
//   formatter->setPositiveFormat("#,##0.00");
//   NSString text = formatter->stringFromNumber(1234567.5);   // "1,234,567.50"
class ORV_EXPORT NSNumberFormatter : public NSObject {
 public:
  // No style, the current locale, halves to the even digit.
  NSNumberFormatter();
  ~NSNumberFormatter() override;

  // A number in a style of the current locale.
  static NSString localizedStringFromNumber(const NSNumber& number, NSNumberFormatterStyle style);

  NSNumberFormatterStyle numberStyle() const;
  // A style takes the place of the formats, digits and separators set before. Values that are no style do
  // nothing.
  void setNumberStyle(NSNumberFormatterStyle style);
  NSLocale locale() const;
  // Takes the style up again in the locale, see above; nil is the current locale at this moment.
  void setLocale(const NSLocale& locale);

  // The format of numbers of 0 and above sets the prefix, the suffix, the numbers of digits and the grouping;
  // nil changes nothing.
  NSString positiveFormat() const;
  void setPositiveFormat(const NSString& format);
  // nil while there is none of its own; nil goes back to the minus sign.
  NSString negativeFormat() const;
  void setNegativeFormat(const NSString& format);

  // Digits before and after the separator, 0 to 1000. Setting one beyond the other takes the other along; of a
  // number with more digits before the separator than the maximum the upper ones are left out.
  NSUInteger minimumIntegerDigits() const;
  void setMinimumIntegerDigits(NSUInteger digits);
  NSUInteger maximumIntegerDigits() const;
  void setMaximumIntegerDigits(NSUInteger digits);
  NSUInteger minimumFractionDigits() const;
  void setMinimumFractionDigits(NSUInteger digits);
  NSUInteger maximumFractionDigits() const;
  void setMaximumFractionDigits(NSUInteger digits);

  NSNumberFormatterRoundingMode roundingMode() const;
  void setRoundingMode(NSNumberFormatterRoundingMode mode);

  bool usesGroupingSeparator() const;
  void setUsesGroupingSeparator(bool uses);
  NSString groupingSeparator() const;
  void setGroupingSeparator(const NSString& separator);  // nil is ""
  // Digits in the group next to the separator, 0 for none.
  NSUInteger groupingSize() const;
  void setGroupingSize(NSUInteger size);
  NSString decimalSeparator() const;
  void setDecimalSeparator(const NSString& separator);  // nil is ""
  bool alwaysShowsDecimalSeparator() const;
  void setAlwaysShowsDecimalSeparator(bool shows);
  NSString minusSign() const;
  void setMinusSign(const NSString& sign);
  NSString notANumberSymbol() const;
  void setNotANumberSymbol(const NSString& symbol);

  // A text shorter than the width is filled up with the first character of the padding text, a blank unless
  // set. A width of 0, as at the beginning, pads nothing. Widths above 1000 are 1000.
  NSUInteger formatWidth() const;
  void setFormatWidth(NSUInteger width);
  NSNumberFormatterPadPosition paddingPosition() const;
  void setPaddingPosition(NSNumberFormatterPadPosition position);
  NSString paddingCharacter() const;
  void setPaddingCharacter(const NSString& character);

  // Whether reading gives decimal amounts; if not, integers where the text is one of 64 bits, else doubles.
  bool generatesDecimalNumbers() const;
  void setGeneratesDecimalNumbers(bool generates);

  // nil for nil.
  NSString stringFromNumber(const NSNumber& number) const;
  // The number that the whole text is, blanks and padding at its ends apart: prefix, digits, suffix. Grouping
  // separators may stand between digits before the decimal separator, where the format groups. nil for any
  // other text, and for amounts that a decimal cannot hold where decimals are asked for.
  NSNumber numberFromString(const NSString& text) const;

  NSString className() const override;

 private:
  struct State;
  const std::unique_ptr<State> state_;
};
