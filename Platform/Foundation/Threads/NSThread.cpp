#include "Platform/Foundation/Threads/NSThread.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "Platform/Foundation/Values/NSArray.h"

using namespace orv;

namespace {

thread_local NSString threadName;  // nil until it is set

enum class Place : uint8_t { Unknown, Main, Other };
constinit thread_local Place place = Place::Unknown;

// A thread that forks is the first of the child, whatever it was in the parent.
Place findPlace() {
  static const int registered = ::pthread_atfork(nullptr, nullptr, [] { place = Place::Unknown; });
  static_cast<void>(registered);
  return ::gettid() == ::getpid() ? Place::Main : Place::Other;
}

std::string demangled(const char* symbol) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> text(abi::__cxa_demangle(symbol, nullptr, nullptr, &status),
                                                         &std::free);
  return status == 0 ? text.get() : symbol;
}

std::string hex(const char* format, uintptr_t address) {
  std::array<char, 32> text;
  std::snprintf(text.data(), text.size(), format, address);
  return text.data();
}

std::string frameLine(size_t index, void* frame) {
  const auto address = reinterpret_cast<uintptr_t>(frame);
  Dl_info info{};
  // The return address may already belong to the next function: the call lies before it.
  const bool known = ::dladdr(reinterpret_cast<void*>(address - 1), &info) != 0;
  std::string_view image = known && info.dli_fname ? info.dli_fname : "???";
  image.remove_prefix(image.rfind('/') + 1);
  const uintptr_t base = reinterpret_cast<uintptr_t>(info.dli_sname ? info.dli_saddr : info.dli_fbase);

  std::string line = std::to_string(index);
  line.resize(std::max<size_t>(line.size(), 4), ' ');
  line += image;
  line.append(image.size() < 35 ? 35 - image.size() : 0, ' ');
  line += hex(" 0x%016" PRIxPTR " ", address);
  line += info.dli_sname ? demangled(info.dli_sname) : hex("0x%" PRIxPTR, base);
  return line + " + " + std::to_string(address - base);
}

}  // namespace

bool NSThread::isMainThread() noexcept {
  if (place == Place::Unknown) [[unlikely]]
    place = findPlace();
  return place == Place::Main;
}

NSUInteger NSThread::currentThreadNumber() noexcept {
  static std::atomic<NSUInteger> last{1};
  thread_local const NSUInteger number = isMainThread() ? 1 : ++last;
  return number;
}

NSString NSThread::currentThreadName() {
  if (threadName) return threadName;
  return isMainThread() ? "main" : "";
}

void NSThread::setCurrentThreadName(const NSString& name) {
  threadName = name.isNil() ? NSString("") : name;
  // The main thread's name is the process's: `ps` and `killall` know it by that.
  if (!isMainThread()) ::pthread_setname_np(::pthread_self(), threadName.utf8().substr(0, 15).c_str());
}

void NSThread::setWorkerName(const NSString& label) {
  constexpr size_t kSystemLimit = 15;
  if (isMainThread()) return;
  threadName = label;
  const std::string whole = label.utf8();
  std::string_view rest = whole;
  // The last two parts of a reverse-DNS label tell most.
  for (size_t dot; rest.size() > kSystemLimit && (dot = rest.find('.')) != rest.npos &&
                   rest.find('.', dot + 1) != rest.npos;)
    rest.remove_prefix(dot + 1);
  ::pthread_setname_np(::pthread_self(), std::string(rest.substr(0, kSystemLimit)).c_str());
}

[[gnu::noinline]] NSArray NSThread::callStackSymbols() {
  std::array<void*, 256> frames;
  const int count = ::backtrace(frames.data(), static_cast<int>(frames.size()));
  // Sanitizers put frames of their own below this one: the caller's is known by its address.
  const auto end = frames.begin() + count;
  const auto caller = std::find(frames.begin(), end, __builtin_return_address(0));
  const auto first = caller != end ? caller : frames.begin() + std::min(count, 1);
  const NSMutableArray lines = NSMutableArray::array();
  for (auto frame = first; frame != end; ++frame)
    lines.addObject(NSString::stringWithLossyUTF8(frameLine(static_cast<size_t>(frame - first), *frame)));
  return lines.copy().as<NSArray>();
}
