#include "Platform/Foundation/Files/PackageNames.h"

#include <algorithm>
#include <array>

namespace {

// Sorted, lower-case; `framework` is not among them: it shows as a folder.
constexpr std::array<std::string_view, 45> kExtensions = {"app",
                                                          "appex",
                                                          "band",
                                                          "bundle",
                                                          "component",
                                                          "dext",
                                                          "dist",
                                                          "dsym",
                                                          "fcpbundle",
                                                          "imovielibrary",
                                                          "kext",
                                                          "key",
                                                          "kth",
                                                          "logicx",
                                                          "lpdf",
                                                          "mdimporter",
                                                          "menu",
                                                          "mlpackage",
                                                          "mpkg",
                                                          "nmbtemplate",
                                                          "numbers",
                                                          "pages",
                                                          "photoslibrary",
                                                          "pkg",
                                                          "pkpass",
                                                          "playground",
                                                          "plugin",
                                                          "pluginkit",
                                                          "prefpane",
                                                          "qlgenerator",
                                                          "rtfd",
                                                          "saver",
                                                          "scptd",
                                                          "service",
                                                          "slidesaver",
                                                          "sparsebundle",
                                                          "systemextension",
                                                          "template",
                                                          "theater",
                                                          "wdgt",
                                                          "workflow",
                                                          "xcarchive",
                                                          "xcodeproj",
                                                          "xcworkspace",
                                                          "xpc"};

constexpr size_t kLongest = 15;  // "systemextension"
static_assert(std::ranges::is_sorted(kExtensions));

}  // namespace

bool orv::detail::isPackageName(std::string_view name) noexcept {
  const size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0) return false;
  const std::string_view given = name.substr(dot + 1);
  if (given.empty() || given.size() > kLongest) return false;
  std::array<char, kLongest> lower;
  std::ranges::transform(given, lower.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  const std::string_view extension(lower.data(), given.size());
  return std::ranges::binary_search(kExtensions, extension);
}
