#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "Platform/Foundation/Text/StringBuilder.h"
#include "Platform/Foundation/Text/Unicode.h"
#include "Platform/Foundation/Text/UnitScan.h"
#include "Platform/Foundation/Text/UnitSearch.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/NSURL.h"

using namespace orv;
using detail::StringFactory;
using detail::Units;

namespace {

constexpr std::string_view kReserved = " \"#%/:<>?@[\\]^`{}|+\n\t\r";
constexpr size_t kEscapeLength = 3;  // %XX

// What each Latin-1 unit takes when it is encoded: itself, one escape, or the two of its UTF-8 bytes.
constexpr std::array<uint8_t, 256> makeLengths() {
  std::array<uint8_t, 256> lengths{};
  for (size_t c = 0; c < 256; ++c) lengths[c] = c < 0x80 ? 1 : 2 * kEscapeLength;
  for (const char c : kReserved) lengths[static_cast<uint8_t>(c)] = kEscapeLength;
  return lengths;
}

constexpr std::array<uint8_t, 256> kLengths = makeLengths();

constexpr size_t kRefused = static_cast<size_t>(-1);

size_t encodedLength(const uint8_t* units, size_t count) noexcept {
  size_t length = 0;
  for (size_t i = 0; i < count; ++i) length += kLengths[units[i]];
  return length;
}

// kRefused when there is a lone surrogate.
size_t encodedLength(const char16_t* units, size_t count) noexcept {
  size_t length = 0;
  for (size_t i = 0; i < count;) {
    const detail::CodePoint c = detail::codePointAt(units, count, i);
    if (detail::isSurrogate(c.value)) return kRefused;
    length += c.value < 0x100   ? kLengths[c.value]
              : c.value < 0x800 ? 2 * kEscapeLength
              : c.units == 1    ? 3 * kEscapeLength
                                : 4 * kEscapeLength;
    i += c.units;
  }
  return length;
}

constexpr uint8_t* writeEscape(uint8_t* out, uint8_t byte) noexcept {
  constexpr char kDigits[] = "0123456789ABCDEF";
  out[0] = '%';
  out[1] = static_cast<uint8_t>(kDigits[byte >> 4]);
  out[2] = static_cast<uint8_t>(kDigits[byte & 15]);
  return out + kEscapeLength;
}

// What each Latin-1 unit is written as, filled up to a word.
using EncodedUnit = std::array<uint8_t, 8>;

constexpr std::array<EncodedUnit, 256> makeEncodedUnits() {
  std::array<EncodedUnit, 256> units{};
  for (size_t c = 0; c < 256; ++c) {
    const auto byte = static_cast<uint8_t>(c);
    if (kLengths[c] == 1)
      units[c][0] = byte;
    else if (kLengths[c] == kEscapeLength)
      writeEscape(units[c].data(), byte);
    else
      writeEscape(writeEscape(units[c].data(), static_cast<uint8_t>(0xC0 | byte >> 6)),
                  static_cast<uint8_t>(0x80 | (byte & 0x3F)));
  }
  return units;
}

constexpr std::array<EncodedUnit, 256> kEncodedUnits = makeEncodedUnits();

// Whole words are written, each over the unused end of the one before, as long as there is room for one.
void encode(const uint8_t* units, size_t count, uint8_t* out, size_t length) noexcept {
  const uint8_t* const end = out + length;
  size_t i = 0;
  for (; i < count && static_cast<size_t>(end - out) >= sizeof(EncodedUnit); ++i) {
    detail::storeWord(out, kEncodedUnits[units[i]]);
    out += kLengths[units[i]];
  }
  for (; i < count; ++i) out = std::copy_n(kEncodedUnits[units[i]].data(), kLengths[units[i]], out);
}

void encode(const char16_t* units, size_t count, uint8_t* out, size_t) noexcept {
  for (size_t i = 0; i < count;) {
    const detail::CodePoint c = detail::codePointAt(units, count, i);
    i += c.units;
    if (c.value < 0x100) {
      out = std::copy_n(kEncodedUnits[c.value].data(), kLengths[c.value], out);
      continue;
    }
    char bytes[4];
    const size_t byteCount = detail::encodeUtf8(c.value, bytes);
    for (size_t b = 0; b < byteCount; ++b) out = writeEscape(out, static_cast<uint8_t>(bytes[b]));
  }
}

// A part of a pair that cannot be encoded shows as an absent value does in any format.
void appendEncoded(detail::StringBuilder& out, const Value& value) {
  const NSString encoded = value.toString().urlEncode();
  encoded.isNil() ? out.appendAscii("(null)") : out.append(encoded);
}

void appendPair(detail::StringBuilder& out, const Value& key, const Value& value, bool first) {
  if (!first) out.appendUnit(u'&');
  appendEncoded(out, key);
  out.appendUnit(u'=');
  appendEncoded(out, value);
}

// By the order of values; keys that have none between them are ordered by their texts.
int compareKeys(const Value& a, const Value& b) {
  try {
    return a.compare(b);
  } catch (const NSException&) {
    return a.toString().compare(b.toString());
  }
}

[[noreturn]] void raiseWithoutValue() {
  NSException::raise(NSRangeException, "*** -[NSArray objectAtIndex:]: index 1 beyond bounds (count 1)");
}

// "key=value" from one position up to another; what follows a second "=" is no part of the value.
void parsePair(const NSString& query, size_t begin, size_t end, const NSMutableDictionary& out) {
  const Units units = detail::unitsOf(query);
  const auto findEquals = [&](size_t from) {
    while (from < end && units[from] != u'=') ++from;
    return from;
  };
  const size_t equals = findEquals(begin);
  if (equals == end) raiseWithoutValue();
  const size_t stop = findEquals(equals + 1);
  const NSString key = StringFactory::part(query, begin, equals - begin);
  const NSString value = StringFactory::part(query, equals + 1, stop - equals - 1);
  out.setValueForKey(value.stringByRemovingPercentEncoding(), key);
}

}  // namespace

