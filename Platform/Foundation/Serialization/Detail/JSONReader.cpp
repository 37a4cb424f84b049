#include "Platform/Foundation/Serialization/Detail/JSONReader.h"

#include <array>
#include <cstring>

#include "Platform/Foundation/Serialization/Detail/JSONScalars.h"
#include "Platform/Foundation/Serialization/Detail/KeyPool.h"
#include "Platform/Foundation/Serialization/Detail/StructuralIndex.h"
#include "Platform/Foundation/Serialization/Detail/ValueStack.h"
#include "Platform/Foundation/Text/Unicode.h"
#include "Platform/Foundation/Values/Detail/ContainerRep.h"
#include "Platform/Foundation/Values/NSNull.h"

namespace orv::detail {
namespace {

constexpr const char* kBadlyFormed = "Badly formed object";
constexpr const char* kEndOfText = "Unexpected end of file during JSON parse";
constexpr const char* kTooDeep = "Too many nested arrays or dictionaries";

// Walks over the tokens of one text and builds its tree. Elements of open containers wait on a stack until
// their container closes and is made at its exact size.
class TreeBuilder {
 public:
  TreeBuilder(std::string_view text, JSONReading how, const StructuralIndex& index) noexcept
      : text_(reinterpret_cast<const uint8_t*>(text.data())),
        end_(text_ + text.size()),
        how_(how),
        next_(index.positions()),
        last_(next_ + index.count()) {}

  Value build(JSONFault& fault) {
    if (readTree()) return values_.pop();
    fault = fault_;
    return {};
  }

 private:
  struct Frame {
    size_t base;            // where its elements begin on the stack
    const TableRep* model;  // a dictionary met in the same place before; null for arrays
    uint32_t matched;       // how many keys so far are those of the model
    uint32_t place;         // names the path to it, without indexes into arrays
    bool isObject;
    bool plain;  // no key has an escape or a letter outside ASCII
  };

  bool readTree() {
    if (next_ == last_) return fail("No value", 0);
    const bool startsContainer = text_[*next_] == '{' || text_[*next_] == '[';
    if (!startsContainer && !how_.fragments)
      return fail("JSON text did not start with array or object and option to allow fragments not set.",
                  *next_);
    do {
      if (!readValue()) return false;
    } while (settle());
    if (fault_.complaint) return false;
    return next_ == last_ || fail("Garbage at end", *next_);
  }

  // Reads a scalar, or opens containers up to their first scalar.
  bool readValue() {
    for (;;) {
      if (next_ == last_) return fail(kEndOfText, textLength());
      const uint8_t* at = text_ + *next_++;
      if (*at == '{') {
        if (!open(true)) return false;
        if (!nextIs('}')) {
          if (!readKey()) return false;
          continue;
        }
        ++next_;
        close();
        return true;
      }
      if (*at != '[') return readScalar(at);
      if (!open(false)) return false;
      if (!nextIs(']')) continue;
      ++next_;
      close();
      return true;
    }
  }

  // Behind a value: closes what ends here and steps to the next value. False when the tree is whole, or wrong.
  bool settle() {
    while (depth_ != 0) {
      if (next_ == last_) return fail(kEndOfText, textLength());
      const Frame& frame = frames_[depth_ - 1];
      const uint8_t mark = text_[*next_++];
      if (mark == ',') return !frame.isObject || readKey();
      if (mark != (frame.isObject ? '}' : ']')) return fail(kBadlyFormed, next_[-1]);
      close();
    }
    return false;
  }

  bool open(bool isObject) {
    if (depth_ == kDeepestJSON) return fail(kTooDeep, next_[-1]);
    Frame& frame = frames_[depth_];
    frame = {values_.size(), nullptr, 0, 0, isObject, true};
    if (depth_ != 0) {
      const Frame& parent = frames_[depth_ - 1];
      const size_t member = parent.isObject ? values_.size() - parent.base : 0;
      frame.place = parent.place * 31 + static_cast<uint32_t>(member) + 1;
    }
    if (isObject) frame.model = models_[frame.place % models_.size()];
    ++depth_;
    return true;
  }

