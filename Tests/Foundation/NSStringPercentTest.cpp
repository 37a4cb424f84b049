#include "Platform/Foundation/Values/NSCharacterSet.h"
#include "Platform/Foundation/Values/NSString.h"

using namespace orv;

namespace {
NSString encodedForQuery(const NSString& text) {
  return text.stringByAddingPercentEncodingWithAllowedCharacters(NSCharacterSet::URLQueryAllowedCharacterSet());
}
}  // namespace

TEST(NSStringPercent, WhatTheSetLeavesOutIsEscapedAsUtf8) {
  EXPECT_EQ(encodedForQuery("a b&c"), "a%20b&c");
  EXPECT_EQ(encodedForQuery("\u00E9"), "%C3%A9");
  EXPECT_EQ(encodedForQuery("\U0001F600"), "%F0%9F%98%80");
  EXPECT_EQ(encodedForQuery("%"), "%25");
  EXPECT_EQ(encodedForQuery(""), "");
  EXPECT_EQ(encodedForQuery("\x7F"), "%7F");
}

TEST(NSStringPercent, NonAsciiIsEscapedEvenWhenAllowed) {
  const NSCharacterSet all = NSCharacterSet::characterSetWithRange({0, 0x110000});
  EXPECT_EQ(NSString("a%\u00E9").stringByAddingPercentEncodingWithAllowedCharacters(all), "a%%C3%A9");
}

TEST(NSStringPercent, LoneSurrogatesCannotBeEscaped) {
  EXPECT_TRUE(encodedForQuery(u"a\xD800").isNil());
  EXPECT_TRUE(encodedForQuery(nil).isNil());
}

TEST(NSStringPercent, WithoutASetEverythingIsEscaped) {
  EXPECT_EQ(NSString("a/").stringByAddingPercentEncodingWithAllowedCharacters(nil), "%61%2F");
}

TEST(NSStringPercent, EscapesAreTakenBack) {
  EXPECT_EQ(NSString("a%20b").stringByRemovingPercentEncoding(), "a b");
  EXPECT_EQ(NSString("%d0%b4").stringByRemovingPercentEncoding(), "\u0434");
  EXPECT_EQ(NSString("a+b").stringByRemovingPercentEncoding(), "a+b");
  EXPECT_EQ(NSString("").stringByRemovingPercentEncoding(), "");
  EXPECT_EQ(NSString("\u0416%41").stringByRemovingPercentEncoding(), "\u0416A");
}

TEST(NSStringPercent, BrokenEscapesGiveNil) {
  for (const char* text : {"a%1 b", "100%", "%FF", "%4", "%G0", "%0G", "%C3", "%ED%A0%80"})
    EXPECT_TRUE(NSString(text).stringByRemovingPercentEncoding().isNil()) << text;
  EXPECT_TRUE(NSString(u"\xD800").stringByRemovingPercentEncoding().isNil());
  EXPECT_TRUE(NSString().stringByRemovingPercentEncoding().isNil());
}

TEST(NSStringPercent, EscapingIsReversible) {
  EXPECT_TRUE(rc::check([](const std::string& raw) {
    const NSString text = NSString::stringWithLossyUTF8(raw);
    RC_ASSERT(encodedForQuery(text).stringByRemovingPercentEncoding() == text);
  }));
}
