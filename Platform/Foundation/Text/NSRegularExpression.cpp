#include "Platform/Foundation/Text/NSRegularExpression.h"

#include <unicode/regex.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Foundation/Text/StringBuilder.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSDictionary.h"

using namespace orv;

struct NSRegularExpression::Compiled {
  std::unique_ptr<icu::RegexPattern> pattern;
  NSUInteger groups = 0;
};

namespace {

using Compiled = NSRegularExpression::Compiled;

constexpr NSInteger kInvalidPattern = 2048;
constexpr std::u16string_view kMetacharacters = u"\\^$.|?*+()[]{}/#";

// ICU's form of a text: a view of wide units, a copy of others.
class Text {
 public:
  explicit Text(const NSString& string) : string_(string) {
    const detail::Units units = detail::unitsOf(string_);
    if (!units.wide) copy_.assign(units.narrow(), units.narrow() + units.length);
    const char16_t* data = units.wide ? units.wideData() : copy_.data();
    text_.setTo(false, data, static_cast<int32_t>(units.length));
  }
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;

  const icu::UnicodeString& unicode() const { return text_; }

 private:
  const NSString string_;
  std::u16string copy_;
  icu::UnicodeString text_;
};

uint32_t icuFlags(NSUInteger options) {
  constexpr std::pair<NSUInteger, uint32_t> kFlags[] = {
      {NSRegularExpressionCaseInsensitive, UREGEX_CASE_INSENSITIVE},
      {NSRegularExpressionAllowCommentsAndWhitespace, UREGEX_COMMENTS},
      {NSRegularExpressionDotMatchesLineSeparators, UREGEX_DOTALL},
      {NSRegularExpressionAnchorsMatchLines, UREGEX_MULTILINE},
      {NSRegularExpressionUseUnixLineSeparators, UREGEX_UNIX_LINES},
      {NSRegularExpressionUseUnicodeWordBoundaries, UREGEX_UWORD},
  };
  uint32_t flags = 0;
  for (const auto& [option, flag] : kFlags)
    if (options & option) flags |= flag;
  // An escaped pattern has blanks and # in it that count.
  return options & NSRegularExpressionIgnoreMetacharacters ? flags & ~static_cast<uint32_t>(UREGEX_COMMENTS)
                                                           : flags;
}

std::shared_ptr<const Compiled> compile(const NSString& pattern, NSUInteger options) {
  const bool literal = (options & NSRegularExpressionIgnoreMetacharacters) != 0;
  const Text text(literal ? NSRegularExpression::escapedPatternForString(pattern) : pattern);
  UErrorCode status = U_ZERO_ERROR;
  UParseError where;
  auto compiled = std::make_shared<Compiled>();
  compiled->pattern.reset(icu::RegexPattern::compile(text.unicode(), icuFlags(options), where, status));
  if (U_FAILURE(status) || !compiled->pattern) return nullptr;
  const std::unique_ptr<icu::RegexMatcher> matcher(compiled->pattern->matcher(status));
  if (U_FAILURE(status)) return nullptr;
  compiled->groups = static_cast<NSUInteger>(matcher->groupCount());
  return compiled;
}

// Compiling takes many times as long as a search.
std::shared_ptr<const Compiled> compiledOnce(const NSString& pattern, NSUInteger options) {
  constexpr size_t kMostPatterns = 256;
  using Key = std::pair<std::u16string, NSUInteger>;
  static std::mutex mutex;  // guards the patterns
  static auto* const patterns = new std::map<Key, std::shared_ptr<const Compiled>>;
  const Key key(pattern.utf16(), options);
  {
    const std::lock_guard lock(mutex);
    if (const auto known = patterns->find(key); known != patterns->end()) return known->second;
  }
  auto compiled = compile(pattern, options);
  if (!compiled) return nullptr;
  const std::lock_guard lock(mutex);
  if (patterns->size() >= kMostPatterns) patterns->clear();
  return patterns->emplace(key, std::move(compiled)).first->second;
}

NSRange rangeOfGroup(const icu::RegexMatcher& matcher, int32_t group) {
  UErrorCode status = U_ZERO_ERROR;
  const int32_t begin = matcher.start(group, status), end = matcher.end(group, status);
  if (U_FAILURE(status) || begin < 0) return NSRangeNotFound;
  return {static_cast<NSUInteger>(begin), static_cast<NSUInteger>(end - begin)};
}

std::vector<NSRange> rangesOf(const icu::RegexMatcher& matcher) {
  std::vector<NSRange> ranges;
  for (int32_t group = 0; group <= matcher.groupCount(); ++group)
    ranges.push_back(rangeOfGroup(matcher, group));
  return ranges;
}

NSUInteger flagsOf(const icu::RegexMatcher& matcher) {
  NSUInteger flags = 0;
  if (matcher.hitEnd()) flags |= NSMatchingHitEnd;
  if (matcher.requireEnd()) flags |= NSMatchingRequiredEnd;
  return flags;
}

NSRange wholeOf(const NSString& string) { return {0, string.length()}; }

// A template taken apart: pieces of text, and groups between them.
class Template {
 public:
  Template(const NSString& text, NSUInteger groups) : units_(text.utf16()), groups_(groups) {}

