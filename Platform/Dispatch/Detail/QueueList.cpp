#include "Platform/Dispatch/Detail/QueueList.h"

#include <pthread.h>

#include <mutex>
#include <utility>

#include "Platform/Dispatch/DispatchQueue.h"

namespace orv::detail {
namespace {

constinit std::mutex listMutex;
constinit DispatchQueue* newest = nullptr;

}  // namespace

void QueueList::enter(DispatchQueue& queue) {
  [[maybe_unused]] static const int prepared =
      ::pthread_atfork([] { listMutex.lock(); }, [] { listMutex.unlock(); },
                       [] {
                         forgetAll();
                         listMutex.unlock();
                       });
  const std::lock_guard lock(listMutex);
  queue.olderQueue_ = newest;
  if (newest) newest->newerQueue_ = &queue;
  newest = &queue;
  queue.isListed_ = true;
}

void QueueList::leave(DispatchQueue& queue) noexcept {
  const std::lock_guard lock(listMutex);
  if (!queue.isListed_) return;
  (queue.newerQueue_ ? queue.newerQueue_->olderQueue_ : newest) = queue.olderQueue_;
  if (queue.olderQueue_) queue.olderQueue_->newerQueue_ = queue.newerQueue_;
}

bool QueueList::haveSubmissions() noexcept {
  const std::lock_guard lock(listMutex);
  for (const DispatchQueue* queue = newest; queue; queue = queue->olderQueue_)
    if (queue->hasSubmissions()) return true;
  return false;
}

void QueueList::forgetAll() noexcept {
  while (DispatchQueue* const queue = newest) {
    newest = std::exchange(queue->olderQueue_, nullptr);
    queue->newerQueue_ = nullptr;
    queue->isListed_ = false;
  }
}

}  // namespace orv::detail
