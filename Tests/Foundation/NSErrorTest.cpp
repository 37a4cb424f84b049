#include "Platform/Foundation/Values/NSError.h"

#include <cerrno>

#include "Platform/Foundation/Values/NSDictionary.h"

using namespace orv;

TEST(NSError, DescribesDomainCodeAndDetails) {
  const NSError plain = NSError::errorWithDomain("D", 7, nil);
  EXPECT_EQ(plain.description(), "Error Domain=D Code=7 \"(null)\"");
  const NSError detailed =
      NSError::errorWithDomain("D", 7, NSDictionary{{NSLocalizedDescriptionKey, "message"}, {"k", "v"}});
  EXPECT_EQ(detailed.description(),
            "Error Domain=D Code=7 \"message\" UserInfo={NSLocalizedDescription=message, k=v}");
}

TEST(NSError, LocalizedDescriptionFallsBackToReasonThenToCode) {
  EXPECT_EQ(NSError::errorWithDomain("D", 7, NSDictionary{{NSLocalizedDescriptionKey, "message"}})
                .localizedDescription(),
            "message");
  EXPECT_EQ(NSError::errorWithDomain("D", 7, NSDictionary{{NSLocalizedFailureReasonErrorKey, "No luck."}})
                .localizedDescription(),
            "The operation couldn\u2019t be completed. No luck.");
  EXPECT_EQ(NSError::errorWithDomain("D", 7, nil).localizedDescription(),
            "The operation couldn\u2019t be completed. (D error 7.)");
}

TEST(NSError, ComesFromErrno) {
  const NSError error = NSError::errorWithErrno(ENOENT);
  EXPECT_EQ(error.domain(), NSPOSIXErrorDomain);
  EXPECT_EQ(error.code(), 2);
  EXPECT_EQ(error.localizedFailureReason(), "No such file or directory");
}

TEST(NSError, IsEqualByContentAndAValueOfItsOwnKind) {
  const Value a = NSError::errorWithDomain("D", 7, NSDictionary{{"k", 1}});
  const Value b = NSError::errorWithDomain("D", 7, NSDictionary{{"k", 1}});
  EXPECT_EQ(a, b);
  EXPECT_EQ(a.hash(), b.hash());
  EXPECT_NE(a, Value(NSError::errorWithDomain("D", 8, NSDictionary{{"k", 1}})));
  EXPECT_TRUE(a.isKindOf<NSError>());
  EXPECT_EQ(a.className(), "NSError");
  EXPECT_FALSE(Value("x").isKindOf<NSError>());
}

TEST(NSError, NilMeansNoError) {
  const NSError none;
  EXPECT_EQ(none.code(), 0);
  EXPECT_TRUE(none.domain().isNil());
  EXPECT_TRUE(none.userInfo().isNil());
  EXPECT_TRUE(none.localizedDescription().isNil());
}
