#include "Platform/Foundation/Values/NSString.h"

#include <algorithm>

#include "Platform/Foundation/Text/StringBuilder.h"
#include "Platform/Foundation/Text/Unicode.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSException.h"

using namespace orv;
using detail::IllFormed;
using detail::LoneSurrogate;
using detail::StringFactory;
using detail::StringRep;
using detail::Units;

namespace {

std::string_view bytesOf(std::u8string_view text) {
  return {reinterpret_cast<const char*>(text.data()), text.size()};
}

std::u16string_view viewOf(const Units& u, std::u16string& room) {
  if (u.wide) return {u.wideData(), u.length};
  room.assign(u.narrow(), u.narrow() + u.length);
  return room;
}

std::optional<std::string> encode(const NSString& text, LoneSurrogate policy) {
  const StringRep* rep = detail::stringRep(text);
  if (!rep) return std::string();
  if (rep->ascii()) return std::string(static_cast<const char*>(rep->units()), rep->length);
  const Units u = detail::unitsOf(text);
  if (!u.wide) return detail::utf8FromLatin1(u.narrow(), u.length);
  return detail::utf8FromUnits(u.wideData(), u.length, policy);
}

bool isAsciiText(const NSString& text) {
  const Units u = detail::unitsOf(text);
  return !u.wide && detail::asciiPrefix(u.narrow(), u.length) == u.length;
}

NSString joined(const NSString& a, const NSString& b) {
  const StringRep* left = detail::stringRep(a);
  const StringRep* right = detail::stringRep(b);
  const size_t length = left->length + right->length;
  if (left->wide() != right->wide()) {
    detail::StringBuilder builder(length);
    builder.append(a);
    builder.append(b);
    return builder.finish();
  }
  const size_t width = left->wide() ? 2 : 1;
  StringRep* rep = StringFactory::allocate(length, left->wide(), left->flags | right->flags);
  rep->flags &= static_cast<uint8_t>(~detail::HeapObject::Slice);
  auto* out = static_cast<char*>(rep->inlineUnits());
  detail::copyBytes(out, left->units(), left->length * width);
  detail::copyBytes(out + left->length * width, right->units(), right->length * width);
  return StringFactory::adopt(rep);
}

}  // namespace

void detail::requireRange(const NSString& text, NSRange range) {
  const NSUInteger length = text.length();
  if (range.location <= length && range.length <= length - range.location) return;
  NSException::raise(NSRangeException,
                     NSString::stringWithFormat("Range {%llu, %llu} is out of bounds; string length %llu",
                                                range.location, range.length, length));
}

Value::Value(const char* utf8) : Value(NSString(utf8)) {}
Value::Value(std::string_view utf8) : Value(NSString(utf8)) {}
Value::Value(const std::string& utf8) : Value(NSString(utf8)) {}
Value::Value(std::u8string_view utf8) : Value(NSString(utf8)) {}
Value::Value(std::u16string_view utf16) : Value(NSString(utf16)) {}

// --- Construction

NSString::NSString(const char* utf8) : NSString(utf8 ? std::string_view(utf8) : std::string_view()) {}

NSString::NSString(std::string_view utf8)
    : Value(static_cast<detail::HeapObject*>(utf8.data() ? StringFactory::make(utf8, IllFormed::Refuse)
                                                         : nullptr)) {}

NSString::NSString(std::u8string_view utf8) : NSString(bytesOf(utf8)) {}

NSString::NSString(const char8_t* utf8) : NSString(reinterpret_cast<const char*>(utf8)) {}

NSString::NSString(const char16_t* utf16)
    : NSString(utf16 ? std::u16string_view(utf16) : std::u16string_view()) {}

NSString::NSString(std::u16string_view utf16) {
  if (utf16.data()) *this = StringFactory::fromUnits(utf16.data(), utf16.size());
}

NSString NSString::stringWithLossyUTF8(std::string_view bytes) {
  return StringFactory::fromUtf8(bytes, IllFormed::Replace);
}

