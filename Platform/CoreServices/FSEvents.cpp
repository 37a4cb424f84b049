#include "Platform/CoreServices/FSEvents.h"

#include <atomic>
#include <cmath>
#include <filesystem>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "Platform/CoreServices/Detail/WatchService.h"

using namespace orv;

namespace {

namespace fs = std::filesystem;
using detail::Change;
using detail::WatchService;

constexpr double kLongestLatency = 1e6;  // seconds

int64_t nanoseconds(double seconds) {
  return std::isnan(seconds) ? 0 : std::llround(std::clamp(seconds, 0.0, kLongestLatency) * 1e9);
}

class Subscription;

}  // namespace

struct FSEventStream : NSObject {
  ~FSEventStream() override;
  NSString className() const override { return "FSEventStream"; }

  void schedule(const Ref<NSRunLoop>& runLoop, const NSString& mode);
  bool start();
  void stop();
  void invalidate();
  void deliver(const std::vector<Change>& changes);

  FSEventStreamCallback callback = nullptr;
  FSEventStreamContext context;
  FSEventStreamCreateFlags flags = 0;
  int64_t latency = 0;
  NSArray paths;                    // as given
  std::vector<fs::path> locations;  // the same, absolute
  WeakRef<NSRunLoop> loop;
  bool invalid = false;
  std::shared_ptr<Subscription> subscription;  // while it runs
  std::atomic<int> holders{1};
  std::atomic<FSEventStreamEventId> latest{kFSEventStreamEventIdSinceNow};

 private:
  void callWithObjects(const std::vector<Change>& changes, const FSEventStreamEventFlags* flags,
                       const FSEventStreamEventId* ids);
  void callWithTexts(const std::vector<Change>& changes, const FSEventStreamEventFlags* flags,
                     const FSEventStreamEventId* ids);
};

namespace {

// A stream from its start to its stop: takes batches from the reading thread and brings them to the run loop's.
class Subscription : public detail::WatchClient, public std::enable_shared_from_this<Subscription> {
 public:
  Subscription(const Ref<FSEventStream>& stream, WeakRef<NSRunLoop> loop)
      : stream_(stream), loop_(std::move(loop)) {}

  // Nobody listens any more when the loop has ended with its thread.
  void offer(std::vector<Change>&& changes) override {
    const Ref<FSEventStream> stream = stream_.lock();
    const Ref<NSRunLoop> loop = loop_.lock();
    if (!stream || !loop) return;
    {
      const std::lock_guard lock(mutex_);
      if (ended_) return;
      batch_ = std::move(changes);
    }
    loop->perform(stream, "deliver", nil, 0, [self = shared_from_this()] { self->deliver(); });
  }

  // Nobody takes what waits when the loop has ended.
  bool isFree() override {
    const bool isHeard = static_cast<bool>(loop_.lock());
    const std::lock_guard lock(mutex_);
    if (!isHeard) batch_.clear();
    return batch_.empty();
  }

  bool withdraw() override {
    const std::lock_guard lock(mutex_);
    return !std::exchange(batch_, {}).empty();
  }

  void end() {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    batch_.clear();
  }

 private:
  // On the run loop's thread. A batch that was renewed while it waited has two calls on their way.
  void deliver() {
    const std::vector<Change> changes = take();
    if (changes.empty()) return;
    WatchService::shared().wake();
    if (const Ref<FSEventStream> stream = stream_.lock()) stream->deliver(changes);
  }

  std::vector<Change> take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(batch_, {});
  }

  const WeakRef<FSEventStream> stream_;
  const WeakRef<NSRunLoop> loop_;
  std::mutex mutex_;  // guards what follows
  std::vector<Change> batch_;
  bool ended_ = false;
};

// Relative paths are dropped when the working folder has been removed.
std::vector<fs::path> locationsOf(const NSArray& paths) {
  std::vector<fs::path> locations;
  for (const Value& each : paths) {
    const std::string path = each.as<NSString>().fileSystemRepresentation();
    std::error_code error;
    fs::path location = path.empty() ? fs::path() : fs::absolute(path, error);
    if (!error && location.is_absolute()) locations.push_back(std::move(location));
  }
  return locations;
}

}  // namespace

FSEventStream::~FSEventStream() { invalidate(); }

void FSEventStream::schedule(const Ref<NSRunLoop>& runLoop, const NSString& mode) {
  if (invalid || subscription) return;
  const bool known = mode.isEqual(NSDefaultRunLoopMode) || mode.isEqual(NSRunLoopCommonModes);
  loop = known ? WeakRef<NSRunLoop>(runLoop) : WeakRef<NSRunLoop>();
}

