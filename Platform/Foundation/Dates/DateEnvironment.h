#pragma once

#include <initializer_list>

#include "Platform/Foundation/Export.h"

namespace orv::detail {

// The variables of the environment that dates depend on; null where one is not set.
struct DateEnvironment {
  const char* zone = nullptr;      // TZ
  const char* all = nullptr;       // LC_ALL
  const char* time = nullptr;      // LC_TIME
  const char* language = nullptr;  // LANG

  // The first of the locale's variables that says something; "" when none does.
  const char* locale() const noexcept {
    for (const char* value : {all, time, language})
      if (value && *value) return value;
    return "";
  }
};

// Reads them in one pass: calendars look at them in each call. Not safe against a setenv on another thread.
ORV_EXPORT DateEnvironment dateEnvironment() noexcept;

}  // namespace orv::detail
