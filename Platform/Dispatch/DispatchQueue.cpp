#include "Platform/Dispatch/DispatchQueue.h"

#include "Platform/Dispatch/Detail/ConcurrentQueue.h"
#include "Platform/Dispatch/Detail/MainQueue.h"
#include "Platform/Dispatch/Detail/QueueFrame.h"
#include "Platform/Dispatch/Detail/SerialQueue.h"
#include "Platform/Dispatch/Detail/WorkerPool.h"
#include "Platform/Foundation/System/NSConsole.h"
#include "Platform/Foundation/Threads/NSThread.h"

using namespace orv;

namespace orv::detail {
constinit thread_local QueueFrame* innermostFrame = nullptr;
}  // namespace orv::detail

// Entries are added, never removed: readers need no lock.
struct DispatchQueue::Specific {
  const void* const key;
  std::atomic<void*> value;
  Specific* const next;
};

Ref<DispatchQueue> DispatchQueue::serial(const NSString& label, const Ref<DispatchQueue>& target) {
  return make<detail::SerialQueue>(label, target);
}

Ref<DispatchQueue> DispatchQueue::concurrent(const NSString& label) {
  return make<detail::ConcurrentQueue>(label);
}

Ref<DispatchQueue> DispatchQueue::mainQueue() { return detail::MainQueue::shared(); }

Ref<DispatchQueue> DispatchQueue::globalQueue() {
  static auto* const queue = new Ref<DispatchQueue>(concurrent("org.orvane.global"));
  return *queue;
}

DispatchQueue::DispatchQueue(const NSString& label, const Ref<DispatchQueue>& target)
    : label_(label.isNil() ? NSString("") : label), target_(target) {}

DispatchQueue::~DispatchQueue() {
  for (Specific* entry = specifics_.load(std::memory_order_acquire); entry;)
    delete std::exchange(entry, entry->next);
}

NSString DispatchQueue::className() const { return "DispatchQueue"; }
NSString DispatchQueue::description() const {
  return NSString::stringWithFormat("<DispatchQueue: %@>", label_);
}

static bool accepts(bool callable, const DispatchQueue& queue) {
  if (callable) return true;
  NSLog("Empty block for %@ ignored", queue.description());
  return false;
}

void DispatchQueue::async(Block block, ExceptionHandler handler) {
  if (accepts(static_cast<bool>(block), *this) && detail::WorkerPool::isOpen())
    submit(std::move(block), handler, false);
}

void DispatchQueue::barrierAsync(Block block) {
  if (accepts(static_cast<bool>(block), *this) && detail::WorkerPool::isOpen())
    submit(std::move(block), nullptr, true);
}

void DispatchQueue::sync(BlockRef block) {
  if (accepts(static_cast<bool>(block), *this)) runNow(block, false);
}

void DispatchQueue::barrierSync(BlockRef block) {
  if (accepts(static_cast<bool>(block), *this)) runNow(block, true);
}

void DispatchQueue::setSpecific(const void* key, void* value) {
  Specific* first = specifics_.load(std::memory_order_acquire);
  for (;;) {
    for (Specific* entry = first; entry; entry = entry->next)
      if (entry->key == key) return entry->value.store(value, std::memory_order_release);
    auto added = std::unique_ptr<Specific>(new Specific{key, value, first});
    if (specifics_.compare_exchange_strong(first, added.get(), std::memory_order_acq_rel)) {
      added.release();
      return;
    }
  }
}

void* DispatchQueue::specific(const void* key) const noexcept {
  for (const Specific* entry = specifics_.load(std::memory_order_acquire); entry; entry = entry->next)
    if (entry->key == key) return entry->value.load(std::memory_order_acquire);
  return nullptr;
}

void* DispatchQueue::currentSpecific(const void* key) noexcept {
  const DispatchQueue* queue = detail::innermostFrame     ? detail::innermostFrame->queue
                               : NSThread::isMainThread() ? detail::MainQueue::ifMade()
                                                          : nullptr;
  for (; queue; queue = queue->target_.get())
    if (void* value = queue->specific(key)) return value;
  return nullptr;
}

bool DispatchQueue::isRunningHere() const noexcept {
  return detail::innermostFrame && detail::innermostFrame->queue == this;
}

Ref<DispatchQueue> DispatchQueue::current() noexcept {
  if (detail::innermostFrame) return Ref<DispatchQueue>(detail::innermostFrame->queue);
  return NSThread::isMainThread() ? mainQueue() : nil;
}
