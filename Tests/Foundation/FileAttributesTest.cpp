// What becomes of a file's extended attributes, group and access list when it is replaced or copied.

#include "Platform/Foundation/Files/FileAttributes.h"

#include <endian.h>
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <linux/posix_acl.h>
#include <linux/posix_acl_xattr.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Platform/Foundation/Files/FileBytes.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Tests/Support/World.h"

using namespace orv;
namespace fs = std::filesystem;

namespace {

constexpr char kAccess[] = "system.posix_acl_access", kDefault[] = "system.posix_acl_default";
constexpr unsigned kNobody = ~0u;
constexpr uid_t kOwner = 54321, kNamed = 54322, kStranger = 54323;

struct Entry {
  uint16_t tag, allowed;
  unsigned id = kNobody;
};

std::string listOf(const std::vector<Entry>& entries) {
  std::string list(1, char{POSIX_ACL_XATTR_VERSION});
  list.resize(sizeof(posix_acl_xattr_header));
  for (const Entry& each : entries) {
    const posix_acl_xattr_entry entry{htole16(each.tag), htole16(each.allowed), htole32(each.id)};
    list.append(reinterpret_cast<const char*>(&entry), sizeof entry);
  }
  return list;
}

// The owner and one user may read and write, the group and everybody else nothing.
const std::string kPrivate =
    listOf({{ACL_USER_OBJ, 6}, {ACL_USER, 6, kNamed}, {ACL_GROUP_OBJ, 0}, {ACL_MASK, 6}, {ACL_OTHER, 0}});

std::string attribute(const std::string& path, const char* name) {
  char value[256];
  const ssize_t length = ::getxattr(path.c_str(), name, value, sizeof value);
  return length < 0 ? "none" : std::string(value, static_cast<size_t>(length));
}

bool set(const std::string& path, const char* name, const std::string& value) {
  return ::setxattr(path.c_str(), name, value.data(), value.size(), 0) == 0;
}

mode_t modeOf(const std::string& path) {
  struct stat info {};
  EXPECT_EQ(::stat(path.c_str(), &info), 0);
  return info.st_mode & 07777;
}

struct FileAttributes : testing::Test {
  void SetUp() override {
    std::ofstream(file) << "old";
    if (!set(file, kAccess, kPrivate)) GTEST_SKIP() << "no access lists here";
  }

