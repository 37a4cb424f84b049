#include "Platform/Foundation/Serialization/Detail/JSONWriter.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <utility>
#include <vector>

#include "Platform/Foundation/Serialization/Detail/ByteBuffer.h"
#include "Platform/Foundation/Serialization/NSJSONSerialization.h"
#include "Platform/Foundation/Text/Unicode.h"
#include "Platform/Foundation/Values/Detail/ContainerRep.h"
#include "Platform/Foundation/Values/Detail/DecimalRep.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSException.h"

namespace orv::detail {
namespace {

[[noreturn]] void raiseInvalid(const NSString& what) {
  NSException::raise(
      NSInvalidArgumentException,
      NSString::stringWithFormat("*** +[NSJSONSerialization dataWithJSONObject:options:error:]: %@", what));
}

// ---- Strings

using Bytes8 = uint8_t __attribute__((vector_size(8)));

// All ones at every byte that cannot stand for itself, an ASCII text assumed.
template <class Block>
auto specialBytes(const Block& block) noexcept {
  return (block < 0x20) | (block == '"') | (block == '\\') | (block == '/');
}

int firstSpecial(const ByteBlock8& block) noexcept {
  return std::countr_zero(highBitsOf(specialBytes(block)) | 0x10000u);
}

int firstSpecial(const Bytes8& block) noexcept {
  const auto mask = __builtin_bit_cast(uint64_t, specialBytes(block));
  return mask != 0 ? std::countr_zero(mask) >> 3 : 8;
}

// One to seven bytes as one word, the first in its lowest byte, zeros behind the last.
uint64_t shortWord(const uint8_t* at, size_t count) noexcept {
  if (count >= 4) {
    const uint64_t last = loadWord<uint32_t>(at + count - 4);
    return loadWord<uint32_t>(at) | last << (8 * (count - 4));
  }
  if (count == 0) return 0;
  return uint64_t{at[0]} | uint64_t{at[count / 2]} << (8 * (count / 2)) |
         uint64_t{at[count - 1]} << (8 * (count - 1));
}

// Copies the first 16 bytes, or 8, or all of fewer, and answers how many of them stand for themselves. Writes
// up to 16 bytes.
size_t copyPlain(const uint8_t* at, size_t count, uint8_t* out) noexcept {
  if (count >= 16) {
    const auto block = loadWord<ByteBlock8>(at);
    storeWord(out, block);
    return static_cast<size_t>(firstSpecial(block));
  }
  const uint64_t word = count >= 8 ? loadWord<uint64_t>(at) : shortWord(at, count);
  storeWord(out, word);
  return std::min(static_cast<size_t>(firstSpecial(__builtin_bit_cast(Bytes8, word))), count);
}

uint8_t* writeControl(uint8_t unit, uint8_t* out) noexcept {
  constexpr char kHex[] = "0123456789abcdef";
  out = std::copy_n("\\u00", 4, out);
  *out++ = static_cast<uint8_t>(kHex[unit >> 4]);
  *out++ = static_cast<uint8_t>(kHex[unit & 15]);
  return out;
}

// The letter that stands for a unit behind a backslash; 0 when it needs none, 'u' when it has none of its own.
uint8_t escapeLetter(char16_t unit) noexcept {
  switch (unit) {
    case '"':
    case '\\':
    case '/': return static_cast<uint8_t>(unit);
    case '\b': return 'b';
    case '\f': return 'f';
    case '\n': return 'n';
    case '\r': return 'r';
    case '\t': return 't';
    default: return unit < 0x20 ? 'u' : 0;
  }
}

constexpr size_t kLongestEscape = 6;

// ---- Numbers

// Of the digits and the exponent of "d.ddde+xx" the plain or exponential form of "%.17g".
char* layOutDigits(const char* digits, int count, int exponent, char* out) noexcept {
  if (exponent < -4 || exponent >= 17) {
    *out++ = digits[0];
    if (count > 1) *out++ = '.';
    out = std::copy(digits + 1, digits + count, out);
    *out++ = 'e';
    *out++ = exponent < 0 ? '-' : '+';
    const int size = std::abs(exponent);
    if (size < 10) *out++ = '0';
    return std::to_chars(out, out + 4, size).ptr;
  }
  if (exponent < 0) {
    out = std::copy_n("0.", 2, out);
    out = std::fill_n(out, -exponent - 1, '0');
    return std::copy(digits, digits + count, out);
  }
  const int whole = std::min(exponent + 1, count);
  out = std::copy(digits, digits + whole, out);
  out = std::fill_n(out, exponent + 1 - whole, '0');
  if (whole == count) return out;
  *out++ = '.';
  return std::copy(digits + whole, digits + count, out);
}

char* writeAnyDouble(double size, char* out) noexcept {
  char text[40];
  const char* end = std::to_chars(text, std::end(text), size, std::chars_format::scientific).ptr;
  const char* e = std::find(text, const_cast<char*>(end), 'e');
  int exponent = 0;
  std::from_chars(e + (e[1] == '+' ? 2 : 1), end, exponent);
  char digits[20] = {text[0]};
  const int count =
      e - text > 1 ? static_cast<int>(std::copy(static_cast<const char*>(text) + 2, e, digits + 1) - digits)
                   : 1;
  return layOutDigits(digits, count, exponent, out);
}

// Amounts of up to three decimals. A text of up to fifteen digits that reads back is the only one and so the
// shortest; reading it back is one division of two exact doubles, which rounds correctly.
bool writeShortDouble(double size, char*& out) noexcept {
  constexpr double kLargest = 1e11;
  if (!(size < kLargest)) return false;
  const auto thousandths = static_cast<uint64_t>(size * 1000 + 0.5);
  if (static_cast<double>(thousandths) / 1000 != size) return false;
  out = std::to_chars(out, out + 20, thousandths / 1000).ptr;
  const auto rest = static_cast<int>(thousandths % 1000);
  if (rest == 0) return true;
  const char digits[] = {'.', static_cast<char>('0' + rest / 100), static_cast<char>('0' + rest / 10 % 10),
                         static_cast<char>('0' + rest % 10)};
  const int count = digits[3] != '0' ? 4 : digits[2] != '0' ? 3 : 2;
  out = std::copy_n(digits, count, out);
  return true;
}

// ---- The tree

class Writer {
 public:
  Writer(NSUInteger options, JSONConverter convert, JSONContents contents = nullptr) noexcept
      : pretty_((options & NSJSONWritingPrettyPrinted) != 0),
        sorted_((options & NSJSONWritingSortedKeys) != 0),
        plainSlashes_((options & NSJSONWritingWithoutEscapingSlashes) != 0),
        convert_(convert),
        contents_(contents) {}

