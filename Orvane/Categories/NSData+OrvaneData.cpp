#include "Orvane/OrvAssert.h"
#include "Platform/Foundation/Values/Detail/DataRep.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Security/Digest.h"

using namespace orv;
using detail::DigestAlgorithm;

namespace {

detail::DigestBytes digestOf(const NSData& data, DigestAlgorithm algorithm) {
  ORV_ASSERT_TEXT(data.length() > 0, "!!([self length] > 0)");
  return detail::digestOf(algorithm, data.bytes(), data.length());
}

NSString hexOf(const NSData& data, DigestAlgorithm algorithm) {
  if (data.isNil()) return nil;
  const detail::DigestBytes digest = digestOf(data, algorithm);
  if (digest.length == 0) return nil;
  detail::StringRep* text = detail::StringFactory::allocate(2 * digest.length, false);
  digest.writeHex(static_cast<char*>(text->inlineUnits()));
  return detail::StringFactory::adopt(text);
}

}  // namespace

NSString NSData::toBase64String() const { return base64EncodedString(); }

NSString NSData::canonicalBase64String() const {
  return isNil() ? NSString() : detail::base64Text(bytes(), length(), detail::Base64Form::Canonical);
}

NSString NSData::dataURLWithMimeType(const NSString& mimeType) const {
  if (isNil()) return nil;
  return NSString("data:") + (mimeType.isNil() ? NSString("(null)") : mimeType) + ";base64," + toBase64String();
}

NSString NSData::string() const {
  if (length() == 0) return nil;
  NSString text = view();
  return text.isNil() ? NSString::stringWithLatin1(view()) : text;
}

NSString NSData::zuMD5HexString() const { return hexOf(*this, DigestAlgorithm::MD5); }

NSString NSData::zuSHA1HexString() const { return hexOf(*this, DigestAlgorithm::SHA1); }

NSData NSData::zuSHA256Data() const {
  if (isNil()) return nil;
  const detail::DigestBytes digest = digestOf(*this, DigestAlgorithm::SHA256);
  return digest.length == 0 ? NSData() : dataWithBytes(digest.view());
}

NSString NSData::zuSHA256HexString() const { return hexOf(*this, DigestAlgorithm::SHA256); }

NSString NSData::zuSHA2HexString() const { return zuSHA256HexString(); }

NSString NSData::zuSHA2Base64String() const { return zuSHA256Data().toBase64String(); }

NSString NSData::guessMimeType() const {
  if (length() == 0) return nil;
  switch (bytes()[0]) {
    case 0xFF: return "image/jpeg";
    case 0x89: return "image/png";
    case 'G': return "image/gif";
    case 'I':
    case 'M': return "image/tiff";
    case '%': return "application/pdf";
    case 0xD0: return "application/vnd";
    case 'F': return "text/plain";
    default: return "application/octet-stream";
  }
}
