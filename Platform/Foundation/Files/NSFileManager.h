#pragma once

#include <cstdint>
#include <functional>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSError.h"
#include "Platform/Foundation/Values/NSNumber.h"
#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSSet.h"
#include "Platform/Foundation/Values/NSURL.h"

class NSDirectoryEnumerator;
class UbiquityProvider;

// The places that NSFileManager::URLsForDirectory knows.
enum NSSearchPathDirectory : NSUInteger {
  NSLibraryDirectory = 5,   // $XDG_STATE_HOME, ~/.local/state
  NSUserDirectory = 7,      // the folder above the home folder
  NSDocumentDirectory = 9,  // the user folders of `user-dirs.dirs`, or ~/Documents, ~/Desktop, ...
  NSDesktopDirectory = 12,
  NSCachesDirectory = 13,              // $XDG_CACHE_HOME, ~/.cache
  NSApplicationSupportDirectory = 14,  // $XDG_DATA_HOME, ~/.local/share
  NSDownloadsDirectory = 15,
  NSMoviesDirectory = 17,
  NSMusicDirectory = 18,
  NSPicturesDirectory = 19,
  NSSharedPublicDirectory = 21,
  NSItemReplacementDirectory = 99,  // only from URLForDirectory: a new folder on a given item's volume
  NSTrashDirectory = 102,           // the home trash of the data folder
};

enum NSSearchPathDomainMask : NSUInteger { NSUserDomainMask = 1, NSAllDomainsMask = 0xFFFF };

// How an enumerator goes through a tree; values combine with |.
enum NSDirectoryEnumerationOptions : NSUInteger {
  NSDirectoryEnumerationSkipsSubdirectoryDescendants = 1,
  NSDirectoryEnumerationSkipsPackageDescendants = 2,  // a package is listed, its contents are not
  NSDirectoryEnumerationSkipsHiddenFiles = 4,         // nor what lies below hidden folders
};

// Keys of item attributes. Each is its own text.
extern ORV_EXPORT const NSString NSFileType;
extern ORV_EXPORT const NSString NSFileTypeRegular;
extern ORV_EXPORT const NSString NSFileTypeDirectory;
extern ORV_EXPORT const NSString NSFileTypeSymbolicLink;
extern ORV_EXPORT const NSString NSFileTypeSocket;
extern ORV_EXPORT const NSString NSFileTypeCharacterSpecial;
extern ORV_EXPORT const NSString NSFileTypeBlockSpecial;
extern ORV_EXPORT const NSString NSFileTypeUnknown;  // pipes
extern ORV_EXPORT const NSString NSFileSize;
extern ORV_EXPORT const NSString NSFileModificationDate;
extern ORV_EXPORT const NSString NSFileCreationDate;  // absent where the file system keeps none
extern ORV_EXPORT const NSString NSFilePosixPermissions;
extern ORV_EXPORT const NSString NSFileOwnerAccountID;
extern ORV_EXPORT const NSString NSFileOwnerAccountName;  // absent for an unknown number
extern ORV_EXPORT const NSString NSFileGroupOwnerAccountID;
extern ORV_EXPORT const NSString NSFileGroupOwnerAccountName;
extern ORV_EXPORT const NSString NSFileReferenceCount;
extern ORV_EXPORT const NSString NSFileSystemNumber;
extern ORV_EXPORT const NSString NSFileSystemFileNumber;
extern ORV_EXPORT const NSString NSFileImmutable;
// Keys of file-system attributes, in bytes and numbers of items.
extern ORV_EXPORT const NSString NSFileSystemSize;
extern ORV_EXPORT const NSString NSFileSystemFreeSize;  // for ordinary users
extern ORV_EXPORT const NSString NSFileSystemNodes;
extern ORV_EXPORT const NSString NSFileSystemFreeNodes;

// $HOME, or the account's home folder when it is not set to an absolute path.
ORV_EXPORT NSString NSHomeDirectory();
// $TMPDIR, or /tmp; ends in a slash.
ORV_EXPORT NSString NSTemporaryDirectory();

