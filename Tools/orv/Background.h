#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

namespace tool {

class Output;

// How far work in the background is, in steps of whatever unit. The work writes it, on any thread.
struct Steps {
  std::atomic<uint64_t> done{0};
  std::atomic<uint64_t> total{0};
};

// Work on a number of items in the background, up to five at a time or one by one.
struct BackgroundWork {
  std::string_view label;  // in front of the progress bar
  size_t count = 1;        // items
  bool oneByOne = false;
  std::function<void(size_t item)> run;        // on a thread of the task queue
  std::function<void(size_t item)> deliver{};  // on the calling thread, in the order of the items
};

// Does the work through a task queue, while the calling thread shows the progress and delivers what is
// finished. Ctrl-C, and a request to end, cancel the tasks: what has been written so far are whole lines, the
// bar is wiped away, and the program exits with 130. An exception that leaves `run` ends the program's work as
// a failure.
void runInBackground(const BackgroundWork& work, Steps& steps, Output& output);

}  // namespace tool
