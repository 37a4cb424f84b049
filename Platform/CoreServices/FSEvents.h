#pragma once

#include <cstddef>
#include <cstdint>

#include "Platform/Foundation/Threads/NSRunLoop.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSString.h"

// File-system event streams: which items below some folders were created, changed, renamed or removed.
//
//   void changed(ConstFSEventStreamRef, void*, size_t count, void* paths, const uint32_t*, const uint64_t*) {
//     std::cout << *static_cast<const NSArray*>(paths) << '\n';
//   }
//   FSEventStreamRef stream = FSEventStreamCreate(changed, nullptr, {"/home/ada/notes"},
//                                                 kFSEventStreamEventIdSinceNow, 0.25,
//                                                 kFSEventStreamCreateFlagUseCFTypes |
//                                                 kFSEventStreamCreateFlagFileEvents);
//   FSEventStreamScheduleWithRunLoop(stream, NSRunLoop::currentRunLoop(), NSRunLoopCommonModes);
//   FSEventStreamStart(stream);
//
// 1. Watching is recursive. A folder that is created and filled at once, or moved into the tree, is seen whole:
//    everything in it is reported. Links below the root are reported and never followed; the root's own path is
//    resolved when the stream starts, and again while no folder is found there.
// 2. Events wait for `latency` seconds after the first of them and arrive in one call: one event for each path,
//    with the flags of all that happened to it, ordered by their numbers. Paths are absolute and resolved,
//    without a trailing slash. What was removed or renamed away comes with its old path, a rename inside the
//    tree as two events. An item whose folder is renamed while its event waits comes with its new path.
// 3. The callback runs on the run loop's thread, while that runs its loop. After FSEventStreamStop it is not
//    called again; stopped by another thread, a call that is under way ends.
// 4. A root that is missing, removed or moved away is waited for: when a folder, or a link to one, stands at
// its
//    path again, everything in it is reported.
// 5. When changes come faster than they can be read, the kernel drops some. Then the trees are compared with
//    the time up to which everything is known: what changed since is reported with
//    kFSEventStreamEventFlagKernelDropped. The names of files that were removed meanwhile are not known; the
//    folder that they were removed from is reported. No copy of the tree is kept for it.
// 6. When the system allows no more watches (fs.inotify.max_user_watches), or no inotify instance, one Warning
// is
//    logged and the folders that are left over are looked through about once a second, until they can be
//    watched.
// 7. When a volume inside a tree is unmounted, its folders come with kFSEventStreamEventFlagUnmount, and what
// lies
//    under it is reported as new. In a child that was forked and runs no other program, the parent's streams
//    are silent and can only be stopped and released; new ones work.
//
// Not seen is what is changed through a memory map alone, or through a hard link that lies outside the tree;
// what others change on a network volume; a volume that is mounted inside the tree while the stream runs; and
// what lies below folders whose paths are longer than the system takes (4,095 bytes).
//
// Threads: everything may be called on every thread; one stream is to be used by one thread at a time. All
// streams of a process share one inotify instance, one reading thread, and the watches of folders that several
// of them cover. A watched folder costs about a hundred bytes here and one watch in the kernel. A null stream
// is ignored everywhere.
struct FSEventStream;
using FSEventStreamRef = FSEventStream*;
using ConstFSEventStreamRef = const FSEventStream*;

using FSEventStreamEventId = uint64_t;
using FSEventStreamEventFlags = uint32_t;
using FSEventStreamCreateFlags = uint32_t;

constexpr FSEventStreamEventId kFSEventStreamEventIdSinceNow = UINT64_MAX;

enum : FSEventStreamCreateFlags {
  kFSEventStreamCreateFlagNone = 0,
  kFSEventStreamCreateFlagUseCFTypes = 0x01,       // paths as an NSArray of strings instead of const char*[]
  kFSEventStreamCreateFlagNoDefer = 0x02,          // the first event after a pause of `latency` comes at once
  kFSEventStreamCreateFlagWatchRoot = 0x04,        // tells when a root is moved, removed or made again
  kFSEventStreamCreateFlagIgnoreSelf = 0x08,       // not supported: taken and ignored
  kFSEventStreamCreateFlagFileEvents = 0x10,       // the items themselves; without it, the folders they lie in
  kFSEventStreamCreateFlagMarkSelf = 0x20,         // not supported: taken and ignored
  kFSEventStreamCreateFlagUseExtendedData = 0x40,  // not supported: taken and ignored
};

