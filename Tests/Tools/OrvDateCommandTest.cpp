#include <string>
#include <utility>

#include "Tests/Tools/OrvHarness.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::SizeIs;

namespace {

// The texts that a subcommand prints under their names.
std::map<std::string, std::string> rowsOf(Arguments arguments, const char* name, const char* text) {
  arguments.push_back("--json");
  std::map<std::string, std::string> rows;
  const JSON table = json(printed(std::move(arguments)));
  for (const JSON& row : table.items()) rows[row[name].text()] = row[text].text();
  return rows;
}

std::map<std::string, std::string> formsOf(Arguments arguments) {
  arguments.insert(arguments.begin(), {"date", "--zone", "Europe/Berlin", "--now", "2024-02-29T13:30:00Z"});
  return rowsOf(std::move(arguments), "form", "text");
}

std::map<std::string, std::string> conversionsOf(const std::string& value) {
  return rowsOf({"convert", value}, "conversion", "result");
}

void expectRefused(Arguments arguments, const std::string& message) {
  const ProcessResult result = runOrv(std::move(arguments));
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.error, message + "\n");
}

}  // namespace

TEST(OrvDate, SaysWhichReaderTookTheText) {
  const std::pair<const char*, const char*> cases[] = {
      {"2024-02-29T13:30:00.000Z", "JSON date"},
      {"2003-06-10T04:00:00+02:00", "internet timestamp (RFC 3339)"},
      {"Tue, 10 Jun 2003 04:00:00 GMT", "mail date (RFC 822)"},
      {"1600000000", "UNIX timestamp"},
      {"20240229", "human text"},
      {"see you tomorrow at 5pm", "human text"},
  };
  for (const auto& [text, reader] : cases) EXPECT_EQ(formsOf({text})["read as"], reader) << text;
}

TEST(OrvDate, PrintsEveryForm) {
  auto forms = formsOf({"tomorrow", "at", "5pm"});
  EXPECT_EQ(forms["ISO 8601"], "2024-03-01T16:00:00.000Z");
  EXPECT_EQ(forms["local time"], "2024-03-01 17:00:00");
  EXPECT_EQ(forms["UNIX"], "1709308800");
  EXPECT_EQ(forms["day number"], "20240301");
  EXPECT_EQ(forms["distance"], "1 day");
  EXPECT_EQ(forms["month"], "2024-03-01 00:00:00 to 2024-03-31 23:59:59");
  EXPECT_EQ(forms["year"], "2024-01-01 00:00:00 to 2024-12-31 23:59:59");
  EXPECT_EQ(forms.size(), 9u);
}

TEST(OrvDate, TheLocaleDecidesTheOrderOfDayAndMonth) {
  EXPECT_EQ(formsOf({"--locale", "en_US", "3/4/2024"})["day number"], "20240304");
  EXPECT_EQ(formsOf({"--locale", "en_GB", "3/4/2024"})["day number"], "20240403");
}

TEST(OrvDate, PrintsAPatternInTheLocale) {
  EXPECT_EQ(
      printed({"date", "--zone", "UTC", "--locale", "de_DE", "--format", "EEEE d MMMM yyyy", "1600000000"}),
      "Sonntag 13 September 2020\n");
}

TEST(OrvDate, RefusesWhatItCannotRead) {
  expectRefused({"date", "nothing", "here"}, "orv: nothing here: no date in this text");
  expectRefused({"date", "--zone", "Nowhere/Land", "today"}, "orv: Nowhere/Land: no such time zone");
  expectRefused({"date", "--now", "sometime", "today"}, "orv: sometime: no date in this text");
  EXPECT_EQ(runOrv({"date"}).exitStatus, 2);
}

TEST(OrvConvert, ShowsEveryConversion) {
  auto text = conversionsOf("\"42abc\"");
  EXPECT_EQ(text["kind"], "NSString");
  EXPECT_EQ(text["toInt"], "42");
  EXPECT_EQ(text["toString"], "42abc");
  EXPECT_EQ(text["isTrue"], "true");
  auto number = conversionsOf("12.7");
  EXPECT_EQ(number["toInt"], "12");
  EXPECT_EQ(number["toDecimalNumber"], "12.7");
  EXPECT_EQ(number["toDate"], "1970-01-01 00:00:12 +0000");
  auto null = conversionsOf("null");
  EXPECT_EQ(null["isNotNull"], "false");
  EXPECT_EQ(null["toString"], "\"\"");
  EXPECT_EQ(null["toDate"], "nil");
  EXPECT_EQ(conversionsOf("[1, {\"a\": null}]")["isNotEmpty"], "true");
}

TEST(OrvConvert, RefusesWhatIsNotJSON) {
  expectRefused({"convert", "yes"}, "orv: yes: not valid JSON");
  EXPECT_EQ(runOrv({"convert"}).exitStatus, 2);
}
