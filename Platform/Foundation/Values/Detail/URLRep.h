#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Platform/Foundation/Values/Detail/StringRep.h"

// How URLs lie in memory, and the means by which the library's own units read and build them.
namespace orv::detail {

// A part of a URL's text; absent and empty are different ("http://h" has no query, "http://h?" has an empty
// one).
struct URLPart {
  static constexpr uint32_t kAbsent = UINT32_MAX;

  uint32_t begin = kAbsent;
  uint32_t end = kAbsent;

  bool present() const noexcept { return begin != kAbsent; }
  std::string_view in(std::string_view text) const noexcept {
    return present() ? text.substr(begin, end - begin) : std::string_view();
  }
};

// The parts of RFC 3986. The path is always present, if only as the empty text.
struct URLParts {
  URLPart scheme, user, password, host, port, path, query, fragment;

  bool hasAuthority() const noexcept { return authority; }
  // Neither an authority nor a path that begins with a slash: "mailto:a@b.c".
  bool opaque(std::string_view text) const noexcept {
    return scheme.present() && !authority && !path.in(text).starts_with('/');
  }

  bool authority = false;
};

// Reads a URI reference strictly by RFC 3986; false when a character is illegal or misplaced.
bool parseURL(std::string_view text, URLParts& parts) noexcept;

// A URL on the heap: its ASCII text as given, the text's parts, and the URL it is relative to. The base is
// always absolute and has no base of its own.
struct URLRep : HeapObject {
  URLRep(NSString urlText, Value baseURL, const URLParts& urlParts)
      : HeapObject(Kind::URL), text(std::move(urlText)), base(std::move(baseURL)), parts(urlParts) {}

  std::string_view ascii() const noexcept {
    const Units units = unitsOf(text);
    return {static_cast<const char*>(units.data), units.length};
  }
  std::string_view part(const URLPart& p) const noexcept { return p.in(ascii()); }

  NSString text;
  Value base;
  URLParts parts;
};

void destroyURL(HeapObject* rep) noexcept;
size_t hashOfURL(const HeapObject* rep) noexcept;
// The same text and equal bases. Neither case nor escapes are normalised.
bool equalURLs(const HeapObject* a, const HeapObject* b) noexcept;

inline const URLRep* urlRep(const Value& v) noexcept { return static_cast<const URLRep*>(Access::heap(v)); }

}  // namespace orv::detail
