#include <unicode/unorm2.h>

#include <algorithm>
#include <cstring>

#include "Platform/Foundation/Text/Unicode.h"
#include "Platform/Foundation/Text/UnitSearch.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSString.h"

using namespace orv;
using detail::Units;

namespace {

constexpr char32_t kEnd = 0x110000;  // what a cursor answers behind the last unit

NSComparisonResult orderOf(char32_t a, char32_t b) {
  if (a == kEnd || b == kEnd)
    return b != kEnd ? NSOrderedAscending : a != kEnd ? NSOrderedDescending : NSOrderedSame;
  return a < b ? NSOrderedAscending : a > b ? NSOrderedDescending : NSOrderedSame;
}

// Reads the units of a text one by one.
class PlainCursor {
 public:
  explicit PlainCursor(const Units& u) : units_(u) {}
  char32_t peek() const { return at_ < units_.length ? units_[at_] : kEnd; }
  void advance() { ++at_; }

 private:
  const Units& units_;
  size_t at_ = 0;
};

// Reads the units of a text in full case folding, without folding it as a whole.
class FoldingCursor {
 public:
  explicit FoldingCursor(const Units& u) : units_(u) { load(); }
  char32_t peek() const { return at_ < count_ ? folded_[at_] : kEnd; }
  void advance() {
    if (++at_ >= count_) load();
  }

 private:
  void load() {
    at_ = count_ = 0;
    while (count_ == 0 && next_ < units_.length) {
      const detail::CodePoint c = detail::withUnits(
          units_, [&](auto* units, size_t length) { return detail::codePointAt(units, length, next_); });
      count_ = detail::foldCodePoint(c.value, folded_);
      next_ += c.units;
    }
  }

  const Units& units_;
  size_t next_ = 0;
  size_t at_ = 0;
  size_t count_ = 0;
  char16_t folded_[4];
};

bool isDigit(char32_t c) { return c >= '0' && c <= '9'; }

template <class Cursor>
void skipZeros(Cursor& cursor) {
  while (cursor.peek() == '0') cursor.advance();
}

// Compares two runs of digits by their value and reads them to their ends.
template <class Cursor>
NSComparisonResult compareDigits(Cursor& a, Cursor& b) {
  skipZeros(a);
  skipZeros(b);
  NSComparisonResult first = NSOrderedSame;
  for (; isDigit(a.peek()) && isDigit(b.peek()); a.advance(), b.advance())
    if (first == NSOrderedSame) first = orderOf(a.peek(), b.peek());
  if (isDigit(a.peek())) return NSOrderedDescending;
  if (isDigit(b.peek())) return NSOrderedAscending;
  return first;
}

struct Difference {
  NSComparisonResult order = NSOrderedSame;
  char32_t a = kEnd;
  char32_t b = kEnd;
};

template <class Cursor>
Difference firstDifference(Cursor a, Cursor b, bool numeric) {
  while (a.peek() != kEnd || b.peek() != kEnd) {
    if (numeric && isDigit(a.peek()) && isDigit(b.peek())) {
      const NSComparisonResult order = compareDigits(a, b);
      if (order != NSOrderedSame) return {order, kEnd, kEnd};
      continue;
    }
    if (a.peek() != b.peek()) return {orderOf(a.peek(), b.peek()), a.peek(), b.peek()};
    a.advance();
    b.advance();
  }
  return {};
}

template <class A, class B>
NSComparisonResult compareUnits(const A* a, size_t lengthA, const B* b, size_t lengthB) {
  const size_t common = std::min(lengthA, lengthB);
  const auto [x, y] = std::mismatch(a, a + common, b);
  return orderOf(x == a + lengthA ? kEnd : char32_t{*x}, y == b + lengthB ? kEnd : char32_t{*y});
}

NSComparisonResult compareLiterally(const Units& a, const Units& b) {
  if (!a.wide && !b.wide) {
    const size_t common = std::min(a.length, b.length);
    const int order = common ? std::memcmp(a.data, b.data, common) : 0;
    if (order != 0) return order < 0 ? NSOrderedAscending : NSOrderedDescending;
    return a.length < b.length ? NSOrderedAscending : a.length > b.length ? NSOrderedDescending : NSOrderedSame;
  }
  return detail::withUnits(a, [&](auto* x, size_t m) {
    return detail::withUnits(b, [&](auto* y, size_t n) { return compareUnits(x, m, y, n); });
  });
}

// Below this, code points neither combine with others nor decompose, so texts that differ there are
// different in every normalisation form.
constexpr char32_t kFirstComposed = 0xC0;

bool mayBeEquivalent(const Difference& d) {
  return d.a != kEnd && d.b != kEnd && (d.a >= kFirstComposed || d.b >= kFirstComposed);
}

bool areEquivalent(const NSString& a, const NSString& b, bool ignoringCase) {
  if (a.length() > INT32_MAX || b.length() > INT32_MAX) return false;  // beyond what ICU can look at
  const std::u16string x = a.utf16();
  const std::u16string y = b.utf16();
  UErrorCode status = U_ZERO_ERROR;
  const int32_t order =
      unorm_compare(x.data(), static_cast<int32_t>(x.size()), y.data(), static_cast<int32_t>(y.size()),
                    ignoringCase ? U_COMPARE_IGNORE_CASE : 0, &status);
  return U_SUCCESS(status) && order == 0;
}

Difference differenceOf(const Units& a, const Units& b, NSUInteger options) {
  const bool numeric = options & NSNumericSearch;
  if (options & NSCaseInsensitiveSearch) return firstDifference(FoldingCursor(a), FoldingCursor(b), numeric);
  return firstDifference(PlainCursor(a), PlainCursor(b), numeric);
}

}  // namespace

NSComparisonResult NSString::compare(const NSString& other, NSUInteger options) const {
  if (isNil()) return NSOrderedSame;
  if (other.isNil()) return NSOrderedDescending;
  if (isSame(other)) return NSOrderedSame;
  const Units a = detail::unitsOf(*this);
  const Units b = detail::unitsOf(other);
  const bool folding = options & NSCaseInsensitiveSearch;
  const bool numeric = options & NSNumericSearch;
  // Two different texts of Latin-1 are never canonically equivalent: it has no combining marks.
  const bool narrow = !a.wide && !b.wide;
  if (!folding && !numeric && (narrow || (options & NSLiteralSearch))) return compareLiterally(a, b);
  const Difference difference = differenceOf(a, b, options);
  if (difference.order == NSOrderedSame || (options & NSLiteralSearch) || narrow) return difference.order;
  if (!numeric && !mayBeEquivalent(difference)) return difference.order;
  return areEquivalent(*this, other, folding) ? NSOrderedSame : difference.order;
}

NSComparisonResult NSString::caseInsensitiveCompare(const NSString& other) const {
  return compare(other, NSCaseInsensitiveSearch);
}

bool NSString::hasPrefix(const NSString& prefix) const noexcept {
  const Units all = detail::unitsOf(*this);
  const Units part = detail::unitsOf(prefix);
  if (part.length == 0 || part.length > all.length) return false;
  return detail::equalUnits(detail::unitsIn(all, 0, part.length), part);
}

bool NSString::hasSuffix(const NSString& suffix) const noexcept {
  const Units all = detail::unitsOf(*this);
  const Units part = detail::unitsOf(suffix);
  if (part.length == 0 || part.length > all.length) return false;
  return detail::equalUnits(detail::unitsIn(all, all.length - part.length, part.length), part);
}
