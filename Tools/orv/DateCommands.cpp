#include <stdlib.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "Orvane/OrvLog.h"
#include "Platform/Foundation/Dates/NSLocale.h"
#include "Platform/Foundation/Dates/NSTimeZone.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSNumber.h"
#include "Tools/orv/Command.h"
#include "Tools/orv/Output.h"

namespace tool {
namespace {

struct DateOptions {
  std::string zone;
  std::string locale;
  std::string now;
  std::string format;
  bool json = false;
  std::vector<std::string> text;
};

// Which reader took a text, and what it read.
struct Reading {
  const char* reader = nullptr;
  NSDate date;
};

// Readers that refuse a text warn about it; here that is no news.
class QuietLog {
 public:
  QuietLog() : level_(OrvLog::sharedObject()->level()) { OrvLog::sharedObject()->setLevel(OrvLogLevelError); }
  QuietLog(const QuietLog&) = delete;
  QuietLog& operator=(const QuietLog&) = delete;
  ~QuietLog() { OrvLog::sharedObject()->setLevel(level_); }

 private:
  uint64_t level_;
};

// Digits with a sign and a fraction, other than the eight of a day such as 20240229.
bool isTimestamp(const std::string& text) {
  const size_t begin = text.find_first_of("0123456789");
  const bool numeric = begin <= 1 && text.find_first_not_of("0123456789.", begin) == std::string::npos &&
                       (begin == 0 || text[0] == '-' || text[0] == '+');
  return numeric && text.size() != 8;
}

Reading read(const std::string& bytes) {
  const QuietLog quiet;
  const NSString text = NSString::stringWithLossyUTF8(bytes);
  if (const NSDate date = NSDate::zuDateFromJSONString(text)) return {"JSON date", date};
  if (const NSDate date = NSDate::zuDateFromRFC3339String(text)) return {"internet timestamp (RFC 3339)", date};
  if (const NSDate date = NSDate::zuDateFromRFC822String(text)) return {"mail date (RFC 822)", date};
  if (isTimestamp(bytes)) return {"UNIX timestamp", NSDate::zuDateFromUNIXTimestampString(text)};
  if (const NSDate date = NSDate::zuDateFromHumanString(text)) return {"human text", date};
  return {};
}

std::string span(const NSDate& start, const NSDate& end) {
  return bytesOf(start.descriptionDateTime()) + " to " + bytesOf(end.descriptionDateTime());
}

void printForms(const Reading& reading, bool json, Output& output) {
  const NSDate& date = reading.date;
  Table table({{"form"}, {"text"}});
  table.add({"read as", reading.reader});
  table.add({"ISO 8601", bytesOf(date.ISO8601String())});
  table.add({"local time", bytesOf(date.descriptionDateTime())});
  table.add({"UNIX", bytesOf(date.unixTimeStampString())});
  table.add({"day number", std::to_string(date.days())});
  table.add({"distance", bytesOf(date.timeAgoInWords())});
  table.add({"week", std::to_string(date.weekOfYear()) + ", " + span(date.weekStart(), date.weekEnd())});
  table.add({"month", span(date.monthStart(), date.monthEnd())});
  table.add({"year", span(date.yearStart(), date.yearEnd())});
  table.print(output, json);
}

// The zone and the locale are the process's own: everything that dates do goes by them.
bool settle(const DateOptions& options, Output& output) {
  if (!options.zone.empty()) {
    if (NSTimeZone::timeZoneWithName(options.zone).isNil()) {
      output.fail(options.zone, "no such time zone");
      return false;
    }
    ::setenv("TZ", options.zone.c_str(), 1);
  }
  if (!options.locale.empty()) ::setenv("LC_ALL", options.locale.c_str(), 1);
  if (options.now.empty()) return true;
  const Reading now = read(options.now);
  if (now.reader)
    orv::detail::pinNow(now.date.timeIntervalSinceReferenceDate());
  else
    output.fail(options.now, "no date in this text");
  return now.reader != nullptr;
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

void runDate(const DateOptions& options, Output& output) {
  if (!settle(options, output)) return;
  const std::string text = joined(options.text);
  const Reading reading = read(text);
  if (!reading.reader) return output.fail(text, "no date in this text");
  OrvLogInfo("read as %s", reading.reader);
  if (options.format.empty()) return printForms(reading, options.json, output);
  output.writeLine(bytesOf(reading.date.formatDate(options.format, NSLocale::currentLocale())));
}

}  // namespace

void addDateCommands(CLI::App& program, Output& output) {
  auto options = std::make_shared<DateOptions>();
  CLI::App* command = program.add_subcommand(
      "date", "Read a date in any form people and programs write, and print it in every form");
  command->add_option("--zone", options->zone, "The time zone to read and print in, as Europe/Berlin");
  command->add_option("--locale", options->locale, "The locale to read and print in, as de_DE");
  command->add_option("--now", options->now, "The moment to take for now, in any form");
  command->add_option("--format", options->format, "Print only this pattern (Unicode TR35), as yyyy-MM-dd");
  command->add_flag("--json", options->json, "Print a JSON array");
  command->add_option("TEXT", options->text, "The date; several words are one text")->required();
  command->callback([options, &output] { runDate(*options, output); });
}

}  // namespace tool
