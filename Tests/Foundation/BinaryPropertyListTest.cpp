#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "Tests/Foundation/PropertyLists.h"

using namespace orv;
using namespace plists;

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
