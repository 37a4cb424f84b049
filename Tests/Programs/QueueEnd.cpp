// A program that ends while its queues are busy, in the way that its argument tells. QueueEndTest looks at what
// it prints.

#include <dlfcn.h>
#include <poll.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "Orvane/OrvDebounce.h"
#include "Orvane/OrvQueue.h"
#include "Orvane/OrvTaskQueue.h"
#include "Platform/Foundation/Threads/NSRunLoop.h"

using namespace orv;
using namespace std::chrono_literals;

namespace {

void say(const char* text) {
  [[maybe_unused]] const auto ignored = ::write(STDOUT_FILENO, text, std::strlen(text));
}

// Sleeps in between: on a machine with one processor the pool then lets another block run.
template <class F>
void waitUntil(const F& condition) {
  while (!condition()) std::this_thread::sleep_for(1ms);
}

void sayCount(const char* text, int count) {
  say((std::string(text) + " " + std::to_string(count) + "\n").c_str());
}

// Blocks that were accepted run, on every kind of queue.
void accepted() {
  static std::atomic<int> count;
  for (int q = 0; q < 8; ++q) {
    const auto queue = make<OrvQueue>();
    const auto ops = make<OrvOpsQueue>();
    const auto recursive = make<OrvRecQueue>();
    for (int i = 0; i < 500; ++i)
      for (OrvQueue* each :
           {queue.get(), static_cast<OrvQueue*>(ops.get()), static_cast<OrvQueue*>(recursive.get())})
        each->async([i] {
          if (i == 0) std::this_thread::sleep_for(1ms);
          ++count;
        });
  }
  const auto last = make<OrvQueue>();
  last->async([] {
    waitUntil([] { return count == 8 * 500 * 3; });
    sayCount("ran", count);
  });
}

// Blocks for a main thread whose loop does not run any more.
void mainQueue() {
  static int count = 0;
  static std::atomic<bool> posted{false};
  OrvAsync::async([] {
    for (int i = 0; i < 100; ++i) OrvQueue::main([] { ++count; }, true);
    posted = true;
    OrvQueue::main([] { sayCount("on main", count); });  // waits
    say("waited\n");
  });
  waitUntil([] { return posted.load(); });
}

// Work submitted when everything has ended.
struct Late {
  ~Late() {
    const auto queue = make<OrvQueue>();
    queue->async([] {});
    queue->sync([] { say("late sync ran\n"); });
    queue->finish();
    const auto ops = make<OrvOpsQueue>();
    ops->async([] {});
    ops->sync([] { say("late operation ran\n"); });
    ops->finish();
    make<OrvRecQueue>()->sync([] { say("late recursive ran\n"); });
    const auto tasks = make<OrvTaskQueue>();
    tasks->addTaskBlock([](const auto&) {});
    tasks->queue()->waitUntilAllOperationsAreFinished();
    OrvDebounce::initWithDelay(0, nil, [](const auto&) {})->debounce();
    OrvAsync::async([] {});
    OrvQueue::main([] { say("late main ran\n"); }, true);
  }
};
void late() { static const Late atEnd; }
// The same when the pool has begun, and ended, before.
void lateBehindThePool() {
  static const Late atEnd;
  make<OrvQueue>()->async([] {});
}

// A block that waits for itself cannot hold up the end.
void stuck() {
  static const auto queue = make<OrvRecQueue>();
  static std::atomic<bool> waits{false};
  queue->async([] {
    waits = true;
    queue->sync([] { say("never\n"); });
  });
  waitUntil([] { return waits.load(); });
}

// A block that submits itself for ever cannot, either.
void endless() {
  static const auto queue = make<OrvQueue>();
  static std::function<void()> again = [] { queue->async(again); };
  again();
}

// The process ends inside a block, with others behind it.
void inside() {
  static std::atomic<bool> submitted{false};
  const auto queue = make<OrvQueue>();
  queue->async([] {
    waitUntil([] { return submitted.load(); });
    std::exit(0);
  });
  for (int i = 0; i < 3; ++i) queue->async([] { say("behind "); });
  submitted = true;
  std::this_thread::sleep_for(60s);
}

// Set when the process begins to end. To be called behind the first submission: what is registered last is
// called first.
std::atomic<bool> ending{false};
void noteEnding() {
  std::atexit([] { ending = true; });
}
// Returns when the end of the process has waited for a moment.
void waitUntilEnding() {
  waitUntil([] { return ending.load(); });
  std::this_thread::sleep_for(20ms);
}

// Blocks behind a synchronous block of a thread that the pool does not know.
void behindCaller(const Ref<DispatchQueue>& target) {
  static const auto queue = DispatchQueue::serial("kept", target);
  static std::atomic<bool> entered{false};
  std::thread([] {
    queue->sync([] {
      entered = true;
      waitUntilEnding();
    });
    std::this_thread::sleep_for(60s);
  }).detach();
  waitUntil([] { return entered.load(); });
  queue->async([] { say("behind the caller\n"); });
  noteEnding();
}
void behindCaller() { behindCaller(nil); }
void behindCallerWithTarget() { behindCaller(DispatchQueue::serial("target")); }

// Blocks behind a caller who waits for its turn.
void behindWaiter() {
  static const auto queue = DispatchQueue::serial("waited for");
  static std::atomic<bool> waits{false};
  queue->async([] {
    waitUntil([] { return waits.load(); });
    std::this_thread::sleep_for(30ms);
  });
  std::thread([] {
    waits = true;
    queue->sync([] {});
    std::this_thread::sleep_for(60s);
  }).detach();
  waitUntil([] { return waits.load(); });
  std::this_thread::sleep_for(10ms);  // the caller stands in line by then, nearly always
  queue->async([] { say("behind the waiter\n"); });
}

// Behind a barrier of a concurrent queue, which a caller runs.
void behindBarrier() {
  static const auto queue = DispatchQueue::concurrent("apart");
  static std::atomic<bool> entered{false};
  std::thread([] {
    queue->barrierSync([] {
      entered = true;
      waitUntilEnding();
    });
    std::this_thread::sleep_for(60s);
  }).detach();
  waitUntil([] { return entered.load(); });
  queue->async([] { say("behind the barrier\n"); });
  noteEnding();
}

// A queue with a target goes on when no new work is accepted any more.
void closed() {
  static const auto queue = DispatchQueue::serial("late", DispatchQueue::serial("target"));
  static std::atomic<bool> entered{false};
  static std::atomic<bool> done{false};
  DispatchQueue::globalQueue()->async([] {
    const auto limit = std::chrono::steady_clock::now() + 60s;
    waitUntil([&] { return done || std::chrono::steady_clock::now() > limit; });
  });
  std::thread([] {
    queue->sync([] {
      entered = true;
      std::this_thread::sleep_for(2500ms);
    });
    queue->sync([] { say("second caller\n"); });
    done = true;
    std::this_thread::sleep_for(60s);
  }).detach();
  waitUntil([] { return entered.load(); });
  queue->async([] { say("behind the first\n"); });
}

// A child that ends by `exit` runs nothing of its parent's, whatever the thread that forked was in.
void forkAndExit() {
  const pid_t child = ::fork();
  if (child == 0) std::exit(0);
  ::waitpid(child, nullptr, 0);
}
void forked() {
  static std::atomic<bool> submitted{false};
  DispatchQueue::mainQueue()->async([] { say("main\n"); });
  const auto queue = make<OrvQueue>();
  queue->async([] {
    waitUntil([] { return submitted.load(); });
    forkAndExit();
  });
  queue->async([] { say("behind\n"); });
  submitted = true;
  queue->finish();
  forkAndExit();
}

// The system refuses threads for a moment, or for ever.
std::atomic<int> refusals{0};
void fewThreads() {
  refusals = 5;
  const auto queue = make<OrvQueue>();
  queue->async([] { say("ran later\n"); });
  queue->finish();
}
void noThreads() {
  refusals = 1 << 30;
  make<OrvQueue>()->async([] { say("ran at the end\n"); });
}

// Blocks that use the first queue of the process, which is an object with static storage.
void firstQueue() {
  static const auto queue = make<OrvRecQueue>();
  queue->async([] {
    std::this_thread::sleep_for(50ms);
    queue->async([] { say("used again\n"); });
  });
}

void debouncer() {
  const auto it = OrvDebounce::initWithDelay(3600, nil, [](const auto&) { say("never\n"); });
  it->debounce();
}

// What comes to standard error while it lives can be waited for.
class Errors {
 public:
  Errors() : written_(::dup(STDERR_FILENO)) {
    int ends[2];
    if (::pipe(ends) != 0) std::abort();
    read_ = ends[0];
    ::dup2(ends[1], STDERR_FILENO);
    ::close(ends[1]);
  }
  ~Errors() { ::dup2(written_, STDERR_FILENO); }

