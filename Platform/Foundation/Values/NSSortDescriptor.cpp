#include "Platform/Foundation/Values/NSSortDescriptor.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

#include "Platform/Foundation/Values/Detail/KeyPath.h"
#include "Platform/Foundation/Values/Detail/ValueOrder.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

namespace {

Value valueAtKey(const Value& element, const NSString& key) {
  return key.isNil() ? element : element.valueForKeyPath(key);
}

template <class Accepts>
bool areAll(const std::vector<Value>& values, Accepts accepts) {
  return std::all_of(values.begin(), values.end(), accepts);
}

bool isInteger(const Value& v) { return v.kind() == Kind::Int || v.kind() == Kind::Bool; }
int64_t integerOf(const Value& v) { return static_cast<int64_t>(detail::Access::bits(v)); }

double doubleOf(const Value& v) { return __builtin_bit_cast(double, detail::Access::bits(v)); }
bool isPlainDouble(const Value& v) { return v.kind() == Kind::Double && !std::isnan(doubleOf(v)); }

}  // namespace

Ref<NSSortDescriptor> NSSortDescriptor::sortDescriptorWithKey(const NSString& key, bool ascending,
                                                              Comparator comparator) {
  return make<NSSortDescriptor>(key, ascending, std::move(comparator));
}

Ref<NSSortDescriptor> NSSortDescriptor::reversedSortDescriptor() const {
  return make<NSSortDescriptor>(key_, !ascending_, comparator_);
}

NSComparisonResult NSSortDescriptor::compareValues(const Value& a, const Value& b) const {
  const int order = comparator_ ? comparator_(a, b) : static_cast<int>(detail::orderOfAll(a, b));
  if (order == 0) return NSOrderedSame;
  return (order < 0) == ascending_ ? NSOrderedAscending : NSOrderedDescending;
}

NSComparisonResult NSSortDescriptor::compareObject(const Value& a, const Value& b) const {
  return compareValues(valueAtKey(a, key_), valueAtKey(b, key_));
}

NSString NSSortDescriptor::className() const { return "NSSortDescriptor"; }

NSString NSSortDescriptor::description() const {
  return NSString::stringWithFormat("(%@, %s)", key_, ascending_ ? "ascending" : "descending");
}

// ---- Sorting

namespace orv::detail {

// Reads every element's values once and sorts the positions by them.
class SortByDescriptors {
 public:
  SortByDescriptors(const NSArray& array, const NSArray& descriptors) : array_(array.copy().as<NSArray>()) {
    for (const Value& v : descriptors)
      if (const auto descriptor = v.as<NSSortDescriptor>())
        columns_.push_back({descriptor, columnOf(descriptor->key())});
  }

  NSArray sorted() const {
    if (columns_.empty()) return array_;
    if (columns_.size() == 1 && !columns_[0].descriptor->comparator()) return sortedByOne(columns_[0]);
    std::vector<Position> positions(array_.count() * 2);
    for (size_t i = 0; i < array_.count(); ++i) positions[i].at = i;
    return inOrder(positions, [&](Position a, Position b) { return mustSwap(a.at, b.at); });
  }

 private:
  struct Column {
    Ref<NSSortDescriptor> descriptor;
    std::vector<Value> values;
  };
  struct Position {
    size_t at;
  };
  template <class Key>
  struct Keyed {
    Key key;
    size_t at;
  };

  std::vector<Value> columnOf(const NSString& key) const {
    std::vector<Value> values;
    values.reserve(array_.count());
    const KeyPath keyPath(key);
    size_t place = 0;
    for (const Value& element : array_)
      values.push_back(key.isNil() ? element : keyPath.valueIn(element, place));
    return values;
  }

  bool mustSwap(size_t a, size_t b) const {
    for (const Column& column : columns_) {
      const NSComparisonResult order = column.descriptor->compareValues(column.values[a], column.values[b]);
      if (order != NSOrderedSame) return order == NSOrderedDescending;
    }
    return false;
  }

  // The items fill the first half of the room.
  template <class Item, class MustSwap>
  NSArray inOrder(std::vector<Item>& room, const MustSwap& mustSwap) const {
    const Item* sorted = mergeSort(room.data(), room.data() + array_.count(), array_.count(), mustSwap);
    ArrayMaker result(array_.count());
    for (size_t i = 0; i < array_.count(); ++i) result.add(array_[sorted[i].at]);
    return Access::cast<NSArray>(result.finish());
  }

  // The keys beside the positions: nothing is looked up while sorting.
  template <class Key, class KeyOf, class IsLess>
  NSArray sortedByKeys(const Column& column, KeyOf keyOf, IsLess isLess) const {
    std::vector<Keyed<Key>> room(array_.count() * 2);
    for (size_t i = 0; i < array_.count(); ++i) room[i] = {keyOf(column.values[i]), i};
    if (column.descriptor->ascending())
      return inOrder(room, [&](const auto& a, const auto& b) { return isLess(b.key, a.key); });
    return inOrder(room, [&](const auto& a, const auto& b) { return isLess(a.key, b.key); });
  }

  NSArray sortedByOne(const Column& column) const {
    if (areAll(column.values, isInteger)) return sortedByKeys<int64_t>(column, integerOf, std::less<>());
    if (areAll(column.values, isPlainDouble)) return sortedByKeys<double>(column, doubleOf, std::less<>());
    return sortedByKeys<const Value*>(
        column, [](const Value& v) { return &v; },
        [](const Value* a, const Value* b) { return orderOfAll(*a, *b) == NSOrderedAscending; });
  }

  NSArray array_;
  std::vector<Column> columns_;
};

NSArray sortedByDescriptors(const NSArray& array, const NSArray& descriptors) {
  return SortByDescriptors(array, descriptors).sorted();
}

}  // namespace orv::detail