// Turns a location into a file URL: a file URL is itself, a string is a path (the disk is asked whether it is a
// folder). Data is a stored bookmark (NSURL::bookmarkDataWithOptions) and gives the place where its item is
// now; one that cannot be resolved gives one Warning and nil. Anything else is nil.
ORV_EXPORT NSURL zxFileURL(const orv::Value& location);

// Files and folders: asking, making, moving, removing, listing.
//
// One object for all, without a state, for any thread. Every operation blocks on the disk. Operations with an
// error parameter fill it when they fail and leave it alone when they succeed; a null pointer drops it. A nil
// path or URL is a failure, as is a URL that is not a file's. The environment is read at each call.
//
//   Ref<NSFileManager> manager = NSFileManager::defaultManager();
//   NSURL notes = manager->zuMakeDirs(manager->zuDocumentFolder().URLByAppendingPathComponent("Notes", true));
//   for (const Value& name : manager->contentsOfDirectoryAtPath(notes.path())) ...
class ORV_EXPORT NSFileManager : public NSObject {
 public:
  // Answers whether to go on after an item could not be read.
  using ErrorHandler = std::function<bool(const NSURL&, const NSError&)>;

  static orv::Ref<NSFileManager> defaultManager();

  NSString className() const override { return "NSFileManager"; }

  // Follows links: a dangling one does not exist. `isDirectory` is set when the answer is true.
  bool fileExistsAtPath(const NSString& path, bool* isDirectory = nullptr) const;
  bool isReadableFileAtPath(const NSString& path) const;
  // Byte by byte; folders by names and contents, links by target. Two missing items are not equal.
  bool contentsEqualAtPath(const NSString& path, const NSString& otherPath) const;
  // The names in a folder, hidden ones included, in the order of their code units.
  NSArray contentsOfDirectoryAtPath(const NSString& path, NSError* error = nullptr) const;
  // Walks a tree in depth, each folder before its contents, in the order of the names. The error handler may be
  // empty: go on. Nil, and a URL that is not a file's, give nil.
  orv::Ref<NSDirectoryEnumerator> enumeratorAtURL(const NSURL& url, const NSArray& keys, NSUInteger options,
                                                  ErrorHandler handler = nullptr) const;

  // Of the item itself, not of what a link points to.
  NSDictionary attributesOfItemAtPath(const NSString& path, NSError* error = nullptr) const;
  // Sets the modification date and the permissions; other keys are ignored. Follows links.
  bool setAttributesOfItemAtPath(const NSDictionary& attributes, const NSString& path,
                                 NSError* error = nullptr) const;
  NSDictionary attributesOfFileSystemForPath(const NSString& path, NSError* error = nullptr) const;

