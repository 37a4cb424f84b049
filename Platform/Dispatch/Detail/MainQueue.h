#pragma once

#include <atomic>

#include "Platform/Dispatch/DispatchQueue.h"

namespace orv::detail {

// The main queue: a list of its own behind one source that stays in GLib's default context. Posting is a push
// on the list, and a wake-up of the loop only when the list was empty.
class MainQueue final : public DispatchQueue {
 public:
  static Ref<DispatchQueue> shared();
  // Null before the first use.
  static const DispatchQueue* ifMade() noexcept;
  // When the process ends, on the main thread: runs what waits; false when there was nothing.
  static bool runAccepted();

  // Looks for a block for some microseconds, before the main thread falls asleep: waking it costs more.
  static void awaitWork() noexcept;

  // For the source: whether something waits, and the running of what waits now.
  bool hasWork() const noexcept;
  void runWaiting() noexcept;

  MainQueue();

 protected:
  void submit(orv::Block&& block, ExceptionHandler handler, bool barrier) override;
  void runNow(BlockRef block, bool barrier) override;

 private:
  struct Link;
  struct Node;
  struct Call;

  static void forgetAll() noexcept;
  bool runsThisThread() const noexcept;
  void push(Link& link) noexcept;
  void takeNew() noexcept;
  static void run(Link& link) noexcept;

  std::atomic<Link*> newest_{nullptr};
  std::byte between_[64];
  Link* ready_ = nullptr;  // taken, in order; of the thread that runs the default context
};

}  // namespace orv::detail
