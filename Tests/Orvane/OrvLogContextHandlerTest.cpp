#include "Orvane/OrvLogContextHandler.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>

#include "Platform/Foundation/Values/NSURL.h"
#include "Tests/Support/World.h"

using namespace orv;

namespace {

std::string contentsOf(const std::string& path) {
  std::ifstream in(path);
  const std::string text{std::istreambuf_iterator<char>(in), {}};
  return std::regex_replace(text, std::regex("[0-9-]{10}T[0-9:.]{12}Z"), "STAMP");
}

class OrvLogContextHandlerTest : public testing::Test {
 protected:
  void SetUp() override { OrvLog::sharedObject()->configure(); }
  void TearDown() override { OrvLog::sharedObject()->configure(); }

  static void add(const Ref<OrvLogContextHandler>& handler) {
    OrvLog::sharedObject()->logHandler().addObject(handler);
  }
  static void log(const NSString& context, const NSString& message) {
    OrvLog::sharedObject()->logLevelMessage(OrvLogLevelInfo, nullptr, nullptr, 0, context, message);
  }
};

}  // namespace

TEST_F(OrvLogContextHandlerTest, WritesTheMessagesOfItsContextAlone) {
  const std::string path = testFolder() + "/new/folder/sync.log";
  add(OrvLogContextHandler::initWithPath(path, "Sync"));
  log("Sync", "mine");
  log("sync", "other case");
  log("", "empty");
  log(nil, "none");
  EXPECT_EQ(contentsOf(path), "I|*    STAMP mine\n");
}

TEST_F(OrvLogContextHandlerTest, KeepsTheLinesOfEarlierRuns) {
  const std::string path = testFolder() + "/sync.log";
  std::ofstream(path) << "earlier\n";
  add(OrvLogContextHandler::initWithPath(NSURL::fileURLWithPath(path), "Sync"));
  log("Sync", "later");
  EXPECT_EQ(contentsOf(path), "earlier\nI|*    STAMP later\n");
}

TEST_F(OrvLogContextHandlerTest, KeepsThePathAsItWasGiven) {
  const NSURL url = NSURL::fileURLWithPath(testFolder() + "/a.log");
  EXPECT_EQ(OrvLogContextHandler::initWithPath(url, "A")->path(), Value(url));
  EXPECT_EQ(OrvLogContextHandler::initWithPath(NSString("/x"), "A")->className(), "OrvLogContextHandler");
}

TEST_F(OrvLogContextHandlerTest, APathThatIsNoneGivesAHandlerThatWritesNowhere) {
  for (const Value& path : {Value(), Value(1), Value(NSURL::URLWithString("http://h/x"))}) {
    const auto handler = OrvLogContextHandler::initWithPath(path, "A");
    handler->logLevelMessage(1, nullptr, nullptr, 0, "A", "m");
    handler->flush();
    EXPECT_TRUE(handler->path() == path);
  }
}

TEST_F(OrvLogContextHandlerTest, AHandlerWithoutAContextWritesNothing) {
  const std::string path = testFolder() + "/none.log";
  add(OrvLogContextHandler::initWithPath(path, nil));
  log(nil, "m");
  EXPECT_EQ(contentsOf(path), "");
  EXPECT_TRUE(std::filesystem::exists(path));
}
