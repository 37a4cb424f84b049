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
class NSDictionary;
class NSMutableAttributedString;
class NSMutableArray;
class NSMutableDictionary;
class NSURL;

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

// The names of text transforms, for stringByApplyingTransform. Each is its own text, an ICU transform
// identifier.
class NSString;
extern ORV_EXPORT const NSString NSStringTransformToLatin;  // any script, in the letters of Latin
extern ORV_EXPORT const NSString NSStringTransformLatinToArabic;
extern ORV_EXPORT const NSString NSStringTransformLatinToCyrillic;
extern ORV_EXPORT const NSString NSStringTransformLatinToGreek;
extern ORV_EXPORT const NSString NSStringTransformLatinToHangul;
extern ORV_EXPORT const NSString NSStringTransformLatinToHebrew;
extern ORV_EXPORT const NSString NSStringTransformLatinToHiragana;
extern ORV_EXPORT const NSString NSStringTransformLatinToKatakana;
extern ORV_EXPORT const NSString NSStringTransformLatinToThai;
extern ORV_EXPORT const NSString NSStringTransformHiraganaToKatakana;
extern ORV_EXPORT const NSString NSStringTransformMandarinToLatin;
extern ORV_EXPORT const NSString NSStringTransformFullwidthToHalfwidth;
extern ORV_EXPORT const NSString NSStringTransformToXMLHex;       // everything as &#x41;
extern ORV_EXPORT const NSString NSStringTransformToUnicodeName;  // everything as \N{LATIN SMALL LETTER A}
extern ORV_EXPORT const NSString NSStringTransformStripCombiningMarks;  // é to e; all non-spacing marks
extern ORV_EXPORT const NSString NSStringTransformStripDiacritics;  // é to e; keeps marks that make letters

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

  // The text through a transform: one of the constants above or any other ICU transform identifier. nil for a
  // transform that does not exist or has no reverse. A lone surrogate passes unchanged. A transform is built at
  // its first use, which for the large ones takes 10 ms, and kept.
  NSString stringByApplyingTransform(const NSString& transform, bool reverse) const;

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

  // NSString(Orvane) - Orvane/Categories/NSString+Orvane.cpp
  // White space is Unicode White_Space, U+200B not included. A text that needs no change is answered itself.

  // Nothing but white space; "" is blank, nil is not.
  bool isBlank() const;
  // "" or nothing left by `strip`. nil is not empty.
  bool empty() const;
  // The argument for a blank text; nil for nil.
  NSString stringValueWithDefault(const NSString& defaultString) const;
  // Trims white space, then unassigned code points, then U+FFFC, which attachments leave behind, each from both
  // ends. Kept: one pass in this order, so white space inside unassigned code points stays.
  NSString strip() const;
  // Without the white space at the start.
  NSString lstrip() const;
  // Without the members at the start, looked up unit by unit: a surrogate pair counts as its two surrogates,
  // not as its code point. A nil set drops nothing.
  NSString stringByLTrimmingCharactersInSet(const NSCharacterSet& set) const;
  // The words between white space; none is empty.
  NSMutableArray split() const;
  // The pieces between separators, empty ones kept; an empty or nil separator gives the whole text.
  NSMutableArray splitBy(const NSString& separator) const;
  // The words with one blank between them.
  NSString collapse() const;
  // Every line collapsed. Kept: lines that are left with less than two code units are dropped, not only empty
  // ones.
  NSString collapseLines() const;
  // Without any white space.
  NSString stripAllBlanks() const;
  // Unit by unit; an empty or nil text is never contained.
  bool contains(const NSString& substring) const;
  // A loose test that lets every address pass: it holds "@" or ".".
  bool isValidEmail() const;
  // From an index up to, not including, another; negative ones count from the end. Kept: `to` 0 is the end of
  // the text. Indices beyond the text are cut; a surrogate pair may be cut in two. nil for nil.
  NSString sliceFrom(long from, long to) const;
  // 0 and the length.
  NSRange range() const;

  // Every occurrence replaced by the replacement's toString. Asserts softly that the pattern is a string;
  // another pattern counts by its toString. A nil or untrue pattern (see Value::isTrue), or a nil replacement,
  // changes nothing.
  NSString replace(const orv::Value& pattern, const orv::Value& replacement) const;
  // For HTML: & < > and the double quote as entities; the apostrophe is left alone.
  NSString escape() const;
  // The same, and line feeds as "<br/>".
  NSString escapeWithBreakLine() const;
  // Between double quotes, for logs. A text with a control character below 32, a double quote or a backslash is
  // escaped as in C, unnamed controls as \u000b; only in such a text the apostrophe, too.
  NSString repr() const;

  // UTF-8; nil when the text has a lone surrogate.
  NSData data() const;
  // nil when the bytes are not UTF-8.
  static NSString stringWithData(const NSData& data);
  // A new random UUID (version 4): 36 characters, upper-case with hyphens; and as 32 lower-case digits.
  static NSString uuid();
  static NSString uuidShort();
  // A pronounceable word of 2 to 11 ASCII letters, consonants and vowels in turn, a vowel last. From the
  // system's random source; made for names of things, not for secrets.
  static NSString randomString();
  // Capitalised words with blanks between; "" for 0 or less.
  static NSString randomWords(long count);

  // NSString(Orvane) - Orvane/Categories/NSString+OrvaneQuery.cpp

  // Escapes what is not ASCII and blank " # % / : < > ? @ [ \ ] ^ ` { } | + line feed, tab, carriage return.
  // Kept: & and = stay, so a value that holds them is not protected. nil when the text has a lone surrogate.
  NSString urlEncode() const;
  // "a=1&b=2%203": keys sorted, each with its value's toString, both as urlEncode writes them. A part that
  // cannot be encoded reads "(null)". nil gives "".
  static NSString queryStringWithDictionary(const NSDictionary& dictionary);
  // The pairs in the dictionary's own order behind "?", or "&" when the text has a "?" already. An empty or nil
  // dictionary appends that character alone.
  NSString addQuery(const NSDictionary& dictionary) const;
  // The values of "a=1&b=2" under their keys. Values are decoded, keys are not, "+" is no blank; what follows a
  // second "=" is dropped; a value that cannot be decoded removes its key. Raises NSRangeException for a piece
  // without "=", so also for "".
  NSMutableDictionary parseQuery() const;
  // The host without "www."; the text itself when it is no URL or has no host.
  NSString humanizeURL() const;
  // nil when the text is no URL, see NSURL::URLWithString.
  NSURL URL() const;

  // NSString(Orvane) - Orvane/Categories/NSString+OrvaneDistance.cpp

  // Levenshtein's distance in code units: the fewest insertions, deletions and substitutions that turn one text
  // into the other. -1 when either is empty or nil; 0 for nil itself. Exact at every length; time grows with
  // the product of the lengths, divided by 64, memory with the shorter text.
  int64_t computeLevenshteinDistanceWithString(const NSString& other) const;
  // The distance divided by the mean of the lengths: 0 for equal texts, at most 2; 1 when either is empty.
  double computeLevenshteinDistanceQuotientWithString(const NSString& other) const;

  // NSString(Orvane) - Orvane/Categories/NSString+OrvaneLatin.cpp

  // In Latin letters without accents: "Москва" is "Moskva", "Müller" is "Muller". Letters that are no accented
  // form of another stay (ß, Ø), and so does everything without a Latin form.
  NSString stringByTransformingToPlainLatin() const;
  // A safe name for a file: plain Latin, / \ ? % * | " < > ( ) [ ] { } replaced (nil: removed), stripped, then
  // the first 250 code units. Leading dots, ":" and reserved names are not touched.
  NSString stringBySanitizingFileNameWithReplacement(const NSString& replacement) const;
  NSString stringBySanitizingFileName() const;
  // The same for a path: "/" stays, the others are removed.
  NSString stringBySanitizingFileNameAcceptFolderSlashes() const;

  // NSString(OrvaneJSON) - Orvane/Categories/NSObject+OrvaneJSON.cpp

  // The tree of a JSON text, all containers mutable; nil, and no log line, when it is none.
  orv::Value fromJSON() const;

  // NSString(OrvaneAttributed) - Orvane/Categories/NSString+OrvaneAttributed.cpp

  // The text to be styled, without or with attributes on the whole of it. Nil: nil.
  NSMutableAttributedString attributedString() const;
  NSMutableAttributedString attributedStringWithAttributes(const NSDictionary& attributes) const;

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
