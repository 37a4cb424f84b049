#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <string>

#include "Tests/Tools/OrvHarness.h"

using testing::EndsWith;
using testing::HasSubstr;

namespace {

struct OrvItems : testing::Test {
  void SetUp() override { makeSample(); }
};

std::map<std::string, std::string> foldersOf(Arguments arguments) {
  arguments.insert(arguments.begin(), {"folders", "--json"});
  std::map<std::string, std::string> rows;
  const JSON table = json(printed(std::move(arguments)));
  for (const JSON& row : table.items()) rows[row["folder"].text()] = row["path"].text();
  return rows;
}

void expectFailure(Arguments arguments, int status, const std::string& message) {
  const ProcessResult result = runOrv(std::move(arguments));
  EXPECT_EQ(result.exitStatus, status);
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(result.error, HasSubstr(message));
}

}  // namespace

TEST_F(OrvItems, FoldersAreListedAndNotMade) {
  auto folders = foldersOf({"--identifier", "org.example.notes"});
  const std::string world = testFolder() + "/world/";
  EXPECT_EQ(folders["home"], world + "HOME");
  EXPECT_EQ(folders["documents"], world + "HOME/Documents");
  EXPECT_EQ(folders["library"], world + "XDG_STATE_HOME");
  EXPECT_EQ(folders["private caches"], world + "XDG_CACHE_HOME/org.example.notes");
  EXPECT_EQ(folders["private library"], world + "XDG_STATE_HOME/org.example.notes");
  EXPECT_THAT(folders["private temporary"], EndsWith("/org.example.notes"));
  EXPECT_EQ(folders.size(), 12u);
  EXPECT_FALSE(fs::exists(folders["private caches"]));
  EXPECT_EQ(linesOf(printed({"folders"})).size(), 12u);
}

TEST_F(OrvItems, FoldersAreMadeWhenAsked) {
  auto folders = foldersOf({"--identifier", "org.example.made", "--make"});
  for (const char* name :
       {"private library", "private application support", "private caches", "private temporary"})
    EXPECT_TRUE(fs::is_directory(folders[name])) << name;
  EXPECT_EQ(fs::status(folders["private temporary"]).permissions(), fs::perms(0700));
  fs::remove(folders["private temporary"]);
}

TEST_F(OrvItems, CopyMakesTheSameTree) {
  EXPECT_EQ(printed({"copy", "t", "u"}), "");
  EXPECT_EQ(printed({"compare", "t", "u"}), "");
  EXPECT_EQ(fs::read_symlink(place("u/sub/loop")), "..");
  EXPECT_EQ(printed({"copy", "t/a.txt", "t/none", "u/folder"}), "");
  EXPECT_EQ(readFile(place("u/folder/a.txt")), "hi\n");
  EXPECT_EQ(printed({"copy", "t/sub", "u/folder/"}), "");
  EXPECT_TRUE(fs::exists(place("u/folder/sub/b.json")));
}

TEST_F(OrvItems, CopyReplacesOnlyByForce) {
  writeFile("other", "other");
  expectFailure({"copy", "t/a.txt", "other"}, 1, "already exists");
  EXPECT_EQ(readFile(place("other")), "other");
  expectFailure({"copy", "t", "t/folder"}, 1, "already exists");
  EXPECT_EQ(printed({"copy", "--force", "t/a.txt", "other"}), "");
  EXPECT_EQ(readFile(place("other")), "hi\n");
  EXPECT_EQ(printed({"copy", "--force", "other", "t"}), "") << "a folder, too";
  EXPECT_TRUE(fs::is_regular_file(place("t")));
}

TEST_F(OrvItems, ForceNeverRemovesWhatIsToBeCopied) {
  const auto before = stateOf(place("t"));
  for (const Arguments& arguments : std::vector<Arguments>{{"copy", "--force", "t/sub/b.json", "t"},
                                                           {"copy", "--force", "t", "t"},
                                                           {"move", "--force", "t/sub", "./t/sub/../../t"},
                                                           {"copy", "--force", "t", "t/sub"},
                                                           {"copy", "--force", "t", "t/sub/"},
                                                           {"move", "--force", "missing", "t"},
                                                           {"copy", "--force", "missing", "t"}})
    EXPECT_EQ(runOrv(arguments).exitStatus, 1);
  EXPECT_EQ(stateOf(place("t")), before);
}

