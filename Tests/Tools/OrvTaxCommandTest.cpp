#include <cmath>
#include <string>

#include "Tests/Tools/OrvHarness.h"

using testing::HasSubstr;

namespace {

Lines taxLines(Arguments arguments) {
  arguments.insert(arguments.begin(), "tax");
  return linesOf(printed(std::move(arguments)));
}

void expectRefused(Arguments arguments, const std::string& message) {
  const ProcessResult result = runOrv(std::move(arguments));
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.error, message + "\n");
}

}  // namespace

TEST(OrvTax, TheWordSaysWhatTheAmountIs) {
  EXPECT_EQ(taxLines({"--rate", "19", "net", "100"}), Lines{"100.00  19.00  119.00"});
  EXPECT_EQ(taxLines({"--rate", "19", "gross", "119"}), Lines{"100.00  19.00  119.00"});
  EXPECT_EQ(taxLines({"--rate", "19", "tax", "19"}), Lines{"100.00  19.00  119.00"});
}

TEST(OrvTax, EveryAmountIsALine) {
  EXPECT_EQ(taxLines({"--rate", "8.5", "net", "1234.5", "0.99", "+7"}),
            (Lines{"1234.50  104.93  1339.43", "   0.99    0.08     1.07", "   7.00    0.60     7.60"}));
}

TEST(OrvTax, NetAndTaxAddUpToGrossAfterRounding) {
  const JSON table =
      json(printed({"tax", "--rate", "19", "--json", "gross", "0.01", "0.02", "0.03", "9.99", "99.95"}));
  for (const JSON& row : table.items()) {
    const auto cents = [&](const char* key) { return std::lround(std::stod(row[key].text()) * 100); };
    EXPECT_EQ(cents("net") + cents("tax"), cents("gross"));
  }
  EXPECT_EQ(table.items().size(), 5u);
}

TEST(OrvTax, HalvesRoundAwayFromZero) {
  EXPECT_EQ(taxLines({"--rate", "50", "net", "0.01"}), Lines{"0.01  0.01  0.02"});
  EXPECT_EQ(taxLines({"--rate", "50", "net", "--", "-0.01"}), Lines{"-0.01  -0.01  -0.02"});
}

TEST(OrvTax, ReadsAndPrintsADecimalComma) {
  EXPECT_EQ(taxLines({"--rate", "7,5", "--comma", "net", "1234,5"}), Lines{"1234,50  92,59  1327,09"});
}

TEST(OrvTax, PrintsAsManyDigitsAsAsked) {
  EXPECT_EQ(taxLines({"--rate", "19", "--digits", "0", "net", "19.99"}), Lines{"20  4  24"});
  EXPECT_EQ(taxLines({"--rate", "19", "--digits", "4", "net", "19.99"}), Lines{"19.9900  3.7981  23.7881"});
  EXPECT_EQ(runOrv({"tax", "--rate", "19", "--digits", "21", "net", "1"}).exitStatus, 2);
}

TEST(OrvTax, PrintsJSON) {
  const JSON table = json(printed({"tax", "--rate", "19", "--json", "net", "12345678901234567890.10"}));
  EXPECT_EQ(table.items()[0]["net"].text(), "12345678901234567890.10");
  EXPECT_EQ(table.items()[0]["tax"].text(), "2345678991234567899.12");
  EXPECT_EQ(table.items()[0]["gross"].text(), "14691357892469135789.22");
}

TEST(OrvTax, RefusesWhatIsNoAmountAndGoesOn) {
  const ProcessResult result = runOrv({"tax", "--rate", "19", "net", "abc", "1,5", "1.2.3", ".", "", "100"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.output, "100.00  19.00  119.00\n");
  EXPECT_EQ(linesOf(result.error),
            (Lines{"orv: abc: not an amount", "orv: 1,5: not an amount", "orv: 1.2.3: not an amount",
                   "orv: .: not an amount", "orv: : not an amount"}));
  EXPECT_EQ(runOrv({"tax", "--rate", "19", "net", std::string(39, '9')}).exitStatus, 1);
}

TEST(OrvTax, RefusesRatesWithoutAnAnswer) {
  expectRefused({"tax", "--rate", "much", "net", "1"}, "orv: much: not a rate in percent");
  expectRefused({"tax", "--rate", "0", "tax", "1"}, "orv: 0: no amount follows from this rate");
  expectRefused({"tax", "--rate=-100", "gross", "1"}, "orv: -100: no amount follows from this rate");
}

TEST(OrvTax, BadUsageExitsWithTwo) {
  EXPECT_EQ(runOrv({"tax", "--rate", "19", "net"}).exitStatus, 2);
  EXPECT_EQ(runOrv({"tax", "net", "1"}).exitStatus, 2);
  const ProcessResult result = runOrv({"tax", "--rate", "19", "sum", "1"});
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_THAT(result.error, HasSubstr("WHAT"));
}

TEST(OrvTax, DigitsAreTheSameInEveryLocale) {
  Command command = orvCommand({"tax", "--json", "--rate", "19", "net", "10"});
  command.environment.emplace_back("LC_ALL", "ar_EG.UTF-8");
  const ProcessResult result = runProcess(command);
  EXPECT_EQ(result.exitStatus, 0) << result.error;
  EXPECT_EQ(json(result.output).items()[0]["gross"].text(), "11.90");
}
