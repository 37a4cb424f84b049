// The part of WatchTree that looks at the disk: scans, comparisons, and the paths that lead to the roots.

#include <algorithm>
#include <utility>

#include "Platform/CoreServices/Detail/RootPath.h"
#include "Platform/CoreServices/Detail/WatchTree.h"
#include "Platform/CoreServices/FSEvents.h"

namespace orv::detail {

namespace {

constexpr int kFoldersBetweenDrains = 64;
constexpr int64_t kPollInterval = 1'000'000'000;
constexpr int64_t kPollRest = 10;  // times as long as the looking took
// Above a root, where only folders that come and go matter.
constexpr uint32_t kWayMask =
    IN_CREATE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_ONLYDIR | IN_DONT_FOLLOW | IN_MASK_ADD;

uint32_t kindFlag(FolderList::Kind kind) {
  switch (kind) {
    case FolderList::Kind::Folder: return kFSEventStreamEventFlagItemIsDir;
    case FolderList::Kind::Link: return kFSEventStreamEventFlagItemIsSymlink;
    case FolderList::Kind::File: break;
  }
  return kFSEventStreamEventFlagItemIsFile;
}

uint32_t changeFlags(const FolderList::Facts& facts, int64_t since) {
  uint32_t flags = 0;
  if (facts.born >= since) flags |= kFSEventStreamEventFlagItemCreated;
  if (facts.modified >= since) flags |= kFSEventStreamEventFlagItemModified;
  return flags ? flags : static_cast<uint32_t>(kFSEventStreamEventFlagItemInodeMetaMod);
}

}  // namespace

// ---- Scans

void WatchTree::scanLater(const Scan& scan) {
  if (scan.look == Look::Nothing) return;
  folders_.set(scan.folder, FolderTable::Unseen, true);
  scans_.push_back(scan);
}

// What is quietly found for one client is news for others who watch the same place.
WatchTree::Look WatchTree::lookForNew(FolderId parent, Look look) {
  const size_t clients = clientsOf(parent).size();
  const bool news = look == Look::Quietly ? clients > 1 : look == Look::Nothing && clients > 0;
  return news ? Look::All : look;
}

// Looks through all folders that were entered, and at the places they have left.
void WatchTree::settle() {
  int looked = 0;
  while (!scans_.empty() || !rechecks_.empty()) {
    if (!scans_.empty()) {
      const Scan scan = scans_.back();
      scans_.pop_back();
      if (!folders_.has(scan.folder, FolderTable::Linked)) continue;  // scanned where it turns up again
      const bool done = look(scan);
      folders_.set(scan.folder, FolderTable::Unseen, !done);
      if (!done && scan.folder != FolderTable::top())
        miss(folders_.parent(scan.folder), folders_.name(scan.folder));
    } else {
      const auto [parent, name] = std::move(rechecks_.back());
      rechecks_.pop_back();
      recheck(parent, name);
      folders_.unpin(parent);
    }
    if (++looked % kFoldersBetweenDrains == 0) inotify_.drain();
  }
}

void WatchTree::recheck(FolderId parent, const std::string& name) {
  if (folders_.has(parent, FolderTable::Dead)) return;
  folders_.has(parent, FolderTable::Linked) ? enterChild(parent, name) : miss(parent, name);
}

// False when the folder is not there, or another one was in its place: what was found belongs to that one.
bool WatchTree::look(const Scan& scan) {
  if (scan.look != Look::Quietly && !stands(scan.folder)) return false;
  const bool done = scan.look == Look::Since ? compare(scan) : listFolder(scan);
  return done && stands(scan.folder);
}

bool WatchTree::listFolder(const Scan& scan) {
  if (!list_.open(folders_.path(scan.folder))) return false;
  folders_.set(scan.folder, FolderTable::Closed, false);
  while (list_.next()) {
    const FolderList::Kind kind = list_.kind();
    if (scan.look == Look::All)
      note(scan.folder, list_.name(), kFSEventStreamEventFlagItemCreated | kindFlag(kind));
    if (kind != FolderList::Kind::Folder) continue;
    const FolderId folder = enter(scan.folder, list_.name(), scan.look, scan.deep);
    if (folder != kNoFolder) folders_.set(folder, FolderTable::Visited, true);
  }
  list_.close();
  return true;
}

// Reports what has changed since a moment: the kernel dates every change of an item, renames included.
bool WatchTree::compare(const Scan& scan) {
  if (!list_.open(folders_.path(scan.folder))) return false;
  folders_.set(scan.folder, FolderTable::Visited, true);
  FolderList::Facts facts;
  while (list_.next())
    if (list_.facts(facts)) compareItem(scan, facts);
  list_.close();
  return true;
}

void WatchTree::compareItem(const Scan& scan, const FolderList::Facts& facts) {
  const std::string_view name = list_.name();
  if (facts.changed >= scan.since)
    note(scan.folder, name, scan.flags | changeFlags(facts, scan.since) | kindFlag(list_.kind()));
  if (!facts.isFolder) return;
  const FolderId known = folders_.child(scan.folder, name);
  const auto polled = polled_.find(known);
  if (polled != polled_.end() && polled->second != facts.inode) drop(known);  // another one in its place
  const FolderId folder = enter(scan.folder, name, Look::All);
  if (folder == kNoFolder) return;
  folders_.set(folder, FolderTable::Visited, true);
  const bool isScanned = folders_.has(folder, FolderTable::Unseen);  // as a new one
  if (scan.deep && folder == known && !isScanned)
    scanLater({folder, Look::Since, true, scan.since, scan.flags});
  if (folder != known)
    note(scan.folder, name, scan.flags | kFSEventStreamEventFlagItemCreated | kFSEventStreamEventFlagItemIsDir);
}

// Events were lost: nothing before `since` was.
void WatchTree::requestComparison(const Moment& since) {
  lostSince_ = lost_ ? std::min(lostSince_, since) : since;
  lost_ = true;
}

void WatchTree::compareAll() {
  lost_ = false;
  ++comparisons_;
  const Scan comparison{kNoFolder, Look::Since, true, lostSince_.earliestDate(),
                        kFSEventStreamEventFlagKernelDropped};
  checkRoots();
  folders_.clearEverywhere(FolderTable::Visited);
  comparison_ = &comparison;
  for (const Root& root : roots_)
    if (root.folder != kNoFolder) compareRoot(root);
  settle();
  comparison_ = nullptr;
  dropUnvisitedEverywhere();
}

void WatchTree::compareRoot(const Root& root) {
  FolderList::Facts facts;
  if (FolderList::factsOf(root.path, facts) && facts.changed >= comparison_->since)
    noteFolder(root.folder,
               comparison_->flags | changeFlags(facts, comparison_->since) | kFSEventStreamEventFlagItemIsDir);
  scanLater({root.folder, Look::Since, true, comparison_->since, comparison_->flags});
}

void WatchTree::dropUnvisitedEverywhere() {
  std::vector<FolderId> gone;
  folders_.forEach([&](FolderId folder) {
    if (!folders_.has(folder, FolderTable::Visited) && !findClients(folder).empty()) gone.push_back(folder);
  });
  for (const FolderId folder : gone)
    noteFolder(folder, kFSEventStreamEventFlagKernelDropped | kFSEventStreamEventFlagItemRemoved |
                           kFSEventStreamEventFlagItemIsDir);
  for (const FolderId folder : gone)
    if (folders_.has(folder, FolderTable::Linked)) drop(folder);
}

// Folders that could not be looked at are gone. For one that is not watched nobody else tells.
void WatchTree::dropUnvisited(FolderId parent) {
  std::vector<FolderId> gone;
  for (FolderId at = folders_.firstChild(parent); at != kNoFolder; at = folders_.nextSibling(at))
    if (!folders_.has(at, FolderTable::Visited)) gone.push_back(at);
  for (const FolderId folder : gone) {
    noteFolder(folder, kFSEventStreamEventFlagItemRemoved | kFSEventStreamEventFlagItemIsDir);
    drop(folder);
  }
}

void WatchTree::poll() {
  const Moment started = Moment::now();
  const int64_t since = polledAt_.earliestDate();
  inotify_.open();  // there may have been no instance until now
  std::vector<FolderId> folders;
  for (const auto& [folder, inode] : polled_) folders.push_back(folder);
  std::sort(folders.begin(), folders.end());
  for (const FolderId folder : folders)
    if (polled_.contains(folder)) pollFolder(folder, since);
  rootsChanged_ = true;  // one may have come or gone in them
  polledAt_ = started;
  if (polled_.empty()) warned_ = false;
  const int64_t now = Moment::now().steady;
  nextPoll_ =
      polled_.empty() ? WatchClient::kNever : now + std::max(kPollInterval, (now - started.steady) * kPollRest);
}

// Once more tries to watch it; otherwise compares it.
void WatchTree::pollFolder(FolderId folder, int64_t since) {
  if (clientsOf(folder).empty()) {
    rootsChanged_ = true;
    return;
  }
  const std::string path = folders_.path(folder);
  FolderList::Facts facts;
  if (!FolderList::factsOf(path, facts) || !isUnwatched(folder, facts.inode)) {
    rootsChanged_ = true;  // who sees its parent learns that it is gone
    return;
  }
  const int watch = addWatch(path, 0);
  if (watch >= 0 && folders_.withWatch(watch) == kNoFolder) {
    polled_.erase(folder);
    setWatch(folder, watch);
  }
  for (FolderId at = folders_.firstChild(folder); at != kNoFolder; at = folders_.nextSibling(at))
    folders_.set(at, FolderTable::Visited, false);
  if (facts.changed >= since) noteFolder(folder, changeFlags(facts, since) | kFSEventStreamEventFlagItemIsDir);
  const bool isUnseen = folders_.has(folder, FolderTable::Unseen);  // it was on its way the last time
  scanLater({folder, isUnseen ? Look::All : Look::Since, isUnseen, since});
  settle();
  if (folders_.has(folder, FolderTable::Linked)) dropUnvisited(folder);
}

// ---- Roots

void WatchTree::add(WatchClient& client) {
  clients_.push_back(&client);
  for (const std::string& path : client.paths) roots_.push_back({&client, path, resolvedRoot(path)});
  for (Root& root : roots_)
    if (root.client == &client) checkRoot(root, true);
}

void WatchTree::remove(WatchClient& client) {
  std::erase(clients_, &client);
  std::erase_if(roots_, [&](const Root& root) { return root.client == &client; });
  releasePins(client);
  if (!clients_.empty()) {
    markRoots();
    return prune();
  }
  inotify_.close();  // with all its watches
  folders_.clear();
  missed_.clear();
  moved_.clear();
  leaving_.clear();
  polled_.clear();
  forgetClients();
  watches_ = 0;
  nextPoll_ = WatchClient::kNever;
  lost_ = rootsChanged_ = warned_ = false;
}

void WatchTree::releasePins(WatchClient& client) {
  for (ChangeBatch* batch : {&client.waiting, &client.offered}) {
    for (const ChangeBatch::Entry& entry : batch->entries())
      if (entry.folder != kNoFolder) folders_.unpin(entry.folder);
    batch->clear();
  }
}

void WatchTree::checkRoots() {
  rootsChanged_ = false;
  for (Root& root : roots_) checkRoot(root, false);
  prune();
}

// Looks whether a root is where it was.
void WatchTree::checkRoot(Root& root, bool starting) {
  const FolderId folder = find(root);
  const bool present = folder != kNoFolder;
  if (folder == root.folder && present == root.present) return;
  root.folder = folder;
  root.present = present;
  markRoots();
  if (!starting) tellRoot(root);
  if (!present) return;
  if (!starting)
    noteFor(*root.client, folder, "", kFSEventStreamEventFlagItemCreated | kFSEventStreamEventFlagItemIsDir,
            ++lastEvent_);
  scanLater({folder, starting ? Look::Quietly : Look::All, true});
  settle();
}

void WatchTree::tellRoot(const Root& root) {
  if (!root.client->watchRoot) return;
  noteFor(*root.client, kNoFolder, root.path.empty() ? "/" : root.path, kFSEventStreamEventFlagRootChanged, 0);
}

// A link may stand by now where nothing was.
FolderId WatchTree::find(Root& root) {
  const FolderId folder = follow(root.path);
  if (folder != kNoFolder) return folder;
  std::string path = resolvedRoot(root.given);
  if (path == root.path) return kNoFolder;
  root.path = std::move(path);
  return follow(root.path);
}

// Goes down to a root and watches the folders on the way. None when there is no folder.
FolderId WatchTree::follow(const std::string& path) {
  FolderId at = FolderTable::top();
  if (folders_.watch(at) < 0 || path.empty()) {
    const int watch = addWatch("", path.empty() ? 0 : kWayMask);
    if (watch >= 0 && folders_.watch(at) != watch) setWatch(at, watch);
  }
  for (size_t begin = 1; begin <= path.size() && at != kNoFolder;) {
    const size_t end = std::min(path.find('/', begin), path.size());
    const std::string_view name = std::string_view(path).substr(begin, end - begin);
    at = enter(at, name, Look::Nothing, false, end == path.size() ? 0 : kWayMask);
    begin = end + 1;
  }
  return at;
}

void WatchTree::markRoots() {
  folders_.clearEverywhere(FolderTable::IsRoot);
  for (const Root& root : roots_)
    if (root.folder != kNoFolder) folders_.set(root.folder, FolderTable::IsRoot, true);
  forgetClients();
}

// Forgets the folders that neither lie below a root nor lead to one.
void WatchTree::prune() {
  folders_.clearEverywhere(FolderTable::Needed);
  folders_.set(FolderTable::top(), FolderTable::Needed, true);
  for (const Root& root : roots_) {
    FolderId at = FolderTable::top();
    for (size_t begin = 1; begin <= root.path.size() && at != kNoFolder;) {
      const size_t end = std::min(root.path.find('/', begin), root.path.size());
      at = folders_.child(at, std::string_view(root.path).substr(begin, end - begin));
      if (at != kNoFolder) folders_.set(at, FolderTable::Needed, true);
      begin = end + 1;
    }
  }
  std::vector<FolderId> idle;
  folders_.forEach([&](FolderId folder) {
    if (!folders_.has(folder, FolderTable::Needed) && findClients(folder).empty()) idle.push_back(folder);
  });
  for (const FolderId folder : idle)
    if (folders_.has(folder, FolderTable::Linked)) drop(folder);
}

bool WatchTree::leadsToRoot(FolderId folder, std::string_view name) const {
  std::string path = folders_.path(folder);
  path.append(1, '/').append(name);
  return std::any_of(roots_.begin(), roots_.end(), [&](const Root& root) {
    return root.path.starts_with(path) && (root.path.size() == path.size() || root.path[path.size()] == '/');
  });
}

// Folders on the way to a root, and links that may lead to one that is not there.
bool WatchTree::concernsRoot(FolderId folder, std::string_view name, uint32_t mask) const {
  if (mask & IN_ISDIR) return !(mask & IN_ATTRIB) && leadsToRoot(folder, name);
  return (mask & (IN_CREATE | IN_MOVED_TO)) &&
         std::any_of(roots_.begin(), roots_.end(), [](const Root& root) { return !root.present; }) &&
         leadsToRoot(folder, name);
}

// To those who see its parent it is an item in there; to those whose root it is, itself.
void WatchTree::noteFolder(FolderId folder, uint32_t flags) {
  const FolderId parent = folders_.parent(folder);
  ++lastEvent_;
  const std::vector<WatchClient*> above =
      parent == kNoFolder ? std::vector<WatchClient*>() : findClients(parent);
  for (WatchClient* client : above) noteFor(*client, parent, folders_.name(folder), flags, lastEvent_);
  for (WatchClient* client : findClients(folder))
    if (std::find(above.begin(), above.end(), client) == above.end())
      noteFor(*client, folder, "", flags, lastEvent_);
}

}  // namespace orv::detail