  // An existing folder is a success when intermediate folders are to be made, else a failure.
  bool createDirectoryAtPath(const NSString& path, bool withIntermediateDirectories,
                             NSError* error = nullptr) const;
  bool createDirectoryAtURL(const NSURL& url, bool withIntermediateDirectories, NSError* error = nullptr) const;
  // Replaces an existing file as a whole and follows links; nil contents are none. After a failure the old file
  // is still there, or none.
  bool createFileAtPath(const NSString& path, const NSData& contents) const;
  // A folder goes with everything in it; links are removed, not followed, and a volume mounted inside is a
  // failure that leaves it alone. A path that ends in "." or ".." is refused: nothing goes. What another
  // process removes meanwhile is no failure.
  bool removeItemAtPath(const NSString& path, NSError* error = nullptr) const;
  bool removeItemAtURL(const NSURL& url, NSError* error = nullptr) const;
  // Never replaces the target and never moves into it. On one volume the item is renamed. Between volumes it is
  // copied aside, forced to the disk and compared before it gets its name, that is forced to the disk, too, and
  // only then of the source goes what was copied and has not changed since: at every moment one of the two is
  // whole. A failure leaves the source as it was and no target. The target stays, whole, beside the source or
  // what is left of it, when removing a folder fails halfway and when somebody changed either meanwhile: what
  // others wrote is never removed. What holds a socket, a pipe, a device, a mounted volume or an extended
  // attribute named "user." that the other volume cannot keep is not moved there. Several names of one file
  // become files of their own. A path that ends in "." or ".." is refused.
  bool moveItemAtPath(const NSString& from, const NSString& to, NSError* error = nullptr) const;
  bool moveItemAtURL(const NSURL& from, const NSURL& to, NSError* error = nullptr) const;
  // Files and whole trees, with holes, permissions, dates and extended attributes, and the owner, or at least
  // the group, where that is allowed; links as links. Without the group or the access list the permissions
  // shrink: nobody gets into the copy whom the original keeps out. Left out are sockets, pipes and devices
  // inside a folder, attributes that the target cannot keep, and access lists that the target's folder would
  // add. Hard links become files of their own. Where the file system can, the copy shares the contents. Never
  // replaces the target, also one that appears meanwhile. The copy is made under a hidden name in the target's
  // folder and renamed when it is whole: after a failure, such as an unreadable item or a file that keeps
  // changing while it is read, there is none. A folder cannot be copied into itself. The copy is not forced to
  // the disk.
  bool copyItemAtPath(const NSString& from, const NSString& to, NSError* error = nullptr) const;
  bool copyItemAtURL(const NSURL& from, const NSURL& to, NSError* error = nullptr) const;
  // The same over what is at the target: once the copy is whole beside it the two exchange their names, so that
  // at every moment one of them is at the target, whole. `old` becomes the place of the old item, beside the
  // target under a hidden name, for the caller to remove, and nil when there was none. It fails when the item
  // is the target, lies in it or is a link to it.
  bool copyItemOverURL(const NSURL& from, const NSURL& to, NSURL* old, NSError* error = nullptr) const;

  // One URL for the user's domain; empty for other domains and unknown places. Nothing is made.
  NSArray URLsForDirectory(NSSearchPathDirectory directory, NSUInteger domainMask = NSUserDomainMask) const;
  // The place for a purpose; with `create` it is made when missing. NSItemReplacementDirectory makes a new
  // folder at each call, for this user only, on the volume of the item (which need not exist, its volume must):
  // in the temporary folder where that is on the same mount and open to it, else hidden beside the item. The
  // caller removes it. A nil URL, or one that is not a file's, is then a failure; elsewhere the URL does not
  // matter.
  NSURL URLForDirectory(NSSearchPathDirectory directory, NSUInteger domainMask, const NSURL& appropriateForURL,
                        bool create, NSError* error = nullptr) const;
  NSURL temporaryDirectory() const;

  // Whether a cloud service manages the item, as the provider says; false for what is not a file URL.
  bool isUbiquitousItemAtURL(const NSURL& url) const;
  // Who answers that, for the whole process and from now on. nil brings the built-in one back, which knows the
  // traces of rclone (Docs/files.md).
  static void setUbiquityProvider(const orv::Ref<UbiquityProvider>& provider);

  // NSFileManager(Orvane) - Orvane/Categories/NSFileManager+Orvane.cpp

  // The folder name of the running application: the owner's prefix, ".test." and the variable APPNAME where
  // that is set; else the bundle's identifier, or its name after zuUseAppName(true); else the prefix and
  // ".test.UnitTest". An empty name asserts softly and is returned all the same.
  static NSString appSpecificFolderName();
  // Takes effect on later calls. A plain switch without a lock: set it at start.
  static void zuUseAppName(bool useAppName);

  // The user's standard folders, as URLSForDirectory gives them. They need not exist.
  NSURL zuHomeFolder() const;
  NSURL zuCachesFolder() const;
  NSURL zuDocumentFolder() const;
  NSURL zuPicturesFolder() const;
  NSURL zuDownloadsFolder() const;
  NSURL zuLibraryFolder() const;
  NSURL zuApplicationSupportFolder() const;

