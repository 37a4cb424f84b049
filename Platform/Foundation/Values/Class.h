#pragma once

#include <concepts>
#include <span>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

// What a class of objects tells about itself: its name, its base, and the properties that can be read and
// written under their names.
//
//   class Person : public NSObject {
//    public:
//     NSString name() const;
//     void setName(const NSString& name);
//     int age() const;
//     ORV_PROPERTIES(Person, NSObject, ORV_PROPERTY(name, setName), ORV_READ_ONLY(age))
//   };
//   person->setValueForKey("Ada", "name");
//   Value(person).valueForKey("age");

namespace orv {

// One declared property.
struct Property {
  NSString name;
  // Remarks as words separated by commas, in the manner of an attribute list: "R" read-only, "D" served without
  // storage of its own, "V_name" stored in the variable of that name.
  NSString attributes;
  Value (*get)(const NSObject& object);
  // A null pointer: read-only. A scalar property is never handed nil.
  void (*set)(NSObject& object, const Value& value);
  bool isScalar = false;
};

// A class, one for each C++ class that declares properties; lives as long as the program. Reading is safe on
// every thread once all properties are declared.
class ORV_EXPORT Class {
 public:
  // A null base: none that declares properties.
  Class(NSString name, const std::type_info& type, const Class* base, std::vector<Property> properties = {});
  Class(const Class&) = delete;
  Class& operator=(const Class&) = delete;

  const NSString& name() const noexcept { return name_; }
  // Whether the object is of this very class, not of one derived from it.
  bool isClassOf(const NSObject& object) const noexcept;
  const Class* base() const noexcept { return base_; }
  // The class's own, not those of its bases, in the order of declaration.
  std::span<const Property> properties() const noexcept { return properties_; }
  // Its own or inherited; a null pointer when there is none of that name.
  const Property* property(const NSString& name) const noexcept;

  // Adds a property while the class is being set up.
  void declare(Property property);

 private:
  NSString name_;
  const std::type_info* type_;
  const Class* base_;
  std::vector<Property> properties_;
};

namespace detail {

// A value as what a setter takes: a number or text as any arithmetic type, a handle or reference of the right
// kind, else nil.
template <class T>
T unboxed(const Value& value) {
  if constexpr (std::same_as<T, bool>) {
    return value.toBool();
  } else if constexpr (std::is_floating_point_v<T>) {
    return static_cast<T>(value.toDouble());
  } else if constexpr (std::is_integral_v<T>) {
    return static_cast<T>(std::is_unsigned_v<T> && sizeof(T) == 8
                              ? static_cast<int64_t>(value.toUnsignedLongLong())
                              : value.toLongLong());
  } else if constexpr (requires { typename T::element_type; }) {
    return value.as<typename T::element_type>();
  } else if constexpr (std::same_as<T, Value>) {
    return value;
  } else {
    return value.as<T>();
  }
}

template <class Argument>
struct SetterOf;
template <class C, class R, class T>
struct SetterOf<R (C::*)(T)> {
  using Type = std::remove_cvref_t<T>;
};
template <class C, class R, class T>
struct SetterOf<R (C::*)(T) const> : SetterOf<R (C::*)(T)> {};

template <class Self, auto Getter>
Value readProperty(const NSObject& object) {
  return Value((static_cast<const Self&>(object).*Getter)());
}

template <class Self, auto Setter>
void writeProperty(NSObject& object, const Value& value) {
  (static_cast<Self&>(object).*Setter)(unboxed<typename SetterOf<decltype(Setter)>::Type>(value));
}

template <class Self, auto Getter, auto Setter>
Property property(const char* name) {
  using Type = typename SetterOf<decltype(Setter)>::Type;
  return {name, "", readProperty<Self, Getter>, writeProperty<Self, Setter>, std::is_arithmetic_v<Type>};
}

template <class Self, auto Getter>
Property readOnlyProperty(const char* name) {
  return {name, "R", readProperty<Self, Getter>, nullptr};
}

// The class of a base, when the base declares properties.
template <class Base>
const Class* classOf() {
  if constexpr (requires { Base::staticClass(); }) {
    return &Base::staticClass();
  } else {
    return nullptr;
  }
}

}  // namespace detail
}  // namespace orv

// Declares a class's properties, in the public part of its body.
#define ORV_PROPERTIES(ClassName, BaseName, ...)                                                          \
  static const ::orv::Class& staticClass() {                                                              \
    using Self = ClassName;                                                                               \
    static const ::orv::Class declared(#ClassName, typeid(ClassName), ::orv::detail::classOf<BaseName>(), \
                                       std::vector<::orv::Property>{__VA_ARGS__});                        \
    return declared;                                                                                      \
  }                                                                                                       \
  const ::orv::Class* objectClass() const override { return &staticClass(); }

// A property with a getter `Type name() const` and a setter `void setName(Type)`.
#define ORV_PROPERTY(name, setName) ::orv::detail::property<Self, &Self::name, &Self::setName>(#name)
#define ORV_READ_ONLY(name) ::orv::detail::readOnlyProperty<Self, &Self::name>(#name)
