#include "Platform/Foundation/Files/NSFileManager.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Files/NSDirectoryEnumerator.h"
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

struct NSFileManagerTest : testing::Test {
  std::string in(const std::string& name) const { return folder + "/" + name; }
  // The code of the error that the operation has just filled in; 0 for none.
  NSInteger code() const { return error.code(); }

  const Ref<NSFileManager> manager = NSFileManager::defaultManager();
  const std::string folder = testFolder();
  NSError error;
};

bool isRoot() { return ::geteuid() == 0; }

}  // namespace

TEST_F(NSFileManagerTest, ExistenceFollowsLinks) {
  writeFile(in("f"));
  fs::create_symlink(in("f"), in("good"));
  fs::create_symlink(in("none"), in("dangling"));
  bool isDirectory = true;
  EXPECT_TRUE(manager->fileExistsAtPath(in("f"), &isDirectory));
  EXPECT_FALSE(isDirectory);
  EXPECT_TRUE(manager->fileExistsAtPath(folder, &isDirectory));
  EXPECT_TRUE(isDirectory);
  EXPECT_TRUE(manager->fileExistsAtPath(in("good")));
  EXPECT_FALSE(manager->fileExistsAtPath(in("dangling")));
  EXPECT_FALSE(manager->fileExistsAtPath(nil));
  EXPECT_FALSE(manager->fileExistsAtPath(""));
  EXPECT_FALSE(manager->fileExistsAtPath(std::string_view("/tmp\0x", 6)));
  EXPECT_TRUE(manager->isReadableFileAtPath(folder));
  EXPECT_FALSE(manager->isReadableFileAtPath(nil));
}

TEST_F(NSFileManagerTest, ContentsAreSortedByCodeUnit) {
  // By bytes U+FF5E would come before U+1F600.
  for (const char* name : {"b", "B", ".hidden", "\U0001F600", "\uFF5E", "a", "\u00e9", "\xE9", "aa"})
    writeFile(in(name));
  const NSArray names = manager->contentsOfDirectoryAtPath(folder);
  const NSString raw = NSString::stringWithFileSystemRepresentation("\xE9");  // U+DCE9
  EXPECT_EQ(names, (NSArray{".hidden", "B", "a", "aa", "b", "\u00e9", "\U0001F600", raw, "\uFF5E"}));
}

TEST_F(NSFileManagerTest, ContentsOfWhatIsNoFolderAreNil) {
  writeFile(in("f"));
  EXPECT_TRUE(manager->contentsOfDirectoryAtPath(in("none"), &error).isNil());
  EXPECT_EQ(code(), NSFileReadNoSuchFileError);
  EXPECT_TRUE(manager->contentsOfDirectoryAtPath(in("f"), &error).isNil());
  EXPECT_EQ(code(), NSFileReadUnknownError);
  EXPECT_TRUE(manager->contentsOfDirectoryAtPath(nil, &error).isNil());
  EXPECT_EQ(manager->contentsOfDirectoryAtPath(folder).count(), 1u);
}

TEST_F(NSFileManagerTest, MakesFolders) {
  const NSString deep = in("a/b/c/");
  EXPECT_FALSE(manager->createDirectoryAtPath(deep, false, &error));
  EXPECT_EQ(code(), NSFileNoSuchFileError);
  EXPECT_TRUE(manager->createDirectoryAtPath(deep, true));
  EXPECT_TRUE(fs::is_directory(in("a/b/c")));
  EXPECT_TRUE(manager->createDirectoryAtPath(deep, true));
  EXPECT_FALSE(manager->createDirectoryAtPath(deep, false, &error));
  EXPECT_EQ(code(), NSFileWriteFileExistsError);
  writeFile(in("f"));
  EXPECT_FALSE(manager->createDirectoryAtPath(in("f"), true, &error));
  EXPECT_EQ(code(), NSFileWriteFileExistsError);
  EXPECT_FALSE(manager->createDirectoryAtPath(in("f/x"), true));
  EXPECT_FALSE(manager->createDirectoryAtURL(NSURL::URLWithString("http://h/a"), true, &error));
  EXPECT_FALSE(manager->createDirectoryAtURL(nil, true, &error));
  EXPECT_TRUE(manager->createDirectoryAtURL(NSURL::fileURLWithPath(in("u v"), true), false));
  EXPECT_TRUE(fs::is_directory(in("u v")));
}

