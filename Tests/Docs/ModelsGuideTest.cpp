// The guide to models: its samples are the program's own lines, and the program prints what the guide says.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "Tests/Support/Process.h"
#include "Tests/Support/World.h"

namespace {

std::vector<std::string> linesOf(const std::string& file, bool trimmed) {
  std::vector<std::string> lines;
  std::ifstream in(file);
  for (std::string line; std::getline(in, line);) {
    if (trimmed) line.erase(0, line.find_first_not_of(' '));
    lines.push_back(line);
  }
  return lines;
}

// The fenced blocks of one language, as lines.
std::vector<std::vector<std::string>> blocks(const std::string& language, bool trimmed) {
  std::vector<std::vector<std::string>> found;
  bool inside = false, wanted = false;
  for (const std::string& line : linesOf(ORV_GUIDE, trimmed)) {
    if (line.rfind("```", 0) == 0) {
      inside = !inside;
      wanted = inside && line == "```" + language;
      if (wanted) found.emplace_back();
    } else if (wanted) {
      found.back().push_back(line);
    }
  }
  return found;
}

}  // namespace

TEST(ModelsGuide, ItsSamplesAreTheProgramsOwnLines) {
  const std::vector<std::string> program = linesOf(ORV_EXAMPLE_SOURCE, true);
  const auto samples = blocks("cpp", true);
  EXPECT_GE(samples.size(), 6u);
  for (const auto& sample : samples)
    EXPECT_NE(std::search(program.begin(), program.end(), sample.begin(), sample.end()), program.end())
        << sample.front();
}

TEST(ModelsGuide, TheProgramPrintsWhatTheGuideSays) {
  Command command;
  command.program = ORV_EXAMPLE;
  command.environment = {{"TMPDIR", testFolder()}};
  const ProcessResult result = Process(command).finish();
  EXPECT_EQ(result.exitStatus, 0) << result.error;
  const auto outputs = blocks("", false);
  ASSERT_EQ(outputs.size(), 1u);
  std::string expected;
  for (const std::string& line : outputs[0]) expected += line + "\n";
  EXPECT_EQ(result.output, expected);
}
