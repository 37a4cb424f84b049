#include "Platform/Foundation/Values/Detail/URLRep.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <new>
#include <string>

#include "Platform/Foundation/Values/Detail/Pool.h"

namespace orv::detail {
namespace {

// Where a character may stand.
enum CharacterClass : uint8_t {
  Unreserved = 1,  // letters, digits, - . _ ~
  SubDelimiter = 2,
  Colon = 4,
  At = 8,
  Slash = 16,
  Question = 32,
};

constexpr uint8_t kHostClass = Unreserved | SubDelimiter;
constexpr uint8_t kUserClass = kHostClass | Colon;
constexpr uint8_t kPathClass = kUserClass | At | Slash;
constexpr uint8_t kQueryClass = kPathClass | Question;

constexpr bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isHex(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

constexpr std::array<uint8_t, 256> makeClasses() {
  std::array<uint8_t, 256> classes{};
  for (char c = 1; c < 127; ++c)
    if (isLetter(c) || isDigit(c)) classes[static_cast<uint8_t>(c)] = Unreserved;
  for (char c : std::string_view("-._~")) classes[static_cast<uint8_t>(c)] = Unreserved;
  for (char c : std::string_view("!$&'()*+,;=")) classes[static_cast<uint8_t>(c)] = SubDelimiter;
  classes[':'] = Colon;
  classes['@'] = At;
  classes['/'] = Slash;
  classes['?'] = Question;
  return classes;
}

constexpr std::array<uint8_t, 256> kClasses = makeClasses();

// Every character belongs to the allowed classes or is a % with two hexadecimal digits.
bool consistsOf(std::string_view text, uint8_t allowed) noexcept {
  for (size_t i = 0; i < text.size(); ++i) {
    if (kClasses[static_cast<uint8_t>(text[i])] & allowed) continue;
    if (text[i] != '%' || i + 2 >= text.size() || !isHex(text[i + 1]) || !isHex(text[i + 2])) return false;
    i += 2;
  }
  return true;
}

bool isScheme(std::string_view text) noexcept {
  return !text.empty() && isLetter(text[0]) && std::ranges::all_of(text, [](char c) {
    return isLetter(c) || isDigit(c) || c == '+' || c == '-' || c == '.';
  });
}

// What stands between the brackets of "[::1]": an IPv6 address, or "v1.x" for one of a version to come.
bool isIPLiteral(std::string_view text) noexcept {
  if (text.starts_with('v') || text.starts_with('V')) {
    const size_t dot = text.find('.');
    return dot != std::string_view::npos && dot > 1 && dot + 1 < text.size() &&
           std::ranges::all_of(text.substr(1, dot - 1), isHex) &&
           consistsOf(text.substr(dot + 1), kUserClass) && text.find('%') == std::string_view::npos;
  }
  in6_addr address;
  return text.size() < INET6_ADDRSTRLEN && inet_pton(AF_INET6, std::string(text).c_str(), &address) == 1;
}

// Reads [user[:password]@]host[:port] from text[begin, end).
class AuthorityReader {
 public:
  AuthorityReader(std::string_view text, size_t begin, size_t end, URLParts& parts)
      : text_(text), begin_(begin), end_(end), parts_(parts) {}

  bool read() noexcept { return readUser() && readPort() && readHost(); }

 private:
  std::string_view rest() const { return text_.substr(begin_, end_ - begin_); }
  static URLPart part(size_t begin, size_t end) {
    return {static_cast<uint32_t>(begin), static_cast<uint32_t>(end)};
  }

  bool readUser() noexcept {
    const size_t at = rest().find('@');
    if (at == std::string_view::npos) return true;
    const std::string_view info = rest().substr(0, at);
    const size_t colon = info.find(':');
    parts_.user = part(begin_, begin_ + std::min(colon, at));
    if (colon != std::string_view::npos) parts_.password = part(begin_ + colon + 1, begin_ + at);
    begin_ += at + 1;
    return consistsOf(info, kUserClass);
  }

  bool readPort() noexcept {
    const size_t colon = rest().rfind(':');
    const size_t bracket = rest().rfind(']');
    if (colon == std::string_view::npos || (bracket != std::string_view::npos && colon < bracket)) return true;
    parts_.port = part(begin_ + colon + 1, end_);
    const std::string_view digits = rest().substr(colon + 1);
    end_ = begin_ + colon;
    return std::ranges::all_of(digits, isDigit);
  }

  bool readHost() noexcept {
    const std::string_view host = rest();
    if (host.starts_with('[')) {
      if (host.size() < 2 || !host.ends_with(']')) return false;
      parts_.host = part(begin_ + 1, end_ - 1);
      return isIPLiteral(host.substr(1, host.size() - 2));
    }
    parts_.host = part(begin_, end_);
    return consistsOf(host, kHostClass);
  }

  std::string_view text_;
  size_t begin_;
  size_t end_;
  URLParts& parts_;
};

constexpr size_t before(size_t position, size_t limit) { return std::min(position, limit); }

}  // namespace

bool parseURL(std::string_view text, URLParts& parts) noexcept {
  if (text.empty() || text.size() >= URLPart::kAbsent) return false;
  parts = {};
  const auto part = [](size_t begin, size_t end) {
    return URLPart{static_cast<uint32_t>(begin), static_cast<uint32_t>(end)};
  };

  size_t at = 0;
  const size_t mark = text.find_first_of(":/?#");
  if (mark != std::string_view::npos && text[mark] == ':') {
    // Without a scheme the first segment must not hold a colon, so one here must end a scheme.
    if (!isScheme(text.substr(0, mark))) return false;
    parts.scheme = part(0, mark);
    at = mark + 1;
  }

  const size_t fragment = before(text.find('#', at), text.size());
  if (fragment < text.size()) parts.fragment = part(fragment + 1, text.size());
  const size_t query = before(text.find('?', at), fragment);
  if (query < fragment) parts.query = part(query + 1, fragment);

  if (text.substr(at).starts_with("//")) {
    parts.authority = true;
    const size_t end = before(text.find('/', at + 2), query);
    if (!AuthorityReader(text, at + 2, end, parts).read()) return false;
    at = end;
  }
  parts.path = part(at, query);
  return consistsOf(parts.path.in(text), kPathClass) && consistsOf(parts.query.in(text), kQueryClass) &&
         consistsOf(parts.fragment.in(text), kQueryClass);
}

void destroyURL(HeapObject* object) noexcept {
  auto* rep = static_cast<URLRep*>(object);
  rep->~URLRep();
  poolFree(rep, sizeof(URLRep));
}

size_t hashOfURL(const HeapObject* object) noexcept {
  const auto* rep = static_cast<const URLRep*>(object);
  return rep->text.hash() * 31 + rep->base.hash();
}

bool equalURLs(const HeapObject* a, const HeapObject* b) noexcept {
  const auto* x = static_cast<const URLRep*>(a);
  const auto* y = static_cast<const URLRep*>(b);
  return x->text == y->text && x->base == y->base;
}

}  // namespace orv::detail
