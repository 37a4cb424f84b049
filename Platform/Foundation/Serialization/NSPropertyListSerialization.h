#pragma once

#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSError.h"
#include "Platform/Foundation/Values/Value.h"

enum NSPropertyListFormat : NSUInteger {
  NSPropertyListOpenStepFormat = 1,       // the old-style text, { a = 1; b = (x, "y z"); }: can only be read
  NSPropertyListXMLFormat_v1_0 = 100,     // whole seconds, no control characters
  NSPropertyListBinaryFormat_v1_0 = 200,  // keeps everything
};

enum NSPropertyListMutabilityOptions : NSUInteger {
  NSPropertyListImmutable = 0,
  NSPropertyListMutableContainers = 1,           // every array and dictionary of the tree can be changed
  NSPropertyListMutableContainersAndLeaves = 2,  // the same: strings and data are values
};

inline constexpr NSInteger NSPropertyListWriteStreamError = 3851;

// Property lists: trees of strings, numbers, booleans, dates, data, arrays and dictionaries with string keys,
// as XML or in a compact binary form. Not an object: three operations, safe on every thread. They raise
// nothing.
//
//   NSError error;
//   NSData data = NSPropertyListSerialization::dataWithPropertyList(tree, NSPropertyListBinaryFormat_v1_0, 0,
//                                                                   &error);
//   Value again = NSPropertyListSerialization::propertyListWithData(data, NSPropertyListMutableContainers);
class ORV_EXPORT NSPropertyListSerialization {
 public:
  // Arrays and dictionaries nested deeper than this are neither read nor written.
  static constexpr int kDeepest = 512;

  NSPropertyListSerialization() = delete;

  // Whether a value can be written in a format. Nil, null, URLs, sets, objects, other keys than strings, cycles
  // and what nests too deep cannot. XML has no place for a date that is not-a-number or outside the years 1 to
  // 9999, for control characters other than tab, line feed and carriage return, and for lone surrogates.
  static bool propertyListIsValid(const orv::Value& propertyList, NSPropertyListFormat format);

  // In the binary form equal strings, numbers, dates and data are written once. Integers keep their 64 bits,
  // doubles all theirs, not-a-number and the infinities included; XML drops the sign of -0.0 and the fraction
  // of a date's second. A decimal number is written as a double. There are no options; they are ignored. nil
  // and an error (NSCocoaErrorDomain) with a debug description: 3852 for what is no property list in that
  // format, 3851 for a format that cannot be written.
  static NSData dataWithPropertyList(const orv::Value& propertyList, NSPropertyListFormat format,
                                     NSUInteger options, NSError* error = nullptr);

  // Reads every format, by what the data begin with, and tells which one it was. Integers come back as 64-bit
  // numbers, reals as doubles; the old-style text has only strings, data, arrays and dictionaries, and is one
  // string when it is one word. Of a repeated key the last value counts. A keyed archive's references read as
  // dictionaries of one integer under "CF$UID". XML is UTF-8, UTF-16 or UTF-32.
  // nil and an error (NSCocoaErrorDomain, 3840) with a debug description, and for text with line and column
  // (NSJSONSerializationErrorLine, ...Column), for nil, empty, and malformed data, and for a binary list that
  // contains itself or grows far beyond its size by references.
  static orv::Value propertyListWithData(const NSData& data, NSUInteger options,
                                         NSPropertyListFormat* format = nullptr, NSError* error = nullptr);
};
