#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace tool {

// A progress bar on standard error. It shows only when standard error is a terminal and the work takes longer
// than half a second, is redrawn at most ten times a second, and is wiped away at the end.
class Progress {
 public:
  // The work in steps of whatever unit; 0 when the amount is not known, which shows a count.
  Progress(std::string_view label, uint64_t total);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() { clear(); }

  void advance(uint64_t steps) { set(done_ + steps, total_); }
  void set(uint64_t done, uint64_t total);
  // Wipes the bar away, before a line is written to the terminal.
  void clear();

 private:
  using Clock = std::chrono::steady_clock;

  void draw();

  std::string label_;
  uint64_t total_;
  uint64_t done_ = 0;
  bool enabled_;
  bool visible_ = false;
  Clock::time_point next_;  // when to draw again
};

}  // namespace tool
