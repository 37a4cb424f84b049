#include "Platform/CoreServices/NSWorkspace.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "Platform/CoreServices/Detail/ItemType.h"
#include "Platform/CoreServices/UTType.h"
#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Files/PackageNames.h"
#include "Platform/Foundation/Values/NSNumber.h"
#include "Platform/Foundation/Values/NSURL.h"
#include "Tests/Support/World.h"

using namespace orv;
namespace fs = std::filesystem;

namespace {

struct NSWorkspaceFiles : testing::Test {
  std::string file(const std::string& name, const std::string& bytes = "") const {
    std::ofstream(folder + "/" + name, std::ios::binary) << bytes;
    return folder + "/" + name;
  }
  std::string directory(const std::string& name) const {
    fs::create_directories(folder + "/" + name);
    return folder + "/" + name;
  }
  std::string typeOf(const std::string& path) const { return workspace->typeOfFile(path).utf8(); }

  const Ref<NSWorkspace> workspace = NSWorkspace::sharedWorkspace();
  const std::string folder = testFolder();
};

}  // namespace

TEST_F(NSWorkspaceFiles, FoldersOfPackageTypesArePackages) {
  for (const char* extension :
       {"app",          "bundle",   "plugin",        "kext",      "prefPane",    "saver",      "qlgenerator",
        "mdimporter",   "xpc",      "appex",         "service",   "rtfd",        "pkg",        "mpkg",
        "scptd",        "dsym",     "dSYM",          "xcodeproj", "xcworkspace", "playground", "photoslibrary",
        "key",          "pages",    "numbers",       "band",      "fcpbundle",   "logicx",     "wdgt",
        "sparsebundle", "workflow", "imovielibrary", "APP"})
    EXPECT_TRUE(workspace->isFilePackageAtPath(directory(std::string("x.") + extension))) << extension;
}

TEST_F(NSWorkspaceFiles, OtherItemsAreNoPackages) {
  for (const char* name : {"x.framework", "x.jpg", "x.unknown", "x", "x.", ".app", "app", "x.app2"})
    EXPECT_FALSE(workspace->isFilePackageAtPath(directory(name))) << name;
  EXPECT_FALSE(workspace->isFilePackageAtPath(file("plain.app")));
  directory("real.app");
  fs::create_directory_symlink(folder + "/real.app", folder + "/link.app");
  EXPECT_FALSE(workspace->isFilePackageAtPath(folder + "/link.app"));
  EXPECT_FALSE(workspace->isFilePackageAtPath(folder + "/none.app"));
  EXPECT_FALSE(workspace->isFilePackageAtPath(""));
  EXPECT_FALSE(workspace->isFilePackageAtPath(nil));
  EXPECT_TRUE(workspace->isFilePackageAtPath(folder + "/real.app/"));
}

TEST(PackageNames, AreThoseOfTheRegistry) {
  for (const std::string& extension : detail::extensionsOfTypesBelow("com.apple.package")) {
    EXPECT_TRUE(detail::isPackageName("x." + extension)) << extension;
    const NSString type =
        UTTypeCreatePreferredIdentifierForTag(kUTTagClassFilenameExtension, extension, "com.apple.package");
    EXPECT_FALSE(type.hasPrefix("dyn.")) << extension;
  }
  EXPECT_GT(detail::extensionsOfTypesBelow("com.apple.package").size(), 40u);
  EXPECT_TRUE(detail::extensionsOfTypesBelow("no.such.type").empty());
  EXPECT_FALSE(detail::isPackageName("x." + std::string(300, 'a')));
  EXPECT_FALSE(detail::isPackageName(std::string_view("x.app\0b", 7)));
  EXPECT_FALSE(detail::isPackageName(""));
}

TEST(PackageNames, HaveTheExtensionsOfStrings) {
  for (const char* name : {"x.app", "x.APP", ".x.app", "..x.app", "x..app", " .app", "a.b.app"}) {
    EXPECT_TRUE(detail::isPackageName(name)) << name;
    EXPECT_EQ(NSString(name).pathExtension().lowercaseString(), "app") << name;
  }
  for (const char* name : {".app", "..app", "...app", "app", ".", "..", "...", "x.", "x.app."}) {
    EXPECT_FALSE(detail::isPackageName(name)) << name;
    EXPECT_NE(NSString(name).pathExtension(), "app") << name;
  }
}

