#include "Platform/Foundation/Dates/DateEnvironment.h"

#include <unistd.h>

#include <cstring>
#include <initializer_list>

orv::detail::DateEnvironment orv::detail::dateEnvironment() noexcept {
  DateEnvironment found;
  for (char** entry = environ; entry && *entry; ++entry) {
    const char* text = *entry;
    if (text[0] == 'T' && std::strncmp(text, "TZ=", 3) == 0) found.zone = text + 3;
    if (text[0] != 'L') continue;
    if (std::strncmp(text, "LC_ALL=", 7) == 0) found.all = text + 7;
    if (std::strncmp(text, "LC_TIME=", 8) == 0) found.time = text + 8;
    if (std::strncmp(text, "LANG=", 5) == 0) found.language = text + 5;
  }
  return found;
}