  // Passes on what comes until a text came so often, or nothing did for so long.
  void passOn(const std::string& text, size_t times, std::chrono::milliseconds patience) {
    pollfd ready{read_, POLLIN, 0};
    char piece[4096];
    while (count(text) < times && ::poll(&ready, 1, static_cast<int>(patience.count())) == 1) {
      const ssize_t got = ::read(read_, piece, sizeof piece);
      if (got <= 0) return;
      passed_.append(piece, static_cast<size_t>(got));
      [[maybe_unused]] const auto ignored = ::write(written_, piece, static_cast<size_t>(got));
    }
  }

 private:
  size_t count(const std::string& text) const {
    size_t found = 0;
    for (size_t at = 0; (at = passed_.find(text, at)) != std::string::npos; ++at) ++found;
    return found;
  }

  int written_;
  int read_ = -1;
  std::string passed_;
};

// Two queues that wait for each other, and one that waits for itself.
void circle() {
  Errors errors;
  static const auto one = DispatchQueue::serial("queue one");
  static const auto two = DispatchQueue::serial("queue two");
  static std::atomic<int> inside{0};
  const auto meet = [](const Ref<DispatchQueue>& other) {
    ++inside;
    waitUntil([] { return inside == 2; });
    other->sync([] { say("never\n"); });
  };
  one->async([meet] { meet(two); });
  two->async([meet] { meet(one); });
  static const auto self = DispatchQueue::serial("queue self");
  self->async([] { self->sync([] { say("never\n"); }); });
#ifdef ORVANE_QUEUE_CHECKS
  errors.passOn("Deadlock:", 2, 60s);
#endif
  errors.passOn("Deadlock:", SIZE_MAX, 300ms);  // no more are wanted
  ::_exit(0);
}

}  // namespace

