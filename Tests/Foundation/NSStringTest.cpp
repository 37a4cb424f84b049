#include "Platform/Foundation/Values/NSString.h"

#include <sstream>
#include <thread>
#include <unordered_set>

#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSException.h"

using namespace orv;
using detail::HeapObject;
using detail::stringRep;

namespace {

NSString wideText(size_t length) { return NSString(std::u16string(length, u'\u0416')); }

NSData dataOf(std::string_view bytes) { return NSData::dataWithBytes(bytes.data(), bytes.size()); }

std::string bytesOf(const NSData& data) {
  return std::string(reinterpret_cast<const char*>(data.bytes()), data.length());
}

// Calls f and answers the name of the exception it raises.
template <class F>
NSString raisedBy(F&& f) {
  try {
    f();
  } catch (const NSException& e) {
    return e.name();
  }
  return nil;
}

}  // namespace

TEST(NSString, NilAnswersTheNeutralResult) {
  const NSString none;
  EXPECT_TRUE(none.isNil());
  EXPECT_EQ(none.length(), 0u);
  EXPECT_EQ(none.characterAtIndex(7), 0);
  EXPECT_EQ(none.utf8(), "");
  EXPECT_EQ(none.utf16(), u"");
  EXPECT_EQ(none.fileSystemRepresentation(), "");
  EXPECT_TRUE(none.dataUsingEncoding(NSUTF8StringEncoding).isNil());
  EXPECT_FALSE(none.isEqualToString(none));
  EXPECT_TRUE(none.substringFromIndex(9).isNil());
  EXPECT_TRUE(none.substringWithRange({4, 4}).isNil());
  EXPECT_TRUE(none.stringByAppendingString("x").isNil());
  EXPECT_TRUE(none.stringByPaddingToLength(3, "x", 0).isNil());
  EXPECT_EQ(none.hash(), 0u);
}

TEST(NSString, NilIsNotTheEmptyText) {
  EXPECT_FALSE(NSString("").isNil());
  EXPECT_NE(NSString(""), NSString());
  EXPECT_EQ(NSString(), NSString(nil));
}

TEST(NSString, NullPointersAndMalformedTextAreNil) {
  EXPECT_TRUE(NSString(static_cast<const char*>(nullptr)).isNil());
  EXPECT_TRUE(NSString(std::string_view()).isNil());
  EXPECT_TRUE(NSString(std::u16string_view()).isNil());
  EXPECT_TRUE(NSString("\xC0\x80").isNil());
  EXPECT_TRUE(NSString("abc\xED\xA0\x80").isNil());
  EXPECT_TRUE(Value("\xFF").isNil());
}

TEST(NSString, ZeroBytesAreTextExceptInZeroTerminatedForm) {
  EXPECT_EQ(NSString(std::string("a\0b", 3)).length(), 3u);
  EXPECT_EQ(NSString("a\0b").length(), 1u);
}

TEST(NSString, LengthCountsCodeUnits) {
  EXPECT_EQ(NSString("J\u00FCrgen").length(), 6u);
  EXPECT_EQ(NSString("\U0001F600").length(), 2u);
  EXPECT_EQ(NSString("\U0001F600").characterAtIndex(0), 0xD83D);
  EXPECT_EQ(NSString("\uFEFFa").length(), 2u);
}

TEST(NSString, FormIsCanonical) {
  EXPECT_FALSE(stringRep(NSString("abc"))->wide());
  EXPECT_TRUE(stringRep(NSString("abc"))->ascii());
  EXPECT_FALSE(stringRep(NSString("\u00E9"))->wide());
  EXPECT_FALSE(stringRep(NSString("\u00E9"))->ascii());
  EXPECT_TRUE(stringRep(NSString("\u0100"))->wide());
  EXPECT_FALSE(stringRep(NSString(u"abc\u00FF"))->wide());
}

TEST(NSString, EqualTextsAreEqualWhateverTheirOrigin) {
  const NSString texts[] = {"caf\u00E9",
                            u8"caf\u00E9",
                            u"caf\u00E9",
                            NSString::stringWithLatin1("caf\xE9"),
                            NSString(u"\u0416caf\u00E9").substringFromIndex(1),
                            NSString("caf") + "\u00E9"};
  for (const NSString& a : texts)
    for (const NSString& b : texts) {
      EXPECT_EQ(a, b);
      EXPECT_TRUE(a.isEqualToString(b));
      EXPECT_TRUE(Value(a).isEqual(b));
      EXPECT_EQ(a.hash(), b.hash());
    }
}

