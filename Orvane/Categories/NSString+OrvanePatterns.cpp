#include "Orvane/OrvAssert.h"
#include "Platform/Foundation/Text/NSRegularExpression.h"
#include "Platform/Foundation/Values/NSString.h"

using namespace orv;

namespace {

constexpr NSUInteger kOptions =
    NSRegularExpressionCaseInsensitive | NSRegularExpressionDotMatchesLineSeparators;

Ref<NSRegularExpression> expressionOf(const Value& regex) {
  if (regex.isKindOf<NSRegularExpression>()) return regex.as<NSRegularExpression>();
  ORV_ASSERT_CLASS(regex, NSString);
  return NSRegularExpression::regularExpressionWithPattern(regex.toString(), kOptions);
}

}  // namespace

NSString NSString::replaceRegEx(const Value& regex, const NSString& replacementTemplate) const {
  if (isNil()) return nil;
  const auto expression = expressionOf(regex);
  return expression ? expression->stringByReplacingMatchesInString(*this, replacementTemplate) : *this;
}
