#include "Platform/Foundation/Serialization/Detail/XMLPropertyListReader.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "Platform/Foundation/Serialization/Detail/ValueStack.h"
#include "Platform/Foundation/Text/Unicode.h"
#include "Platform/Foundation/Values/Detail/ContainerRep.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSDate.h"

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

// ---- Leaves. Each is nil when the text is malformed.

// Decimal, or hexadecimal without a sign: -2^63 to 2^64 - 1.
Value integerOf(std::string_view text) {
  const bool negative = text.starts_with('-'), sign = negative || text.starts_with('+');
  const bool hexadecimal = !sign && (text.starts_with("0x") || text.starts_with("0X"));
  text.remove_prefix(hexadecimal ? 2 : sign ? 1 : 0);
  uint64_t n = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), n, hexadecimal ? 16 : 10);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return nil;
  if (!negative) return n;
  return n <= uint64_t{1} << 63 ? Value(static_cast<int64_t>(0 - n)) : Value();
}

// Not-a-number or an infinity by its name, in any case.
Value specialReal(std::string_view text) {
  std::string lower;
  std::transform(text.begin(), text.end(), std::back_inserter(lower),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  if (lower == "nan") return std::numeric_limits<double>::quiet_NaN();
  const double sign = lower.starts_with('-') ? -1 : 1;
  if (lower.starts_with('+') || lower.starts_with('-')) lower.erase(0, 1);
  if (lower != "inf" && lower != "infinity") return nil;
  return sign * std::numeric_limits<double>::infinity();
}

Value realOf(std::string_view text) {
  if (Value special = specialReal(text)) return special;
  if (text.starts_with("+-")) return nil;
  if (text.starts_with('+')) text.remove_prefix(1);
  double n = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), n);
  const bool all = error == std::errc() && end == text.data() + text.size();
  return all && std::isfinite(n) ? Value(n) : Value();
}

// "2001-01-01T00:00:00Z", of the calendar of today.
Value dateOf(std::string_view text) {
  constexpr std::string_view kForm = "0000-00-00T00:00:00Z";
  if (text.size() != kForm.size()) return nil;
  for (size_t i = 0; i < text.size(); ++i)
    if (kForm[i] == '0' ? !isDigit(text[i]) : text[i] != kForm[i]) return nil;
  const auto number = [text](size_t at, size_t length) {
    int n = 0;
    for (size_t i = at; i < at + length; ++i) n = n * 10 + (text[i] - '0');
    return n;
  };
  using namespace std::chrono;
  const year_month_day day{year(number(0, 4)), month(static_cast<unsigned>(number(5, 2))),
                           std::chrono::day(static_cast<unsigned>(number(8, 2)))};
  const int hours = number(11, 2), minutes = number(14, 2), seconds = number(17, 2);
  if (!day.ok() || number(0, 4) == 0 || hours > 23 || minutes > 59 || seconds > 59) return nil;
  const auto days = static_cast<double>(sys_days(day).time_since_epoch().count());
  return NSDate::dateWithTimeIntervalSince1970(days * 86400 + hours * 3600 + minutes * 60 + seconds);
}

// Base64 with blanks anywhere.
Value dataOf(std::string_view text) {
  std::string digits;
  std::copy_if(text.begin(), text.end(), std::back_inserter(digits), [](char c) { return !isSpace(c); });
  return NSData::initWithBase64EncodedString(StringFactory::fromUtf8(digits, IllFormed::Refuse));
}

Value leafOf(Element element, std::string_view text) {
  switch (element) {
    case Element::Key:
    case Element::String: return StringFactory::fromUtf8(text, IllFormed::Refuse);
    case Element::Integer: return integerOf(trimmed(text));
    case Element::Real: return realOf(trimmed(text));
    case Element::Date: return dateOf(trimmed(text));
    case Element::Data: return dataOf(text);
    default: return trimmed(text).empty() ? Value(element == Element::True) : Value();
  }
}

// ---- The document

class Reader {
 public:
  Reader(std::string_view text, bool mutableContainers, PropertyListFault& fault)
      : text_(text), mutable_(mutableContainers), fault_(fault) {}

