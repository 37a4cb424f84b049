#include "Platform/CoreServices/UTType.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "Platform/CoreServices/Detail/DynamicType.h"
#include "Platform/CoreServices/Detail/MediaTypes.h"
#include "Tests/Support/World.h"

using namespace orv;
using detail::DynamicType;
using detail::MediaTypes;

namespace {

// The machine's database of this test, in place before the registry first asks for it.
class Machine : public testing::Environment {
 public:
  void SetUp() override {
    const std::string folder = testFolder();
    std::filesystem::create_directories(folder + "/mime");
    std::ofstream(folder + "/mime/globs2")
        << "# comment\n50:image/x-quux:*.quux\n50:text/x-quuxscript:*.quuxs\n"
           "50:image/weird:*.jpg\n40:application/x-late:*.quux\nbad line\n:::\n"
           "50:text/x-big:*.QUUXBIG:cs\n50:text/x-make:makefile*\n";
    std::ofstream(folder + "/mime/aliases") << "application/x-quux-pdf application/pdf\n";
    std::ofstream(folder + "/mime/subclasses") << "text/x-quuxscript application/json\n";
    ::setenv("XDG_DATA_DIRS", folder.c_str(), 1);
  }
};

const testing::Environment* const machine = testing::AddGlobalTestEnvironment(new Machine);

std::string forExtension(const NSString& extension) {
  return UTTypeCreatePreferredIdentifierForTag(kUTTagClassFilenameExtension, extension, nil).utf8();
}
std::string forMIME(const NSString& type) {
  return UTTypeCreatePreferredIdentifierForTag(kUTTagClassMIMEType, type, nil).utf8();
}
std::string extensionOf(const NSString& type) {
  return UTTypeCopyPreferredTagWithClass(type, kUTTagClassFilenameExtension).utf8();
}
std::string mimeOf(const NSString& type) {
  return UTTypeCopyPreferredTagWithClass(type, kUTTagClassMIMEType).utf8();
}

}  // namespace

TEST(UTType, KnownTagsHaveTheirIdentifiers) {
  const std::pair<const char*, const char*> extensions[] = {{"jpg", "public.jpeg"},
                                                            {"JPG", "public.jpeg"},
                                                            {"jpeg", "public.jpeg"},
                                                            {"pdf", "com.adobe.pdf"},
                                                            {"mp4", "public.mpeg-4"},
                                                            {"plist", "com.apple.property-list"},
                                                            {"app", "com.apple.application-bundle"},
                                                            {"ts", "public.mpeg-2-transport-stream"},
                                                            {"html", "public.html"},
                                                            {"txt", "public.plain-text"}};
  for (const auto& [extension, identifier] : extensions)
    EXPECT_EQ(forExtension(extension), identifier) << extension;
  EXPECT_EQ(forMIME("text/plain"), "public.plain-text");
  EXPECT_EQ(forMIME("Image/JPEG"), "public.jpeg");
}

TEST(UTType, PreferredTagsAreTheFirstOfTheTable) {
  EXPECT_EQ(extensionOf("public.jpeg"), "jpeg");
  EXPECT_EQ(mimeOf("public.jpeg"), "image/jpeg");
  EXPECT_EQ(mimeOf("PUBLIC.JPEG"), "image/jpeg");
  EXPECT_EQ(extensionOf("public.html"), "html");
  EXPECT_EQ(mimeOf("public.html"), "text/html");
  EXPECT_EQ(mimeOf("com.apple.mail.email"), "message/rfc822");
  EXPECT_TRUE(UTTypeCopyPreferredTagWithClass("public.image", kUTTagClassMIMEType).isNil());
  EXPECT_TRUE(UTTypeCopyPreferredTagWithClass("public.image", kUTTagClassFilenameExtension).isNil());
  EXPECT_TRUE(UTTypeCopyPreferredTagWithClass("no.such.type", kUTTagClassMIMEType).isNil());
}

