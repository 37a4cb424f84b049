#include <sys/random.h>
#include <unicode/uchar.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <string_view>
#include <system_error>

#include "Orvane/OrvAssert.h"
#include "Platform/Foundation/Text/StringBuilder.h"
#include "Platform/Foundation/Text/UnitScan.h"
#include "Platform/Foundation/Text/UnitSearch.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSCharacterSet.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/NSUUID.h"

using namespace orv;
using detail::isBlankUnit;
using detail::StringFactory;
using detail::UnitRoom;
using detail::Units;

namespace {

constexpr char16_t kObjectReplacement = 0xFFFC;

// A part of a text from one position up to another.
struct Span {
  size_t begin;
  size_t end;
};

NSString partOf(const NSString& text, Span span) {
  return StringFactory::part(text, span.begin, span.end - span.begin);
}

template <class Unit>
Span withoutBlanks(const Unit* units, Span span) {
  while (span.begin < span.end && isBlankUnit(units[span.begin])) ++span.begin;
  while (span.begin < span.end && isBlankUnit(units[span.end - 1])) --span.end;
  return span;
}

// Unassigned code points, non-characters and lone surrogates.
bool isIllegal(char32_t c) {
  const int8_t category = u_charType(static_cast<UChar32>(c));
  return category == U_UNASSIGNED || category == U_SURROGATE;
}

Span withoutIllegal(const char16_t* units, Span span) {
  while (span.begin < span.end) {
    const detail::CodePoint c = detail::codePointAt(units, span.end, span.begin);
    if (!isIllegal(c.value)) break;
    span.begin += c.units;
  }
  while (span.begin < span.end) {
    const detail::CodePoint c = detail::codePointBefore(units + span.begin, span.end - span.begin);
    if (!isIllegal(c.value)) break;
    span.end -= c.units;
  }
  return span;
}

Span withoutAttachments(const char16_t* units, Span span) {
  while (span.begin < span.end && units[span.begin] == kObjectReplacement) ++span.begin;
  while (span.begin < span.end && units[span.end - 1] == kObjectReplacement) --span.end;
  return span;
}

// All of Latin-1 is assigned.
Span stripped(const uint8_t* units, size_t length) { return withoutBlanks(units, {0, length}); }
Span stripped(const char16_t* units, size_t length) {
  return withoutAttachments(units, withoutIllegal(units, withoutBlanks(units, {0, length})));
}

// Calls f with each word.
template <class Unit, class F>
void forEachWord(const Unit* units, size_t length, F&& f) {
  for (size_t i = 0;;) {
    while (i < length && isBlankUnit(units[i])) ++i;
    if (i == length) return;
    const size_t begin = i;
    while (i < length && !isBlankUnit(units[i])) ++i;
    f(Span{begin, i});
  }
}

// The length of the start of a text that is collapsed already; the whole text may still end in a blank.
template <class Unit>
size_t collapsedPrefix(const Unit* units, size_t length) {
  bool afterBlank = true;
  for (size_t i = 0; i < length; ++i) {
    const bool blank = isBlankUnit(units[i]);
    if (blank && (afterBlank || units[i] != ' ')) return i;
    afterBlank = blank;
  }
  return length;
}

// Appends units with one blank for each run of white space, none at the start; answers the new end.
template <class Unit>
size_t appendCollapsed(const Unit* units, size_t from, size_t length, Unit* out, size_t end, bool afterBlank) {
  for (size_t i = from; i < length; ++i) {
    const bool blank = isBlankUnit(units[i]);
    out[end] = blank ? Unit{' '} : units[i];
    end += !(blank && afterBlank);
    afterBlank = blank;
  }
  return end;
}

template <class Unit>
NSString collapsed(const NSString& text, const Unit* units, size_t length) {
  const size_t plain = collapsedPrefix(units, length);
  if (plain == length) {
    const bool ended = length > 0 && units[length - 1] == ' ';
    return ended ? partOf(text, {0, length - 1}) : text;
  }
  UnitRoom<Unit> room(length);
  Unit* out = room.units();
  std::copy_n(units, plain, out);
  const bool afterBlank = plain == 0 || out[plain - 1] == ' ';
  size_t count = appendCollapsed(units, plain, length, out, plain, afterBlank);
  if (count > 0 && out[count - 1] == ' ') --count;
  return room.finish(count);
}

template <class Unit>
size_t endOfLine(const Unit* units, size_t from, size_t length) {
  while (from < length && !(isBlankUnit(units[from]) && detail::isNewline(units[from]))) ++from;
  return from;
}

constexpr size_t kShortestLine = 2;

template <class Unit>
NSString linesCollapsed(const NSString& text, const Unit* units, size_t length) {
  UnitRoom<Unit> room(length + 1);  // each line is followed by a line feed, which the last loses again
  Unit* out = room.units();
  size_t count = 0;
  for (size_t begin = 0; begin <= length;) {
    const size_t end = endOfLine(units, begin, length);
    size_t lineEnd = appendCollapsed(units, begin, end, out, count, true);
    if (lineEnd > count && out[lineEnd - 1] == ' ') --lineEnd;
    if (lineEnd - count >= kShortestLine) {
      out[lineEnd] = '\n';
      count = lineEnd + 1;
    }
    begin = end + 1;
  }
  if (count > 0) --count;
  return count == length && std::equal(units, units + length, out) ? text : room.finish(count);
}

template <class Unit>
NSString withoutAnyBlanks(const NSString& text, const Unit* units, size_t length) {
  size_t plain = 0;
  while (plain < length && !isBlankUnit(units[plain])) ++plain;
  if (plain == length) return text;
  UnitRoom<Unit> room(length);
  Unit* out = std::copy_n(units, plain, room.units());
  for (size_t i = plain; i < length; ++i) {
    *out = units[i];
    out += !isBlankUnit(units[i]);
  }
  return room.finish(static_cast<size_t>(out - room.units()));
}

using Markup = detail::UnitClass<0, '&', '<', '>', '"'>;
using MarkupOrLine = detail::UnitClass<0, '&', '<', '>', '"', '\n'>;
using Quoted = detail::UnitClass<0x20, '"', '\\'>;             // what makes a text need escapes
using QuotedFully = detail::UnitClass<0x20, '"', '\\', '\''>;  // what is escaped in such a text

void appendEntity(detail::StringBuilder& out, char16_t unit) {
  switch (unit) {
    case '&': return out.appendAscii("&amp;");
    case '<': return out.appendAscii("&lt;");
    case '>': return out.appendAscii("&gt;");
    case '"': return out.appendAscii("&quot;");
    default: return out.appendAscii("<br/>");
  }
}

void appendEscape(detail::StringBuilder& out, char16_t unit) {
  constexpr char kDigits[] = "0123456789abcdef";
  switch (unit) {
    case '\\': return out.appendAscii("\\\\");
    case '\'': return out.appendAscii("\\'");
    case '"': return out.appendAscii("\\\"");
    case '\b': return out.appendAscii("\\b");
    case '\t': return out.appendAscii("\\t");
    case '\n': return out.appendAscii("\\n");
    case '\f': return out.appendAscii("\\f");
    case '\r': return out.appendAscii("\\r");
    default:
      out.appendAscii("\\u00");
      out.appendUnit(static_cast<char16_t>(kDigits[unit >> 4]));
      out.appendUnit(static_cast<char16_t>(kDigits[unit & 15]));
  }
}

// Appends the text with each member of a class written by `append`.
template <class Class, class F>
void appendReplacing(detail::StringBuilder& out, const Units& all, F&& append) {
  detail::withUnits(all, [&](auto* units, size_t length) {
    for (size_t from = 0;;) {
      const size_t next = Class::find(units, from, length);
      out.append(detail::unitsIn(all, from, next - from));
      if (next == length) return;
      append(out, units[next]);
      from = next + 1;
    }
  });
}

template <class Class>
bool holds(const Units& all) {
  return detail::withUnits(all,
                           [](auto* units, size_t length) { return Class::find(units, 0, length) < length; });
}

template <class Class>
NSString escaped(const NSString& text) {
  const Units all = detail::unitsOf(text);
  if (!holds<Class>(all)) return text;
  detail::StringBuilder out(all.wide ? 0 : all.length + all.length / 8);
  appendReplacing<Class>(out, all, appendEntity);
  return out.finish();
}

constexpr std::string_view kConsonants = "bcdfghjklmnpqrstvwxz";
constexpr std::string_view kVowels = "aeiouy";
constexpr size_t kShortestWord = 2;
constexpr size_t kLongestWord = 11;

void fillWithRandom(void* bytes, size_t count) {
  // So few bytes come at once; only a signal during the system's start can interrupt.
  while (::getrandom(bytes, count, 0) != static_cast<ssize_t>(count))
    if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "getrandom");
}

