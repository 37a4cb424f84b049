#include <pwd.h>
#include <unistd.h>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSString.h"

using namespace orv;

namespace {
struct PathCase {
  const char* path;
  const char* last;
  const char* extension;
  const char* withoutExtension;
  const char* parent;
};

constexpr PathCase kPaths[] = {
    {"/tmp/scratch.tiff", "scratch.tiff", "tiff", "/tmp/scratch", "/tmp"},
    {"/tmp/scratch", "scratch", "", "/tmp/scratch", "/tmp"},
    {"/tmp/", "tmp", "", "/tmp", "/"},
    {"/tmp/lock/", "lock", "", "/tmp/lock", "/tmp"},
    {"/", "/", "", "/", "/"},
    {"//", "/", "", "/", "/"},
    {"///", "/", "", "/", "/"},
    {"scratch", "scratch", "", "scratch", ""},
    {"foo/bar", "bar", "", "foo/bar", "foo"},
    {"", "", "", "", ""},
    {".tiff", ".tiff", "", ".tiff", ""},
    {".scratch.tiff", ".scratch.tiff", "tiff", ".scratch", ""},
    {"/tmp/scratch..tiff", "scratch..tiff", "tiff", "/tmp/scratch.", "/tmp"},
    {"a.tar.gz", "a.tar.gz", "gz", "a.tar", ""},
    {"..", "..", "", "..", ""},
    {"x.app/", "x.app", "app", "x", ""},
    {"a.", "a.", "", "a.", ""},
    {"Mr. Smith", "Mr. Smith", "", "Mr. Smith", ""},
    {"a.b\u202Ec", "a.b\u202Ec", "", "a.b\u202Ec", ""},
    {"..zip", "..zip", "", "..zip", ""},
    {"...zip", "...zip", "", "...zip", ""},
    {"a.b/c", "c", "", "a.b/c", "a.b"},
    {"/a//b.c", "b.c", "c", "/a/b", "/a"},
    {"\u0416/\u0416.\u0416", "\u0416.\u0416", "\u0416", "\u0416/\u0416", "\u0416"},
};

std::string joined(const NSArray& array) {
  std::string text;
  for (NSUInteger i = 0; i < array.count(); ++i)
    text += "[" + array.objectAtIndex(i).as<NSString>().utf8() + "]";
  return text;
}

// Sets a variable of the environment for one test.
class Environment {
 public:
  Environment(const char* name, const char* value)
      : name_(name), before_(::getenv(name) ? ::getenv(name) : "") {
    value ? ::setenv(name, value, 1) : ::unsetenv(name);
  }
  ~Environment() { ::setenv(name_, before_.c_str(), 1); }

 private:
  const char* name_;
  std::string before_;
};
}  // namespace

TEST(NSStringPaths, PathsAreTakenApart) {
  for (const PathCase& c : kPaths) {
    const NSString path = c.path;
    EXPECT_EQ(path.lastPathComponent(), c.last) << c.path;
    EXPECT_EQ(path.pathExtension(), c.extension) << c.path;
    EXPECT_EQ(path.stringByDeletingPathExtension(), c.withoutExtension) << c.path;
    EXPECT_EQ(path.stringByDeletingLastPathComponent(), c.parent) << c.path;
  }
}

TEST(NSStringPaths, NilStaysNil) {
  const NSString none;
  EXPECT_TRUE(none.lastPathComponent().isNil());
  EXPECT_TRUE(none.pathExtension().isNil());
  EXPECT_TRUE(none.stringByDeletingPathExtension().isNil());
  EXPECT_TRUE(none.stringByDeletingLastPathComponent().isNil());
  EXPECT_TRUE(none.stringByAppendingPathComponent("a").isNil());
  EXPECT_TRUE(none.stringByAppendingPathExtension("a").isNil());
  EXPECT_TRUE(none.pathComponents().isNil());
  EXPECT_FALSE(none.isAbsolutePath());
  EXPECT_TRUE(none.stringByExpandingTildeInPath().isNil());
  EXPECT_TRUE(none.stringByStandardizingPath().isNil());
}

TEST(NSStringPaths, ComponentsAreAppendedWithOneSlash) {
  struct Case {
    const char *path, *component, *expected;
  };
  constexpr Case kCases[] = {{"/tmp", "a", "/tmp/a"},
                             {"/tmp/", "a", "/tmp/a"},
                             {"/", "a", "/a"},
                             {"", "a", "a"},
                             {"/tmp", "/a/", "/tmp/a"},
                             {"/tmp", "", "/tmp"},
                             {"/a//b", "c//d", "/a/b/c/d"},
                             {"a", "/", "a"}};
  for (const Case& c : kCases)
    EXPECT_EQ(NSString(c.path).stringByAppendingPathComponent(c.component), c.expected) << c.path;
  EXPECT_EQ(NSString("/tmp").stringByAppendingPathComponent(nil), "/tmp");
}

