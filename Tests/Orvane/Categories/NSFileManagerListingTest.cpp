#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "Orvane/Detail/TreeChecksums.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Tests/Support/LogLines.h"
#include "Tests/Support/World.h"

using namespace orv;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
namespace fs = std::filesystem;

namespace {

constexpr const char* kEmptySHA256 = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
constexpr const char* kAbcSHA256 = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

struct NSFileManagerListing : testing::Test {
  NSURL url() const { return NSURL::fileURLWithPath(folder, true); }
  void write(const std::string& name, const std::string& bytes = "") const {
    fs::create_directories(fs::path(folder + "/" + name).parent_path());
    std::ofstream(folder + "/" + name, std::ios::binary) << bytes;
  }
  static NSString line(const std::string& key, size_t size, const std::string& hash) {
    return key + "; size=" + std::to_string(size) + " hash=" + hash;
  }

  const Ref<NSFileManager> manager = NSFileManager::defaultManager();
  const std::string folder = testFolder();
  LogLines log;
};

}  // namespace

TEST_F(NSFileManagerListing, AFolderGivesItsNamesInOrder) {
  for (const char* name : {"b", "a", ".hidden", "sub/inner"}) write(name);
  EXPECT_EQ(manager->zuListDir(url()), (NSArray{".hidden", "a", "b", "sub"}));
  EXPECT_EQ(manager->zuListVisibleFilesDir(url()), (NSArray{"a", "b", "sub"}));
  EXPECT_THAT(log.take(), IsEmpty());
  EXPECT_EQ(manager->zuListDir(folder).count(), 4u);
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning),
              ElementsAre(HasSubstr("!!([url isKindOfClass:NSURL.class])")));
}

TEST_F(NSFileManagerListing, WhatCannotBeListedIsNilWithOneLine) {
  const NSURL none = NSURL::fileURLWithPath(folder + "/none", true);
  EXPECT_TRUE(manager->zuListDir(none).isNil());
  EXPECT_THAT(log.takeMessages(OrvLogLevelInfo),
              ElementsAre(AllOf(StartsWith("Not able to list contents of path=" + folder + "/none error="),
                                HasSubstr("Code=260"))));
  EXPECT_TRUE(manager->zuListVisibleFilesDir(none).isNil());
  EXPECT_TRUE(manager->zuListDir(nil).isNil());
  EXPECT_THAT(log.takeMessages(OrvLogLevelInfo),
              testing::Contains(StartsWith("Not able to list contents of path=(null) error=")));
}

TEST_F(NSFileManagerListing, VisibleFilesLeaveOutHiddenOnesPackagesAndIcon) {
  for (const char* name :
       {".DS_Store", "Icon", "Icon\r", "icon", "a.txt", "sub/b.txt", ".git/c", "x.app/Contents/d", "sub/Icon"})
    write(name);
  fs::create_symlink("a.txt", folder + "/link");
  ASSERT_EQ(::mkfifo((folder + "/pipe").c_str(), 0600), 0);
  const NSMutableArray files = manager->zuListAllVisibleFilesInSubFolders(url());
  std::vector<std::string> names;
  for (const Value& file : files) {
    EXPECT_TRUE(file.as<NSURL>().isFileURL());
    names.push_back(file.as<NSURL>().path().utf8().substr(folder.size() + 1));
  }
  EXPECT_THAT(names, ElementsAre("Icon\r", "a.txt", "icon", "sub/b.txt"));
  EXPECT_THAT(log.take(), IsEmpty());
  files.addObject("it can be changed");
}

TEST_F(NSFileManagerListing, VisibleFilesTakeAPathToo) {
  write("a");
  EXPECT_EQ(manager->zuListAllVisibleFilesInSubFolders(folder).count(), 1u);
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning),
              ElementsAre(HasSubstr("!!([directoryURL isKindOfClass:NSURL.class])")));
  EXPECT_TRUE(manager->zuListAllVisibleFilesInSubFolders(nil).isNil());
  EXPECT_EQ(manager->zuListAllVisibleFilesInSubFolders(7).count(), 0u);
}

