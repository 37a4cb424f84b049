#pragma once

#include "Platform/Foundation/Values/Value.h"

class NSArray;
class NSData;
class NSString;
class NSURL;

// Identity and types: the release that runs, unique identifiers, the way between uniform types, media types,
// extensions and URLs, and a deep comparison that says where two values differ. Functions without state, safe
// on every thread; nil arguments answer nil or false unless the function says otherwise.
//
//   NSString key = Orv::uid();                                        // "nNG2vh9zRcO0Bb9hWyYhEA"
//   NSString mime = Orv::mimeForURL(url);                             // "image/jpeg"
//   if (Orv::urlConformsTo(url, {"public.image"})) ...
class ORV_EXPORT Orv {
 public:
  Orv() = delete;

  // "<bundle identifier>@<marketing version>+<build number>" from the main bundle's information; "(null)" for
  // each that is missing.
  static NSString appReleaseID();

  // 16 random bytes of a fresh version 4 UUID: 22 characters of URL-safe Base64 without padding, or 26 of
  // Base32.
  static NSString uid();
  static NSString uidShort();

  // Base32 over "0123456789ABCDEFGHJKMNPQRSTVWXYZ", the most significant bits first, without padding: n bytes
  // give 8n / 5 characters, rounded up, but never more than 256. nil for empty data.
  static NSString base32EncodingWithData(const NSData& data);

  // The preferred type of a media type, a dynamic one where it is unknown.
  static NSString utiForMIME(const NSString& mimeType);
  // The preferred media type of a type; nil where it has none.
  static NSString mimeForUTI(const NSString& uti);
  // The preferred extension of a type, "bin" where it has none; "bin" for nil, too.
  static NSString filenameExtensionForUTI(const NSString& uti);
  // By the URL's path extension alone; the disk is not asked.
  static NSString utiForURL(const NSURL& url);
  static NSString mimeForURL(const NSURL& url);

  // Whether the type, or that of the URL's path extension, conforms to any of the types. No types: false.
  static bool utiConformsTo(const NSString& uti, const NSArray& types);
  static bool urlConformsTo(const NSURL& url, const NSArray& types);

  // Whether two values are equal at every depth: equal by isEqual, and so are, pair by pair, the values under
  // their keys (what has keys) or their elements in order (what has a count; sets in the order of
  // enumeration). Two nils are equal. The first difference, and each pair of values it lies in, is logged at
  // Warning: "Not deep equal at a != b [class of a =! class of b]", the innermost first; differing keys and
  // counts are not logged themselves. Nesting has no limit.
  static bool isDeepEqual(const orv::Value& a, const orv::Value& b);
};
