#include "Platform/Foundation/System/NSProcessInfo.h"

#include <stdlib.h>
#include <unistd.h>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSDictionary.h"

using namespace orv;

TEST(NSProcessInfo, IsOneObject) { EXPECT_EQ(NSProcessInfo::processInfo(), NSProcessInfo::processInfo()); }

TEST(NSProcessInfo, NameIsTheExecutablesUntilItIsSet) {
  const Ref<NSProcessInfo> process = NSProcessInfo::processInfo();
  EXPECT_EQ(process->processName(), "NSProcessInfoTest");
  process->setProcessName("other");
  EXPECT_EQ(process->processName(), "other");
  process->setProcessName(nil);
  EXPECT_EQ(process->processName(), "NSProcessInfoTest");
}

TEST(NSProcessInfo, ArgumentsBeginWithTheProgram) {
  const NSArray arguments = NSProcessInfo::processInfo()->arguments();
  ASSERT_GE(arguments.count(), 1u);
  EXPECT_EQ(arguments[0].as<NSString>().lastPathComponent(), "NSProcessInfoTest");
  EXPECT_TRUE(NSProcessInfo::processInfo()->executablePath().hasSuffix("/NSProcessInfoTest"));
}

TEST(NSProcessInfo, EnvironmentIsReadAtEachCall) {
  ::setenv("ORV_TEST_VALUE", "a=b", 1);
  EXPECT_EQ(NSProcessInfo::processInfo()->environment()["ORV_TEST_VALUE"], Value("a=b"));
  EXPECT_EQ(detail::environmentValue("ORV_TEST_VALUE"), "a=b");
  ::setenv("ORV_TEST_VALUE", "\xFF", 1);
  EXPECT_EQ(detail::environmentValue("ORV_TEST_VALUE").fileSystemRepresentation(), "\xFF");
  ::unsetenv("ORV_TEST_VALUE");
  EXPECT_TRUE(NSProcessInfo::processInfo()->environment()["ORV_TEST_VALUE"].isNil());
  EXPECT_TRUE(detail::environmentValue("ORV_TEST_VALUE").isNil());
}

TEST(NSProcessInfo, IdentifierIsTheProcess) {
  EXPECT_EQ(NSProcessInfo::processInfo()->processIdentifier(), ::getpid());
}
