#include "Platform/Foundation/Files/NSDirectoryEnumerator.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Files/FolderWalk.h"
#include "Tests/Support/World.h"

using namespace orv;
using detail::FolderWalk;
namespace fs = std::filesystem;

namespace {

void make(const std::string& path) {
  if (path.ends_with('/')) {
    fs::create_directories(path);
    return;
  }
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream{path};
}

struct NSDirectoryEnumeratorTest : testing::Test {
  void SetUp() override {
    for (const char* item : {"b.txt", "a/x", "a/.h", "a/deep/y", "c.app/Contents/z", ".hid/w", "empty/"})
      make(root + "/" + item);
    fs::create_directory_symlink(root, root + "/link");
  }

  // The paths below the root that an enumeration gives, folders with a slash.
  std::vector<std::string> listed(NSUInteger options) {
    std::vector<std::string> paths;
    const auto each =
        NSFileManager::defaultManager()->enumeratorAtURL(NSURL::fileURLWithPath(root), nil, options);
    while (const NSURL url = each->nextURL())
      paths.push_back(url.absoluteString().utf8().substr(7 + root.size() + 1));
    return paths;
  }

  const std::string root = fs::canonical(testFolder()).string() + "/root";
};

}  // namespace

TEST_F(NSDirectoryEnumeratorTest, GivesEachFolderBeforeItsContentsInOrder) {
  EXPECT_THAT(listed(0),
              testing::ElementsAre(".hid/", ".hid/w", "a/", "a/.h", "a/deep/", "a/deep/y", "a/x", "b.txt",
                                   "c.app/", "c.app/Contents/", "c.app/Contents/z", "empty/", "link"));
}

TEST_F(NSDirectoryEnumeratorTest, SkipsWhatTheOptionsSay) {
  EXPECT_THAT(listed(NSDirectoryEnumerationSkipsSubdirectoryDescendants),
              testing::ElementsAre(".hid/", "a/", "b.txt", "c.app/", "empty/", "link"));
  EXPECT_THAT(listed(NSDirectoryEnumerationSkipsPackageDescendants | NSDirectoryEnumerationSkipsHiddenFiles),
              testing::ElementsAre("a/", "a/deep/", "a/deep/y", "a/x", "b.txt", "c.app/", "empty/", "link"));
}

TEST_F(NSDirectoryEnumeratorTest, TellsLevelAndKind) {
  const auto each = NSFileManager::defaultManager()->enumeratorAtURL(NSURL::fileURLWithPath(root), nil, 0);
  EXPECT_EQ(each->level(), 0u);
  while (const NSURL url = each->nextURL()) {
    const NSString name = url.lastPathComponent();
    Value isDirectory, isRegular;
    ASSERT_TRUE(url.getResourceValue(NSURLIsDirectoryKey, &isDirectory));
    ASSERT_TRUE(url.getResourceValue(NSURLIsRegularFileKey, &isRegular));
    EXPECT_EQ(Value(each->isDirectory()), isDirectory) << name;
    EXPECT_EQ(Value(each->isRegularFile()), isRegular) << name;
    if (name == "z") {
      EXPECT_EQ(each->level(), 3u);
    }
    if (name == "a") {
      EXPECT_EQ(each->level(), 1u);
    }
  }
  EXPECT_TRUE(each->nextURL().isNil());
  EXPECT_EQ(each->level(), 0u);
}

TEST_F(NSDirectoryEnumeratorTest, DescendantsCanBeSkippedByHand) {
  const auto each = NSFileManager::defaultManager()->enumeratorAtURL(NSURL::fileURLWithPath(root), nil, 4);
  std::string seen;
  while (const NSURL url = each->nextURL()) {
    seen += url.lastPathComponent().utf8() + " ";
    if (url.lastPathComponent() == "a") each->skipDescendants();
  }
  EXPECT_EQ(seen, "a b.txt c.app Contents z empty link ");
}

TEST_F(NSDirectoryEnumeratorTest, URLsAreThoseOfTheirPaths) {
  for (const char* name : {"sp ace#?%", "\u00e9\U0001F600", "\xFF\xFE"}) make(root + "/" + name + "/f");
  const auto each = NSFileManager::defaultManager()->enumeratorAtURL(NSURL::fileURLWithPath(root), nil, 0);
  const NSArray urls = each->allObjects();
  EXPECT_EQ(urls.count(), 19u);
  for (const Value& each2 : urls) {
    const NSURL url = each2.as<NSURL>();
    EXPECT_EQ(url, NSURL::URLWithString(url.absoluteString()));
    EXPECT_EQ(url, NSURL::fileURLWithPath(url.path(), url.hasDirectoryPath()));
    EXPECT_TRUE(url.checkResourceIsReachable()) << url;
  }
}

