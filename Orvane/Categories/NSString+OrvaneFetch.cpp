#include <optional>
#include <string>

#include "Platform/Foundation/Files/URLFetch.h"
#include "Platform/Foundation/System/NSBundle.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/NSURL.h"

using namespace orv;

NSString NSString::lc() const {
  return isNil() ? NSString() : NSBundle::mainBundle()->localizedStringForKey(*this, "", nil);
}

NSString NSString::fetch() const {
  const NSURL url = isNil() ? NSURL() : NSURL::URLWithString(*this);
  if (url.isNil()) return nil;
  const std::optional<std::string> contents = detail::contentsOfURL(url);
  return contents ? detail::StringFactory::fromUtf8(*contents, detail::IllFormed::Refuse) : NSString();
}