bool FSEventStream::start() {
  if (invalid || subscription || !loop.lock()) return false;
  subscription = std::make_shared<Subscription>(Ref<FSEventStream>(this), loop);
  for (const fs::path& location : locations) subscription->paths.push_back(location.string());
  subscription->watchRoot = (flags & kFSEventStreamCreateFlagWatchRoot) != 0;
  subscription->fileEvents = (flags & kFSEventStreamCreateFlagFileEvents) != 0;
  subscription->noDefer = (flags & kFSEventStreamCreateFlagNoDefer) != 0;
  subscription->latency = latency;
  if (WatchService::shared().add(subscription)) return true;
  subscription = nullptr;
  return false;
}

void FSEventStream::stop() {
  if (!subscription) return;
  const std::shared_ptr<Subscription> ending = std::exchange(subscription, nullptr);
  ending->end();
  WatchService::shared().remove(ending);
}

void FSEventStream::invalidate() {
  stop();
  loop = nil;
  if (std::exchange(invalid, true) || !context.release) return;
  context.release(context.info);
}

void FSEventStream::deliver(const std::vector<Change>& changes) {
  std::vector<FSEventStreamEventFlags> eventFlags;
  std::vector<FSEventStreamEventId> ids;
  for (const Change& change : changes) {
    eventFlags.push_back(change.flags);
    ids.push_back(change.id);
    if (change.id != 0) latest = change.id;
  }
  const bool objects = (flags & kFSEventStreamCreateFlagUseCFTypes) != 0;
  objects ? callWithObjects(changes, eventFlags.data(), ids.data())
          : callWithTexts(changes, eventFlags.data(), ids.data());
}

void FSEventStream::callWithObjects(const std::vector<Change>& changes,
                                    const FSEventStreamEventFlags* eventFlags,
                                    const FSEventStreamEventId* ids) {
  NSMutableArray texts = NSMutableArray::arrayWithCapacity(changes.size());
  for (const Change& change : changes)
    texts.addObject(NSString::stringWithFileSystemRepresentation(change.path));
  NSArray eventPaths = texts;
  callback(this, context.info, changes.size(), &eventPaths, eventFlags, ids);
}

void FSEventStream::callWithTexts(const std::vector<Change>& changes, const FSEventStreamEventFlags* eventFlags,
                                  const FSEventStreamEventId* ids) {
  std::vector<const char*> texts;
  for (const Change& change : changes) texts.push_back(change.path.c_str());
  callback(this, context.info, changes.size(), texts.data(), eventFlags, ids);
}

FSEventStreamRef FSEventStreamCreate(FSEventStreamCallback callback, const FSEventStreamContext* context,
                                     const NSArray& pathsToWatch, FSEventStreamEventId, double latencySeconds,
                                     FSEventStreamCreateFlags flags) {
  std::vector<fs::path> locations = locationsOf(pathsToWatch);
  if (!callback || locations.empty()) return nullptr;
  auto* const stream = new FSEventStream();
  stream->callback = callback;
  if (context) stream->context = *context;
  stream->flags = flags;
  stream->latency = nanoseconds(latencySeconds);
  stream->paths = pathsToWatch.copy().as<NSArray>();
  stream->locations = std::move(locations);
  if (stream->context.retain) stream->context.retain(stream->context.info);
  return stream;
}

void FSEventStreamScheduleWithRunLoop(FSEventStreamRef stream, const Ref<NSRunLoop>& runLoop,
                                      const NSString& mode) {
  if (stream) stream->schedule(runLoop, mode);
}

bool FSEventStreamStart(FSEventStreamRef stream) { return stream && stream->start(); }

void FSEventStreamStop(FSEventStreamRef stream) {
  if (stream) stream->stop();
}

void FSEventStreamInvalidate(FSEventStreamRef stream) {
  if (stream) stream->invalidate();
}

void FSEventStreamRetain(FSEventStreamRef stream) {
  if (stream) ++stream->holders;
}

// A delivery that is under way keeps the object itself; it is stopped all the same.
void FSEventStreamRelease(FSEventStreamRef stream) {
  if (!stream || --stream->holders > 0) return;
  const Ref<FSEventStream> last = Ref<FSEventStream>::adopt(stream);
  last->invalidate();
}

FSEventStreamEventId FSEventStreamGetLatestEventId(ConstFSEventStreamRef stream) {
  return stream ? stream->latest.load() : kFSEventStreamEventIdSinceNow;
}

NSArray FSEventStreamCopyPathsBeingWatched(ConstFSEventStreamRef stream) {
  return stream ? stream->paths : NSArray();
}
