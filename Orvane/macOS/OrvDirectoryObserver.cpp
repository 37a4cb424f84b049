#include "Orvane/macOS/OrvDirectoryObserver.h"

#include <exception>
#include <utility>

#include "Orvane/OrvLog.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/Values/NSURL.h"

using namespace orv;

namespace {

constexpr double kLatency = 0.25;  // seconds

// The path of a file URL, or a string as it is; nil for an empty one and for anything else.
NSString pathOf(const Value& location) {
  if (location.isKindOf<NSString>()) {
    const auto path = location.as<NSString>();
    return path.length() > 0 ? path : NSString();
  }
  const auto url = location.as<NSURL>();
  return url.isFileURL() ? url.path() : NSString();
}

NSArray pathsOf(const NSArray& locations) {
  return locations.zuMap([](const Value& location) -> Value { return pathOf(location); });
}

}  // namespace

Ref<OrvDirectoryObserver> OrvDirectoryObserver::initWithCallback(Callback callback) {
  return make<OrvDirectoryObserver>(std::move(callback));
}

OrvDirectoryObserver::OrvDirectoryObserver(Callback callback)
    : callback_(std::move(callback)), observedDirectories_(NSMutableSet::set()) {}

OrvDirectoryObserver::~OrvDirectoryObserver() {
  try {
    stopObservingDirectories();
  } catch (const std::exception&) {
    stopStream();  // out of memory for a line of the log
  }
}

void OrvDirectoryObserver::observeDirectories(const NSArray& urlsOrPaths) {
  observedDirectories_.removeAllObjects();
  observedDirectories_.addObjectsFromArray(pathsOf(urlsOrPaths));
  refresh();
}

void OrvDirectoryObserver::stopObservingDirectories() {
  observedDirectories_.removeAllObjects();
  refresh();
}

void OrvDirectoryObserver::refresh() {
  if (eventStream_) {
    OrvLogInfo("File Tracker: Stop observing");
    stopStream();
  }
  if (observedDirectories_.count() == 0) {
    ++refreshes_;
    OrvLogInfo("File Tracker: No need to start new observer right now");
    return;
  }
  const Ref<OrvDirectoryObserver> alive(this);
  const uint64_t current = ++refreshes_;
  forcedCheck();
  if (current == refreshes_) startStream();  // else the callback has set other folders
}

void OrvDirectoryObserver::stopStream() {
  const FSEventStreamRef stream = std::exchange(eventStream_, nullptr);
  FSEventStreamStop(stream);
  FSEventStreamInvalidate(stream);
  FSEventStreamRelease(stream);
}

void OrvDirectoryObserver::forcedCheck() {
  const uint64_t current = refreshes_;
  for (const Value& folder : observedDirectories_.allObjects()) {
    if (current != refreshes_) return;
    if (!pathOf(folder)) continue;
    const NSArray files = NSFileManager::defaultManager()->zuListAllVisibleFilesInSubFolders(zxFileURL(folder));
    OrvLogInfo("Forced check of %@, found %d entries.", folder, files.count());
    if (files.count() > 0) fileChanges(pathsOf(files));
  }
}

void OrvDirectoryObserver::startStream() {
  OrvLogInfo("File Tracker: Start observing %@", observedDirectories_);
  FSEventStreamContext context;
  context.info = static_cast<NSObject*>(this);
  eventStream_ = FSEventStreamCreate(FSEventCallback, &context, observedDirectories_.allObjects(),
                                     kFSEventStreamEventIdSinceNow, kLatency,
                                     kFSEventStreamCreateFlagUseCFTypes | kFSEventStreamCreateFlagWatchRoot |
                                         kFSEventStreamCreateFlagFileEvents);
  if (!eventStream_) return;
  FSEventStreamScheduleWithRunLoop(eventStream_, NSRunLoop::currentRunLoop(), NSRunLoopCommonModes);
  if (!FSEventStreamStart(eventStream_)) return;
  OrvLogInfo("File Tracker: Successfully started observing... %@", observedDirectories_);
}

void OrvDirectoryObserver::fileChanges(const NSArray& paths) {
  OrvLogInfo("File Tracker: Valid file changes in %@; observed %@", paths, observedDirectories_);
  if (!callback_) return;
  const Ref<NSFileManager> files = NSFileManager::defaultManager();
  const Ref<OrvDirectoryObserver> alive(this);
  callback_(
      paths.zuFilter([&](const Value& path) { return files->isReadableFileAtPath(path.as<NSString>()); }));
}

void FSEventCallback(ConstFSEventStreamRef, void* contextInfo, size_t numEvents, void* eventPaths,
                     const uint32_t*, const uint64_t*) {
  if (numEvents == 0) return;
  const NSArray paths = *static_cast<const NSArray*>(eventPaths);
  OrvLogInfo("!!! File changed %@", paths);
  auto* const observer = dynamic_cast<OrvDirectoryObserver*>(static_cast<NSObject*>(contextInfo));
  if (observer) observer->fileChanges(paths);
}