NSString NSString::stringWithLatin1(std::string_view bytes) {
  return StringFactory::narrow(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

NSString NSString::stringWithFileSystemRepresentation(std::string_view bytes) {
  return StringFactory::fromUtf8(bytes, IllFormed::Escape);
}

NSString NSString::stringWithCodePoint(char32_t codePoint) {
  if (codePoint > 0x10FFFF) return nil;
  if (codePoint < 0x10000) {
    const auto unit = static_cast<char16_t>(codePoint);
    return StringFactory::fromUnits(&unit, 1);
  }
  const char16_t pair[] = {detail::highSurrogateOf(codePoint), detail::lowSurrogateOf(codePoint)};
  return StringFactory::fromUnits(pair, 2);
}

NSString NSString::stringWithDataEncoding(const NSData& data, NSStringEncoding encoding) {
  if (data.isNil()) return nil;
  const std::string_view bytes(data.length() ? reinterpret_cast<const char*>(data.bytes()) : "", data.length());
  switch (encoding) {
    case NSASCIIStringEncoding:
      return detail::isAscii(bytes) ? StringFactory::ascii(bytes.data(), bytes.size()) : nil;
    case NSUTF8StringEncoding: return NSString(bytes);
    case NSISOLatin1StringEncoding: return stringWithLatin1(bytes);
  }
  return nil;
}

// --- Units and encodings

NSUInteger NSString::length() const noexcept {
  const StringRep* rep = detail::stringRep(*this);
  return rep ? rep->length : 0;
}

char16_t NSString::characterAtIndex(NSUInteger index) const {
  if (isNil()) return 0;
  const Units u = detail::unitsOf(*this);
  if (index >= u.length) detail::requireRange(*this, {index, 1});
  return u[index];
}

std::string NSString::utf8() const { return *encode(*this, LoneSurrogate::Replace); }

std::u16string NSString::utf16() const {
  std::u16string room;
  return std::u16string(viewOf(detail::unitsOf(*this), room));
}

std::string NSString::fileSystemRepresentation() const { return *encode(*this, LoneSurrogate::Escape); }

NSData NSString::dataUsingEncoding(NSStringEncoding encoding) const {
  if (isNil()) return nil;
  const Units u = detail::unitsOf(*this);
  switch (encoding) {
    case NSASCIIStringEncoding: return isAsciiText(*this) ? NSData::dataWithBytes(u.data, u.length) : nil;
    case NSISOLatin1StringEncoding: return u.wide ? nil : NSData::dataWithBytes(u.data, u.length);
    case NSUTF8StringEncoding: {
      const auto bytes = encode(*this, LoneSurrogate::Refuse);
      return bytes ? NSData::dataWithBytes(bytes->data(), bytes->size()) : nil;
    }
  }
  return nil;
}

// --- Parts and joins

bool NSString::isEqualToString(const NSString& other) const noexcept {
  if (isNil() || other.isNil()) return false;
  return detail::equalStrings(static_cast<const StringRep*>(heap()),
                              static_cast<const StringRep*>(other.heap()));
}

NSString NSString::substringFromIndex(NSUInteger index) const {
  if (isNil()) return nil;
  const NSUInteger all = length();
  return substringWithRange({index, index <= all ? all - index : 0});
}

NSString NSString::substringToIndex(NSUInteger index) const { return substringWithRange({0, index}); }

NSString NSString::substringWithRange(NSRange range) const {
  if (isNil()) return nil;
  detail::requireRange(*this, range);
  return StringFactory::part(*this, range.location, range.length);
}

NSString NSString::stringByAppendingString(const NSString& tail) const {
  return isNil() ? NSString() : *this + tail;
}

NSString operator+(const NSString& a, const NSString& b) {
  if (b.length() == 0) return a.isNil() ? b : a;
  if (a.length() == 0) return b;
  return joined(a, b);
}

NSString NSString::stringByPaddingToLength(NSUInteger length, const NSString& pad,
                                           NSUInteger startingAt) const {
  if (isNil() || length == this->length()) return *this;
  if (length < this->length()) return substringToIndex(length);
  const Units u = detail::unitsOf(pad);
  if (u.length == 0) return *this;
  detail::requireRange(pad, {startingAt, 1});
  detail::StringBuilder builder(length);
  builder.append(*this);
  for (size_t i = startingAt; builder.length() < length; i = i + 1 == u.length ? 0 : i + 1)
    builder.appendUnit(u[i]);
  return builder.finish();
}
