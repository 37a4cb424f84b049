#include "Platform/Foundation/Values/NSData.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "Platform/Foundation/Files/FileBytes.h"
#include "Platform/Foundation/Values/Detail/DataRep.h"
#include "Platform/Foundation/Values/Detail/Pool.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSException.h"

using namespace orv;

namespace orv::detail {
namespace {

// Parts shorter than this, or than a quarter of the data they lie in, are copied: a small part never keeps a
// large block alive.
constexpr size_t kSmallestSlice = 256;

uint64_t load(const uint8_t* bytes, size_t count) {
  uint64_t word = 0;
  std::memcpy(&word, bytes, count);
  return word;
}

uint64_t mixed(uint64_t hash, uint64_t word) {
  hash = (hash ^ word) * 0x9E3779B97F4A7C15u;
  return hash ^ hash >> 32;
}

}  // namespace

DataRep* DataRep::make(size_t length) { return place(poolAllocate(sizeof(DataRep) + length), length); }

DataRep* DataRep::place(void* block, size_t length) noexcept {
  auto* rep = new (block) DataRep(Kind::Data);
  rep->length = length;
  return rep;
}

DataRep* DataRep::makeSlice(DataRep* owner, size_t location, size_t length) {
  const uint8_t* bytes = owner->bytes() + location;
  if (owner->has(Slice)) owner = owner->slice()->owner;
  retain(owner);
  auto* rep = new (poolAllocate(sizeof(DataRep) + sizeof(SliceRef))) DataRep(Kind::Data, Slice);
  rep->length = length;
  *rep->slice() = {owner, bytes};
  return rep;
}

void destroyData(HeapObject* object) noexcept {
  auto* rep = static_cast<DataRep*>(object);
  DataRep* owner = rep->has(HeapObject::Slice) ? rep->slice()->owner : nullptr;
  const size_t contents = owner ? sizeof(DataRep::SliceRef) : rep->length;
  rep->~DataRep();
  poolFree(rep, sizeof(DataRep) + contents);
  if (owner) release(owner);
}

size_t hashOfData(const HeapObject* object) noexcept {
  constexpr size_t kEnds = 32;  // bytes looked at from the start and from the end
  const auto* rep = static_cast<const DataRep*>(object);
  const uint8_t* bytes = rep->bytes();
  uint64_t hash = mixed(0x64617461, rep->length);
  const size_t start = std::min<size_t>(rep->length, kEnds);
  for (size_t i = 0; i < start; i += 8) hash = mixed(hash, load(bytes + i, std::min<size_t>(8, start - i)));
  if (rep->length > kEnds) {
    const uint8_t* end = bytes + rep->length - std::min<size_t>(rep->length, kEnds);
    for (size_t i = 0; i < kEnds; i += 8) hash = mixed(hash, load(end + i, 8));
  }
  return static_cast<size_t>(hash);
}

bool equalData(const HeapObject* a, const HeapObject* b) noexcept {
  const auto* x = static_cast<const DataRep*>(a);
  const auto* y = static_cast<const DataRep*>(b);
  return x->length == y->length && std::memcmp(x->bytes(), y->bytes(), x->length) == 0;
}

NSString base64Text(const void* bytes, size_t length, Base64Form form) {
  StringRep* rep = StringFactory::allocate(base64EncodedLength(length, form), false);
  base64Encode(static_cast<const uint8_t*>(bytes), length, static_cast<char*>(rep->inlineUnits()), form);
  return StringFactory::adopt(rep);
}

NSData dataFromBase64Text(const NSString& text, Base64Form form) {
  const Units units = unitsOf(text);
  if (text.isNil() || units.wide) return nil;
  const auto* characters = static_cast<const char*>(units.data);
  const auto length = base64DecodedLength(characters, units.length, form);
  if (!length) return nil;
  bool valid = false;
  NSData data = dataWithLength(*length, [&](uint8_t* bytes) {
    valid = base64Decode(characters, units.length, bytes, form).has_value();
  });
  return valid ? data : NSData();
}

}  // namespace orv::detail

