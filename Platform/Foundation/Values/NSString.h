#pragma once

#include <compare>
#include <initializer_list>
#include <string>
#include <string_view>

#include "Platform/Foundation/Text/FormatArgument.h"
#include "Platform/Foundation/Values/Value.h"

class NSArray;
class NSCharacterSet;
class NSData;

// How strings are compared and searched; values combine with |.
enum NSStringCompareOptions : NSUInteger {
  NSCaseInsensitiveSearch = 1,
  NSLiteralSearch = 2,
  NSBackwardsSearch = 4,
  NSAnchoredSearch = 8,
  NSNumericSearch = 64,
};

enum NSStringEncoding : NSUInteger {
  NSASCIIStringEncoding = 1,
  NSUTF8StringEncoding = 4,
  NSISOLatin1StringEncoding = 5,
};

// A text: a sequence of UTF-16 code units. Every length, index and range counts code units.
//
// Immutable; a copy is another reference to the same text, free and safe on every thread. Texts whose
// units are all below 0x100 take one byte a unit, others two. Nil is the absent text and differs from "";
// every operation on nil answers false, 0 or nil.
//
//   NSString name = "J\u00fcrgen";            // UTF-8 in, checked at run time: malformed text is nil
//   NSString line = NSString::stringWithFormat("%@ (%d)", name, 7);
//   std::cout << line.utf8();                 // UTF-8 out
class ORV_EXPORT NSString : public orv::Value {
 public:
  NSString() = default;
  NSString(orv::Nil) {}
  // Strict UTF-8: overlong forms, surrogates, values above U+10FFFF and cut-off tails give nil; zero bytes
  // are text, except in the zero-terminated forms, which end at the first. A null pointer gives nil.
  NSString(const char* utf8);
  NSString(std::string_view utf8);
  NSString(const std::string& utf8) : NSString(std::string_view(utf8)) {}
  NSString(std::u8string_view utf8);
  NSString(const char8_t* utf8);
  NSString(std::nullptr_t) {}
  // Any code units, lone surrogates included.
  NSString(std::u16string_view utf16);
  NSString(const std::u16string& utf16) : NSString(std::u16string_view(utf16)) {}
  NSString(const char16_t* utf16);

  static bool accepts(const orv::Value& v) noexcept { return v.kind() == orv::Kind::String; }

  // Malformed UTF-8 becomes U+FFFD, one for each maximal ill-formed part (Unicode 15, table 3-8).
  static NSString stringWithLossyUTF8(std::string_view bytes);
  static NSString stringWithLatin1(std::string_view bytes);
  // File-system names are bytes: those that are not UTF-8 become the lone surrogates U+DC80 to U+DCFF, which
  // `fileSystemRepresentation` turns back, so that every name survives the trip.
  static NSString stringWithFileSystemRepresentation(std::string_view bytes);
  // One code point, as one or two units; nil above U+10FFFF.
  static NSString stringWithCodePoint(char32_t codePoint);
  // The bytes in an encoding; nil when they are not valid in it, or the encoding is unknown.
  static NSString stringWithDataEncoding(const NSData& data, NSStringEncoding encoding);
  // printf's language with %@ for any value; see Platform/Foundation/Text/Format.h. A nil format is nil.
  template <class... Args>
  static NSString stringWithFormat(const NSString& format, const Args&... args);
  template <class... Args>
  static NSString stringWithFormat(const char* format, const Args&... args);
  static NSString stringWithFormatArguments(const NSString& format,
                                            std::initializer_list<orv::detail::FormatArgument> arguments);
  static NSString stringWithFormatArguments(const char* format,
                                            std::initializer_list<orv::detail::FormatArgument> arguments);

  NSUInteger length() const noexcept;
  // The unit at an index. Raises NSRangeException past the end; nil answers 0.
  char16_t characterAtIndex(NSUInteger index) const;

