#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSString.h"
#include "Tests/Support/LogLines.h"

using namespace orv;

namespace {

NSData bytes(std::string_view text) { return NSData::dataWithBytes(text); }

constexpr const char* kSHA1OfNothing = "da39a3ee5e6b4b0d3255bfef95601890afd80709";
constexpr const char* kSHA256OfNothing = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
constexpr const char* kSHA256OfABC = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

// The assertions among the lines logged so far.
size_t assertionsIn(LogLines& log) {
  size_t count = 0;
  for (const std::string& message : log.takeMessages(OrvLogLevelWarning))
    count += message.starts_with("An important assertion did fail. Please send this error.\n\n") &&
             message.find("\tExpr:  !!([self length] > 0)\n") != std::string::npos;
  return count;
}

}  // namespace

TEST(NSDataOrvaneData, DigestsAreLowerCaseHexadecimal) {
  LogLines log;
  EXPECT_EQ(bytes("abc").zuMD5HexString(), NSString("900150983cd24fb0d6963f7d28e17f72"));
  EXPECT_EQ(bytes("abc").zuSHA1HexString(), NSString("a9993e364706816aba3e25717850c26c9cd0d89d"));
  EXPECT_EQ(bytes("abc").zuSHA256HexString(), NSString(kSHA256OfABC));
  EXPECT_EQ(bytes("abc").zuSHA2HexString(), NSString(kSHA256OfABC));
  EXPECT_EQ(bytes("abc").zuSHA256Data().length(), 32u);
  EXPECT_EQ(bytes("abc").zuSHA256Data().bytes()[0], 0xBA);
  EXPECT_EQ(bytes("abc").zuSHA2Base64String(), NSString("ungWv48Bz+pBQUDeXa4iI7ADYaOWF3qctBD/YfIAFa0="));
  EXPECT_TRUE(log.take().empty());
}

TEST(NSDataOrvaneData, EmptyDataAssertsAndIsDigestedAllTheSame) {
  LogLines log;
  EXPECT_EQ(NSData::data().zuMD5HexString(), NSString("d41d8cd98f00b204e9800998ecf8427e"));
  EXPECT_EQ(assertionsIn(log), 1u);
  EXPECT_EQ(NSData::data().zuSHA1HexString(), NSString(kSHA1OfNothing));
  EXPECT_EQ(assertionsIn(log), 1u);
  EXPECT_EQ(NSData::data().zuSHA2HexString(), NSString(kSHA256OfNothing));
  EXPECT_EQ(assertionsIn(log), 1u);
  EXPECT_EQ(NSData::data().zuSHA2Base64String().length(), 44u);
  EXPECT_EQ(assertionsIn(log), 1u);
}

TEST(NSDataOrvaneData, NilAnswersNilInSilence) {
  LogLines log;
  const NSData none;
  EXPECT_TRUE(none.zuMD5HexString().isNil());
  EXPECT_TRUE(none.zuSHA1HexString().isNil());
  EXPECT_TRUE(none.zuSHA256Data().isNil());
  EXPECT_TRUE(none.zuSHA256HexString().isNil());
  EXPECT_TRUE(none.zuSHA2Base64String().isNil());
  EXPECT_TRUE(none.toBase64String().isNil());
  EXPECT_TRUE(none.canonicalBase64String().isNil());
  EXPECT_TRUE(none.dataURLWithMimeType("text/plain").isNil());
  EXPECT_TRUE(none.string().isNil());
  EXPECT_TRUE(none.guessMimeType().isNil());
  const NSString absent;
  EXPECT_TRUE(absent.dataFromBase64().isNil());
  EXPECT_TRUE(absent.dataFromCanonicalBase64().isNil());
  EXPECT_TRUE(absent.zuSHA1HexString().isNil());
  EXPECT_TRUE(absent.zuSHA256HexString().isNil());
  EXPECT_TRUE(absent.zuSHA2HexString().isNil());
  EXPECT_TRUE(log.take().empty());
}

TEST(NSDataOrvaneData, WritesBothAlphabets) {
  EXPECT_EQ(bytes("\xFB\xFF").toBase64String(), NSString("+/8="));
  EXPECT_EQ(bytes("\xFB\xFF").canonicalBase64String(), NSString("-_8"));
  EXPECT_EQ(bytes("\xFB").canonicalBase64String(), NSString("-w"));
  EXPECT_EQ(NSData::data().toBase64String(), NSString(""));
  EXPECT_EQ(NSData::data().canonicalBase64String(), NSString(""));
}

