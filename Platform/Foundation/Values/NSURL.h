#pragma once

#include <string>
#include <string_view>

#include "Platform/Foundation/Values/NSString.h"

class NSArray;
class NSData;
class NSError;
class NSNumber;

// The names of an item's resource values, for NSURL::getResourceValue. Each is its own text.
extern ORV_EXPORT const NSString NSURLNameKey;                     // string: the last path component
extern ORV_EXPORT const NSString NSURLIsDirectoryKey;              // boolean; false for a link to a folder
extern ORV_EXPORT const NSString NSURLIsRegularFileKey;            // boolean; false for any link
extern ORV_EXPORT const NSString NSURLIsSymbolicLinkKey;           // boolean
extern ORV_EXPORT const NSString NSURLIsPackageKey;                // boolean: a folder shown as one file
extern ORV_EXPORT const NSString NSURLIsHiddenKey;                 // boolean: the name begins with "."
extern ORV_EXPORT const NSString NSURLFileSizeKey;                 // bytes; nil for anything but a regular file
extern ORV_EXPORT const NSString NSURLContentModificationDateKey;  // date
extern ORV_EXPORT const NSString NSURLCreationDateKey;             // date; nil where the file system keeps none
extern ORV_EXPORT const NSString NSURLTypeIdentifierKey;           // string: its uniform type
extern ORV_EXPORT const NSString NSURLTagNamesKey;       // array of strings; nil when there are no tags
extern ORV_EXPORT const NSString NSURLVolumeIsLocalKey;  // boolean: neither a network nor a removable volume

// How a bookmark is resolved; values combine with |. Nothing here ever asks the user, mounts a volume or needs
// a permission of its own, so that each of them is taken and changes nothing.
enum NSURLBookmarkResolutionOptions : NSUInteger {
  NSURLBookmarkResolutionWithoutUI = 256,
  NSURLBookmarkResolutionWithoutMounting = 512,
  NSURLBookmarkResolutionWithSecurityScope = 1024,
};

// A URL or relative reference of RFC 3986, most often the place of a file.
//
// Immutable; a copy is another reference to the same URL, free and safe on every thread. The text is kept
// as given, always ASCII; asking for its parts never touches the disk. The operations that do say so. File
// names that are not UTF-8 survive the way into a URL and back. Nil answers nil to everything.
//
//   NSURL folder = NSURL::fileURLWithPath("/tmp/my notes", true);      // file:///tmp/my%20notes/
//   NSURL file = folder.URLByAppendingPathComponent("a.txt", false);   // file:///tmp/my%20notes/a.txt
//   if (file.checkResourceIsReachable()) std::cout << file.path();     // /tmp/my notes/a.txt
class ORV_EXPORT NSURL : public orv::Value {
 public:
  NSURL() = default;
  NSURL(orv::Nil) {}

  static bool accepts(const orv::Value& v) noexcept { return v.kind() == orv::Kind::URL; }

  // Strict RFC 3986: nil for an empty text, an illegal character (blanks, quotes, anything above U+007F) or
  // a % without two hexadecimal digits. Nothing is escaped on the way in.
  static NSURL URLWithString(const NSString& text);
  // The same with a base for relative texts; an absolute text, or a nil base, ignores it.
  static NSURL URLWithStringRelativeToURL(const NSString& text, const NSURL& base);

  // The URL of a path. A relative path is kept as it is with the current folder as its base; "" is the current
  // folder; "~" is an ordinary name. The text ends in "/" when the path does or names an existing folder, for
  // which the disk is asked once. nil gives nil.
  static NSURL fileURLWithPath(const NSString& path);
  // The same without asking the disk: the text ends in "/" exactly when isDirectory is true.
  static NSURL fileURLWithPath(const NSString& path, bool isDirectory);
  // An absolute path as the file system's own bytes.
  static NSURL fileURLWithFileSystemRepresentation(std::string_view path, bool isDirectory);

  // The whole text, resolved against the base (RFC 3986, section 5.2).
  NSString absoluteString() const;
  // The text as given.
  NSString relativeString() const;
  NSURL baseURL() const;
  // This URL without a base.
  NSURL absoluteURL() const;