  // The application's own folders, made when missing; nil when that fails. The cache folder is always named
  // after the bundle's identifier, the others after appSpecificFolderName.
  NSURL zuPrivateCacheFolder() const;
  NSURL zuPrivateLibraryFolder() const;
  NSURL zuPrivateApplicationSupportFolder() const;
  NSURL zuPrivateFolder() const;  // the same as zuPrivateApplicationSupportFolder
  // Places in the private or the document folder. Only the folder is made.
  NSURL zuPathForPrivateFile(const NSString& name) const;
  NSURL zuPathForPrivateFolder(const NSString& name) const;
  NSURL zuPathForDocumentFile(const NSString& name) const;
  // The file-system attributes of the home folder, or nil.
  NSDictionary zuHomeAttributes() const;

  // NSFileManager(Orvane) - Orvane/Categories/NSFileManager+OrvaneTemporary.cpp
  //
  // Folders for what is not kept. Those that are made are open to this user only.

  // The application's folder in the temporary folder: its appSpecificFolderName. Where somebody else's folder,
  // or what is no folder, has that name, it is "<name>-<user ID>" beside it; nil with one Warning where that is
  // taken, too. A folder of this user is taken as it is.
  NSURL zuTempFolder() const;
  // A new folder on the URL's volume, from which a file can be renamed to it; nil with one Warning on failure.
  NSURL zuTempFolderForURL(const NSURL& url) const;
  // A new folder inside zuTempFolder.
  NSURL zuNewEmptyTempFolder() const;
  // The process's own folder, made at the first call and the same ever after, also when it is gone.
  NSURL zuCreatePrivateTempFolder() const;
  // Removes that folder with its contents, where there ever was one. Nothing else does: call it at the end.
  void zuDestroyPrivateTempFolder() const;
  // A name in that folder that nothing has; nothing is made there. A nil suffix is "tmp".
  NSURL zuPrivateTempFolderFileNameWithSuffix(const NSString& suffix) const;

  // NSFileManager(Orvane) - Orvane/Categories/NSFileManager+OrvaneFiles.cpp
  //
  // Forgiving operations: a plain result, one log line for what went wrong. Each asserts softly that a URL is
  // one; the others take a path string, too, where the operation needs only the path. Nil gives false or nil.

  // The URL when the folder is there or was made, with those above it; else one Warning and nil.
  NSURL zuMakeDirs(const orv::Value& url) const;
  // Fails when the destination exists. One Warning for a failure, Info for an exception.
  bool zuCopy(const orv::Value& from, const orv::Value& to) const;
  // Replaces the destination, whatever it is, by the copy once that is whole, and then removes it. A copy that
  // fails leaves it alone, and so does the copy of an item to itself, to a folder that it lies in or to what it
  // leads to as a link: one Info line. What cannot be removed stays beside the copy under a hidden name, which
  // an Info line tells, and is no failure. A destination that is a dangling link is one.
  bool zuForceCopy(const orv::Value& from, const orv::Value& to) const;
  // Fails when the destination exists, with one Info line.
  bool zuMove(const orv::Value& from, const orv::Value& to) const;
  // A file or a whole folder. One Info line for a failure.
  bool zuRemove(const orv::Value& url) const;
  bool zuRemoveFolder(const orv::Value& url) const;  // only a folder
  bool zuRemoveFile(const orv::Value& url) const;    // only what is no folder
  // Reachable, and no folder. A link to a folder is no folder.
  bool zuIsFile(const orv::Value& url) const;
  bool zuIsDir(const orv::Value& url) const;
  // Sets the modification date to now; makes nothing.
  bool zuTouch(const orv::Value& url) const;
  NSDictionary zuAttributes(const orv::Value& url) const;
  uint64_t zuFileSize(const orv::Value& url) const;
  NSDate zuFileModificationDate(const orv::Value& url) const;
  bool zuFileCompare(const orv::Value& url, const orv::Value& otherURL) const;

  // Digests of a file's bytes, read in pieces. A file that cannot be read counts as empty. An empty one gives
  // nil for MD5, and asserts softly and gives the digest of no bytes for SHA-256. A file that changes while it
  // is read is reported with one Warning.
  NSString zuFileMD5String(const orv::Value& url) const;
  NSString zuFileSHA256String(const orv::Value& url) const;
  NSData zuFileSHA256Data(const orv::Value& url) const;

