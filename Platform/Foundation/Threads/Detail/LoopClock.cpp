#include "Platform/Foundation/Threads/Detail/LoopClock.h"

#include <atomic>
#include <chrono>
#include <cmath>

#include "Platform/Foundation/Threads/NSRunLoop.h"
#include "Platform/Foundation/Values/NSDate.h"

namespace orv::detail {
namespace {

std::atomic<bool> isVirtual{false};
std::atomic<int64_t> virtualMicroseconds{0};
std::atomic<double> virtualStart{0};  // the wall clock at microsecond 0

constexpr double kMillion = 1e6;

void runAllDue() {
  const Ref<NSRunLoop> loop = NSRunLoop::mainRunLoop();
  loop->clockChanged();
  while (loop->runOnce(false)) {
  }
}

}  // namespace

int64_t loopMicroseconds() noexcept {
  if (isVirtual.load(std::memory_order_relaxed)) return virtualMicroseconds;
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

double loopAbsoluteTime() noexcept {
  if (!isVirtual.load(std::memory_order_relaxed)) return CFAbsoluteTimeGetCurrent();
  return virtualStart + static_cast<double>(virtualMicroseconds) / kMillion;
}

VirtualClock::VirtualClock(double secondsSince2001) {
  virtualMicroseconds = 0;
  virtualStart = secondsSince2001;
  isVirtual = true;
}

VirtualClock::~VirtualClock() {
  isVirtual = false;
  NSRunLoop::mainRunLoop()->clockChanged();
}

void VirtualClock::advance(double seconds) {
  const int64_t end = virtualMicroseconds + std::llround(seconds * kMillion);
  const Ref<NSRunLoop> loop = NSRunLoop::mainRunLoop();
  runAllDue();
  for (int64_t due; (due = loop->nextDue()) <= end;) {
    if (due > virtualMicroseconds) virtualMicroseconds = due;
    runAllDue();
  }
  virtualMicroseconds = end;
  runAllDue();
}

void VirtualClock::setAbsoluteTime(double secondsSince2001) {
  virtualStart = secondsSince2001 - static_cast<double>(virtualMicroseconds) / kMillion;
}

}  // namespace orv::detail
