#include "Platform/Foundation/Values/NSDecimalNumber.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "Platform/Foundation/Values/Detail/DecimalRep.h"
#include "Platform/Foundation/Values/NSException.h"

using namespace orv;

namespace {

NSDecimalNumber dec(const char* text) { return NSDecimalNumber::decimalNumberWithString(text); }

std::string textOf(const NSDecimalNumber& n) { return n.description().utf8(); }

// The name under which a calculation raises, "" when it does not.
std::string raisedBy(const std::function<NSDecimalNumber()>& calculate) {
  try {
    calculate();
    return "";
  } catch (const NSException& e) {
    return e.name().utf8();
  }
}

constexpr NSDecimalNumberHandler kSilent =
    NSDecimalNumberHandler::decimalNumberHandlerWithRoundingMode(NSRoundPlain, 2, false, false, false, false);

constexpr const char* kBig = "340282366920938463463374607431768211455";

}  // namespace

TEST(NSDecimalNumber, AmountsOfNineteenDigitsLiveInTheHandle) {
  EXPECT_EQ(dec("18446744073709551615").kind(), Kind::Decimal);
  EXPECT_EQ(dec("-12.34").kind(), Kind::Decimal);
  EXPECT_EQ(dec("1e127").kind(), Kind::Decimal);
  EXPECT_EQ(dec("1e-128").kind(), Kind::Decimal);
  EXPECT_EQ(NSDecimalNumber::notANumber().kind(), Kind::Decimal);
  EXPECT_EQ(dec("18446744073709551616").kind(), Kind::BigDecimal);
  EXPECT_EQ(dec(kBig).kind(), Kind::BigDecimal);
}

TEST(NSDecimalNumber, BoxingKeepsEveryField) {
  for (const char* text :
       {"0", "1", "-1", "12.34", "-0.001", "1e127", "-1e-128", "NaN", "18446744073709551615",
        "18446744073709551616", kBig, "-340282366920938463463374607431768211455", "5e-100"}) {
    const NSDecimal d = NSDecimal::fromText(text);
    const Value boxed = detail::boxDecimal(d);
    EXPECT_EQ(detail::decimalOf(boxed), d) << text;
    EXPECT_EQ(boxed.as<NSDecimalNumber>().decimalValue(), d) << text;
    EXPECT_EQ(textOf(boxed.as<NSDecimalNumber>()), d.text());
  }
  EXPECT_EQ(detail::decimalOf(Value("text")), NSDecimal());
}

TEST(NSDecimalNumber, NilAnswersNeutrally) {
  const NSDecimalNumber none;
  EXPECT_TRUE(none.isNil());
  EXPECT_TRUE(none.decimalNumberByAdding(dec("1")).isNil());
  EXPECT_TRUE(none.decimalNumberBySubtracting(dec("1")).isNil());
  EXPECT_TRUE(none.decimalNumberByMultiplyingBy(dec("1")).isNil());
  EXPECT_TRUE(none.decimalNumberByDividingBy(dec("0")).isNil());
  EXPECT_TRUE(none.decimalNumberByRaisingToPower(2).isNil());
  EXPECT_TRUE(none.decimalNumberByMultiplyingByPowerOf10(2).isNil());
  EXPECT_TRUE(none.decimalNumberByRoundingAccordingToBehavior(kSilent).isNil());
  EXPECT_TRUE(none.description().isNil());
  EXPECT_EQ(none.doubleValue(), 0.0);
}

TEST(NSDecimalNumber, ANilOperandCountsAsZero) {
  EXPECT_EQ(dec("5").decimalNumberByAdding(nil), dec("5"));
  EXPECT_EQ(dec("5").decimalNumberBySubtracting(nil), dec("5"));
  EXPECT_EQ(dec("5").decimalNumberByMultiplyingBy(nil), dec("0"));
  EXPECT_EQ(raisedBy([] { return dec("5").decimalNumberByDividingBy(nil); }),
            "NSDecimalNumberDivideByZeroException");
}

TEST(NSDecimalNumber, ReadsTextsOfEveryKind) {
  EXPECT_EQ(textOf(dec("12abc")), "12");
  EXPECT_EQ(textOf(dec("")), "NaN");
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithString(nil)), "NaN");
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithString(std::u16string_view(u"\u2003 19.99 \u20ac"))),
            "19.99");
}

TEST(NSDecimalNumber, KnowsItsConstants) {
  EXPECT_EQ(textOf(NSDecimalNumber::zero()), "0");
  EXPECT_EQ(textOf(NSDecimalNumber::one()), "1");
  EXPECT_EQ(textOf(NSDecimalNumber::notANumber()), "NaN");
  EXPECT_EQ(textOf(NSDecimalNumber::maximumDecimalNumber()), kBig + std::string(127, '0'));
  EXPECT_EQ(textOf(NSDecimalNumber::minimumDecimalNumber()), "-" + (kBig + std::string(127, '0')));
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithMantissa(1234, -2, true)), "-12.34");
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithMantissa(0, 5, true)), "0");
  EXPECT_EQ(NSDecimalNumber::decimalNumberWithDecimal(NSDecimal::fromInt64(-7)), dec("-7"));
}

TEST(NSDecimalNumber, Calculates) {
  EXPECT_EQ(textOf(dec("0.1").decimalNumberByAdding(dec("0.2"))), "0.3");
  EXPECT_EQ(textOf(dec("10").decimalNumberBySubtracting(dec("0.01"))), "9.99");
  EXPECT_EQ(textOf(dec("19.99").decimalNumberByMultiplyingBy(dec("1.19"))), "23.7881");
  EXPECT_EQ(textOf(dec("10").decimalNumberByDividingBy(dec("4"))), "2.5");
  EXPECT_EQ(textOf(dec("1.1").decimalNumberByRaisingToPower(2)), "1.21");
  EXPECT_EQ(textOf(dec("1234").decimalNumberByMultiplyingByPowerOf10(-2)), "12.34");
}

