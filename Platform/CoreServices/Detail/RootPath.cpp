#include "Platform/CoreServices/Detail/RootPath.h"

#include <filesystem>
#include <vector>

namespace orv::detail {

namespace {

namespace fs = std::filesystem;

constexpr int kMostLinks = 40;  // as the kernel follows

// Puts the names of a path on a stack, the first on top.
void pushNames(std::vector<std::string>& names, const fs::path& path) {
  for (auto at = path.end(); at != path.begin();) names.push_back((--at)->string());
}

}  // namespace

std::string resolvedRoot(const std::string& path) {
  std::vector<std::string> names;
  pushNames(names, path);
  std::string result;
  for (int links = 0; !names.empty();) {
    const std::string name = names.back();
    names.pop_back();
    if (name.empty() || name == "." || name == "/") continue;
    if (name == "..") {
      result.resize(result.empty() ? 0 : result.rfind('/'));
      continue;
    }
    std::error_code error;
    const fs::path target = fs::read_symlink(result + "/" + name, error);
    if (error || ++links > kMostLinks) {
      result.append(1, '/').append(name);
      continue;
    }
    if (target.is_absolute()) result.clear();
    pushNames(names, target);
  }
  return result;
}

}  // namespace orv::detail
