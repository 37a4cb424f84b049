#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "Platform/Foundation/Export.h"
#include "Platform/Foundation/Values/Detail/HeapObject.h"
#include "Platform/Foundation/Values/Types.h"

class NSData;
class NSDate;
class NSDecimalNumber;
class NSObject;
class NSString;

namespace orv {

template <class T>
class Ref;

namespace detail {
struct Access;

template <class T>
concept Integer =
    std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char> && !std::same_as<T, wchar_t> &&
    !std::same_as<T, char8_t> && !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;

// The letter by which a boxed number remembers the C type it was made from.
template <class T>
constexpr char numberType() {
  if constexpr (std::same_as<T, float>) return 'f';
  if constexpr (std::floating_point<T>) return 'd';
  if constexpr (sizeof(T) == 1) return std::is_signed_v<T> ? 'c' : 's';
  if constexpr (sizeof(T) == 2) return std::is_signed_v<T> ? 's' : 'i';
  if constexpr (sizeof(T) == 4) return std::is_signed_v<T> ? 'i' : 'q';
  return 'q';
}
}  // namespace detail

// Any value: null, boolean, number, decimal amount, date, string, data, URL, array, set, dictionary,
// or an object. The root of all value handles.
//
// Sixteen bytes. Null, booleans, numbers, dates and decimal amounts of up to 64 bits live in the handle
// itself: copying them costs nothing and shares nothing. Other values live on the heap and are counted;
// a copy of the handle is another reference to the same value. Handles of immutable values may be used
// from any thread, one thread at a time per handle; mutable values need the caller's own lock.
//
// A nil handle answers every question with the neutral result of its type: false, 0, nil.
//
//   Value v = NSArray{1, "two", 3.0};
//   if (v.isKindOf<NSArray>()) std::cout << v.as<NSArray>().count();   // 3
//   Value none;                                                        // nil: none.description() is nil
class ORV_EXPORT Value {
 public:
  constexpr Value() noexcept = default;
  constexpr Value(Nil) noexcept {}

  template <std::same_as<bool> T>
  constexpr Value(T b) noexcept : Value(Kind::Bool, b ? 1 : 0, 'c') {}
  template <detail::Integer T>
  constexpr Value(T n) noexcept : Value(integerKind(n), static_cast<uint64_t>(n), integerType(n)) {}
  template <std::floating_point T>
  constexpr Value(T n) noexcept
      : Value(Kind::Double, __builtin_bit_cast(uint64_t, static_cast<double>(n)), detail::numberType<T>()) {}

  // Strings from UTF-8, UTF-16 and string classes. A null pointer and malformed UTF-8 give nil.
  Value(const char* utf8);
  Value(std::string_view utf8);
  Value(const std::string& utf8);
  Value(std::u8string_view utf8);
  Value(std::u16string_view utf16);

  template <class T>
  requires std::derived_from<T, NSObject> Value(const Ref<T>& object)
  noexcept;

  template <class T>
  Value(T*) = delete;  // a pointer would become true

  Value(const Value& other) noexcept : bits_(other.bits_), tag_(other.tag_) {
    if (isHeap()) detail::retain(heap());
  }
  Value(Value&& other) noexcept : bits_(other.bits_), tag_(std::exchange(other.tag_, 0)) {}
  Value& operator=(const Value& other) noexcept {
    Value copy(other);
    swap(copy);
    return *this;
  }
  Value& operator=(Value&& other) noexcept {
    Value taken(std::move(other));
    swap(taken);
    return *this;
  }
  ~Value() {
    if (isHeap()) detail::release(heap());
  }
  void swap(Value& other) noexcept {
    std::swap(bits_, other.bits_);
    std::swap(tag_, other.tag_);
  }

  Kind kind() const noexcept { return static_cast<Kind>(tag_ & 0xFF); }
  bool isNil() const noexcept { return kind() == Kind::Nil; }
  bool isNull() const noexcept { return kind() == Kind::Null; }
  explicit operator bool() const noexcept { return !isNil(); }  // present, not "true"

  // True when this is a T: a value class (NSString, NSNumber, ...) or a class derived from NSObject.
  // Nil is of no kind.
  template <class T>
  bool isKindOf() const noexcept;

  // This value as a T handle (for a class derived from NSObject: a Ref<T>), nil when it is of another kind.
  template <class T>
  auto as() const noexcept;

  // The very same value: one heap object, or equal immediates of one kind.
  bool isSame(const Value& other) const noexcept {
    return bits_ == other.bits_ && ((tag_ ^ other.tag_) & ~kTypeMask) == 0;
  }

  // Equality by value. Numbers compare across types (true, 1, 1.0 and the decimal 1 are equal), strings
  // by code unit, containers by content whether mutable or not. Nil equals nothing, not even nil.
  bool isEqual(const Value& other) const;

  // Equal values hash alike. The result is the same in every run and on every machine. Nil: 0.
  size_t hash() const;