TEST(UTType, ConformanceIsReflexiveAndTransitive) {
  for (const char* parent :
       {"public.jpeg", "public.image", "public.data", "public.item", "public.content", "PUBLIC.Image"})
    EXPECT_TRUE(UTTypeConformsTo("public.jpeg", parent)) << parent;
  for (const char* parent : {"com.apple.package", "public.directory", "public.item"})
    EXPECT_TRUE(UTTypeConformsTo("com.apple.application-bundle", parent)) << parent;
  EXPECT_FALSE(UTTypeConformsTo("public.png", "public.jpeg"));
  EXPECT_FALSE(UTTypeConformsTo("public.image", "public.jpeg"));
  EXPECT_FALSE(UTTypeConformsTo("public.item", "public.content"));
  EXPECT_TRUE(UTTypeConformsTo("no.such.type", "No.Such.Type"));
  EXPECT_FALSE(UTTypeConformsTo("no.such.type", "public.data"));
}

TEST(UTType, NilArgumentsAnswerNeutrally) {
  EXPECT_TRUE(UTTypeCreatePreferredIdentifierForTag(nil, "jpg", nil).isNil());
  EXPECT_TRUE(UTTypeCreatePreferredIdentifierForTag("no.class", "jpg", nil).isNil());
  EXPECT_TRUE(UTTypeCreatePreferredIdentifierForTag(kUTTagClassFilenameExtension, nil, nil).isNil());
  EXPECT_TRUE(UTTypeCopyPreferredTagWithClass(nil, kUTTagClassMIMEType).isNil());
  EXPECT_TRUE(UTTypeCopyPreferredTagWithClass("public.jpeg", nil).isNil());
  EXPECT_FALSE(UTTypeConformsTo(nil, "public.data"));
  EXPECT_FALSE(UTTypeConformsTo("public.data", nil));
  EXPECT_FALSE(UTTypeConformsTo(nil, nil));
}

TEST(UTType, AParentNarrowsTheClaimants) {
  EXPECT_EQ(UTTypeCreatePreferredIdentifierForTag(kUTTagClassFilenameExtension, "jpg", kUTTypeImage),
            kUTTypeJPEG);
  const NSString below =
      UTTypeCreatePreferredIdentifierForTag(kUTTagClassFilenameExtension, "jpg", kUTTypeAudio);
  EXPECT_TRUE(below.hasPrefix("dyn.a"));
  EXPECT_TRUE(UTTypeConformsTo(below, kUTTypeAudio));
}

TEST(UTType, UnknownTagsHaveDynamicIdentifiers) {
  EXPECT_EQ(forExtension("foo"), "dyn.ah62d4rv4ge80q55t");
  EXPECT_EQ(forExtension("FOO"), "dyn.ah62d4rv4ge80q55t");
  EXPECT_EQ(forMIME("application/x-foo"), "dyn.ah62d4rv4gq80c6durvy0g2pyrf106p52fzxg852");
  EXPECT_EQ(UTTypeCreatePreferredIdentifierForTag(kUTTagClassNSPboardType, "Apple URL pasteboard type", nil),
            NSString("dyn.ah62d4rv4gu8yc6durvwwaznwmuuha2pxsvw0e55bsmwca7d3sbwu"));
  EXPECT_TRUE(NSString(forExtension("")).hasPrefix("dyn.a"));
}

TEST(UTType, DynamicIdentifiersKnowTheirTag) {
  EXPECT_EQ(extensionOf(forExtension("foo")), "foo");
  EXPECT_EQ(extensionOf("DYN.AH62D4RV4GE80Q55T"), "foo");
  EXPECT_TRUE(UTTypeCopyPreferredTagWithClass(forExtension("foo"), kUTTagClassMIMEType).isNil());
  EXPECT_EQ(mimeOf(forMIME("application/x-foo")), "application/x-foo");
  EXPECT_TRUE(
      UTTypeCopyPreferredTagWithClass(forMIME("application/x-foo"), kUTTagClassFilenameExtension).isNil());
  for (const char* parent : {"public.data", "public.item", "dyn.ah62d4rv4ge80q55t"})
    EXPECT_TRUE(UTTypeConformsTo(forExtension("foo"), parent)) << parent;
  EXPECT_FALSE(UTTypeConformsTo(forExtension("foo"), "public.image"));
  EXPECT_FALSE(UTTypeConformsTo(forExtension("foo"), "public.content"));
}

