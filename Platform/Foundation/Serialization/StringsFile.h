#pragma once

#include <string_view>

#include "Platform/Foundation/Values/NSDictionary.h"

// Tables of translations as they lie on the disk.
namespace orv::detail {

// Reads the old-style form, in UTF-8, UTF-16 or UTF-32, with a byte-order mark or without:
//
//   /* Title of the window */
//   "Hello" = "Hallo";      // a comment to the end of the line
//   "OK";                   // stands for itself
//
// Braces around all are allowed; the rules for words and escapes are those of OldStylePropertyList.h. An empty
// file is an empty table. Property lists in XML and in binary form are read, too. nil for anything else, for
// text that is malformed or ill-formed, and for values that are no strings.
ORV_EXPORT NSDictionary readStringsFile(std::string_view bytes);

}  // namespace orv::detail
