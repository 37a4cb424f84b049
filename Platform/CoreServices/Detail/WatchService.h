#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "Platform/CoreServices/Detail/WatchTree.h"
#include "Platform/Foundation/Export.h"

namespace orv::detail {

// The one inotify instance of the process and the thread that reads it: it keeps the tree of watched folders
// and hands each client its batches when they are due. The thread is started with the first client and sleeps
// while there is none; the instance is closed with the last. A child process that was forked has a service of
// its own: the parent's thread is not there, and its inotify instance is the parent's.
class ORV_EXPORT WatchService {
 public:
  static WatchService& shared();

  // Returns when everything is watched. Not on the reading thread. False when there is no descriptor or no
  // thread left to work with.
  bool add(const std::shared_ptr<WatchClient>& client);
  // Returns at once. The client may be called until the thread has come to it.
  void remove(const std::shared_ptr<WatchClient>& client);
  // A client has taken its batch.
  void wake();

  // For tests and measurements: what the tree holds; no more watches than that; the thread stands still, so
  // that the kernel's queue fills.
  WatchTree::Numbers numbers();
  void setLimit(size_t limit);
  void hold();
  void goOn();

 private:
  using Work = std::function<void()>;

  WatchService() = default;
  ~WatchService() = default;
  static void leaveToParent();
  bool post(Work work);
  bool start();
  void startThread();
  bool postAndWait(const Work& work);
  void run();
  void doWork();
  void sleep();
  int64_t nextDue();
  void flush();
  void flushClient(WatchClient& client, int64_t now);
  void offer(WatchClient& client, int64_t now);
  void renewOffers();
  void renew(WatchClient& client, const std::vector<FolderId>& moved);
  void releaseOffered(WatchClient& client);

  static std::atomic<WatchService*> current_;

  std::atomic<int> wakeDescriptor_ = -1;
  std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  std::vector<Work> work_;
  bool started_ = false;
  bool held_ = false;
  bool standing_ = false;

  Inotify inotify_;  // the thread's own, as is all that follows
  WatchTree tree_{inotify_};
  std::vector<std::shared_ptr<WatchClient>> clients_;
};

}  // namespace orv::detail
