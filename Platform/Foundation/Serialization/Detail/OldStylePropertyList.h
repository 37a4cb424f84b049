#pragma once

#include <string_view>

#include "Platform/Foundation/Serialization/Detail/PropertyListRules.h"
#include "Platform/Foundation/Values/NSDictionary.h"

// The old-style text of property lists and of tables of translations:
//
//   { name = "a \"quoted\" text"; list = (x, y); bytes = <0fbd 77>; }    /* a comment */
//   "Hello" = "Hallo";      // a table without its braces
//   "OK";                   // stands for itself
//
// Words of letters, digits, and _ $ . / : - need no quotes. Escapes: \n \t \r \b \f \v \a, \ and up to three
// octal digits, \U or \u and up to four hexadecimal ones, and \ before anything else, which is that. Lists and
// tables may end in their separator or without; of equal keys the last counts. 512 levels at most.
namespace orv::detail {

// One value: a dictionary, an array, data, or a string; entries without braces are a dictionary. nil, and the
// fault with a byte of the text, for anything else, for ill-formed UTF-8, and for text without a value.
Value readOldStylePropertyList(std::string_view utf8, bool mutableContainers, PropertyListFault& fault);

// A dictionary, with braces or without, which is empty where the text is.
NSDictionary readOldStyleTable(std::string_view utf8, PropertyListFault& fault);

}  // namespace orv::detail
