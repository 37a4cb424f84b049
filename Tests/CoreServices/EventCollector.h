#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Platform/CoreServices/FSEvents.h"

// A stream on this thread's run loop and what it has delivered.
class EventCollector {
 public:
  struct Event {
    std::string path;
    uint32_t flags;
    uint64_t id;
  };

  static constexpr double kLimit = 60;  // seconds, for whatever is waited for
  static constexpr FSEventStreamCreateFlags kUsual = kFSEventStreamCreateFlagUseCFTypes |
                                                     kFSEventStreamCreateFlagWatchRoot |
                                                     kFSEventStreamCreateFlagFileEvents;

  explicit EventCollector(const std::vector<std::string>& paths, double latency = 0.05,
                          FSEventStreamCreateFlags flags = kUsual)
      : objects_((flags & kFSEventStreamCreateFlagUseCFTypes) != 0) {
    NSMutableArray watched = NSMutableArray::array();
    for (const std::string& path : paths) watched.addObject(NSString::stringWithFileSystemRepresentation(path));
    FSEventStreamContext context;
    context.info = this;
    stream = FSEventStreamCreate(&EventCollector::called, &context, watched, kFSEventStreamEventIdSinceNow,
                                 latency, flags);
    FSEventStreamScheduleWithRunLoop(stream, NSRunLoop::currentRunLoop(), NSRunLoopCommonModes);
    started = FSEventStreamStart(stream);
  }
  EventCollector(const EventCollector&) = delete;
  EventCollector& operator=(const EventCollector&) = delete;
  ~EventCollector() { end(); }

  void end() {
    FSEventStreamStop(stream);
    FSEventStreamInvalidate(stream);
    FSEventStreamRelease(stream);
    stream = nullptr;
  }

  // Runs the loop until it is so; false when the limit has passed.
  bool waitUntil(const std::function<bool()>& done) const {
    const NSDate limit = NSDate::dateWithTimeIntervalSinceNow(kLimit);
    while (!done()) {
      NSRunLoop::currentRunLoop()->runMode(NSDefaultRunLoopMode, limit);
      if (limit.timeIntervalSinceNow() <= 0) return done();
    }
    return true;
  }
  bool waitFor(const std::string& path) const {
    return waitUntil([&] { return flags.contains(path); });
  }
  bool waitFor(const std::string& path, uint32_t wanted) const {
    return waitUntil([&] { return (flagsOf(path) & wanted) == wanted; });
  }
  // Waits until everything that happened so far has been delivered: a file is made in a folder that the stream
  // covers, and waited for.
  bool settle(const std::string& folder) const {
    static std::atomic<int> made = 0;
    const std::string path = folder + "/.settled-" + std::to_string(++made);
    touch(path);
    return waitFor(path);
  }

  uint32_t flagsOf(const std::string& path) const {
    const auto found = flags.find(path);
    return found == flags.end() ? 0 : found->second;
  }
  void forget() {
    flags.clear();
    batches.clear();
  }

  static void touch(const std::string& path, const std::string& contents = "");

  FSEventStreamRef stream = nullptr;
  bool started = false;
  std::vector<std::vector<Event>> batches;
  std::map<std::string, uint32_t> flags;  // of all events of a path
  std::function<void()> onBatch;

 private:
  static void called(ConstFSEventStreamRef, void* info, size_t count, void* paths, const uint32_t* flags,
                     const uint64_t* ids) {
    static_cast<EventCollector*>(info)->collect(count, paths, flags, ids);
  }

  void collect(size_t count, void* paths, const uint32_t* eventFlags, const uint64_t* ids) {
    std::vector<Event> batch;
    for (size_t i = 0; i < count; ++i) {
      const std::string path =
          objects_
              ? static_cast<const NSArray*>(paths)->objectAtIndex(i).as<NSString>().fileSystemRepresentation()
              : static_cast<const char* const*>(paths)[i];
      batch.push_back({path, eventFlags[i], ids[i]});
      flags[path] |= eventFlags[i];
    }
    batches.push_back(std::move(batch));
    if (onBatch) onBatch();
  }

  const bool objects_;
};

inline void EventCollector::touch(const std::string& path, const std::string& contents) {
  FILE* const file = std::fopen(path.c_str(), "ab");
  if (!file) return;
  std::fwrite(contents.data(), 1, contents.size(), file);
  std::fclose(file);
}