  // NSFileManager(Orvane) - Orvane/Categories/NSFileManager+OrvaneTypes.cpp

  // The item's uniform type; nil when it cannot be read.
  NSString zuFileUTI(const orv::Value& url) const;
  // The item's tags, nil when it has none; nil and one Warning when they cannot be read.
  NSArray zuFileTagNames(const orv::Value& url) const;
  // Whether the item's type is one of these or below one. A missing item is a Warning; nil for the list asserts
  // softly.
  bool zuIsFile(const orv::Value& url, const NSArray& utiTypes) const;
  // Whether the item is a folder that is shown as one file, and of none of the excepted types. A folder named
  // like the main bundle's identifier never is. Takes a path string, too. The type of a package goes to the log
  // at Info.
  bool zuIsFilePackage(const orv::Value& url, const NSArray& exceptUTIs) const;
  // The same for the first package upward from the item, which itself counts; the root is never tested. Only
  // names and the disk decide: the item need not exist.
  bool zuIsInsideFilePackage(const orv::Value& url, const NSArray& exceptUTIs) const;
  bool zuIsInsideFilePackage(const orv::Value& url) const;
  // The URL itself where no file is there (a folder of that name is no obstacle), else the first free of "name
  // 2.ext", "name 3.ext", ... A name without extension keeps the point: "notes 2.". The new URL ends in a
  // slash. nil for nil.
  NSURL zuUnusedFileName(const orv::Value& url) const;

  // NSFileManager(Orvane) - Orvane/Categories/NSFileManager+OrvaneStorage.cpp

  // Who manages the folder, or the folder of the file: "External Location", "iCloud Drive", "Dropbox", "Resilio
  // Sync", "Syncthing" or "Google Drive", the first that holds. nil for plain local storage and for what is not
  // a file URL. An exception on the way is logged as fatal and gives nil. Several questions to the disk.
  NSString zuIsManagedBy(const NSURL& url) const;
  // Whether nobody does. Kept: the first word of its Info line tells whether a manager was found.
  bool zuIsLocal(const NSURL& url) const;
  // Whether the path begins with a root in ~/.dropbox/info.json, which is read at each call. Kept: a comparison
  // of texts, so that a folder whose name goes on behind the root's counts, too. A missing root is none.
  bool isDropbox(const orv::Value& urlOrPath) const;
  // "Resilio Sync", "Syncthing" or "Google Drive" where one of the ten folders from this one upward holds the
  // service's folder ".sync", ".stversions" or ".tmp.drivedownload"; else nil.
  NSString zuIsManagedByFolderSync(const NSURL& url) const;

  // NSFileManager(Orvane) - Orvane/Categories/NSFileManager+OrvaneListing.cpp

  // The names in a folder in the order of their code units, hidden ones included; nil and one Info line when
  // it cannot be read. Takes a path string, too.
  NSArray zuListDir(const orv::Value& url) const;
  // Those that do not begin with "."; folders are among them.
  NSArray zuListVisibleFilesDir(const orv::Value& url) const;
  // The URLs of all regular files at any depth that are not hidden, not inside packages and not named "Icon".
  NSMutableArray zuListAllVisibleFilesInSubFolders(const orv::Value& directoryURL) const;
  // One line for each item at any depth, hidden ones included: four blanks for each level, then "name/" for a
  // folder and "name (SIZE bytes, x)" for anything else; the x is fixed. Lines are joined by "\n".
  NSString zuListTree(const orv::Value& url) const;
  // One line for each file at any depth, "KEY; size=SIZE hash=SHA256": the key names the file and then its
  // folders upward, each after a slash ("/abc.txt/s" for s/abc.txt). Kept: stored sets depend on it. Two trees
  // are equal in content when their sets are equal. Reads on as many threads as there are processors; memory
  // does not grow with the size of the files.
  NSMutableSet zuListChecksumsForTreeAtURL(const orv::Value& folderUrl) const;

 private:
  NSFileManager() = default;
};
