// The orv command from outside: what it prints, what it exits with, what it leaves alone.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <thread>

#include "Tests/Tools/OrvHarness.h"

using testing::AnyOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

// ---- usage

TEST(OrvCommand, HelpIsThereForEverySubcommand) {
  const std::string help = printed({"--help"});
  for (const char* name : {"tree", "files", "checksums", "digest", "base64", "type", "id", "log"}) {
    EXPECT_THAT(help, HasSubstr("\n  " + std::string(name) + " "));
    EXPECT_THAT(printed({name, "--help"}), HasSubstr("Usage: orv " + std::string(name)));
  }
  EXPECT_EQ(printed({"--version"}), "orv 1.0.0\n");
}

TEST(OrvCommand, BadUsageExitsWithTwoAndSaysWhat) {
  const std::vector<std::pair<Arguments, const char*>> cases = {
      {{}, "A subcommand is required"},
      {{"frobnicate"}, "There is no subcommand frobnicate"},
      {{"--frobnicate"}, "There is no option --frobnicate"},
      {{"tree"}, "FOLDER is required"},
      {{"files", "--json"}, "FOLDER is required"},
      {{"checksums", "a", "--compare"}, "--compare"},
      {{"digest"}, "FILE is required"},
      {{"type"}, "FILE is required"},
      {{"tree", ".", "other"}, "not expected: other"},
      {{"tree", "--json", "."}, "not expected: --json"},
      {{"digest", "--md5", "--sha1", "x"}, "excludes"},
      {{"id", "-n"}, "--count"},
      {{"id", "-n", "-1"}, "--count"},
      {{"id", "-n", "3x"}, "--count"},
      {{"id", "-n", "1000001"}, "--count"},
      {{"log", "extra"}, "not expected: extra"},
  };
  for (const auto& [arguments, what] : cases) {
    const ProcessResult result = runOrv(arguments);
    SCOPED_TRACE(what);
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.error, StartsWith("orv: "));
    EXPECT_THAT(result.error, HasSubstr(what));
  }
}

// ---- tree

TEST(OrvTree, IndentsAndTellsSizes) {
  makeSample();
  EXPECT_EQ(printed({"tree", "t"}),
            "    a.txt (3 bytes, x)\n"
            "    folder/\n"
            "    none (0 bytes, x)\n"
            "    sub/\n"
            "        b.json (2 bytes, x)\n"
            "        loop (2 bytes, x)\n"
            "        odd.zzq (1 bytes, x)\n");
  EXPECT_EQ(printed({"tree", "t/folder"}), "");
}

TEST(OrvTree, TheRootMayBeALinkToAFolder) {
  makeSample();
  fs::create_directory_symlink("t", place("link"));
  for (const char* subcommand : {"tree", "files", "checksums"})
    EXPECT_EQ(printed({subcommand, "link"}), printed({subcommand, "t"}));
}

TEST(OrvTree, BytesOfNamesSurvive) {
  writeFile("t/n\xff\xfe", "x");
  writeFile("t/\xc3\xa4\xf0\x9f\x98\x80", "x");
  EXPECT_EQ(printed({"tree", "t"}), "    n\xff\xfe (1 bytes, x)\n    \xc3\xa4\xf0\x9f\x98\x80 (1 bytes, x)\n");
}

// ---- files

TEST(OrvFiles, PrintsAlignedColumns) {
  writeFile("t/a.txt", "hi\n");
  makeSparse("t/sub/big.zzq", 12345);
  const Lines lines = linesOf(printed({"files", "t"}));
  ASSERT_THAT(lines, SizeIs(2));
  EXPECT_EQ(lines[0],
            "    3  98ea6e4f216f2fb4b69fff9b3a44842c38686ca685f3f55dc48c5d3fb1107be4  public.plain-text      "
            "text/plain  a.txt");
  EXPECT_THAT(lines[1], StartsWith("12345  "));
  EXPECT_THAT(lines[1], EndsWith("  -           sub/big.zzq"));
}

