#include "Platform/Foundation/Text/Format.h"

#include <clocale>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSNull.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

namespace {

template <class... Args>
std::string text(const NSString& format, const Args&... args) {
  return NSString::stringWithFormat(format, args...).utf8();
}

template <class... Args>
std::string printed(const char* format, Args... args) {
  char room[2000];
  const int length = std::snprintf(room, sizeof room, format, args...);
  return std::string(room, static_cast<size_t>(length));
}

class Named : public NSObject {
 public:
  NSString description() const override { return "named"; }
};

enum class Colour : uint8_t { Red = 7 };

}  // namespace

TEST(Format, ObjectsPrintTheirDescriptions) {
  EXPECT_EQ(text("%@", NSString("caf\u00E9")), "caf\u00E9");
  EXPECT_EQ(text("%@", NSString()), "(null)");
  EXPECT_EQ(text("%@", nil), "(null)");
  EXPECT_EQ(text("%@", Value()), "(null)");
  EXPECT_EQ(text("%@", NSNull::null()), "<null>");
  EXPECT_EQ(text("%@ %@", NSNumber(true), NSNumber(false)), "1 0");
  EXPECT_EQ(text("%@ %@ %@", NSNumber(-12), NSNumber(2.5), NSNumber(UINT64_MAX)),
            "-12 2.5 18446744073709551615");
  EXPECT_EQ(text("%@", NSArray{1, "b"}), "(\n    1,\n    b\n)");
  EXPECT_EQ(text("%@", make<Named>()), "named");
  EXPECT_EQ(text("%@", Ref<Named>()), "(null)");
}

TEST(Format, ExceptionsPrintTheirReasons) {
  EXPECT_EQ(text("%@", NSException("Name", "the reason")), "the reason");
  EXPECT_EQ(text("%@", std::runtime_error("broken")), "broken");
}

TEST(Format, WidthOfAnObjectIsIgnored) { EXPECT_EQ(text("[%5@|%-5@]", NSString("a"), NSString("b")), "[a|b]"); }

TEST(Format, NumbersPrintAsInC) {
  const char* formats[] = {"%d",      "%5d",   "%-5d|", "%05d",   "%+d",   "% d",  "%.3d", "%8.3d",
                           "%-8.3d|", "%+05d", "%.0d",  "%i",     "%u",    "%o",   "%#o",  "%x",
                           "%#x",     "%X",    "%#X",   "%#010x", "%02x",  "%hd",  "%hhd", "%hu",
                           "%hhx",    "%#.5o", "%08X",  "%-#8x|", "%#.0o", "%#.0x"};
  for (const char* format : formats)
    for (const int n : {0, 1, -1, 7, 10, 255, -255, 65536 + 5, INT_MAX, INT_MIN})
      EXPECT_EQ(text(format, n), printed(format, n)) << format << " " << n;
}

TEST(Format, LongNumbersPrintAsInC) {
  const char* formats[] = {"%ld", "%lld", "%qd", "%zd",    "%jd",     "%td",
                           "%lu", "%llx", "%zu", "%+20ld", "%-20lx|", "%020ld"};
  for (const char* format : formats)
    for (const int64_t n : {int64_t{0}, int64_t{-1}, INT64_MAX, INT64_MIN, int64_t{1} << 40})
      EXPECT_EQ(text(format, n), printed(format, n)) << format << " " << n;
}

TEST(Format, AnIntegerWithoutLengthHas32Bits) {
  EXPECT_EQ(text("%d", int64_t{0x1'0000'0005}), "5");
  EXPECT_EQ(text("%d", int64_t{0xFFFF'FFFF}), "-1");
  EXPECT_EQ(text("%u", int64_t{-1}), "4294967295");
  EXPECT_EQ(text("%ld", int64_t{0x1'0000'0005}), "4294967301");
  EXPECT_EQ(text("%ld", -3), "-3");
  EXPECT_EQ(text("%d %d", Colour::Red, true), "7 1");
}

TEST(Format, DoublesPrintAsInC) {
  const char* formats[] = {
      "%f", "%.0f", "%.3f", "%5.1f|", "%-9.2f|", "%09.2f", "%+f",   "% f",    "%F",       "%e",    "%.0e",
      "%E", "%.3e", "%g",   "%.0g",   "%.3g",    "%G",     "%.10g", "%.17g",  "%#g",      "%#.0f", "%#.0e",
      "%a", "%A",   "%.2a", "%20a|",  "%020a|",  "%-20a|", "%+a",   "%.150f", "%30.10e|", "%.1f",  "%.2f"};
  const double numbers[] = {0.0,
                            -0.0,
                            1.0,
                            -1.5,
                            0.5,
                            1.5,
                            2.5,
                            0.0005,
                            0.25,
                            0.1,
                            123456789.125,
                            1e15,
                            1e16,
                            1e22,
                            1e300,
                            5e-324,
                            -2.2250738585072014e-308,
                            1e-5,
                            9.9995,
                            99999.5,
                            999999.5,
                            0.0001,
                            1e100,
                            std::numeric_limits<double>::max(),
                            3.141592653589793};
  for (const char* format : formats)
    for (const double n : numbers) EXPECT_EQ(text(format, n), printed(format, n)) << format << " " << n;
}

TEST(Format, NumbersThatAreNoneHaveNames) {
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(text("%f %f %f", std::nan(""), infinity, -infinity), "nan inf -inf");
  EXPECT_EQ(text("%F %E %G", std::nan(""), infinity, -infinity), "NAN INF -INF");
  EXPECT_EQ(text("%06f|%+f|%-6f|", infinity, infinity, -std::nan("")), "   inf|+inf|nan   |");
  EXPECT_EQ(text("%a", infinity), "inf");
}

TEST(Format, OutputDoesNotDependOnTheLocale) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "C"}) {
    if (!std::setlocale(LC_ALL, name)) continue;
    EXPECT_EQ(text("%.2f %'d %#g %a", 1234.5, 1234567, 1.5, 1.5), "1234.50 1234567 1.50000 0x1.8p+0");
  }
  std::setlocale(LC_ALL, before.c_str());
}

