// The text that a log line shows for a value: the nested, indented form of containers and its quoting.

#include <algorithm>
#include <string_view>
#include <vector>

#include "Platform/Foundation/Text/StringBuilder.h"
#include "Platform/Foundation/Values/Detail/ContainerRep.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSNumber.h"
#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/NSURL.h"
#include "Platform/Foundation/Values/Value.h"

namespace orv {
namespace {

using detail::arrayRep;
using detail::StringBuilder;
using detail::tableRep;
using detail::TableRep;

bool isContainer(const Value& v) { return v.kind() >= Kind::Array && v.kind() <= Kind::Dictionary; }

bool isAlphanumeric(char16_t u) {
  return (u >= '0' && u <= '9') || (u >= 'A' && u <= 'Z') || (u >= 'a' && u <= 'z');
}

// Bare when made of ASCII letters and digits alone.
bool needsQuotes(const detail::Units& text) {
  for (size_t i = 0; i < text.length; ++i)
    if (!isAlphanumeric(text[i])) return true;
  return text.length == 0;
}

void appendHex(StringBuilder& out, char16_t unit) {
  out.append("\\U");
  for (int shift = 12; shift >= 0; shift -= 4) out.appendUnit(u"0123456789abcdef"[unit >> shift & 0xF]);
}

void appendOctal(StringBuilder& out, char16_t unit) {
  out.appendUnit('\\');
  for (int shift = 6; shift >= 0; shift -= 3) out.appendUnit(static_cast<char16_t>('0' + (unit >> shift & 7)));
}

void appendEscaped(StringBuilder& out, char16_t unit) {
  switch (unit) {
    case '"': return out.append("\\\"");
    case '\\': return out.append("\\\\");
    case '\n': return out.append("\\n");
    case '\t': return out.append("\\t");
    case '\r': return out.append("\\r");
    default: break;
  }
  if (unit > 0x7E && unit != 0x7F) return appendHex(out, unit);
  if (unit < 0x20 || unit == 0x7F) return appendOctal(out, unit);
  out.appendUnit(unit);
}

void appendLeaf(StringBuilder& out, const Value& leaf) {
  const NSString text = leaf.description();
  const detail::Units units = detail::unitsOf(text);
  if (leaf.kind() == Kind::Data || !needsQuotes(units)) return out.append(text);
  out.appendUnit('"');
  for (size_t i = 0; i < units.length; ++i) appendEscaped(out, units[i]);
  out.appendUnit('"');
}

struct Brackets {
  std::string_view open;
  std::string_view close;
  std::string_view separator;  // before an entry that is not the first
  std::string_view end;        // after every entry
};

Brackets bracketsOf(Kind kind) {
  if (kind == Kind::Array) return {"(", ")", ",", ""};
  if (kind == Kind::Dictionary) return {"{", "}", "", ";"};
  return {"{(", ")}", ",", ""};
}

// A container on the way to being written.
struct Frame {
  const Value* container;
  std::vector<size_t> order;  // the entries of a table, in the order to write
  size_t at = 0;
};

// Dictionaries whose keys are all strings show them sorted; everything else keeps its own order.
std::vector<size_t> entryOrder(const TableRep* table) {
  std::vector<size_t> order;
  bool sortable = table->kind == Kind::Dictionary;
  for (size_t i = table->nextLive(0); i < table->used; i = table->nextLive(i + 1)) {
    order.push_back(i);
    sortable = sortable && table->key(i).kind() == Kind::String;
  }
  if (sortable)
    std::sort(order.begin(), order.end(),
              [&](size_t a, size_t b) { return table->key(a).as<NSString>() < table->key(b).as<NSString>(); });
  return order;
}

class Writer {
 public:
  // The text grows with the square of the depth: what lies deeper is named, not shown.
  static constexpr size_t kDeepest = 512;

  NSString write(const Value& root) {
    open(root);
    while (!frames_.empty()) step();
    return out_.finish();
  }

 private:
  void indent(size_t depth) {
    for (size_t i = 0; i < depth; ++i) out_.append("    ");
  }

  void open(const Value& container) {
    if (frames_.size() == kDeepest) return out_.append("\"<nested too deeply>\"");
    const bool inside = std::any_of(frames_.begin(), frames_.end(),
                                    [&](const Frame& f) { return f.container->isSame(container); });
    if (inside) return out_.append("\"<contains itself>\"");
    indent(frames_.size());
    out_.append(bracketsOf(container.kind()).open);
    out_.appendUnit('\n');
    const TableRep* table = tableRep(container);
    frames_.push_back({&container, table ? entryOrder(table) : std::vector<size_t>(), 0});
  }

  void step() {
    Frame& frame = frames_.back();
    const size_t count =
        frame.container->kind() == Kind::Array ? arrayRep(*frame.container)->count : frame.order.size();
    const Brackets brackets = bracketsOf(frame.container->kind());
    if (frame.at > 0) out_.append(frame.at < count ? brackets.separator : std::string_view());
    if (frame.at > 0) {
      out_.append(brackets.end);
      out_.appendUnit('\n');
    }
    if (frame.at == count) return close(brackets);
    indent(frames_.size());
    writeEntry(frame, frame.at++);
  }

  void close(const Brackets& brackets) {
    frames_.pop_back();
    indent(frames_.size());
    out_.append(brackets.close);
  }

  void writeEntry(const Frame& frame, size_t at) {
    if (frame.container->kind() == Kind::Array) return writeValue(arrayRep(*frame.container)->items[at]);
    const TableRep* table = tableRep(*frame.container);
    const size_t entry = frame.order[at];
    if (table->kind == Kind::Dictionary) {
      appendLeaf(out_, table->key(entry));
      out_.append(" = ");
      return writeValue(table->value(entry));
    }
    writeValue(table->key(entry));
    if (table->kind == Kind::CountedSet) out_.append(NSString::stringWithFormat(" [%@]", table->value(entry)));
  }

  void writeValue(const Value& v) {
    if (isContainer(v)) return open(v);
    appendLeaf(out_, v);
  }

  StringBuilder out_;
  std::vector<Frame> frames_;
};

}  // namespace

NSString Value::description() const {
  switch (kind()) {
    case Kind::Nil: return nil;
    case Kind::Null: return "<null>";
    case Kind::Bool:
    case Kind::Int:
    case Kind::UInt:
    case Kind::Double:
    case Kind::Decimal:
    case Kind::BigDecimal: return as<NSNumber>().stringValue();
    case Kind::Date: return as<NSDate>().description();
    case Kind::String: return as<NSString>();
    case Kind::Data: return as<NSData>().description();
    case Kind::URL: return as<NSURL>().description();
    case Kind::Array:
    case Kind::Set:
    case Kind::CountedSet:
    case Kind::Dictionary: return Writer().write(*this);
    case Kind::Object: return static_cast<NSObject*>(heap())->description();
  }
  __builtin_unreachable();
}

}  // namespace orv