  // Calls `literal` with a unit, `group` with the number of a group that there is.
  template <class Literal, class Group>
  void expand(Literal literal, Group group) const {
    for (size_t i = 0; i < units_.size(); ++i) {
      const char16_t unit = units_[i];
      if (unit == '\\') {
        if (++i < units_.size()) literal(units_[i]);
      } else if (unit == '$' && isDigit(i + 1)) {
        const NSUInteger number = groupAt(++i);
        if (number <= groups_) group(number);
      } else {
        literal(unit);
      }
    }
  }

 private:
  bool isDigit(size_t i) const { return i < units_.size() && units_[i] >= '0' && units_[i] <= '9'; }

  // As many digits as name a group that there is, at least one; `i` becomes the last of them.
  NSUInteger groupAt(size_t& i) const {
    NSUInteger number = units_[i] - u'0';
    while (isDigit(i + 1) && number * 10 + (units_[i + 1] - u'0') <= groups_)
      number = number * 10 + (units_[++i] - u'0');
    return number;
  }

  const std::u16string units_;
  const NSUInteger groups_;
};

NSString withBackslashes(const NSString& string, std::u16string_view before) {
  if (string.isNil()) return nil;
  detail::StringBuilder out;
  const detail::Units units = detail::unitsOf(string);
  for (size_t i = 0; i < units.length; ++i) {
    if (before.find(units[i]) != std::u16string_view::npos) out.appendUnit(u'\\');
    out.appendUnit(units[i]);
  }
  return out.finish();
}

}  // namespace

// One walk over the matches in a text.
struct NSRegularExpression::Search {
  const NSRegularExpression& expression;
  const NSUInteger options;
  const Text text;
  std::function<bool()> onProgress;  // false stops

  Search(const NSRegularExpression& e, const NSString& string, NSUInteger o)
      : expression(e), options(o), text(string) {}

  static bool canSearch(const NSString& string) { return !string.isNil() && string.length() <= INT32_MAX; }

  static UBool progress(const void* context, int64_t) {
    return static_cast<const Search*>(context)->onProgress() ? 1 : 0;
  }

  std::unique_ptr<icu::RegexMatcher> matcher(NSRange range, UErrorCode& status) const {
    // In ten thousands of steps, for all matches together: generous for any text, a second or so for a short
    // one.
    const auto limit = std::min<int64_t>(3000 + text.unicode().length() / 200, INT32_MAX);
    std::unique_ptr<icu::RegexMatcher> made(expression.compiled_->pattern->matcher(text.unicode(), status));
    if (U_FAILURE(status)) return made;
    made->setTimeLimit(static_cast<int32_t>(limit), status);
    made->region(static_cast<int64_t>(range.location), static_cast<int64_t>(range.end()), status);
    made->useTransparentBounds((options & NSMatchingWithTransparentBounds) != 0);
    made->useAnchoringBounds((options & NSMatchingWithoutAnchoringBounds) == 0);
    if (onProgress) made->setFindProgressCallback(progress, this, status);
    return made;
  }