// Writes a word; answers its length.
size_t writeRandomWord(char* out) {
  std::array<uint32_t, 1 + kLongestWord> numbers;
  fillWithRandom(numbers.data(), sizeof numbers);
  const size_t length = numbers[0] % (kLongestWord - 1) + kShortestWord;
  for (size_t i = 0; i < length; ++i) {
    const bool vowel = (length - i) % 2 == 1;  // so the last is one
    const std::string_view letters = vowel ? kVowels : kConsonants;
    out[i] = letters[numbers[i + 1] % letters.size()];
  }
  return length;
}

}  // namespace

bool NSString::isBlank() const {
  return !isNil() && detail::withUnits(detail::unitsOf(*this), [](auto* units, size_t length) {
    return std::all_of(units, units + length, [](auto unit) { return isBlankUnit(unit); });
  });
}

bool NSString::empty() const { return !isNil() && strip().length() == 0; }

NSString NSString::stringValueWithDefault(const NSString& defaultString) const {
  return isBlank() ? defaultString : *this;
}

NSString NSString::strip() const {
  if (isNil()) return nil;
  return detail::withUnits(detail::unitsOf(*this),
                           [&](auto* units, size_t length) { return partOf(*this, stripped(units, length)); });
}

NSString NSString::lstrip() const {
  if (isNil()) return nil;
  return detail::withUnits(detail::unitsOf(*this), [&](auto* units, size_t length) {
    size_t begin = 0;
    while (begin < length && isBlankUnit(units[begin])) ++begin;
    return partOf(*this, {begin, length});
  });
}

