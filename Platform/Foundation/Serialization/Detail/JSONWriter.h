#pragma once

#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/Value.h"

namespace orv::detail {

// Turns what JSON has no form for into something it has one for.
using JSONConverter = Value (*)(const Value& foreign);

// Writes a tree with NSJSONWritingOptions. Nil data when a string has no UTF-8. Without a converter what JSON
// has no form for raises NSInvalidArgumentException; with one it is converted on the way, and every number,
// booleans included, is written by its double value.
ORV_EXPORT NSData writeJSON(const Value& tree, NSUInteger options, JSONConverter convert = nullptr);

// What a model keeps: a dictionary, an array, or nil.
using JSONContents = const Value& (*)(const Value& model);

// Writes a tree with models in it, as if they were dictionaries, sets as arrays, and without nulls.
ORV_EXPORT NSData writeModelJSON(const Value& tree, NSUInteger options, JSONContents contents);

// The text of a finite double: the shortest that reads back the same, without a fraction when it is integral.
// `out` has room for 32 bytes; answers the end.
ORV_EXPORT char* writeJSONDouble(double d, char* out) noexcept;

}  // namespace orv::detail
