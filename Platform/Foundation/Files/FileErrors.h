#pragma once

#include <string>

#include "Platform/Foundation/Values/NSError.h"
#include "Platform/Foundation/Values/NSString.h"

class NSURL;

// Codes of NSCocoaErrorDomain for files.
enum : NSInteger {
  NSFileNoSuchFileError = 4,     // while writing, moving or removing
  NSFileReadUnknownError = 256,  // also: not a folder, a folder where a file is wanted
  NSFileReadNoPermissionError = 257,
  NSFileReadInvalidFileNameError = 258,
  NSFileReadCorruptFileError = 259,
  NSFileReadNoSuchFileError = 260,
  NSFileWriteUnknownError = 512,
  NSFileWriteNoPermissionError = 513,
  NSFileWriteInvalidFileNameError = 514,
  NSFileWriteFileExistsError = 516,
  NSFileWriteOutOfSpaceError = 640,
  NSFileWriteVolumeReadOnlyError = 642,
  NSFeatureUnsupportedError = 3328,
};

namespace orv::detail {

// What was being done when the system refused; it chooses the code's range and the sentence. What is missing
// while something is created is its folder, else the item itself.
enum class FileAction { Open, Create, Change, Remove, Move, Copy };

// The error for an errno value: a code of NSCocoaErrorDomain, with its text, the path and the system's own
// error as details. `target` is the other end of a move or copy.
NSError fileError(int number, FileAction action, const NSString& path, const NSString& target = nil);

// Fills an out-parameter unless it is null; answers false, so that a caller can return it.
bool fail(NSError* out, const NSError& error);
bool fail(NSError* out, int number, FileAction action, const NSString& path, const NSString& target = nil);

// The error of a value that is not a file URL, or a nil path; it tells of the value.
NSError invalidPathError(FileAction action, const Value& given);

// The path as the operating system takes it: false for nil, "" and a path with a zero byte in it.
bool systemPath(const NSString& path, std::string& out);
bool systemPath(const NSURL& url, std::string& out);
// The same without trailing slashes, which would make the system follow a link.
bool itemPath(const NSString& path, std::string& out);

}  // namespace orv::detail
