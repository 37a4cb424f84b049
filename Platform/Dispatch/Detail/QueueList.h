#pragma once

class DispatchQueue;

namespace orv::detail {

// All serial and concurrent queues there are: when the process ends, one that a thread of the application is
// just using may hold blocks of which the pool has not heard. A forked child begins with none: what its
// parent's queues hold is the parent's. Safe on every thread; needs no destruction.
class QueueList {
 public:
  static void enter(DispatchQueue& queue);
  // Before the queue's destructor ends anything that hasSubmissions looks at.
  static void leave(DispatchQueue& queue) noexcept;

  // Whether blocks wait in any of them.
  static bool haveSubmissions() noexcept;

 private:
  static void forgetAll() noexcept;
};

}  // namespace orv::detail
