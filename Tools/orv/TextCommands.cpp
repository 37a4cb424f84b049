#include <charconv>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSString.h"
#include "Tools/orv/Command.h"
#include "Tools/orv/Input.h"
#include "Tools/orv/Output.h"

namespace tool {
namespace {

// One line for each result, or a JSON array with what they were made from.
class Results {
 public:
  Results(std::vector<Table::Column> columns, bool json) : table_(std::move(columns)), json_(json) {}

  void add(const std::string& input, const NSString& result, Output& output) {
    json_ ? table_.add({input, bytesOf(result)}) : output.writeLine(bytesOf(result));
  }
  void finish(Output& output) {
    if (json_) table_.print(output, true);
  }

 private:
  Table table_;
  bool json_;
};

// ---- name

struct NameOptions {
  bool folder = false;
  bool json = false;
  std::vector<std::string> texts;
};

void runName(const NameOptions& options, Output& output) {
  Results results({{"text"}, {"name"}}, options.json);
  for (const std::string& text : options.texts) {
    const NSString name = options.folder ? nameOf(text).stringBySanitizingFileNameAcceptFolderSlashes()
                                         : nameOf(text).stringBySanitizingFileName();
    name.length() > 0 ? results.add(text, name, output) : output.fail(text, "no name is left of this");
  }
  results.finish(output);
}

void addName(CLI::App& program, Output& output) {
  auto options = std::make_shared<NameOptions>();
  CLI::App* command =
      program.add_subcommand("name", "Turn texts into safe names of files, in plain Latin letters");
  command->add_flag("--folder", options->folder, "Names of folders: a slash stays");
  command->add_flag("--json", options->json, "Print a JSON array");
  command->add_option("TEXT", options->texts, "The texts")->required();
  command->callback([options, &output] { runName(*options, output); });
}

// ---- text

using Operation = NSString (NSString::*)() const;

const std::map<std::string, Operation> kOperations = {
    {"strip", &NSString::strip},         {"collapse", &NSString::collapse},
    {"lines", &NSString::collapseLines}, {"plain", &NSString::stringByTransformingToPlainLatin},
    {"repr", &NSString::repr},           {"escape", &NSString::escape},
    {"url", &NSString::urlEncode},
};

struct TextOptions {
  std::string operation;
  bool json = false;
  std::vector<std::string> texts;
};

// Standard input as one text, without the line end that every file has.
bool readStandardInput(std::vector<std::string>& texts, Output& output) {
  std::string text;
  if (!readAll("-", text, output)) return false;
  if (text.ends_with('\n')) text.pop_back();
  texts.push_back(std::move(text));
  return true;
}

void runText(TextOptions options, Output& output) {
  if (options.texts.empty() && !readStandardInput(options.texts, output)) return;
  const Operation operation = kOperations.at(options.operation);
  Results results({{"text"}, {"result"}}, options.json);
  for (const std::string& text : options.texts) {
    const NSString result = (nameOf(text).*operation)();
    result.isNil() ? output.fail(text, "not valid UTF-8") : results.add(text, result, output);
  }
  results.finish(output);
}

void addText(CLI::App& program, Output& output) {
  auto options = std::make_shared<TextOptions>();
  CLI::App* command = program.add_subcommand("text", "Strip, collapse, transliterate, quote or escape texts");
  command
      ->add_option(
          "OPERATION", options->operation,
          "strip (white space at the ends), collapse (all white space), lines (each line), plain (Latin "
          "letters without accents), repr (in quotes), escape (for HTML) or url (percent escapes)")
      ->required()
      ->check(CLI::IsMember({"strip", "collapse", "lines", "plain", "repr", "escape", "url"}));
  command->add_option("TEXT", options->texts, "The texts; none is standard input, as one text");
  command->add_flag("--json", options->json, "Print a JSON array");
  command->callback([options, &output] { runText(*options, output); });
}

// ---- distance

struct DistanceOptions {
  bool json = false;
  std::string a, b;
};

std::string textOf(double number) {
  char buffer[32];
  return {buffer, std::to_chars(buffer, buffer + sizeof buffer, number).ptr};
}

void runDistance(const DistanceOptions& options, Output& output) {
  const NSString a = nameOf(options.a), b = nameOf(options.b);
  Table table({{"distance", Table::Align::Right, true}, {"quotient", Table::Align::Right, true}});
  table.add({std::to_string(a.computeLevenshteinDistanceWithString(b)),
             textOf(a.computeLevenshteinDistanceQuotientWithString(b))});
  table.print(output, options.json);
}

void addDistance(CLI::App& program, Output& output) {
  auto options = std::make_shared<DistanceOptions>();
  CLI::App* command = program.add_subcommand(
      "distance", "Print how many edits part two texts, and that number divided by their mean length");
  command->add_option("A", options->a, "One text")->required();
  command->add_option("B", options->b, "The other; the distance from or to an empty text is -1")->required();
  command->add_flag("--json", options->json, "Print a JSON array");
  command->callback([options, &output] { runDistance(*options, output); });
}

// ---- query

struct QueryOptions {
  std::string operation;
  bool json = false;
  std::vector<std::string> texts;
};

void buildQuery(const QueryOptions& options, Output& output) {
  const NSMutableDictionary pairs = NSMutableDictionary::dictionary();
  for (const std::string& text : options.texts) {
    const size_t equals = text.find('=');
    if (equals == std::string::npos) return output.fail(text, "not of the form KEY=VALUE");
    const NSString key(std::string_view(text).substr(0, equals)),
        value(std::string_view(text).substr(equals + 1));
    if (key.isNil() || value.isNil()) return output.fail(text, "not valid UTF-8");
    pairs.setObjectForKey(value, key);
  }
  const std::string query = bytesOf(NSString::queryStringWithDictionary(pairs));
  if (!options.json) return output.writeLine(query);
  Table table({{"query"}});
  table.add({query});
  table.print(output, true);
}

void parseQueries(const QueryOptions& options, Output& output) {
  Table table({{"key"}, {"value"}});
  for (const std::string& text : options.texts) {
    try {
      for (const auto& [key, value] : nameOf(text).parseQuery())
        table.add({bytesOf(key.as<NSString>()), bytesOf(value.as<NSString>())});
    } catch (const NSException&) {
      output.fail(text, "a piece without \"=\"");
    }
  }
  table.print(output, options.json);
}

void addQuery(CLI::App& program, Output& output) {
  auto options = std::make_shared<QueryOptions>();
  CLI::App* command = program.add_subcommand("query", "Build or parse the query of a URL");
  command
      ->add_option("OPERATION", options->operation,
                   "build (a query with sorted keys from pairs) or parse (a query into pairs)")
      ->required()
      ->check(CLI::IsMember({"build", "parse"}));
  command->add_option("TEXT", options->texts, "KEY=VALUE pairs to build from, or queries to parse")->required();
  command->add_flag("--json", options->json, "Print a JSON array");
  command->callback([options, &output] {
    options->operation == "build" ? buildQuery(*options, output) : parseQueries(*options, output);
  });
}

}  // namespace

void addTextCommands(CLI::App& program, Output& output) {
  addName(program, output);
  addText(program, output);
  addDistance(program, output);
  addQuery(program, output);
}

}  // namespace tool
