#include "Platform/Foundation/Serialization/Detail/BinaryPropertyListWriter.h"

#include <array>
#include <cmath>
#include <unordered_map>
#include <vector>

#include "Platform/Foundation/Serialization/Detail/ByteBuffer.h"
#include "Platform/Foundation/Values/Detail/ContainerRep.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSNumber.h"

namespace orv::detail {
namespace {

// Integers stand in one, two, four or eight bytes.
unsigned widthFor(uint64_t n) noexcept { return n <= 0xFF ? 1 : n <= 0xFFFF ? 2 : n <= 0xFFFFFFFF ? 4 : 8; }

class Writer {
 public:
  explicit Writer(DateForm dates) : dates_(dates) {}

  NSData write(const Value& tree) {
    collect(tree);
    referenceWidth_ = widthFor(objects_.size());
    out_.append("bplist00");
    std::vector<uint64_t> offsets;
    offsets.reserve(objects_.size());
    for (const Object& object : objects_) {
      offsets.push_back(out_.size());
      writeObject(object);
    }
    writeTableAndTrailer(offsets);
    return out_.finish();
  }

 private:
  using Leaves = std::unordered_map<uint64_t, size_t>;

  // The tree does not change meanwhile, so that its values stay in their places.
  struct Object {
    const Value* value;
    size_t firstReference;  // of a container, in references_
  };

  // ---- The objects in their order

  size_t collect(const Value& value) {
    if (value.kind() == Kind::Array) return collectArray(value);
    if (value.kind() == Kind::Dictionary) return collectTable(value);
    size_t& known = knownLeaf(value);  // one more than the index; 0 for none
    if (known == 0) known = add(value, 0) + 1;
    return known - 1;
  }

  size_t add(const Value& value, size_t references) {
    objects_.push_back({&value, references_.size()});
    references_.resize(references_.size() + references);
    return objects_.size() - 1;
  }

  size_t collectArray(const Value& value) {
    const ArrayRep* rep = arrayRep(value);
    const size_t first = references_.size(), index = add(value, rep->count);
    for (size_t i = 0; i < rep->count; ++i) references_[first + i] = collect(rep->items[i]);
    return index;
  }

  // All keys, then all values.
  size_t collectTable(const Value& value) {
    const TableRep* rep = tableRep(value);
    size_t next = references_.size();
    const size_t index = add(value, rep->count * 2);
    for (size_t i = rep->nextLive(0); i < rep->used; i = rep->nextLive(i + 1))
      references_[next++] = collect(rep->key(i));
    for (size_t i = rep->nextLive(0); i < rep->used; i = rep->nextLive(i + 1))
      references_[next++] = collect(rep->value(i));
    return index;
  }

  size_t& knownLeaf(const Value& value) {
    switch (value.kind()) {
      case Kind::String:
      case Kind::Data: return texts_[value];
      case Kind::Decimal:
      case Kind::BigDecimal: return scalars_[static_cast<size_t>(Kind::Double)][realBits(value)];
      case Kind::Date: return scalars_[static_cast<size_t>(Kind::Date)][dateBits(value)];
      default: return scalars_[static_cast<size_t>(value.kind())][Access::bits(value)];
    }
  }

  static uint64_t realBits(const Value& number) {
    return __builtin_bit_cast(uint64_t, number.as<NSNumber>().doubleValue());
  }

  uint64_t dateBits(const Value& date) const {
    if (dates_ == DateForm::Exact) return Access::bits(date);
    return __builtin_bit_cast(uint64_t, std::floor(__builtin_bit_cast(double, Access::bits(date))));
  }

  // ---- Their bytes

  void writeObject(const Object& object) {
    const Value& value = *object.value;
    switch (value.kind()) {
      case Kind::Bool: return put(Access::bits(value) ? 0x09 : 0x08);
      case Kind::Int:
      case Kind::UInt: return writeInteger(value);
      case Kind::Date: return put(0x33), putBigEndian(dateBits(value), 8);
      case Kind::String: return writeString(unitsOf(value.as<NSString>()));
      case Kind::Data: return writeData(value.as<NSData>());
      case Kind::Array: return writeArray(object, arrayRep(value)->count);
      case Kind::Dictionary: return writeDictionary(object, tableRep(value)->count);
      default: return put(0x23), putBigEndian(realBits(value), 8);
    }
  }

  // Up to four bytes hold no sign; what needs more than 63 bits takes sixteen.
  void writeInteger(const Value& value) {
    const uint64_t bits = Access::bits(value);
    if (value.kind() == Kind::UInt) {
      put(0x14);
      putBigEndian(0, 8);
      putBigEndian(bits, 8);
    } else {
      writeCount(bits);
    }
  }

  void writeCount(uint64_t n) {
    const unsigned width = widthFor(n);
    put(static_cast<uint8_t>(0x10 | __builtin_ctz(width)));
    putBigEndian(n, width);
  }

  void writeMarker(uint8_t marker, uint64_t count) {
    if (count < 15) return put(static_cast<uint8_t>(marker | count));
    put(static_cast<uint8_t>(marker | 15));
    writeCount(count);
  }

  void writeString(const Units& text) {
    bool ascii = !text.wide;
    for (size_t i = 0; ascii && i < text.length; ++i) ascii = text[i] < 0x80;
    writeMarker(ascii ? 0x50 : 0x60, text.length);
    if (ascii) return out_.append({static_cast<const char*>(text.data), text.length});
    for (size_t i = 0; i < text.length; ++i) putBigEndian(text[i], 2);
  }

  void writeData(const NSData& data) {
    writeMarker(0x40, data.length());
    out_.append({reinterpret_cast<const char*>(data.bytes()), data.length()});
  }

  void writeArray(const Object& object, size_t count) {
    writeMarker(0xA0, count);
    writeReferences(object.firstReference, count);
  }

  void writeDictionary(const Object& object, size_t count) {
    writeMarker(0xD0, count);
    writeReferences(object.firstReference, count * 2);
  }

  void writeReferences(size_t first, size_t count) {
    for (size_t i = first; i < first + count; ++i) putBigEndian(references_[i], referenceWidth_);
  }

  void writeTableAndTrailer(const std::vector<uint64_t>& offsets) {
    const uint64_t tableStart = out_.size();
    const unsigned offsetWidth = widthFor(tableStart);
    for (const uint64_t offset : offsets) putBigEndian(offset, offsetWidth);
    out_.appendRepeated(0, 6);
    put(static_cast<uint8_t>(offsetWidth));
    put(static_cast<uint8_t>(referenceWidth_));
    putBigEndian(offsets.size(), 8);
    putBigEndian(0, 8);  // the top object
    putBigEndian(tableStart, 8);
  }

  void put(uint8_t byte) { out_.put(static_cast<char>(byte)); }
  void putBigEndian(uint64_t n, unsigned bytes) {
    for (unsigned shift = bytes * 8; shift > 0; shift -= 8) put(static_cast<uint8_t>(n >> (shift - 8)));
  }

  const DateForm dates_;
  ByteBuffer out_;
  std::vector<Object> objects_;
  std::vector<size_t> references_;  // of all containers, each one's together
  unsigned referenceWidth_ = 1;
  // Where leaves stand: numbers and dates by kind and bits, so that 1, 1.0 and true are different.
  std::array<Leaves, static_cast<size_t>(Kind::Date) + 1> scalars_;
  std::unordered_map<Value, size_t> texts_;
};

}  // namespace

NSData writeBinaryPropertyList(const Value& tree, DateForm dates) { return Writer(dates).write(tree); }

}  // namespace orv::detail
