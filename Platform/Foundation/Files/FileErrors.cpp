#include "Platform/Foundation/Files/FileErrors.h"

#include <cerrno>
#include <string>

#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSURL.h"

using namespace orv;

namespace orv::detail {
namespace {

NSInteger readCode(int number) {
  switch (number) {
    case ENOENT: return NSFileReadNoSuchFileError;
    case EACCES:
    case EPERM: return NSFileReadNoPermissionError;
    case ENAMETOOLONG:
    case EINVAL: return NSFileReadInvalidFileNameError;
    default: return NSFileReadUnknownError;
  }
}

NSInteger writeCode(int number) {
  switch (number) {
    case ENOENT: return NSFileNoSuchFileError;
    case EACCES:
    case EPERM: return NSFileWriteNoPermissionError;
    case EEXIST:
    case ENOTEMPTY: return NSFileWriteFileExistsError;
    case ENAMETOOLONG: return NSFileWriteInvalidFileNameError;
    case ENOSPC:
    case EDQUOT: return NSFileWriteOutOfSpaceError;
    case EROFS: return NSFileWriteVolumeReadOnlyError;
    default: return NSFileWriteUnknownError;
  }
}

NSInteger codeFor(int number, FileAction action) {
  if (action == FileAction::Open) return readCode(number);
  return action == FileAction::Copy && number == ENOENT ? NSInteger{NSFileReadNoSuchFileError}
                                                        : writeCode(number);
}

// Why, as the end of a sentence; empty where the sentence says it all.
NSString reasonFor(NSInteger code, FileAction action) {
  switch (code) {
    case NSFileNoSuchFileError:
      if (action == FileAction::Remove) return "";
      return action == FileAction::Create ? " because there is no such folder"
                                          : " because there is no such file";
    case NSFileReadNoSuchFileError: return " because there is no such file";
    case NSFileReadNoPermissionError: return " because you don’t have permission to view it";
    case NSFileReadInvalidFileNameError:
    case NSFileWriteInvalidFileNameError: return " because its name is invalid";
    case NSFileWriteNoPermissionError: return " because you don’t have permission to access it";
    case NSFileWriteFileExistsError: return " because an item with the same name already exists";
    case NSFileWriteOutOfSpaceError: return " because the volume is out of space";
    case NSFileWriteVolumeReadOnlyError: return " because the volume is read only";
    default: return "";
  }
}

NSString quoted(const NSString& name) { return NSString("“") + name + "”"; }

// The name of the folder that a place lies in, also of a relative one.
NSString folderOf(const NSString& place) {
  const NSString path = place.isAbsolutePath() ? place : NSURL::fileURLWithPath(place, false).path();
  return path.stringByDeletingLastPathComponent().lastPathComponent();
}

NSString sentence(NSInteger code, FileAction action, const NSString& path, const NSString& target) {
  const NSString name = quoted(path.lastPathComponent());
  const NSString reason = reasonFor(code, action) + ".";
  switch (action) {
    case FileAction::Open: return NSString("The file ") + name + " couldn’t be opened" + reason;
    case FileAction::Create:
    case FileAction::Change: return NSString("The file ") + name + " couldn’t be saved" + reason;
    case FileAction::Remove: return name + " couldn’t be removed" + reason;
    case FileAction::Move: return name + " couldn’t be moved to " + quoted(folderOf(target)) + reason;
    case FileAction::Copy: return name + " couldn’t be copied to " + quoted(folderOf(target)) + reason;
  }
  return nil;
}

bool withoutZero(std::string bytes, std::string& out) {
  if (bytes.empty() || bytes.find('\0') != std::string::npos) return false;
  out = std::move(bytes);
  return true;
}

}  // namespace

NSError fileError(int number, FileAction action, const NSString& path, const NSString& target) {
  const NSInteger code = codeFor(number, action);
  const NSString shown = path.isNil() ? NSString("") : path;
  return NSError::errorWithDomain(
      NSCocoaErrorDomain, code,
      NSDictionary{{NSFilePathErrorKey, shown},
                   {NSLocalizedDescriptionKey, sentence(code, action, shown, target)},
                   {NSUnderlyingErrorKey, NSError::errorWithErrno(number)}});
}

bool fail(NSError* out, const NSError& error) {
  if (out) *out = error;
  return false;
}

bool fail(NSError* out, int number, FileAction action, const NSString& path, const NSString& target) {
  if (out) *out = fileError(number, action, path, target);
  return false;
}

NSError invalidPathError(FileAction action, const Value& given) {
  const NSInteger code = action == FileAction::Open ? NSFileReadUnknownError : NSFileWriteUnknownError;
  const NSString text = quoted(given.description()) + " is not the place of a file.";
  return NSError::errorWithDomain(NSCocoaErrorDomain, code, NSDictionary{{NSLocalizedDescriptionKey, text}});
}

bool systemPath(const NSString& path, std::string& out) {
  return withoutZero(path.fileSystemRepresentation(), out);
}

bool itemPath(const NSString& path, std::string& out) {
  if (!systemPath(path, out)) return false;
  while (out.size() > 1 && out.ends_with('/')) out.pop_back();
  return true;
}

bool systemPath(const NSURL& url, std::string& out) {
  return url.isFileURL() && withoutZero(url.fileSystemRepresentation(), out);
}

}  // namespace orv::detail
