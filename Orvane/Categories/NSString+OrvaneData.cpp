#include <string>

#include "Orvane/OrvAssert.h"
#include "Platform/Foundation/Values/Detail/DataRep.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Security/Digest.h"

using namespace orv;
using detail::DigestAlgorithm;

namespace {

// The digest of the UTF-8 bytes; an ASCII text is its own UTF-8.
detail::DigestBytes digestOf(const NSString& text, DigestAlgorithm algorithm) {
  ORV_ASSERT_TEXT(text.length() > 0, "!!([self length] > 0)");
  const detail::StringRep* rep = detail::stringRep(text);
  if (rep->ascii()) return detail::digestOf(algorithm, rep->units(), rep->length);
  const std::string bytes = text.utf8();
  return detail::digestOf(algorithm, bytes.data(), bytes.size());
}

NSString hexOf(const NSString& text, DigestAlgorithm algorithm) {
  if (text.isNil()) return nil;
  const detail::DigestBytes digest = digestOf(text, algorithm);
  char hex[2 * detail::DigestBytes::kLongest];
  digest.writeHex(hex);
  return digest.length == 0 ? NSString() : detail::StringFactory::ascii(hex, 2 * digest.length);
}

}  // namespace

NSData NSString::dataFromBase64() const {
  return detail::dataFromBase64Text(*this, detail::Base64Form::Standard);
}

NSData NSString::dataFromCanonicalBase64() const {
  return detail::dataFromBase64Text(*this, detail::Base64Form::Canonical);
}

NSString NSString::zuSHA1HexString() const { return hexOf(*this, DigestAlgorithm::SHA1); }

NSString NSString::zuSHA256HexString() const { return hexOf(*this, DigestAlgorithm::SHA256); }

NSString NSString::zuSHA2HexString() const { return zuSHA256HexString(); }
