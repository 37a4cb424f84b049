#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <fstream>
#include <random>

#include "Platform/Foundation/Files/Bookmark.h"
#include "Platform/Foundation/Files/BookmarkSearch.h"
#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSURL.h"
#include "Platform/Security/Digest.h"
#include "Tests/Support/World.h"

using namespace orv;
using detail::Bookmark;
using detail::FileIdentity;
namespace fs = std::filesystem;

namespace {

struct Resolved {
  std::string path;
  bool stale = false;
  NSInteger code = 0;
  bool isFolder = false;

  bool operator==(const Resolved&) const = default;
};

void PrintTo(const Resolved& r, std::ostream* out) {
  *out << r.path << (r.stale ? " stale" : "") << " code=" << r.code << (r.isFolder ? " folder" : "");
}

Resolved resolve(const NSData& bookmark) {
  bool stale = false;
  NSError error;
  const NSURL url =
      NSURL::URLByResolvingBookmarkData(bookmark, NSURLBookmarkResolutionWithoutUI, &stale, &error);
  if (url.isNil()) return {"", stale, error.code(), false};
  return {url.fileSystemRepresentation(), stale, error.isNil() ? 0 : error.code(), url.hasDirectoryPath()};
}

struct Bookmarks : testing::Test {
  std::string at(const std::string& name) const { return folder + "/" + name; }
  std::string file(const std::string& name, const std::string& bytes = "x") const {
    fs::create_directories(fs::path(at(name)).parent_path());
    std::ofstream(at(name)) << bytes;
    return at(name);
  }
  static NSData mark(const std::string& path) {
    NSError error;
    const NSData data =
        NSURL::fileURLWithFileSystemRepresentation(path, false).bookmarkDataWithOptions(0, &error);
    EXPECT_FALSE(data.isNil()) << error.description();
    return data;
  }
  // The search of somebody who may not ask the kernel for a file by its handle.
  static std::string found(const NSData& data, size_t names = 100'000) {
    return detail::findMovedItem(*Bookmark::decode(data.view()), {names, false});
  }

  const std::string folder = fs::canonical(testFolder());
};

std::string sealed(std::string content) {
  return content += detail::digestOf(detail::DigestAlgorithm::SHA256, content.data(), content.size()).view();
}

}  // namespace

TEST_F(Bookmarks, AnItemInItsPlaceIsFound) {
  EXPECT_EQ(resolve(mark(file("a.txt"))), (Resolved{at("a.txt"), false, 0, false}));
  fs::create_directory(at("d"));
  EXPECT_EQ(resolve(mark(at("d"))), (Resolved{at("d"), false, 0, true}));
  EXPECT_EQ(resolve(mark("/")), (Resolved{"/", false, 0, true}));
  EXPECT_EQ(mark(at("a.txt")), mark(at("a.txt"))) << "the same bytes each time";
}

TEST_F(Bookmarks, AChangedFileIsStillTheSame) {
  const NSData data = mark(file("a.txt"));
  file("a.txt", "longer than before");
  ::chmod(at("a.txt").c_str(), 0600);
  fs::create_hard_link(at("a.txt"), at("second name"));
  EXPECT_EQ(resolve(data), (Resolved{at("a.txt"), false, 0, false}));
}

TEST_F(Bookmarks, ARenamedItemIsFound) {
  const NSData data = mark(file("d/a.txt"));
  fs::rename(at("d/a.txt"), at("d/b.txt"));
  EXPECT_EQ(resolve(data), (Resolved{at("d/b.txt"), true, 0, false}));
  EXPECT_EQ(found(data), at("d/b.txt"));
}

TEST_F(Bookmarks, AnItemInARenamedFolderIsFound) {
  const NSData data = mark(file("one/two/three/a.txt"));
  fs::rename(at("one/two"), at("one/other"));
  EXPECT_EQ(resolve(data), (Resolved{at("one/other/three/a.txt"), true, 0, false}));
  EXPECT_EQ(found(data), at("one/other/three/a.txt"));
  fs::rename(at("one/other/three"), at("one/other/drei"));
  fs::rename(at("one"), at("eins"));
  fs::rename(at("eins/other/drei/a.txt"), at("eins/other/drei/b.txt"));
  EXPECT_EQ(found(data), at("eins/other/drei/b.txt"));
}

TEST_F(Bookmarks, AnItemInAMovedFolderIsFound) {
  const NSData data = mark(file("one/two/a.txt"));
  fs::create_directories(at("far/away"));
  fs::rename(at("one/two"), at("far/away/zwei"));
  EXPECT_EQ(resolve(data), (Resolved{at("far/away/zwei/a.txt"), true, 0, false}));
  EXPECT_EQ(found(data), at("far/away/zwei/a.txt"));
}

