// The orv command from outside: where, tags, bookmark, unused.

#include <sys/xattr.h>

#include "Tests/Tools/OrvHarness.h"

using testing::HasSubstr;
using testing::IsEmpty;

namespace {

// The JSON array of objects that `orv where` prints, one map each.
std::vector<std::map<std::string, std::string>> rows(const std::string& text) {
  std::vector<std::map<std::string, std::string>> result;
  const JSON table = json(text);
  for (const JSON& row : table.items()) {
    auto& cells = result.emplace_back();
    for (const char* key : {"path", "managedBy", "service", "evidence"})
      cells[key] = row[key].isNull() ? "" : row[key].text();
  }
  return result;
}

bool keepsTags() {
  writeFile("probe", "");
  return ::setxattr(place("probe").c_str(), "user.test", "x", 1, 0) == 0;
}

#define NEEDS_TAGS() \
  if (!keepsTags()) GTEST_SKIP() << "no extended attributes here"

}  // namespace

TEST(OrvWhere, APlainFolderHasNoTraces) {
  fs::create_directories(place("d"));
  const std::string out = printed({"where", "d"});
  if (out.find("External") != std::string::npos) GTEST_SKIP() << "the tests' folder is not local";
  EXPECT_EQ(out, "d  -  -  -\n");
  EXPECT_EQ(rows(printed({"where", "--json", "d"})).at(0).at("path"), "d");
}

TEST(OrvWhere, EveryTraceIsTold) {
  writeFile("s/a/f", "");
  fs::create_directories(place("s/.stfolder"));
  fs::create_directories(place("s/.stversions"));
  writeFile("s/a/.sync_0a1b.db", "");
  writeFile("s/a/.nextcloudsync.log", "");
  writeFile("s/a/.stfolder", "");
  const auto found = rows(printed({"where", "s/a/f", "--json"}));
  std::vector<std::string> services;
  for (const auto& row : found) {
    EXPECT_EQ(row.at("path"), "s/a/f");
    if (row.at("service") != "External Location") services.push_back(row.at("service"));
  }
  EXPECT_THAT(services, testing::ElementsAre("Nextcloud", "Nextcloud or ownCloud", "Syncthing", "Syncthing"));
  EXPECT_THAT(found.back().at("evidence"), testing::EndsWith("/in/s/.stversions is there"));
  EXPECT_THAT(found.back().at("managedBy"), testing::AnyOf("Syncthing", "External Location"));
}

TEST(OrvWhere, DropboxIsToldWithItsEvidence) {
  fs::create_directories(place("box/sub"));
  const fs::path info = fs::path(testFolder()) / "world/HOME/.dropbox/info.json";
  fs::create_directories(info.parent_path());
  std::ofstream(info) << "{\"personal\": {\"path\": \"" << fs::canonical(place("box")).string() << "\"}}";
  EXPECT_THAT(printed({"where", "box/sub"}), HasSubstr("Dropbox  its root in ~/.dropbox/info.json is above"));
}

TEST(OrvWhere, AMissingItemIsAFailure) {
  const ProcessResult result = runOrv({"where", "none", "."});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.error,
              HasSubstr("orv: none: The file “none” couldn’t be opened because there is no such file."));
  EXPECT_THAT(result.output, HasSubstr(".  "));
  EXPECT_EQ(runOrv({"where"}).exitStatus, 2);
}

TEST(OrvTags, AreSetAddedAndRemoved) {
  NEEDS_TAGS();
  const std::string file = writeFile("f", "x");
  EXPECT_EQ(printed({"tags", file}), "");
  EXPECT_EQ(printed({"tags", "set", file, "red", "blue sky"}), "");
  EXPECT_EQ(printed({"tags", file}), "red\nblue sky\n");
  EXPECT_EQ(printed({"tags", "add", file, "grün", "red"}), "");
  EXPECT_EQ(printed({"tags", file}), "red\nblue sky\ngrün\n");
  EXPECT_EQ(printed({"tags", "--json", file}), "[\"red\", \"blue sky\", \"gr\\u00fcn\"]\n");
  EXPECT_EQ(printed({"tags", "remove", file, "red", "none"}), "");
  EXPECT_EQ(printed({"tags", file}), "blue sky\ngrün\n");
  EXPECT_EQ(printed({"tags", "set", file}), "");
  EXPECT_EQ(printed({"tags", "--json", file}), "[]\n");
}

