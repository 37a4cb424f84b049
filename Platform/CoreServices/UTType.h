#pragma once

#include "Platform/Foundation/Values/NSString.h"

// The registry of uniform types: which identifier stands for a file-name extension or a media type, which tags
// an identifier has, and what it conforms to. Identifiers and tags are compared without regard to case.
//
// A built-in table of some five hundred types decides. What it does not know gets a dynamic identifier,
// "dyn.a...", which carries the tag it was made from within its text; the machine's own media-type database
// ($XDG_DATA_HOME/mime and $XDG_DATA_DIRS/mime, read once when first needed) supplies the other tags of such a
// type and what it conforms to. Safe on every thread; nil arguments give nil or false.
//
//   NSString type = UTTypeCreatePreferredIdentifierForTag(kUTTagClassFilenameExtension, "jpg", nil);  //
//   public.jpeg UTTypeCopyPreferredTagWithClass(type, kUTTagClassMIMEType); // image/jpeg
//   UTTypeConformsTo(type, kUTTypeImage);                                                             // true

extern ORV_EXPORT const NSString kUTTagClassFilenameExtension;  // "public.filename-extension"
extern ORV_EXPORT const NSString kUTTagClassMIMEType;           // "public.mime-type"
extern ORV_EXPORT const NSString kUTTagClassOSType;             // "com.apple.ostype"
extern ORV_EXPORT const NSString kUTTagClassNSPboardType;       // "com.apple.nspboard-type"

extern ORV_EXPORT const NSString kUTTypeData;     // "public.data"
extern ORV_EXPORT const NSString kUTTypeURL;      // "public.url"
extern ORV_EXPORT const NSString kUTTypeFileURL;  // "public.file-url"
extern ORV_EXPORT const NSString kUTTypeJPEG;     // "public.jpeg"
extern ORV_EXPORT const NSString kUTTypePNG;      // "public.png"
extern ORV_EXPORT const NSString kUTTypeTIFF;     // "public.tiff"
extern ORV_EXPORT const NSString kUTTypeImage;    // "public.image"
extern ORV_EXPORT const NSString kUTTypeVideo;    // "public.video"
extern ORV_EXPORT const NSString kUTTypeAudio;    // "public.audio"
extern ORV_EXPORT const NSString kUTTypePDF;      // "com.adobe.pdf"
extern ORV_EXPORT const NSString kUTTypeFolder;   // "public.folder"

// The identifier for a tag: of several types that claim it the first of the table, of those that conform to
// `conformingTo` when that is given. A tag that no type claims gives a dynamic identifier below `conformingTo`,
// or below public.data. nil for a nil tag and for an unknown tag class.
ORV_EXPORT NSString UTTypeCreatePreferredIdentifierForTag(const NSString& tagClass, const NSString& tag,
                                                          const NSString& conformingTo);

// The first extension or media type of a type; nil when it has none. A dynamic identifier answers the tag it
// was made from, and the machine's tags of the other classes.
ORV_EXPORT NSString UTTypeCopyPreferredTagWithClass(const NSString& identifier, const NSString& tagClass);

// Whether a type is another one or lies below it. An unknown identifier conforms to itself alone.
ORV_EXPORT bool UTTypeConformsTo(const NSString& identifier, const NSString& parent);
