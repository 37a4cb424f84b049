#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Orvane/Detail/TreeChecksums.h"
#include "Orvane/Orv.h"
#include "Orvane/OrvLog.h"
#include "Platform/Foundation/Files/FolderWalk.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSSet.h"
#include "Platform/Foundation/Values/NSURL.h"
#include "Tools/orv/Background.h"
#include "Tools/orv/Command.h"
#include "Tools/orv/FileDigest.h"
#include "Tools/orv/FileType.h"
#include "Tools/orv/Output.h"
#include "Tools/orv/Progress.h"

namespace tool {
namespace {

using orv::Value;
using orv::detail::FolderWalk;

std::string below(const std::string& folder, const std::string& path) {
  if (path.empty()) return folder;
  return folder.ends_with('/') ? folder + path : folder + "/" + path;
}

// Tells one line for every folder, and with `files` for every file, that cannot be read: the listings
// themselves leave such items out or count them as empty. False when the root itself cannot be listed.
bool reportUnreadable(const std::string& folder, bool files, Output& output) {
  bool rootReadable = true;
  FolderWalk walk(folder, 0, [&](const std::string& path, int error) {
    if (path.empty()) rootReadable = false;
    output.failWithErrno(below(folder, path), error);
    return true;
  });
  while (const FolderWalk::Item* item = walk.next()) {
    if (!files || item->kind != FolderWalk::Kind::File) continue;
    const std::string name(item->name);
    if (::faccessat(item->folder, name.c_str(), R_OK, AT_EACCESS) != 0)
      output.failWithErrno(below(folder, walk.path()), errno);
  }
  return rootReadable;
}

NSURL folderURL(const std::string& folder) { return NSURL::fileURLWithPath(nameOf(folder), true); }

orv::Ref<NSFileManager> manager() { return NSFileManager::defaultManager(); }

// ---- tree

void runTree(const std::string& folder, Output& output) {
  OrvLogInfo("tree of %@", nameOf(folder));
  if (!reportUnreadable(folder, false, output)) return;
  const NSString tree = manager()->zuListTree(folderURL(folder));
  if (tree.length() > 0) output.writeLine(bytesOf(tree));
}

void addTree(CLI::App& program, Output& output) {
  auto folder = std::make_shared<std::string>();
  CLI::App* command =
      program.add_subcommand("tree", "Print a folder as an indented tree, with the sizes of files");
  command->add_option("FOLDER", *folder, "The folder")->required();
  command->callback([folder, &output] { runTree(*folder, output); });
}

// ---- files

struct FilesOptions {
  std::string folder;
  bool json = false;
};

// The path of an item below the folder that it was listed from.
std::string relativePath(const NSURL& url, const NSURL& folder) {
  const std::string root = bytesOf(folder.path());
  const std::string path = bytesOf(url.path());
  return path.substr(std::min(path.size(), root.size() + (root.ends_with('/') ? 0 : 1)));
}

void addFileRow(Table& table, const NSURL& url, const std::string& relative, const FileDigest& digest) {
  const NSString type = typeOf(url);
  table.add({std::to_string(manager()->zuFileSize(url)), digest.hex, bytesOf(type),
             bytesOf(Orv::mimeForUTI(type)), relative});
}

FileDigest sha256Of(const NSURL& url) {
  return digestFile(bytesOf(url.path()), orv::detail::DigestAlgorithm::SHA256, [](uint64_t) {});
}

void runFiles(const FilesOptions& options, Output& output) {
  OrvLogInfo("files of %@", nameOf(options.folder));
  if (!reportUnreadable(options.folder, false, output)) return;
  const NSURL root = folderURL(options.folder);
  const NSArray files = manager()->zuListAllVisibleFilesInSubFolders(root);
  Progress progress("Reading", files.count());
  Table table({{"size", Table::Align::Right, true}, {"sha256"}, {"type"}, {"mime"}, {"path"}});
  for (const Value& file : files) {
    const auto url = file.as<NSURL>();
    const std::string relative = relativePath(url, root);
    const FileDigest digest = sha256Of(url);
    progress.advance(1);
    if (!digest.ok()) progress.clear();
    if (report(digest, below(options.folder, relative), output)) addFileRow(table, url, relative, digest);
  }
  progress.clear();
  table.print(output, options.json);
  OrvLogInfo("%lu files listed", files.count());
}

void addFiles(CLI::App& program, Output& output) {
  auto options = std::make_shared<FilesOptions>();
  CLI::App* command = program.add_subcommand(
      "files", "Print every visible file of a folder: size, SHA-256, uniform type, MIME type, path");
  command->add_option("FOLDER", options->folder, "The folder")->required();
  command->add_flag("--json", options->json, "Print a JSON array");
  command->callback([options, &output] { runFiles(*options, output); });
}

// ---- checksums

struct ChecksumOptions {
  std::string folder;
  std::optional<std::string> other;
  bool json = false;
};

using Lines = std::vector<std::string>;

// The checksum lines of a folder, sorted; nothing when the folder itself cannot be listed. A file that was
// changed while it was read is told of instead of listed.
std::optional<Lines> checksumsOf(const std::string& folder, Output& output) {
  if (!reportUnreadable(folder, true, output)) return std::nullopt;
  Steps steps;
  std::vector<std::pair<std::string, NSString>> changed;
  NSMutableSet found;
  const auto noteProgress = [&](size_t done, size_t total) {
    steps.total = total;
    steps.done = done;
  };
  const auto read = [&](size_t) {
    found = orv::detail::checksumsOfTree(
        bytesOf(folderURL(folder).path()), noteProgress,
        [&](const std::string& path, const NSString& line) { changed.emplace_back(path, line); });
  };
  runInBackground({"Reading", 1, false, read}, steps, output);
  for (const auto& [path, line] : changed) {
    output.fail(below(folder, path), "the file was changed while it was read");
    found.removeObject(line);
  }
  Lines lines;
  for (const Value& line : found) lines.push_back(bytesOf(line.as<NSString>()));
  std::sort(lines.begin(), lines.end());
  OrvLogInfo("%lu checksums of %@", lines.size(), nameOf(folder));
  return lines;
}

Lines onlyIn(const Lines& these, const Lines& those) {
  Lines result;
  std::set_difference(these.begin(), these.end(), those.begin(), those.end(), std::back_inserter(result));
  return result;
}

void writeJSONArray(const Lines& lines, Output& output) {
  output.write("[");
  for (size_t i = 0; i < lines.size(); ++i) {
    output.write(i == 0 ? "\n  " : ",\n  ");
    output.write(jsonString(lines[i]));
  }
  output.write(lines.empty() ? "]" : "\n]");
}

void printDifference(const Lines& removed, const Lines& added, bool json, Output& output) {
  if (!json) {
    for (const std::string& line : removed) output.writeLine("- " + line);
    for (const std::string& line : added) output.writeLine("+ " + line);
    return;
  }
  output.write("{\"onlyInFirst\": ");
  writeJSONArray(removed, output);
  output.write(", \"onlyInSecond\": ");
  writeJSONArray(added, output);
  output.writeLine("}");
}

void compareChecksums(const Lines& first, const Lines& second, bool json, Output& output) {
  const Lines removed = onlyIn(first, second);
  const Lines added = onlyIn(second, first);
  printDifference(removed, added, json, output);
  if (!removed.empty() || !added.empty()) output.differ();
}

void printChecksums(const Lines& lines, bool json, Output& output) {
  if (!json) {
    for (const std::string& line : lines) output.writeLine(line);
    return;
  }
  writeJSONArray(lines, output);
  output.writeLine("");
}

void runChecksums(const ChecksumOptions& options, Output& output) {
  const auto lines = checksumsOf(options.folder, output);
  if (!options.other) {
    if (lines) printChecksums(*lines, options.json, output);
    return;
  }
  const auto others = checksumsOf(*options.other, output);
  if (lines && others) compareChecksums(*lines, *others, options.json, output);
}

void addChecksums(CLI::App& program, Output& output) {
  auto options = std::make_shared<ChecksumOptions>();
  CLI::App* command = program.add_subcommand(
      "checksums", "Print a line with size and SHA-256 for every file of a folder, or compare two folders");
  command->add_option("FOLDER", options->folder, "The folder")->required();
  command->add_option(
      "--compare", options->other,
      "Print only what differs from this folder (- first, + second), and exit with 1 when anything does");
  command->add_flag("--json", options->json, "Print JSON");
  command->callback([options, &output] { runChecksums(*options, output); });
}

}  // namespace

void addFolderCommands(CLI::App& program, Output& output) {
  addTree(program, output);
  addFiles(program, output);
  addChecksums(program, output);
}

}  // namespace tool