TEST(OrvFiles, LeavesOutHiddenFilesAndLinks) {
  makeSample();
  writeFile("t/.hidden", "x");
  const JSON rows = json(printed({"files", "--json", "t/"}));
  Lines paths;
  for (const JSON& row : rows.items()) paths.push_back(row["path"].text());
  EXPECT_THAT(paths, ElementsAre("a.txt", "none", "sub/b.json", "sub/odd.zzq"));
  EXPECT_EQ(rows.items()[0]["size"].number(), 3);
  EXPECT_EQ(rows.items()[0]["type"].text(), "public.plain-text");
  EXPECT_EQ(rows.items()[1]["sha256"].text(), kEmptySHA256);
  EXPECT_EQ(rows.items()[2]["mime"].text(), "application/json");
  EXPECT_TRUE(rows.items()[3]["mime"].isNull());
}

TEST(OrvFiles, BytesThatAreNotUTF8BecomeEscapesInJSON) {
  writeFile("t/n\xff\x80.txt", "x");
  EXPECT_THAT(printed({"files", "t"}), EndsWith("  n\xff\x80.txt\n"));
  const std::string text = printed({"files", "--json", "t"});
  EXPECT_THAT(text, HasSubstr("\"n\\udcff\\udc80.txt\""));
  EXPECT_EQ(json(text).items()[0]["path"].text(), "n\xff\x80.txt");
}

TEST(OrvFiles, NamesThatNeedEscapesStayReadableAsJSON) {
  const std::string name = "q\"b\\s\nl\tt\x01\x7f\xc3\xa4\xf0\x9f\x98\x80";
  writeFile("t/" + name, "x");
  EXPECT_EQ(json(printed({"files", "--json", "t"})).items()[0]["path"].text(), name);
  EXPECT_EQ(json(printed({"type", "--json", name})).items()[0]["file"].text(), name);
  EXPECT_EQ(json(printed({"digest", "--json", "t/" + name})).items()[0]["file"].text(), "t/" + name);
  EXPECT_THAT(json(printed({"checksums", "--json", "t"})).items()[0].text(),
              StartsWith("/" + name + "; size=1"));
}

TEST(OrvFiles, AnEmptyFolderGivesNothing) {
  fs::create_directories(place("t"));
  EXPECT_EQ(printed({"files", "t"}), "");
  EXPECT_EQ(printed({"files", "--json", "t"}), "[]\n");
  EXPECT_EQ(printed({"checksums", "t"}), "");
  EXPECT_EQ(printed({"checksums", "--json", "t"}), "[]\n");
}

// ---- checksums

TEST(OrvChecksums, PrintsOneSortedLineForEveryItem) {
  makeSample();
  const Lines lines = linesOf(printed({"checksums", "t"}));
  EXPECT_TRUE(std::is_sorted(lines.begin(), lines.end()));
  ASSERT_THAT(lines, SizeIs(5));
  EXPECT_EQ(lines[0], "/a.txt; size=3 hash=98ea6e4f216f2fb4b69fff9b3a44842c38686ca685f3f55dc48c5d3fb1107be4");
  EXPECT_EQ(lines[2], "/loop/sub; size=2 hash=" + kEmptySHA256);
  Lines fromJSON;
  const JSON asJSON = json(printed({"checksums", "t", "--json"}));
  for (const JSON& line : asJSON.items()) fromJSON.push_back(line.text());
  EXPECT_EQ(fromJSON, lines);
}

TEST(OrvChecksums, EqualFoldersCompareSilently) {
  makeSample();
  fs::copy(place("t"), place("copy"), fs::copy_options::recursive | fs::copy_options::copy_symlinks);
  EXPECT_EQ(printed({"checksums", "t", "--compare", "copy"}), "");
  const JSON difference = json(printed({"checksums", "t", "--compare", "copy", "--json"}));
  EXPECT_THAT(difference["onlyInFirst"].items(), IsEmpty());
  EXPECT_THAT(difference["onlyInSecond"].items(), IsEmpty());
}