TEST_F(NSFileManagerListing, TheTreeShowsLevelsSizesAndTheFixedLetter) {
  write("f");
  fs::create_directory(folder + "/d");
  EXPECT_EQ(manager->zuListTree(url()), "    d/\n    f (0 bytes, x)");
  write("d/.hidden", "12345");
  write("d/x.app/Contents", "1");
  fs::create_symlink("abc", folder + "/l");
  write("\xFF");
  EXPECT_EQ(manager->zuListTree(url()),
            NSString::stringWithFileSystemRepresentation(
                "    d/\n        .hidden (5 bytes, x)\n        x.app/\n            Contents (1 bytes, x)\n"
                "    f (0 bytes, x)\n    l (3 bytes, x)\n    \xFF (0 bytes, x)"));
  EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(NSFileManagerListing, TheTreeOfNothingIsEmpty) {
  EXPECT_EQ(manager->zuListTree(url()), "");
  EXPECT_EQ(manager->zuListTree(NSURL::fileURLWithPath(folder + "/none", true)), "");
  EXPECT_TRUE(manager->zuListTree(nil).isNil());
}

TEST_F(NSFileManagerListing, ChecksumKeysNameTheFileFirst) {
  write("s/abc.txt", "abc");
  EXPECT_EQ(manager->zuListChecksumsForTreeAtURL(url()), (NSSet{line("/abc.txt/s", 3, kAbcSHA256)}));
  write("s/t/u/deep", "abc");
  write("top", "abc");
  EXPECT_EQ(manager->zuListChecksumsForTreeAtURL(url()),
            (NSSet{line("/abc.txt/s", 3, kAbcSHA256), line("/deep/u/t/s", 3, kAbcSHA256),
                   line("/top", 3, kAbcSHA256)}));
  EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(NSFileManagerListing, HiddenFilesPackagesAndLinksAreChecked) {
  write(".h", "abc");
  write("x.app/c", "abc");
  fs::create_symlink(".h", folder + "/link");
  EXPECT_EQ(manager->zuListChecksumsForTreeAtURL(url()),
            (NSSet{line("/.h", 3, kAbcSHA256), line("/c/x.app", 3, kAbcSHA256), line("/link", 2, kAbcSHA256)}));
}

TEST_F(NSFileManagerListing, EmptyAndUnreadableFilesAreReportedAndListed) {
  write("empty");
  fs::create_symlink("nowhere", folder + "/dangling");
  EXPECT_EQ(manager->zuListChecksumsForTreeAtURL(url()),
            (NSSet{line("/empty", 0, kEmptySHA256), line("/dangling", 7, kEmptySHA256)}));
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning),
              ElementsAre(HasSubstr("!!([inputData length] > 0)"), HasSubstr("!!([inputData length] > 0)")));
}

TEST_F(NSFileManagerListing, TheChecksumsOfNothingAreEmpty) {
  EXPECT_EQ(manager->zuListChecksumsForTreeAtURL(url()).count(), 0u);
  EXPECT_EQ(manager->zuListChecksumsForTreeAtURL(NSURL::fileURLWithPath(folder + "/none", true)).count(), 0u);
  EXPECT_TRUE(manager->zuListChecksumsForTreeAtURL(nil).isNil());
  EXPECT_THAT(log.take(), IsEmpty());
  EXPECT_EQ(manager->zuListChecksumsForTreeAtURL(folder).count(), 0u);
  EXPECT_THAT(log.takeMessages(OrvLogLevelWarning),
              ElementsAre(HasSubstr("!!([folderUrl isKindOfClass:NSURL.class])")));
}

TEST_F(NSFileManagerListing, ProgressIsToldOnTheCallersThreadUpToTheEnd) {
  constexpr size_t kFiles = 200;
  for (size_t i = 0; i < kFiles; ++i) write("s/" + std::to_string(i), "abc");
  std::vector<size_t> steps;
  const auto caller = std::this_thread::get_id();
  const NSMutableSet lines = detail::checksumsOfTree(folder, [&](size_t done, size_t total) {
    EXPECT_EQ(std::this_thread::get_id(), caller);
    EXPECT_EQ(total, kFiles);
    steps.push_back(done);
  });
  EXPECT_EQ(lines, manager->zuListChecksumsForTreeAtURL(url()));
  EXPECT_TRUE(std::is_sorted(steps.begin(), steps.end()));
  ASSERT_FALSE(steps.empty());
  EXPECT_EQ(steps.back(), kFiles);
}

TEST_F(NSFileManagerListing, OneChangedByteMakesTheSetsDiffer) {
  for (const char* tree : {"one", "two"})
    for (int i = 0; i < 100; ++i)
      write(std::string(tree) + "/" + std::to_string(i % 7) + "/" + std::to_string(i), std::to_string(i));
  const NSURL one = NSURL::fileURLWithPath(folder + "/one", true);
  const NSURL two = NSURL::fileURLWithPath(folder + "/two", true);
  const NSMutableSet before = manager->zuListChecksumsForTreeAtURL(one);
  EXPECT_EQ(before.count(), 100u);
  EXPECT_EQ(before, manager->zuListChecksumsForTreeAtURL(two));
  write("two/3/3", "4");
  EXPECT_NE(before, manager->zuListChecksumsForTreeAtURL(two));
  EXPECT_EQ(before.allObjects(),
            manager->zuListChecksumsForTreeAtURL(one).allObjects());  // the same order each time
}

TEST_F(NSFileManagerListing, PathsLongerThanTheSystemTakesAreRead) {
  ASSERT_EQ(::chdir(folder.c_str()), 0);
  const std::string name(200, 'n');
  for (int i = 0; i < 25; ++i) {
    ASSERT_EQ(::mkdir(name.c_str(), 0755), 0);
    ASSERT_EQ(::chdir(name.c_str()), 0);
  }
  std::ofstream("abc") << "abc";
  ASSERT_EQ(::chdir("/"), 0);
  const NSMutableSet lines = manager->zuListChecksumsForTreeAtURL(url());
  ASSERT_EQ(lines.count(), 1u);
  EXPECT_TRUE(lines.anyObject().as<NSString>().hasSuffix(NSString("; size=3 hash=") + kAbcSHA256));
  EXPECT_TRUE(manager->zuRemove(url()));
}
