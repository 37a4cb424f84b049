#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "Platform/Foundation/Export.h"

// The machine's database of media types (shared-mime-info): extensions, aliases and what is a kind of what.
// Immutable once read; every text in it is lower-case.
namespace orv::detail {

class ORV_EXPORT MediaTypes {
 public:
  // Reads the "mime" folders below these, the most important first. What is missing or malformed is left out.
  static MediaTypes readFrom(const std::vector<std::string>& dataFolders);
  // $XDG_DATA_HOME and $XDG_DATA_DIRS, or what stands for them.
  static std::vector<std::string> standardFolders();

  // "" where the machine knows nothing.
  std::string typeForExtension(const std::string& extension) const;
  std::string extensionForType(const std::string& type) const;
  // The name under which the database knows the type: itself unless it is an alias.
  std::string canonical(const std::string& type) const;
  // The type itself and all it is a kind of, nearest first.
  std::vector<std::string> ancestry(const std::string& type) const;

 private:
  struct Glob {
    std::string value;
    int weight = 0;
  };

  void readGlobs(std::string_view text, std::unordered_set<std::string>& closed);
  void readAliases(std::string_view text);
  void readSubclasses(std::string_view text);

  std::unordered_map<std::string, Glob> typeByExtension_;
  std::unordered_map<std::string, Glob> extensionByType_;
  std::unordered_map<std::string, std::string> aliases_;
  std::unordered_map<std::string, std::vector<std::string>> parents_;
};

}  // namespace orv::detail
