#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include "Platform/Foundation/Files/URLFetch.h"
#include "Platform/Foundation/System/NSBundle.h"
#include "Platform/Foundation/Values/NSString.h"
#include "Tests/Support/HttpServer.h"
#include "Tests/Support/LogLines.h"
#include "Tests/Support/World.h"

using namespace orv;
namespace fs = std::filesystem;

namespace {

std::string served(const std::string& path) {
  const auto ok = [](const std::string& body) { return HttpServer::response("200 OK", body); };
  if (path == "/hello")
    return ok(
        "Gr\xC3\xBC\xC3\x9F"
        "e\n");
  if (path == "/empty") return ok("");
  if (path == "/bytes") return ok("abc\xFF");
  if (path == "/mark") return ok("\xEF\xBB\xBFx");
  if (path == "/here") return HttpServer::response("302 Found", "moved", "Location: /hello\r\n");
  if (path == "/loop") return HttpServer::response("302 Found", "", "Location: /loop\r\n");
  if (path == "/disk") return HttpServer::response("302 Found", "", "Location: file:///etc/hostname\r\n");
  if (path == "/large") return ok(std::string(100000, 'x'));
  if (path == "/endless") return "HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + std::string(100000, 'x');
  if (path == "/broken") return "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nonly this";
  if (path == "/nonsense") return "this is no response at all";
  return HttpServer::response("404 Not Found", "nothing here");
}

class Fetch : public testing::Test {
 protected:
  void SetUp() override {
    ::setenv("no_proxy", "*", 1);  // a proxy would not find this machine
    ::setenv("NO_PROXY", "*", 1);
  }

  NSString get(const std::string& path) const { return NSString(server_.url(path)).fetch(); }

  HttpServer server_{served};
};

std::string fileWith(const std::string& name, const std::string& contents) {
  const std::string path = testFolder() + "/" + name;
  std::ofstream(path, std::ios::binary) << contents;
  return path;
}

}  // namespace

TEST_F(Fetch, ReadsTextFromTheWeb) {
  EXPECT_EQ(get("/hello"),
            "Gr\xC3\xBC\xC3\x9F"
            "e\n");
  EXPECT_EQ(get("/empty"), "");
  EXPECT_EQ(get("/mark"), NSString(u"\uFEFFx"));
}

TEST_F(Fetch, FollowsRedirectsOnTheWebOnly) {
  EXPECT_EQ(get("/here"),
            "Gr\xC3\xBC\xC3\x9F"
            "e\n");
  EXPECT_TRUE(get("/loop").isNil());
  EXPECT_TRUE(get("/disk").isNil());
}

TEST_F(Fetch, EveryFailureIsNilAndSilent) {
  LogLines log;
  EXPECT_TRUE(get("/missing").isNil());
  EXPECT_TRUE(get("/bytes").isNil());
  EXPECT_TRUE(get("/broken").isNil());
  EXPECT_TRUE(get("/nonsense").isNil());
  EXPECT_TRUE(NSString("http://127.0.0.1:" + std::to_string(closedPort()) + "/").fetch().isNil());
  EXPECT_TRUE(NSString("no url").fetch().isNil());
  EXPECT_TRUE(NSString("relative").fetch().isNil());
  EXPECT_TRUE(NSString("ftp://127.0.0.1/x").fetch().isNil());
  EXPECT_TRUE(NSString("").fetch().isNil());
  EXPECT_TRUE(NSString().fetch().isNil());
  EXPECT_TRUE(log.take().empty());
}

TEST_F(Fetch, ContentsBeyondTheLimitAreRefused) {
  detail::FetchLimits limits;
  limits.bytes = 100000;
  for (const char* path : {"/large", "/endless"}) {
    const NSURL url = NSURL::URLWithString(server_.url(path));
    limits.bytes = 100000;
    EXPECT_EQ(detail::contentsOfURL(url, limits).value_or("").size(), 100000u) << path;
    limits.bytes = 99999;
    EXPECT_FALSE(detail::contentsOfURL(url, limits)) << path;
  }
  const NSURL file = NSURL::fileURLWithPath(fileWith("hundred", std::string(100, 'x')));
  limits.bytes = 100;
  EXPECT_TRUE(detail::contentsOfURL(file, limits));
  limits.bytes = 99;
  EXPECT_FALSE(detail::contentsOfURL(file, limits));
}

TEST(FetchLimits, AServerThatDoesNotAnswerIsGivenUp) {
  ::setenv("no_proxy", "*", 1);
  std::atomic<bool> release = false;
  const HttpServer slow([&](const std::string&) {
    while (!release) std::this_thread::yield();
    return std::string();
  });
  detail::FetchLimits limits;
  limits.time = std::chrono::milliseconds(200);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_FALSE(detail::contentsOfURL(NSURL::URLWithString(slow.url("/")), limits));
  const auto waited = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(waited, std::chrono::milliseconds(150));
  EXPECT_LT(waited, std::chrono::seconds(30));
  release = true;
}

TEST(FetchFiles, ReadsRegularFiles) {
  const std::string path = fileWith("a b.txt", "caf\xC3\xA9");
  EXPECT_EQ(NSURL::fileURLWithPath(path).absoluteString().fetch(), "caf\xC3\xA9");
  EXPECT_EQ(NSURL::fileURLWithPath(fileWith("none", "")).absoluteString().fetch(), "");
  EXPECT_TRUE(NSURL::fileURLWithPath(fileWith("latin1", "caf\xE9")).absoluteString().fetch().isNil());
  EXPECT_TRUE(NSString("file://" + testFolder() + "/missing").fetch().isNil());
  EXPECT_TRUE(NSString("file:///etc/hostname%00.txt").fetch().isNil());
  EXPECT_TRUE(NSString("file://elsewhere/etc/hostname").fetch().isNil());
  EXPECT_FALSE(NSString("file://localhost/etc/hostname").fetch().isNil());
  EXPECT_TRUE(NSString("file://" + testFolder()).fetch().isNil());
  const std::string pipe = testFolder() + "/pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_TRUE(NSString("file://" + pipe).fetch().isNil());
}

TEST(LC, ReadsTheMainBundlesTableInTheUsersLanguage) {
  const fs::path executable = NSBundle::mainBundle()->executablePath().utf8();
  const fs::path share = executable.parent_path().parent_path() / "share" / executable.filename();
  for (const auto& [language, text] : {std::pair("de", "Hallo"), std::pair("fr", "Bonjour")}) {
    fs::create_directories(share / (std::string(language) + ".lproj"));
    std::ofstream(share / (std::string(language) + ".lproj") / "Localizable.strings")
        << "Hello = \"" << text << "\";";
  }
  ::unsetenv("LANGUAGE");
  ::setenv("LC_ALL", "de_DE.UTF-8", 1);
  EXPECT_EQ(NSString("Hello").lc(), "Hallo");
  EXPECT_EQ(NSString("Goodbye").lc(), "Goodbye");
  EXPECT_EQ(NSString("").lc(), "");
  EXPECT_TRUE(NSString().lc().isNil());
  ::setenv("LC_ALL", "fr_CA.UTF-8", 1);
  EXPECT_EQ(NSString("Hello").lc(), "Bonjour");
  ::setenv("LC_ALL", "C", 1);
  EXPECT_EQ(NSString("Hello").lc(), "Hello");
  fs::remove_all(share);
  ::setenv("LC_ALL", "de_DE.UTF-8", 1);
  EXPECT_EQ(NSString("Hello").lc(), "Hallo");  // read once
}
