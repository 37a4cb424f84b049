#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "Platform/Foundation/Files/NSFileHandle.h"
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

struct NSFileManagerFiles : testing::Test {
  NSURL url(const std::string& name) const { return NSURL::fileURLWithPath(folder + "/" + name); }
  void write(const std::string& name, const std::string& bytes = "") const {
    std::ofstream(folder + "/" + name, std::ios::binary) << bytes;
  }
  std::string read(const std::string& name) const {
    std::ifstream in(folder + "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  std::vector<std::string> warnings() { return log.takeMessages(OrvLogLevelWarning); }
  std::vector<std::string> infos() { return log.takeMessages(OrvLogLevelInfo); }

  const Ref<NSFileManager> manager = NSFileManager::defaultManager();
  const std::string folder = testFolder();
  LogLines log;
};

auto reports(const char* expression) {
  return ElementsAre(HasSubstr(std::string("Expr:  ") + expression + "\n"));
}

}  // namespace

TEST_F(NSFileManagerFiles, MakeDirsAnswersTheFolder) {
  const NSURL made = manager->zuMakeDirs(url("a/b"));
  EXPECT_EQ(made.path(), url("a/b").path());
  EXPECT_TRUE(manager->zuIsDir(url("a/b")));
  EXPECT_EQ(manager->zuMakeDirs(url("a/b")), url("a/b"));
  EXPECT_TRUE(manager->zuMakeDirs(nil).isNil());
  EXPECT_THAT(log.take(), IsEmpty());
  write("f");
  EXPECT_TRUE(manager->zuMakeDirs(url("f")).isNil());
  EXPECT_THAT(warnings(), ElementsAre(AllOf(StartsWith("Failed to make dirs at file://"),
                                            HasSubstr("/f error=Error Domain="))));
}

TEST_F(NSFileManagerFiles, AnArgumentThatIsNoURLIsReported) {
  EXPECT_TRUE(manager->zuMakeDirs("/tmp").isNil());
  EXPECT_THAT(warnings(), testing::Contains(HasSubstr("Expr:  !!([url isKindOfClass:NSURL.class])\n")));
  EXPECT_FALSE(manager->zuIsFile("/tmp"));
  EXPECT_THAT(warnings(), reports("!!([url isKindOfClass:NSURL.class])"));
  EXPECT_FALSE(manager->zuCopy("/a", url("x")));
  EXPECT_THAT(warnings(), testing::Contains(HasSubstr("Expr:  !!([from isKindOfClass:NSURL.class])\n")));
  EXPECT_FALSE(manager->zuMove(url("x"), 7));
  EXPECT_THAT(warnings(), reports("!!([to isKindOfClass:NSURL.class])"));
  EXPECT_FALSE(manager->zuFileCompare(url("x"), "/none"));
  EXPECT_THAT(warnings(), reports("!!([otherURL isKindOfClass:NSURL.class])"));
}

TEST_F(NSFileManagerFiles, PathStringsServeWhereAPathIsWanted) {
  write("f", "abc");
  EXPECT_EQ(manager->zuFileSize(folder + "/f"), 3u);
  EXPECT_THAT(warnings(), reports("!!([url isKindOfClass:NSURL.class])"));
  EXPECT_TRUE(manager->zuTouch(folder + "/f"));
  EXPECT_TRUE(manager->zuFileCompare(folder + "/f", folder + "/f"));
}

TEST_F(NSFileManagerFiles, CopyNeverReplaces) {
  write("a", "A");
  write("b", "B");
  EXPECT_TRUE(manager->zuCopy(url("a"), url("c")));
  EXPECT_EQ(read("c"), "A");
  EXPECT_THAT(log.take(), IsEmpty());
  EXPECT_FALSE(manager->zuCopy(url("a"), url("b")));
  EXPECT_EQ(read("b"), "B");
  EXPECT_THAT(warnings(), ElementsAre(AllOf(StartsWith("Failed to copy from file://"), HasSubstr(" to file://"),
                                            HasSubstr(" error=Error Domain=NSCocoaErrorDomain Code=516"))));
  EXPECT_FALSE(manager->zuCopy(nil, url("b")));
  EXPECT_FALSE(manager->zuCopy(url("a"), nil));
  EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(NSFileManagerFiles, ForceCopyReplacesWhateverIsThere) {
  write("a", "A");
  write("b", "B");
  fs::create_directories(folder + "/d/sub");
  EXPECT_TRUE(manager->zuForceCopy(url("a"), url("b")));
  EXPECT_EQ(read("b"), "A");
  EXPECT_TRUE(manager->zuForceCopy(url("a"), NSURL::fileURLWithPath(folder + "/d", false)));
  EXPECT_EQ(read("d"), "A");
  EXPECT_THAT(log.take(), IsEmpty());
  EXPECT_FALSE(manager->zuForceCopy(url("none"), url("x")));
  EXPECT_THAT(infos(),
              ElementsAre(AllOf(StartsWith("Failed to copy from file://"), HasSubstr(" error-Error Domain="))));
  EXPECT_FALSE(manager->zuForceCopy(nil, url("x")));
}

TEST_F(NSFileManagerFiles, ForceCopyThatFailsLosesNothing) {
  write("a", "A");
  fs::create_directories(folder + "/d/sub");
  write("d/sub/f", "F");
  EXPECT_FALSE(manager->zuForceCopy(url("none"), url("a")));
  EXPECT_FALSE(manager->zuForceCopy(url("a"), url("a")));
  EXPECT_FALSE(manager->zuForceCopy(url("d/../a"), url("a")));
  EXPECT_FALSE(manager->zuForceCopy(url("d"), url("d")));
  EXPECT_FALSE(manager->zuForceCopy(url("d/sub"), url("d")));
  EXPECT_FALSE(manager->zuForceCopy(url("d"), url("d/sub")));
  EXPECT_EQ(infos().size(), 6U);
  EXPECT_EQ(read("a"), "A");
  EXPECT_EQ(read("d/sub/f"), "F");
  EXPECT_THAT(manager->contentsOfDirectoryAtPath(folder), testing::SizeIs(2)) << "nothing is left aside";
}

TEST_F(NSFileManagerFiles, ForceCopyReplacesALinkAndNotWhatItNames) {
  write("a", "A");
  fs::create_directories(folder + "/d/sub");
  fs::create_directory_symlink("d", folder + "/link");
  EXPECT_TRUE(manager->zuForceCopy(url("a"), NSURL::fileURLWithPath(folder + "/link", false)));
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(folder + "/link")));
  EXPECT_TRUE(fs::exists(folder + "/d/sub"));
  EXPECT_THAT(log.take(), IsEmpty());
  fs::create_symlink("nowhere", folder + "/dangling");
  EXPECT_FALSE(manager->zuForceCopy(url("a"), url("dangling"))) << "it does not exist, and is in the way";
  EXPECT_THAT(infos(), ElementsAre(HasSubstr(" error-Error Domain=NSCocoaErrorDomain Code=516")));
  EXPECT_THAT(manager->contentsOfDirectoryAtPath(folder), testing::SizeIs(4));
}