  void close() {
    const Frame& frame = frames_[--depth_];
    const size_t number = values_.size() - frame.base;
    Value* const first = values_.at(frame.base);
    HeapObject* made;
    if (!frame.isObject) {
      made = ArrayRep::take(first, number, how_.mutableContainers);
    } else {
      made = makeTable(frame, first, number / 2);
    }
    values_.forget(number);
    values_.adopt(made);
  }

  TableRep* makeTable(const Frame& frame, Value* pairs, size_t number) {
    if (frame.model && frame.matched == number && frame.model->used == number)
      return TableRep::takePairs(pairs, *frame.model, how_.mutableContainers);
    TableRep* table = TableRep::takePairs(pairs, number, how_.mutableContainers);
    if (table->count != number)
      forgetModels();  // a value that a repeated key has driven out may have been one
    else if (frame.plain)
      models_[frame.place % models_.size()] = table;
    return table;
  }

  void forgetModels() noexcept {
    models_.fill(nullptr);
    for (size_t i = 0; i < depth_; ++i) frames_[i].model = nullptr;
  }

  bool readKey() {
    if (next_ == last_) return fail(kEndOfText, textLength());
    const uint8_t* quote = text_ + *next_++;
    if (*quote != '"') return fail("No string key for value in object", next_[-1]);
    if (!takeModelKey(quote + 1) && !takeKey(quote + 1)) return false;
    if (next_ == last_) return fail(kEndOfText, textLength());
    if (text_[*next_++] != ':') return fail(kBadlyFormed, next_[-1]);
    return true;
  }

  // The key that stood in this place the last time, compared where it stands.
  bool takeModelKey(const uint8_t* at) {
    Frame& frame = frames_[depth_ - 1];
    const size_t number = (values_.size() - frame.base) / 2;
    if (!frame.model || frame.matched != number || number >= frame.model->used) return false;
    const Value& key = frame.model->key(number);
    const StringRep* rep = stringRep(key);
    const size_t length = rep->length;
    if (static_cast<size_t>(end_ - at) <= length || at[length] != '"') return false;
    if (!equalBytes(at, rep->units(), length)) return false;
    values_.push(key);
    ++frame.matched;
    return true;
  }

  bool takeKey(const uint8_t* at) {
    const JSONString string = findJSONString(at, end_);
    if (string.ascii && !string.escaped) {
      values_.push(keys_.keyFor(string.begin, static_cast<size_t>(string.end - string.begin)));
      return true;
    }
    frames_[depth_ - 1].plain = false;
    return push(readJSONString(string, fault_, text_));
  }

  bool readScalar(const uint8_t* at) {
    switch (*at) {
      case '"': return readString(at + 1);
      case 't': return isWord(at, "true") ? push(true) : fail("Invalid value", next_[-1]);
      case 'f': return isWord(at, "false") ? push(false) : fail("Invalid value", next_[-1]);
      case 'n': return isWord(at, "null") ? push(NSNull::null()) : fail("Invalid value", next_[-1]);
      default: break;
    }
    if (*at != '-' && (*at < '0' || *at > '9')) return fail(valueComplaint(*at), next_[-1]);
    const char* complaint = nullptr;
    Value number = readJSONNumber(at, end_, complaint);
    return complaint ? fail(complaint, next_[-1]) : push(std::move(number));
  }

  bool readString(const uint8_t* at) {
    const JSONString string = findJSONString(at, end_);
    if (!string.ascii || string.escaped) return push(readJSONString(string, fault_, text_));
    values_.adopt(StringFactory::makeAscii(string.begin, static_cast<size_t>(string.end - string.begin)));
    return true;
  }

  static const char* valueComplaint(uint8_t mark) noexcept {
    return mark == '}' || mark == ']' || mark == ':' || mark == ',' ? kBadlyFormed : "Invalid value";
  }

  bool isWord(const uint8_t* at, std::string_view word) const noexcept {
    return static_cast<size_t>(end_ - at) >= word.size() && std::memcmp(at, word.data(), word.size()) == 0 &&
           endsScalar(at + word.size(), end_);
  }

  bool nextIs(uint8_t mark) const noexcept { return next_ != last_ && text_[*next_] == mark; }
  size_t textLength() const noexcept { return static_cast<size_t>(end_ - text_); }

  bool push(Value value) {
    if (value.isNil()) return false;
    values_.push(std::move(value));
    return true;
  }

