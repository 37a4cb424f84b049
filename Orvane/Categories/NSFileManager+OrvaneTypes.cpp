// NSFileManager(Orvane): types, tags and packages, and names that are still free.

#include "Orvane/Detail/Location.h"
#include "Orvane/OrvAssert.h"
#include "Orvane/OrvLog.h"
#include "Platform/CoreServices/NSWorkspace.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/System/NSBundle.h"
#include "Platform/Foundation/Values/NSException.h"

using namespace orv;
using detail::pathOfLocation;

namespace {

bool conformsToOneOf(const NSString& type, const NSArray& others) {
  const Ref<NSWorkspace> workspace = NSWorkspace::sharedWorkspace();
  for (const Value& other : others)
    if (workspace->typeConformsToType(type, other.as<NSString>())) return true;
  return false;
}

bool isNamedLikeTheApplication(const NSString& path) {
  const auto identifier = NSBundle::mainBundle()->objectForInfoDictionaryKey("CFBundleIdentifier");
  return identifier && path.lastPathComponent().isEqual(identifier);
}

// The path itself or the first package above it; nil when there is none below the root.
NSString packageAt(NSString path) {
  const Ref<NSWorkspace> workspace = NSWorkspace::sharedWorkspace();
  while (!workspace->isFilePackageAtPath(path) || isNamedLikeTheApplication(path)) {
    const NSUInteger length = path.length();
    path = path.stringByDeletingLastPathComponent();
    if (path.length() >= length || path.length() < 2) return nil;
  }
  return path;
}

// Tells the package's type; whether it is none of the excepted ones.
bool isNotExcepted(const NSString& package, const NSArray& exceptUTIs) {
  const NSString type = NSWorkspace::sharedWorkspace()->typeOfFile(package);
  OrvLogInfo("Identified %@: %@", type, package);
  return !conformsToOneOf(type, exceptUTIs);
}

void reportPackageException(const NSString& path, const std::exception& exception) {
  OrvLogInfo("Error while testing path for package %@: %@", path, detail::describeException(exception));
}

}  // namespace

NSString NSFileManager::zuFileUTI(const Value& url) const {
  ORV_ASSERT_URL(url);
  Value type;
  url.as<NSURL>().getResourceValue(NSURLTypeIdentifierKey, &type);
  return type.as<NSString>();
}

NSArray NSFileManager::zuFileTagNames(const Value& url) const {
  ORV_ASSERT_URL(url);
  Value tags;
  NSError error;
  if (!url.as<NSURL>().getResourceValue(NSURLTagNamesKey, &tags, &error)) {
    OrvLogWarning("Problems getting tags: %@", error);
    return nil;
  }
  return tags.copy().as<NSArray>();
}

bool NSFileManager::zuIsFile(const Value& url, const NSArray& utiTypes) const {
  if (url.isNil()) return false;
  const Ref<NSWorkspace> workspace = NSWorkspace::sharedWorkspace();
  ORV_ASSERT(utiTypes);
  ORV_ASSERT(workspace);
  ORV_ASSERT_URL(url);
  try {
    Value type;
    NSError error;
    if (url.as<NSURL>().getResourceValue(NSURLTypeIdentifierKey, &type, &error))
      return conformsToOneOf(type.as<NSString>(), utiTypes);
    OrvLogWarning("Error while retrieving UTI type of %@: %@", url, error);
  } catch (const std::exception& exception) {
    OrvLogWarning("Exception in isFile: %@ => %@", url, detail::describeException(exception));
  }
  return false;
}

bool NSFileManager::zuIsFilePackage(const Value& url, const NSArray& exceptUTIs) const {
  if (url.isNil()) return false;
  ORV_ASSERT_URL(url);
  const NSString path = pathOfLocation(url);
  if (path.isNil()) return false;
  try {
    if (!NSWorkspace::sharedWorkspace()->isFilePackageAtPath(path)) return false;
    return !isNamedLikeTheApplication(path) && isNotExcepted(path, exceptUTIs);
  } catch (const std::exception& exception) {
    reportPackageException(path, exception);
  }
  return false;
}

bool NSFileManager::zuIsInsideFilePackage(const Value& url, const NSArray& exceptUTIs) const {
  if (url.isNil()) return false;
  ORV_ASSERT_URL(url);
  const NSString path = pathOfLocation(url);
  if (path.isNil()) return false;
  try {
    const NSString package = packageAt(path);
    return package && isNotExcepted(package, exceptUTIs);
  } catch (const std::exception& exception) {
    reportPackageException(path, exception);
  }
  return false;
}

bool NSFileManager::zuIsInsideFilePackage(const Value& url) const { return zuIsInsideFilePackage(url, nil); }

NSURL NSFileManager::zuUnusedFileName(const Value& url) const {
  if (url.isNil()) return nil;
  ORV_ASSERT_URL(url);
  const auto taken = url.as<NSURL>();
  if (!defaultManager()->zuIsFile(taken)) return taken;
  const NSURL folder = taken.URLByDeletingLastPathComponent();
  const NSString name = taken.lastPathComponent();
  const NSString base = name.stringByDeletingPathExtension();
  for (unsigned number = 2;; ++number) {
    const NSURL candidate = folder.URLByAppendingPathComponent(
        NSString::stringWithFormat("%@ %@.%@", base, Value(number), name.pathExtension()), true);
    if (!defaultManager()->zuIsFile(candidate)) return candidate;
  }
}
