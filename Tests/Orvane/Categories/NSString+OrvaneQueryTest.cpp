#include <string>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSCharacterSet.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSNull.h"
#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/NSURL.h"

using namespace orv;

namespace {

NSString query(const NSDictionary& dictionary) { return NSString::queryStringWithDictionary(dictionary); }

void expectRaises(const NSString& text) {
  try {
    text.parseQuery();
    ADD_FAILURE() << text.repr();
  } catch (const NSException& exception) {
    EXPECT_EQ(exception.name(), NSRangeException) << text.repr();
  }
}

}  // namespace

TEST(NSStringQuery, EncodesTheReservedCharactersAndWhatIsNotAscii) {
  EXPECT_EQ(NSString(" \"#%/:<>?@[\\]^`{}|+\n\t\r").urlEncode(),
            "%20%22%23%25%2F%3A%3C%3E%3F%40%5B%5C%5D%5E%60%7B%7D%7C%2B%0A%09%0D");
  EXPECT_EQ(NSString("a&b=c;d,e'f!g(h)*$~-._").urlEncode(), "a&b=c;d,e'f!g(h)*$~-._");
  EXPECT_EQ(NSString(u"\u00E9\u07FF\u0800\U0001F600").urlEncode(), "%C3%A9%DF%BF%E0%A0%80%F0%9F%98%80");
  EXPECT_EQ(NSString("\x01\x7F").urlEncode(), "\x01\x7F");  // neither reserved nor beyond ASCII
  EXPECT_EQ(NSString("").urlEncode(), "");
  EXPECT_TRUE(NSString(u"a\xD800").urlEncode().isNil());
  EXPECT_TRUE(NSString(u"\xDC00\u0436").urlEncode().isNil());
}

TEST(NSStringQuery, EncodingIsThatOfTheSetsComplement) {
  const NSCharacterSet allowed =
      NSCharacterSet::characterSetWithCharactersInString(" \"#%/:<>?@[\\]^`{}|+\n\t\r").invertedSet();
  EXPECT_TRUE(rc::check([&](const std::u16string& raw) {
    const NSString text(raw);
    RC_ASSERT(text.urlEncode() == text.stringByAddingPercentEncodingWithAllowedCharacters(allowed));
    if (!text.urlEncode().isNil()) RC_ASSERT(text.urlEncode().stringByRemovingPercentEncoding() == text);
  }));
  for (char32_t c = 0; c <= 0x10FFFF; c += c < 0x3000 ? 1 : 61) {
    const NSString text = NSString::stringWithCodePoint(c);
    ASSERT_EQ(text.urlEncode(), text.stringByAddingPercentEncodingWithAllowedCharacters(allowed));
  }
}

TEST(NSStringQuery, KeysAreSorted) {
  EXPECT_EQ(query({{"b", "1 2"}, {"a", "x&y"}, {"c", "\u00E9"}}), "a=x&y&b=1%202&c=%C3%A9");
  EXPECT_EQ(query(nil), "");
  EXPECT_EQ(query(NSDictionary::dictionary()), "");
  EXPECT_EQ(query({{"k y", ""}}), "k%20y=");
}

TEST(NSStringQuery, ValuesAndKeysOfAnyKindCountByTheirTexts) {
  EXPECT_EQ(query({{"n", 1.5}, {"b", true}, {"z", NSNull::null()}}), "b=1&n=1.5&z=");
  EXPECT_EQ(query({{10, "x"}, {9, "y"}}), "9=y&10=x");
  EXPECT_EQ(query({{"a", 1}, {5, 2}}), "5=2&a=1");  // no order between a text and a number but by text
  EXPECT_EQ(query({{"a", NSString(u"\xD800")}}), "a=(null)");
}

