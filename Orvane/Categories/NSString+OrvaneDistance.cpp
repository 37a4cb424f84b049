#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "Platform/Foundation/Text/UnitSearch.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSString.h"

using namespace orv;
using detail::Units;

// Levenshtein's distance by bits (Myers, in Hyyrö's form). One text stands along the rows of the table of
// distances, 64 rows to a word; the other along its columns. A word holds the differences between neighbouring
// rows of one column, each -1, 0 or +1, and a column follows from the one before in a dozen operations for all
// 64 rows.
namespace {

constexpr size_t kWordRows = 64;
// Words that are carried along the columns together, in registers.
constexpr size_t kBandWords = 4;
constexpr size_t kBandRows = kWordRows * kBandWords;

// The difference between two columns in one row, as two bits: +1 is 0 0, 0 is 1 0, -1 is 1 1.
struct Carry {
  uint64_t notPlus;
  uint64_t minus;
};

// The differences between the rows of a column.
struct Column {
  uint64_t plus = ~uint64_t{0};
  uint64_t minus = 0;

  // Goes on to the next column. `equal` has the rows whose unit is that column's. The carry is the difference
  // along the row above, and becomes that along the last row. The formulas are turned so that the longest chain
  // of operations from one column to the next is short.
  void step(uint64_t equal, Carry& carry) noexcept {
    const uint64_t down = equal | minus;
    equal |= carry.minus;
    const uint64_t run = ((equal & plus) + plus) ^ plus;
    uint64_t rowNotPlus = (run | (equal | plus)) & ~minus;
    uint64_t rowMinus = plus & (run | equal);
    const Carry last{rowNotPlus >> 63, rowMinus >> 63};
    rowNotPlus = rowNotPlus << 1 | carry.notPlus;
    rowMinus = rowMinus << 1 | carry.minus;
    plus = rowMinus | (rowNotPlus & ~down);
    minus = down & ~rowNotPlus;
    carry = last;
  }

  // The sum of the differences of the first rows.
  int64_t sum(size_t rows) const noexcept {
    const uint64_t mask = rows < kWordRows ? (uint64_t{1} << rows) - 1 : ~uint64_t{0};
    return std::popcount(plus & mask) - std::popcount(minus & mask);
  }
};

// The rows at which each 8-bit unit stands. The table is cleared by going through the units again, since most
// often they are fewer than the entries.
template <size_t kWords>
class NarrowRows {
 public:
  using Row = std::array<uint64_t, kWords>;

  template <class Unit>
  void add(const Unit* units, size_t count) noexcept {
    for (size_t i = 0; i < count; ++i)
      if (units[i] < 256) table_[units[i]][i / kWordRows] |= uint64_t{1} << i % kWordRows;
  }
  template <class Unit>
  void remove(const Unit* units, size_t count) noexcept {
    for (size_t i = 0; i < count; ++i)
      if (units[i] < 256) table_[units[i]] = {};
  }
  const Row& operator[](uint8_t unit) const noexcept { return table_[unit]; }

 private:
  std::array<Row, 256> table_{};
};

// The same for any units. Most texts keep to Latin-1 and one more block of 256 units, which have tables; the
// rest is in a hash table with at most half of its places taken.
template <size_t kWords>
class WideRows {
 public:
  using Row = std::array<uint64_t, kWords>;

  template <class Unit>
  void add(const Unit* units, size_t count) noexcept {
    page_ = pageOf(units, count);
    for (size_t i = 0; i < count; ++i) rowFor(units[i])[i / kWordRows] |= uint64_t{1} << i % kWordRows;
  }
  template <class Unit>
  void remove(const Unit* units, size_t count) noexcept {
    for (size_t i = 0; i < count; ++i)
      if (const size_t place = tablePlaceOf(units[i]); place < kTablePlaces) table_[place] = {};
    while (takenCount_ > 0) entries_[taken_[--takenCount_]] = {};
  }
  const Row& operator[](char16_t unit) const noexcept {
    const size_t place = tablePlaceOf(unit);
    return place < kTablePlaces ? table_[place] : entries_[placeOf(unit)].row;
  }

 private:
  static constexpr size_t kTablePlaces = 512;
  static constexpr size_t kPlaces = 2 * kWords * kWordRows;

  struct Entry {
    char16_t unit = 0;
    bool used = false;
    Row row{};
  };

  // The block of the first unit that is beyond Latin-1.
  template <class Unit>
  static unsigned pageOf(const Unit* units, size_t count) noexcept {
    for (size_t i = 0; i < count; ++i)
      if (const unsigned page = units[i] >> 8; page != 0) return page;
    return 0;
  }

