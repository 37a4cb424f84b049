#include "Platform/Foundation/Files/FileTags.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "Platform/Foundation/Files/Descriptor.h"
#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSNumber.h"
#include "Platform/Foundation/Values/NSURL.h"
#include "Tests/Support/World.h"

using namespace orv;
namespace fs = std::filesystem;

namespace {

constexpr const char* kAttribute = "user.xdg.tags";

struct FileTags : testing::Test {
  void SetUp() override {
    std::ofstream(path) << "x";
    if (::setxattr(path.c_str(), "user.test", "x", 1, 0) != 0) GTEST_SKIP() << "no extended attributes here";
  }

  std::string attribute() const {
    char bytes[8192];
    const ssize_t size = ::getxattr(path.c_str(), kAttribute, bytes, sizeof bytes);
    return size < 0 ? "(none)" : std::string(bytes, static_cast<size_t>(size));
  }
  Value tags() const {
    Value value = "unset";
    EXPECT_TRUE(url.getResourceValue(NSURLTagNamesKey, &value));
    return value;
  }
  NSInteger codeOfSetting(const Value& value) const {
    NSError error;
    return url.setResourceValue(value, NSURLTagNamesKey, &error) ? 0 : error.code();
  }

  const std::string path = testFolder() + "/f";
  const NSURL url = NSURL::fileURLWithPath(path, false);
};

}  // namespace

TEST_F(FileTags, AreTheAttributeThatDesktopsShare) {
  EXPECT_TRUE(tags().isNil());
  EXPECT_EQ(codeOfSetting(NSArray{"red", "blue sky", "grün"}), 0);
  EXPECT_EQ(attribute(), "red,blue sky,grün");
  EXPECT_EQ(tags(), Value(NSArray{"red", "blue sky", "grün"}));
}

TEST_F(FileTags, WhatOthersWroteIsReadAsItStands) {
  const auto reads = [&](const std::string& list) {
    ::setxattr(path.c_str(), kAttribute, list.data(), list.size(), 0);
    return tags();
  };
  EXPECT_EQ(reads("a,,b,"), Value(NSArray{"a", "b"}));
  EXPECT_EQ(reads("a, b"), Value(NSArray{"a", " b"}));
  EXPECT_TRUE(reads("").isNil());
  EXPECT_TRUE(reads(",,").isNil());
  EXPECT_EQ(reads("a\xFF"), Value(NSArray{"a\uFFFD"}));
  EXPECT_EQ(reads(std::string(3000, 'x')), Value(NSArray{NSString(std::string(3000, 'x'))}));
}

TEST_F(FileTags, AnEmptyListRemovesTheAttribute) {
  EXPECT_EQ(codeOfSetting(NSArray{"red"}), 0);
  EXPECT_EQ(codeOfSetting(NSArray::array()), 0);
  EXPECT_EQ(attribute(), "(none)");
  EXPECT_EQ(codeOfSetting(NSArray{"red"}), 0);
  EXPECT_EQ(codeOfSetting(nil), 0);
  EXPECT_EQ(attribute(), "(none)");
  EXPECT_EQ(codeOfSetting(nil), 0) << "nothing to remove is a success";
}

TEST_F(FileTags, ANameIsKeptOnce) {
  EXPECT_EQ(codeOfSetting(NSArray{"b", "a", "b"}), 0);
  EXPECT_EQ(attribute(), "b,a");
}

TEST_F(FileTags, NamesThatTheListCannotHoldAreRefused) {
  EXPECT_EQ(codeOfSetting(NSArray{"old"}), 0);
  const NSString zero(std::string_view("a\0b", 3));
  const NSString half(std::u16string_view(u"\xD800"));
  for (const Value& bad : {Value(NSArray{"a,b"}), Value(NSArray{""}), Value(NSArray{"a", 7}),
                           Value(NSArray{zero}), Value(NSArray{half}), Value("red"), Value(7)})
    EXPECT_EQ(codeOfSetting(bad), NSFeatureUnsupportedError) << bad.description();
  EXPECT_EQ(attribute(), "old");
  NSError error;
  EXPECT_FALSE(url.setResourceValue(NSArray{"a,b"}, NSURLTagNamesKey, &error));
  EXPECT_EQ(error.localizedDescription(), "A tag cannot hold a comma.");
}