TEST_F(OrvItems, MoveRenames) {
  EXPECT_EQ(printed({"move", "t", "v"}), "");
  EXPECT_FALSE(fs::exists(place("t")));
  EXPECT_EQ(readFile(place("v/a.txt")), "hi\n");
  expectFailure({"move", "v/a.txt", "v/none"}, 1, "already exists");
  expectFailure({"move", "t", "w"}, 1, "couldn’t be moved");
  EXPECT_EQ(printed({"move", "v/a.txt", "v/none", "v/folder"}), "");
  EXPECT_EQ(readFile(place("v/folder/a.txt")), "hi\n");
}

TEST_F(OrvItems, MoveReplacesOnlyByForce) {
  writeFile("other", "other");
  expectFailure({"move", "other", "t"}, 1, "already exists");
  EXPECT_EQ(printed({"move", "--force", "other", "t"}), "");
  EXPECT_EQ(readFile(place("t")), "other");
  EXPECT_FALSE(fs::exists(place("other")));
  for (const auto& entry : fs::directory_iterator(place("t").parent_path()))
    EXPECT_FALSE(entry.path().filename().string().starts_with(".orv-")) << entry;
}

TEST_F(OrvItems, ForceNeverReplacesWhatTheLinkLeadsTo) {
  fs::create_symlink("t/a.txt", place("link"));
  for (const char* command : {"copy", "move"})
    expectFailure({command, "--force", "link", "t/a.txt"}, 1, "would remove what the link leads to");
  EXPECT_EQ(readFile(place("t/a.txt")), "hi\n");
  EXPECT_TRUE(fs::is_symlink(place("link")));
}

TEST_F(OrvItems, MoveByForceTakesItemsOfEveryKind) {
  writeFile("other", "other");
  writeFile("more", "more");
  fs::create_symlink("nowhere", place("dangling"));
  EXPECT_EQ(printed({"move", "--force", "other", "dangling"}), "");
  EXPECT_EQ(readFile(place("dangling")), "other");
  EXPECT_EQ(printed({"move", "--force", "dangling", "more"}), "") << "in one step";
  EXPECT_EQ(readFile(place("more")), "other");
  fs::create_hard_link(place("more"), place("again"));
  EXPECT_EQ(printed({"move", "--force", "again", "more"}), "") << "two names of one file";
  EXPECT_FALSE(fs::exists(place("again")));
  EXPECT_EQ(readFile(place("more")), "other");
  EXPECT_EQ(printed({"move", "--force", "t", "more"}), "");
  EXPECT_EQ(printed({"copy", "more", "u"}), "");
  EXPECT_EQ(printed({"move", "--force", "more", "u/"}), "") << "into it, where nothing has the name";
  EXPECT_EQ(printed({"move", "--force", "u/more", "u/sub"}), "");
  EXPECT_TRUE(fs::exists(place("u/sub/a.txt")));
  for (const fs::path& folder : {place(""), place("u")})
    for (const auto& entry : fs::directory_iterator(folder))
      EXPECT_FALSE(entry.path().filename().string().starts_with(".orv-")) << entry;
}

TEST_F(OrvItems, ForceNeverReplacesWhatTheSameRunHasMade) {
  for (const char* name : {"a/x", "b/x"}) writeFile(name, name);
  fs::create_directories(place("d"));
  expectFailure({"move", "--force", "a/x", "b/x", "d/"}, 1, "has just been given the name");
  EXPECT_EQ(readFile(place("d/x")), "a/x");
  EXPECT_EQ(readFile(place("b/x")), "b/x");
}

TEST_F(OrvItems, ForceNeverRemovesALinkOutOfTheTargetThatIsToBeMoved) {
  fs::create_symlink("/", place("t/out"));
  expectFailure({"move", "--force", "t/out", "t"}, 1, "would remove what is to be copied");
  EXPECT_TRUE(fs::is_symlink(place("t/out")));
}

