#pragma once

#include <CLI/CLI.hpp>

// The subcommands. Each function declares one or more of them on the program; a subcommand that runs puts its
// failures into the Output, whose `exitStatus` becomes the program's.
namespace tool {

class Output;

// Refuses an empty path, which else would name the folder where the program runs: a variable of a script that
// is not set.
inline CLI::Validator namesSomething() {
  return CLI::Validator(
      [](std::string& path) {
        return path.empty() ? std::string("an empty path names nothing") : std::string();
      },
      "");
}

void addFolderCommands(CLI::App& program, Output& output);    // tree, files, checksums
void addItemCommands(CLI::App& program, Output& output);      // folders, copy, move, remove, compare
void addDataCommands(CLI::App& program, Output& output);      // digest, base64
void addInfoCommands(CLI::App& program, Output& output);      // type, id, log
void addDateCommands(CLI::App& program, Output& output);      // date
void addConvertCommand(CLI::App& program, Output& output);    // convert
void addDocumentCommands(CLI::App& program, Output& output);  // json, plist
void addPlaceCommands(CLI::App& program, Output& output);     // where, tags, bookmark, unused
void addTextCommands(CLI::App& program, Output& output);      // name, text, distance, query
void addTaxCommand(CLI::App& program, Output& output);        // tax
void addWatchCommand(CLI::App& program, Output& output);      // watch

}  // namespace tool
