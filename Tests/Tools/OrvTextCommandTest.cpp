#include <string>

#include "Tests/Tools/OrvHarness.h"

using testing::HasSubstr;

namespace {

void expectFailure(Arguments arguments, const std::string& output, const std::string& error) {
  const ProcessResult result = runOrv(std::move(arguments));
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.output, output);
  EXPECT_EQ(result.error, error);
}

}  // namespace

TEST(OrvName, MakesSafeNames) {
  EXPECT_EQ(printed({"name", "a/b:c?.txt"}), "ab:c.txt\n");
  EXPECT_EQ(printed({"name", "\u041C\u043E\u0441\u043A\u0432\u0430", " M\u00FCller "}), "Moskva\nMuller\n");
  EXPECT_EQ(printed({"name", "--folder", "2024/\u00DCbung?/x"}), "2024/Ubung/x\n");
  const std::string longName(300, 'x');
  EXPECT_EQ(printed({"name", longName}).size(), 251u);
  EXPECT_EQ(printed({"name", "--", "-a/", "[b]"}), "-a\nb\n");
}

TEST(OrvName, PrintsJSON) {
  JSON rows = json(printed({"name", "--json", "a/b"}));
  EXPECT_EQ(rows.items().size(), 1u);
  EXPECT_EQ(rows.items()[0]["text"].text(), "a/b");
  EXPECT_EQ(rows.items()[0]["name"].text(), "ab");
}

TEST(OrvName, TellsWhenNoNameIsLeft) {
  expectFailure({"name", "///", "ok"}, "ok\n", "orv: ///: no name is left of this\n");
  EXPECT_EQ(runOrv({"name"}).exitStatus, 2);
}

TEST(OrvText, RunsEachOperation) {
  const std::pair<const char*, std::pair<const char*, const char*>> cases[] = {
      {"strip", {"  a  b ", "a  b"}},
      {"collapse", {" a \t b\n", "a b"}},
      {"lines", {"a\n  b  c \n\nx", "b c"}},
      {"plain", {"Cr\u00E8me \u03B1\u03B2", "Creme ab"}},
      {"repr", {"it's\n", "\"it\\'s\\n\""}},
      {"escape", {"<a & \"b\">", "&lt;a &amp; &quot;b&quot;&gt;"}},
      {"url", {"1 2/\u00E9", "1%202%2F%C3%A9"}},
  };
  for (const auto& [operation, texts] : cases) {
    EXPECT_EQ(printed({"text", operation, texts.first}), std::string(texts.second) + "\n") << operation;
    EXPECT_EQ(printed({"text", operation}, texts.first + std::string("\n")), std::string(texts.second) + "\n")
        << operation;
  }
}

TEST(OrvText, TakesEveryArgumentAsATextOfItsOwn) {
  EXPECT_EQ(printed({"text", "strip", " a ", "[x] ", ""}), "a\n[x]\n\n");
  EXPECT_EQ(printed({"text", "strip", "--", " a", "-b "}), "a\n-b\n");
}

TEST(OrvText, PrintsJSON) {
  JSON rows = json(printed({"text", "--json", "repr", "a\tb"}));
  EXPECT_EQ(rows.items()[0]["text"].text(), "a\tb");
  EXPECT_EQ(rows.items()[0]["result"].text(), "\"a\\tb\"");
}

TEST(OrvText, BytesThatAreNoUtf8PassOrAreRefused) {
  EXPECT_EQ(printed({"text", "escape", "<\xFF"}), "&lt;\xFF\n");
  EXPECT_EQ(printed({"text", "collapse"}, "a  \xFF\n"), "a \xFF\n");
  expectFailure({"text", "url", "\xFF"}, "", "orv: \xFF: not valid UTF-8\n");
}

TEST(OrvText, RefusesAnUnknownOperation) {
  const ProcessResult result = runOrv({"text", "shout", "a"});
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_THAT(result.error, HasSubstr("shout"));
  EXPECT_EQ(runOrv({"text"}).exitStatus, 2);
}

TEST(OrvDistance, PrintsDistanceAndQuotient) {
  EXPECT_EQ(printed({"distance", "kitten", "sitting"}), "3  0.46153846153846156\n");
  EXPECT_EQ(printed({"distance", "a", "a"}), "0  0\n");
  EXPECT_EQ(printed({"distance", "", "a"}), "-1  1\n");
  JSON row = json(printed({"distance", "--json", "ab", "c"})).items()[0];
  EXPECT_EQ(row["distance"].number(), 2);
  EXPECT_EQ(row["quotient"].number(), 2 / 1.5);
  EXPECT_EQ(runOrv({"distance", "a"}).exitStatus, 2);
}

TEST(OrvQuery, BuildsWithSortedKeys) {
  EXPECT_EQ(printed({"query", "build", "b=1 2", "a=x&y", "c=\u00E9"}), "a=x&y&b=1%202&c=%C3%A9\n");
  EXPECT_EQ(printed({"query", "build", "a=1=2", "e="}), "a=1=2&e=\n");
  EXPECT_EQ(json(printed({"query", "--json", "build", "a=1"})).items()[0]["query"].text(), "a=1");
  expectFailure({"query", "build", "a=1", "b"}, "", "orv: b: not of the form KEY=VALUE\n");
  expectFailure({"query", "build", "a=\xFF"}, "", "orv: a=\xFF: not valid UTF-8\n");
}

TEST(OrvQuery, ParsesIntoPairs) {
  EXPECT_EQ(printed({"query", "parse", "a=1%202&bb=x=y"}), "a   1 2\nbb  x\n");
  JSON rows = json(printed({"query", "parse", "--json", "a=&b=2"}));
  EXPECT_EQ(rows.items().size(), 2u);
  EXPECT_EQ(rows.items()[1]["key"].text(), "b");
  EXPECT_EQ(rows.items()[1]["value"].text(), "2");
  expectFailure({"query", "parse", "a=1&b"}, "", "orv: a=1&b: a piece without \"=\"\n");
  EXPECT_EQ(runOrv({"query", "shuffle", "a=1"}).exitStatus, 2);
}
