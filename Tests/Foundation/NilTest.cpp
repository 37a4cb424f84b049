// Every member of every value handle on nil: the neutral result of its type, and nothing raised.

#include <gtest/gtest.h>

#include "Platform/Foundation/Foundation.h"
#include "Platform/Foundation/Values/NSCharacterSet.h"
#include "Platform/Foundation/Values/NSDecimalNumber.h"
#include "Platform/Foundation/Values/NSEnumerator.h"
#include "Platform/Foundation/Values/NSError.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSSet.h"
#include "Platform/Foundation/Values/NSURL.h"
#include "Platform/Foundation/Values/NSUUID.h"

using namespace orv;

namespace {

template <class T>
class NilHandle : public testing::Test {};

using Handles = testing::Types<Value, NSString, NSData, NSURL, NSArray, NSMutableArray, NSSet, NSMutableSet,
                               NSCountedSet, NSDictionary, NSMutableDictionary, NSNumber, NSDecimalNumber,
                               NSDate, NSUUID, NSError, NSEnumerator, NSCharacterSet>;
TYPED_TEST_SUITE(NilHandle, Handles);

TYPED_TEST(NilHandle, AnswersWhatEveryValueAnswersNeutrally) {
  const TypeParam none;
  EXPECT_TRUE(none.isNil());
  EXPECT_FALSE(none.isNull());
  EXPECT_FALSE(static_cast<bool>(none));
  EXPECT_EQ(none.kind(), Kind::Nil);
  EXPECT_EQ(none.hash(), 0u);
  EXPECT_EQ(std::hash<TypeParam>()(none), 0u);
  EXPECT_FALSE(none.isEqual(none));
  EXPECT_FALSE(none.isEqual("x"));
  EXPECT_FALSE(Value("x").isEqual(none));
  EXPECT_TRUE(none.isSame(nil));
  EXPECT_TRUE(none == TypeParam());
  EXPECT_EQ(static_cast<const Value&>(none).compare(nil), NSOrderedSame);
  EXPECT_EQ(static_cast<const Value&>(none).compare("x"), NSOrderedAscending);
  EXPECT_TRUE(static_cast<const Value&>(none).description().isNil());
  EXPECT_TRUE(none.className().isNil());
  EXPECT_TRUE(none.copy().isNil());
  EXPECT_TRUE(static_cast<const Value&>(none).mutableCopy().isNil());
  EXPECT_EQ(static_cast<const Value&>(none).count(), 0u);
  EXPECT_TRUE(none.valueForKey("x").isNil());
  EXPECT_TRUE(none.valueForKey(nil).isNil());
  EXPECT_FALSE(none.template isKindOf<NSString>());
  EXPECT_TRUE(none.template as<NSArray>().isNil());
}

TYPED_TEST(NilHandle, MovedFromAndSelfAssignedHandlesStayValid) {
  TypeParam a, b(std::move(a));
  a = b;
  TypeParam& same = a;
  a = same;
  a = std::move(same);
  EXPECT_TRUE(a.isNil());
  EXPECT_TRUE(b.isNil());
}

TEST(NilString, AnswersNeutrally) {
  const NSString none;
  const NSCharacterSet blanks = NSCharacterSet::whitespaceCharacterSet();
  EXPECT_EQ(none.length(), 0u);
  EXPECT_EQ(none.characterAtIndex(7), 0);
  EXPECT_EQ(none.utf8(), "");
  EXPECT_EQ(none.utf16(), u"");
  EXPECT_EQ(none.fileSystemRepresentation(), "");
  for (const auto encoding : {NSASCIIStringEncoding, NSUTF8StringEncoding, NSISOLatin1StringEncoding})
    EXPECT_TRUE(none.dataUsingEncoding(encoding).isNil());
  EXPECT_FALSE(none.isEqualToString(none));
  EXPECT_FALSE(none.isEqualToString(""));
  EXPECT_EQ(none.compare("a"), NSOrderedSame);
  EXPECT_EQ(none.compare(nil, NSCaseInsensitiveSearch | NSNumericSearch), NSOrderedSame);
  EXPECT_EQ(none.caseInsensitiveCompare("a"), NSOrderedSame);
  EXPECT_FALSE(none.hasPrefix("") || none.hasPrefix(nil) || none.hasPrefix("a"));
  EXPECT_FALSE(none.hasSuffix("") || none.hasSuffix(nil) || none.hasSuffix("a"));
  EXPECT_FALSE(none.containsString("") || none.containsString(nil) || none.containsString("a"));
  for (const NSUInteger options : {0u, 1u, 2u, 4u, 8u, 12u, 13u}) {
    EXPECT_FALSE(none.rangeOfString("a", options).isFound());
    EXPECT_FALSE(none.rangeOfString(nil, options).isFound());
    EXPECT_FALSE(none.rangeOfStringInRange("a", options, {5, 9}).isFound());
    EXPECT_FALSE(none.rangeOfCharacterFromSet(blanks, options).isFound());
    EXPECT_FALSE(none.rangeOfCharacterFromSet(nil, options).isFound());
    EXPECT_FALSE(NSString("a").rangeOfString(nil, options).isFound());
    EXPECT_FALSE(NSString("a").rangeOfCharacterFromSet(nil, options).isFound());
  }
  EXPECT_TRUE(none.substringFromIndex(3).isNil());
  EXPECT_TRUE(none.substringToIndex(3).isNil());
  EXPECT_TRUE(none.substringWithRange({NSNotFound, 3}).isNil());
  EXPECT_TRUE(none.stringByAppendingString("a").isNil());
  EXPECT_TRUE(none.stringByAppendingFormat("%d", 1).isNil());
  EXPECT_TRUE(none.stringByReplacingOccurrencesOfString("a", "b").isNil());
  EXPECT_TRUE(none.stringByTrimmingCharactersInSet(blanks).isNil());
  EXPECT_TRUE(none.stringByPaddingToLength(9, "a", 0).isNil());
  EXPECT_TRUE(none.componentsSeparatedByString(",").isNil());
  EXPECT_TRUE(none.componentsSeparatedByCharactersInSet(blanks).isNil());
  EXPECT_TRUE(none.uppercaseString().isNil());
  EXPECT_TRUE(none.lowercaseString().isNil());
  EXPECT_TRUE(none.capitalizedString().isNil());
  EXPECT_TRUE(none.decomposedStringWithCanonicalMapping().isNil());
  EXPECT_TRUE(none.precomposedStringWithCanonicalMapping().isNil());
  EXPECT_FALSE(none.boolValue());
  EXPECT_EQ(none.intValue(), 0);
  EXPECT_EQ(none.integerValue(), 0);
  EXPECT_EQ(none.longLongValue(), 0);
  EXPECT_EQ(none.doubleValue(), 0.0);
  EXPECT_EQ(none.floatValue(), 0.0f);
  EXPECT_TRUE(none.lastPathComponent().isNil());
  EXPECT_TRUE(none.pathExtension().isNil());
  EXPECT_TRUE(none.stringByDeletingPathExtension().isNil());
  EXPECT_TRUE(none.stringByDeletingLastPathComponent().isNil());
  EXPECT_TRUE(none.stringByAppendingPathComponent("a").isNil());
  EXPECT_TRUE(none.stringByAppendingPathExtension("a").isNil());
  EXPECT_TRUE(none.pathComponents().isNil());
  EXPECT_FALSE(none.isAbsolutePath());
  EXPECT_TRUE(none.stringByExpandingTildeInPath().isNil());
  EXPECT_TRUE(none.stringByStandardizingPath().isNil());
  EXPECT_TRUE(none.stringByAddingPercentEncodingWithAllowedCharacters(blanks).isNil());
  EXPECT_TRUE(none.stringByRemovingPercentEncoding().isNil());
  EXPECT_TRUE((none + none).isNil());
  EXPECT_TRUE(none < NSString(""));
  EXPECT_TRUE(none.dataFromBase64().isNil());
  EXPECT_TRUE(none.dataFromCanonicalBase64().isNil());
  EXPECT_TRUE(none.zuSHA1HexString().isNil());
  EXPECT_TRUE(none.zuSHA256HexString().isNil());
  EXPECT_TRUE(none.zuSHA2HexString().isNil());
}

TEST(NilString, AsAnArgumentIsHarmless) {
  const NSString text = "a/b.c", none;
  EXPECT_EQ(text.compare(none), NSOrderedDescending);
  EXPECT_EQ(text.stringByAppendingString(none), text);
  EXPECT_EQ(text.stringByReplacingOccurrencesOfString(none, "x"), text);
  EXPECT_EQ(text.stringByReplacingOccurrencesOfString("a", none), text);
  EXPECT_EQ(text.stringByTrimmingCharactersInSet(nil), text);
  EXPECT_EQ(text.stringByPaddingToLength(9, none, 0), text);
  EXPECT_EQ(text.componentsSeparatedByString(none), (NSArray{text}));
  EXPECT_EQ(text.componentsSeparatedByCharactersInSet(nil), (NSArray{text}));
  EXPECT_NO_THROW(text.stringByAppendingPathComponent(none));
  EXPECT_NO_THROW(text.stringByAppendingPathExtension(none));
  EXPECT_NO_THROW(text.stringByAddingPercentEncodingWithAllowedCharacters(nil));
  EXPECT_TRUE(NSString::stringWithDataEncoding(nil, NSUTF8StringEncoding).isNil());
  EXPECT_TRUE(NSString(static_cast<const char*>(nullptr)).isNil());
  EXPECT_TRUE(NSString(static_cast<const char16_t*>(nullptr)).isNil());
  EXPECT_TRUE(NSString(static_cast<const char8_t*>(nullptr)).isNil());
  EXPECT_TRUE(NSString(std::string_view()).isNil());
  EXPECT_TRUE(NSString(std::u16string_view()).isNil());
  EXPECT_TRUE(NSString(std::u8string_view()).isNil());
  EXPECT_NO_THROW(NSString::stringWithLossyUTF8({}));
  EXPECT_NO_THROW(NSString::stringWithLatin1({}));
  EXPECT_NO_THROW(NSString::stringWithFileSystemRepresentation({}));
}

TEST(NilData, AnswersNeutrally) {
  const NSData none;
  EXPECT_EQ(none.length(), 0u);
  EXPECT_EQ(none.bytes(), nullptr);
  EXPECT_TRUE(none.view().empty());
  EXPECT_TRUE(none.span().empty());
  EXPECT_FALSE(none.isEqualToData(none));
  EXPECT_FALSE(none.isEqualToData(NSData::data()));
  EXPECT_TRUE(none.subdataWithRange({NSNotFound, 1}).isNil());
  EXPECT_FALSE(none.writeToFile("/tmp/never", true));
  EXPECT_FALSE(NSData::data().writeToFile(nil, true));
  EXPECT_FALSE(NSData::data().writeToFile(nil, false));
  EXPECT_FALSE(NSData::data().writeToFile("", false));
  EXPECT_TRUE(none.base64EncodedString().isNil());
  EXPECT_TRUE(none.description().isNil());
  EXPECT_TRUE(none.toBase64String().isNil());
  EXPECT_TRUE(none.canonicalBase64String().isNil());
  EXPECT_TRUE(none.dataURLWithMimeType("x/y").isNil());
  EXPECT_TRUE(none.string().isNil());
  EXPECT_TRUE(none.zuMD5HexString().isNil());
  EXPECT_TRUE(none.zuSHA1HexString().isNil());
  EXPECT_TRUE(none.zuSHA256Data().isNil());
  EXPECT_TRUE(none.zuSHA256HexString().isNil());
  EXPECT_TRUE(none.zuSHA2HexString().isNil());
  EXPECT_TRUE(none.zuSHA2Base64String().isNil());
  EXPECT_TRUE(none.guessMimeType().isNil());
  EXPECT_TRUE(NSData::dataWithContentsOfFile(nil).isNil());
  EXPECT_TRUE(NSData::initWithBase64EncodedString(nil).isNil());
  EXPECT_EQ(NSData::dataWithBytes(nullptr, 9).length(), 0u);
}

TEST(NilURL, AnswersNeutrally) {
  const NSURL none;
  for (const NSString& text :
       {none.absoluteString(), none.relativeString(), none.scheme(), none.user(), none.password(), none.host(),
        none.query(), none.fragment(), none.resourceSpecifier(), none.path(), none.lastPathComponent(),
        none.pathExtension(), none.description()})
    EXPECT_TRUE(text.isNil());
  for (const NSURL& url :
       {none.baseURL(), none.absoluteURL(), none.URLByAppendingPathComponent("a", true),
        none.URLByAppendingPathComponent("a"), none.URLByAppendingPathExtension("a"),
        none.URLByDeletingLastPathComponent(), none.URLByDeletingPathExtension(), none.URLByStandardizingPath(),
        NSURL::URLWithString(nil), NSURL::URLWithString(""), NSURL::fileURLWithPath(nil),
        NSURL::fileURLWithPath(nil, true), NSURL::fileURLWithFileSystemRepresentation({}, true)})
    EXPECT_TRUE(url.isNil());
  EXPECT_TRUE(none.port().isNil());
  EXPECT_TRUE(none.pathComponents().isNil());
  EXPECT_EQ(none.fileSystemRepresentation(), "");
  EXPECT_FALSE(none.isFileURL());
  EXPECT_FALSE(none.hasDirectoryPath());
  NSError error;
  Value value;
  EXPECT_FALSE(none.checkResourceIsReachable(&error));
  EXPECT_FALSE(error.isNil());
  EXPECT_FALSE(none.getResourceValue(NSURLNameKey, &value));
  EXPECT_FALSE(NSURL::fileURLWithPath("/", true).getResourceValue(nil, nullptr));
  EXPECT_FALSE(none.setResourceValue(nil, NSURLTagNamesKey, &error));
  EXPECT_TRUE(none.bookmarkDataWithOptions(0, &error).isNil());
  EXPECT_TRUE(NSURL::URLByResolvingBookmarkData(nil, 0, nullptr, nullptr).isNil());
  EXPECT_NO_THROW(NSURL::fileURLWithPath("/a", false).URLByAppendingPathComponent(nil));
  EXPECT_NO_THROW(NSURL::fileURLWithPath("/a", false).URLByAppendingPathExtension(nil));
  EXPECT_NO_THROW(NSURL::URLWithStringRelativeToURL("a", nil).absoluteString());
}

TEST(NilArray, AnswersNeutrally) {
  const NSMutableArray none;
  const auto never = [](const Value&, const Value&) { return ADD_FAILURE(), 0; };
  EXPECT_EQ(none.count(), 0u);
  EXPECT_TRUE(none.begin() == none.end());
  EXPECT_TRUE(none.objectAtIndex(5).isNil());
  EXPECT_TRUE(none[NSNotFound].isNil());
  EXPECT_TRUE(none.firstObject().isNil());
  EXPECT_TRUE(none.lastObject().isNil());
  EXPECT_FALSE(none.containsObject("a") || none.containsObject(nil));
  EXPECT_EQ(none.indexOfObject("a"), NSNotFound);
  EXPECT_EQ(none.indexOfObjectIdenticalTo("a"), NSNotFound);
  EXPECT_FALSE(none.isEqualToArray(none));
  EXPECT_TRUE(none.arrayByAddingObject(nil).isNil());
  EXPECT_TRUE(none.arrayByAddingObjectsFromArray(none).isNil());
  EXPECT_TRUE(none.subarrayWithRange({1, 2}).isNil());
  EXPECT_TRUE(none.sortedArrayUsingComparator(never).isNil());
  EXPECT_TRUE(none.componentsJoinedByString(",").isNil());
  EXPECT_TRUE(none.objectEnumerator().isNil());
  EXPECT_TRUE(none.reverseObjectEnumerator().isNil());
  EXPECT_TRUE(none.mutableCopy().isNil());
  EXPECT_NO_THROW({
    none.addObject(nil);
    none.addObjectsFromArray(none);
    none.insertObjectAtIndex(nil, 9);
    none.replaceObjectAtIndex(9, nil);
    none.exchangeObjectAtIndex(1, 2);
    none.removeObjectAtIndex(9);
    none.removeLastObject();
    none.removeObject(nil);
    none.removeAllObjects();
    none.setArray(none);
    none.sortUsingComparator(never);
  });
  EXPECT_EQ(NSArray::arrayWithArray(nil).count(), 0u);
  EXPECT_EQ(NSMutableArray::arrayWithArray(nil).count(), 0u);
  const NSMutableArray one{"a"};
  one.addObjectsFromArray(nil);
  EXPECT_EQ(one.arrayByAddingObjectsFromArray(nil), one);
  EXPECT_EQ(one.componentsJoinedByString(nil), "a");
  one.removeObject(nil);
  EXPECT_EQ(one.count(), 1u);
  one.setArray(nil);
  EXPECT_EQ(one.count(), 0u);
}

TEST(NilSet, AnswersNeutrally) {
  const NSMutableSet none;
  const NSSet one{"a"};
  EXPECT_EQ(none.count(), 0u);
  EXPECT_TRUE(none.begin() == none.end());
  EXPECT_FALSE(none.containsObject("a"));
  EXPECT_FALSE(one.containsObject(nil));
  EXPECT_TRUE(none.member("a").isNil());
  EXPECT_TRUE(one.member(nil).isNil());
  EXPECT_TRUE(none.anyObject().isNil());
  EXPECT_TRUE(none.allObjects().isNil());
  EXPECT_FALSE(none.isEqualToSet(none));
  EXPECT_FALSE(none.isSubsetOfSet(one) || one.isSubsetOfSet(none));
  EXPECT_FALSE(none.intersectsSet(one) || one.intersectsSet(none));
  EXPECT_TRUE(none.setByAddingObject("a").isNil());
  EXPECT_TRUE(none.setByAddingObjectsFromSet(one).isNil());
  EXPECT_EQ(one.setByAddingObjectsFromSet(none), one);
  EXPECT_TRUE(none.objectEnumerator().isNil());
  EXPECT_TRUE(none.mutableCopy().isNil());
  EXPECT_NO_THROW({
    none.addObject(nil);
    none.addObjectsFromArray(NSArray{1});
    none.removeObject(nil);
    none.removeAllObjects();
    none.unionSet(one);
    none.minusSet(one);
    none.intersectSet(one);
  });
  const NSMutableSet two{"a", "b"};
  two.addObjectsFromArray(nil);
  two.removeObject(nil);
  two.unionSet(nil);
  two.minusSet(nil);
  EXPECT_EQ(two.count(), 2u);
  two.intersectSet(nil);
  EXPECT_EQ(two.count(), 0u);
  EXPECT_EQ(NSSet::setWithArray(nil).count(), 0u);
  EXPECT_EQ(NSCountedSet::setWithArray(nil).count(), 0u);
  EXPECT_EQ(NSCountedSet().countForObject("a"), 0u);
  EXPECT_EQ(NSCountedSet{"a"}.countForObject(nil), 0u);
}

TEST(NilDictionary, AnswersNeutrally) {
  const NSMutableDictionary none;
  EXPECT_EQ(none.count(), 0u);
  EXPECT_TRUE(none.begin() == none.end());
  EXPECT_TRUE(none.objectForKey("a").isNil());
  EXPECT_TRUE(none[nil].isNil());
  EXPECT_TRUE((NSDictionary{{"a", 1}})[nil].isNil());
  EXPECT_FALSE(none.containsKey("a"));
  EXPECT_TRUE(none.allKeys().isNil());
  EXPECT_TRUE(none.allValues().isNil());
  EXPECT_TRUE(none.allKeysForObject(1).isNil());
  EXPECT_FALSE(none.isEqualToDictionary(none));
  EXPECT_TRUE(none.keyEnumerator().isNil());
  EXPECT_TRUE(none.objectEnumerator().isNil());
  EXPECT_TRUE(none.mutableCopy().isNil());
  EXPECT_NO_THROW({
    none.setObjectForKey(nil, nil);
    none.setValueForKey(1, "a");
    none.setValueForKey(nil, "a");
    none.setValueForKey(nil, nil);
    none.addEntriesFromDictionary(NSDictionary{{"a", 1}});
    none.removeObjectForKey(nil);
    none.removeObjectsForKeys(NSArray{"a"});
    none.removeAllObjects();
    none.setDictionary(NSDictionary{{"a", 1}});
  });
  const NSMutableDictionary one{{"a", 1}};
  one.addEntriesFromDictionary(nil);
  one.removeObjectsForKeys(nil);
  EXPECT_EQ(one.count(), 1u);
  one.setDictionary(nil);
  EXPECT_EQ(one.count(), 0u);
  EXPECT_EQ(NSDictionary::dictionaryWithDictionary(nil).count(), 0u);
  EXPECT_EQ(NSDictionary::dictionaryWithObjectsForKeys(nil, nil).count(), 0u);
}

TEST(NilNumber, AnswersNeutrally) {
  const NSNumber none;
  EXPECT_FALSE(none.isBoolean());
  EXPECT_FALSE(none.isDecimal());
  EXPECT_FALSE(none.boolValue());
  EXPECT_EQ(none.charValue(), 0);
  EXPECT_EQ(none.shortValue(), 0);
  EXPECT_EQ(none.intValue(), 0);
  EXPECT_EQ(none.unsignedIntValue(), 0u);
  EXPECT_EQ(none.integerValue(), 0);
  EXPECT_EQ(none.unsignedIntegerValue(), 0u);
  EXPECT_EQ(none.longLongValue(), 0);
  EXPECT_EQ(none.unsignedLongLongValue(), 0u);
  EXPECT_EQ(none.doubleValue(), 0.0);
  EXPECT_EQ(none.floatValue(), 0.0f);
  EXPECT_TRUE(none.decimalValue().isZero());
  EXPECT_TRUE(none.stringValue().isNil());
  EXPECT_EQ(none.objCType(), nullptr);
  EXPECT_FALSE(none.isEqualToNumber(none));
  EXPECT_TRUE(none < NSNumber(-1));
}

TEST(NilDecimalNumber, AnswersNeutrally) {
  const NSDecimalNumber none;
  const NSDecimalNumber one = NSDecimalNumber::one();
  EXPECT_TRUE(none.decimalNumberByAdding(one).isNil());
  EXPECT_TRUE(none.decimalNumberBySubtracting(one).isNil());
  EXPECT_TRUE(none.decimalNumberByMultiplyingBy(one).isNil());
  EXPECT_TRUE(none.decimalNumberByDividingBy(nil).isNil());
  EXPECT_TRUE(none.decimalNumberByRaisingToPower(2).isNil());
  EXPECT_TRUE(none.decimalNumberByMultiplyingByPowerOf10(2).isNil());
  EXPECT_TRUE(none.decimalNumberByRoundingAccordingToBehavior({}).isNil());
  EXPECT_EQ(one.decimalNumberByAdding(nil), one);
  EXPECT_EQ(one.decimalNumberBySubtracting(nil), one);
  EXPECT_EQ(one.decimalNumberByMultiplyingBy(nil), NSDecimalNumber::zero());
  EXPECT_THROW(one.decimalNumberByDividingBy(nil), NSException);
}

TEST(NilDate, AnswersNeutrally) {
  const NSDate none, now = NSDate::date();
  EXPECT_EQ(none.timeIntervalSinceReferenceDate(), 0.0);
  EXPECT_EQ(none.timeIntervalSince1970(), 0.0);
  EXPECT_EQ(none.timeIntervalSinceNow(), 0.0);
  EXPECT_EQ(none.timeIntervalSinceDate(now), 0.0);
  EXPECT_EQ(now.timeIntervalSinceDate(none), 0.0);
  EXPECT_FALSE(none.isEqualToDate(none) || none.isEqualToDate(now) || now.isEqualToDate(none));
  EXPECT_EQ(none.compare(none), NSOrderedSame);
  EXPECT_TRUE(none.dateByAddingTimeInterval(1).isNil());
  EXPECT_TRUE(none.description().isNil());
  EXPECT_TRUE(none.ISO8601String().isNil());
  EXPECT_TRUE(none.earlierDate(none).isNil());
  EXPECT_TRUE(none.laterDate(none).isNil());
  EXPECT_TRUE(none < now);
}

TEST(NilObjects, AnswerNeutrally) {
  EXPECT_TRUE(NSUUID().UUIDString().isNil());
  EXPECT_TRUE(NSUUID().data().isNil());
  EXPECT_EQ(NSUUID().bytes(), NSUUID::Bytes{});
  EXPECT_TRUE(NSUUID::initWithUUIDString(nil).isNil());

  const NSError error;
  EXPECT_TRUE(error.domain().isNil());
  EXPECT_EQ(error.code(), 0);
  EXPECT_TRUE(error.userInfo().isNil());
  EXPECT_TRUE(error.localizedFailureReason().isNil());
  EXPECT_TRUE(error.localizedDescription().isNil());

  const NSException exception;
  EXPECT_TRUE(exception.name().isNil());
  EXPECT_TRUE(exception.reason().isNil());
  EXPECT_TRUE(exception.userInfo().isNil());
  EXPECT_STREQ(exception.what(), "");

  EXPECT_TRUE(NSEnumerator().nextObject().isNil());
  EXPECT_TRUE(NSEnumerator().allObjects().isNil());
}

TEST(NilCharacterSet, AnswersNeutrally) {
  const NSCharacterSet none;
  EXPECT_FALSE(none.characterIsMember(u'a'));
  EXPECT_FALSE(none.longCharacterIsMember(U'\U0001F600'));
  EXPECT_TRUE(none.invertedSet().isNil());
  EXPECT_TRUE(none.setByAddingCharactersInSet(none).isNil());
  EXPECT_TRUE(none.setByAddingCharactersInString(nil).isNil());
  EXPECT_TRUE(none.setByRemovingCharactersInString("a").isNil());
  const NSCharacterSet a = NSCharacterSet::characterSetWithCharactersInString("a");
  EXPECT_TRUE(a.setByAddingCharactersInSet(nil).characterIsMember(u'a'));
  EXPECT_TRUE(a.setByAddingCharactersInString(nil).characterIsMember(u'a'));
  EXPECT_TRUE(a.setByRemovingCharactersInString(nil).characterIsMember(u'a'));
  EXPECT_FALSE(NSCharacterSet::characterSetWithCharactersInString(nil).characterIsMember(u'a'));
}

}  // namespace