TEST_F(OrvItems, MoveCrossesVolumes) {
  struct stat here, there;
  if (::stat(place("").c_str(), &here) != 0 || ::stat("/dev/shm", &there) != 0 || here.st_dev == there.st_dev)
    GTEST_SKIP() << "there is one volume only";
  const std::string other = "/dev/shm/orvane-command-" + std::to_string(::getpid());
  EXPECT_EQ(printed({"copy", "t", "same"}), "");
  EXPECT_EQ(printed({"move", "t", other}), "");
  EXPECT_FALSE(fs::exists(place("t")));
  EXPECT_EQ(printed({"compare", "same", other}), "");
  fs::remove_all(other);
}

TEST_F(OrvItems, RemoveTakesWholeFoldersAndNoLinkTargets) {
  fs::create_directory_symlink("t", place("link"));
  EXPECT_EQ(printed({"remove", "link/"}), "");
  EXPECT_TRUE(fs::exists(place("t/a.txt")));
  EXPECT_EQ(printed({"remove", "t"}), "");
  EXPECT_FALSE(fs::exists(place("t")));
  expectFailure({"remove", "t"}, 1, "“t” couldn’t be removed");
}

TEST_F(OrvItems, AFailureTellsWhy) {
  ASSERT_EQ(::mkfifo(place("pipe").c_str(), 0600), 0);
  expectFailure({"copy", "pipe", "copy"}, 1, "“pipe” couldn’t be copied to “in”. (Invalid argument)");
  expectFailure({"move", "t", "t/sub/t"}, 1, "(Invalid argument)");
}

TEST_F(OrvItems, AnEmptyPathIsRefusedAsWhatItIs) {
  for (const char* force : {"--", "--force"})
    expectFailure({"remove", force, ""}, 1, "an empty path names nothing");
  for (const Arguments& arguments : std::vector<Arguments>{{"copy", "t", ""},
                                                           {"move", "", "u"},
                                                           {"compare", "", "t"},
                                                           {"compare", "t", ""},
                                                           {"where", ""},
                                                           {"tags", "set", "", "red"},
                                                           {"bookmark", "make", ""},
                                                           {"unused", ""}})
    expectFailure(arguments, 2, "an empty path names nothing");
}

TEST_F(OrvItems, RemoveSparesTheHomeFolder) {
  printed({"folders"});
  const fs::path home = fs::path(testFolder()) / "world" / "HOME";
  fs::create_directories(home / "kept");
  for (const std::string& path : {home.string(), home.string() + "/", home.parent_path().string(),
                                  std::string("/"), home.string() + "/kept/.."})
    expectFailure({"remove", path}, 1, "only removed with --force");
  expectFailure({"remove", "--force", "/"}, 1, "couldn’t be removed");
  EXPECT_TRUE(fs::exists(home / "kept"));
  EXPECT_EQ(printed({"remove", "--force", home.string()}), "");
  EXPECT_FALSE(fs::exists(home));
}

TEST_F(OrvItems, CompareExitsLikeItsKind) {
  writeFile("x", "1");
  writeFile("y", "2");
  const ProcessResult different = runOrv({"compare", "x", "y"});
  EXPECT_EQ(different.exitStatus, 1);
  EXPECT_EQ(different.output, "x and y differ\n");
  EXPECT_EQ(different.error, "");
  EXPECT_EQ(printed({"compare", "x", "x"}), "");
  EXPECT_EQ(runOrv({"compare", "x", "t"}).exitStatus, 1);
  expectFailure({"compare", "x", "missing"}, 2, "missing: No such file or directory");
  expectFailure({"compare", "nowhere/x", "x"}, 2, "nowhere/x: No such file or directory");
  EXPECT_EQ(runOrv({"compare", "x"}).exitStatus, 2);
}

TEST_F(OrvItems, OddNamesPassThrough) {
  const std::string odd = "[a,b] \xFF\n-x";
  writeFile(odd, "odd");
  EXPECT_EQ(printed({"copy", "--", odd, "-y"}), "");
  EXPECT_EQ(readFile(place("-y")), "odd");
  EXPECT_EQ(printed({"remove", "--", "-y", odd}), "");
  EXPECT_FALSE(fs::exists(place(odd)));
}
