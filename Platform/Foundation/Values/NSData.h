#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "Platform/Foundation/Values/Types.h"
#include "Platform/Foundation/Values/Value.h"

// A run of bytes.
//
// Immutable; a copy is another reference to the same bytes, free and safe on every thread. The bytes lie
// in one block with their header; a long part may share the block of the data it was cut from. Nil is absent
// data and differs from empty data; every operation on nil answers false, 0 or nil.
//
//   NSData data = NSData::dataWithContentsOfFile("/etc/hostname");
//   if (data.length() > 0) send(data.bytes(), data.length());
//   NSString text = data.base64EncodedString();
class ORV_EXPORT NSData : public orv::Value {
 public:
  NSData() = default;
  NSData(orv::Nil) {}
  NSData(std::span<const std::byte> bytes);

  static bool accepts(const orv::Value& v) noexcept { return v.kind() == orv::Kind::Data; }

  // Empty data.
  static NSData data();
  // A copy of the bytes. A null pointer gives empty data.
  static NSData dataWithBytes(const void* bytes, size_t length);
  static NSData dataWithBytes(std::string_view bytes);
  static NSData dataWithBytes(std::span<const std::byte> bytes);
  // The whole file, nil when it cannot be read or is a folder. Blocks on the disk.
  static NSData dataWithContentsOfFile(const NSString& path);
  // Standard Base64 (RFC 4648, section 4), strict: padded, no line ends, nothing outside the alphabet; bits
  // left over in the last group are ignored. nil for anything else; "" is empty data.
  static NSData initWithBase64EncodedString(const NSString& text);

  NSUInteger length() const noexcept;
  // The first byte; valid while this or a copy lives. Null for nil, never null otherwise.
  const uint8_t* bytes() const noexcept;
  std::string_view view() const noexcept {
    return {reinterpret_cast<const char*>(bytes()), static_cast<size_t>(length())};
  }
  std::span<const std::byte> span() const noexcept {
    return {reinterpret_cast<const std::byte*>(bytes()), static_cast<size_t>(length())};
  }

  bool isEqualToData(const NSData& other) const noexcept;

  // A part of the data. Raises NSRangeException past the end.
  NSData subdataWithRange(NSRange range) const;

  // Writes all bytes to the file, true when they have reached the disk. Atomically: a new file in the same
  // folder takes the place of the old one, whose permissions it keeps, in one step, so that at every
  // moment the old or the new content is there in full; a symbolic link is replaced by the file. Otherwise
  // the file is overwritten in place. False when the folder is missing or the disk refuses; the old file is
  // then untouched in the atomic case. Blocks on the disk.
  bool writeToFile(const NSString& path, bool atomically) const;

  // Standard Base64 with padding, without line ends.
  NSString base64EncodedString() const;

  // "{length = 4, bytes = 0x01020304}"; more than 24 bytes are abridged in the middle.
  NSString description() const;

  friend bool operator==(const NSData& a, const NSData& b) noexcept {
    return a.isSame(b) || a.isEqualToData(b);
  }

  // NSData(OrvaneData) - Orvane/Categories/NSData+OrvaneData.cpp

  // Standard Base64 with padding, without line ends.
  NSString toBase64String() const;
  // URL-safe Base64 (RFC 4648, section 5) without padding.
  NSString canonicalBase64String() const;
  // "data:<media type>;base64,<standard Base64>"; a nil media type prints as "(null)".
  NSString dataURLWithMimeType(const NSString& mimeType) const;
  // The bytes read as UTF-8 or, where they are not UTF-8, as Latin-1. nil for empty data.
  NSString string() const;
  // Digests; the texts are lower-case hexadecimal. Empty data asserts softly and gives the digest of no
  // bytes.
  NSString zuMD5HexString() const;
  NSString zuSHA1HexString() const;
  NSData zuSHA256Data() const;
  NSString zuSHA256HexString() const;
  NSString zuSHA2HexString() const;  // the same as zuSHA256HexString
  NSString zuSHA2Base64String() const;
  // A media type from the first byte alone, "application/octet-stream" where it tells nothing. nil for empty
  // data. Kept: the compound-document formats that begin with 0xD0 are "application/vnd".
  NSString guessMimeType() const;

  // NSData(OrvaneJSON) - Orvane/Categories/NSObject+OrvaneJSON.cpp

  // The tree of a JSON text in any Unicode encoding, all containers mutable; nil, and no log line, when it is
  // none.
  orv::Value fromJSON() const;
};
