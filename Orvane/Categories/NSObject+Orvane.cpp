#include "Orvane/OrvAssert.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDecimalNumber.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSSet.h"
#include "Platform/Foundation/Values/NSURL.h"
#include "Platform/Foundation/Values/Value.h"

using namespace orv;

namespace {
constexpr NSUInteger kShortDescription = 256;

// What the number and string rules of a conversion have in common: a number's answer, a string's, or none.
template <class Result, class OfNumber, class OfString>
Result convert(const Value& value, OfNumber ofNumber, OfString ofString) {
  if (value.isKindOf<NSNumber>()) return ofNumber(value.as<NSNumber>());
  if (value.isKindOf<NSString>()) return ofString(value.as<NSString>());
  return Result();
}

const NSObject* objectOf(const Value& value) {
  return value.kind() == Kind::Object ? static_cast<const NSObject*>(detail::Access::heap(value)) : nullptr;
}

// The text of what answers stringValue, else the description.
NSString stringValueOrDescription(const Value& value) {
  if (value.isKindOf<NSNumber>()) return value.as<NSNumber>().stringValue();
  const NSObject* object = objectOf(value);
  return object && object->answers(NSObject::Answer::StringValue) ? object->stringValue() : value.description();
}

// A count, a length, or "has neither".
struct Size {
  bool known = false;
  NSUInteger value = 0;
};

Size sizeOfObject(const NSObject& object) {
  if (object.answers(NSObject::Answer::Count)) return {true, object.count()};
  if (object.answers(NSObject::Answer::Length)) return {true, object.length()};
  return {};
}

Size sizeOf(const Value& value) {
  switch (value.kind()) {
    case Kind::Array:
    case Kind::Set:
    case Kind::CountedSet:
    case Kind::Dictionary: return {true, value.count()};
    case Kind::String: return {true, value.as<NSString>().length()};
    case Kind::Data: return {true, value.as<NSData>().length()};
    case Kind::Object: return sizeOfObject(*objectOf(value));
    case Kind::Nil:
    case Kind::Null:
    case Kind::Bool:
    case Kind::Int:
    case Kind::UInt:
    case Kind::Double:
    case Kind::Date:
    case Kind::Decimal:
    case Kind::BigDecimal:
    case Kind::URL: return {};
  }
  return {};
}

bool isCBlank(char16_t unit) { return unit == ' ' || (unit >= '\t' && unit <= '\r'); }

// strtoull's rule in the C locale, base 10.
uint64_t unsignedNumber(const NSString& text) {
  const detail::Units units = detail::unitsOf(text);
  size_t i = 0;
  while (i < units.length && isCBlank(units[i])) ++i;
  const bool minus = i < units.length && units[i] == '-';
  if (minus || (i < units.length && units[i] == '+')) ++i;
  uint64_t value = 0;
  for (; i < units.length && units[i] >= '0' && units[i] <= '9'; ++i) {
    const uint64_t digit = units[i] - u'0';
    if (value > (UINT64_MAX - digit) / 10) return UINT64_MAX;
    value = value * 10 + digit;
  }
  return minus ? ~value + 1 : value;
}

NSString normalisedKey(const NSString& key) {
  NSString rest = key.hasPrefix("IB") ? key.substringFromIndex(2) : key;
  if (rest.hasPrefix("$")) rest = rest.substringFromIndex(1);
  return rest.lowercaseString();
}
}  // namespace

bool Value::toBool() const {
  return convert<bool>(
      *this, [](const NSNumber& n) { return n.boolValue(); }, [](const NSString& s) { return s.boolValue(); });
}

NSInteger Value::toInt() const {
  return convert<NSInteger>(
      *this, [](const NSNumber& n) { return n.integerValue(); },
      [](const NSString& s) { return s.integerValue(); });
}

NSInteger Value::toLong() const { return toLongLong(); }

