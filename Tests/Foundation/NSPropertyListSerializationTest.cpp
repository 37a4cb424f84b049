#include "Platform/Foundation/Serialization/NSPropertyListSerialization.h"

#include <gtest/gtest.h>
#include <plist/plist.h>
#include <rapidcheck.h>

#include <cmath>
#include <limits>
#include <string>

#include "Tests/Foundation/PropertyLists.h"

using namespace orv;
using namespace plists;

// ---- What can be written

TEST(NSPropertyListSerialization, KnowsWhatAPropertyListIs) {
  const auto valid = [](const Value& tree, NSPropertyListFormat format = kBinary) {
    return NSPropertyListSerialization::propertyListIsValid(tree, format);
  };
  for (const Value& leaf : {Value("a"), Value(1), Value(UINT64_MAX), Value(1.5), Value(true), Value(dateAt(0)),
                            Value(bytes("x")), Value(NSDecimalNumber::decimalNumberWithString("1.5"))}) {
    EXPECT_TRUE(valid(leaf)) << leaf;
    EXPECT_TRUE(valid(NSArray{leaf, NSDictionary{{"k", leaf}}}, kXML)) << leaf;
    EXPECT_FALSE(valid(leaf, NSPropertyListOpenStepFormat));
    EXPECT_FALSE(valid(leaf, NSPropertyListFormat{7}));
  }
  EXPECT_TRUE(valid(std::numeric_limits<double>::quiet_NaN()));
  EXPECT_TRUE(valid(nested(512)));
  EXPECT_FALSE(valid(nested(513)));
}

TEST(NSPropertyListSerialization, TellsWhyATreeIsNone) {
  const std::string begin =
      "Property list invalid for format: 200 (property lists cannot contain objects of type ";
  EXPECT_EQ(objectionTo(NSNull::null()), NSString(begin + "'CFNull')"));
  EXPECT_EQ(objectionTo(NSArray{NSNull::null()}), NSString(begin + "'CFNull')"));
  EXPECT_EQ(objectionTo(NSDictionary{{"a", NSURL::URLWithString("http://h")}}), NSString(begin + "'CFURL')"));
  EXPECT_EQ(objectionTo(NSSet{1}), NSString(begin + "'CFSet')"));
  EXPECT_EQ(objectionTo(make<NSObject>()), NSString(begin + "'NSObject')"));
  EXPECT_EQ(objectionTo(nil), "Property list invalid for format: 200 (a property list cannot be nil)");
  EXPECT_EQ(objectionTo(NSDictionary{{1, "a"}}, kXML),
            "Property list invalid for format: 100 (property list dictionaries may only have keys which are "
            "CFStrings, not 'NSNumber')");
  EXPECT_EQ(objectionTo(nested(513)),
            "Property list invalid for format: 200 (property lists cannot be nested deeper than 512 levels)");
  EXPECT_EQ(objectionTo(nested(100000)), objectionTo(nested(513)));
}

TEST(NSPropertyListSerialization, RefusesCycles) {
  const NSMutableArray array = NSMutableArray::array();
  const NSMutableDictionary dictionary{{"array", array}};
  array.addObject(dictionary);
  for (const Value& cycle : {Value(array), Value(dictionary)})
    EXPECT_EQ(
        objectionTo(cycle),
        "Property list invalid for format: 200 (property lists cannot contain recursive container references)");
  array.removeAllObjects();
}

TEST(NSPropertyListSerialization, RefusesWhatXMLHasNoPlaceFor) {
  const double inf = std::numeric_limits<double>::infinity();
  for (const double seconds : {std::nan(""), inf, -inf, 1e15, -1e15, 252423993600.0, -63114076801.0})
    EXPECT_NE(objectionTo(NSArray{dateAt(seconds)}, kXML).utf8().find("years 1 to 9999"), std::string::npos)
        << seconds;
  for (const NSString& text :
       {unit(0), unit(1), unit(0x1F), unit(0xFFFE), unit(0xFFFF), unit(0xD800), unit(0xDC00)}) {
    EXPECT_NE(objectionTo(text, kXML).utf8().find("control characters"), std::string::npos);
    objectionTo(NSDictionary{{text, 1}}, kXML);
    EXPECT_EQ(read(written(text)), text);
  }
}

TEST(NSPropertyListSerialization, WritesNoOldStyleText) {
  for (const NSUInteger format : {0u, 1u, 2u, 300u}) {
    const NSError error = writeErrorOf("a", static_cast<NSPropertyListFormat>(format));
    EXPECT_EQ(error.code(), NSPropertyListWriteStreamError);
    EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
  }
}

TEST(NSPropertyListSerialization, SuccessClearsTheError) {
  NSError error = NSError::errorWithDomain("d", 1, nil);
  const NSData data = NSPropertyListSerialization::dataWithPropertyList("a", kBinary, 0, &error);
  EXPECT_TRUE(error.isNil());
  error = NSError::errorWithDomain("d", 1, nil);
  EXPECT_EQ(NSPropertyListSerialization::propertyListWithData(data, 0, nullptr, &error), "a");
  EXPECT_TRUE(error.isNil());
}

