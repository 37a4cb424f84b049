#include "Platform/Foundation/Serialization/Detail/OldStylePropertyList.h"

#include <algorithm>
#include <string>

#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSData.h"

namespace orv::detail {
namespace {

int digitValue(char16_t unit) {
  if (unit >= '0' && unit <= '9') return unit - '0';
  if (unit >= 'a' && unit <= 'f') return unit - 'a' + 10;
  return unit >= 'A' && unit <= 'F' ? unit - 'A' + 10 : 99;
}

class Parser {
 public:
  Parser(std::u16string_view text, bool mutableContainers) : text_(text), mutable_(mutableContainers) {}

  // Null as long as there is none.
  const char* complaint() const noexcept { return complaint_; }
  size_t place() const noexcept { return std::min(faultAt_, text_.size()); }

  Value document() {
    if (!more()) return fail("There is no value");
    if (text_[at_] == '{' || text_[at_] == '(' || text_[at_] == '<') return onlyValue();
    const NSString first = word();
    if (!good() || !more()) return good() ? Value(first) : Value();
    at_ = 0;
    return table();
  }

  Value table() {
    skip();
    if (more() && text_[at_] == '{') return onlyValue();
    return entries();
  }

 private:
  bool good() const noexcept { return !complaint_; }

  Nil fail(const char* complaint) {
    if (!complaint_) {
      complaint_ = complaint;
      faultAt_ = at_;
    }
    return nil;
  }

  bool more() {
    skip();
    return good() && at_ < text_.size();
  }

  bool next(char16_t unit) { return more() && text_[at_] == unit; }
  bool take(char16_t unit) {
    if (!next(unit)) return false;
    ++at_;
    return true;
  }

  void skip() {
    for (;;) {
      at_ = std::min(text_.find_first_not_of(u" \t\r\n\v\f\u0085\u00A0\u2028\u2029\uFEFF", at_), text_.size());
      const std::u16string_view rest = text_.substr(at_);
      if (rest.starts_with(u"//")) {
        at_ = std::min(text_.find_first_of(u"\r\n\u2028\u2029", at_), text_.size());
      } else if (rest.starts_with(u"/*")) {
        const size_t end = text_.find(u"*/", at_ + 2);
        if (end == std::u16string_view::npos) return static_cast<void>(fail("A comment has no end"));
        at_ = end + 2;
      } else {
        return;
      }
    }
  }

  // ---- Containers

  Value onlyValue() {
    const Value read = value();
    if (more()) fail("There is text after the property list");
    return good() ? read : Value();
  }

  Value value() {
    if (!more()) return fail("A value is missing");
    switch (text_[at_]) {
      case '{': return nested(&Parser::dictionary);
      case '(': return nested(&Parser::array);
      case '<': return data();
      default: return word();
    }
  }

  Value nested(Value (Parser::*container)()) {
    if (depth_ == kDeepestPropertyListTree) return fail(kTooDeepPropertyList);
    ++depth_;
    ++at_;
    const Value read = (this->*container)();
    --depth_;
    return read;
  }

  Value finished(const Value& container) const { return mutable_ ? container : container.copy(); }

  Value dictionary() {
    const Value read = entries();
    if (!take('}')) fail("A dictionary has no end");
    return read;
  }

  // Up to the closing brace or the end of the text.
  Value entries() {
    const NSMutableDictionary read = NSMutableDictionary::dictionary();
    while (more() && text_[at_] != '}') readEntry(read);
    if (depth_ == 0 && more()) fail("There is text after the property list");
    return finished(read);
  }

  void readEntry(const NSMutableDictionary& read) {
    const NSString key = word();
    const Value entry = take('=') ? value() : Value(key);
    // The last entry may do without its semicolon.
    if (!take(';') && more() && text_[at_] != '}') fail("A semicolon is missing");
    if (good()) read.setObjectForKey(entry, key);
  }

  Value array() {
    const NSMutableArray read = NSMutableArray::array();
    while (more() && text_[at_] != ')') {
      const Value element = value();
      if (!take(',') && !next(')')) fail("A comma is missing");
      if (good()) read.addObject(element);
    }
    if (!take(')')) fail("An array has no end");
    return finished(read);
  }

  // ---- Leaves