TEST_F(NSWorkspaceFiles, TheTypeOfAFileFollowsItsExtension) {
  EXPECT_EQ(typeOf(file("a.txt")), "public.plain-text");
  EXPECT_EQ(typeOf(file("a.JPG")), "public.jpeg");
  EXPECT_EQ(typeOf(file("a.foo")), "dyn.ah62d4rv4ge80q55t");
  EXPECT_EQ(typeOf(file("notes")), "public.data");
  EXPECT_EQ(typeOf(file(".profile")), "public.data");
  EXPECT_EQ(typeOf(file("ends.")), "public.data");
  ::chmod(file("run", "#!/bin/sh\n").c_str(), 0755);
  EXPECT_EQ(typeOf(folder + "/run"), "public.unix-executable");
  ::chmod(file("run.txt").c_str(), 0755);
  EXPECT_EQ(typeOf(folder + "/run.txt"), "public.plain-text");
}

// The same extension stands for another type where a folder is a file.
TEST_F(NSWorkspaceFiles, FilesAndFoldersOfOneExtensionDiffer) {
  EXPECT_EQ(typeOf(file("f.pkg")), "com.apple.installer-package-archive");
  EXPECT_EQ(typeOf(directory("d.pkg")), "com.apple.installer-package");
  EXPECT_EQ(typeOf(directory("d.app")), "com.apple.application-bundle");
  const NSString plain = workspace->typeOfFile(file("f.app"));
  EXPECT_FALSE(workspace->typeConformsToType(plain, "public.directory"));
  EXPECT_TRUE(workspace->typeConformsToType(plain, "public.data"));
}

TEST_F(NSWorkspaceFiles, TheTypeOfAFolder) {
  EXPECT_EQ(typeOf(directory("d")), "public.folder");
  EXPECT_EQ(typeOf(directory("d.jpg")), "public.folder");
  EXPECT_EQ(typeOf(directory("d.unknown")), "public.folder");
  EXPECT_EQ(typeOf(directory("d.rtfd")), "com.apple.rtfd");
  EXPECT_EQ(typeOf(directory("d.framework")), "com.apple.framework");
  EXPECT_EQ(typeOf("/"), "public.folder");
}

TEST_F(NSWorkspaceFiles, LinksAndSpecialFilesHaveTheirOwnTypes) {
  fs::create_symlink(file("a.txt"), folder + "/link.txt");
  fs::create_symlink("nowhere", folder + "/dangling");
  ::mkfifo((folder + "/pipe").c_str(), 0600);
  EXPECT_EQ(typeOf(folder + "/link.txt"), "public.symlink");
  EXPECT_EQ(typeOf(folder + "/dangling"), "public.symlink");
  EXPECT_EQ(typeOf(folder + "/pipe"), "public.named-pipe");
  EXPECT_EQ(typeOf("/dev/null"), "public.character-special");
  EXPECT_EQ(detail::typeOfItem("s", S_IFSOCK).utf8(), "public.socket");
  EXPECT_EQ(detail::typeOfItem("b", S_IFBLK).utf8(), "public.block-special");
}

TEST_F(NSWorkspaceFiles, AMissingFileHasNoType) {
  NSError error;
  EXPECT_TRUE(workspace->typeOfFile(folder + "/none.txt", &error).isNil());
  EXPECT_EQ(error.code(), NSFileReadNoSuchFileError);
  EXPECT_TRUE(workspace->typeOfFile(nil, &error).isNil());
  EXPECT_TRUE(workspace->typeOfFile("", nullptr).isNil());
}

TEST_F(NSWorkspaceFiles, ConformanceIsTheRegistrys) {
  EXPECT_TRUE(workspace->typeConformsToType("public.jpeg", "public.image"));
  EXPECT_FALSE(workspace->typeConformsToType("public.image", "public.jpeg"));
  EXPECT_FALSE(workspace->typeConformsToType(nil, "public.image"));
  EXPECT_FALSE(workspace->typeConformsToType("public.image", nil));
}

// A type is asked of the disk at every call.
TEST_F(NSWorkspaceFiles, ValuesAreReadAfresh) {
  const NSURL url = NSURL::fileURLWithPath(folder + "/x.pkg", false);
  Value isPackage;
  directory("x.pkg");
  ASSERT_TRUE(url.getResourceValue(NSURLIsPackageKey, &isPackage));
  EXPECT_EQ(isPackage, Value(true));
  fs::remove(folder + "/x.pkg");
  file("x.pkg");
  ASSERT_TRUE(url.getResourceValue(NSURLIsPackageKey, &isPackage));
  EXPECT_EQ(isPackage, Value(false));
  Value type;
  ASSERT_TRUE(url.getResourceValue(NSURLTypeIdentifierKey, &type));
  EXPECT_EQ(type, Value("com.apple.installer-package-archive"));
}
