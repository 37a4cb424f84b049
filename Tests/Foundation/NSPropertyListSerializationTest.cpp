#include "Platform/Foundation/Serialization/NSPropertyListSerialization.h"

#include <gtest/gtest.h>
#include <plist/plist.h>

#include <rapidcheck.h>
#include <clocale>
#include <cmath>
#include <limits>
#include <random>
#include <string>

#include "Platform/Foundation/Foundation.h"

using namespace orv;

namespace {

constexpr auto kBinary = NSPropertyListBinaryFormat_v1_0;
constexpr auto kXML = NSPropertyListXMLFormat_v1_0;

std::string written(const Value& tree, NSPropertyListFormat format = kBinary) {
  NSError error;
  const NSData data = NSPropertyListSerialization::dataWithPropertyList(tree, format, 0, &error);
  EXPECT_TRUE(data) << error;
  return std::string(data.view());
}

Value read(std::string_view bytes, NSUInteger options = 0) {
  return NSPropertyListSerialization::propertyListWithData(NSData::dataWithBytes(bytes), options);
}

NSString complaintOf(std::string_view bytes) {
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

NSError writeErrorOf(const Value& tree, NSPropertyListFormat format = kBinary) {
  NSError error;
  EXPECT_TRUE(NSPropertyListSerialization::dataWithPropertyList(tree, format, 0, &error).isNil());
  EXPECT_FALSE(NSPropertyListSerialization::propertyListIsValid(tree, format));
  return error;
}

NSString objectionTo(const Value& tree, NSPropertyListFormat format = kBinary) {
  const NSError error = writeErrorOf(tree, format);
  EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
  EXPECT_EQ(error.code(), NSPropertyListWriteInvalidError);
  return error.userInfo().objectForKey(NSDebugDescriptionErrorKey).as<NSString>();
}

NSDate dateAt(double seconds) { return NSDate::dateWithTimeIntervalSinceReferenceDate(seconds); }
NSData bytes(std::string_view text) { return NSData::dataWithBytes(text); }
NSString unit(char16_t u) { return NSString(std::u16string(1, u)); }

Value nested(int levels) {
  Value tree = NSArray::array();
  for (int i = 1; i < levels; ++i) tree = i % 2 ? Value(NSDictionary{{"k", tree}}) : Value(NSArray{tree});
  return tree;
}

std::string hex(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    text += kDigits[static_cast<uint8_t>(c) >> 4];
    text += kDigits[static_cast<uint8_t>(c) & 0xF];
  }
  return text;
}

// The objects' bytes, behind the magic and before the table.
std::string objectsOf(const Value& tree) {
  const std::string all = written(tree);
  const auto at = static_cast<uint8_t>(all[all.size() - 1]) | static_cast<uint8_t>(all[all.size() - 2]) << 8;
  return hex(std::string_view(all).substr(8, static_cast<size_t>(at) - 8));
}

std::string bigEndian(uint64_t n, int bytes) {
  std::string text;
  for (int shift = bytes * 8 - 8; shift >= 0; shift -= 8) text += static_cast<char>(n >> shift);
  return text;
}

// A file of one-byte offsets and references, with these objects, the first one on top.
std::string fileOf(const std::vector<std::string>& objects) {
  std::string file = "bplist00", table;
  for (const std::string& object : objects) {
    table += static_cast<char>(file.size());
    file += object;
  }
  const size_t start = file.size();
  return file + table + std::string(6, 0) + "\1\1" + bigEndian(objects.size(), 8) + bigEndian(0, 8) +
         bigEndian(start, 8);
}

std::string plist(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n" + body + "\n</plist>\n";
}
Value readXML(const std::string& body) { return read(plist(body)); }

std::string repeated(std::string_view text, size_t times) {
  std::string all;
  for (size_t i = 0; i < times; ++i) all += text;
  return all;
}

// Equal, and of the same kinds all the way down.
bool sameTree(const Value& a, const Value& b) {
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

NSString randomText() {
  std::u16string text;
  for (int i = *rc::gen::inRange(0, 20); i > 0; --i)
    text += *rc::gen::element<char16_t>(u'a', u'<', u'&', u'"', u'\n', u'\t', u' ', u'Z', u'\u00e9', u'\u6f22',
                                        u'\'');
  if (*rc::gen::inRange(0, 4) == 0) text += u"\U0001F600";
  return NSString(text);
}

Value randomLeaf(bool forXML) {
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

Value randomTree(int depth, bool forXML) {
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

}  // namespace

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

// ---- The bytes of the binary form

TEST(BinaryPropertyList, AnEmptyDictionaryHas42Bytes) {
  EXPECT_EQ(hex(written(NSDictionary::dictionary())), hex("bplist00") + "d0" + "08" + "000000000000" + "01" +
                                                          "01" + "0000000000000001" + "0000000000000000" +
                                                          "0000000000000009");
}

TEST(BinaryPropertyList, EveryKindHasItsMarker) {
  const std::pair<Value, const char*> cases[] = {
      {true, "09"},
      {false, "08"},
      {0, "1000"},
      {255, "10ff"},
      {256, "110100"},
      {65535, "11ffff"},
      {65536, "1200010000"},
      {4294967295, "12ffffffff"},
      {4294967296, "130000000100000000"},
      {INT64_MAX, "137fffffffffffffff"},
      {-1, "13ffffffffffffffff"},
      {INT64_MIN, "138000000000000000"},
      {UINT64_MAX, "140000000000000000ffffffffffffffff"},
      {1.0, "233ff0000000000000"},
      {-0.0, "238000000000000000"},
      {NSDecimalNumber::decimalNumberWithString("0.5"), "233fe0000000000000"},
      {NSDecimalNumber::decimalNumberWithString("2"), "234000000000000000"},
      {dateAt(0.5), "333fe0000000000000"},
      {bytes("\x01\x02"), "420102"},
      {bytes(""), "40"},
      {bytes(std::string(15, 'x')), "4f100f787878787878787878787878787878"},
      {"", "50"},
      {"abc", "53616263"},
      {std::string(15, 'a'), "5f100f616161616161616161616161616161"},
      {std::string(14, 'a'), "5e6161616161616161616161616161"},
      {"\u00e9", "6100e9"},
      {"\U0001F600", "62d83dde00"},
      {NSArray::array(), "a0"},
      {NSArray{1, "a"}, "a2010210015161"},
      {NSDictionary{{"a", 1}, {"b", 2}},
       "d20102030451615162"
       "1001"
       "1002"},
  };
  for (const auto& [value, expected] : cases) {
    EXPECT_EQ(objectsOf(value), expected) << value;
    const bool decimal = value.as<NSNumber>().isDecimal();
    EXPECT_TRUE(decimal || sameTree(read(written(value)), value)) << value;
  }
  EXPECT_EQ(read(written(NSDecimalNumber::decimalNumberWithString("2"))).kind(), Kind::Double);
}

TEST(BinaryPropertyList, EqualLeavesAreWrittenOnce) {
  EXPECT_EQ(objectsOf(NSArray{"a", "a", 1, 1, 1.0, 1.0, true, dateAt(1), dateAt(1), bytes("a"), bytes("a")}),
            "ab"
            "0101020203030405050606"
            "5161"
            "1001"
            "233ff0000000000000"
            "09"
            "333ff0000000000000"
            "4161");
  EXPECT_EQ(objectsOf(NSDictionary{{"a", "a"}}), "d101015161");
  EXPECT_EQ(objectsOf(NSArray{NSArray::array(), NSArray::array()}), "a20102a0a0");
}

TEST(BinaryPropertyList, ReferencesAndOffsetsGrowWithTheList) {
  for (const size_t count : {200u, 254u, 255u, 256u, 300u, 65534u, 65535u, 70000u}) {
    const NSMutableArray array = NSMutableArray::array();
    for (size_t i = 0; i < count; ++i) array.addObject(static_cast<uint64_t>(i));
    const std::string file = written(array);
    const uint64_t objects = count + 1;
    EXPECT_EQ(file[file.size() - 25], objects <= 255 ? 1 : objects <= 65535 ? 2 : 4) << count;
    EXPECT_EQ(file[file.size() - 26], file.size() < 65536 + 32 ? 2 : 4) << count;
    EXPECT_EQ(read(file), array);
  }
}

TEST(BinaryPropertyList, ReadsEveryWidth) {
  const std::pair<std::string, Value> cases[] = {
      {std::string("\x10\x05"), 5},
      {std::string("\x11\xff\xfe"), 65534},
      {std::string("\x12\xff\xff\xff\xfe", 5), 4294967294},
      {"\x13" + bigEndian(UINT64_MAX, 8), -1},
      {"\x14" + bigEndian(0, 8) + bigEndian(7, 8), 7},
      {"\x14" + bigEndian(0, 8) + bigEndian(UINT64_MAX, 8), UINT64_MAX},
      {"\x14" + bigEndian(UINT64_MAX, 8) + bigEndian(UINT64_MAX - 1, 8), -2},
      {std::string("\x22\x3f\x80\x00\x00", 5), 1.0},
      {std::string("\x5f\x11\x00\x02", 4) + "ab", "ab"},
      {"\x5f\x13" + bigEndian(1, 8) + "a", "a"},
      {"\x80\x07", NSDictionary{{"CF$UID", 7}}},
      {"\x81\x01\x02", NSDictionary{{"CF$UID", 258}}},
      {"\x61" + bigEndian(0xD800, 2), unit(0xD800)},
  };
  for (const auto& [object, expected] : cases)
    EXPECT_TRUE(sameTree(read(fileOf({object})), expected)) << hex(object) << read(fileOf({object}));
}

TEST(BinaryPropertyList, RefusesMalformedObjects) {
  const std::string wide = bigEndian(1, 8) + bigEndian(0, 8);
  for (const std::string& object : {std::string(1, 0),
                                    std::string("\x01"),
                                    std::string("\x0f"),
                                    std::string("\x0c"),
                                    std::string("\x15") + std::string(32, 0),
                                    "\x14" + wide,
                                    "\x14" + bigEndian(UINT64_MAX, 8) + bigEndian(1, 8),
                                    std::string("\x21\0\0", 3),
                                    std::string("\x24") + std::string(16, 0),
                                    std::string("\x32\0\0\0\0", 5),
                                    std::string("\x10"),
                                    std::string("\x13\1\1"),
                                    std::string("\x42x"),
                                    std::string("\x4f"),
                                    std::string("\x4f\x10"),
                                    std::string("\x4f\x20\1x"),
                                    std::string("\x4f\x14") + wide,
                                    "\x4f\x13" + bigEndian(UINT64_MAX, 8),
                                    "\x6f\x13" + bigEndian(UINT64_MAX / 2 + 1, 8),
                                    "\xaf\x13" + bigEndian(UINT64_MAX, 8),
                                    "\xdf\x13" + bigEndian(UINT64_MAX / 2 + 2, 8),
                                    std::string("\x51\xe9"),
                                    std::string("\x62\0a", 3),
                                    std::string("\x71") + "a",
                                    std::string("\x88") + std::string(9, 0),
                                    std::string("\x90"),
                                    std::string("\xb0"),
                                    std::string("\xc0"),
                                    std::string("\xe0"),
                                    std::string("\xf0"),
                                    std::string("\xa1\x01"),
                                    std::string("\xa1\xff"),
                                    std::string("\xd1\x01\x01")})
    EXPECT_TRUE(complaintOf(fileOf({object})).length() > 0) << hex(object);
}

TEST(BinaryPropertyList, RefusesCyclesAndKeysThatAreNoStrings) {
  EXPECT_EQ(complaintOf(fileOf({std::string("\xa1\0", 2)})), "A container contains itself at byte 8.");
  EXPECT_EQ(complaintOf(fileOf({"\xa1\1", std::string("\xa1\0", 2)})),
            "A container contains itself at byte 8.");
  EXPECT_EQ(complaintOf(fileOf({std::string("\xd1\1\0", 3), "\x51k"})),
            "A container contains itself at byte 8.");
  EXPECT_EQ(complaintOf(fileOf({"\xd1\1\1", "\x10\1"})), "A key is no string at byte 9.");
  EXPECT_EQ(complaintOf(fileOf({"\xd1\1\1", "\xa0"})), "A key is no string at byte 9.");
}

TEST(BinaryPropertyList, RefusesAMalformedTrailer) {
  const std::string good = written(NSArray{1, "abc"});
  ASSERT_TRUE(read(good));
  const size_t trailer = good.size() - 32;
  const auto refuses = [&](size_t at, const std::string& replacement) {
    std::string bad = good;
    bad.replace(trailer + at, replacement.size(), replacement);
    EXPECT_TRUE(complaintOf(bad).length() > 0) << at << ' ' << hex(replacement);
  };
  for (const char width : {'\0', '\x09', '\x10', '\xff'}) {
    refuses(6, std::string(1, width));
    refuses(7, std::string(1, width));
  }
  for (const uint64_t n : {uint64_t{0}, uint64_t{2}, uint64_t{4}, uint64_t{1} << 61, UINT64_MAX}) {
    refuses(8, bigEndian(n, 8));
    if (n > 2) refuses(16, bigEndian(n, 8));
    refuses(24, bigEndian(n, 8));
  }
  // The table of offsets: into the magic, into itself.
  for (const size_t offset : {size_t{0}, size_t{7}, good.size() - 35, size_t{255}}) {
    std::string bad = good;
    bad[trailer - 3] = static_cast<char>(offset);
    EXPECT_TRUE(complaintOf(bad).length() > 0) << offset;
  }
}

TEST(BinaryPropertyList, RefusesEveryBeginning) {
  const std::string good =
      written(NSDictionary{{"a", NSArray{1, 2.5, dateAt(1), bytes("x")}}, {"\u00e9", true}});
  // Fewer bytes than "bplist" are a word of the old style.
  for (size_t length = 6; length < good.size(); ++length) complaintOf(good.substr(0, length));
  complaintOf("bplist15" + good.substr(8));
  for (size_t from = 1; from < good.size(); ++from) read(good.substr(from));
}

TEST(BinaryPropertyList, SharedContainersAreReadButNotWithoutBound) {
  const Value shared = read(fileOf({"\xa2\1\1", "\xa1\2", "\x10\1"}), NSPropertyListMutableContainers);
  EXPECT_EQ(shared, (NSArray{NSArray{1}, NSArray{1}}));
  const NSArray both = shared.as<NSArray>();
  both[0].as<NSMutableArray>().addObject(2);
  EXPECT_EQ(both[1], (NSArray{1}));  // each place has its own
  std::vector<std::string> doubling;
  for (int i = 1; i <= 40; ++i) doubling.push_back("\xa2" + std::string(2, static_cast<char>(i)));
  doubling.push_back("\xa0");
  EXPECT_EQ(complaintOf(fileOf(doubling)).utf8().substr(0, 31), "Repeated references make the pr");
}

TEST(BinaryPropertyList, DepthIsLimited) {
  EXPECT_EQ(read(written(nested(512))), nested(512));
  // 600 arrays, each in the one before; two-byte references.
  for (const size_t levels : {size_t{513}, size_t{20000}}) {
    std::string file = "bplist00", table;
    for (size_t i = 0; i <= levels; ++i) {
      table += bigEndian(file.size(), 3);
      file += i == levels ? "\xa0" : "\xa1" + bigEndian(i + 1, 3);
    }
    const size_t start = file.size();
    file +=
        table + std::string(6, 0) + "\3\3" + bigEndian(levels + 1, 8) + bigEndian(0, 8) + bigEndian(start, 8);
    EXPECT_EQ(complaintOf(file).utf8().substr(0, 21), "Arrays and dictionari");
  }
}

TEST(BinaryPropertyList, MutatedFilesAreReadOrRefused) {
  const std::string good = written(NSDictionary{{"a", NSArray{1, -2, UINT64_MAX, 2.5, true, "text", "\u6f22"}},
                                                {"b", NSDictionary{{"c", bytes("data")}}},
                                                {"d", dateAt(1.5)}});
  std::mt19937 random(11);
  for (NSUInteger i = 0; i < 30000; ++i) {
    std::string bad = good;
    for (auto n = random() % 3 + 1; n > 0; --n)
      bad[8 + random() % (bad.size() - 8)] = static_cast<char>(random());
    const Value tree = read(bad, i % 3);
    ASSERT_TRUE(tree.isNil() || sameTree(read(written(tree)), tree)) << hex(bad);
  }
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

// ---- XML

TEST(XMLPropertyList, ReadsEveryKind) {
  const std::pair<const char*, Value> cases[] = {
      {"<true/>", true},
      {"<false ></false >", false},
      {"<integer>5</integer>", 5},
      {"<integer> -9223372036854775808 </integer>", INT64_MIN},
      {"<integer>18446744073709551615</integer>", UINT64_MAX},
      {"<integer>+7</integer>", 7},
      {"<integer>0x1F</integer>", 31},
      {"<integer>010</integer>", 10},
      {"<integer>-08</integer>", -8},
      {"<real>0.1</real>", 0.1},
      {"<real>+1.5e3</real>", 1500.0},
      {"<real>-infinity</real>", -std::numeric_limits<double>::infinity()},
      {"<real>5</real>", 5.0},
      {"<date>2001-01-01T00:00:01Z</date>", dateAt(1)},
      {"<date>0001-01-01T00:00:00Z</date>", NSDate::distantPast()},
      {"<date>9999-12-31T23:59:59Z</date>", dateAt(252423993599)},
      {"<date>2000-02-29T00:00:00Z</date>", dateAt(-26524800)},
      {"<data> AAEC\n Aw== </data>", bytes(std::string_view("\0\1\2\3", 4))},
      {"<data/>", bytes("")},
      {"<string/>", ""},
      {"<string>  a\n b </string>", "  a\n b "},
      {"<string>&lt;&amp;&gt;&quot;&apos;&#65;&#x1F600;&#60;&#38;</string>", "<&>\"'A\U0001F600<&"},
      {"<string>a<![CDATA[<b>&amp;]]>c<!-- d -->e</string>", "a<b>&amp;ce"},
      {"<array/>", NSArray::array()},
      {"<dict/>", NSDictionary::dictionary()},
      {"<array><!-- </array> --><?pi </array> ?><true/></array>", NSArray{true}},
      {"<dict><key/><array a='1' b=\"'2\"><false/></array><key>&lt;</key><dict></dict></dict>",
       NSDictionary{{"", NSArray{false}}, {"<", NSDictionary::dictionary()}}},
      {"<dict><key>a</key><true/><key>a</key><integer>2</integer></dict>", NSDictionary{{"a", 2}}},
      {"<dict><key>CF$UID</key><integer>1</integer></dict>", NSDictionary{{"CF$UID", 1}}},
  };
  for (const auto& [body, expected] : cases)
    EXPECT_TRUE(sameTree(readXML(body), expected)) << body << readXML(body);
  EXPECT_TRUE(std::isnan(readXML("<real>NaN</real>").toDouble()));
}

TEST(XMLPropertyList, RefusesEverythingElse) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "The property list is empty around line 4, column 1."},
      {"<array>", "A closing tag does not match around line 4, column 1."},
      {"<array></dict>", "A closing tag does not match around line 3, column 8."},
      {"<array>x</array>", "Text stands where an element is expected around line 3, column 8."},
      {"<true/><false/>", "There is a second value around line 3, column 8."},
      {"<foo/>", "There is no such element in property lists around line 3, column 2."},
      {"<plist><true/></plist>", "A plist element stands within another around line 3, column 1."},
      {"<key>a</key>", "A key stands outside of a dictionary around line 3, column 1."},
      {"<dict><true/></dict>", "A value has no key around line 3, column 7."},
      {"<dict><key>a</key></dict>", "A key has no value around line 3, column 19."},
      {"<dict><key>a</key><key>b</key></dict>", "A key has no value around line 3, column 19."},
      {"<string>&foo;</string>", "There is no such entity around line 3, column 9."},
      {"<string>a<b/></string>", "An element stands within a text around line 3, column 10."},
      {"<integer>abc</integer>", "The text of an element is malformed around line 3, column 1."},
      {"<integer/>", "An element is empty around line 3, column 1."},
      {"<string>\x01</string>", "A control character is not allowed around line 3, column 9."},
      {"<string>\xEF\xBF\xBE</string>",
       "A code point that is no character is not allowed around line 3, column 9."},
  };
  for (const auto& [body, complaint] : cases) EXPECT_EQ(complaintOf(plist(body)), complaint) << body;
  for (const char* body : {"<integer></integer>",
                           "<integer>18446744073709551616</integer>",
                           "<integer>-9223372036854775809</integer>",
                           "<integer>- 5</integer>",
                           "<integer>-0x1</integer>",
                           "<integer>0x</integer>",
                           "<integer>1.5</integer>",
                           "<integer>+-1</integer>",
                           "<integer>1 2</integer>",
                           "<integer><!-- --></integer>",
                           "<real></real>",
                           "<real>x</real>",
                           "<real>1e999</real>",
                           "<real>1.5x</real>",
                           "<real>++1</real>",
                           "<real>+-1</real>",
                           "<real>0x1p3</real>",
                           "<real>nan(1)</real>",
                           "<real>-nan(2)</real>",
                           "<date>zz</date>",
                           "<date>2001-02-29T00:00:00Z</date>",
                           "<date>1900-02-29T00:00:00Z</date>",
                           "<date>2001-13-01T00:00:00Z</date>",
                           "<date>2001-00-01T00:00:00Z</date>",
                           "<date>2001-01-00T00:00:00Z</date>",
                           "<date>2001-01-32T00:00:00Z</date>",
                           "<date>2001-01-01T24:00:00Z</date>",
                           "<date>2001-01-01T00:60:00Z</date>",
                           "<date>2001-01-01T00:00:60Z</date>",
                           "<date>0000-01-01T00:00:00Z</date>",
                           "<date>2001-01-01</date>",
                           "<date>2001-01-01T00:00:00+01:00</date>",
                           "<data>A</data>",
                           "<data>A*AA</data>",
                           "<data>AA=A</data>",
                           "<data>====</data>",
                           "<data>A===</data>",
                           "<true>x</true>",
                           "<true><false/></true>",
                           "<string>&#0;</string>",
                           "<string>&#xD800;</string>",
                           "<string>&#x110000;</string>",
                           "<string>&#;</string>",
                           "<string>&#x;</string>",
                           "<string>&#-1;</string>",
                           "<string>&amp</string>",
                           "<string>& ;</string>",
                           "<string>a",
                           "<string>a</key>",
                           "<string><![CDATA[a</string>",
                           "<string><!-- a</string>",
                           "<!-- ",
                           "<?pi",
                           "<array",
                           "<array a=\"</array>",
                           "<array a=\"x></array>",
                           "<arrayx/>",
                           "<array></array x>",
                           "</array>",
                           "<",
                           "</",
                           "<null/>",
                           "<Array/>",
                           "<![CDATA[x]]>",
                           "<!DOCTYPE x>",
                           "\xC3\xA9"})
    EXPECT_TRUE(complaintOf(plist(body)).length() > 0) << body;
}

TEST(XMLPropertyList, TheDocumentAroundIsChecked) {
  const std::string list = "<plist><true/></plist>";
  for (const std::string& good :
       {list, "\n" + list + "\n<!-- end -->\n", "\xEF\xBB\xBF" + list, "<?xml version='1.0'?>" + list,
        "<!DOCTYPE plist PUBLIC \"-//X//DTD PLIST 1.0//EN\" \"http://x/a.dtd\">" + list,
        "<!-- <plist> -->" + list})
    EXPECT_EQ(read(good), Value(true)) << good;
  for (const std::string& bad :
       {std::string("<?xml"), std::string("<plist>"), std::string("<plist/>"), std::string("<!-- a"),
        list + "x", list + list, "x" + list, "<!DOCTYPE plist [<!ENTITY a \"b\">]>" + list,
        std::string("<!DOCTYPE plist"), "<!x>" + list, std::string("<?xml?><true/>"),
        std::string("<plistx><true/></plistx>"), std::string("<plist><true/></array>")})
    EXPECT_TRUE(complaintOf(bad).length() > 0) << bad;
}

TEST(XMLPropertyList, ReadsEveryEncoding) {
  const std::u16string text = u"<plist><string>\u00e9\u6f22\U0001F600</string></plist>";
  const Value expected = NSString(u"\u00e9\u6f22\U0001F600");
  EXPECT_EQ(read(NSString(text).utf8()), expected);
  std::string little = "\xFF\xFE", big;
  for (const char16_t u : text) {
    little += std::string{static_cast<char>(u & 0xFF), static_cast<char>(u >> 8)};
    big += std::string{static_cast<char>(u >> 8), static_cast<char>(u & 0xFF)};
  }
  EXPECT_EQ(read(little), expected);
  EXPECT_EQ(read(big), expected);
}

TEST(XMLPropertyList, RefusesEveryBeginning) {
  const std::string good =
      written(NSDictionary{{"a", NSArray{1, 2.5, dateAt(1), bytes("x"), "<&>"}}, {"\u00e9", true}}, kXML);
  for (size_t length = 0; length < good.find("</plist>") + 8; ++length) complaintOf(good.substr(0, length));
}

TEST(XMLPropertyList, DepthIsLimited) {
  const auto arrays = [](size_t n) { return repeated("<array>", n) + repeated("</array>", n); };
  EXPECT_TRUE(readXML(arrays(512)));
  for (const size_t levels : {513u, 100000u}) {
    EXPECT_EQ(complaintOf(plist(arrays(levels))).utf8().substr(0, 21), "Arrays and dictionari");
    EXPECT_TRUE(readXML(repeated("<array>", levels)).isNil());
    EXPECT_TRUE(readXML(repeated("<dict><key>a</key>", levels)).isNil());
    EXPECT_TRUE(readXML(repeated("<array><!-- </array> -->", levels)).isNil());
  }
  EXPECT_EQ(read(written(nested(512), kXML)), nested(512));
}

TEST(XMLPropertyList, MutatedFilesAreReadOrRefused) {
  const std::string good = written(NSDictionary{{"a", NSArray{1, -2, UINT64_MAX, 2.5, true, "t<&>", "\u6f22"}},
                                                {"d", dateAt(1)},
                                                {"b", bytes("data")}},
                                   kXML);
  constexpr std::string_view kPieces[] = {"<array>", "</array>", "<dict>", "</dict>", "<",         ">",
                                          "&",       ";",        "<!--",   "-->",     "<![CDATA[", "]]>",
                                          "/",       "\"",       "-",      "0",       "\x80"};
  std::mt19937 random(12);
  for (int i = 0; i < 20000; ++i) {
    std::string bad = good;
    for (auto n = random() % 3 + 1; n > 0; --n) {
      const std::string_view piece = kPieces[random() % std::size(kPieces)];
      bad.replace(random() % bad.size(), random() % 8, piece);
    }
    const Value tree = read(bad);
    ASSERT_TRUE(tree.isNil() || sameTree(read(written(tree)), tree)) << bad;
  }
}

TEST(XMLPropertyList, WritesTheUsualForm) {
  const NSArray list{-1, UINT64_MAX, 0.5, true, "<&>", dateAt(1.75), NSDate::distantPast(), bytes("abc")};
  const std::string file = written(NSDictionary{{"a", list}}, kXML);
  EXPECT_TRUE(file.starts_with("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC "));
  EXPECT_EQ(file.substr(file.find("<plist")),
            "<plist version=\"1.0\">\n<dict>\n\t<key>a</key>\n\t<array>\n"
            "\t\t<integer>-1</integer>\n\t\t<integer>18446744073709551615</integer>\n\t\t<real>0.5</real>\n"
            "\t\t<true/>\n\t\t<string>&lt;&amp;&gt;</string>\n\t\t<date>2001-01-01T00:00:01Z</date>\n"
            "\t\t<date>0001-01-01T00:00:00Z</date>\n"
            "\t\t<data>\n\t\tYWJj\n\t\t</data>\n\t</array>\n</dict>\n</plist>\n");
  EXPECT_EQ(read(written(dateAt(-0.5), kXML)), dateAt(-1));  // rounded down
  EXPECT_EQ(read(written(-0.0, kXML)), Value(0.0));
  EXPECT_EQ(read(written("a\r\nb\rc", kXML)), "a\r\nb\rc");
  EXPECT_TRUE(written("a\rb", kXML).find("a&#13;b") != std::string::npos);
  EXPECT_EQ(read(written(dateAt(-63113904000), kXML)), dateAt(-63113904000));  // the first day of the year 1
  EXPECT_TRUE(
      NSPropertyListSerialization::dataWithPropertyList(dateAt(-63113904001), NSPropertyListXMLFormat_v1_0, 0)
          .isNil());
  const std::string data = repeated("0123456789", 100);
  EXPECT_EQ(read(written(NSArray{NSArray{bytes(data)}}, kXML)), (NSArray{NSArray{bytes(data)}}));
}

TEST(XMLPropertyList, LineEndsAreLineFeeds) {
  EXPECT_EQ(readXML("<string>a\r\nb\rc<![CDATA[\r\n]]>&#13;</string>"), "a\nb\nc\n\r");
}

TEST(XMLPropertyList, LargeDictionariesAreReadInLinearTime) {
  const NSMutableDictionary tree = NSMutableDictionary::dictionary();
  for (int i = 0; i < 200000; ++i) tree.setObjectForKey(i, NSString("key" + std::to_string(i)));
  EXPECT_EQ(read(written(tree, kXML)), tree);
}

TEST(XMLPropertyList, NumbersDoNotFollowTheLocale) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "C.UTF-8"}) {
    if (!std::setlocale(LC_ALL, name)) continue;
    EXPECT_EQ(readXML("<real>0.5</real>"), Value(0.5));
    EXPECT_NE(written(0.5, kXML).find("<real>0.5</real>"), std::string::npos);
  }
  std::setlocale(LC_ALL, before.c_str());
}