NSString NSString::urlEncode() const {
  if (isNil()) return nil;
  return detail::withUnits(detail::unitsOf(*this), [&](auto* units, size_t count) -> NSString {
    const size_t length = encodedLength(units, count);
    if (length == kRefused) return nil;
    if (length == count) return *this;
    detail::StringRep* rep = StringFactory::allocate(length, false);
    encode(units, count, static_cast<uint8_t*>(rep->inlineUnits()), length);
    return StringFactory::adopt(rep);
  });
}

NSString NSString::queryStringWithDictionary(const NSDictionary& dictionary) {
  if (dictionary.isNil()) return "";
  detail::StringBuilder out;
  bool first = true;
  for (const Value& key : dictionary.allKeys().sortedArrayUsingComparator(compareKeys)) {
    appendPair(out, key, dictionary[key], first);
    first = false;
  }
  return out.finish();
}

NSString NSString::addQuery(const NSDictionary& dictionary) const {
  if (isNil()) return nil;
  detail::StringBuilder out;
  out.append(*this);
  out.appendUnit(contains("?") ? u'&' : u'?');
  bool first = true;
  for (const auto& [key, value] : dictionary) {
    appendPair(out, key, value, first);
    first = false;
  }
  return out.finish();
}

NSMutableDictionary NSString::parseQuery() const {
  if (isNil()) return nil;
  const NSMutableDictionary result = NSMutableDictionary::dictionary();
  const Units units = detail::unitsOf(*this);
  for (size_t begin = 0; begin <= units.length;) {
    size_t end = begin;
    while (end < units.length && units[end] != u'&') ++end;
    parsePair(*this, begin, end, result);
    begin = end + 1;
  }
  return result;
}

NSString NSString::humanizeURL() const {
  const NSString host = URL().host();
  return host.length() > 0 ? host.replace("www.", "") : *this;
}

NSURL NSString::URL() const { return NSURL::URLWithString(*this); }
