// Loaded before all others (LD_PRELOAD), it lets threads linger at random beside locks, futexes and polls.
// Orders of events that a quiet machine shows once in a thousand runs become common, so that a sanitizer sees
// them.
//
//   SLOW_LOCKS_SEED   what the delays are drawn from, 1 when it is not set
//   SLOW_LOCKS_RARE   one of so many calls waits (200); one of 16 lets others go first

#include <dlfcn.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <ctime>

namespace {

constexpr uint64_t kLongest = 2'000'000;  // nanoseconds

uint64_t number(const char* name, uint64_t standard) {
  const char* const text = std::getenv(name);
  return text ? std::strtoull(text, nullptr, 10) : standard;
}

// Each thread draws from a row of its own (xorshift), in the order in which threads begin.
uint64_t draw() {
  static const uint64_t seed = number("SLOW_LOCKS_SEED", 1);
  static std::atomic<uint64_t> threads{0};
  thread_local uint64_t state = 0;
  if (state == 0) state = ((seed * 0x9E3779B97F4A7C15U) ^ (++threads * 0xD1B54A32D192ED03U)) | 1U;
  state ^= state << 13U;
  state ^= state >> 7U;
  state ^= state << 17U;
  return state >> 20U;
}

void linger() {
  static const uint64_t rare = number("SLOW_LOCKS_RARE", 200);
  const int error = errno;
  const uint64_t drawn = draw();
  if (rare > 0 && drawn % rare == 0) {
    const timespec time = {0, static_cast<long>((drawn >> 10U) % kLongest)};
    ::nanosleep(&time, nullptr);
  } else if (drawn % 16 == 0) {
    ::sched_yield();
  }
  errno = error;
}

template <class Function, class... Arguments>
auto slowly(Function* next, Arguments... arguments) {
  linger();
  const auto result = next(arguments...);
  linger();
  return result;
}

}  // namespace

#define REAL(name) static auto* const next = reinterpret_cast<decltype(::name)*>(::dlsym(RTLD_NEXT, #name))

extern "C" {

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  REAL(pthread_mutex_lock);
  return slowly(next, mutex);
}

int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept {
  REAL(pthread_mutex_trylock);
  return slowly(next, mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
  REAL(pthread_mutex_unlock);
  return slowly(next, mutex);
}

int poll(pollfd* descriptors, nfds_t count, int timeout) {
  REAL(poll);
  return slowly(next, descriptors, count, timeout);
}

// The standard library waits for and tells of atomics by it.
long syscall(long call, ...) noexcept {
  REAL(syscall);
  va_list list;
  va_start(list, call);
  long words[6];
  for (long& word : words) word = va_arg(list, long);
  va_end(list);
  return slowly(next, call, words[0], words[1], words[2], words[3], words[4], words[5]);
}

}  // extern "C"
