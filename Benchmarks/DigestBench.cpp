// Digests and Base64 beside the libraries that one would call directly.

#include <benchmark/benchmark.h>
#include <glib.h>
#include <openssl/evp.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "Benchmarks/Support.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSString.h"

namespace {

constexpr size_t kMebibyte = size_t{1} << 20;

std::string bytesOf(size_t count) {
  std::string bytes(count, 0);
  uint32_t x = 1;
  for (char& b : bytes) b = static_cast<char>((x = x * 1664525 + 1013904223) >> 24);
  return bytes;
}

// The same answer as ours, by the shortest way through OpenSSL: algorithm fetched once, context kept.
NSString hexByEVP(const EVP_MD* algorithm, EVP_MD_CTX* context, const std::string& bytes) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  EVP_DigestInit_ex2(context, algorithm, nullptr);
  EVP_DigestUpdate(context, bytes.data(), bytes.size());
  EVP_DigestFinal_ex(context, digest, &length);
  char hex[2 * EVP_MAX_MD_SIZE];
  for (unsigned i = 0; i < length; ++i) {
    hex[2 * i] = "0123456789abcdef"[digest[i] >> 4];
    hex[2 * i + 1] = "0123456789abcdef"[digest[i] & 15];
  }
  return std::string_view(hex, 2 * length);
}

void sha256Ours(benchmark::State& state, size_t size) {
  const NSData data = NSData::dataWithBytes(bytesOf(size));
  for (auto _ : state) benchmark::DoNotOptimize(data.zuSHA256HexString());
}

void md5Ours(benchmark::State& state, size_t size) {
  const NSData data = NSData::dataWithBytes(bytesOf(size));
  for (auto _ : state) benchmark::DoNotOptimize(data.zuMD5HexString());
}

void digestEVP(benchmark::State& state, const char* name, size_t size) {
  const std::string bytes = bytesOf(size);
  EVP_MD* algorithm = EVP_MD_fetch(nullptr, name, nullptr);
  EVP_MD_CTX* context = EVP_MD_CTX_new();
  const NSData data = NSData::dataWithBytes(bytes);
  const NSString ours = std::strcmp(name, "MD5") == 0 ? data.zuMD5HexString() : data.zuSHA256HexString();
  if (hexByEVP(algorithm, context, bytes) != ours) state.SkipWithError("the digests differ");
  for (auto _ : state) benchmark::DoNotOptimize(hexByEVP(algorithm, context, bytes));
  EVP_MD_CTX_free(context);
  EVP_MD_free(algorithm);
}

void encodeOurs(benchmark::State& state) {
  const NSData data = NSData::dataWithBytes(bytesOf(kMebibyte));
  for (auto _ : state) benchmark::DoNotOptimize(data.toBase64String());
}

void encodeEVP(benchmark::State& state) {
  const std::string bytes = bytesOf(kMebibyte);
  std::vector<unsigned char> text(kMebibyte * 4 / 3 + 8);
  for (auto _ : state)
    benchmark::DoNotOptimize(EVP_EncodeBlock(text.data(), reinterpret_cast<const unsigned char*>(bytes.data()),
                                             static_cast<int>(bytes.size())));
}

void encodeGLib(benchmark::State& state) {
  const std::string bytes = bytesOf(kMebibyte);
  for (auto _ : state) g_free(g_base64_encode(reinterpret_cast<const guchar*>(bytes.data()), bytes.size()));
}

void decodeOurs(benchmark::State& state) {
  const NSString text = NSData::dataWithBytes(bytesOf(kMebibyte)).toBase64String();
  for (auto _ : state) benchmark::DoNotOptimize(text.dataFromBase64());
}

void decodeEVP(benchmark::State& state) {
  const std::string text = NSData::dataWithBytes(bytesOf(kMebibyte)).toBase64String().utf8();
  std::vector<unsigned char> bytes(text.size());
  for (auto _ : state)
    benchmark::DoNotOptimize(EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                             static_cast<int>(text.size())));
}

void decodeGLib(benchmark::State& state) {
  const std::string text = NSData::dataWithBytes(bytesOf(kMebibyte)).toBase64String().utf8();
  for (auto _ : state) {
    gsize length = 0;
    g_free(g_base64_decode(text.c_str(), &length));
  }
}

}  // namespace

BENCHMARK_CAPTURE(sha256Ours, large, kMebibyte)->Name("digest/sha256-1MiB/ours");
BENCHMARK_CAPTURE(digestEVP, sha256, "SHA256", kMebibyte)->Name("digest/sha256-1MiB/evp");
BENCHMARK_CAPTURE(md5Ours, large, kMebibyte)->Name("digest/md5-1MiB/ours");
BENCHMARK_CAPTURE(digestEVP, md5, "MD5", kMebibyte)->Name("digest/md5-1MiB/evp");
BENCHMARK_CAPTURE(sha256Ours, small, size_t{64})->Name("digest/sha256-64B/ours");
BENCHMARK_CAPTURE(digestEVP, small, "SHA256", size_t{64})->Name("digest/sha256-64B/evp");
BENCHMARK(encodeOurs)->Name("base64/encode-1MiB/ours");
BENCHMARK(encodeEVP)->Name("base64/encode-1MiB/evp");
BENCHMARK(encodeGLib)->Name("base64/encode-1MiB/glib");
BENCHMARK(decodeOurs)->Name("base64/decode-1MiB/ours");
BENCHMARK(decodeEVP)->Name("base64/decode-1MiB/evp");
BENCHMARK(decodeGLib)->Name("base64/decode-1MiB/glib");

ORVANE_BENCHMARK_MAIN()
