// NSFileManager(Orvane): where an application's folders are.

#include <atomic>

#include "Orvane/OrvAssert.h"
#include "Orvane/OrvLog.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/System/NSBundle.h"
#include "Platform/Foundation/System/NSProcessInfo.h"

using namespace orv;

namespace {

// Before the folder names of test runs.
constexpr const char* kOwnerPrefix = "org.orvane";

std::atomic<bool> useAppName = false;

NSURL standardFolder(const NSFileManager& manager, NSSearchPathDirectory directory) {
  return zxFileURL(manager.URLsForDirectory(directory).firstObject());
}

NSURL resolvedBookmark(const NSData& bookmark) {
  NSError error;
  const NSURL url =
      NSURL::URLByResolvingBookmarkData(bookmark, NSURLBookmarkResolutionWithoutUI, nullptr, &error);
  if (url.isNil() || !error.isNil())
    OrvLogWarning("zxFileURL bookmark extraction for %@ failed: %@", bookmark, error);
  return url;
}

}  // namespace

NSURL zxFileURL(const Value& location) {
  if (const auto url = location.as<NSURL>()) return url.isFileURL() ? url : NSURL();
  if (const auto bookmark = location.as<NSData>()) return resolvedBookmark(bookmark);
  return NSURL::fileURLWithPath(location.as<NSString>());
}

NSString NSFileManager::appSpecificFolderName() {
  const NSString test = NSString(kOwnerPrefix) + ".test.";
  if (const NSString name = detail::environmentValue("APPNAME")) return test + name;
  const NSString key = useAppName ? "CFBundleName" : "CFBundleIdentifier";
  const auto name = NSBundle::mainBundle()->objectForInfoDictionaryKey(key).as<NSString>();
  const NSString appName = name ? name : test + "UnitTest";
  ORV_ASSERT_TEXT_MSG(appName.length() > 0, "[appName length] > 0", "Did not find app name");
  return appName;
}

void NSFileManager::zuUseAppName(bool use) { useAppName = use; }

NSURL NSFileManager::zuHomeFolder() const { return zxFileURL(NSHomeDirectory()); }

NSURL NSFileManager::zuCachesFolder() const { return standardFolder(*this, NSCachesDirectory); }

NSURL NSFileManager::zuDocumentFolder() const { return standardFolder(*this, NSDocumentDirectory); }

NSURL NSFileManager::zuPicturesFolder() const { return standardFolder(*this, NSPicturesDirectory); }

NSURL NSFileManager::zuDownloadsFolder() const { return standardFolder(*this, NSDownloadsDirectory); }

NSURL NSFileManager::zuLibraryFolder() const { return standardFolder(*this, NSLibraryDirectory); }

NSURL NSFileManager::zuApplicationSupportFolder() const {
  return standardFolder(*this, NSApplicationSupportDirectory);
}

NSURL NSFileManager::zuPrivateCacheFolder() const {
  const NSString identifier = NSBundle::mainBundle()->bundleIdentifier();
  return zuMakeDirs(zuCachesFolder().URLByAppendingPathComponent(identifier, true));
}

NSURL NSFileManager::zuPrivateLibraryFolder() const {
  return zuMakeDirs(zuLibraryFolder().URLByAppendingPathComponent(appSpecificFolderName(), true));
}

NSURL NSFileManager::zuPrivateApplicationSupportFolder() const {
  return zuMakeDirs(zuApplicationSupportFolder().URLByAppendingPathComponent(appSpecificFolderName(), true));
}

NSURL NSFileManager::zuPrivateFolder() const { return zuPrivateApplicationSupportFolder(); }

NSURL NSFileManager::zuPathForPrivateFile(const NSString& name) const {
  return zuPrivateFolder().URLByAppendingPathComponent(name, false);
}

NSURL NSFileManager::zuPathForPrivateFolder(const NSString& name) const {
  return zuMakeDirs(zuPrivateFolder().URLByAppendingPathComponent(name, true));
}

NSURL NSFileManager::zuPathForDocumentFile(const NSString& name) const {
  return zuDocumentFolder().URLByAppendingPathComponent(name, false);
}

NSDictionary NSFileManager::zuHomeAttributes() const {
  return attributesOfFileSystemForPath(NSHomeDirectory());
}
