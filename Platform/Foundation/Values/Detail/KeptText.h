#pragma once

#include "Platform/Foundation/Values/Detail/HeapObject.h"
#include "Platform/Foundation/Values/NSString.h"

namespace orv::detail {

// The text of an exported constant. Its memory is never given back, so that static destructors that run after
// the constant's own can still use it.
inline NSString keptText(const char* utf8) {
  NSString text = utf8;
  retain(Access::heap(text));
  return text;
}

}  // namespace orv::detail