  size_t tablePlaceOf(char16_t unit) const noexcept {
    const unsigned page = unit >> 8;
    return page == 0 ? unit : page == page_ ? 256 + (unit & 0xFFu) : kTablePlaces;
  }

  Row& rowFor(char16_t unit) noexcept {
    if (const size_t place = tablePlaceOf(unit); place < kTablePlaces) return table_[place];
    const size_t place = placeOf(unit);
    Entry& entry = entries_[place];
    if (!entry.used) {
      entry.used = true;
      entry.unit = unit;
      taken_[takenCount_++] = static_cast<uint16_t>(place);
    }
    return entry.row;
  }

  // Where a unit is, or would be: the row of an unused place is empty.
  size_t placeOf(char16_t unit) const noexcept {
    size_t place = (unit * 0x9E37u >> 4) & (kPlaces - 1);
    while (entries_[place].used && entries_[place].unit != unit) place = (place + 1) & (kPlaces - 1);
    return place;
  }

  unsigned page_ = 0;
  size_t takenCount_ = 0;
  std::array<Row, kTablePlaces> table_{};
  std::array<Entry, kPlaces> entries_{};
  std::array<uint16_t, kPlaces / 2> taken_{};
};

template <class Unit, size_t kWords>
using Rows = std::conditional_t<sizeof(Unit) == 1, NarrowRows<kWords>, WideRows<kWords>>;

// A table that is empty between calls, each thread's own. Not inlined, since the compiler would look it up for
// each access.
template <class Places>
[[gnu::noinline]] Places& keptRows() noexcept {
  thread_local Places places;
  return places;
}

// Up to 64 rows: one word.
template <class RowUnit, class ColumnUnit>
int64_t distanceOfShort(const RowUnit* rows, size_t rowCount, const ColumnUnit* columns, size_t columnCount) {
  Rows<ColumnUnit, 1>& places = keptRows<Rows<ColumnUnit, 1>>();
  places.add(rows, rowCount);
  Column column;
  for (size_t i = 0; i < columnCount; ++i) {
    Carry carry{0, 0};  // the first row counts 0, 1, 2, ...
    column.step(places[columns[i]][0], carry);
  }
  places.remove(rows, rowCount);
  return static_cast<int64_t>(columnCount) + column.sum(rowCount);
}

// Carries a band of words along all columns. `carries` holds the differences along the row above the band, a
// carry's bits each, and then those along its last row. Answers the sum of the differences of the last column.
template <size_t kWords, class Places, class Unit>
int64_t runBand(const Places& places, size_t rowCount, const Unit* columns, size_t columnCount,
                uint8_t* carries) {
  Column band[kWords];
  for (size_t i = 0; i < columnCount; ++i) {
    Carry carry{carries[i] & uint64_t{1}, uint64_t{carries[i]} >> 1};
    const auto& equal = places[columns[i]];
#pragma GCC unroll 4
    for (size_t word = 0; word < kWords; ++word) band[word].step(equal[word], carry);
    carries[i] = static_cast<uint8_t>(carry.notPlus | carry.minus << 1);
  }
  int64_t sum = 0;
  for (size_t word = 0; word < kWords; ++word)
    sum += band[word].sum(std::min(kWordRows, rowCount - word * kWordRows));
  return sum;
}

template <class Places, class Unit>
int64_t runBandOf(size_t words, const Places& places, size_t rowCount, const Unit* columns, size_t columnCount,
                  uint8_t* carries) {
  switch (words) {
    case 1: return runBand<1>(places, rowCount, columns, columnCount, carries);
    case 2: return runBand<2>(places, rowCount, columns, columnCount, carries);
    case 3: return runBand<3>(places, rowCount, columns, columnCount, carries);
    default: return runBand<kBandWords>(places, rowCount, columns, columnCount, carries);
  }
}

int64_t sumOf(const uint8_t* carries, size_t count) noexcept {
  auto sum = static_cast<int64_t>(count);
  for (size_t i = 0; i < count; ++i) sum -= (carries[i] & 1) + (carries[i] >> 1);
  return sum;
}

// Any number of rows, in bands from the top down; no more columns than rows.
template <class RowUnit, class ColumnUnit>
class LongDistance {
 public:
  LongDistance(const RowUnit* rows, size_t rowCount, const ColumnUnit* columns, size_t columnCount)
      : rows_(rows), columns_(columns), rowCount_(rowCount), columnCount_(columnCount), carries_(columnCount) {}