TEST_F(NSFileManagerTest, MadeFoldersObeyTheUmask) {
  const mode_t old = ::umask(027);
  EXPECT_TRUE(manager->createDirectoryAtPath(in("m"), true));
  ::umask(old);
  EXPECT_EQ(fs::status(in("m")).permissions(), fs::perms(0750));
}

TEST_F(NSFileManagerTest, MakesAndEmptiesFiles) {
  EXPECT_TRUE(manager->createFileAtPath(in("f"), NSData::dataWithBytes("abc")));
  EXPECT_EQ(readFile(in("f")), "abc");
  EXPECT_TRUE(manager->createFileAtPath(in("f"), nil));
  EXPECT_EQ(readFile(in("f")), "");
  EXPECT_FALSE(manager->createFileAtPath(in("none/f"), nil));
  EXPECT_FALSE(manager->createFileAtPath(folder, nil));
  EXPECT_FALSE(manager->createFileAtPath(nil, nil));
}

TEST_F(NSFileManagerTest, RemovesFilesLinksAndTrees) {
  fs::create_directories(in("t/a/b"));
  writeFile(in("keep"));
  writeFile(in("t/a/f"));
  fs::create_symlink(in("keep"), in("t/link"));
  fs::create_directory_symlink(folder, in("t/up"));
  EXPECT_TRUE(manager->removeItemAtPath(in("t")));
  EXPECT_FALSE(fs::exists(in("t")));
  EXPECT_TRUE(fs::exists(in("keep")));
  fs::create_directory_symlink(folder, in("up"));
  EXPECT_TRUE(manager->removeItemAtPath(in("up/")));
  EXPECT_TRUE(fs::exists(in("keep")));
  EXPECT_TRUE(manager->removeItemAtURL(NSURL::fileURLWithPath(in("keep"))));
  EXPECT_FALSE(manager->removeItemAtPath(in("keep"), &error));
  EXPECT_EQ(code(), NSFileNoSuchFileError);
  EXPECT_EQ(error.localizedDescription(), "“keep” couldn’t be removed.");
  EXPECT_FALSE(manager->removeItemAtPath(nil));
  EXPECT_FALSE(manager->removeItemAtPath("/"));
  EXPECT_FALSE(manager->removeItemAtURL(nil, &error));
}

TEST_F(NSFileManagerTest, RemovesATreeDeeperThanTheDescriptorsAllow) {
  std::string path = in("deep");
  for (int i = 0; i < 200; ++i) path += "/level";
  fs::create_directories(path);
  rlimit old;
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &old), 0);
  const rlimit few{100, old.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
  EXPECT_TRUE(manager->removeItemAtPath(in("deep"), &error)) << error;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &old), 0);
  EXPECT_FALSE(fs::exists(in("deep")));
}

