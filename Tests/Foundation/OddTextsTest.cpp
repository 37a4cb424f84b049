// Strings and paths that nobody types: lone surrogates, zeros, bytes that are not UTF-8.

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSCharacterSet.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/NSURL.h"

using namespace orv;

namespace {

std::string anyName() {
  static const std::vector<std::string> kPieces = {
      "a",    "B",      ".",       "..",         "%",    "%41",      "%2F",
      "?",    "#",      ";",       ":",          " ",    "\\",       "\"",
      "[",    "\u00e9", "e\u0301", "\U0001F600", "\xFF", "\xC0\x80", "\xED\xA0\x80",
      "\x01", "\n",     "~",       "file:",      "&=+"};
  std::string name;
  for (int count = *rc::gen::inRange(1, 5); count > 0; --count) name += *rc::gen::elementOf(kPieces);
  return name;
}

// An absolute path without repeated slashes and without one at the end.
std::string anyPath() {
  std::string path;
  for (int depth = *rc::gen::inRange(1, 5); depth > 0; --depth) path += "/" + anyName();
  return path;
}

NSString anyUnits() {
  static const std::u16string kUnits = {u'a',   u'A',   u' ', 0xD83D, 0xDE00, 0xD800, 0xDC00,
                                        0xDFFF, 0x0301, u'e', 0,      0x00E9, 0x0130, 0x03A3,
                                        u'/',   u'.',   u'%', 0xFFFF, u'ß',   u'1'};
  std::u16string text;
  for (int count = *rc::gen::inRange(0, 9); count > 0; --count) text += *rc::gen::elementOf(kUnits);
  return NSString(std::u16string_view(text.data() ? text : u""));
}

TEST(OddTexts, APathComesBackFromItsURLByteForByte) {
  EXPECT_TRUE(rc::check([] {
    const std::string bytes = anyPath();
    const bool folder = *rc::gen::arbitrary<bool>();
    const NSString path = NSString::stringWithFileSystemRepresentation(bytes);
    RC_ASSERT(path.fileSystemRepresentation() == bytes);
    const NSURL url = NSURL::fileURLWithPath(path, folder);
    RC_ASSERT(url.path() == path);
    RC_ASSERT(url.fileSystemRepresentation() == bytes);
    RC_ASSERT(url.isFileURL() && url.hasDirectoryPath() == folder);
    RC_ASSERT(url.query().isNil() && url.fragment().isNil());
    RC_ASSERT(url.lastPathComponent() == path.lastPathComponent());
    RC_ASSERT(url.pathComponents() == path.pathComponents());
    RC_ASSERT(url == NSURL::fileURLWithFileSystemRepresentation(bytes, folder));
    const NSURL again = NSURL::URLWithString(url.absoluteString());
    RC_ASSERT(again == url);
    RC_ASSERT(again.hash() == url.hash());
    RC_ASSERT(url != NSURL::fileURLWithPath(path, !folder));
  }));
}

TEST(OddTexts, ComponentsAreAddedAndTakenAwayAgain) {
  EXPECT_TRUE(rc::check([] {
    const NSString path = NSString::stringWithFileSystemRepresentation(anyPath());
    const NSString name = NSString::stringWithFileSystemRepresentation(anyName());
    RC_PRE(name != "." && name != "..");
    const NSURL url = NSURL::fileURLWithPath(path, true);
    const NSURL longer = url.URLByAppendingPathComponent(name, false);
    RC_ASSERT(longer.lastPathComponent() == name);
    RC_ASSERT(longer.path() == path + "/" + name);
    RC_ASSERT(longer.URLByDeletingLastPathComponent() == url);
    RC_ASSERT(longer.pathExtension() == name.pathExtension());
    RC_ASSERT(longer.URLByDeletingPathExtension().path() == longer.path().stringByDeletingPathExtension());
  }));
}

TEST(OddTexts, EveryOperationStandsLoneSurrogatesAndZeros) {
  EXPECT_TRUE(rc::check([] {
    const NSString a = anyUnits(), b = anyUnits();
    const NSCharacterSet set = NSCharacterSet::characterSetWithCharactersInString(b);
    RC_ASSERT((a + b).length() == a.length() + b.length());
    RC_ASSERT((a + b).substringToIndex(a.length()) == a);
    RC_ASSERT((a + b).substringFromIndex(a.length()) == b);
    RC_ASSERT(NSString(std::u16string_view(a.utf16().append(1, u'x'))).hash() == (a + "x").hash());
    RC_ASSERT(a.compare(b) == -b.compare(a));
    RC_ASSERT(a.compare(b, NSLiteralSearch) == -b.compare(a, NSLiteralSearch));
    RC_ASSERT((a == b) == (a.compare(b, NSLiteralSearch) == NSOrderedSame));
    RC_ASSERT(a.caseInsensitiveCompare(b) == -b.caseInsensitiveCompare(a));
    const NSArray pieces = a.componentsSeparatedByString(b);
    if (b.length() > 0) RC_ASSERT(pieces.componentsJoinedByString(b) == a);
    RC_ASSERT(a.componentsSeparatedByCharactersInSet(set).count() >= 1);
    RC_ASSERT(a.stringByTrimmingCharactersInSet(set).length() <= a.length());
    const NSRange range = a.rangeOfString(b);
    RC_ASSERT(range.isFound() == a.containsString(b));
    if (range.isFound()) RC_ASSERT(a.substringWithRange(range) == b);
    for (const NSString& text :
         {a.uppercaseString(), a.lowercaseString(), a.capitalizedString(),
          a.decomposedStringWithCanonicalMapping(), a.precomposedStringWithCanonicalMapping(),
          a.stringByStandardizingPath(), a.stringByDeletingPathExtension(), a.lastPathComponent()})
      RC_ASSERT(!text.isNil());
    // A lone surrogate is no text: it has no UTF-8.
    const NSData bytes = a.dataUsingEncoding(NSUTF8StringEncoding);
    if (bytes) RC_ASSERT(NSString::stringWithDataEncoding(bytes, NSUTF8StringEncoding) == a);
    if (bytes) RC_ASSERT(NSString::stringWithFileSystemRepresentation(a.fileSystemRepresentation()) == a);
    const NSString escaped = a.stringByAddingPercentEncodingWithAllowedCharacters(set);
    RC_ASSERT(escaped.isNil() == bytes.isNil());
    if (escaped && !set.characterIsMember(u'%')) RC_ASSERT(escaped.stringByRemovingPercentEncoding() == a);
  }));
}

TEST(OddTexts, ChangingAContainerWithItsOwnPartsIsSafe) {
  const NSMutableArray array{"first", "second"};
  for (int i = 0; i < 100; ++i) array.addObject(array[0]);
  array.insertObjectAtIndex(array[array.count() - 1], 0);
  array.replaceObjectAtIndex(0, array[2]);
  array.removeObject(array[1]);
  EXPECT_EQ(array, (NSArray{"second", "second"}));
  array.addObjectsFromArray(array);
  array.setArray(array);
  EXPECT_EQ(array.count(), 4u);
  EXPECT_THROW(array.objectAtIndex(NSNotFound), std::exception);
  EXPECT_THROW(array.subarrayWithRange({1, NSNotFound}), std::exception);
  EXPECT_THROW(array.subarrayWithRange({UINT64_MAX, 2}), std::exception);
  EXPECT_THROW(NSString("abc").substringWithRange({1, UINT64_MAX}), std::exception);
  EXPECT_THROW(NSString("abc").characterAtIndex(UINT64_MAX), std::exception);
  EXPECT_THROW(NSData::dataWithBytes("abc").subdataWithRange({2, UINT64_MAX}), std::exception);
}

// Calls a block at its end.
class Farewell : public NSObject {
 public:
  explicit Farewell(std::function<void()> last) : block(std::move(last)) {}
  ~Farewell() override { block(); }
  NSString className() const override { return "Farewell"; }

