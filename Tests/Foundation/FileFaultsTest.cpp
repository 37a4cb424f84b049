// Operations on files while the disk fails, each at every one of its calls; the program FaultyFiles does the
// work.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "Tests/Support/Process.h"
#include "Tests/Support/World.h"

namespace {
namespace fs = std::filesystem;

bool areOnOneVolume(const std::string& a, const std::string& b) {
  struct stat infoA, infoB;
  return ::stat(a.c_str(), &infoA) != 0 || ::stat(b.c_str(), &infoB) != 0 || infoA.st_dev == infoB.st_dev;
}

struct FileFaults : testing::TestWithParam<const char*> {};

}  // namespace

TEST_P(FileFaults, LeaveTheOldStateOrTheNewOne) {
  if (kSanitized) GTEST_SKIP() << "a sanitizer stands between the program and the disk itself";
  const std::string name = GetParam();
  const std::string second = "/dev/shm/orvane-faults-" + std::to_string(::getpid()) + "-" + name;
  const bool isAcross = name.ends_with("-across");
  if (isAcross && areOnOneVolume(testFolder(), "/dev/shm")) GTEST_SKIP() << "there is one volume only";
  Command command;
  command.program = FAULTY_FILES_PROGRAM;
  command.arguments = {name, testFolder()};
  if (isAcross) command.arguments.push_back(second);
  command.environment = {{"LD_PRELOAD", FAULTY_DISK_LIBRARY}};
  const ProcessResult result = runProcess(command);
  EXPECT_EQ(result.exitStatus, 0) << result.output << result.error;
  EXPECT_EQ(result.signal, 0);
  fs::remove_all(second);
}

INSTANTIATE_TEST_SUITE_P(Each, FileFaults,
                         testing::Values("copy-file", "copy-large", "copy-sparse", "copy-link", "copy-tree",
                                         "force-copy", "move", "move-file-across", "move-link-across",
                                         "move-tree-across", "remove-tree", "remove-file", "make-folders",
                                         "replace-file", "new-file", "create-file"));