  void write(const Value& value) {
    switch (value.kind()) {
      case Kind::String: return writeString(static_cast<const StringRep*>(Access::heap(value)));
      case Kind::Array: return writeArray(value);
      case Kind::Dictionary: return writeDictionary(value);
      case Kind::Null: return out_.append("null");
      case Kind::Bool:
        if (!convert_) return out_.append(Access::bits(value) ? "true" : "false");
        return out_.put(Access::bits(value) ? '1' : '0');
      case Kind::Int: return writeInteger(static_cast<int64_t>(Access::bits(value)));
      case Kind::UInt: return writeInteger(Access::bits(value));
      case Kind::Double: return writeDouble(__builtin_bit_cast(double, Access::bits(value)));
      default: return writeOther(value);
    }
  }

  NSData finish() { return failed_ ? NSData() : out_.finish(); }

 private:
  void writeOther(const Value& value) {
    if (contents_ && value.kind() >= Kind::Set) return writeModelPart(value);
    convert_ ? writeConverted(value) : writeDecimal(value);
  }

  // A set, or what a model keeps.
  void writeModelPart(const Value& value) {
    if (value.kind() != Kind::Object) return writeSet(value);
    const Value& contents = contents_(value);
    if (contents.isSame(value)) return writeDecimal(value);  // no model
    contents.isNotNull() ? write(contents) : write(NSDictionary::dictionary());
  }

  // ---- Containers

  void writeArray(const Value& array) {
    enter();
    const ArrayRep* rep = arrayRep(array);
    out_.put('[');
    const Value held = convert_ ? array : Value();  // a converting object may drop what it stands in
    bool first = true;
    for (size_t i = 0; i < rep->count; ++i) {
      if (i + kAhead < rep->count) fetchSoon(rep->items[i + kAhead]);
      if (isLeftOut(rep->items[i])) continue;
      beginElement(std::exchange(first, false));
      convert_ ? write(Value(rep->items[i])) : write(rep->items[i]);
    }
    leave(first);
    out_.put(']');
  }

