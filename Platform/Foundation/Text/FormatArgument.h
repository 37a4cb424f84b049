#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <type_traits>

#include "Platform/Foundation/Values/Value.h"

namespace orv::detail {

// One argument of a format, with its type forgotten. It only refers to what it was made from.
class FormatArgument {
 public:
  enum class Type : uint8_t { Signed, Unsigned, Double, Bytes, Units, Pointer, Object };

  template <class T>
  requires std::integral<T> || std::is_enum_v<T> FormatArgument(const T& n) : size(sizeof(T)) {
    if constexpr (std::is_enum_v<T>) {
      *this = FormatArgument(static_cast<std::underlying_type_t<T>>(n));
    } else {
      type = std::is_signed_v<T> ? Type::Signed : Type::Unsigned;
      bits = static_cast<uint64_t>(n);
    }
  }
  FormatArgument(double n) : type(Type::Double), number(n) {}
  FormatArgument(long double n) : FormatArgument(static_cast<double>(n)) {}
  FormatArgument(float n) : FormatArgument(static_cast<double>(n)) {}
  FormatArgument(const char* zeroTerminated)
      : type(Type::Bytes),
        pointer(zeroTerminated),
        length(zeroTerminated ? std::char_traits<char>::length(zeroTerminated) : 0) {}
  FormatArgument(std::string_view bytes) : type(Type::Bytes), pointer(bytes.data()), length(bytes.size()) {}
  FormatArgument(const std::string& bytes) : FormatArgument(std::string_view(bytes)) {}
  FormatArgument(const char16_t* zeroTerminated)
      : type(Type::Units),
        pointer(zeroTerminated),
        length(zeroTerminated ? std::char_traits<char16_t>::length(zeroTerminated) : 0) {}
  FormatArgument(const Value& v) : type(Type::Object), value(&v) {}
  FormatArgument(const void* p) : type(Type::Pointer), pointer(p) {}
  FormatArgument(std::nullptr_t) : type(Type::Pointer), pointer(nullptr) {}
  FormatArgument(Nil) : type(Type::Object) {}
  template <std::derived_from<NSObject> T>
  FormatArgument(const Ref<T>& ref) : type(Type::Object), held(ref) {}
  // An exception that is no value prints as its what().
  template <std::derived_from<std::exception> T>
  requires(!std::derived_from<T, Value>) FormatArgument(const T& exception)
      : FormatArgument(std::string_view(exception.what())) {}

  // The value of an object argument; a nil value prints as "(null)".
  const Value& object() const { return value ? *value : held; }

  Type type = Type::Signed;
  uint8_t size = sizeof(uint64_t);  // of an integer, in bytes
  union {
    uint64_t bits;
    double number;
    const void* pointer;
  };
  size_t length = 0;  // of bytes or units
  Value held;
  const Value* value = nullptr;
};

// The class of an argument, for the compile-time check of a format.
enum class FormatClass : uint8_t { Integer, Double, Bytes, Units, Pointer, Object };

template <class T>
consteval FormatClass formatClassOf() {
  using U = std::decay_t<T>;
  if constexpr (std::is_integral_v<U> || std::is_enum_v<U>)
    return FormatClass::Integer;
  else if constexpr (std::is_floating_point_v<U>)
    return FormatClass::Double;
  else if constexpr (std::is_null_pointer_v<U>)
    return FormatClass::Pointer;
  else if constexpr (std::is_convertible_v<U, const char*> || std::is_convertible_v<U, std::string_view>)
    return FormatClass::Bytes;
  else if constexpr (std::is_convertible_v<U, const char16_t*>)
    return FormatClass::Units;
  else if constexpr (std::is_pointer_v<U>)
    return FormatClass::Pointer;
  else
    return FormatClass::Object;
}

}  // namespace orv::detail
