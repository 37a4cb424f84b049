#pragma once

#include <string_view>

#include "Platform/Foundation/Export.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/Value.h"

// A small reader of JSON (RFC 8259) for information files, settings and the command line: a few kilobytes at a
// time.
namespace orv::detail {

inline constexpr int kDeepestJSON = 512;

// One value of any kind: numbers without fraction and exponent are integers where 64 bits hold them, others
// doubles; of a repeated key the last entry counts. nil when the text is anything else, or nested more than 512
// deep.
ORV_EXPORT Value readSmallJSON(std::string_view utf8);

// One object of strings, numbers, booleans and nulls (left out); nil when the text is anything else.
ORV_EXPORT NSDictionary readFlatJSON(std::string_view utf8);

}  // namespace orv::detail