// Stands before the system's, for the library too.
extern "C" __attribute__((visibility("default"))) int pthread_create(pthread_t* thread,
                                                                     const pthread_attr_t* attributes,
                                                                     void* (*start)(void*),
                                                                     void* argument) noexcept {
  if (refusals > 0 && refusals-- > 0) return EAGAIN;
  static const auto real = reinterpret_cast<decltype(&pthread_create)>(::dlsym(RTLD_NEXT, "pthread_create"));
  return real(thread, attributes, start, argument);
}

int main(int, char** arguments) {
  const std::map<std::string, void (*)()> ways{{"accepted", accepted},
                                               {"mainQueue", mainQueue},
                                               {"late", late},
                                               {"lateBehindThePool", lateBehindThePool},
                                               {"forked", forked},
                                               {"fewThreads", fewThreads},
                                               {"noThreads", noThreads},
                                               {"stuck", stuck},
                                               {"endless", endless},
                                               {"inside", inside},
                                               {"debouncer", debouncer},
                                               {"circle", circle},
                                               {"behindCaller", behindCaller},
                                               {"behindCallerWithTarget", behindCallerWithTarget},
                                               {"behindWaiter", behindWaiter},
                                               {"behindBarrier", behindBarrier},
                                               {"closed", closed},
                                               {"firstQueue", firstQueue}};
  const auto way = ways.find(arguments[1] ? arguments[1] : "");
  if (way == ways.end()) return 2;
  way->second();
  say("main returned\n");
}
