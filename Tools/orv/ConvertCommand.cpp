#include <charconv>
#include <memory>
#include <string>

#include "Platform/Foundation/Serialization/NSJSONSerialization.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDecimalNumber.h"
#include "Tools/orv/Command.h"
#include "Tools/orv/Output.h"

namespace tool {
namespace {

using orv::Value;

struct ConvertOptions {
  std::string value;
  bool json = false;
};

std::string textOf(bool b) { return b ? "true" : "false"; }
// An empty text shows as a pair of quotes, so that it is seen.
std::string textOf(const Value& v) {
  const std::string text = v.isNil() ? "nil" : bytesOf(v.description());
  return text.empty() ? "\"\"" : text;
}

// The shortest text that reads back as the same number.
template <class T>
std::string textOfNumber(T n) {
  char buffer[64];
  return {buffer, std::to_chars(buffer, buffer + sizeof buffer, n).ptr};
}

void printConversions(const Value& value, bool json, Output& output) {
  Table table({{"conversion"}, {"result"}});
  table.add({"kind", bytesOf(value.className())});
  table.add({"toBool", textOf(value.toBool())});
  table.add({"toInt", textOfNumber(value.toInt())});
  table.add({"toLongLong", textOfNumber(value.toLongLong())});
  table.add({"toUnsignedLongLong", textOfNumber(value.toUnsignedLongLong())});
  table.add({"toFloat", textOfNumber(value.toFloat())});
  table.add({"toDouble", textOfNumber(value.toDouble())});
  table.add({"toDecimalNumber", textOf(value.toDecimalNumber())});
  table.add({"toString", textOf(value.toString())});
  table.add({"toData", textOf(value.toData())});
  table.add({"toDate", textOf(value.toDate())});
  table.add({"isTrue", textOf(value.isTrue())});
  table.add({"isNotEmpty", textOf(value.isNotEmpty())});
  table.add({"isNotNull", textOf(value.isNotNull())});
  table.print(output, json);
}

}  // namespace

void addConvertCommand(CLI::App& program, Output& output) {
  auto options = std::make_shared<ConvertOptions>();
  CLI::App* command = program.add_subcommand("convert", "Show a value, given as JSON, in every conversion");
  command->add_option("VALUE", options->value, "The value: 12, \"text\" in quotes, true, null, [..] or {..}")
      ->required();
  command->add_flag("--json", options->json, "Print a JSON array");
  command->callback([options, &output] {
    const Value value = NSJSONSerialization::JSONObjectWithData(NSData::dataWithBytes(options->value),
                                                                NSJSONReadingFragmentsAllowed);
    if (value.isNil()) return output.fail(options->value, "not valid JSON");
    printConversions(value, options->json, output);
  });
}

}  // namespace tool
