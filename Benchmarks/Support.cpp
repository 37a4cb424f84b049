#include "Benchmarks/Support.h"

#include <stdlib.h>

#include <filesystem>
#include <system_error>

namespace {
namespace fs = std::filesystem;

std::string makeScratchFolder() {
  std::string pattern = (fs::temp_directory_path() / "orvane-bench-XXXXXX").string();
  const std::string folder = ::mkdtemp(pattern.data());
  for (const char* name :
       {"HOME", "XDG_STATE_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME", "TMPDIR"}) {
    const std::string place = folder + "/" + name;
    fs::create_directories(place);
    ::setenv(name, place.c_str(), 1);
  }
  return folder;
}
}  // namespace

const std::string& scratchFolder() {
  static const std::string folder = makeScratchFolder();
  return folder;
}

int runBenchmarks(int argc, char** argv) {
  scratchFolder();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  std::error_code ignored;
  fs::remove_all(scratchFolder(), ignored);
  return 0;
}
