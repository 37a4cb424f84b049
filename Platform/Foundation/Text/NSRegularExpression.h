#pragma once

#include <functional>
#include <memory>

#include "Platform/Foundation/Text/NSTextCheckingResult.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSError.h"
#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

// How a pattern is read; values combine with |.
enum NSRegularExpressionOptions : NSUInteger {
  NSRegularExpressionCaseInsensitive = 1,
  NSRegularExpressionAllowCommentsAndWhitespace = 2,  // blanks and # to the end of a line mean nothing
  NSRegularExpressionIgnoreMetacharacters = 4,        // the pattern stands for itself
  NSRegularExpressionDotMatchesLineSeparators = 8,
  NSRegularExpressionAnchorsMatchLines = 16,      // ^ and $ match at each line
  NSRegularExpressionUseUnixLineSeparators = 32,  // only a line feed ends a line
  NSRegularExpressionUseUnicodeWordBoundaries = 64,
};

// How a text is searched; values combine with |.
enum NSMatchingOptions : NSUInteger {
  NSMatchingReportProgress = 1,           // the block is also called, without a result, during long searches
  NSMatchingReportCompletion = 2,         // ... and at the end
  NSMatchingAnchored = 4,                 // only at the beginning of the range
  NSMatchingWithTransparentBounds = 8,    // look-ahead sees beyond the range, as look-behind always does
  NSMatchingWithoutAnchoringBounds = 16,  // ^ and $ match at the ends of the text, not of the range
};

// What a block is told beside the result; values combine with |.
enum NSMatchingFlags : NSUInteger {
  NSMatchingProgress = 1,
  NSMatchingCompleted = 2,
  NSMatchingHitEnd = 4,       // the match reached the end of the range
  NSMatchingRequiredEnd = 8,  // more text could have changed the match
  NSMatchingInternalError = 16,
};

// A pattern of regular expressions, in ICU's syntax, and the searches with it. Ranges count UTF-16 code units.
//
// A template for replacing stands for itself but for `$` and digits, the text of a group: as many digits count
// as name a group that there is, and `$9` is empty where there are fewer. `\` takes the next character
// literally. A `$` without a digit is itself.
//
// Searches go from left to right; matches do not overlap, an empty one may stand at each position once. A
// search that loses itself (about a second on a short text, or the matcher's stack) ends as if nothing more
// were found, with one Warning; replacing then leaves the text as it is.
//
// Immutable; any thread may use it, several at the same time. The compiled form is kept for the process, so
// that making the same expression again costs a look-up.
//
//   auto expression = NSRegularExpression::regularExpressionWithPattern("(\\w+)@(\\w+)", 0);
//   expression->stringByReplacingMatchesInString("me@home", "$2: $1");   // "home: me"
class ORV_EXPORT NSRegularExpression : public NSObject {
 public:
  // Called for each match; `stop` ends the search. The result is null where only flags are reported.
  using Block = std::function<void(const orv::Ref<NSTextCheckingResult>& result, NSUInteger flags, bool& stop)>;

  // nil, with error 2048 of NSCocoaErrorDomain, for a pattern that is empty, nil or malformed.
  static orv::Ref<NSRegularExpression> regularExpressionWithPattern(const NSString& pattern, NSUInteger options,
                                                                    NSError* error = nullptr);

  // A pattern that matches the text itself; a template that stands for it.
  static NSString escapedPatternForString(const NSString& string);
  static NSString escapedTemplateForString(const NSString& string);

  NSString pattern() const;
  NSUInteger options() const;
  NSUInteger numberOfCaptureGroups() const;

  // Searches of a range; without one, of the whole text. A range that is not within the text raises
  // NSRangeException. A nil text has no match.
  void enumerateMatchesInString(const NSString& string, NSUInteger options, NSRange range,
                                const Block& block) const;
  NSArray matchesInString(const NSString& string, NSUInteger options, NSRange range) const;
  NSArray matchesInString(const NSString& string) const;
  NSUInteger numberOfMatchesInString(const NSString& string, NSUInteger options, NSRange range) const;
  NSUInteger numberOfMatchesInString(const NSString& string) const;
  orv::Ref<NSTextCheckingResult> firstMatchInString(const NSString& string, NSUInteger options,
                                                    NSRange range) const;
  orv::Ref<NSTextCheckingResult> firstMatchInString(const NSString& string) const;
  // NSRangeNotFound when there is none.
  NSRange rangeOfFirstMatchInString(const NSString& string, NSUInteger options, NSRange range) const;
  NSRange rangeOfFirstMatchInString(const NSString& string) const;

  // The text with the matches in the range replaced; nil for nil, the text itself for a nil template.
  NSString stringByReplacingMatchesInString(const NSString& string, NSUInteger options, NSRange range,
                                            const NSString& replacementTemplate) const;
  NSString stringByReplacingMatchesInString(const NSString& string, const NSString& replacementTemplate) const;
  // What a template becomes for one result of this expression, found `offset` units before in `string`.
  NSString replacementStringForResult(const NSTextCheckingResult& result, const NSString& string,
                                      NSInteger offset, const NSString& replacementTemplate) const;

  // Same pattern, same options.
  bool isEqual(const orv::Value& other) const override;
  size_t hash() const override;
  NSString className() const override;
  NSString description() const override;

  struct Compiled;  // ICU's form of the pattern
  NSRegularExpression(const NSString& pattern, NSUInteger options, std::shared_ptr<const Compiled> compiled);
  ~NSRegularExpression() override;

 private:
  // NSRegularExpression(Orvane) - Orvane/Categories/NSRegularExpression+Orvane.cpp
  void warnAboutLostSearch(const char* reason) const;

  struct Search;
  friend struct Search;

  const NSString pattern_;
  const NSUInteger options_;
  const std::shared_ptr<const Compiled> compiled_;
};
