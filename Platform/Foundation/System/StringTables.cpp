#include "Platform/Foundation/System/StringTables.h"

#include <unicode/uloc.h>

#include <algorithm>
#include <cstdlib>

#include "Platform/Foundation/Files/FileBytes.h"
#include "Platform/Foundation/Serialization/StringsFile.h"
#include "Platform/Foundation/System/NSConsole.h"
#include "Platform/Foundation/Values/NSData.h"

namespace orv::detail {
namespace {

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

// The user's languages, the most wanted first, with colons between them.
std::string userLanguages() {
  std::string locale;
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"})
    if (locale.empty()) locale = variable(name);
  const std::string list = variable("LANGUAGE");
  return list.empty() ? locale : list + ":" + locale;
}

void addOnce(std::vector<std::string>& names, const std::string& name) {
  if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
}

// "zh_Hant" for "zh_TW": the script that is meant where none is named.
std::string withLikelyScript(const std::string& identifier) {
  char full[ULOC_FULLNAME_CAPACITY], language[ULOC_LANG_CAPACITY], script[ULOC_SCRIPT_CAPACITY];
  UErrorCode status = U_ZERO_ERROR;
  uloc_addLikelySubtags(identifier.c_str(), full, sizeof full, &status);
  uloc_getLanguage(full, language, sizeof language, &status);
  uloc_getScript(full, script, sizeof script, &status);
  return U_FAILURE(status) || status == U_STRING_NOT_TERMINATED_WARNING || !*script
             ? std::string()
             : std::string(language) + "_" + script;
}

}  // namespace

std::vector<std::string> languageFolders(const std::string& language) {
  const std::string identifier = language.substr(0, language.find_first_of(".@"));
  constexpr const char* kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-";
  std::vector<std::string> names;
  if (identifier == "C" || identifier == "POSIX" || identifier.find_first_not_of(kPlain) != std::string::npos)
    return names;
  for (std::string name : {identifier, withLikelyScript(identifier)}) {
    std::replace(name.begin(), name.end(), '-', '_');
    addOnce(names, name);
    std::replace(name.begin(), name.end(), '_', '-');
    addOnce(names, name);
  }
  addOnce(names, identifier.substr(0, identifier.find_first_of("_-")));
  return names;
}

NSString StringTables::lookUp(const NSString& key, const NSString& table, const NSString& fallbackLanguage) {
  const std::string languages = userLanguages();
  const std::lock_guard lock(mutex_);
  if (languages != languages_) tables_.clear();
  languages_ = languages;
  for (const NSDictionary& file : filesOf(table.fileSystemRepresentation(), fallbackLanguage.utf8()))
    if (const Value text = file.objectForKey(key)) return text.as<NSString>();
  return nil;
}

const StringTables::Files& StringTables::filesOf(const std::string& table, const std::string& fallback) {
  const auto [known, isNew] = tables_.try_emplace(fallback + "\n" + table);
  if (!isNew) return known->second;
  std::vector<std::string> names;
  std::string languages = languages_ + ":" + fallback;
  for (size_t begin = 0; begin <= languages.size();) {
    const size_t end = std::min(languages.find(':', begin), languages.size());
    for (const std::string& name : languageFolders(languages.substr(begin, end - begin))) addOnce(names, name);
    begin = end + 1;
  }
  addOnce(names, "Base");
  for (const std::string& folder : folders_) {
    for (const std::string& name : names)
      addFile(known->second, folder + "/" + name + ".lproj/" + table + ".strings");
    addFile(known->second, folder + "/" + table + ".strings");
  }
  return known->second;
}

void StringTables::addFile(Files& files, const std::string& path) {
  const auto [file, isNew] = files_.try_emplace(path);
  if (NSData contents; isNew && readFile(path, contents) == 0) {
    const auto* bytes = reinterpret_cast<const char*>(contents.bytes());
    file->second = readStringsFile({bytes, contents.length()});
    if (file->second.isNil())
      consoleWrite(NSString("Not a table of strings: ") + NSString::stringWithFileSystemRepresentation(path));
  }
  if (file->second) files.push_back(file->second);
}

}  // namespace orv::detail