  // The order of numbers, of strings (see NSString::compare) and of dates. Everything sorts above nil.
  // Raises NSInvalidArgumentException for kinds that have no order, or that have none between them.
  NSComparisonResult compare(const Value& other) const;

  // The text a log line shows. Containers print their nested, indented form. Nil: nil.
  NSString description() const;

  // The public name of the value's class, "NSString", "NSNumber", ... Nil: nil.
  NSString className() const;

  // An independent value that no longer changes. Free for immutable values; one level deep for containers.
  // Objects answer their copyOfObject, by default themselves.
  Value copy() const;

  // A new container with the same elements that can be changed. Objects answer their mutableCopyOfObject,
  // everything else itself.
  Value mutableCopy() const;

  // Number of elements of a container, or what an object answers. Everything else: 0.
  NSUInteger count() const;

  // Key-value coding - Platform/Foundation/Values/Value+KeyValueCoding.cpp

  // The value under a key: a dictionary's entry, each element's value for an array or a set (null where there
  // is none), an object's own answer, which raises NSUndefinedKeyException for a key it does not know. "self"
  // is the value itself, unless a dictionary has such an entry; "@count", "@self", "@allKeys" and "@allValues"
  // always ask a container itself, and another key with "@" that it has no entry for raises the same exception.
  // Everything else: nil.
  Value valueForKey(const NSString& key) const;
  // The value at the end of a path of keys joined by periods. On arrays and sets a component may be an
  // operator, applied to what the rest of the path gives for each element:
  //   @count                        the number of elements
  //   @sum, @avg                    a decimal number, 0 for no elements; a text counts as the number at its
  //                                 start, everything else that is no number as 0
  //   @min, @max                    the smallest and largest number, text or date, by the kind of the first
  //                                 one; nil when there is none
  //   @unionOfObjects               an array of all that is not nil
  //   @distinctUnionOfObjects       the same, equal values once, where the first one stood
  // Raises NSInvalidArgumentException for an operator that is none of these or has no path after it.
  Value valueForKeyPath(const NSString& path) const;
  // Stores in a mutable dictionary (nil removes), in each element of an array or a set, or in an object. Raises
  // NSUndefinedKeyException for an immutable dictionary and where an object does; does nothing to other values.
  void setValueForKey(const Value& value, const NSString& key) const;
  void setValueForKeyPath(const Value& value, const NSString& path) const;

  // Nil equals nil here, unlike isEqual: what == is expected to say.
  friend bool operator==(const Value& a, const Value& b) { return a.isSame(b) || a.isEqual(b); }

  // Value(Orvane) - Orvane/Categories/NSObject+Orvane.cpp
  // Loose data, from JSON, property lists or the pasteboard, as what is needed. None of these raises or logs: a
  // value of a kind that a conversion does not know gives its neutral result. Decimal amounts are numbers.

  // Numbers: not zero; strings: "yes", "true", "1" and the like (see NSString::boolValue). "no" is false here,
  // while `isTrue` asks for emptiness alone.
  bool toBool() const;
  // Numbers truncated, strings by the integer at their start ("42abc" is 42); everything else 0.
  NSInteger toInt() const;
  NSInteger toLong() const;
  int64_t toLongLong() const;
  // Strings as C reads them: a leading minus wraps around ("-1" is 2^64 - 1), too large a number is 2^64 - 1.
  uint64_t toUnsignedLongLong() const;
  // Numbers, the number at the start of a string, and the seconds since 1970 of a date; everything else 0.
  float toFloat() const;
  double toDouble() const;
  // A decimal amount itself, else the number at the start of `toString`; not-a-number where there is none. nil
  // only where reading it raises.
  NSDecimalNumber toDecimalNumber() const;
  // Null is "", data is read as UTF-8 (nil when it is not), a date is its whole seconds since 1970; everything
  // else is what it answers to stringValue, else its description.
  NSString toString() const;
  // nil instead of "".
  NSString toStringNotEmpty() const;
  // A string itself, else stringValue, else the description, also of null and data; the default where that is
  // empty.
  NSString stringDefault(const NSString& defaultString) const;
  // Data itself, null is empty, everything else the UTF-8 of `toString`; nil for text that UTF-8 cannot hold.
  NSData toData() const;
  // A date itself; a text with "-" or ":" as people write dates, another as seconds since 1970 ("abc" is 1970
  // itself); a number as seconds since 1970. Everything else nil.
  NSDate toDate() const;

  bool isNotNull() const noexcept { return !isNil() && !isNull(); }
  Value nilOrObject() const { return isNotNull() ? *this : Value(); }
  // Not null, and what has a count or a length has one above 0.
  bool isNotEmpty() const;
  Value nilOrNotEmptyObject() const { return isNotEmpty() ? *this : Value(); }
  // Numbers: not zero; URLs: not empty; what has a count or a length: above 0, so "false" is true; null: false;
  // everything else true.
  bool isTrue() const;