// ---- The old style

TEST(OldStylePropertyList, ReadsEveryKind) {
  const std::pair<const char*, Value> cases[] = {
      {"{a = 1; b = (x, \"y z\"); d = <0fbd77>;}",
       NSDictionary{{"a", "1"}, {"b", NSArray{"x", "y z"}}, {"d", bytes("\x0f\xbd\x77")}}},
      {"word", "word"},
      {" /* a */ \"two words\" // end", "two words"},
      {"'single'", "single"},
      {"{}", NSDictionary::dictionary()},
      {"()", NSArray::array()},
      {"<>", bytes("")},
      {"< 0F bd\n77 >", bytes("\x0f\xbd\x77")},
      {"<da>", bytes("\xda")},
      {"(a, (b, {c = (d);}),)", NSArray{"a", NSArray{"b", NSDictionary{{"c", NSArray{"d"}}}}}},
      {"{a = b}", NSDictionary{{"a", "b"}}},
      {"a = b; c;", NSDictionary{{"a", "b"}, {"c", "c"}}},
      {"a = (b);", NSDictionary{{"a", NSArray{"b"}}}},
      {"\"\\U00e9\\n\\101\\\"\"", "\u00e9\nA\""},
  };
  for (const auto& [text, expected] : cases) EXPECT_TRUE(sameTree(read(text), expected)) << text << read(text);
}

