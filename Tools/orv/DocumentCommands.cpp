#include <charconv>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>

#include "Platform/Foundation/Files/FileBytes.h"
#include "Platform/Foundation/Serialization/NSJSONSerialization.h"
#include "Platform/Foundation/Serialization/NSPropertyListSerialization.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSError.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSNumber.h"
#include "Tools/orv/Command.h"
#include "Tools/orv/Input.h"
#include "Tools/orv/Output.h"

namespace tool {
namespace {

using orv::Kind;
using orv::Value;

struct DocumentOptions {
  bool compact = false;
  bool pretty = false;
  bool binary = false;
  std::string path;
  std::string file = "-", other;
  std::string target;  // "": standard output
};

// ---- In and out

std::string shownName(const std::string& file) { return file == "-" ? "standard input" : file; }

// "FILE:LINE:COLUMN" where the error knows them.
void failWithError(const std::string& file, const NSError& error, Output& output) {
  const NSDictionary info = error.userInfo();
  const auto number = [&](const NSString& key) {
    return ":" + std::to_string(info.objectForKey(key).as<NSNumber>().integerValue());
  };
  std::string place = shownName(file);
  if (info.objectForKey(NSJSONSerializationErrorLine))
    place += number(NSJSONSerializationErrorLine) + number(NSJSONSerializationErrorColumn);
  output.fail(place, bytesOf(info.objectForKey(NSDebugDescriptionErrorKey).as<NSString>()));
}

// nil, with the reason told, for what cannot be read.
Value readJSON(const std::string& file, Output& output) {
  std::string contents;
  if (!readAll(file, contents, output)) return orv::nil;
  NSError error;
  Value tree = NSJSONSerialization::JSONObjectWithData(NSData::dataWithBytes(contents),
                                                       NSJSONReadingFragmentsAllowed, &error);
  if (tree.isNil()) failWithError(file, error, output);
  return tree;
}

Value readPropertyList(const std::string& file, Output& output) {
  std::string contents;
  if (!readAll(file, contents, output)) return orv::nil;
  NSError error;
  Value tree =
      NSPropertyListSerialization::propertyListWithData(NSData::dataWithBytes(contents), 0, nullptr, &error);
  if (tree.isNil()) failWithError(file, error, output);
  return tree;
}

// What a link leads to is replaced, not the link.
void writeDocument(std::string_view document, const DocumentOptions& options, Output& output) {
  if (options.target.empty()) return output.write(document);
  if (const int error = orv::detail::replaceLinkedFile(options.target, document))
    output.failWithErrno(options.target, error);
}

// In the order of the document, with a line end.
void writeJSON(const Value& tree, const DocumentOptions& options, Output& output) {
  const NSUInteger form = NSJSONWritingFragmentsAllowed | NSJSONWritingWithoutEscapingSlashes |
                          (options.compact ? NSUInteger{0} : NSUInteger{NSJSONWritingPrettyPrinted});
  NSError error;
  const NSData data = NSJSONSerialization::dataWithJSONObject(tree, form, &error);
  if (data.isNil()) return failWithError(options.file, error, output);
  writeDocument(std::string(data.view()) + "\n", options, output);
}

// ---- json

void runFormat(const DocumentOptions& options, Output& output) {
  const Value tree = readJSON(options.file, output);
  if (tree) writeJSON(tree, options, output);
}

Value elementAt(const NSArray& array, std::string_view index) {
  size_t n = 0;
  const auto [end, error] = std::from_chars(index.data(), index.data() + index.size(), n);
  const bool number = error == std::errc() && end == index.data() + index.size();
  return number && n < array.count() ? array.objectAtIndex(n) : Value();
}

// The value at the end of a path of keys and indices; the empty path is the value itself.
Value valueAt(Value value, std::string_view path) {
  for (size_t begin = 0; !path.empty() && begin <= path.size();) {
    const size_t end = std::min(path.find('.', begin), path.size());
    const std::string_view step = path.substr(begin, end - begin);
    value = value.isKindOf<NSArray>() ? elementAt(value.as<NSArray>(), step)
                                      : value.as<NSDictionary>().objectForKey(nameOf(step));
    begin = end + 1;
  }
  return value;
}

void runGet(const DocumentOptions& options, Output& output) {
  const Value tree = readJSON(options.file, output);
  if (tree.isNil()) return;
  const Value found = valueAt(tree, options.path);
  if (found.isNil()) return output.fail(shownName(options.file), "there is nothing at " + options.path);
  if (found.isKindOf<NSString>()) return writeDocument(bytesOf(found.as<NSString>()) + "\n", options, output);
  writeJSON(found, options, output);
}

// Where two trees differ first, as deep inside as they do; one side is nil where the other has more.
struct Difference {
  std::string path;
  Value a, b;
};

std::string stepInto(const std::string& path, const std::string& step) {
  return path.empty() ? step : path + "." + step;
}

Difference innermost(Difference pair);

Difference innermostOfArrays(const Difference& pair) {
  const NSArray a = pair.a.as<NSArray>(), b = pair.b.as<NSArray>();
  for (NSUInteger i = 0;; ++i) {
    const Value x = i < a.count() ? a.objectAtIndex(i) : Value(),
                y = i < b.count() ? b.objectAtIndex(i) : Value();
    if (!(x == y)) return innermost({stepInto(pair.path, std::to_string(i)), x, y});
  }
}

Difference innermostOfDictionaries(const Difference& pair) {
  const NSDictionary a = pair.a.as<NSDictionary>(), b = pair.b.as<NSDictionary>();
  for (const NSDictionary& keys : {a, b}) {
    for (const auto& [key, unused] : keys) {
      const Value x = a.objectForKey(key), y = b.objectForKey(key);
      if (!(x == y)) return innermost({stepInto(pair.path, bytesOf(key.as<NSString>())), x, y});
    }
  }
  return pair;
}

Difference innermost(Difference pair) {
  if (pair.a.isKindOf<NSArray>() && pair.b.isKindOf<NSArray>()) return innermostOfArrays(pair);
  if (pair.a.isKindOf<NSDictionary>() && pair.b.isKindOf<NSDictionary>()) return innermostOfDictionaries(pair);
  return pair;
}

void runDiff(const DocumentOptions& options, Output& output) {
  const Value a = readJSON(options.file, output), b = readJSON(options.other, output);
  if (a.isNil() || b.isNil() || a == b) return;
  const Difference found = innermost({"", a, b});
  const NSString line = NSString::stringWithFormat("Not deep equal at %@ != %@ [%@ =! %@]", found.a, found.b,
                                                   found.a.className(), found.b.className());
  output.writeLine((found.path.empty() ? "." : found.path) + ": " + bytesOf(line));
  output.differ();
}

void addTarget(CLI::App& command, DocumentOptions& options) {
  command.add_option("-o,--output", options.target, "Write this file, in one step, instead of standard output");
}

void addForms(CLI::App& command, DocumentOptions& options) {
  auto* compact = command.add_flag("--compact", options.compact, "All on one line, without blanks");
  command.add_flag("--pretty", options.pretty, "Indented, one element a line (the default)")->excludes(compact);
  addTarget(command, options);
}

using Run = void (*)(const DocumentOptions&, Output&);

// A subcommand that does its work once its own options are read.
CLI::App* addPart(CLI::App& command, const char* name, const char* description,
                  const std::shared_ptr<DocumentOptions>& options, Run run, Output& output) {
  CLI::App* part = command.add_subcommand(name, description);
  part->callback([options, run, &output] { run(*options, output); });
  return part;
}

void addJSON(CLI::App& program, Output& output) {
  auto options = std::make_shared<DocumentOptions>();
  CLI::App* command = program.add_subcommand("json", "Format JSON, look up values, compare");
  addForms(*command, *options);
  command->add_option("FILE", options->file, "The file; - is standard input")->capture_default_str();
  CLI::App* get =
      addPart(*command, "get", "Print the value at a path; a text without quotes", options, runGet, output);
  get->add_option("PATH", options->path, "Keys and indices joined by periods, as in list.0.name")->required();
  get->add_option("FILE", options->file, "The file; - is standard input")->capture_default_str();
  addForms(*get, *options);
  CLI::App* diff =
      addPart(*command, "diff", "Print the innermost difference of two files; exit 1 if there is one", options,
              runDiff, output);
  diff->add_option("A", options->file, "The one file; - is standard input")->required();
  diff->add_option("B", options->other, "The other file")->required();
  command->callback([command, options, &output] {
    if (command->get_subcommands().empty()) runFormat(*options, output);
  });
}

// ---- plist

// Dates as ISO 8601 text, data as Base64.
Value jsonForm(const Value& value) {
  if (value.isKindOf<NSDate>()) return value.as<NSDate>().ISO8601String();
  if (value.isKindOf<NSData>()) return value.as<NSData>().base64EncodedString();
  if (value.isKindOf<NSArray>()) {
    const NSMutableArray array = NSMutableArray::array();
    for (const Value& element : value.as<NSArray>()) array.addObject(jsonForm(element));
    return array;
  }
  if (!value.isKindOf<NSDictionary>()) return value;
  const NSMutableDictionary dictionary = NSMutableDictionary::dictionary();
  for (const auto& [key, element] : value.as<NSDictionary>())
    dictionary.setObjectForKey(jsonForm(element), key);
  return dictionary;
}

// A number that is not finite raises.
void runToJSON(const DocumentOptions& options, Output& output) {
  const Value tree = readPropertyList(options.file, output);
  if (tree.isNil()) return;
  try {
    writeJSON(jsonForm(tree), options, output);
  } catch (const NSException& exception) {
    output.fail(shownName(options.file), bytesOf(exception.reason()));
  }
}

void runFromJSON(const DocumentOptions& options, Output& output) {
  const Value tree = readJSON(options.file, output);
  if (tree.isNil()) return;
  NSError error;
  const NSData data = NSPropertyListSerialization::dataWithPropertyList(
      tree, options.binary ? NSPropertyListBinaryFormat_v1_0 : NSPropertyListXMLFormat_v1_0, 0, &error);
  data.isNil() ? failWithError(options.file, error, output) : writeDocument(data.view(), options, output);
}

void runPrint(const DocumentOptions& options, Output& output) {
  const Value tree = readPropertyList(options.file, output);
  if (tree) writeDocument(bytesOf(tree.description()) + "\n", options, output);
}

void addPropertyList(CLI::App& program, Output& output) {
  auto options = std::make_shared<DocumentOptions>();
  CLI::App* command = program.add_subcommand("plist", "Print property lists, turn them into JSON and back");
  command->require_subcommand(1);
  CLI::App* toJSON =
      addPart(*command, "to-json", "Dates become ISO 8601 texts, data Base64", options, runToJSON, output);
  addForms(*toJSON, *options);
  CLI::App* fromJSON =
      addPart(*command, "from-json", "Write a property list in XML", options, runFromJSON, output);
  fromJSON->add_flag("--binary", options->binary, "Write the binary form");
  addTarget(*fromJSON, *options);
  CLI::App* print = addPart(*command, "print", "Print what a property list holds", options, runPrint, output);
  addTarget(*print, *options);
  for (CLI::App* part : {toJSON, fromJSON, print})
    part->add_option("FILE", options->file, "The file; - is standard input")->capture_default_str();
}

}  // namespace

void addDocumentCommands(CLI::App& program, Output& output) {
  addJSON(program, output);
  addPropertyList(program, output);
}

}  // namespace tool