  void writeSet(const Value& set) {
    enter();
    const TableRep* rep = tableRep(set);
    out_.put('[');
    bool first = true;
    for (size_t i = rep->nextLive(0); i < rep->used; i = rep->nextLive(i + 1)) {
      if (isLeftOut(rep->key(i))) continue;
      beginElement(std::exchange(first, false));
      write(rep->key(i));
    }
    leave(first);
    out_.put(']');
  }

  // Models keep no nulls.
  bool isLeftOut(const Value& value) const noexcept { return contents_ && value.isNull(); }

  void writeDictionary(const Value& dictionary) {
    enter();
    const TableRep* rep = tableRep(dictionary);
    out_.put('{');
    const Value held = convert_ ? dictionary : Value();
    const bool empty = sorted_ ? writeSortedEntries(rep) : writeEntries(rep);
    leave(empty);
    out_.put('}');
  }

  // True when there are none.
  bool writeEntries(const TableRep* rep) {
    bool first = true;
    for (size_t i = 0; i < rep->used; ++i) fetchSoon(rep->value(i));
    for (size_t i = rep->nextLive(0); i < rep->used; i = rep->nextLive(i + 1)) {
      if (isLeftOut(rep->value(i))) continue;
      writeEntry(rep->key(i), rep->value(i), std::exchange(first, false));
    }
    return first;
  }

  bool writeSortedEntries(const TableRep* rep) {
    std::vector<std::pair<NSString, Value>> entries;
    entries.reserve(rep->count);
    for (size_t i = rep->nextLive(0); i < rep->used; i = rep->nextLive(i + 1))
      if (!isLeftOut(rep->value(i))) entries.emplace_back(requireKey(rep->key(i)), rep->value(i));
    std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    bool first = true;
    for (const auto& [key, value] : entries) writeEntry(key, value, std::exchange(first, false));
    return first;
  }

  void writeEntry(const Value& key, const Value& value, bool first) {
    beginElement(first);
    if (key.kind() != Kind::String) requireKey(key);
    writeString(static_cast<const StringRep*>(Access::heap(key)));
    pretty_ ? out_.append(" : ") : out_.put(':');
    convert_ ? write(Value(value)) : write(value);
  }

  static NSString requireKey(const Value& key) {
    if (key.kind() != Kind::String) raiseInvalid("Invalid (non-string) key in JSON dictionary");
    return key.as<NSString>();
  }

  void enter() {
    if (++depth_ > NSJSONSerialization::kDeepest)
      raiseInvalid("Too many nested arrays or dictionaries in JSON write");
  }

  void beginElement(bool first) {
    if (!first) out_.put(',');
    if (pretty_) newLine(depth_);
  }

  // An empty container keeps an empty line.
  void leave(bool empty) {
    --depth_;
    if (!pretty_) return;
    if (empty) out_.put('\n');
    newLine(depth_);
  }

  void newLine(int level) {
    out_.put('\n');
    out_.appendRepeated(' ', static_cast<size_t>(level) * 2);
  }

  // ---- Scalars

  template <class T>
  void writeInteger(T n) {
    constexpr T kExactly = T{1} << 53;
    const bool exact = n <= kExactly && (std::is_unsigned_v<T> || n >= T{0} - kExactly);
    if (convert_ && !exact) return writeDouble(static_cast<double>(n));
    auto* out = reinterpret_cast<char*>(out_.reserve(24));
    finishText(std::to_chars(out, out + 24, n).ptr);
  }

  void writeDouble(double d) {
    if (!std::isfinite(d))
      raiseInvalid(std::isnan(d) ? NSString("Invalid number value (NaN) in JSON write")
                                 : NSString("Invalid number value (infinite) in JSON write"));
    finishText(writeJSONDouble(d, reinterpret_cast<char*>(out_.reserve(32))));
  }

  void writeDecimal(const Value& value) {
    if (value.kind() != Kind::Decimal && value.kind() != Kind::BigDecimal)
      raiseInvalid(NSString::stringWithFormat("Invalid type in JSON write (%@)", value.className()));
    const NSDecimal decimal = decimalOf(value);
    if (decimal.notANumber) raiseInvalid("Invalid number value (NaN) in JSON write");
    finishText(decimal.writeText(reinterpret_cast<char*>(out_.reserve(NSDecimal::kMaxTextLength))));
  }