  const std::function<void()> block;
};

TEST(OddTexts, ElementsMayChangeTheContainerThatLetsThemGo) {
  const NSMutableArray array = NSMutableArray::array();
  const NSMutableDictionary dictionary = NSMutableDictionary::dictionary();
  int ended = 0;
  const auto farewell = [&] {
    ++ended;
    for (int i = 0; i < 40; ++i) array.addObject(NSString::stringWithFormat("late %d and so on and on", i));
    for (int i = 0; i < 40; ++i)
      dictionary.setObjectForKey("late", NSString::stringWithFormat("late %d and so on and on", i));
  };
  for (int i = 0; i < 3; ++i) {
    array.addObject(make<Farewell>(farewell));
    array.addObject(NSString::stringWithFormat("early %d and so on and on", i));
    dictionary.setObjectForKey(make<Farewell>(farewell), i);
    dictionary.setObjectForKey("early", NSString::stringWithFormat("early %d and so on and on", i));
  }
  array.removeAllObjects();
  EXPECT_EQ(ended, 3);
  EXPECT_EQ(array.count(), 0u);
  dictionary.removeAllObjects();
  EXPECT_EQ(ended, 6);
  EXPECT_EQ(dictionary.count(), 0u);
  EXPECT_TRUE(dictionary["late 1 and so on and on"].isNil());
  dictionary.setObjectForKey(1, "again");
  EXPECT_EQ(dictionary, (NSDictionary{{"again", 1}}));
  array.removeAllObjects();  // what the dictionary's objects added at their end
}

}  // namespace
