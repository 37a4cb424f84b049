#include "Platform/Foundation/Serialization/FlatJSON.h"

#include <charconv>
#include <string>

#include "Platform/Foundation/Serialization/NSJSONSerialization.h"
#include "Platform/Foundation/Text/Unicode.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

namespace {

// Stands before the four digits of a unit that JSON cannot hold, and of itself.
constexpr char16_t kMark = 0xFDD0;
constexpr std::string_view kMarkEscape = "\\ufdd0";

// The unit of the escape with which the text begins; -1 when it begins with none.
int escapedUnit(std::string_view text) noexcept {
  if (text.size() < 6 || !text.starts_with("\\u")) return -1;
  int unit = 0;
  const auto [end, error] = std::from_chars(text.data() + 2, text.data() + 6, unit, 16);
  return error == std::errc() && end == text.data() + 6 && unit >= 0 ? unit : -1;
}

bool isPair(int first, int second) noexcept {
  return first >= 0 && second >= 0 && detail::isHighSurrogate(static_cast<char32_t>(first)) &&
         detail::isLowSurrogate(static_cast<char32_t>(second));
}

bool needsMark(int unit) noexcept {
  return unit == kMark || (unit >= 0 && detail::isSurrogate(static_cast<char32_t>(unit)));
}

std::string withMarks(std::string_view json) {
  std::string out;
  for (size_t at = 0, length; at < json.size(); at += length) {
    const std::string_view rest = json.substr(at);
    const int unit = escapedUnit(rest);
    length = rest.starts_with('\\') ? 2 : 1;
    if (unit >= 0 && isPair(unit, escapedUnit(rest.substr(6)))) {
      length = 12;
    } else if (needsMark(unit)) {
      out.append(kMarkEscape).append(rest.substr(2, 4));
      length = 6;
      continue;
    }
    out.append(rest.substr(0, length));
  }
  return out;
}

NSString withoutMarks(const NSString& text) {
  const std::u16string units = text.utf16();
  std::u16string out;
  for (size_t i = 0; i < units.size(); ++i) {
    if (units[i] != kMark || units.size() - i < 5) {
      out += units[i];
      continue;
    }
    const std::string digits(units.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                             units.begin() + static_cast<std::ptrdiff_t>(i) + 5);
    out += static_cast<char16_t>(std::stoi(digits, nullptr, 16));
    i += 4;
  }
  return out == units ? text : NSString(std::u16string_view(out));
}

Value withoutMarks(const Value& value) {
  return value.isKindOf<NSString>() ? Value(withoutMarks(value.as<NSString>())) : value;
}

}  // namespace

NSDictionary detail::readFlatJSON(const NSData& json) {
  if (json.isNil()) return nil;
  const NSDictionary read = NSJSONSerialization::JSONObjectWithData(json, 0).as<NSDictionary>();
  if (read.isNil()) return nil;
  const NSMutableDictionary flat = NSMutableDictionary::dictionaryWithCapacity(read.count());
  for (const auto& [key, value] : read) {
    if (value.isNull()) continue;
    if (!value.isKindOf<NSString>() && !value.isKindOf<NSNumber>()) return nil;
    flat.setObjectForKey(value, key);
  }
  return flat.copy().as<NSDictionary>();
}

NSDictionary detail::readOldSettings(const NSData& json) {
  const NSDictionary marked = readFlatJSON(NSData::dataWithBytes(withMarks(json.view())));
  if (marked.isNil()) return nil;
  const NSMutableDictionary read = NSMutableDictionary::dictionaryWithCapacity(marked.count());
  for (const auto& [key, value] : marked) read.setObjectForKey(withoutMarks(value), withoutMarks(key));
  return read.copy().as<NSDictionary>();
}
