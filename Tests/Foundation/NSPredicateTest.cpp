#include "Platform/Foundation/Values/NSPredicate.h"

#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSNull.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

namespace {
bool holds(const NSString& format, const NSArray& arguments, const Value& object) {
  return NSPredicate::predicateWithFormat(format, arguments)->evaluateWithObject(object);
}
}  // namespace

TEST(NSPredicate, ComparesTheValueAtAKeyPath) {
  const NSDictionary bill{{"state", "open"}, {"to", NSDictionary{{"age", 7}}}};
  EXPECT_TRUE(holds("%K == %@", {"state", "open"}, bill));
  EXPECT_FALSE(holds("%K == %@", {"state", "Open"}, bill));
  EXPECT_TRUE(holds("%K=%@", {"to.age", 7.0}, bill));
  EXPECT_TRUE(holds("%K != %@", {"to.age", 8}, bill));
  EXPECT_FALSE(holds("%K <> %@", {"to.age", 7}, bill));
}

TEST(NSPredicate, AbsentValuesEqualNull) {
  EXPECT_TRUE(holds("%K == %@", {"x", NSNull::null()}, NSDictionary::dictionary()));
  EXPECT_TRUE(holds("%K == %@", {"x", NSNull::null()}, NSDictionary{{"x", NSNull::null()}}));
  EXPECT_FALSE(holds("%K == %@", {"x", 0}, NSDictionary::dictionary()));
}

TEST(NSPredicate, RefusesWhatItDoesNotUnderstand) {
  for (const char* format : {"", "%K > %@", "name == 'x'", "%K == %@ AND %K == %@", "TRUEPREDICATE"}) {
    try {
      NSPredicate::predicateWithFormat(format, {"a", 1});
      ADD_FAILURE() << format;
    } catch (const NSException& exception) {
      EXPECT_EQ(exception.name(), "NSInvalidArgumentException");
      EXPECT_EQ(exception.reason().utf8(), "Unable to parse the format string \"" + std::string(format) + "\"");
    }
  }
  EXPECT_THROW(NSPredicate::predicateWithFormat("%K == %@", {"a"}), NSException);
  EXPECT_THROW(NSPredicate::predicateWithFormat("%K == %@", {1, 2}), NSException);
  EXPECT_THROW(NSPredicate::predicateWithFormat("%K == %@", nil), NSException);
}

TEST(NSPredicate, AsksItsBlock) {
  const auto positive = NSPredicate::predicateWithBlock([](const Value& v) { return v.toInt() > 0; });
  EXPECT_TRUE(positive->evaluateWithObject(1));
  EXPECT_FALSE(positive->evaluateWithObject(-1));
  EXPECT_FALSE(NSPredicate::predicateWithBlock({})->evaluateWithObject(1));
  EXPECT_TRUE(NSPredicate::predicateWithValue(true)->evaluateWithObject(nil));
  EXPECT_FALSE(NSPredicate::predicateWithValue(false)->evaluateWithObject(1));
}

TEST(NSPredicate, DescribesItself) {
  EXPECT_EQ(NSPredicate::predicateWithFormat("%K=%@", {"a.b", "x"})->description(), "a.b == \"x\"");
  EXPECT_EQ(NSPredicate::predicateWithFormat("%K <> %@", {"n", 1})->description(), "n != 1");
  EXPECT_EQ(NSPredicate::predicateWithBlock({})->description(), "BLOCKPREDICATE");
  EXPECT_EQ(NSPredicate::predicateWithValue(true)->className(), "NSPredicate");
}

TEST(NSPredicate, FiltersArrays) {
  const auto odd = NSPredicate::predicateWithBlock([](const Value& v) { return v.toInt() % 2 != 0; });
  EXPECT_EQ((NSArray{1, 2, 3}).filteredArrayUsingPredicate(odd), (NSArray{1, 3}));
  EXPECT_EQ((NSArray{1}).filteredArrayUsingPredicate(nil), NSArray::array());
  EXPECT_TRUE(NSArray().filteredArrayUsingPredicate(odd).isNil());
  const NSMutableArray list{1, 2};
  list.filterUsingPredicate(odd);
  EXPECT_EQ(list, (NSArray{1}));
}
