#pragma once

#include <fmt/format.h>

#include <concepts>
#include <string>
#include <string_view>

#include "Platform/Foundation/Values/NSString.h"

// Values as arguments of the fmt library, for applications that use it; nothing else includes this header.
// A value prints its description, nil "(null)", with the width, alignment and precision of a text.
//
//   fmt::print("{:>10}|{}\n", NSString("name"), NSArray{1, 2});
template <std::derived_from<orv::Value> T>
struct fmt::formatter<T> : fmt::formatter<std::string_view> {
  template <class Context>
  auto format(const T& value, Context& context) const {
    const std::string text = value.isNil() ? std::string("(null)") : value.description().utf8();
    return fmt::formatter<std::string_view>::format(text, context);
  }
};