// ---- Round trips, and a second reader

TEST(NSPropertyListSerialization, WhatIsWrittenReadsBack) {
  EXPECT_TRUE(rc::check([] {
    const Value tree = randomTree(3, false);
    RC_ASSERT(sameTree(read(written(tree)), tree));
    RC_ASSERT(written(read(written(tree))) == written(tree));
  }));
  EXPECT_TRUE(rc::check([] {
    const Value tree = randomTree(3, true);
    RC_ASSERT(sameTree(read(written(tree, kXML)), tree));
  }));
}

namespace {

// What the other library's interface can tell of a value.
bool agrees(plist_t node, const Value& value) {
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      uint8_t b = 0;
      plist_get_bool_val(node, &b);
      return value.kind() == Kind::Bool && (b != 0) == value.toBool();
    }
    case PLIST_UINT: {
      uint64_t n = 0;
      plist_get_uint_val(node, &n);
      return (value.kind() == Kind::Int || value.kind() == Kind::UInt) && n == detail::Access::bits(value);
    }
    case PLIST_REAL: {
      double d = 0;
      plist_get_real_val(node, &d);
      return value.kind() == Kind::Double &&
             (d == value.toDouble() || (d != d && value.toDouble() != value.toDouble()));
    }
    case PLIST_STRING: {
      uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      return value == Value(std::string_view(text, length));
    }
    case PLIST_DATA: {
      uint64_t length = 0;
      const char* data = plist_get_data_ptr(node, &length);
      return value == Value(NSData::dataWithBytes(data, length));
    }
    case PLIST_DATE: return value.kind() == Kind::Date;
    case PLIST_ARRAY: {
      const NSArray array = value.as<NSArray>();
      bool same = array.count() == plist_array_get_size(node);
      for (uint32_t i = 0; same && i < array.count(); ++i)
        same = agrees(plist_array_get_item(node, i), array[i]);
      return same;
    }
    case PLIST_DICT: {
      const NSDictionary dictionary = value.as<NSDictionary>();
      bool same = dictionary.count() == plist_dict_get_size(node);
      for (const auto& [key, element] : dictionary)
        same = same && agrees(plist_dict_get_item(node, key.as<NSString>().utf8().c_str()), element);
      return same;
    }
    default: return false;
  }
}

}  // namespace

TEST(NSPropertyListSerialization, ASecondReaderAgrees) {
  EXPECT_TRUE(rc::check([] {
    const Value tree = randomTree(3, true);
    const std::string file = written(tree);
    plist_t node = nullptr;
    plist_from_bin(file.data(), static_cast<uint32_t>(file.size()), &node);
    const bool same = agrees(node, tree);
    plist_free(node);
    RC_ASSERT(same);
  }));
  EXPECT_TRUE(rc::check([] {
    const Value tree = randomTree(2, true);
    const std::string file = written(tree, kXML);
    plist_t node = nullptr;
    plist_from_xml(file.data(), static_cast<uint32_t>(file.size()), &node);
    const bool same = agrees(node, tree);
    plist_free(node);
    RC_ASSERT(same);
  }));
}

TEST(NSPropertyListSerialization, OptionsMakeContainersMutable) {
  const NSDictionary tree{{"a", NSArray{NSDictionary::dictionary()}}};
  for (const std::string& file : {written(tree), written(tree, kXML), std::string("{a = ({});}")}) {
    for (const NSUInteger options : {0u, 1u, 2u, 3u}) {
      const NSDictionary again = read(file, options).as<NSDictionary>();
      EXPECT_EQ(again, tree);
      const NSArray array = again.objectForKey("a").as<NSArray>();
      EXPECT_EQ(again.isKindOf<NSMutableDictionary>(), options != 0);
      EXPECT_EQ(array.isKindOf<NSMutableArray>(), options != 0);
      EXPECT_EQ(array[0].isKindOf<NSMutableDictionary>(), options != 0);
    }
  }
}

TEST(NSPropertyListSerialization, TellsTheFormat) {
  const std::pair<std::string, NSPropertyListFormat> cases[] = {
      {written("a"), kBinary}, {written("a", kXML), kXML}, {"a", NSPropertyListOpenStepFormat}};
  for (const auto& [file, expected] : cases) {
    NSPropertyListFormat format{};
    EXPECT_EQ(NSPropertyListSerialization::propertyListWithData(bytes(file), 0, &format), "a");
    EXPECT_EQ(format, expected);
  }
}

TEST(NSPropertyListSerialization, NothingIsNoPropertyList) {
  EXPECT_EQ(complaintOf(""), "stream had too few bytes");
  NSError error;
  EXPECT_TRUE(NSPropertyListSerialization::propertyListWithData(nil, 0, nullptr, &error).isNil());
  EXPECT_EQ(error.code(), NSPropertyListReadCorruptError);
  EXPECT_EQ(complaintOf(" \n"), "There is no value around line 2, column 1.");
  EXPECT_EQ(complaintOf("\xff\xfe\xff"), "Unable to convert data to string.");
  EXPECT_EQ(complaintOf("a\xff"), "Unable to convert data to string.");
}
