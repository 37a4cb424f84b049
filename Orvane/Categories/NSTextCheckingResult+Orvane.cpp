#include "Platform/Foundation/Text/NSTextCheckingResult.h"

#include <algorithm>

#include "Platform/Foundation/Values/NSString.h"

using namespace orv;

namespace {

NSString textIn(const NSString& string, NSRange range) {
  if (string.isNil()) return nil;
  if (!range.isFound()) return "";
  const NSUInteger begin = std::min(range.location, string.length());
  return string.substringWithRange({begin, std::min(range.length, string.length() - begin)});
}

}  // namespace

NSString NSTextCheckingResult::inString(const NSString& string) const { return textIn(string, range_); }

NSString NSTextCheckingResult::inString(const NSString& string, NSUInteger groupIndex) const {
  return groupIndex < numberOfRanges() ? textIn(string, rangeAtIndex(groupIndex)) : NSString();
}

NSMutableArray NSTextCheckingResult::groupsInString(const NSString& string) const {
  if (string.isNil()) return nil;
  const NSMutableArray groups = NSMutableArray::array();
  for (NSUInteger i = 0; i < numberOfRanges(); ++i) groups.addObject(inString(string, i));
  return groups;
}
