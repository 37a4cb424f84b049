#pragma once

#include "Platform/Foundation/Values/NSString.h"

namespace orv::detail {

// Writes one line to standard error in one write, and to the system log where there is one:
//   2024-01-02 03:04:05.678 Process[pid:tid] message
// Local time. The last resort of everything else, so it never throws, takes no lock of its own, and works from
// any thread, before main and in static destructors.
ORV_EXPORT void consoleWrite(const NSString& message) noexcept;

}  // namespace orv::detail

// Formats a message and writes it to the console. Never throws: a message that cannot be formatted is dropped.
//
//   NSLog("%@ has %d items", name, count);
template <class... Args>
void NSLog(const NSString& format, const Args&... args) noexcept {
  try {
    orv::detail::consoleWrite(NSString::stringWithFormat(format, args...));
  } catch (...) {
    orv::detail::consoleWrite("(a message could not be formatted)");
  }
}