TEST_F(Bookmarks, AMovedItemIsFound) {
  const NSData data = mark(file("one/a.txt"));
  fs::create_directories(at("p/q/r"));
  fs::rename(at("one/a.txt"), at("p/q/r/b"));
  fs::remove(at("one"));
  EXPECT_EQ(resolve(data), (Resolved{at("p/q/r/b"), true, 0, false}));
  EXPECT_EQ(found(data), at("p/q/r/b"));
  EXPECT_EQ(found(data, 2), "") << "the limit ends the search";
}

TEST_F(Bookmarks, AReplacedFileKeepsItsPath) {
  const NSData data = mark(file("a.txt"));
  file(".a.txt.new");
  fs::rename(at(".a.txt.new"), at("a.txt"));
  EXPECT_EQ(resolve(data), (Resolved{at("a.txt"), true, 0, false}));
}

TEST_F(Bookmarks, TheNewFileWinsOverTheOldOnesNewName) {
  const NSData data = mark(file("a.txt", "old"));
  fs::rename(at("a.txt"), at("a.txt~"));
  file("a.txt", "new");
  EXPECT_EQ(resolve(data), (Resolved{at("a.txt"), true, 0, false}));
}

TEST_F(Bookmarks, AnItemOfAnotherKindDoesNotTakeThePlace) {
  const NSData data = mark(file("a.txt"));
  fs::rename(at("a.txt"), at("b.txt"));
  fs::create_directory(at("a.txt"));
  EXPECT_EQ(resolve(data), (Resolved{at("b.txt"), true, 0, false}));
}

TEST_F(Bookmarks, AnItemThatIsGoneIsAnError) {
  const NSData data = mark(file("d/a.txt"));
  fs::remove(at("d/a.txt"));
  EXPECT_EQ(resolve(data), (Resolved{"", false, NSFileNoSuchFileError, false}));
  NSError error;
  NSURL::URLByResolvingBookmarkData(data, 0, nullptr, &error);
  EXPECT_EQ(error.localizedDescription(), "The file “a.txt” doesn’t exist.");
  fs::remove(at("d"));
  EXPECT_EQ(resolve(data).code, NSFileNoSuchFileError);
}

// The inode is given to the next file; it was born later.
TEST_F(Bookmarks, AReusedInodeIsAnotherItem) {
  FileIdentity old = *FileIdentity::of(file("a"));
  FileIdentity young = old;
  ASSERT_TRUE(old.isSameAs(young));
  if (!old.hasBirth) GTEST_SKIP() << "no birth times here";
  young.birthNanoseconds ^= 1;
  EXPECT_FALSE(old.isSameAs(young));
  young = old;
  young.device ^= 1;
  EXPECT_TRUE(old.isSameAs(young)) << "device numbers change with a restart";
  young.hasBirth = false;
  EXPECT_TRUE(old.isSameAs(young)) << "the file system is still the same";
  young.fileSystem ^= 1;
  EXPECT_FALSE(old.isSameAs(young));
  young = old;
  young.kind = S_IFDIR;
  EXPECT_FALSE(old.isSameAs(young));
}

TEST_F(Bookmarks, VolumesAreToldByTheirFileSystemThenByTheirDevice) {
  const struct {
    uint64_t fileSystem, otherFileSystem, device, otherDevice;
    bool same;
  } cases[] = {{5, 5, 1, 1, true}, {5, 5, 1, 2, true},  {5, 6, 1, 1, false}, {5, 6, 1, 2, false},
               {0, 6, 1, 1, true}, {5, 0, 1, 2, false}, {0, 0, 1, 1, true},  {0, 0, 1, 2, false}};
  for (const auto& [fileSystem, otherFileSystem, device, otherDevice, same] : cases) {
    const FileIdentity one{fileSystem, device, 12, false, 0, 0, S_IFREG};
    const FileIdentity other{otherFileSystem, otherDevice, 12, false, 0, 0, S_IFREG};
    const auto names = testing::Message()
                       << fileSystem << "," << device << " and " << otherFileSystem << "," << otherDevice;
    EXPECT_EQ(one.isOnVolumeOf(other), same) << names;
    EXPECT_EQ(other.isSameAs(one), same) << names;
  }
}

