#include "Platform/Security/Digest.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <random>
#include <string>
#include <thread>
#include <vector>

using orv::detail::Digest;
using orv::detail::DigestAlgorithm;
using orv::detail::DigestBytes;
using orv::detail::digestLength;
using orv::detail::digestOf;

namespace {

constexpr DigestAlgorithm kAll[] = {DigestAlgorithm::MD5, DigestAlgorithm::SHA1, DigestAlgorithm::SHA256};

std::string hex(const DigestBytes& digest) {
  std::string text(2 * digest.length, '#');
  digest.writeHex(text.data());
  return text;
}

std::string hexOf(DigestAlgorithm algorithm, const std::string& text) {
  return hex(digestOf(algorithm, text.data(), text.size()));
}

std::string byOpenSSL(DigestAlgorithm algorithm, const std::string& text) {
  const EVP_MD* method = algorithm == DigestAlgorithm::MD5    ? EVP_md5()
                         : algorithm == DigestAlgorithm::SHA1 ? EVP_sha1()
                                                              : EVP_sha256();
  DigestBytes digest;
  unsigned length = 0;
  EXPECT_EQ(EVP_Digest(text.data(), text.size(), digest.bytes.data(), &length, method, nullptr), 1);
  digest.length = length;
  return hex(digest);
}

}  // namespace

TEST(Digest, KnowsThePublishedExamples) {
  EXPECT_EQ(hexOf(DigestAlgorithm::MD5, ""), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(hexOf(DigestAlgorithm::MD5, "abc"), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(hexOf(DigestAlgorithm::SHA1, "abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(hexOf(DigestAlgorithm::SHA256, ""),
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(hexOf(DigestAlgorithm::SHA256, "abc"),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(Digest, EveryLengthAgreesWithOpenSSLInOneAndInPieces) {
  std::mt19937 random(1);
  for (size_t length = 0; length < 300; ++length) {
    std::string text(length, '\0');
    for (char& c : text) c = static_cast<char>(random());
    for (const DigestAlgorithm algorithm : kAll) {
      const std::string expected = byOpenSSL(algorithm, text);
      ASSERT_EQ(hexOf(algorithm, text), expected);
      ASSERT_EQ(expected.size(), 2 * digestLength(algorithm));
      Digest digest(algorithm);
      for (size_t at = 0; at < length;) {
        const size_t piece = std::min<size_t>(random() % 70, length - at);
        digest.update(text.data() + at, piece);
        at += piece;
      }
      ASSERT_EQ(hex(digest.finish()), expected);
    }
  }
}

TEST(Digest, BeginsAnewAfterItsEnd) {
  Digest digest(DigestAlgorithm::SHA256);
  digest.update("abc", 3);
  const std::string first = hex(digest.finish());
  digest.update("abc", 3);
  EXPECT_EQ(hex(digest.finish()), first);
  EXPECT_EQ(hex(digest.finish()), hexOf(DigestAlgorithm::SHA256, ""));
}

TEST(Digest, ThreadsDoNotMeet) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t] {
      const std::string text(static_cast<size_t>(t) * 100, static_cast<char>('a' + t));
      for (int i = 0; i < 500; ++i)
        for (const DigestAlgorithm algorithm : kAll)
          EXPECT_EQ(hexOf(algorithm, text), byOpenSSL(algorithm, text));
    });
  for (std::thread& thread : threads) thread.join();
}
