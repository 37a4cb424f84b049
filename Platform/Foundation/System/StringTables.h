#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSString.h"

namespace orv::detail {

// The names under which a language's folders may lie, the most exact first: "de_AT", "de-AT", "de" for
// "de_AT.UTF-8". None for "C", "POSIX" and what is no identifier.
ORV_EXPORT std::vector<std::string> languageFolders(const std::string& language);

// The translations in some folders: FOLDER/LANGUAGE.lproj/TABLE.strings for each of the user's languages, from
// LANGUAGE (a list with colons) and the first of LC_ALL, LC_MESSAGES and LANG; then those of the fallback
// language and of Base.lproj; then FOLDER/TABLE.strings. The environment is read in each call, each file once.
// Any thread may call; a lock inside keeps them apart.
class ORV_EXPORT StringTables {
 public:
  explicit StringTables(std::vector<std::string> folders) : folders_(std::move(folders)) {}

  // The text of the first file that has the key; nil when none has.
  NSString lookUp(const NSString& key, const NSString& table, const NSString& fallbackLanguage);

 private:
  using Files = std::vector<NSDictionary>;

  const Files& filesOf(const std::string& table, const std::string& fallback);
  void addFile(Files& files, const std::string& path);

  const std::vector<std::string> folders_;
  std::mutex mutex_;  // guards all below
  std::string languages_;
  std::map<std::string, Files> tables_;        // for those languages: the files of a table in their order
  std::map<std::string, NSDictionary> files_;  // every file that was read; nil for none
};

}  // namespace orv::detail