TEST(UTType, TheMachineSuppliesTheOtherTagsOfDynamicTypes) {
  ASSERT_NE(machine, nullptr);
  const NSString image = forExtension("quux"), script = forExtension("quuxs");
  EXPECT_TRUE(image.hasPrefix("dyn.a"));
  EXPECT_EQ(mimeOf(image), "image/x-quux");  // the heavier glob
  EXPECT_TRUE(UTTypeConformsTo(image, kUTTypeImage));
  EXPECT_EQ(mimeOf(script), "text/x-quuxscript");
  EXPECT_TRUE(UTTypeConformsTo(script, "public.json"));
  EXPECT_TRUE(UTTypeConformsTo(script, "public.plain-text"));
  EXPECT_FALSE(UTTypeConformsTo(script, kUTTypeImage));
  EXPECT_EQ(extensionOf(forMIME("image/x-quux")), "quux");
  EXPECT_EQ(forMIME("application/x-quux-pdf"), "com.adobe.pdf");
  EXPECT_EQ(mimeOf(forExtension("jpg")), "image/jpeg");  // the built-in table wins
}

TEST(DynamicType, EveryTagComesBack) {
  for (const char* tag :
       {"", "a", "foo", "a:b=c,d?e\\f", "\u00e9\u20ac", "0123456789012345678901234567890123456789"})
    for (const char* parent : {"public.data", "public.image", "com.example.parent:x"})
      for (const char tagClass : {'1', '2', '3', '4', '5'}) {
        const DynamicType type{parent, tagClass, tag};
        const auto back = DynamicType::fromIdentifier(type.identifier());
        ASSERT_TRUE(back) << tag;
        EXPECT_EQ(back->parent, parent);
        EXPECT_EQ(back->tagClass, tagClass);
        EXPECT_EQ(back->tag, tag);
      }
}

TEST(DynamicType, RefusesWhatIsNone) {
  for (const char* text : {"", "dyn.a", "dyn.a!", "dyn.aaaaa", "public.data", "dyn.ah62d4rv4ge8", "dyn.alll"})
    EXPECT_FALSE(DynamicType::fromIdentifier(text)) << text;
}

TEST(MediaTypes, MissingFoldersAreEmpty) {
  const MediaTypes types = MediaTypes::readFrom({"/no/such/folder", ""});
  EXPECT_EQ(types.typeForExtension("jpg"), "");
  EXPECT_EQ(types.extensionForType("image/jpeg"), "");
  EXPECT_EQ(types.canonical("image/jpeg"), "image/jpeg");
  EXPECT_EQ(types.ancestry("image/jpeg"), std::vector<std::string>{"image/jpeg"});
}

TEST(MediaTypes, TheMoreImportantFolderWins) {
  const std::string first = testFolder() + "/first", second = testFolder() + "/second";
  for (const std::string& folder : {first, second}) std::filesystem::create_directories(folder + "/mime");
  std::ofstream(first + "/mime/globs2") << "10:a/one:*.x\n50:a/closed:__NOGLOBS__\n50:a/closed:*.mine\n";
  std::ofstream(second + "/mime/globs2") << "90:a/two:*.x\n50:a/two:*.Y\n50:a/closed:*.theirs\n";
  const MediaTypes types = MediaTypes::readFrom({first, second});
  EXPECT_EQ(types.typeForExtension("x"), "a/one");
  EXPECT_EQ(types.typeForExtension("y"), "a/two");
  EXPECT_EQ(types.typeForExtension("mine"), "a/closed");
  EXPECT_EQ(types.typeForExtension("theirs"), "");
}

TEST(MediaTypes, CirclesOfKindsEnd) {
  const std::string folder = testFolder();
  std::filesystem::create_directories(folder + "/mime");
  std::ofstream(folder + "/mime/subclasses") << "a/a b/b\nb/b a/a\nb/b c/c\n";
  const MediaTypes types = MediaTypes::readFrom({folder});
  EXPECT_EQ(types.ancestry("a/a"), (std::vector<std::string>{"a/a", "b/b", "c/c"}));
}

TEST(MediaTypes, FoldersComeFromTheEnvironment) {
  ::setenv("XDG_DATA_HOME", "/home/x/data", 1);
  ::setenv("XDG_DATA_DIRS", "/one:relative::/two", 1);
  EXPECT_EQ(MediaTypes::standardFolders(), (std::vector<std::string>{"/home/x/data", "/one", "/two"}));
  ::unsetenv("XDG_DATA_HOME");
  ::unsetenv("XDG_DATA_DIRS");
  ::setenv("HOME", "/home/y", 1);
  EXPECT_EQ(MediaTypes::standardFolders(),
            (std::vector<std::string>{"/home/y/.local/share", "/usr/local/share", "/usr/share"}));
}
