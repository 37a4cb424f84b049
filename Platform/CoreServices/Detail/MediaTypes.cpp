#include "Platform/CoreServices/Detail/MediaTypes.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <functional>

#include "Platform/Foundation/Files/FileBytes.h"

namespace orv::detail {
namespace {

std::string lower(std::string_view text) {
  std::string result(text);
  for (char& c : result)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c | 0x20);
  return result;
}

std::string_view cutAt(std::string_view& text, char separator) {
  const size_t end = std::min(text.find(separator), text.size());
  const std::string_view piece = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return piece;
}

void eachLine(std::string_view text, const std::function<void(std::string_view)>& take) {
  while (!text.empty()) {
    const std::string_view line = cutAt(text, '\n');
    if (!line.empty() && line[0] != '#') take(line);
  }
}

std::string environment(const char* name, const std::string& otherwise) {
  const char* value = ::secure_getenv(name);
  return value && *value ? value : otherwise;
}

}  // namespace

std::vector<std::string> MediaTypes::standardFolders() {
  std::vector<std::string> folders{environment("XDG_DATA_HOME", environment("HOME", "") + "/.local/share")};
  const std::string list = environment("XDG_DATA_DIRS", "/usr/local/share:/usr/share");
  for (std::string_view rest = list; !rest.empty();) folders.emplace_back(cutAt(rest, ':'));
  std::erase_if(folders, [](const std::string& folder) { return folder.empty() || folder[0] != '/'; });
  return folders;
}

MediaTypes MediaTypes::readFrom(const std::vector<std::string>& dataFolders) {
  MediaTypes types;
  std::unordered_set<std::string> closed;
  for (const std::string& folder : dataFolders) {
    NSData contents;
    if (readFile(folder + "/mime/globs2", contents) == 0) types.readGlobs(contents.view(), closed);
    if (readFile(folder + "/mime/aliases", contents) == 0) types.readAliases(contents.view());
    if (readFile(folder + "/mime/subclasses", contents) == 0) types.readSubclasses(contents.view());
  }
  return types;
}

// Lines "weight:type:*.extension[:flags]". A type whose glob is __NOGLOBS__ ignores less important folders.
void MediaTypes::readGlobs(std::string_view text, std::unordered_set<std::string>& closed) {
  std::vector<std::string> closedHere;
  const auto keepHeavier = [](auto& map, const std::string& key, std::string value, int weight) {
    const auto [entry, fresh] = map.try_emplace(key, Glob{value, weight});
    if (!fresh && entry->second.weight < weight) entry->second = {std::move(value), weight};
  };
  // Within a folder the heavier glob wins, between folders the more important folder does.
  std::unordered_map<std::string, Glob> typeByExtension, extensionByType;
  eachLine(text, [&](std::string_view line) {
    int weight = 0;
    const std::string_view number = cutAt(line, ':');
    if (std::from_chars(number.data(), number.data() + number.size(), weight).ec != std::errc()) return;
    const std::string type = lower(cutAt(line, ':'));
    const std::string_view glob = cutAt(line, ':');
    if (glob == "__NOGLOBS__") return closedHere.push_back(type);
    const bool caseSensitive = line.find("cs") != std::string_view::npos;
    if (type.empty() || caseSensitive || closed.contains(type) || !glob.starts_with("*.")) return;
    const std::string extension = lower(glob.substr(2));
    if (extension.empty() || extension.find_first_of("*?[") != std::string::npos) return;
    keepHeavier(typeByExtension, extension, type, weight);
    keepHeavier(extensionByType, type, extension, weight);
  });
  typeByExtension_.merge(typeByExtension);
  extensionByType_.merge(extensionByType);
  closed.insert(closedHere.begin(), closedHere.end());
}

void MediaTypes::readAliases(std::string_view text) {
  eachLine(text, [&](std::string_view line) {
    std::string alias = lower(cutAt(line, ' '));
    if (!line.empty()) aliases_.try_emplace(std::move(alias), lower(line));
  });
}

void MediaTypes::readSubclasses(std::string_view text) {
  eachLine(text, [&](std::string_view line) {
    const std::string type = lower(cutAt(line, ' '));
    if (!line.empty()) parents_[type].push_back(lower(line));
  });
}

std::string MediaTypes::typeForExtension(const std::string& extension) const {
  const auto found = typeByExtension_.find(extension);
  return found == typeByExtension_.end() ? std::string() : found->second.value;
}

std::string MediaTypes::extensionForType(const std::string& type) const {
  const auto found = extensionByType_.find(canonical(type));
  return found == extensionByType_.end() ? std::string() : found->second.value;
}

std::string MediaTypes::canonical(const std::string& type) const {
  const auto found = aliases_.find(type);
  return found == aliases_.end() ? type : found->second;
}

std::vector<std::string> MediaTypes::ancestry(const std::string& type) const {
  std::vector<std::string> result{canonical(type)};
  for (size_t i = 0; i < result.size(); ++i) {
    const auto found = parents_.find(result[i]);
    if (found == parents_.end()) continue;
    const std::vector<std::string> parents = found->second;
    for (const std::string& parent : parents)
      if (std::find(result.begin(), result.end(), canonical(parent)) == result.end())
        result.push_back(canonical(parent));
  }
  if (type.starts_with("text/") && std::find(result.begin(), result.end(), "text/plain") == result.end())
    result.emplace_back("text/plain");  // the database leaves this out: it holds for every text
  return result;
}

}  // namespace orv::detail