TEST(OrvChecksums, OneChangedByteIsADifference) {
  writeFile("one/same", "same");
  writeFile("one/a.txt", "hi\n");
  writeFile("two/same", "same");
  writeFile("two/a.txt", "ho\n");
  const ProcessResult result = runOrv({"checksums", "one", "--compare", "two"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.error, "");
  EXPECT_THAT(linesOf(result.output),
              ElementsAre(StartsWith("- /a.txt; size=3 hash=98ea6e4f"), StartsWith("+ /a.txt; size=3 hash=")));
  const ProcessResult asJSON = runOrv({"checksums", "--json", "one", "--compare", "two"});
  EXPECT_EQ(asJSON.exitStatus, 1);
  EXPECT_THAT(json(asJSON.output)["onlyInFirst"].items(), SizeIs(1));
  EXPECT_THAT(json(asJSON.output)["onlyInSecond"].items(), SizeIs(1));
}

TEST(OrvChecksums, NothingIsComparedWithAFolderThatIsNotThere) {
  makeSample();
  for (const Arguments& arguments : {Arguments{"checksums", "t", "--compare", "nowhere"},
                                     Arguments{"checksums", "nowhere", "--compare", "t"}}) {
    const ProcessResult result = runOrv(arguments);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.error, "orv: nowhere: No such file or directory\n");
  }
}

// ---- digest

TEST(OrvDigest, AgreesWithTheSystemsTools) {
  Arguments names = {"plain", "with blank", "back\\slash", "line\nfeed", "carriage\rreturn",
                     "n\xff", "[a,b]",      "[]",          "-",          "empty"};
  for (const std::string& name : names) writeFile(name, name == "empty" ? "" : "contents of " + name);
  std::replace(names.begin(), names.end(), std::string("-"), std::string("./-"));
  for (const std::string kind : {"md5", "sha1", "sha256"}) {
    Arguments arguments = {"digest", "--" + kind};
    arguments.insert(arguments.end(), names.begin(), names.end());
    const std::string ours = printed(arguments);
    EXPECT_EQ(ours, system(kind + "sum", names).output) << kind;
    const ProcessResult check = system(kind + "sum", {"-c", "--strict", "--status"}, ours);
    EXPECT_EQ(check.exitStatus, 0) << check.error;
  }
}

TEST(OrvDigest, ReadsStandardInput) {
  EXPECT_EQ(printed({"digest", "-"}, "hi\n"),
            "98ea6e4f216f2fb4b69fff9b3a44842c38686ca685f3f55dc48c5d3fb1107be4  -\n");
  EXPECT_EQ(printed({"digest", "-"}), kEmptySHA256 + "  -\n");
}

TEST(OrvDigest, FileNamesMayBeginWithAHyphenOrBeNamesOfSubcommands) {
  writeFile("-x", "");
  writeFile("digest", "");
  EXPECT_EQ(printed({"digest", "digest", "--", "-x"}), kEmptySHA256 + "  digest\n" + kEmptySHA256 + "  -x\n");
  EXPECT_EQ(printed({"digest", "--", "-x", "digest"}), kEmptySHA256 + "  -x\n" + kEmptySHA256 + "  digest\n");
  EXPECT_THAT(linesOf(printed({"type", "--", "--json", "--", "-h"})),
              ElementsAre(StartsWith("--json "), StartsWith("-- "), StartsWith("-h ")));
}

