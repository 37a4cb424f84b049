// Whole folders beside the shell's own tools, with a warm cache.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "Benchmarks/Support.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/Values/NSSet.h"
#include "Platform/Foundation/Values/NSURL.h"

namespace {
namespace fs = std::filesystem;

// A tree of `count` files of `bytes` bytes, a hundred to a folder, a hundred folders to a folder.
std::string makeTree(const std::string& name, int count, size_t bytes) {
  const fs::path root = fs::path(scratchFolder()) / name;
  if (fs::exists(root)) return root.string();
  std::string contents(bytes, 'x');
  for (int i = 0; i < count; ++i) {
    const fs::path folder = root / std::to_string(i / 10000) / std::to_string(i / 100 % 100);
    if (i % 100 == 0) fs::create_directories(folder);
    std::ofstream file(folder / ("file " + std::to_string(i)), std::ios::binary);
    if (bytes > 0) file << i << contents;
  }
  return root.string();
}

void runShell(benchmark::State& state, const std::string& command) {
  for (auto _ : state)
    if (std::system(command.c_str()) != 0) return state.SkipWithError("the command failed");
}

NSURL treeURL(const std::string& path) { return NSURL::fileURLWithPath(path, true); }

void checksumsOurs(benchmark::State& state) {
  const NSURL root = treeURL(makeTree("sums", 20000, 4000));
  const auto manager = NSFileManager::defaultManager();
  for (auto _ : state)
    if (manager->zuListChecksumsForTreeAtURL(root).count() != 20000)
      return state.SkipWithError("files are missing");
}

void checksumsShell(benchmark::State& state) {
  runShell(state,
           "find '" + makeTree("sums", 20000, 4000) + "' -type f -print0 | xargs -0 -P2 sha256sum >/dev/null");
}

void listOurs(benchmark::State& state) {
  const NSURL root = treeURL(makeTree("names", 200000, 0));
  const auto manager = NSFileManager::defaultManager();
  for (auto _ : state)
    if (manager->zuListAllVisibleFilesInSubFolders(root).count() != 200000)
      return state.SkipWithError("files are missing");
}

void listShell(benchmark::State& state) {
  runShell(state, "find '" + makeTree("names", 200000, 0) + "' -type f >/dev/null");
}

}  // namespace

BENCHMARK(checksumsOurs)->Name("tree/checksums/ours")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(checksumsShell)->Name("tree/checksums/xargs")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(listOurs)->Name("tree/list/ours")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(listShell)->Name("tree/list/find")->Unit(benchmark::kMillisecond)->UseRealTime();

ORVANE_BENCHMARK_MAIN()