TEST(NSStringPaths, ExtensionsNeedANameToExtend) {
  EXPECT_EQ(NSString("/tmp/scratch.old").stringByAppendingPathExtension("tiff"), "/tmp/scratch.old.tiff");
  EXPECT_EQ(NSString("/tmp/scratch.").stringByAppendingPathExtension("tiff"), "/tmp/scratch..tiff");
  EXPECT_EQ(NSString("/tmp/").stringByAppendingPathExtension("tiff"), "/tmp.tiff");
  EXPECT_EQ(NSString("scratch").stringByAppendingPathExtension("tiff"), "scratch.tiff");
  EXPECT_TRUE(NSString("").stringByAppendingPathExtension("tiff").isNil());
  EXPECT_TRUE(NSString("/").stringByAppendingPathExtension("tiff").isNil());
  EXPECT_EQ(NSString("scratch").stringByAppendingPathExtension(""), "scratch");
}

TEST(NSStringPaths, ComponentsKeepTheRootAndATrailingSlash) {
  EXPECT_EQ(joined(NSString("/tmp/a").pathComponents()), "[/][tmp][a]");
  EXPECT_EQ(joined(NSString("tmp/a").pathComponents()), "[tmp][a]");
  EXPECT_EQ(joined(NSString("/tmp/").pathComponents()), "[/][tmp][/]");
  EXPECT_EQ(joined(NSString("/").pathComponents()), "[/]");
  EXPECT_EQ(joined(NSString("//").pathComponents()), "[/]");
  EXPECT_EQ(joined(NSString("").pathComponents()), "");
  EXPECT_EQ(joined(NSString("a//b").pathComponents()), "[a][b]");
}

TEST(NSStringPaths, AbsolutePathsStartAtTheRootOrAHome) {
  EXPECT_TRUE(NSString("/a").isAbsolutePath());
  EXPECT_TRUE(NSString("~/a").isAbsolutePath());
  EXPECT_FALSE(NSString("a/b").isAbsolutePath());
  EXPECT_FALSE(NSString("").isAbsolutePath());
}

TEST(NSStringPaths, ALeadingTildeIsAHomeFolder) {
  const Environment home("HOME", "/users/me/");
  EXPECT_EQ(NSString("~").stringByExpandingTildeInPath(), "/users/me");
  EXPECT_EQ(NSString("~/").stringByExpandingTildeInPath(), "/users/me");
  EXPECT_EQ(NSString("~/x").stringByExpandingTildeInPath(), "/users/me/x");
  EXPECT_EQ(NSString("a~/x").stringByExpandingTildeInPath(), "a~/x");
  EXPECT_EQ(NSString("~no-such-user/x").stringByExpandingTildeInPath(), "~no-such-user/x");
  EXPECT_EQ(NSString("/a/").stringByExpandingTildeInPath(), "/a");
  EXPECT_EQ(NSString("").stringByExpandingTildeInPath(), "");
}

TEST(NSStringPaths, ATildeWithANameIsThatUsersHome) {
  const passwd* root = ::getpwnam("root");
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(NSString("~root/x").stringByExpandingTildeInPath(), NSString(root->pw_dir) + "/x");
}

TEST(NSStringPaths, WithoutHomeTheUserDatabaseDecides) {
  const Environment home("HOME", nullptr);
  EXPECT_EQ(NSString("~").stringByExpandingTildeInPath(), NSString(::getpwuid(::getuid())->pw_dir));
}

TEST(NSStringPaths, StandardPathsHaveNoDetours) {
  const Environment home("HOME", "/users/me");
  struct Case {
    const char *path, *expected;
  };
  constexpr Case kCases[] = {
      {"/a//b/./c/", "/a/b/c"},
      {"/a/../b", "/b"},
      {"/..", "/"},
      {"/a/b/../../..", "/"},
      {"a/../b", "a/../b"},
      {"a/./b", "a/b"},
      {"./a", "./a"},
      {"~/x", "/users/me/x"},
      {"/", "/"},
      {"", ""},
      {"/a/.", "/a"},
      {"..", ".."},
  };
  for (const Case& c : kCases) EXPECT_EQ(NSString(c.path).stringByStandardizingPath(), c.expected) << c.path;
}

TEST(NSStringPaths, NameAndExtensionPutTogetherAreThePath) {
  EXPECT_TRUE(rc::check([] {
    const auto text = rc::gen::container<std::string>(rc::gen::element('a', '.', '/', ' ', 'b'));
    const NSString path = *text;
    const NSString whole = path.stringByAppendingPathComponent("");
    const NSString extension = path.pathExtension();
    const NSString name = path.stringByDeletingPathExtension();
    RC_ASSERT((extension.length() > 0 ? name + "." + extension : name) == whole);
  }));
}
