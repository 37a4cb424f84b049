#include "Platform/Foundation/Values/NSNumber.h"

NSNumber NSNumber::plus(int64_t addend) const {
  if (isNil()) return orv::nil;
  return static_cast<int64_t>(static_cast<uint64_t>(longLongValue()) + static_cast<uint64_t>(addend));
}
