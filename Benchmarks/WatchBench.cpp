// Watching folders beside inotifywait: a burst of new files and folders, with what each of both loses, and the
// start on a large tree, with the memory it takes. ORVANE_WATCH_SCALE=10 makes all of it ten times smaller.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_set>
#include <vector>

#include "Benchmarks/Support.h"
#include "Platform/CoreServices/Detail/WatchService.h"
#include "Platform/CoreServices/FSEvents.h"

namespace {
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using Paths = std::unordered_set<std::string>;
using orv::detail::WatchService;

constexpr double kLatency = 0.25;
constexpr auto kPatience = std::chrono::seconds(3);  // after the last path that came

size_t scaled(size_t count) {
  static const char* const scale = std::getenv("ORVANE_WATCH_SCALE");
  return count / std::max<size_t>(1, scale ? std::strtoul(scale, nullptr, 10) : 1);
}

double secondsSince(Clock::time_point moment) {
  return std::chrono::duration<double>(Clock::now() - moment).count();
}

// ---- The burst

void createFile(const std::string& path) {
  ::close(::open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
}

// New files in folders that are watched, and then folders in folders, each filled as soon as it is there. They
// stay until the end: file systems put off using the numbers of removed files again, which would make the next
// burst a slow one.
class Burst {
 public:
  explicit Burst(const std::string& root) {
    for (size_t i = 0; i < kFolders; ++i) fs::create_directories(root + "/" + std::to_string(i));
    for (size_t i = 0; i < scaled(60000); ++i)
      files_.push_back(root + "/" + std::to_string(i % kFolders) + "/file" + std::to_string(i));
    for (size_t i = 0; i < scaled(12000) / kInTree; ++i) addTree(root + "/" + std::to_string(i % kFolders), i);
  }
  Burst(const Burst&) = delete;
  Burst& operator=(const Burst&) = delete;

  void run() {
    for (const std::string& file : files_) createFile(file);
    for (const std::string& item : trees_)
      item.ends_with('/') ? void(::mkdir(item.c_str(), 0755)) : createFile(item);
    finished_ = Clock::now();
    done_ = true;
  }

  Paths expected() const {
    Paths paths(files_.begin(), files_.end());
    for (const std::string& item : trees_) paths.insert(item.substr(0, item.find_last_not_of('/') + 1));
    return paths;
  }
  bool done() const { return done_; }
  Clock::time_point finished() const { return finished_; }

 private:
  static constexpr size_t kFolders = 60;
  static constexpr size_t kLevels = 4;
  static constexpr size_t kFilesOnLevel = 9;
  static constexpr size_t kInTree = kLevels * (1 + kFilesOnLevel);

  void addTree(std::string folder, size_t number) {
    for (size_t level = 0; level < kLevels; ++level) {
      folder += "/tree" + std::to_string(number);
      trees_.push_back(folder + "/");
      for (size_t i = 0; i < kFilesOnLevel; ++i) trees_.push_back(folder + "/file" + std::to_string(i));
    }
  }

  std::vector<std::string> files_;
  std::vector<std::string> trees_;  // folders end in a slash
  Clock::time_point finished_;
  std::atomic<bool> done_ = false;
};

std::string makeRoot() {
  static int made = 0;
  const fs::path root = fs::path(scratchFolder()) / ("burst" + std::to_string(++made));
  fs::create_directories(root);
  return fs::canonical(root).string();
}

// Paths that are waited for, and when the last of them came.
struct Awaited {
  Paths missing;
  Clock::time_point last = Clock::now();

  void arrive(const std::string& path) {
    if (missing.erase(path) > 0) last = Clock::now();
  }
  bool isOver(const Burst& burst) const {
    return burst.done() && (missing.empty() || Clock::now() > std::max(last, burst.finished()) + kPatience);
  }
};

void reportBurst(benchmark::State& state, const Awaited& awaited, const Burst& burst) {
  const std::chrono::duration<double> delay = awaited.last - burst.finished();
  state.SetIterationTime(std::max(delay.count(), 1e-6));
  state.counters["lost"] = static_cast<double>(awaited.missing.size());
}

// ---- Ours

void collect(ConstFSEventStreamRef, void* info, size_t, void* paths, const uint32_t*, const uint64_t*) {
  for (const orv::Value& path : *static_cast<const NSArray*>(paths))
    static_cast<Awaited*>(info)->arrive(path.as<NSString>().fileSystemRepresentation());
}

class OurWatch {
 public:
  OurWatch(const std::string& root, Awaited& awaited) {
    FSEventStreamContext context;
    context.info = &awaited;
    stream_ = FSEventStreamCreate(collect, &context, {NSString(root)}, kFSEventStreamEventIdSinceNow, kLatency,
                                  kFSEventStreamCreateFlagUseCFTypes | kFSEventStreamCreateFlagFileEvents);
    FSEventStreamScheduleWithRunLoop(stream_, NSRunLoop::currentRunLoop(), NSRunLoopCommonModes);
  }
  OurWatch(const OurWatch&) = delete;
  OurWatch& operator=(const OurWatch&) = delete;
  ~OurWatch() {
    FSEventStreamStop(stream_);
    FSEventStreamInvalidate(stream_);
    FSEventStreamRelease(stream_);
    WatchService::shared().numbers();  // its watches are gone
  }
  void start() const { FSEventStreamStart(stream_); }

 private:
  FSEventStreamRef stream_;
};

void burstOurs(benchmark::State& state) {
  for (auto _ : state) {
    const std::string root = makeRoot();
    Burst burst(root);
    Awaited awaited{burst.expected()};
    const OurWatch watch(root, awaited);
    watch.start();
    std::thread writer([&] { burst.run(); });
    while (!awaited.isOver(burst))
      NSRunLoop::currentRunLoop()->runMode(NSDefaultRunLoopMode, NSDate::dateWithTimeIntervalSinceNow(0.05));
    writer.join();
    reportBurst(state, awaited, burst);
  }
}

// ---- inotifywait

class TheirWatch {
 public:
  explicit TheirWatch(const std::string& root) {
    int out[2], err[2];
    if (::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0) std::abort();
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    ::posix_spawn_file_actions_adddup2(&actions, err[1], 2);
    const char* arguments[] = {
        "inotifywait", "-m",   "-r", "--format", "%w%f", "-e", "create,modify,attrib,move,delete",
        root.c_str(),  nullptr};
    ::posix_spawnp(&id_, arguments[0], &actions, nullptr, const_cast<char**>(arguments), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    ::close(err[1]);
    output_ = out[0];
    error_ = err[0];
  }
  TheirWatch(const TheirWatch&) = delete;
  TheirWatch& operator=(const TheirWatch&) = delete;
  ~TheirWatch() {
    if (id_ > 0) {
      ::kill(id_, SIGKILL);
      ::waitpid(id_, nullptr, 0);
    }
    ::close(output_);
    ::close(error_);
  }

  bool waitUntilEstablished() {
    std::string text;
    char piece[4096];
    while (text.find("established") == std::string::npos) {
      const ssize_t got = ::read(error_, piece, sizeof piece);
      if (got <= 0) return false;
      text.append(piece, static_cast<size_t>(got));
    }
    return true;
  }

  // Hands over whole lines for a while.
  void read(Awaited& awaited) {
    pollfd ready{output_, POLLIN, 0};
    if (::poll(&ready, 1, 50) <= 0) return;
    char piece[65536];
    const ssize_t got = ::read(output_, piece, sizeof piece);
    if (got > 0) rest_.append(piece, static_cast<size_t>(got));
    size_t begin = 0;
    for (size_t end; (end = rest_.find('\n', begin)) != std::string::npos; begin = end + 1)
      awaited.arrive(rest_.substr(begin, end - begin));
    rest_.erase(0, begin);
  }
  pid_t id() const { return id_; }

 private:
  pid_t id_ = -1;
  int output_ = -1;
  int error_ = -1;
  std::string rest_;
};

void burstTheirs(benchmark::State& state) {
  for (auto _ : state) {
    const std::string root = makeRoot();
    Burst burst(root);
    Awaited awaited{burst.expected()};
    TheirWatch watch(root);
    if (!watch.waitUntilEstablished()) return state.SkipWithError("inotifywait does not start");
    std::thread writer([&] { burst.run(); });
    while (!awaited.isOver(burst)) watch.read(awaited);
    writer.join();
    reportBurst(state, awaited, burst);
  }
}

// ---- The start on a large tree

// A hundred folders in a folder, three levels, with a few files among them.
const std::string& largeTree() {
  static const std::string root = [] {
    const std::string made = makeRoot();
    for (size_t i = 0; i < scaled(100000); ++i) {
      const std::string folder = made + "/" + std::to_string(i / 10000) + "/" + std::to_string(i / 100 % 100) +
                                 "/" + std::to_string(i % 100);
      fs::create_directories(folder);
      if (i % 10 == 0) createFile(folder + "/file");
    }
    return made;
  }();
  return root;
}

double residentMegabytes(const std::string& process) {
  std::ifstream file("/proc/" + process + "/statm");
  double size = 0, resident = 0;
  file >> size >> resident;
  return resident * static_cast<double>(::sysconf(_SC_PAGESIZE)) / 1e6;
}

void startOurs(benchmark::State& state) {
  const std::string& root = largeTree();
  for (auto _ : state) {
    Awaited awaited;
    const OurWatch watch(root, awaited);
    const double before = residentMegabytes("self");
    const Clock::time_point started = Clock::now();
    watch.start();
    state.SetIterationTime(secondsSince(started));
    const auto numbers = WatchService::shared().numbers();
    if (numbers.watches < scaled(100000)) return state.SkipWithError("folders are missing");
    state.counters["megabytes"] =
        std::max(residentMegabytes("self") - before, static_cast<double>(numbers.bytes) / 1e6);
  }
}

void startTheirs(benchmark::State& state) {
  const std::string& root = largeTree();
  for (auto _ : state) {
    const Clock::time_point started = Clock::now();
    TheirWatch watch(root);
    if (!watch.waitUntilEstablished()) return state.SkipWithError("inotifywait does not start");
    state.SetIterationTime(secondsSince(started));
    state.counters["megabytes"] = residentMegabytes(std::to_string(watch.id()));
  }
}

}  // namespace

BENCHMARK(burstOurs)->Name("watch/burst/ours")->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(1);
BENCHMARK(burstTheirs)
    ->Name("watch/burst/inotifywait")
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(1);
BENCHMARK(startOurs)->Name("watch/start/ours")->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(1);
BENCHMARK(startTheirs)
    ->Name("watch/start/inotifywait")
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(1);

ORVANE_BENCHMARK_MAIN()
