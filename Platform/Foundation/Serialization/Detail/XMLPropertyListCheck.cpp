#include "Platform/Foundation/Serialization/Detail/XMLPropertyListCheck.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <vector>

#include "Platform/Foundation/Text/Unicode.h"

namespace orv::detail {
namespace {

enum class Element : uint8_t { Plist, Array, Dict, Key, String, Integer, Real, Date, Data, True, False };
constexpr std::string_view kElementNames[] = {"plist", "array", "dict", "key",  "string", "integer",
                                              "real",  "date",  "data", "true", "false"};

bool isSpace(char c) noexcept { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }

std::string_view trimmed(std::string_view text) noexcept {
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  return text;
}

bool isXMLCharacter(char32_t c) noexcept {
  if (c < 0x20) return c == '\t' || c == '\n' || c == '\r';
  return c <= 0x10FFFF && !isSurrogate(c) && c != 0xFFFE && c != 0xFFFF;
}

// ---- Leaves. Each puts the plain form of a valid text behind `out`.

// Decimal, or hexadecimal without a sign: -2^63 to 2^64 - 1.
bool plainInteger(std::string_view text, std::string& out) {
  const bool negative = text.starts_with('-'), sign = negative || text.starts_with('+');
  const bool hexadecimal = !sign && (text.starts_with("0x") || text.starts_with("0X"));
  text.remove_prefix(hexadecimal ? 2 : sign ? 1 : 0);
  uint64_t n = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), n, hexadecimal ? 16 : 10);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return false;
  if (negative && n > uint64_t{1} << 63) return false;
  out += (negative ? "-" : "") + std::to_string(n);
  return true;
}

bool isInfinityOrNaN(std::string_view text) {
  std::string lower;
  std::transform(text.begin(), text.end(), std::back_inserter(lower),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  if (lower == "nan") return true;
  if (lower.starts_with('+') || lower.starts_with('-')) lower.erase(0, 1);
  return lower == "inf" || lower == "infinity";
}

bool plainReal(std::string_view text, std::string& out) {
  out += text;
  if (isInfinityOrNaN(text)) return true;
  if (text.starts_with("+-")) return false;
  if (text.starts_with('+')) text.remove_prefix(1);
  double n = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), n);
  return error == std::errc() && end == text.data() + text.size() && std::isfinite(n);
}

// "2001-01-01T00:00:00Z", of the calendar of today.
bool plainDate(std::string_view text, std::string& out) {
  constexpr std::string_view kForm = "0000-00-00T00:00:00Z";
  out += text;
  if (text.size() != kForm.size()) return false;
  for (size_t i = 0; i < text.size(); ++i)
    if (kForm[i] == '0' ? !isDigit(text[i]) : text[i] != kForm[i]) return false;
  const auto number = [text](size_t at, size_t length) {
    int n = 0;
    for (size_t i = at; i < at + length; ++i) n = n * 10 + (text[i] - '0');
    return n;
  };
  const int year = number(0, 4), month = number(5, 2), day = number(8, 2);
  if (year < 1 || month < 1 || month > 12 || number(11, 2) > 23 || number(14, 2) > 59 || number(17, 2) > 59)
    return false;
  const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return day >= 1 && day <= kDays[month - 1] + (month == 2 && leap ? 1 : 0);
}

// Base64 with blanks anywhere.
bool plainData(std::string_view text, std::string& out) {
  const size_t begin = out.size();
  std::copy_if(text.begin(), text.end(), std::back_inserter(out), [](char c) { return !isSpace(c); });
  std::string_view digits = std::string_view(out).substr(begin);
  if (digits.size() % 4 != 0) return false;
  if (digits.ends_with("=="))
    digits.remove_suffix(2);
  else if (digits.ends_with('='))
    digits.remove_suffix(1);
  return std::all_of(digits.begin(), digits.end(), [](char c) {
    return isDigit(c) || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '+' || c == '/';
  });
}

bool plainLeaf(Element element, std::string_view text, std::string& out) {
  if (element == Element::Data) return plainData(text, out);
  text = trimmed(text);
  switch (element) {
    case Element::Integer: return plainInteger(text, out);
    case Element::Real: return plainReal(text, out);
    case Element::Date: return plainDate(text, out);
    default: return text.empty();  // true and false
  }
}

// ---- The document

class Checker {
 public:
  Checker(std::string_view text, std::string& plain, PropertyListFault& fault)
      : text_(text), plain_(plain), fault_(fault) {}

  bool check() {
    if (!checkCharacters() || !skipProlog()) return false;
    while (!done_)
      if (!readNext()) return false;
    return skipMisc() && (at_ == text_.size() || fail("There is text after the property list"));
  }

 private:
  struct Open {
    Element element;
    bool keyPending = false;  // of a dictionary: its value comes next
    bool filled = false;      // of the plist element: it has its value
  };

  bool fail(const char* complaint) { return fail(complaint, at_); }
  bool fail(const char* complaint, size_t offset) {
    fault_ = {complaint, offset};
    return false;
  }

