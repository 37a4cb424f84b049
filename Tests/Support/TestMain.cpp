// The main function of every test program. It pins the world first: locale, time zone and the seed of property
// tests; home, XDG and temporary folders lie in a folder of this run's own, which is removed at the end.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <clocale>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>

#include "Tests/Support/World.h"

namespace {
namespace fs = std::filesystem;

std::string worldFolder;

void set(const char* name, const std::string& value) { ::setenv(name, value.c_str(), 1); }

void pinWorld() {
  std::string pattern = (fs::temp_directory_path() / "orvane-test-XXXXXX").string();
  worldFolder = ::mkdtemp(pattern.data());
  for (const char* name : {"home", "state", "data", "cache", "config", "tmp"})
    fs::create_directories(fs::path(worldFolder) / name);
  set("HOME", worldFolder + "/home");
  set("XDG_STATE_HOME", worldFolder + "/state");
  set("XDG_DATA_HOME", worldFolder + "/data");
  set("XDG_CACHE_HOME", worldFolder + "/cache");
  set("XDG_CONFIG_HOME", worldFolder + "/config");
  set("TMPDIR", worldFolder + "/tmp");
  set("TZ", "UTC");
  set("LC_ALL", "C.UTF-8");
  ::unsetenv("APPNAME");
  // Laws are tried on the same cases in each run, so that a change passes or fails by itself; `script/hunt`
  // looks for others.
  if (!std::getenv("RC_PARAMS")) set("RC_PARAMS", "seed=20010909");
  ::tzset();
  std::setlocale(LC_ALL, "C.UTF-8");
}
}  // namespace

// The thread sanitizer does not see GLib's locks, which are futexes of its own.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
  return "called_from_lib:libglib-2.0.so.0\n";
}

std::string testFolder() {
  const auto* info = testing::UnitTest::GetInstance()->current_test_info();
  std::string name = info ? std::string(info->test_suite_name()) + "." + info->name() : "outside";
  for (char& c : name)
    if (c == '/') c = '_';
  const fs::path folder = fs::path(worldFolder) / "tests" / name;
  fs::create_directories(folder);
  return folder.string();
}

int main(int argc, char** argv) {
  pinWorld();
  testing::InitGoogleTest(&argc, argv);
  const int result = RUN_ALL_TESTS();
  std::error_code ignored;
  fs::remove_all(worldFolder, ignored);
  return result;
}
