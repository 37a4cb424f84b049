#pragma once

#include <string_view>

#include "Platform/Foundation/Values/NSDictionary.h"

// Tables of translations as they lie on the disk.
namespace orv::detail {

// Reads the old-style form, in UTF-8 or UTF-16, with a byte-order mark or without:
//
//   /* Title of the window */
//   "Hello" = "Hallo";      // a comment to the end of the line
//   "OK";                   // stands for itself
//
// Words of letters, digits, and _ $ . / : - need no quotes; braces around all are allowed. Escapes: \n \t \r \b
// \f \v \a, \ and up to three octal digits, \U or \u and up to four hexadecimal ones, and \ before anything
// else, which is that. The last of equal keys counts. A file that begins as a property list goes to the reader
// set for them. nil for anything else, for text that is malformed or ill-formed, and for values that are no
// strings.
ORV_EXPORT NSDictionary readStringsFile(std::string_view bytes);

// Reads a table in a property list's XML or binary form; nil for others. There is none at first, so that such
// files are refused. May be set on any thread, once.
using PropertyListReader = NSDictionary (*)(std::string_view bytes);
ORV_EXPORT void setPropertyListReader(PropertyListReader reader) noexcept;

}  // namespace orv::detail
