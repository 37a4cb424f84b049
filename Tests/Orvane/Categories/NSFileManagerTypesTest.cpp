#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/System/NSBundle.h"
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

struct NSFileManagerTypes : testing::Test {
  NSURL url(const std::string& name) const { return NSURL::fileURLWithPath(folder + "/" + name, false); }
  NSURL file(const std::string& name) const {
    fs::create_directories(fs::path(folder + "/" + name).parent_path());
    std::ofstream(folder + "/" + name) << "x";
    return url(name);
  }
  NSURL directory(const std::string& name) const {
    fs::create_directories(folder + "/" + name);
    return NSURL::fileURLWithPath(folder + "/" + name, true);
  }
  std::vector<std::string> warnings() { return log.takeMessages(OrvLogLevelWarning); }
  std::vector<std::string> infos() { return log.takeMessages(OrvLogLevelInfo); }
  std::string unused(const NSURL& wanted) const {
    return manager->zuUnusedFileName(wanted).absoluteString().utf8().substr(7 + folder.size() + 1);
  }

  const Ref<NSFileManager> manager = NSFileManager::defaultManager();
  const std::string folder = testFolder();
  LogLines log;
};

auto reports(const char* expression) { return HasSubstr(std::string("Expr:  ") + expression + "\n"); }

}  // namespace

TEST_F(NSFileManagerTypes, FileUTIIsTheItemsType) {
  EXPECT_EQ(manager->zuFileUTI(file("a.txt")), "public.plain-text");
  EXPECT_EQ(manager->zuFileUTI(directory("d")), "public.folder");
  EXPECT_TRUE(manager->zuFileUTI(url("none.txt")).isNil());
  EXPECT_TRUE(manager->zuFileUTI(NSURL::URLWithString("http://h/a.txt")).isNil());
  EXPECT_THAT(log.take(), IsEmpty());
  EXPECT_TRUE(manager->zuFileUTI("/tmp").isNil());
  EXPECT_THAT(warnings(), ElementsAre(reports("!!([url isKindOfClass:NSURL.class])")));
}

TEST_F(NSFileManagerTypes, TagNamesAreNilOrAList) {
  const NSURL tagged = file("a.txt");
  EXPECT_TRUE(manager->zuFileTagNames(tagged).isNil());
  EXPECT_THAT(log.take(), IsEmpty());
  if (::setxattr(tagged.path().utf8().c_str(), "user.xdg.tags", "red,blue", 8, 0) == 0) {
    EXPECT_EQ(manager->zuFileTagNames(tagged), NSArray({"red", "blue"}));
  }
  EXPECT_TRUE(manager->zuFileTagNames(url("none")).isNil());
  EXPECT_THAT(warnings(), ElementsAre(AllOf(StartsWith("Problems getting tags: Error Domain=NSCocoaErrorDomain "
                                                       "Code=260"))));
}

