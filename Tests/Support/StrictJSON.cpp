#include "Tests/Support/StrictJSON.h"

#include <algorithm>
#include <cstdlib>

namespace {

struct Malformed {};

class Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  JSON whole() {
    JSON result = value();
    skipBlanks();
    if (!rest_.empty()) throw Malformed{};
    return result;
  }

 private:
  void skipBlanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size())); }

  bool take(std::string_view token) {
    if (!rest_.starts_with(token)) return false;
    rest_.remove_prefix(token.size());
    return true;
  }

  void need(std::string_view token) {
    skipBlanks();
    if (!take(token)) throw Malformed{};
  }

  char next() {
    if (rest_.empty()) throw Malformed{};
    const char c = rest_.front();
    rest_.remove_prefix(1);
    return c;
  }

  JSON value() {
    skipBlanks();
    if (take("null")) return {nullptr};
    if (take("true")) return {true};
    if (take("false")) return {false};
    if (rest_.starts_with('"')) return {string()};
    if (take("[")) return {array()};
    if (take("{")) return {object()};
    return {number()};
  }

  std::vector<JSON> array() {
    std::vector<JSON> items;
    skipBlanks();
    if (take("]")) return items;
    do {
      items.push_back(value());
      skipBlanks();
    } while (take(","));
    need("]");
    return items;
  }

  std::map<std::string, JSON> object() {
    std::map<std::string, JSON> members;
    skipBlanks();
    if (take("}")) return members;
    do {
      skipBlanks();
      std::string key = string();
      need(":");
      if (!members.emplace(std::move(key), value()).second) throw Malformed{};
      skipBlanks();
    } while (take(","));
    need("}");
    return members;
  }

  size_t digits() {
    const size_t count = std::min(rest_.find_first_not_of("0123456789"), rest_.size());
    if (count == 0) throw Malformed{};
    rest_.remove_prefix(count);
    return count;
  }

  double number() {
    const std::string_view begin = rest_;
    take("-");
    const bool zero = rest_.starts_with('0');
    if (digits() > 1 && zero) throw Malformed{};
    if (take(".")) digits();
    if (take("e") || take("E")) {
      if (!take("+")) take("-");
      digits();
    }
    return std::strtod(std::string(begin.substr(0, begin.size() - rest_.size())).c_str(), nullptr);
  }

  std::string string() {
    need("\"");
    std::string out;
    for (char c = next(); c != '"'; c = next()) {
      if (static_cast<unsigned char>(c) < 0x20) throw Malformed{};
      c == '\\' ? escape(out) : out.push_back(c);
    }
    return out;
  }

  void escape(std::string& out) {
    static constexpr std::string_view kNames = "\"\\/bfnrt";
    static constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
    const char c = next();
    if (c == 'u') return appendUTF8(out, codePoint());
    const size_t at = kNames.find(c);
    if (at == std::string_view::npos) throw Malformed{};
    out += kMeanings[at];
  }

  unsigned unit() {
    unsigned result = 0;
    for (int i = 0; i < 4; ++i) {
      static constexpr std::string_view kDigits = "0123456789abcdef0123456789ABCDEF";
      const size_t digit = kDigits.find(next());
      if (digit == std::string_view::npos) throw Malformed{};
      result = result * 16 + static_cast<unsigned>(digit % 16);
    }
    return result;
  }

  unsigned codePoint() {
    const unsigned high = unit();
    if (high < 0xD800 || high > 0xDBFF) return high;
    if (!take("\\u")) throw Malformed{};
    const unsigned low = unit();
    if (low < 0xDC00 || low > 0xDFFF) throw Malformed{};
    return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
  }

  static void appendUTF8(std::string& out, unsigned point) {
    const auto add = [&](unsigned byte) { out += static_cast<char>(byte); };
    if (point >= 0xDC80 && point <= 0xDCFF) return add(point - 0xDC00);
    if (point < 0x80) return add(point);
    if (point < 0x800) return add(0xC0 | point >> 6), add(0x80 | (point & 0x3F));
    if (point < 0x10000) add(0xE0 | point >> 12);
    if (point >= 0x10000) add(0xF0 | point >> 18), add(0x80 | (point >> 12 & 0x3F));
    add(0x80 | (point >> 6 & 0x3F)), add(0x80 | (point & 0x3F));
  }

  std::string_view rest_;
};

}  // namespace

std::optional<JSON> parseStrictJSON(std::string_view text) {
  try {
    return Reader(text).whole();
  } catch (const Malformed&) {
    return std::nullopt;
  }
}
