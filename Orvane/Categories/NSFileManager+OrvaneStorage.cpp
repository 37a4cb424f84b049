// NSFileManager(Orvane): who else keeps an eye on a folder.

#include <array>
#include <utility>

#include "Orvane/Detail/Location.h"
#include "Orvane/OrvLog.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/Values/NSException.h"

using namespace orv;
using detail::pathOfLocation;

namespace {

constexpr NSUInteger kShortestPath = 3;  // the root folder and the like are nobody's
constexpr int kMostFolders = 10;

constexpr std::array<std::pair<const char*, const char*>, 3> kMarkers = {
    {{".sync", "Resilio Sync"}, {".stversions", "Syncthing"}, {".tmp.drivedownload", "Google Drive"}}};

void reportFatal(const std::exception& exception) {
  const auto* known = dynamic_cast<const NSException*>(&exception);
  const Value object = known ? Value(*known) : Value(detail::describeException(exception));
  OrvLog::sharedObject()->logFatal(object, __FILE__, __func__, __LINE__, nil);
}

// The value, or nil when it cannot be read.
Value volumeIsLocal(const NSURL& url) {
  Value local;
  url.getResourceValue(NSURLVolumeIsLocalKey, &local);
  OrvLogDebug("state=%@ url=%@", local, url);
  return local;
}

NSString managerOfFolder(const NSFileManager& manager, const NSURL& folder) {
  if (!volumeIsLocal(folder).as<NSNumber>().boolValue()) return "External Location";
  const bool ubiquitous = manager.isUbiquitousItemAtURL(folder);
  OrvLogDebug("ubiq=%@ url=%@", Value(ubiquitous), folder);
  if (ubiquitous) return "iCloud Drive";
  const bool dropbox = manager.isDropbox(folder);
  OrvLogDebug("dbx=%@ url=%@", Value(dropbox), folder);
  if (dropbox) return "Dropbox";
  return manager.zuIsManagedByFolderSync(folder);
}

// The service whose marker lies in a folder, or nil.
NSString serviceMarkedIn(const NSFileManager& manager, const NSURL& folder) {
  for (const auto& [marker, service] : kMarkers)
    if (manager.zuIsDir(folder.URLByAppendingPathComponent(marker, true))) return service;
  return nil;
}

}  // namespace

NSString NSFileManager::zuIsManagedBy(const NSURL& url) const {
  if (!url.isFileURL()) return nil;
  try {
    return managerOfFolder(*this, zuIsDir(url) ? url : url.URLByDeletingLastPathComponent());
  } catch (const std::exception& exception) {
    reportFatal(exception);
  }
  return nil;
}

bool NSFileManager::zuIsLocal(const NSURL& url) const {
  const NSString manager = zuIsManagedBy(url);
  OrvLogInfo("isLocal=%@ url=%@ managedBy=%@", NSString(manager ? "yes" : "no"), url, manager);
  return manager.isNil();
}

bool NSFileManager::isDropbox(const Value& urlOrPath) const {
  const NSString path = pathOfLocation(urlOrPath);
  const Value info =
      NSData::dataWithContentsOfFile(NSHomeDirectory().stringByAppendingPathComponent(".dropbox/info.json"))
          .fromJSON();
  for (const char* account : {"personal", "business"}) {
    const auto root = info.as<NSDictionary>()[account].as<NSDictionary>()["path"].as<NSString>();
    if (root.length() > 0 && path.hasPrefix(root)) return true;
  }
  return false;
}

NSString NSFileManager::zuIsManagedByFolderSync(const NSURL& url) const {
  NSURL folder = url;
  for (int i = 0; i < kMostFolders && folder.path().length() >= kShortestPath; ++i) {
    const NSString service = zuIsDir(folder) ? serviceMarkedIn(*this, folder) : NSString();
    if (service) return service;
    folder = folder.URLByDeletingLastPathComponent();
  }
  return nil;
}
