#include "Platform/Foundation/Values/Fmt.h"

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

TEST(Fmt, PrintsDescriptions) {
  EXPECT_EQ(fmt::format("{} {}", NSString("\u00e9"), NSNumber(1.5)), "\u00e9 1.5");
  EXPECT_EQ(fmt::format("{}", Value(NSArray{1})), "(\n    1\n)");
}

TEST(Fmt, NilPrintsItsPlaceholder) { EXPECT_EQ(fmt::format("{}|{}", Value(), NSString()), "(null)|(null)"); }

TEST(Fmt, TakesTheFormatOfATextAndAlignsByCharacters) {
  EXPECT_EQ(fmt::format("{:>5}|{:<4}|{:.2}", NSString("ab"), NSNumber(7), NSString("xyz")), "   ab|7   |xy");
}