TEST_F(NSDirectoryEnumeratorTest, AMissingRootIsAnErrorOnce) {
  int calls = 0;
  const NSURL missing = NSURL::fileURLWithPath(root + "/none", true);
  const auto each = NSFileManager::defaultManager()->enumeratorAtURL(
      missing, nil, 0, [&](const NSURL& url, const NSError& error) {
        ++calls;
        EXPECT_EQ(url.path(), missing.path());
        EXPECT_EQ(error.code(), NSFileReadNoSuchFileError);
        return true;
      });
  EXPECT_TRUE(each->nextURL().isNil());
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(NSFileManager::defaultManager()->enumeratorAtURL(nil, nil, 0).isNil());
}

TEST_F(NSDirectoryEnumeratorTest, AnUnreadableFolderIsAnError) {
  if (::geteuid() == 0) GTEST_SKIP() << "root may read everything";
  fs::permissions(root + "/a", fs::perms::none);
  int calls = 0;
  for (const bool goOn : {true, false}) {
    size_t count = 0;
    const auto each = NSFileManager::defaultManager()->enumeratorAtURL(
        NSURL::fileURLWithPath(root), nil, 4, [&](const NSURL& url, const NSError&) {
          EXPECT_EQ(url.lastPathComponent(), "a");
          ++calls;
          return goOn;
        });
    while (each->nextURL()) ++count;
    EXPECT_EQ(count, goOn ? 7u : 1u);
  }
  EXPECT_EQ(calls, 2);
  fs::permissions(root + "/a", fs::perms::all);
}

TEST_F(NSDirectoryEnumeratorTest, ALinkedRootIsFollowed) {
  fs::create_directory_symlink(root + "/a", root + "2");
  const auto each =
      NSFileManager::defaultManager()->enumeratorAtURL(NSURL::fileURLWithPath(root + "2"), nil, 0);
  EXPECT_EQ(each->allObjects().count(), 4u);
}

TEST_F(NSDirectoryEnumeratorTest, FoldersThatVanishMeanwhileAreLeftOut) {
  const auto each = NSFileManager::defaultManager()->enumeratorAtURL(NSURL::fileURLWithPath(root), nil, 4);
  EXPECT_EQ(each->nextURL().lastPathComponent(), "a");
  fs::remove_all(root + "/a");
  EXPECT_EQ(each->nextURL().lastPathComponent(), "b.txt");
}

TEST(FolderWalk, GoesDeeperThanItKeepsFoldersOpen) {
  std::string path = testFolder();
  for (int i = 0; i < 150; ++i) {
    path += "/d";
    make(path + "/");
    make(path + "/f");
    make(path + "/z");
  }
  FolderWalk walk(testFolder(), FolderWalk::TellLeaving);
  size_t files = 0, entered = 0, left = 0, deepest = 0;
  while (const auto* item = walk.next()) {
    if (item->kind == FolderWalk::Kind::File) {
      ++files;
      EXPECT_EQ(::faccessat(item->folder, item->name.data(), F_OK, 0), 0);
      EXPECT_EQ(walk.path().size(), item->level * 2 - 1);
    } else {
      ++(item->leaving ? left : entered);
    }
    deepest = std::max(deepest, item->level);
  }
  EXPECT_EQ(files, 300u);
  EXPECT_EQ(entered, 150u);
  EXPECT_EQ(left, 150u);
  EXPECT_EQ(deepest, 151u);
}

TEST(FolderWalk, LeavesEachFolderAfterItsContents) {
  for (const char* item : {"a/b/f", "a/g"}) make(testFolder() + "/" + item);
  FolderWalk walk(testFolder(), FolderWalk::TellLeaving);
  std::string steps;
  while (const auto* item = walk.next()) steps += (item->leaving ? "-" : "+") + walk.path() + " ";
  EXPECT_EQ(steps, "+a +a/b +a/b/f -a/b +a/g -a ");
}

