// Moves between two volumes while others work on both ends: they act at the moment at which the target, which
// they see by then, is forced to the disk.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdarg>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <utility>

#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Tests/Support/World.h"

using namespace orv;
namespace fs = std::filesystem;

namespace {

// Called once, when a folder is forced to the disk; its errno is that of the call, unless 0.
std::function<int()> whileForced;
// Called once, when a folder may not be opened.
std::function<void()> whenRefused;

}  // namespace

extern "C" __attribute__((visibility("default"))) int fsync(int file) {
  struct stat info {};
  if (whileForced && ::fstat(file, &info) == 0 && S_ISDIR(info.st_mode))
    if (const int error = std::exchange(whileForced, nullptr)()) return errno = error, -1;
  return static_cast<int>(::syscall(SYS_fsync, file));
}

extern "C" __attribute__((visibility("default"))) int openat(int folder, const char* name, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  const mode_t mode = creates ? static_cast<mode_t>(va_arg(arguments, int)) : 0;
  va_end(arguments);
  const auto file = static_cast<int>(::syscall(SYS_openat, folder, name, flags, mode));
  if (file >= 0 || errno != EACCES || !whenRefused) return file;
  std::exchange(whenRefused, nullptr)();
  return errno = EACCES, file;
}

namespace {

void write(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string read(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

mode_t modeOf(const std::string& path) {
  struct stat info {};
  EXPECT_EQ(::lstat(path.c_str(), &info), 0) << path;
  return info.st_mode & 07777;
}

struct MoveAcross : testing::Test {
  void SetUp() override {
    struct stat here, there;
    fs::create_directories(other);
    if (::stat(folder.c_str(), &here) != 0 || ::stat(other.c_str(), &there) != 0 || here.st_dev == there.st_dev)
      GTEST_SKIP() << "there is one volume only";
  }
  void TearDown() override {
    whileForced = nullptr;
    whenRefused = nullptr;
    fs::remove_all(other);
  }

  std::string in(const std::string& name) const { return folder + "/" + name; }
  std::string at(const std::string& name) const { return other + "/" + name; }
  bool move(const std::string& name) { return manager->moveItemAtPath(in(name), at(name), &error); }

  const Ref<NSFileManager> manager = NSFileManager::defaultManager();
  const std::string folder = testFolder();
  const std::string other = "/dev/shm/orvane-across-" + std::to_string(::getpid());
  NSError error;
};

// Runs as a user without privileges, in a process of its own and in the test's folder, whose path is closed to
// others; its exit status, 77 without privileges to drop.
int asNobody(const std::function<int()>& work) {
  const pid_t child = ::fork();
  if (child == 0)
    ::_exit(::geteuid() == 0 && ::chdir(testFolder().c_str()) == 0 && ::setresgid(65534, 65534, 65534) == 0 &&
                    ::setresuid(65534, 65534, 65534) == 0
                ? work()
                : 77);
  int status = -1;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void giveToNobody(const std::string& path) { EXPECT_EQ(::lchown(path.c_str(), 65534, 65534), 0) << path; }

}  // namespace

TEST_F(MoveAcross, WhatReplacesTheSourceMeanwhileStays) {
  write(in("doc"), "one");
  whileForced = [&] {
    write(in("new"), "two");
    fs::rename(in("new"), in("doc"));
    return 0;
  };
  EXPECT_FALSE(move("doc"));
  EXPECT_EQ(read(in("doc")), "two");
  EXPECT_EQ(read(at("doc")), "one");
}

TEST_F(MoveAcross, TagsThatTheSourceGetsMeanwhileStay) {
  write(in("doc"), "one");
  whileForced = [&] {
    ::usleep(20'000);  // the kernel's clock for dates goes in steps of some milliseconds
    return ::setxattr(in("doc").c_str(), "user.xdg.tags", "red", 3, 0);
  };
  EXPECT_FALSE(move("doc"));
  EXPECT_EQ(read(in("doc")), "one");
  EXPECT_EQ(::getxattr(in("doc").c_str(), "user.xdg.tags", nullptr, 0), 3);
}

TEST_F(MoveAcross, FilesMayHaveSeveralNames) {
  fs::create_directories(in("t/sub"));
  write(in("t/doc"), "one");
  for (const char* name : {"t/again", "t/sub/third", "outside"}) fs::create_hard_link(in("t/doc"), in(name));
  EXPECT_TRUE(move("t")) << error;
  for (const char* name : {"t/doc", "t/again", "t/sub/third"}) {
    EXPECT_EQ(read(at(name)), "one");
    EXPECT_EQ(fs::hard_link_count(at(name)), 1u);
  }
  EXPECT_EQ(read(in("outside")), "one");
  EXPECT_FALSE(fs::exists(in("t")));
}

TEST_F(MoveAcross, WhatIsAddedToTheSourceMeanwhileStays) {
  fs::create_directories(in("t/sub"));
  write(in("t/sub/doc"), "one");
  whileForced = [&] {
    write(in("t/sub/new"), "new");
    fs::create_directories(in("t/empty"));
    std::ofstream(in("t/sub/doc"), std::ios::app) << " and more";
    return 0;
  };
  EXPECT_FALSE(move("t"));
  EXPECT_EQ(read(in("t/sub/new")), "new");
  EXPECT_TRUE(fs::is_directory(in("t/empty")));
  EXPECT_EQ(read(in("t/sub/doc")), "one and more");
  EXPECT_EQ(read(at("t/sub/doc")), "one");
}

TEST_F(MoveAcross, WhatTakesTheTargetsPlaceMeanwhileStays) {
  write(in("doc"), "one");
  whileForced = [&] {
    fs::rename(at("doc"), at("moved"));
    write(at("doc"), "theirs");
    return EIO;
  };
  EXPECT_FALSE(move("doc"));
  EXPECT_EQ(read(in("doc")), "one");
  EXPECT_EQ(read(at("doc")), "theirs");
}

TEST_F(MoveAcross, WhatIsPutIntoTheTargetMeanwhileStays) {
  fs::create_directories(in("t"));
  write(in("t/doc"), "one");
  whileForced = [&] {
    write(at("t/theirs"), "theirs");
    return EIO;
  };
  EXPECT_FALSE(move("t"));
  EXPECT_EQ(read(in("t/doc")), "one");
  EXPECT_EQ(read(at("t/theirs")), "theirs");
  EXPECT_EQ(read(at("t/doc")), "one");
}

TEST_F(MoveAcross, ATargetThatNobodyTouchedGoesAfterAFailure) {
  fs::create_directories(in("t/sub"));
  write(in("t/sub/doc"), "one");
  fs::create_symlink("doc", in("t/sub/link"));
  whileForced = [] { return EIO; };
  EXPECT_FALSE(move("t"));
  EXPECT_EQ(read(in("t/sub/link")), "one");
  EXPECT_TRUE(fs::is_empty(other));
}

TEST_F(MoveAcross, NothingIsCopiedWhenTheSourceCannotGo) {
  write(in("doc"), "one");
  fs::permissions(other, fs::perms(0777));
  const auto attempt = [&] {
    bool copied = false;
    whileForced = [&] { return copied = true, 0; };
    return manager->moveItemAtPath("doc", at("doc")) || copied ? 1 : 0;
  };
  for (const unsigned mode : {0755u, 01777u}) {  // closed to others; open, but not for what is not theirs
    fs::permissions(folder, fs::perms(mode));
    const int status = asNobody(attempt);
    if (status == 77) GTEST_SKIP() << "there are no privileges to drop";
    EXPECT_EQ(status, 0) << mode;
  }
  EXPECT_TRUE(fs::is_empty(other));
  EXPECT_EQ(read(in("doc")), "one");
}

TEST_F(MoveAcross, WhatHoldsAMountedVolumeStaysWhole) {
  for (const char* name : {"t/a", "t/volume", "t/z"}) fs::create_directories(in(name));
  for (const char* name : {"t/doc", "t/a/doc", "t/z/doc"}) write(in(name), "one");
  if (std::system(("mount -t tmpfs none '" + in("t/volume") + "' 2>/dev/null").c_str()) != 0)
    GTEST_SKIP() << "nothing can be mounted here";
  write(in("t/volume/doc"), "one");
  for (const char* name : {"t", "t/volume"}) {
    EXPECT_FALSE(manager->moveItemAtPath(in(name), at("t"), &error)) << name;
    EXPECT_EQ(error.userInfo()[NSUnderlyingErrorKey].as<NSError>().code(), EBUSY) << name;
    EXPECT_TRUE(fs::is_empty(other));
  }
  for (const char* name : {"t/doc", "t/a/doc", "t/z/doc", "t/volume/doc"}) EXPECT_EQ(read(in(name)), "one");
  EXPECT_EQ(std::system(("umount '" + in("t/volume") + "'").c_str()), 0);
}

TEST_F(MoveAcross, DotsAreRefused) {
  fs::create_directories(in("t/sub"));
  write(in("t/doc"), "one");
  for (const char* name : {"t/sub/..", "t/."}) {
    EXPECT_FALSE(manager->moveItemAtPath(in(name), at("t"), &error)) << name;
    EXPECT_EQ(read(in("t/doc")), "one");
    EXPECT_FALSE(manager->moveItemAtPath(in(name), in("u"), &error)) << name;
  }
  EXPECT_TRUE(fs::is_empty(other));
}

// The volume of the tests' folder may keep less of them than the other one.
TEST_F(MoveAcross, AttributesThatCannotBeKeptAreAFailure) {
  const std::string large(30'000, 'n');
  fs::create_directories(at("t/sub"));
  write(at("t/sub/doc"), "one");
  const auto give = [&](const std::string& path, const std::string& value) {
    return ::setxattr(path.c_str(), "user.note", value.data(), value.size(), 0) == 0;
  };
  const auto move = [&](const char* name) { return manager->moveItemAtPath(at(name), in("m"), &error); };
  write(in("probe"), "");
  if (!give(at("t"), large) || give(in("probe"), large)) GTEST_SKIP() << "both volumes keep the same";
  fs::remove(in("probe"));
  EXPECT_FALSE(move("t"));
  EXPECT_EQ(error.code(), NSFileWriteOutOfSpaceError);
  ASSERT_TRUE(give(at("t"), "small") && give(at("t/sub/doc"), large));
  EXPECT_FALSE(move("t"));
  EXPECT_FALSE(move("t/sub/doc"));
  EXPECT_EQ(read(at("t/sub/doc")), "one");
  EXPECT_TRUE(fs::is_empty(folder));
  EXPECT_TRUE(manager->copyItemAtPath(at("t"), in("copy"), &error)) << error;  // a copy takes what it can
  ASSERT_TRUE(give(at("t/sub/doc"), "small"));
  EXPECT_TRUE(move("t")) << error;
  for (const char* name : {"m", "m/sub/doc"}) {
    char value[16];
    EXPECT_EQ(::getxattr(in(name).c_str(), "user.note", value, sizeof value), 5) << name;
  }
}

TEST_F(MoveAcross, AttributesOfReadOnlyFilesAreKept) {
  fs::create_directories(in("t"));
  write(in("t/doc"), "one");
  if (::setxattr(in("t/doc").c_str(), "user.note", "n", 1, 0) != 0) GTEST_SKIP() << "there are no attributes";
  for (const char* name : {"t", "t/doc"}) giveToNobody(in(name));
  fs::permissions(in("t/doc"), fs::perms(0444));
  for (const std::string& path : {folder, other}) fs::permissions(path, fs::perms(0777));
  const int status = asNobody([&] { return manager->moveItemAtPath("t", at("t")) ? 0 : 1; });
  if (status == 77) GTEST_SKIP() << "there are no privileges to drop";
  EXPECT_EQ(status, 0);
  EXPECT_EQ(modeOf(at("t/doc")), 0444u);
  EXPECT_EQ(::getxattr(at("t/doc").c_str(), "user.note", nullptr, 0), 1);
}

TEST_F(MoveAcross, NoLinkIsFollowedToOpenAFolder) {
  fs::create_directories(in("t/closed"));
  write(in("t/closed/doc"), "one");
  write(in("victim"), "v");
  for (const char* name : {"t", "t/closed", "t/closed/doc", "victim"}) giveToNobody(in(name));
  fs::permissions(in("victim"), fs::perms(0644));
  for (const std::string& path : {folder, other}) fs::permissions(path, fs::perms(0777));
  const int status = asNobody([&] {
    whileForced = [] { return ::chmod("t/closed", 0); };
    whenRefused = [] {
      fs::rename("t/closed", "t/other");
      fs::create_symlink("../victim", "t/closed");
    };
    const bool moved = manager->moveItemAtPath("t", at("t"));
    return moved || whenRefused ? 1 : 0;
  });
  if (status == 77) GTEST_SKIP() << "there are no privileges to drop";
  EXPECT_EQ(status, 0);
  EXPECT_EQ(modeOf(in("victim")), 0644u);
  EXPECT_TRUE(fs::is_symlink(in("t/closed")));
}

TEST_F(MoveAcross, AFailureLeavesThePermissionsOfTheSource) {
  fs::create_directories(in("t/sub/deeper"));
  write(in("t/sub/deeper/doc"), "one");
  const int doc = ::open(in("t/sub/deeper/doc").c_str(), O_RDONLY | O_CLOEXEC);
  for (const char* name : {"t", "t/sub", "t/sub/deeper", "t/sub/deeper/doc"}) giveToNobody(in(name));
  for (const char* name : {"t/sub/deeper", "t/sub"}) fs::permissions(in(name), fs::perms(0555));
  fs::permissions(folder, fs::perms(0777));
  fs::permissions(other, fs::perms(0777));
  int flags = FS_IMMUTABLE_FL;
  const bool immutable = ::ioctl(doc, FS_IOC_SETFLAGS, &flags) == 0;
  const int status = immutable ? asNobody([&] { return manager->moveItemAtPath("t", at("t")) ? 1 : 0; }) : 77;
  flags = 0;
  if (immutable) ::ioctl(doc, FS_IOC_SETFLAGS, &flags);
  ::close(doc);
  if (status == 77) GTEST_SKIP() << "no file can be made immutable here";
  EXPECT_EQ(status, 0);
  EXPECT_EQ(modeOf(in("t/sub")), 0555u);
  EXPECT_EQ(modeOf(in("t/sub/deeper")), 0555u);
  EXPECT_EQ(read(in("t/sub/deeper/doc")), "one");
  EXPECT_TRUE(fs::is_empty(other));
}
