#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSDate.h"

using namespace orv;

NSString NSDate::ISO8601String() const {
  if (isNil()) return nil;
  char text[detail::kISO8601MaxLength];
  const char* end = detail::writeISO8601(timeIntervalSinceReferenceDate(), text);
  return detail::StringFactory::ascii(text, static_cast<size_t>(end - text));
}
