#pragma once

#include "Platform/Foundation/Export.h"

namespace orv::detail {

class SerialQueue;

#ifdef ORVANE_QUEUE_CHECKS
inline constexpr bool kQueueChecks = true;
#else
inline constexpr bool kQueueChecks = false;
#endif

// Tells that the calling thread waits for its turn in a queue. In builds with checks a circle of waits is
// reported on the console: once for each pair of queues, with both labels, while the threads go on waiting.
class WaitNote {
 public:
  explicit WaitNote(const SerialQueue& queue) {
    if constexpr (kQueueChecks) begin(queue);
  }
  WaitNote(const WaitNote&) = delete;
  WaitNote& operator=(const WaitNote&) = delete;
  ~WaitNote() {
    if constexpr (kQueueChecks) end();
  }

 private:
  static void begin(const SerialQueue& queue);
  static void end();
};

}  // namespace orv::detail
