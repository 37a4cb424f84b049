#pragma once

#include "Platform/Foundation/Text/Format.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSString.h"

// Takes a format the way the logging calls do.
template <class... Args>
void say(orv::detail::FormatString<std::type_identity_t<Args>...> format, const Args&... args) {
  static_cast<void>(orv::detail::formatted<Args...>(format, args...));
}
