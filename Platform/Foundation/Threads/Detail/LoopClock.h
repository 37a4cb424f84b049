#pragma once

#include <cstdint>

#include "Platform/Foundation/Export.h"

// The time of run loops and of what is scheduled on them.
namespace orv::detail {

// Microseconds of a clock that never goes back: what delays are measured with.
ORV_EXPORT int64_t loopMicroseconds() noexcept;
// Seconds since 2001 of the wall clock.
ORV_EXPORT double loopAbsoluteTime() noexcept;

// While it lives, both clocks stand still and go forward only by `advance`: tests of delays need no sleep. One
// at a time, on the main thread.
class ORV_EXPORT VirtualClock {
 public:
  explicit VirtualClock(double secondsSince2001 = 700000000);
  VirtualClock(const VirtualClock&) = delete;
  VirtualClock& operator=(const VirtualClock&) = delete;
  ~VirtualClock();

  // Lets time pass, stopping at each delayed call of the main run loop that becomes due, and runs all that the
  // main run loop has to do.
  void advance(double seconds);
  // Sets the wall clock alone, back if need be, as an administrator would.
  void setAbsoluteTime(double secondsSince2001);
};

}  // namespace orv::detail