TEST(Format, AllFlagsWidthsAndPrecisionsAgreeWithC) {
  EXPECT_TRUE(rc::check([] {
    std::string format = "%";
    for (const char flag : *rc::gen::container<std::string>(rc::gen::element('-', '+', ' ', '#', '0')))
      format += flag;
    if (*rc::gen::arbitrary<bool>()) format += std::to_string(*rc::gen::inRange(1, 40));
    if (*rc::gen::arbitrary<bool>()) format += "." + std::to_string(*rc::gen::inRange(0, 130));
    const auto n = *rc::gen::arbitrary<int64_t>();
    const auto x = *rc::gen::arbitrary<double>();
    for (const char* ending : {"ld", "lu", "lo", "lx", "lX", "d", "x"})
      RC_ASSERT(text(format + ending, n) == printed((format + ending).c_str(), n));
    for (const char* ending : {"f", "e", "g", "G", "E", "a"})
      RC_ASSERT(text(format + ending, x) == printed((format + ending).c_str(), x));
  }));
}

TEST(Format, TextsAreBytesOrUnits) {
  EXPECT_EQ(text("%s", "plain"), "plain");
  EXPECT_EQ(text("%s", std::string("a\0b", 3)), std::string("a\0b", 3));
  EXPECT_EQ(text("%s", "caf\u00E9"), "caf\u00E9");
  EXPECT_EQ(text("%s", "caf\xE9"), "caf\u00E9");  // no UTF-8: Latin-1
  EXPECT_EQ(text("%s", static_cast<const char*>(nullptr)), "(null)");
  EXPECT_EQ(text("%S", u"\u0416"), "\u0416");
  EXPECT_EQ(text("%S", static_cast<const char16_t*>(nullptr)), "(null)");
  EXPECT_EQ(text("[%6s|%-6s|%.2s]", "abc", "abc", "abc"), "[   abc|abc   |ab]");
  EXPECT_EQ(text("%.4s|%.3s", "caf\u00E9", "\u20AC!"), "caf|\u20AC");
  EXPECT_EQ(text("%3s|", "\u20AC"), "  \u20AC|");
  EXPECT_EQ(text("%.1S|%3S|", u"\u0416x", u"\u0416"), "\u0416|  \u0416|");
}

TEST(Format, CharactersAreUnits) {
  EXPECT_EQ(text("%c%c", 'a', 0xE9), "a\u00E9");
  EXPECT_EQ(text("%C", char16_t{0x20AC}), "\u20AC");
  EXPECT_EQ(text("[%3c|%-3C]", 'x', u'y'), "[  x|y  ]");
  EXPECT_EQ(text("%c", 0x141), "A");
}

TEST(Format, PointersPrintTheirAddress) {
  EXPECT_EQ(text("%p", reinterpret_cast<const void*>(0xAB12)), "0xab12");
  EXPECT_EQ(text("%p", nullptr), "0x0");
  EXPECT_EQ(text("%10p|%-8p|", reinterpret_cast<void*>(0x1), reinterpret_cast<void*>(0x2)),
            "       0x1|0x2     |");
}

TEST(Format, PercentSignsAndTextStand) {
  EXPECT_EQ(text("100%%"), "100%");
  EXPECT_EQ(text("caf\u00E9 \u20AC %d", 1), "caf\u00E9 \u20AC 1");
  EXPECT_EQ(text(""), "");
  EXPECT_EQ(text("%@", NSString("%d %@")), "%d %@");
  EXPECT_EQ(text("\\u%04x", 11), "\\u000b");
}

TEST(Format, StarsTakeArguments) {
  EXPECT_EQ(text("[%*d]", 5, 42), "[   42]");
  EXPECT_EQ(text("[%*d]", -5, 42), "[42   ]");
  EXPECT_EQ(text("[%.*f]", 2, 3.14159), "[3.14]");
  EXPECT_EQ(text("[%.*f]", -1, 3.5), "[3.500000]");
  EXPECT_EQ(text("[%*.*f]", 8, 1, 2.25), "[     2.2]");
}