  // The parts, nil when the text (after resolution) has none. Scheme and host keep their case; user, password,
  // host and fragment are decoded, the query is not. An IP literal's host is without its brackets.
  NSString scheme() const;
  NSString user() const;
  NSString password() const;
  NSString host() const;
  // 0 to 65535; nil for no port, an empty one or a larger one.
  NSNumber port() const;
  NSString query() const;
  NSString fragment() const;
  // What follows "scheme:", as given.
  NSString resourceSpecifier() const;

  // The decoded path without trailing slashes; "/" for a root, "" when the path is empty, nil for a URL such
  // as "mailto:a@b.c". Bytes that are not UTF-8 come as the lone surrogates of NSString's file-system form.
  NSString path() const;
  // The path's bytes for the operating system; empty when there is no path.
  std::string fileSystemRepresentation() const;
  // The scheme is "file", in any case.
  bool isFileURL() const noexcept;
  // The path ends in "/".
  bool hasDirectoryPath() const noexcept;

  // Of the decoded path: "/" for a root, no component for a trailing slash.
  NSString lastPathComponent() const;
  NSString pathExtension() const;
  NSArray pathComponents() const;

  // One slash between; a component with inner slashes is several. `?` and `#` are escaped. The query and the
  // fragment stay. nil for a nil component or a URL without a path.
  NSURL URLByAppendingPathComponent(const NSString& component, bool isDirectory) const;
  // The same; the text ends in "/" when the component does or, for a file URL, names an existing folder (asks
  // the disk).
  NSURL URLByAppendingPathComponent(const NSString& component) const;
  // "/a/b/" with "tmp" gives "/a/b.tmp/". nil when there is no name to extend or the extension is nil or holds
  // a slash; an empty extension changes nothing.
  NSURL URLByAppendingPathExtension(const NSString& extension) const;
  // The enclosing folder, with a trailing slash. Above a root, "." or ".." it is "../".
  NSURL URLByDeletingLastPathComponent() const;
  NSURL URLByDeletingPathExtension() const;
  // Without "." and ".." segments.
  NSURL URLByStandardizingPath() const;

  // True when the item exists, a dangling link included. Asks the disk; false for a URL that is not a file's,
  // and when the folders on the way cannot be searched. `error` is set when the answer is false.
  bool checkResourceIsReachable(NSError* error = nullptr) const;
  // Reads one resource value of the item itself, not of what a link points to. Nothing is kept: every call asks
  // the disk. An item without the value gives true and nil. False with an error: not a file URL, no such item
  // (260), a value that the disk refuses, unknown key; `value` is then unchanged.
  bool getResourceValue(const NSString& key, orv::Value* value, NSError* error = nullptr) const;
  // Sets the tag names (NSURLTagNamesKey), the only value that can be set: each name once, in the order given;
  // nil and an empty array take them all away. False with an error for a name that is empty or holds a comma
  // (which separates tags on the disk), a value of another kind, another key, and what the disk refuses: no
  // such item (4), a file system that keeps no extended attributes, a link. The old tags then stand.
  bool setResourceValue(const orv::Value& value, const NSString& key, NSError* error = nullptr) const;

  // A bookmark: data that finds the item again after it was renamed or moved on its volume. It holds the path,
  // the item's identity (inode, birth time) and those of its folders, and a digest of all that. The options are
  // for later use: 0. nil with an error for a missing item (260), one whose path is too long once its links are
  // resolved (258), and a URL that is not a file's.
  NSData bookmarkDataWithOptions(NSUInteger options, NSError* error = nullptr) const;
  // The item of a bookmark: at its old path, or where it is now on its volume. `isStale` is set to whether the
  // bookmark should be made anew: the item was found elsewhere, or another item of its kind took its place (as
  // when an editor saves a file by replacing it; the path then wins). The search below the old folders, the
  // home folder and the volume ends after 100,000 names. nil with an error for data that is no bookmark or was
  // tampered with (259) and an item that is not found (4). Blocks on the disk.
  static NSURL URLByResolvingBookmarkData(const NSData& bookmark, NSUInteger options, bool* isStale = nullptr,
                                          NSError* error = nullptr);

  // The text; with a base "text -- base".
  NSString description() const;

  friend bool operator==(const NSURL& a, const NSURL& b) noexcept { return a.isSame(b) || a.isEqual(b); }
};