namespace {

const detail::DataRep* repOf(const Value& v) noexcept {
  return static_cast<const detail::DataRep*>(detail::Access::heap(v));
}

constexpr size_t kDescribedInFull = 24;
constexpr size_t kDescribedStart = 16;
constexpr size_t kDescribedEnd = 8;

// Hexadecimal digits in groups of four bytes.
void appendHex(std::string& text, std::string_view bytes, bool grouped) {
  constexpr char kDigits[] = "0123456789abcdef";
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (grouped && i > 0 && i % 4 == 0) text += ' ';
    const auto byte = static_cast<uint8_t>(bytes[i]);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
}

}  // namespace

NSData::NSData(std::span<const std::byte> bytes) : NSData(dataWithBytes(bytes)) {}

NSData NSData::data() { return dataWithBytes(nullptr, 0); }

NSData NSData::dataWithBytes(const void* bytes, size_t length) {
  if (bytes == nullptr) length = 0;
  return detail::dataWithLength(length, [&](uint8_t* out) {
    if (length > 0) std::memcpy(out, bytes, length);
  });
}

NSData NSData::dataWithBytes(std::string_view bytes) { return dataWithBytes(bytes.data(), bytes.size()); }

NSData NSData::dataWithBytes(std::span<const std::byte> bytes) {
  return dataWithBytes(bytes.data(), bytes.size());
}

NSData NSData::dataWithContentsOfFile(const NSString& path) {
  NSData contents;
  if (!path.isNil() && detail::readFile(path.fileSystemRepresentation(), contents) != 0) return nil;
  return contents;
}

NSData NSData::initWithBase64EncodedString(const NSString& text) {
  return detail::dataFromBase64Text(text, detail::Base64Form::Standard);
}

NSUInteger NSData::length() const noexcept { return isNil() ? 0 : repOf(*this)->length; }

const uint8_t* NSData::bytes() const noexcept { return isNil() ? nullptr : repOf(*this)->bytes(); }

bool NSData::isEqualToData(const NSData& other) const noexcept {
  return !isNil() && !other.isNil() && detail::equalData(repOf(*this), repOf(other));
}

NSData NSData::subdataWithRange(NSRange range) const {
  if (isNil()) return nil;
  const NSUInteger all = length();
  if (range.location > all || range.length > all - range.location)
    NSException::raise(NSRangeException, "Range {" + std::to_string(range.location) + ", " +
                                             std::to_string(range.length) + "} is out of bounds; data length " +
                                             std::to_string(all));
  if (range.length == all) return *this;
  if (range.length < detail::kSmallestSlice || range.length < all / 4)
    return dataWithBytes(bytes() + range.location, range.length);
  auto* owner = static_cast<detail::DataRep*>(heap());
  detail::DataRep* slice = detail::DataRep::makeSlice(owner, range.location, range.length);
  return detail::Access::cast<NSData>(detail::Access::adopt(slice));
}

bool NSData::writeToFile(const NSString& path, bool atomically) const {
  if (isNil() || path.isNil()) return false;
  const std::string target = path.fileSystemRepresentation();
  return (atomically ? detail::replaceFile(target, view()) : detail::overwriteFile(target, view())) == 0;
}

NSString NSData::base64EncodedString() const {
  return isNil() ? NSString() : detail::base64Text(bytes(), length(), detail::Base64Form::Standard);
}

NSString NSData::description() const {
  if (isNil()) return nil;
  const std::string_view contents = view();
  std::string text = "{length = " + std::to_string(contents.size()) + ", bytes = 0x";
  if (contents.size() <= kDescribedInFull) {
    appendHex(text, contents, false);
    return text + "}";
  }
  appendHex(text, contents.substr(0, kDescribedStart), true);
  text += " ... ";
  appendHex(text, contents.substr(contents.size() - kDescribedEnd), true);
  return text + " }";
}
