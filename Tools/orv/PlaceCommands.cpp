#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Orvane/Detail/StorageEvidence.h"
#include "Orvane/OrvLog.h"
#include "Platform/Foundation/Files/FileBytes.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Tools/orv/Command.h"
#include "Tools/orv/Input.h"
#include "Tools/orv/Output.h"

namespace tool {
namespace {

using orv::Value;

orv::Ref<NSFileManager> manager() { return NSFileManager::defaultManager(); }

NSURL urlOf(const std::string& path) { return NSURL::fileURLWithPath(nameOf(path)); }

void failWithError(const std::string& path, const NSError& error, Output& output) {
  output.fail(path, bytesOf(error.localizedDescription()));
}

// ---- where

struct WhereOptions {
  bool json = false;
  std::vector<std::string> paths;
};

void addPlace(Table& table, const std::string& path, const NSURL& url) {
  const std::string managedBy = bytesOf(manager()->zuIsManagedBy(url));
  const auto evidence = orv::detail::storageEvidenceFor(url);
  for (const auto& each : evidence) table.add({path, managedBy, each.service, each.reason});
  if (evidence.empty()) table.add({path, managedBy, managedBy, ""});
}

void runWhere(const WhereOptions& options, Output& output) {
  Table table({{"path"}, {"managedBy"}, {"service"}, {"evidence"}});
  for (const std::string& path : options.paths) {
    NSError error;
    const NSURL url = urlOf(path);
    url.checkResourceIsReachable(&error) ? addPlace(table, path, url) : failWithError(path, error, output);
  }
  table.print(output, options.json);
}

void addWhere(CLI::App& program, Output& output) {
  auto options = std::make_shared<WhereOptions>();
  CLI::App* command = program.add_subcommand(
      "where",
      "Print which service manages a file or folder (- is nobody), and every trace of one that was found");
  command->add_option("PATH", options->paths, "Files and folders")->required()->check(namesSomething());
  command->add_flag("--json", options->json, "Print a JSON array, an object for each trace");
  command->callback([options, &output] { runWhere(*options, output); });
}

// ---- tags

struct TagOptions {
  bool json = false;
  std::string path;
  std::vector<std::string> tags;
};

// False, with the reason told, when they cannot be read.
bool readTags(const std::string& path, std::vector<std::string>& tags, Output& output) {
  Value value;
  NSError error;
  if (!urlOf(path).getResourceValue(NSURLTagNamesKey, &value, &error)) {
    failWithError(path, error, output);
    return false;
  }
  for (const Value& tag : value.as<NSArray>()) tags.push_back(bytesOf(tag.as<NSString>()));
  return true;
}

void writeTags(const std::string& path, const std::vector<std::string>& tags, Output& output) {
  const NSMutableArray names = NSMutableArray::array();
  for (const std::string& tag : tags) names.addObject(nameOf(tag));
  NSError error;
  if (!urlOf(path).setResourceValue(names, NSURLTagNamesKey, &error)) failWithError(path, error, output);
}

void printTags(const TagOptions& options, Output& output) {
  std::vector<std::string> tags;
  if (!readTags(options.path, tags, output)) return;
  if (!options.json) {
    for (const std::string& tag : tags) output.writeLine(tag);
    return;
  }
  output.write("[");
  for (size_t i = 0; i < tags.size(); ++i) output.write((i == 0 ? "" : ", ") + jsonString(tags[i]));
  output.writeLine("]");
}

void addToTags(const TagOptions& options, Output& output) {
  std::vector<std::string> tags;
  if (!readTags(options.path, tags, output)) return;
  tags.insert(tags.end(), options.tags.begin(), options.tags.end());  // one that is there stays once
  writeTags(options.path, tags, output);
}

void removeFromTags(const TagOptions& options, Output& output) {
  std::vector<std::string> tags;
  if (!readTags(options.path, tags, output)) return;
  std::erase_if(tags, [&](const std::string& tag) {
    return std::find(options.tags.begin(), options.tags.end(), tag) != options.tags.end();
  });
  writeTags(options.path, tags, output);
}

void addTagChange(CLI::App& tags, const char* name, const char* help, bool needsTags,
                  void (*run)(const TagOptions&, Output&), Output& output) {
  auto options = std::make_shared<TagOptions>();
  CLI::App* command = tags.add_subcommand(name, help);
  command->add_option("PATH", options->path, "The file or folder")->required()->check(namesSomething());
  command->add_option("TAG", options->tags, "The tags")->required(needsTags);
  command->callback([options, run, &output] { run(*options, output); });
}

void addTags(CLI::App& program, Output& output) {
  auto options = std::make_shared<TagOptions>();
  CLI::App* command = program.add_subcommand(
      "tags", "Print the tags of a file, a line for each; or change them as desktops show them");
  command->add_option("PATH", options->path, "The file or folder");
  command->add_flag("--json", options->json, "Print a JSON array");
  addTagChange(
      *command, "set", "Replace all tags of a file; without any they are removed", false,
      [](const TagOptions& given, Output& out) { writeTags(given.path, given.tags, out); }, output);
  addTagChange(*command, "add", "Add tags to a file", true, addToTags, output);
  addTagChange(*command, "remove", "Remove tags from a file", true, removeFromTags, output);
  command->require_subcommand(0, 1);
  command->callback([command, options, &output] {
    if (!command->get_subcommands().empty()) return;
    if (options->path.empty()) throw CLI::RequiredError("PATH");
    printTags(*options, output);
  });
}

// ---- bookmark

struct BookmarkOptions {
  bool json = false;
  std::string path = "-";
  std::string target;  // "": standard output
};

void makeBookmark(const BookmarkOptions& options, Output& output) {
  NSError error;
  const NSData bookmark = urlOf(options.path).bookmarkDataWithOptions(0, &error);
  if (bookmark.isNil()) return failWithError(options.path, error, output);
  const std::string text = bytesOf(bookmark.base64EncodedString()) + "\n";
  if (options.target.empty()) return output.write(text);
  if (const int number = orv::detail::replaceLinkedFile(options.target, text))
    output.failWithErrno(options.target, number);
}

void resolveBookmark(const BookmarkOptions& options, Output& output) {
  std::string text;
  if (!readAll(options.path, text, output)) return;
  std::erase_if(text, [](char c) { return c == '\n' || c == '\r' || c == ' '; });
  bool stale = false;
  NSError error;
  const NSURL url = NSURL::URLByResolvingBookmarkData(NSData::initWithBase64EncodedString(nameOf(text)),
                                                      NSURLBookmarkResolutionWithoutUI, &stale, &error);
  if (url.isNil()) return failWithError(options.path == "-" ? "standard input" : options.path, error, output);
  const std::string path = url.fileSystemRepresentation();
  if (!options.json) return output.writeLine(path);
  output.writeLine("{\"path\": " + jsonString(path) + ", \"stale\": " + (stale ? "true" : "false") + "}");
}

void addBookmark(CLI::App& program, Output& output) {
  CLI::App* command = program.add_subcommand(
      "bookmark", "Remember a file or folder so that it is found again after it was renamed or moved");
  command->require_subcommand(1);
  auto made = std::make_shared<BookmarkOptions>();
  CLI::App* make = command->add_subcommand("make", "Print a bookmark as Base64");
  make->add_option("PATH", made->path, "The file or folder")->required()->check(namesSomething());
  make->add_option("-o,--output", made->target, "Write it to this file");
  make->callback([made, &output] { makeBookmark(*made, output); });
  auto resolved = std::make_shared<BookmarkOptions>();
  CLI::App* resolve = command->add_subcommand("resolve", "Print where the item of a bookmark is now");
  resolve->add_option("FILE", resolved->path, "The bookmark; - is standard input")->capture_default_str();
  resolve->add_flag("--json", resolved->json,
                    "Print a JSON object that also tells whether it should be made anew");
  resolve->callback([resolved, &output] { resolveBookmark(*resolved, output); });
}

// ---- unused

// A free name in the folder that was given, written as it was.
std::string unusedName(const std::string& path) {
  const NSURL url = urlOf(path);
  const NSURL free = manager()->zuUnusedFileName(url);
  if (free == url) return path;
  const size_t slash = path.rfind('/', path.find_last_not_of('/'));
  return path.substr(0, slash == std::string::npos ? 0 : slash + 1) + bytesOf(free.lastPathComponent());
}

void addUnused(CLI::App& program, Output& output) {
  auto paths = std::make_shared<std::vector<std::string>>();
  CLI::App* command = program.add_subcommand(
      "unused", "Print each name as it is where no file has it, else the next free one: \"name 2.ext\"");
  command->add_option("PATH", *paths, "Names of files")->required()->check(namesSomething());
  command->callback([paths, &output] {
    for (const std::string& path : *paths) output.writeLine(unusedName(path));
  });
}

}  // namespace

void addPlaceCommands(CLI::App& program, Output& output) {
  addWhere(program, output);
  addTags(program, output);
  addBookmark(program, output);
  addUnused(program, output);
}

}  // namespace tool
