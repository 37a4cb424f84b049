#include "Platform/Foundation/Serialization/Detail/BinaryPropertyListReader.h"

#include <algorithm>
#include <bit>
#include <string>
#include <vector>

#include "Platform/Foundation/Serialization/Detail/ValueStack.h"
#include "Platform/Foundation/Values/Detail/ContainerRep.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDictionary.h"

namespace orv::detail {
namespace {

constexpr std::string_view kMagic = "bplist00";
constexpr size_t kTrailerLength = 32;
// A file without repeated containers has fewer elements than bytes.
constexpr size_t kElementsPerByte = 8, kElementsAtLeast = 65536;

class Reader {
 public:
  Reader(std::string_view bytes, bool mutableContainers, PropertyListFault& fault)
      : bytes_(bytes), mutable_(mutableContainers), fault_(fault) {}

  Value read() {
    if (!readTrailer() || !readObject(top_)) return nil;
    return values_.pop();
  }

 private:
  bool fail(const char* complaint, size_t offset) {
    fault_ = {complaint, offset};
    return false;
  }

  // The caller has checked that the bytes are there.
  uint64_t bigEndian(size_t at, size_t width) const noexcept {
    uint64_t n = 0;
    for (size_t i = 0; i < width; ++i) n = n << 8 | static_cast<uint8_t>(bytes_[at + i]);
    return n;
  }

  bool readTrailer() {
    if (!bytes_.starts_with(kMagic)) return fail("The version of the binary property list is unknown", 0);
    if (bytes_.size() < kMagic.size() + 1 + kTrailerLength)
      return fail("The binary property list is too short", bytes_.size());
    const size_t trailer = bytes_.size() - kTrailerLength;
    offsetWidth_ = bigEndian(trailer + 6, 1);
    referenceWidth_ = bigEndian(trailer + 7, 1);
    const uint64_t objects = bigEndian(trailer + 8, 8);
    top_ = bigEndian(trailer + 16, 8);
    tableStart_ = bigEndian(trailer + 24, 8);
    const bool widthsFit = offsetWidth_ - 1 < 8 && referenceWidth_ - 1 < 8;
    if (!widthsFit || tableStart_ <= kMagic.size() || tableStart_ >= trailer ||
        objects != (trailer - tableStart_) / offsetWidth_ || objects * offsetWidth_ != trailer - tableStart_ ||
        top_ >= objects)
      return fail("The trailer of the binary property list is malformed", trailer);
    known_.resize(objects);
    open_.resize(objects);
    budget_ = std::max(kElementsAtLeast, bytes_.size() * kElementsPerByte);
    return true;
  }

  // Pushes one value.
  bool readObject(size_t index) {
    if (known_[index]) return values_.push(known_[index]), true;
    const uint64_t at = bigEndian(tableStart_ + index * offsetWidth_, offsetWidth_);
    if (at < kMagic.size() || at >= tableStart_)
      return fail("The offset of an object is out of bounds", tableStart_ + index * offsetWidth_);
    const auto marker = static_cast<uint8_t>(bytes_[at]);
    if (marker >> 4 == 0xA || marker >> 4 == 0xD) return readContainer(index, at, marker);
    Value leaf = readLeaf(at, marker);
    if (leaf.isNil()) return false;
    if (leaf.kind() != Kind::Dictionary) known_[index] = leaf;  // which may be changed later
    values_.push(std::move(leaf));
    return true;
  }

  Value readLeaf(size_t at, uint8_t marker) {
    switch (marker >> 4) {
      case 0x0: return readBoolean(at, marker);
      case 0x1: return readInteger(at, marker);
      case 0x2: return readReal(at, marker);
      case 0x3: return readDate(at, marker);
      case 0x4: return readData(at, marker);
      case 0x5: return readASCII(at, marker);
      case 0x6: return readUTF16(at, marker);
      case 0x8: return readArchiveReference(at, marker);
      default: return unknown(at);
    }
  }

  Value unknown(size_t at) { return fail("An object is of a kind that no property list has", at), nil; }

  bool lies(size_t from, uint64_t length) {
    return length <= tableStart_ - from || fail("An object reaches beyond its end", from);
  }

  Value readBoolean(size_t at, uint8_t marker) {
    if (marker != 0x08 && marker != 0x09) return unknown(at);
    return marker == 0x09;
  }

  // One, two and four bytes hold no sign; sixteen a number of 64 bits and its sign.
  Value readInteger(size_t at, uint8_t marker) {
    const unsigned power = marker & 0xF;
    if (power > 4) return unknown(at);
    const size_t width = size_t{1} << power;
    if (!lies(at + 1, width)) return nil;
    const uint64_t n = bigEndian(at + 1 + (width == 16 ? 8 : 0), std::min<size_t>(width, 8));
    if (width < 16) return static_cast<int64_t>(n);
    const uint64_t high = bigEndian(at + 1, 8);
    if (high == 0) return n;
    if (high == UINT64_MAX && n > INT64_MAX) return static_cast<int64_t>(n);
    return fail("An integer has more than 64 bits", at), nil;
  }

  Value readReal(size_t at, uint8_t marker) {
    if (marker != 0x22 && marker != 0x23) return unknown(at);
    if (!lies(at + 1, marker == 0x22 ? 4 : 8)) return nil;
    if (marker == 0x23) return std::bit_cast<double>(bigEndian(at + 1, 8));
    return static_cast<double>(std::bit_cast<float>(static_cast<uint32_t>(bigEndian(at + 1, 4))));
  }

