#pragma once

#include <memory>

#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/Value.h"

// A set of code points, U+0000 to U+10FFFF.
//
// Immutable; a copy is another reference to the same set, free and safe on every thread. Members are whole
// code points: a lone surrogate in a text is looked up as itself. Nil contains nothing.
//
//   NSCharacterSet vowels = NSCharacterSet::characterSetWithCharactersInString("aeiou");
//   vowels.longCharacterIsMember(U'e');                             // true
//   NSString bare = text.stringByTrimmingCharactersInSet(NSCharacterSet::whitespaceCharacterSet());
class ORV_EXPORT NSCharacterSet : public orv::Value {
 public:
  NSCharacterSet() = default;
  NSCharacterSet(orv::Nil) {}

  static bool accepts(const orv::Value& v) noexcept;

  // Unicode White_Space without the newlines: blank, tab, no-break and typographic spaces. The zero-width
  // space U+200B is none.
  static NSCharacterSet whitespaceCharacterSet();
  // Unicode White_Space.
  static NSCharacterSet whitespaceAndNewlineCharacterSet();
  // U+000A to U+000D, U+0085, U+2028 and U+2029.
  static NSCharacterSet newlineCharacterSet();
  // Letters, marks and numbers.
  static NSCharacterSet alphanumericCharacterSet();
  // The decimal digits of all scripts.
  static NSCharacterSet decimalDigitCharacterSet();
  // Letters and marks.
  static NSCharacterSet letterCharacterSet();
  // Upper-case and title-case letters.
  static NSCharacterSet uppercaseLetterCharacterSet();
  static NSCharacterSet lowercaseLetterCharacterSet();
  static NSCharacterSet punctuationCharacterSet();
  static NSCharacterSet symbolCharacterSet();
  // Controls and format characters.
  static NSCharacterSet controlCharacterSet();
  // Unassigned code points, non-characters and surrogates.
  static NSCharacterSet illegalCharacterSet();

  // What RFC 3986 lets stand unescaped in a part of a URL. The path set leaves out ";", which starts the
  // parameters of a path in older URLs; the host set includes the brackets and colons of an IPv6 address.
  static NSCharacterSet URLQueryAllowedCharacterSet();
  static NSCharacterSet URLPathAllowedCharacterSet();
  static NSCharacterSet URLHostAllowedCharacterSet();
  static NSCharacterSet URLFragmentAllowedCharacterSet();

  // Nil for nil.
  static NSCharacterSet characterSetWithCharactersInString(const NSString& characters);
  // The part of the range that lies within U+0000 to U+10FFFF.
  static NSCharacterSet characterSetWithRange(NSRange range);

  // A unit as a code point of its own.
  bool characterIsMember(char16_t unit) const noexcept { return longCharacterIsMember(unit); }
  bool longCharacterIsMember(char32_t codePoint) const noexcept;

  // Everything that is not in this set. Nil for nil.
  NSCharacterSet invertedSet() const;
  // The members of either set; nil counts as empty unless both are nil.
  NSCharacterSet setByAddingCharactersInSet(const NSCharacterSet& other) const;
  NSCharacterSet setByAddingCharactersInString(const NSString& characters) const;
  // The members of this set that are not among the characters.
  NSCharacterSet setByRemovingCharactersInString(const NSString& characters) const;
};
