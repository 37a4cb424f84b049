#include "Platform/Foundation/Values/NSUUID.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "Platform/Foundation/Values/NSData.h"

using namespace orv;

TEST(NSUUID, NilAnswersNeutrally) {
  const NSUUID none;
  EXPECT_TRUE(none.UUIDString().isNil());
  EXPECT_TRUE(none.data().isNil());
  EXPECT_EQ(none.bytes(), NSUUID::Bytes{});
  EXPECT_FALSE(Value(none).isKindOf<NSUUID>());
}

TEST(NSUUID, FreshOnesAreRandomOfVersion4) {
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) {
    const NSUUID uuid = NSUUID::UUID();
    const std::string text = uuid.UUIDString().utf8();
    ASSERT_EQ(text.size(), 36u);
    EXPECT_EQ(text[14], '4');
    EXPECT_NE(std::string("89AB").find(text[19]), std::string::npos);
    EXPECT_TRUE(seen.insert(text).second);
    EXPECT_EQ(NSUUID::initWithUUIDString(text), uuid);
  }
}

TEST(NSUUID, BytesAreInTheOrderOfTheText) {
  const NSUUID uuid = NSUUID::initWithUUIDString("00112233-4455-6677-8899-aabbccddeeff");
  EXPECT_EQ(uuid.UUIDString(), NSString("00112233-4455-6677-8899-AABBCCDDEEFF"));
  EXPECT_EQ(uuid.data().description(), NSString("{length = 16, bytes = 0x00112233445566778899aabbccddeeff}"));
  EXPECT_EQ(uuid.bytes()[15], 0xFF);
  EXPECT_EQ(Value(uuid).description(), uuid.UUIDString());
  EXPECT_EQ(Value(uuid).className(), NSString("NSUUID"));
}

TEST(NSUUID, EqualBytesAreEqual) {
  const NSUUID a = NSUUID::initWithUUIDString("E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
  const NSUUID b = NSUUID::initWithUUIDString("e621e1f8-c36c-495a-93fc-0c247a3e6e5f");
  EXPECT_EQ(a, b);
  EXPECT_EQ(a.hash(), b.hash());
  EXPECT_NE(a, NSUUID::UUID());
  EXPECT_NE(Value(a), Value(a.UUIDString()));
  EXPECT_TRUE(Value(a).isKindOf<NSUUID>());
  EXPECT_EQ(Value(a).as<NSUUID>(), a);
  EXPECT_TRUE(Value("x").as<NSUUID>().isNil());
}

TEST(NSUUID, RefusesEverythingElse) {
  for (const char* text :
       {"", "E621E1F8-C36C-495A-93FC-0C247A3E6E5", "E621E1F8-C36C-495A-93FC-0C247A3E6E5FF",
        "E621E1F8xC36C-495A-93FC-0C247A3E6E5F", "G621E1F8-C36C-495A-93FC-0C247A3E6E5F",
        "{621E1F8-C36C-495A-93FC-0C247A3E6E5F}", "E621E1F8C36C495A93FC0C247A3E6E5F----",
        "E621E1F8-C36C-495A-93FC-0C247A3E6E5\u00e6", "E621E1F8-C36C-495A-93FC-0C247A3E6E5\uff11"})
    EXPECT_TRUE(NSUUID::initWithUUIDString(text).isNil()) << text;
  EXPECT_TRUE(NSUUID::initWithUUIDString(nil).isNil());
}