  bool fail(const char* complaint, size_t offset) noexcept {
    fault_ = {complaint, offset};
    return false;
  }

  const uint8_t* text_;
  const uint8_t* end_;
  JSONReading how_;
  const uint32_t* next_;  // the tokens that are still to come
  const uint32_t* last_;
  JSONFault fault_;
  ValueStack values_;
  KeyPool keys_;
  size_t depth_ = 0;
  std::array<const TableRep*, 64> models_{};  // the last dictionary of a place; all of them are in the tree
  std::array<Frame, kDeepestJSON> frames_;
};

// ---- Texts that are not even made of tokens

// The length of the UTF-8 sequence that begins here; 0 when it is none (Unicode 15, table 3-7).
size_t sequenceLength(const uint8_t* at, const uint8_t* end) noexcept {
  const uint8_t lead = *at;
  if (lead < 0x80) return 1;
  const size_t length = lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
  if (length == 0 || static_cast<size_t>(end - at) < length) return 0;
  for (size_t i = 1; i < length; ++i)
    if ((at[i] & 0xC0) != 0x80) return 0;
  const bool overlong = (lead == 0xE0 && at[1] < 0xA0) || (lead == 0xF0 && at[1] < 0x90);
  const bool outside = (lead == 0xED && at[1] > 0x9F) || (lead == 0xF4 && at[1] > 0x8F);
  return overlong || outside ? 0 : length;
}

struct LexicalFault {
  JSONFault fault;
  size_t tokenStart;  // of the string the fault is in, or the fault itself
};

LexicalFault findLexicalFault(std::string_view text) noexcept {
  const auto* const begin = reinterpret_cast<const uint8_t*>(text.data());
  const uint8_t* const end = begin + text.size();
  const auto offsetOf = [begin](const uint8_t* at) { return static_cast<size_t>(at - begin); };
  const uint8_t* quote = nullptr;  // of the string we are in
  for (const uint8_t* at = begin; at < end;) {
    const size_t start = offsetOf(quote ? quote : at);
    const size_t length = sequenceLength(at, end);
    if (length == 0) return {{"Unable to convert data to string", offsetOf(at)}, start};
    if (quote && *at < 0x20) return {{"Unescaped control character", offsetOf(at)}, start};
    if (*at == '"') quote = quote ? nullptr : at;
    at += quote && *at == '\\' ? 2 : length;
  }
  const size_t start = quote ? offsetOf(quote) : text.size();
  return {{"Unterminated string", start}, start};
}

using Scan = bool (StructuralIndex::*)(std::string_view text);

// The first fault of a text that the scanner refuses: one of grammar before the token that is none, or that.
JSONFault explain(std::string_view text, JSONReading how, StructuralIndex& index, Scan scan) {
  if (text.size() > StructuralIndex::kLongestText) return {"Text of more than 4 gigabytes", 0};
  const LexicalFault lexical = findLexicalFault(text);
  const std::string_view before = text.substr(0, lexical.tokenStart);
  if (!(index.*scan)(before) || index.count() == 0) return lexical.fault;
  JSONFault fault;
  if (TreeBuilder(before, how, index).build(fault)) return {"Garbage at end", lexical.tokenStart};
  return fault.offset < before.size() ? fault : lexical.fault;
}

// A thread keeps its index; destructors of statics that read after the thread-local ones have ended make their
// own.
constinit thread_local bool indexIsGone = false;

struct KeptIndex {
  StructuralIndex index;
  ~KeptIndex() { indexIsGone = true; }
};

Value readWith(StructuralIndex& index, Scan scan, std::string_view text, JSONReading how, JSONFault& fault) {
  if ((index.*scan)(text)) return TreeBuilder(text, how, index).build(fault);
  fault = explain(text, how, index, scan);
  return {};
}

}  // namespace

Value readJSON(std::string_view text, JSONReading how, JSONFault& fault) {
  if (indexIsGone) {
    StructuralIndex index;
    return readWith(index, &StructuralIndex::scanPlainly, text, how, fault);
  }
  static thread_local KeptIndex kept;
  return readWith(kept.index, &StructuralIndex::scan, text, how, fault);
}

}  // namespace orv::detail
