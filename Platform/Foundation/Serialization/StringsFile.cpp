#include "Platform/Foundation/Serialization/StringsFile.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <string>

#include "Platform/Foundation/Text/Unicode.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"

using namespace orv;

namespace {

std::atomic<detail::PropertyListReader> propertyListReader{nullptr};

bool isPropertyList(std::string_view bytes) {
  bytes.remove_prefix(std::min(bytes.find_first_not_of("\xEF\xBB\xBF \t\r\n"), bytes.size()));
  for (const char* begin : {"bplist", "<?xml", "<!DOCTYPE plist", "<plist"})
    if (bytes.starts_with(begin)) return true;
  return false;
}

std::u16string fromUtf16(std::string_view bytes, bool bigEndian) {
  std::u16string units;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto first = static_cast<uint8_t>(bytes[i]), second = static_cast<uint8_t>(bytes[i + 1]);
    units += static_cast<char16_t>(bigEndian ? first << 8 | second : second << 8 | first);
  }
  return units;
}

// By the byte-order mark; without one by the zero byte that the first character, which is ASCII, has in UTF-16.
std::optional<std::u16string> unitsOfFile(std::string_view bytes) {
  const bool even = bytes.size() % 2 == 0;
  if (even && bytes.starts_with("\xFF\xFE")) return fromUtf16(bytes.substr(2), false);
  if (even && bytes.starts_with("\xFE\xFF")) return fromUtf16(bytes.substr(2), true);
  if (even && bytes.size() >= 2 && bytes[1] == 0 && bytes[0] != 0) return fromUtf16(bytes, false);
  if (even && bytes.size() >= 2 && bytes[0] == 0 && bytes[1] != 0) return fromUtf16(bytes, true);
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  const NSString text = detail::StringFactory::fromUtf8(bytes, detail::IllFormed::Refuse);
  if (text.isNil()) return std::nullopt;
  return text.utf16();
}

int digitValue(char16_t unit) {
  if (unit >= '0' && unit <= '9') return unit - '0';
  if (unit >= 'a' && unit <= 'f') return unit - 'a' + 10;
  return unit >= 'A' && unit <= 'F' ? unit - 'A' + 10 : 99;
}

class Parser {
 public:
  explicit Parser(std::u16string_view text) : text_(text) {}

  NSDictionary table() {
    const NSMutableDictionary entries = NSMutableDictionary::dictionaryWithCapacity(16);
    skip();
    const bool braces = take('{');
    while (good_ && more() && !(braces && text_[at_] == '}')) readEntry(entries);
    if (braces && !take('}')) good_ = false;
    return good_ && !more() ? entries.copy().as<NSDictionary>() : NSDictionary();
  }

 private:
  bool more() {
    skip();
    return at_ < text_.size();
  }

  bool take(char16_t unit) {
    if (!more() || text_[at_] != unit) return false;
    ++at_;
    return true;
  }

  void readEntry(const NSMutableDictionary& entries) {
    const NSString key = word();
    const NSString value = take('=') ? word() : key;
    // The last entry may do without its semicolon.
    good_ = good_ && (take(';') || !more() || text_[at_] == '}');
    if (good_) entries.setObjectForKey(value, key);
  }

  void skip() {
    for (;;) {
      at_ = std::min(text_.find_first_not_of(u" \t\r\n\v\f\u0085\u00A0\u2028\u2029\uFEFF", at_), text_.size());
      const std::u16string_view rest = text_.substr(at_);
      if (rest.starts_with(u"//")) {
        at_ = std::min(text_.find_first_of(u"\r\n\u2028\u2029", at_), text_.size());
      } else if (rest.starts_with(u"/*")) {
        const size_t end = text_.find(u"*/", at_ + 2);
        good_ = good_ && end != std::u16string_view::npos;
        at_ = good_ ? end + 2 : text_.size();
      } else {
        return;
      }
    }
  }

  NSString word() {
    if (!more()) return fail();
    const char16_t quote = text_[at_];
    if (quote == '"' || quote == '\'') return quoted(quote);
    const size_t begin = at_;
    while (at_ < text_.size() && isPlain(text_[at_])) ++at_;
    return at_ > begin ? NSString(text_.substr(begin, at_ - begin)) : fail();
  }

  NSString fail() {
    good_ = false;
    return nil;
  }

  static bool isPlain(char16_t unit) {
    return (unit >= 'a' && unit <= 'z') || (unit >= 'A' && unit <= 'Z') || (unit >= '0' && unit <= '9') ||
           std::u16string_view(u"_$./:-").find(unit) != std::u16string_view::npos;
  }

  NSString quoted(char16_t quote) {
    std::u16string out;
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
    return fail();
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

  std::u16string_view text_;
  size_t at_ = 0;
  bool good_ = true;
};

}  // namespace

NSDictionary detail::readStringsFile(std::string_view bytes) {
  if (isPropertyList(bytes)) {
    const PropertyListReader reader = propertyListReader.load();
    return reader ? reader(bytes) : NSDictionary();
  }
  const std::optional<std::u16string> text = unitsOfFile(bytes);
  return text ? Parser(*text).table() : NSDictionary();
}

void detail::setPropertyListReader(PropertyListReader reader) noexcept { propertyListReader = reader; }