TEST(OrvTags, WhatCannotBeATagIsAFailure) {
  NEEDS_TAGS();
  const std::string file = writeFile("f", "x");
  printed({"tags", "set", file, "old"});
  for (const char* bad : {"a,b", ""}) {
    const ProcessResult result = runOrv({"tags", "add", file, bad});
    EXPECT_EQ(result.exitStatus, 1) << bad;
    EXPECT_THAT(result.error, testing::StartsWith("orv: f: A tag cannot")) << bad;
  }
  EXPECT_EQ(printed({"tags", file}), "old\n");
  EXPECT_EQ(runOrv({"tags", "none"}).exitStatus, 1);
  EXPECT_EQ(runOrv({"tags", "set", "none", "a"}).exitStatus, 1);
  EXPECT_EQ(runOrv({"tags"}).exitStatus, 2);
  EXPECT_EQ(runOrv({"tags", "add", file}).exitStatus, 2);
  EXPECT_EQ(runOrv({"tags", "set"}).exitStatus, 2);
}

TEST(OrvBookmark, FindsAFileAgain) {
  writeFile("d/f", "x");
  const std::string bookmark = printed({"bookmark", "make", "d/f"});
  EXPECT_EQ(linesOf(bookmark).size(), 1u);
  const std::string folder = fs::canonical(place("")).string();
  EXPECT_EQ(printed({"bookmark", "resolve"}, bookmark), folder + "/d/f\n");
  fs::rename(place("d"), place("other"));
  fs::rename(place("other/f"), place("other/g"));
  EXPECT_EQ(printed({"bookmark", "resolve", "--json", "-"}, bookmark),
            "{\"path\": \"" + folder + "/other/g\", \"stale\": true}\n");
}

TEST(OrvBookmark, CanBeKeptInAFile) {
  writeFile("f", "x");
  EXPECT_EQ(printed({"bookmark", "make", "f", "-o", "mark"}), "");
  EXPECT_EQ(readFile(place("mark")), printed({"bookmark", "make", "f"}));
  EXPECT_EQ(printed({"bookmark", "resolve", "mark"}), fs::canonical(place("f")).string() + "\n");
}

TEST(OrvBookmark, WhatIsGoneOrNoBookmarkIsAFailure) {
  writeFile("f", "x");
  const std::string bookmark = printed({"bookmark", "make", "f"});
  fs::remove(place("f"));
  ProcessResult result = runOrv({"bookmark", "resolve"}, bookmark);
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.error, "orv: standard input: The file “f” doesn’t exist.\n");
  for (const char* garbage : {"", "garbage", "AAAA"}) {
    result = runOrv({"bookmark", "resolve"}, garbage);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.error,
              "orv: standard input: The file couldn’t be opened because it isn’t in the correct format.\n");
  }
  EXPECT_EQ(runOrv({"bookmark", "make", "none"}).exitStatus, 1);
  EXPECT_EQ(runOrv({"bookmark", "resolve", "none"}).exitStatus, 1);
  EXPECT_EQ(runOrv({"bookmark"}).exitStatus, 2);
}

TEST(OrvUnused, GivesTheNextFreeName) {
  writeFile("a.txt", "");
  writeFile("a 2.txt", "");
  writeFile("d/notes", "");
  EXPECT_EQ(printed({"unused", "a.txt", "free.txt", "d/notes", "d"}), "a 3.txt\nfree.txt\nd/notes 2.\nd\n");
  const std::string whole = fs::canonical(place("d")).string() + "/notes";
  EXPECT_EQ(printed({"unused", whole}), whole + " 2.\n");
  EXPECT_EQ(runOrv({"unused"}).exitStatus, 2);
}