TEST_F(FileTags, TooManyForTheFileSystemKeepTheOldOnes) {
  EXPECT_EQ(codeOfSetting(NSArray{"old"}), 0);
  EXPECT_NE(codeOfSetting(NSArray{NSString(std::string(200'000, 'x'))}), 0);
  EXPECT_EQ(attribute(), "old");
}

TEST_F(FileTags, OnlyTagsCanBeSet) {
  NSError error;
  EXPECT_FALSE(url.setResourceValue(true, NSURLIsHiddenKey, &error));
  EXPECT_EQ(error.code(), NSFeatureUnsupportedError);
  EXPECT_FALSE(url.setResourceValue(true, nil));
  const NSURL none = NSURL::fileURLWithPath(testFolder() + "/none", false);
  EXPECT_FALSE(none.setResourceValue(NSArray{"a"}, NSURLTagNamesKey, &error));
  EXPECT_EQ(error.code(), NSFileNoSuchFileError);
  EXPECT_FALSE(NSURL::URLWithString("http://h/f").setResourceValue(NSArray{"a"}, NSURLTagNamesKey, &error));
  EXPECT_FALSE(NSURL().setResourceValue(NSArray{"a"}, NSURLTagNamesKey));
}

// A link's own tags; those of its target are another file's.
TEST_F(FileTags, ALinkHasNone) {
  EXPECT_EQ(codeOfSetting(NSArray{"red"}), 0);
  fs::create_symlink(path, testFolder() + "/link");
  const NSURL link = NSURL::fileURLWithPath(testFolder() + "/link", false);
  Value value = "unset";
  EXPECT_TRUE(link.getResourceValue(NSURLTagNamesKey, &value));
  EXPECT_TRUE(value.isNil());
  NSError error;
  EXPECT_FALSE(link.setResourceValue(NSArray{"a"}, NSURLTagNamesKey, &error));
  EXPECT_EQ(error.code(), NSFileWriteNoPermissionError);
  EXPECT_EQ(attribute(), "red");
}

TEST_F(FileTags, AFileThatMayNotBeChangedKeepsThem) {
  EXPECT_EQ(codeOfSetting(NSArray{"red"}), 0);
  const detail::Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  int flags = FS_IMMUTABLE_FL;
  if (::ioctl(file, FS_IOC_SETFLAGS, &flags) != 0) GTEST_SKIP() << "may not make a file immutable";
  EXPECT_EQ(codeOfSetting(nil), NSFileWriteNoPermissionError);
  EXPECT_EQ(codeOfSetting(NSArray{"blue"}), NSFileWriteNoPermissionError);
  EXPECT_EQ(attribute(), "red");
  flags = 0;
  EXPECT_EQ(::ioctl(file, FS_IOC_SETFLAGS, &flags), 0);
}

TEST_F(FileTags, FoldersHaveThemToo) {
  fs::create_directory(testFolder() + "/d");
  const NSURL folder = NSURL::fileURLWithPath(testFolder() + "/d", true);
  Value value;
  EXPECT_TRUE(folder.setResourceValue(NSArray{"x"}, NSURLTagNamesKey));
  EXPECT_TRUE(folder.getResourceValue(NSURLTagNamesKey, &value));
  EXPECT_EQ(value, Value(NSArray{"x"}));
}

TEST_F(FileTags, WhatWasSetIsRead) {
  EXPECT_TRUE(rc::check([&](const std::vector<std::u16string>& given) {
    const NSMutableArray names = NSMutableArray::array();
    size_t bytes = 0;
    for (const std::u16string& text : given) {
      const NSString name(NSString(text).utf8());  // whole characters only
      const bool fits = name.length() > 0 && !name.containsString(",") &&
                        name.utf8().find('\0') == std::string::npos && !names.containsObject(name);
      bytes += name.utf8().size() + 1;
      if (fits && bytes < 3000) names.addObject(name);
    }
    RC_ASSERT(codeOfSetting(names) == 0);
    RC_ASSERT(tags() == (names.count() > 0 ? names.copy() : Value()));
  }));
}