  std::string_view rest() const noexcept { return text_.substr(at_); }

  bool checkCharacters() {
    const auto wrong = std::find_if(text_.begin(), text_.end(),
                                    [](char c) { return static_cast<uint8_t>(c) < 0x20 && !isSpace(c); });
    if (wrong != text_.end())
      return fail("A control character is not allowed", static_cast<size_t>(wrong - text_.begin()));
    for (const std::string_view none : {"\xEF\xBF\xBE", "\xEF\xBF\xBF"})  // U+FFFE, U+FFFF
      if (const size_t at = text_.find(none); at != std::string_view::npos)
        return fail("A code point that is no character is not allowed", at);
    return true;
  }

  // Past what begins here and ends with `end`.
  bool skipPast(std::string_view end, const char* complaint) {
    const size_t found = text_.find(end, at_);
    if (found == std::string_view::npos) return fail(complaint);
    at_ = found + end.size();
    return true;
  }

  // Blanks, comments and instructions.
  bool skipMisc() {
    for (;;) {
      while (at_ < text_.size() && isSpace(text_[at_])) ++at_;
      if (rest().starts_with("<!--")) {
        if (!skipComment()) return false;
      } else if (rest().starts_with("<?")) {
        if (!skipPast("?>", "An instruction has no end")) return false;
      } else {
        return true;
      }
    }
  }

  bool skipComment() {
    const size_t begin = at_;
    at_ += 4;
    return skipPast("-->", "A comment has no end") || fail("A comment has no end", begin);
  }

  bool skipProlog() {
    if (!skipMisc()) return false;
    if (rest().starts_with("<!DOCTYPE")) {
      const size_t end = text_.find_first_of(">[", at_);
      if (end == std::string_view::npos || text_[end] == '[')
        return fail("A document type of its own is not allowed");
      at_ = end + 1;
    }
    if (!skipMisc()) return false;
    return rest().starts_with("<plist") || fail("There is no plist element");
  }

  // One tag between elements, with all of a leaf.
  bool readNext() {
    if (!skipMisc()) return false;
    if (at_ == text_.size()) return fail("The property list has no end");
    if (text_[at_] != '<') return fail("Text stands where an element is expected");
    return rest().starts_with("</") ? readClosing() : readOpening();
  }

  bool readOpening() {
    const size_t begin = at_++;
    Element element;
    bool empty;
    if (!readName(element) || !readAttributes(empty)) return false;
    if (!takesPlace(element, begin)) return false;
    plain_.append("<").append(name(element)).append(">");
    if (element <= Element::Dict) return open(element, empty, begin);
    if (!empty && !readLeaf(element, begin)) return false;
    if (empty && !plainEmpty(element)) return fail("An element is empty", begin);
    close(element);
    return true;
  }

  static std::string_view name(Element element) { return kElementNames[static_cast<size_t>(element)]; }
  static bool plainEmpty(Element element) { return element < Element::Integer || element > Element::Date; }

  bool readName(Element& element) {
    size_t end = at_;
    while (end < text_.size() && text_[end] >= 'a' && text_[end] <= 'z') ++end;
    const std::string_view word = text_.substr(at_, end - at_);
    const auto* found = std::find(std::begin(kElementNames), std::end(kElementNames), word);
    if (found == std::end(kElementNames)) return fail("There is no such element in property lists");
    element = static_cast<Element>(found - std::begin(kElementNames));
    at_ = end;
    return true;
  }

  // Up to the end of the tag.
  bool readAttributes(bool& empty) {
    const size_t end = text_.find('>', at_);
    if (end == std::string_view::npos) return fail("A tag has no end");
    std::string_view attributes = text_.substr(at_, end - at_);
    empty = attributes.ends_with('/');
    if (empty) attributes.remove_suffix(1);
    const bool apart = attributes.empty() || isSpace(attributes[0]);
    if (!apart || attributes.find('<') != std::string_view::npos || !quotesClose(attributes))
      return fail("A tag is malformed");
    at_ = end + 1;
    return true;
  }

  static bool quotesClose(std::string_view text) {
    char open = 0;
    for (const char c : text) {
      if (open == 0 && (c == '"' || c == '\''))
        open = c;
      else if (c == open)
        open = 0;
    }
    return open == 0;
  }

  // An element is what its container waits for.
  bool takesPlace(Element element, size_t begin) {
    if (open_.empty()) return element == Element::Plist || fail("There is no plist element", begin);
    Open& outer = open_.back();
    if (element == Element::Plist) return fail("A plist element stands within another", begin);
    if (outer.element == Element::Dict) {
      if ((element == Element::Key) == outer.keyPending)
        return fail(outer.keyPending ? "A key has no value" : "A value has no key", begin);
      outer.keyPending = !outer.keyPending;
      return true;
    }
    if (element == Element::Key) return fail("A key stands outside of a dictionary", begin);
    if (outer.filled) return fail("There is a second value", begin);
    outer.filled = outer.element == Element::Plist;
    return true;
  }

