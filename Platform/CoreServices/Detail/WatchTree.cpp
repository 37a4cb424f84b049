#include "Platform/CoreServices/Detail/WatchTree.h"

#include <errno.h>

#include <algorithm>

#include "Platform/CoreServices/Detail/WatchReport.h"
#include "Platform/CoreServices/FSEvents.h"

namespace orv::detail {

namespace {

constexpr uint32_t kMask = IN_CREATE | IN_DELETE | IN_MODIFY | IN_ATTRIB | IN_MOVED_FROM | IN_MOVED_TO |
                           IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR | IN_DONT_FOLLOW;
constexpr uint32_t kSameMask = IN_DELETE_SELF | IN_ONLYDIR | IN_DONT_FOLLOW | IN_MASK_ADD;  // adds nothing
constexpr int64_t kTravelTime = 50'000'000;  // between the two events of a move
constexpr int kTries = 3;                    // of a look at what was missed, before all is compared

uint32_t itemFlags(uint32_t mask) {
  uint32_t flags = 0;
  if (mask & IN_CREATE) flags |= kFSEventStreamEventFlagItemCreated;
  if (mask & IN_DELETE) flags |= kFSEventStreamEventFlagItemRemoved;
  if (mask & IN_MODIFY) flags |= kFSEventStreamEventFlagItemModified;
  if (mask & IN_ATTRIB) flags |= kFSEventStreamEventFlagItemInodeMetaMod;
  if (mask & (IN_MOVED_FROM | IN_MOVED_TO)) flags |= kFSEventStreamEventFlagItemRenamed;
  if (mask & IN_ISDIR) flags |= kFSEventStreamEventFlagItemIsDir;
  return flags;
}

bool isShortage(int error) { return error == -ENOSPC || error == -ENOMEM; }

}  // namespace

// ---- Events

void WatchTree::handleEvents() {
  while (inotify_.hasChunks()) handleChunk(inotify_.takeChunk());
  if (lost_) compareAll();
  if (rootsChanged_) checkRoots();
}

void WatchTree::handleChunk(const Inotify::Chunk& chunk) {
  chunkSince_ = chunk.since;
  for (size_t at = 0; at < chunk.bytes.size();) {
    const auto& event = *reinterpret_cast<const inotify_event*>(chunk.bytes.data() + at);
    at += sizeof event + event.len;
    handle(event);
    settle();
    if (rootsChanged_) checkRoots();  // what follows may happen in a folder that is a root no more
  }
}

void WatchTree::handle(const inotify_event& event) {
  if (event.mask & IN_Q_OVERFLOW) return requestComparison(chunkSince_);
  const FolderId folder = folders_.withWatch(event.wd);
  if (folder == kNoFolder) return;
  if (event.mask & IN_UNMOUNT) return unmount(folder);
  if (event.mask & IN_IGNORED) return forgetWatch(folder);
  if (event.len == 0) return handleOwn(folder, event.mask);
  const std::string_view name = static_cast<const char*>(event.name);
  clientsOf(folder).empty() ? handleOnTheWay(folder, name, event) : handleChild(folder, name, event);
}

// What a folder tells of itself, its parent tells, too; but a root's parent is not listened to.
void WatchTree::handleOwn(FolderId folder, uint32_t mask) {
  if (!folders_.has(folder, FolderTable::IsRoot)) return;
  if (mask & (IN_DELETE_SELF | IN_MOVE_SELF)) rootsChanged_ = true;
  if (!(mask & IN_ATTRIB)) return;
  retryClosed(folder);
  for (const Root& root : roots_)
    if (root.folder == folder) noteFor(*root.client, folder, "", itemFlags(mask | IN_ISDIR), ++lastEvent_);
}

void WatchTree::handleChild(FolderId folder, std::string_view name, const inotify_event& event) {
  note(folder, name, itemFlags(event.mask));
  if (concernsRoot(folder, name, event.mask)) rootsChanged_ = true;
  if (!(event.mask & IN_ISDIR)) return;
  if (event.mask & IN_MOVED_FROM) return leave(folder, name, event.cookie);
  if (event.mask & IN_MOVED_TO) return arrive(folder, name, event.cookie);
  if (event.mask & IN_DELETE) return vanish(folder, name);
  const FolderId known = event.mask & IN_ATTRIB ? folders_.child(folder, name) : kNoFolder;
  if (known != kNoFolder) return retryClosed(known);
  enterChild(folder, name);  // created, or made readable
}

// In a folder that lies above a root.
void WatchTree::handleOnTheWay(FolderId folder, std::string_view name, const inotify_event& event) {
  if ((event.mask & IN_ISDIR) && (event.mask & IN_MOVED_FROM)) leave(folder, name, event.cookie);
  if (concernsRoot(folder, name, event.mask)) rootsChanged_ = true;
}

void WatchTree::leave(FolderId folder, std::string_view name, uint32_t cookie) {
  const FolderId child = folders_.child(folder, name);
  if (child == kNoFolder || stands(child)) return;
  folders_.unlink(child);
  forgetClients();
  leaving_.push_back({child, cookie, Moment::now().steady + kTravelTime});
}

// Whether a folder is where it is thought to be. Folders that are exchanged are told of one after the other,
// so what is said to leave a place may be what has just arrived there.
bool WatchTree::stands(FolderId folder) {
  FolderList::Facts facts;
  if (folder == FolderTable::top()) return true;
  const std::string path = folders_.path(folder);
  if (folders_.watch(folder) < 0) return FolderList::factsOf(path, facts) && isUnwatched(folder, facts.inode);
  const int watch = inotify_.add(path.c_str(), kSameMask);
  if (watch >= 0 && folders_.withWatch(watch) == kNoFolder) inotify_.remove(watch);
  return watch == folders_.watch(folder);
}

void WatchTree::arrive(FolderId folder, std::string_view name, uint32_t cookie) {
  const auto found = std::find_if(leaving_.begin(), leaving_.end(),
                                  [&](const Leaving& each) { return each.cookie == cookie; });
  if (found != leaving_.end() && !folders_.isWithin(folder, found->folder)) {
    const FolderId moved = found->folder;
    leaving_.erase(found);
    place(moved, folder, name);
  }
  enterChild(folder, name);  // a new one; or a look whether it is the one it should be
}

// A folder without a watch does not tell of its own end.
void WatchTree::vanish(FolderId folder, std::string_view name) {
  const FolderId child = folders_.child(folder, name);
  if (child == kNoFolder) return;
  if (folders_.watch(child) < 0) drop(child);
}

void WatchTree::forgetWatch(FolderId folder) {
  setWatch(folder, -1);  // the kernel has removed it
  if (folder == FolderTable::top()) return;
  takeLeaving(folder);
  drop(folder);
}

// Whether a folder is the one without a watch that has this inode.
bool WatchTree::isUnwatched(FolderId folder, uint64_t inode) const {
  const auto polled = polled_.find(folder);
  return polled != polled_.end() && polled->second == inode;
}

// A folder went with its volume. What lay under it, if it was the volume's top, is there again.
void WatchTree::unmount(FolderId folder) {
  const FolderId parent = folders_.parent(folder);
  if (parent == kNoFolder || !folders_.has(folder, FolderTable::Linked)) return forgetWatch(folder);
  if (clientsOf(parent).empty()) {
    rootsChanged_ = true;
    return forgetWatch(folder);
  }
  const std::string name(folders_.name(folder));
  note(parent, name, kFSEventStreamEventFlagUnmount | kFSEventStreamEventFlagItemIsDir);
  folders_.pin(parent);
  rechecks_.emplace_back(parent, name);
  forgetWatch(folder);
}

// ---- Folders

// Without a mask it is the full one. IN_MASK_ADD leaves alone what a folder is watched for already.
int WatchTree::addWatch(const std::string& path, uint32_t mask) {
  const int watch = inotify_.add(path.empty() ? "/" : path.c_str(), mask ? mask : kMask);
  if (watch < 0 || watches_ < limit_ || folders_.withWatch(watch) != kNoFolder) return watch;
  inotify_.remove(watch);
  return -ENOSPC;
}

void WatchTree::setWatch(FolderId folder, int watch) {
  if (folders_.watch(folder) >= 0) --watches_;
  if (watch >= 0) ++watches_;
  folders_.setWatch(folder, watch);
}

// Enters what an event has told of. A folder that is not where it should be is on its way, and another one may
// stand in its place: then this is done again.
void WatchTree::enterChild(FolderId parent, std::string_view name) {
  if (stands(parent)) enter(parent, name, Look::All);
  if (!stands(parent)) miss(parent, name);
}

// Watches what stands at a place now. `look` is for a folder that was not known.
FolderId WatchTree::enter(FolderId parent, std::string_view name, Look look, bool deep, uint32_t mask) {
  path_.clear();
  folders_.appendPath(parent, path_);
  path_.append(1, '/').append(name);
  const Found found{parent, name, folders_.child(parent, name)};
  const int watch = addWatch(path_, mask && clientsOf(parent).empty() ? mask : 0);
  if ((watch == -ENOENT || watch == -ENOTDIR) && look != Look::Nothing) miss(parent, name);
  if (watch == -EACCES) markClosed(parent);
  if (watch < 0) return enterUnwatched(found, watch, look, deep);
  const FolderId folder = folders_.withWatch(watch);
  if (folder == kNoFolder) return enterNew(found, watch, look);
  if (folder != found.known) return enterMoved(found, folder);
  if (deep)
    scanLater({folder, look, true});
  else if (look != Look::Nothing && folders_.has(folder, FolderTable::Unseen))
    scanLater({folder, Look::All, true});
  return folder;
}

FolderId WatchTree::enterNew(const Found& found, int watch, Look look) {
  FolderId folder = found.known;
  FolderList::Facts facts;
  if (folder != kNoFolder && FolderList::factsOf(path_, facts) && isUnwatched(folder, facts.inode)) {
    polled_.erase(folder);  // until now there was no watch for it
    setWatch(folder, watch);
    if (look != Look::Nothing) scanLater({folder, Look::Since, false, polledAt_.earliestDate()});
    return folder;
  }
  if (folder != kNoFolder) displace(folder);
  folder = folders_.add(found.parent, found.name);
  setWatch(folder, watch);
  scanLater({folder, lookForNew(found.parent, look), false});
  return folder;
}

FolderId WatchTree::enterMoved(const Found& found, FolderId folder) {
  if (folders_.isWithin(found.parent, folder)) {  // events in between were lost
    requestComparison(chunkSince_);
    return kNoFolder;
  }
  if (folders_.has(folder, FolderTable::Linked)) {
    if (isAlias(folder, path_)) return kNoFolder;
    const FolderId before = folders_.parent(folder);
    const std::string nameBefore(folders_.name(folder));
    note(before, nameBefore, kFSEventStreamEventFlagItemRenamed | kFSEventStreamEventFlagItemIsDir);
    rechecks_.emplace_back(before, nameBefore);
    folders_.pin(before);
    folders_.unlink(folder);
  } else {  // it left the tree and is back
    takeLeaving(folder);
    folders_.set(folder, FolderTable::Unseen, true);
  }
  place(folder, found.parent, found.name);
  if (comparison_) scanLater({folder, Look::Since, true, comparison_->since, comparison_->flags});
  return folder;
}

// Something in a folder could not be entered. The mark goes up to the top: permissions of each folder on the
// way may be what forbids it.
void WatchTree::markClosed(FolderId folder) {
  for (FolderId at = folder; at != kNoFolder && !folders_.has(at, FolderTable::Closed);
       at = folders_.parent(at))
    folders_.set(at, FolderTable::Closed, true);
}

// The permissions of a folder may have changed: what could not be entered is, now.
void WatchTree::retryClosed(FolderId folder) {
  if (folders_.has(folder, FolderTable::Closed)) scanLater({folder, Look::Quietly, true});
}

// A folder that is reachable on two paths, by a bind mount, stays where it was seen first.
bool WatchTree::isAlias(FolderId folder, const std::string& path) const {
  FolderList::Facts here, there;
  const std::string seenAt = folders_.path(folder);  // the same below another folder of that name
  return seenAt != path && FolderList::factsOf(seenAt, here) && FolderList::factsOf(path, there) &&
         here.inode == there.inode;
}

FolderId WatchTree::enterUnwatched(const Found& found, int error, Look look, bool deep) {
  if (!isShortage(error) && !(error == -EACCES && look == Look::Nothing)) return kNoFolder;
  FolderList::Facts facts;
  if (!FolderList::factsOf(path_, facts) || !facts.isFolder) return kNoFolder;
  if (isShortage(error) && !std::exchange(warned_, true))
    inotify_.isOpen() ? reportWatchLimit(path_, watches_) : reportInstanceLimit(path_);
  if (polled_.empty()) polledAt_ = Moment::now();
  nextPoll_ = std::min(nextPoll_, Moment::now().steady + 1'000'000'000);
  if (found.known != kNoFolder && (!isShortage(error) || isUnwatched(found.known, facts.inode))) {
    if (deep) scanLater({found.known, look, true});
    return found.known;
  }
  if (found.known != kNoFolder) displace(found.known);
  const FolderId folder = folders_.add(found.parent, found.name);
  polled_[folder] = facts.inode;
  scanLater({folder, lookForNew(found.parent, look), false});
  return folder;
}

// Puts a folder that was moved into its new place. To those who did not see it before all of it is new.
void WatchTree::place(FolderId folder, FolderId parent, std::string_view name) {
  const std::vector<WatchClient*> before = findClients(folders_.parent(folder));
  const FolderId displaced = folders_.child(parent, name);
  if (displaced != kNoFolder) displace(displaced);
  folders_.link(folder, parent, name);
  moved_.push_back(folder);
  if (folders_.has(folder, FolderTable::Closed)) markClosed(parent);
  forgetClients();
  note(parent, folders_.name(folder), kFSEventStreamEventFlagItemRenamed | kFSEventStreamEventFlagItemIsDir);
  if (findClients(parent) != before || folders_.has(folder, FolderTable::Unseen))
    scanLater({folder, Look::All, true});
  retryMissed();
}

// Something else stands in a folder's place. Where it is will be told; or it is gone.
void WatchTree::displace(FolderId folder) {
  if (folders_.watch(folder) < 0) return drop(folder);
  folders_.unlink(folder);
  forgetClients();
  leaving_.push_back({folder, 0, Moment::now().steady + kTravelTime});
}

void WatchTree::takeLeaving(FolderId folder) {
  std::erase_if(leaving_, [&](const Leaving& each) { return each.folder == folder; });
}

// Forgets a folder with all that is below it.
void WatchTree::drop(FolderId folder) {
  if (folders_.has(folder, FolderTable::Linked)) folders_.unlink(folder);
  forgetClients();
  FolderId at = folder;
  while (true) {
    while (folders_.firstChild(at) != kNoFolder) at = folders_.firstChild(at);
    const FolderId parent = folders_.parent(at);
    if (at != folder) folders_.unlink(at);
    const bool last = at == folder;
    end(at);
    if (last) return;
    at = parent;
  }
}

void WatchTree::end(FolderId folder) {
  if (folders_.has(folder, FolderTable::IsRoot)) {
    rootsChanged_ = true;
    for (Root& root : roots_)
      if (root.folder == folder) root.folder = kNoFolder;
  }
  if (folders_.watch(folder) >= 0) inotify_.remove(folders_.watch(folder));
  setWatch(folder, -1);
  polled_.erase(folder);
  folders_.remove(folder);
}

// ---- Due work

// Everything that has happened before a folder was missed is told of by then.
void WatchTree::miss(FolderId parent, std::string_view name, int tries) {
  folders_.pin(parent);
  const Moment now = Moment::now();
  missed_.push_back({parent, std::string(name), now, now.steady + kTravelTime, tries});
}

void WatchTree::retryMissed() {
  for (Missed& each : std::exchange(missed_, {})) rechecks_.emplace_back(each.parent, std::move(each.name));
}

// Once more looks at what was missed, now that nothing is on its way. As a rule it is gone, or its folder is.
void WatchTree::endMissed() {
  const int64_t known = inotify_.known().steady;
  while (isSettled() && !missed_.empty() && missed_.front().until <= known) {
    const Missed missed = std::move(missed_.front());
    missed_.pop_front();
    if (folders_.has(missed.parent, FolderTable::Linked)) endMissed(missed);
    folders_.unpin(missed.parent);
  }
  settle();
}

void WatchTree::endMissed(const Missed& missed) {
  FolderList::Facts facts;
  if (!stands(missed.parent)) {  // its own removal may not have been told yet
    missed.tries < kTries ? miss(missed.parent, missed.name, missed.tries + 1)
                          : requestComparison(missed.since);
    return;
  }
  if (FolderList::factsOf(folders_.path(missed.parent) + '/' + missed.name, facts) && facts.isFolder)
    enterChild(missed.parent, missed.name);
}

void WatchTree::doDueWork(int64_t now) {
  while (!leaving_.empty() && leaving_.front().until <= inotify_.known().steady) {
    const FolderId folder = leaving_.front().folder;
    leaving_.erase(leaving_.begin());
    drop(folder);
  }
  endMissed();
  if (nextPoll_ <= now) poll();
  if (lost_) compareAll();
  if (rootsChanged_) checkRoots();
}

int64_t WatchTree::nextDue() const {
  if (!leaving_.empty()) return std::min(nextPoll_, leaving_.front().until);
  return missed_.empty() ? nextPoll_ : std::min(nextPoll_, missed_.front().until);
}

WatchTree::Numbers WatchTree::numbers() const {
  size_t waiting = 0;
  for (const WatchClient* client : clients_) waiting += client->waiting.entries().size();
  return {folders_.count(), watches_, polled_.size(), folders_.bytes(), comparisons_, waiting};
}

// ---- Notes

std::vector<WatchClient*> WatchTree::findClients(FolderId folder) const {
  std::vector<WatchClient*> clients;
  for (FolderId at = folder; at != kNoFolder; at = folders_.parent(at)) {
    if (!folders_.has(at, FolderTable::IsRoot)) continue;
    for (const Root& root : roots_)
      if (root.folder == at && std::find(clients.begin(), clients.end(), root.client) == clients.end())
        clients.push_back(root.client);
  }
  return clients;
}

const std::vector<WatchClient*>& WatchTree::clientsOf(FolderId folder) {
  if (folder == clientsFolder_) return clientsThere_;
  clientsThere_ = findClients(folder);
  clientsFolder_ = folder;
  return clientsThere_;
}

void WatchTree::note(FolderId folder, std::string_view name, uint32_t flags) {
  ++lastEvent_;
  for (WatchClient* client : clientsOf(folder)) noteFor(*client, folder, name, flags, lastEvent_);
}

void WatchTree::noteAgain(WatchClient& client, const std::vector<FolderId>& moved) {
  FolderId last = kNoFolder;
  bool isMoved = false;
  for (const ChangeBatch::Entry& entry : client.offered.entries()) {
    if (entry.folder == kNoFolder) continue;
    if (std::exchange(last, entry.folder) != entry.folder)
      isMoved = std::any_of(moved.begin(), moved.end(),
                            [&](FolderId folder) { return folders_.isWithin(entry.folder, folder); });
    if (isMoved) noteFor(client, entry.folder, client.offered.name(entry), entry.flags, ++lastEvent_);
  }
}

void WatchTree::noteFor(WatchClient& client, FolderId folder, std::string_view name, uint32_t flags,
                        uint64_t id) {
  const int64_t now = client.due == WatchClient::kNever ? Moment::now().steady : 0;
  const bool isNew = client.fileEvents || folder == kNoFolder
                         ? client.waiting.add(folder, name, flags, id)
                         : client.waiting.add(folder, "", kFSEventStreamEventFlagNone, id);
  if (isNew && folder != kNoFolder) folders_.pin(folder);
  if (client.due != WatchClient::kNever) return;
  const bool atOnce = client.noDefer && now - client.lastOffer >= client.latency;
  client.due = atOnce ? now : now + client.latency;
}

}  // namespace orv::detail
