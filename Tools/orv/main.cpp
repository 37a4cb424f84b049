// The library at the shell. Exit status: 0 done, 1 a difference or a failure, 2 bad usage.

#include <exception>

#include "Orvane/OrvLog.h"
#include "Tools/orv/Command.h"
#include "Tools/orv/Output.h"

namespace {

int run(int argc, char** argv) {
  tool::Output output;
  CLI::App program("orv: folders, files, digests and identifiers at the shell");
  program.set_version_flag("--version", "orv 1.0.0");
  program.require_subcommand(1);
  tool::addFolderCommands(program, output);
  tool::addDataCommands(program, output);
  tool::addInfoCommands(program, output);
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? output.finish() : static_cast<int>(tool::Status::Usage);
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