  // Calls `visit` with the matcher at each match until it answers false; false when the search got lost.
  template <class Visit>
  bool run(NSRange range, Visit visit) const {
    UErrorCode status = U_ZERO_ERROR;
    const auto walker = matcher(range, status);
    const bool once = (options & NSMatchingAnchored) != 0;
    while (U_SUCCESS(status) && (once ? walker->lookingAt(status) : walker->find(status)))
      if (!visit(*walker) || once) return true;
    if (U_SUCCESS(status) || status == U_REGEX_STOPPED_BY_CALLER) return true;
    expression.warnAboutLostSearch(u_errorName(status));
    return false;
  }
};

Ref<NSRegularExpression> NSRegularExpression::regularExpressionWithPattern(const NSString& pattern,
                                                                           NSUInteger options, NSError* error) {
  const bool usable = pattern.length() > 0 && pattern.length() <= INT32_MAX;
  auto compiled = usable ? compiledOnce(pattern, options) : nullptr;
  if (compiled) return make<NSRegularExpression>(pattern, options, std::move(compiled));
  if (error) {
    const NSDictionary info =
        pattern.isNil() ? NSDictionary::dictionary() : NSDictionary{{"NSInvalidValue", pattern}};
    *error = NSError::errorWithDomain(NSCocoaErrorDomain, kInvalidPattern, info);
  }
  return {};
}

NSRegularExpression::NSRegularExpression(const NSString& pattern, NSUInteger options,
                                         std::shared_ptr<const Compiled> compiled)
    : pattern_(pattern), options_(options), compiled_(std::move(compiled)) {}

NSRegularExpression::~NSRegularExpression() = default;

NSString NSRegularExpression::escapedPatternForString(const NSString& string) {
  return withBackslashes(string, kMetacharacters);
}

NSString NSRegularExpression::escapedTemplateForString(const NSString& string) {
  return withBackslashes(string, u"\\$");
}

NSString NSRegularExpression::pattern() const { return pattern_; }

NSUInteger NSRegularExpression::options() const { return options_; }

NSUInteger NSRegularExpression::numberOfCaptureGroups() const { return compiled_->groups; }

void NSRegularExpression::enumerateMatchesInString(const NSString& string, NSUInteger options, NSRange range,
                                                   const Block& block) const {
  if (!Search::canSearch(string) || !block) return;
  detail::requireRange(string, range);
  Search search(*this, string, options);
  bool stop = false;
  if (options & NSMatchingReportProgress) {
    search.onProgress = [&] {
      block({}, NSMatchingProgress, stop);
      return !stop;
    };
  }
  const bool done = search.run(range, [&](const icu::RegexMatcher& matcher) {
    block(NSTextCheckingResult::regularExpressionCheckingResultWithRanges(rangesOf(matcher)), flagsOf(matcher),
          stop);
    return !stop;
  });
  if (stop || !(options & NSMatchingReportCompletion)) return;
  block({}, done ? NSUInteger{NSMatchingCompleted} : NSMatchingCompleted | NSMatchingInternalError, stop);
}

NSArray NSRegularExpression::matchesInString(const NSString& string, NSUInteger options, NSRange range) const {
  const NSMutableArray matches = NSMutableArray::array();
  enumerateMatchesInString(
      string, options & ~NSUInteger{NSMatchingReportProgress | NSMatchingReportCompletion}, range,
      [&](const Ref<NSTextCheckingResult>& result, NSUInteger, bool&) { matches.addObject(result); });
  return matches;
}

NSArray NSRegularExpression::matchesInString(const NSString& string) const {
  return matchesInString(string, 0, wholeOf(string));
}

NSUInteger NSRegularExpression::numberOfMatchesInString(const NSString& string, NSUInteger options,
                                                        NSRange range) const {
  if (!Search::canSearch(string)) return 0;
  detail::requireRange(string, range);
  NSUInteger count = 0;
  Search(*this, string, options).run(range, [&](const icu::RegexMatcher&) { return ++count > 0; });
  return count;
}