TEST_F(NSFileManagerTypes, IsFileOfTypesAsksForConformance) {
  const NSURL text = file("a.txt");
  EXPECT_TRUE(manager->zuIsFile(text, NSArray{"public.image", "public.text"}));
  EXPECT_TRUE(manager->zuIsFile(text, NSArray{"public.plain-text"}));
  EXPECT_FALSE(manager->zuIsFile(text, NSArray{"public.image", 7}));
  EXPECT_FALSE(manager->zuIsFile(text, NSArray::array()));
  EXPECT_TRUE(manager->zuIsFile(directory("d"), NSArray{"public.directory"}));
  EXPECT_FALSE(manager->zuIsFile(nil, NSArray{"public.text"}));
  EXPECT_FALSE(manager->zuIsFile(nil, nil)) << "nil is refused before anything is asserted";
  EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(NSFileManagerTypes, IsFileOfTypesReportsWhatIsMissing) {
  EXPECT_FALSE(manager->zuIsFile(url("none"), NSArray{"public.text"}));
  EXPECT_THAT(warnings(), ElementsAre(AllOf(StartsWith("Error while retrieving UTI type of file:///"),
                                            HasSubstr("/none: Error Domain=NSCocoaErrorDomain Code=260"))));
  EXPECT_FALSE(manager->zuIsFile(file("a.txt"), nil));
  EXPECT_THAT(warnings(), ElementsAre(reports("!!(utiTypes)")));
  EXPECT_FALSE(manager->zuIsFile("/tmp", NSArray{"public.text"}));
  EXPECT_THAT(warnings(), ElementsAre(reports("!!([url isKindOfClass:NSURL.class])"),
                                      StartsWith("Error while retrieving UTI type of /tmp: ")));
}

TEST_F(NSFileManagerTypes, APackageIsAFolderOfItsKind) {
  const NSURL package = directory("x.app");
  EXPECT_TRUE(manager->zuIsFilePackage(package, nil));
  EXPECT_THAT(infos(), ElementsAre("Identified com.apple.application-bundle: " + folder + "/x.app"));
  EXPECT_FALSE(manager->zuIsFilePackage(package, NSArray{"public.text", "com.apple.bundle"}));
  EXPECT_THAT(infos(), testing::SizeIs(1));
  EXPECT_TRUE(manager->zuIsFilePackage(package, NSArray{"public.text"}));
  infos();
  EXPECT_FALSE(manager->zuIsFilePackage(directory("x.framework"), nil));
  EXPECT_FALSE(manager->zuIsFilePackage(file("f.app"), nil));
  EXPECT_FALSE(manager->zuIsFilePackage(url("none.app"), nil));
  EXPECT_FALSE(manager->zuIsFilePackage(nil, nil));
  EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(NSFileManagerTypes, PackageTestsTakeAPathToo) {
  directory("x.app");
  EXPECT_TRUE(manager->zuIsFilePackage(folder + "/x.app", nil));
  EXPECT_TRUE(manager->zuIsInsideFilePackage(folder + "/x.app/in", nil));
  EXPECT_THAT(warnings(), testing::Each(reports("!!([url isKindOfClass:NSURL.class])")));
  EXPECT_FALSE(manager->zuIsFilePackage(7, nil));
  EXPECT_FALSE(manager->zuIsFilePackage(NSURL::URLWithString("http://h/x.app"), nil));
  EXPECT_FALSE(manager->zuIsInsideFilePackage(NSURL::URLWithString("http://h/x.app")));
  EXPECT_FALSE(manager->zuIsInsideFilePackage("relative"));
}

TEST_F(NSFileManagerTypes, InsideAPackageWalksUpward) {
  const NSURL inner = file("x.app/Contents/Info.plist");
  EXPECT_TRUE(manager->zuIsInsideFilePackage(inner));
  EXPECT_THAT(infos(), ElementsAre("Identified com.apple.application-bundle: " + folder + "/x.app"));
  EXPECT_TRUE(manager->zuIsInsideFilePackage(directory("x.app"))) << "the package itself counts";
  EXPECT_TRUE(manager->zuIsInsideFilePackage(url("x.app/no/such/item"))) << "the item need not exist";
  EXPECT_FALSE(manager->zuIsInsideFilePackage(inner, NSArray{"com.apple.package"}));
  infos();
  EXPECT_FALSE(manager->zuIsInsideFilePackage(file("plain/f")));
  EXPECT_FALSE(manager->zuIsInsideFilePackage(nil));
  EXPECT_FALSE(manager->zuIsInsideFilePackage(nil, nil));
  EXPECT_FALSE(manager->zuIsInsideFilePackage(NSURL::fileURLWithPath("/", true)));
  EXPECT_THAT(log.take(), IsEmpty());
}

// The nearest package decides, also when it is excepted and one above it is not.
TEST_F(NSFileManagerTypes, TheNearestPackageDecides) {
  const NSURL inner = file("outer.app/in.rtfd/f");
  EXPECT_FALSE(manager->zuIsInsideFilePackage(inner, NSArray{"com.apple.rtfd"}));
  EXPECT_TRUE(manager->zuIsInsideFilePackage(inner, NSArray{"com.apple.application-bundle"}));
}

TEST_F(NSFileManagerTypes, TheApplicationsOwnFolderIsNoPackage) {
  const Ref<NSBundle> bundle = NSBundle::mainBundle();
  const NSDictionary before = bundle->infoDictionary();
  bundle->setInfoDictionary(NSDictionary{{"CFBundleIdentifier", "org.test.app"}});
  EXPECT_FALSE(manager->zuIsFilePackage(directory("org.test.app"), nil));
  const NSURL inner = file("org.test.app/f");
  EXPECT_FALSE(manager->zuIsInsideFilePackage(inner));
  EXPECT_TRUE(manager->zuIsInsideFilePackage(file("up.app/org.test.app/f"))) << "it keeps walking upward";
  bundle->setInfoDictionary(before);
  EXPECT_TRUE(manager->zuIsFilePackage(directory("org.test.app"), nil));
}

TEST_F(NSFileManagerTypes, AFreeNameStaysAsItIs) {
  EXPECT_EQ(manager->zuUnusedFileName(url("free.txt")), url("free.txt"));
  EXPECT_EQ(manager->zuUnusedFileName(directory("d")), directory("d")) << "a folder does not count as taken";
  EXPECT_TRUE(manager->zuUnusedFileName(nil).isNil());
  EXPECT_THAT(log.take(), IsEmpty());
  EXPECT_TRUE(manager->zuUnusedFileName("/tmp/x").isNil());
}

TEST_F(NSFileManagerTypes, ATakenNameGetsTheNextFreeNumber) {
  EXPECT_EQ(unused(file("a.txt")), "a%202.txt/");
  file("a 2.txt");
  EXPECT_EQ(unused(url("a.txt")), "a%203.txt/");
  directory("a 3.txt");
  EXPECT_EQ(unused(url("a.txt")), "a%203.txt/") << "a folder of that name is no obstacle";
  EXPECT_EQ(unused(url("a 2.txt")), "a%202%202.txt/");
  EXPECT_EQ(unused(file("x.tar.gz")), "x.tar%202.gz/");
}

TEST_F(NSFileManagerTypes, ANameWithoutExtensionKeepsThePoint) {
  EXPECT_EQ(unused(file("notes")), "notes%202./");
  file("notes 2.");
  EXPECT_EQ(unused(url("notes")), "notes%203./");
  EXPECT_EQ(unused(file(".profile")), ".profile%202./");
}

TEST_F(NSFileManagerTypes, OddNamesAreNumberedToo) {
  EXPECT_EQ(unused(file("50%@.txt")), "50%25@%202.txt/");
  fs::create_symlink("nowhere", folder + "/link");
  EXPECT_EQ(unused(url("link")), "link%202./") << "a dangling link is in the way";
}
