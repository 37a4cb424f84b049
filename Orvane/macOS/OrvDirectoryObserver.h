#pragma once

#include <cstdint>
#include <functional>

#include "Platform/CoreServices/FSEvents.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSSet.h"

// Watches folders with all that is below them and hands over the paths of what appears or changes there.
//
//   observer_ = OrvDirectoryObserver::initWithCallback([=](const NSArray& paths) { shelf->load(paths); });
//   observer_->observeDirectories({"/home/ada/scans"});
//   observer_->stopObservingDirectories();
//
// 1. Whenever the folders are set, every visible file that is there already is handed over first, before
//    `observeDirectories` returns: one call for each folder that holds any. Hidden files, files named "Icon"
//    and what lies in packages are left out there. A change during that look is not told again. No scan of the
//    application's own is needed.
// 2. Later changes come in batches, a quarter of a second after the first of each, and once for each path.
//    Only what can be read at that moment is handed over, folders included; so removals are not, and a batch of
//    nothing else is an empty array. Paths are absolute and resolved (see FSEvents.h): a folder that was given
//    through a link comes back without it.
// 3. A folder that is missing, removed or moved away is waited for, and reported when it appears.
//
// Threads: one, that which calls `observeDirectories`; the callback runs there, and the thread has to run its
// run loop. The callback may set other folders, stop, and drop the last reference to the observer. Nothing
// keeps the observer alive while it watches; a callback that holds it keeps both for ever.
class ORV_EXPORT OrvDirectoryObserver : public NSObject {
 public:
  using Callback = std::function<void(const NSArray& paths)>;

  // Watches nothing yet. With an empty callback changes are only logged.
  static orv::Ref<OrvDirectoryObserver> initWithCallback(Callback callback);
  ~OrvDirectoryObserver() override;
  NSString className() const override { return "OrvDirectoryObserver"; }

  // Watches these folders and no others. File URLs and path strings are taken; anything else, and an
  // empty path, is dropped. A relative path is one below the process's working folder.
  void observeDirectories(const NSArray& urlsOrPaths);
  void stopObservingDirectories();
  // Starts anew over `observedDirectories`, with the look at what is there.
  void refresh();
  // Hands over those of the paths that can be read, even when there are none.
  void fileChanges(const NSArray& paths);

  // Null while nothing is watched. Belongs to the observer.
  FSEventStreamRef eventStream() const { return eventStream_; }
  // The folders as path strings; a change counts from the next `refresh`.
  NSMutableSet observedDirectories() const { return observedDirectories_; }

 private:
  template <std::derived_from<NSObject> T, class... Args>
  friend orv::Ref<T> orv::make(Args&&... args);
  explicit OrvDirectoryObserver(Callback callback);
  void stopStream();
  void forcedCheck();
  void startStream();

  const Callback callback_;
  FSEventStreamRef eventStream_ = nullptr;
  const NSMutableSet observedDirectories_;
  uint64_t refreshes_ = 0;
};

// What an observer's stream calls. `contextInfo` is the observer, as an `NSObject*`; anything else that is one
// is only logged, as is null.
extern "C" ORV_EXPORT void FSEventCallback(ConstFSEventStreamRef stream, void* contextInfo, size_t numEvents,
                                           void* eventPaths, const uint32_t* eventFlags,
                                           const uint64_t* eventIds);
