// Regular expressions on "pattern, template, text", a line each: replacing is what the matches and their
// templates put together; the whole match put in its own place changes nothing; escaped texts stand for
// themselves.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Orvane/OrvLog.h"
#include "Platform/Foundation/Text/NSRegularExpression.h"

using namespace orv;

namespace {

constexpr size_t kLongestText = 64;  // loops within loops take their time

void require(bool law) {
  if (!law) std::abort();
}

std::string_view nextLine(std::string_view& input) {
  const size_t end = std::min(input.find('\n'), input.size());
  const std::string_view line = input.substr(0, end);
  input.remove_prefix(std::min(end + 1, input.size()));
  return line;
}

// A match at a time, by the template of each.
NSString replacedOneByOne(const NSRegularExpression& expression, const NSString& text,
                          const NSString& replacement) {
  NSString out = "";
  NSUInteger copied = 0;
  for (const Value& value : expression.matchesInString(text)) {
    const auto match = value.as<NSTextCheckingResult>();
    out = out + text.substringWithRange({copied, match->range().location - copied});
    out = out + expression.replacementStringForResult(*match, text, 0, replacement);
    copied = match->range().end();
  }
  return out + text.substringFromIndex(copied);
}

void checkEscapes(const NSString& text) {
  if (text.length() == 0) return;
  const auto itself =
      NSRegularExpression::regularExpressionWithPattern(NSRegularExpression::escapedPatternForString(text), 0);
  require(static_cast<bool>(itself));
  require(itself->rangeOfFirstMatchInString(text) == NSRange{0, text.length()});
  require(itself->stringByReplacingMatchesInString(text, NSRegularExpression::escapedTemplateForString(text)) ==
          text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  OrvLog::sharedObject()->setLevel(0);
  std::string_view input(reinterpret_cast<const char*>(data), size);
  const NSString pattern = NSString::stringWithLossyUTF8(nextLine(input));
  const NSString replacement = NSString::stringWithLossyUTF8(nextLine(input));
  const NSString text = NSString::stringWithLossyUTF8(input.substr(0, kLongestText));

  checkEscapes(text);
  const auto expression = NSRegularExpression::regularExpressionWithPattern(pattern, 0);
  if (!expression) return 0;
  bool lost = false;
  expression->enumerateMatchesInString(text, NSMatchingReportCompletion, NSRange{0, text.length()},
                                       [&](const Ref<NSTextCheckingResult>&, NSUInteger flags, bool&) {
                                         lost = (flags & NSMatchingInternalError) != 0;
                                       });
  require(lost || expression->stringByReplacingMatchesInString(text, "$0") == text);
  const NSString replaced = expression->stringByReplacingMatchesInString(text, replacement);
  require(replaced == (lost ? text : replacedOneByOne(*expression, text, replacement)));
  return 0;
}