TEST(NSDataOrvaneData, DataURLsNameTheirType) {
  EXPECT_EQ(bytes("\xFB\xFF").dataURLWithMimeType("image/png"), NSString("data:image/png;base64,+/8="));
  EXPECT_EQ(bytes("").dataURLWithMimeType(""), NSString("data:;base64,"));
  EXPECT_EQ(bytes("f").dataURLWithMimeType(nil), NSString("data:(null);base64,Zg=="));
}

TEST(NSDataOrvaneData, TextsAreUTF8OrElseLatin1) {
  EXPECT_EQ(bytes("J\xC3\xBCrgen").string(), NSString("J\u00fcrgen"));
  EXPECT_EQ(bytes("\xE9t\xE9").string(), NSString("\u00e9t\u00e9"));
  EXPECT_EQ(bytes(std::string_view("a\0b", 3)).string().length(), 3u);
  EXPECT_TRUE(NSData::data().string().isNil());
}

TEST(NSDataOrvaneData, TheFirstByteTellsTheMediaType) {
  for (int first = 0; first < 256; ++first) {
    const char* expected = "application/octet-stream";
    if (first == 0xFF) expected = "image/jpeg";
    if (first == 0x89) expected = "image/png";
    if (first == 0x47) expected = "image/gif";
    if (first == 0x49 || first == 0x4D) expected = "image/tiff";
    if (first == 0x25) expected = "application/pdf";
    if (first == 0xD0) expected = "application/vnd";
    if (first == 0x46) expected = "text/plain";
    const char data[] = {static_cast<char>(first), 'x'};
    EXPECT_EQ(bytes({data, 2}).guessMimeType(), NSString(expected)) << first;
  }
  EXPECT_TRUE(NSData::data().guessMimeType().isNil());
}

TEST(NSStringOrvaneData, DecodesStandardBase64Strictly) {
  EXPECT_EQ(NSString("Zm9v").dataFromBase64(), bytes("foo"));
  EXPECT_EQ(NSString("").dataFromBase64(), NSData::data());
  for (const char* bad : {"Zg", "Zg=", "Zm 9v", "Zm9v\n", "-_8=", "+/8===", "Zm9\u0101"})
    EXPECT_TRUE(NSString(bad).dataFromBase64().isNil()) << bad;
}

TEST(NSStringOrvaneData, DecodesCanonicalBase64ByItsPaddingRule) {
  EXPECT_EQ(NSString("-w").dataFromCanonicalBase64(), bytes("\xFB"));
  EXPECT_EQ(NSString("+w").dataFromCanonicalBase64(), bytes("\xFB"));
  EXPECT_EQ(NSString("").dataFromCanonicalBase64(), NSData::data());
  EXPECT_EQ(NSString("-_-_").dataFromCanonicalBase64(), bytes("\xFB\xFF\xBF"));
  EXPECT_EQ(NSString("Zm8=").dataFromCanonicalBase64(), bytes("fo"));
  for (const char* bad : {"-_8", "Z", "Z=", "Zm9vZ", "-_ _"})
    EXPECT_TRUE(NSString(bad).dataFromCanonicalBase64().isNil()) << bad;
  for (size_t length = 0; length < 100; ++length) {
    const NSData data = bytes(std::string(length, '\xFB'));
    const NSData back = data.canonicalBase64String().dataFromCanonicalBase64();
    EXPECT_TRUE(length % 3 == 2 ? back.isNil() : back == data) << length;
  }
}

TEST(NSStringOrvaneData, DigestsTheUTF8Bytes) {
  LogLines log;
  EXPECT_EQ(NSString("abc").zuSHA1HexString(), NSString("a9993e364706816aba3e25717850c26c9cd0d89d"));
  EXPECT_EQ(NSString("abc").zuSHA256HexString(), NSString(kSHA256OfABC));
  for (const char* text : {"J\u00fcrgen", "\u20ac", "\U0001F600"}) {
    EXPECT_EQ(NSString(text).zuSHA256HexString(), bytes(text).zuSHA256HexString());
    EXPECT_EQ(NSString(text).zuSHA1HexString(), bytes(text).zuSHA1HexString());
    EXPECT_EQ(NSString(text).zuSHA2HexString(), bytes(text).zuSHA2HexString());
  }
  EXPECT_TRUE(log.take().empty());
  EXPECT_EQ(NSString("").zuSHA1HexString(), NSString(kSHA1OfNothing));
  EXPECT_EQ(assertionsIn(log), 1u);
  EXPECT_EQ(NSString("").zuSHA256HexString(), NSString(kSHA256OfNothing));
  EXPECT_EQ(assertionsIn(log), 1u);
}
