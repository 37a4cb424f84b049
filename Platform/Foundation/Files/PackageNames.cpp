#include "Platform/Foundation/Files/PackageNames.h"

#include <algorithm>
#include <array>
#include <vector>

#include "Platform/CoreServices/Detail/ItemType.h"

namespace {

constexpr size_t kLongest = 23;

// An extension, lower-case, filled up with zeros.
using Extension = std::array<char, kLongest + 1>;

Extension folded(std::string_view text) {
  Extension extension{};
  std::ranges::transform(text, extension.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return extension;
}

// The registry's extensions of packages, sorted. Made when the first folder with an extension is seen and never
// torn down.
const std::vector<Extension>& packageExtensions() {
  static const std::vector<Extension>& extensions = *new std::vector<Extension>([] {
    std::vector<Extension> all;
    for (const std::string& text : orv::detail::extensionsOfTypesBelow("com.apple.package"))
      if (text.size() <= kLongest) all.push_back(folded(text));
    std::ranges::sort(all);
    return all;
  }());
  return extensions;
}

}  // namespace

bool orv::detail::isPackageName(std::string_view name) noexcept {
  const size_t dot = name.rfind('.');
  // Behind dots alone stands no extension: a name such as ".app" or "..app" is all name.
  if (dot == std::string_view::npos || name.find_first_not_of('.') >= dot) return false;
  const std::string_view given = name.substr(dot + 1);
  if (given.empty() || given.size() > kLongest) return false;
  return std::ranges::binary_search(packageExtensions(), folded(given));
}
