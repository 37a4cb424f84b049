#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "Tests/Support/Process.h"
#include "Tests/Support/StrictJSON.h"
#include "Tests/Support/World.h"

// Running the orv command in the test's own folder, where its own folders lie, too.
namespace fs = std::filesystem;

using Arguments = std::vector<std::string>;
using Lines = std::vector<std::string>;

inline const std::string kEmptySHA256 = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

// The command with every folder of its own inside the test's; "in" is where it runs.
inline Command orvCommand(Arguments arguments) {
  const fs::path own = testFolder();
  fs::create_directories(own / "in");
  Command command;
  command.program = ORV_PROGRAM;
  command.arguments = std::move(arguments);
  command.folder = own / "in";
  for (const char* name : {"HOME", "XDG_STATE_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME"})
    command.environment.emplace_back(name, (own / "world" / name).string());
  return command;
}

inline ProcessResult runOrv(Arguments arguments, std::string input = "") {
  Command command = orvCommand(std::move(arguments));
  command.input = std::move(input);
  return runProcess(command);
}

// What a run without failure prints.
inline std::string printed(Arguments arguments, std::string input = "") {
  const ProcessResult result = runOrv(std::move(arguments), std::move(input));
  EXPECT_EQ(result.exitStatus, 0) << result.error;
  EXPECT_EQ(result.error, "");
  return result.output;
}

inline ProcessResult system(const std::string& program, Arguments arguments, std::string input = "") {
  Command command = orvCommand(std::move(arguments));
  command.program = program;
  command.input = std::move(input);
  return runProcess(command);
}

inline fs::path place(const std::string& name) { return fs::path(testFolder()) / "in" / name; }

inline std::string writeFile(const std::string& name, const std::string& contents) {
  fs::create_directories(place(name).parent_path());
  std::ofstream(place(name), std::ios::binary) << contents;
  return name;
}

inline void makeSparse(const std::string& name, uintmax_t size) {
  writeFile(name, "");
  fs::resize_file(place(name), size);
}

inline std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

inline Lines linesOf(const std::string& text) {
  Lines lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

inline JSON json(const std::string& text) {
  const auto value = parseStrictJSON(text);
  EXPECT_TRUE(value) << text;
  return value.value_or(JSON{});
}

// Everything about a tree that a careless program would change.
inline std::map<std::string, std::string> stateOf(const fs::path& root) {
  std::map<std::string, std::string> state;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    struct stat info {};
    ::lstat(entry.path().c_str(), &info);
    std::ostringstream text;
    text << info.st_mode << ' ' << info.st_size << ' ' << info.st_mtim.tv_sec << '.' << info.st_mtim.tv_nsec
         << ' ' << info.st_ino << ' ';
    if (S_ISREG(info.st_mode)) text << readFile(entry.path());
    state[entry.path()] = text.str();
  }
  return state;
}

// The sample of most tests: odd names, a link, a loop, a folder below.
inline void makeSample() {
  writeFile("t/a.txt", "hi\n");
  writeFile("t/sub/b.json", "{}");
  writeFile("t/none", "");
  writeFile("t/sub/odd.zzq", "q");
  fs::create_directory(place("t/folder"));
  fs::create_symlink("..", place("t/sub/loop"));
}

inline std::string bytesUpTo(size_t length) {
  std::string bytes;
  for (size_t i = 0; i < length; ++i) bytes += static_cast<char>(i * 37 + length * 101);
  return bytes;
}