TEST(NSDecimalNumber, RaisesByDefault) {
  EXPECT_EQ(raisedBy([] { return dec("1e100").decimalNumberByMultiplyingBy(dec("1e100")); }),
            "NSDecimalNumberOverflowException");
  EXPECT_EQ(raisedBy([] { return dec("1e-100").decimalNumberByMultiplyingBy(dec("1e-100")); }),
            "NSDecimalNumberUnderflowException");
  EXPECT_EQ(raisedBy([] { return dec("1").decimalNumberByDividingBy(dec("0")); }),
            "NSDecimalNumberDivideByZeroException");
  EXPECT_EQ(raisedBy([] { return dec("1").decimalNumberByMultiplyingByPowerOf10(128); }),
            "NSDecimalNumberOverflowException");
  EXPECT_EQ(raisedBy([] { return dec("1").decimalNumberByDividingBy(dec("3")); }), "");
  for (const auto operation :
       {&NSDecimalNumber::decimalNumberByAdding, &NSDecimalNumber::decimalNumberBySubtracting,
        &NSDecimalNumber::decimalNumberByMultiplyingBy, &NSDecimalNumber::decimalNumberByDividingBy}) {
    EXPECT_EQ(raisedBy([&] { return (dec("NaN").*operation)(dec("1"), {}); }),
              "NSDecimalNumberOverflowException");
    EXPECT_EQ(raisedBy([&] { return (dec("1").*operation)(dec("NaN"), {}); }),
              "NSDecimalNumberOverflowException");
  }
}

TEST(NSDecimalNumber, RaisesForInexactnessWhenAsked) {
  NSDecimalNumberHandler strict;
  strict.raiseOnExactness = true;
  EXPECT_EQ(raisedBy([&] { return dec("1").decimalNumberByDividingBy(dec("3"), strict); }),
            "NSDecimalNumberExactnessException");
  EXPECT_EQ(raisedBy([&] { return dec("1").decimalNumberByDividingBy(dec("4"), strict); }), "");
}

TEST(NSDecimalNumber, SilentHandlersGiveNotANumber) {
  EXPECT_EQ(textOf(dec("1").decimalNumberByDividingBy(dec("0"), kSilent)), "NaN");
  EXPECT_EQ(textOf(dec("1e100").decimalNumberByMultiplyingBy(dec("1e100"), kSilent)), "NaN");
  EXPECT_EQ(textOf(dec("1e-100").decimalNumberByMultiplyingBy(dec("1e-100"), kSilent)), "NaN");
  EXPECT_EQ(textOf(dec("NaN").decimalNumberByAdding(dec("1"), kSilent)), "NaN");
  EXPECT_EQ(textOf(dec("NaN").decimalNumberByRoundingAccordingToBehavior(kSilent)), "NaN");
}

TEST(NSDecimalNumber, HandlersRoundResultsToTheirScale) {
  EXPECT_EQ(textOf(dec("10").decimalNumberByDividingBy(dec("3"), kSilent)), "3.33");
  EXPECT_EQ(textOf(dec("2.345").decimalNumberByAdding(nil, kSilent)), "2.35");
  EXPECT_EQ(textOf(dec("2.345").decimalNumberByRoundingAccordingToBehavior(kSilent)), "2.35");
  EXPECT_EQ(textOf(dec("-2.345").decimalNumberByRoundingAccordingToBehavior(kSilent)), "-2.35");
  NSDecimalNumberHandler down = kSilent;
  down.roundingMode = NSRoundDown;
  EXPECT_EQ(textOf(dec("-2.341").decimalNumberByRoundingAccordingToBehavior(down)), "-2.35");
  down.scale = NSDecimalNoScale;
  EXPECT_EQ(textOf(dec("-2.341").decimalNumberByRoundingAccordingToBehavior(down)), "-2.341");
}

TEST(NSDecimalNumber, IsANumberAmongNumbers) {
  EXPECT_TRUE(dec("1").isKindOf<NSNumber>());
  EXPECT_FALSE(Value(1).isKindOf<NSDecimalNumber>());
  EXPECT_FALSE(Value(1.5).isKindOf<NSDecimalNumber>());
  EXPECT_EQ(Value(dec("1")), Value(1));
  EXPECT_EQ(Value(dec("1")).hash(), Value(1).hash());
  EXPECT_EQ(Value(dec("0.5")), Value(0.5));
  EXPECT_EQ(Value(dec("0.5")).hash(), Value(0.5).hash());
  EXPECT_EQ(dec(kBig), dec(kBig));
  EXPECT_EQ(Value(dec(kBig)).hash(), Value(dec(kBig)).hash());
  EXPECT_NE(dec(kBig), dec("340282366920938463463374607431768211454"));
  EXPECT_TRUE(dec("0.1") < dec("0.2"));
  EXPECT_TRUE(dec("NaN") < dec("-1e127"));
  EXPECT_EQ(dec("NaN"), dec("NaN"));
  EXPECT_EQ(Value(dec("1")).className(), NSString("NSDecimalNumber"));
}

TEST(NSDecimalNumber, BigAmountsAreShared) {
  const NSDecimalNumber a = dec(kBig);
  NSDecimalNumber b = a;
  EXPECT_TRUE(a.isSame(b));
  const NSDecimalNumber& itself = b;
  b = itself;
  EXPECT_EQ(textOf(b), kBig);
  b = dec("1");
  EXPECT_EQ(textOf(a), kBig);
}