// Root may do everything, so that another user asks.
TEST_F(NSFileManagerTest, MissingPermissionIsTold) {
  fs::create_directories(in("locked/x"));
  ::chmod(in("locked").c_str(), 0555);
  const pid_t child = ::fork();
  if (child == 0) {
    if (::chdir(folder.c_str()) != 0 || (isRoot() && (::setgid(65534) != 0 || ::setuid(65534) != 0)))
      ::_exit(2);
    const bool removed = manager->removeItemAtPath("locked/x", &error);
    ::_exit(!removed && code() == NSFileWriteNoPermissionError ? 0 : 1);
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(fs::exists(in("locked/x")));
  ::chmod(in("locked").c_str(), 0700);
}

TEST_F(NSFileManagerTest, MovesWithoutReplacing) {
  writeFile(in("a"), "A");
  writeFile(in("b"), "B");
  fs::create_directory(in("d"));
  EXPECT_FALSE(manager->moveItemAtPath(in("a"), in("b"), &error));
  EXPECT_EQ(code(), NSFileWriteFileExistsError);
  EXPECT_FALSE(manager->moveItemAtPath(in("a"), in("d"), &error));
  EXPECT_EQ(code(), NSFileWriteFileExistsError);
  EXPECT_FALSE(manager->moveItemAtPath(in("a"), in("a"), &error));
  EXPECT_EQ(code(), NSFileWriteFileExistsError);
  EXPECT_FALSE(manager->moveItemAtPath(in("none"), in("c"), &error));
  EXPECT_EQ(code(), NSFileNoSuchFileError);
  EXPECT_EQ(error.localizedDescription(), NSString("“none” couldn’t be moved to “") +
                                              NSString(folder).lastPathComponent() +
                                              "” because there is no such file.");
  EXPECT_FALSE(manager->moveItemAtPath(in("a"), in("none/c"), &error));
  EXPECT_EQ(code(), NSFileNoSuchFileError);
  EXPECT_EQ(error.localizedDescription(), "The file “c” couldn’t be saved because there is no such folder.");
  EXPECT_FALSE(manager->moveItemAtPath(in("d"), in("d/inside"), &error));
  EXPECT_EQ(code(), NSFileWriteUnknownError);
  EXPECT_EQ(readFile(in("a")), "A");
  EXPECT_EQ(readFile(in("b")), "B");
  EXPECT_TRUE(manager->moveItemAtPath(in("a"), in("d/a")));
  EXPECT_EQ(readFile(in("d/a")), "A");
  EXPECT_FALSE(fs::exists(in("a")));
  EXPECT_TRUE(manager->moveItemAtURL(NSURL::fileURLWithPath(in("d")), NSURL::fileURLWithPath(in("e"), true)));
  EXPECT_EQ(readFile(in("e/a")), "A");
  EXPECT_FALSE(manager->moveItemAtURL(nil, NSURL::fileURLWithPath(in("x")), &error));
  EXPECT_FALSE(manager->moveItemAtURL(NSURL::fileURLWithPath(in("e")), nil, &error));
}

TEST_F(NSFileManagerTest, MovesBetweenFileSystems) {
  struct stat here, there;
  if (::stat(folder.c_str(), &here) != 0 || ::stat("/dev/shm", &there) != 0 || here.st_dev == there.st_dev)
    GTEST_SKIP() << "there is one file system only";
  const std::string other = "/dev/shm/orvane-move-" + std::to_string(::getpid());
  fs::create_directories(in("t/sub"));
  writeFile(in("t/sub/f"), "F");
  EXPECT_TRUE(manager->moveItemAtPath(in("t"), other, &error)) << error;
  EXPECT_EQ(readFile(other + "/sub/f"), "F");
  EXPECT_FALSE(fs::exists(in("t")));
  fs::remove_all(other);
}

TEST_F(NSFileManagerTest, AMoveBetweenFileSystemsThatFailsLosesNothing) {
  struct stat here, there;
  if (::stat(folder.c_str(), &here) != 0 || ::stat("/dev/shm", &there) != 0 || here.st_dev == there.st_dev)
    GTEST_SKIP() << "there is one file system only";
  const std::string other = "/dev/shm/orvane-move-" + std::to_string(::getpid());
  fs::create_directories(in("t/sub"));
  writeFile(in("t/sub/f"), "F");
  ASSERT_EQ(::mkfifo(in("t/pipe").c_str(), 0600), 0);
  EXPECT_FALSE(manager->moveItemAtPath(in("t"), other, &error)) << "a pipe cannot be copied";
  EXPECT_EQ(readFile(in("t/sub/f")), "F");
  EXPECT_TRUE(fs::exists(in("t/pipe")));
  EXPECT_FALSE(fs::exists(other));
  fs::create_directories(other);
  EXPECT_FALSE(manager->moveItemAtPath(in("t/sub"), other, &error));
  EXPECT_TRUE(fs::exists(other)) << "a target that was there stays";
  EXPECT_TRUE(fs::exists(in("t/sub/f")));
  fs::remove_all(other);
}

TEST_F(NSFileManagerTest, CopiesTreesWithTheirFacts) {
  fs::create_directories(in("t/sub"));
  writeFile(in("t/sub/f"), std::string(300'000, 'x'));
  writeFile(in("t/empty"));
  writeFile(in("t/\xFF"), "odd name");
  fs::create_symlink("sub/f", in("t/link"));
  ::chmod(in("t/sub/f").c_str(), 0640);
  const timespec times[2] = {{1'000'000, 5}, {2'000'000, 7}};
  ::utimensat(AT_FDCWD, in("t/sub/f").c_str(), times, 0);
  ::chmod(in("t/sub").c_str(), 0555);
  ::utimensat(AT_FDCWD, in("t/sub").c_str(), times, 0);
  const bool tagged = ::setxattr(in("t/empty").c_str(), "user.note", "hi", 2, 0) == 0;

  ASSERT_TRUE(manager->copyItemAtPath(in("t"), in("u"), &error)) << error;
  EXPECT_EQ(readFile(in("u/sub/f")), std::string(300'000, 'x'));
  EXPECT_EQ(readFile(in("u/\xFF")), "odd name");
  EXPECT_EQ(fs::read_symlink(in("u/link")), "sub/f");
  struct stat info;
  ASSERT_EQ(::stat(in("u/sub/f").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0640u);
  EXPECT_EQ(info.st_mtim.tv_sec, 2'000'000);
  EXPECT_EQ(info.st_mtim.tv_nsec, 7);
  ASSERT_EQ(::stat(in("u/sub").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0555u);
  EXPECT_EQ(info.st_mtim.tv_sec, 2'000'000);
  char value[8];
  if (tagged) {
    EXPECT_EQ(::getxattr(in("u/empty").c_str(), "user.note", value, sizeof value), 2);
  }
  EXPECT_TRUE(manager->contentsEqualAtPath(in("t"), in("u")));
  ::chmod(in("t/sub").c_str(), 0755);
  ::chmod(in("u/sub").c_str(), 0755);
}

TEST_F(NSFileManagerTest, CopiesOneItem) {
  writeFile(in("f"), "F");
  fs::create_symlink("nowhere", in("l"));
  EXPECT_TRUE(manager->copyItemAtPath(in("f"), in("g")));
  EXPECT_EQ(readFile(in("g")), "F");
  EXPECT_TRUE(manager->copyItemAtPath(in("l"), in("m")));
  EXPECT_EQ(fs::read_symlink(in("m")), "nowhere");
  EXPECT_TRUE(manager->copyItemAtURL(NSURL::fileURLWithPath(in("f")), NSURL::fileURLWithPath(in("h"))));
  EXPECT_EQ(readFile(in("h")), "F");
}

TEST_F(NSFileManagerTest, CopyingFailsWithoutTouchingAnything) {
  writeFile(in("f"), "F");
  writeFile(in("g"), "G");
  fs::create_directory(in("d"));
  EXPECT_FALSE(manager->copyItemAtPath(in("f"), in("g"), &error));
  EXPECT_EQ(code(), NSFileWriteFileExistsError);
  EXPECT_EQ(error.localizedDescription(), NSString("“f” couldn’t be copied to “") +
                                              NSString(folder).lastPathComponent() +
                                              "” because an item with the same name already exists.");
  EXPECT_EQ(readFile(in("g")), "G");
  EXPECT_FALSE(manager->copyItemAtPath(in("none"), in("x"), &error));
  EXPECT_EQ(code(), NSFileReadNoSuchFileError);
  EXPECT_FALSE(manager->copyItemAtPath(in("f"), in("none/x"), &error));
  EXPECT_EQ(code(), NSFileNoSuchFileError);
  EXPECT_EQ(error.localizedDescription(), "The file “x” couldn’t be saved because there is no such folder.");
  EXPECT_FALSE(manager->copyItemAtPath(in("d"), in("d/inside"), &error));
  EXPECT_EQ(code(), NSFileWriteUnknownError);
  EXPECT_FALSE(fs::exists(in("d/inside")));
  EXPECT_FALSE(manager->copyItemAtPath(nil, in("x")));
  EXPECT_FALSE(
      manager->copyItemAtURL(NSURL::URLWithString("http://h/"), NSURL::fileURLWithPath(in("x")), &error));
}

TEST_F(NSFileManagerTest, ComparesContents) {
  writeFile(in("a"), "same");
  writeFile(in("b"), "same");
  writeFile(in("c"), "diff");
  EXPECT_TRUE(manager->contentsEqualAtPath(in("a"), in("b")));
  EXPECT_TRUE(manager->contentsEqualAtPath(in("a"), in("a")));
  EXPECT_FALSE(manager->contentsEqualAtPath(in("a"), in("c")));
  EXPECT_FALSE(manager->contentsEqualAtPath(in("a"), folder));
  EXPECT_FALSE(manager->contentsEqualAtPath(in("none"), in("none")));
  EXPECT_FALSE(manager->contentsEqualAtPath(nil, nil));
  for (const char* tree : {"x", "y"}) {
    fs::create_directories(in(tree) + "/s");
    writeFile(in(tree) + "/s/f", "1");
    fs::create_symlink("f", in(tree) + "/s/l");
  }
  EXPECT_TRUE(manager->contentsEqualAtPath(in("x"), in("y")));
  writeFile(in("y/s/more"));
  EXPECT_FALSE(manager->contentsEqualAtPath(in("x"), in("y")));
  fs::remove(in("y/s/more"));
  fs::remove(in("y/s/l"));
  fs::create_symlink("g", in("y/s/l"));
  EXPECT_FALSE(manager->contentsEqualAtPath(in("x"), in("y")));
}

TEST_F(NSFileManagerTest, TellsAttributes) {
  writeFile(in("f"), "12345");
  ::chmod(in("f").c_str(), 0604);
  const timespec times[2] = {{0, UTIME_OMIT}, {978'307'200 + 1000, 500'000'000}};
  ::utimensat(AT_FDCWD, in("f").c_str(), times, 0);
  const NSDictionary f = manager->attributesOfItemAtPath(in("f"), &error);
  ASSERT_TRUE(f) << error;
  EXPECT_EQ(f[NSFileType], Value("NSFileTypeRegular"));
  EXPECT_EQ(f[NSFileSize], Value(5));
  EXPECT_EQ(f[NSFilePosixPermissions], Value(0604));
  EXPECT_EQ(f[NSFileModificationDate], Value(NSDate::dateWithTimeIntervalSinceReferenceDate(1000.5)));
  EXPECT_EQ(f[NSFileOwnerAccountID], Value(::getuid()));
  EXPECT_EQ(f[NSFileReferenceCount], Value(1));
  EXPECT_EQ(f[NSFileImmutable], Value(false));
  struct stat info;
  ASSERT_EQ(::stat(in("f").c_str(), &info), 0);
  EXPECT_EQ(f[NSFileSystemFileNumber], Value(uint64_t{info.st_ino}));
  EXPECT_EQ(f[NSFileSystemNumber], Value(uint64_t{info.st_dev}));
  if (isRoot()) {
    EXPECT_EQ(f[NSFileOwnerAccountName], Value("root"));
  }

  fs::create_symlink("f", in("l"));
  EXPECT_EQ(manager->attributesOfItemAtPath(in("l"))[NSFileType], Value(NSFileTypeSymbolicLink));
  EXPECT_EQ(manager->attributesOfItemAtPath(folder)[NSFileType], Value(NSFileTypeDirectory));
  EXPECT_EQ(manager->attributesOfItemAtPath("/dev/null")[NSFileType], Value(NSFileTypeCharacterSpecial));
  ASSERT_EQ(::mkfifo(in("p").c_str(), 0600), 0);
  EXPECT_EQ(manager->attributesOfItemAtPath(in("p"))[NSFileType], Value(NSFileTypeUnknown));
  EXPECT_TRUE(manager->attributesOfItemAtPath(in("none"), &error).isNil());
  EXPECT_EQ(code(), NSFileReadNoSuchFileError);
  EXPECT_TRUE(manager->attributesOfItemAtPath(nil).isNil());
}

TEST_F(NSFileManagerTest, SetsDateAndPermissions) {
  writeFile(in("f"));
  const NSDate date = NSDate::dateWithTimeIntervalSinceReferenceDate(-1.25);
  EXPECT_TRUE(manager->setAttributesOfItemAtPath(
      NSDictionary{{NSFileModificationDate, date}, {NSFilePosixPermissions, 0600}, {"else", 1}}, in("f"),
      &error));
  const NSDictionary f = manager->attributesOfItemAtPath(in("f"));
  EXPECT_EQ(f[NSFileModificationDate], Value(date));
  EXPECT_EQ(f[NSFilePosixPermissions], Value(0600));
  EXPECT_FALSE(manager->setAttributesOfItemAtPath(NSDictionary::dictionary(), in("none"), &error));
  EXPECT_EQ(code(), NSFileNoSuchFileError);
  EXPECT_EQ(error.localizedDescription(), "The file “none” couldn’t be saved because there is no such file.");
  EXPECT_FALSE(fs::exists(in("none")));
}

TEST_F(NSFileManagerTest, TellsAboutTheFileSystem) {
  const NSDictionary facts = manager->attributesOfFileSystemForPath(folder);
  EXPECT_GT(facts[NSFileSystemSize].as<NSNumber>().unsignedLongLongValue(), 0u);
  EXPECT_LE(facts[NSFileSystemFreeSize].as<NSNumber>().unsignedLongLongValue(),
            facts[NSFileSystemSize].as<NSNumber>().unsignedLongLongValue());
  EXPECT_TRUE(facts[NSFileSystemNumber]);
  EXPECT_TRUE(manager->attributesOfFileSystemForPath(in("none"), &error).isNil());
  EXPECT_EQ(code(), NSFileReadNoSuchFileError);
}

// ---- places -----------------------------------------------------------------------------------

struct NSFileManagerPlaces : NSFileManagerTest {
  NSString place(NSSearchPathDirectory directory) const {
    return manager->URLsForDirectory(directory).firstObject().as<NSURL>().path();
  }
  void SetUp() override {
    for (const char* name : kNames) {
      const char* value = ::getenv(name);
      saved.emplace_back(name, value ? value : "");
    }
    ::setenv("HOME", folder.c_str(), 1);
    for (const char* name : kNames)
      if (std::string_view(name) != "HOME") ::unsetenv(name);
  }
  void TearDown() override {
    for (const auto& [name, value] : saved) ::setenv(name.c_str(), value.c_str(), 1);
  }
  static constexpr const char* kNames[] = {"HOME",           "XDG_STATE_HOME",  "XDG_DATA_HOME",
                                           "XDG_CACHE_HOME", "XDG_CONFIG_HOME", "TMPDIR"};
  std::vector<std::pair<std::string, std::string>> saved;
};

TEST_F(NSFileManagerPlaces, LieBelowHomeWhenNothingIsSet) {
  EXPECT_EQ(NSHomeDirectory(), NSString(folder));
  EXPECT_EQ(place(NSLibraryDirectory), NSString(in(".local/state")));
  EXPECT_EQ(place(NSApplicationSupportDirectory), NSString(in(".local/share")));
  EXPECT_EQ(place(NSCachesDirectory), NSString(in(".cache")));
  EXPECT_EQ(place(NSDocumentDirectory), NSString(in("Documents")));
  EXPECT_EQ(place(NSPicturesDirectory), NSString(in("Pictures")));
  EXPECT_EQ(place(NSDownloadsDirectory), NSString(in("Downloads")));
  EXPECT_EQ(place(NSTrashDirectory), NSString(in(".local/share/Trash/files")));
  EXPECT_EQ(place(NSUserDirectory), NSString(folder).stringByDeletingLastPathComponent());
  EXPECT_EQ(NSTemporaryDirectory(), "/tmp/");
  EXPECT_FALSE(fs::exists(in(".local")));
}

TEST_F(NSFileManagerPlaces, FollowTheEnvironmentAtEachCall) {
  ::setenv("XDG_STATE_HOME", "/s", 1);
  ::setenv("XDG_CACHE_HOME", "relative", 1);  // does not count
  ::setenv("TMPDIR", "/t", 1);
  EXPECT_EQ(place(NSLibraryDirectory), "/s");
  EXPECT_EQ(place(NSCachesDirectory), NSString(in(".cache")));
  EXPECT_EQ(NSTemporaryDirectory(), "/t/");
  EXPECT_EQ(manager->temporaryDirectory().absoluteString(), "file:///t/");
  ::unsetenv("HOME");
  EXPECT_TRUE(NSHomeDirectory().isAbsolutePath());
}

TEST_F(NSFileManagerPlaces, UserFoldersComeFromTheirFile) {
  fs::create_directories(in(".config"));
  writeFile(in(".config/user-dirs.dirs"),
            "# comment\nXDG_DOCUMENTS_DIR=\"$HOME/Dokumente\"\n XDG_PICTURES_DIR=\"/media/my \\\"pics\\\"\"\n"
            "XDG_DOWNLOAD_DIR=\"relative\"\nXDG_MUSIC_DIR=\"$HOME\"\nXDG_VIDEOS_DIR=none\n");
  EXPECT_EQ(place(NSDocumentDirectory), NSString(in("Dokumente")));
  EXPECT_EQ(place(NSPicturesDirectory), "/media/my \"pics\"");
  EXPECT_EQ(place(NSDownloadsDirectory), NSString(in("Downloads")));
  EXPECT_EQ(place(NSMusicDirectory), NSString(folder));
  EXPECT_EQ(place(NSMoviesDirectory), NSString(in("Videos")));
}

TEST_F(NSFileManagerPlaces, OtherDomainsHaveNone) {
  EXPECT_EQ(manager->URLsForDirectory(NSLibraryDirectory, 2).count(), 0u);
  EXPECT_EQ(manager->URLsForDirectory(static_cast<NSSearchPathDirectory>(77)).count(), 0u);
  EXPECT_EQ(manager->URLsForDirectory(NSLibraryDirectory, NSAllDomainsMask).count(), 1u);
}

TEST_F(NSFileManagerTest, APathThatEndsInDotsIsNotRemovedNorWhatLiesThere) {
  fs::create_directories(in("a/b"));
  writeFile(in("a/f"));
  for (const char* path : {"a/.", "a/./", "a/b/..", "a/b/../"}) {
    EXPECT_FALSE(manager->removeItemAtPath(in(path), &error)) << path;
    EXPECT_EQ(code(), NSFileWriteUnknownError) << path;
    EXPECT_TRUE(fs::exists(in("a/f")) && fs::exists(in("a/b"))) << path;
  }
}

TEST_F(NSFileManagerTest, TheRootIsNotCopiedIntoItself) {
  // The target could not be made: were the copy to begin, it would fail with another error.
  EXPECT_FALSE(manager->copyItemAtPath("/", "/proc/self/copy-of-the-root", &error));
  EXPECT_EQ(code(), NSFileWriteUnknownError);
}

TEST_F(NSFileManagerTest, DatesBeyondEveryCalendarAreSetToWhatTheDiskHolds) {
  writeFile(in("f"));
  for (const double seconds : {1e300, -1e300, static_cast<double>(INFINITY), -static_cast<double>(INFINITY),
                               static_cast<double>(NAN), 9.3e18}) {
    const NSDate date = NSDate::dateWithTimeIntervalSinceReferenceDate(seconds);
    EXPECT_TRUE(manager->setAttributesOfItemAtPath(NSDictionary{{NSFileModificationDate, date}}, in("f")));
    const auto set = manager->attributesOfItemAtPath(in("f"))[NSFileModificationDate].as<NSDate>();
    const double kept = set.timeIntervalSinceReferenceDate();
    EXPECT_TRUE(std::isnan(seconds) ? kept == 0 : std::signbit(kept) == std::signbit(seconds)) << kept;
  }
}

TEST_F(NSFileManagerTest, ACopyThatFailsLeavesNoHalfFile) {
  writeFile(in("big"), std::string(1 << 20, 'x'));
  const pid_t child = ::fork();
  if (child == 0) {
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{64 * 1024, 64 * 1024};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    const bool copied = manager->copyItemAtPath(in("big"), in("copy"), &error);
    ::_exit(!copied && code() != 0 && !fs::exists(in("copy")) ? 0 : 1);
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

// Else everybody could make a program of somebody else's into one that runs as himself.
TEST_F(NSFileManagerTest, ACopyUnderAnotherOwnerDropsTheSetUserBits) {
  if (!isRoot()) GTEST_SKIP() << "needs a second user";
  writeFile(in("tool"));
  ::chmod(in("tool").c_str(), 06755);
  ::chmod(folder.c_str(), 0777);
  const pid_t child = ::fork();
  if (child == 0) {
    // Relative paths: the folders above are not open to everybody.
    if (::chdir(folder.c_str()) != 0 || ::setgid(65534) != 0 || ::setuid(65534) != 0) ::_exit(2);
    ::_exit(manager->copyItemAtPath("tool", "copy") ? 0 : 1);
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  ASSERT_EQ(status, 0);
  struct stat info;
  ASSERT_EQ(::stat(in("copy").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0755u);
  EXPECT_TRUE(manager->copyItemAtPath(in("tool"), in("same")));
  ASSERT_EQ(::stat(in("same").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 06755u);
}

TEST_F(NSFileManagerTest, NoDescriptorStaysOpenAfterAFailure) {
  const auto open = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  fs::create_directories(in("d/e"));
  writeFile(in("f"));
  const auto before = open();
  manager->copyItemAtPath(in("d"), in("d/e/x"));
  manager->copyItemAtPath(in("f"), in("none/f"));
  manager->copyItemAtPath(in("d"), in("f"));
  manager->moveItemAtPath(in("d"), in("f"));
  manager->removeItemAtPath(in("none"));
  manager->removeItemAtPath("/proc/self/fd");
  manager->contentsOfDirectoryAtPath(in("f"));
  manager->createFileAtPath(in("d"), NSData::data());
  manager->contentsEqualAtPath(in("f"), in("d"));
  NSData::dataWithContentsOfFile(in("d"));
  NSData::data().writeToFile(in("d"), true);
  NSData::data().writeToFile(in("f") + "/x", true);
  manager->enumeratorAtURL(NSURL::fileURLWithPath(in("d")), nil, 0)->nextURL();
  EXPECT_EQ(open(), before);
  EXPECT_EQ(manager->contentsOfDirectoryAtPath(folder), (NSArray{"d", "f"})) << "a temporary file stayed";
}