TEST_F(NSFileManagerFiles, ForceCopyStandsWhenTheOldItemCannotBeRemoved) {
  write("a", "A");
  fs::create_directories(folder + "/d/volume");
  write("d/f", "F");
  if (std::system(("mount -t tmpfs none '" + folder + "/d/volume' 2>/dev/null").c_str()) != 0)
    GTEST_SKIP() << "nothing can be mounted here";
  write("d/volume/kept", "K");
  const bool copied = manager->zuForceCopy(url("a"), NSURL::fileURLWithPath(folder + "/d", false));
  std::string volume;
  for (const auto& entry : fs::directory_iterator(folder))
    if (entry.path().filename().string().starts_with(".orv-")) volume = entry.path() / "volume";
  EXPECT_TRUE(fs::exists(volume + "/kept"));
  EXPECT_EQ(std::system(("umount '" + volume + "'").c_str()), 0);
  EXPECT_TRUE(copied);
  EXPECT_EQ(read("d"), "A");
  EXPECT_THAT(infos(),
              ElementsAre(AllOf(StartsWith("Failed to remove files at file://"), HasSubstr("/.orv-"))));
}

TEST_F(NSFileManagerFiles, ForceCopyOfALinkOverItsTargetIsRefused) {
  write("a", "A");
  fs::create_directories(folder + "/d/sub");
  fs::create_symlink("a", folder + "/link");
  fs::create_directory_symlink("d", folder + "/link2");
  for (const auto& [link, target] : {std::pair("link", "a"), std::pair("link2", "d")}) {
    EXPECT_FALSE(manager->zuForceCopy(NSURL::fileURLWithPath(folder + "/" + link, false), url(target)));
    EXPECT_EQ(infos().size(), 1U);
  }
  EXPECT_EQ(read("a"), "A");
  EXPECT_TRUE(fs::exists(folder + "/d/sub"));
  EXPECT_THAT(manager->contentsOfDirectoryAtPath(folder), testing::SizeIs(4));
}

