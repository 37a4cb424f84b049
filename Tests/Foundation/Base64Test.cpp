#include "Platform/Foundation/Text/Base64.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <random>
#include <string>
#include <vector>

using orv::detail::base64Decode;
using orv::detail::base64DecodedLength;
using orv::detail::base64Encode;
using orv::detail::base64EncodedLength;
using orv::detail::Base64Form;
using orv::detail::Base64Path;

namespace {

constexpr Base64Path kPaths[] = {Base64Path::Best, Base64Path::Plain, Base64Path::Avx2};
constexpr char kStandard[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string encode(const std::string& bytes, Base64Form form, Base64Path path = Base64Path::Best) {
  std::string text(base64EncodedLength(bytes.size(), form) + 1, '#');
  base64Encode(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), text.data(), form, path);
  EXPECT_EQ(text.back(), '#') << "written past the end";
  text.pop_back();
  return text;
}

// The decoded bytes, or "nil".
std::string decode(const std::string& text, Base64Form form, Base64Path path = Base64Path::Best) {
  const auto expected = base64DecodedLength(text.data(), text.size(), form);
  std::vector<uint8_t> out(expected.value_or(0) + 1, 0xA5);
  const auto length = base64Decode(text.data(), text.size(), out.data(), form, path);
  EXPECT_EQ(out.back(), 0xA5) << "written past the end";
  if (!length) return "nil";
  EXPECT_EQ(length, expected);
  return {reinterpret_cast<const char*>(out.data()), *length};
}

// The definition, bit by bit.
std::string encodedByDefinition(const std::string& bytes, Base64Form form) {
  std::string text;
  for (size_t bit = 0; bit < bytes.size() * 8; bit += 6) {
    int value = 0;
    for (size_t i = bit; i < bit + 6; ++i) {
      const bool set = i / 8 < bytes.size() && (static_cast<uint8_t>(bytes[i / 8]) >> (7 - i % 8) & 1) != 0;
      value = value * 2 + set;
    }
    char c = kStandard[value];
    if (form == Base64Form::Canonical) c = c == '+' ? '-' : c == '/' ? '_' : c;
    text += c;
  }
  if (form == Base64Form::Standard) text.resize((text.size() + 3) / 4 * 4, '=');
  return text;
}

std::string encodedByOpenSSL(const std::string& bytes) {
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
  const int length =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                      reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
  text.resize(static_cast<size_t>(length));
  return text;
}

std::string randomBytes(size_t length, uint32_t seed) {
  std::mt19937 random(seed);
  std::string bytes(length, '\0');
  for (char& c : bytes) c = static_cast<char>(random());
  return bytes;
}

bool inAlphabet(char c, Base64Form form) {
  return (c != '\0' && std::string_view(kStandard).find(c) != std::string_view::npos) ||
         (form == Base64Form::Canonical && (c == '-' || c == '_'));
}

}  // namespace

TEST(Base64, EveryLengthAgreesWithTheDefinitionAndOpenSSL) {
  for (size_t length = 0; length <= 300; ++length) {
    const std::string bytes = randomBytes(length, static_cast<uint32_t>(length));
    ASSERT_EQ(encodedByDefinition(bytes, Base64Form::Standard), encodedByOpenSSL(bytes));
    for (const Base64Form form : {Base64Form::Standard, Base64Form::Canonical})
      for (const Base64Path path : kPaths)
        ASSERT_EQ(encode(bytes, form, path), encodedByDefinition(bytes, form)) << length << " bytes";
  }
}

TEST(Base64, EveryLengthComesBack) {
  for (size_t length = 0; length <= 300; ++length) {
    const std::string bytes = randomBytes(length, static_cast<uint32_t>(length) + 1000);
    for (const Base64Path path : kPaths) {
      ASSERT_EQ(decode(encode(bytes, Base64Form::Standard), Base64Form::Standard, path), bytes);
      ASSERT_EQ(decode(encode(bytes, Base64Form::Standard), Base64Form::Canonical, path), bytes);
      // Kept: of unpadded texts, those whose last group has three characters are refused.
      const std::string expected = length % 3 == 2 ? "nil" : bytes;
      ASSERT_EQ(decode(encode(bytes, Base64Form::Canonical), Base64Form::Canonical, path), expected);
    }
  }
}