TEST(OrvDigest, DoesTheRestWhenFilesAreMissing) {
  writeFile("a", "");
  writeFile("z", "");
  fs::create_directory(place("folder"));
  fs::create_symlink("loop", place("loop"));
  const ProcessResult result = runOrv({"digest", "a", "no\nname\x1b", "folder", "loop", "", "z"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.output, kEmptySHA256 + "  a\n" + kEmptySHA256 + "  z\n");
  EXPECT_THAT(linesOf(result.error),
              ElementsAre("orv: no\\nname\\x1b: No such file or directory", "orv: folder: Is a directory",
                          "orv: loop: Too many levels of symbolic links", "orv: : No such file or directory"));
  const ProcessResult asJSON = runOrv({"digest", "--json", "a", "missing"});
  EXPECT_EQ(asJSON.exitStatus, 1);
  EXPECT_THAT(json(asJSON.output).items(), SizeIs(1));
}

TEST(OrvDigest, TellsOfAFileThatGrowsMeanwhile) {
  makeSparse("big", uintmax_t{1} << 30);
  for (const Arguments& arguments :
       {Arguments{"digest", "big"}, Arguments{"files", "."}, Arguments{"checksums", "."}}) {
    Process process(orvCommand(arguments));
    ASSERT_TRUE(process.waitUntilReading(place("big")));
    process.stop();
    std::ofstream(place("big"), std::ios::app) << "more";
    process.goOn();
    const ProcessResult result = process.finish();
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.error, EndsWith("big: the file was changed while it was read\n"));
    EXPECT_THAT(linesOf(result.error), SizeIs(1));
  }
}

// ---- base64

constexpr size_t kLongest = kSanitized ? 20 : 100;  // four processes for each length

TEST(OrvBase64, AgreesWithTheSystemsToolAtEveryLength) {
  for (size_t length = 0; length <= kLongest; ++length) {
    const std::string bytes = bytesUpTo(length);
    const std::string ours = printed({"base64"}, bytes);
    ASSERT_EQ(ours, system("base64", {"-w0"}, bytes).output + "\n");
    ASSERT_EQ(system("base64", {"-d"}, ours).output, bytes);
    ASSERT_EQ(printed({"base64", "-d"}, ours), bytes);
    ASSERT_EQ(printed({"base64", "--decode"}, system("base64", {"-w7"}, bytes).output), bytes);
  }
}

TEST(OrvBase64, TheCanonicalFormIsURLSafeAndUnpadded) {
  for (size_t length = 0; length <= kLongest; ++length) {
    const std::string bytes = bytesUpTo(length);
    const std::string text = printed({"base64", "--canonical"}, bytes);
    ASSERT_EQ(text.find_first_of("+/="), std::string::npos);
    ASSERT_EQ(printed({"base64", "--canonical", "-d"}, text), bytes);
  }
  EXPECT_EQ(printed({"base64", "--canonical"}, "\xfb\xff\xfe!"), "-__-IQ\n");
}

TEST(OrvBase64, RefusesWhatIsNotBase64) {
  for (const char* text : {"ab!c", "a", "ab", "abc", "ab=c", "ab==cd", "====", "a b c d", "YQ==\t"}) {
    const ProcessResult result = runOrv({"base64", "-d"}, text);
    EXPECT_EQ(result.exitStatus, 1) << text;
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.error, "orv: standard input: not valid Base64\n");
  }
  writeFile("bad", "?");
  EXPECT_EQ(runOrv({"base64", "-d", "bad"}).error, "orv: bad: not valid Base64\n");
}

TEST(OrvBase64, ReadsAFile) {
  writeFile("[x,y]", "hello");
  EXPECT_EQ(printed({"base64", "[x,y]"}), "aGVsbG8=\n");
  const ProcessResult missing = runOrv({"base64", "nowhere"});
  EXPECT_EQ(missing.exitStatus, 1);
  EXPECT_EQ(missing.error, "orv: nowhere: No such file or directory\n");
  EXPECT_EQ(runOrv({"base64", "."}).error, "orv: .: Is a directory\n");
}

// ---- type and id

