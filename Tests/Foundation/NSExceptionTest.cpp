#include "Platform/Foundation/Values/NSException.h"

#include <stdexcept>
#include <string>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSDictionary.h"

using namespace orv;

TEST(NSException, IsCaughtAsAStandardException) {
  try {
    NSException::raise("MyName", "my reason");
  } catch (const std::exception& exception) {
    EXPECT_STREQ(exception.what(), "my reason");
    EXPECT_EQ(detail::describeException(exception), "my reason");
    return;
  }
  FAIL() << "nothing was thrown";
}

TEST(NSException, TravelsAsAValue) {
  const NSException thrown("MyName", "my reason", NSDictionary{{"k", 1}});
  const NSArray list{Value(thrown)};
  const auto back = list[0].as<NSException>();
  EXPECT_EQ(back.name(), "MyName");
  EXPECT_EQ(back.reason(), "my reason");
  EXPECT_EQ(back.userInfo()["k"], Value(1));
  EXPECT_EQ(list[0].className(), "NSException");
  EXPECT_THROW(back.raise(), NSException);
}

TEST(NSException, DescriptionIsTheReasonOrElseTheName) {
  EXPECT_EQ(NSException("N", "reason").description(), "reason");
  EXPECT_EQ(NSException("N", nil).description(), "N");
  EXPECT_STREQ(NSException("N", nil).what(), "N");
  EXPECT_EQ(NSString::stringWithFormat("%@", NSException("N", "reason")), "reason");
}

TEST(NSException, OtherExceptionsAreDescribedByWhatTheySay) {
  EXPECT_EQ(detail::describeException(std::runtime_error("broken")), "broken");
}

TEST(NSException, NilIsSafe) {
  const NSException none;
  EXPECT_TRUE(none.name().isNil());
  EXPECT_TRUE(none.reason().isNil());
  EXPECT_STREQ(none.what(), "");
}

TEST(NSException, NamesHaveTheirTexts) {
  EXPECT_EQ(NSUndefinedKeyException, "NSUnknownKeyException");
  EXPECT_EQ(NSRangeException, "NSRangeException");
  EXPECT_EQ(NSFileHandleOperationException, "NSFileHandleOperationException");
}