  // UTF-8; each lone surrogate becomes U+FFFD. Nil gives an empty string.
  std::string utf8() const;
  std::u16string utf16() const;
  // The bytes to hand to the file system: UTF-8, U+DC80 to U+DCFF as the bytes they stand for.
  std::string fileSystemRepresentation() const;
  // nil when the encoding cannot hold the text: UTF-8 a lone surrogate, ASCII and Latin-1 a larger unit.
  NSData dataUsingEncoding(NSStringEncoding encoding) const;

  // Unit by unit, no normalisation.
  bool isEqualToString(const NSString& other) const noexcept;
  // By code unit; canonically equivalent texts are equal unless NSLiteralSearch is given. Case is ignored by
  // full case folding; with NSNumericSearch runs of ASCII digits compare by their value. Everything sorts
  // above nil.
  NSComparisonResult compare(const NSString& other, NSUInteger options = 0) const;
  NSComparisonResult caseInsensitiveCompare(const NSString& other) const;

  // An empty or nil text is never a prefix, a suffix or contained: a missing root path is no root path.
  bool hasPrefix(const NSString& prefix) const noexcept;
  bool hasSuffix(const NSString& suffix) const noexcept;
  bool containsString(const NSString& text) const noexcept;
  // The first occurrence (the last with NSBackwardsSearch), NSRangeNotFound when there is none. Texts match
  // unit by unit, or by full case folding, "STRASSE" and "Stra\u00dfe"; with NSAnchoredSearch only at the start
  // (the end with NSBackwardsSearch). A range past the end raises NSRangeException.
  NSRange rangeOfString(const NSString& text, NSUInteger options = 0) const;
  NSRange rangeOfStringInRange(const NSString& text, NSUInteger options, NSRange range) const;
  NSRange rangeOfCharacterFromSet(const NSCharacterSet& set, NSUInteger options = 0) const;

  // Parts of the text. Raise NSRangeException past the end. A large part of a text shares its storage.
  NSString substringFromIndex(NSUInteger index) const;
  NSString substringToIndex(NSUInteger index) const;
  NSString substringWithRange(NSRange range) const;

  // A nil argument is appended as nothing.
  NSString stringByAppendingString(const NSString& tail) const;
  template <class... Args>
  NSString stringByAppendingFormat(const NSString& format, const Args&... args) const;
  // Left to right, not overlapping. An empty or nil target, or a nil replacement, changes nothing.
  NSString stringByReplacingOccurrencesOfString(const NSString& target, const NSString& replacement) const;
  NSString stringByTrimmingCharactersInSet(const NSCharacterSet& set) const;
  // Cut, or filled up with repetitions of the pad from its unit `startingAt` on; an empty or nil pad fills up
  // nothing. Raises NSRangeException when the pad has no such unit.
  NSString stringByPaddingToLength(NSUInteger length, const NSString& pad, NSUInteger startingAt) const;

  // Pieces between the separators, empty ones kept: n separators give n + 1 pieces. An empty or nil
  // separator gives the whole text as the one piece.
  NSArray componentsSeparatedByString(const NSString& separator) const;
  NSArray componentsSeparatedByCharactersInSet(const NSCharacterSet& set) const;

  // Full Unicode mapping in the root locale; the length may change.
  NSString uppercaseString() const;
  NSString lowercaseString() const;
  NSString capitalizedString() const;

  // Normalisation forms of Unicode Annex 15.
  NSString decomposedStringWithCanonicalMapping() const;
  NSString precomposedStringWithCanonicalMapping() const;

  // Numbers at the start of the text, after blanks; what follows them is ignored, no number is 0. Integers
  // are decimal and clamp at the limits of their type; doubles are read as in the C locale.
  bool boolValue() const;
  int32_t intValue() const;
  NSInteger integerValue() const;
  int64_t longLongValue() const;
  double doubleValue() const;
  float floatValue() const;