  Value data() {
    std::string bytes;
    int high = -1;
    for (++at_; at_ < text_.size() && text_[at_] != '>'; ++at_) {
      const int digit = digitValue(text_[at_]);
      if (std::u16string_view(u" \t\r\n").find(text_[at_]) != std::u16string_view::npos) continue;
      if (digit > 15) return fail("Data hold something else than hexadecimal digits");
      if (high >= 0) bytes += static_cast<char>(high << 4 | digit);
      high = high >= 0 ? -1 : digit;
    }
    if (high >= 0 || at_ == text_.size())
      return fail(high >= 0 ? "Data end in half a byte" : "Data have no end");
    ++at_;
    return NSData::dataWithBytes(bytes);
  }

  NSString word() {
    if (!more()) return fail("A value is missing");
    const char16_t quote = text_[at_];
    if (quote == '"' || quote == '\'') return quoted(quote);
    const size_t begin = at_;
    while (at_ < text_.size() && isPlain(text_[at_])) ++at_;
    if (at_ == begin) return fail("Unexpected character");
    return NSString(text_.substr(begin, at_ - begin));
  }

  static bool isPlain(char16_t unit) {
    return (unit >= 'a' && unit <= 'z') || (unit >= 'A' && unit <= 'Z') || (unit >= '0' && unit <= '9') ||
           std::u16string_view(u"_$./:-").find(unit) != std::u16string_view::npos;
  }

  NSString quoted(char16_t quote) {
    std::u16string out;
    const size_t begin = at_;
    for (++at_; at_ < text_.size(); ++at_) {
      if (text_[at_] == quote) {
        ++at_;
        return NSString(std::u16string_view(out));
      }
      if (text_[at_] != '\\') {
        out += text_[at_];
      } else if (++at_ < text_.size()) {
        out += escape();
      }
    }
    at_ = begin;
    return fail("A quoted text has no end");
  }

  // The unit for what follows a backslash; stops at the last unit of it.
  char16_t escape() {
    constexpr std::u16string_view kLetters = u"ntrbfva", kUnits = u"\n\t\r\b\f\v\a";
    const char16_t unit = text_[at_];
    if (const size_t i = kLetters.find(unit); i != std::u16string_view::npos) return kUnits[i];
    if (unit == 'U' || unit == 'u') return number(at_ + 1, 16, 4, unit);
    return unit >= '0' && unit <= '7' ? number(at_, 8, 3, unit) : unit;
  }

  // Without a digit it is the letter itself.
  char16_t number(size_t begin, int base, size_t most, char16_t letter) {
    uint32_t value = 0;
    size_t i = begin;
    for (; i < text_.size() && i < begin + most && digitValue(text_[i]) < base; ++i)
      value = value * static_cast<uint32_t>(base) + static_cast<uint32_t>(digitValue(text_[i]));
    if (i == begin) return letter;
    at_ = i - 1;
    return static_cast<char16_t>(value);
  }

  const std::u16string_view text_;
  const bool mutable_;
  size_t at_ = 0;
  int depth_ = 0;
  const char* complaint_ = nullptr;
  size_t faultAt_ = 0;
};

// The byte of the text at which a unit stands.
size_t byteOfUnit(std::u16string_view text, size_t unit) {
  return NSString(text.substr(0, unit)).utf8().size();
}

Value parse(std::string_view utf8, bool mutableContainers, Value (Parser::*what)(), PropertyListFault& fault) {
  const NSString text = StringFactory::fromUtf8(utf8, IllFormed::Refuse);
  if (text.isNil()) {
    fault = {"The text is not well-formed UTF-8", 0};
    return nil;
  }
  const std::u16string units = text.utf16();
  Parser parser(units, mutableContainers);
  Value read = (parser.*what)();
  if (!parser.complaint()) return read;
  fault = {parser.complaint(), byteOfUnit(units, parser.place())};
  return nil;
}

}  // namespace

Value readOldStylePropertyList(std::string_view utf8, bool mutableContainers, PropertyListFault& fault) {
  return parse(utf8, mutableContainers, &Parser::document, fault);
}

NSDictionary readOldStyleTable(std::string_view utf8, PropertyListFault& fault) {
  return parse(utf8, false, &Parser::table, fault).as<NSDictionary>();
}

}  // namespace orv::detail
