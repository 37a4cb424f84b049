#include "Platform/CoreServices/Detail/WatchService.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>
#include <thread>
#include <utility>

#include "Platform/CoreServices/Detail/WatchDelivery.h"

namespace orv::detail {

namespace {
constexpr int64_t kMillisecond = 1'000'000;
constexpr int64_t kLongestWait = 50 * kMillisecond;  // for a folder that is between two places
}  // namespace

std::atomic<WatchService*> WatchService::current_ = nullptr;

// Never ended: its thread may outlive the statics.
WatchService& WatchService::shared() {
  static const int watchesForks = ::pthread_atfork(nullptr, nullptr, &WatchService::leaveToParent);
  static_cast<void>(watchesForks);
  WatchService* service = current_;
  if (service) return *service;
  auto* const made = new WatchService();
  if (current_.compare_exchange_strong(service, made)) return *made;
  delete made;  // another thread was faster, and this one has no thread yet
  return *service;
}

// In a child after a fork. Its locks may be held for ever.
void WatchService::leaveToParent() {
  const WatchService* const service = current_.exchange(nullptr);
  if (!service) return;
  if (service->wakeDescriptor_ >= 0) ::close(service->wakeDescriptor_);
  if (service->inotify_.isOpen()) ::close(service->inotify_.descriptor());
}

void WatchService::wake() {
  if (wakeDescriptor_ >= 0) ::eventfd_write(wakeDescriptor_, 1);
}

bool WatchService::post(Work work) {
  {
    const std::lock_guard lock(mutex_);
    if (!start()) return false;
    work_.push_back(std::move(work));
  }
  wake();
  return true;
}

bool WatchService::start() {
  if (started_) return true;
  if (wakeDescriptor_ < 0) wakeDescriptor_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (wakeDescriptor_ < 0) return false;
  try {
    startThread();
  } catch (const std::system_error&) {
    return false;  // the next start tries again
  }
  return started_ = true;
}

// The thread takes no signals: they are for the program's own.
void WatchService::startThread() {
  sigset_t all, before;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  const std::unique_ptr<sigset_t, void (*)(sigset_t*)> restored(
      &before, [](sigset_t* mask) { ::pthread_sigmask(SIG_SETMASK, mask, nullptr); });
  std::thread([this] { run(); }).detach();
}

bool WatchService::postAndWait(const Work& work) {
  bool done = false;
  const bool isPosted = post([&] {
    work();
    const std::lock_guard lock(mutex_);
    done = true;
    changed_.notify_all();
  });
  if (!isPosted) return false;
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return done; });
  return true;
}

bool WatchService::add(const std::shared_ptr<WatchClient>& client) {
  return postAndWait([&] {
    inotify_.open();
    clients_.push_back(client);
    tree_.add(*client);
  });
}

// A service that has no thread has no clients: the client was a forked process's parent's.
void WatchService::remove(const std::shared_ptr<WatchClient>& client) {
  {
    const std::lock_guard lock(mutex_);
    if (!started_) return;
  }
  post([this, client] {
    if (std::erase(clients_, client) > 0) tree_.remove(*client);
  });
}

WatchTree::Numbers WatchService::numbers() {
  WatchTree::Numbers numbers;
  postAndWait([&] { numbers = tree_.numbers(); });
  return numbers;
}

void WatchService::setLimit(size_t limit) {
  postAndWait([&] { tree_.setLimit(limit); });
}

void WatchService::hold() {
  const bool isPosted = post([this] {
    std::unique_lock lock(mutex_);
    held_ = standing_ = true;
    changed_.notify_all();
    changed_.wait(lock, [this] { return !held_; });
    standing_ = false;
  });
  if (!isPosted) return;
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return standing_; });
}

void WatchService::goOn() {
  const std::lock_guard lock(mutex_);
  held_ = false;
  changed_.notify_all();
}

// ---- The reading thread

void WatchService::run() {
  ::pthread_setname_np(::pthread_self(), "file events");
  while (true) {
    sleep();
    for (const auto& client : clients_) client->wasFree = client->isFree();
    inotify_.drain();
    doWork();
    inotify_.drain();
    tree_.handleEvents();
    tree_.doDueWork(Moment::now().steady);
    flush();
  }
}

void WatchService::doWork() {
  std::vector<Work> work;
  {
    const std::lock_guard lock(mutex_);
    work.swap(work_);
  }
  for (const Work& each : work) {
    tree_.handleEvents();
    renewOffers();
    each();
  }
}

void WatchService::sleep() {
  pollfd ready[] = {{wakeDescriptor_, POLLIN, 0}, {inotify_.descriptor(), POLLIN, 0}};
  const int64_t due = nextDue();
  const int64_t left = due == WatchClient::kNever ? -1 : std::max<int64_t>(0, due - Moment::now().steady);
  const timespec limit{left / 1'000'000'000, left % 1'000'000'000};
  ::ppoll(ready, 2, left < 0 ? nullptr : &limit, nullptr);
  eventfd_t ignored;
  if (ready[0].revents != 0) ::eventfd_read(wakeDescriptor_, &ignored);
}

int64_t WatchService::nextDue() {
  if (inotify_.hasChunks()) return 0;
  int64_t due = tree_.nextDue();
  for (const auto& client : clients_)
    if (client->due != WatchClient::kNever && client->isFree())
      due = std::min(due, tree_.isSettled() ? client->due : client->due + kLongestWait);
  return due;
}

void WatchService::flush() {
  const int64_t now = Moment::now().steady;
  renewOffers();
  for (const auto& client : clients_) flushClient(*client, now);
}

// Folders may have been renamed while batches wait to be taken: their paths are made again. A batch that was
// taken before the events of such a rename were read had old paths: what it said is noted once more.
void WatchService::renewOffers() {
  const std::vector<FolderId> moved = tree_.takeMoved();
  for (const auto& client : clients_) {
    if (client->offered.empty()) continue;
    if (!moved.empty()) renew(*client, moved);
    if (client->wasFree && tree_.isSettled()) releaseOffered(*client);
  }
}

void WatchService::flushClient(WatchClient& client, int64_t now) {
  if (client.due > now || !client.wasFree) return;
  if (!tree_.isSettled() && now < client.due + kLongestWait) return;
  offer(client, now);
}

void WatchService::offer(WatchClient& client, int64_t now) {
  releaseOffered(client);
  client.offered = std::exchange(client.waiting, ChangeBatch());
  client.due = WatchClient::kNever;
  client.lastOffer = now;
  client.wasFree = false;
  client.offer(changesOf(client.offered, tree_.folders(), client.fileEvents, [this] { inotify_.drain(); }));
}

void WatchService::renew(WatchClient& client, const std::vector<FolderId>& moved) {
  if (!client.withdraw()) return tree_.noteAgain(client, moved);
  client.offer(changesOf(client.offered, tree_.folders(), client.fileEvents, [this] { inotify_.drain(); }));
}

void WatchService::releaseOffered(WatchClient& client) {
  for (const ChangeBatch::Entry& entry : client.offered.entries())
    if (entry.folder != kNoFolder) tree_.folders().unpin(entry.folder);
  client.offered.clear();
}

}  // namespace orv::detail
