#pragma once

#include "Platform/Dispatch/DispatchQueue.h"

namespace orv::detail {

// One block that is running on this thread, innermost first.
struct QueueFrame {
  DispatchQueue* queue;
  QueueFrame* outer;
};

[[gnu::tls_model("initial-exec")]] extern constinit thread_local QueueFrame* innermostFrame;

// Marks the calling thread as running a block of the queue.
class InQueue {
 public:
  explicit InQueue(DispatchQueue* queue) noexcept : frame_{queue, innermostFrame} { innermostFrame = &frame_; }
  InQueue(const InQueue&) = delete;
  InQueue& operator=(const InQueue&) = delete;
  ~InQueue() { innermostFrame = frame_.outer; }

 private:
  QueueFrame frame_;
};

// What a queue does with an asynchronous block. An exception that nobody handles ends the process.
inline void runBlock(orv::Block& block, DispatchQueue::ExceptionHandler handler) noexcept {
  if (!handler) return block();
  try {
    block();
  } catch (const std::exception& exception) {
    handler(exception);
  }
}

}  // namespace orv::detail