  // Paths as text; the disk is never asked. Repeated slashes collapse, a trailing slash is dropped first.
  NSString lastPathComponent() const;
  NSString pathExtension() const;
  NSString stringByDeletingPathExtension() const;
  NSString stringByDeletingLastPathComponent() const;
  NSString stringByAppendingPathComponent(const NSString& component) const;
  // nil when there is no name to extend ("" or "/").
  NSString stringByAppendingPathExtension(const NSString& extension) const;
  NSArray pathComponents() const;
  // True for a path that begins with a slash or a tilde.
  bool isAbsolutePath() const noexcept;
  // A leading "~" or "~user" becomes that home folder; an unknown user changes nothing.
  NSString stringByExpandingTildeInPath() const;
  // Expands the tilde, collapses "//" and "/./", and resolves ".." in absolute paths.
  NSString stringByStandardizingPath() const;

  // RFC 3986: every code point outside the set as the %XX of its UTF-8 bytes, upper-case; code points above
  // U+007F always. nil for a text with a lone surrogate.
  NSString stringByAddingPercentEncodingWithAllowedCharacters(const NSCharacterSet& allowed) const;
  // nil when a % is not followed by two hexadecimal digits, or the bytes are not UTF-8.
  NSString stringByRemovingPercentEncoding() const;

  // Concatenation; nil counts as nothing unless both are nil.
  friend ORV_EXPORT NSString operator+(const NSString& a, const NSString& b);
  friend std::strong_ordering operator<=>(const NSString& a, const NSString& b) {
    return static_cast<int>(a.isNil() ? (b.isNil() ? NSOrderedSame : NSOrderedAscending)
                                      : a.compare(b, NSLiteralSearch)) <=> 0;
  }
  friend bool operator==(const NSString& a, const NSString& b) noexcept {
    return a.isSame(b) || a.isEqualToString(b);
  }

  // NSString(OrvaneData) - Orvane/Categories/NSString+OrvaneData.cpp

  // Standard Base64 (RFC 4648, section 4), strict: padded, no line ends, nothing outside the alphabet. nil
  // for anything else; "" is empty data.
  NSData dataFromBase64() const;
  // URL-safe Base64 without padding, as canonicalBase64String writes it. Kept: a text whose length leaves
  // remainder 3 when divided by 4 is padded wrongly and gives nil; callers depend on it.
  NSData dataFromCanonicalBase64() const;
  // Digests of the UTF-8 bytes, lower-case hexadecimal. An empty text asserts softly and gives the digest
  // of no bytes; nil gives nil.
  NSString zuSHA1HexString() const;
  NSString zuSHA256HexString() const;
  NSString zuSHA2HexString() const;  // the same as zuSHA256HexString

  // NSString(Orvane) - Orvane/Categories/NSString+OrvanePatterns.cpp

  // Every match replaced by the template (see NSRegularExpression: `$1` is a group's text). The pattern is an
  // NSRegularExpression, or a string, which is read with case ignored and a period that takes line ends, too;
  // anything else asserts softly and counts by its `toString`. The text itself where the pattern is none or the
  // template is nil.
  NSString replaceRegEx(const Value& regex, const NSString& replacementTemplate) const;

  // NSString(Orvane) - Orvane/Categories/NSString+OrvaneFetch.cpp

  // The text that the main bundle's table Localizable has under this key; the key itself where it has none.
  NSString lc() const;
  // The contents of the http, https or file URL that this text is, read as UTF-8. Follows redirects on the
  // web and waits for all of it, up to 60 s; nil on any failure, also for more than 64 MiB and for bytes
  // that are not UTF-8.
  NSString fetch() const;
};

template <class... Args>
NSString NSString::stringWithFormat(const NSString& format, const Args&... args) {
  return stringWithFormatArguments(format, {orv::detail::FormatArgument(args)...});
}

template <class... Args>
NSString NSString::stringWithFormat(const char* format, const Args&... args) {
  return stringWithFormatArguments(format, {orv::detail::FormatArgument(args)...});
}

template <class... Args>
NSString NSString::stringByAppendingFormat(const NSString& format, const Args&... args) const {
  return stringByAppendingString(stringWithFormat(format, args...));
}