// A disk is unplugged, and the next one is given its device number; nothing tells when its files were born.
TEST_F(Bookmarks, AnItemOnTheNextVolumeWithTheSameDeviceIsAnother) {
  Bookmark bookmark = *Bookmark::of(file("d/letter"));
  if (bookmark.item.fileSystem == 0) GTEST_SKIP() << "no identifier of the file system here";
  for (FileIdentity& each : bookmark.folders) each.hasBirth = false;
  bookmark.item.hasBirth = false;
  bookmark.item.fileSystem ^= 1;
  const NSData data = NSData::dataWithBytes(bookmark.encoded());
  EXPECT_EQ(resolve(data), (Resolved{at("d/letter"), true, 0, false})) << "the path wins, but it is another";
  fs::rename(at("d/letter"), at("d/other"));
  EXPECT_EQ(found(data), "");
  EXPECT_EQ(resolve(data).code, NSFileNoSuchFileError);
}

TEST_F(Bookmarks, LinksAreItemsOfTheirOwn) {
  const NSData target = mark(file("target"));
  fs::create_symlink("target", at("link"));
  const NSData link = mark(at("link"));
  fs::rename(at("link"), at("link2"));
  EXPECT_EQ(resolve(link), (Resolved{at("link2"), true, 0, false}));
  EXPECT_EQ(found(link), at("link2"));
  fs::remove(at("link2"));
  EXPECT_EQ(resolve(link).code, NSFileNoSuchFileError);
  EXPECT_EQ(resolve(target).path, at("target"));
}

TEST_F(Bookmarks, APathThroughALinkStaysAsGiven) {
  file("v1/a.txt");
  file("v2/a.txt");
  fs::create_directory_symlink("v1", at("current"));
  const NSData data = mark(at("current/a.txt"));
  EXPECT_EQ(resolve(data), (Resolved{at("current/a.txt"), false, 0, false}));
  fs::remove(at("current"));
  fs::create_directory_symlink("v2", at("current"));
  EXPECT_EQ(resolve(data), (Resolved{at("v1/a.txt"), true, 0, false})) << "the item itself did not move";
  fs::remove(at("v1/a.txt"));
  EXPECT_EQ(resolve(data), (Resolved{at("current/a.txt"), true, 0, false}));
}

TEST_F(Bookmarks, NamesThatAreNoTextSurvive) {
  const NSData data = mark(file("a\xFF\xFE b"));
  EXPECT_EQ(resolve(data).path, at("a\xFF\xFE b"));
  fs::rename(at("a\xFF\xFE b"), at("\n"));
  EXPECT_EQ(resolve(data).path, at("\n"));
}

TEST_F(Bookmarks, WhatCannotBeMarkedIsAnError) {
  NSError error;
  const auto markOf = [&](const NSURL& url) {
    error = nil;
    return url.bookmarkDataWithOptions(0, &error);
  };
  EXPECT_TRUE(markOf(NSURL::fileURLWithPath(at("none"), false)).isNil());
  EXPECT_EQ(error.code(), NSFileReadNoSuchFileError);
  EXPECT_TRUE(markOf(NSURL::fileURLWithPath(file("f") + "/none", false)).isNil());
  EXPECT_EQ(error.code(), NSFileReadNoSuchFileError);
  EXPECT_TRUE(markOf(NSURL::URLWithString("http://h/a")).isNil());
  EXPECT_FALSE(error.isNil());
  EXPECT_TRUE(markOf(nil).isNil());
}

// A link leads to a folder so deep that the real paths of its items are about as long as the kernel takes.
TEST_F(Bookmarks, WhatCanBeMarkedCanBeResolved) {
  std::string deep = folder;
  while (deep.size() < 3850) deep += "/" + std::string(100, 'd');
  fs::create_directories(deep);
  fs::create_directory_symlink(deep, at("short"));
  for (size_t length = PATH_MAX - 3; length < PATH_MAX + 3; ++length) {
    const std::string path = at("short/" + std::string(length - deep.size() - 1, 'f'));
    std::ofstream(path) << "x";
    NSError error;
    const NSData data =
        NSURL::fileURLWithFileSystemRepresentation(path, false).bookmarkDataWithOptions(0, &error);
    EXPECT_EQ(data.isNil(), length >= PATH_MAX) << length;
    EXPECT_EQ(error.code(), data.isNil() ? NSInteger{NSFileReadInvalidFileNameError} : 0) << length;
    if (!data.isNil()) {
      EXPECT_EQ(resolve(data), (Resolved{path, false, 0, false})) << length;
    }
    fs::remove(path);
  }
}