TEST_F(NSDirectoryEnumeratorTest, OnlyFileURLsAreWalked) {
  const auto manager = NSFileManager::defaultManager();
  EXPECT_FALSE(manager->enumeratorAtURL(NSURL::URLWithString("http://host" + root), nil, 0));
  EXPECT_FALSE(manager->enumeratorAtURL(NSURL::URLWithString("mailto:a@b.c"), nil, 0));
  EXPECT_FALSE(manager->enumeratorAtURL(nil, nil, 0));
}

TEST_F(NSDirectoryEnumeratorTest, AZeroInTheRootIsNotItsEnd) {
  int error = 0;
  FolderWalk walk(root + std::string("\0x", 2), 0, [&](const std::string&, int number) {
    error = number;
    return true;
  });
  EXPECT_EQ(walk.next(), nullptr);
  EXPECT_EQ(error, EINVAL);
}

// Below an unreadable folder of the root folder itself.
TEST_F(NSDirectoryEnumeratorTest, ErrorsBelowTheRootFolderNameTheirPlaceWithOneSlash) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a root folder of its own";
  make(root + "/shut/");
  const pid_t child = ::fork();
  if (child == 0) {
    ::chmod((root + "/shut").c_str(), 0);
    if (::chroot(root.c_str()) != 0 || ::chdir("/") != 0 || ::setgid(65534) != 0 || ::setuid(65534) != 0)
      ::_exit(2);
    std::string url;
    const auto each = NSFileManager::defaultManager()->enumeratorAtURL(
        NSURL::fileURLWithPath("/", true), nil, 0, [&](const NSURL& failed, const NSError&) {
          url = failed.absoluteString().utf8();
          return true;
        });
    while (each->nextURL()) continue;
    ::_exit(url == "file:///shut/" ? 0 : 1);
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST_F(NSDirectoryEnumeratorTest, TreesThatChangeDuringTheWalkAreSeenOnce) {
  FolderWalk walk(root, 0);
  std::vector<std::string> seen;
  while (const auto* item = walk.next()) {
    seen.push_back(walk.path());
    if (item->name == "a") fs::remove_all(root + "/a");
    if (item->name == "b.txt") make(root + "/zz/new");
    if (item->name == "Contents") fs::rename(root + "/c.app", root + "/moved");
  }
  EXPECT_THAT(seen, testing::ElementsAre(".hid", ".hid/w", "a", "b.txt", "c.app", "c.app/Contents",
                                         "c.app/Contents/z", "empty", "link"));
}

// Folders moved away while more of the tree is open than the walk keeps open.
TEST_F(NSDirectoryEnumeratorTest, AFolderMovedFromUnderADeepWalkEndsItWithoutHarm) {
  std::string deep = root + "/m";
  for (int i = 0; i < 200; ++i) deep += "/d";
  make(deep + "/last");
  make(root + "/m/z");
  make(root + "/elsewhere/");
  FolderWalk walk(root, 0);
  size_t files = 0;
  while (const auto* item = walk.next()) {
    if (item->name == "last") fs::rename(root + "/m/d", root + "/elsewhere/d");
    files += item->kind == FolderWalk::Kind::File;
  }
  EXPECT_GE(files, 7u);
  EXPECT_LE(files, 9u);
}

// Far beyond the longest path that the system takes at once.
TEST_F(NSDirectoryEnumeratorTest, TwoThousandLevelsAreWalkedAndRemoved) {
  const std::string top = root + "/deep";
  make(top + "/");
  int folder = ::open(top.c_str(), O_RDONLY | O_DIRECTORY);
  for (int i = 0; i < 2000; ++i) {
    ASSERT_EQ(::mkdirat(folder, "level", 0777), 0);
    const int next = ::openat(folder, "level", O_RDONLY | O_DIRECTORY);
    ::close(folder);
    folder = next;
  }
  ASSERT_EQ(::symlinkat("..", folder, "up"), 0);
  ::close(folder);

  FolderWalk walk(top, FolderWalk::TellLeaving);
  size_t folders = 0, left = 0, links = 0;
  while (const auto* item = walk.next()) {
    if (item->kind == FolderWalk::Kind::Link)
      ++links;
    else
      ++(item->leaving ? left : folders);
  }
  EXPECT_EQ(folders, 2000u);
  EXPECT_EQ(left, 2000u);
  EXPECT_EQ(links, 1u);
  EXPECT_TRUE(NSFileManager::defaultManager()->contentsEqualAtPath(top, top));
  EXPECT_TRUE(NSFileManager::defaultManager()->removeItemAtPath(top));
  EXPECT_FALSE(fs::exists(top));
}
