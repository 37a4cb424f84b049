#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

// A reader that takes exactly what RFC 8259 allows and keeps the order of nothing but arrays. Escaped lone
// surrogates from U+DC80 to U+DCFF become the bytes they stand for; other text is UTF-8.
struct JSON {
  std::variant<std::nullptr_t, bool, double, std::string, std::vector<JSON>, std::map<std::string, JSON>> value;

  const std::string& text() const { return std::get<std::string>(value); }
  double number() const { return std::get<double>(value); }
  bool isNull() const { return value.index() == 0; }
  const std::vector<JSON>& items() const { return std::get<std::vector<JSON>>(value); }
  const JSON& operator[](const std::string& key) const {
    return std::get<std::map<std::string, JSON>>(value).at(key);
  }
};

// Nothing when the text is not one JSON value.
std::optional<JSON> parseStrictJSON(std::string_view text);
