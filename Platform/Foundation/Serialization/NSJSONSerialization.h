#pragma once

#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSError.h"
#include "Platform/Foundation/Values/Value.h"

enum NSJSONReadingOptions : NSUInteger {
  NSJSONReadingMutableContainers = 1,  // every array and dictionary of the tree can be changed
  NSJSONReadingMutableLeaves = 2,      // without effect: strings are values
  NSJSONReadingFragmentsAllowed = 4,   // a single string, number, boolean or null is a text, too
};

enum NSJSONWritingOptions : NSUInteger {
  NSJSONWritingPrettyPrinted = 1,           // two blanks a level, "key" : value, one element a line
  NSJSONWritingSortedKeys = 2,              // by code unit; otherwise in the order of the dictionary
  NSJSONWritingFragmentsAllowed = 4,        // the value may be a single string, number, boolean or null
  NSJSONWritingWithoutEscapingSlashes = 8,  // "/" instead of "\/"
};

// Of an error of reading: the byte of the text at which it shows, and its line and column, which count from 1.
extern ORV_EXPORT const NSString NSJSONSerializationErrorIndex;
extern ORV_EXPORT const NSString NSJSONSerializationErrorLine;
extern ORV_EXPORT const NSString NSJSONSerializationErrorColumn;
// The text that tells what is wrong.
extern ORV_EXPORT const NSString NSDebugDescriptionErrorKey;

inline constexpr NSInteger NSPropertyListReadCorruptError = 3840;
inline constexpr NSInteger NSPropertyListWriteInvalidError = 3852;

// Turns trees of values into JSON (RFC 8259) and back. Not an object: three operations, safe on every thread.
//
//   NSError error;
//   Value tree = NSJSONSerialization::JSONObjectWithData("{\"a\": [1, 2]}"_data, 0, &error);
//   NSData text = NSJSONSerialization::dataWithJSONObject(tree, NSJSONWritingPrettyPrinted);
class ORV_EXPORT NSJSONSerialization {
 public:
  // Arrays and dictionaries nested deeper than this are neither read nor written.
  static constexpr int kDeepest = 512;

  NSJSONSerialization() = delete;

  // Whether a value can be written without the option for fragments: an array or a dictionary with string keys
  // whose tree holds strings, finite numbers, booleans, nulls, arrays and such dictionaries, and no cycle.
  static bool isValidJSONObject(const orv::Value& object);

  // UTF-8 without a byte-order mark and without a line end. Doubles are written in the shortest form that reads
  // back the same, integral ones without a fraction (3.0 is 3, 1e21 is 1e+21), decimals with all their digits.
  // Control characters, quotes, backslashes and slashes are escaped; everything else stands as it is.
  // Raises NSInvalidArgumentException for what `isValidJSONObject` refuses, nil included. A string with a lone
  // surrogate has no UTF-8: nil, and an error.
  static NSData dataWithJSONObject(const orv::Value& object, NSUInteger options, NSError* error = nullptr);

  // Reads UTF-8, UTF-16 or UTF-32 of either byte order, with or without a byte-order mark. Numbers without
  // fraction and exponent are integers where 64 bits hold them; with more than 17 digits decimals, where these
  // keep them all; else doubles. Of a repeated key the last value counts.
  // nil and an error (NSCocoaErrorDomain, 3840) with line, column and byte for anything else: RFC 8259 is kept
  // to the letter. Raises NSInvalidArgumentException for nil data.
  static orv::Value JSONObjectWithData(const NSData& data, NSUInteger options, NSError* error = nullptr);
};