TEST(OrvType, TellsTypeMIMETypeAndExtension) {
  fs::create_directories(place("folder"));
  EXPECT_EQ(printed({"type", "a.txt", "b.json", "type", "[a,b]"}),
            "a.txt   public.plain-text  text/plain                txt\n"
            "b.json  public.json        application/json          json\n"
            "type    public.data        application/octet-stream  bin\n"
            "[a,b]   public.data        application/octet-stream  bin\n");
  const JSON rows = json(printed({"type", "--json", "folder", "a.zzq"}));
  EXPECT_EQ(rows.items()[0]["type"].text(), "public.folder");
  EXPECT_TRUE(rows.items()[0]["mime"].isNull());
  EXPECT_EQ(rows.items()[1]["extension"].text(), "zzq");
}

TEST(OrvId, PrintsAsManyAsAskedForAllDifferent) {
  Lines ids = linesOf(printed({"id", "-n", "1000"}));
  ASSERT_THAT(ids, SizeIs(1000));
  for (const std::string& id : ids) {
    EXPECT_EQ(id.size(), 22u);
    EXPECT_EQ(id.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"),
              std::string::npos);
  }
  std::sort(ids.begin(), ids.end());
  EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end());
  EXPECT_THAT(linesOf(printed({"id"})), SizeIs(1));
  EXPECT_EQ(printed({"id", "--count", "0"}), "");
}

TEST(OrvId, TheShortFormHasTwentySixDigitsAndCapitals) {
  const JSON rows = json(printed({"id", "--short", "--json", "-n", "3"}));
  ASSERT_THAT(rows.items(), SizeIs(3));
  for (const JSON& row : rows.items()) {
    EXPECT_EQ(row["id"].text().size(), 26u);
    EXPECT_EQ(row["id"].text().find_first_not_of("0123456789ABCDEFGHJKMNPQRSTVWXYZ"), std::string::npos);
  }
}

// ---- log

TEST(OrvLogCommand, ShowsTheLastRunsAndRotatesNothing) {
  makeSample();
  const ProcessResult none = runOrv({"log"});
  EXPECT_EQ(none.exitStatus, 1);
  EXPECT_THAT(none.error, EndsWith("orv.log: there is no log yet\n"));
  printed({"tree", "t"});
  printed({"digest", "t/a.txt"});
  for (int i = 0; i < 3; ++i) {
    EXPECT_THAT(printed({"log"}), EndsWith(" [orv] digest of 1 files\n"));
    EXPECT_THAT(printed({"log", "--previous"}), EndsWith(" [orv] tree of t\n"));
    printed({"id"});
  }
  const std::string path = linesOf(printed({"log", "--path"}))[0];
  EXPECT_EQ(path, testFolder() + "/world/XDG_STATE_HOME/Logs/orv/orv.log");
  EXPECT_EQ(readFile(path), printed({"log"}));
  EXPECT_THAT(printed({"log", "--previous", "--path"}), EndsWith("/Logs/orv/orv-prev.log\n"));
}

TEST(OrvLogCommand, WithoutAPlaceForLogsTheCommandsStillWork) {
  makeSample();
  Command command = orvCommand({"tree", "t/folder"});
  for (auto& [name, value] : command.environment) value = "/proc/nowhere";
  const ProcessResult result = runProcess(command);
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.output + result.error, "");
}

// ---- what goes wrong

