#include "Platform/Foundation/Values/NSUUID.h"

#include <errno.h>
#include <sys/random.h>

#include <cstring>
#include <system_error>

#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSData.h"

using namespace orv;

namespace {

constexpr size_t kTextLength = 36;

constexpr bool isDashAt(size_t place) { return place == 8 || place == 13 || place == 18 || place == 23; }

class UUIDObject : public NSObject {
 public:
  explicit UUIDObject(const NSUUID::Bytes& b) : bytes(b) {}

  NSString className() const override { return "NSUUID"; }
  NSString description() const override;
  bool isEqual(const Value& other) const override;
  size_t hash() const override {
    uint64_t halves[2];
    std::memcpy(halves, bytes.data(), sizeof halves);
    return static_cast<size_t>(halves[0] ^ halves[1] * 0x9E3779B97F4A7C15u);
  }

  const NSUUID::Bytes bytes;
};

const UUIDObject* objectOf(const Value& v) noexcept {
  if (v.kind() != Kind::Object) return nullptr;
  return dynamic_cast<const UUIDObject*>(static_cast<NSObject*>(detail::Access::heap(v)));
}

bool UUIDObject::isEqual(const Value& other) const {
  const UUIDObject* uuid = objectOf(other);
  return uuid && uuid->bytes == bytes;
}

NSString UUIDObject::description() const {
  constexpr char kDigits[] = "0123456789ABCDEF";
  char text[kTextLength];
  size_t at = 0;
  for (const uint8_t byte : bytes) {
    if (isDashAt(at)) text[at++] = '-';
    text[at++] = kDigits[byte >> 4];
    text[at++] = kDigits[byte & 15];
  }
  return detail::StringFactory::ascii(text, kTextLength);
}

int valueOfDigit(char16_t c) {
  if (c >= '0' && c <= '9') return c - '0';
  const int letter = c | 0x20;
  return letter >= 'a' && letter <= 'f' && c < 0x80 ? letter - 'a' + 10 : -1;
}

}  // namespace

bool NSUUID::accepts(const Value& v) noexcept { return objectOf(v) != nullptr; }

NSUUID NSUUID::UUID() { return initWithUUIDBytes(detail::randomUUIDBytes()); }

NSUUID NSUUID::initWithUUIDString(const NSString& text) {
  const detail::Units units = detail::unitsOf(text);
  if (units.length != kTextLength) return nil;
  Bytes bytes{};
  size_t digits = 0;
  for (size_t i = 0; i < kTextLength; ++i) {
    if (isDashAt(i)) {
      if (units[i] != '-') return nil;
      continue;
    }
    const int value = valueOfDigit(units[i]);
    if (value < 0) return nil;
    bytes[digits / 2] = static_cast<uint8_t>(bytes[digits / 2] << 4 | value);
    ++digits;
  }
  return initWithUUIDBytes(bytes);
}

NSUUID NSUUID::initWithUUIDBytes(const Bytes& bytes) {
  return detail::Access::cast<NSUUID>(make<UUIDObject>(bytes));
}

NSString NSUUID::UUIDString() const {
  const UUIDObject* object = objectOf(*this);
  return object ? object->description() : NSString();
}

NSData NSUUID::data() const {
  const UUIDObject* object = objectOf(*this);
  return object ? NSData::dataWithBytes(object->bytes.data(), object->bytes.size()) : NSData();
}

NSUUID::Bytes NSUUID::bytes() const noexcept {
  const UUIDObject* object = objectOf(*this);
  return object ? object->bytes : Bytes{};
}

NSUUID::Bytes detail::randomUUIDBytes() {
  NSUUID::Bytes bytes;
  // So few bytes come at once; only a signal during the system's start can interrupt.
  while (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
    if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "getrandom");
  bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3F) | 0x80);  // the variant of RFC 4122
  return bytes;
}
