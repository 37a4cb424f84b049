#include <memory>
#include <string>
#include <vector>

#include "Orvane/Orv.h"
#include "Orvane/OrvLog.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/System/NSProcessInfo.h"
#include "Platform/Foundation/Values/NSURL.h"
#include "Tools/orv/Command.h"
#include "Tools/orv/FileType.h"
#include "Tools/orv/Output.h"

namespace tool {
namespace {

// ---- type

struct TypeOptions {
  bool json = false;
  std::vector<std::string> files;
};

void runType(const TypeOptions& options, Output& output) {
  Table table({{"file"}, {"type"}, {"mime"}, {"extension"}});
  for (const std::string& file : options.files) {
    const NSString type = typeOf(NSURL::fileURLWithPath(nameOf(file)));
    table.add(
        {file, bytesOf(type), bytesOf(Orv::mimeForUTI(type)), bytesOf(Orv::filenameExtensionForUTI(type))});
  }
  table.print(output, options.json);
}

void addType(CLI::App& program, Output& output) {
  auto options = std::make_shared<TypeOptions>();
  CLI::App* command = program.add_subcommand(
      "type",
      "Print the uniform type, the MIME type and the preferred extension that the names of files stand for");
  command->add_flag("--json", options->json, "Print a JSON array");
  command->add_option("FILE", options->files, "Names of files; they need not exist")->required();
  command->callback([options, &output] { runType(*options, output); });
}

// ---- id

constexpr int kMostIds = 1'000'000;

struct IdOptions {
  bool shortForm = false;
  bool json = false;
  int count = 1;
};

void runId(const IdOptions& options, Output& output) {
  Table table({{"id"}});
  for (int i = 0; i < options.count; ++i)
    table.add({bytesOf(options.shortForm ? Orv::uidShort() : Orv::uid())});
  table.print(output, options.json);
}

void addId(CLI::App& program, Output& output) {
  auto options = std::make_shared<IdOptions>();
  CLI::App* command = program.add_subcommand("id", "Print random unique identifiers");
  command->add_flag("--short", options->shortForm,
                    "26 digits and capital letters instead of 22 URL-safe characters");
  command->add_option("-n,--count", options->count, "How many")
      ->check(CLI::Range(0, kMostIds))
      ->capture_default_str();
  command->add_flag("--json", options->json, "Print a JSON array");
  command->callback([options, &output] { runId(*options, output); });
}

// ---- log

struct LogOptions {
  bool previous = false;
  bool path = false;
};

// The logger itself stays untouched: its first use would rotate the very files that are asked for.
NSString logPath(const LogOptions& options) {
  const NSURL library = NSFileManager::defaultManager()->zuLibraryFolder();
  return library.path()
      .stringByAppendingPathComponent("Logs")
      .stringByAppendingPathComponent(NSProcessInfo::processInfo()->processName())
      .stringByAppendingPathComponent(options.previous ? OrvLogFilePrev : OrvLogFileCurrent);
}

void runLog(const LogOptions& options, Output& output) {
  const NSString path = logPath(options);
  if (options.path) return output.writeLine(bytesOf(path));
  const NSData contents = NSData::dataWithContentsOfFile(path);
  if (contents.isNil()) return output.fail(bytesOf(path), "there is no log yet");
  output.write({reinterpret_cast<const char*>(contents.bytes()), contents.length()});
}

void addLog(CLI::App& program, Output& output) {
  auto options = std::make_shared<LogOptions>();
  CLI::App* command = program.add_subcommand("log", "Print the log of orv's own last run");
  command->add_flag("--previous", options->previous, "The run before that");
  command->add_flag("--path", options->path, "Where the log lies instead of what it says");
  command->callback([options, &output] { runLog(*options, output); });
}

}  // namespace

void addInfoCommands(CLI::App& program, Output& output) {
  addType(program, output);
  addId(program, output);
  addLog(program, output);
}

}  // namespace tool
