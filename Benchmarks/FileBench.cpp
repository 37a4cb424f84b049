// Copying, removing and comparing beside the shell's own tools, with a warm cache, on the disk that the
// temporary folder lies on. ORVANE_BENCH_FILES and ORVANE_BENCH_MIB make it smaller than 100,000 files and
// 1,024 MiB. For minutes after many files were removed ext4 is slow to make others, a run before this one
// included: then TMPDIR=/dev/shm gives figures of the programs alone.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "Benchmarks/Support.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/Values/NSURL.h"

namespace {
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

size_t fromEnvironment(const char* name, size_t usual) {
  const char* value = std::getenv(name);
  return value ? std::strtoul(value, nullptr, 10) : usual;
}

std::string in(const std::string& name) { return scratchFolder() + "/" + name; }

// The places of `count` files below the root, a hundred to a folder; makes the folders.
template <class Make>
void forEachPlace(const std::string& root, size_t count, Make make) {
  std::string folder;
  for (size_t i = 0; i < count; ++i) {
    if (i % 100 == 0) {
      folder = "/" + std::to_string(i / 10000) + "/" + std::to_string(i / 100 % 100);
      fs::create_directories(root + folder);
    }
    make(folder + "/file " + std::to_string(i));
  }
}

// Files of `bytes` bytes.
void makeTree(const std::string& root, size_t count, size_t bytes) {
  const std::string contents(bytes, 'x');
  forEachPlace(root, count,
               [&](const std::string& place) { std::ofstream(root + place, std::ios::binary) << contents; });
}

// The same files under names of their own. New files in the place of many that were just removed would take
// minutes: file systems put off using their numbers again.
void linkTree(const std::string& root, const std::string& to, size_t count) {
  forEachPlace(to, count, [&](const std::string& place) {
    if (::link((root + place).c_str(), (to + place).c_str()) != 0) std::perror("link");
  });
}

void makeLarge(const std::string& path, size_t mebibytes) {
  std::string block(1 << 20, '\0');
  std::ofstream file(path, std::ios::binary);
  for (size_t i = 0; i < mebibytes; ++i) {
    for (size_t at = 0; at < block.size(); at += 8) block[at] = static_cast<char>(at * 31 + i);
    file << block;
  }
}

std::string smallTree() {
  const std::string root = in("small");
  if (!fs::exists(root)) makeTree(root, fromEnvironment("ORVANE_BENCH_FILES", 100000) / 10, 2000);
  return root;
}

std::string large(const std::string& name) {
  const std::string path = in(name);
  if (!fs::exists(path)) makeLarge(path, fromEnvironment("ORVANE_BENCH_MIB", 1024));
  return path;
}

// Without a shell between.
bool run(std::vector<std::string> words) {
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  pid_t child = 0;
  int status = -1;
  if (::posix_spawnp(&child, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0) return false;
  return ::waitpid(child, &status, 0) == child && status == 0;
}

// What earlier runs wrote would otherwise be written out during this one.
void settle() {
  const int folder = ::open(scratchFolder().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ::syncfs(folder);
  ::close(folder);
}

// Only the work is timed, not what prepares it.
void timeWork(benchmark::State& state, const std::function<void()>& prepare,
              const std::function<bool()>& work) {
  for (auto _ : state) {
    prepare();
    settle();
    const auto start = Clock::now();
    if (!work()) return state.SkipWithError("it failed");
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
  }
}

NSURL url(const std::string& path) { return NSURL::fileURLWithPath(path); }

bool copyOurs(const std::string& from, const std::string& to) {
  return NSFileManager::defaultManager()->zuCopy(url(from), url(to));
}

bool copyPeer(const std::string& from, const std::string& to) { return run({"cp", "-a", from, to}); }

int copies = 0;

// Each copy has a new name and stays until the end: a file system may be slow to use again what was just
// removed.
template <bool (*copy)(const std::string&, const std::string&)>
void copySmall(benchmark::State& state) {
  const std::string from = smallTree();
  timeWork(
      state, [] { ++copies; }, [&] { return copy(from, in("copy " + std::to_string(copies))); });
}

template <bool (*copy)(const std::string&, const std::string&)>
void copyLarge(benchmark::State& state) {
  const std::string from = large("large"), to = in("copy");
  timeWork(
      state, [&] { fs::remove_all(to); }, [&] { return copy(from, to); });
  fs::remove_all(to);
}

bool removeOurs(const std::string& path) { return NSFileManager::defaultManager()->zuRemove(url(path)); }

bool removePeer(const std::string& path) { return run({"rm", "-rf", path}); }

template <bool (*remove)(const std::string&)>
void removeTree(benchmark::State& state) {
  const std::string model = in("model"), doomed = in("doomed");
  const size_t count = fromEnvironment("ORVANE_BENCH_FILES", 100000);
  if (!fs::exists(model)) makeTree(model, count, 0);
  timeWork(
      state, [&] { linkTree(model, doomed, count); }, [&] { return remove(doomed) && !fs::exists(doomed); });
}

bool compareOurs(const std::string& a, const std::string& b) {
  return NSFileManager::defaultManager()->zuFileCompare(url(a), url(b));
}

bool comparePeer(const std::string& a, const std::string& b) { return run({"cmp", a, b}); }

template <bool (*compare)(const std::string&, const std::string&)>
void compareLarge(benchmark::State& state) {
  const std::string a = large("large"), b = large("other");
  for (auto _ : state)
    if (!compare(a, b)) return state.SkipWithError("they differ");
}

std::string tinyFile() {
  std::ofstream(in("tiny")) << "x";
  return in("tiny");
}

// A folder, a file and a name that nothing has, in turn.
void isDirOurs(benchmark::State& state) {
  const auto manager = NSFileManager::defaultManager();
  const NSURL urls[] = {url(scratchFolder()), url(tinyFile()), url(in("none"))};
  for (auto _ : state)
    for (const NSURL& item : urls) benchmark::DoNotOptimize(manager->zuIsDir(item));
}

void isDirStd(benchmark::State& state) {
  const fs::path paths[] = {scratchFolder(), tinyFile(), in("none")};
  for (auto _ : state)
    for (const fs::path& path : paths) benchmark::DoNotOptimize(fs::is_directory(path));
}

void addTimed(const char* name, void (*work)(benchmark::State&)) {
  benchmark::RegisterBenchmark(name, work)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(1);
}

[[maybe_unused]] const bool kRegistered = [] {
  addTimed("files/copy-10000-small/ours", copySmall<copyOurs>);
  addTimed("files/copy-10000-small/cp", copySmall<copyPeer>);
  addTimed("files/copy-1GiB/ours", copyLarge<copyOurs>);
  addTimed("files/copy-1GiB/cp", copyLarge<copyPeer>);
  addTimed("files/remove-100000/ours", removeTree<removeOurs>);
  addTimed("files/remove-100000/rm", removeTree<removePeer>);
  return true;
}();

}  // namespace

BENCHMARK(compareLarge<compareOurs>)
    ->Name("files/compare-1GiB/ours")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(compareLarge<comparePeer>)
    ->Name("files/compare-1GiB/cmp")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(isDirOurs)->Name("files/is-dir/ours");
BENCHMARK(isDirStd)->Name("files/is-dir/std");

ORVANE_BENCHMARK_MAIN()
