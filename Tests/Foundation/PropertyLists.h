#pragma once

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <random>
#include <string>

#include "Platform/Foundation/Foundation.h"
#include "Platform/Foundation/Serialization/NSPropertyListSerialization.h"

// What the tests of the property-list formats share: reading and writing with the errors checked, files made by
// hand, and random trees.
namespace plists {

using namespace orv;

inline constexpr auto kBinary = NSPropertyListBinaryFormat_v1_0;
inline constexpr auto kXML = NSPropertyListXMLFormat_v1_0;

inline std::string written(const Value& tree, NSPropertyListFormat format = kBinary) {
  NSError error;
  const NSData data = NSPropertyListSerialization::dataWithPropertyList(tree, format, 0, &error);
  EXPECT_TRUE(data) << error;
  return std::string(data.view());
}

inline Value read(std::string_view bytes, NSUInteger options = 0) {
  return NSPropertyListSerialization::propertyListWithData(NSData::dataWithBytes(bytes), options);
}

inline NSString complaintOf(std::string_view bytes) {
  NSError error;
  NSPropertyListFormat format{};
  const Value tree =
      NSPropertyListSerialization::propertyListWithData(NSData::dataWithBytes(bytes), 0, &format, &error);
  EXPECT_TRUE(tree.isNil()) << bytes << tree;
  EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
  EXPECT_EQ(error.code(), NSPropertyListReadCorruptError);
  EXPECT_EQ(format, NSPropertyListFormat{});
  return error.userInfo().objectForKey(NSDebugDescriptionErrorKey).as<NSString>();
}

inline NSError writeErrorOf(const Value& tree, NSPropertyListFormat format = kBinary) {
  NSError error;
  EXPECT_TRUE(NSPropertyListSerialization::dataWithPropertyList(tree, format, 0, &error).isNil());
  EXPECT_FALSE(NSPropertyListSerialization::propertyListIsValid(tree, format));
  return error;
}

inline NSString objectionTo(const Value& tree, NSPropertyListFormat format = kBinary) {
  const NSError error = writeErrorOf(tree, format);
  EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
  EXPECT_EQ(error.code(), NSPropertyListWriteInvalidError);
  return error.userInfo().objectForKey(NSDebugDescriptionErrorKey).as<NSString>();
}

inline NSDate dateAt(double seconds) { return NSDate::dateWithTimeIntervalSinceReferenceDate(seconds); }
inline NSData bytes(std::string_view text) { return NSData::dataWithBytes(text); }
inline NSString unit(char16_t u) { return NSString(std::u16string(1, u)); }

inline Value nested(int levels) {
  Value tree = NSArray::array();
  for (int i = 1; i < levels; ++i) tree = i % 2 ? Value(NSDictionary{{"k", tree}}) : Value(NSArray{tree});
  return tree;
}

inline std::string hex(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    text += kDigits[static_cast<uint8_t>(c) >> 4];
    text += kDigits[static_cast<uint8_t>(c) & 0xF];
  }
  return text;
}

// The objects' bytes, behind the magic and before the table.
inline std::string objectsOf(const Value& tree) {
  const std::string all = written(tree);
  const auto at = static_cast<uint8_t>(all[all.size() - 1]) | static_cast<uint8_t>(all[all.size() - 2]) << 8;
  return hex(std::string_view(all).substr(8, static_cast<size_t>(at) - 8));
}

inline std::string bigEndian(uint64_t n, int bytes) {
  std::string text;
  for (int shift = bytes * 8 - 8; shift >= 0; shift -= 8) text += static_cast<char>(n >> shift);
  return text;
}

// A file of one-byte offsets and references, with these objects, the first one on top.
inline std::string fileOf(const std::vector<std::string>& objects) {
  std::string file = "bplist00", table;
  for (const std::string& object : objects) {
    table += static_cast<char>(file.size());
    file += object;
  }
  const size_t start = file.size();
  return file + table + std::string(6, 0) + "\1\1" + bigEndian(objects.size(), 8) + bigEndian(0, 8) +
         bigEndian(start, 8);
}

inline std::string plist(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n" + body + "\n</plist>\n";
}
inline Value readXML(const std::string& body) { return read(plist(body)); }

inline std::string repeated(std::string_view text, size_t times) {
  std::string all;
  for (size_t i = 0; i < times; ++i) all += text;
  return all;
}

// Equal, and of the same kinds all the way down.
inline bool sameTree(const Value& a, const Value& b) {
  if (a.kind() != b.kind()) return false;
  if (a.kind() == Kind::Double || a.kind() == Kind::Date)
    return detail::Access::bits(a) == detail::Access::bits(b);
  if (a.kind() == Kind::Array) {
    const NSArray x = a.as<NSArray>(), y = b.as<NSArray>();
    for (NSUInteger i = 0; i < x.count(); ++i)
      if (i >= y.count() || !sameTree(x[i], y[i])) return false;
    return x.count() == y.count();
  }
  if (a.kind() != Kind::Dictionary) return a == b;
  const NSDictionary x = a.as<NSDictionary>(), y = b.as<NSDictionary>();
  for (const auto& [key, value] : x)
    if (!sameTree(value, y.objectForKey(key))) return false;
  return x.count() == y.count();
}

inline NSString randomText() {
  std::u16string text;
  for (int i = *rc::gen::inRange(0, 20); i > 0; --i)
    text += *rc::gen::element<char16_t>(u'a', u'<', u'&', u'"', u'\n', u'\t', u' ', u'Z', u'\u00e9', u'\u6f22',
                                        u'\'');
  if (*rc::gen::inRange(0, 4) == 0) text += u"\U0001F600";
  return NSString(text);
}

inline Value randomLeaf(bool forXML) {
  switch (*rc::gen::inRange(0, 7)) {
    case 0: return *rc::gen::arbitrary<int64_t>() >> *rc::gen::inRange(0, 63);
    case 1: return *rc::gen::arbitrary<uint64_t>();
    case 2: {
      const double d = *rc::gen::arbitrary<double>();
      return forXML && d == 0 ? 0.0 : d;
    }
    case 3: return *rc::gen::arbitrary<bool>();
    case 4: {
      if (!forXML) return dateAt(*rc::gen::arbitrary<double>());
      return dateAt(static_cast<double>(*rc::gen::inRange<int64_t>(-63113904000, 252423993600)));
    }
    case 5: return bytes(*rc::gen::arbitrary<std::string>());
    default: return randomText();
  }
}

inline Value randomTree(int depth, bool forXML) {
  const int kind = *rc::gen::inRange(0, depth > 0 ? 4 : 2);
  if (kind < 2) return randomLeaf(forXML);
  const int count = *rc::gen::inRange(0, 20);
  if (kind == 2) {
    const NSMutableArray array = NSMutableArray::array();
    for (int i = 0; i < count; ++i) array.addObject(randomTree(depth - 1, forXML));
    return array;
  }
  const NSMutableDictionary dictionary = NSMutableDictionary::dictionary();
  for (int i = 0; i < count; ++i) dictionary.setObjectForKey(randomTree(depth - 1, forXML), randomText());
  return dictionary;
}

}  // namespace plists