TEST(OrvFailures, AFileIsNoFolder) {
  writeFile("file", "x");
  for (const char* subcommand : {"tree", "files", "checksums"}) {
    const ProcessResult result = runOrv({subcommand, "file"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.error, "orv: file: Not a directory\n");
    EXPECT_EQ(runOrv({subcommand, "nowhere"}).error, "orv: nowhere: No such file or directory\n");
    EXPECT_EQ(runOrv({subcommand, ""}).error, "orv: : No such file or directory\n");
  }
}

TEST(OrvFailures, WhatCannotBeReadIsToldAndTheRestIsDone) {
  writeFile("t/open", "x");
  writeFile("t/secret", "x");
  writeFile("t/closed/inside", "x");
  fs::permissions(place("t/secret"), fs::perms::none);
  fs::permissions(place("t/closed"), fs::perms::none);
  const std::string closed = "orv: t/closed: Permission denied\n";
  const std::string secret = "orv: t/secret: Permission denied\n";
  const std::vector<std::pair<const char*, std::string>> cases = {
      {"tree", closed}, {"files", closed + secret}, {"checksums", closed + secret}};
  for (const auto& [subcommand, error] : cases) {
    Command command = orvCommand({subcommand, "t"});
    command.obeysPermissions = true;
    const ProcessResult result = runProcess(command);
    SCOPED_TRACE(subcommand);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.error, error);
    EXPECT_THAT(result.output, HasSubstr("open"));
    EXPECT_THAT(result.output, testing::Not(HasSubstr("inside")));
  }
  Command command = orvCommand({"digest", "t/secret"});
  command.obeysPermissions = true;
  EXPECT_EQ(runProcess(command).error, secret);
  fs::permissions(place("t/closed"), fs::perms::owner_all);
}

TEST(OrvFailures, AFullDiskIsOneLine) {
  makeSample();
  writeFile("large", std::string(200000, 'x'));
  for (const Arguments& arguments : {Arguments{"tree", "t"},
                                     {"files", "t"},
                                     {"files", "--json", "t"},
                                     {"checksums", "t"},
                                     {"digest", "large"},
                                     {"base64", "large"},
                                     {"type", "a"},
                                     {"id", "-n", "20000"},
                                     {"log", "--path"},
                                     {"--help"},
                                     {"--version"}}) {
    Command command = orvCommand(arguments);
    command.outputFile = "/dev/full";
    const ProcessResult result = runProcess(command);
    SCOPED_TRACE(arguments[0]);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.error, "orv: standard output: No space left on device\n");
  }
}

TEST(OrvFailures, AClosedPipeEndsItQuietly) {
  writeFile("large", std::string(1 << 20, 'x'));
  for (const Arguments& arguments : {Arguments{"base64", "large"}, {"id", "-n", "100000"}, {"--help"}}) {
    Command command = orvCommand(arguments);
    command.closedOutput = true;
    const ProcessResult result = runProcess(command);
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ(result.signal, SIGPIPE);
    EXPECT_FALSE(result.dumpedCore);
    EXPECT_EQ(result.error, "");
  }
}

TEST(OrvFailures, NothingUnderExaminationIsChanged) {
  makeSample();
  writeFile("t/n\xff", "x");
  fs::create_directories(place("other"));
  const auto before = stateOf(place(""));
  for (const Arguments& arguments : {Arguments{"tree", "t"},
                                     {"files", "t"},
                                     {"files", "t", "--json"},
                                     {"checksums", "t"},
                                     {"checksums", "t", "--compare", "other"},
                                     {"digest", "t/a.txt"},
                                     {"base64", "t/a.txt"},
                                     {"type", "t/a.txt"},
                                     {"id"},
                                     {"log"}})
    runOrv(arguments);
  EXPECT_EQ(stateOf(place("")), before);
  Lines written;
  for (const auto& entry : fs::recursive_directory_iterator(testFolder() + "/world"))
    if (entry.is_regular_file()) written.push_back(entry.path().filename());
  EXPECT_THAT(written, testing::UnorderedElementsAre("orv.log", "orv-prev.log"));
}

// ---- progress