  const std::string folder = testFolder(), file = folder + "/file";
};

// Runs a block as another user; its answer.
template <class Block>
int as(uid_t user, Block block) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(::setgroups(0, nullptr) || ::setgid(user) || ::setuid(user) ? 255 : block());
  int status = -1;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

TEST_F(FileAttributes, ASaveKeepsTagsAndAccessList) {
  if (::getuid() == 0) {
    ASSERT_EQ(::chown(file.c_str(), kOwner, kOwner), 0);
  }
  const bool tagged = set(file, "user.xdg.tags", "red,blue");
  ASSERT_EQ(detail::replaceFile(file, "new"), 0);
  EXPECT_EQ(attribute(file, kAccess), kPrivate);
  EXPECT_EQ(modeOf(file), 0660u);
  EXPECT_EQ(attribute(file, "user.xdg.tags"), tagged ? "red,blue" : "none");
}

TEST_F(FileAttributes, ASaveKeepsTheTagsOfAReadOnlyFile) {
  if (!set(file, "user.xdg.tags", "red")) GTEST_SKIP() << "no extended attributes here";
  ASSERT_EQ(::chmod(file.c_str(), 0444), 0);
  if (::getuid() == 0) {
    ASSERT_EQ(::chmod(folder.c_str(), 0777), 0);
    ASSERT_EQ(::chown(file.c_str(), kOwner, kOwner), 0);
    fs::current_path(folder);
    EXPECT_EQ(as(kOwner, [] { return detail::replaceFile("file", "new"); }), 0);
    fs::current_path("/");
  } else {
    EXPECT_EQ(detail::replaceFile(file, "new"), 0);
  }
  EXPECT_EQ(attribute(file, "user.xdg.tags"), "red");
  EXPECT_EQ(modeOf(file), 0444u);
}

TEST_F(FileAttributes, AFoldersDefaultListLetsNobodyIntoASavedFile) {
  ASSERT_EQ(::removexattr(file.c_str(), kAccess), 0);
  ASSERT_EQ(::chmod(file.c_str(), 0660), 0);
  ASSERT_TRUE(set(folder, kDefault, kPrivate));
  ASSERT_EQ(detail::replaceFile(file, "new"), 0);
  EXPECT_EQ(attribute(file, kAccess), "none");
  EXPECT_EQ(modeOf(file), 0660u);
}

TEST_F(FileAttributes, AFileThatMayNotBeReadKeepsItsListToo) {
  if (::getuid() != 0) GTEST_SKIP() << "needs a second user";
  ASSERT_EQ(::chown(file.c_str(), 0, kStranger), 0);
  ASSERT_EQ(::chmod(folder.c_str(), 0777), 0);
  fs::current_path(folder);
  EXPECT_EQ(as(kStranger, [] { return detail::replaceFile("file", "new"); }), 0);
  fs::current_path("/");
  EXPECT_EQ(attribute(file, kAccess), kPrivate);
  EXPECT_EQ(modeOf(file), 0660u);
}

TEST_F(FileAttributes, WithTheGroupTheListIsLostAndNobodyGetsIn) {
  if (::getuid() != 0) GTEST_SKIP() << "needs a second user";
  ASSERT_TRUE(set(
      file, kAccess,
      listOf({{ACL_USER_OBJ, 6}, {ACL_USER, 0, kNamed}, {ACL_GROUP_OBJ, 4}, {ACL_MASK, 4}, {ACL_OTHER, 4}})));
  ASSERT_EQ(::chmod(folder.c_str(), 0777), 0);
  fs::current_path(folder);
  EXPECT_EQ(as(kStranger, [] { return detail::replaceFile("file", "new"); }), 0);
  fs::current_path("/");
  EXPECT_EQ(attribute(file, kAccess), "none");
  EXPECT_EQ(modeOf(file), 0600u);
}

TEST_F(FileAttributes, WithoutItsListAFilesPermissionsShrink) {
  const struct {
    std::vector<Entry> entries;
    mode_t expected;
  } cases[] = {
      {{{ACL_USER_OBJ, 6}, {ACL_USER, 6, kNamed}, {ACL_GROUP_OBJ, 0}, {ACL_MASK, 6}, {ACL_OTHER, 0}}, 0600},
      {{{ACL_USER_OBJ, 6}, {ACL_USER, 6, kNamed}, {ACL_GROUP_OBJ, 4}, {ACL_MASK, 6}, {ACL_OTHER, 4}}, 0644},
      {{{ACL_USER_OBJ, 6}, {ACL_USER, 0, kNamed}, {ACL_GROUP_OBJ, 4}, {ACL_MASK, 4}, {ACL_OTHER, 4}}, 0600},
      {{{ACL_USER_OBJ, 6}, {ACL_USER, 7, kNamed}, {ACL_GROUP_OBJ, 6}, {ACL_MASK, 4}, {ACL_OTHER, 6}}, 0644},
      {{{ACL_USER_OBJ, 6}, {ACL_GROUP_OBJ, 6}, {ACL_GROUP, 0, kNamed}, {ACL_MASK, 6}, {ACL_OTHER, 4}}, 0660},
  };
  for (const auto& each : cases) {
    ASSERT_TRUE(set(file, kAccess, listOf(each.entries)));
    const int from = ::open(file.c_str(), O_RDONLY);
    const int to = ::open((folder + "/new").c_str(), O_RDWR | O_CREAT, 0600);
    mode_t mode = modeOf(file);
    EXPECT_EQ(detail::dropAccessList(from, to, mode), 0);
    EXPECT_EQ(mode, each.expected);
    ::close(from), ::close(to);
  }
}

TEST_F(FileAttributes, AFileSystemWithoutListsGetsTheShrunkPermissions) {
  const int from = ::open(file.c_str(), O_RDONLY);
  const int to = ::memfd_create("new", 0);
  ASSERT_GE(to, 0);
  const bool knowsLists = ::fsetxattr(to, kAccess, kPrivate.data(), kPrivate.size(), 0) == 0;
  mode_t mode = 0660;
  EXPECT_EQ(detail::takeAccessList(from, to, mode), 0);
  EXPECT_EQ(mode, knowsLists ? 0660u : 0600u);
  ::close(from), ::close(to);
}

TEST_F(FileAttributes, ACopyKeptAsideHasTheFilesList) {
  std::string kept;
  const std::string aside = "/dev/shm/orvane-aside-" + std::to_string(::getpid());
  ASSERT_EQ(detail::keepFileAside(file, aside, kept), 0);
  EXPECT_TRUE(attribute(kept, kAccess) == kPrivate || modeOf(kept) == 0600u);
  fs::remove(kept);
}

TEST_F(FileAttributes, ACopyWhereThereAreNoListsOpensToNobodyMore) {
  const std::string volume = folder + "/volume";
  fs::create_directory(volume);
  if (std::system(("mount -t ramfs none '" + volume + "' 2>/dev/null").c_str()) != 0)
    GTEST_SKIP() << "nothing can be mounted here";
  fs::create_directory(folder + "/t");
  fs::rename(file, folder + "/t/file");
  const auto manager = NSFileManager::defaultManager();
  EXPECT_TRUE(manager->copyItemAtPath(folder + "/t", volume + "/t"));
  EXPECT_TRUE(manager->copyItemAtPath(folder + "/t/file", volume + "/copy"));
  EXPECT_TRUE(manager->moveItemAtPath(folder + "/t/file", volume + "/moved"));
  for (const char* name : {"/t/file", "/copy", "/moved"}) EXPECT_EQ(modeOf(volume + name), 0600u) << name;
  EXPECT_EQ(std::system(("umount '" + volume + "'").c_str()), 0);
}

TEST_F(FileAttributes, ACopyKeepsTheGroupThatItsMakerBelongsTo) {
  if (::getuid() != 0) GTEST_SKIP() << "needs a second user";
  ASSERT_EQ(::removexattr(file.c_str(), kAccess), 0);
  ASSERT_EQ(::chown(file.c_str(), kOwner, kNamed), 0);
  ASSERT_EQ(::chmod(file.c_str(), 02640), 0);
  ASSERT_EQ(::chmod(folder.c_str(), 0777), 0);
  fs::current_path(folder);
  const pid_t child = ::fork();
  if (child == 0) {
    const gid_t groups[] = {kNamed};
    ::_exit(::setgroups(1, groups) || ::setgid(kStranger) || ::setuid(kStranger) ||
            !NSFileManager::defaultManager()->copyItemAtPath("file", "copy"));
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  fs::current_path("/");
  ASSERT_EQ(status, 0);
  struct stat info {};
  ASSERT_EQ(::stat((folder + "/copy").c_str(), &info), 0);
  EXPECT_EQ(info.st_uid, kStranger);
  EXPECT_EQ(info.st_gid, kNamed);
  EXPECT_EQ(info.st_mode & 07777, 0640u);
}

TEST_F(FileAttributes, ACopyWithoutItsGroupOpensToNobodyMore) {
  if (::getuid() != 0) GTEST_SKIP() << "needs a second user";
  const struct {
    std::string list;
    mode_t mode, expected;
  } cases[] = {{"", 0664, 0644}, {"", 0604, 0600}, {kPrivate, 0664, 0600}};
  ASSERT_EQ(::chmod(folder.c_str(), 0777), 0);
  for (const auto& each : cases) {
    ASSERT_EQ(::chmod(file.c_str(), each.mode), 0);
    each.list.empty() ? ::removexattr(file.c_str(), kAccess) : set(file, kAccess, each.list);
    ASSERT_EQ(::chown(file.c_str(), kNamed, kOwner), 0);
    fs::current_path(folder);
    EXPECT_EQ(as(kNamed, [] { return !NSFileManager::defaultManager()->copyItemAtPath("file", "copy"); }), 0);
    fs::current_path("/");
    EXPECT_EQ(attribute(folder + "/copy", kAccess), "none");
    EXPECT_EQ(modeOf(folder + "/copy"), each.expected);
    fs::remove(folder + "/copy");
  }
}
