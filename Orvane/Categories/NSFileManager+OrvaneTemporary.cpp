// NSFileManager(Orvane): folders for what is not kept.

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <string>

#include "Orvane/Orv.h"
#include "Orvane/OrvLog.h"
#include "Platform/Dispatch/DispatchOnce.h"
#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/Files/Retry.h"
#include "Platform/Foundation/Values/NSException.h"

using namespace orv;

namespace {

// The process's own folder. It stays what it was made as, also when it is gone.
struct PrivateFolder {
  DispatchOnce once;
  NSURL url;
  std::atomic<bool> wasAsked = false;
};

PrivateFolder& privateFolder() {
  static auto* const folder = new PrivateFolder;  // never destroyed: it is asked for until the very end
  return *folder;
}

// Makes a folder for this user only where nothing has its name; those above it are made as usual.
void makeForThisUser(const NSFileManager& manager, const NSURL& url) {
  std::string path;
  if (!detail::itemPath(url.path(), path) || manager.fileExistsAtPath(url.path())) return;
  manager.createDirectoryAtURL(url.URLByDeletingLastPathComponent(), true);
  detail::errorOf([&] { return ::mkdir(path.c_str(), 0700); });  // a failure shows in what follows
}

enum class Owner { Nobody, ThisUser, Other };

// Whose folder has the name. What is no folder, as a link to one, is somebody else's: others may have put it
// there.
Owner ownerOf(const NSURL& url) {
  std::string path;
  struct stat info;
  if (!detail::itemPath(url.path(), path) || ::lstat(path.c_str(), &info) != 0) return Owner::Nobody;
  return S_ISDIR(info.st_mode) && info.st_uid == ::geteuid() ? Owner::ThisUser : Owner::Other;
}

// The folder, made for this user only when it is missing. It is looked at last: others may be quicker.
NSURL madeForThisUser(const NSFileManager& manager, const NSURL& url) {
  makeForThisUser(manager, url);
  if (ownerOf(url) == Owner::Nobody && manager.zuMakeDirs(url).isNil()) return nil;
  if (ownerOf(url) == Owner::ThisUser) return url;
  OrvLogWarning("Failed to make dirs at %@ because somebody else's item has the name", url);
  return nil;
}

}  // namespace

NSURL NSFileManager::zuTempFolder() const {
  const NSURL folder = temporaryDirectory();
  const NSString name = appSpecificFolderName();
  const NSURL usual = folder.URLByAppendingPathComponent(name, true);
  makeForThisUser(*this, usual);
  if (ownerOf(usual) != Owner::Other) return madeForThisUser(*this, usual);
  const NSString own = name + "-" + NSString(std::to_string(::geteuid()));
  return madeForThisUser(*this, folder.URLByAppendingPathComponent(own, true));
}

NSURL NSFileManager::zuTempFolderForURL(const NSURL& url) const {
  try {
    NSError error;
    const NSURL folder = URLForDirectory(NSItemReplacementDirectory, NSUserDomainMask, url, true, &error);
    if (folder.isNil() || error) OrvLogWarning("zuTempFolderForURL error: %@ (url=%@)", error, url);
    return folder;
  } catch (const NSException& exception) {
    OrvLog::sharedObject()->logFatal(exception, __FILE__, __func__, __LINE__, nil);
  } catch (const std::exception& exception) {
    OrvLog::sharedObject()->logFatal(detail::describeException(exception), __FILE__, __func__, __LINE__, nil);
  }
  return nil;
}

NSURL NSFileManager::zuNewEmptyTempFolder() const {
  return madeForThisUser(*this, zuTempFolder().URLByAppendingPathComponent(Orv::uidShort(), true));
}

NSURL NSFileManager::zuCreatePrivateTempFolder() const {
  PrivateFolder& folder = privateFolder();
  folder.once.run([&] {
    folder.url = zuNewEmptyTempFolder();
    folder.wasAsked = true;
  });
  return folder.url;
}

void NSFileManager::zuDestroyPrivateTempFolder() const {
  const PrivateFolder& folder = privateFolder();
  if (folder.wasAsked) defaultManager()->zuRemoveFolder(folder.url);
}

NSURL NSFileManager::zuPrivateTempFolderFileNameWithSuffix(const NSString& suffix) const {
  return zuCreatePrivateTempFolder()
      .URLByAppendingPathComponent(Orv::uidShort(), true)
      .URLByAppendingPathExtension(suffix.isNil() ? NSString("tmp") : suffix);
}