  // Texts that are much alike need but a part of the table, and a failed try costs a fraction of the whole.
  int64_t compute() {
    size_t tried = 0;
    for (const size_t reach : {size_t{128}, rowCount_ / 32, rowCount_ / 8}) {
      if (rowCount_ < kWorthTrying || reach < 4 * tried || reach < rowCount_ - columnCount_) continue;
      tried = reach;
      if (const int64_t distance = within(reach); distance <= static_cast<int64_t>(reach)) return distance;
    }
    return within(rowCount_);
  }

 private:
  static constexpr size_t kWorthTrying = 8192;

  // The distance by ways that stay within so many columns of the diagonal: exact when it is not above that, and
  // never too small. What lies outside is entered by steps of +1, down the left edge or along the top row.
  // `reach` is at least the difference of the lengths.
  int64_t within(size_t reach) {
    std::fill(carries_.begin(), carries_.end(), uint8_t{0});
    int64_t corner = 0;  // the distance at the top left of the band
    size_t left = 0;
    for (size_t top = 0;; top += kBandRows) {
      const size_t count = std::min(kBandRows, rowCount_ - top);
      const size_t begin = top > reach ? top - reach : 0;
      const size_t end = std::min(columnCount_, top + count + reach);
      corner += sumOf(carries_.data() + left, begin - left);
      left = begin;
      const bool last = top + count == rowCount_;
      if (last) corner += sumOf(carries_.data() + begin, end - begin);  // along the top row to the last column
      const int64_t down = run(top, count, begin, end);
      if (last) return corner + down;
      corner += kBandRows;
    }
  }

  int64_t run(size_t top, size_t count, size_t begin, size_t end) {
    places_->add(rows_ + top, count);
    const int64_t down = runBandOf((count + kWordRows - 1) / kWordRows, *places_, count, columns_ + begin,
                                   end - begin, carries_.data() + begin);
    places_->remove(rows_ + top, count);
    return down;
  }

  using Places = Rows<ColumnUnit, kBandWords>;

  const RowUnit* rows_;
  const ColumnUnit* columns_;
  size_t rowCount_;
  size_t columnCount_;
  std::vector<uint8_t> carries_;
  std::unique_ptr<Places> places_ = std::make_unique<Places>();
};

template <class A, class B>
size_t commonStart(const A* a, const B* b, size_t most) noexcept {
  size_t count = 0;
  while (count < most && a[count] == b[count]) ++count;
  return count;
}

template <class A, class B>
size_t commonEnd(const A* aEnd, const B* bEnd, size_t most) noexcept {
  size_t count = 0;
  while (count < most && *(aEnd - count - 1) == *(bEnd - count - 1)) ++count;
  return count;
}

// The shorter text's memory is what the longer calculation needs: it stands along the columns there. In the
// short one it stands along the rows, where it fits into a word.
template <class Long, class Short>
int64_t distanceBetween(const Long* longer, size_t longCount, const Short* shorter, size_t shortCount) {
  const size_t start = commonStart(longer, shorter, shortCount);
  const size_t end = commonEnd(longer + longCount, shorter + shortCount, shortCount - start);
  longer += start;
  shorter += start;
  longCount -= start + end;
  shortCount -= start + end;
  if (shortCount == 0) return static_cast<int64_t>(longCount);
  return shortCount <= kWordRows ? distanceOfShort(shorter, shortCount, longer, longCount)
                                 : LongDistance(longer, longCount, shorter, shortCount).compute();
}

}  // namespace

int64_t NSString::computeLevenshteinDistanceWithString(const NSString& other) const {
  if (isNil()) return 0;
  if (length() == 0 || other.length() == 0) return -1;
  const bool swapped = length() < other.length();
  const Units longer = detail::unitsOf(swapped ? other : *this);
  const Units shorter = detail::unitsOf(swapped ? *this : other);
  return detail::withUnits(longer, [&](auto* longUnits, size_t longCount) {
    return detail::withUnits(shorter, [&](auto* shortUnits, size_t shortCount) {
      return distanceBetween(longUnits, longCount, shortUnits, shortCount);
    });
  });
}

double NSString::computeLevenshteinDistanceQuotientWithString(const NSString& other) const {
  if (isNil()) return 0;
  const int64_t distance = computeLevenshteinDistanceWithString(other);
  if (distance < 0) return 1;
  const auto total = static_cast<double>(length()) + static_cast<double>(other.length());
  return static_cast<double>(distance) / (total * 0.5);
}
