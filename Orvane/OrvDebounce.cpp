#include "Orvane/OrvDebounce.h"

#include <utility>

#include "Orvane/OrvAssert.h"
#include "Orvane/OrvQueue.h"
#include "Platform/Foundation/Threads/Detail/LoopClock.h"
#include "Platform/Foundation/Threads/NSRunLoop.h"

using namespace orv;

namespace {
constexpr const char* kPerform = "performDebounce";
constexpr auto kRelaxed = std::memory_order_relaxed;
}  // namespace

Ref<OrvDebounce> OrvDebounce::initWithDelay(double delaySeconds, const Ref<NSOperationQueue>& queue,
                                            RunBlock block) {
  if (!block) OrvLogWarning("A debouncer without a block never runs");
  return make<OrvDebounce>(delaySeconds, queue, std::move(block));
}

OrvDebounce::OrvDebounce(double delay, const Ref<NSOperationQueue>& queue, RunBlock block)
    : delay_(delay), block_(std::move(block)), queue_(queue) {}

void OrvDebounce::debounce() {
  const double now = detail::loopAbsoluteTime();
  if (now < lastPerform_.load(kRelaxed) || now < lastEnqueue_.load(kRelaxed) + delay_) return;
  lastEnqueue_.store(now, kRelaxed);
  OrvQueue::main(
      [weak = WeakRef<OrvDebounce>(Ref(this))] {
        const Ref<OrvDebounce> self = weak.lock();
        if (!self) return;
        NSRunLoop::mainRunLoop()->perform(self, kPerform, nil, self->delay_,
                                          [bare = self.get()] { bare->performDebounce(); });
      },
      true);
}

void OrvDebounce::cancel() {
  lastPerform_.store(0, kRelaxed);
  lastEnqueue_.store(0, kRelaxed);
  const Ref<OrvDebounce> self(this);
  OrvQueue::main([&] { NSRunLoop::mainRunLoop()->cancelPerforms(self, kPerform, nil); }, false);
}

void OrvDebounce::performDebounce() {
  if (!block_) return;
  if (!queue_) return runBlock(nil);
  const Ref<NSBlockOperation> operation = make<NSBlockOperation>();
  operation->addExecutionBlock([weak = WeakRef<OrvDebounce>(Ref(this)), bare = operation.get()] {
    if (const Ref<OrvDebounce> self = weak.lock()) self->runBlock(Ref(bare));
  });
  queue_->addOperation(operation);
}

void OrvDebounce::runBlock(const Ref<NSBlockOperation>& operation) {
  lastPerform_.store(detail::loopAbsoluteTime(), kRelaxed);
  ORV_GUARD(block_(operation));
}