TEST_F(NSFileManagerFiles, ForceCopyOverAnotherNameOfTheSameFileMakesTwoFiles) {
  write("a", "A");
  fs::create_hard_link(folder + "/a", folder + "/b");
  EXPECT_TRUE(manager->zuForceCopy(url("a"), url("b")));
  EXPECT_EQ(read("b"), "A");
  EXPECT_EQ(fs::hard_link_count(folder + "/a"), 1U);
}

TEST_F(NSFileManagerFiles, MoveNeverReplaces) {
  write("a", "A");
  write("b", "B");
  EXPECT_FALSE(manager->zuMove(url("a"), url("b")));
  EXPECT_THAT(infos(),
              ElementsAre(AllOf(StartsWith("Error moving from file://"),
                                testing::EndsWith("because an item with the same name already exists."))));
  EXPECT_TRUE(manager->zuMove(url("a"), url("c")));
  EXPECT_EQ(read("c"), "A");
  EXPECT_FALSE(manager->zuIsFile(url("a")));
  EXPECT_FALSE(manager->zuMove(nil, url("c")));
}

TEST_F(NSFileManagerFiles, RemovesOnlyWhatItIsAskedFor) {
  write("f");
  fs::create_directories(folder + "/d/sub");
  EXPECT_FALSE(manager->zuRemoveFolder(url("f")));
  EXPECT_FALSE(manager->zuRemoveFile(url("d")));
  EXPECT_TRUE(manager->zuIsFile(url("f")));
  EXPECT_TRUE(manager->zuIsDir(url("d")));
  EXPECT_TRUE(manager->zuRemoveFile(url("f")));
  EXPECT_TRUE(manager->zuRemoveFolder(url("d")));
  EXPECT_FALSE(manager->zuRemove(nil));
  EXPECT_FALSE(manager->zuRemoveFile(nil));
  EXPECT_THAT(log.take(), IsEmpty());
  EXPECT_FALSE(manager->zuRemove(url("f")));
  EXPECT_THAT(infos(), ElementsAre(AllOf(StartsWith("Failed to remove files at file://"),
                                         HasSubstr(" error=Error Domain="))));
}

TEST_F(NSFileManagerFiles, WhatIsNoPlaceIsNamedInTheLog) {
  const auto isNamed = HasSubstr("“a string” is not the place of a file.");
  manager->zuRemove("a string");
  manager->zuMove("a string", url("x"));
  manager->zuMove(url("x"), "a string");
  manager->zuForceCopy("a string", url("x"));
  EXPECT_THAT(infos(), ElementsAre(isNamed, isNamed, isNamed, isNamed));
  manager->zuMakeDirs("a string");
  manager->zuCopy(url("x"), "a string");
  EXPECT_THAT(warnings(), testing::Contains(isNamed).Times(2)) << "besides the assertions";
}