namespace {

// A run on a terminal that is halted for longer than the bar's half second, in the middle of the work.
ProcessResult runSlowly(const Arguments& arguments, const std::string& file) {
  Command command = orvCommand(arguments);
  command.terminal = true;
  Process process(command);
  EXPECT_TRUE(process.waitUntilReading(place(file)));
  process.stop();
  std::this_thread::sleep_for(std::chrono::milliseconds(600));
  process.goOn();
  return process.finish();
}

// Only a run that takes longer than the bar's half second shows one. On a busy machine any may; some are quick.
void expectNoBarWhenQuick(const Command& command) {
  using Clock = std::chrono::steady_clock;
  bool quick = false;
  for (int tries = 0; !quick && tries < 50; ++tries) {
    const auto begin = Clock::now();
    const ProcessResult result = runProcess(command);
    quick = Clock::now() - begin < std::chrono::milliseconds(500);
    EXPECT_TRUE(result.error.empty() || !quick) << result.error;
  }
}

}  // namespace

TEST(OrvProgress, ABarAppearsOnATerminalAndIsWipedAway) {
  makeSparse("t/big", uintmax_t{1} << 29);
  for (int i = 0; i < 40; ++i) makeSparse("t/small" + std::to_string(i), uintmax_t{1} << 20);
  for (const Arguments& arguments : {Arguments{"checksums", "t"}, {"files", "t"}, {"digest", "t/big"}}) {
    const ProcessResult result = runSlowly(arguments, "t/big");
    SCOPED_TRACE(arguments[0]);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_THAT(result.error, StartsWith("\rReading ["));
    EXPECT_THAT(result.error, HasSubstr("%"));
    EXPECT_THAT(result.error, EndsWith("\r\033[K"));
  }
}

TEST(OrvProgress, ThereIsNoBarForShortWorkOrWithoutATerminal) {
  makeSample();
  for (const Arguments& arguments : {Arguments{"checksums", "t"}, {"files", "t"}, {"digest", "t/a.txt"}}) {
    Command command = orvCommand(arguments);
    command.terminal = true;
    expectNoBarWhenQuick(command);
  }
  makeSparse("big", uintmax_t{1} << 29);
  Process process(orvCommand({"digest", "big"}));
  ASSERT_TRUE(process.waitUntilReading(place("big")));
  process.stop();
  std::this_thread::sleep_for(std::chrono::milliseconds(600));
  process.goOn();
  EXPECT_EQ(process.finish().error, "");
}

// ---- Ctrl-C

TEST(OrvInterrupt, EndsCleanlyWithoutHalfWrittenOutput) {
  makeSparse("t/big", uintmax_t{1} << 34);
  writeFile("t/a.txt", "");
  for (const int number : {SIGINT, SIGTERM})
    for (const Arguments& arguments : {Arguments{"checksums", "t"},
                                       {"checksums", "--json", "t"},
                                       {"digest", "t/a.txt", "t/big"},
                                       {"digest", "--json", "t/a.txt", "t/big"}}) {
      SCOPED_TRACE(arguments[0] + " " + arguments[1]);
      Process process(orvCommand(arguments));
      ASSERT_TRUE(process.waitUntilReading(place("t/big")));
      ::kill(process.id(), number);
      const ProcessResult result = process.finish();
      EXPECT_EQ(result.exitStatus, 130);
      EXPECT_FALSE(result.timedOut);
      EXPECT_EQ(result.error, "");
      EXPECT_THAT(result.output, AnyOf("", kEmptySHA256 + "  t/a.txt\n"));
    }
}

TEST(OrvInterrupt, DoesNotWaitForInputThatNeverComes) {
  const Command command = orvCommand({"digest", "pipe"});
  ASSERT_EQ(::mkfifo(place("pipe").c_str(), 0600), 0);
  const int end = ::open(place("pipe").c_str(), O_RDWR | O_CLOEXEC);
  Process process(command);
  ASSERT_EQ(::write(end, "some", 4), 4);
  for (int left = 4; left > 0;) ::ioctl(end, FIONREAD, &left);  // until it was read
  ::kill(process.id(), SIGINT);
  EXPECT_EQ(process.finish().exitStatus, 130);
  ::close(end);
}
