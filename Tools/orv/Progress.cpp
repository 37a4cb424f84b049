#include "Tools/orv/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace tool {
namespace {
constexpr uint64_t kBarWidth = 30;
constexpr auto kPatience = std::chrono::milliseconds(500);
constexpr auto kInterval = std::chrono::milliseconds(100);
}  // namespace

Progress::Progress(std::string_view label, uint64_t total)
    : label_(label), total_(total), enabled_(::isatty(STDERR_FILENO) == 1), next_(Clock::now() + kPatience) {}

void Progress::set(uint64_t done, uint64_t total) {
  done_ = done;
  total_ = total;
  if (!enabled_ || Clock::now() < next_) return;
  draw();
  next_ = Clock::now() + kInterval;
}

void Progress::draw() {
  visible_ = true;
  if (total_ == 0) {
    std::fprintf(stderr, "\r%s %llu", label_.c_str(), static_cast<unsigned long long>(done_));
    return;
  }
  const uint64_t done = std::min(done_, total_);
  const uint64_t filled = done * kBarWidth / total_;
  const std::string bar = std::string(filled, '#') + std::string(kBarWidth - filled, '.');
  std::fprintf(stderr, "\r%s [%s] %3llu%%", label_.c_str(), bar.c_str(),
               static_cast<unsigned long long>(done * 100 / total_));
}

void Progress::clear() {
  if (visible_) std::fputs("\r\033[K", stderr);
  visible_ = false;
}

}  // namespace tool