NSUInteger NSRegularExpression::numberOfMatchesInString(const NSString& string) const {
  return numberOfMatchesInString(string, 0, wholeOf(string));
}

Ref<NSTextCheckingResult> NSRegularExpression::firstMatchInString(const NSString& string, NSUInteger options,
                                                                  NSRange range) const {
  if (!Search::canSearch(string)) return {};
  detail::requireRange(string, range);
  std::vector<NSRange> ranges;
  Search(*this, string, options).run(range, [&](const icu::RegexMatcher& matcher) {
    ranges = rangesOf(matcher);
    return false;
  });
  if (ranges.empty()) return {};
  return NSTextCheckingResult::regularExpressionCheckingResultWithRanges(std::move(ranges));
}

Ref<NSTextCheckingResult> NSRegularExpression::firstMatchInString(const NSString& string) const {
  return firstMatchInString(string, 0, wholeOf(string));
}

NSRange NSRegularExpression::rangeOfFirstMatchInString(const NSString& string, NSUInteger options,
                                                       NSRange range) const {
  if (!Search::canSearch(string)) return NSRangeNotFound;
  detail::requireRange(string, range);
  NSRange found = NSRangeNotFound;
  Search(*this, string, options).run(range, [&](const icu::RegexMatcher& matcher) {
    found = rangeOfGroup(matcher, 0);
    return false;
  });
  return found;
}

NSRange NSRegularExpression::rangeOfFirstMatchInString(const NSString& string) const {
  return rangeOfFirstMatchInString(string, 0, wholeOf(string));
}

NSString NSRegularExpression::stringByReplacingMatchesInString(const NSString& string, NSUInteger options,
                                                               NSRange range,
                                                               const NSString& replacementTemplate) const {
  if (!Search::canSearch(string) || replacementTemplate.isNil()) return string;
  detail::requireRange(string, range);
  const Template replacement(replacementTemplate, numberOfCaptureGroups());
  const Search search(*this, string, options);
  const char16_t* const units = search.text.unicode().getBuffer();
  detail::StringBuilder out;
  NSUInteger copied = 0;
  const auto copy = [&](NSRange part) { out.appendWide(units + part.location, part.length); };
  const bool done = search.run(range, [&](const icu::RegexMatcher& matcher) {
    const NSRange match = rangeOfGroup(matcher, 0);
    copy({copied, match.location - copied});
    copied = match.end();
    replacement.expand([&](char16_t unit) { out.appendUnit(unit); },
                       [&](NSUInteger group) {
                         const NSRange text = rangeOfGroup(matcher, static_cast<int32_t>(group));
                         if (text.isFound()) copy(text);
                       });
    return true;
  });
  if (!done) return string;
  copy({copied, string.length() - copied});
  return out.finish();
}

NSString NSRegularExpression::stringByReplacingMatchesInString(const NSString& string,
                                                               const NSString& replacementTemplate) const {
  return stringByReplacingMatchesInString(string, 0, wholeOf(string), replacementTemplate);
}

NSString NSRegularExpression::replacementStringForResult(const NSTextCheckingResult& result,
                                                         const NSString& string, NSInteger offset,
                                                         const NSString& replacementTemplate) const {
  if (string.isNil() || replacementTemplate.isNil()) return nil;
  detail::StringBuilder out;
  Template(replacementTemplate, numberOfCaptureGroups())
      .expand([&](char16_t unit) { out.appendUnit(unit); },
              [&](NSUInteger group) {
                NSRange range = result.rangeAtIndex(group);
                if (!range.isFound()) return;
                range.location += static_cast<NSUInteger>(offset);
                out.append(string.substringWithRange(range));
              });
  return out.finish();
}

bool NSRegularExpression::isEqual(const Value& other) const {
  const auto expression = other.as<NSRegularExpression>();
  return expression && expression->pattern_ == pattern_ && expression->options_ == options_;
}

size_t NSRegularExpression::hash() const { return pattern_.hash() ^ options_; }

NSString NSRegularExpression::className() const { return "NSRegularExpression"; }

NSString NSRegularExpression::description() const {
  return NSString::stringWithFormat("<NSRegularExpression: %@ %#lx>", pattern_, options_);
}