  Value read() {
    if (!checkCharacters() || !skipProlog()) return nil;
    while (!done_)
      if (!readNext()) return nil;
    if (!skipMisc() || (at_ != text_.size() && !fail("There is text after the property list"))) return nil;
    return values_.pop();
  }

 private:
  struct Open {
    Element element;
    size_t firstValue;        // where its values begin
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
    if (element <= Element::Dict) return open(element, empty, begin);
    leaf_.clear();
    if (!empty && !readLeaf(element, begin)) return false;
    Value leaf = leafOf(element, leaf_);
    if (leaf.isNil()) return fail(empty ? "An element is empty" : "The text of an element is malformed", begin);
    values_.push(std::move(leaf));
    return true;
  }

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
    open_.push_back({element, values_.size()});
    return !empty || closeContainer(begin);
  }

  bool closeContainer(size_t begin) {
    const Open closed = open_.back();
    if (closed.keyPending) return fail("A key has no value", begin);
    if (closed.element == Element::Plist && !closed.filled) return fail("The property list is empty", begin);
    open_.pop_back();
    done_ = open_.empty();
    if (!done_) gather(closed);
    return true;
  }

  // The values on the stack become the container.
  void gather(const Open& closed) {
    const size_t number = values_.size() - closed.firstValue;
    Value* const first = values_.at(closed.firstValue);
    HeapObject* made;
    if (closed.element == Element::Array)
      made = ArrayRep::take(first, number, mutable_);
    else
      made = TableRep::takePairs(first, number / 2, mutable_);
    values_.forget(number);
    values_.adopt(made);
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
    if (isText ? !readText() : !readPlainText(begin)) return false;
    const size_t tag = at_;
    Element closed;
    if (!rest().starts_with("</")) return fail("An element stands within a text");
    return readClosingTag(closed) && (closed == element || fail("A closing tag does not match", tag));
  }

  bool readPlainText(size_t begin) {
    const size_t end = text_.find('<', at_);
    if (end == std::string_view::npos) return fail("An element has no end", begin);
    leaf_ = text_.substr(at_, end - at_);
    at_ = end;
    return true;
  }

  // Characters, entities, comments and literal sections, up to a tag.
  bool readText() {
    for (;;) {
      const size_t end = text_.find_first_of("<&", at_);
      if (end == std::string_view::npos) return fail("An element has no end");
      appendLines(text_.substr(at_, end - at_));
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

  // Line ends become line feeds (XML 1.0, section 2.11).
  void appendLines(std::string_view text) {
    for (;;) {
      const size_t end = text.find('\r');
      leaf_.append(text.substr(0, end));
      if (end == std::string_view::npos) return;
      leaf_ += '\n';
      text.remove_prefix(text.substr(end).starts_with("\r\n") ? end + 2 : end + 1);
    }
  }

  bool readLiteralSection() {
    const size_t begin = at_ + 9, end = text_.find("]]>", begin);
    if (end == std::string_view::npos) return fail("A literal section has no end");
    appendLines(text_.substr(begin, end - begin));
    at_ = end + 3;
    return true;
  }

  bool readEntity() {
    const size_t end = text_.find(';', at_);
    const std::string_view entity = end == std::string_view::npos ? "" : text_.substr(at_ + 1, end - at_ - 1);
    constexpr std::string_view kNames[] = {"lt", "gt", "amp", "quot", "apos"}, kCharacters = "<>&\"'";
    const auto* named = std::find(std::begin(kNames), std::end(kNames), entity);
    if (named != std::end(kNames)) {
      leaf_ += kCharacters[static_cast<size_t>(named - std::begin(kNames))];
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
    char bytes[4];
    leaf_.append(bytes, encodeUtf8(c, bytes));
    return true;
  }

  const std::string_view text_;
  const bool mutable_;
  PropertyListFault& fault_;
  size_t at_ = 0;
  bool done_ = false;
  std::vector<Open> open_;
  ValueStack values_;
  std::string leaf_;  // the text of an element, without entities and the like
};

}  // namespace

Value readXMLPropertyList(std::string_view utf8, bool mutableContainers, PropertyListFault& fault) {
  return Reader(utf8, mutableContainers, fault).read();
}

}  // namespace orv::detail
