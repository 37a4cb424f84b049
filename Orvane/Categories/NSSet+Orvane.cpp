#include "Platform/Foundation/Values/NSSet.h"

#include "Platform/Foundation/Values/NSArray.h"

using namespace orv;

NSArray NSCountedSet::sortedArrayByCountAscending(bool ascending) const {
  return zuSorted([&](const Value& a, const Value& b) {
    const NSUInteger timesA = countForObject(a);
    const NSUInteger timesB = countForObject(b);
    return ascending ? timesA < timesB : timesA > timesB;
  });
}
