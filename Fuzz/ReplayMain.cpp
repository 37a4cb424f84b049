// Runs a fuzz target over files without libFuzzer: each argument is a file, or a folder whose files
// are replayed in the order of their names. Seeds and old crashes stay tests this way.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {
namespace fs = std::filesystem;

void replay(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(in), {}};
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

std::vector<fs::path> filesBelow(const fs::path& place) {
  if (!fs::is_directory(place)) return {place};
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(place)) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  return files;
}
}  // namespace

int main(int argc, char** argv) {
  size_t count = 0;
  for (int i = 1; i < argc; ++i)
    for (const fs::path& file : filesBelow(argv[i])) {
      replay(file);
      ++count;
    }
  std::printf("%zu inputs replayed\n", count);
  return count == 0 ? 1 : 0;  // no seeds: the test would prove nothing
}
