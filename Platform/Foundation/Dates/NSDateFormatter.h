#pragma once

#include <memory>

#include "Platform/Foundation/Dates/NSLocale.h"
#include "Platform/Foundation/Dates/NSTimeZone.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

// How much of a date or a time the locale's own forms tell.
enum NSDateFormatterStyle : NSInteger {
  NSDateFormatterNoStyle = 0,
  NSDateFormatterShortStyle = 1,
  NSDateFormatterMediumStyle = 2,
  NSDateFormatterLongStyle = 3,
  NSDateFormatterFullStyle = 4,
};

// Writes dates as text and reads them, by a pattern of Unicode TR35 ("yyyy-MM-dd HH:mm") or by a style of the
// locale.
//
// In a pattern letters are fields, text in single quotes stands for itself, '' is one quote, and a last quote
// without its pair is left out. A pattern with a letter that is no field writes "" and reads nothing.
//
// Reading is strict: the whole text counts, blanks at its ends apart; fields out of range, impossible days and
// skipped local times give nil. Names are read in any case, short or in full; a weekday that does not fit is
// ignored. A blank of the pattern takes any number of blanks, at least one. Fields next to each other take as
// many digits as they have letters, others all there are, so that "4:0" fits HH:mm. What a pattern does not
// name is taken from 2000-01-01 00:00, local time.
//
// An object with identity. Every member may be called from any thread; a lock inside keeps them apart. Patterns
// of plain fields in the locale en_US_POSIX are compiled once for the process and used outside the lock. A text
// of more than 65536 units, blanks at its ends apart, is no date.
//
//   Ref<NSDateFormatter> formatter = make<NSDateFormatter>();
//   formatter->setLocale(NSLocale::localeWithLocaleIdentifier("en_US_POSIX"));
//   formatter->setDateFormat("yyyy-MM-dd HH:mm");
//   NSDate date = formatter->dateFromString("2024-02-29 14:00");
class ORV_EXPORT NSDateFormatter : public NSObject {
 public:
  // No styles, the current locale, the local zone, strict.
  NSDateFormatter();
  ~NSDateFormatter() override;

  // A locale's form in the current locale and the local zone.
  static NSString localizedStringFromDate(const NSDate& date, NSDateFormatterStyle dateStyle,
                                          NSDateFormatterStyle timeStyle);

  // The pattern that was set, or that the styles stand for; "" with no style at all.
  NSString dateFormat() const;
  // Counts before the styles; nil goes back to them.
  void setDateFormat(const NSString& pattern);

  NSDateFormatterStyle dateStyle() const;
  NSDateFormatterStyle timeStyle() const;
  // A style takes the place of a pattern set before. Values that are no style do nothing.
  void setDateStyle(NSDateFormatterStyle style);
  void setTimeStyle(NSDateFormatterStyle style);

  // nil is the current locale, the local zone: at the time of each use.
  NSLocale locale() const;
  void setLocale(const NSLocale& locale);
  NSTimeZone timeZone() const;
  void setTimeZone(const NSTimeZone& zone);

  // Lenient reading carries fields out of range (February 31 is March 3).
  bool isLenient() const;
  void setLenient(bool lenient);
  // The first moment of the hundred years that a year of two digits stands for; 1950-01-01, local time.
  NSDate twoDigitStartDate() const;
  void setTwoDigitStartDate(const NSDate& date);

  // While on, the Gregorian calendar counts for all times, as ISO 8601 asks; off, the Julian one before
  // 1582-10-15.
  bool isProleptic() const;
  void setProleptic(bool proleptic);

  // nil for a nil date, "" for one further away than 5 million years.
  NSString stringFromDate(const NSDate& date) const;
  // nil for a text that does not fit.
  NSDate dateFromString(const NSString& text) const;

  NSString className() const override;

 private:
  struct State;
  const std::unique_ptr<State> state_;
};