  bool open(Element element, bool empty, size_t begin) {
    if (open_.size() > static_cast<size_t>(kDeepestPropertyListTree)) return fail(kTooDeepPropertyList, begin);
    open_.push_back({element});
    return !empty || closeContainer(begin);
  }

  void close(Element element) { plain_.append("</").append(name(element)).append(">"); }

  bool closeContainer(size_t begin) {
    const Open closed = open_.back();
    if (closed.keyPending) return fail("A key has no value", begin);
    if (closed.element == Element::Plist && !closed.filled) return fail("The property list is empty", begin);
    close(closed.element);
    open_.pop_back();
    done_ = open_.empty();
    return true;
  }

  bool readClosing() {
    const size_t begin = at_;
    Element element;
    if (!readClosingTag(element)) return false;
    if (open_.empty() || open_.back().element != element) return fail("A closing tag does not match", begin);
    return closeContainer(begin);
  }

  bool readClosingTag(Element& element) {
    at_ += 2;
    if (!readName(element)) return false;
    while (at_ < text_.size() && isSpace(text_[at_])) ++at_;
    if (at_ == text_.size() || text_[at_] != '>') return fail("A tag is malformed");
    ++at_;
    return true;
  }

  // From behind the opening tag to behind the closing one.
  bool readLeaf(Element element, size_t begin) {
    const bool isText = element == Element::String || element == Element::Key;
    if (isText ? !readText() : !readPlainText(element, begin)) return false;
    const size_t tag = at_;
    Element closed;
    if (!rest().starts_with("</")) return fail("An element stands within a text");
    return readClosingTag(closed) && (closed == element || fail("A closing tag does not match", tag));
  }

  bool readPlainText(Element element, size_t begin) {
    const size_t end = text_.find('<', at_);
    if (end == std::string_view::npos) return fail("An element has no end", begin);
    const std::string_view text = text_.substr(at_, end - at_);
    if (!plainLeaf(element, text, plain_)) return fail("The text of an element is malformed");
    at_ = end;
    return true;
  }

  // Characters, entities, comments and literal sections, up to a tag.
  bool readText() {
    for (;;) {
      const size_t end = text_.find_first_of("<&", at_);
      if (end == std::string_view::npos) return fail("An element has no end");
      plain_.append(text_.substr(at_, end - at_));
      at_ = end;
      if (text_[at_] == '&') {
        if (!readEntity()) return false;
      } else if (rest().starts_with("<!--")) {
        if (!skipComment()) return false;
      } else if (rest().starts_with("<![CDATA[")) {
        if (!readLiteralSection()) return false;
      } else {
        return true;
      }
    }
  }

  bool readLiteralSection() {
    const size_t begin = at_ + 9, end = text_.find("]]>", begin);
    if (end == std::string_view::npos) return fail("A literal section has no end");
    for (const char c : text_.substr(begin, end - begin)) {
      if (c == '&')
        plain_ += "&amp;";
      else if (c == '<')
        plain_ += "&lt;";
      else
        plain_ += c;
    }
    at_ = end + 3;
    return true;
  }

  bool readEntity() {
    const size_t end = text_.find(';', at_);
    const std::string_view entity = end == std::string_view::npos ? "" : text_.substr(at_ + 1, end - at_ - 1);
    constexpr std::string_view kNamed[] = {"lt", "gt", "amp", "quot", "apos"};
    if (std::find(std::begin(kNamed), std::end(kNamed), entity) != std::end(kNamed)) {
      plain_.append("&").append(entity).append(";");
    } else if (!readNumberedCharacter(entity)) {
      return fail("There is no such entity");
    }
    at_ = end + 1;
    return true;
  }

  bool readNumberedCharacter(std::string_view entity) {
    if (!entity.starts_with('#')) return false;
    const bool hexadecimal = entity.starts_with("#x");
    entity.remove_prefix(hexadecimal ? 2 : 1);
    uint32_t c = 0;
    const auto [end, error] =
        std::from_chars(entity.data(), entity.data() + entity.size(), c, hexadecimal ? 16 : 10);
    if (entity.empty() || error != std::errc() || end != entity.data() + entity.size() || !isXMLCharacter(c))
      return false;
    if (c == '<' || c == '&') {
      plain_ += c == '<' ? "&lt;" : "&amp;";
    } else {
      char bytes[4];
      plain_.append(bytes, encodeUtf8(c, bytes));
    }
    return true;
  }

  const std::string_view text_;
  std::string& plain_;
  PropertyListFault& fault_;
  size_t at_ = 0;
  bool done_ = false;
  std::vector<Open> open_;
};

}  // namespace

bool checkXMLPropertyList(std::string_view utf8, std::string& plain, PropertyListFault& fault) {
  plain.clear();
  plain.reserve(utf8.size() + 16);
  return Checker(utf8, plain, fault).check();
}

}  // namespace orv::detail
