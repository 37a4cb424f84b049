#include "Platform/CoreServices/NSWorkspace.h"

#include "Platform/CoreServices/UTType.h"
#include "Platform/Foundation/Values/NSError.h"
#include "Platform/Foundation/Values/NSNumber.h"
#include "Platform/Foundation/Values/NSURL.h"

using namespace orv;

namespace {

// The item at the path; a nil path has none. A slash at the end would follow a link.
NSURL itemAt(const NSString& path) {
  if (path.length() == 0) return nil;
  return NSURL::fileURLWithPath(path, false);
}

}  // namespace

Ref<NSWorkspace> NSWorkspace::sharedWorkspace() {
  static const Ref<NSWorkspace>& workspace = *new Ref<NSWorkspace>(new NSWorkspace);
  return workspace;
}

bool NSWorkspace::isFilePackageAtPath(const NSString& path) const {
  Value isPackage;
  itemAt(path).getResourceValue(NSURLIsPackageKey, &isPackage);
  return isPackage.as<NSNumber>().boolValue();
}

NSString NSWorkspace::typeOfFile(const NSString& path, NSError* error) const {
  Value type;
  itemAt(path).getResourceValue(NSURLTypeIdentifierKey, &type, error);
  return type.as<NSString>();
}

bool NSWorkspace::typeConformsToType(const NSString& first, const NSString& second) const {
  return UTTypeConformsTo(first, second);
}