int64_t Value::toLongLong() const {
  return convert<int64_t>(
      *this, [](const NSNumber& n) { return n.longLongValue(); },
      [](const NSString& s) { return s.longLongValue(); });
}

uint64_t Value::toUnsignedLongLong() const {
  return convert<uint64_t>(
      *this, [](const NSNumber& n) { return n.unsignedLongLongValue(); }, unsignedNumber);
}

float Value::toFloat() const {
  if (isKindOf<NSDate>()) return static_cast<float>(as<NSDate>().timeIntervalSince1970());
  return convert<float>(
      *this, [](const NSNumber& n) { return n.floatValue(); },
      [](const NSString& s) { return s.floatValue(); });
}

double Value::toDouble() const {
  if (isKindOf<NSDate>()) return as<NSDate>().timeIntervalSince1970();
  return convert<double>(
      *this, [](const NSNumber& n) { return n.doubleValue(); },
      [](const NSString& s) { return s.doubleValue(); });
}

NSDecimalNumber Value::toDecimalNumber() const {
  if (isNil() || isKindOf<NSDecimalNumber>()) return as<NSDecimalNumber>();
  try {
    return NSDecimalNumber::decimalNumberWithString(toString());
  } catch (const std::exception&) {
    return nil;
  }
}

NSString Value::toString() const {
  if (isNil() || isKindOf<NSString>()) return as<NSString>();
  if (isNull()) return "";
  if (isKindOf<NSData>()) return NSString::stringWithDataEncoding(as<NSData>(), NSUTF8StringEncoding);
  if (isKindOf<NSDate>()) return as<NSDate>().unixTimeStampString();
  return stringValueOrDescription(*this);
}

NSString Value::toStringNotEmpty() const {
  const NSString text = toString();
  return text.length() > 0 ? text : NSString();
}

NSString Value::stringDefault(const NSString& defaultString) const {
  if (isNil()) return nil;
  const NSString text = isKindOf<NSString>() ? as<NSString>() : stringValueOrDescription(*this);
  return text.length() > 0 ? text : defaultString;
}

NSData Value::toData() const {
  if (isNil() || isKindOf<NSData>()) return as<NSData>();
  return isNull() ? NSData::data() : toString().dataUsingEncoding(NSUTF8StringEncoding);
}

NSDate Value::toDate() const {
  if (isKindOf<NSDate>()) return as<NSDate>();
  if (isKindOf<NSNumber>()) return NSDate::zuDateFromUNIXTimestampObject(*this);
  const NSString text = as<NSString>();
  if (text.isNil()) return nil;
  const bool human = text.containsString("-") || text.containsString(":");
  return human ? NSDate::zuDateFromHumanString(text) : NSDate::zuDateFromUNIXTimestampString(text);
}

bool Value::isNotEmpty() const {
  if (!isNotNull()) return false;
  const Size size = sizeOf(*this);
  return !size.known || size.value > 0;
}

bool Value::isTrue() const {
  if (isKindOf<NSNumber>()) return as<NSNumber>().boolValue();
  if (isKindOf<NSURL>()) return as<NSURL>().absoluteString().length() > 0;
  return isNotEmpty();
}

NSString Value::shortDescription() const {
  const NSString text = description();
  return text.length() > kShortDescription ? text.substringToIndex(kShortDescription) : text;
}

void Value::handleIBKey(const NSString& key, const KeyActions& matching) const {
  if (isNil() || key.isNil()) return;
  const NSString wanted = normalisedKey(key);
  const std::function<void()>* action = nullptr;
  for (const auto& [keys, candidate] : matching) {
    const NSArray names = keys.isKindOf<NSString>() ? NSArray{keys} : keys.as<NSArray>();
    ORV_ASSERT_TEXT(!names.isNil(), "!!(([key isKindOfClass:[NSArray class]]))");
    if (!names.containsObject(wanted)) continue;
    action = &candidate;
    break;
  }
  if (action && *action) (*action)();
}
