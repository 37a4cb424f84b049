#pragma once

#include "Platform/Foundation/Values/NSString.h"

// Transforms of whole texts by rules, NSString::stringByApplyingTransform, and a shorter way to plain Latin.
namespace orv::detail {

// What NSStringTransformToLatin, then NSStringTransformStripDiacritics, then
// NSStringTransformStripCombiningMarks make of a text; nil where one of them is missing. Texts of Latin
// letters, marks and the punctuation of all scripts go through a table; a text that is plain already is
// answered itself.
ORV_EXPORT NSString plainLatin(const NSString& text);

// The same without the table.
ORV_EXPORT NSString plainLatinByTransforms(const NSString& text);

// The text in ASCII, for where there are no transforms: what the table knows without its accents, anything else
// a question mark for each code point.
ORV_EXPORT NSString lossyAscii(const NSString& text);

}  // namespace orv::detail