TEST(Base64, EveryByteOutsideTheAlphabetIsRefusedAtEveryPlace) {
  const std::string bytes = randomBytes(90, 7);  // 120 characters: three vectors and plain groups
  for (const Base64Form form : {Base64Form::Standard, Base64Form::Canonical})
    for (const Base64Path path : kPaths) {
      const std::string text = encode(bytes, form);
      for (size_t at = 0; at < text.size(); ++at)
        for (int c = 0; c < 256; ++c) {
          std::string changed = text;
          changed[at] = static_cast<char>(c);
          const bool endsInPadding = c == '=' && at + 1 == text.size();
          const bool expected = inAlphabet(static_cast<char>(c), form) || endsInPadding;
          ASSERT_EQ(decode(changed, form, path) != "nil", expected) << "byte " << c << " at " << at;
        }
    }
}

TEST(Base64, EveryCharacterOfTheAlphabetIsDecodedInEveryPath) {
  std::string standard, canonical;
  for (int i = 0; i < 4; ++i) standard += std::string(kStandard, 64);
  canonical = standard;
  for (char& c : canonical) c = c == '+' ? '-' : c == '/' ? '_' : c;
  const std::string expected = decode(standard, Base64Form::Standard, Base64Path::Plain);
  ASSERT_EQ(encode(expected, Base64Form::Standard), standard);
  for (const Base64Path path : kPaths) {
    EXPECT_EQ(decode(standard, Base64Form::Standard, path), expected);
    EXPECT_EQ(decode(standard, Base64Form::Canonical, path), expected);
    EXPECT_EQ(decode(canonical, Base64Form::Canonical, path), expected);
    EXPECT_EQ(decode(canonical, Base64Form::Standard, path), "nil");
  }
}

TEST(Base64, PaddingIsStrict) {
  const struct {
    const char* text;
    const char* standard;
    const char* canonical;
  } cases[] = {
      {"", "", ""},
      {"Zg==", "f", "f"},
      {"Zm8=", "fo", "fo"},
      {"Zm9v", "foo", "foo"},
      {"Zg=", "nil", "nil"},
      {"Zg", "nil", "f"},
      {"Z", "nil", "nil"},
      {"Zm8", "nil", "nil"},
      {"=", "nil", "nil"},
      {"==", "nil", "nil"},
      {"====", "nil", "nil"},
      {"Z===", "nil", "nil"},
      {"Zg=v", "nil", "nil"},
      {"=g==", "nil", "nil"},
      {"Zm 9v", "nil", "nil"},
      {"Zm9v\n", "nil", "nil"},
      {"+/8===", "nil", "nil"},
      {"Zg==Zg==", "nil", "nil"},
      {"Zg==Zg", "nil", "nil"},
      {"Zm9v====", "nil", "nil"},
      {"Z=", "nil", "nil"},
      {"Zh==", "f", "f"},
      {"Zm9=", "fo", "fo"},
      {"Zm9vZ", "nil", "nil"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(decode(c.text, Base64Form::Standard), c.standard) << c.text;
    EXPECT_EQ(decode(c.text, Base64Form::Canonical), c.canonical) << c.text;
  }
}

TEST(Base64, LargeDataAgreesWithOpenSSLInEveryPath) {
  const std::string bytes = randomBytes((1 << 20) + 17, 11);
  const std::string text = encodedByOpenSSL(bytes);
  for (const Base64Path path : kPaths) {
    EXPECT_TRUE(encode(bytes, Base64Form::Standard, path) == text);
    EXPECT_TRUE(decode(text, Base64Form::Standard, path) == bytes);
  }
}
