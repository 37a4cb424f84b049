#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "Orvane/Orv.h"
#include "Orvane/OrvLog.h"
#include "Platform/Foundation/Files/CompareItems.h"
#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Files/ItemPlace.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/System/NSBundle.h"
#include "Platform/Foundation/Values/NSURL.h"
#include "Tools/orv/Command.h"
#include "Tools/orv/Output.h"

namespace tool {
namespace {

namespace fs = std::filesystem;

orv::Ref<NSFileManager> manager() { return NSFileManager::defaultManager(); }

// What went wrong, with the system's reason where the sentence tells none.
std::string reasonOf(const NSError& error) {
  const std::string text = bytesOf(error.localizedDescription());
  const auto cause = error.userInfo()[NSUnderlyingErrorKey].as<NSError>();
  if (error.code() != NSFileWriteUnknownError || cause.isNil()) return text;
  return text + " (" + std::generic_category().message(static_cast<int>(cause.code())) + ")";
}

// ---- folders

struct FoldersOptions {
  std::string identifier = "org.orvane.orv";
  bool make = false;
  bool json = false;
};

void addFolder(Table& table, const char* name, const NSURL& url) { table.add({name, bytesOf(url.path())}); }

NSURL below(const NSURL& folder, const NSString& name) {
  return folder.URLByAppendingPathComponent(name, true);
}

void addStandardFolders(Table& table) {
  addFolder(table, "home", manager()->zuHomeFolder());
  addFolder(table, "documents", manager()->zuDocumentFolder());
  addFolder(table, "downloads", manager()->zuDownloadsFolder());
  addFolder(table, "pictures", manager()->zuPicturesFolder());
  addFolder(table, "library", manager()->zuLibraryFolder());
  addFolder(table, "application support", manager()->zuApplicationSupportFolder());
  addFolder(table, "caches", manager()->zuCachesFolder());
  addFolder(table, "temporary", manager()->temporaryDirectory());
}

// Asking the library for an application's own folders makes them.
void addPrivateFolders(Table& table, bool make) {
  const NSString name = NSFileManager::appSpecificFolderName();
  const NSString identifier = NSBundle::mainBundle()->bundleIdentifier();
  const auto add = [&](const char* label, NSURL (NSFileManager::*made)() const, const NSURL& place) {
    addFolder(table, label, make ? ((*manager()).*made)() : place);
  };
  add("private library", &NSFileManager::zuPrivateLibraryFolder, below(manager()->zuLibraryFolder(), name));
  add("private application support", &NSFileManager::zuPrivateApplicationSupportFolder,
      below(manager()->zuApplicationSupportFolder(), name));
  add("private caches", &NSFileManager::zuPrivateCacheFolder, below(manager()->zuCachesFolder(), identifier));
  add("private temporary", &NSFileManager::zuTempFolder, below(manager()->temporaryDirectory(), name));
}

void runFolders(const FoldersOptions& options, Output& output) {
  NSBundle::mainBundle()->setInfoDictionary(NSDictionary{{"CFBundleIdentifier", nameOf(options.identifier)}});
  Table table({{"folder"}, {"path"}});
  addStandardFolders(table);
  addPrivateFolders(table, options.make);
  table.print(output, options.json);
}

void addFolders(CLI::App& program, Output& output) {
  auto options = std::make_shared<FoldersOptions>();
  CLI::App* command = program.add_subcommand(
      "folders", "Print the user's standard folders and those of an application, its temporary one included");
  command->add_option("--identifier", options->identifier, "The application's identifier (org.orvane.orv)");
  command->add_flag("--make", options->make, "Make the application's folders, too");
  command->add_flag("--json", options->json, "Print a JSON array");
  command->callback([options, &output] { runFolders(*options, output); });
}

// ---- copy, move

struct TransferOptions {
  std::vector<std::string> sources;
  std::string target;
  bool force = false;
};

struct Transfer {
  bool (*run)(const std::string& from, const std::string& to, NSError* error);
  bool (*undo)(const std::string& made, const std::string& from);
};

std::string withoutSlashes(std::string path) {
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

// Where one of the sources goes: exactly to the target, or into it, when there are several or it ends in a
// slash.
std::string placeFor(const std::string& source, const TransferOptions& options) {
  if (options.sources.size() == 1 && !options.target.ends_with('/')) return options.target;
  return (fs::path(options.target) / fs::path(withoutSlashes(source)).filename()).string();
}

bool copyOne(const std::string& from, const std::string& to, NSError* error) {
  return manager()->copyItemAtPath(nameOf(from), nameOf(to), error);
}

bool moveOne(const std::string& from, const std::string& to, NSError* error) {
  return manager()->moveItemAtPath(nameOf(from), nameOf(to), error);
}

constexpr Transfer kCopy{copyOne, [](const std::string& made, const std::string&) {
                           return manager()->removeItemAtPath(nameOf(made));
                         }};
constexpr Transfer kMove{
    moveOne, [](const std::string& made, const std::string& from) { return moveOne(made, from, nullptr); }};

// The item's own place, with the links on the way resolved, but not the item itself.
fs::path placeOf(const std::string& path) {
  std::error_code error;
  const fs::path absolute = fs::absolute(withoutSlashes(path), error);
  const fs::path name = absolute.filename();
  if (name.empty() || name == "." || name == "..") return fs::weakly_canonical(absolute, error);
  return fs::weakly_canonical(absolute.parent_path(), error) / name;
}

// True when removing the target would remove the source or what holds it.
bool holds(const std::string& target, const std::string& source) {
  const std::string outer = placeOf(target).string();
  const std::string inner = placeOf(source).string();
  return inner == outer || inner.starts_with(outer.ends_with('/') ? outer : outer + "/");
}

// True when the source is a link to the target.
bool leadsTo(const std::string& source, const std::string& target) {
  struct stat link, led, item;
  const std::string path = withoutSlashes(source);
  if (::lstat(path.c_str(), &link) != 0 || !S_ISLNK(link.st_mode)) return false;
  return ::stat(path.c_str(), &led) == 0 && ::lstat(withoutSlashes(target).c_str(), &item) == 0 &&
         led.st_dev == item.st_dev && led.st_ino == item.st_ino;
}

bool exists(const std::string& path) {
  struct stat info;
  return ::lstat(path.c_str(), &info) == 0;
}

void removeOld(const std::string& old, const std::string& target, Output& output) {
  NSError error;
  if (!manager()->removeItemAtPath(nameOf(old), &error))
    output.fail(target, "was replaced, but what stood there is left in " + old + ": " + reasonOf(error));
}

// Transfers to a hidden name beside the target, and the two exchange their names: at every moment the whole old
// or the whole new item stands at the target. What cannot be done leaves both as they were.
void transferOver(const Transfer& transfer, const std::string& source, const std::string& target,
                  Output& output) {
  const std::string place = withoutSlashes(target);
  const auto beside = [&](const std::string& name) { return (fs::path(place).parent_path() / name).string(); };
  std::string aside = orv::detail::hiddenName();
  NSError error;
  if (!transfer.run(source, beside(aside), &error)) return output.fail(source, reasonOf(error));
  if (const int number = orv::detail::takeName(aside, orv::detail::ItemPlace(place))) {
    output.failWithErrno(target, number);
    if (!transfer.undo(beside(aside), source)) output.fail(source, "is left in " + beside(aside));
  } else if (!aside.empty()) {
    removeOld(beside(aside), target, output);
  }
}

// Of two files on one volume the one can replace the other in one step.
bool replacesAtOnce(const Transfer& transfer, const std::string& source, const std::string& target) {
  struct stat from, to;
  const std::string a = withoutSlashes(source), b = withoutSlashes(target);
  if (transfer.run != moveOne || ::lstat(a.c_str(), &from) != 0 || ::lstat(b.c_str(), &to) != 0) return false;
  const bool isSame = from.st_dev == to.st_dev && from.st_ino == to.st_ino;  // then nothing would happen
  return !isSame && !S_ISDIR(from.st_mode) && !S_ISDIR(to.st_mode) && ::rename(a.c_str(), b.c_str()) == 0;
}

void runOne(const TransferOptions& options, const Transfer& transfer, const std::string& source,
            const std::string& target, Output& output) {
  OrvLogInfo("from %@ to %@", nameOf(source), nameOf(target));
  const bool replaces = options.force && exists(source) && exists(target);
  if (replaces && holds(target, source))
    return output.fail(target, "replacing it would remove what is to be copied");
  if (replaces && leadsTo(source, target))
    return output.fail(target, "replacing it would remove what the link leads to");
  if (replaces && replacesAtOnce(transfer, source, target)) return;
  if (replaces) return transferOver(transfer, source, target, output);
  NSError error;
  if (!transfer.run(source, target, &error)) output.fail(source, reasonOf(error));
}

// One item after the other; what this run has just made is not replaced.
void runTransfer(const TransferOptions& options, const Transfer& transfer, Output& output) {
  std::set<std::string> taken;
  for (const std::string& source : options.sources) {
    const std::string target = placeFor(source, options);
    if (taken.insert(placeOf(target).string()).second)
      runOne(options, transfer, source, target, output);
    else
      output.fail(source, "another item has just been given the name " + target);
  }
}

void addTransfer(CLI::App& program, const char* name, const char* text, const Transfer& transfer,
                 Output& output) {
  auto options = std::make_shared<TransferOptions>();
  CLI::App* command = program.add_subcommand(name, text);
  command
      ->add_option(
          "FROM... TO", options->sources,
          "The items, and at last the new name; with a slash at its end, or for several items, the folder "
          "they go into")
      ->required()
      ->check(namesSomething())
      ->expected(2, CLI::detail::expected_max_vector_size);
  command->add_flag("--force", options->force, "Replace what has the new name; it stays when that fails");
  command->callback([options, transfer, &output] {
    options->target = options->sources.back();
    options->sources.pop_back();
    runTransfer(*options, transfer, output);
  });
}

// ---- remove

struct RemoveOptions {
  std::vector<std::string> paths;
  bool force = false;
};

void removeOne(const std::string& path, bool force, Output& output) {
  if (path.empty()) return output.fail("''", "an empty path names nothing");
  OrvLogInfo("removing %@", nameOf(path));
  struct stat info;
  const bool isLink = ::lstat(withoutSlashes(path).c_str(), &info) == 0 && S_ISLNK(info.st_mode);
  if (!force && !isLink && holds(path, bytesOf(NSHomeDirectory())))
    return output.fail(path, "the home folder is only removed with --force");
  NSError error;
  if (!manager()->removeItemAtPath(nameOf(path), &error)) output.fail(path, reasonOf(error));
}

void addRemove(CLI::App& program, Output& output) {
  auto options = std::make_shared<RemoveOptions>();
  CLI::App* command = program.add_subcommand(
      "remove", "Remove files, links, and folders with everything in them, without asking");
  command->add_option("PATH", options->paths, "What to remove")->required();
  command->add_flag("--force", options->force, "Even the home folder");
  command->callback([options, &output] {
    for (const std::string& path : options->paths) removeOne(path, options->force, output);
  });
}

// ---- compare

// False, with the reason told, for a place that cannot be reached.
bool check(const std::string& path, const orv::detail::ItemPlace& place, Output& output) {
  struct stat info;
  const int error = place.error() != 0 ? place.error() : place.status(info);
  if (error != 0) output.failWithErrno(path, error);
  return error == 0;
}

void runCompare(const std::string& first, const std::string& second, Output& output) {
  const orv::detail::ItemPlace a(withoutSlashes(first)), b(withoutSlashes(second));
  const bool isThere = check(first, a, output);
  if (!check(second, b, output) || !isThere) return output.exitWith(Status::Trouble);
  bool equal = false;
  const int error = orv::detail::compareItems(a.folder(), a.name(), b.folder(), b.name(), equal);
  if (error != 0) {
    output.failWithErrno(first + " and " + second, error);
    return output.exitWith(Status::Trouble);
  }
  if (equal) return;
  output.writeLine(first + " and " + second + " differ");
  output.differ();
}

void addCompare(CLI::App& program, Output& output) {
  auto paths = std::make_shared<std::pair<std::string, std::string>>();
  CLI::App* command = program.add_subcommand(
      "compare",
      "Compare two files byte by byte, or two folders by names and contents: exit with 1 when they "
      "differ, with 2 when one cannot be read");
  command->add_option("A", paths->first, "A file, a link or a folder")->required()->check(namesSomething());
  command->add_option("B", paths->second, "The other one")->required()->check(namesSomething());
  command->callback([paths, &output] { runCompare(paths->first, paths->second, output); });
}

}  // namespace

void addItemCommands(CLI::App& program, Output& output) {
  addFolders(program, output);
  addTransfer(program, "copy", "Copy files and folders; what is there is not replaced", kCopy, output);
  addTransfer(program, "move", "Move files and folders, between volumes, too; what is there is not replaced",
              kMove, output);
  addRemove(program, output);
  addCompare(program, output);
}

}  // namespace tool
