// The library at the shell. Exit status: 0 done, 1 a difference or a failure, 2 bad usage.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "Orvane/OrvLog.h"
#include "Tools/orv/Command.h"
#include "Tools/orv/Output.h"

namespace {

// Some names of files would be read as something else: "[a,b]" as the two names a and b, and "-x" even behind
// "--" when another name comes before. A zero byte, which no argument can hold, stands in front of them while
// the arguments are parsed.
std::string guarded(std::string_view argument, std::string_view special) {
  const bool isSpecial = !argument.empty() && special.find(argument[0]) != std::string_view::npos;
  return (isSpecial ? std::string(1, '\0') : std::string()).append(argument);
}

std::string unguarded(std::string text) {
  std::erase(text, '\0');
  return text;
}

// In the order in which the parser takes them: the last first.
std::vector<std::string> argumentsOf(int argc, char** argv) {
  std::vector<std::string> arguments;
  bool onlyNames = false;
  for (int i = 1; i < argc; ++i) {
    if (!onlyNames && std::string_view(argv[i]) == "--")
      onlyNames = true;
    else
      arguments.push_back(guarded(argv[i], onlyNames ? "[-" : "["));
  }
  std::reverse(arguments.begin(), arguments.end());
  return arguments;
}

void unguardValues(CLI::App& program) {
  for (CLI::App* command : program.get_subcommands(nullptr)) {
    for (CLI::Option* option : command->get_options())
      if (option->get_items_expected_max() > 0) option->transform(unguarded);
    unguardValues(*command);
  }
}

std::string kindOf(const std::string& word) { return word.starts_with('-') ? "option " : "subcommand "; }

// A first word that is no subcommand would only be told as the lack of one.
int reportUsage(const CLI::App& program, const CLI::ParseError& error) {
  const std::vector<std::string> unknown = program.remaining();
  const bool noCommand = program.get_subcommands().empty() && !unknown.empty();
  const std::string message =
      unguarded(noCommand ? "There is no " + kindOf(unknown[0]) + unknown[0] : error.what());
  std::fprintf(stderr, "orv: %s\nRun orv --help for more information.\n", message.c_str());
  return static_cast<int>(tool::Status::Usage);
}

int run(int argc, char** argv) {
  tool::Output output;
  CLI::App program("orv: folders, files, digests and identifiers at the shell", "orv");
  program.set_version_flag("--version", "orv 1.0.0");
  program.require_subcommand(1);
  tool::addFolderCommands(program, output);
  tool::addItemCommands(program, output);
  tool::addDataCommands(program, output);
  tool::addInfoCommands(program, output);
  tool::addDateCommands(program, output);
  tool::addConvertCommand(program, output);
  tool::addDocumentCommands(program, output);
  tool::addPlaceCommands(program, output);
  tool::addTextCommands(program, output);
  tool::addTaxCommand(program, output);
  tool::addWatchCommand(program, output);
  try {
    unguardValues(program);
    program.parse(argumentsOf(argc, argv));
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) return reportUsage(program, error);
    std::ostringstream text;
    program.exit(error, text);  // the help or the version
    output.write(text.str());
  }
  return output.finish();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "orv: %s\n", exception.what());
    return static_cast<int>(tool::Status::Failed);
  }
}
