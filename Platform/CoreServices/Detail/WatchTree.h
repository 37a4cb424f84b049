#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Platform/CoreServices/Detail/FolderList.h"
#include "Platform/CoreServices/Detail/FolderTable.h"
#include "Platform/CoreServices/Detail/Inotify.h"
#include "Platform/CoreServices/Detail/WatchClient.h"

namespace orv::detail {

// Keeps the table of watched folders in step with the disk and notes each change with those whom it concerns.
// For the reading thread.
//
// Events tell of the past, the disk of the present; both are needed. A folder is watched first and listed then,
// so nothing that is put into it is missed. The kernel gives a folder the same watch again whatever its path,
// so the watch tells whether a folder that is found somewhere is a new one, or a known one that was moved.
class WatchTree {
 public:
  struct Numbers {
    size_t folders = 0;  // with those that lead to the roots
    size_t watches = 0;
    size_t polled = 0;
    size_t bytes = 0;
    size_t comparisons = 0;  // after lost events
    size_t waiting = 0;      // items in batches that were not offered yet
  };

  explicit WatchTree(Inotify& inotify) : inotify_(inotify) {}

  // Watches everything that exists below the client's paths, without a report.
  void add(WatchClient& client);
  void remove(WatchClient& client);
  const std::vector<WatchClient*>& clients() const noexcept { return clients_; }

  // Works on all that was read.
  void handleEvents();
  // Does what is due: forgets folders that have left, looks through folders that cannot be watched.
  void doDueWork(int64_t now);
  int64_t nextDue() const;
  // While a folder is on its way from one place to another its path is not known.
  bool isSettled() const noexcept { return leaving_.empty(); }
  // The folders that were moved since the last call: paths made before are out of date.
  std::vector<FolderId> takeMoved() { return std::exchange(moved_, {}); }
  // Notes once more what a client was offered below these folders.
  void noteAgain(WatchClient& client, const std::vector<FolderId>& moved);

  FolderTable& folders() noexcept { return folders_; }
  Numbers numbers() const;
  // No more watches than that, for tests.
  void setLimit(size_t limit) noexcept { limit_ = limit; }

 private:
  enum class Look : uint8_t { Nothing, Quietly, All, Since };

  struct Root {
    WatchClient* client;
    std::string given;
    std::string path;  // where that leads, looked up anew as long as there is no folder
    FolderId folder = kNoFolder;
    bool present = false;
  };
  struct Leaving {
    FolderId folder;
    uint32_t cookie;
    int64_t until;
  };
  struct Scan {
    FolderId folder;
    Look look;
    bool deep;  // also through folders that are known
    int64_t since = 0;
    uint32_t flags = 0;
  };
  // A folder that was not where it should be: one above it is being renamed.
  struct Missed {
    FolderId parent;
    std::string name;
    int64_t until;
    int tries;
  };
  struct Found {
    FolderId parent;
    std::string_view name;
    FolderId known;
  };

  // Events
  void handleChunk(const Inotify::Chunk& chunk);
  void handle(const inotify_event& event);
  void handleOwn(FolderId folder, uint32_t mask);
  void handleChild(FolderId folder, std::string_view name, const inotify_event& event);
  void handleOnTheWay(FolderId folder, std::string_view name, const inotify_event& event);
  void leave(FolderId folder, std::string_view name, uint32_t cookie);
  void arrive(FolderId folder, std::string_view name, uint32_t cookie);
  void vanish(FolderId folder, std::string_view name);
  void forgetWatch(FolderId folder);
  void unmount(FolderId folder);
  bool stands(FolderId folder);
  bool isUnwatched(FolderId folder, uint64_t inode) const;

  // Folders
  int addWatch(const std::string& path, uint32_t mask);
  void setWatch(FolderId folder, int watch);
  void enterChild(FolderId parent, std::string_view name);
  FolderId enter(FolderId parent, std::string_view name, Look look, bool deep = false, uint32_t mask = 0);
  FolderId enterNew(const Found& found, int watch, Look look);
  FolderId enterMoved(const Found& found, FolderId folder);
  FolderId enterUnwatched(const Found& found, int error, Look look, bool deep);
  void place(FolderId folder, FolderId parent, std::string_view name);
  void displace(FolderId folder);
  void drop(FolderId folder);
  void end(FolderId folder);
  bool isAlias(FolderId folder, const std::string& path) const;
  void takeLeaving(FolderId folder);
  void markClosed(FolderId folder);
  void retryClosed(FolderId folder);

  // Scans
  void scanLater(const Scan& scan);
  Look lookForNew(FolderId parent, Look look);
  void miss(FolderId parent, std::string_view name, int tries = 0);
  void retryMissed();
  void endMissed();
  void endMissed(const Missed& missed);
  void recheck(FolderId parent, const std::string& name);
  void settle();
  bool look(const Scan& scan);
  bool listFolder(const Scan& scan);
  bool compare(const Scan& scan);
  void compareItem(const Scan& scan, const FolderList::Facts& facts);
  void dropUnvisited(FolderId parent);
  void requestComparison(const Moment& since);
  void compareAll();
  void compareRoot(const Root& root);
  void dropUnvisitedEverywhere();
  void poll();
  void pollFolder(FolderId folder, int64_t since);

  // Roots
  void checkRoots();
  void checkRoot(Root& root, bool starting);
  FolderId find(Root& root);
  FolderId follow(const std::string& path);
  void tellRoot(const Root& root);
  void markRoots();
  void prune();
  bool leadsToRoot(FolderId folder, std::string_view name) const;
  bool concernsRoot(FolderId folder, std::string_view name, uint32_t mask) const;

  // Notes
  const std::vector<WatchClient*>& clientsOf(FolderId folder);
  std::vector<WatchClient*> findClients(FolderId folder) const;
  void note(FolderId folder, std::string_view name, uint32_t flags);
  void noteFolder(FolderId folder, uint32_t flags);
  void noteFor(WatchClient& client, FolderId folder, std::string_view name, uint32_t flags, uint64_t id);
  void forgetClients() noexcept { clientsFolder_ = kNoFolder; }
  void releasePins(WatchClient& client);

  Inotify& inotify_;
  FolderTable folders_;
  FolderList list_;
  std::vector<WatchClient*> clients_;
  std::vector<Root> roots_;
  std::vector<Leaving> leaving_;
  std::vector<Scan> scans_;
  const Scan* comparison_ = nullptr;  // while all trees are compared: how
  std::vector<std::pair<FolderId, std::string>> rechecks_;
  std::deque<Missed> missed_;
  std::unordered_map<FolderId, uint64_t> polled_;  // folders without a watch, with their inodes
  std::vector<FolderId> moved_;
  std::string path_;  // of what is entered
  FolderId clientsFolder_ = kNoFolder;
  std::vector<WatchClient*> clientsThere_;
  Moment chunkSince_;
  Moment lostSince_;
  Moment polledAt_;
  int64_t nextPoll_ = WatchClient::kNever;
  size_t limit_ = SIZE_MAX;
  size_t watches_ = 0;
  size_t comparisons_ = 0;
  uint64_t lastEvent_ = 0;
  bool lost_ = false;
  bool rootsChanged_ = false;
  bool warned_ = false;
  bool blind_ = false;  // some folders have no watch, or had none at the last poll
};

}  // namespace orv::detail
