#include "Platform/Foundation/Serialization/SmallJSON.h"

#include <algorithm>
#include <charconv>
#include <string>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSNull.h"
#include "Platform/Foundation/Values/NSString.h"

namespace orv::detail {
namespace {

// Every step answers false as soon as the text is not JSON.
class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  // The whole text; nil when it is anything but one value.
  Value read() {
    Value value;
    return readValue(value) && atEnd() ? value : Value();
  }

 private:
  // One container inside another; the depth is limited, because each costs a frame of the stack.
  class Nesting {
   public:
    explicit Nesting(Reader& reader) : depth_(reader.depth_) { ++depth_; }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;
    ~Nesting() { --depth_; }
    bool tooDeep() const { return depth_ > kDeepestJSON; }

   private:
    int& depth_;
  };

  void skipBlanks() { at_ = std::min(text_.find_first_not_of(" \t\r\n", at_), text_.size()); }
  bool atEnd() {
    skipBlanks();
    return at_ == text_.size();
  }
  bool take(char c) {
    skipBlanks();
    if (at_ >= text_.size() || text_[at_] != c) return false;
    ++at_;
    return true;
  }
  bool takeWord(std::string_view word) {
    if (!text_.substr(at_).starts_with(word)) return false;
    at_ += word.size();
    return true;
  }

  bool readValue(Value& value) {
    skipBlanks();
    if (takeWord("true")) return value = true, true;
    if (takeWord("false")) return value = false, true;
    if (takeWord("null")) return value = NSNull::null(), true;
    if (take('[')) return readArray(value);
    if (take('{')) return readObject(value);
    if (at_ < text_.size() && text_[at_] == '"') {
      std::u16string text;
      if (!readString(text)) return false;
      value = NSString(std::u16string_view(text));
      return true;
    }
    return readNumber(value);
  }

  bool readArray(Value& value) {
    const Nesting nesting(*this);
    const NSMutableArray array = NSMutableArray::array();
    if (nesting.tooDeep()) return false;
    if (!take(']')) {
      do {
        Value element;
        if (!readValue(element)) return false;
        array.addObject(element);
      } while (take(','));
      if (!take(']')) return false;
    }
    value = array.copy();
    return true;
  }

  bool readObject(Value& value) {
    const Nesting nesting(*this);
    const NSMutableDictionary object = NSMutableDictionary::dictionary();
    if (nesting.tooDeep()) return false;
    if (!take('}')) {
      do {
        std::u16string key;
        Value entry;
        if (!readString(key) || !take(':') || !readValue(entry)) return false;
        object.setObjectForKey(entry, NSString(std::u16string_view(key)));
      } while (take(','));
      if (!take('}')) return false;
    }
    value = object.copy();
    return true;
  }

  // -?(0|[1-9][0-9]*)(.[0-9]+)?([eE][+-]?[0-9]+)?
  static bool isNumber(std::string_view text) {
    const auto digits = [&text] {
      const size_t count = std::min(text.find_first_not_of("0123456789"), text.size());
      text.remove_prefix(count);
      return count;
    };
    if (text.starts_with('-')) text.remove_prefix(1);
    const bool leadingZero = text.starts_with('0');
    const size_t whole = digits();
    if (whole == 0 || (leadingZero && whole > 1)) return false;
    if (text.starts_with('.')) {
      text.remove_prefix(1);
      if (digits() == 0) return false;
    }
    if (text.empty()) return true;
    if (text[0] != 'e' && text[0] != 'E') return false;
    text.remove_prefix(1);
    if (text.starts_with('+') || text.starts_with('-')) text.remove_prefix(1);
    return digits() > 0 && text.empty();
  }

  bool readNumber(Value& value) {
    const size_t end = std::min(text_.find_first_not_of("+-.0123456789eE", at_), text_.size());
    const std::string_view digits = text_.substr(at_, end - at_);
    at_ = end;
    if (!isNumber(digits)) return false;
    int64_t integer = 0;
    if (readWhole(digits, integer)) return value = integer, true;
    uint64_t large = 0;
    if (readWhole(digits, large)) return value = large, true;
    double number = 0;
    return readWhole(digits, number) && (value = number, true);
  }
  template <class T>
  static bool readWhole(std::string_view digits, T& number) {
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return error == std::errc() && end == digits.data() + digits.size() && !digits.empty();
  }

  bool readString(std::u16string& out) {
    if (!take('"')) return false;
    std::string plain;  // bytes not yet decoded
    const auto flush = [&] {
      const NSString text = std::string_view(plain);
      out += text.utf16();
      plain.clear();
      return !text.isNil();
    };
    while (at_ < text_.size()) {
      const char c = text_[at_++];
      if (c == '"') return flush();
      if (static_cast<unsigned char>(c) < 0x20) return false;
      if (c != '\\') {
        plain += c;
      } else if (!flush() || !readEscape(out)) {
        return false;
      }
    }
    return false;
  }

  bool readEscape(std::u16string& out) {
    if (at_ >= text_.size()) return false;
    constexpr std::string_view kNames = "\"\\/bfnrt";
    constexpr std::u16string_view kUnits = u"\"\\/\b\f\n\r\t";
    const char c = text_[at_++];
    if (const size_t i = kNames.find(c); i != std::string_view::npos) return out += kUnits[i], true;
    if (c != 'u' || at_ + 4 > text_.size()) return false;
    uint16_t unit = 0;
    const char* begin = text_.data() + at_;
    const auto [end, error] = std::from_chars(begin, begin + 4, unit, 16);
    at_ += 4;
    return error == std::errc() && end == begin + 4 && (out += static_cast<char16_t>(unit), true);
  }

  std::string_view text_;
  size_t at_ = 0;
  int depth_ = 0;
};

bool isScalar(const Value& v) { return !v.isKindOf<NSArray>() && !v.isKindOf<NSDictionary>(); }

}  // namespace

Value readSmallJSON(std::string_view utf8) { return Reader(utf8).read(); }

NSDictionary readFlatJSON(std::string_view utf8) {
  const NSDictionary object = readSmallJSON(utf8).as<NSDictionary>();
  if (object.isNil()) return nil;
  const NSMutableDictionary present = NSMutableDictionary::dictionaryWithCapacity(object.count());
  for (auto [key, value] : object) {
    if (!isScalar(value)) return nil;
    if (!value.isNull()) present.setObjectForKey(value, key);
  }
  return present.copy().as<NSDictionary>();
}

}  // namespace orv::detail
