#include "Platform/Foundation/System/NSBundle.h"

#include <pthread.h>

#include <charconv>
#include <fstream>
#include <iterator>
#include <mutex>
#include <optional>

#include "Platform/Foundation/Serialization/SmallJSON.h"
#include "Platform/Foundation/System/NSConsole.h"
#include "Platform/Foundation/System/NSProcessInfo.h"
#include "Platform/Foundation/Values/NSDictionary.h"

using namespace orv;

namespace {

std::optional<std::string> contentsOf(const NSString& path) {
  std::ifstream in(path.fileSystemRepresentation(), std::ios::binary);
  if (!in) return std::nullopt;
  return std::string{std::istreambuf_iterator<char>(in), {}};
}

NSDictionary readInfoFile(const NSString& executable) {
  const NSString folder = executable.stringByDeletingLastPathComponent();
  const NSString shared =
      folder.stringByDeletingLastPathComponent() + "/share/" + executable.lastPathComponent();
  for (const NSString& place : {folder, shared}) {
    const NSString path = place.stringByAppendingPathComponent("Info.json");
    const std::optional<std::string> bytes = contentsOf(path);
    if (!bytes) continue;
    const NSDictionary info = detail::readFlatJSON(*bytes);
    if (info) return info;
    detail::consoleWrite(NSString("Not a flat JSON object: ") + path);
  }
  return NSDictionary::dictionary();
}

struct State {
  std::mutex mutex;   // guards info; held across every fork, so that a child never finds it taken
  NSDictionary info;  // nil: not read yet

  static inline State* forked = nullptr;
};

// Never destroyed: folder names are asked for until the very end.
State& state() {
  static State* const shared = [] {
    // Whoever holds this lock may ask for the process's name: a fork, which takes the lock made last first,
    // must take the two in that order, too.
    static_cast<void>(NSProcessInfo::processInfo()->processName());
    State::forked = new State;
    ::pthread_atfork([] { State::forked->mutex.lock(); }, [] { State::forked->mutex.unlock(); },
                     [] { State::forked->mutex.unlock(); });
    return State::forked;
  }();
  return *shared;
}

}  // namespace

Ref<NSBundle> NSBundle::mainBundle() {
  static NSBundle* const shared = new NSBundle;
  return Ref<NSBundle>(shared);
}

NSDictionary NSBundle::infoDictionary() const {
  const std::lock_guard lock(state().mutex);
  if (!state().info) state().info = readInfoFile(executablePath());
  return state().info;
}

void NSBundle::setInfoDictionary(const NSDictionary& info) {
  NSDictionary kept = info.copy().as<NSDictionary>();
  const std::lock_guard lock(state().mutex);
  state().info.swap(kept);
}

Value NSBundle::objectForInfoDictionaryKey(const NSString& key) const {
  return infoDictionary().objectForKey(key);
}

NSString NSBundle::bundleIdentifier() const {
  return objectForInfoDictionaryKey("CFBundleIdentifier").as<NSString>();
}

NSString NSBundle::executablePath() const { return NSProcessInfo::processInfo()->executablePath(); }

NSString NSBundle::bundlePath() const { return executablePath().stringByDeletingLastPathComponent(); }

NSString NSBundle::localizedStringForKey(const NSString& key, const NSString& value, const NSString&) const {
  if (value.length() > 0) return value;
  return key.isNil() ? NSString("") : key;
}