TEST(NSString, EqualityKnowsNoNormalisation) { EXPECT_NE(NSString("\u00E9"), NSString("e\u0301")); }

TEST(NSString, HashIsTheSameInEveryRun) {
  EXPECT_EQ(NSString("orvane").hash(), 500886865u);
  EXPECT_EQ(NSString("").hash(), NSString("x").substringFromIndex(1).hash());
  std::unordered_set<size_t> seen;
  for (size_t length = 0; length < 200; ++length) {
    const std::string text(length, 'a');
    const size_t hash = NSString(text).hash();
    EXPECT_EQ(hash, NSString(text + "b").substringToIndex(length).hash());
    EXPECT_TRUE(seen.insert(hash).second) << length;
  }
}

TEST(NSString, HashDependsOnEveryUnit) {
  for (const size_t length : {1u, 3u, 4u, 7u, 8u, 9u, 16u, 17u, 31u, 32u, 33u, 48u, 49u, 64u, 65u, 100u}) {
    const std::string text(length, 'm');
    const size_t plain = NSString(text).hash();
    for (size_t i = 0; i < length; ++i) {
      std::string changed = text;
      changed[i] = 'n';
      EXPECT_NE(NSString(changed).hash(), plain) << length << " at " << i;
    }
  }
}

TEST(NSString, ShortTextsHashApart) {
  std::unordered_set<size_t> seen;
  for (int a = 1; a < 256; ++a)
    for (int b = 0; b < 256; ++b) {
      const char16_t units[] = {static_cast<char16_t>(a), static_cast<char16_t>(b)};
      seen.insert(NSString(std::u16string_view(units, b ? 2 : 1)).hash());
    }
  EXPECT_GT(seen.size(), 65'270u);  // of 65280: by chance less than one pair would meet
}

TEST(NSString, CopiesShareTheText) {
  const NSString text = "shared";
  const NSString copy = text;
  EXPECT_TRUE(copy.isSame(text));
  EXPECT_TRUE(text.copy().isSame(text));
  NSString moved = copy;
  NSString target = std::move(moved);
  EXPECT_TRUE(moved.isNil());
  EXPECT_EQ(target, "shared");
  NSString& alias = target;
  target = alias;
  EXPECT_EQ(target, "shared");
}

TEST(NSString, EmptyTextsAreOneObject) { EXPECT_TRUE(NSString("").isSame(NSString(u""))); }

TEST(NSString, CodePointsBecomeOneOrTwoUnits) {
  EXPECT_EQ(NSString::stringWithCodePoint(U'A'), "A");
  EXPECT_EQ(NSString::stringWithCodePoint(0x20AC), "\u20AC");
  EXPECT_EQ(NSString::stringWithCodePoint(0x10FFFF).utf16(), u"\U0010FFFF");
  EXPECT_TRUE(NSString::stringWithCodePoint(0x110000).isNil());
}

TEST(NSString, Utf8ReplacesLoneSurrogates) {
  EXPECT_EQ(NSString(u"a\xD800"
                     u"b")
                .utf8(),
            "a\uFFFDb");
  EXPECT_EQ(NSString(u"\u00E9\U0001F600").utf8(), "\u00E9\U0001F600");
}

TEST(NSString, LossyReadingReplacesIllFormedParts) {
  EXPECT_EQ(NSString::stringWithLossyUTF8("a\xE2\x82z"), "a\uFFFDz");
  EXPECT_EQ(NSString::stringWithLossyUTF8(""), "");
}

TEST(NSString, FileNamesKeepTheirBytes) {
  const NSString name = NSString::stringWithFileSystemRepresentation("caf\xE9.txt");
  EXPECT_EQ(name.utf16(), u"caf\xDCE9.txt");
  EXPECT_EQ(name.fileSystemRepresentation(), "caf\xE9.txt");
  EXPECT_EQ(name.utf8(), "caf\uFFFD.txt");
}

TEST(NSString, DataInAnEncodingIsReadStrictly) {
  const NSData latin = dataOf("\xE9\x80");
  EXPECT_EQ(NSString::stringWithDataEncoding(latin, NSISOLatin1StringEncoding), NSString(u"\u00E9\u0080"));
  EXPECT_TRUE(NSString::stringWithDataEncoding(latin, NSUTF8StringEncoding).isNil());
  EXPECT_TRUE(NSString::stringWithDataEncoding(latin, NSASCIIStringEncoding).isNil());
  EXPECT_EQ(NSString::stringWithDataEncoding(dataOf("ok"), NSASCIIStringEncoding), "ok");
  EXPECT_EQ(NSString::stringWithDataEncoding(dataOf(""), NSUTF8StringEncoding), "");
  EXPECT_TRUE(NSString::stringWithDataEncoding(dataOf("x"), static_cast<NSStringEncoding>(99)).isNil());
  EXPECT_TRUE(NSString::stringWithDataEncoding(nil, NSUTF8StringEncoding).isNil());
}

TEST(NSString, DataHoldsTheTextOrIsNil) {
  const NSString text = "\u00E9\u20AC";
  EXPECT_EQ(bytesOf(text.dataUsingEncoding(NSUTF8StringEncoding)), "\u00E9\u20AC");
  EXPECT_TRUE(text.dataUsingEncoding(NSISOLatin1StringEncoding).isNil());
  EXPECT_EQ(bytesOf(NSString("\u00E9").dataUsingEncoding(NSISOLatin1StringEncoding)), "\xE9");
  EXPECT_TRUE(NSString("\u00E9").dataUsingEncoding(NSASCIIStringEncoding).isNil());
  EXPECT_EQ(bytesOf(NSString("plain").dataUsingEncoding(NSASCIIStringEncoding)), "plain");
  EXPECT_TRUE(NSString(u"\xD800").dataUsingEncoding(NSUTF8StringEncoding).isNil());
  EXPECT_EQ(NSString("").dataUsingEncoding(NSUTF8StringEncoding).length(), 0u);
  EXPECT_FALSE(NSString("").dataUsingEncoding(NSUTF8StringEncoding).isNil());
}

TEST(NSString, IndexesPastTheEndRaise) {
  const NSString text = "abc";
  EXPECT_EQ(text.characterAtIndex(2), 'c');
  EXPECT_EQ(raisedBy([&] { text.characterAtIndex(3); }), NSRangeException);
  EXPECT_EQ(raisedBy([&] { text.substringFromIndex(4); }), NSRangeException);
  EXPECT_EQ(raisedBy([&] { text.substringToIndex(4); }), NSRangeException);
  EXPECT_EQ(raisedBy([&] { text.substringWithRange({1, 3}); }), NSRangeException);
  EXPECT_EQ(raisedBy([&] { text.substringWithRange({NSNotFound, 0}); }), NSRangeException);
  EXPECT_EQ(raisedBy([&] { text.substringWithRange({2, UINT64_MAX}); }), NSRangeException);
}

TEST(NSString, PartsAreCutByUnits) {
  const NSString text = "abc\u20ACdef";
  EXPECT_EQ(text.substringFromIndex(0), text);
  EXPECT_EQ(text.substringFromIndex(4), "def");
  EXPECT_EQ(text.substringFromIndex(7), "");
  EXPECT_EQ(text.substringToIndex(0), "");
  EXPECT_EQ(text.substringToIndex(4), "abc\u20AC");
  EXPECT_EQ(text.substringWithRange({3, 1}), "\u20AC");
  EXPECT_EQ(NSString("\U0001F600").substringToIndex(1).utf16(), u"\xD83D");
}

TEST(NSString, LargePartsShareTheStorage) {
  const NSString text = std::string(400, 'a') + std::string(400, 'b');
  const NSString part = text.substringFromIndex(300);
  EXPECT_TRUE(stringRep(part)->has(HeapObject::Slice));
  EXPECT_EQ(part, NSString(std::string(100, 'a') + std::string(400, 'b')));
  const NSString inner = part.substringToIndex(450);
  EXPECT_EQ(stringRep(inner)->slice()->owner, stringRep(text));
  EXPECT_EQ(inner.length(), 450u);
}

TEST(NSString, SmallPartsNeverKeepALargeTextAlive) {
  const NSString text = std::string(100'000, 'a');
  EXPECT_FALSE(stringRep(text.substringToIndex(63))->has(HeapObject::Slice));
  EXPECT_FALSE(stringRep(text.substringToIndex(1000))->has(HeapObject::Slice));
  EXPECT_TRUE(stringRep(text.substringToIndex(25'000))->has(HeapObject::Slice));
}

TEST(NSString, PartsOutliveTheirText) {
  NSString text = wideText(500);
  const NSString part = text.substringFromIndex(100);
  text = nil;
  EXPECT_EQ(part, wideText(400));
}

TEST(NSString, PartsOfWideTextsAreCanonical) {
  const NSString text = wideText(1) + NSString(std::string(200, 'x'));
  const NSString part = text.substringFromIndex(1);
  EXPECT_FALSE(stringRep(part)->wide());
  EXPECT_EQ(part, NSString(std::string(200, 'x')));
  EXPECT_EQ(part.hash(), NSString(std::string(200, 'x')).hash());
}

TEST(NSString, AppendingJoinsEveryWidth) {
  const NSString pieces[] = {"a", "\u00E9", "\u0416", "\U0001F600", ""};
  for (const NSString& a : pieces)
    for (const NSString& b : pieces) {
      const NSString both = a + b;
      EXPECT_EQ(both.utf16(), a.utf16() + b.utf16());
      EXPECT_EQ(both, a.stringByAppendingString(b));
      EXPECT_EQ(both, NSString(both.utf16()));
      EXPECT_EQ(both.utf8(), a.utf8() + b.utf8());
    }
}

TEST(NSString, AppendingPartsGivesAWholeText) {
  const NSString text = std::string(300, 'a');
  const NSString both = text.substringFromIndex(100) + text.substringFromIndex(50);
  EXPECT_FALSE(stringRep(both)->has(HeapObject::Slice));
  EXPECT_EQ(both, NSString(std::string(450, 'a')));
}

TEST(NSString, AppendingNilAppendsNothing) {
  EXPECT_EQ(NSString("a") + NSString(), "a");
  EXPECT_EQ(NSString() + NSString("a"), "a");
  EXPECT_TRUE((NSString() + NSString()).isNil());
  EXPECT_EQ(NSString("") + NSString(), "");
  EXPECT_EQ(NSString("a").stringByAppendingString(nil), "a");
}

TEST(NSString, AppendingAFormatFillsItIn) {
  EXPECT_EQ(NSString("n=").stringByAppendingFormat("%d%%", 7), "n=7%");
  EXPECT_TRUE(NSString().stringByAppendingFormat("%d", 7).isNil());
}

TEST(NSString, PaddingRepeatsOrCuts) {
  EXPECT_EQ(NSString("abc").stringByPaddingToLength(9, ".", 0), "abc......");
  EXPECT_EQ(NSString("abc").stringByPaddingToLength(2, ".", 0), "ab");
  EXPECT_EQ(NSString("abc").stringByPaddingToLength(9, ". ", 1), "abc . . .");
  EXPECT_EQ(NSString("a").stringByPaddingToLength(3, "\u0416", 0), "a\u0416\u0416");
  EXPECT_EQ(NSString("abc").stringByPaddingToLength(9, "", 0), "abc");
  EXPECT_EQ(NSString("abc").stringByPaddingToLength(9, nil, 0), "abc");
  EXPECT_EQ(raisedBy([] { NSString("abc").stringByPaddingToLength(9, "x", 1); }), NSRangeException);
}

TEST(NSString, PrintsItself) {
  std::ostringstream out;
  out << NSString("\u00E9") << Value(NSString()) << NSString("x").description();
  EXPECT_EQ(out.str(), "\u00E9(null)x");
}

TEST(NSString, TextsSurviveTheRoundTripThroughUnits) {
  EXPECT_TRUE(rc::check([](const std::vector<uint16_t>& raw) {
    const std::u16string units(raw.begin(), raw.end());
    const NSString text = units;
    RC_ASSERT(text.utf16() == units);
    RC_ASSERT(text.length() == units.size());
  }));
}

TEST(NSString, PartsPutTogetherAreTheWhole) {
  EXPECT_TRUE(rc::check([](const std::u16string& raw, size_t cut) {
    const NSString text = raw;
    const size_t at = raw.empty() ? 0 : cut % (raw.size() + 1);
    RC_ASSERT(text.substringToIndex(at) + text.substringFromIndex(at) == text);
  }));
}

TEST(NSString, ThreadsMayShareATextAndItsHash) {
  const NSString text = std::string(1000, 'q');
  std::vector<std::thread> threads;
  std::atomic<int> wrong{0};
  const size_t expected = NSString(std::string(1000, 'q')).hash();
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 2000; ++i) {
        const NSString mine = text.substringFromIndex(static_cast<NSUInteger>(i % 100));
        if (mine.length() != 1000u - static_cast<size_t>(i % 100) || text.hash() != expected) ++wrong;
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}
