#pragma once

#include <type_traits>
#include <utility>
#include <vector>

#include "Platform/Foundation/Values/Class.h"
#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/Value.h"

// What the macros of OrvObject.h are made of.
namespace orv::detail {

// The name of an accessor taken apart. Every name that begins with "set" sets; its key is the fourth character
// in lower case and what follows, without the last character, the colon: "setTitle:" sets "title", "setURL:"
// sets "uRL". Every other name gets the key of that name.
struct ORV_EXPORT Accessor {
  explicit Accessor(const NSString& selector);

  bool sets;
  NSString key;  // nil for a name too short to hold one
};

// An accessor that is kept for the life of the program, also while it ends.
ORV_EXPORT const Accessor& keptAccessor(const char* selector);

// The longest class body, in lines after ORV_MODEL.
inline constexpr int kModelLines = 1024;

// Tells the functions that describe a class's properties apart: one for each line with a declaration.
template <int Line>
struct DeclaredAt {};

// Collects the properties declared in the lines from First on, in their order.
template <class Model, int First, int Count>
void collectProperties(std::vector<Property>& found) {
  if constexpr (Count > 1) {
    collectProperties<Model, First, Count / 2>(found);
    collectProperties<Model, First + Count / 2, Count - Count / 2>(found);
  } else if constexpr (requires { Model::orvDeclared(DeclaredAt<First>()).name; }) {
    found.push_back(Model::orvDeclared(DeclaredAt<First>()));
  }
}

template <class Model, int First>
const Class& modelClass(const char* name, const Class& base) {
  static const Class& made = *[&] {
    std::vector<Property> properties;
    collectProperties<Model, First, kModelLines>(properties);
    return new Class(name, typeid(Model), &base, std::move(properties));  // kept while the program ends
  }();
  return made;
}

// A value just read, as what a getter answers: nil for another kind.
template <class T>
T takenAs(Value&& value) {
  if constexpr (std::is_same_v<T, Value>)
    return std::move(value);
  else if constexpr (Handle<T>)
    return T::accepts(value) ? Access::cast<T>(std::move(value)) : T();
  else
    return unboxed<T>(value);
}

// What a property may be declared as: values are kept as objects.
template <class T>
concept ModelType = !std::is_arithmetic_v<T> && !std::is_pointer_v<T> && !std::is_enum_v<T>;

}  // namespace orv::detail

// Opens the body of a model class: its name and its base, OrvObject or another model class. The class must be
// of namespace scope or public where it is nested.
#define ORV_MODEL(ClassName, BaseName)                                                                   \
 protected:                                                                                              \
  using OrvSelf = ClassName;                                                                             \
  static constexpr int orvFirstLine = __LINE__;                                                          \
  static void orvDeclared(::orv::detail::DeclaredAt<0>) {} /* hides the base's */                        \
  template <class, int, int>                                                                             \
  friend void ::orv::detail::collectProperties(::std::vector<::orv::Property>&);                         \
                                                                                                         \
 public:                                                                                                 \
  using OrvBase = BaseName;                                                                              \
  using OrvModel = ClassName;                                                                            \
  static const ::orv::Class& staticClass() {                                                             \
    static_assert(::std::derived_from<ClassName, BaseName> && ::std::derived_from<BaseName, OrvObject>); \
    return ::orv::detail::modelClass<ClassName, orvFirstLine>(#ClassName, BaseName::staticClass());      \
  }                                                                                                      \
  const ::orv::Class* objectClass() const override { return &staticClass(); }                            \
  template <class T = ClassName>                                                                         \
  static ::orv::Ref<T> initWithDictionary(const ::orv::Value& dictionary) {                              \
    return OrvObject::initWithDictionary<T>(dictionary);                                                 \
  }                                                                                                      \
  template <class T = ClassName>                                                                         \
  static ::orv::Ref<T> initWithJSON(const ::orv::Value& textOrData) {                                    \
    return OrvObject::initWithJSON<T>(textOrData);                                                       \
  }                                                                                                      \
  template <class T = ClassName>                                                                         \
  static ::orv::Ref<T> initWithJSONFromURL(const ::orv::Value& location) {                               \
    return OrvObject::initWithJSONFromURL<T>(location);                                                  \
  }

// The checks that both kinds of declaration share. `this` is of another class where ORV_MODEL is missing.
#define ORV_CHECK_DECLARED(Type)                                                                              \
  static_assert(::orv::detail::ModelType<Type>, "a property of a model holds an object: NSNumber, NSString"); \
  static_assert(::std::is_same_v<OrvSelf, ::std::remove_cvref_t<decltype(*this)>>,                            \
                "the class has no ORV_MODEL of its own");                                                     \
  static_assert(__LINE__ >= orvFirstLine && __LINE__ - orvFirstLine < ::orv::detail::kModelLines,             \
                "ORV_MODEL must come first, at most 1024 lines above")

// A property without storage of its own: its accessors go through forwardInvocation to the object's
// dictionary. `Type` is a handle or a Ref; a value of another kind reads as nil. One declaration a line.
#define ORV_DYNAMIC(Type, name, setName)                                                        \
  Type name() const {                                                                           \
    ORV_CHECK_DECLARED(Type);                                                                   \
    return ::orv::detail::takenAs<Type>(forwardGetter(orvGetterOf_##name()));                   \
  }                                                                                             \
  void setName(const Type& value) { forward(orvSetterOf_##name(), value); }                     \
  static ::orv::Property orvDeclared(::orv::detail::DeclaredAt<__LINE__>) {                     \
    return {#name, "T@\"" #Type "\",&,D,N",                                                     \
            [](const NSObject& object) {                                                        \
              return static_cast<const OrvSelf&>(object).forwardGetter(orvGetterOf_##name());   \
            },                                                                                  \
            [](NSObject& object, const ::orv::Value& value) {                                   \
              static_cast<OrvSelf&>(object).forward(orvSetterOf_##name(), value);               \
            }};                                                                                 \
  }                                                                                             \
  static const ::orv::detail::Accessor& orvGetterOf_##name() {                                  \
    static const ::orv::detail::Accessor& accessor = ::orv::detail::keptAccessor(#name);        \
    return accessor;                                                                            \
  }                                                                                             \
  static const ::orv::detail::Accessor& orvSetterOf_##name() {                                  \
    static const ::orv::detail::Accessor& accessor = ::orv::detail::keptAccessor(#setName ":"); \
    return accessor;                                                                            \
  }

// A property with a variable of its own, named with a leading underscore as in an attribute list. It bypasses
// the dictionary, and so saving and observers: the first use of the class is refused unless its
// ignoreDangerousPropertyNames holds the name. One declaration a line.
#define ORV_STORED(Type, name, setName)                                                                       \
  Type _##name{};                                                                                             \
  Type name() const {                                                                                         \
    ORV_CHECK_DECLARED(Type);                                                                                 \
    return _##name;                                                                                           \
  }                                                                                                           \
  void setName(const Type& value) { _##name = value; }                                                        \
  static ::orv::Property orvDeclared(::orv::detail::DeclaredAt<__LINE__>) {                                   \
    return {#name, "T@\"" #Type "\",&,N,V_" #name,                                                            \
            [](const NSObject& object) { return ::orv::Value(static_cast<const OrvSelf&>(object)._##name); }, \
            [](NSObject& object, const ::orv::Value& value) {                                                 \
              static_cast<OrvSelf&>(object)._##name = ::orv::detail::unboxed<Type>(value);                    \
            }};                                                                                               \
  }
