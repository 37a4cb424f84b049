// Copying, moving and removing in the cases that go wrong elsewhere: holes, long paths, sources that change,
// items that appear or are swapped meanwhile, two processes in one tree.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <thread>

#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Tests/Support/World.h"

using namespace orv;
namespace fs = std::filesystem;

namespace {

void writeFile(const std::string& path, const std::string& bytes = "") {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

struct stat statusOf(const std::string& path) {
  struct stat info {};
  EXPECT_EQ(::lstat(path.c_str(), &info), 0) << path;
  return info;
}

struct ItemOperations : testing::Test {
  std::string in(const std::string& name) const { return folder + "/" + name; }
  NSInteger code() const { return error.code(); }
  size_t count(const std::string& path) const {
    return static_cast<size_t>(std::distance(fs::directory_iterator(path), fs::directory_iterator()));
  }
  bool copy(const std::string& from, const std::string& to) {
    return manager->copyItemAtPath(in(from), in(to), &error);
  }

  const Ref<NSFileManager> manager = NSFileManager::defaultManager();
  const std::string folder = testFolder();
  NSError error;
};

// Runs in a process of its own, which may be killed; its exit status.
int inAnotherProcess(const std::function<int()>& work) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(work());
  int status = -1;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A folder on another volume, or "" when there is none.
std::string otherVolume(const std::string& folder) {
  struct stat here, there;
  if (::stat(folder.c_str(), &here) != 0 || ::stat("/dev/shm", &there) != 0 || here.st_dev == there.st_dev)
    return {};
  const std::string name = "/dev/shm/orvane-items-" + std::to_string(::getpid());
  fs::create_directories(name);
  return name;
}

// Changes its folder's tree until it goes.
class Meanwhile {
 public:
  explicit Meanwhile(std::function<void()> change)
      : thread_([this, change = std::move(change)] {
          while (!done_) change();
        }) {}
  ~Meanwhile() {
    done_ = true;
    thread_.join();
  }

 private:
  std::atomic<bool> done_ = false;
  std::thread thread_;
};

// A tree deeper than any path: 40 folders with names of 200 bytes.
void makeDeep(const std::string& root, int levels = 40) {
  fs::create_directory(root);
  int at = ::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const std::string name(200, 'n');
  for (int i = 0; i < levels && at >= 0; ++i) {
    ::mkdirat(at, name.c_str(), 0755);
    const int file = ::openat(at, "file", O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    EXPECT_EQ(::write(file, "deep", 4), 4);
    ::close(file);
    const int next = ::openat(at, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ::close(at);
    at = next;
  }
  ::close(at);
}

// Whether the file system knows that nothing lies behind the first block. One that keeps files in memory would
// fill it with the zeros of the hole.
bool tellsHoles(const std::string& path) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const bool tells = ::lseek(file, 1 << 20, SEEK_DATA) < 0;
  ::close(file);
  return tells;
}

}  // namespace

TEST_F(ItemOperations, ACopyKeepsHoles) {
  constexpr off_t kSize = 64 << 20;
  const int file = ::open(in("sparse").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  ASSERT_EQ(::pwrite(file, "middle", 6, 10 << 20), 6);
  ASSERT_EQ(::pwrite(file, "late", 4, 50 << 20), 4);
  ASSERT_EQ(::ftruncate(file, kSize), 0);
  ::close(file);
  if (statusOf(in("sparse")).st_blocks * 512 >= kSize) GTEST_SKIP() << "the file system makes no holes";
  ASSERT_TRUE(copy("sparse", "copy")) << error;
  EXPECT_EQ(statusOf(in("copy")).st_size, kSize);
  EXPECT_LE(statusOf(in("copy")).st_blocks, statusOf(in("sparse")).st_blocks);
  EXPECT_TRUE(manager->contentsEqualAtPath(in("sparse"), in("copy")));
  writeFile(in("hole"));
  fs::resize_file(in("hole"), kSize);
  ASSERT_TRUE(copy("hole", "hole copy")) << error;
  EXPECT_EQ(statusOf(in("hole copy")).st_size, kSize);
  EXPECT_LT(statusOf(in("hole copy")).st_blocks, 64);
}

// Reading the hole would take minutes.
TEST_F(ItemOperations, HolesAreComparedWithoutReading) {
  constexpr off_t kSize = off_t{1} << 40, kMiddle = kSize / 2 + 5;
  const auto put = [&](const char* name, off_t at, const char* text) {
    const int file = ::open(in(name).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    EXPECT_EQ(::pwrite(file, text, 1, at), 1);
    ::close(file);
  };
  const auto areEqual = [&] { return manager->contentsEqualAtPath(in("a"), in("b")); };
  put("a", 0, "a");
  put("b", 0, "a");
  for (const char* name : {"a", "b"})
    if (::truncate(in(name).c_str(), kSize) != 0) GTEST_SKIP() << "no file may be so large";
  if (!tellsHoles(in("a"))) GTEST_SKIP() << "the file system does not tell where its holes are";
  EXPECT_TRUE(areEqual());
  put("b", kMiddle, "");
  EXPECT_TRUE(areEqual()) << "a zero is what a hole reads as";
  put("a", kMiddle, "x");
  EXPECT_FALSE(areEqual());
  put("b", kMiddle, "x");
  EXPECT_TRUE(areEqual());
  put("b", kSize - 1, "z");
  EXPECT_FALSE(areEqual());
}

TEST_F(ItemOperations, FilesOfEverySizeAreCopiedWhole) {
  for (const size_t size :
       {0u, 1u, 4095u, 4096u, 131'072u, 131'073u, 262'143u, 262'144u, 262'145u, 1'500'000u}) {
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 7 + i / 251);
    const std::string name = std::to_string(size);
    writeFile(in(name), bytes);
    ASSERT_TRUE(copy(name, name + " copy")) << error;
    EXPECT_EQ(readFile(in(name + " copy")), bytes);
  }
}

TEST_F(ItemOperations, FilesThatOnlyClaimToBeEmptyAreCopied) {
  ASSERT_TRUE(manager->copyItemAtPath("/proc/version", in("version"), &error)) << error;
  EXPECT_EQ(readFile(in("version")), readFile("/proc/version"));
}

TEST_F(ItemOperations, FilesThatOnlyClaimToBeLongAreCopiedAsTheyRead) {
  const std::string name = "/sys/kernel/notes", other = "/sys/kernel/mm/transparent_hugepage/enabled";
  const std::string source = fs::exists(other) ? other : name;
  if (!fs::exists(source)) GTEST_SKIP() << "the kernel shows no such file";
  ASSERT_TRUE(manager->copyItemAtPath(source, in("copy"), &error)) << error;
  EXPECT_EQ(readFile(in("copy")), readFile(source));
}

TEST_F(ItemOperations, PathsMayBeLongerThanTheSystemTakes) {
  makeDeep(in("deep"));
  const int before = static_cast<int>(count("/proc/self/fd"));
  ASSERT_TRUE(copy("deep", "copy")) << error;
  EXPECT_TRUE(manager->contentsEqualAtPath(in("deep"), in("copy")));
  std::string inner = "copy";
  for (int i = 0; i < 39; ++i) inner += "/" + std::string(200, 'n');
  EXPECT_TRUE(manager->contentsEqualAtPath(in(inner + "/file"), in("deep") + (inner + "/file").substr(4)));
  ASSERT_TRUE(manager->moveItemAtPath(in(inner + "/file"), in("up"), &error)) << error;
  EXPECT_EQ(readFile(in("up")), "deep");
  ASSERT_TRUE(manager->copyItemAtPath(in("up"), in(inner + "/again"), &error)) << error;
  EXPECT_FALSE(manager->contentsEqualAtPath(in("deep"), in("copy")));
  EXPECT_TRUE(manager->removeItemAtPath(in(inner + "/again"), &error)) << error;
  EXPECT_FALSE(manager->removeItemAtPath(in(inner + "/again"), &error));
  EXPECT_EQ(code(), NSFileNoSuchFileError);
  EXPECT_TRUE(manager->removeItemAtPath(in("copy"), &error)) << error;
  EXPECT_TRUE(manager->removeItemAtPath(in("deep"), &error)) << error;
  EXPECT_EQ(count(folder), 1u);
  EXPECT_EQ(static_cast<int>(count("/proc/self/fd")), before);
}

TEST_F(ItemOperations, TreesMayBeDeeperThanTheDescriptorsAllow) {
  makeDeep(in("deep"), 300);
  rlimit old;
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &old), 0);
  const rlimit few{200, old.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
  EXPECT_TRUE(copy("deep", "copy")) << error;
  EXPECT_TRUE(manager->contentsEqualAtPath(in("deep"), in("copy")));
  EXPECT_TRUE(manager->removeItemAtPath(in("copy"), &error)) << error;
  EXPECT_TRUE(manager->removeItemAtPath(in("deep"), &error)) << error;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &old), 0);
  EXPECT_EQ(count(folder), 0u);
}

TEST_F(ItemOperations, AFolderIsNotCopiedIntoItself) {
  fs::create_directories(in("d/e"));
  writeFile(in("d/f"));
  fs::create_directory_symlink("d/e", in("link"));
  for (const char* target : {"d/x", "d/e/x", "link/x", "d/e/../../d/x"}) {
    EXPECT_FALSE(copy("d", target)) << target;
    EXPECT_EQ(code(), NSFileWriteUnknownError) << target;
  }
  EXPECT_EQ(count(in("d")), 2u);
  EXPECT_EQ(count(in("d/e")), 0u);
  EXPECT_TRUE(copy("d", "da")) << "a name that only begins like it";
}

TEST_F(ItemOperations, ACopyOfWhatCannotBeReadLeavesNothing) {
  fs::create_directories(in("t/closed/inner"));
  writeFile(in("t/a"), "A");
  writeFile(in("t/closed/f"), "F");
  fs::permissions(in("t/closed/f"), fs::perms(0000));
  fs::permissions(in("t/closed"), fs::perms(0555));
  ::chmod(folder.c_str(), 0777);
  const int status = inAnotherProcess([&] {
    if (::chdir(folder.c_str()) != 0) return 3;
    if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) return 2;
    return manager->copyItemAtPath("t", "copy", &error) ? 1 : 0;
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(count(folder), 1u) << "something of the copy stayed";
  fs::permissions(in("t/closed"), fs::perms(0755));
}

TEST_F(ItemOperations, SpecialFilesAreLeftOut) {
  fs::create_directories(in("t"));
  writeFile(in("t/f"), "F");
  ASSERT_EQ(::mkfifo(in("t/pipe").c_str(), 0600), 0);
  EXPECT_TRUE(copy("t", "u")) << error;
  EXPECT_EQ(count(in("u")), 1u);
  EXPECT_FALSE(copy("t/pipe", "pipe")) << "it would be waited for";
  EXPECT_FALSE(fs::exists(in("pipe")));
}

TEST_F(ItemOperations, ATargetThatAppearsMeanwhileIsNotReplaced) {
  for (int i = 0; i < 200; ++i) fs::create_directories(in("t/" + std::to_string(i)));
  writeFile(in("big"), std::string(8 << 20, 'b'));
  for (const char* source : {"t", "big"}) {
    std::thread other([&] {
      while (count(folder) < 3) std::this_thread::yield();  // the copy is being made aside
      writeFile(in("target"), "mine");
    });
    const bool copied = copy(source, "target");
    if (copied) writeFile(in("wake up"));
    other.join();
    if (!copied) {
      EXPECT_EQ(code(), NSFileWriteFileExistsError);
      EXPECT_EQ(readFile(in("target")), "mine");
    }
    fs::remove_all(in("target"));
    fs::remove_all(in("wake up"));
    EXPECT_EQ(count(folder), 2u);
  }
}

TEST_F(ItemOperations, AFileThatKeepsChangingIsNotCopied) {
  writeFile(in("log"), std::string(32 << 20, 'x'));
  bool refused = false;
  {
    const Meanwhile growing([this] { std::ofstream(in("log"), std::ios::app) << "more"; });
    for (int i = 0; i < 50 && !refused; ++i) {
      refused = !copy("log", "copy");
      EXPECT_EQ(fs::exists(in("copy")), !refused);
      fs::remove(in("copy"));
    }
  }
  EXPECT_TRUE(refused);
  EXPECT_EQ(error.userInfo()[NSUnderlyingErrorKey].as<NSError>().code(), EBUSY);
  EXPECT_EQ(count(folder), 1u);
}

TEST_F(ItemOperations, WhatGoesFromAFolderMeanwhileIsNoMissingFolder) {
  constexpr int kFiles = 50, kMostRounds = 200;
  const auto file = [&](int i) { return in("t/" + std::to_string(i)); };
  fs::create_directories(in("t"));
  bool failed = false;
  const Meanwhile changing([&] {
    for (int i = 0; i < kFiles; ++i) writeFile(file(i));
    for (int i = 0; i < kFiles; ++i) ::unlink(file(i).c_str());
  });
  for (int i = 0; i < kMostRounds && !failed; ++i) {
    failed = !copy("t", "copy");
    EXPECT_EQ(fs::exists(in("copy")), !failed);
    fs::remove_all(in("copy"));
  }
  if (!failed) GTEST_SKIP() << "nothing went at the right moment";
  EXPECT_EQ(error.userInfo()[NSUnderlyingErrorKey].as<NSError>().code(), EBUSY) << error;
}

TEST_F(ItemOperations, RemovalNeverFollowsALinkThatTakesAFoldersPlace) {
  fs::create_directories(in("outside"));
  for (int i = 0; i < 20; ++i) writeFile(in("outside/" + std::to_string(i)));
  for (int round = 0; round < 30; ++round) {
    for (int i = 0; i < 20; ++i) {
      fs::create_directories(in("t/" + std::to_string(i)));
      for (int j = 0; j < 5; ++j) writeFile(in("t/" + std::to_string(i) + "/" + std::to_string(j)));
    }
    int next = 0;
    {
      const Meanwhile swapping([&] {
        const std::string victim = in("t/" + std::to_string(next++ % 20));
        if (::rename(victim.c_str(), (victim + "x").c_str()) == 0)
          ::symlink(in("outside").c_str(), victim.c_str());
      });
      manager->removeItemAtPath(in("t"), &error);
    }
    manager->removeItemAtPath(in("t"));
    ASSERT_EQ(count(in("outside")), 20u);
  }
}

TEST_F(ItemOperations, TwoProcessesCopyMoveAndRemoveInOneTree) {
  const std::string text(50'000, 'w');
  for (int i = 0; i < 30; ++i) {
    fs::create_directories(in("t/" + std::to_string(i % 5)));
    writeFile(in("t/" + std::to_string(i % 5) + "/" + std::to_string(i)), text);
  }
  const auto work = [&](int own) {
    for (int i = 0; i < 60; ++i) {
      const std::string from = in("t/" + std::to_string((i + own) % 5));
      const std::string to = in("t/" + std::to_string(5 + i % 3));
      if (i % 3 == 0) manager->copyItemAtPath(from, to);
      if (i % 3 == 1) manager->moveItemAtPath(to, in("t/copy " + std::to_string(i % 4)));
      if (i % 3 == 2) manager->removeItemAtPath(in("t/copy " + std::to_string(i % 4)));
    }
    return 0;
  };
  const pid_t child = ::fork();
  if (child == 0) ::_exit(work(1));
  work(2);
  int status = -1;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  for (const auto& entry : fs::recursive_directory_iterator(in("t")))
    if (entry.is_regular_file()) {
      EXPECT_EQ(readFile(entry.path()), text) << entry.path();
      EXPECT_FALSE(entry.path().string().find("/.orv-") != std::string::npos) << entry.path();
    }
}

TEST_F(ItemOperations, AKilledCopyNeverShowsHalfAFile) {
  writeFile(in("big"), std::string(64 << 20, 'b'));
  for (int i = 0; i < 10; ++i) {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(copy("big", "copy") ? 0 : 1);
    ::usleep(static_cast<useconds_t>(i) * 3000);
    ::kill(child, SIGKILL);
    int status = -1;
    ::waitpid(child, &status, 0);
    if (fs::exists(in("copy"))) {
      EXPECT_EQ(fs::file_size(in("copy")), fs::file_size(in("big")));
    }
    fs::remove(in("copy"));
  }
}

// Killed at any moment, it leaves the old item or the copy at the target, whole.
TEST_F(ItemOperations, AKilledForcedCopyNeverShowsHalfAnItem) {
  const auto makeTree = [&](const std::string& path, const std::string& text) {
    for (int i = 0; i < 30; ++i) {
      fs::create_directories(path + "/" + std::to_string(i % 6));
      writeFile(path + "/" + std::to_string(i % 6) + "/" + std::to_string(i), text);
    }
  };
  makeTree(in("new"), "new");
  makeTree(in("old"), "old");
  for (int i = 0; i < 20; ++i) {
    fs::remove_all(in("at"));
    ASSERT_TRUE(manager->copyItemAtPath(in("old"), in("at")));
    const pid_t child = ::fork();
    if (child == 0)
      ::_exit(manager->zuForceCopy(NSURL::fileURLWithPath(in("new")), NSURL::fileURLWithPath(in("at"))) ? 0
                                                                                                        : 1);
    ::usleep(static_cast<useconds_t>(i) * 250);
    ::kill(child, SIGKILL);
    int status = -1;
    ::waitpid(child, &status, 0);
    const auto is = [&](const char* name) { return manager->contentsEqualAtPath(in(name), in("at")); };
    EXPECT_TRUE(is("old") || is("new")) << i;
    for (const auto& entry : fs::directory_iterator(folder))
      if (entry.path().filename().string().starts_with(".orv-")) fs::remove_all(entry.path());
  }
  EXPECT_EQ(count(folder), 3u) << "what is left has a hidden name";
}

// The access list of a folder, for what is made in it: its user 1001 may do everything.
bool openForAnother(const std::string& folder) {
  struct [[gnu::packed]] Entry {
    uint16_t tag, permissions;
    uint32_t id;
  };
  const struct [[gnu::packed]] {
    uint32_t version = 2;
    Entry entries[5] = {{1, 7, ~0u}, {2, 7, 1001}, {4, 5, ~0u}, {0x10, 7, ~0u}, {0x20, 0, ~0u}};
  } list;
  return ::setxattr(folder.c_str(), "system.posix_acl_default", &list, sizeof list, 0) == 0;
}

TEST_F(ItemOperations, ACopyIsNoMoreOpenThanTheOriginal) {
  fs::create_directories(in("t/sub"));
  fs::create_directories(in("target"));
  writeFile(in("t/sub/f"), "secret");
  fs::permissions(in("t/sub/f"), fs::perms(0640));
  if (!openForAnother(in("target"))) GTEST_SKIP() << "there are no access lists here";
  ASSERT_TRUE(copy("t", "target/t")) << error;
  ASSERT_TRUE(copy("t/sub/f", "target/f")) << error;
  for (const char* name : {"target/t", "target/t/sub", "target/t/sub/f", "target/f"})
    for (const char* list : {"system.posix_acl_access", "system.posix_acl_default"})
      EXPECT_LT(::getxattr(in(name).c_str(), list, nullptr, 0), 0) << name << " " << list;
  EXPECT_EQ(statusOf(in("target/f")).st_mode & 07777, 0640u);
  ASSERT_TRUE(openForAnother(in("t/sub")));  // what the original has is kept
  ASSERT_TRUE(copy("t", "target/u")) << error;
  EXPECT_GT(::getxattr(in("target/u/sub").c_str(), "system.posix_acl_default", nullptr, 0), 0);
}

TEST_F(ItemOperations, AMoveToAnotherVolumeKeepsEverything) {
  const std::string other = otherVolume(folder);
  if (other.empty()) GTEST_SKIP() << "there is one volume only";
  fs::create_directories(in("t/sub"));
  writeFile(in("t/sub/f"), std::string(300'000, 'f'));
  fs::create_symlink("sub/f", in("t/link"));
  const timespec times[2] = {{1'000'000, 5}, {2'000'000, 7}};
  ::utimensat(AT_FDCWD, in("t/sub/f").c_str(), times, 0);
  fs::permissions(in("t/sub"), fs::perms(0555));
  ASSERT_TRUE(manager->moveItemAtPath(in("t"), other + "/t", &error)) << error;
  EXPECT_EQ(count(folder), 0u);
  EXPECT_EQ(statusOf(other + "/t/sub/f").st_mtim.tv_sec, 2'000'000);
  EXPECT_EQ(statusOf(other + "/t/sub").st_mode & 07777, 0555u);
  EXPECT_EQ(fs::read_symlink(other + "/t/link"), "sub/f");
  fs::permissions(other + "/t/sub", fs::perms(0755));
  ASSERT_TRUE(manager->moveItemAtPath(other + "/t/sub/f", in("f"), &error)) << error;
  EXPECT_EQ(readFile(in("f")), std::string(300'000, 'f'));
  ASSERT_TRUE(manager->moveItemAtPath(other + "/t/link", in("link"), &error)) << error;
  EXPECT_EQ(fs::read_symlink(in("link")), "sub/f");
  EXPECT_FALSE(manager->moveItemAtPath(in("f"), other + "/t", &error));
  EXPECT_EQ(code(), NSFileWriteFileExistsError);
  EXPECT_TRUE(fs::exists(in("f")));
  fs::remove_all(other);
}

TEST_F(ItemOperations, RemovalLeavesAMountedVolumeAlone) {
  fs::create_directories(in("t/volume"));
  const int status = inAnotherProcess([&] {
    const std::string command =
        "mount -t tmpfs none '" + in("t/volume") + "' 2>/dev/null && touch '" + in("t/volume/f") + "'";
    if (std::system(command.c_str()) != 0) return 77;
    const bool removed = manager->removeItemAtPath(in("t"), &error);
    const bool stands = fs::exists(in("t/volume/f"));
    if (std::system(("umount '" + in("t/volume") + "'").c_str()) != 0) return 3;
    return !removed && stands ? 0 : 1;
  });
  if (status == 77) GTEST_SKIP() << "nothing can be mounted here";
  EXPECT_EQ(status, 0);
}

TEST_F(ItemOperations, AFailureMakesNoFoldersHalfway) {
  writeFile(in("file"));
  EXPECT_FALSE(manager->createDirectoryAtPath(in("a/b/" + std::string(300, 'x')), true, &error));
  EXPECT_EQ(code(), NSFileWriteInvalidFileNameError);
  EXPECT_FALSE(fs::exists(in("a")));
}

TEST_F(ItemOperations, ANewFileReplacesTheOldOneAsAWhole) {
  writeFile(in("f"), "old");
  fs::create_symlink("f", in("link"));
  fs::permissions(in("f"), fs::perms(0640));
  EXPECT_TRUE(manager->createFileAtPath(in("link"), NSData::dataWithBytes("new")));
  EXPECT_EQ(readFile(in("f")), "new");
  EXPECT_TRUE(fs::is_symlink(in("link")));
  EXPECT_EQ(fs::status(in("f")).permissions(), fs::perms(0640));
}

// ---- folders for replacing ---------------------------------------------------------------------

TEST_F(ItemOperations, ReplacementFoldersAreNewAndClosedAndOnTheItemsVolume) {
  const auto ask = [&](const std::string& path) {
    error = nil;
    return manager->URLForDirectory(NSItemReplacementDirectory, NSUserDomainMask, NSURL::fileURLWithPath(path),
                                    true, &error);
  };
  const NSURL first = ask(in("f")), second = ask(in("none/deep"));
  ASSERT_TRUE(first) << error;
  ASSERT_TRUE(second) << error;
  EXPECT_NE(first, second);
  for (const NSURL& url : {first, second}) {
    EXPECT_TRUE(url.path().hasPrefix(NSTemporaryDirectory())) << url;
    EXPECT_EQ(statusOf(url.path().utf8()).st_mode & 07777, 0700u);
  }
  if (const std::string other = otherVolume(folder); !other.empty()) {
    for (const std::string& item : {other + "/none", other, std::string("/dev/shm")}) {
      const NSURL url = ask(item);
      ASSERT_TRUE(url) << error;
      EXPECT_EQ(statusOf(url.path().utf8()).st_dev, statusOf(other).st_dev);
      EXPECT_TRUE(url.path().lastPathComponent().hasPrefix(".")) << url;
      EXPECT_EQ(statusOf(url.path().utf8()).st_mode & 07777, 0700u);
      EXPECT_TRUE(manager->removeItemAtURL(url));
    }
    fs::remove_all(other);
  }
  writeFile(in("file"));
  EXPECT_TRUE(ask(in("file/below"))) << "only the volume must be there";
}

TEST_F(ItemOperations, FromAReplacementFolderAFileCanBeRenamedToTheItem) {
  const std::string other = otherVolume(folder);
  if (other.empty()) GTEST_SKIP() << "there is one volume only";
  writeFile(other + "/doc", "far");
  writeFile(in("doc"), "here");
  fs::create_symlink(other + "/doc", in("link to a file"));
  fs::create_directory_symlink(other, in("link to a folder"));
  fs::create_symlink(in("doc"), other + "/link back");
  const auto ask = [&](const std::string& item) {
    return manager->URLForDirectory(NSItemReplacementDirectory, NSUserDomainMask,
                                    NSURL::fileURLWithPath(item, false), true, &error);
  };
  EXPECT_TRUE(ask(other + "/doc/below/a file")) << error;
  for (const std::string& item : {in("link to a folder") + "/new", in("link to a file"), in("link to a folder"),
                                  other + "/link back", other + "/doc"}) {
    const NSURL url = ask(item);
    ASSERT_TRUE(url) << item << error;
    const std::string made = url.fileSystemRepresentation() + "/new";
    writeFile(made, "new");
    EXPECT_EQ(::rename(made.c_str(), item.c_str()), 0) << item;
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(item)));
  }
  fs::remove_all(other);
}

TEST_F(ItemOperations, WithoutATemporaryFolderTheReplacementFolderIsBesideTheItem) {
  const std::string saved = ::getenv("TMPDIR") ? ::getenv("TMPDIR") : "/tmp";
  writeFile(in("file"));
  fs::create_symlink("nowhere", in("dangling"));
  for (const char* name : {"file", "dangling", "none"}) {
    ::setenv("TMPDIR", in(name).c_str(), 1);
    const NSURL url = manager->URLForDirectory(NSItemReplacementDirectory, NSUserDomainMask,
                                               NSURL::fileURLWithPath(in("doc")), true, &error);
    ASSERT_TRUE(url) << name << error;
    EXPECT_EQ(url.URLByDeletingLastPathComponent().path(), NSString(folder)) << name;
  }
  ::setenv("TMPDIR", saved.c_str(), 1);
}

TEST_F(ItemOperations, AReplacementFolderInTheRootFolderHasAPlainPath) {
  const std::string saved = ::getenv("TMPDIR") ? ::getenv("TMPDIR") : "/tmp";
  ::setenv("TMPDIR", "/", 1);
  const NSURL url = manager->URLForDirectory(NSItemReplacementDirectory, NSUserDomainMask,
                                             NSURL::fileURLWithPath("/none"), true, &error);
  ::setenv("TMPDIR", saved.c_str(), 1);
  if (url.isNil()) GTEST_SKIP() << "nothing may be made there";
  EXPECT_TRUE(url.path().hasPrefix("/.orv-")) << url;
  EXPECT_TRUE(manager->removeItemAtURL(url));
}

// One file system mounted twice is two to a renaming.
TEST_F(ItemOperations, AReplacementFolderIsOnTheMountOfTheItem) {
  fs::create_directories(in("real"));
  fs::create_directories(in("temporary"));
  if (std::system(("mount --bind '" + in("real") + "' '" + in("temporary") + "' 2>/dev/null").c_str()) != 0)
    GTEST_SKIP() << "nothing can be mounted here";
  const char* saved = ::getenv("TMPDIR");
  const std::string before = saved ? saved : "";
  ::setenv("TMPDIR", in("temporary").c_str(), 1);
  const auto isRenamedFrom = [&](const std::string& item) {
    const NSURL url = manager->URLForDirectory(NSItemReplacementDirectory, NSUserDomainMask,
                                               NSURL::fileURLWithPath(item), true, &error);
    const std::string made = url.fileSystemRepresentation() + "/new";
    writeFile(made, "new");
    return ::rename(made.c_str(), item.c_str()) == 0;
  };
  EXPECT_TRUE(isRenamedFrom(in("doc")));
  EXPECT_TRUE(isRenamedFrom(in("temporary/doc")));
  saved ? ::setenv("TMPDIR", before.c_str(), 1) : ::unsetenv("TMPDIR");
  EXPECT_EQ(std::system(("umount '" + in("temporary") + "'").c_str()), 0);
}

TEST_F(ItemOperations, WithoutAnItemThereIsNoReplacementFolder) {
  for (const NSURL& url : {NSURL(), NSURL::URLWithString("http://h/a")}) {
    error = nil;
    EXPECT_TRUE(
        manager->URLForDirectory(NSItemReplacementDirectory, NSUserDomainMask, url, true, &error).isNil());
    EXPECT_TRUE(error);
  }
}

TEST_F(ItemOperations, OtherPlacesAreMadeWhenAsked) {
  const std::string saved = ::getenv("XDG_CACHE_HOME");
  ::setenv("XDG_CACHE_HOME", in("caches").c_str(), 1);
  const auto ask = [&](NSUInteger domain, bool create) {
    return manager->URLForDirectory(NSCachesDirectory, domain, nil, create, &error);
  };
  EXPECT_EQ(ask(NSUserDomainMask, false).path(), NSString(in("caches")));
  EXPECT_FALSE(fs::exists(in("caches")));
  EXPECT_EQ(ask(NSUserDomainMask, true).path(), NSString(in("caches")));
  EXPECT_TRUE(fs::is_directory(in("caches")));
  EXPECT_TRUE(ask(2, true).isNil());
  EXPECT_TRUE(error);
  ::setenv("XDG_CACHE_HOME", saved.c_str(), 1);
}
