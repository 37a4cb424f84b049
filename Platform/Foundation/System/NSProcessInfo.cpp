#include "Platform/Foundation/System/NSProcessInfo.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <string_view>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSDictionary.h"

using namespace orv;

namespace {

// Never destroyed: the console asks for the name in static destructors, too.
struct State {
  std::mutex mutex;  // guards name; held across every fork, so that a child never finds it taken
  NSString name;     // nil: the file name of the executable

  static inline State* forked = nullptr;
};

State& state() {
  static State* const shared = [] {
    State::forked = new State;
    ::pthread_atfork([] { State::forked->mutex.lock(); }, [] { State::forked->mutex.unlock(); },
                     [] { State::forked->mutex.unlock(); });
    return State::forked;
  }();
  return *shared;
}

std::string executable() {
  std::array<char, PATH_MAX> buffer;
  const ssize_t size = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
  std::string path(buffer.data(), size > 0 ? static_cast<size_t>(size) : 0);
  constexpr std::string_view kGone = " (deleted)";  // the kernel's mark for a file replaced while it runs
  if (path.ends_with(kGone)) path.resize(path.size() - kGone.size());
  return path;
}

}  // namespace

Ref<NSProcessInfo> NSProcessInfo::processInfo() {
  static NSProcessInfo* const shared = new NSProcessInfo;
  return Ref<NSProcessInfo>(shared);
}

NSString NSProcessInfo::processName() const {
  {
    const std::lock_guard lock(state().mutex);
    if (state().name) return state().name;
  }
  const std::string path = executable();
  return NSString::stringWithFileSystemRepresentation(path.substr(path.rfind('/') + 1));
}

void NSProcessInfo::setProcessName(const NSString& name) {
  const std::lock_guard lock(state().mutex);
  state().name = name;
}

NSArray NSProcessInfo::arguments() const {
  std::ifstream in("/proc/self/cmdline", std::ios::binary);
  const std::string all{std::istreambuf_iterator<char>(in), {}};
  const NSMutableArray arguments = NSMutableArray::array();
  for (size_t at = 0; at < all.size();) {
    const size_t end = std::min(all.find('\0', at), all.size());
    arguments.addObject(NSString::stringWithFileSystemRepresentation(all.substr(at, end - at)));
    at = end + 1;
  }
  return arguments.copy().as<NSArray>();
}

NSDictionary NSProcessInfo::environment() const {
  const NSMutableDictionary result = NSMutableDictionary::dictionary();
  for (char** variable = ::environ; variable && *variable; ++variable) {
    const std::string_view text = *variable;
    const size_t equals = text.find('=');
    if (equals == std::string_view::npos) continue;
    result.setObjectForKey(NSString::stringWithFileSystemRepresentation(text.substr(equals + 1)),
                           NSString::stringWithFileSystemRepresentation(text.substr(0, equals)));
  }
  return result.copy().as<NSDictionary>();
}

int NSProcessInfo::processIdentifier() const noexcept { return ::getpid(); }

NSString NSProcessInfo::executablePath() const {
  const std::string path = executable();
  return path.empty() ? NSString() : NSString::stringWithFileSystemRepresentation(path);
}

NSString orv::detail::environmentValue(const char* name) {
  const char* value = std::getenv(name);
  return value ? NSString::stringWithFileSystemRepresentation(value) : NSString();
}
