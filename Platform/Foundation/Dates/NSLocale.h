#pragma once

#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/Value.h"

// The habits of a language in a region: names, order and digits of dates and numbers, the first day of a week.
//
// Immutable; a copy is another reference to the same locale, free and safe on every thread. Two are equal when
// their identifiers are. Nil answers nil and 0; services that take a locale read nil as the current one.
//
//   NSLocale german = NSLocale::localeWithLocaleIdentifier("de-DE");
//   german.localeIdentifier();                                       // "de_DE"
//   NSLocale fixed = NSLocale::localeWithLocaleIdentifier("en_US_POSIX");   // the same on every machine
class ORV_EXPORT NSLocale : public orv::Value {
 public:
  NSLocale() = default;
  NSLocale(orv::Nil) {}

  static bool accepts(const orv::Value& v) noexcept;

  // Any identifier, hyphens or underscores; unknown parts are kept and have no effect. nil for nil.
  static NSLocale localeWithLocaleIdentifier(const NSString& identifier);
  // The user's, from the first of LC_ALL, LC_TIME and LANG that is set and not empty. The environment is read
  // in each call. "C", "POSIX" and no setting at all are "en_US_POSIX".
  static NSLocale currentLocale();

  // With underscores, language in lower and region in upper case: "en_US", "zh_Hant_TW".
  NSString localeIdentifier() const;
  // "en", "US"; "" where the identifier has none.
  NSString languageCode() const;
  NSString countryCode() const;

  // The first day of the week, 1 Sunday to 7 Saturday, and the days that a year's first week has at least.
  NSInteger firstWeekday() const;
  NSInteger minimumDaysInFirstWeek() const;
};
