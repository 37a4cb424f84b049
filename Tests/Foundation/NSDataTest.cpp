#include "Platform/Foundation/Values/NSData.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Foundation/Files/FileBytes.h"
#include "Platform/Foundation/Values/Detail/DataRep.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSString.h"
#include "Tests/Support/World.h"

using namespace orv;
namespace fs = std::filesystem;

namespace {

NSData bytes(std::string_view text) { return NSData::dataWithBytes(text); }

std::string textOf(const NSData& data) { return std::string(data.view()); }

std::string contentsOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void put(const std::string& path, const std::string& contents) {
  std::ofstream(path, std::ios::binary) << contents;
}

size_t entriesIn(const std::string& folder) {
  return static_cast<size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

mode_t modeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(::lstat(path.c_str(), &status), 0);
  return status.st_mode & 07777;
}

}  // namespace

TEST(NSData, NilAnswersNeutrally) {
  const NSData none;
  EXPECT_EQ(none.length(), 0u);
  EXPECT_EQ(none.bytes(), nullptr);
  EXPECT_TRUE(none.view().empty());
  EXPECT_TRUE(none.span().empty());
  EXPECT_TRUE(none.subdataWithRange({5, 7}).isNil());
  EXPECT_TRUE(none.description().isNil());
  EXPECT_TRUE(none.base64EncodedString().isNil());
  EXPECT_FALSE(none.isEqualToData(none));
  EXPECT_FALSE(none.writeToFile("/tmp/never", true));
  EXPECT_TRUE(NSData::dataWithContentsOfFile(nil).isNil());
  EXPECT_TRUE(NSData::initWithBase64EncodedString(nil).isNil());
  EXPECT_TRUE(none == NSData());
  EXPECT_FALSE(none == NSData::data());
}

TEST(NSData, EmptyDataIsPresent) {
  for (const NSData& data :
       {NSData::data(), bytes(""), NSData::dataWithBytes(nullptr, 5), bytes("x").subdataWithRange({1, 0})}) {
    EXPECT_FALSE(data.isNil());
    EXPECT_EQ(data.length(), 0u);
    EXPECT_NE(data.bytes(), nullptr);
    EXPECT_EQ(data, NSData::data());
    EXPECT_EQ(data.hash(), NSData::data().hash());
  }
}

TEST(NSData, CopiesItsBytes) {
  std::string source = "abc";
  const NSData data = bytes(source);
  source[0] = 'X';
  EXPECT_EQ(textOf(data), "abc");
  const std::vector<std::byte> raw{std::byte{0}, std::byte{255}};
  EXPECT_EQ(textOf(NSData(raw)), std::string("\0\xFF", 2));
  EXPECT_EQ(NSData(raw).span()[1], std::byte{255});
}

TEST(NSData, CopiesShareTheirBytes) {
  const NSData data = bytes("abc");
  NSData copy = data;
  EXPECT_EQ(copy.bytes(), data.bytes());
  const NSData& itself = copy;
  copy = itself;
  EXPECT_EQ(textOf(copy), "abc");
  const NSData moved = std::move(copy);
  EXPECT_EQ(moved.bytes(), data.bytes());
  EXPECT_EQ(copy.length(), 0u);  // NOLINT: nil after the move
}

TEST(NSData, EqualBytesAreEqualWhateverTheirOrigin) {
  EXPECT_TRUE(rc::check([](const std::string& a, const std::string& b) {
    const NSData joined = bytes(a + b + a);
    const NSData part = joined.subdataWithRange({a.size(), b.size()});
    RC_ASSERT(part == bytes(b));
    RC_ASSERT(part.hash() == bytes(b).hash());
    RC_ASSERT((bytes(a) == bytes(b)) == (a == b));
    RC_ASSERT(Value(bytes(a)).isEqual(bytes(b)) == (a == b));
  }));
  EXPECT_NE(Value(bytes("abc")), Value("abc"));
  EXPECT_TRUE(Value(bytes("abc")).isKindOf<NSData>());
  EXPECT_FALSE(Value("abc").isKindOf<NSData>());
  EXPECT_EQ(Value(bytes("abc")).className(), NSString("NSData"));
}