  // The first 256 code units of the description.
  NSString shortDescription() const;

  // Actions under their keys, each key one string or an array of strings in lower case.
  using KeyActions = std::vector<std::pair<Value, std::function<void()>>>;
  // Runs the first action whose key is the given one, freed from a leading "IB", then a leading "$", in lower
  // case: "IB$Save" runs the action of "save". Asserts softly that every key it passes is a string or an array.
  void handleIBKey(const NSString& key, const KeyActions& matching) const;

  // Value(OrvaneJSON) - Orvane/Categories/NSObject+OrvaneJSON.cpp
  // One way: reading gives back strings, numbers, booleans, nulls, arrays and dictionaries, never dates or
  // amounts.

  // The tree that stands for the value in JSON, made of new mutable containers: dates as ISO 8601 text, decimal
  // amounts as text, day numbers as integers, model objects as their dictionary; every other number, booleans
  // included, as its double value. Keys stay as they are. What has no form (data, URLs, sets, other objects)
  // becomes "ERROR:" and its description, with a Warning each. Raises NSInvalidArgumentException for a
  // container that contains itself.
  Value orv_jsonObject() const;
  // That tree as JSON in UTF-8: compact, in the order of the dictionaries; pretty: indented, with sorted keys.
  // nil for nil, and for a string that has no UTF-8. What is not a container, or holds a number that is not
  // finite, a key that is no string, or more than 512 levels raises NSInvalidArgumentException.
  NSData toJSONData() const;
  NSData toJSONDataPretty() const;
  // The same as text. The pretty form logs an error of the serializer at Debug.
  NSString toJSONString() const;
  NSString toJSONPretty() const;

  // The description; "(null)" for nil.
  friend ORV_EXPORT std::ostream& operator<<(std::ostream& out, const Value& value);

 protected:
  friend struct detail::Access;

  constexpr Value(Kind kind, uint64_t bits, char type) noexcept
      : bits_(bits), tag_(static_cast<uint64_t>(kind) | static_cast<uint64_t>(type) << 8) {}

  // Takes over one reference.
  explicit Value(detail::HeapObject* adopted) noexcept
      : bits_(reinterpret_cast<uint64_t>(adopted)), tag_(adopted ? static_cast<uint64_t>(adopted->kind) : 0) {}

  bool isHeap() const noexcept { return (tag_ & 0xFF) >= static_cast<uint64_t>(Kind::BigDecimal); }
  detail::HeapObject* heap() const noexcept { return reinterpret_cast<detail::HeapObject*>(bits_); }

  static constexpr uint64_t kTypeMask = 0xFF00;

  // The payload: a number's bits, or the address of the heap object.
  uint64_t bits_ = 0;
  // From the lowest byte up: kind, number type, decimal exponent, decimal sign.
  uint64_t tag_ = 0;

 private:
  template <class T>
  static constexpr Kind integerKind(T n) {
    return std::is_unsigned_v<T> && sizeof(T) == 8 && static_cast<uint64_t>(n) > INT64_MAX ? Kind::UInt
                                                                                           : Kind::Int;
  }
  template <class T>
  static constexpr char integerType(T n) {
    return integerKind(n) == Kind::UInt ? 'Q' : detail::numberType<T>();
  }
};

static_assert(sizeof(Value) == 16);

namespace detail {

// The door through which the library's own units reach into a handle.
struct Access {
  static HeapObject* heap(const Value& v) noexcept { return v.isHeap() ? v.heap() : nullptr; }
  static uint64_t bits(const Value& v) noexcept { return v.bits_; }
  static uint64_t tag(const Value& v) noexcept { return v.tag_; }
  static char type(const Value& v) noexcept { return static_cast<char>(v.tag_ >> 8 & 0xFF); }
  static Value immediate(uint64_t bits, uint64_t tag) noexcept {
    Value v;
    v.bits_ = bits;
    v.tag_ = tag;
    return v;
  }
  static Value adopt(HeapObject* object) noexcept { return Value(object); }
  static Value share(HeapObject* object) noexcept {
    if (object) retain(object);
    return Value(object);
  }
  // Views a value as a handle whose kind the caller has checked.
  template <class Handle>
  static Handle cast(Value v) noexcept {
    Handle handle;
    static_cast<Value&>(handle).swap(v);
    return handle;
  }
};

// A value handle says with `static bool accepts(const Value&)` which values it can stand for.
template <class T>
concept Handle = std::derived_from<T, Value> && requires(const Value& v) {
  { T::accepts(v) } -> std::same_as<bool>;
};

}  // namespace detail
}  // namespace orv

template <std::derived_from<orv::Value> T>
struct std::hash<T> {
  size_t operator()(const T& value) const { return value.hash(); }
};

#include "Platform/Foundation/Values/NSObject.h"  // completes the members that name objects