TEST(Format, PositionsPickArguments) {
  EXPECT_EQ(text("%2$@ %1$@", NSString("a"), NSString("b")), "b a");
  EXPECT_EQ(text("%1$d %1$d", 7), "7 7");
  EXPECT_EQ(text("%2$*1$d|", 6, 42), "    42|");
  EXPECT_EQ(text("%3$@", NSString("a")), "(null)");
}

TEST(Format, MissingArgumentsAreNeutral) {
  EXPECT_EQ(text("%@ %d %s %.1f %x", 1), "1 0 (null) 0.0 0");
  EXPECT_EQ(text("%@ %S %p %*d"), "(null) (null) 0x0 0");
}

TEST(Format, SurplusArgumentsAreIgnored) { EXPECT_EQ(text("%d", 1, 2, NSString("x")), "1"); }

TEST(Format, ArgumentsOfAnotherClassPrintWhatComesClosest) {
  EXPECT_EQ(text("%@ %@ %@", 5, 2.5, "bytes"), "5 2.5 bytes");
  EXPECT_EQ(text("%d %d %d", 2.9, NSNumber(7), NSString("8")), "2 7 0");
  EXPECT_EQ(text("%.1f %.1f %.1f", 3, NSNumber(7), NSString("8")), "3.0 7.0 0.0");
  EXPECT_EQ(text("%s %s %s", NSString("text"), 5, NSString()), "text 5 (null)");
  EXPECT_EQ(text("%d %f", "x", "x"), "0 0.000000");
}

TEST(Format, UnknownConversionsPrintAsTheyStand) {
  EXPECT_EQ(text("%y %d", 1), "%y 1");
  EXPECT_EQ(text("50%"), "50%");
  EXPECT_EQ(text("%-5"), "%-5");
  EXPECT_EQ(text("%n", 1), "%n");
}

TEST(Format, HugeWidthsAreLimited) {
  EXPECT_EQ(text("%99999999999d", 1).size(), 65535u);
  EXPECT_EQ(text("%.99999999999d", 1).size(), 65535u);
  EXPECT_EQ(text("%*d", INT_MAX, 1).size(), 65535u);
  EXPECT_EQ(text("%.65535f", 0.5).size(), 65537u);
}

TEST(Format, FixedDecimalsAreRoundedExactly) {
  EXPECT_TRUE(rc::check([] {
    const auto numerator = *rc::gen::arbitrary<int64_t>();
    const auto shift = *rc::gen::inRange(0, 70);
    const double x = std::ldexp(static_cast<double>(numerator), -shift);
    for (const char* format : {"%.0f", "%.1f", "%.2f", "%.3f", "%.6f", "%.9f", "%.10f"})
      RC_ASSERT(text(format, x) == printed(format, x));
  }));
  for (int i = -4000; i <= 4000; ++i)  // with many ties
    for (const char* format : {"%.0f", "%.1f", "%.2f", "%.3f"})
      ASSERT_EQ(text(format, i / 16.0), printed(format, i / 16.0)) << i;
}

// Bytes beyond ASCII are negative where char is: reading them must not leave the table of letters, which a
// constant expression would refuse.
TEST(Format, NoCharacterBeyondASCIINamesAConversion) {
  constexpr auto letter = [](const auto unit) {
    return detail::ConversionReader<std::remove_const_t<decltype(unit)>>(&unit, &unit + 1).read().letter;
  };
  static_assert(letter('\xE3') == 0 && letter('\x80') == 0 && letter('\xFF') == 0 && letter('d') == 'd');
  static_assert(letter(u'\u00E3') == 0 && letter(u'\u0164') == 0 && letter(u'd') == 'd');
  for (int byte = 128; byte < 256; ++byte) EXPECT_EQ(letter(static_cast<char>(byte)), 0) << byte;
  const detail::FormatArgument seven[] = {7};
  detail::StringBuilder out;
  detail::appendFormat(out, std::string_view("%\u00E3%d"), seven);
  EXPECT_EQ(out.finish(), "%\u00E37");
}

TEST(Format, FormatsAreTextsOrZeroTerminatedBytes) {
  EXPECT_EQ(NSString::stringWithFormat("caf\u00E9 %d", 1),
            NSString::stringWithFormat(NSString("caf\u00E9 %d"), 1));
  EXPECT_TRUE(NSString::stringWithFormat("\xFF %d", 1).isNil());
  EXPECT_TRUE(NSString::stringWithFormat(static_cast<const char*>(nullptr), 1).isNil());
}

TEST(Format, ANilFormatIsNil) { EXPECT_TRUE(NSString::stringWithFormat(nil, 1).isNil()); }

TEST(Format, CheckedFormatsFillInTheSameWay) {
  EXPECT_EQ(detail::formatted("%@ %d %.3f", NSString("a"), 7, 0.5), "a 7 0.500");
  EXPECT_EQ(detail::formatted("nothing"), "nothing");
  EXPECT_EQ(detail::formatted("caf\u00E9 %s", "x"), "caf\u00E9 x");
}