enum : FSEventStreamEventFlags {
  kFSEventStreamEventFlagNone = 0,
  kFSEventStreamEventFlagMustScanSubDirs = 0x01,
  kFSEventStreamEventFlagUserDropped = 0x02,
  kFSEventStreamEventFlagKernelDropped = 0x04,  // found by comparing, see above
  kFSEventStreamEventFlagEventIdsWrapped = 0x08,
  kFSEventStreamEventFlagHistoryDone = 0x10,
  kFSEventStreamEventFlagRootChanged = 0x20,  // the event's path is the root's and its number 0
  kFSEventStreamEventFlagMount = 0x40,
  kFSEventStreamEventFlagUnmount = 0x80,  // the folder went with its volume
  kFSEventStreamEventFlagItemCreated = 0x100,
  kFSEventStreamEventFlagItemRemoved = 0x200,
  kFSEventStreamEventFlagItemInodeMetaMod = 0x400,  // permissions, owner, dates or extended attributes
  kFSEventStreamEventFlagItemRenamed = 0x800,       // the old and the new path, each
  kFSEventStreamEventFlagItemModified = 0x1000,
  kFSEventStreamEventFlagItemFinderInfoMod = 0x2000,
  kFSEventStreamEventFlagItemChangeOwner = 0x4000,
  kFSEventStreamEventFlagItemXattrMod = 0x8000,
  kFSEventStreamEventFlagItemIsFile = 0x10000,
  kFSEventStreamEventFlagItemIsDir = 0x20000,
  kFSEventStreamEventFlagItemIsSymlink = 0x40000,
};

// What is handed to the callback. `retain` and `release` may be null: then nothing keeps `info` alive.
struct FSEventStreamContext {
  NSInteger version = 0;
  void* info = nullptr;
  const void* (*retain)(const void* info) = nullptr;
  void (*release)(const void* info) = nullptr;
  NSString (*copyDescription)(const void* info) = nullptr;
};

// `eventPaths` is a `const NSArray*` of strings for streams with UseCFTypes, else a `const char* const*`. It
// and the other two hold `numEvents` elements and are valid during the call.
using FSEventStreamCallback = void (*)(ConstFSEventStreamRef stream, void* contextInfo, size_t numEvents,
                                       void* eventPaths, const FSEventStreamEventFlags* eventFlags,
                                       const FSEventStreamEventId* eventIds);

// A stream that is not running yet, to be released by the caller. Null when there is no callback or no path;
// elements that are no strings, and empty ones, are no paths; nor are relative ones when the process's working
// folder has been removed. A path need not exist. `sinceWhen` other than
// kFSEventStreamEventIdSinceNow is taken as it: no history is kept.
ORV_EXPORT FSEventStreamRef FSEventStreamCreate(FSEventStreamCallback callback,
                                                const FSEventStreamContext* context,
                                                const NSArray& pathsToWatch, FSEventStreamEventId sinceWhen,
                                                double latencySeconds, FSEventStreamCreateFlags flags);

// Where events are delivered: the default and the common modes are one; another mode, or nil, is nowhere. The
// stream does not keep the loop: one that ends with its thread delivers no more.
ORV_EXPORT void FSEventStreamScheduleWithRunLoop(FSEventStreamRef stream, const orv::Ref<NSRunLoop>& runLoop,
                                                 const NSString& mode);

// Returns when everything that exists is watched: changes from then on are reported. False for a stream that
// is not scheduled, is running, or was invalidated, and when no descriptor or no thread is left for the first
// one.
ORV_EXPORT bool FSEventStreamStart(FSEventStreamRef stream);
// Drops what was not delivered. A stream may be started again.
ORV_EXPORT void FSEventStreamStop(FSEventStreamRef stream);
// Takes the stream off its run loop, for good; stops it when it runs.
ORV_EXPORT void FSEventStreamInvalidate(FSEventStreamRef stream);

ORV_EXPORT void FSEventStreamRetain(FSEventStreamRef stream);
// The last release stops and invalidates the stream. Allowed in the callback.
ORV_EXPORT void FSEventStreamRelease(FSEventStreamRef stream);

// The number of the last event that was delivered; kFSEventStreamEventIdSinceNow before the first.
ORV_EXPORT FSEventStreamEventId FSEventStreamGetLatestEventId(ConstFSEventStreamRef stream);
// The paths that the stream was created with.
ORV_EXPORT NSArray FSEventStreamCopyPathsBeingWatched(ConstFSEventStreamRef stream);