  void writeConverted(const Value& value) {
    const Value converted = convert_(value);
    hasForm(converted) ? write(converted) : writeDecimal(converted);
  }

  static bool hasForm(const Value& value) noexcept {
    switch (value.kind()) {
      case Kind::Null:
      case Kind::Bool:
      case Kind::Int:
      case Kind::UInt:
      case Kind::Double:
      case Kind::String:
      case Kind::Array:
      case Kind::Dictionary: return true;
      default: return false;
    }
  }

  void finishText(const char* end) noexcept { out_.advanceTo(reinterpret_cast<const uint8_t*>(end)); }

  // ---- Strings

  void writeString(const StringRep* rep) {
    out_.put('"');
    if (rep->wide())
      writeUnits(static_cast<const char16_t*>(rep->units()), rep->length);
    else if (rep->ascii())
      writeAscii(static_cast<const uint8_t*>(rep->units()), rep->length);
    else
      writeUnits(static_cast<const uint8_t*>(rep->units()), rep->length);
    out_.put('"');
  }

  void writeAscii(const uint8_t* at, size_t length) {
    const uint8_t* const end = at + length;
    uint8_t* out = out_.reserve(length + sizeof(ByteBlock8));
    for (;;) {
      const auto left = static_cast<size_t>(end - at);
      const size_t width = left >= 16 ? 16 : left >= 8 ? 8 : left;
      const size_t plain = copyPlain(at, left, out);
      at += plain;
      out += plain;
      if (plain < width)
        out = writeEscape(*at, out, static_cast<size_t>(end - at)), ++at;
      else if (at == end)
        break;
    }
    out_.advanceTo(out);
  }

  // Keeps room for as many bytes as are to follow.
  uint8_t* writeEscape(uint8_t unit, uint8_t* out, size_t toFollow) {
    out_.advanceTo(out);
    out = out_.reserve(kLongestEscape + toFollow + sizeof(ByteBlock8));
    const uint8_t letter = escapeLetter(unit);
    if (letter == 'u') return writeControl(unit, out);
    if (letter != '/' || !plainSlashes_) *out++ = '\\';
    *out++ = letter;
    return out;
  }

  template <class Unit>
  void writeUnits(const Unit* units, size_t length) {
    uint8_t* out = out_.reserve(length * 3 + sizeof(ByteBlock8));
    for (size_t i = 0; i < length;) {
      const CodePoint c = codePointAt(units, length, i);
      failed_ = failed_ || isSurrogate(c.value);
      i += c.units;
      if (c.value < 0x80 && escapeLetter(static_cast<char16_t>(c.value)) != 0)
        out = writeEscape(static_cast<uint8_t>(c.value), out, (length - i) * 3);
      else
        out += encodeUtf8(c.value, reinterpret_cast<char*>(out));
    }
    out_.advanceTo(out);
  }

  bool pretty_;
  bool sorted_;
  bool plainSlashes_;
  JSONConverter convert_;
  JSONContents contents_;
  static constexpr size_t kAhead = 4;
  bool failed_ = false;  // a string had no UTF-8
  int depth_ = 0;
  ByteBuffer out_;
};

}  // namespace

char* writeJSONDouble(double d, char* out) noexcept {
  if (std::signbit(d)) *out++ = '-';
  const double size = std::fabs(d);
  if (writeShortDouble(size, out)) return out;
  // Without an exponent it is read as an integer, in which every digit counts: zeros would not do for the last
  // ones.
  constexpr double kExactIntegers = 1ull << 53;
  constexpr double kFirstExponential = 1e17;
  if (size >= kExactIntegers && size < kFirstExponential)
    return std::to_chars(out, out + 20, static_cast<uint64_t>(size)).ptr;
  return writeAnyDouble(size, out);
}

NSData writeModelJSON(const Value& tree, NSUInteger options, JSONContents contents) {
  Writer writer(options, nullptr, contents);
  writer.write(tree);
  return writer.finish();
}

NSData writeJSON(const Value& tree, NSUInteger options, JSONConverter convert) {
  Writer writer(options, convert);
  writer.write(tree);
  return writer.finish();
}

}  // namespace orv::detail