TEST_F(Bookmarks, GarbageIsAnError) {
  const NSData data = mark(file("a.txt"));
  const std::string good(data.view());
  const auto code = [](const std::string& bytes) { return resolve(NSData::dataWithBytes(bytes)).code; };
  EXPECT_EQ(code(good), 0);
  EXPECT_EQ(code(""), NSFileReadCorruptFileError);
  EXPECT_EQ(resolve(nil).code, NSFileReadCorruptFileError);
  EXPECT_EQ(code("garbage"), NSFileReadCorruptFileError);
  for (size_t i = 0; i < good.size(); ++i) {
    std::string bad = good;
    bad[i] = static_cast<char>(bad[i] ^ 0x20);
    ASSERT_EQ(code(bad), NSFileReadCorruptFileError) << "changed byte " << i;
    ASSERT_EQ(code(good.substr(0, i)), NSFileReadCorruptFileError) << "cut at " << i;
  }
  EXPECT_EQ(code(good + '\0'), NSFileReadCorruptFileError);
  NSError error;
  NSURL::URLByResolvingBookmarkData(NSData::dataWithBytes("x"), 0, nullptr, &error);
  EXPECT_EQ(error.localizedDescription(),
            "The file couldn’t be opened because it isn’t in the correct format.");
}

// The digest is right, but no bookmark was ever made so.
TEST_F(Bookmarks, ContentThatIsImpossibleIsAnError) {
  const Bookmark good = *Bookmark::of(file("d/a.txt"));
  const auto accepts = [](const Bookmark& b) { return Bookmark::decode(b.encoded()).has_value(); };
  EXPECT_TRUE(accepts(good));
  Bookmark bad = good;
  bad.path = "relative";
  EXPECT_FALSE(accepts(bad));
  bad = good;
  bad.path += std::string("\0x", 2);
  EXPECT_FALSE(accepts(bad));
  bad = good;
  bad.realPath = "";
  EXPECT_FALSE(accepts(bad));
  bad = good;
  bad.folders.pop_back();
  EXPECT_FALSE(accepts(bad));
  bad = good;
  bad.handle = std::string(500, 'h');
  EXPECT_FALSE(accepts(bad));
  std::string version2 = good.encoded().substr(0, good.encoded().size() - 32);
  EXPECT_TRUE(Bookmark::decode(sealed(version2)));
  version2[7] = 2;
  EXPECT_FALSE(Bookmark::decode(sealed(version2)));
}

TEST_F(Bookmarks, AForgedHandleIsHarmless) {
  Bookmark forged = *Bookmark::of(file("a.txt"));
  forged.handle = std::string(128, '\xAA');
  forged.path = forged.realPath = at("none");
  forged.item.inode = 1;
  EXPECT_EQ(resolve(NSData::dataWithBytes(forged.encoded())).code, NSFileNoSuchFileError);
}

TEST_F(Bookmarks, AnItemOnAVolumeThatIsMountedElsewhereIsFound) {
  fs::create_directory(at("disk"));
  fs::create_directory(at("elsewhere"));
  if (::mount("none", at("disk").c_str(), "tmpfs", 0, "") != 0) GTEST_SKIP() << "may not mount";
  const NSData data = mark(file("disk/sub/a.txt"));
  const bool moved = ::mount(at("disk").c_str(), at("elsewhere").c_str(), nullptr, MS_BIND, nullptr) == 0 &&
                     ::umount(at("disk").c_str()) == 0;
  EXPECT_TRUE(moved);
  EXPECT_EQ(resolve(data), (Resolved{at("elsewhere/sub/a.txt"), true, 0, false}));
  EXPECT_EQ(found(data), at("elsewhere/sub/a.txt"));
  ::umount(at("elsewhere").c_str());
  EXPECT_EQ(resolve(data).code, NSFileNoSuchFileError);
}

// The volume comes back elsewhere and under another device number, and its old one is another volume's now: the
// kernel is not asked there.
TEST_F(Bookmarks, AnItemOnAVolumeWithAnotherDeviceIsFound) {
  fs::create_directory(at("disk"));
  fs::create_directory(at("elsewhere"));
  if (::mount("none", at("disk").c_str(), "tmpfs", 0, "") != 0) GTEST_SKIP() << "may not mount";
  Bookmark bookmark = *Bookmark::of(file("disk/sub/a.txt"));
  const bool moved = ::mount(at("disk").c_str(), at("elsewhere").c_str(), nullptr, MS_BIND, nullptr) == 0 &&
                     ::umount(at("disk").c_str()) == 0;
  EXPECT_TRUE(moved);
  for (const uint64_t device : {FileIdentity::of(folder)->device, uint64_t{1}}) {
    if (bookmark.item.fileSystem == 0) break;  // on an older kernel nothing else identifies this volume
    bookmark.item.device = device;
    const NSData data = NSData::dataWithBytes(bookmark.encoded());
    EXPECT_EQ(resolve(data), (Resolved{at("elsewhere/sub/a.txt"), true, 0, false})) << device;
    EXPECT_EQ(found(data), at("elsewhere/sub/a.txt")) << device;
  }
  ::umount(at("elsewhere").c_str());
}