  Value readDate(size_t at, uint8_t marker) {
    if (marker != 0x33) return unknown(at);
    if (!lies(at + 1, 8)) return nil;
    return NSDate::dateWithTimeIntervalSinceReferenceDate(std::bit_cast<double>(bigEndian(at + 1, 8)));
  }

  // The number of elements, of `width` bytes each, and where they begin; all of them lie within the objects.
  bool readCount(size_t at, uint8_t marker, size_t width, size_t& count, size_t& begin) {
    uint64_t n = marker & 0xF;
    begin = at + 1;
    if (n == 15) {
      if (!lies(begin, 1)) return false;
      const auto size = static_cast<uint8_t>(bytes_[begin]);
      if (size < 0x10 || size > 0x13) return fail("The length of an object is no integer", begin);
      const size_t bytes = size_t{1} << (size & 0xF);
      if (!lies(begin + 1, bytes)) return false;
      n = bigEndian(begin + 1, bytes);
      begin += 1 + bytes;
    }
    if (n > (tableStart_ - begin) / width) return fail("An object reaches beyond its end", at);
    count = static_cast<size_t>(n);
    return true;
  }

  Value readData(size_t at, uint8_t marker) {
    size_t count, begin;
    if (!readCount(at, marker, 1, count, begin)) return nil;
    return NSData::dataWithBytes(bytes_.substr(begin, count));
  }

  Value readASCII(size_t at, uint8_t marker) {
    size_t count, begin;
    if (!readCount(at, marker, 1, count, begin)) return nil;
    const std::string_view text = bytes_.substr(begin, count);
    const bool ascii =
        std::all_of(text.begin(), text.end(), [](char c) { return static_cast<uint8_t>(c) < 0x80; });
    if (!ascii) return fail("An ASCII string holds other characters", begin), nil;
    return StringFactory::ascii(text.data(), text.size());
  }

  Value readUTF16(size_t at, uint8_t marker) {
    size_t count, begin;
    if (!readCount(at, marker, 2, count, begin)) return nil;
    std::u16string units(count, 0);
    for (size_t i = 0; i < count; ++i) units[i] = static_cast<char16_t>(bigEndian(begin + i * 2, 2));
    return StringFactory::fromUnits(units.data(), count);
  }

  // What a keyed archive names its objects by: a number of up to eight bytes.
  Value readArchiveReference(size_t at, uint8_t marker) {
    const size_t width = (marker & 0xFu) + 1;
    if (width > 8) return unknown(at);
    if (!lies(at + 1, width)) return nil;
    const NSDictionary reference{{"CF$UID", bigEndian(at + 1, width)}};
    return mutable_ ? reference.mutableCopy() : reference;
  }

  // ---- Containers

  bool readContainer(size_t index, size_t at, uint8_t marker) {
    const bool isArray = marker >> 4 == 0xA;
    size_t count, begin;
    if (!readCount(at, marker, referenceWidth_ * (isArray ? 1 : 2), count, begin)) return false;
    if (open_[index]) return fail("A container contains itself", at);
    if (depth_ == kDeepestPropertyListTree) return fail(kTooDeepPropertyList, at);
    if (budget_ <= count * 2) return fail("Repeated references make the property list too large", at);
    budget_ -= count * 2 + 1;
    ++depth_;
    open_[index] = true;
    const bool done = isArray ? readArray(begin, count) : readDictionary(begin, count);
    open_[index] = false;
    --depth_;
    return done;
  }

  bool readReference(size_t at) {
    const uint64_t index = bigEndian(at, referenceWidth_);
    return index < known_.size() ? readObject(index) : fail("There is no object of that number", at);
  }

  bool readArray(size_t begin, size_t count) {
    const size_t base = values_.size();
    for (size_t i = 0; i < count; ++i)
      if (!readReference(begin + i * referenceWidth_)) return false;
    ArrayRep* made = ArrayRep::take(values_.at(base), count, mutable_);
    values_.forget(count);
    values_.adopt(made);
    return true;
  }

  // All keys, then all values.
  bool readDictionary(size_t begin, size_t count) {
    const size_t base = values_.size();
    for (size_t i = 0; i < count; ++i) {
      const size_t key = begin + i * referenceWidth_;
      if (!readReference(key)) return false;
      if (values_.at(values_.size() - 1)->kind() != Kind::String) return fail("A key is no string", key);
      if (!readReference(key + count * referenceWidth_)) return false;
    }
    TableRep* made = TableRep::takePairs(values_.at(base), count, mutable_);
    values_.forget(count * 2);
    values_.adopt(made);
    return true;
  }

  const std::string_view bytes_;
  const bool mutable_;
  PropertyListFault& fault_;
  size_t offsetWidth_ = 0, referenceWidth_ = 0;
  uint64_t top_ = 0;
  size_t tableStart_ = 0;     // the objects end here
  std::vector<Value> known_;  // the leaves that have been read
  std::vector<bool> open_;    // the containers around the object that is read
  int depth_ = 0;
  size_t budget_ = 0;  // elements the tree may still have
  ValueStack values_;
};

}  // namespace

Value readBinaryPropertyList(std::string_view bytes, bool mutableContainers, PropertyListFault& fault) {
  return Reader(bytes, mutableContainers, fault).read();
}

}  // namespace orv::detail
