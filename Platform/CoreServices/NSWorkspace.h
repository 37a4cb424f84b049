#pragma once

#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

class NSError;

// What the desktop knows about files: which folders are shown as one file, and what type an item has.
//
// One object for all, without a state, for any thread. Types are those of the registry (UTType.h).
//
//   Ref<NSWorkspace> workspace = NSWorkspace::sharedWorkspace();
//   NSString type = workspace->typeOfFile("/tmp/notes.txt");              // public.plain-text
//   if (workspace->typeConformsToType(type, "public.text")) ...
class ORV_EXPORT NSWorkspace : public NSObject {
 public:
  static orv::Ref<NSWorkspace> sharedWorkspace();

  NSString className() const override { return "NSWorkspace"; }

  // Whether a path names a package: a folder whose extension, in any case, belongs to a type below
  // com.apple.package. A bundle that is no package, such as a framework, is an ordinary folder; a plain file
  // and a link never are packages. Asks the disk.
  bool isFilePackageAtPath(const NSString& path) const;

  // The type of the item itself, as NSURLTypeIdentifierKey tells it. nil with an error for a missing one (260).
  NSString typeOfFile(const NSString& path, NSError* error = nullptr) const;

  // Whether the first type is the second or lies below it; false when one is nil.
  bool typeConformsToType(const NSString& first, const NSString& second) const;

 private:
  NSWorkspace() = default;
};