// Of a volume without an identifier, its device number may be another one's; the handle is unknown there.
TEST_F(Bookmarks, TheKernelsWordFromAnotherVolumeIsNotFinal) {
  fs::create_directory(at("disk"));
  if (::mount("none", at("disk").c_str(), "tmpfs", 0, "") != 0) GTEST_SKIP() << "may not mount";
  Bookmark bookmark = *Bookmark::of(file("disk/sub/a.txt"));
  fs::rename(at("disk/sub/a.txt"), at("disk/sub/b.txt"));
  bookmark.item.fileSystem = 0;
  bookmark.item.device = FileIdentity::of(folder)->device;
  const Resolved place = resolve(NSData::dataWithBytes(bookmark.encoded()));
  if (bookmark.item.hasBirth) {
    EXPECT_EQ(place, (Resolved{at("disk/sub/b.txt"), true, 0, false}));
  }
  ::umount(at("disk").c_str());
}

// The search does not leave the volume: a copy of the item on another one is another item.
TEST_F(Bookmarks, OtherVolumesAreNotSearched) {
  const NSData data = mark(file("d/a.txt"));
  fs::create_directory(at("disk"));
  if (::mount("none", at("disk").c_str(), "tmpfs", 0, "") != 0) GTEST_SKIP() << "may not mount";
  fs::copy_file(at("d/a.txt"), at("disk/a.txt"));
  fs::remove(at("d/a.txt"));
  EXPECT_EQ(found(data), "");
  ::umount(at("disk").c_str());
}

// Whatever is renamed and moved about, the item is found, and nothing else in its place.
TEST_F(Bookmarks, AnyWayOfMovingAboutIsFollowed) {
  EXPECT_TRUE(rc::check([&](uint32_t seed) {
    fs::remove_all(at("w"));
    const std::string item = file("w/a/b/c/item");
    for (const char* other : {"w/a/x", "w/b/y", "w/b/c/z"}) file(other);
    const NSData data = mark(item);
    const FileIdentity identity = *FileIdentity::of(item);
    std::mt19937 random(seed);
    for (int step = 0; step < 8; ++step) {
      std::vector<fs::path> all;
      for (const auto& entry : fs::recursive_directory_iterator(at("w"))) all.push_back(entry.path());
      const fs::path from = all[random() % all.size()];
      const fs::path to = all[random() % all.size()];
      const fs::path target = fs::is_directory(to) ? to / ("n" + std::to_string(step)) : to.parent_path() / "m";
      std::error_code refused;
      if (!fs::exists(target)) fs::rename(from, target, refused);
    }
    const Resolved place = resolve(data);
    RC_ASSERT(place.code == 0);
    RC_ASSERT(FileIdentity::of(place.path)->isSameAs(identity));
    if (place.stale) RC_ASSERT(found(data) == place.path);
  }));
}

TEST_F(Bookmarks, TheFormIsReadAsItWasWritten) {
  EXPECT_TRUE(rc::check([](const std::string& name, uint64_t number, int64_t seconds, bool hasBirth,
                           const std::string& handle) {
    Bookmark bookmark;
    bookmark.path = "/" + std::string(name.c_str());
    bookmark.realPath = "/a/" + std::string(name.c_str());
    std::replace(bookmark.realPath.begin() + 3, bookmark.realPath.end(), '/', '_');
    bookmark.item = {number, number * 3, number * 5, hasBirth, seconds, static_cast<uint32_t>(number), S_IFREG};
    bookmark.handleType = static_cast<int32_t>(seconds);
    bookmark.handle = handle.substr(0, 128);
    bookmark.folders.assign(bookmark.names().size(), bookmark.item);
    const auto read = Bookmark::decode(bookmark.encoded());
    RC_ASSERT(read.has_value());
    RC_ASSERT(read->encoded() == bookmark.encoded());
    RC_ASSERT(read->path == bookmark.path && read->item == bookmark.item && read->handle == bookmark.handle);
  }));
}