TEST(NSStringQuery, AddQueryKeepsTheOrderOfTheDictionary) {
  EXPECT_EQ(NSString("/p?x=1").addQuery({{"k", "v"}}), "/p?x=1&k=v");
  EXPECT_EQ(NSString("/p").addQuery({{"b", 1}, {"a", 2}}), "/p?b=1&a=2");
  EXPECT_EQ(NSString("/p?x=1").addQuery(NSDictionary::dictionary()), "/p?x=1&");
  EXPECT_EQ(NSString("/p").addQuery(nil), "/p?");
  EXPECT_EQ(NSString(u"\u0436").addQuery({{"a", "\u0436"}}), u"\u0436?a=%D0%B6");
}

TEST(NSStringQuery, ParsesPairs) {
  EXPECT_EQ(NSString("a=1&b=2%203").parseQuery(), (NSDictionary{{"a", "1"}, {"b", "2 3"}}));
  EXPECT_EQ(NSString("a=1=2").parseQuery(), (NSDictionary{{"a", "1"}}));
  EXPECT_EQ(NSString("a=").parseQuery(), (NSDictionary{{"a", ""}}));
  EXPECT_EQ(NSString("=x").parseQuery(), (NSDictionary{{"", "x"}}));
  EXPECT_EQ(NSString("a%20b=c+d").parseQuery(), (NSDictionary{{"a%20b", "c+d"}}));
  EXPECT_EQ(NSString("a=1&a=2").parseQuery(), (NSDictionary{{"a", "2"}}));
  EXPECT_EQ(NSString(u"\u0436=\u0437").parseQuery(),
            (NSDictionary{{NSString(u"\u0436"), NSString(u"\u0437")}}));
}

TEST(NSStringQuery, AValueThatCannotBeDecodedRemovesItsKey) {
  EXPECT_EQ(NSString("a=1&b=%zz").parseQuery(), (NSDictionary{{"a", "1"}}));
  EXPECT_EQ(NSString("a=1&a=%FF&b=2").parseQuery(), (NSDictionary{{"b", "2"}}));
}

TEST(NSStringQuery, APieceWithoutAnEqualsSignRaises) {
  for (const char* text : {"", "a", "&", "a=1&", "&a=1", "a=1&b&c=2"}) expectRaises(text);
  expectRaises(u"\u0436");
}

TEST(NSStringQuery, TheParsedDictionaryCanBeChanged) {
  const NSMutableDictionary parsed = NSString("a=1").parseQuery();
  parsed.setObjectForKey("2", "b");
  EXPECT_EQ(parsed.count(), 2u);
}

TEST(NSStringQuery, WhatIsBuiltParsesBack) {
  const auto text = rc::gen::container<std::u16string>(
      rc::gen::element<char16_t>(u'a', u'B', u' ', u'+', u'%', u'/', u'\u00E9', u'\u0436', u'\n', u'?'));
  EXPECT_TRUE(rc::check([&] {
    NSMutableDictionary pairs{{"k0", NSString(*text)}, {"k1", NSString(*text)}, {"k2", NSString(*text)}};
    RC_ASSERT(query(pairs).parseQuery() == pairs);
    RC_ASSERT(NSString("u?x=1").addQuery(pairs).splitBy("?")[1].as<NSString>().parseQuery().count() == 4);
  }));
}

TEST(NSStringQuery, HostsWithoutTheirWww) {
  EXPECT_EQ(NSString("http://www.example.com/a?b#c").humanizeURL(), "example.com");
  EXPECT_EQ(NSString("https://User@WWW.Example.com:80").humanizeURL(), "WWW.Example.com");
  EXPECT_EQ(NSString("http://a.www.b.www.c").humanizeURL(), "a.b.c");
  EXPECT_EQ(NSString("//www.h/x").humanizeURL(), "h");
  EXPECT_EQ(NSString("http://[::1]/").humanizeURL(), "::1");
  for (const char* text : {"", "not a url", "http://", "mailto:a@b.c", "/www.x", "http://m\u00FCnchen.de/"})
    EXPECT_EQ(NSString(text).humanizeURL(), text);
}

TEST(NSStringQuery, URLsAreParsedStrictly) {
  EXPECT_EQ(NSString("http://h/p?q").URL().host(), "h");
  for (const char* text : {"", "a b", "http://h/100%", "http://h/\u00E9"})
    EXPECT_TRUE(NSString(text).URL().isNil());
}