TEST(OldStylePropertyList, RefusesEverythingElse) {
  const std::pair<const char*, const char*> cases[] = {
      {"{a = 1; b = }", "Unexpected character around line 1, column 13."},
      {"{a = 1;\n b = \"x;", "A quoted text has no end around line 2, column 6."},
      {"(a b)", "A comma is missing around line 1, column 4."},
      {"{a = b c = d;}", "A semicolon is missing around line 1, column 8."},
      {"(a", "A comma is missing around line 1, column 3."},
      {"{a = b;", "A dictionary has no end around line 1, column 8."},
      {"<0f0>", "Data end in half a byte around line 1, column 5."},
      {"<0g>", "Data hold something else than hexadecimal digits around line 1, column 3."},
      {"<00", "Data have no end around line 1, column 4."},
      {"/* \xC3\xA9", "A comment has no end around line 1, column 1."},
      {"{} x", "There is text after the property list around line 1, column 4."},
      {"a b", "A semicolon is missing around line 1, column 3."},
  };
  for (const auto& [text, complaint] : cases) EXPECT_EQ(complaintOf(text), complaint) << text;
  for (const char* text : {"{",
                           "(",
                           "<",
                           "}",
                           ")",
                           ">",
                           ";",
                           "=",
                           "{a;;}",
                           "{=b;}",
                           "(,)",
                           "(a,,b)",
                           "{a = {b = c;}",
                           "((a)",
                           "{(a) = b;}",
                           "\"",
                           "\"\\",
                           "\xC3\xA9",
                           "a = b; }",
                           "(a;)",
                           "{a, b}"})
    EXPECT_TRUE(complaintOf(text).length() > 0) << text;
}

TEST(OldStylePropertyList, DepthIsLimited) {
  EXPECT_TRUE(read(repeated("(", 512) + repeated(")", 512)));
  EXPECT_TRUE(read(repeated("(", 513) + repeated(")", 513)).isNil());
  EXPECT_TRUE(read(repeated("(", 100000)).isNil());
  EXPECT_TRUE(read(repeated("{a=", 100000)).isNil());
}