TEST_F(NSFileManagerFiles, FileAndFolderExcludeEachOther) {
  write("f");
  fs::create_directory(folder + "/d");
  fs::create_directory_symlink(folder + "/d", folder + "/l");
  EXPECT_TRUE(manager->zuIsFile(url("f")));
  EXPECT_FALSE(manager->zuIsDir(url("f")));
  EXPECT_FALSE(manager->zuIsFile(url("d")));
  EXPECT_TRUE(manager->zuIsDir(url("d")));
  EXPECT_TRUE(manager->zuIsFile(NSURL::fileURLWithPath(folder + "/l", false)));
  for (const NSURL& none : {url("none"), NSURL(), NSURL::URLWithString("http://h/")}) {
    EXPECT_FALSE(manager->zuIsFile(none));
    EXPECT_FALSE(manager->zuIsDir(none));
  }
  EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(NSFileManagerFiles, TouchSetsTheDateOfAnExistingItem) {
  write("f", "12345");
  const NSDate old = NSDate::dateWithTimeIntervalSinceReferenceDate(1000);
  ASSERT_TRUE(manager->setAttributesOfItemAtPath(NSDictionary{{NSFileModificationDate, old}}, url("f").path()));
  EXPECT_EQ(manager->zuFileModificationDate(url("f")), old);
  EXPECT_TRUE(manager->zuTouch(url("f")));
  EXPECT_LT(std::abs(manager->zuFileModificationDate(url("f")).timeIntervalSinceNow()), 60);
  EXPECT_EQ(manager->zuFileSize(url("f")), 5u);
  EXPECT_EQ(manager->zuAttributes(url("f"))[NSFileType], Value("NSFileTypeRegular"));
  EXPECT_FALSE(manager->zuTouch(url("none")));
  EXPECT_FALSE(manager->zuIsFile(url("none")));
  EXPECT_TRUE(manager->zuAttributes(url("none")).isNil());
  EXPECT_EQ(manager->zuFileSize(url("none")), 0u);
  EXPECT_TRUE(manager->zuFileModificationDate(url("none")).isNil());
}

TEST_F(NSFileManagerFiles, ComparesBytes) {
  write("a", "x");
  write("b", "x");
  write("c", "y");
  EXPECT_TRUE(manager->zuFileCompare(url("a"), url("b")));
  EXPECT_FALSE(manager->zuFileCompare(url("a"), url("c")));
  EXPECT_FALSE(manager->zuFileCompare(nil, url("a")));
  EXPECT_FALSE(manager->zuFileCompare(url("a"), nil));
}

TEST_F(NSFileManagerFiles, DigestsAreThoseOfTheBytes) {
  write("abc", "abc");
  EXPECT_EQ(manager->zuFileMD5String(url("abc")), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(manager->zuFileSHA256String(url("abc")),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  const NSData data = manager->zuFileSHA256Data(url("abc"));
  EXPECT_EQ(data.length(), 32u);
  EXPECT_EQ(data.bytes()[0], 0xBA);
  write("big", std::string(1'000'000, 'a'));
  EXPECT_EQ(manager->zuFileSHA256String(url("big")),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
  write("edge", std::string(512 * 1024, 'a'));
  EXPECT_EQ(manager->zuFileSHA256String(url("edge")),
            NSData::dataWithBytes(std::string(512 * 1024, 'a')).zuSHA256HexString());
  EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(NSFileManagerFiles, AnEmptyFileHasNoMD5AndTheDigestOfNothing) {
  write("empty");
  EXPECT_TRUE(manager->zuFileMD5String(url("empty")).isNil());
  EXPECT_TRUE(manager->zuFileMD5String(url("none")).isNil());
  EXPECT_THAT(log.take(), IsEmpty());
  for (const char* name : {"empty", "none"}) {
    EXPECT_EQ(manager->zuFileSHA256String(url(name)), kEmptySHA256);
    EXPECT_THAT(warnings(), reports("!!([inputData length] > 0)"));
  }
  EXPECT_EQ(manager->zuFileSHA256Data(url("empty")).length(), 32u);
  EXPECT_THAT(warnings(), reports("!!([inputData length] > 0)"));
}

TEST_F(NSFileManagerFiles, NilHasNoDigest) {
  EXPECT_TRUE(manager->zuFileMD5String(nil).isNil());
  EXPECT_TRUE(manager->zuFileSHA256String(nil).isNil());
  EXPECT_TRUE(manager->zuFileSHA256Data(nil).isNil());
  EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(NSFileManagerFiles, APipeIsNotWaitedFor) {
  ASSERT_EQ(::mkfifo((folder + "/pipe").c_str(), 0600), 0);
  EXPECT_EQ(manager->zuFileSHA256String(url("pipe")), kEmptySHA256);
  EXPECT_TRUE(manager->zuFileMD5String(url("pipe")).isNil());
}

TEST_F(NSFileManagerFiles, AFileThatChangesWhileItIsReadIsReported) {
  // Big enough that a steady stream of writes falls into each reading.
  write("f", std::string(32 << 20, 'x'));
  std::atomic<bool> stop = false;
  std::thread writer([&] {
    std::fstream out(folder + "/f", std::ios::in | std::ios::out | std::ios::binary);
    while (!stop) {
      out.seekp(0);
      out << 'y' << std::flush;
    }
  });
  std::vector<std::string> messages;
  for (int i = 0; i < 20 && messages.empty(); ++i) {
    EXPECT_EQ(manager->zuFileSHA256String(url("f")).length(), 64u);
    messages = warnings();
  }
  stop = true;
  writer.join();
  EXPECT_THAT(messages, ElementsAre(AllOf(StartsWith("File changed while it was read: file://"),
                                          testing::EndsWith("/f"))));
}

TEST_F(NSFileManagerFiles, ANewFileHandleEmptiesWhatWasThere) {
  write("f", "old contents");
  const NSString path = folder + "/f";
  const auto handle = NSFileHandle::fileHandleForNewFileWritingAtPath(path);
  ASSERT_TRUE(handle);
  EXPECT_EQ(handle->offsetInFile(), 0u);
  handle->write("new");
  EXPECT_EQ(read("f"), "new");
  EXPECT_TRUE(NSFileHandle::fileHandleForNewFileWritingAtPath(folder + "/fresh"));
  EXPECT_TRUE(manager->zuIsFile(url("fresh")));
  EXPECT_TRUE(NSFileHandle::fileHandleForNewFileWritingAtPath(folder + "/no/f").isNil());
  EXPECT_TRUE(NSFileHandle::fileHandleForNewFileWritingAtPath(nil).isNil());
}
