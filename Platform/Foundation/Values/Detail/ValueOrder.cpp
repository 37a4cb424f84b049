#include "Platform/Foundation/Values/Detail/ValueOrder.h"

#include "Platform/Foundation/Values/NSNumber.h"

namespace orv::detail {
namespace {

enum Rank { kNil, kNull, kNumber, kText, kDate, kOther };

Rank rankOf(const Value& v) noexcept {
  switch (v.kind()) {
    case Kind::Nil: return kNil;
    case Kind::Null: return kNull;
    case Kind::Bool:
    case Kind::Int:
    case Kind::UInt:
    case Kind::Double:
    case Kind::Decimal:
    case Kind::BigDecimal: return kNumber;
    case Kind::String: return kText;
    case Kind::Date: return kDate;
    case Kind::Data:
    case Kind::URL:
    case Kind::Array:
    case Kind::Set:
    case Kind::CountedSet:
    case Kind::Dictionary:
    case Kind::Object: return kOther;
  }
  __builtin_unreachable();
}

}  // namespace

bool hasOrder(const Value& v) noexcept {
  const Rank rank = rankOf(v);
  return rank >= kNumber && rank <= kDate;
}

bool haveOrder(const Value& a, const Value& b) noexcept { return hasOrder(a) && rankOf(a) == rankOf(b); }

NSComparisonResult orderOfAll(const Value& a, const Value& b) {
  const Rank rankA = rankOf(a);
  const Rank rankB = rankOf(b);
  if (rankA != rankB) return rankA < rankB ? NSOrderedAscending : NSOrderedDescending;
  return hasOrder(a) ? a.compare(b) : NSOrderedSame;
}

}  // namespace orv::detail
