#pragma once

#include <time.h>

#include <algorithm>
#include <cstdint>

namespace orv::detail {

// A moment on the clock that never jumps and on the one that dates files, in nanoseconds.
struct Moment {
  int64_t steady = 0;
  int64_t wall = 0;

  static int64_t read(clockid_t clock) noexcept {
    timespec time{};
    ::clock_gettime(clock, &time);
    return nanoseconds(time.tv_sec, time.tv_nsec);
  }
  static Moment now() noexcept { return {read(CLOCK_MONOTONIC), read(CLOCK_REALTIME)}; }
  static int64_t nanoseconds(int64_t seconds, int64_t rest) noexcept { return seconds * 1'000'000'000 + rest; }

  // The earliest date that a file changed since then can have: the wall clock may have been set back meanwhile,
  // and dates are taken from the tick before, or a little earlier still.
  int64_t earliestDate() const noexcept {
    constexpr int64_t kTick = 20'000'000;
    const Moment current = now();
    return steady + std::min(wall - steady, current.wall - current.steady) - kTick;
  }

  friend bool operator<(const Moment& a, const Moment& b) noexcept { return a.steady < b.steady; }
};

}  // namespace orv::detail