TEST(NSData, LargePartsShareAndOutliveTheWhole) {
  std::string large(10000, '\0');
  for (size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>(i * 7);
  NSData whole = bytes(large);
  NSData half = whole.subdataWithRange({5000, 5000});
  EXPECT_EQ(half.bytes(), whole.bytes() + 5000);
  NSData inner = half.subdataWithRange({100, 4000});
  EXPECT_EQ(inner.bytes(), whole.bytes() + 5100);
  const NSData small = whole.subdataWithRange({1, 100});
  EXPECT_NE(small.bytes(), whole.bytes() + 1);
  whole = nil;
  half = nil;
  EXPECT_EQ(textOf(inner), large.substr(5100, 4000));
  EXPECT_EQ(textOf(small), large.substr(1, 100));
  EXPECT_EQ(inner.hash(), bytes(large.substr(5100, 4000)).hash());
}

TEST(NSData, RangesPastTheEndRaise) {
  const NSData data = bytes("abcdef");
  EXPECT_EQ(textOf(data.subdataWithRange({0, 6})), "abcdef");
  EXPECT_EQ(textOf(data.subdataWithRange({2, 3})), "cde");
  EXPECT_EQ(textOf(data.subdataWithRange({6, 0})), "");
  for (const NSRange range :
       {NSRange{7, 0}, NSRange{6, 1}, NSRange{0, 7}, NSRange{1, UINT64_MAX}, NSRangeNotFound}) {
    try {
      data.subdataWithRange(range);
      ADD_FAILURE() << "no exception for " << range.location << ", " << range.length;
    } catch (const NSException& e) {
      EXPECT_EQ(e.name(), NSRangeException);
    }
  }
}

TEST(NSData, DescribesItsBytes) {
  std::string counting;
  for (int i = 0; i < 32; ++i) counting += static_cast<char>(i);
  EXPECT_EQ(bytes("\x01\x02\x03\x04").description(), NSString("{length = 4, bytes = 0x01020304}"));
  EXPECT_EQ(bytes("").description(), NSString("{length = 0, bytes = 0x}"));
  EXPECT_EQ(bytes(counting.substr(0, 24)).description(),
            NSString("{length = 24, bytes = 0x000102030405060708090a0b0c0d0e0f1011121314151617}"));
  EXPECT_EQ(bytes(counting).description(),
            NSString("{length = 32, bytes = 0x00010203 04050607 08090a0b 0c0d0e0f ... 18191a1b 1c1d1e1f }"));
}

TEST(NSData, Base64ComesBack) {
  EXPECT_TRUE(rc::check([](const std::string& text) {
    RC_ASSERT(NSData::initWithBase64EncodedString(bytes(text).base64EncodedString()) == bytes(text));
  }));
  EXPECT_EQ(bytes("foobar").base64EncodedString(), NSString("Zm9vYmFy"));
  EXPECT_EQ(bytes("").base64EncodedString(), NSString(""));
  EXPECT_EQ(NSData::initWithBase64EncodedString(""), NSData::data());
  for (const char* bad : {"Zg", "Zg=", "Zm 9v", "+/8===", "Zm9v\n", "Zm9\u00e9", "Zm9\u20ac"})
    EXPECT_TRUE(NSData::initWithBase64EncodedString(bad).isNil()) << bad;
}

TEST(NSData, FilledInPlaceWithoutACopy) {
  const NSData data = detail::dataWithLength(5, [](uint8_t* out) { std::fill_n(out, 5, uint8_t{'z'}); });
  EXPECT_EQ(textOf(data), "zzzzz");
}

TEST(NSDataFiles, WhatIsWrittenIsReadBack) {
  const std::string path = testFolder() + "/file";
  for (const size_t size : {size_t{0}, size_t{1}, size_t{70000}, size_t{3000000}})
    for (const bool atomically : {true, false}) {
      std::string contents(size, 'a');
      for (size_t i = 0; i < size; ++i) contents[i] = static_cast<char>(i * 31 >> 3);
      ASSERT_TRUE(bytes(contents).writeToFile(path, atomically));
      ASSERT_TRUE(contentsOf(path) == contents);
      ASSERT_TRUE(textOf(NSData::dataWithContentsOfFile(path)) == contents);
    }
  EXPECT_EQ(entriesIn(testFolder()), 1u);  // nothing is left behind
}

TEST(NSDataFiles, ReadsFilesThatHideTheirSize) {
  const NSData status = NSData::dataWithContentsOfFile("/proc/self/status");
  EXPECT_GT(status.length(), 100u);
  EXPECT_EQ(NSData::dataWithContentsOfFile("/dev/null"), NSData::data());
}

TEST(NSDataFiles, FoldersAndMissingFilesAreNil) {
  EXPECT_TRUE(NSData::dataWithContentsOfFile(testFolder()).isNil());
  EXPECT_TRUE(NSData::dataWithContentsOfFile(testFolder() + "/missing").isNil());
  EXPECT_TRUE(NSData::dataWithContentsOfFile("").isNil());
  EXPECT_TRUE(NSData::dataWithContentsOfFile(testFolder() + std::string("/a\0b", 4)).isNil());
}

TEST(NSDataFiles, WritingNeedsAFolder) {
  for (const bool atomically : {true, false}) {
    EXPECT_FALSE(bytes("x").writeToFile(testFolder() + "/no/such/folder/file", atomically));
    EXPECT_FALSE(bytes("x").writeToFile(testFolder(), atomically));  // a folder is never replaced
    EXPECT_FALSE(bytes("x").writeToFile("", atomically));
    EXPECT_FALSE(bytes("x").writeToFile(nil, atomically));
    EXPECT_FALSE(bytes("x").writeToFile(testFolder() + "/slash/", atomically));
  }
  EXPECT_EQ(entriesIn(testFolder()), 0u);
}

TEST(NSDataFiles, AnAtomicWriteMakesANewFileAndKeepsThePermissions) {
  const std::string path = testFolder() + "/file", other = testFolder() + "/link";
  put(path, "old");
  ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
  ASSERT_EQ(::link(path.c_str(), other.c_str()), 0);
  ASSERT_TRUE(bytes("new").writeToFile(path, true));
  EXPECT_EQ(contentsOf(path), "new");
  EXPECT_EQ(contentsOf(other), "old");  // the old file itself is untouched
  EXPECT_EQ(modeOf(path), 0640u);
  ASSERT_TRUE(bytes("newer").writeToFile(path, false));
  EXPECT_EQ(modeOf(path), 0640u);
}

TEST(NSDataFiles, ANewFileTakesTheUsualPermissions) {
  const mode_t before = ::umask(027);
  const std::string path = testFolder() + "/file";
  EXPECT_TRUE(bytes("x").writeToFile(path, true));
  ::umask(before);
  EXPECT_EQ(modeOf(path), 0640u);
}

TEST(NSDataFiles, AnAtomicWriteReplacesALinkAPlainOneFollowsIt) {
  const std::string target = testFolder() + "/target", link = testFolder() + "/link";
  put(target, "old");
  fs::create_symlink(target, link);
  ASSERT_TRUE(bytes("through").writeToFile(link, false));
  EXPECT_EQ(contentsOf(target), "through");
  ASSERT_TRUE(bytes("instead").writeToFile(link, true));
  EXPECT_FALSE(fs::is_symlink(link));
  EXPECT_EQ(contentsOf(link), "instead");
  EXPECT_EQ(contentsOf(target), "through");
}

TEST(NSDataFiles, AFailedAtomicWriteLeavesEverythingAsItWas) {
  const std::string path = testFolder() + "/file";
  put(path, "old");
  // A limit on the size of files stands for the full disk.
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  rlimit small = before;
  small.rlim_cur = 1000;
  const auto handler = ::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  const bool written = bytes(std::string(5000, 'x')).writeToFile(path, true);
  ::setrlimit(RLIMIT_FSIZE, &before);
  ::signal(SIGXFSZ, handler);
  EXPECT_FALSE(written);
  EXPECT_EQ(contentsOf(path), "old");
  EXPECT_EQ(entriesIn(testFolder()), 1u);
}

TEST(NSDataFiles, ALongNameIsWrittenAtomically) {
  const std::string path = testFolder() + "/" + std::string(255, 'n');
  EXPECT_TRUE(bytes("x").writeToFile(path, true));
  EXPECT_EQ(contentsOf(path), "x");
}

TEST(NSDataFiles, NamesThatAreNotUTF8Work) {
  const std::string path = testFolder() + "/\xFF\xFE";
  const NSString name = NSString::stringWithFileSystemRepresentation(path);
  EXPECT_TRUE(bytes("x").writeToFile(name, true));
  EXPECT_EQ(textOf(NSData::dataWithContentsOfFile(name)), "x");
}

TEST(NSDataFiles, ARelativePathIsBelowTheCurrentFolder) {
  const fs::path before = fs::current_path();
  fs::current_path(testFolder());
  EXPECT_TRUE(bytes("x").writeToFile("relative", true));
  fs::current_path(before);
  EXPECT_EQ(contentsOf(testFolder() + "/relative"), "x");
}

TEST(NSDataFiles, ReadersSeeTheOldOrTheNewContentInFull) {
  const std::string path = testFolder() + "/file";
  const std::string a(200000, 'a'), b(100000, 'b');
  ASSERT_TRUE(bytes(a).writeToFile(path, true));
  std::thread writer([&] {
    for (int i = 0; i < 20; ++i) bytes(i % 2 == 0 ? b : a).writeToFile(path, true);
  });
  for (int i = 0; i < 200; ++i) {
    const std::string seen = textOf(NSData::dataWithContentsOfFile(path));
    EXPECT_TRUE(seen == a || seen == b) << seen.size();
  }
  writer.join();
}

TEST(NSDataFiles, ErrorsAreTheSystems) {
  NSData contents;
  EXPECT_EQ(detail::readFile(testFolder() + "/missing", contents), ENOENT);
  EXPECT_EQ(detail::readFile(testFolder(), contents), EISDIR);
  EXPECT_EQ(detail::replaceFile(testFolder() + "/no/file", "x"), ENOENT);
  EXPECT_EQ(detail::replaceFile(testFolder(), "x"), EISDIR);
  EXPECT_EQ(detail::replaceFile("", "x"), ENOENT);
  EXPECT_EQ(detail::overwriteFile("/dev/full", "x"), ENOSPC);
}

TEST(NSDataFiles, APipeAndADeviceTakeTheBytesAndStay) {
  const std::string pipe = testFolder() + "/pipe", link = testFolder() + "/link";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  fs::create_symlink("pipe", link);
  const int reader = ::open(pipe.c_str(), O_RDWR | O_CLOEXEC);
  char seen[8] = {};
  EXPECT_EQ(detail::replaceFile(pipe, "abc"), 0);
  EXPECT_EQ(::read(reader, seen, sizeof seen), 3);
  EXPECT_EQ(detail::replaceLinkedFile(link, "defg"), 0);
  EXPECT_EQ(::read(reader, seen, sizeof seen), 4);
  // A link of /proc whose target has no path.
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  EXPECT_EQ(detail::replaceLinkedFile("/proc/self/fd/" + std::to_string(ends[1]), "hi"), 0);
  EXPECT_EQ(::read(ends[0], seen, sizeof seen), 2);
  for (const int each : {reader, ends[0], ends[1]}) ::close(each);
  EXPECT_TRUE(fs::is_fifo(pipe));
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(detail::replaceFile("/dev/full", "x"), ENOSPC);
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST(NSDataFiles, ASocketIsNotReplaced) {
  const std::string path = testFolder() + "/socket";
  const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const fs::path before = fs::current_path();
  fs::current_path(testFolder());
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, "socket");
  ASSERT_EQ(::bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  fs::current_path(before);
  EXPECT_EQ(detail::replaceFile(path, "x"), EINVAL);
  EXPECT_TRUE(fs::is_socket(path));
  EXPECT_EQ(entriesIn(testFolder()), 1u);
  ::close(descriptor);
}

TEST(NSDataFiles, ADanglingLinksTargetIsMade) {
  fs::create_symlink("target", testFolder() + "/link");
  EXPECT_EQ(detail::replaceLinkedFile(testFolder() + "/link", "x"), 0);
  EXPECT_TRUE(fs::is_symlink(testFolder() + "/link"));
  EXPECT_EQ(contentsOf(testFolder() + "/target"), "x");
}

// Another user's file, replaced by somebody who may not give files away.
TEST(NSDataFiles, NoOtherGroupGainsAccess) {
  if (::getuid() != 0) GTEST_SKIP() << "needs a second user";
  constexpr gid_t kShared = 54321, kOwn = 54322;
  struct {
    gid_t group;
    mode_t mode, expected;
    gid_t expectedGroup;
  } const cases[] = {
      {kShared, 0640, 0640, kShared}, {0, 0640, 0600, kOwn}, {0, 0664, 0644, kOwn}, {0, 0604, 0600, kOwn}};
  const fs::path before = fs::current_path();
  fs::current_path(testFolder());
  ASSERT_EQ(::chmod(".", 0777), 0);
  for (const auto& each : cases) {
    fs::remove("file");
    put("file", "old");
    ASSERT_EQ(::chown("file", 0, each.group), 0);
    ASSERT_EQ(::chmod("file", each.mode), 0);
    const pid_t child = ::fork();
    if (child == 0) {
      const bool other =
          ::setgroups(1, &kShared) == 0 && ::setgid(kOwn) == 0 && ::setuid(static_cast<uid_t>(kOwn)) == 0;
      ::_exit(other ? detail::replaceFile("file", "new") : 255);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    struct stat now {};
    ASSERT_EQ(::stat("file", &now), 0);
    EXPECT_EQ(contentsOf("file"), "new");
    EXPECT_EQ(now.st_mode & 07777, each.expected);
    EXPECT_EQ(now.st_gid, each.expectedGroup);
  }
  fs::current_path(before);
}

TEST(NSDataFiles, AFileIsKeptAsideUnderTheFirstFreeName) {
  const std::string path = testFolder() + "/file", base = testFolder() + "/kept";
  std::string kept;
  EXPECT_EQ(detail::keepFileAside(path, base, kept), ENOENT);
  for (const char* name : {"", "-1", "-2"}) {
    put(path, name);
    ASSERT_EQ(detail::keepFileAside(path, base, kept), 0);
    EXPECT_EQ(kept, base + name);
    ASSERT_EQ(detail::replaceFile(path, "new"), 0);
    EXPECT_EQ(contentsOf(kept), name);
  }
  for (int i = 3; i < 100; ++i) put(base + "-" + std::to_string(i), "taken");
  EXPECT_EQ(detail::keepFileAside(path, base, kept), EEXIST);
}

TEST(NSDataFiles, ACopyKeptAsideIsAsPrivateAsTheFile) {
  const std::string elsewhere = "/dev/shm/orvane-" + std::to_string(::getpid());
  put(elsewhere, "secret");
  ASSERT_EQ(::chmod(elsewhere.c_str(), 0600), 0);
  const std::string link = testFolder() + "/link", base = testFolder() + "/kept";
  fs::create_symlink(elsewhere, link);
  put(base, "taken");
  std::string kept;
  EXPECT_EQ(detail::keepFileAside(link, base, kept), 0);
  fs::remove(elsewhere);
  EXPECT_EQ(kept, base + "-1");
  EXPECT_EQ(contentsOf(kept), "secret");
  EXPECT_EQ(modeOf(kept), 0600u);
  EXPECT_EQ(contentsOf(base), "taken");
}
