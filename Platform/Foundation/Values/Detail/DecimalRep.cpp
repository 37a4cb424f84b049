#include "Platform/Foundation/Values/Detail/DecimalRep.h"

#include <new>

#include "Platform/Foundation/Values/Detail/Pool.h"

namespace orv::detail {

Value boxBigDecimal(const NSDecimal& d) {
  return Access::adopt(new (poolAllocate(sizeof(BigDecimalRep))) BigDecimalRep(d));
}

void destroyBigDecimal(HeapObject* object) noexcept {
  auto* rep = static_cast<BigDecimalRep*>(object);
  rep->~BigDecimalRep();
  poolFree(rep, sizeof(BigDecimalRep));
}

}  // namespace orv::detail
