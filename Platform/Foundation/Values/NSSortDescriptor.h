#pragma once

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSObject.h"

namespace orv::detail {
class SortByDescriptors;
NSArray sortedByDescriptors(const NSArray& array, const NSArray& descriptors);
}  // namespace orv::detail

// How elements are put in order by the value at a key path of each.
//
// Immutable; any thread may use it. Ascending puts the smallest first: nil, null, numbers, texts, dates, all
// else, each of these kinds in its own order. It never raises, except where reading a key of an object does.
//
//   list.sortedArrayUsingDescriptors({NSSortDescriptor::sortDescriptorWithKey("age", false),
//                                     NSSortDescriptor::sortDescriptorWithKey("name", true)});
class ORV_EXPORT NSSortDescriptor : public NSObject {
 public:
  using Comparator = NSArray::Comparator;

  // A nil key is the element itself. The comparator sees the two values; none orders as the class comment says.
  static orv::Ref<NSSortDescriptor> sortDescriptorWithKey(const NSString& key, bool ascending,
                                                          Comparator comparator = {});

  NSSortDescriptor(NSString key, bool ascending, Comparator comparator)
      : key_(std::move(key)), ascending_(ascending), comparator_(std::move(comparator)) {}

  const NSString& key() const noexcept { return key_; }
  bool ascending() const noexcept { return ascending_; }
  const Comparator& comparator() const noexcept { return comparator_; }

  // The same in the other direction.
  orv::Ref<NSSortDescriptor> reversedSortDescriptor() const;

  NSComparisonResult compareObject(const orv::Value& a, const orv::Value& b) const;

  NSString className() const override;
  // "(key, ascending)"
  NSString description() const override;

 private:
  friend class orv::detail::SortByDescriptors;
  NSComparisonResult compareValues(const orv::Value& a, const orv::Value& b) const;

  NSString key_;
  bool ascending_;
  Comparator comparator_;
};