NSString NSString::stringByLTrimmingCharactersInSet(const NSCharacterSet& set) const {
  if (isNil()) return nil;
  return detail::withUnits(detail::unitsOf(*this), [&](auto* units, size_t length) {
    size_t begin = 0;
    while (begin < length && set.characterIsMember(units[begin])) ++begin;
    return partOf(*this, {begin, length});
  });
}

NSMutableArray NSString::split() const {
  if (isNil()) return nil;
  const NSMutableArray words = NSMutableArray::array();
  detail::withUnits(detail::unitsOf(*this), [&](auto* units, size_t length) {
    forEachWord(units, length, [&](Span word) { words.addObject(partOf(*this, word)); });
  });
  return words;
}

NSMutableArray NSString::splitBy(const NSString& separator) const {
  if (isNil()) return nil;
  const NSMutableArray pieces = NSMutableArray::array();
  const Units all = detail::unitsOf(*this), wanted = detail::unitsOf(separator);
  size_t from = 0;
  for (;;) {
    const size_t found = detail::findUnits(detail::unitsIn(all, from, all.length - from), wanted);
    if (found == detail::kNoMatch) break;
    pieces.addObject(partOf(*this, {from, from + found}));
    from += found + wanted.length;
  }
  pieces.addObject(partOf(*this, {from, all.length}));
  return pieces;
}

NSString NSString::collapse() const {
  if (isNil()) return nil;
  return detail::withUnits(detail::unitsOf(*this),
                           [&](auto* units, size_t length) { return collapsed(*this, units, length); });
}

NSString NSString::collapseLines() const {
  if (isNil()) return nil;
  return detail::withUnits(detail::unitsOf(*this),
                           [&](auto* units, size_t length) { return linesCollapsed(*this, units, length); });
}

NSString NSString::stripAllBlanks() const {
  if (isNil()) return nil;
  return detail::withUnits(detail::unitsOf(*this),
                           [&](auto* units, size_t length) { return withoutAnyBlanks(*this, units, length); });
}

bool NSString::contains(const NSString& substring) const { return containsString(substring); }

bool NSString::isValidEmail() const { return holds<detail::UnitClass<0, '@', '.'>>(detail::unitsOf(*this)); }

NSString NSString::sliceFrom(long from, long to) const {
  if (isNil()) return nil;
  const auto length = static_cast<long>(this->length());
  if (length == 0 || from >= length) return StringFactory::empty();
  const long start = from >= 0 ? from : std::max(length + from, 0L);
  const long end = to > 0 ? std::min(length, to) : length + to;
  if (start >= end) return StringFactory::empty();
  return partOf(*this, {static_cast<size_t>(start), static_cast<size_t>(end)});
}

NSRange NSString::range() const { return {0, length()}; }

NSString NSString::replace(const Value& pattern, const Value& replacement) const {
  if (isNil()) return nil;
  ORV_ASSERT_TEXT(pattern.isKindOf<NSString>(), "!!(([(replace) isKindOfClass:[NSString class]]))");
  return pattern.isTrue() ? stringByReplacingOccurrencesOfString(pattern.toString(), replacement.toString())
                          : *this;
}

NSString NSString::escape() const { return escaped<Markup>(*this); }

NSString NSString::escapeWithBreakLine() const { return escaped<MarkupOrLine>(*this); }

NSString NSString::repr() const {
  if (isNil()) return nil;
  const Units all = detail::unitsOf(*this);
  detail::StringBuilder out(all.wide ? 0 : all.length + 2);
  out.appendUnit(u'"');
  holds<Quoted>(all) ? appendReplacing<QuotedFully>(out, all, appendEscape) : out.append(all);
  out.appendUnit(u'"');
  return out.finish();
}

NSData NSString::data() const { return dataUsingEncoding(NSUTF8StringEncoding); }

NSString NSString::stringWithData(const NSData& data) {
  return stringWithDataEncoding(data, NSUTF8StringEncoding);
}

NSString NSString::uuid() { return NSUUID::UUID().UUIDString(); }

NSString NSString::uuidShort() {
  constexpr char kDigits[] = "0123456789abcdef";
  char text[32];
  char* out = text;
  for (const uint8_t byte : detail::randomUUIDBytes()) {
    *out++ = kDigits[byte >> 4];
    *out++ = kDigits[byte & 15];
  }
  return StringFactory::ascii(text, sizeof text);
}

NSString NSString::randomString() {
  char word[kLongestWord];
  return StringFactory::ascii(word, writeRandomWord(word));
}

NSString NSString::randomWords(long count) {
  detail::StringBuilder out;
  for (long i = 0; i < count; ++i) {
    char word[kLongestWord];
    const size_t length = writeRandomWord(word);
    word[0] = static_cast<char>(word[0] - 'a' + 'A');
    if (i > 0) out.appendUnit(u' ');
    out.appendAscii({word, length});
  }
  return out.finish();
}
